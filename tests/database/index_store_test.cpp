// The index store: look-ups, deletes, duplicate refusal, replacement of a track, busy protocol, connecting.

#include <gtest/gtest.h>

#include <QFile>
#include <vector>

#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "database/sqlite.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

// A record of "/music/<md5>" with an 8-byte envelope; the text fields left empty are stored as empty texts.
IndexRecord Record(const QString& md5, int64_t size = 1, int32_t track = 0, int32_t tracks = 1) {
    IndexRecord r;
    std::tie(r.md5, r.source_size, r.audio_track, r.all_tracks, r.source_path, r.info, r.index_size) =
        std::tuple(md5, size, track, tracks, "/music/" + md5, "Artist: A\n", 8);
    return r;
}

const uint16_t kValues[4] = {1, 2, 0x8000, 65535};

// Stores a second copy of every row, as only a raw insert can.
constexpr char kCopyRows[] =
    "INSERT INTO data SELECT NULL, source_size, sha2, md5, duration, source_path, source_file_name, "
    "extension, type, audio_track, all_tracks, created, info, index_size, index_data FROM data";

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(store.Connect(path) && store.CreateTable()); }
    int Insert(const IndexRecord& r) { return store.InsertRecordWithIndex(r, kValues); }
    int64_t Scalar(const char* sql) { return store.QueryScalar(QString::fromUtf8(sql)); }
    int64_t Count() { return Scalar("SELECT COUNT(*) AS res FROM data"); }
    // The first column of each row of `sql`, read on a connection of its own, past the store.
    QStringList Exec(const char* sql) { return test::Texts(path, QString::fromUtf8(sql)); }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString path = dir.File(QStringLiteral("index.db"));
    TDataModule1 store;
};

// Catches a look-up that matches on part of the key, sizes cut to 32 bits, and the quirks other programs
// rely on changed.
TEST_F(StoreTest, InsertFindAndReadBack) {
    const IndexRecord r = Record(QStringLiteral("aa"), 5000000000LL, 1);
    EXPECT_EQ(std::pair(store.FindTrack(r.md5, r.source_size, r.audio_track), store.FindPath(r)),
              std::pair(int{TDataModule1::kNoSuchTrack}, 0));
    ASSERT_EQ(Insert(r), 0);
    const int id = store.FindTrack(r.md5, r.source_size, r.audio_track);
    EXPECT_TRUE(id > 0 && store.FindPath(r) == 1);
    EXPECT_EQ((std::vector<int>{store.FindTrack(r.md5, r.source_size, 0),
                                store.FindTrack(r.md5, r.source_size + 1, 1),
                                store.FindTrack(QStringLiteral("AA"), r.source_size, 1)}),
              std::vector<int>(3, TDataModule1::kNoSuchTrack));  // every part of the key counts
    IndexRecord back;
    std::vector<uint16_t> envelope{9, 9, 9};
    int32_t count = 0;
    ASSERT_TRUE(store.GetRecordWithIndex(id, back, envelope, count));
    EXPECT_EQ(std::tuple(back.source_size, envelope, count),
              std::tuple(r.source_size, std::vector<uint16_t>{1, 2, 0x8000, 65535}, 4));
    IndexRecord empty = Record(QStringLiteral("dd"));
    empty.index_size = 0;
    ASSERT_EQ(store.InsertRecordWithIndex(empty, nullptr), 0);
    // index_size is bound as text but stored as a number; no envelope is an empty blob, not NULL.
    EXPECT_EQ(Exec("SELECT typeof(index_size)||length(index_data) FROM data"),
              (QStringList{"integer8", "integer0"}));
}

