#include "indexing/envelope.h"

#include <QFile>
#include <QThread>
#include <QtEndian>
#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "util/logs.h"

namespace tembrix {

Envelope::Envelope(uint32_t blockSize, int32_t capacity)
    : m_blockSize(blockSize == 0 ? kBlockSize : blockSize),
      m_capacity(std::max<int32_t>(capacity, 0)),
      m_values(new uint16_t[static_cast<size_t>(std::max<int32_t>(capacity, 1))]) {}

void Envelope::AddSample(int16_t sample) {
    const uint32_t j = m_samplesInBlock / kSubBlockSize;
    if (m_samplesInBlock >= kBlockSize) {
        // Only reachable with a block size above 480. There is no one to show a box to on a worker
        // thread, so the guard goes to the program log; the peak lands in the spare slot.
        ProgramLog(QString::asprintf("index=%i", static_cast<int>(j)));
    }
    // |s| in 16 bits, then sign-extended: -32768 stays -32768, i.e. 4294934528 as unsigned 32 bits.
    const auto abs16 = static_cast<int16_t>(sample < 0 ? -sample : sample);
    const auto a = static_cast<uint32_t>(static_cast<int32_t>(abs16));
    uint32_t& peak = m_peaks[std::min<uint32_t>(j, kSubBlocks)];
    if (a > peak) {
        peak = a;
    }
    if (++m_samplesInBlock < m_blockSize) {
        return;
    }
    CompleteBlock();
}

void Envelope::CompleteBlock() {
    uint32_t sum = 0;
    for (int i = 0; i < kSubBlocks; ++i) {
        sum += m_peaks[i];
    }
    std::fill(std::begin(m_peaks), std::end(m_peaks), 0u);
    StoreBlock(sum);
    m_samplesInBlock = 0;
}

inline void Envelope::StoreBlock(uint32_t sum) {
    m_lastBlockSum = sum;
    if (m_capacity > 0) {
        m_values[static_cast<size_t>(m_writePosition)] = static_cast<uint16_t>(sum / 10);
        if (++m_writePosition >= m_capacity) {
            m_writePosition = 0;
        }
    }
    if (m_count < m_capacity) {
        ++m_count;
    }
    ++m_blocksCompleted;
}

namespace {

// Peak of one 1-ms sub-block as AddSample would leave it. The largest |s| of a run is the larger of
// |max| and |min|, and signed 16-bit max/min reduce well in vector registers on every x86-64 and ARM
// core. A minimum of -32768 is the one value whose 16-bit absolute value wraps: it maps to the
// sign-extended 4294934528, which is above every other peak.
inline uint32_t SubBlockPeak(const int16_t* s) {
    int16_t highest = s[0];
    int16_t lowest = s[0];
    for (uint32_t k = 1; k < Envelope::kSubBlockSize; ++k) {
        highest = s[k] > highest ? s[k] : highest;
        lowest = s[k] < lowest ? s[k] : lowest;
    }
    if (lowest == -32768) {
        return 4294934528u;
    }
    const int a = highest < 0 ? -highest : highest;
    const int b = -lowest < 0 ? lowest : -lowest;
    return static_cast<uint32_t>(a > b ? a : b);
}

}  // namespace

void Envelope::AddSamples(const int16_t* samples, size_t count) {
    size_t i = 0;
    if (m_blockSize != kBlockSize) {
        for (; i < count; ++i) {
            AddSample(samples[i]);
        }
        return;
    }
    while (i < count && m_samplesInBlock != 0) {
        AddSample(samples[i++]);
    }
    // Whole blocks: the peaks are all zero at a block boundary, so a block's value depends on its own
    // 480 samples only.
    while (count - i >= kBlockSize) {
        const int16_t* block = samples + i;
        uint32_t sum = 0;
        for (int b = 0; b < kSubBlocks; ++b) {
            sum += SubBlockPeak(block + b * kSubBlockSize);
        }
        StoreBlock(sum);
        i += kBlockSize;
    }
    for (; i < count; ++i) {
        AddSample(samples[i]);
    }
}

void Envelope::Reset() {
    m_count = 0;
    m_samplesInBlock = 0;
    m_lastBlockSum = 0;
    std::fill(std::begin(m_peaks), std::end(m_peaks), 0u);
    m_blocksCompleted = 0;
}

QByteArray Envelope::Blob() const {
    QByteArray blob(static_cast<qsizetype>(m_count) * 2, Qt::Uninitialized);
    for (int32_t k = 0; k < m_count; ++k) {
        qToLittleEndian<uint16_t>(m_values[static_cast<size_t>(k)], blob.data() + 2 * k);
    }
    return blob;
}

bool Envelope::WriteValues(const QString& path) const {
    if (m_count == 0 || !m_values) {
        return false;
    }
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    const qint64 bytes = static_cast<qint64>(m_count) * 2;
    if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
        // The array already holds the blob's bytes: write it without a copy.
        return out.write(reinterpret_cast<const char*>(m_values.get()), bytes) == bytes && out.flush();
    }
    const QByteArray blob = Blob();
    return out.write(blob) == blob.size() && out.flush();
}

