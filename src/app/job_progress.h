#pragma once
// The progress of an indexing job, measured from the queue: how many of the job's files and bytes are
// done and an estimate of the time left. No widgets and no clock of its own: the caller passes the
// milliseconds since the job started, so the desktop window and the command-line front end can share it
// and tests can give any time they like. Main thread only (it reads the queue).

#include <QString>
#include <QtGlobal>

#include "util/text_utils.h"  // ClockText, for the progress texts of both front ends

namespace tembrix {

class IndexingQueue;

// Files and bytes of the queue by state: waiting (empty status), in work, and finished (any other
// status: processed, error, indexed before, stopped).
struct QueueTally {
    qsizetype waitingFiles = 0;
    qsizetype inWorkFiles = 0;
    qsizetype finishedFiles = 0;
    quint64 waitingBytes = 0;
    quint64 inWorkBytes = 0;
    quint64 finishedBytes = 0;
};

QueueTally TallyQueue(const IndexingQueue& queue);

// One reading of a job's progress.
struct ProgressSnapshot {
    qsizetype filesDone = 0;
    qsizetype filesTotal = 0;
    quint64 bytesDone = 0;
    quint64 bytesTotal = 0;
    qint64 elapsedMs = 0;
    qint64 leftMs = -1;  // -1: not known yet (nothing of the job is done, or nothing is left to measure)
    // Share of the job's bytes done, 0 … 1000 (tenths of a percent); by files when no size is known.
    int permille = 0;
};

// Tracks one job. The job is the files that were waiting or in work when it began plus any added while
// it runs; files that had finished before it are not its own. A file finished during the job counts as
// done with its bytes. Files taken off the queue during the job simply leave it.
class JobProgress {
public:
    // The job starts with the queue as `atStart` tallies it.
    void Begin(const QueueTally& atStart);
    // The job's progress with the queue as `now` tallies it, `elapsedMs` after Begin. The time left is
    // the elapsed time scaled by the bytes left over the bytes done (by files when no size is known).
    ProgressSnapshot Measure(const QueueTally& now, qint64 elapsedMs) const;

private:
    qsizetype m_finishedFilesBefore = 0;
    quint64 m_finishedBytesBefore = 0;
};

// "Файлы: 12 из 20, 1,25 ГБ из 4,80 ГБ, осталось ~0:12:30" ("осталось —" while unknown).
QString ProgressText(const ProgressSnapshot& progress);

// A byte count for people: "0 Б", "512 Б", "3,4 КБ", "12,0 МБ", "1,25 ГБ" (binary multiples, decimal
// comma).
QString ByteCountText(quint64 bytes);

}  // namespace tembrix
