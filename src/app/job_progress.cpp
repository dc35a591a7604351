#include "app/job_progress.h"

#include <algorithm>

#include "app/indexing_queue.h"
#include "util/text_utils.h"

namespace tembrix {

QueueTally TallyQueue(const IndexingQueue& queue) {
    QueueTally tally;
    for (qsizetype i = 0; i < queue.Count(); ++i) {
        const QueueEntry& entry = queue.At(i);
        if (entry.status.isEmpty()) {
            ++tally.waitingFiles;
            tally.waitingBytes += entry.size;
        } else if (entry.status == kStatusInWork) {
            ++tally.inWorkFiles;
            tally.inWorkBytes += entry.size;
        } else {
            ++tally.finishedFiles;
            tally.finishedBytes += entry.size;
        }
    }
    return tally;
}

void JobProgress::Begin(const QueueTally& atStart) {
    m_finishedFilesBefore = atStart.finishedFiles;
    m_finishedBytesBefore = atStart.finishedBytes;
}

ProgressSnapshot JobProgress::Measure(const QueueTally& now, qint64 elapsedMs) const {
    ProgressSnapshot p;
    // Finished entries deleted from the queue during the job could make these negative: clamp.
    p.filesDone = std::max<qsizetype>(0, now.finishedFiles - m_finishedFilesBefore);
    p.bytesDone = now.finishedBytes > m_finishedBytesBefore ? now.finishedBytes - m_finishedBytesBefore : 0;
    const qsizetype filesLeft = now.waitingFiles + now.inWorkFiles;
    const quint64 bytesLeft = now.waitingBytes + now.inWorkBytes;
    p.filesTotal = p.filesDone + filesLeft;
    p.bytesTotal = p.bytesDone + bytesLeft;
    p.elapsedMs = std::max<qint64>(0, elapsedMs);

    // Bytes measure the work better than files (a four-hour file is not a one-minute one); when no size
    // is known (unreadable files), files do.
    const bool byBytes = p.bytesTotal > 0;
    const double done = byBytes ? static_cast<double>(p.bytesDone) : static_cast<double>(p.filesDone);
    const double total = byBytes ? static_cast<double>(p.bytesTotal) : static_cast<double>(p.filesTotal);
    p.permille = total > 0 ? static_cast<int>(done * 1000.0 / total) : 0;
    if (done > 0 && total > done) {
        p.leftMs = static_cast<qint64>(static_cast<double>(p.elapsedMs) * (total - done) / done);
    } else if (done > 0 && total <= done) {
        p.leftMs = 0;
    }
    return p;
}

QString ByteCountText(quint64 bytes) {
    static const char* const kUnits[] = {"КБ", "МБ", "ГБ", "ТБ"};
    if (bytes < 1024) {
        return QStringLiteral("%1 Б").arg(bytes);
    }
    double value = static_cast<double>(bytes) / 1024.0;
    int unit = 0;
    while (value >= 1024.0 && unit < 3) {
        value /= 1024.0;
        ++unit;
    }
    // Two decimals for gigabytes and up, where a tenth is a lot of audio; one below.
    const int decimals = unit >= 2 ? 2 : 1;
    return QString::number(value, 'f', decimals).replace(u'.', u',') + u' ' + QString::fromUtf8(kUnits[unit]);
}

QString ProgressText(const ProgressSnapshot& p) {
    const QString left =
        p.leftMs < 0 ? QStringLiteral("—") : QStringLiteral("~") + ClockText((p.leftMs + 999) / 1000);
    return QStringLiteral("Файлы: %1 из %2, %3 из %4, осталось %5")
        .arg(p.filesDone)
        .arg(p.filesTotal)
        .arg(ByteCountText(p.bytesDone), ByteCountText(p.bytesTotal), left);
}

}  // namespace tembrix
