// The process runner: arguments reach the child intact, the folder and environment are the given ones,
// standard handles never block, redirection files are replaced.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include "indexing/process_runner.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::TempDir;
using test::WriteFakeTool;

QByteArray ReadAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

TEST(ProcessRunner, ArgumentsReachTheToolIntact) {
    TempDir dir;
    // The tool itself lies in a folder whose name has blanks, quotes and Cyrillic letters.
    const QString folder = dir.File(QStringLiteral("инструменты с \"кавычками\" 'и' пробелами"));
    const QString tool = WriteFakeTool(folder, QStringLiteral("-echo args"),
                                       QStringLiteral("for a; do printf '%s\\n' \"$a\"; done > \"$OUT\""));
    const QStringList args = {QStringLiteral("file with  two  blanks.mp3"),
                              QStringLiteral("\"quoted\" name.wav"),
                              QStringLiteral("Песня №1 — «ёлка».flac"),
                              QStringLiteral("-leading-dash.ogg"),
                              QStringLiteral("$HOME `id` ; | & * ?"),
                              QStringLiteral("back\\slash'apostrophe"),
                              QString()};
    const QString out = dir.File(QStringLiteral("args.txt"));
    ASSERT_TRUE(RunAndWait(tool, args, dir.Path(), {QStringLiteral("OUT=") + out}));
    EXPECT_EQ(QString::fromUtf8(ReadAll(out)), args.join(u'\n') + u'\n');
}

TEST(ProcessRunner, RunsInTheGivenFolderWithTheExtraEnvironment) {
    TempDir dir;
    const QString work = dir.File(QStringLiteral("рабочий каталог"));
    const QString tool =
        WriteFakeTool(dir.Path(), QStringLiteral("tool"),
                      QStringLiteral("pwd > where.txt; printf '%s|%s' \"$SOX_OPTS\" \"$HOME\" > env.txt"));
    QDir().mkpath(work);
    ASSERT_TRUE(RunAndWait(tool, {}, work, {QStringLiteral("SOX_OPTS=-R")}));
    EXPECT_EQ(QString::fromUtf8(ReadAll(work + QStringLiteral("/where.txt"))).trimmed(), work);
    // The extra variable is added to the inherited environment, which stays.
    EXPECT_EQ(QString::fromUtf8(ReadAll(work + QStringLiteral("/env.txt"))),
              QStringLiteral("-R|") + qEnvironmentVariable("HOME"));
}

TEST(ProcessRunner, ReportsOnlyWhetherTheProgramStarted) {
    TempDir dir;
    EXPECT_FALSE(RunAndWait(dir.File(QStringLiteral("no-such-tool")), {}, dir.Path()));
    EXPECT_FALSE(RunRedirected(dir.File(QStringLiteral("no-such-tool")), {}, dir.Path(), {}, {}, {}));
    EXPECT_FALSE(RunDetached(dir.File(QStringLiteral("no-such-tool")), {}, dir.Path()));
    // A tool that fails or crashes was still started: its exit is never judged.
    EXPECT_TRUE(RunAndWait(WriteFakeTool(dir.Path(), QStringLiteral("fails"), QStringLiteral("exit 3")), {},
                           dir.Path()));
    EXPECT_TRUE(
        RunAndWait(WriteFakeTool(dir.Path(), QStringLiteral("crashes"), QStringLiteral("kill -SEGV $$")), {},
                   dir.Path()));
}

TEST(ProcessRunner, StandardHandlesNeverBlockTheTool) {
    TempDir dir;
    // Reading standard input ends at once; 20 MB on each output stream go nowhere without stalling.
    const QString tool = WriteFakeTool(dir.Path(), QStringLiteral("chatty"),
                                       QStringLiteral("cat > stdin.txt; head -c 20000000 /dev/zero; head -c "
                                                      "20000000 /dev/zero >&2; echo done > end.txt"));
    ASSERT_TRUE(RunAndWait(tool, {}, dir.Path()));
    EXPECT_EQ(ReadAll(dir.File(QStringLiteral("stdin.txt"))), QByteArray());
    EXPECT_EQ(ReadAll(dir.File(QStringLiteral("end.txt"))), QByteArray("done\n"));
}

