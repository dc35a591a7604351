// The import worker and its source reader: whole rows arriving, duplicates kept and replaced, a database
// imported into itself, rows that cannot be copied, failures of the key list and the look-up, a stop,
// batches and the write faults that end them; what the reader makes of odd envelopes, and its refusals.

#include <gtest/gtest.h>

#include <QFile>
#include <QSet>
#include <QStringList>
#include <functional>

#include "database/failing_vfs.h"
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

// Runs `worker`; `onBox` is called after each message box is recorded (the worker waits for it, so
// what it does takes effect at a known row).
ImportRun RunImport(ImportDatabase& worker, const std::function<void(const QString&)>& onBox = {}) {
    ImportRun run;
    worker.onLines = [&](const QStringList& lines) {
        EXPECT_TRUE(OnMainThread());
        run.lines += lines;
    };
    worker.onMessageBox = [&](const QString& text) {
        run.boxes.append(text);
        if (onBox) {
            onBox(text);
        }
    };
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
    SqliteStatement q(c, QStringLiteral("SELECT %1 FROM Data ORDER BY id").arg(what));
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
    bool Committed() { return !store.InTransaction(); }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString mainPath = dir.File(QStringLiteral("main.db"));
    QString sourcePath = dir.File(QStringLiteral("source.db"));
    TDataModule1 store;
    TDataModule2 source;
};

TEST_F(ImportDatabaseTest, EdgeSizedSourcesEndWithTheirSummaryAndASecondImportFindsDuplicates) {
    // Catches a progress division by zero for one row, and a loop that runs for an empty source.
    for (const int n : {0, 1}) {
        SCOPED_TRACE(n);
        mainPath = dir.File(QStringLiteral("main%1.db").arg(n));
        sourcePath = dir.File(QStringLiteral("source%1.db").arg(n));
        Open({}, n == 0 ? std::vector<RawRow>{} : std::vector<RawRow>{Row("only")});
        {
            ImportDatabase worker(store, source);
            const ImportRun run = RunImport(worker);
            EXPECT_EQ(run.boxes, kDone);
            EXPECT_EQ(run.summary, ImportSummary(n, n, 0, 0, n));
            EXPECT_EQ(run.progress, n == 0 ? 0 : 100);
            EXPECT_EQ(Rows(mainPath), Rows(sourcePath));
        }
        ImportDatabase again(store, source);
        const ImportRun run = RunImport(again);
        EXPECT_EQ(run.lines.size(), n);
        EXPECT_EQ(run.summary, ImportSummary(n, n, n, 0, 0));
    }
}

