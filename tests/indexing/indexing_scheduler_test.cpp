// The scheduler driving real workers (the window's and the command line's tests drive it through their
// front ends): start checks, the job report, the thread limit and slots, stop, and the work folder.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDirIterator>
#include <QEventLoop>
#include <QFileInfo>
#include <QThread>
#include <QTimer>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "app/settings.h"
#include "indexing_test_support.h"
#include "support/recording_messages.h"

namespace tembrix {
namespace {

using test::MediaFixtures;
using test::WriteFakeTool;
using Start = IndexingScheduler::StartResult;

// A queue, live settings and a scheduler of `slots` slots; its program folder is an empty test folder.
class Job {
public:
    explicit Job(int slots = 2, int threads = 2)
        : settings{test::RealFfmpeg(), test::RealSox(), box.WorkDir(), box.DbPath(), threads, true},
          scheduler(queue, box.store, settings, box.dir.File(QStringLiteral("program")), slots) {}

    // Runs the event loop until `done` holds (two minutes at most).
    bool RunUntil(const std::function<bool()>& done) {
        QDeadlineTimer deadline(120000);
        while (!done() && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            QThread::msleep(5);
        }
        return done();
    }
    // Starts a job and runs it to its end.
    bool Run() {
        return scheduler.StartExecute() == Start::Started &&
               RunUntil([this] { return !scheduler.IsRunning(); });
    }
    QString Add(const QString& extension, int variant = 0) {
        const QString file = MediaFixtures::Instance().Tone(extension, 61, variant);
        queue.AddFile(file);
        return file;
    }
    QString FakeSox(const QString& body) {
        return WriteFakeTool(box.dir.File(QStringLiteral("tools")), QStringLiteral("sox"), body);
    }

    test::RecordingMessages messages;
    test::IndexingSandbox box;
    IndexingQueue queue;
    Settings settings;
    IndexingScheduler scheduler;
};

QStringList Sorted(QStringList list) {
    list.sort();
    return list;
}

QStringList LinesOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts)
                                       : QStringList();
}

// Everything is wrong at first; each step mends one thing and the next check refuses (each with its
// message: the window's and the command line's tests). A tool setting naming a missing file is refused;
// an empty one is filled in by the locator, beside the program first, then from PATH.
TEST(IndexingScheduler, StartChecksComeInOrder) {
    Job job;
    const QString nowhere = QStringLiteral("/nowhere/tool");
    job.settings =
        Settings{nowhere, nowhere, QString(), job.box.dir.File(QStringLiteral("gone.db")), 1, true};
    const QString beside = job.box.dir.File(QStringLiteral("program/ffmpeg"));
    const std::pair<std::function<void(Job&)>, Start> steps[] = {
        {[](Job&) {}, Start::NoWorkDir},
        {[](Job& j) { j.settings.workDir = j.box.WorkDir(); }, Start::NoDatabase},
        {[](Job& j) { j.settings.dbPath = j.box.DbPath(); }, Start::NoFfmpeg},
        {[&](Job& j) {
             j.settings.ffmpegPath.clear();
             WriteFakeTool(QFileInfo(beside).path(), QStringLiteral("ffmpeg"), QStringLiteral("exit 0"));
         },
         Start::NoSox},
        {[](Job& j) { j.settings.soxPath.clear(); }, Start::EmptyQueue},
    };
    for (const auto& [mend, result] : steps) {
        mend(job);
        EXPECT_EQ(job.scheduler.StartExecute(), result);
    }
    EXPECT_EQ(job.messages.shown.size(), 5);
    EXPECT_EQ(job.scheduler.FfmpegPath(), beside);
    EXPECT_EQ(job.scheduler.SoxPath(), test::RealSox());
    EXPECT_FALSE(job.scheduler.IsRunning());
}

// The tool settings are empty: the workers must get the tools the locator finds (on PATH here). The
// report as shown, the statuses and the commit are the window's and the command line's cases.
TEST(IndexingScheduler, JobReportsEveryOutcome) {
    Job job;
    job.settings.soxPath.clear();
    job.settings.ffmpegPath.clear();
    const QString ok = job.Add(QStringLiteral(".mp3"), 1);
    const QString video = MediaFixtures::Instance().Video(3);
    const QString twin = job.box.dir.File(QStringLiteral("twin.mp3"));
    ASSERT_TRUE(QFile::copy(ok, twin));
    ASSERT_TRUE(job.Run());
    EXPECT_EQ(job.scheduler.Successes(), QStringList{QStringLiteral("Обработан успешно: ") + ok});

    // A second job with a report of its own: the first file again, the video and the first file's bytes
    // under another path.
    job.queue.SetStatus(QString(), ok);
    job.queue.AddFile(video);
    job.queue.AddFile(twin);
    ASSERT_TRUE(job.Run());
    EXPECT_EQ(job.scheduler.Successes(), QStringList{QStringLiteral("Обработан успешно: ") + video});
    EXPECT_EQ(job.scheduler.Errors(),
              QStringList{QStringLiteral("Запись с таким же MD5 хешем, размером файла и номером аудио трека "
                                         "уже существует! - ") +
                          twin});
    EXPECT_EQ(job.scheduler.AlreadyIndexed(), QStringList{QStringLiteral("Уже проиндексирован - ") + ok});
    EXPECT_EQ(job.scheduler.TracksIndexed(), 3);
    EXPECT_EQ(job.scheduler.SecondsIndexed(), 3 * 61);
    EXPECT_EQ(job.messages.shown, QStringList(2, QStringLiteral("Задание выполнено!")));

    // Nothing is waiting now: the next job ends at its first tick and leaves the statuses alone.
    ASSERT_EQ(job.scheduler.StartExecute(), Start::Started);
    job.scheduler.Timer2Timer();
    EXPECT_FALSE(job.scheduler.IsRunning());
    EXPECT_EQ(job.queue.CountWithStatus(kStatusDone), 1);
}

