#pragma once
// The amplitude envelope of one track: one unsigned 16-bit value per block of 480 samples (10 ms at
// 48 kHz). Each value is the mean, rounded down, of the ten 1-ms (48-sample) peak absolute amplitudes of
// its block. The absolute value is taken in 16 bits and sign-extended, so a sample of -32768 makes its
// sub-block's peak 4294934528 and the block's sum wraps modulo 2^32; that wrap is part of the format the
// companion search program matches against and is kept.
//
// The blob stored as `index_data` is the first `Count()` values, little-endian, no header; a trailing
// incomplete block yields no value. One object per track, used by one thread.

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

namespace tembrix {

class Envelope {
public:
    static constexpr uint32_t kBlockSize = 480;    // samples per value (10 ms)
    static constexpr uint32_t kSubBlockSize = 48;  // samples per peak (1 ms)
    static constexpr int kSubBlocks = 10;

    // `blockSize` samples per value (always kBlockSize in this program); room for `capacity` values.
    Envelope(uint32_t blockSize, int32_t capacity);

    // Takes one sample.
    void AddSample(int16_t sample);
    // Takes `count` samples in order; the same result as AddSample on each, computed a block at a time.
    void AddSamples(const int16_t* samples, size_t count);
    // Forgets the values and the current block; the write position and the array are kept.
    void Reset();
    // Writes the Count() values (2 bytes each, little-endian) to `path`. False when there are none,
    // when the file cannot be opened or when not every value was written.
    bool WriteValues(const QString& path) const;

    int32_t Count() const { return m_count; }
    int32_t Capacity() const { return m_capacity; }
    uint32_t BlocksCompleted() const { return m_blocksCompleted; }
    // The value array (Capacity() entries, the first Count() of them written).
    const uint16_t* Values() const { return m_values.get(); }
    // The blob bytes: Count() values as little-endian bytes.
    QByteArray Blob() const;

private:
    // Ends the current block from its peaks (which it clears).
    void CompleteBlock();
    // Stores the value of a block whose peaks sum to `sum` at the write position, which wraps to the
    // start of the array when it is full.
    void StoreBlock(uint32_t sum);

    uint32_t m_blockSize;
    int32_t m_capacity;
    int32_t m_count = 0;
    int32_t m_writePosition = 0;
    uint32_t m_samplesInBlock = 0;
    uint32_t m_lastBlockSum = 0;
    uint32_t m_peaks[kSubBlocks + 1] = {};  // one spare slot for a misconfigured block size
    uint32_t m_blocksCompleted = 0;
    std::unique_ptr<uint16_t[]> m_values;
};

// The envelope of a raw audio file (headerless signed 16-bit little-endian mono at 48 kHz), read in
// bounded chunks. Sizes are 64-bit; an odd last byte is ignored.
struct RawEnvelope {
    bool ok = false;                     // false when the file could not be opened
    qint64 size = 0;                     // file size in bytes
    qint64 sampleCount = 0;              // size / 2
    int32_t duration = 0;                // whole seconds: size / 96000
    std::unique_ptr<Envelope> envelope;  // capacity (samples + 479) / 480
};

// Reads the raw file at `path` and reduces it to its envelope. Uses a fixed 1 MiB buffer. A long file
// stops being read early when the calling QThread is asked to stop (the envelope is then incomplete).
RawEnvelope EnvelopeOfRawFile(const QString& path);

// The raw-audio byte rate and the shortest file the indexing worker accepts (60 s).
constexpr qint64 kRawBytesPerSecond = 96000;
constexpr qint64 kMinimumRawSize = 5760000;

}  // namespace tembrix
