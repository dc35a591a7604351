// The envelope format is an interface with the companion search program: these tests pin its values
// against a straightforward reference reduction written from the format's definition.

#include <gtest/gtest.h>

#include <QFile>
#include <QtEndian>
#include <random>
#include <vector>

#include "indexing/envelope.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

// One value per whole 480-sample block: the ten 48-sample peaks of |s| (16-bit abs sign-extended to 32
// bits, compared unsigned), summed in 32 bits, divided by 10, low 16 bits.
std::vector<uint16_t> Reference(const std::vector<int16_t>& samples) {
    std::vector<uint16_t> values;
    for (size_t block = 0; block + 480 <= samples.size(); block += 480) {
        uint32_t sum = 0;
        for (size_t sub = 0; sub < 10; ++sub) {
            uint32_t peak = 0;
            for (size_t k = 0; k < 48; ++k) {
                const int16_t s = samples[block + sub * 48 + k];
                const int16_t a = static_cast<int16_t>(s < 0 ? -s : s);
                peak = std::max(peak, static_cast<uint32_t>(static_cast<int32_t>(a)));
            }
            sum += peak;
        }
        values.push_back(static_cast<uint16_t>(sum / 10));
    }
    return values;
}

std::vector<uint16_t> ValuesOf(const Envelope& e) {
    return std::vector<uint16_t>(e.Values(), e.Values() + e.Count());
}

std::vector<int16_t> Noise(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> dist(-32768, 32767);
    std::vector<int16_t> s(n);
    for (auto& v : s) {
        v = static_cast<int16_t>(dist(gen));
    }
    return s;
}

QByteArray BytesOf(const std::vector<int16_t>& samples) {
    QByteArray b(static_cast<qsizetype>(samples.size() * 2), Qt::Uninitialized);
    for (size_t i = 0; i < samples.size(); ++i) {
        qToLittleEndian<int16_t>(samples[i], b.data() + 2 * i);
    }
    return b;
}

struct BlockCase {
    const char* name;
    std::vector<int16_t> block;  // 480 samples
    uint16_t expected;
};

std::vector<int16_t> BlockWith(std::initializer_list<std::pair<size_t, int16_t>> samples) {
    std::vector<int16_t> b(480, 0);
    for (auto [i, v] : samples) {
        b[i] = v;
    }
    return b;
}

std::vector<int16_t> EverySubBlockPeak(int16_t peak) {
    std::vector<int16_t> b(480, 0);
    for (size_t sub = 0; sub < 10; ++sub) {
        b[sub * 48 + 7] = peak;
    }
    return b;
}

TEST(Envelope, OneBlockValues) {
    const BlockCase cases[] = {
        {"silence", std::vector<int16_t>(480, 0), 0},
        {"every sub-block peaks at 1000", EverySubBlockPeak(1000), 1000},
        {"every sub-block peaks at -1000", EverySubBlockPeak(-1000), 1000},
        {"one sample of 9999", BlockWith({{100, 9999}}), 999},
        {"-32767 counts as 32767", BlockWith({{0, -32767}}), 3276},
        {"32767 everywhere", std::vector<int16_t>(480, 32767), 32767},
        // -32768 wraps: peak 4294934528, sum (4294934528 + 0) / 10 = 429493452, low 16 bits.
        {"one -32768", BlockWith({{5, -32768}}), static_cast<uint16_t>(4294934528u / 10)},
        // 4294934528 + 9 x 1000 wraps past 2^32 to 8 + 9000 - 32768 + ... : computed in 32 bits.
        {"-32768 with nine peaks of 1000",
         [] {
             auto b = EverySubBlockPeak(1000);
             b[3] = -32768;
             return b;
         }(),
         static_cast<uint16_t>(static_cast<uint32_t>(4294934528u + 9000u) / 10)},
        {"sub-block boundary: samples 47 and 48 in two sub-blocks", BlockWith({{47, 500}, {48, 700}}), 120},
    };
    for (const auto& c : cases) {
        Envelope one(480, 1);
        for (int16_t s : c.block) {
            one.AddSample(s);
        }
        Envelope bulk(480, 1);
        bulk.AddSamples(c.block.data(), c.block.size());
        ASSERT_EQ(one.Count(), 1) << c.name;
        EXPECT_EQ(one.Values()[0], c.expected) << c.name;
        EXPECT_EQ(bulk.Values()[0], c.expected) << c.name;
        EXPECT_EQ(Reference(c.block), ValuesOf(one)) << c.name;
    }
}

TEST(Envelope, BulkFeedingMatchesSampleBySampleAtEveryChunkBoundary) {
    const auto samples = Noise(480 * 7 + 123, 7);
    const auto expected = Reference(samples);
    const size_t chunks[] = {1, 2, 47, 48, 479, 480, 481, 960, 1001, samples.size()};
    for (size_t chunk : chunks) {
        Envelope e(480, static_cast<int32_t>((samples.size() + 479) / 480));
        for (size_t i = 0; i < samples.size(); i += chunk) {
            e.AddSamples(samples.data() + i, std::min(chunk, samples.size() - i));
        }
        EXPECT_EQ(ValuesOf(e), expected) << "chunk " << chunk;
        EXPECT_EQ(e.BlocksCompleted(), expected.size());
    }
}

