// The job progress read from the queue: what counts as the job's, and the time left.

#include <gtest/gtest.h>

#include "app/indexing_queue.h"
#include "app/job_progress.h"
#include "support/recording_messages.h"

namespace tembrix::test {
namespace {

QueueTally Tally(qsizetype waiting, quint64 waitingBytes, qsizetype inWork, quint64 inWorkBytes,
                 qsizetype finished, quint64 finishedBytes) {
    return {waiting, inWork, finished, waitingBytes, inWorkBytes, finishedBytes};
}

// Catches files finished before the job counted as its own, a time left measured by files when bytes
// are known (one long file is not one short one), a division by nothing done, and a negative count
// when finished files are taken off the queue during the job.
TEST(JobProgressTest, CountsOnlyTheJobsOwnFilesAndScalesTheTimeByBytes) {
    const QueueTally atStart = Tally(4, 4000, 0, 0, 3, 900);  // 3 files finished by an earlier job
    const QueueTally sizeless = Tally(4, 0, 0, 0, 3, 900);
    const struct {
        const char* what;
        QueueTally start;
        QueueTally now;
        qint64 elapsedMs;
        ProgressSnapshot
            expected;  // filesDone, filesTotal, bytesDone, bytesTotal, elapsedMs, leftMs, permille
    } cases[] = {
        {"nothing done yet", atStart, Tally(2, 2000, 2, 2000, 3, 900), 5000, {0, 4, 0, 4000, 5000, -1, 0}},
        {"a quarter of the bytes in 10 s",
         atStart,
         Tally(1, 1000, 2, 2000, 4, 1900),
         10000,
         {1, 4, 1000, 4000, 10000, 30000, 250}},
        {"files added during the job",
         atStart,
         Tally(3, 5000, 1, 1000, 5, 3900),
         20000,
         {2, 6, 3000, 9000, 20000, 40000, 333}},
        {"all done", atStart, Tally(0, 0, 0, 0, 7, 4900), 8000, {4, 4, 4000, 4000, 8000, 0, 1000}},
        {"finished files deleted", atStart, Tally(1, 1000, 0, 0, 1, 100), 1000, {0, 1, 0, 1000, 1000, -1, 0}},
        {"sizes unknown: by files",
         sizeless,
         Tally(1, 0, 0, 0, 3 + 3, 900),
         6000,
         {3, 4, 0, 0, 6000, 2000, 750}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        JobProgress progress;
        progress.Begin(c.start);
        const ProgressSnapshot p = progress.Measure(c.now, c.elapsedMs);
        EXPECT_EQ(p.filesDone, c.expected.filesDone);
        EXPECT_EQ(p.filesTotal, c.expected.filesTotal);
        EXPECT_EQ(p.bytesDone, c.expected.bytesDone);
        EXPECT_EQ(p.bytesTotal, c.expected.bytesTotal);
        EXPECT_EQ(p.leftMs, c.expected.leftMs);
        EXPECT_EQ(p.permille, c.expected.permille);
    }
}

// Catches a tally that counts a stopped or failed file as waiting (the bar would never fill) and a text
// whose units or rounding mislead.
TEST(JobProgressTest, TallyByStatusAndTheText) {
    RecordingMessages messages;  // the made-up files have no date: each is reported
    IndexingQueue queue;
    const QString statuses[] = {QString(), kStatusInWork, kStatusDone, kStatusError, kStatusStopped};
    for (const QString& status : statuses) {
        const QString path =
            QStringLiteral("/nowhere/%1.mp3").arg(status.isEmpty() ? QStringLiteral("waiting") : status);
        ASSERT_TRUE(queue.AddFile(path));
        queue.SetStatus(status, path);
    }
    const QueueTally t = TallyQueue(queue);
    EXPECT_EQ(QList<qsizetype>({t.waitingFiles, t.inWorkFiles, t.finishedFiles}),
              QList<qsizetype>({1, 1, 3}));

    ProgressSnapshot p;
    p.filesDone = 12;
    p.filesTotal = 20;
    p.bytesDone = 1342177280;  // 1.25 GiB
    p.bytesTotal = 5153960755;
    p.leftMs = 750001;
    EXPECT_EQ(ProgressText(p), "Файлы: 12 из 20, 1,25 ГБ из 4,80 ГБ, осталось ~0:12:31");
    p.leftMs = -1;
    p.bytesDone = 1536;
    p.bytesTotal = 1000;
    EXPECT_EQ(ProgressText(p), "Файлы: 12 из 20, 1,5 КБ из 1000 Б, осталось —");
    EXPECT_EQ(ClockText(27 * 3600 + 61), "27:01:01");
}

}  // namespace
}  // namespace tembrix::test
