// The process runner: arguments reach the child intact, the folder, environment and process group are
// the given ones, standard handles never block, redirection files are replaced.

#include <gtest/gtest.h>

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

TEST(ProcessRunner, ChildGetsItsArgumentsFolderEnvironmentAndOwnProcessGroup) {
    TempDir dir;
    const QString work = dir.File(QStringLiteral("рабочий каталог"));
    QDir().mkpath(work);
    // Field 5 of /proc/<pid>/stat (the third after the name) is the process group: a terminal's Ctrl+C must
    // not reach the tools. Reading standard input ends at once; 20 MB on each output stream go nowhere
    // without stalling.
    const QString tool = WriteFakeTool(
        dir.File(QStringLiteral("инструменты с \"кавычками\" 'и' пробелами")),
        QStringLiteral("-tool with blank"),
        QStringLiteral(
            "for a; do printf '%s\\n' \"$a\"; done > args.txt; pwd > where.txt\n"
            "printf '%s|%s' \"$SOX_OPTS\" \"$HOME\" > env.txt\n"
            "echo $$ > pid.txt; sed 's/.*) //' /proc/$$/stat | cut -d' ' -f3 > pgid.txt; cat > stdin.txt\n"
            "head -c 20000000 /dev/zero; head -c 20000000 /dev/zero >&2; echo done > end.txt"));
    const QStringList args = {QStringLiteral("file with  two  blanks.mp3"),
                              QStringLiteral("\"quoted\" name.wav"),
                              QStringLiteral("Песня №1 — «ёлка».flac"),
                              QStringLiteral("-leading-dash.ogg"),
                              QStringLiteral("$HOME `id` ; | & * ?"),
                              QStringLiteral("back\\slash'apostrophe"),
                              QString()};
    ASSERT_TRUE(RunAndWait(tool, args, work, {QStringLiteral("SOX_OPTS=-R")}));
    const auto text = [&](const char* name) {
        return QString::fromUtf8(ReadAll(work + u'/' + QLatin1String(name)));
    };
    EXPECT_EQ(text("args.txt"), args.join(u'\n') + u'\n');
    EXPECT_EQ(text("where.txt").trimmed(), work);
    // The extra variable is added to the inherited environment, which stays.
    EXPECT_EQ(text("env.txt"), QStringLiteral("-R|") + qEnvironmentVariable("HOME"));
    EXPECT_EQ(text("pgid.txt"), text("pid.txt"));
    EXPECT_EQ(text("stdin.txt"), QString());
    EXPECT_EQ(text("end.txt"), QStringLiteral("done\n"));
}

TEST(ProcessRunner, ReportsOnlyWhetherTheProgramStarted) {
    TempDir dir;
    const QString absent = dir.File(QStringLiteral("no-such-tool"));
    EXPECT_FALSE(RunAndWait(absent, {}, dir.Path()));
    EXPECT_FALSE(RunDetached(absent, {}, dir.Path()));
    // A tool that fails or crashes was still started: its exit is never judged.
    for (const QString& body : {QStringLiteral("exit 3"), QStringLiteral("kill -SEGV $$")}) {
        EXPECT_TRUE(RunAndWait(WriteFakeTool(dir.Path(), QStringLiteral("t"), body), {}, dir.Path()));
    }
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
    // No input file name: the child reads nothing; a missing input file is made empty.
    ASSERT_TRUE(RunRedirected(tool, {QStringLiteral("x")}, dir.Path(), QString(), out, QString()));
    EXPECT_EQ(ReadAll(out), QByteArray());
    const QString missing = dir.File(QStringLiteral("missing-input.txt"));
    ASSERT_TRUE(RunRedirected(tool, {QStringLiteral("y")}, dir.Path(), missing, out, err));
    EXPECT_TRUE(QFile::exists(missing));
    EXPECT_EQ(ReadAll(err), QByteArray("y\n"));
    // A tool that cannot start leaves no stale output behind either (at most an empty file).
    dir.Write(QStringLiteral("out.rp"), "stale\n");
    EXPECT_FALSE(RunRedirected(dir.File(QStringLiteral("absent")), {}, dir.Path(), {}, out, err));
    EXPECT_TRUE(!QFile::exists(out) || ReadAll(out).isEmpty());
}

TEST(ProcessRunner, DetachedReturnsBeforeTheToolEnds) {
    TempDir dir;
    // The tool waits for a file that only appears after RunDetached has returned.
    const QString tool =
        WriteFakeTool(dir.Path(), QStringLiteral("waits"),
                      QStringLiteral("while [ ! -e gate ]; do sleep 0.02; done; echo \"$1\" > detached.txt"));
    ASSERT_TRUE(RunDetached(tool, {QStringLiteral("a b")}, dir.Path()));
    QFile(dir.File(QStringLiteral("gate"))).open(QIODevice::WriteOnly);
    const QString result = dir.File(QStringLiteral("detached.txt"));
    QDeadlineTimer deadline(30000);
    while (ReadAll(result) != QByteArray("a b\n") && !deadline.hasExpired()) {
        QThread::msleep(10);
    }
    EXPECT_EQ(ReadAll(result), QByteArray("a b\n"));
}

}  // namespace
}  // namespace tembrix
