// The index store against temporary databases: exact schema, duplicate refusal, ids, the busy protocol,
// and the quirks other programs rely on (GetRecord's failure, ListTracks' names, index_size as a number).

#include <gtest/gtest.h>

#include <QFile>
#include <QThread>
#include <atomic>
#include <vector>

#include "database/index_store.h"
#include "database/sqlite.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

IndexRecord Record(const QString& md5, int64_t size, int32_t track, int32_t tracks = 1) {
    IndexRecord r;
    r.md5 = md5;
    r.sha2 = QStringLiteral("sha-") + md5;
    r.source_size = size;
    r.audio_track = track;
    r.all_tracks = tracks;
    r.duration = 75;
    r.source_path = QStringLiteral("/music/") + md5 + QStringLiteral(".mp3");
    r.source_file_name = md5;
    r.extension = QStringLiteral("mp3");
    r.type = kTypeAudio;
    r.created = QStringLiteral("01.02.2024 3:04:05");
    r.info = QStringLiteral("Artist: A\n");
    r.index_size = 8;
    return r;
}

const uint16_t kValues[4] = {1, 2, 0x8000, 65535};

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.File(QStringLiteral("index.db"));
        ASSERT_TRUE(store.Connect(path));
        ASSERT_TRUE(store.CreateTable());
    }
    int Insert(const IndexRecord& r) { return store.InsertRecordWithIndex(r, kValues); }
    int64_t Count() { return store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM data")); }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString path;
    TDataModule1 store;
};

TEST_F(StoreTest, TableStatementIsStoredExactlyWithTheTwoIndexes) {
    SqliteConnection c;
    ASSERT_TRUE(c.Open(path));
    SqliteStatement q(c.Handle(),
                      "SELECT type, name, sql FROM sqlite_master WHERE tbl_name='Data' ORDER BY name");
    QStringList rows;
    while (q.Next()) {
        rows.append(q.Text(0) + u'|' + q.Text(1) + u'|' + q.Text(2));
    }
    QString table = QString::fromUtf8(kCreateTableSql);
    table.chop(1);  // SQLite keeps the statement without its final semicolon
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0], QStringLiteral("table|Data|") + table);
    EXPECT_TRUE(rows[1].startsWith(QStringLiteral("index|idx_data_path|"))) << rows[1].toStdString();
    EXPECT_TRUE(rows[1].endsWith(QStringLiteral("ON Data(source_path)"))) << rows[1].toStdString();
    EXPECT_TRUE(rows[2].endsWith(QStringLiteral("ON Data(md5, source_size, audio_track)")))
        << rows[2].toStdString();
}

TEST_F(StoreTest, InsertFindAndReadBack) {
    const IndexRecord r = Record(QStringLiteral("aa"), 5000000000LL, 0);
    ASSERT_EQ(Insert(r), 0);
    const int id = store.FindTrack(r.md5, r.source_size, r.audio_track);
    EXPECT_GT(id, 0);
    EXPECT_EQ(store.FindPath(r), 1);

    IndexRecord back;
    std::vector<uint16_t> envelope{9, 9, 9};
    int32_t count = 0;
    ASSERT_TRUE(store.GetRecordWithIndex(id, back, envelope, count));
    EXPECT_EQ(back.source_size, r.source_size);
    EXPECT_EQ(back.md5, r.md5);
    EXPECT_EQ(back.sha2, r.sha2);
    EXPECT_EQ(back.source_path, r.source_path);
    EXPECT_EQ(back.created, r.created);
    EXPECT_EQ(back.info, r.info);
    EXPECT_EQ(back.index_size, 8);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(envelope, (std::vector<uint16_t>{1, 2, 0x8000, 65535}));

    // index_size is bound as text but stored as a number (INTEGER affinity).
    EXPECT_EQ(store.QueryScalar(
                  QStringLiteral("SELECT COUNT(*) AS res FROM data WHERE typeof(index_size)='integer'")),
              1);
    EXPECT_EQ(store.QueryScalar(QStringLiteral("SELECT length(index_data) AS res FROM data")), 8);
}

