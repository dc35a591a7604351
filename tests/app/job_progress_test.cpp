// The job progress read from the queue: what counts as the job's, and the time left.

#include <gtest/gtest.h>

#include "app/indexing_queue.h"
#include "app/job_progress.h"
#include "support/recording_messages.h"

namespace tembrix::test {
namespace {

// Waiting, in-work and finished files, then their bytes.
QueueTally Tally(qsizetype w, qsizetype i, qsizetype f, quint64 wb, quint64 ib, quint64 fb) {
    return {w, i, f, wb, ib, fb};
}

// Catches files finished before the job counted as its own, a time left measured by files when bytes
// are known, a division by nothing done, and a negative count when finished files are taken off the queue.
TEST(JobProgressTest, CountsOnlyTheJobsOwnFilesAndScalesTheTimeByBytes) {
    const QueueTally atStart = Tally(4, 0, 3, 4000, 0, 900), sizeless = Tally(4, 0, 3, 0, 0, 900);
    const struct {
        QueueTally start, now;
        qint64 elapsedMs;
        const char* expected;  // files done and total, bytes done and total, time left, permille
    } cases[] = {{atStart, Tally(2, 2, 3, 2000, 2000, 900), 5000, "0 4 0 4000 -1 0"},
                 {atStart, Tally(1, 2, 4, 1000, 2000, 1900), 10000, "1 4 1000 4000 30000 250"},
                 {atStart, Tally(3, 1, 5, 5000, 1000, 3900), 20000, "2 6 3000 9000 40000 333"},
                 {atStart, Tally(0, 0, 7, 0, 0, 4900), 8000, "4 4 4000 4000 0 1000"},
                 {atStart, Tally(1, 0, 1, 1000, 0, 100), 1000, "0 1 0 1000 -1 0"},
                 {sizeless, Tally(1, 0, 6, 0, 0, 900), 6000, "3 4 0 0 2000 750"}};
    for (const auto& c : cases) {
        JobProgress progress;
        progress.Begin(c.start);
        const ProgressSnapshot p = progress.Measure(c.now, c.elapsedMs);
        const QString got = QStringList{QString::number(p.filesDone), QString::number(p.filesTotal),
                                        QString::number(p.bytesDone), QString::number(p.bytesTotal),
                                        QString::number(p.leftMs),    QString::number(p.permille)}
                                .join(u' ');
        EXPECT_EQ(got, QString::fromLatin1(c.expected));
    }
}

// Catches a tally that counts a stopped or failed file as waiting (the bar would never fill) and a text
// whose units or rounding mislead.
TEST(JobProgressTest, TallyByStatusAndTheText) {
    RecordingMessages messages;  // the made-up files have no date: each is reported
    IndexingQueue queue;
    for (const QString& status : {QString(), kStatusInWork, kStatusDone, kStatusError, kStatusStopped}) {
        const QString path =
            QStringLiteral("/nowhere/%1.mp3").arg(status.isEmpty() ? QStringLiteral("w") : status);
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
