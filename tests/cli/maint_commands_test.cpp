// tembrix-cli check, import and stats, run as a separate process: their exact output and exit status.

#include <gtest/gtest.h>

#include <signal.h>

#include <QFile>
#include <QProcess>

#include "database/maint_test_db.h"
#include "support/cli_runner.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RawRow;
using test::RunCli;

// An environment whose settings folder is empty, so no desktop settings leak into --db defaults.
QProcessEnvironment IsolatedEnv(const test::TempDir& dir) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
    return env;
}

RawRow Row(const QString& md5, const QString& path) {
    RawRow r;
    r.md5 = md5;
    r.sourcePath = path;
    return r;
}

QStringList Summary(int processed, int total, int ignored, int deleted, int added) {
    return {QString(), QStringLiteral("Обработано записей: %1 из %2").arg(processed).arg(total),
            QStringLiteral("Проигнорировано дубликатов: %1").arg(ignored),
            QStringLiteral("Удалено записей: %1").arg(deleted),
            QStringLiteral("Добавлено новых записей: %1").arg(added)};
}

class MaintCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        env = IsolatedEnv(dir);
        existing = dir.Write(QStringLiteral("a.mp3"), QByteArray("x"));
        db = dir.File(QStringLiteral("main.db"));
    }
    test::CliResult Run(QStringList args) {
        args.insert(1, QStringLiteral("--db"));
        args.insert(2, db);
        return RunCli(args, env);
    }

    test::TempDir dir;
    QProcessEnvironment env;
    QString existing;
    QString db;
};

TEST_F(MaintCliTest, CheckPrintsEveryFindingThenTheirNumber) {
    RawRow noInfo = Row("b", existing);
    noInfo.info.clear();
    RawRow shortIndex = Row("c", existing);
    shortIndex.indexSize = 2000;
    shortIndex.indexData = test::PlainEnvelope(1000);
    ASSERT_TRUE(test::MakeDatabase(db, {Row("a", "/nowhere/a.mp3"), noInfo, shortIndex}));

    const auto byDefault = Run({"check"});
    EXPECT_EQ(byDefault.exitCode, 1) << byDefault.err.toStdString();
    EXPECT_EQ(byDefault.OutLines(), (QStringList{"Id=2\tНайдены пустые поля (info)",
                                                 "Id=3\tРазмер индексных данных (2000) менее минуты!",
                                                 "Проверка закончена!", "Найдено замечаний: 2"}));

    const auto withSources = Run({"check", "--sources", "--no-index"});
    EXPECT_EQ(withSources.exitCode, 1);
    EXPECT_EQ(withSources.OutLines(), (QStringList{"Id=2\tНайдены пустые поля (info)",
                                                   "Id=1\tИсходный файл не найден: /nowhere/a.mp3",
                                                   "Проверка закончена!", "Найдено замечаний: 2"}));

    const auto nothing = Run({"check", "--no-duplicates", "--no-empty", "--no-index"});
    EXPECT_EQ(nothing.exitCode, 0);
    EXPECT_EQ(nothing.OutLines(), (QStringList{"Проверка закончена!", "Найдено замечаний: 0"}));
}

TEST_F(MaintCliTest, CheckOfDuplicatesNamesTheGroupSize) {
    ASSERT_TRUE(test::MakeDatabase(db, {Row("a", existing), Row("a", existing), Row("a", existing)}));
    const auto r = Run({"check", "--no-empty", "--no-index"});
    EXPECT_EQ(r.exitCode, 1);
    const QStringList lines = r.OutLines();
    ASSERT_EQ(lines.size(), 3) << r.out.toStdString();
    EXPECT_TRUE(lines[0].startsWith("Id=")) << lines[0].toStdString();
    EXPECT_TRUE(lines[0].endsWith("\tНайдены  дубликаты (3)")) << lines[0].toStdString();
    EXPECT_EQ(lines[2], "Найдено замечаний: 1");
}

TEST_F(MaintCliTest, ImportKeepsThenReplacesAndPrintsTheSummary) {
    const QString source = dir.File(QStringLiteral("source.db"));
    ASSERT_TRUE(test::MakeDatabase(db, {Row("y", existing)}));
    ASSERT_TRUE(test::MakeDatabase(source, {Row("x", existing), Row("y", existing)}));

    const auto keep = Run({"import", source});
    EXPECT_EQ(keep.exitCode, 0) << keep.err.toStdString();
    EXPECT_EQ(keep.OutLines(),
              (QStringList{"Дубликат: MD5-хэш = y\tтрек = 0\tid = 1\tid2 = 2\tразмер = 5000000 байт",
                           "Задание выполнено!"} +
               Summary(2, 2, 1, 0, 1)));

    const auto replace = Run({"import", "--replace", source});
    EXPECT_EQ(replace.exitCode, 0) << replace.err.toStdString();
    EXPECT_EQ(replace.OutLines(),
              (QStringList{"Дубликат: MD5-хэш = x\tтрек = 0\tid = 2\tid2 = 1\tразмер = 5000000 байт",
                           "Дубликат: MD5-хэш = y\tтрек = 0\tid = 1\tid2 = 2\tразмер = 5000000 байт",
                           "Задание выполнено!"} +
               Summary(2, 2, 0, 2, 2)));
    // The replaced rows came back with new ids, in the source's order.
    SqliteConnection c;
    ASSERT_TRUE(c.Open(db));
    SqliteStatement q(c.Handle(), "SELECT id, md5 FROM Data ORDER BY id");
    QStringList ids;
    while (q.Next()) {
        ids.append(q.Text(0) + u'=' + q.Text(1));
    }
    EXPECT_EQ(ids, (QStringList{"3=x", "4=y"}));
}