TEST(IndexingScheduler, WorkersNeverShareASlotAndStayWithinTheThreadLimit) {
    const struct {
        int slots;
        int threads;
        QStringList folders;
    } cases[] = {{4, 1, {QStringLiteral("0")}}, {2, 2, {QStringLiteral("0"), QStringLiteral("1")}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.threads);
        Job job(c.slots, c.threads);
        const QString used = job.box.dir.File(QStringLiteral("used.txt"));
        const QString clash = job.box.dir.File(QStringLiteral("clash.txt"));
        // SoX notes the folder of its input in `used`, and in `clash` when another run is using the same
        // folder at the same moment; it writes 61 s of silence.
        job.settings.soxPath =
            job.FakeSox(QStringLiteral("d=$(dirname \"$1\")\n"
                                       "if [ -e \"$d/busy\" ]; then echo \"$d\" >> '%2'; fi\n"
                                       "touch \"$d/busy\"; sleep 0.3; rm -f \"$d/busy\"\n"
                                       "echo \"$d\" >> '%1'\n"
                                       "for last; do :; done; head -c 5856000 /dev/zero > \"$last\"")
                            .arg(used, clash));
        for (int v = 0; v < 6; ++v) {
            job.Add(QStringLiteral(".wav"), v);
        }
        int mostInWork = 0;
        QObject::connect(&job.scheduler, &IndexingScheduler::queueChanged, [&] {
            int inWork = 0;
            for (int s = 0; s < job.scheduler.SlotCount(); ++s) {
                if (!job.scheduler.SlotPath(s).isEmpty()) {
                    ++inWork;
                    EXPECT_LT(s, c.threads);
                }
            }
            EXPECT_EQ(QueueCounterTexts(job.queue)[4], QStringLiteral("В обработке: %1").arg(inWork));
            mostInWork = std::max(mostInWork, inWork);
        });
        ASSERT_TRUE(job.Run());
        EXPECT_EQ(job.queue.CountWithStatus(kStatusDone), 6);
        EXPECT_EQ(mostInWork, c.threads);
        EXPECT_TRUE(LinesOf(clash).isEmpty()) << LinesOf(clash).join(u' ').toStdString();
        QStringList folders;
        for (const QString& d : LinesOf(used)) {
            folders.append(QFileInfo(d).fileName());
        }
        folders.removeDuplicates();
        EXPECT_EQ(Sorted(folders), c.folders);
    }
}

TEST(IndexingScheduler, StopInTheMiddleMarksOnlyTheFilesInWork) {
    Job job(2, 1);
    const QString started = job.box.dir.File(QStringLiteral("started"));
    // SoX that takes a while, so the stop finds the worker busy, and its insert falls into the stop's wait.
    job.settings.soxPath =
        job.FakeSox(QStringLiteral("touch '%1'; sleep 1.2; exec '%2' \"$@\"").arg(started, test::RealSox()));
    QStringList files;
    for (int v = 0; v < 3; ++v) {
        files.append(job.Add(QStringLiteral(".flac"), v));
    }
    ASSERT_EQ(job.scheduler.StartExecute(), Start::Started);
    ASSERT_TRUE(job.RunUntil([&] { return QFileInfo::exists(started); }));
    job.scheduler.StopExecute();

    EXPECT_FALSE(job.scheduler.IsRunning());
    EXPECT_EQ(job.queue.StatusOf(files[0]), kStatusStopped);
    EXPECT_EQ(job.scheduler.Errors().size(), 1);
    // The slot folders are gone with everything in them, data.dat included.
    EXPECT_TRUE(QDir(job.box.WorkDir()).isEmpty());
    // The timer is off: nothing more happens over a few of its intervals.
    QEventLoop idle;
    QTimer::singleShot(1600, &idle, &QEventLoop::quit);
    idle.exec();
    EXPECT_EQ(job.queue.CountWithStatus(QString()), 2);
}

TEST(IndexingScheduler, EmptyingTheWorkFolderRemovesOnlyTheSlotFolders) {
    Job job(4, 1);
    for (const char* name : {"0/data.dat", "3/deep/x.wav", "4/keep.dat", "keep.txt", "01/keep.dat"}) {
        job.box.dir.Write(QStringLiteral("work/") + QString::fromLatin1(name), "x");
    }
    job.scheduler.ClearWorkDirectoryExecute();
    QStringList left;
    QDirIterator it(job.box.WorkDir(), QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        left.append(it.next().mid(job.box.WorkDir().size() + 1));
    }
    EXPECT_EQ(Sorted(left),
              Sorted({QStringLiteral("4"), QStringLiteral("4/keep.dat"), QStringLiteral("keep.txt"),
                      QStringLiteral("01"), QStringLiteral("01/keep.dat")}));
}

}  // namespace
}  // namespace tembrix
