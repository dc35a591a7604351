// The import worker and its source reader: duplicates kept and replaced, a database imported into itself,
// rows that cannot be copied, failures of the key list and the look-up, a stop, and the write faults.

#include <gtest/gtest.h>

#include <QFile>
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

const QString kDone = QStringLiteral("Задание выполнено!");
const QString kUnreadable = QStringLiteral("Ошибка DataModule2->GetRecord2");

// What a run delivered to the main thread, in order, and its progress at the end.
struct ImportRun {
    QStringList lines, boxes, summary;
    int progress = -1;
};

// Runs `worker`; `onBox` runs after each message box is recorded (the worker waits for it, so what it
// does takes effect at a known row).
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

// Every column but the id as one text, the blob as hex.
constexpr char kWholeRow[] =
    "source_size||'|'||sha2||'|'||md5||'|'||duration||'|'||source_path||'|'||source_file_name||'|'||"
    "extension||'|'||type||'|'||audio_track||'|'||all_tracks||'|'||created||'|'||quote(info)||'|'||"
    "index_size||'|'||hex(index_data)";

// `what` of every row in id order: what the import committed.
QStringList Rows(const QString& path, const char* what = kWholeRow) {
    return test::Texts(path, QStringLiteral("SELECT %1 FROM Data ORDER BY id").arg(what));
}

QByteArray FileBytes(const QString& path) {
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    return f.readAll();
}

class ImportDatabaseTest : public ::testing::Test {
protected:
    // New main and source files with these rows, both connected; with `self` the main file is its own source.
    void Open(const std::vector<RawRow>& mainRows, const std::vector<RawRow>& sourceRows, bool self = false) {
        store.Disconnect();
        source.Disconnect();
        QFile::remove(mainPath);
        QFile::remove(sourcePath);
        ASSERT_TRUE(test::MakeDatabase(mainPath, mainRows));
        ASSERT_TRUE(self || test::MakeDatabase(sourcePath, sourceRows));
        ASSERT_TRUE(store.Connect(mainPath));
        ASSERT_TRUE(source.Connect(self ? mainPath : sourcePath));
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString mainPath = dir.File(QStringLiteral("main.db"));
    QString sourcePath = dir.File(QStringLiteral("source.db"));
    TDataModule1 store;
    TDataModule2 source;
};

// Catches a progress division by zero for one row, and a loop that runs for an empty source.
TEST_F(ImportDatabaseTest, EdgeSizedSourcesEndWithTheirSummaryAndASecondImportFindsDuplicates) {
    for (const int n : {0, 1}) {
        SCOPED_TRACE(n);
        Open({}, std::vector<RawRow>(n, Row("only")));
        for (const int ignored : {0, n}) {
            ImportDatabase worker(store, source);
            const ImportRun run = RunImport(worker);
            EXPECT_EQ(run.boxes, QStringList{kDone});
            EXPECT_EQ(run.lines.size(), ignored);
            EXPECT_EQ(run.summary, ImportSummary(n, n, ignored, 0, n - ignored));
            EXPECT_EQ(run.progress, n == 0 ? 0 : 100);
        }
        EXPECT_EQ(Rows(mainPath), Rows(sourcePath));
    }
}

// The import over several batches, without fault and with each write fault: the committed batches hold a
// prefix of the rows to store, the open one is rolled back whole (no replaced row goes without its
// replacement), and the summary counts exactly what the file holds.
TEST_F(ImportDatabaseTest, WriteFaultsRollTheOpenBatchBackAndTheSummaryCountsWhatIsStored) {
    // Every second row and a run longer than the rows read ahead are stored already, with other paths.
    const auto isDuplicate = [](int i) { return i % 2 == 0 || (i >= 1000 && i < 1400); };
    std::vector<RawRow> sourceRows, stored;
    for (int i = 0; i < 4500; ++i) {
        sourceRows.push_back(Row(QString::number(i), 100));
        if (isDuplicate(i)) {
            stored.push_back(sourceRows.back());
            stored.back().sourcePath = QStringLiteral("/old/%1").arg(i);
        }
    }
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
    std::vector<int64_t> batchStarts[2], commitStarts[2];  // per policy, from the run without fault
    const QString failed = "Ошибка записи в базу данных! Последние импортированные записи не сохранены.";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.catches);
        const int p = c.replace ? 1 : 0;
        Open(stored, sourceRows);  // the store adds its side indexes now, before the fault
        store.Disconnect();
        source.Disconnect();
        const QByteArray fileBefore = FileBytes(mainPath);
        const QStringList before = Rows(mainPath);
        const QStringList sourceText = Rows(sourcePath);
        int64_t budget = std::numeric_limits<int64_t>::max();
        if (c.where == Where::FirstWrite) {
            budget = 0;
        } else if (c.where == Where::MidImport) {  // some pages into the third batch, before its commit
            ASSERT_GE(batchStarts[p].size(), 3u);
            budget = std::min(batchStarts[p][2] + 3 * 4096, commitStarts[p][2] - 1);
        } else if (c.where == Where::LastCommit) {
            ASSERT_FALSE(commitStarts[p].empty());
            budget = commitStarts[p].back();
        }
        using Fault = test::FailingVfs::Fault;
        test::FailingVfs vfs(mainPath, c.where == Where::ReadOnly ? Fault::ReadOnly : Fault::DiskFull,
                             budget);
        ASSERT_TRUE(store.Connect(mainPath) && source.Connect(sourcePath));
        ImportDatabase worker(store, source);
        worker.replaceDuplicates = c.replace;
        const ImportRun run = RunImport(worker);
        store.Disconnect();
        source.Disconnect();