TEST_F(MaintCliTest, ImportRefusesMissingAndUnreadableSources) {
    ASSERT_TRUE(test::MakeDatabase(db));
    const auto missing = Run({"import", dir.File(QStringLiteral("none.db"))});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_TRUE(missing.err.contains("Выберите импортируемую базу данных!"));
    EXPECT_FALSE(QFile::exists(dir.File(QStringLiteral("none.db"))));  // never created by the attempt

    const QString text = dir.Write(QStringLiteral("text.db"), QByteArray(2048, 't'));
    const auto notDatabase = Run({"import", text});
    EXPECT_EQ(notDatabase.exitCode, 2);
    EXPECT_TRUE(notDatabase.err.contains("Ошибка подключения импортируемой базы данных!"));

    const QString noTable = dir.File(QStringLiteral("empty.db"));
    ASSERT_TRUE(SqliteConnection().Open(noTable));
    const auto keys = Run({"import", noTable});
    EXPECT_EQ(keys.exitCode, 2);
    const QString error = "Ошибка получения списка записей импортируемой базы данных!";
    EXPECT_EQ(keys.OutLines(), (QStringList{error, error} + Summary(0, 0, 0, 0, 0)));

    EXPECT_EQ(Run({"import"}).exitCode, 2);
    EXPECT_EQ(Run({"import", "--keep", text}).exitCode, 2);
}

TEST_F(MaintCliTest, InterruptStopsTheImportWhichStillReportsAndCommits) {
    const QString source = dir.File(QStringLiteral("source.db"));
    std::vector<RawRow> rows;
    for (int i = 0; i < 30000; ++i) {
        RawRow r = Row(QString::number(i), existing);
        r.indexSize = 2;
        r.indexData = QByteArray(2, '\1');
        rows.push_back(r);
    }
    ASSERT_TRUE(test::MakeDatabase(source, rows));
    ASSERT_TRUE(test::MakeDatabase(db, rows));  // every row a duplicate: one line each

    QProcess p;
    p.setProcessEnvironment(env);
    p.start(test::BinPath(QStringLiteral("tembrix-cli")), {"import", "--db", db, source});
    ASSERT_TRUE(p.waitForStarted());
    ASSERT_TRUE(p.waitForReadyRead(60000));
    ::kill(static_cast<pid_t>(p.processId()), SIGINT);
    ASSERT_TRUE(p.waitForFinished(60000));
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 1);
    const QStringList lines = QString::fromUtf8(p.readAllStandardOutput()).split(u'\n');
    const qsizetype stopped = lines.indexOf("Импорт остановлен!");
    ASSERT_GT(stopped, 0);
    const QString processed = lines.value(stopped + 2);
    EXPECT_TRUE(processed.startsWith("Обработано записей: ")) << processed.toStdString();
    EXPECT_TRUE(processed.endsWith(" из 30000")) << processed.toStdString();
    EXPECT_NE(processed, "Обработано записей: 30000 из 30000");
}

TEST_F(MaintCliTest, StatsPrintsTotalsThenEachGroupedFigure) {
    RawRow video = Row("v", existing);
    video.type = kTypeVideo;
    video.extension = "mkv";
    video.duration = 2 * 3600;
    video.allTracks = 2;
    video.info.clear();
    RawRow audio = Row("a", existing);
    audio.duration = 45 * 60;
    ASSERT_TRUE(test::MakeDatabase(db, {audio, video}));
    const auto r = Run({"stats"});
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.OutLines(), (QStringList{
                                "Всего аудио дорожек=2",
                                "Всего часов=2",
                                "Аудио дорожек из аудио файлов=1",
                                "Аудио часов=0",
                                "Аудио дорожек из видео файлов=1",
                                "Видео часов=2",
                                "Суммарный объём исходников (МБ)=9",
                                "Суммарный объём индексов  (МБ)=0",
                                "Содержат доп. информацию (аудио)=1",
                                "Не содержат доп. информацию (аудио)=0",
                                "Содержат доп. информацию (видео)=0",
                                "Не содержат доп. информацию (видео)=1",
                                "",
                                "Распределение количества файлов в зависимости от расширения:",
                                "mkv=1",
                                "mp3=1",
                                "",
                                "Распределение по часам в зависимости от расширения:",
                                "mkv=2",
                                "mp3=0",
                                "",
                                "Распределение количества файлов в зависимости от количества аудио дорожек:",
                                "1=1",
                                "2=1",
                                "",
                                "Количество аудио дорожек в зависимости от их продолжительности в минутах:",
                                "40-50 минут=1",
                                "120-130 минут=1",
                            }));
}

TEST_F(MaintCliTest, MissingOrTablelessDatabaseIsAConnectionError) {
    for (const char* command : {"check", "stats"}) {
        EXPECT_EQ(Run({command}).exitCode, 2) << command;  // no file yet
    }
    ASSERT_TRUE(SqliteConnection().Open(db));
    for (const char* command : {"check", "stats"}) {
        const auto r = Run({command});
        EXPECT_EQ(r.exitCode, 2) << command;
        EXPECT_TRUE(r.out.isEmpty()) << command;
    }
    EXPECT_EQ(Run({"check", "--fast"}).exitCode, 2);
    EXPECT_EQ(Run({"stats", "extra"}).exitCode, 2);
}

}  // namespace
}  // namespace tembrix
