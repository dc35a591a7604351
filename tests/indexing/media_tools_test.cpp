// The four tool commands: their exact argument lists, how they judge the tools by the files left behind,
// and what the real id3-tags-cli reads from tagged files.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "indexing/media_tools.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::MediaFixtures;
using test::TempDir;
using test::WriteFakeTool;

QString ReadText(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QStringLiteral("<missing>");
}

TEST(MediaTools, ArgumentListsAreExact) {
    TempDir dir;
    const QString tools = dir.File(QStringLiteral("tools"));
    // Each fake writes its arguments, one per line, and $SOX_OPTS to calls.txt.
    const QString record = QStringLiteral(
        "{ for a; do printf '%s\\n' \"$a\"; done; echo \"SOX_OPTS=$SOX_OPTS\"; } >> calls.txt\n");
    const QString writeLast = QStringLiteral("for last; do :; done; echo x > \"$last\"");
    const QString sox = WriteFakeTool(tools, QStringLiteral("sox"), record + writeLast);
    const QString ffmpeg = WriteFakeTool(tools, QStringLiteral("ffmpeg"), record + writeLast);
    WriteFakeTool(tools, QStringLiteral("ffprobe"), record + QStringLiteral("echo 1"));
    const QString in = dir.File(QStringLiteral("-вход с пробелом \"1\".mkv"));
    const QString dat = dir.File(QStringLiteral("data.dat"));
    const QString wav = dir.File(QStringLiteral("data.wav"));
    ASSERT_TRUE(ConvertToRaw(sox, in, dat, dir.Path()));
    ASSERT_TRUE(ExtractAudioTrack(ffmpeg, in, wav, 2, dir.Path()));
    ASSERT_TRUE(ExtractAudioTrack(ffmpeg, in, wav, 10, dir.Path()));
    EXPECT_EQ(CountAudioTracks(ffmpeg, in, dir.Path()), 1);
    EXPECT_EQ(
        ReadText(dir.File(QStringLiteral("calls.txt"))),
        QStringLiteral("%1\n--bits\n16\n--channels\n1\n--encoding\nsigned-integer\n--rate\n48000\n"
                       "--type\nraw\n%2\nSOX_OPTS=-R\n"
                       "-i\n%1\n-vn\n-map\n0:a:2\n%3\nSOX_OPTS=\n-i\n%1\n-vn\n-map\n0:a:10\n%3\nSOX_OPTS=\n"
                       "-v\nerror\n-select_streams\na\n-show_entries\nstream=index\n-of\ncsv=p=0\n%1\n"
                       "SOX_OPTS=\n")
            .arg(in, dat, wav));
}

TEST(MediaTools, ToolsAreJudgedByTheFilesTheyLeave) {
    TempDir dir;
    const QString out = dir.File(QStringLiteral("data.dat"));
    const QString wav = dir.File(QStringLiteral("data.wav"));
    const struct {
        const char* body;
        bool output;
    } cases[] = {{"exit 0", false},
                 {"kill -SEGV $$", false},
                 {"for last; do :; done; echo x > \"$last\"; exit 1", true},
                 {nullptr, false}};  // no tool at all
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body ? c.body : "missing");
        // Output of an earlier run must not pass for this run's.
        dir.Write(QStringLiteral("data.dat"), "left over");
        dir.Write(QStringLiteral("data.wav"), "left over");
        const QString tool = c.body ? WriteFakeTool(dir.File(QStringLiteral("tools")), QStringLiteral("t"),
                                                    QString::fromLatin1(c.body))
                                    : dir.File(QStringLiteral("missing"));
        EXPECT_EQ(ConvertToRaw(tool, QStringLiteral("in.wav"), out, dir.Path()), c.output);
        EXPECT_EQ(ExtractAudioTrack(tool, QStringLiteral("in.mkv"), wav, 0, dir.Path()), c.output);
        EXPECT_EQ(QFile::exists(out), c.output);
    }
}

TEST(MediaTools, CountAudioTracksCountsEveryLineFfprobePrints) {
    TempDir dir;
    const QString tools = dir.File(QStringLiteral("tools"));
    const QString ffmpeg = WriteFakeTool(tools, QStringLiteral("ffmpeg"), QStringLiteral("exit 0"));
    const struct {
        const char* output;
        int tracks;
    } cases[] = {{"", 0},
                 {"1\\n", 1},
                 {"1\\n2\\n3\\n", 3},
                 {"1\\r\\n2\\r\\n", 2},
                 {"1\\nwarning: stray line\\n", 2},  // not filtered
                 {"1\\n2", 2}};                      // no line break at the end
    for (const auto& c : cases) {
        SCOPED_TRACE(c.output);
        WriteFakeTool(
            tools, QStringLiteral("ffprobe"),
            QStringLiteral("printf '%1'; echo 'noise on stderr' >&2").arg(QString::fromLatin1(c.output)));
        EXPECT_EQ(CountAudioTracks(ffmpeg, QStringLiteral("in.mkv"), dir.Path()), c.tracks);
        EXPECT_EQ(ReadText(dir.File(QStringLiteral("errfile.rp"))), QStringLiteral("noise on stderr\n"));
    }
    QFile::remove(tools + QStringLiteral("/ffprobe"));
    EXPECT_EQ(CountAudioTracks(ffmpeg, QStringLiteral("in.mkv"), dir.Path()), 0);
}