TEST_F(StoreTest, LookUpResults) {
    const IndexRecord r = Record(QStringLiteral("bb"), 100, 1);
    EXPECT_EQ(store.FindTrack(r.md5, r.source_size, r.audio_track), TDataModule1::kDuplicate);
    EXPECT_EQ(store.FindPath(r), 0);
    ASSERT_EQ(Insert(r), 0);
    struct Case {
        const char* name;
        QString md5;
        int64_t size;
        int32_t track;
        bool found;
    } cases[] = {
        {"same triple", QStringLiteral("bb"), 100, 1, true},
        {"other track", QStringLiteral("bb"), 100, 0, false},
        {"other size", QStringLiteral("bb"), 101, 1, false},
        {"other md5", QStringLiteral("BB"), 100, 1, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(store.FindTrack(c.md5, c.size, c.track) > 0, c.found) << c.name;
    }
}

TEST_F(StoreTest, SecondInsertOfATrackIsRefusedButTheTableAcceptsRawDuplicates) {
    const IndexRecord r = Record(QStringLiteral("cc"), 100, 0);
    ASSERT_EQ(Insert(r), 0);
    EXPECT_EQ(Insert(r), TDataModule1::kDuplicate);
    EXPECT_EQ(Count(), 1);
    // InsertRecord does not test for duplicates, but it carries no envelope: NOT NULL refuses it.
    EXPECT_EQ(store.InsertRecord(r), TDataModule1::kFailed);
    // The database itself has no unique constraint: two equal keys, FindTrack gives the first id.
    SqliteConnection c;
    ASSERT_TRUE(c.Open(path));
    ASSERT_TRUE(
        c.Exec("INSERT INTO data SELECT NULL, source_size, sha2, md5, duration, source_path, "
               "source_file_name, extension, type, audio_track, all_tracks, created, info, index_size, "
               "index_data FROM data"));
    EXPECT_EQ(Count(), 2);
    EXPECT_EQ(store.FindTrack(r.md5, r.source_size, r.audio_track),
              store.QueryScalar(QStringLiteral("SELECT MIN(id) AS res FROM data")));
}

TEST_F(StoreTest, EmptyEnvelopeIsStoredAsEmptyBlob) {
    IndexRecord r = Record(QStringLiteral("dd"), 1, 0);
    r.index_size = 0;
    ASSERT_EQ(store.InsertRecordWithIndex(r, nullptr), 0);
    EXPECT_EQ(
        store.QueryScalar(QStringLiteral("SELECT length(index_data) AS res FROM data WHERE index_data IS "
                                         "NOT NULL")),
        0);
    EXPECT_EQ(Count(), 1);
}

TEST_F(StoreTest, IdsOfDeletedRowsAreNeverReused) {
    ASSERT_EQ(Insert(Record(QStringLiteral("e1"), 1, 0)), 0);
    ASSERT_EQ(Insert(Record(QStringLiteral("e2"), 1, 0)), 0);
    const int second = store.FindTrack(QStringLiteral("e2"), 1, 0);
    EXPECT_EQ(store.DeleteById(second), 0);
    EXPECT_EQ(store.DeleteTrack(QStringLiteral("e1"), 1, 0), 0);
    EXPECT_EQ(store.DeleteTrack(QStringLiteral("nothing"), 1, 0), 0);
    EXPECT_EQ(Count(), 0);
    ASSERT_EQ(Insert(Record(QStringLiteral("e3"), 1, 0)), 0);
    EXPECT_GT(store.FindTrack(QStringLiteral("e3"), 1, 0), second);
}

TEST_F(StoreTest, DeleteFileRemovesEveryTrack) {
    for (int t = 0; t < 3; ++t) {
        ASSERT_EQ(Insert(Record(QStringLiteral("ff"), 7, t, 3)), 0);
    }
    ASSERT_EQ(Insert(Record(QStringLiteral("gg"), 7, 0)), 0);
    EXPECT_TRUE(store.DeleteFile(QStringLiteral("ff"), 7));
    EXPECT_EQ(Count(), 1);
}

TEST_F(StoreTest, ListTracksNamesTracksOfMultiTrackFiles) {
    ASSERT_EQ(Insert(Record(QStringLiteral("video"), 9, 1, 2)), 0);
    ASSERT_EQ(Insert(Record(QStringLiteral("video"), 9, 0, 2)), 0);
    ASSERT_EQ(Insert(Record(QStringLiteral("alone"), 9, 0, 1)), 0);
    QStringList names{QStringLiteral("kept")};
    QStringList ids{QStringLiteral("0")};
    ASSERT_TRUE(store.ListTracks(names, ids));
    ASSERT_EQ(names.size(), 4);  // appended, not cleared
    EXPECT_EQ(names[1], QStringLiteral("alone"));
    QStringList videoNames = names.mid(2);
    videoNames.sort();
    EXPECT_EQ(videoNames, (QStringList{QStringLiteral("video [1]"), QStringLiteral("video [2]")}));
    EXPECT_EQ(ids.size(), 4);
}

TEST_F(StoreTest, GetRecordFailsOnTheColumnTheTableDoesNotHave) {
    ASSERT_EQ(Insert(Record(QStringLiteral("hh"), 3, 0)), 0);
    IndexRecord r;
    EXPECT_FALSE(store.GetRecord(store.FindTrack(QStringLiteral("hh"), 3, 0), r));
    EXPECT_EQ(r.info, QStringLiteral("Artist: A\n"));  // filled before the failing column
    EXPECT_EQ(r.index_size, 0);                        // not reached
    IndexRecord untouched;
    EXPECT_TRUE(store.GetRecord(999, untouched));
}

TEST_F(StoreTest, GetRecordWithIndexOfAMissingIdTouchesNothing) {
    IndexRecord r;
    r.md5 = QStringLiteral("keep");
    std::vector<uint16_t> envelope{7};
    int32_t count = 42;
    EXPECT_TRUE(store.GetRecordWithIndex(12345, r, envelope, count));
    EXPECT_EQ(r.md5, QStringLiteral("keep"));
    EXPECT_EQ(envelope, std::vector<uint16_t>{7});
    EXPECT_EQ(count, 42);
}

TEST_F(StoreTest, QueryPairsAndScalars) {
    ASSERT_EQ(Insert(Record(QStringLiteral("p1"), 1, 0)), 0);
    IndexRecord wav = Record(QStringLiteral("p2"), 1, 0);
    wav.extension = QStringLiteral("wav");
    ASSERT_EQ(Insert(wav), 0);
    ASSERT_EQ(Insert(Record(QStringLiteral("p3"), 1, 0)), 0);
    QStringList par{QStringLiteral("old")};
    QStringList val;
    ASSERT_TRUE(store.QueryPairs(
        QStringLiteral("SELECT extension AS par, count(*) AS val FROM data GROUP BY extension"), par, val));
    EXPECT_EQ(par, (QStringList{QStringLiteral("mp3"), QStringLiteral("wav")}));
    EXPECT_EQ(val, (QStringList{QStringLiteral("2"), QStringLiteral("1")}));
    EXPECT_FALSE(store.QueryPairs(QStringLiteral("SELECT nonsense"), par, val));
    EXPECT_EQ(store.QueryScalar(QStringLiteral("SELECT SUM(duration) AS res FROM data")), 225);
    EXPECT_EQ(store.QueryScalar(QStringLiteral("SELECT SUM(duration) AS res FROM data WHERE 0")), 0);  // NULL
    EXPECT_EQ(store.QueryScalar(QStringLiteral("SELECT 5 AS other")), 0);
    EXPECT_EQ(store.QueryScalar(QStringLiteral("not sql")), 0);
}

TEST_F(StoreTest, HeldBusyFlagGivesEveryOperationItsBusyResult) {
    ASSERT_EQ(Insert(Record(QStringLiteral("busy"), 1, 0)), 0);
    ASSERT_TRUE(store.Busy().TryAcquire());
    const IndexRecord r = Record(QStringLiteral("new"), 1, 0);
    QStringList a, b;
    IndexRecord out;
    std::vector<uint16_t> env;
    int32_t count = 0;
    EXPECT_EQ(store.InsertRecordWithIndex(r, kValues), TDataModule1::kBusy);
    EXPECT_EQ(store.InsertRecord(r), TDataModule1::kBusy);
    EXPECT_EQ(store.FindTrack(r.md5, 1, 0), TDataModule1::kBusy);
    EXPECT_EQ(store.FindPath(r), TDataModule1::kBusy);
    EXPECT_EQ(store.DeleteTrack(QStringLiteral("busy"), 1, 0), TDataModule1::kBusy);
    EXPECT_EQ(store.DeleteById(1), TDataModule1::kBusy);
    EXPECT_FALSE(store.DeleteFile(QStringLiteral("busy"), 1));
    EXPECT_FALSE(store.Vacuum());
    EXPECT_FALSE(store.Commit());
    EXPECT_EQ(store.QueryScalar(QStringLiteral("SELECT 1 AS res")), 0);
    EXPECT_FALSE(store.QueryPairs(QStringLiteral("SELECT 1 AS par, 2 AS val"), a, b));
    EXPECT_FALSE(store.ListTracks(a, b));
    EXPECT_FALSE(store.GetRecordWithIndex(1, out, env, count));
    store.Busy().Release();
    EXPECT_EQ(Count(), 1);  // nothing was changed while busy
    EXPECT_TRUE(store.Vacuum());
    EXPECT_TRUE(store.Commit());  // COMMIT outside a transaction fails, and that is swallowed
}

TEST_F(StoreTest, BusyFlagReleasedByAnotherThreadWithinThePollsLetsTheOperationThrough) {
    ASSERT_TRUE(store.Busy().TryAcquire());
    std::atomic<bool> released{false};
    QThread* releaser = QThread::create([&] {
        QThread::msleep(50);
        released = true;
        store.Busy().Release();
    });
    releaser->start();
    EXPECT_EQ(Insert(Record(QStringLiteral("late"), 1, 0)), 0);
    EXPECT_TRUE(released.load());
    releaser->wait();
    delete releaser;
}

TEST_F(StoreTest, ConcurrentInsertsFromTwoThreadsAllLand) {
    auto inserter = [&](const QString& prefix) {
        return QThread::create([&, prefix] {
            for (int i = 0; i < 200; ++i) {
                EXPECT_EQ(Insert(Record(prefix + QString::number(i), 1, 0)), 0);
            }
        });
    };
    QThread* a = inserter(QStringLiteral("a"));
    QThread* b = inserter(QStringLiteral("b"));
    a->start();
    b->start();
    a->wait();
    b->wait();
    delete a;
    delete b;
    EXPECT_EQ(Count(), 400);
}

TEST_F(StoreTest, ClearVacuumAndReconnect) {
    ASSERT_EQ(Insert(Record(QStringLiteral("x"), 1, 0)), 0);
    EXPECT_TRUE(store.ClearTable());
    EXPECT_EQ(Count(), 0);
    EXPECT_TRUE(store.Disconnect());
    EXPECT_FALSE(store.Disconnect());
    EXPECT_FALSE(store.IsConnected());
    EXPECT_FALSE(store.ClearTable());
    EXPECT_EQ(messages.shown, QStringList{QStringLiteral("Ошибка очистки таблицы!")});
}

TEST_F(StoreTest, CreatingTheTableTwiceFails) {
    EXPECT_FALSE(store.CreateTable());
    EXPECT_EQ(messages.shown, QStringList{QStringLiteral("Ошибка создания таблицы!")});
}

TEST(StoreConnect, RefusesWhatIsNotADatabase) {
    test::TempDir dir;
    test::RecordingMessages messages;
    TDataModule1 store;
    const QString text = dir.Write(QStringLiteral("notes.db"), QByteArray(4096, 'x'));
    EXPECT_FALSE(store.Connect(text));
    EXPECT_FALSE(store.Connect(dir.File(QStringLiteral("no/such/folder/x.db"))));
    EXPECT_FALSE(store.Connect(dir.Path()));
    EXPECT_FALSE(store.IsConnected());
    EXPECT_EQ(messages.shown.size(), 3);
    EXPECT_EQ(messages.shown.value(0), QStringLiteral("Ошибка подключения к базе данных!"));
    // The text file is untouched.
    QFile f(text);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), QByteArray(4096, 'x'));
}

