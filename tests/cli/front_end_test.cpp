// What every command of tembrix-cli shares, run as a separate process: its own usage on --help, the
// logs, and the stop signals of the maintenance workers.

#include <gtest/gtest.h>

#include <signal.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

#include "database/maint_test_db.h"
#include "support/cli_runner.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

class CliFrontEndTest : public ::testing::Test {
protected:
    void SetUp() override {
        // A settings folder of its own, so no desktop settings leak into --db defaults.
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
    }
    // Rows "m0" … "m<count - 1>" with short envelopes.
    static std::vector<test::RawRow> Rows(int count) {
        std::vector<test::RawRow> rows;
        for (int i = 0; i < count; ++i) {
            rows.push_back(test::Row(QStringLiteral("m%1").arg(i), 8));
        }
        return rows;
    }
    static int RowCount(const QString& db) {
        SqliteConnection c;
        if (!c.Open(db)) {
            return -1;
        }
        SqliteStatement q(c, "SELECT count(*) FROM Data");
        return q.Next() ? static_cast<int>(q.Int64(0)) : -1;
    }

    test::TempDir dir;
    QString db = dir.File(QStringLiteral("main.db"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

// "COMMAND --help" was "Unknown option --help" (exit 2) or, worse, ran the command: each command prints
// its own usage to standard output, exits 0 and does nothing else.
TEST_F(CliFrontEndTest, EveryCommandShowsItsOwnUsageOnHelpAndDoesNothingElse) {
    ASSERT_TRUE(test::MakeDatabase(db, Rows(2)));
    const QString fresh = dir.File(QStringLiteral("fresh.db"));
    const QString out = dir.File(QStringLiteral("out.env"));
    const struct {
        QStringList args;
        const char* usage;
    } cases[] = {
        {{"envelope", db, out, "--help"}, "Usage: tembrix-cli envelope RAW OUT"},
        {{"create", fresh, "-h"}, "Usage: tembrix-cli create DB"},
        {{"index", "--db", db, "--help", dir.Path()}, "Usage: tembrix-cli index [--db DB]"},
        {{"check", "-h"}, "Usage: tembrix-cli check [--db DB]"},
        {{"import", "--db", db, db, "--help"}, "Usage: tembrix-cli import [--db DB] [--replace] SOURCE"},
        {{"stats", "--help"}, "Usage: tembrix-cli stats [--db DB]"},
        {{"list", "-h"}, "Usage: tembrix-cli list [--db DB]"},
        {{"show", "--help", "1"}, "Usage: tembrix-cli show [--db DB] ID"},
        {{"clear", "--db", db, "--help"}, "Usage: tembrix-cli clear [--db DB]"},
        {{"vacuum", "-h"}, "Usage: tembrix-cli vacuum [--db DB]"},
        {{"help", "clear"}, "Usage: tembrix-cli clear [--db DB]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(u' ').toStdString());
        const auto r = test::RunCli(c.args, env);
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_TRUE(r.out.startsWith(QString::fromUtf8(c.usage))) << r.out.toStdString();
        EXPECT_TRUE(r.err.isEmpty()) << r.err.toStdString();
    }
    EXPECT_FALSE(QFile::exists(fresh));
    EXPECT_FALSE(QFile::exists(out));
    EXPECT_EQ(RowCount(db), 2);
}

// Only the index command used to settle the logs, so an import's store failures never reached my.log.
// Every command now logs where the desktop program does: my.log in the program's folder, and the
// program's own log beside it starting with the command. A copy of the program in a folder of its own
// keeps the test off the build's logs.
TEST_F(CliFrontEndTest, ImportWritesTheStoreFailuresToMyLogBesideTheProgram) {
    const QString programDir = dir.File(QStringLiteral("program"));
    QDir().mkpath(programDir);
    const QString program = programDir + QStringLiteral("/tembrix-cli");
    ASSERT_TRUE(QFile::copy(test::BinPath(QStringLiteral("tembrix-cli")), program));
    ASSERT_TRUE(test::MakeDatabase(db));
    {
        SqliteConnection c;
        ASSERT_TRUE(c.Open(db));
        ASSERT_TRUE(
            c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data BEGIN SELECT RAISE(ABORT, 'no'); END"));
    }
    const QString source = dir.File(QStringLiteral("source.db"));
    ASSERT_TRUE(test::MakeDatabase(source, Rows(1)));
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, {"import", "--db", db, source});
    ASSERT_TRUE(p.waitForFinished(60000));
    QFile myLog(programDir + QStringLiteral("/my.log"));
    ASSERT_TRUE(myLog.open(QIODevice::ReadOnly));
    EXPECT_TRUE(myLog.readAll().contains("Query insert error!"));
    QFile programLog(programDir + QStringLiteral("/tembrix-cli.log"));
    ASSERT_TRUE(programLog.open(QIODevice::ReadOnly));
    EXPECT_TRUE(programLog.readLine().contains("import --db"));
}

// SIGTERM ended an import at once, mid-batch, without its summary; it now stops it as Ctrl+C and the
// window's Stop button do. The import is held at a known point: its lines fill the output pipe, which
// the test does not read, so the program is blocked writing one, with the stop handlers in place.
TEST_F(CliFrontEndTest, SigtermStopsAnImportWhichStillReportsWhatItDid) {
    const int rows = 10000;  // a duplicate line each: far more than the pipe and the line queue hold
    ASSERT_TRUE(test::MakeDatabase(db, Rows(rows)));
    const QString source = dir.File(QStringLiteral("source.db"));
    ASSERT_TRUE(test::MakeDatabase(source, Rows(rows)));
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(test::BinPath(QStringLiteral("tembrix-cli")), {"import", "--db", db, source});
    ASSERT_TRUE(p.waitForStarted());
    const QString wchan = QStringLiteral("/proc/%1/wchan").arg(p.processId());
    QDeadlineTimer deadline(60000);
    bool blocked = false;
    while (!blocked && !deadline.hasExpired()) {
        QFile f(wchan);
        blocked = f.open(QIODevice::ReadOnly) && f.readAll().contains("pipe_write");
        QThread::msleep(10);
    }
    ASSERT_TRUE(blocked) << "the import never filled its output pipe";
    ::kill(static_cast<pid_t>(p.processId()), SIGTERM);
    ASSERT_TRUE(p.waitForFinished(60000));
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 1);
    const QStringList out = QString::fromUtf8(p.readAllStandardOutput()).split(u'\n');
    EXPECT_TRUE(out.contains(QStringLiteral("Импорт остановлен!")));
    const QStringList processed = out.filter(QStringLiteral("Обработано записей: "));
    ASSERT_EQ(processed.size(), 1);
    EXPECT_NE(processed[0], QStringLiteral("Обработано записей: %1 из %1").arg(rows));
}

}  // namespace
}  // namespace tembrix