// Catches a delete of the wrong rows or of too few, and ids reused after a delete.
TEST_F(StoreTest, DeletesAndIdsOfDeletedRowsAreNeverReused) {
    for (const IndexRecord& r :
         {Record("ff", 7, 0, 3), Record("ff", 7, 1, 3), Record("ff", 7, 2, 3), Record("e1"), Record("e2")}) {
        ASSERT_EQ(Insert(r), 0);
    }
    const int last = store.FindTrack(QStringLiteral("e2"), 1, 0);
    EXPECT_TRUE(store.DeleteFile(QStringLiteral("ff"), 7) && Count() == 2);  // every track of the file
    EXPECT_EQ((std::vector<int>{store.DeleteById(last), store.DeleteTrack(QStringLiteral("e1"), 1, 0),
                                store.DeleteTrack(QStringLiteral("nothing"), 1, 0), int(Count())}),
              std::vector<int>(4, 0));
    ASSERT_EQ(Insert(Record(QStringLiteral("e3"))), 0);
    EXPECT_GT(store.FindTrack(QStringLiteral("e3"), 1, 0), last);
}

// Catches a duplicate stored, a replacement that changes something when it cannot be made, and one that
// deletes the new row or leaves an older one of its track.
TEST_F(StoreTest, SecondInsertOfATrackIsRefusedAndAReplacementSwapsAllItsRowsForOne) {
    const IndexRecord track0 = Record(QStringLiteral("a"), 1, 0, 2);
    ASSERT_EQ(Insert(track0), 0);
    // InsertRecord does not test for duplicates, but it carries no envelope: NOT NULL refuses it.
    EXPECT_EQ(std::tuple(Insert(track0), store.InsertRecord(track0), Count()),
              std::tuple(int{TDataModule1::kDuplicate}, int{TDataModule1::kFailed}, int64_t{1}));
    // No unique constraint in the database: two equal keys, FindTrack gives the first id.
    Exec(kCopyRows);
    EXPECT_EQ(store.FindTrack(track0.md5, 1, 0), 1);
    ASSERT_EQ(Insert(Record(QStringLiteral("a"), 1, 1, 2)), 0);
    const auto rows = [this] {
        return Exec(
            "SELECT id||'|'||audio_track||'|'||source_path||'|'||hex(index_data) FROM Data ORDER BY id");
    };
    const QStringList before = rows();
    IndexRecord r = track0;
    std::tie(r.source_path, r.index_size) = std::tuple("/new/a", 4);
    const uint16_t envelope[2] = {0x0201, 0x0403};
    // Without envelope bytes for a non-empty envelope the insert half cannot be made; nothing changes.
    int64_t newId = -7;
    int deletedRows = -1;
    EXPECT_EQ(store.InsertRow(r, nullptr, newId), TDataModule1::kFailed);
    EXPECT_EQ(std::pair(newId, rows()), std::pair(int64_t{-7}, before));

    // The new row comes first; the delete half then removes only the older rows of its track.
    ASSERT_TRUE(store.BeginTransaction());  // inside a batch, as the import calls it
    EXPECT_TRUE(store.InsertRow(r, envelope, newId) == TDataModule1::kOk &&
                store.DeleteReplacedRows(r.md5, r.source_size, r.audio_track, newId, deletedRows) ==
                    TDataModule1::kOk);
    EXPECT_EQ(std::pair(newId, deletedRows), std::pair(int64_t{4}, 2));  // both older rows of the track
    ASSERT_TRUE(store.CommitTransaction());
    EXPECT_EQ(rows(), (QStringList{"3|1|/music/a|010002000080FFFF", "4|0|/new/a|01020304"}));
}

