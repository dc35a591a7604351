// The store's replacement of a track in two halves, used by the import: the new row is stored, then every
// older row of the track gives way to it; when the insert cannot be made, nothing changes at all.

#include <gtest/gtest.h>

#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

class ReplaceTrackTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.File(QStringLiteral("index.db"));
        // Two stored rows of track 0 of file "a" (a duplicate the store alone would refuse), one of track 1.
        std::vector<test::RawRow> rows(3);
        rows[2].audioTrack = 1;
        for (auto& r : rows) {
            r.md5 = QStringLiteral("a");
            r.sourcePath = QStringLiteral("/old/a");
        }
        ASSERT_TRUE(test::MakeDatabase(path, rows));
        ASSERT_TRUE(store.Connect(path));
        record.md5 = QStringLiteral("a");
        record.source_size = 5000000;
        record.source_path = QStringLiteral("/new/a");
        record.type = kTypeAudio;
        record.index_size = 4;
    }
    QStringList Rows() {
        SqliteStatement q(store.Handle(),
                          "SELECT id, audio_track, source_path, hex(index_data) FROM Data ORDER BY id");
        QStringList rows;
        while (q.Next()) {
            rows.append(QStringList{q.Text(0), q.Text(1), q.Text(2), q.Text(3)}.join(u'|'));
        }
        return rows;
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString path;
    TDataModule1 store;
    IndexRecord record;
    const uint16_t envelope[2] = {0x0201, 0x0403};
};

TEST_F(ReplaceTrackTest, EveryOlderRowOfTheTrackGivesWayToTheNewOne) {
    int64_t newId = 0;
    EXPECT_EQ(store.InsertReplacement(record, envelope, newId), TDataModule1::kOk);
    EXPECT_EQ(newId, 4);
    EXPECT_EQ(store.DeleteReplacedRows(record.md5, record.source_size, record.audio_track, newId),
              TDataModule1::kOk);
    EXPECT_EQ(Rows(), (QStringList{"3|1|/old/a|" + test::PlainEnvelope(6000).toHex().toUpper(),
                                   "4|0|/new/a|01020304"}));
}

TEST_F(ReplaceTrackTest, FailedInsertOrBusyStoreLeavesEverythingAsItWas) {
    const QStringList before = Rows();
    int64_t newId = -7;
    // Without envelope bytes for a non-empty envelope the insert cannot be made.
    EXPECT_EQ(store.InsertReplacement(record, nullptr, newId), TDataModule1::kFailed);
    EXPECT_EQ(newId, -7);
    EXPECT_EQ(Rows(), before);

    ASSERT_TRUE(store.Busy().TryAcquire());
    EXPECT_EQ(store.InsertReplacement(record, envelope, newId), TDataModule1::kBusy);
    EXPECT_EQ(store.DeleteReplacedRows(record.md5, record.source_size, 0, 99), TDataModule1::kBusy);
    store.Busy().Release();
    EXPECT_EQ(Rows(), before);

    {  // the database refuses the row
        SqliteConnection c;
        ASSERT_TRUE(c.Open(path));
        ASSERT_TRUE(
            c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data BEGIN SELECT RAISE(ABORT, 'no'); END"));
    }
    EXPECT_EQ(store.InsertReplacement(record, envelope, newId), TDataModule1::kFailed);
    EXPECT_EQ(Rows(), before);
}

}  // namespace
}  // namespace tembrix
