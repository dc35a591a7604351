// The scheduler driving real workers: start checks, the job report, the thread limit and slots, stop,
// and the work folder.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDirIterator>
#include <QEventLoop>
#include <QFileInfo>
#include <QThread>
#include <QTimer>
#include <memory>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "app/settings.h"
#include "indexing/process_runner.h"
#include "support/indexing_sandbox.h"
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
          owned(NewScheduler(slots)),
          scheduler(*owned) {}

    std::unique_ptr<IndexingScheduler> NewScheduler(int slots = 2) {
        return std::make_unique<IndexingScheduler>(queue, box.store, settings,
                                                   box.dir.File(QStringLiteral("program")), slots);
    }

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
    std::unique_ptr<IndexingScheduler> owned;
    IndexingScheduler& scheduler;
};

QStringList Sorted(QStringList list) {
    list.sort();
    return list;
}

QStringList LinesOf(const QString& path) {
    return test::ReadText(path).split(u'\n', Qt::SkipEmptyParts);
}

// Catches a start check skipped or out of order (a busy work folder and a missing ffprobe included), a
// missing tool setting accepted, and an empty one not filled in by the locator.
TEST(IndexingScheduler, StartChecksComeInOrder) {
    Job job;
    const QString nowhere = QStringLiteral("/nowhere/tool");
    job.settings =
        Settings{nowhere, nowhere, QString(), job.box.dir.File(QStringLiteral("gone.db")), 1, true};
    const QString beside = job.box.dir.File(QStringLiteral("program/ffmpeg"));
    std::unique_ptr<IndexingScheduler> other;
    const std::pair<std::function<void(Job&)>, Start> steps[] = {
        {[](Job&) {}, Start::NoWorkDir},
        {[&](Job& j) {
             j.settings.workDir = j.box.WorkDir();
             other = j.NewScheduler();
             ASSERT_TRUE(other->LockWorkFolder());
         },
         Start::WorkDirBusy},
        {[&](Job&) { other.reset(); }, Start::NoDatabase},
        {[](Job& j) { j.settings.dbPath = j.box.DbPath(); }, Start::NoFfmpeg},
        {[&](Job& j) {
             j.settings.ffmpegPath.clear();
             WriteFakeTool(QFileInfo(beside).path(), QStringLiteral("ffmpeg"), QStringLiteral("exit 0"));
         },
         Start::NoFfprobe},
        {[&](Job&) {
             WriteFakeTool(QFileInfo(beside).path(), QStringLiteral("ffprobe"), QStringLiteral("exit 0"));
         },
         Start::NoSox},
        {[](Job& j) { j.settings.soxPath.clear(); }, Start::EmptyQueue},
    };
    for (const auto& [mend, result] : steps) {
        mend(job);
        EXPECT_EQ(job.scheduler.StartExecute(), result);
    }
    EXPECT_EQ(job.messages.shown.size(), 7);
    EXPECT_EQ(job.messages.shown[1],
              QStringLiteral("Рабочий каталог используется другой копией программы: ") + job.box.WorkDir());
    EXPECT_EQ(job.messages.shown[4],
              QStringLiteral("Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!"));
    EXPECT_EQ(job.scheduler.FfmpegPath(), beside);
    EXPECT_EQ(job.scheduler.SoxPath(), test::RealSox());
    EXPECT_FALSE(job.scheduler.IsRunning());
}

// Catches a wrong report (success, duplicate bytes, already stored, tracks and seconds), a report not
// started afresh, workers not given the located tools, and a job with nothing to do not ending.
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

    ASSERT_EQ(job.scheduler.StartExecute(), Start::Started);
    job.scheduler.Timer2Timer();
    EXPECT_FALSE(job.scheduler.IsRunning());
    EXPECT_EQ(job.queue.CountWithStatus(kStatusDone), 1);
}

