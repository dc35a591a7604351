// The four tool commands: their exact argument lists, how they judge the tools by the files left behind,
// and what they make of the real sox, ffmpeg, ffprobe and id3-tags-cli.

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

// A fake tool that writes its arguments (one per line) and $SOX_OPTS to calls.txt in its working folder,
// then `action`.
QString RecordingTool(const QString& folder, const QString& name, const QString& action) {
    return WriteFakeTool(
        folder, name,
        QStringLiteral("{ for a; do printf '%s\\n' \"$a\"; done; echo \"SOX_OPTS=$SOX_OPTS\"; } "
                       ">> calls.txt\nfor last; do :; done\n") +
            action);
}

TEST(MediaTools, ConvertToRawPassesTheFormatOptionsBetweenTheFiles) {
    TempDir dir;
    const QString sox = RecordingTool(dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
                                      QStringLiteral("echo raw > \"$last\""));
    const QString in = dir.File(QStringLiteral("-вход с пробелом \"1\".mp3"));
    const QString out = dir.File(QStringLiteral("data.dat"));
    ASSERT_TRUE(ConvertToRaw(sox, in, out, dir.Path()));
    EXPECT_EQ(ReadText(dir.File(QStringLiteral("calls.txt"))),
              in +
                  QStringLiteral("\n--bits\n16\n--channels\n1\n--encoding\nsigned-integer\n--rate\n48000\n"
                                 "--type\nraw\n") +
                  out + QStringLiteral("\nSOX_OPTS=-R\n"));
}

TEST(MediaTools, ExtractAudioTrackMapsTheTrackNumber) {
    TempDir dir;
    const QString ffmpeg = RecordingTool(dir.File(QStringLiteral("tools")), QStringLiteral("ffmpeg"),
                                         QStringLiteral("echo wav > \"$last\""));
    const QString in = dir.File(QStringLiteral("видео.mkv"));
    const QString out = dir.File(QStringLiteral("data.wav"));
    ASSERT_TRUE(ExtractAudioTrack(ffmpeg, in, out, 2, dir.Path()));
    ASSERT_TRUE(ExtractAudioTrack(ffmpeg, in, out, 10, dir.Path()));
    EXPECT_EQ(
        ReadText(dir.File(QStringLiteral("calls.txt"))),
        QStringLiteral("-i\n%1\n-vn\n-map\n0:a:2\n%2\nSOX_OPTS=\n-i\n%1\n-vn\n-map\n0:a:10\n%2\nSOX_OPTS=\n")
            .arg(in, out));
}

TEST(MediaTools, ToolsAreJudgedByTheFilesTheyLeave) {
    TempDir dir;
    const QString tools = dir.File(QStringLiteral("tools"));
    const QString out = dir.File(QStringLiteral("data.dat"));
    const struct {
        const char* name;
        const char* body;
        bool output;
    } cases[] = {
        {"writes-nothing", "exit 0", false},
        {"crashes", "kill -SEGV $$", false},
        {"fails-after-writing", "for last; do :; done; echo x > \"$last\"; exit 1", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // Output of an earlier run must not pass for this run's.
        dir.Write(QStringLiteral("data.dat"), "left over");
        dir.Write(QStringLiteral("data.wav"), "left over");
        const QString tool = WriteFakeTool(tools, QString::fromLatin1(c.name), QString::fromLatin1(c.body));
        EXPECT_EQ(ConvertToRaw(tool, QStringLiteral("in.wav"), out, dir.Path()), c.output);
        EXPECT_EQ(ExtractAudioTrack(tool, QStringLiteral("in.mkv"), dir.File(QStringLiteral("data.wav")), 0,
                                    dir.Path()),
                  c.output);
    }
    EXPECT_FALSE(
        ConvertToRaw(dir.File(QStringLiteral("missing-sox")), QStringLiteral("in.wav"), out, dir.Path()));
    EXPECT_FALSE(QFile::exists(out));
}

TEST(MediaTools, CountAudioTracksCountsEveryLineFfprobePrints) {
    TempDir dir;
    const QString tools = dir.File(QStringLiteral("tools"));
    const QString ffmpeg = WriteFakeTool(tools, QStringLiteral("ffmpeg"), QStringLiteral("exit 0"));
    const struct {
        const char* output;
        int tracks;
    } cases[] = {
        {"", 0},
        {"1\\n", 1},
        {"1\\n2\\n3\\n", 3},
        {"1\\r\\n2\\r\\n", 2},
        {"1\\nwarning: stray line\\n", 2},  // not filtered
        {"1\\n2", 2},                       // no line break at the end
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.output);
        WriteFakeTool(
            tools, QStringLiteral("ffprobe"),
            QStringLiteral("printf '%1'; echo 'noise on stderr' >&2").arg(QString::fromLatin1(c.output)));
        EXPECT_EQ(CountAudioTracks(ffmpeg, QStringLiteral("in.mkv"), dir.Path()), c.tracks);
        EXPECT_EQ(ReadText(dir.File(QStringLiteral("errfile.rp"))), QStringLiteral("noise on stderr\n"));
    }
    // ffprobe's exact arguments; no ffprobe at all counts 0.
    const QString probe = RecordingTool(tools, QStringLiteral("ffprobe"), QStringLiteral("echo 1"));
    EXPECT_EQ(CountAudioTracks(ffmpeg, QStringLiteral("фильм 1.mkv"), dir.Path()), 1);
    EXPECT_EQ(ReadText(dir.File(QStringLiteral("calls.txt"))),
              QStringLiteral("-v\nerror\n-select_streams\na\n-show_entries\nstream=index\n-of\ncsv=p=0\n"
                             "фильм 1.mkv\nSOX_OPTS=\n"));
    QFile::remove(probe);
    EXPECT_EQ(CountAudioTracks(ffmpeg, QStringLiteral("in.mkv"), dir.Path()), 0);
}

