// The store's one-step replacement of a track, used by the import: every stored row of the track gives
// way to the new one, or, when the insert cannot be made, nothing changes at all.

#include <gtest/gtest.h>

#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RawRow;

RawRow Row(const QString& md5, int64_t track) {
    RawRow r;
    r.md5 = md5;
    r.audioTrack = track;
    r.sourcePath = QStringLiteral("/old/") + md5;
    return r;
}

class ReplaceTrackTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.File(QStringLiteral("index.db"));
        // Two stored rows of track 0 of file "a" (a duplicate the store alone would have refused), one
        // of its track 1.
        ASSERT_TRUE(test::MakeDatabase(path, {Row("a", 0), Row("a", 0), Row("a", 1)}));
        ASSERT_TRUE(store.Connect(path));
        record.md5 = QStringLiteral("a");
        record.source_size = 5000000;
        record.audio_track = 0;
        record.all_tracks = 2;
        record.duration = 90;
        record.sha2 = QStringLiteral("sha");
        record.source_path = QStringLiteral("/new/a");
        record.source_file_name = QStringLiteral("a");
        record.extension = QStringLiteral("mp3");
        record.type = kTypeAudio;
        record.created = QStringLiteral("01.01.2024");
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

TEST_F(ReplaceTrackTest, EveryRowOfTheTrackGivesWayToOne) {
    EXPECT_EQ(store.ReplaceTrack(record, envelope), TDataModule1::kOk);
    EXPECT_EQ(Rows(), (QStringList{"3|1|/old/a|" + test::DefaultEnvelope().toHex().toUpper(),
                                   "4|0|/new/a|01020304"}));
}

TEST_F(ReplaceTrackTest, FailedInsertLeavesEverythingAsItWas) {
    const QStringList before = Rows();
    // Without envelope bytes for a non-empty envelope the insert cannot be made.
    ASSERT_TRUE(store.BeginTransaction());  // inside a batch, as the import calls it
    EXPECT_EQ(store.ReplaceTrack(record, nullptr), TDataModule1::kFailed);
    ASSERT_TRUE(store.CommitTransaction());
    EXPECT_EQ(Rows(), before);
    // The database refuses the row.
    SqliteConnection c;
    ASSERT_TRUE(c.Open(path));
    ASSERT_TRUE(c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data BEGIN SELECT RAISE(ABORT, 'no'); END"));
    c.Close();
    EXPECT_EQ(store.ReplaceTrack(record, envelope), TDataModule1::kFailed);
    EXPECT_EQ(Rows(), before);
}

TEST_F(ReplaceTrackTest, BusyStoreChangesNothing) {
    const QStringList before = Rows();
    ASSERT_TRUE(store.Busy().TryAcquire());
    EXPECT_EQ(store.ReplaceTrack(record, envelope), TDataModule1::kBusy);
    store.Busy().Release();
    EXPECT_EQ(Rows(), before);
}

}  // namespace
}  // namespace tembrix
