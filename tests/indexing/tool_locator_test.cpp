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

TEST(ToolLocator, TakesTheFirstPlaceThatHasTheTool) {
    // Beside the program, in its SOX/FFMPEG folder, the Path of SOX.ini/FFMPEG.ini (not checked for
    // existence), on PATH: each place is taken over all later ones, and is given up once emptied.
    for (const QString& tool : {QStringLiteral("sox"), QStringLiteral("ffmpeg")}) {
        SCOPED_TRACE(tool.toStdString());
        TempDir dir;
        const QString program = dir.File(QStringLiteral("программа с пробелом"));
        const QString section = tool.toUpper();
        const QString ini = QStringLiteral("/nowhere/настроенный/") + tool;
        const QString places[] = {
            WriteFakeTool(program, tool, QStringLiteral("exit 0")),
            WriteFakeTool(program + u'/' + section, tool, QStringLiteral("exit 0")),
            dir.Write(QStringLiteral("программа с пробелом/") + section + QStringLiteral(".ini"),
                      QStringLiteral("[%1]\nPath=%2\n").arg(section, ini).toUtf8()),
            WriteFakeTool(dir.File(QStringLiteral("bin")), tool, QStringLiteral("exit 0"))};
        ScopedPath path(dir.File(QStringLiteral("bin")));
        for (const QString& place : places) {
            ToolLocator locator(program);
            EXPECT_EQ(tool == QLatin1String("sox") ? locator.LocateSox() : locator.LocateFfmpeg(),
                      place.endsWith(QLatin1String(".ini")) ? ini : place);
            QFile::remove(place);
        }
        ToolLocator locator(program);
        EXPECT_EQ(tool == QLatin1String("sox") ? locator.LocateSox() : locator.LocateFfmpeg(), QString());
    }
}

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
    const char* const cases[][2] = {
        {"/usr/bin/ffmpeg", "/usr/bin/ffprobe"},
        {"/opt/ffmpeg/bin/ffmpeg", "/opt/ffmpeg/bin/ffprobe"},  // the folder part stays
        {"/opt/ffmpeg-6/ffmpeg-static", "/opt/ffmpeg-6/ffprobe-static"},
        {"ffmpeg", "ffprobe"},
        {"/usr/bin/avconv", "/usr/bin/avconv"},  // no "ffmpeg" in the name: unchanged
        {"/usr/bin/FFMPEG", "/usr/bin/FFMPEG"},  // names are case-sensitive here
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FfprobePathFor(QString::fromUtf8(c[0])), QString::fromUtf8(c[1])) << c[0];
    }
}

}  // namespace
}  // namespace tembrix
