// tembrix-cli envelope, create, list, show, clear, vacuum, check, import and stats, run as a separate
// process: their output and exit status. What the store and the workers find is checked by the database
// tests; here how each command hands it on.

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QtEndian>
#include <csignal>

#include "database/maint_test_db.h"
#include "support/cli_runner.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::ImportSummary;
using test::RawRow;
using test::Row;

class CliTest : public ::testing::Test {
protected:
    void SetUp() override {
        // A settings folder of its own, so no desktop settings leak into --db defaults.
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
    }
    test::CliResult Cli(const QStringList& args) { return test::RunCli(args, env); }
    // `command` --db <db> `more`.
    test::CliResult Run(const char* command, const QStringList& more = {}) {
        return Cli(QStringList{QString::fromUtf8(command), QStringLiteral("--db"), db} + more);
    }

    test::TempDir dir;
    QString db = dir.File(QStringLiteral("main.db"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

TEST_F(CliTest, EnvelopeWritesTheBlobAndPrintsItsFigures) {
    // 2.5 blocks, one sample of them -32768, and an odd byte, which is ignored.
    QByteArray raw(1200 * 2, '\0');
    for (int i = 0; i < 1200; ++i) {
        qToLittleEndian<int16_t>(static_cast<int16_t>(i == 485 ? -32768 : i * 37 % 2000 - 1000),
                                 raw.data() + 2 * i);
    }
    const QString out = dir.File(QStringLiteral("out.env"));
    const auto r = Cli({"envelope", dir.Write(QStringLiteral("in.dat"), raw + '\x01'), out});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.OutLines(), QStringList{"count=2 index_size=4 duration=0"});
    QFile f(out);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(test::ValuesOfBlob(f.readAll()), test::ReduceSamples(raw));
}

// Every refusal exits with 2 and says why on standard error, before any output.
TEST_F(CliTest, RefusalsExitWithTwoAndSayWhy) {
    ASSERT_TRUE(test::MakeDatabase(db));
    const QString none = dir.File(QStringLiteral("none.db"));
    const QString text = dir.Write(QStringLiteral("text.db"), QByteArray(2048, 't'));
    const QString noTable = dir.File(QStringLiteral("bare.db"));
    ASSERT_TRUE(SqliteConnection().Open(noTable));
    const QString raw = dir.Write(QStringLiteral("x.dat"), QByteArray(960, 'a'));
    const struct {
        QStringList args;
        const char* says;
    } cases[] = {
        {{}, "Usage: tembrix-cli COMMAND"},
        {{"no-such-command"}, "Unknown command: no-such-command"},
        {{"envelope", none, dir.File("o")}, "Cannot read the raw audio file: "},
        {{"envelope", raw, dir.File("no/dir/o")}, "Cannot write the envelope file: "},
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
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(u' ').toStdString());
        const auto r = Cli(c.args);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.err.contains(QString::fromUtf8(c.says))) << r.err.toStdString();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.toStdString();
    }
    EXPECT_FALSE(QFile::exists(none));  // never created by an attempt
    EXPECT_EQ(Cli({"--help"}).exitCode, 0);
}

TEST_F(CliTest, CreateListShowVacuumAndClear) {
    const QString fresh = dir.File(QStringLiteral("fresh.db"));
    const auto created = Cli({"create", fresh});
    EXPECT_EQ(created.exitCode, 0) << created.err.toStdString();
    EXPECT_EQ(created.OutLines(), QStringList{"Создана база данных: " + fresh});
    EXPECT_EQ(Cli({"list", "--db", fresh}).exitCode, 0);  // the table is there

    RawRow film = Row("film");
    film.sourceSize = QStringLiteral("1234567");
    film.sourcePath = QStringLiteral("/m/film.mkv");
    film.extension = QStringLiteral("mkv");
    film.type = kTypeVideo;
    film.audioTrack = 1;
    film.allTracks = 3;
    film.duration = 3725;
    film.created = QStringLiteral("05.06.2023");
    film.info = QStringLiteral("Artist: X\nTitle: Y\n");
    ASSERT_TRUE(test::MakeDatabase(db, {Row("zeta"), film}));
    const auto list = Run("list");
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_EQ(list.OutLines(), (QStringList{"2\tfilm [2]", "1\tzeta"}));
    const auto show = Run("show", {"2"});
    EXPECT_EQ(show.exitCode, 0) << show.err.toStdString();
    EXPECT_EQ(show.out,
              QString("Имя исходника=film\nИсходный файл=/m/film.mkv\nРазмер исходника=1 234 567\n"
                      "SHA2 хэш=sha-film\nMD5 хэш=film\nПродолжительность=1:02:05 (3 725 сек)\n"
                      "Расширение=mkv\nТип=видео\nНомер аудио дорожки=2\nВсего аудио дорожек=3\n"
                      "Дата создания=05.06.2023\nРазмер индексного файла=12 000\n\nArtist: X\nTitle: Y\n"));
    EXPECT_EQ(Run("show", {"99"}).exitCode, 1);

    const auto vacuum = Run("vacuum");
    EXPECT_EQ(vacuum.exitCode, 0);
    EXPECT_EQ(vacuum.OutLines(), QStringList{"База данных сжата!"});
    const auto clear = Run("clear");
    EXPECT_EQ(clear.exitCode, 0);
    EXPECT_EQ(clear.OutLines(), QStringList{"База данных успешно очищена!"});
    EXPECT_TRUE(Run("list").out.isEmpty());
}