// The import over several batches, without fault and with each write fault: the committed batches
// hold a prefix of the rows to store, the open one is rolled back whole (no replaced row goes without
// its replacement), and the summary counts exactly what the file holds.
TEST_F(ImportDatabaseTest, WriteFaultsRollTheOpenBatchBackAndTheSummaryCountsWhatIsStored) {
    // 4500 source rows, every second one and a run longer than the rows read ahead already stored (with
    // other paths, so that a replacement shows).
    const auto isDuplicate = [](int i) { return i % 2 == 0 || (i >= 1000 && i < 1400); };
    std::vector<RawRow> sourceRows;
    std::vector<RawRow> stored;
    for (int i = 0; i < 4500; ++i) {
        sourceRows.push_back(Row(QString::number(i), 100));
        if (isDuplicate(i)) {
            stored.push_back(sourceRows.back());
            stored.back().sourcePath = QStringLiteral("/old/%1").arg(i);
        }
    }
    const int duplicates = static_cast<int>(stored.size());
    enum class Where { Nowhere, FirstWrite, MidImport, LastCommit, ReadOnly };
    const struct {
        bool replace;
        Where where;
        const char* catches;
    } cases[] = {
        {false, Where::Nowhere, "rows lost, reordered or miscounted across batches and read-ahead"},
        {true, Where::Nowhere, "replacements that leave old rows or lose rows across batches"},
        {false, Where::FirstWrite, "a failed insert counted as added, or the import going on after it"},
        {true, Where::FirstWrite, "a replacement's old row deleted after its insert failed"},
        {false, Where::MidImport, "a new batch opened in autocommit after the open one was rolled back"},
        {true, Where::MidImport, "queued deletions run after the rollback, outside any batch"},
        {false, Where::LastCommit, "a final commit that fails taken as done"},
        {true, Where::LastCommit, "deletions of a batch whose commit failed counted as deleted"},
        {false, Where::ReadOnly, "rows counted as added into a file that cannot be written"},
        {true, Where::ReadOnly, "rows deleted from, or anything changed in, a read-only file"},
    };
    std::vector<int64_t> batchStarts[2];   // per policy, from the run without fault
    std::vector<int64_t> commitStarts[2];  // per policy, from the run without fault
    for (const auto& c : cases) {
        SCOPED_TRACE(c.catches);
        const int p = c.replace ? 1 : 0;
        mainPath = dir.File(QStringLiteral("faults-main.db"));
        sourcePath = dir.File(QStringLiteral("faults-source.db"));
        store.Disconnect();
        source.Disconnect();
        QFile::remove(mainPath);
        QFile::remove(sourcePath);
        ASSERT_TRUE(test::MakeDatabase(mainPath, stored));
        ASSERT_TRUE(test::MakeDatabase(sourcePath, sourceRows));
        ASSERT_TRUE(store.Connect(mainPath));  // adds the side indexes now, before the fault
        store.Disconnect();
        QByteArray fileBefore;
        {
            QFile f(mainPath);
            ASSERT_TRUE(f.open(QIODevice::ReadOnly));
            fileBefore = f.readAll();
        }
        const QStringList before = Rows(mainPath);
        const QStringList sourceText = Rows(sourcePath);
        int64_t budget = std::numeric_limits<int64_t>::max();
        if (c.where == Where::FirstWrite) {
            budget = 0;
        } else if (c.where == Where::MidImport) {
            // Some pages into the third batch, before its commit.
            ASSERT_GE(batchStarts[p].size(), 3u);
            budget = std::min(batchStarts[p][2] + 3 * 4096, commitStarts[p][2] - 1);
        } else if (c.where == Where::LastCommit) {
            ASSERT_FALSE(commitStarts[p].empty());
            budget = commitStarts[p].back();
        }
        test::FailingVfs vfs(mainPath,
                             c.where == Where::ReadOnly ? test::FailingVfs::Fault::ReadOnly
                                                        : test::FailingVfs::Fault::DiskFull,
                             budget);
        ASSERT_TRUE(store.Connect(mainPath));
        ASSERT_TRUE(source.Connect(sourcePath));
        ImportDatabase worker(store, source);
        worker.replaceDuplicates = c.replace;
        const ImportRun run = RunImport(worker);
        store.Disconnect();
        source.Disconnect();

        // What the committed batches must hold: a prefix of the rows to store.
        QStringList toStore;
        for (int i = 0; i < 4500; ++i) {
            if (c.replace || !isDuplicate(i)) {
                toStore.append(sourceText[i]);
            }
        }
        const QStringList after = Rows(mainPath);
        const int added = worker.added;
        ASSERT_LE(added, toStore.size());
        QSet<QString> replacedTracks;
        int duplicatesStored = 0;
        for (int i = 0, storedRows = 0; i < 4500 && storedRows < added; ++i) {
            if (c.replace || !isDuplicate(i)) {
                ++storedRows;
                if (isDuplicate(i)) {
                    ++duplicatesStored;
                    replacedTracks.insert(QString::number(i));
                }
            }
        }
        QStringList expected;  // the rows before, less those replaced, then the rows stored
        for (const QString& row : before) {
            if (!replacedTracks.contains(row.section(u'|', 2, 2))) {
                expected.append(row);
            }
        }
        expected += toStore.mid(0, added);
        EXPECT_EQ(after, expected);
        EXPECT_EQ(run.summary,
                  ImportSummary(worker.processed, 4500, worker.ignored, duplicatesStored, added));

        const QString failed = "Ошибка записи в базу данных! Последние импортированные записи не сохранены.";
        if (c.where == Where::Nowhere) {
            EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::Done);
            EXPECT_EQ(run.boxes, kDone);
            EXPECT_EQ(added, toStore.size());
            EXPECT_EQ(run.lines.size(), duplicates);
            EXPECT_EQ(worker.ignored, c.replace ? 0 : duplicates);
            batchStarts[p] = vfs.BatchStarts();
            commitStarts[p] = vfs.CommitStarts();
            continue;
        }
        EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::WriteFailed);
        EXPECT_EQ(run.boxes, QStringList{failed});
        EXPECT_EQ(run.lines.value(run.lines.size() - 1), failed);
        if (c.where == Where::FirstWrite || c.where == Where::ReadOnly) {
            EXPECT_EQ(added, 0);
            QFile f(mainPath);
            ASSERT_TRUE(f.open(QIODevice::ReadOnly));
            EXPECT_TRUE(f.readAll() == fileBefore);  // not a byte changed
        } else {
            EXPECT_GT(added, 0);  // batches before the fault stay
            EXPECT_LT(added, toStore.size());
            EXPECT_EQ(vfs.RefusedAtCommit(), c.where == Where::LastCommit);
        }
    }
}

// The policy is read at every duplicate: here the first is kept, the others replaced (the policy changes
// while the message box of a row that cannot be read is open). The keys come in table order (not in the
// order of the track look-up index) and keep sizes beyond 32 bits.
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
    RawRow unreadable = Row("unreadable");
    unreadable.indexSize = 20000;  // longer than its blob
    Open({stored, Row("a"), Row("b")}, {video, otherTrack, incoming, unreadable, oddA, Row("b")});
    const QStringList before = Rows(mainPath);

    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.replaceDuplicates = true; });
    ASSERT_EQ(run.lines.size(), 5);
    EXPECT_EQ(run.lines[0], "Дубликат: MD5-хэш = dup\tтрек = 1\tid = 1\tid2 = 3\tразмер = 5000000000 байт");
    EXPECT_EQ(run.summary, ImportSummary(6, 6, 1, 2, 4));
    EXPECT_EQ(worker.rowErrors, 2);
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath, "id"), (QStringList{"1", "4", "5", "6", "7"}));  // ids are never reused
    const QStringList sourceRows = Rows(sourcePath);
    EXPECT_EQ(Rows(mainPath),
              (QStringList{before[0], sourceRows[0], sourceRows[1], sourceRows[4], sourceRows[5]}));
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