        // The rows before, less those whose replacement is among the `added` first rows to store; then those.
        QStringList expected, toStore;
        int replaced = 0;
        for (int i = 0, old = 0; i < 4500; ++i) {
            const bool stores = c.replace || !isDuplicate(i);
            if (stores) {
                toStore.append(sourceText[i]);
            }
            if (isDuplicate(i) && stores && toStore.size() <= worker.added) {
                ++replaced;
                ++old;
            } else if (isDuplicate(i)) {
                expected.append(before[old++]);
            }
        }
        ASSERT_LE(worker.added, toStore.size());
        expected += toStore.mid(0, worker.added);
        EXPECT_EQ(Rows(mainPath), expected);
        EXPECT_EQ(run.summary, ImportSummary(worker.processed, 4500, worker.ignored, replaced, worker.added));
        if (c.where == Where::Nowhere) {
            EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::Done);
            EXPECT_EQ(run.boxes, QStringList{kDone});
            EXPECT_EQ(worker.added, toStore.size());
            EXPECT_EQ(run.lines.size(), stored.size());
            EXPECT_EQ(worker.ignored, c.replace ? 0 : static_cast<int>(stored.size()));
            batchStarts[p] = vfs.BatchStarts();
            commitStarts[p] = vfs.CommitStarts();
            continue;
        }
        EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::WriteFailed);
        EXPECT_EQ(run.boxes, QStringList{failed});
        EXPECT_EQ(run.lines.value(run.lines.size() - 1), failed);
        if (c.where == Where::FirstWrite || c.where == Where::ReadOnly) {
            EXPECT_EQ(worker.added, 0);
            EXPECT_TRUE(FileBytes(mainPath) == fileBefore);  // not a byte changed
        } else {
            EXPECT_GT(worker.added, 0);  // batches before the fault stay
            EXPECT_LT(worker.added, toStore.size());
            EXPECT_EQ(vfs.RefusedAtCommit(), c.where == Where::LastCommit);
        }
    }
}

