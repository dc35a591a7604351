// The outside tools: how they are started and found, and the four commands' exact arguments.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QThread>
#include <csignal>
#include <memory>

#include "indexing/media_tools.h"
#include "indexing/process_runner.h"
#include "indexing/tool_locator.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"
#include "util/file_utils.h"

namespace tembrix {
namespace {

using test::ReadText;
using test::TempDir;
using test::WriteFakeTool;

// Catches any change to an argument list (the envelope depends on SoX's format options and -R).
TEST(MediaTools, ArgumentListsAreExact) {
    TempDir dir;
    const QString tools = dir.File("tools");
    // Each fake writes its arguments, one per line, and $SOX_OPTS to calls.txt.
    const QString record = QStringLiteral(
        "{ for a; do printf '%s\\n' \"$a\"; done; echo \"SOX_OPTS=$SOX_OPTS\"; } >> calls.txt\n");
    const QString writeLast = "for last; do :; done; echo x > \"$last\"";
    const QString sox = WriteFakeTool(tools, "sox", record + writeLast);
    const QString ffmpeg = WriteFakeTool(tools, "ffmpeg", record + writeLast);
    // Every line ffprobe prints on its standard output counts as a track, warnings included.
    WriteFakeTool(tools, "ffprobe", record + "echo 1; echo warning");
    const QString in = dir.File("-вход с пробелом \"1\".mkv"), dat = dir.File("data.dat"),
                  wav = dir.File("data.wav");
    ASSERT_TRUE(ConvertToRaw(sox, in, dat, dir.Path()) && ExtractAudioTrack(ffmpeg, in, wav, 2, dir.Path()) &&
                ExtractAudioTrack(ffmpeg, in, wav, 10, dir.Path()));
    EXPECT_EQ(CountAudioTracks(ffmpeg, in, dir.Path()), 2);
    EXPECT_EQ(
        ReadText(dir.File("calls.txt")),
        QStringLiteral("%1\n--bits\n16\n--channels\n1\n--encoding\nsigned-integer\n--rate\n48000\n"
                       "--type\nraw\n%2\nSOX_OPTS=-R\n"
                       "-i\n%1\n-vn\n-map\n0:a:2\n%3\nSOX_OPTS=\n-i\n%1\n-vn\n-map\n0:a:10\n%3\nSOX_OPTS=\n"
                       "-v\nerror\n-select_streams\na\n-show_entries\nstream=index\n-of\ncsv=p=0\n%1\n"
                       "SOX_OPTS=\n")
            .arg(in, dat, wav));
}

// Catches tag lines split, trimmed or kept wrongly (CR LF, lone CR, byte-order mark, the tool's refusal).
TEST(MediaTools, ReadTagsKeepsTheTrimmedLinesUnlessTheToolGaveUp) {
    TempDir dir;
    const QString tool = WriteFakeTool(dir.File("tools"), "tags", "cat '" + dir.File("printed.txt") + "'");
    for (const auto& [printed, info] :
         {std::pair{"\n", "\n"},
          {"a\r\nb\r\n", "a\nb\n"},
          {"a\n\nb", "a\n\nb\n"},
          {"a\rb\n\r\n", "a\nb\n\n"},
          {"\xEF\xBB\xBF\xD0\xB0\n", "\xD0\xB0\n"},
          {"  Artist: A \t\r\n\tTitle: T\001\r\n", "Artist: A\nTitle: T\n"},
          {"Couldn't process given file\r\nArtist: X\n", ""},
          {"Artist: X\nCouldn't process given file\n", "Artist: X\nCouldn't process given file\n"}}) {
        dir.Write("printed.txt", printed);
        const TagText tags = ReadTags(tool, "song.mp3", dir.Path());
        EXPECT_TRUE(!tags.readFailed && tags.text == QString::fromUtf8(info)) << printed;
    }
    EXPECT_EQ(ReadTags(dir.File("absent"), "song.mp3", dir.Path()).text, QString());
    bool ok = true;
    EXPECT_TRUE(LoadLines(dir.File("missing"), &ok).isEmpty() && !ok);
}

// Catches arguments mangled by a shell, a wrong folder or environment, a tool in the terminal's process
// group (Ctrl+C would reach it), a tool left waiting on input, and a full output pipe stalling the tool.
TEST(ProcessRunner, ChildGetsItsArgumentsFolderEnvironmentAndOwnProcessGroup) {
    TempDir dir;
    const QString work = dir.File(QStringLiteral("рабочий каталог"));
    QDir().mkpath(work);
    const QString tool = WriteFakeTool(
        dir.File(QStringLiteral("инструменты с \"кавычками\" 'и' пробелами")),
        QStringLiteral("-tool with blank"),
        QStringLiteral(
            "for a; do printf '%s\\n' \"$a\"; done > args.txt; pwd > where.txt\n"
            "printf '%s|%s' \"$SOX_OPTS\" \"$HOME\" > env.txt\n"
            "echo $$ > pid.txt; sed 's/.*) //' /proc/$$/stat | cut -d' ' -f3 > pgid.txt; cat > stdin.txt\n"
            "head -c 20000000 /dev/zero; head -c 20000000 /dev/zero >&2; echo done > end.txt"));
    const QStringList args = {QStringLiteral("two  blanks \"quoted\" «ёлка»"), QStringLiteral("-dash"),
                              QStringLiteral("$HOME `id` ; | & * ? back\\slash'"), QString()};
    ASSERT_TRUE(RunAndWait(tool, args, work, {QStringLiteral("SOX_OPTS=-R")}).Succeeded());
    const auto text = [&](const char* name) { return ReadText(work + u'/' + QLatin1String(name)); };
    EXPECT_EQ((QStringList{text("args.txt"), text("where.txt"), text("env.txt"), text("pgid.txt"),
                           QString::number(QFile::exists(work + QStringLiteral("/stdin.txt"))),
                           text("stdin.txt"), text("end.txt")}),
              (QStringList{args.join(u'\n') + u'\n', work + u'\n',
                           QStringLiteral("-R|") + qEnvironmentVariable("HOME"), text("pid.txt"),
                           QStringLiteral("1"), QString(), QStringLiteral("done\n")}));
}

// Catches a tool that fails or crashes passing for one that worked.
TEST(ProcessRunner, ReportsHowTheToolEnded) {
    TempDir dir;
    using End = ToolRun::End;
    for (const auto& [body, end, code] : {std::tuple{"", End::NotStarted, -1},
                                          {"exit 0", End::Exited, 0},
                                          {"exit 3", End::Exited, 3},
                                          {"kill -SEGV $$", End::Signalled, SIGSEGV}}) {
        const ToolRun run =
            RunAndWait(*body ? WriteFakeTool(dir.Path(), "t", body) : dir.File("absent"), {}, dir.Path());
        EXPECT_TRUE(run.end == end && run.code == code &&
                    run.Succeeded() == (end == End::Exited && code == 0))
            << body;
    }
}

// Catches stale output from an earlier run read as this run's, and a child left reading the terminal.
TEST(ProcessRunner, RedirectionReplacesOldOutputAndReadsTheInputFile) {
    TempDir dir;
    const QString tool = WriteFakeTool(dir.Path(), "io", "cat; echo \"$1\" >&2");
    const QString out = dir.Write("out.rp", "stale output from an earlier run\n"),
                  err = dir.Write("err.rp", "stale\n");
    const QString in = dir.Write("in.txt", "line one\nстрока два\n"), missing = dir.File("missing-input.txt");
    ASSERT_TRUE(RunRedirected(tool, {"ошибка"}, dir.Path(), in, out, err).Succeeded());
    EXPECT_EQ(ReadText(out) + ReadText(err), "line one\nстрока два\nошибка\n");
    for (const QString& input : {QString(), missing}) {
        ASSERT_TRUE(RunRedirected(tool, {"x"}, dir.Path(), input, out, QString()).Started());
        EXPECT_EQ(ReadText(out), QString());
    }
    EXPECT_TRUE(QFile::exists(missing));
    dir.Write("out.rp", "stale\n");
    EXPECT_FALSE(RunRedirected(dir.File("absent"), {}, dir.Path(), {}, out, err).Started());
    EXPECT_TRUE(!QFile::exists(out) || ReadText(out).isEmpty());
}

// Catches a hung tool (ignoring TERM and INT) that a stop does not kill, and a child left running by a
// tool, stopped or not.
TEST(ProcessRunner, NoToolOrChildOutlivesItsRun) {
    // The pid file appears whole (renamed into place), so the stop never comes before it is written.
    for (const auto& [body, stop, end] :
         {std::tuple{"trap '' TERM INT; sleep 1000 & echo $! > child; echo $$ > p; mv p pid; wait", true,
                     ToolRun::End::Stopped},
          {"sleep 1000 & echo $! > child; echo $$ > pid; exit 0", false, ToolRun::End::Exited}}) {
        SCOPED_TRACE(body);
        TempDir dir;
        const QString tool = WriteFakeTool(dir.Path(), "t", body);
        ToolRun run;
        std::unique_ptr<QThread> thread(QThread::create([&] { run = RunAndWait(tool, {}, dir.Path()); }));
        thread->start();
        if (stop) {
            ASSERT_TRUE(test::WaitForFile(dir.File("pid")));
            thread->requestInterruption();
        }
        thread->wait();
        EXPECT_EQ(run.end, end);
        for (const char* file : {"pid", "child"}) {
            const pid_t pid = ReadText(dir.File(QString::fromLatin1(file))).trimmed().toInt();
            ASSERT_GT(pid, 0) << file;
            EXPECT_TRUE(test::ProcessGone(pid)) << file;
        }
        EXPECT_EQ(LiveToolCount(), 0);
    }
}

// Replaces PATH until the end of the scope.
auto ScopedPath(const QString& path) {
    const QByteArray old = qgetenv("PATH");
    qputenv("PATH", path.toUtf8());
    return qScopeGuard([old] { qputenv("PATH", old); });
}

// Catches a wrong order of the places: beside the program, its SOX/FFMPEG folder, the Path of
// SOX.ini/FFMPEG.ini (not checked for existence), then PATH.
TEST(ToolLocator, TakesTheFirstPlaceThatHasTheTool) {
    for (const QString tool : {"sox", "ffmpeg"}) {
        TempDir dir;
        const QString program = dir.File("программа с пробелом"), section = tool.toUpper();
        const QString ini = "/nowhere/настроенный/" + tool;
        const auto locate = [&] {
            ToolLocator locator(program);
            return tool == "sox" ? locator.LocateSox() : locator.LocateFfmpeg();
        };
        const QString places[] = {WriteFakeTool(program, tool, "exit 0"),
                                  WriteFakeTool(program + u'/' + section, tool, "exit 0"),
                                  dir.Write("программа с пробелом/" + section + ".ini",
                                            ("[" + section + "]\nPath=" + ini + "\n").toUtf8()),
                                  WriteFakeTool(dir.File("bin"), tool, "exit 0")};
        const auto path = ScopedPath(dir.File("bin"));
        for (const QString& place : places) {
            EXPECT_EQ(locate(), place.endsWith(".ini") ? ini : place);
            QFile::remove(place);
        }
        EXPECT_EQ(locate(), QString()) << tool.toStdString();
    }
}

// Catches a found path looked up again mid-job, and saved paths not read back.
TEST(ToolLocator, KeepsWhatItFoundAndSavesPathsForTheNextRun) {
    TempDir dir;
    const QString sox = WriteFakeTool(dir.Path(), "sox", "exit 0");
    const auto path = ScopedPath(dir.File("empty"));
    ToolLocator locator(dir.Path());
    EXPECT_EQ(locator.LocateSox(), sox);
    QFile::remove(sox);
    EXPECT_EQ(locator.LocateSox(), sox);  // kept, not looked up again
    EXPECT_EQ(ToolLocator(dir.Path()).LocateSox(), QString());
    ASSERT_TRUE(locator.SaveSoxPath("/opt/звук/sox") && locator.SaveFfmpegPath("/opt/видео/ffmpeg"));
    ToolLocator next(dir.Path());
    EXPECT_EQ(next.LocateSox() + next.LocateFfmpeg(), "/opt/звук/sox/opt/видео/ffmpeg");
}

// Catches "ffmpeg" replaced in the folder part of the path, or in a name without it.
TEST(ToolLocator, FfprobeLiesBesideFfmpeg) {
    const char* const cases[][2] = {{"/opt/ffmpeg/bin/ffmpeg", "/opt/ffmpeg/bin/ffprobe"},
                                    {"/opt/ffmpeg-6/ffmpeg-static", "/opt/ffmpeg-6/ffprobe-static"},
                                    {"/usr/bin/avconv", "/usr/bin/avconv"},
                                    {"/usr/bin/FFMPEG", "/usr/bin/FFMPEG"}};
    for (const auto& c : cases) {
        EXPECT_EQ(FfprobePathFor(QString::fromUtf8(c[0])), QString::fromUtf8(c[1])) << c[0];
    }
}

}  // namespace
}  // namespace tembrix