// Catches a VACUUM or a clear that fails on a damaged file and prints its success or exits 0.
TEST_F(CliTest, VacuumAndClearOfADamagedFileSayTheyFailedAndExitOne) {
    std::vector<RawRow> rows;
    for (int i = 0; i < 20; ++i) {
        rows.push_back(Row(QString::number(i)));
    }
    ASSERT_TRUE(test::MakeDatabase(db, rows));
    ASSERT_TRUE(test::DamageRows(db));
    const auto vacuum = Run("vacuum");
    EXPECT_EQ(vacuum.exitCode, 1);
    EXPECT_TRUE(vacuum.out.isEmpty()) << vacuum.out.toStdString();
    EXPECT_TRUE(vacuum.err.contains("Операция завершилась ошибкой!")) << vacuum.err.toStdString();
    const auto clear = Run("clear");
    EXPECT_EQ(clear.exitCode, 1);
    EXPECT_TRUE(clear.out.isEmpty()) << clear.out.toStdString();
    EXPECT_TRUE(clear.err.contains("Ошибка очистки таблицы!")) << clear.err.toStdString();
}

// Catches an import whose writes fail (here the files may not grow: RLIMIT_FSIZE at the database's
// size, as on a full disk) ending with success, exit 0 or rows counted that are not stored.
TEST_F(CliTest, ImportThatCannotWriteSaysSoAndExitsOne) {
    const QString source = dir.File(QStringLiteral("source.db"));
    ASSERT_TRUE(test::MakeDatabase(db, {Row("y")}));
    ASSERT_TRUE(test::MakeDatabase(source, {Row("x"), Row("y"), Row("z")}));
    ASSERT_EQ(Run("list").exitCode, 0);  // the side indexes are made now, before the limit
    const qint64 limit = QFileInfo(db).size();
    QProcess cli;
    cli.setProcessEnvironment(env);
    cli.setChildProcessModifier([limit] {
        const rlimit size{static_cast<rlim_t>(limit), static_cast<rlim_t>(limit)};
        setrlimit(RLIMIT_FSIZE, &size);
        signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails instead of ending the program
    });
    cli.start(test::BinPath(QStringLiteral("tembrix-cli")), {"import", "--db", db, "--replace", source});
    ASSERT_TRUE(cli.waitForFinished(120000));
    const QStringList out = QString::fromUtf8(cli.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    EXPECT_EQ(cli.exitCode(), 1);
    const QString failed = "Ошибка записи в базу данных! Последние импортированные записи не сохранены.";
    EXPECT_EQ(out.filter(failed).size(), 2) << out.join(u'|').toStdString();  // its line and its box
    EXPECT_FALSE(out.contains("Задание выполнено!"));
    EXPECT_EQ(out.mid(out.size() - 4), ImportSummary(3, 3, 0, 0, 0).mid(1));
    EXPECT_EQ(Run("list").OutLines(), QStringList{"1\ty"});
}

TEST_F(CliTest, CheckPrintsItsFindingsThenTheirNumberAndMapsEachOption) {
    const QString existing = dir.Write(QStringLiteral("b.mp3"), "x");
    RawRow noInfo = Row("b");
    noInfo.sourcePath = existing;
    noInfo.info.clear();
    RawRow shortIndex = Row("c", 2999);
    shortIndex.sourcePath = existing;
    ASSERT_TRUE(test::MakeDatabase(db, {Row("a"), Row("a"), noInfo, shortIndex}));
    const QStringList all = Run("check", {"--sources"}).OutLines();
    ASSERT_EQ(all.size(), 7) << all.join(u'\n').toStdString();
    // Which row of the duplicate pair names it is SQLite's choice.
    EXPECT_TRUE(all[0].endsWith("\tНайдены  дубликаты (2)")) << all[0].toStdString();
    EXPECT_EQ(all.mid(1),
              (QStringList{"Id=3\tНайдены пустые поля (info)", "Id=1\tИсходный файл не найден: /music/a.mp3",
                           "Id=2\tИсходный файл не найден: /music/a.mp3",
                           "Id=4\tРазмер индексных данных (5998) менее минуты!", "Проверка закончена!",
                           "Найдено замечаний: 5"}));
    // Sources are looked for only on request; each --no-* switches its pass off.
    const struct {
        QStringList options;
        const char* pass;
    } cases[] = {{{}, "Исходный файл"},
                 {{"--sources", "--no-duplicates"}, "дубликаты"},
                 {{"--sources", "--no-empty"}, "пустые поля"},
                 {{"--sources", "--no-index"}, "индексных данных"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pass);
        QStringList findings = all.mid(0, 5);
        findings.removeIf([&](const QString& line) { return line.contains(QString::fromUtf8(c.pass)); });
        const QString count = QStringLiteral("Найдено замечаний: %1").arg(findings.size());
        findings << QStringLiteral("Проверка закончена!") << count;
        const auto r = Run("check", c.options);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.OutLines(), findings);
    }
    const auto nothing = Run("check", {"--no-duplicates", "--no-empty", "--no-index"});
    EXPECT_EQ(nothing.exitCode, 0);
    EXPECT_EQ(nothing.OutLines(), (QStringList{"Проверка закончена!", "Найдено замечаний: 0"}));
}