// Catches a policy read once (it changes here while the first unreadable row's box is open: the first
// duplicate is kept, the next replaced), keys taken in look-up index order instead of table order, sizes
// cut to 32 bits, an odd envelope or a NULL tag text or an empty envelope not copied as they are, ids reused.
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
    oddA.indexSize = 7;
    oddA.indexData = QByteArray("\x01\x02\x03\x04\x05\x06\xFE", 7);
    RawRow video = Row("new1");
    video.type = kTypeVideo;
    video.audioTrack = 2;
    video.allTracks = 3;
    RawRow unreadable = Row("unreadable");
    unreadable.indexSize = 20000;  // longer than its blob
    RawRow bare = Row("bare");     // no tag text and no envelope (no pointer to convert from)
    bare.infoNull = true;
    bare.indexSize = 0;
    bare.indexData.clear();
    Open({stored, Row("a"), Row("b")}, {video, otherTrack, incoming, unreadable, oddA, Row("b"), bare});
    const QStringList before = Rows(mainPath);

    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.replaceDuplicates = true; });
    ASSERT_EQ(run.lines.size(), 5);
    EXPECT_EQ(run.lines[0], "Дубликат: MD5-хэш = dup\tтрек = 1\tid = 1\tid2 = 3\tразмер = 5000000000 байт");
    EXPECT_EQ(run.summary, ImportSummary(7, 7, 1, 2, 5));
    EXPECT_EQ(worker.rowErrors, 2);
    EXPECT_EQ(Rows(mainPath, "id"), (QStringList{"1", "4", "5", "6", "7", "8"}));
    const QStringList sourceRows = Rows(sourcePath);
    QString bareStored = sourceRows[6];
    bareStored.replace(QStringLiteral("|NULL|"), QStringLiteral("|''|"));  // NULL tag text is read as empty
    EXPECT_EQ(Rows(mainPath), (QStringList{before[0], sourceRows[0], sourceRows[1], sourceRows[4],
                                           sourceRows[5], bareStored}));
}

// A track met again and again in the source: each replacement finds the row the one before it stored
// (the replaced rows go only at the end of a batch, but a look-up of their track must not see them).
TEST_F(ImportDatabaseTest, ATrackRepeatedInTheSourceIsReplacedInTurnAndLeavesOneRow) {
    std::vector<RawRow> repeats(3, Row("t"));
    QStringList expected;
    for (int i = 1; i <= 3; ++i) {
        repeats[i - 1].sourcePath = QStringLiteral("/s%1").arg(i);
        expected.append(
            QStringLiteral("Дубликат: MD5-хэш = t\tтрек = 0\tid = %1\tid2 = %1\tразмер = 5000000 байт")
                .arg(i));
    }
    Open({Row("t")}, repeats);
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.lines, expected);
    EXPECT_EQ(run.summary, ImportSummary(3, 3, 0, 3, 3));
    EXPECT_EQ(Rows(mainPath, "id||source_path"), QStringList{"4/s3"});
}

// 7 MB of envelopes changed in one batch, more than SQLite's page cache holds: catches the source, which
// reads the same file through its own connection, finding it locked by the batch.
TEST_F(ImportDatabaseTest, IntoItselfLargerThanTheCacheWithReplaceLosesNothing) {
    std::vector<RawRow> rows;
    for (int i = 0; i < 150; ++i) {
        rows.push_back(Row(QString::number(i), 24000));
    }
    Open(rows, {}, true);
    const QStringList original = Rows(mainPath);
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.summary, ImportSummary(150, 150, 0, 150, 150));
    EXPECT_EQ(run.boxes, QStringList{kDone});
    EXPECT_EQ(Rows(mainPath), original);
    EXPECT_EQ(Rows(mainPath, "id").first(), "151");
}