TEST(MediaTools, ReadTagsKeepsTheTrimmedLinesUnlessTheToolGaveUp) {
    TempDir dir;
    const QString tools = dir.File(QStringLiteral("tools"));
    const struct {
        const char* name;
        const char* printed;
        const char* info;
    } cases[] = {
        {"tagged", "Artist: A\nTitle: T\nAlbum: B\nYear: 1999\nTrack: 3\nGenre: Pop\n",
         "Artist: A\nTitle: T\nAlbum: B\nYear: 1999\nTrack: 3\nGenre: Pop\n"},
        // The untagged test compares the fourth line three times, so it never passes.
        {"untagged", "Artist:\nTitle:\nAlbum:\nYear: 0\nTrack: 0\nGenre: 0\n",
         "Artist:\nTitle:\nAlbum:\nYear: 0\nTrack: 0\nGenre: 0\n"},
        {"gave-up", "Couldn't process given file\r\n", ""},
        {"gave-up-later-line", "Artist: X\nCouldn't process given file\n",
         "Artist: X\nCouldn't process given file\n"},
        {"trimmed", "  Artist: A \t\r\n\tTitle: T\001\r\n", "Artist: A\nTitle: T\n"},
        {"nothing-printed", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QString printed = dir.Write(QStringLiteral("printed.txt"), QByteArray(c.printed));
        const QString tool =
            WriteFakeTool(tools, QString::fromLatin1(c.name), QStringLiteral("cat '%1'").arg(printed));
        const TagText tags = ReadTags(tool, QStringLiteral("song.mp3"), dir.Path());
        EXPECT_FALSE(tags.readFailed);
        EXPECT_EQ(tags.text, QString::fromUtf8(c.info));
    }
    // A tool that cannot be found leaves no output: "".
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

// --- The real tools -------------------------------------------------------------------------------------

TEST(MediaToolsReal, SoxGivesRepeatableRawAudioOfTheRightLength) {
    TempDir dir;
    const QString wav = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    const QString mp3 = MediaFixtures::Instance().Tone(QStringLiteral(".mp3"), 61);
    ASSERT_FALSE(wav.isEmpty());
    ASSERT_FALSE(mp3.isEmpty());
    const QString a = dir.File(QStringLiteral("a.dat"));
    const QString b = dir.File(QStringLiteral("b.dat"));
    ASSERT_TRUE(ConvertToRaw(test::RealSox(), wav, a, dir.Path()));
    EXPECT_EQ(QFileInfo(a).size(), 61 * 96000);  // 61 s at 48 kHz, 2 bytes a sample
    // Resampling dithers; in the repeatable mode two runs over the same file give the same bytes.
    ASSERT_TRUE(ConvertToRaw(test::RealSox(), mp3, a, dir.Path()));
    ASSERT_TRUE(ConvertToRaw(test::RealSox(), mp3, b, dir.Path()));
    QFile fa(a), fb(b);
    ASSERT_TRUE(fa.open(QIODevice::ReadOnly) && fb.open(QIODevice::ReadOnly));
    EXPECT_TRUE(fa.readAll() == fb.readAll());
}

TEST(MediaToolsReal, FfprobeCountsAndFfmpegExtractsTracks) {
    TempDir dir;
    const QString three = MediaFixtures::Instance().Video(3);
    const QString none = MediaFixtures::Instance().Video(0);
    ASSERT_FALSE(three.isEmpty());
    ASSERT_FALSE(none.isEmpty());
    EXPECT_EQ(CountAudioTracks(test::RealFfmpeg(), three, dir.Path()), 3);
    EXPECT_EQ(CountAudioTracks(test::RealFfmpeg(), none, dir.Path()), 0);
    EXPECT_EQ(CountAudioTracks(test::RealFfmpeg(), dir.File(QStringLiteral("missing.mkv")), dir.Path()), 0);

    const QString wav = dir.File(QStringLiteral("data.wav"));
    EXPECT_TRUE(ExtractAudioTrack(test::RealFfmpeg(), three, wav, 2, dir.Path()));
    EXPECT_GT(QFileInfo(wav).size(), 60 * 22050 * 2);
    EXPECT_FALSE(ExtractAudioTrack(test::RealFfmpeg(), three, wav, 3, dir.Path()));
    EXPECT_FALSE(QFile::exists(wav));
}

TEST(MediaToolsReal, TagToolReadsTaggedFiles) {
    TempDir dir;
    const QString expected = QStringLiteral(
        "Artist: Исполнитель Тест\nTitle: Title One\nAlbum: Album X\nYear: 2001\nTrack: 7\nGenre: Rock\n");
    const QString tool = test::ProgramDir() + QStringLiteral("/id3-tags-cli");
    // ID3v2 in MP3, MP4 atoms, RIFF INFO in WAV, the ID3 chunk of AIFF, ASF attributes.
    for (const char* extension : {".mp3", ".m4a", ".wav", ".aiff", ".wma"}) {
        const QString file = MediaFixtures::Instance().Tagged(QString::fromLatin1(extension));
        ASSERT_FALSE(file.isEmpty());
        EXPECT_EQ(ReadTags(tool, file, dir.Path()).text, expected) << file.toStdString();
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
