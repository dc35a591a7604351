// Both digests from one read pass equal the independent ones, at every chunk boundary.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QRandomGenerator>

#include "indexing/digests.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

TEST(Digests, EqualIndependentDigestsAtChunkBoundaries) {
    test::TempDir dir;
    QRandomGenerator random(12345);
    constexpr qint64 kMiB = 1024 * 1024;
    for (const qint64 size : {qint64(0), qint64(1), qint64(64 * 1024 - 1), qint64(64 * 1024 + 1),
                              4 * kMiB - 1, 4 * kMiB, 4 * kMiB + 1, 9 * kMiB + 12345}) {
        QByteArray bytes(size, Qt::Uninitialized);
        for (qint64 i = 0; i < size; ++i) {
            bytes[i] = static_cast<char>(random.bounded(256));
        }
        const QString path = dir.Write(QStringLiteral("data %1.bin").arg(size), bytes);
        const FileDigests d = DigestFile(path);
        ASSERT_TRUE(d.ok) << size;
        EXPECT_EQ(d.bytes, size);
        EXPECT_EQ(d.md5,
                  QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex()))
            << size;
        EXPECT_EQ(d.sha256,
                  QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()))
            << size;
    }
}

TEST(Digests, HexIsLowerCaseOfFixedLength) {
    test::TempDir dir;
    const FileDigests d = DigestFile(dir.Write(QStringLiteral("abc"), "abc"));
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(d.md5, d.md5.toLower());
    EXPECT_EQ(d.md5.size(), 32);
    EXPECT_EQ(d.sha256, d.sha256.toLower());
    EXPECT_EQ(d.sha256.size(), 64);
}

TEST(Digests, UnreadableFileIsReported) {
    test::TempDir dir;
    EXPECT_FALSE(DigestFile(dir.File(QStringLiteral("missing"))).ok);
    EXPECT_FALSE(DigestFile(dir.Path()).ok);  // a folder
}

}  // namespace
}  // namespace tembrix
