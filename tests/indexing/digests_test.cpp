// Both digests from one read pass equal the independent ones, at every chunk boundary.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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

TEST(Digests, CopyAndDigestWritesAnIdenticalCopyInTheSamePass) {
    test::TempDir dir;
    QRandomGenerator random(99);
    QByteArray bytes(9 * 1024 * 1024 + 7, Qt::Uninitialized);
    for (char& c : bytes) {
        c = static_cast<char>(random.bounded(256));
    }
    const QString source = dir.Write(QStringLiteral("source.bin"), bytes);
    // An older, longer file of the same name is replaced, not overwritten in place.
    const QString target = dir.Write(QStringLiteral("copy/source.bin"), QByteArray(12 * 1024 * 1024, 'x'));
    bool copied = false;
    const FileDigests d = CopyAndDigest(source, target, &copied);
    ASSERT_TRUE(copied);
    ASSERT_TRUE(d.ok);
    QFile f(target);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_TRUE(f.readAll() == bytes);
    EXPECT_EQ(d.md5, DigestFile(source).md5);
    EXPECT_EQ(d.sha256,
              QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
}

TEST(Digests, FailedCopyLeavesNoPartialTarget) {
    test::TempDir dir;
    const QString source = dir.Write(QStringLiteral("source.bin"), "abc");
    bool copied = true;
    // Missing source: no copy, no digests, nothing left where the copy would be.
    const QString target = dir.File(QStringLiteral("copy.bin"));
    EXPECT_FALSE(CopyAndDigest(dir.File(QStringLiteral("missing")), target, &copied).ok);
    EXPECT_FALSE(copied);
    EXPECT_FALSE(QFile::exists(target));
    // Target in a folder that does not exist, and a target that is a folder.
    copied = true;
    CopyAndDigest(source, dir.File(QStringLiteral("no/such/folder/copy.bin")), &copied);
    EXPECT_FALSE(copied);
    QDir().mkpath(dir.File(QStringLiteral("a folder")));
    copied = true;
    CopyAndDigest(source, dir.File(QStringLiteral("a folder")), &copied);
    EXPECT_FALSE(copied);
    EXPECT_TRUE(QFileInfo(dir.File(QStringLiteral("a folder"))).isDir());
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