TEST(StoreConnect, MissingFileGivesAnEmptyDatabaseWithoutTheTable) {
    test::TempDir dir;
    test::RecordingMessages messages;
    TDataModule1 store;
    ASSERT_TRUE(store.Connect(dir.File(QStringLiteral("new.db"))));
    EXPECT_TRUE(QFile::exists(dir.File(QStringLiteral("new.db"))));
    QStringList a, b;
    EXPECT_FALSE(store.ListTracks(a, b));
    EXPECT_EQ(store.FindTrack(QStringLiteral("x"), 1, 0), TDataModule1::kFailed);
    EXPECT_EQ(store.FindPath(IndexRecord{}), TDataModule1::kFailed);
    EXPECT_EQ(store.InsertRecordWithIndex(Record(QStringLiteral("x"), 1, 0), kValues), TDataModule1::kFailed);
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST(StoreConnect, OlderDatabaseGetsItsIndexesOnConnect) {
    test::TempDir dir;
    const QString path = dir.File(QStringLiteral("old.db"));
    {
        SqliteConnection c;
        ASSERT_TRUE(c.Open(path));
        ASSERT_TRUE(c.Exec(kCreateTableSql));
    }
    TDataModule1 store;
    ASSERT_TRUE(store.Connect(path));
    EXPECT_EQ(
        store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM sqlite_master WHERE type='index' AND "
                                         "name LIKE 'idx_data_%'")),
        2);
}

}  // namespace
}  // namespace tembrix
