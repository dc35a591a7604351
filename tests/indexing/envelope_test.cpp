// What the worker computes from a file's bytes: the envelope (an interface with the companion search
// program, pinned against the reduction written from the format's definition) and the digests and copy.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QtEndian>
#include <random>
#include <vector>

#include "indexing/digests.h"
#include "indexing/envelope.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

QByteArray BytesOf(const std::vector<int16_t>& samples) {
    QByteArray b(static_cast<qsizetype>(samples.size() * 2), Qt::Uninitialized);
    for (size_t i = 0; i < samples.size(); ++i) {
        qToLittleEndian<int16_t>(samples[i], b.data() + 2 * i);
    }
    return b;
}

std::vector<uint16_t> Reference(const std::vector<int16_t>& samples) {
    return test::ReduceSamples(BytesOf(samples));
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

// One 480-sample block: `everySub` at sample 7 of each 48-sample sub-block, then the given samples.
std::vector<int16_t> Block(std::initializer_list<std::pair<size_t, int16_t>> samples, int16_t everySub = 0) {
    std::vector<int16_t> b(480, 0);
    for (size_t sub = 0; sub < 10; ++sub) {
        b[sub * 48 + 7] = everySub;
    }
    for (auto [i, v] : samples) {
        b[i] = v;
    }
    return b;
}

// Catches a wrong peak, mean, sub-block boundary or absolute value (the -32768 wrap included).
TEST(Envelope, OneBlockValues) {
    // |-32768| wraps to 4294934528 in 32 bits; the sum wraps too, the value keeps the low 16 bits.
    for (const auto& [block, expected] : {std::pair{Block({}), 0u},
                                          {Block({}, 1000), 1000u},
                                          {Block({}, -1000), 1000u},
                                          {Block({{100, 9999}}), 999u},
                                          {Block({{0, -32767}}), 3276u},
                                          {std::vector<int16_t>(480, 32767), 32767u},
                                          {Block({{5, -32768}}), 4294934528u / 10},
                                          {Block({{3, -32768}}, 1000), (4294934528u + 9000u) / 10},
                                          {Block({{47, 500}, {48, 700}}), 120u}}) {
        Envelope one(480, 1);
        for (int16_t s : block) {
            one.AddSample(s);
        }
        EXPECT_EQ(ValuesOf(one), std::vector<uint16_t>{static_cast<uint16_t>(expected)}) << expected;
        EXPECT_EQ(Reference(block), ValuesOf(one));
    }
}

// Catches state lost between calls when samples arrive in chunks that split blocks and sub-blocks.
TEST(Envelope, BulkFeedingMatchesTheReferenceAtEveryChunkBoundary) {
    const auto samples = Noise(480 * 7 + 123, 7);
    const auto expected = Reference(samples);
    ASSERT_EQ(expected.size(), 7u);  // the partial last block gives no value
    for (size_t chunk : {size_t(1), size_t(47), size_t(48), size_t(479), size_t(481), size_t(1001)}) {
        SCOPED_TRACE(chunk);
        Envelope e(480, 8);
        for (size_t i = 0; i < samples.size(); i += chunk) {
            e.AddSamples(samples.data() + i, std::min(chunk, samples.size() - i));
        }
        EXPECT_TRUE(ValuesOf(e) == expected && e.BlocksCompleted() == expected.size());
    }
}

// Catches a wrong count, capacity or duration of a raw file, and chunked reading that loses samples.
TEST(Envelope, RawFileSizes) {
    test::TempDir dir;
    // Bytes, then count, capacity and duration: 60 s, 479 trailing samples, an odd last byte ignored, one
    // block, under one block, empty, several read chunks.
    for (const auto& [bytes, expected] : {std::pair{qint64(5760000), "6000 6000 60"},
                                          {2 * 2880479, "6000 6001 60"},
                                          {5760000 + 961, "6001 6001 60"},
                                          {960, "1 1 0"},
                                          {958, "0 1 0"},
                                          {0, "0 0 0"},
                                          {2 * (3 * 512 * 1024 + 1234), "3279 3280 32"}}) {
        const auto samples = Noise(static_cast<size_t>(bytes / 2), 13);
        const RawEnvelope r =
            EnvelopeOfRawFile(dir.Write("raw.dat", BytesOf(samples) + QByteArray(bytes % 2, '\x7f')));
        ASSERT_TRUE(r.ok && r.size == bytes) << bytes;
        const int32_t count = r.envelope->Count();
        EXPECT_EQ(QStringLiteral("%1 %2 %3").arg(count).arg(r.envelope->Capacity()).arg(r.duration),
                  expected);
        // The values, the stored form, and no file written when there are no values.
        EXPECT_TRUE(ValuesOf(*r.envelope) == Reference(samples) &&
                    test::ValuesOfBlob(r.envelope->Blob()) == Reference(samples));
        EXPECT_EQ(r.envelope->WriteValues(dir.File("env.bin")), count > 0);
    }
    EXPECT_FALSE(EnvelopeOfRawFile(dir.File("missing.dat")).ok);
}

QString Hex(const QByteArray& bytes, QCryptographicHash::Algorithm algorithm) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, algorithm).toHex());
}

// Catches digests or a copy that lose bytes at a read-chunk boundary, and an old copy overwritten in place.
TEST(Digests, EqualIndependentDigestsAtChunkBoundariesAndCopyInTheSamePass) {
    test::TempDir dir;
    QRandomGenerator random(12345);
    constexpr qint64 kMiB = 1024 * 1024;
    for (const qint64 size : {qint64(0), qint64(1), qint64(64 * 1024 + 1), 4 * kMiB, 4 * kMiB + 1}) {
        SCOPED_TRACE(size);
        QByteArray bytes(size, Qt::Uninitialized);
        for (char& c : bytes) {
            c = static_cast<char>(random.bounded(256));
        }
        const QString source = dir.Write(QStringLiteral("data %1.bin").arg(size), bytes);
        const QString target = dir.Write(QStringLiteral("copy/data.bin"), QByteArray(size + 3, 'x'));
        bool copied = false;
        for (const FileDigests& d : {DigestFile(source), CopyAndDigest(source, target, &copied)}) {
            EXPECT_TRUE(d.ok && d.bytes == size);
            EXPECT_EQ(d.md5 + d.sha256,
                      Hex(bytes, QCryptographicHash::Md5) + Hex(bytes, QCryptographicHash::Sha256));
        }
        EXPECT_TRUE(copied && test::ReadFile(target) == bytes);
    }
    EXPECT_FALSE(DigestFile(dir.File("missing")).ok || DigestFile(dir.Path()).ok);  // the second: a folder
}

// Catches a failed copy reported as done, or one that leaves a partial file or removes a folder.
TEST(Digests, FailedCopyLeavesNoPartialTarget) {
    test::TempDir dir;
    const QString source = dir.Write("source.bin", "abc"), folder = dir.File("a folder");
    QDir().mkpath(folder);
    bool copied = true;
    EXPECT_FALSE(CopyAndDigest(dir.File("missing"), dir.File("c"), &copied).ok || copied ||
                 QFile::exists(dir.File("c")));
    for (const QString& target : {dir.File("no/such/folder/copy.bin"), folder}) {
        copied = true;
        CopyAndDigest(source, target, &copied);
        EXPECT_FALSE(copied) << target.toStdString();
    }
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

}  // namespace
}  // namespace tembrix