// Catches an operation that runs, or fails with another result, while the flag is held.
TEST_F(StoreTest, HeldBusyFlagGivesEveryOperationItsBusyResult) {
    ASSERT_EQ(Insert(Record(QStringLiteral("busy"))), 0);
    ASSERT_TRUE(store.Busy().TryAcquire());
    store.Busy().SetPollLimit(1);  // each operation then gives up after one poll
    const IndexRecord r = Record(QStringLiteral("new"));
    QStringList a, b;
    IndexRecord out;
    std::vector<uint16_t> env;
    int32_t count = 0, deleted = 0;
    int64_t newId = 0;
    EXPECT_EQ(
        (std::vector<int>{
            store.InsertRecordWithIndex(r, kValues), store.InsertRecord(r), store.FindTrack(r.md5, 1, 0),
            store.FindPath(r), store.DeleteTrack(QStringLiteral("busy"), 1, 0), store.DeleteById(1),
            store.InsertRow(r, kValues, newId), store.DeleteReplacedRows(r.md5, 1, 0, 99, deleted)}),
        std::vector<int>(8, TDataModule1::kBusy));
    EXPECT_EQ((std::vector<bool>{store.DeleteFile(QStringLiteral("busy"), 1), store.Vacuum(), store.Commit(),
                                 Scalar("SELECT 1 AS res") != 0,
                                 store.QueryPairs(QStringLiteral("SELECT 1 AS par, 2 AS val"), a, b),
                                 store.ListTracks(a, b), store.GetRecordWithIndex(1, out, env, count)}),
              std::vector<bool>(7, false));
    store.Busy().Release();  // nothing was changed while busy; COMMIT outside a transaction is swallowed
    EXPECT_TRUE(Count() == 1 && store.Vacuum() && store.Commit());
}

// Catches a second table creation, a clear that leaves rows, and a compaction or a clear that fails (on a
// damaged file, after disconnecting) taken as done.
TEST_F(StoreTest, CreateTwiceClearAndVacuumOrClearOfADamagedFile) {
    EXPECT_FALSE(store.CreateTable());
    ASSERT_EQ(Insert(Record(QStringLiteral("x"))), 0);
    EXPECT_TRUE(store.ClearTable() && Count() == 0);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(Insert(Record(QString::number(i))), 0);
    }
    store.Disconnect();
    EXPECT_FALSE(store.ClearTable());
    ASSERT_TRUE(test::DamageRows(path) && store.Connect(path));
    EXPECT_FALSE(store.Vacuum() || store.ClearTable());
    EXPECT_EQ(messages.shown, (QStringList{"Ошибка создания таблицы!", "Ошибка очистки таблицы!",
                                           "Ошибка очистки таблицы!"}));
}

// Catches a file that is not a database overwritten or connected, a new file given a table, and an older
// table left without the side indexes.
TEST_F(StoreTest, ConnectRefusesWhatIsNotADatabaseAndAcceptsNewOrOlderFiles) {
    store.Disconnect();
    const QString text = dir.Write(QStringLiteral("notes.db"), QByteArray(4096, 'x'));
    EXPECT_FALSE(store.Connect(text) || store.IsConnected());
    EXPECT_EQ(messages.shown, QStringList{"Ошибка подключения к базе данных!"});
    QFile f(text);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly) && f.readAll() == QByteArray(4096, 'x'));  // left as it was

    // A missing file becomes an empty database without the table.
    ASSERT_TRUE(store.Connect(dir.File(QStringLiteral("new.db"))));
    QStringList a, b;
    EXPECT_FALSE(store.ListTracks(a, b) ||
                 store.QueryPairs(QStringLiteral("SELECT par, val FROM data"), a, b));
    EXPECT_EQ(std::pair(Insert(Record(QStringLiteral("x"))), Count()),
              std::pair(int{TDataModule1::kFailed}, int64_t{0}));
    EXPECT_EQ(messages.shown.size(), 1);

    // A table made before the side indexes existed gets them on connect.
    ASSERT_TRUE(test::MakeDatabase(dir.File(QStringLiteral("old.db"))) && store.Connect(dir.File("old.db")));
    EXPECT_EQ(
        Scalar("SELECT COUNT(*) AS res FROM sqlite_master WHERE type='index' AND name LIKE 'idx_data_%'"), 3);
}

}  // namespace
}  // namespace tembrix