TEST(MediaTools, ReadTagsKeepsTheTrimmedLinesUnlessTheToolGaveUp) {
    TempDir dir;
    const struct {
        const char* printed;
        const char* info;
    } cases[] = {
        {"Artist: A\nTitle: T\nAlbum: B\nYear: 1999\nTrack: 3\nGenre: Pop\n",
         "Artist: A\nTitle: T\nAlbum: B\nYear: 1999\nTrack: 3\nGenre: Pop\n"},
        {"Couldn't process given file\r\n", ""},
        {"Artist: X\nCouldn't process given file\n", "Artist: X\nCouldn't process given file\n"},
        {"  Artist: A \t\r\n\tTitle: T\001\r\n", "Artist: A\nTitle: T\n"},
        {"", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.printed);
        const QString printed = dir.Write(QStringLiteral("printed.txt"), QByteArray(c.printed));
        const QString tool = WriteFakeTool(dir.File(QStringLiteral("tools")), QStringLiteral("tags"),
                                           QStringLiteral("cat '%1'").arg(printed));
        const TagText tags = ReadTags(tool, QStringLiteral("song.mp3"), dir.Path());
        EXPECT_FALSE(tags.readFailed);
        EXPECT_EQ(tags.text, QString::fromUtf8(c.info));
    }
    EXPECT_EQ(ReadTags(dir.File(QStringLiteral("absent")), QStringLiteral("song.mp3"), dir.Path()).text,
              QString());
}

TEST(MediaTools, LoadLinesSplitsLikeATextList) {
    TempDir dir;
    const struct {
        const char* bytes;
        QStringList lines;
    } cases[] = {
        {"", {}},
        {"\n", {QString()}},
        {"a\r\nb\r\n", {QStringLiteral("a"), QStringLiteral("b")}},
        {"a\n\nb", {QStringLiteral("a"), QString(), QStringLiteral("b")}},
        {"a\rb\n\r\n", {QStringLiteral("a"), QStringLiteral("b"), QString()}},
        {"\xEF\xBB\xBF\xD0\xB0\n", {QStringLiteral("а")}},
    };
    for (const auto& c : cases) {
        bool ok = false;
        EXPECT_EQ(LoadLines(dir.Write(QStringLiteral("lines.txt"), QByteArray(c.bytes)), &ok), c.lines)
            << c.bytes;
        EXPECT_TRUE(ok);
    }
    bool ok = true;
    EXPECT_TRUE(LoadLines(dir.File(QStringLiteral("missing")), &ok).isEmpty());
    EXPECT_FALSE(ok);
}

TEST(MediaTools, RealTagToolReadsTaggedFiles) {
    TempDir dir;
    const QString expected = QStringLiteral(
        "Artist: Исполнитель Тест\nTitle: Title One\nAlbum: Album X\nYear: 2001\nTrack: 7\nGenre: Rock\n");
    const QString tool = test::ProgramDir() + QStringLiteral("/id3-tags-cli");
    // ID3v2 in MP3, MP4 atoms, RIFF INFO in WAV, the ID3 chunk of AIFF, ASF attributes.
    for (const char* extension : {".mp3", ".m4a", ".wav", ".aiff", ".wma"}) {
        const QString file = MediaFixtures::Instance().Tagged(QString::fromLatin1(extension));
        ASSERT_FALSE(file.isEmpty());
        EXPECT_EQ(ReadTags(tool, file, dir.Path()).text, expected) << extension;
    }
    // An untagged WAV still gives the six lines; a file that is no media gives "".
    EXPECT_EQ(ReadTags(tool, MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61), dir.Path()).text,
              QStringLiteral("Artist:\nTitle:\nAlbum:\nYear: 0\nTrack: 0\nGenre: 0\n"));
    EXPECT_EQ(
        ReadTags(tool, dir.Write(QStringLiteral("not-media.wav"), QByteArray(100, 'x')), dir.Path()).text,
        QString());
}

}  // namespace
}  // namespace tembrix
