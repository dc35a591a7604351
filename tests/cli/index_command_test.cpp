// tembrix-cli index, run as a separate process on media made at test time with the real tools. What the
// workers store and report for each file is checked by the indexing tests; here how the command queues
// its paths, its report, counters and exit status, and Ctrl+C.

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include "database/index_store.h"
#include "database/sqlite.h"
#include "support/cli_runner.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::MediaFixtures;

QStringList Sorted(QStringList l) {
    l.sort();
    return l;
}

QStringList Counters(int files, int done, int errors, int already, int inWork, int left) {
    return {QStringLiteral("Кол-во файлов: %1").arg(files),
            QStringLiteral("Обработано: %1").arg(done),
            QStringLiteral("Ошибка: %1").arg(errors),
            QStringLiteral("Проиндексировано ранее: %1").arg(already),
            QStringLiteral("В обработке: %1").arg(inWork),
            QStringLiteral("Осталось: %1").arg(left)};
}

class CliIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        // A settings folder of its own, so no desktop settings leak in.
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
        TDataModule1 store;
        ASSERT_TRUE(store.Connect(db) && store.CreateTable());
    }
    // A copy of `fixture` at `name` in the test's folder.
    QString Place(const QString& fixture, const QString& name) {
        const QString path = dir.File(name);
        QDir().mkpath(QFileInfo(path).path());
        EXPECT_TRUE(QFile::copy(fixture, path)) << fixture.toStdString();
        return path;
    }
    // Starts tembrix-cli index --db <db> `args` in the test's folder.
    void Start(QProcess& p, const QStringList& args) {
        p.setWorkingDirectory(dir.Path());
        p.setProcessEnvironment(env);
        p.start(test::BinPath(QStringLiteral("tembrix-cli")), QStringList{"index", "--db", db} + args);
    }
    // "source_path/audio_track/all_tracks" of every row, sorted.
    QStringList Rows() {
        SqliteConnection c;
        EXPECT_TRUE(c.Open(db));
        SqliteStatement q(c.Handle(),
                          "SELECT source_path || '/' || audio_track || '/' || all_tracks FROM Data");
        QStringList rows;
        while (q.Next()) {
            rows.append(q.Text(0));
        }
        return Sorted(rows);
    }

    test::TempDir dir;
    QString db = dir.File(QStringLiteral("index.db"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

// Folders are walked, .list files read as the window reads them, relative paths made full; tools given
// by bare name are found on PATH, although they run in the work folder.
TEST_F(CliIndexTest, PathsAreQueuedWithFullNamesThenIndexedReportedAndCounted) {
    auto& fx = MediaFixtures::Instance();
    const QString mp3 = Place(fx.Tone(".mp3", 61), "media/Песня \"один\" 'A'.mp3");
    const QString mkv = Place(fx.Video(3), "media/film.mkv");
    const QString shortWav = Place(fx.Tone(".wav", 59), "media/short.wav");
    const QString deep = Place(fx.Tone(".ogg", 61), "media/sub/deep.ogg");
    dir.Write("media/notes.txt", "not media");
    const QString listed = Place(fx.Tone(".flac", 61, 2), "listed.flac");
    const QString named = Place(fx.Tone(".wav", 61, 3), "named.wav");
    // A BOM, CR LF, a duplicate, an empty line and a vanished file.
    dir.Write("files.list", "\xEF\xBB\xBF" + listed.toUtf8() + "\r\n" + listed.toUtf8() + "\r\n\r\n" +
                                dir.File("gone.txt").toUtf8() + "\r\n");
    QProcess p;
    Start(p, {"--threads", "2", "--no-copy", "--sox", "sox", "--ffmpeg", "ffmpeg", "media", "files.list",
              "named.wav"});
    ASSERT_TRUE(p.waitForFinished(120000));
    const QString err = QString::fromUtf8(p.readAllStandardError());
    EXPECT_EQ(p.exitCode(), 1) << err.toStdString();  // the short file failed
    const QStringList out = QString::fromUtf8(p.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    const QString ok = QStringLiteral("Обработан успешно: ");
    // The report comes before the six counters, its lines in the order the two workers finish.
    EXPECT_EQ(Sorted(out.mid(0, out.size() - 6)),
              Sorted({ok + mp3, ok + mkv, ok + deep, ok + listed, ok + named,
                      QStringLiteral("Очень маленький размер аудио данных! - ") + shortWav}));
    EXPECT_EQ(out.mid(out.size() - 6), Counters(6, 5, 1, 0, 0, 0));
    EXPECT_TRUE(err.contains(QStringLiteral("Задание выполнено!")));
    EXPECT_FALSE(err.contains(QStringLiteral("files ")));  // no progress line off a terminal
    EXPECT_EQ(Rows(), Sorted({mkv + "/0/3", mkv + "/1/3", mkv + "/2/3", deep + "/0/1", mp3 + "/0/1",
                              listed + "/0/1", named + "/0/1"}));
}

TEST_F(CliIndexTest, UsageAndConfigurationErrorsExitWithTwoAndIndexNothing) {
    const QString media = Place(MediaFixtures::Instance().Tone(".wav", 61), "a.wav");
    const struct {
        QStringList args;
        const char* says;
    } cases[] = {
        {{}, "Usage: tembrix-cli index"},
        {{"--threads", "0", media}, "--threads needs a whole number of 1 or more"},
        {{"--threads", "two", media}, "--threads needs a whole number of 1 or more"},
        {{dir.File("none.mp3")}, "Не найден файл: "},
        {{dir.Write("notes.txt", "x")}, "Добавьте в список аудио или видео файлы!"},
        {{"--sox", dir.File("sox"), media},
         "Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(u' ').toStdString());
        QProcess p;
        Start(p, c.args);
        ASSERT_TRUE(p.waitForFinished(60000));
        EXPECT_EQ(p.exitCode(), 2);
        EXPECT_TRUE(QString::fromUtf8(p.readAllStandardError()).contains(QString::fromUtf8(c.says)));
        EXPECT_TRUE(p.readAllStandardOutput().isEmpty());
    }
    EXPECT_TRUE(Rows().empty());
}

// Ctrl+C stops the job as the Stop command does: the file in work is marked stopped, the slot folders go.
TEST_F(CliIndexTest, CtrlCStopsTheJobLikeTheStopCommand) {
    const QString work = dir.File(QStringLiteral("work"));
    QDir().mkpath(work);
    const QString started = dir.File(QStringLiteral("started"));
    const QString sox = test::WriteFakeTool(
        dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
        QStringLiteral("touch '%1'; sleep 1; exec '%2' \"$@\"").arg(started, test::RealSox()));
    QStringList files;
    for (int v = 0; v < 3; ++v) {
        files.append(
            Place(MediaFixtures::Instance().Tone(".flac", 61, v), QStringLiteral("m%1.flac").arg(v)));
    }
    QProcess p;
    // A process group of its own, as a shell gives a job: the terminal's Ctrl+C goes to the whole group.
    p.setChildProcessModifier([] { ::setpgid(0, 0); });
    Start(p, QStringList{"--threads", "1", "--work-dir", work, "--sox", sox, "--ffmpeg", test::RealFfmpeg()} +
                 files);
    ASSERT_TRUE(p.waitForStarted());
    QDeadlineTimer deadline(60000);
    while (!QFileInfo::exists(started) && !deadline.hasExpired()) {
        QThread::msleep(10);
    }
    ASSERT_TRUE(QFileInfo::exists(started));
    ::kill(-static_cast<pid_t>(p.processId()), SIGINT);
    ASSERT_TRUE(p.waitForFinished(120000));
    const QString err = QString::fromUtf8(p.readAllStandardError());
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 1);
    EXPECT_EQ(QString::fromUtf8(p.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts),
              QStringList{QStringLiteral("Остановлен: ") + files[0]} + Counters(3, 0, 0, 0, 0, 2));
    EXPECT_TRUE(err.contains(QStringLiteral("Индексация остановлена!"))) << err.toStdString();
    EXPECT_FALSE(err.contains(QStringLiteral("Задание выполнено!")));
    EXPECT_TRUE(QDir(work).exists());
    EXPECT_TRUE(QDir(work).isEmpty());
}

}  // namespace
}  // namespace tembrix
