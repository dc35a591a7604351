// The import source reader: key lines, whole rows with their envelope bytes, and its failures.

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

    test::TempDir dir;
    test::RecordingMessages messages;
    QString path;
    TDataModule2 source;
};

TEST_F(ImportSourceTest, KeyLinesFollowTheTableOrderAndKeepLargeSizes) {
    RawRow big;
    big.md5 = QStringLiteral("bbb");
    big.sourceSize = QStringLiteral("5000000000");  // above 2^32
    big.audioTrack = 2;
    RawRow small;
    small.md5 = QStringLiteral("aaa");  // sorts first in the track look-up index
    small.sourceSize = QStringLiteral("17");
    ASSERT_TRUE(test::MakeDatabase(path, {big, small}));
    ASSERT_TRUE(source.Connect(path));
    QStringList keys = {QStringLiteral("kept")};
    ASSERT_TRUE(source.ListKeys(keys));
    EXPECT_EQ(keys, (QStringList{"kept", "1\t5000000000\tbbb\t2", "2\t17\taaa\t0"}));
}

TEST_F(ImportSourceTest, EmptyTableGivesNoKeysAndNoTableFails) {
    ASSERT_TRUE(test::MakeDatabase(path));
    ASSERT_TRUE(source.Connect(path));
    QStringList keys;
    EXPECT_TRUE(source.ListKeys(keys));
    EXPECT_TRUE(keys.isEmpty());

    TDataModule2 empty;
    ASSERT_TRUE(empty.Connect(dir.File(QStringLiteral("new.db"))));  // created without a table
    EXPECT_FALSE(empty.ListKeys(keys));
}

TEST_F(ImportSourceTest, ReadsEveryFieldAndExactlyIndexSizeBytes) {
    RawRow row;
    row.sourceSize = QStringLiteral("3000000000");
    row.sha2 = QStringLiteral("s2");
    row.md5 = QStringLiteral("m5");
    row.duration = 61;
    row.sourcePath = QStringLiteral("/a/Песня.flac");
    row.sourceFileName = QStringLiteral("Песня");
    row.extension = QStringLiteral("flac");
    row.type = kTypeVideo;
    row.audioTrack = 1;
    row.allTracks = 3;
    row.created = QStringLiteral("02.03.2024");
    row.infoNull = true;
    row.indexSize = 5;  // odd: the fifth byte rides in one more element
    row.indexData = QByteArray("\x01\x80\xFF\x7F\x09\x33", 6);
    ASSERT_TRUE(test::MakeDatabase(path, {row}));
    ASSERT_TRUE(source.Connect(path));

    IndexRecord r;
    std::vector<uint16_t> envelope(9, 1);
    int32_t count = -1;
    ASSERT_TRUE(source.GetRecordWithIndex(1, r, envelope, count));
    EXPECT_EQ(r.source_size, 3000000000LL);
    EXPECT_EQ(r.sha2, "s2");
    EXPECT_EQ(r.md5, "m5");
    EXPECT_EQ(r.duration, 61);
    EXPECT_EQ(r.source_path, "/a/Песня.flac");
    EXPECT_EQ(r.source_file_name, "Песня");
    EXPECT_EQ(r.extension, "flac");
    EXPECT_EQ(r.type, kTypeVideo);
    EXPECT_EQ(r.audio_track, 1);
    EXPECT_EQ(r.all_tracks, 3);
    EXPECT_EQ(r.created, "02.03.2024");
    EXPECT_TRUE(r.info.isEmpty());
    EXPECT_EQ(r.index_size, 5);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(envelope, (std::vector<uint16_t>{0x8001, 0x7FFF, 0x0009}));
}

TEST_F(ImportSourceTest, MissingIdLeavesEverythingAndBadRowsFail) {
    RawRow shortBlob;
    shortBlob.indexSize = 12002;  // two bytes more than the blob holds
    RawRow negativeSize;
    negativeSize.md5 = QStringLiteral("n");
    negativeSize.indexSize = -2;
    ASSERT_TRUE(test::MakeDatabase(path, {shortBlob, negativeSize}));
    ASSERT_TRUE(source.Connect(path));

    IndexRecord r;
    r.md5 = QStringLiteral("untouched");
    std::vector<uint16_t> envelope = {7};
    int32_t count = 1;
    EXPECT_TRUE(source.GetRecordWithIndex(99, r, envelope, count));
    EXPECT_EQ(r.md5, "untouched");
    EXPECT_EQ(envelope, std::vector<uint16_t>{7});
    EXPECT_EQ(count, 1);

    EXPECT_FALSE(source.GetRecordWithIndex(1, r, envelope, count));
    EXPECT_FALSE(source.GetRecordWithIndex(2, r, envelope, count));
}

TEST_F(ImportSourceTest, BusyFlagAndBadFilesAreRefused) {
    ASSERT_TRUE(test::MakeDatabase(path, {RawRow{}}));
    ASSERT_TRUE(source.Connect(path));
    ASSERT_TRUE(source.Busy().TryAcquire());
    QStringList keys;
    IndexRecord r;
    std::vector<uint16_t> envelope;
    int32_t count = 0;
    EXPECT_FALSE(source.ListKeys(keys));
    EXPECT_FALSE(source.GetRecordWithIndex(1, r, envelope, count));
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