// "keep" and "refused" are refused by the database; "dup" and "broken" cannot be read from the source.
// Catches such a row counted, stopping the import, or costing the stored row it would replace.
TEST_F(ImportDatabaseTest, RowsThatCannotBeCopiedAreReportedLeftOutAndNotCounted) {
    RawRow brokenNew = Row("broken");
    brokenNew.indexSize = -2;
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
    const QString insert = "Ошибка DataModule1->InsertSQL";
    const QStringList errors = {insert, kUnreadable, insert, kUnreadable, insert, insert};
    EXPECT_EQ(run.lines.filter(QStringLiteral("Ошибка")), errors);
    EXPECT_EQ(run.boxes, errors + QStringList{kDone});
    EXPECT_EQ(run.summary, ImportSummary(5, 5, 0, 0, 1));
    EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::Done);
    EXPECT_EQ(worker.rowErrors, 6);
    EXPECT_EQ(Rows(mainPath), before + Rows(sourcePath).mid(4));
}

// Catches a source without its table read as an empty one.
TEST_F(ImportDatabaseTest, KeyListFailureEndsAtOnce) {
    Open({Row("a")}, {});
    ASSERT_TRUE(source.Connect(dir.File(QStringLiteral("bare.db"))));  // no table Data
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker);
    const QString text = "Ошибка получения списка записей импортируемой базы данных!";
    EXPECT_EQ(run.lines, QStringList{text});
    EXPECT_EQ(run.boxes, QStringList{text});
    EXPECT_EQ(run.summary, ImportSummary(0, 0, 0, 0, 0));
    EXPECT_EQ(worker.outcome, ImportDatabase::Outcome::KeysUnreadable);
}

// What happens while the unreadable second row's box is open ends the import as it must, with the rows
// before it committed.
TEST_F(ImportDatabaseTest, ALookUpFailureAStopOrACommitElsewhereMidwayEndTheImportAsTheyMust) {
    RawRow broken = Row("broken");
    broken.indexSize = 20000;
    enum class Act { HoldStore, Stop, CommitElsewhere };
    const struct {
        Act act;
        ImportDatabase::Outcome outcome;
        const char* lastBox;
        int processed, added;
        const char* catches;
    } cases[] = {
        // The store is held until the failure is told, so the next look-up gives up.
        {Act::HoldStore, ImportDatabase::Outcome::LookupFailed, "Ошибка SQL запроса", 2, 1,
         "a look-up failure that does not end the import, or loses the open batch"},
        {Act::Stop, ImportDatabase::Outcome::Stopped, "Импорт остановлен!", 2, 1,
         "a stop that does not finish the row, skips the closing message or loses the batch"},
        // As the indexing's closing COMMIT does.
        {Act::CommitElsewhere, ImportDatabase::Outcome::Done, "Задание выполнено!", 3, 2,
         "a batch committed by another caller taken for lost, or the rows after it left outside a batch"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.catches);
        Open({}, {Row("a"), broken, Row("c")});
        ImportDatabase worker(store, source);
        const ImportRun run = RunImport(worker, [&](const QString& text) {
            if (text != kUnreadable) {
                if (c.act == Act::HoldStore && text == c.lastBox) {
                    store.Busy().Release();
                }
            } else if (c.act == Act::HoldStore) {
                EXPECT_TRUE(store.Busy().TryAcquire());
                store.Busy().SetPollLimit(1);
            } else if (c.act == Act::Stop) {
                worker.requestInterruption();
            } else {
                EXPECT_TRUE(store.Commit());
            }
        });
        EXPECT_EQ(run.boxes.value(0), kUnreadable);
        EXPECT_EQ(run.boxes.last(), c.lastBox);
        EXPECT_EQ(run.summary, ImportSummary(c.processed, 3, 0, 0, c.added));
        EXPECT_EQ(worker.outcome, c.outcome);
        const QStringList sourceRows = Rows(sourcePath);
        EXPECT_EQ(Rows(mainPath), (QStringList{sourceRows[0], sourceRows[2]}.mid(0, c.added)));
    }
}

}  // namespace
}  // namespace tembrix
