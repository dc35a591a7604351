// The import worker and its source reader: whole rows arriving, duplicates kept and replaced, a database
// imported into itself, replacements that cannot be made, failures of the key list and the look-up, a
// stop, batches; what the reader makes of odd envelopes, and its refusals.

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <QStringList>
#include <functional>

#include "database/import_database.h"
#include "database/import_source.h"
#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"
#include "util/synchronize.h"

namespace tembrix {
namespace {

using test::ImportSummary;
using test::RawRow;
using test::Row;

// What a run delivered to the main thread, in order, and its progress at the end.
struct ImportRun {
    QStringList lines;
    QStringList boxes;
    QStringList summary;
    int progress = -1;
};

// Runs `worker`; `onLine` is called after each line is recorded.
ImportRun RunImport(ImportDatabase& worker, const std::function<void(const QString&)>& onLine = {}) {
    ImportRun run;
    worker.onLine = [&](const QString& line) {
        EXPECT_TRUE(OnMainThread());
        run.lines.append(line);
        if (onLine) {
            onLine(line);
        }
    };
    worker.onMessageBox = [&](const QString& text) { run.boxes.append(text); };
    worker.onSummary = [&](const QStringList& summary) { run.summary += summary; };
    test::RunToEnd(worker);
    run.progress = worker.progress.load();
    return run;
}

const QStringList kDone{"Задание выполнено!"};

// Every column but the id as one text, the blob as hex.
constexpr char kWholeRow[] =
    "source_size||'|'||sha2||'|'||md5||'|'||duration||'|'||source_path||'|'||source_file_name||'|'||"
    "extension||'|'||type||'|'||audio_track||'|'||all_tracks||'|'||created||'|'||quote(info)||'|'||"
    "index_size||'|'||hex(index_data)";

// `what` of every row of the database file, in id order, read through a connection of its own: what the
// import committed.
QStringList Rows(const QString& path, const char* what = kWholeRow) {
    SqliteConnection c;
    EXPECT_TRUE(c.Open(path));
    SqliteStatement q(c.Handle(), QStringLiteral("SELECT %1 FROM Data ORDER BY id").arg(what));
    QStringList rows;
    while (q.Next()) {
        rows.append(q.Text(0));
    }
    return rows;
}

class ImportDatabaseTest : public ::testing::Test {
protected:
    void Open(const std::vector<RawRow>& mainRows, const std::vector<RawRow>& sourceRows) {
        store.Disconnect();
        source.Disconnect();
        ASSERT_TRUE(test::MakeDatabase(mainPath, mainRows));
        ASSERT_TRUE(test::MakeDatabase(sourcePath, sourceRows));
        ASSERT_TRUE(store.Connect(mainPath));
        ASSERT_TRUE(source.Connect(sourcePath));
    }
    // The main database imported into itself.
    void OpenSelf(const std::vector<RawRow>& rows) {
        ASSERT_TRUE(test::MakeDatabase(mainPath, rows));
        ASSERT_TRUE(store.Connect(mainPath));
        ASSERT_TRUE(source.Connect(mainPath));
    }
    // The connection is back in autocommit mode: nothing of the import is left uncommitted.
    bool Committed() { return sqlite3_get_autocommit(store.Handle()) != 0; }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString mainPath = dir.File(QStringLiteral("main.db"));
    QString sourcePath = dir.File(QStringLiteral("source.db"));
    TDataModule1 store;
    TDataModule2 source;
};

TEST_F(ImportDatabaseTest, EverySourceRowArrivesWholeAndASecondImportFindsThemAllDuplicates) {
    for (const int n : {0, 1, 2500}) {  // 2500: more than one batch
        SCOPED_TRACE(n);
        std::vector<RawRow> rows;
        for (int i = 0; i < n; ++i) {
            rows.push_back(Row(QString::number(i), 10));
        }
        mainPath = dir.File(QStringLiteral("main%1.db").arg(n));
        sourcePath = dir.File(QStringLiteral("source%1.db").arg(n));
        Open({}, rows);
        const int progress = n == 0 ? 0 : 100;
        {
            ImportDatabase worker(store, source);
            const ImportRun run = RunImport(worker);
            EXPECT_TRUE(run.lines.isEmpty());
            EXPECT_EQ(run.boxes, kDone);
            EXPECT_EQ(run.summary, ImportSummary(n, n, 0, 0, n));
            EXPECT_EQ(run.progress, progress);
            EXPECT_TRUE(Committed());
            EXPECT_EQ(Rows(mainPath), Rows(sourcePath));
        }
        ImportDatabase again(store, source);
        const ImportRun run = RunImport(again);
        EXPECT_EQ(run.lines.size(), n);
        EXPECT_EQ(run.summary, ImportSummary(n, n, n, 0, 0));
        EXPECT_EQ(run.progress, progress);
    }
}

// The source is read ahead of the import, several hundred rows at a time: each row must still meet its
// own key, whether the rows between were skipped as duplicates or not.
TEST_F(ImportDatabaseTest, RowsReadAheadMeetTheirKeysPastRunsOfDuplicates) {
    for (const bool replace : {false, true}) {
        SCOPED_TRACE(replace);
        std::vector<RawRow> rows;
        std::vector<RawRow> stored;
        for (int i = 0; i < 900; ++i) {
            rows.push_back(Row(QString::number(i), 10 + i % 7));
            // Runs of duplicates, the longest longer than the rows read ahead.
            if (i % 3 == 0 || (i >= 300 && i < 600)) {
                stored.push_back(rows.back());
            }
        }
        mainPath = dir.File(QStringLiteral("mixed%1.db").arg(replace));
        sourcePath = dir.File(QStringLiteral("mixed-source%1.db").arg(replace));
        Open(stored, rows);
        const QStringList before = Rows(mainPath);
        ImportDatabase worker(store, source);
        worker.replaceDuplicates = replace;
        const ImportRun run = RunImport(worker);
        const int dups = static_cast<int>(stored.size());
        EXPECT_EQ(run.lines.size(), dups);
        EXPECT_EQ(run.summary, replace ? ImportSummary(900, 900, 0, dups, 900)
                                       : ImportSummary(900, 900, dups, 0, 900 - dups));
        QStringList expected = replace ? QStringList() : before;
        const QStringList sourceRows = Rows(sourcePath);
        for (int i = 0; i < 900; ++i) {
            if (replace || !(i % 3 == 0 || (i >= 300 && i < 600))) {
                expected.append(sourceRows[i]);
            }
        }
        EXPECT_EQ(Rows(mainPath), expected);
    }
}

// The policy is read at every duplicate: here the first is kept, the others replaced. The keys come in
// table order (not in the order of the track look-up index) and keep sizes beyond 32 bits.
TEST_F(ImportDatabaseTest, DuplicatesAreKeptOrReplacedAsThePolicySaysWhenEachIsMet) {
    RawRow stored = Row("dup");
    stored.audioTrack = 1;
    stored.sourceSize = QStringLiteral("5000000000");
    stored.sourcePath = QStringLiteral("/old/path.mp3");
    RawRow incoming = stored;
    incoming.sourcePath = QStringLiteral("/new/path.mp3");
    RawRow otherTrack = stored;  // the same file, another track: new
    otherTrack.audioTrack = 0;
    RawRow oddA = Row("a");
    oddA.sourcePath = QStringLiteral("/new/a.mp3");
    oddA.indexSize = 7;  // an odd envelope is copied byte for byte
    oddA.indexData = QByteArray("\x01\x02\x03\x04\x05\x06\xFE", 7);
    RawRow video = Row("new1");
    video.type = kTypeVideo;
    video.audioTrack = 2;
    video.allTracks = 3;
    Open({stored, Row("a"), Row("b")}, {video, otherTrack, incoming, oddA, Row("b")});
    const QStringList before = Rows(mainPath);

    ImportDatabase worker(store, source);
    int seen = 0;
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.replaceDuplicates = ++seen >= 2; });
    ASSERT_EQ(run.lines.size(), 3);
    EXPECT_EQ(run.lines[0], "Дубликат: MD5-хэш = dup\tтрек = 1\tid = 1\tid2 = 3\tразмер = 5000000000 байт");
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(run.summary, ImportSummary(5, 5, 1, 2, 4));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath, "id"), (QStringList{"1", "4", "5", "6", "7"}));  // ids are never reused
    const QStringList sourceRows = Rows(sourcePath);
    EXPECT_EQ(Rows(mainPath),
              (QStringList{before[0], sourceRows[0], sourceRows[1], sourceRows[3], sourceRows[4]}));
}