TEST(ProcessRunner, RedirectionReplacesOldOutputAndReadsTheInputFile) {
    TempDir dir;
    const QString tool =
        WriteFakeTool(dir.Path(), QStringLiteral("io"), QStringLiteral("cat; echo \"$1\" >&2"));
    const QString out = dir.Write(QStringLiteral("out.rp"), "stale output from an earlier run\n");
    const QString err = dir.Write(QStringLiteral("err.rp"), "stale error\n");
    const QString in = dir.Write(QStringLiteral("in.txt"), "line one\nстрока два\n");
    ASSERT_TRUE(RunRedirected(tool, {QStringLiteral("ошибка")}, dir.Path(), in, out, err));
    EXPECT_EQ(ReadAll(out), QByteArray("line one\nстрока два\n"));
    EXPECT_EQ(ReadAll(err), QByteArray("ошибка\n"));

    // No input file name: the child reads nothing; a missing input file is made empty; an empty output
    // name discards that stream.
    ASSERT_TRUE(RunRedirected(tool, {QStringLiteral("x")}, dir.Path(), QString(), out, QString()));
    EXPECT_EQ(ReadAll(out), QByteArray());
    const QString missing = dir.File(QStringLiteral("missing-input.txt"));
    ASSERT_TRUE(RunRedirected(tool, {QStringLiteral("y")}, dir.Path(), missing, out, err));
    EXPECT_TRUE(QFile::exists(missing));
    EXPECT_EQ(ReadAll(out), QByteArray());
    EXPECT_EQ(ReadAll(err), QByteArray("y\n"));

    // A tool that cannot start leaves no stale output behind either (at most an empty file).
    dir.Write(QStringLiteral("out.rp"), "stale\n");
    EXPECT_FALSE(RunRedirected(dir.File(QStringLiteral("absent")), {}, dir.Path(), {}, out, err));
    EXPECT_TRUE(!QFile::exists(out) || ReadAll(out).isEmpty());
}

TEST(ProcessRunner, ChildrenRunInTheirOwnProcessGroup) {
    TempDir dir;
    // Field 5 of /proc/self/stat is the process group: a terminal's Ctrl+C must not reach the tools.
    const QString tool =
        WriteFakeTool(dir.Path(), QStringLiteral("group"),
                      QStringLiteral("echo $$ > pid.txt; cut -d' ' -f5 /proc/$$/stat > pgid.txt"));
    ASSERT_TRUE(RunAndWait(tool, {}, dir.Path()));
    const QByteArray pid = ReadAll(dir.File(QStringLiteral("pid.txt"))).trimmed();
    EXPECT_EQ(ReadAll(dir.File(QStringLiteral("pgid.txt"))).trimmed(), pid);
}

TEST(ProcessRunner, DetachedReturnsBeforeTheToolEnds) {
    TempDir dir;
    const QString gate = dir.File(QStringLiteral("gate"));
    // The tool waits for a file that only appears after RunDetached has returned.
    const QString tool =
        WriteFakeTool(dir.Path(), QStringLiteral("waits"),
                      QStringLiteral("while [ ! -e gate ]; do sleep 0.02; done; echo \"$1\" > detached.txt"));
    ASSERT_TRUE(RunDetached(tool, {QStringLiteral("a b")}, dir.Path()));
    QFile(gate).open(QIODevice::WriteOnly);
    const QString result = dir.File(QStringLiteral("detached.txt"));
    QDeadlineTimer deadline(30000);
    while (ReadAll(result) != QByteArray("a b\n") && !deadline.hasExpired()) {
        QThread::msleep(10);
    }
    EXPECT_EQ(ReadAll(result), QByteArray("a b\n"));
}

}  // namespace
}  // namespace tembrix