TEST_F(ImportDatabaseTest, RowsThatCannotBeCopiedAreReportedLeftOutAndNotCounted) {
    // "keep" and the new "refused" are refused by the database; "dup" and the new "broken" cannot be
    // read from the source (index_size longer than the blob). Each says so, none is counted, and the
    // stored "keep" and "dup" stay.
    RawRow brokenNew = Row("broken");
    brokenNew.indexSize = 20000;
    RawRow brokenDup = Row("dup");
    brokenDup.indexSize = 20000;
    Open({Row("keep"), Row("dup")}, {Row("keep"), brokenNew, brokenDup, Row("refused"), Row("fresh")});
    {
        SqliteConnection c;
        ASSERT_TRUE(c.Open(mainPath));
        ASSERT_TRUE(
            c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data WHEN NEW.md5 IN ('keep', 'refused') "
                   "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    }
    const QStringList before = Rows(mainPath);

    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    const QString read = "Ошибка DataModule2->GetRecord2";
    const QString insert = "Ошибка DataModule1->InsertSQL";
    const QStringList errors = {insert, read, insert, read, insert, insert};
    EXPECT_EQ(run.lines.filter(QStringLiteral("Ошибка")), errors);
    EXPECT_EQ(run.boxes, errors + kDone);
    EXPECT_EQ(run.summary, ImportSummary(5, 5, 0, 0, 1));
    EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::Done);
    EXPECT_EQ(worker.rowErrors, 6);
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath), before + Rows(sourcePath).mid(4));
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
    EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::KeysUnreadable);
}

// Catches a look-up failure (here: the store staying busy) that does not end the import, or that
// loses the rows of the open batch.
TEST_F(ImportDatabaseTest, StoreStayingBusyEndsTheImportAndKeepsTheRowsBefore) {
    RawRow broken = Row("broken");
    broken.indexSize = 20000;
    Open({}, {Row("a"), broken, Row("c")});
    store.Busy().SetPollLimit(1);
    ImportDatabase worker(store, source);
    // The store is held from the unreadable row's message on, so the next look-up gives up; it is let
    // go when the failure is reported.
    const ImportRun run = RunImport(worker, [&](const QString& text) {
        if (text == "Ошибка DataModule2->GetRecord2") {
            EXPECT_TRUE(store.Busy().TryAcquire());
        } else if (text == "Ошибка SQL запроса") {
            store.Busy().Release();
        }
    });
    EXPECT_EQ(run.lines.value(2), "Ошибка SQL запроса");
    EXPECT_EQ(run.boxes.value(2), "Ошибка SQL запроса");
    EXPECT_EQ(run.boxes.size(), 3);
    EXPECT_EQ(run.summary, ImportSummary(2, 3, 0, 0, 1));
    EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::LookupFailed);
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath), Rows(sourcePath).mid(0, 1));
}

// Catches a stop that does not finish the current row, skips the closing message or loses the batch.
TEST_F(ImportDatabaseTest, StopFinishesTheRowThenReportsAndCommits) {
    RawRow broken = Row("broken");
    broken.indexSize = 20000;
    Open({}, {Row("a"), broken, Row("c")});
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.requestInterruption(); });
    EXPECT_EQ(run.boxes.last(), "Импорт остановлен!");
    EXPECT_EQ(run.summary, ImportSummary(2, 3, 0, 0, 1));
    EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::Stopped);
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath), Rows(sourcePath).mid(0, 1));
}

// Catches a batch committed by another caller of the store (the indexing's closing COMMIT) taken for
// lost, or the rows after it left outside any batch.
TEST_F(ImportDatabaseTest, ACommitByAnotherCallerMidwayLosesNothing) {
    RawRow broken = Row("broken");
    broken.indexSize = 20000;
    Open({}, {Row("a"), broken, Row("c")});
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker, [&](const QString& text) {
        if (text == "Ошибка DataModule2->GetRecord2") {
            EXPECT_TRUE(store.Commit());
        }
    });
    EXPECT_EQ(run.boxes.last(), "Задание выполнено!");
    EXPECT_EQ(run.summary, ImportSummary(3, 3, 0, 0, 2));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(Rows(mainPath).size(), 2);
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
    RawRow empty;  // no envelope at all: nothing to convert (no pointer to read from)
    empty.indexSize = 0;
    empty.indexData.clear();
    Open({}, {odd, shortBlob, negativeSize, empty});
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
    ASSERT_TRUE(source.GetRecordWithIndex(4, record, envelope, count));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(envelope.empty());
}

TEST_F(ImportDatabaseTest, SourceRefusesWhileBusy) {
    Open({}, {Row("a")});
    source.Busy().SetPollLimit(1);
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
