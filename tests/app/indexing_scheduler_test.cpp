// The scheduler driving real workers: start checks, the job report, slots, stop and the work folder.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
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
using test::ReadText;
using Start = IndexingScheduler::StartResult;

// A queue, live settings and a scheduler whose program folder is an empty test folder.
struct Job {
    explicit Job(int slots = 2, int threads = 2)
        : settings{test::RealFfmpeg(), test::RealSox(), box.WorkDir(), box.DbPath(), threads, true},
          owned(NewScheduler(slots)),
          scheduler(*owned) {}
    std::unique_ptr<IndexingScheduler> NewScheduler(int slots = 2) {
        return std::make_unique<IndexingScheduler>(queue, box.store, settings, Dir("program"), slots);
    }
    QString Dir(const char* name) const { return box.dir.File(QString::fromLatin1(name)); }
    // Runs the event loop until `done` holds (two minutes at most).
    bool RunUntil(const std::function<bool()>& done) {
        for (QDeadlineTimer deadline(120000); !done() && !deadline.hasExpired(); QThread::msleep(5)) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        return done();
    }
    bool Run() {
        return scheduler.StartExecute() == Start::Started &&
               RunUntil([this] { return !scheduler.IsRunning(); });
    }
    QString Add(const QString& file) { return queue.AddFile(file) ? file : QString(); }
    QString Tool(const char* name, const QString& body, const char* folder = "tools") {
        return test::WriteFakeTool(Dir(folder), QString::fromLatin1(name), body);
    }
    QStringList Left() const {
        return QDir(box.WorkDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    }

    test::RecordingMessages messages;
    test::IndexingSandbox box;
    IndexingQueue queue;
    Settings settings;
    std::unique_ptr<IndexingScheduler> owned;
    IndexingScheduler& scheduler;
};

// Catches a start check skipped or out of order (busy work folder and missing ffprobe included), a missing
// tool setting accepted, and an empty one not filled in by the locator.
TEST(IndexingScheduler, StartChecksComeInOrder) {
    Job job;
    job.settings = Settings{"/nowhere/tool", "/nowhere/tool", QString(), job.Dir("gone.db"), 1, true};
    std::unique_ptr<IndexingScheduler> other;
    const std::pair<std::function<void()>, Start> steps[] = {
        {[] {}, Start::NoWorkDir},
        {[&] {
             job.settings.workDir = job.box.WorkDir(), other = job.NewScheduler(), other->LockWorkFolder();
         },
         Start::WorkDirBusy},
        {[&] { other.reset(); }, Start::NoDatabase},
        {[&] { job.settings.dbPath = job.box.DbPath(); }, Start::NoFfmpeg},
        {[&] { job.settings.ffmpegPath.clear(), job.Tool("ffmpeg", "exit 0", "program"); }, Start::NoFfprobe},
        {[&] { job.Tool("ffprobe", "exit 0", "program"); }, Start::NoSox},
        {[&] { job.settings.soxPath.clear(); }, Start::EmptyQueue},
    };
    for (const auto& [mend, result] : steps) {
        mend();
        EXPECT_EQ(job.scheduler.StartExecute(), result);
    }
    EXPECT_EQ(
        (QStringList{QString::number(job.messages.shown.size()), job.messages.shown.value(1),
                     job.messages.shown.value(4), job.scheduler.FfmpegPath(), job.scheduler.SoxPath()}),
        (QStringList{
            "7", QStringLiteral("Рабочий каталог используется другой копией программы: ") + job.box.WorkDir(),
            QStringLiteral("Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!"),
            job.Dir("program/ffmpeg"), test::RealSox()}));
}

// Catches a wrong report (success, duplicate bytes, already stored, tracks and seconds), a report not
// started afresh, workers not given the located tools, and a job with nothing to do not ending.
TEST(IndexingScheduler, JobReportsEveryOutcome) {
    Job job;
    job.settings.soxPath = job.settings.ffmpegPath = QString();
    const QString ok = job.Add(MediaFixtures::Instance().Tone(".mp3", 61, 1)), twin = job.Dir("twin.mp3");
    ASSERT_TRUE(QFile::copy(ok, twin));
    ASSERT_TRUE(job.Run());
    job.queue.SetStatus(QString(), ok);
    const QString video = job.Add(MediaFixtures::Instance().Video(3));
    job.Add(twin);
    ASSERT_TRUE(job.Run());
    const auto& s = job.scheduler;
    EXPECT_EQ(
        (QStringList{s.Successes().join(u'|'), s.Errors().join(u'|'), s.AlreadyIndexed().join(u'|'),
                     QString::number(s.TracksIndexed()), QString::number(s.SecondsIndexed())}),
        (QStringList{
            "Обработан успешно: " + video,
            "Запись с таким же MD5 хешем, размером файла и номером аудио трека уже существует! - " + twin,
            "Уже проиндексирован - " + ok, "3", QString::number(3 * 61)}));
    EXPECT_EQ(job.messages.shown, QStringList(2, QStringLiteral("Задание выполнено!")));
    ASSERT_EQ(job.scheduler.StartExecute(), Start::Started);
    job.scheduler.Timer2Timer();
    EXPECT_FALSE(job.scheduler.IsRunning());
}

// Catches two workers in one slot folder at once, and more workers than the thread limit.
TEST(IndexingScheduler, WorkersNeverShareASlotAndStayWithinTheThreadLimit) {
    for (const auto& [slots, threads, folders] : {std::tuple{4, 1, QSet<QString>{"0"}}, {2, 2, {"0", "1"}}}) {
        SCOPED_TRACE(threads);
        Job job(slots, threads);
        const QString used = job.Dir("used.txt"), clash = job.Dir("clash.txt");
        // SoX notes its folder in `used`, and in `clash` when another run is in it; writes 61 s of silence.
        job.settings.soxPath =
            job.Tool("sox", QStringLiteral("d=$(dirname \"$1\")\n"
                                           "if [ -e \"$d/busy\" ]; then echo \"$d\" >> '%2'; fi\n"
                                           "touch \"$d/busy\"; sleep 0.2; rm -f \"$d/busy\"\n"
                                           "basename \"$d\" >> '%1'\n"
                                           "for last; do :; done; head -c 5856000 /dev/zero > \"$last\"")
                                .arg(used, clash));
        for (int v = 0; v < 4; ++v) {
            job.Add(MediaFixtures::Instance().Tone(".wav", 61, v));
        }
        QObject::connect(&job.scheduler, &IndexingScheduler::queueChanged, [&] {
            int inWork = 0;
            for (int s = 0; s < job.scheduler.SlotCount(); ++s) {
                inWork += !job.scheduler.SlotPath(s).isEmpty();
            }
            EXPECT_EQ(QueueCounterTexts(job.queue)[4], QStringLiteral("В обработке: %1").arg(inWork));
        });
        ASSERT_TRUE(job.Run());
        const QStringList seen = ReadText(used).split(u'\n', Qt::SkipEmptyParts);
        EXPECT_EQ(QSet<QString>(seen.begin(), seen.end()), folders);
        EXPECT_TRUE(job.queue.CountWithStatus(kStatusDone) == 4 && ReadText(clash).isEmpty())
            << ReadText(clash).toStdString();
    }
}

// Catches a stop that waits for a hung tool (each below never ends), blocks the caller, leaves a tool
// running, stores a row (even a video track finished before the stop), or leaves slot folders; by Stop,
// quiet StopAndWait and destroying the scheduler.
TEST(IndexingScheduler, StopEndsHungToolsAndStoresNothing) {
    enum Way { Stop, StopAndWaitQuiet, Destroy };
    enum Hung { Sox, Ffmpeg, Ffprobe, SoxOnTrack2 };
    for (const auto& [hung, extension, way] : {std::tuple{Sox, ".flac", Stop},
                                               {Ffmpeg, ".m4a", StopAndWaitQuiet},
                                               {Ffprobe, ".mkv", Destroy},
                                               {SoxOnTrack2, ".mkv", Stop}}) {
        SCOPED_TRACE(hung);
        Job job(2, 1);
        const QString pidFile = job.Dir("pid"),
                      hang = "trap '' TERM INT; echo $$ > '" + pidFile + "'; sleep 1000 & wait";
        QStringList bodies = {"exec '" + test::RealSox() + "' \"$@\"",
                              "exec '" + test::RealFfmpeg() + "' \"$@\"", "exec ffprobe \"$@\""};
        bodies[hung % 3] = hung == SoxOnTrack2 ? QStringLiteral("if [ -e '%1' ]; then %2; fi; touch '%1'; %3")
                                                     .arg(job.Dir("seen"), hang, bodies[0])
                                               : hang;
        job.settings.soxPath = job.Tool("sox", bodies[0]);
        job.settings.ffmpegPath = job.Tool("ffmpeg", bodies[1]);
        job.Tool("ffprobe", bodies[2]);
        const QString file = job.Add(QLatin1String(extension) == QLatin1String(".mkv")
                                         ? MediaFixtures::Instance().Video(3)
                                         : MediaFixtures::Instance().Tone(extension, 61));
        const QString waiting = job.Add(MediaFixtures::Instance().Tone(".wav", 61, 1));
        ASSERT_EQ(job.scheduler.StartExecute(), Start::Started);
        int pid = 0;  // the shell makes the file before it writes the number into it
        ASSERT_TRUE(job.RunUntil([&] { return (pid = ReadText(pidFile).trimmed().toInt()) > 0; }));
        bool finished = false;
        QObject::connect(&job.scheduler, &IndexingScheduler::jobFinished, [&] { finished = true; });
        if (way == Stop) {
            job.scheduler.StopExecute();
            EXPECT_TRUE(job.scheduler.IsStopping() && !finished);
            ASSERT_TRUE(job.RunUntil([&] { return finished; }));
        } else if (way == StopAndWaitQuiet) {
            job.scheduler.StopAndWait(true);
            EXPECT_TRUE(finished);
        } else {
            job.owned.reset();  // no report and no status after this: the program is going away
        }
        EXPECT_TRUE(test::ProcessGone(pid) && LiveToolCount() == 0 &&
                    test::ReadRows(job.box.DbPath()).empty() && job.queue.StatusOf(waiting).isEmpty());
        if (way != Destroy) {
            EXPECT_EQ(
                (QStringList{QString::number(job.scheduler.IsRunning() || job.scheduler.IsStopping()),
                             job.queue.StatusOf(file), job.scheduler.Errors().join(u'|'),
                             QString::number(job.messages.shown.contains("Индексация остановлена!")),
                             job.Left().join(u' ')}),
                (QStringList{"0", kStatusStopped, "Остановлен: " + file, QString::number(way == Stop), ""}));
        }
    }
}

// Catches a work folder shared by two programs, emptying beyond slot folders 0 … n − 1 (n capped at the
// logical processor count) or without the lock, a crashed holder's lock kept, and a lock not following
// a changed work folder setting.
TEST(IndexingScheduler, WorkFolderIsLockedAndOnlyItsSlotFoldersAreEmptied) {
    Job job(99999999, 99999999);
    const int slots = LogicalProcessors();
    ASSERT_EQ(job.scheduler.SlotCount(), slots);
    for (int n = 0; n <= slots; ++n) {
        job.box.dir.Write(QStringLiteral("work/%1/deep/data.dat").arg(n), "x");
    }
    job.box.dir.Write("work/01/data.dat", "x");
    job.box.dir.Write("work/keep.txt", "x");
    const QStringList everything = job.Left();
    {
        auto other = job.NewScheduler();
        ASSERT_TRUE(other->LockWorkFolder());
        job.scheduler.ClearWorkDirectoryExecute();
        EXPECT_FALSE(job.scheduler.HoldsWorkFolder());
        EXPECT_EQ(job.Left(), everything);
    }
    job.scheduler.ClearWorkDirectoryExecute();
    EXPECT_TRUE(job.scheduler.HoldsWorkFolder());
    EXPECT_EQ(job.Left(), (QStringList{"01", QString::number(slots), "keep.txt"}));
    job.scheduler.UnlockWorkFolder();
    job.box.dir.Write("work/.tembrix-work.lock", "2147483646\ntembrix\n\n");
    EXPECT_TRUE(job.scheduler.LockWorkFolder());
    job.settings.workDir = job.Dir("other-work");
    QDir().mkpath(job.settings.workDir);
    ASSERT_TRUE(job.scheduler.LockWorkFolder());
    EXPECT_EQ(job.scheduler.WorkFolder(), job.settings.workDir);
    Settings old = job.settings;
    old.workDir = job.box.WorkDir();
    EXPECT_TRUE(IndexingScheduler(job.queue, job.box.store, old, QString(), 1).LockWorkFolder());
    EXPECT_FALSE(job.NewScheduler()->LockWorkFolder());
}

}  // namespace
}  // namespace tembrix
