// tembrix-cli index as a process: its options, refusals, report, exit status, work folder and signals.

#include <gtest/gtest.h>

#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QThread>

#include "database/maint_test_db.h"
#include "support/cli_runner.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::MediaFixtures;

// How a started process ended (exit status -1 for a crash).
test::CliResult Wait(QProcess& p) {
    EXPECT_TRUE(p.waitForFinished(120000));
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
            QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
}

// The closing counters: files, done, failed, indexed before, in work, left.
QStringList Counters(int files, int done, int errors, int left) {
    const QString text =
        "Кол-во файлов: %1|Обработано: %2|Ошибка: %3|Проиндексировано ранее: 0|В обработке: 0|Осталось: %4";
    return text.arg(files).arg(done).arg(errors).arg(left).split(u'|');
}

class CliIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));  // no desktop settings
        ASSERT_TRUE(test::MakeDatabase(db));
    }
    // A copy of `fixture` at `name` in the test's folder.
    QString Place(const QString& fixture, const QString& name) {
        const QString path = dir.File(name);
        QDir().mkpath(QFileInfo(path).path());
        EXPECT_TRUE(QFile::copy(fixture, path)) << fixture.toStdString();
        return path;
    }
    // Starts index --db <db> `args` in the test's folder, bound by file modes even as root, in a process
    // group of its own as a shell's job.
    void Start(QProcess& p, const QStringList& args) {
        p.setWorkingDirectory(dir.Path());
        p.setProcessEnvironment(env);
        p.setChildProcessModifier([] {
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0);
            ::setpgid(0, 0);
        });
        p.start(test::BinPath(QStringLiteral("tembrix-cli")), QStringList{"index", "--db", db} + args);
    }
    QStringList Rows() { return test::RunCli({"list", "--db", db}, env).OutLines(); }

    test::TempDir dir;
    QString db = dir.File(QStringLiteral("index.db"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

// Catches relative paths not made full, tools by bare name not found on PATH from the work folder, the
// report or counters off standard output, a progress line off a terminal, and exit 0 after a failed file.
TEST_F(CliIndexTest, PathsAreQueuedWithFullNamesThenIndexedReportedAndCounted) {
    auto& fx = MediaFixtures::Instance();
    const QString mp3 = Place(fx.Tone(".mp3", 61), "media/Песня \"один\" 'A'.mp3");
    const QString shortWav = Place(fx.Tone(".wav", 59), "media/short.wav");
    const QString named = Place(fx.Tone(".wav", 61, 3), "named.wav");
    QProcess p;
    Start(p, {"--threads", "2", "--no-copy", "--sox", "sox", "--ffmpeg", "ffmpeg", "media", "named.wav"});
    const test::CliResult e = Wait(p);
    EXPECT_EQ(e.exitCode, 1) << e.err.toStdString();
    const QStringList out = e.OutLines(), report = out.mid(0, out.size() - 6);
    EXPECT_EQ(QSet<QString>(report.begin(), report.end()),
              (QSet<QString>{"Обработан успешно: " + mp3, "Обработан успешно: " + named,
                             "Очень маленький размер аудио данных! - " + shortWav}));
    EXPECT_EQ(out.mid(out.size() - 6), Counters(3, 2, 1, 0));
    EXPECT_TRUE(e.err.contains("Задание выполнено!") && !e.err.contains("files "));
    EXPECT_EQ(Rows().size(), 2);
}

// Catches a refusal before the job that exits otherwise than 2, says nothing, indexes or makes a work folder.
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
        {{"--work-dir", unmade, dir.File("none.mp3")}, "Не найден файл: "},
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
        const test::CliResult e = Wait(p);
        EXPECT_TRUE(e.exitCode == 2 && e.err.contains(QString::fromUtf8(c.says)) && e.out.isEmpty())
            << e.err.toStdString();
    }
    EXPECT_TRUE(Rows().empty() && !QFileInfo::exists(unmade));
    QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

// Catches a huge --threads not capped (a slot and a folder per thread), a missing --work-dir refused instead
// of made with its parents, and a work folder not emptied at the end.
TEST_F(CliIndexTest, ThreadsAreCappedAndAMissingWorkFolderIsMadeAndLeftEmpty) {
    const QString media = Place(MediaFixtures::Instance().Tone(".wav", 61), "a.wav");
    const QString work = dir.File(QStringLiteral("new/work"));
    QProcess p;
    Start(p, {"--threads", "99999999", "--work-dir", work, "a.wav"});
    const test::CliResult e = Wait(p);
    EXPECT_TRUE(e.exitCode == 0 && e.err.contains(QStringLiteral("--threads 99999999 is more than the")))
        << e.err.toStdString();
    EXPECT_EQ(e.OutLines(), QStringList{"Обработан успешно: " + media} + Counters(1, 1, 0, 0));
    EXPECT_TRUE(QDir(work).exists() && QDir(work).isEmpty());
}

// Catches Ctrl+C (to the group) or SIGTERM (to the program) ending it at once, or not as Stop does: the file
// in work marked stopped, the slot folders gone and nothing else of the work folder.
TEST_F(CliIndexTest, CtrlCAndSigtermStopTheJobLikeTheStopCommand) {
    const QString work = dir.File(QStringLiteral("work"));
    dir.Write(QStringLiteral("work/keep.txt"), "mine");
    const QString started = dir.File(QStringLiteral("started"));
    const QString sox = test::WriteFakeTool(
        dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
        QStringLiteral("touch '%1'; sleep 1; exec '%2' \"$@\"").arg(started, test::RealSox()));
    auto& fx = MediaFixtures::Instance();
    QStringList files;
    for (int i = 0; i < 3; ++i) {
        files.append(Place(fx.Tone(".flac", 61, i), QStringLiteral("m%1.flac").arg(i)));
    }
    for (const auto& [signal, toGroup] : {std::pair{SIGINT, true}, {SIGTERM, false}}) {
        SCOPED_TRACE(signal);
        QFile::remove(started);
        QProcess p;
        Start(p, QStringList{"--threads", "1", "--work-dir", work, "--sox", sox, "--ffmpeg",
                             test::RealFfmpeg()} +
                     files);
        for (QDeadlineTimer deadline(60000); !QFileInfo::exists(started) && !deadline.hasExpired();) {
            QThread::msleep(10);
        }
        ASSERT_TRUE(QFileInfo::exists(started));
        const auto pid = static_cast<pid_t>(p.processId());
        ::kill(toGroup ? -pid : pid, signal);
        const test::CliResult e = Wait(p);
        EXPECT_EQ(std::pair(e.exitCode, e.OutLines()),
                  std::pair(1, QStringList{"Остановлен: " + files[0]} + Counters(3, 0, 0, 2)));
        EXPECT_TRUE(e.err.contains(QStringLiteral("Индексация остановлена!")) &&
                    !e.err.contains(QStringLiteral("Задание выполнено!")))
            << e.err.toStdString();
        EXPECT_EQ(QDir(work).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"keep.txt"});
    }
}

}  // namespace
}  // namespace tembrix
