// Where the SoX and ffmpeg programs are looked for, in which order, and how ffprobe is found beside ffmpeg.

#include <gtest/gtest.h>

#include <QDir>

#include "indexing/tool_locator.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::TempDir;
using test::WriteFakeTool;

// Replaces PATH for the lifetime of the object.
class ScopedPath {
public:
    explicit ScopedPath(const QString& path) : m_old(qgetenv("PATH")) { qputenv("PATH", path.toUtf8()); }
    ~ScopedPath() { qputenv("PATH", m_old); }

private:
    QByteArray m_old;
};

struct Layout {
    const char* name;
    bool beside;       // program folder / tool
    bool inFolder;     // program folder / SOX / sox (FFMPEG / ffmpeg)
    bool ini;          // Path in SOX.ini (FFMPEG.ini), pointing at a file that does not exist
    bool onPath;       // a tool of that name in a folder on PATH
    const char* want;  // "beside", "folder", "ini", "path" or ""
};

class ToolLocatorOrder : public ::testing::TestWithParam<Layout> {};

TEST_P(ToolLocatorOrder, TakesTheFirstPlaceThatHasTheTool) {
    const Layout& layout = GetParam();
    for (const QString& tool : {QStringLiteral("sox"), QStringLiteral("ffmpeg")}) {
        SCOPED_TRACE(tool.toStdString());
        TempDir dir;
        const QString program = dir.File(QStringLiteral("программа с пробелом"));
        const QString section = tool.toUpper();
        QDir().mkpath(program);
        QMap<QString, QString> where;
        if (layout.beside) {
            where[QStringLiteral("beside")] = WriteFakeTool(program, tool, QStringLiteral("exit 0"));
        }
        if (layout.inFolder) {
            where[QStringLiteral("folder")] =
                WriteFakeTool(program + u'/' + section, tool, QStringLiteral("exit 0"));
        }
        if (layout.ini) {
            where[QStringLiteral("ini")] = QStringLiteral("/nowhere/настроенный/") + tool;
            dir.Write(QStringLiteral("программа с пробелом/") + section + QStringLiteral(".ini"),
                      QStringLiteral("[%1]\nPath=%2\n").arg(section, where[QStringLiteral("ini")]).toUtf8());
        }
        const QString pathFolder = dir.File(QStringLiteral("bin"));
        QDir().mkpath(pathFolder);
        if (layout.onPath) {
            where[QStringLiteral("path")] = WriteFakeTool(pathFolder, tool, QStringLiteral("exit 0"));
        }
        ScopedPath path(pathFolder);
        ToolLocator locator(program);
        const QString found = tool == QLatin1String("sox") ? locator.LocateSox() : locator.LocateFfmpeg();
        EXPECT_EQ(found, where.value(QString::fromLatin1(layout.want)));
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, ToolLocatorOrder,
                         ::testing::Values(Layout{"everywhere", true, true, true, true, "beside"},
                                           Layout{"folderIniPath", false, true, true, true, "folder"},
                                           Layout{"iniUncheckedBeforePath", false, false, true, true, "ini"},
                                           Layout{"pathOnly", false, false, false, true, "path"},
                                           Layout{"nowhere", false, false, false, false, ""}),
                         [](const ::testing::TestParamInfo<Layout>& p) { return std::string(p.param.name); });

TEST(ToolLocator, KeepsWhatItFoundAndSavesPathsForTheNextRun) {
    TempDir dir;
    const QString sox = WriteFakeTool(dir.Path(), QStringLiteral("sox"), QStringLiteral("exit 0"));
    ScopedPath path(dir.File(QStringLiteral("empty")));
    ToolLocator locator(dir.Path());
    EXPECT_EQ(locator.LocateSox(), sox);
    QFile::remove(sox);
    EXPECT_EQ(locator.LocateSox(), sox);  // kept, not looked up again
    EXPECT_EQ(ToolLocator(dir.Path()).LocateSox(), QString());

    ASSERT_TRUE(locator.SaveSoxPath(QStringLiteral("/opt/звук/sox")));
    ASSERT_TRUE(locator.SaveFfmpegPath(QStringLiteral("/opt/видео/ffmpeg")));
    ToolLocator next(dir.Path());
    EXPECT_EQ(next.LocateSox(), QStringLiteral("/opt/звук/sox"));
    EXPECT_EQ(next.LocateFfmpeg(), QStringLiteral("/opt/видео/ffmpeg"));
}

TEST(ToolLocator, FfprobeLiesBesideFfmpeg) {
    const struct {
        const char* ffmpeg;
        const char* ffprobe;
    } cases[] = {
        {"/usr/bin/ffmpeg", "/usr/bin/ffprobe"},
        {"/opt/ffmpeg/bin/ffmpeg", "/opt/ffmpeg/bin/ffprobe"},  // the folder part stays
        {"/opt/ffmpeg-6/ffmpeg-static", "/opt/ffmpeg-6/ffprobe-static"},
        {"ffmpeg", "ffprobe"},
        {"/usr/bin/avconv", "/usr/bin/avconv"},  // no "ffmpeg" in the name: unchanged
        {"/usr/bin/FFMPEG", "/usr/bin/FFMPEG"},  // names are case-sensitive here
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FfprobePathFor(QString::fromUtf8(c.ffmpeg)), QString::fromUtf8(c.ffprobe)) << c.ffmpeg;
    }
}

}  // namespace
}  // namespace tembrix