// A track met again and again in the source: each replacement finds the row the one before it stored
// (the replaced rows go only at the end of a batch, but a look-up of their track must not see them).
TEST_F(ImportDatabaseTest, ATrackRepeatedInTheSourceIsReplacedInTurnAndLeavesOneRow) {
    std::vector<RawRow> repeats(3, Row("t"));
    for (int i = 0; i < 3; ++i) {
        repeats[i].sourcePath = QStringLiteral("/s%1").arg(i + 1);
    }
    Open({Row("t")}, repeats);
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    QStringList expected;
    for (int i = 1; i <= 3; ++i) {
        expected.append(
            QStringLiteral("Дубликат: MD5-хэш = t\tтрек = 0\tid = %1\tid2 = %1\tразмер = 5000000 байт")
                .arg(i));
    }
    EXPECT_EQ(run.lines, expected);
    EXPECT_EQ(run.summary, ImportSummary(3, 3, 0, 3, 3));
    EXPECT_EQ(Rows(mainPath, "id||source_path"), QStringList{"4/s3"});
}

TEST_F(ImportDatabaseTest, IntoItselfLargerThanTheCacheWithReplaceLosesNothing) {
    // 7 MB of envelopes changed in one batch: more than SQLite's page cache holds. The source reads the
    // same file through its own connection and must never find it locked by the batch.
    std::vector<RawRow> rows;
    for (int i = 0; i < 150; ++i) {
        rows.push_back(Row(QString::number(i), 24000));
    }
    OpenSelf(rows);
    const QStringList original = Rows(mainPath);
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.summary, ImportSummary(150, 150, 0, 150, 150));
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath), original);
    EXPECT_EQ(Rows(mainPath, "id").first(), "151");
}