// Catches two workers in one slot folder at once, and more workers than the thread limit.
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
        // SoX notes its folder in `used`, and in `clash` when another run is in it; writes 61 s of silence.
        job.settings.soxPath =
            job.FakeSox(QStringLiteral("d=$(dirname \"$1\")\n"
                                       "if [ -e \"$d/busy\" ]; then echo \"$d\" >> '%2'; fi\n"
                                       "touch \"$d/busy\"; sleep 0.2; rm -f \"$d/busy\"\n"
                                       "echo \"$d\" >> '%1'\n"
                                       "for last; do :; done; head -c 5856000 /dev/zero > \"$last\"")
                            .arg(used, clash));
        for (int v = 0; v < 4; ++v) {
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
        EXPECT_EQ(job.queue.CountWithStatus(kStatusDone), 4);
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

// Catches a stop that waits for a hung tool (each below never ends), blocks the caller, leaves a tool
// running, stores a row (even a video track finished before the stop), or leaves slot folders; by Stop,
// quiet StopAndWait and destroying the scheduler.
TEST(IndexingScheduler, StopEndsHungToolsAndStoresNothing) {
    enum class Way { Stop, StopAndWaitQuiet, Destroy };
    const QString hang = QStringLiteral("trap '' TERM INT; echo $$ > '%1'; sleep 1000 & wait");
    const struct {
        const char* name;
        const char* tool;  // the hung one: "sox", "ffmpeg", "ffprobe", or "sox2" (SoX hangs on track 2)
        QString extension;
        Way way;
    } cases[] = {
        {"SoX hangs", "sox", QStringLiteral(".flac"), Way::Stop},
        {"ffmpeg hangs", "ffmpeg", QStringLiteral(".m4a"), Way::StopAndWaitQuiet},
        {"ffprobe hangs", "ffprobe", QStringLiteral(".mkv"), Way::Destroy},
        {"SoX hangs on the second track", "sox2", QStringLiteral(".mkv"), Way::Stop},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Job job(2, 1);
        const QString tools = job.box.dir.File(QStringLiteral("tools"));
        const QString pidFile = job.box.dir.File(QStringLiteral("pid"));
        const QString tool = QString::fromLatin1(c.tool);
        const QString hung = hang.arg(pidFile);
        if (tool == QLatin1String("sox")) {
            job.settings.soxPath = job.FakeSox(hung);
        } else if (tool == QLatin1String("sox2")) {
            const QString seen = job.box.dir.File(QStringLiteral("seen"));
            job.settings.soxPath =
                job.FakeSox(QStringLiteral("if [ -e '%1' ]; then %2; fi; touch '%1'; exec '%3' \"$@\"")
                                .arg(seen, hung, test::RealSox()));
        } else {
            job.settings.ffmpegPath = WriteFakeTool(
                tools, QStringLiteral("ffmpeg"),
                tool == QLatin1String("ffmpeg") ? hung
                                                : QStringLiteral("exec '%1' \"$@\"").arg(test::RealFfmpeg()));
            WriteFakeTool(tools, QStringLiteral("ffprobe"),
                          tool == QLatin1String("ffprobe") ? hung : QStringLiteral("exec ffprobe \"$@\""));
        }
        const QString file = c.extension == QLatin1String(".mkv")
                                 ? MediaFixtures::Instance().Video(3)
                                 : MediaFixtures::Instance().Tone(c.extension, 61);
        job.queue.AddFile(file);
        const QString waiting = job.Add(QStringLiteral(".wav"), 1);
        ASSERT_EQ(job.scheduler.StartExecute(), Start::Started);
        // The shell makes the file before it writes the number into it.
        ASSERT_TRUE(job.RunUntil([&] { return LinesOf(pidFile).value(0).toInt() > 0; }));
        const int pid = LinesOf(pidFile).value(0).toInt();
        ASSERT_GT(pid, 0);

        bool finished = false;
        QObject::connect(&job.scheduler, &IndexingScheduler::jobFinished, [&] { finished = true; });
        switch (c.way) {
            case Way::Stop:
                job.scheduler.StopExecute();
                EXPECT_TRUE(job.scheduler.IsStopping());
                EXPECT_FALSE(finished);
                ASSERT_TRUE(job.RunUntil([&] { return finished; }));
                break;
            case Way::StopAndWaitQuiet:
                job.scheduler.StopAndWait(true);
                EXPECT_TRUE(finished);
                break;
            case Way::Destroy:
                job.owned.reset();
                break;
        }
        EXPECT_TRUE(test::ProcessGone(pid));
        EXPECT_EQ(LiveToolCount(), 0);
        EXPECT_TRUE(test::ReadRows(job.box.DbPath()).empty());
        EXPECT_EQ(job.queue.StatusOf(waiting), QString());
        if (c.way == Way::Destroy) {
            continue;  // no report and no status: the program is going away
        }
        EXPECT_FALSE(job.scheduler.IsRunning());
        EXPECT_FALSE(job.scheduler.IsStopping());
        EXPECT_EQ(job.queue.StatusOf(file), kStatusStopped);
        EXPECT_EQ(job.scheduler.Errors(), QStringList{QStringLiteral("Остановлен: ") + file});
        EXPECT_EQ(job.messages.shown.contains(QStringLiteral("Индексация остановлена!")), c.way == Way::Stop);
        QStringList left = QDir(job.box.WorkDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
        EXPECT_TRUE(left.isEmpty()) << left.join(u' ').toStdString();
    }
}

// Catches a work folder shared by two programs, emptying beyond slot folders 0 … n − 1 (n capped at the
// logical processor count) or without the lock, a crashed holder's lock kept, and a lock not following
// a changed work folder setting.
TEST(IndexingScheduler, WorkFolderIsLockedAndOnlyItsSlotFoldersAreEmptied) {
    Job job(99999999, 99999999);
    const int slots = LogicalProcessors();
    ASSERT_EQ(job.scheduler.SlotCount(), slots);
    const QStringList kept = {QStringLiteral("keep.txt"), QString::number(slots), QStringLiteral("01")};
    const auto fill = [&] {
        for (int n = 0; n <= slots; ++n) {
            job.box.dir.Write(QStringLiteral("work/%1/deep/data.dat").arg(n), "x");
        }
        job.box.dir.Write(QStringLiteral("work/keep.txt"), "x");
        job.box.dir.Write(QStringLiteral("work/01/data.dat"), "x");
    };
    const auto left = [&] {
        return Sorted(QDir(job.box.WorkDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot));
    };
    fill();
    const QStringList everything = left();
    {
        auto other = job.NewScheduler();
        ASSERT_TRUE(other->LockWorkFolder());
        job.scheduler.ClearWorkDirectoryExecute();
        EXPECT_EQ(left(), everything);
        EXPECT_FALSE(job.scheduler.HoldsWorkFolder());
    }
    job.scheduler.ClearWorkDirectoryExecute();
    EXPECT_TRUE(job.scheduler.HoldsWorkFolder());
    EXPECT_EQ(left(), Sorted(kept));

    job.scheduler.UnlockWorkFolder();
    job.box.dir.Write(QStringLiteral("work/.tembrix-work.lock"), "2147483646\ntembrix\n\n");
    EXPECT_TRUE(job.scheduler.LockWorkFolder());

    job.settings.workDir = job.box.dir.File(QStringLiteral("other-work"));
    QDir().mkpath(job.settings.workDir);
    ASSERT_TRUE(job.scheduler.LockWorkFolder());
    EXPECT_EQ(job.scheduler.WorkFolder(), job.settings.workDir);
    Settings old = job.settings;
    old.workDir = job.box.WorkDir();
    IndexingScheduler oldFolder(job.queue, job.box.store, old, QString(), 1);
    EXPECT_TRUE(oldFolder.LockWorkFolder());
    EXPECT_FALSE(job.NewScheduler()->LockWorkFolder());
}

}  // namespace
}  // namespace tembrix