TEST_F(CliTest, ImportPrintsTheWorkersLinesThenTheSummary) {
    const QString source = dir.File(QStringLiteral("source.db"));
    ASSERT_TRUE(test::MakeDatabase(db, {Row("y")}));
    ASSERT_TRUE(test::MakeDatabase(source, {Row("x"), Row("y")}));
    const auto keep = Run("import", {source});
    EXPECT_EQ(keep.exitCode, 0) << keep.err.toStdString();
    const QString duplicate = "Дубликат: MD5-хэш = y\tтрек = 0\tid = 1\tid2 = 2\tразмер = 5000000 байт";
    EXPECT_EQ(keep.OutLines(), (QStringList{duplicate, "Задание выполнено!"} + ImportSummary(2, 2, 1, 0, 1)));
    const auto replace = Run("import", {"--replace", source});
    EXPECT_EQ(replace.exitCode, 0) << replace.err.toStdString();
    EXPECT_EQ(replace.OutLines().mid(2), QStringList{"Задание выполнено!"} + ImportSummary(2, 2, 0, 2, 2));

    // A source without the table fails in the worker, which reports as usual.
    const QString noTable = dir.File(QStringLiteral("bare.db"));
    ASSERT_TRUE(SqliteConnection().Open(noTable));
    const auto keys = Run("import", {noTable});
    EXPECT_EQ(keys.exitCode, 2);
    const QString error = "Ошибка получения списка записей импортируемой базы данных!";
    EXPECT_EQ(keys.OutLines(), (QStringList{error, error} + ImportSummary(0, 0, 0, 0, 0)));
}

TEST_F(CliTest, StatsPrintsTotalsThenEachGroupedFigureUnderItsTitle) {
    RawRow video = Row("v");
    video.type = kTypeVideo;
    video.extension = "mkv";
    video.duration = 2 * 3600;
    video.allTracks = 2;
    video.info.clear();
    RawRow audio = Row("a");
    audio.duration = 45 * 60;
    ASSERT_TRUE(test::MakeDatabase(db, {audio, video}));
    const auto r = Run("stats");
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(
        r.out,
        QString("Всего аудио дорожек=2\nВсего часов=2\nАудио дорожек из аудио файлов=1\nАудио часов=0\n"
                "Аудио дорожек из видео файлов=1\nВидео часов=2\nСуммарный объём исходников (МБ)=9\n"
                "Суммарный объём индексов  (МБ)=0\nСодержат доп. информацию (аудио)=1\n"
                "Не содержат доп. информацию (аудио)=0\nСодержат доп. информацию (видео)=0\n"
                "Не содержат доп. информацию (видео)=1\n\n"
                "Распределение количества файлов в зависимости от расширения:\nmkv=1\nmp3=1\n\n"
                "Распределение по часам в зависимости от расширения:\nmkv=2\nmp3=0\n\n"
                "Распределение количества файлов в зависимости от количества аудио дорожек:\n1=1\n2=1\n\n"
                "Количество аудио дорожек в зависимости от их продолжительности в минутах:\n"
                "40-50 минут=1\n120-130 минут=1\n"));
}

}  // namespace
}  // namespace tembrix