TEST_F(ImportDatabaseTest, ReplacementsThatCannotBeMadeKeepTheStoredRow) {
    // "keep" is refused by the database; "dup" cannot be read from the source (index_size longer than
    // its blob), nor can the new "broken", which counts as added without a word and is not stored.
    RawRow brokenNew = Row("broken");
    brokenNew.indexSize = 20000;
    RawRow brokenDup = Row("dup");
    brokenDup.indexSize = 20000;
    Open({Row("keep"), Row("dup")}, {Row("keep"), brokenNew, brokenDup, Row("fresh")});
    {
        SqliteConnection c;
        ASSERT_TRUE(c.Open(mainPath));
        ASSERT_TRUE(
            c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data WHEN NEW.md5 = 'keep' "
                   "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    }
    const QStringList before = Rows(mainPath);

    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    const QStringList errors = {"Ошибка DataModule1->InsertSQL", "Ошибка DataModule2->GetRecord2",
                                "Ошибка DataModule1->InsertSQL"};
    EXPECT_EQ(run.lines.filter(QStringLiteral("Ошибка")), errors);
    EXPECT_EQ(run.boxes, errors + kDone);
    EXPECT_EQ(run.summary, ImportSummary(4, 4, 0, 2, 4));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath), before + Rows(sourcePath).mid(3));
}

