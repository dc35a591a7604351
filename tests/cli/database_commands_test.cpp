// tembrix-cli's commands other than index as a process: usage, refusals, output, exit status, logs, SIGTERM.

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <functional>
#include <tuple>

#include "database/maint_test_db.h"
#include "support/cli_runner.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::ImportSummary;
using test::RawRow;
using test::Row;

class CliTest : public ::testing::Test {
protected:
    // A settings folder of its own, so no desktop settings leak into --db defaults.
    void SetUp() override { env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg"))); }
    test::CliResult Cli(const QStringList& args) { return test::RunCli(args, env); }
    test::CliResult Run(const char* command, const QStringList& more = {}) {
        return Cli(QStringList{QString::fromUtf8(command), QStringLiteral("--db"), db} + more);
    }
    // Starts `program` (tembrix-cli when empty) with `args`; `setUp` runs in the child before it.
    void Start(QProcess& p, const QStringList& args, const QString& program = {},
               const std::function<void()>& setUp = {}) {
        p.setProcessEnvironment(env);
        if (setUp) {
            p.setChildProcessModifier(setUp);
        }
        p.start(program.isEmpty() ? test::BinPath(QStringLiteral("tembrix-cli")) : program, args);
    }

    test::TempDir dir;
    QString db = dir.File(QStringLiteral("main.db"));
    QString source = dir.File(QStringLiteral("source.db"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

// Catches a refusal that exits otherwise than 2, prints anything or
// creates the database, and "COMMAND
// --help" refused or run instead of printing its own usage with exit 0.
TEST_F(CliTest, RefusalsExitWithTwoAndSayWhyAndHelpShowsEachCommandsUsage) {
    ASSERT_TRUE(test::MakeDatabase(db, {Row("a"), Row("b")}));
    const QString none = dir.File("none.db"), out = dir.File("out.env"), noTable = dir.File("bare.db");
    const QString text = dir.Write(QStringLiteral("text.db"), QByteArray(2048, 't'));
    ASSERT_TRUE(SqliteConnection().Open(noTable));
    const struct {
        QStringList args;
        const char* says;  // on standard error with exit 2, or (help) on standard output with exit 0
    } cases[] = {
        {{}, "Usage: tembrix-cli COMMAND"},
        {{"no-such-command"}, "Unknown command: no-such-command"},
        {{"envelope", none, out}, "Cannot read the raw audio file: "},
        {{"create", db}, "The file exists already: "},
        {{"list"}, "No database: pass --db DB"},
        {{"list", "--db", none}, "Не найден файл: "},
        {{"list", "--db", text}, "Ошибка подключения к базе данных!"},
        {{"stats", "--db", noTable}, "The database has no table Data: "},
        {{"show", "--db", db, "abc"}, "Not a record id: abc"},
        {{"check", "--db", db, "--fast"}, "Unknown option --fast"},
        {{"stats", "--db", db, "extra"}, "Usage: tembrix-cli stats"},
        {{"import", "--db", db, none}, "Выберите импортируемую базу данных!"},
        {{"import", "--db", db, text}, "Ошибка подключения импортируемой базы данных!"},
        {{"index", "--db", db, "--help", dir.Path()}, "Usage: tembrix-cli index [--db DB]"},
        {{"check", "-h"}, "Usage: tembrix-cli check [--db DB]"},
        {{"import", "--db", db, db, "--help"}, "Usage: tembrix-cli import [--db DB] [--replace] SOURCE"},
        {{"clear", "--db", db, "--help"}, "Usage: tembrix-cli clear [--db DB]"},
        {{"help", "clear"}, "Usage: tembrix-cli clear [--db DB]"},
        {{"--help"}, "Usage: tembrix-cli COMMAND"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(u' ').toStdString());
        const auto r = Cli(c.args);
        const bool help = c.args.contains("--help") || c.args.contains("-h") || c.args.value(0) == "help";
        EXPECT_EQ(r.exitCode, help ? 0 : 2);
        EXPECT_TRUE((help ? r.out.startsWith(c.says) : r.err.contains(c.says)) &&
                    (help ? r.err : r.out).isEmpty())
            << r.out.toStdString() << r.err.toStdString();
    }
    EXPECT_FALSE(QFile::exists(none) || QFile::exists(out));
    EXPECT_EQ(Run("list").OutLines().size(), 2);
}

// Catches a wrong format of create, list and show's layout, and a missing record, a compaction or a clear
// whose exit status or message does not follow its outcome (a damaged file fails).
TEST_F(CliTest, CreateListShowVacuumAndClearPrintTheirResultAndExitStatus) {
    const QString fresh = dir.File(QStringLiteral("fresh.db"));
    const auto created = Cli({"create", fresh});
    EXPECT_EQ(std::pair(created.exitCode, created.OutLines()),
              std::pair(0, QStringList{"Создана база данных: " + fresh}));
    EXPECT_EQ(Cli({"list", "--db", fresh}).exitCode, 0);  // the table is there

    RawRow film = Row("film");
    std::tie(film.audioTrack, film.allTracks, film.info) = std::tuple(1, 3, "Artist: X\nTitle: Y\n");
    ASSERT_TRUE(test::MakeDatabase(db, {Row("zeta"), film}));
    EXPECT_EQ(Run("list").OutLines(), (QStringList{"2\tfilm [2]", "1\tzeta"}));
    const auto show =
        Run("show", {"2"});  // the record's rows (their texts tested below the CLI), then its tags
    EXPECT_TRUE(show.exitCode == 0 && show.out.startsWith("Имя исходника=film\n") &&
                show.out.endsWith("\nРазмер индексного файла=12 000\n\nArtist: X\nTitle: Y\n"))
        << show.out.toStdString() << show.err.toStdString();
    EXPECT_EQ(Run("show", {"99"}).exitCode, 1);

    const QString damaged = dir.File(QStringLiteral("damaged.db"));
    ASSERT_TRUE(test::MakeDatabase(damaged, std::vector<RawRow>(20, Row("x"))) && test::DamageRows(damaged));
    for (const auto& [command, done, failed] :
         {std::tuple{"vacuum", "База данных сжата!", "Операция завершилась ошибкой!"},
          {"clear", "База данных успешно очищена!", "Ошибка очистки таблицы!"}}) {
        SCOPED_TRACE(command);
        const auto ok = Run(command);
        EXPECT_EQ(std::pair(ok.exitCode, ok.OutLines()), std::pair(0, QStringList{QString::fromUtf8(done)}));
        const auto bad = Cli({command, "--db", damaged});
        EXPECT_TRUE(bad.exitCode == 1 && bad.out.isEmpty() && bad.err.contains(failed))
            << bad.err.toStdString();
    }
    EXPECT_TRUE(Run("list").out.isEmpty());
}

// Catches an option mapped to the wrong pass, the closing lines missing, and exit status not 1 on findings.
TEST_F(CliTest, CheckPrintsItsFindingsThenTheirNumberAndMapsEachOption) {
    const QString existing = dir.Write(QStringLiteral("b.mp3"), "x");
    RawRow noInfo = Row("b"), shortIndex = Row("c", 2999);
    noInfo.sourcePath = shortIndex.sourcePath = existing;
    noInfo.info.clear();
    ASSERT_TRUE(test::MakeDatabase(db, {Row("a"), Row("a"), noInfo, shortIndex}));
    const QStringList all = Run("check", {"--sources"}).OutLines();  // the findings' texts are the worker's
    ASSERT_EQ(all.size(), 7) << all.join(u'\n').toStdString();
    for (const auto& [options, pass] : std::vector<std::pair<QStringList, QString>>{
             {{}, "Исходный файл"},
             {{"--sources", "--no-duplicates"}, "дубликаты"},
             {{"--sources", "--no-empty"}, "пустые поля"},
             {{"--sources", "--no-index"}, "индексных данных"},
             {{"--no-duplicates", "--no-empty", "--no-index"}, "Id="}}) {  // the option, the pass it drops
        SCOPED_TRACE(pass.toStdString());
        QStringList findings = all.mid(0, 5);
        findings.removeIf([&](const QString& line) { return line.contains(pass); });
        const auto found = findings.size();
        findings << "Проверка закончена!" << QStringLiteral("Найдено замечаний: %1").arg(found);
        const auto r = Run("check", options);
        EXPECT_EQ(std::pair(r.exitCode, r.OutLines()), std::pair(found == 0 ? 0 : 1, findings));
    }
}

// Catches an exit status not from the outcome (1: a write failed, RLIMIT_FSIZE as a full disk; 0: done; 2:
// the source's keys unreadable), and the worker's lines, closing box and summary printed out of order.
TEST_F(CliTest, ImportExitsByItsOutcomeAndPrintsTheWorkersLinesThenTheSummary) {
    ASSERT_TRUE(test::MakeDatabase(db, {Row("y")}));
    ASSERT_TRUE(test::MakeDatabase(source, {Row("x"), Row("y"), Row("z")}));
    ASSERT_EQ(Run("list").exitCode, 0);  // the side indexes are made now, before the limit
    const auto limit = static_cast<rlim_t>(QFileInfo(db).size());
    QProcess cli;
    Start(cli, {"import", "--db", db, "--replace", source}, {}, [limit] {
        const rlimit size{limit, limit};
        setrlimit(RLIMIT_FSIZE, &size);
        signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails instead of ending the program
    });
    ASSERT_TRUE(cli.waitForFinished(120000));
    const QString out = QString::fromUtf8(cli.readAllStandardOutput());
    EXPECT_TRUE(cli.exitCode() == 1 &&
                out.contains("Ошибка записи в базу данных! Последние импортированные записи не сохранены.") &&
                !out.contains("Задание выполнено!"));
    EXPECT_EQ(Run("list").OutLines(), QStringList{"1\ty"});

    const auto keep = Run("import", {source});
    const QString duplicate = "Дубликат: MD5-хэш = y\tтрек = 0\tid = 1\tid2 = 2\tразмер = 5000000 байт";
    EXPECT_EQ(std::pair(keep.exitCode, keep.OutLines()),
              std::pair(0, QStringList{duplicate, "Задание выполнено!"} + ImportSummary(3, 3, 1, 0, 2)));
    ASSERT_TRUE(SqliteConnection().Open(dir.File("bare.db")));
    EXPECT_EQ(Run("import", {dir.File("bare.db")}).exitCode, 2);
}

// Catches logs set up by index alone: an import's store failures must reach my.log beside the program, and
// its own log start with the command. A copy of the program keeps the build's logs out.
TEST_F(CliTest, ImportWritesTheStoreFailuresToMyLogBesideTheProgram) {
    const QString program = dir.File(QStringLiteral("program/tembrix-cli"));
    ASSERT_TRUE(QDir().mkpath(QFileInfo(program).path()) &&
                QFile::copy(test::BinPath("tembrix-cli"), program));
    ASSERT_TRUE(test::MakeDatabase(db) && test::MakeDatabase(source, {Row("a")}));
    SqliteConnection c;
    ASSERT_TRUE(c.Open(db) &&
                c.Exec("CREATE TRIGGER no BEFORE INSERT ON Data BEGIN SELECT RAISE(ABORT, 'no'); END"));
    QProcess p;
    Start(p, {"import", "--db", db, source}, program);
    ASSERT_TRUE(p.waitForFinished(60000));
    QFile myLog(dir.File("program/my.log")), programLog(dir.File("program/tembrix-cli.log"));
    ASSERT_TRUE(myLog.open(QIODevice::ReadOnly) && programLog.open(QIODevice::ReadOnly));
    EXPECT_TRUE(myLog.readAll().contains("Query insert error!") &&
                programLog.readLine().contains("import --db"));
}

// Catches SIGTERM ending an import at once, without its summary, instead of stopping it as Ctrl+C does. The
// import is held by its lines filling the output pipe, which the test does not read.
TEST_F(CliTest, SigtermStopsAnImportWhichStillReportsWhatItDid) {
    std::vector<RawRow> rows;  // a duplicate line each: far more than the pipe and the line queue hold
    for (int i = 0; i < 10000; ++i) {
        rows.push_back(Row(QStringLiteral("m%1").arg(i), 8));
    }
    ASSERT_TRUE(test::MakeDatabase(db, rows) && test::MakeDatabase(source, rows));
    QProcess p;
    Start(p, {"import", "--db", db, source});
    ASSERT_TRUE(p.waitForStarted());
    const QString wchan = QStringLiteral("/proc/%1/wchan").arg(p.processId());
    bool blocked = false;
    for (QDeadlineTimer deadline(60000); !blocked && !deadline.hasExpired();) {
        QFile f(wchan);
        blocked = f.open(QIODevice::ReadOnly) && f.readAll().contains("pipe_write");
        QThread::msleep(10);
    }
    ASSERT_TRUE(blocked) << "the import never filled its output pipe";
    ::kill(static_cast<pid_t>(p.processId()), SIGTERM);
    ASSERT_TRUE(p.waitForFinished(60000));
    const QStringList out = QString::fromUtf8(p.readAllStandardOutput()).split(u'\n');
    EXPECT_TRUE(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 1 &&
                out.contains("Импорт остановлен!"));
    const QStringList processed = out.filter(QStringLiteral("Обработано записей: "));
    EXPECT_TRUE(processed.size() == 1 && processed[0] != "Обработано записей: 10000 из 10000")
        << out.join(u'\n').toStdString();
}

}  // namespace
}  // namespace tembrix
