// tembrix-cli index, run as a separate process on media made at test time with the real tools. What the
// workers store and report for each file is checked by the indexing tests; here how the command queues
// its paths, refuses what it cannot index, its report, counters and exit status, its work folder, and
// Ctrl+C and SIGTERM.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include "app/indexing_queue.h"
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
    // Starts tembrix-cli index --db <db> `args` in the test's folder, bound by file permissions as a
    // plain user is (even when the tests run as root). With `ownGroup` in a process group of its own, as
    // a shell gives a job: the terminal's Ctrl+C goes to the whole group.
    void Start(QProcess& p, const QStringList& args, bool ownGroup = false) {
        p.setWorkingDirectory(dir.Path());
        p.setProcessEnvironment(env);
        p.setChildProcessModifier([ownGroup] {
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0);
            if (ownGroup) {
                ::setpgid(0, 0);
            }
        });
        p.start(test::BinPath(QStringLiteral("tembrix-cli")), QStringList{"index", "--db", db} + args);
    }
    // "source_path/audio_track/all_tracks" of every row, sorted.
    QStringList Rows() {
        SqliteConnection c;
        EXPECT_TRUE(c.Open(db));
        SqliteStatement q(c, "SELECT source_path || '/' || audio_track || '/' || all_tracks FROM Data");
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

// Every refusal before the job exits with 2, names its reason, and neither indexes nor makes a work folder.
TEST_F(CliIndexTest, UsageAndConfigurationErrorsExitWithTwoAndIndexNothing) {
    const QString media = Place(MediaFixtures::Instance().Tone(".wav", 61), "a.wav");
    const QString unmade = dir.File(QStringLiteral("unmade/work"));
    const QString locked = dir.File(QStringLiteral("locked"));
    QDir().mkpath(locked);
    QFile::setPermissions(locked, QFileDevice::Permissions());
    const struct {
        QStringList args;
        QByteArray says;
    } cases[] = {
        {{}, "Usage: tembrix-cli index"},
        {{"--threads", "0", media}, "--threads needs a whole number of 1 or more"},
        {{"--threads", "two", media}, "--threads needs a whole number of 1 or more"},
        {{"--work-dir", unmade, dir.File("none.mp3")}, "Не найден файл: "},
        // An unreadable folder was taken for an empty one: "Добавьте в список аудио или видео файлы!".
        {{"--work-dir", unmade, locked, media}, "Cannot read the folder: " + locked.toUtf8()},
        {{"--work-dir", unmade, dir.Write("notes.txt", "x")}, "Добавьте в список аудио или видео файлы!"},
        {{"--work-dir", dir.File("notes.txt"), media}, "Cannot create the work folder: "},
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
    EXPECT_FALSE(QFileInfo::exists(unmade));
    QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

// What cannot be indexed is refused by name and the job goes on with the rest: a FIFO (named or listed)
// hung the job in its first read, a name that is not UTF-8 was "Не найден файл", a huge --threads made
// a slot (and a folder) per thread, and a --work-dir that did not exist was refused. The work folder is
// made with its parents and left empty.
TEST_F(CliIndexTest, RefusedPathsAreNamedAndTheJobGoesOnWithTheRest) {
    const QString media = Place(MediaFixtures::Instance().Tone(".wav", 61), "a.wav");
    const QString fifo = dir.File(QStringLiteral("pipe.wav"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString listedFifo = dir.File(QStringLiteral("listed.wav"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(listedFifo).constData(), 0600), 0);
    dir.Write("fifo.list", listedFifo.toUtf8() + '\n');
    const QByteArray notUtf8 = "bad\xff.wav";
    const QByteArray notUtf8Path = QFile::encodeName(dir.Path()) + '/' + notUtf8;
    const int fd = ::open(notUtf8Path.constData(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ::close(fd);
    const QString work = dir.File(QStringLiteral("new/work"));
    const struct {
        QByteArray shellWord;
        QString says;
    } refusals[] = {
        {"pipe.wav", kNotRegularFileSkipped + fifo},
        {"fifo.list", kNotRegularFileSkipped + listedFifo},
        {"\"$(printf 'bad\\377.wav')\"", kNameNotUtf8Skipped + dir.File(QStringLiteral("bad\uFFFD.wav"))},
    };
    // Through a shell, so that the name that is not UTF-8 arrives as the bytes it is.
    QByteArray script = "exec \"$0\" index --db \"$1\" --threads 99999999 --work-dir \"$2\" a.wav";
    for (const auto& r : refusals) {
        script += ' ' + r.shellWord;
    }
    QProcess p;
    p.setWorkingDirectory(dir.Path());
    p.setProcessEnvironment(env);
    p.start(QStringLiteral("/bin/sh"),
            {"-c", QString::fromLatin1(script), test::BinPath(QStringLiteral("tembrix-cli")), db, work});
    ASSERT_TRUE(p.waitForFinished(120000));
    const QString err = QString::fromUtf8(p.readAllStandardError());
    EXPECT_EQ(p.exitCode(), 1) << err.toStdString();
    for (const auto& r : refusals) {
        EXPECT_TRUE(err.contains(r.says)) << r.says.toStdString();
    }
    EXPECT_FALSE(err.contains(QStringLiteral("Не найден файл")));
    EXPECT_TRUE(err.contains(QStringLiteral("--threads 99999999 is more than the")));
    EXPECT_EQ(QString::fromUtf8(p.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts),
              QStringList{QStringLiteral("Обработан успешно: ") + media} + Counters(1, 1, 0, 0, 0, 0));
    EXPECT_TRUE(QDir(work).exists());
    EXPECT_TRUE(QDir(work).isEmpty());
    ::unlink(notUtf8Path.constData());  // a name the temporary folder's clean-up cannot spell
}

// Ctrl+C (to the whole job) and SIGTERM (to the program alone) stop the job as the Stop command does:
// the file in work is marked stopped and the slot folders go, and nothing else in the work folder.
// SIGTERM used to end the program at once.
TEST_F(CliIndexTest, CtrlCAndSigtermStopTheJobLikeTheStopCommand) {
    const QString work = dir.File(QStringLiteral("work"));
    dir.Write(QStringLiteral("work/keep.txt"), "mine");
    const QString started = dir.File(QStringLiteral("started"));
    const QString sox = test::WriteFakeTool(
        dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
        QStringLiteral("touch '%1'; sleep 1; exec '%2' \"$@\"").arg(started, test::RealSox()));
    QStringList files;
    for (int v = 0; v < 3; ++v) {
        files.append(
            Place(MediaFixtures::Instance().Tone(".flac", 61, v), QStringLiteral("m%1.flac").arg(v)));
    }
    const struct {
        int signal;
        bool toGroup;
    } cases[] = {{SIGINT, true}, {SIGTERM, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.signal);
        QFile::remove(started);
        QFile::remove(db);
        TDataModule1 store;
        ASSERT_TRUE(store.Connect(db) && store.CreateTable());
        store.Disconnect();
        QProcess p;
        Start(
            p,
            QStringList{"--threads", "1", "--work-dir", work, "--sox", sox, "--ffmpeg", test::RealFfmpeg()} +
                files,
            true);
        ASSERT_TRUE(p.waitForStarted());
        QDeadlineTimer deadline(60000);
        while (!QFileInfo::exists(started) && !deadline.hasExpired()) {
            QThread::msleep(10);
        }
        ASSERT_TRUE(QFileInfo::exists(started));
        const auto pid = static_cast<pid_t>(p.processId());
        ::kill(c.toGroup ? -pid : pid, c.signal);
        ASSERT_TRUE(p.waitForFinished(120000));
        const QString err = QString::fromUtf8(p.readAllStandardError());
        EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(p.exitCode(), 1);
        EXPECT_EQ(QString::fromUtf8(p.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts),
                  QStringList{QStringLiteral("Остановлен: ") + files[0]} + Counters(3, 0, 0, 0, 0, 2));
        EXPECT_TRUE(err.contains(QStringLiteral("Индексация остановлена!"))) << err.toStdString();
        EXPECT_FALSE(err.contains(QStringLiteral("Задание выполнено!")));
        EXPECT_EQ(QDir(work).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"keep.txt"});
    }
}

}  // namespace
}  // namespace tembrix
