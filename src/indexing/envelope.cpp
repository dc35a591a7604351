#include "indexing/envelope.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <cstring>

#include "indexing/logs.h"

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
    m_samplesInBlock = 0;
}

namespace {

// Peak of one 1-ms sub-block as AddSample would leave it. |s| fits 16 unsigned bits, with -32768 giving
// 0x8000, which is above every other absolute value; it maps to the sign-extended 4294934528.
inline uint32_t SubBlockPeak(const int16_t* s) {
    uint16_t highest = 0;
    for (uint32_t k = 0; k < Envelope::kSubBlockSize; ++k) {
        const int v = s[k];
        const auto a = static_cast<uint16_t>(v < 0 ? -v : v);
        highest = a > highest ? a : highest;
    }
    return highest == 0x8000u ? 4294934528u : highest;
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
    const QByteArray blob = Blob();
    return out.write(blob) == blob.size() && out.flush();
}

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

    // 1 MiB of samples, plus room for the odd byte carried over from a short read.
    constexpr qint64 kChunkSamples = 512 * 1024;
    std::unique_ptr<int16_t[]> buffer(new int16_t[kChunkSamples + 1]);
    char* bytes = reinterpret_cast<char*>(buffer.get());
    qint64 remaining = result.sampleCount * 2;  // the odd last byte is never read
    qint64 carried = 0;                         // 0 or 1 byte at the start of the buffer
    while (remaining > 0) {
        const qint64 want = std::min<qint64>(kChunkSamples * 2 - carried, remaining);
        const qint64 got = file.read(bytes + carried, want);
        if (got <= 0) {
            break;
        }
        remaining -= got;
        const qint64 have = carried + got;
        const qint64 samples = have / 2;
        if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN) {
            for (qint64 k = 0; k < samples; ++k) {
                buffer[k] = qFromLittleEndian(buffer[k]);
            }
        }
        result.envelope->AddSamples(buffer.get(), static_cast<size_t>(samples));
        carried = have - samples * 2;
        if (carried != 0) {
            bytes[0] = bytes[have - 1];
        }
    }
    return result;
}

}  // namespace tembrix