TEST(Envelope, PartialLastBlockYieldsNoValue) {
    const auto samples = Noise(480 * 3 + 479, 3);
    Envelope e(480, 4);
    e.AddSamples(samples.data(), samples.size());
    EXPECT_EQ(e.Count(), 3);
    EXPECT_EQ(e.Capacity(), 4);
}

TEST(Envelope, ResetKeepsNothingButThePosition) {
    auto samples = Noise(960, 11);
    Envelope e(480, 4);
    e.AddSamples(samples.data(), 700);
    e.Reset();
    EXPECT_EQ(e.Count(), 0);
    EXPECT_EQ(e.BlocksCompleted(), 0u);
    e.AddSamples(samples.data(), 480);
    EXPECT_EQ(e.Count(), 1);
    // The write position was kept: the new value went to slot 1.
    EXPECT_EQ(e.Values()[1], Reference({samples.begin(), samples.begin() + 480})[0]);
}

TEST(Envelope, RingWrapsAtCapacity) {
    const auto samples = Noise(480 * 3, 5);
    const auto expected = Reference(samples);
    Envelope e(480, 2);
    e.AddSamples(samples.data(), samples.size());
    EXPECT_EQ(e.Count(), 2);
    EXPECT_EQ(e.BlocksCompleted(), 3u);
    EXPECT_EQ(e.Values()[0], expected[2]);
    EXPECT_EQ(e.Values()[1], expected[1]);
}

struct RawCase {
    const char* name;
    qint64 bytes;
    int32_t count;
    int32_t capacity;
    int32_t duration;
};

TEST(Envelope, RawFileSizes) {
    const RawCase cases[] = {
        {"exactly 60 s", 5760000, 6000, 6000, 60},
        {"479 trailing samples", 2 * 2880479, 6000, 6001, 60},
        {"odd length: last byte ignored", 5760000 + 961, 6001, 6001, 60},
        {"one block", 960, 1, 1, 0},
        {"under one block", 958, 0, 1, 0},
        {"empty", 0, 0, 0, 0},
        {"just under a second more", 96000 * 61 - 1, 6099, 6100, 60},
    };
    test::TempDir dir;
    for (const auto& c : cases) {
        const auto samples = Noise(static_cast<size_t>(c.bytes / 2), 13);
        QByteArray bytes = BytesOf(samples);
        if (c.bytes % 2 != 0) {
            bytes.append('\x7f');
        }
        const QString path = dir.Write(QStringLiteral("raw.dat"), bytes);
        const RawEnvelope r = EnvelopeOfRawFile(path);
        ASSERT_TRUE(r.ok) << c.name;
        EXPECT_EQ(r.size, c.bytes) << c.name;
        EXPECT_EQ(r.envelope->Count(), c.count) << c.name;
        EXPECT_EQ(r.envelope->Capacity(), c.capacity) << c.name;
        EXPECT_EQ(r.duration, c.duration) << c.name;
        EXPECT_EQ(ValuesOf(*r.envelope), Reference(samples)) << c.name;
    }
}

TEST(Envelope, RawFileLargerThanOneReadChunk) {
    test::TempDir dir;
    const auto samples = Noise(3 * 512 * 1024 + 1234, 17);
    const RawEnvelope r = EnvelopeOfRawFile(dir.Write(QStringLiteral("big.dat"), BytesOf(samples)));
    EXPECT_EQ(ValuesOf(*r.envelope), Reference(samples));
}

TEST(Envelope, MissingRawFileIsNotOk) {
    EXPECT_FALSE(EnvelopeOfRawFile(QStringLiteral("/nonexistent/raw.dat")).ok);
}

TEST(Envelope, WriteValuesWritesLittleEndianBlob) {
    test::TempDir dir;
    const auto samples = Noise(480 * 5, 19);
    Envelope e(480, 5);
    e.AddSamples(samples.data(), samples.size());
    const QString out = dir.File(QStringLiteral("env.bin"));
    ASSERT_TRUE(e.WriteValues(out));
    QFile f(out);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray blob = f.readAll();
    ASSERT_EQ(blob.size(), 10);
    EXPECT_EQ(blob, e.Blob());
    const auto expected = Reference(samples);
    for (size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(qFromLittleEndian<uint16_t>(blob.constData() + 2 * k), expected[k]);
    }
    Envelope empty(480, 5);
    EXPECT_FALSE(empty.WriteValues(dir.File(QStringLiteral("none.bin"))));
    EXPECT_FALSE(e.WriteValues(dir.File(QStringLiteral("no/such/folder/env.bin"))));
}

}  // namespace
}  // namespace tembrix
