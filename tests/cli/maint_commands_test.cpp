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

TEST_F(MaintCliTest, CheckPrintsItsFindingsThenTheirNumberAndMapsTheOptions) {
    RawRow noInfo = Row("b", existing);
    noInfo.info.clear();
    ASSERT_TRUE(test::MakeDatabase(db, {Row("a", "/nowhere/a.mp3"), noInfo}));
    // By default the sources are not looked for; --sources adds them, --no-* switch passes off.
    const auto byDefault = Run({"check"});
    EXPECT_EQ(byDefault.exitCode, 1) << byDefault.err.toStdString();
    EXPECT_EQ(byDefault.OutLines(), (QStringList{"Id=2\tНайдены пустые поля (info)", "Проверка закончена!",
                                                 "Найдено замечаний: 1"}));
    const auto withSources = Run({"check", "--sources", "--no-empty"});
    EXPECT_EQ(withSources.exitCode, 1);
    EXPECT_EQ(withSources.OutLines(), (QStringList{"Id=1\tИсходный файл не найден: /nowhere/a.mp3",
                                                   "Проверка закончена!", "Найдено замечаний: 1"}));
    const auto nothing = Run({"check", "--no-duplicates", "--no-empty", "--no-index"});
    EXPECT_EQ(nothing.exitCode, 0);
    EXPECT_EQ(nothing.OutLines(), (QStringList{"Проверка закончена!", "Найдено замечаний: 0"}));
}

TEST_F(MaintCliTest, ImportPrintsTheWorkersLinesThenTheSummary) {
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
    EXPECT_EQ(replace.OutLines().mid(2), QStringList{"Задание выполнено!"} + Summary(2, 2, 0, 2, 2));
}

TEST_F(MaintCliTest, ImportRefusesMissingAndUnreadableSources) {
    ASSERT_TRUE(test::MakeDatabase(db));
    const QString none = dir.File(QStringLiteral("none.db"));
    const QString text = dir.Write(QStringLiteral("text.db"), QByteArray(2048, 't'));
    const QString noTable = dir.File(QStringLiteral("empty.db"));
    ASSERT_TRUE(SqliteConnection().Open(noTable));
    const struct {
        QStringList args;
        const char* says;
    } cases[] = {
        {{"import", none}, "Выберите импортируемую базу данных!"},
        {{"import", text}, "Ошибка подключения импортируемой базы данных!"},
        {{"import"}, "Usage: tembrix-cli import"},
        {{"import", "--keep", text}, "--keep"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(u' ').toStdString());
        const auto r = Run(c.args);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.err.contains(QString::fromUtf8(c.says))) << r.err.toStdString();
    }
    EXPECT_FALSE(QFile::exists(none));  // never created by the attempt
    // A source without the table fails in the worker, which reports as usual.
    const auto keys = Run({"import", noTable});
    EXPECT_EQ(keys.exitCode, 2);
    const QString error = "Ошибка получения списка записей импортируемой базы данных!";
    EXPECT_EQ(keys.OutLines(), (QStringList{error, error} + Summary(0, 0, 0, 0, 0)));
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
    // The figures themselves are checked by the statistics tests; here their layout.
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

TEST_F(MaintCliTest, MissingOrTablelessDatabaseAndBadArgumentsExitWithTwo) {
    EXPECT_EQ(Run({"check"}).exitCode, 2);  // no file yet
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
