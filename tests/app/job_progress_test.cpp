// The job progress read from the queue: what counts as the job's, and the time left.

#include <gtest/gtest.h>

#include "app/indexing_queue.h"
#include "app/job_progress.h"
#include "support/recording_messages.h"

namespace tembrix::test {
namespace {

// Catches files finished before the job counted as its own, a time left measured by files when bytes
// are known, a division by nothing done, and a negative count when finished files are taken off the queue.
TEST(JobProgressTest, CountsOnlyTheJobsOwnFilesAndScalesTheTimeByBytes) {
    const QueueTally atStart = QueueTally{4, 0, 3, 4000, 0, 900}, sizeless = QueueTally{4, 0, 3, 0, 0, 900};
    // Expected: files done and total, bytes done and total, time left, permille.
    for (const auto& [start, now, elapsedMs, expected] :
         {std::tuple{atStart, QueueTally{2, 2, 3, 2000, 2000, 900}, 5000, "0 4 0 4000 -1 0"},
          {atStart, QueueTally{1, 2, 4, 1000, 2000, 1900}, 10000, "1 4 1000 4000 30000 250"},
          {atStart, QueueTally{3, 1, 5, 5000, 1000, 3900}, 20000, "2 6 3000 9000 40000 333"},
          {atStart, QueueTally{0, 0, 7, 0, 0, 4900}, 8000, "4 4 4000 4000 0 1000"},
          {atStart, QueueTally{1, 0, 1, 1000, 0, 100}, 1000, "0 1 0 1000 -1 0"},
          {sizeless, QueueTally{1, 0, 6, 0, 0, 900}, 6000, "3 4 0 0 2000 750"}}) {
        JobProgress progress;
        progress.Begin(start);
        const ProgressSnapshot p = progress.Measure(now, elapsedMs);
        EXPECT_EQ(QString::asprintf("%lld %lld %llu %llu %lld %d", p.filesDone, p.filesTotal, p.bytesDone,
                                    p.bytesTotal, p.leftMs, p.permille),
                  QString::fromLatin1(expected));
    }
}

// Catches a tally that counts a stopped or failed file as waiting (the bar would never fill) and a text
// whose units or rounding mislead.
TEST(JobProgressTest, TallyByStatusAndTheText) {
    RecordingMessages messages;  // the made-up files have no date: each is reported
    IndexingQueue queue;
    for (const QString& status : {QString(), kStatusInWork, kStatusDone, kStatusError, kStatusStopped}) {
        const QString path = "/nowhere/" + status + "w.mp3";
        ASSERT_TRUE(queue.AddFile(path));
        queue.SetStatus(status, path);
    }
    const QueueTally t = TallyQueue(queue);
    EXPECT_EQ(QList<qsizetype>({t.waitingFiles, t.inWorkFiles, t.finishedFiles}),
              QList<qsizetype>({1, 1, 3}));
    ProgressSnapshot p{12, 20, 1342177280, 5153960755, 0, 750001};  // 1.25 GiB of 4.80 GiB
    EXPECT_EQ(ProgressText(p), "Файлы: 12 из 20, 1,25 ГБ из 4,80 ГБ, осталось ~0:12:31");
    p = {12, 20, 1536, 1000, 0, -1};
    EXPECT_EQ(ProgressText(p), "Файлы: 12 из 20, 1,5 КБ из 1000 Б, осталось —");
    EXPECT_EQ(ClockText(27 * 3600 + 61), "27:01:01");
}

}  // namespace
}  // namespace tembrix::test
