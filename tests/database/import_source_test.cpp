// The import source reader: key lines, the envelope bytes of a row, and its refusals.

#include <gtest/gtest.h>

#include <QFile>

#include "database/import_source.h"
#include "database/maint_test_db.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RawRow;

class ImportSourceTest : public ::testing::Test {
protected:
    void SetUp() override { path = dir.File(QStringLiteral("source.db")); }
    void Open(const std::vector<RawRow>& rows) {
        ASSERT_TRUE(test::MakeDatabase(path, rows));
        ASSERT_TRUE(source.Connect(path));
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString path;
    TDataModule2 source;
    IndexRecord record;
    std::vector<uint16_t> envelope = {7};
    int32_t count = 1;
};

TEST_F(ImportSourceTest, KeyLinesFollowTheTableOrderAndKeepLargeSizes) {
    RawRow big;
    big.md5 = QStringLiteral("bbb");
    big.sourceSize = QStringLiteral("5000000000");  // above 2^32
    big.audioTrack = 2;
    RawRow small;
    small.md5 = QStringLiteral("aaa");  // sorts first in the track look-up index
    small.sourceSize = QStringLiteral("17");
    Open({big, small});
    QStringList keys = {QStringLiteral("kept")};
    ASSERT_TRUE(source.ListKeys(keys));
    EXPECT_EQ(keys, (QStringList{"kept", "1\t5000000000\tbbb\t2", "2\t17\taaa\t0"}));
}

// The import tests compare whole rows after their way through the reader; here what they never meet: a
// NULL tag text, an odd index_size, blobs shorter than index_size, a missing id.
TEST_F(ImportSourceTest, ReadsExactlyIndexSizeBytesAndRefusesRowsWithoutThem) {
    RawRow odd;
    odd.infoNull = true;
    odd.indexSize = 5;  // the fifth byte rides in one more element
    odd.indexData = QByteArray("\x01\x80\xFF\x7F\x09\x33", 6);
    RawRow shortBlob;
    shortBlob.indexSize = 12002;  // two bytes more than the blob holds
    RawRow negativeSize;
    negativeSize.indexSize = -2;
    Open({odd, shortBlob, negativeSize});
    record.md5 = QStringLiteral("untouched");
    EXPECT_TRUE(source.GetRecordWithIndex(99, record, envelope, count));
    EXPECT_EQ(record.md5, "untouched");
    EXPECT_EQ(envelope, std::vector<uint16_t>{7});
    EXPECT_EQ(count, 1);

    record.info = QStringLiteral("stale");
    ASSERT_TRUE(source.GetRecordWithIndex(1, record, envelope, count));
    EXPECT_EQ(record.md5, odd.md5);
    EXPECT_TRUE(record.info.isEmpty());
    EXPECT_EQ(record.index_size, 5);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(envelope, (std::vector<uint16_t>{0x8001, 0x7FFF, 0x0009}));
    EXPECT_FALSE(source.GetRecordWithIndex(2, record, envelope, count));
    EXPECT_FALSE(source.GetRecordWithIndex(3, record, envelope, count));
}

TEST_F(ImportSourceTest, BusyFlagAndBadFilesAreRefused) {
    Open({RawRow{}});
    ASSERT_TRUE(source.Busy().TryAcquire());
    QStringList keys;
    EXPECT_FALSE(source.ListKeys(keys));
    EXPECT_FALSE(source.GetRecordWithIndex(1, record, envelope, count));
    source.Busy().Release();
    EXPECT_TRUE(source.ListKeys(keys));

    EXPECT_TRUE(source.Disconnect());
    EXPECT_FALSE(source.Disconnect());
    EXPECT_FALSE(source.IsConnected());
    const QString notADatabase = dir.Write(QStringLiteral("text.db"), QByteArray(4096, 'x'));
    EXPECT_FALSE(source.Connect(notADatabase));
    EXPECT_EQ(messages.shown, QStringList{"Ошибка подключения к базе данных!"});
    QFile f(notADatabase);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), QByteArray(4096, 'x'));  // left as it was
}

}  // namespace
}  // namespace tembrix
