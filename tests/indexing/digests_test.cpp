// Both digests from one read pass equal the independent ones, at every chunk boundary, and a copy made
// in the same pass is identical.

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

QString Hex(const QByteArray& bytes, QCryptographicHash::Algorithm algorithm) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, algorithm).toHex());
}

TEST(Digests, EqualIndependentDigestsAtChunkBoundariesAndCopyInTheSamePass) {
    test::TempDir dir;
    QRandomGenerator random(12345);
    constexpr qint64 kMiB = 1024 * 1024;
    for (const qint64 size : {qint64(0), qint64(1), qint64(64 * 1024 - 1), qint64(64 * 1024 + 1),
                              4 * kMiB - 1, 4 * kMiB, 4 * kMiB + 1, 9 * kMiB + 12345}) {
        SCOPED_TRACE(size);
        QByteArray bytes(size, Qt::Uninitialized);
        for (char& c : bytes) {
            c = static_cast<char>(random.bounded(256));
        }
        const QString source = dir.Write(QStringLiteral("data %1.bin").arg(size), bytes);
        // An older, longer file of the copy's name is replaced, not overwritten in place.
        const QString target = dir.Write(QStringLiteral("copy/data.bin"), QByteArray(size + 3, 'x'));
        bool copied = false;
        for (const FileDigests& d : {DigestFile(source), CopyAndDigest(source, target, &copied)}) {
            ASSERT_TRUE(d.ok);
            EXPECT_EQ(d.bytes, size);
            EXPECT_EQ(d.md5, Hex(bytes, QCryptographicHash::Md5));
            EXPECT_EQ(d.sha256, Hex(bytes, QCryptographicHash::Sha256));
        }
        EXPECT_TRUE(copied);
        QFile f(target);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_TRUE(f.readAll() == bytes);
    }
    EXPECT_FALSE(DigestFile(dir.File(QStringLiteral("missing"))).ok);
    EXPECT_FALSE(DigestFile(dir.Path()).ok);  // a folder
}

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