namespace {

constexpr qint64 kChunkBytes = 1 << 20;  // even, so every chunk but a truncated last one holds whole samples
constexpr int kChunkSlots = 3;

// Reads up to `want` bytes, going on after short reads; fewer only at the end of the file or on error.
qint64 ReadFully(QFile& file, char* into, qint64 want) {
    qint64 total = 0;
    while (total < want) {
        const qint64 got = file.read(into + total, want - total);
        if (got <= 0) {
            break;
        }
        total += got;
    }
    return total;
}

// Feeds `bytes` of little-endian samples to the envelope; an odd trailing byte is ignored.
void Feed(Envelope& envelope, char* bytes, qint64 count) {
    auto* samples = reinterpret_cast<int16_t*>(bytes);
    const qint64 n = count / 2;
    if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN) {
        for (qint64 k = 0; k < n; ++k) {
            samples[k] = qFromLittleEndian(samples[k]);
        }
    }
    envelope.AddSamples(samples, static_cast<size_t>(n));
}

// Reads `total` bytes of the open file in 1 MiB chunks on a second thread while this thread reduces the
// previous chunk, so the reduction hides behind the read. Three chunk buffers: memory stays at 3 MiB
// whatever the file's length.
void FeedOverlapped(QFile& file, qint64 total, Envelope& envelope) {
    struct Slot {
        std::unique_ptr<char[]> data{new char[kChunkBytes]};
        qint64 bytes = 0;
    };
    Slot slots[kChunkSlots];
    std::mutex lock;
    std::condition_variable changed;
    std::deque<int> filled;
    std::deque<int> free{0, 1, 2};
    bool readerDone = false;

    // A stop asked of the calling thread ends the reading early (the caller then discards the result).
    QThread* const owner = QThread::currentThread();
    std::thread reader([&] {
        qint64 remaining = total;
        while (remaining > 0 && !owner->isInterruptionRequested()) {
            int slot = 0;
            {
                std::unique_lock guard(lock);
                changed.wait(guard, [&] { return !free.empty(); });
                slot = free.front();
                free.pop_front();
            }
            const qint64 want = std::min(kChunkBytes, remaining);
            const qint64 got = ReadFully(file, slots[slot].data.get(), want);
            remaining -= got;
            {
                std::lock_guard guard(lock);
                slots[slot].bytes = got;
                filled.push_back(slot);
            }
            changed.notify_all();
            if (got < want) {
                break;  // the file ended early: what was read is used
            }
        }
        {
            std::lock_guard guard(lock);
            readerDone = true;
        }
        changed.notify_all();
    });

    for (;;) {
        int slot = 0;
        {
            std::unique_lock guard(lock);
            changed.wait(guard, [&] { return !filled.empty() || readerDone; });
            if (filled.empty()) {
                break;
            }
            slot = filled.front();
            filled.pop_front();
        }
        Feed(envelope, slots[slot].data.get(), slots[slot].bytes);
        {
            std::lock_guard guard(lock);
            free.push_back(slot);
        }
        changed.notify_all();
    }
    reader.join();
}

}  // namespace

RawEnvelope EnvelopeOfRawFile(const QString& path) {
    RawEnvelope result;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return result;
    }
    result.ok = true;
    result.size = file.size();
    result.sampleCount = result.size / 2;
    result.duration = static_cast<int32_t>(result.size / kRawBytesPerSecond);
    const qint64 capacity = (result.sampleCount + Envelope::kBlockSize - 1) / Envelope::kBlockSize;
    result.envelope = std::make_unique<Envelope>(Envelope::kBlockSize, static_cast<int32_t>(capacity));

    const qint64 total = result.sampleCount * 2;  // the odd last byte is never read
    if (total > 2 * kChunkBytes) {
        FeedOverlapped(file, total, *result.envelope);
        return result;
    }
    std::unique_ptr<char[]> buffer(new char[kChunkBytes]);
    for (qint64 remaining = total; remaining > 0;) {
        const qint64 want = std::min(kChunkBytes, remaining);
        const qint64 got = ReadFully(file, buffer.get(), want);
        Feed(*result.envelope, buffer.get(), got);
        remaining -= got;
        if (got < want) {
            break;
        }
    }
    return result;
}

}  // namespace tembrix