TEST_F(ImportDatabaseTest, KeyListFailureEndsAtOnce) {
    ASSERT_TRUE(test::MakeDatabase(mainPath, {Row("a")}));
    ASSERT_TRUE(store.Connect(mainPath));
    ASSERT_TRUE(source.Connect(sourcePath));  // a new empty file: no table
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker);
    const QString text = "Ошибка получения списка записей импортируемой базы данных!";
    EXPECT_EQ(run.lines, QStringList{text});
    EXPECT_EQ(run.boxes, QStringList{text});
    EXPECT_EQ(run.summary, ImportSummary(0, 0, 0, 0, 0));
}

// A look-up that fails or finds the store busy ends the import.
TEST_F(ImportDatabaseTest, StoreStayingBusyEndsTheImportAndKeepsTheRowsBefore) {
    Open({Row("b")}, {Row("a"), Row("b"), Row("c")});
    ImportDatabase worker(store, source);
    // The store is held from the duplicate's line on, so the next look-up gives up; it is let go when the
    // failure is reported.
    const ImportRun run = RunImport(worker, [&](const QString& line) {
        if (line.startsWith("Дубликат")) {
            EXPECT_TRUE(store.Busy().TryAcquire());
        } else {
            store.Busy().Release();
        }
    });
    EXPECT_EQ(run.lines.value(1), "Ошибка SQL запроса");
    EXPECT_EQ(run.boxes, QStringList{"Ошибка SQL запроса"});
    EXPECT_EQ(run.summary, ImportSummary(2, 3, 1, 0, 1));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath), Rows(sourcePath).mid(1, 1) + Rows(sourcePath).mid(0, 1));
}

TEST_F(ImportDatabaseTest, StopFinishesTheRowThenReportsAndCommits) {
    Open({Row("a")}, {Row("a"), Row("b"), Row("c")});
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.requestInterruption(); });
    EXPECT_EQ(run.boxes, QStringList{"Импорт остановлен!"});
    EXPECT_EQ(run.summary, ImportSummary(1, 3, 1, 0, 0));
    EXPECT_TRUE(Committed());
}

TEST_F(ImportDatabaseTest, ACommitByAnotherCallerMidwayLosesNothing) {
    Open({Row("b")}, {Row("a"), Row("b"), Row("c")});
    ImportDatabase worker(store, source);
    // As the indexing's last step does.
    const ImportRun run = RunImport(worker, [&](const QString&) { EXPECT_TRUE(store.Commit()); });
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(run.summary, ImportSummary(3, 3, 1, 0, 2));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath).size(), 3);
}

// What the import rows never meet: a NULL tag text, an odd index_size, a blob shorter than index_size, a
// negative index_size, a missing id.
TEST_F(ImportDatabaseTest, SourceReadsExactlyIndexSizeBytesAndRefusesRowsWithoutThem) {
    RawRow odd;
    odd.infoNull = true;
    odd.indexSize = 5;  // the fifth byte rides in one more element
    odd.indexData = QByteArray("\x01\x80\xFF\x7F\x09\x33", 6);
    RawRow shortBlob;
    shortBlob.indexSize = 12002;  // two bytes more than the blob holds
    RawRow negativeSize;
    negativeSize.indexSize = -2;
    Open({}, {odd, shortBlob, negativeSize});
    IndexRecord record;
    record.md5 = QStringLiteral("untouched");
    std::vector<uint16_t> envelope = {7};
    int32_t count = 1;
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

TEST_F(ImportDatabaseTest, SourceRefusesWhileBusy) {
    Open({}, {Row("a")});
    ASSERT_TRUE(source.Busy().TryAcquire());
    QStringList keys;
    IndexRecord record;
    std::vector<uint16_t> envelope;
    int32_t count = 0;
    EXPECT_FALSE(source.ListKeys(keys));
    EXPECT_FALSE(source.GetRecordWithIndex(1, record, envelope, count));
    source.Busy().Release();
    EXPECT_TRUE(source.ListKeys(keys));
    EXPECT_EQ(keys.size(), 1);
}

}  // namespace
}  // namespace tembrix
