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
    const struct {
        const char* name;
        std::vector<int16_t> block;
        uint16_t expected;
    } cases[] = {
        {"silence", Block({}), 0},
        {"every sub-block peaks at 1000", Block({}, 1000), 1000},
        {"every sub-block peaks at -1000", Block({}, -1000), 1000},
        {"one sample of 9999", Block({{100, 9999}}), 999},
        {"-32767 counts as 32767", Block({{0, -32767}}), 3276},
        {"32767 everywhere", std::vector<int16_t>(480, 32767), 32767},
        // |-32768| wraps to 4294934528 in 32 bits; the sum wraps too, the value keeps the low 16 bits.
        {"one -32768", Block({{5, -32768}}), static_cast<uint16_t>(4294934528u / 10)},
        {"-32768 with nine peaks of 1000", Block({{3, -32768}}, 1000),
         static_cast<uint16_t>(static_cast<uint32_t>(4294934528u + 9000u) / 10)},
        {"samples 47 and 48 lie in two sub-blocks", Block({{47, 500}, {48, 700}}), 120},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Envelope one(480, 1);
        for (int16_t s : c.block) {
            one.AddSample(s);
        }
        EXPECT_EQ(ValuesOf(one), std::vector<uint16_t>{c.expected});
        EXPECT_EQ(Reference(c.block), ValuesOf(one));
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
        EXPECT_EQ(ValuesOf(e), expected);
        EXPECT_EQ(e.BlocksCompleted(), expected.size());
    }
}

// Catches a wrong count, capacity or duration of a raw file, and chunked reading that loses samples.
TEST(Envelope, RawFileSizes) {
    const struct {
        const char* name;
        qint64 bytes;
        int32_t count, capacity, duration;
    } cases[] = {
        {"exactly 60 s", 5760000, 6000, 6000, 60},
        {"479 trailing samples", 2 * 2880479, 6000, 6001, 60},
        {"odd length: last byte ignored", 5760000 + 961, 6001, 6001, 60},
        {"one block", 960, 1, 1, 0},
        {"under one block", 958, 0, 1, 0},
        {"empty", 0, 0, 0, 0},
        {"several read chunks", 2 * (3 * 512 * 1024 + 1234), 3279, 3280, 32},
    };
    test::TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto samples = Noise(static_cast<size_t>(c.bytes / 2), 13);
        QByteArray bytes = BytesOf(samples);
        if (c.bytes % 2 != 0) {
            bytes.append('\x7f');
        }
        const RawEnvelope r = EnvelopeOfRawFile(dir.Write(QStringLiteral("raw.dat"), bytes));
        ASSERT_TRUE(r.ok);
        EXPECT_EQ(r.size, c.bytes);
        EXPECT_EQ(r.envelope->Count(), c.count);
        EXPECT_EQ(r.envelope->Capacity(), c.capacity);
        EXPECT_EQ(r.duration, c.duration);
        EXPECT_EQ(ValuesOf(*r.envelope), Reference(samples));
        // The stored form; no file written when there are no values.
        EXPECT_EQ(test::ValuesOfBlob(r.envelope->Blob()), Reference(samples));
        EXPECT_EQ(r.envelope->WriteValues(dir.File(QStringLiteral("env.bin"))), c.count > 0);
    }
    EXPECT_FALSE(EnvelopeOfRawFile(dir.File(QStringLiteral("missing.dat"))).ok);
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
            ASSERT_TRUE(d.ok);
            EXPECT_EQ(d.bytes, size);
            EXPECT_EQ(d.md5, Hex(bytes, QCryptographicHash::Md5));
            EXPECT_EQ(d.sha256, Hex(bytes, QCryptographicHash::Sha256));
        }
        EXPECT_TRUE(copied);
        EXPECT_TRUE(test::ReadFile(target) == bytes);
    }
    EXPECT_FALSE(DigestFile(dir.File(QStringLiteral("missing"))).ok);
    EXPECT_FALSE(DigestFile(dir.Path()).ok);  // a folder
}

// Catches a failed copy reported as done, or one that leaves a partial file or removes a folder.
TEST(Digests, FailedCopyLeavesNoPartialTarget) {
    test::TempDir dir;
    const QString source = dir.Write(QStringLiteral("source.bin"), "abc");
    const QString folder = dir.File(QStringLiteral("a folder"));
    QDir().mkpath(folder);
    bool copied = true;
    EXPECT_FALSE(
        CopyAndDigest(dir.File(QStringLiteral("missing")), dir.File(QStringLiteral("c")), &copied).ok);
    EXPECT_FALSE(copied);
    EXPECT_FALSE(QFile::exists(dir.File(QStringLiteral("c"))));
    for (const QString& target : {dir.File(QStringLiteral("no/such/folder/copy.bin")), folder}) {
        copied = true;
        CopyAndDigest(source, target, &copied);
        EXPECT_FALSE(copied) << target.toStdString();
    }
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

}  // namespace
}  // namespace tembrix
