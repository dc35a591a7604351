// The import worker and its source reader: duplicates, self-import, bad rows, failures, a stop, write faults.

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
using Outcome = ImportDatabase::Outcome;

const QString kDone = QStringLiteral("Задание выполнено!");
const QString kUnreadable = QStringLiteral("Ошибка DataModule2->GetRecord2");

// What a run delivered to the main thread, in order, and the worker's state at the end.
struct ImportRun {
    QStringList lines, boxes, summary;
    int progress = -1, rowErrors = -1, added = -1, ignored = -1, processed = -1;
    Outcome outcome = Outcome::Done;
};

// `r` changed by `change`.
RawRow With(RawRow r, const std::function<void(RawRow&)>& change) {
    change(r);
    return r;
}

// Every column but the id as one text, the blob as hex.
constexpr char kWholeRow[] =
    "source_size||'|'||sha2||'|'||md5||'|'||duration||'|'||source_path||'|'||source_file_name||'|'||"
    "extension||'|'||type||'|'||audio_track||'|'||all_tracks||'|'||created||'|'||quote(info)||'|'||"
    "index_size||'|'||hex(index_data)";

// `what` of every committed row in id order.
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
    // New main and source files with these rows, both connected.
    void Open(const std::vector<RawRow>& mainRows, const std::vector<RawRow>& sourceRows) {
        Close();
        QFile::remove(mainPath);
        QFile::remove(sourcePath);
        ASSERT_TRUE(test::MakeDatabase(mainPath, mainRows) && test::MakeDatabase(sourcePath, sourceRows) &&
                    store.Connect(mainPath) && source.Connect(sourcePath));
    }
    void Close() {
        store.Disconnect();
        source.Disconnect();
    }
    // Runs an import with the given policy to its end; `onBox` runs after each box, the worker waiting.
    ImportRun Import(bool replace, const std::function<void(ImportDatabase&, const QString&)>& onBox = {}) {
        ImportDatabase worker(store, source);
        worker.replaceDuplicates = replace;
        ImportRun run;
        worker.onLines = [&](const QStringList& lines) {
            EXPECT_TRUE(OnMainThread());
            run.lines += lines;
        };
        worker.onMessageBox = [&](const QString& text) {
            run.boxes.append(text);
            if (onBox) {
                onBox(worker, text);
            }
        };
        worker.onSummary = [&](const QStringList& summary) { run.summary += summary; };
        test::RunToEnd(worker);
        run.progress = worker.progress.load();
        std::tie(run.rowErrors, run.added, run.ignored, run.processed, run.outcome) =
            std::tuple(worker.rowErrors, worker.added, worker.ignored, worker.processed, worker.outcome);
        return run;
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString mainPath = dir.File(QStringLiteral("main.db"));
    QString sourcePath = dir.File(QStringLiteral("source.db"));
    TDataModule1 store;
    TDataModule2 source;
};

// Over several batches, without fault and with each write fault: committed batches hold a prefix of the
// rows to store, the open one rolls back whole, and the summary counts exactly what the file holds.
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
    enum class Where { Nowhere, FirstWrite, MidImport, Passing, LastCommit, ReadOnly };
    const std::tuple<bool, Where, const char*> cases[] = {
        {false, Where::Nowhere, "rows lost, reordered or miscounted across batches and read-ahead"},
        {true, Where::Nowhere, "replacements that leave old rows or lose rows across batches"},
        {true, Where::FirstWrite, "a replacement's old row deleted after its insert failed"},
        {false, Where::MidImport, "a new batch opened in autocommit after the open one was rolled back"},
        {true, Where::MidImport, "queued deletions run after the rollback, outside any batch"},
        {false, Where::Passing, "a failed batch committed in part, not rolled back whole, once writes pass"},
        {true, Where::LastCommit, "a final commit that fails taken as done, its deletions counted"},
        {false, Where::ReadOnly, "rows counted as added into a file that cannot be written, or it changed"},
    };
    std::vector<int64_t> batchStarts[2], commitStarts[2];  // per policy, from the run without fault
    const QString failed = "Ошибка записи в базу данных! Последние импортированные записи не сохранены.";
    for (const auto& [replace, where, catches] : cases) {
        SCOPED_TRACE(catches);
        const int p = replace ? 1 : 0;
        Open(stored, sourceRows);  // the store adds its side indexes now, before the fault
        Close();
        const QByteArray fileBefore = FileBytes(mainPath);
        const QStringList before = Rows(mainPath), sourceText = Rows(sourcePath);
        ASSERT_TRUE(where == Where::Nowhere || (batchStarts[p].size() >= 3 && commitStarts[p].size() >= 3));
        const int64_t budget =
            where == Where::FirstWrite ? 0
            : where == Where::MidImport || where == Where::Passing  // some pages into the third batch
                ? std::min(batchStarts[p][2] + 3 * 4096, commitStarts[p][2] - 1)
                : where == Where::LastCommit ? commitStarts[p].back() : std::numeric_limits<int64_t>::max();
        using Fault = test::FailingVfs::Fault;
        const Fault fault = where == Where::ReadOnly  ? Fault::ReadOnly
                            : where == Where::Passing ? Fault::Passing
                                                      : Fault::DiskFull;
        test::FailingVfs vfs(mainPath, fault, budget);
        ASSERT_TRUE(store.Connect(mainPath) && source.Connect(sourcePath));
        const ImportRun run = Import(replace);
        Close();

        // The rows before, less those whose replacement is among the `added` first rows to store; then those.
        QStringList expected, toStore;
        int replaced = 0;
        for (int i = 0, old = 0; i < 4500; ++i) {
            const bool stores = replace || !isDuplicate(i);
            if (stores) {
                toStore.append(sourceText[i]);
            }
            if (isDuplicate(i) && stores && toStore.size() <= run.added) {
                ++replaced;
                ++old;
            } else if (isDuplicate(i)) {
                expected.append(before[old++]);
            }
        }
        ASSERT_LE(run.added, toStore.size());
        EXPECT_EQ(Rows(mainPath), expected + toStore.mid(0, run.added));
        EXPECT_EQ(run.summary, ImportSummary(run.processed, 4500, run.ignored, replaced, run.added));
        if (where == Where::Nowhere) {
            EXPECT_EQ(std::tuple(run.outcome, run.boxes, run.added, run.lines.size(), run.ignored),
                      std::tuple(Outcome::Done, QStringList{kDone}, toStore.size(), stored.size(),
                                 replace ? 0 : static_cast<int>(stored.size())));
            batchStarts[p] = vfs.BatchStarts();
            commitStarts[p] = vfs.CommitStarts();
            continue;
        }
        EXPECT_EQ(std::tuple(run.outcome, run.boxes, run.lines.value(run.lines.size() - 1)),
                  std::tuple(Outcome::WriteFailed, QStringList{failed}, failed));
        if (where == Where::FirstWrite || where == Where::ReadOnly) {
            EXPECT_TRUE(run.added == 0 && FileBytes(mainPath) == fileBefore);  // not a byte changed
        } else {  // the batches before the fault stay
            EXPECT_TRUE(run.added > 0 && run.added < toStore.size() &&
                        vfs.RefusedAtCommit() == (where == Where::LastCommit));
        }
    }
}

// Catches a policy read once (it turns to replace at the first box: the first duplicate is kept, the next
// replaced), keys in look-up index order, sizes cut to 32 bits, an odd envelope, a NULL tag text or an
// empty envelope not copied as they are, ids reused.
TEST_F(ImportDatabaseTest, DuplicatesAreKeptOrReplacedAsThePolicySaysWhenEachIsMet) {
    const RawRow stored = With(Row("dup"), [](RawRow& r) {
        std::tie(r.audioTrack, r.sourceSize, r.sourcePath) = std::tuple(1, "5000000000", "/old/path.mp3");
    });
    const RawRow incoming = With(stored, [](RawRow& r) { r.sourcePath = QStringLiteral("/new/path.mp3"); });
    const RawRow otherTrack = With(stored, [](RawRow& r) { r.audioTrack = 0; });  // the same file: new
    const RawRow oddA = With(Row("a"), [](RawRow& r) {
        std::tie(r.sourcePath, r.indexSize, r.indexData) =
            std::tuple("/new/a.mp3", 7, QByteArray("\x01\x02\x03\x04\x05\x06\xFE", 7));
    });
    const RawRow video = With(Row("new1"), [](RawRow& r) {
        std::tie(r.type, r.audioTrack, r.allTracks) = std::tuple(kTypeVideo, 2, 3);
    });
    const RawRow unreadable = With(Row("unreadable"), [](RawRow& r) { r.indexSize = 20000; });  // > its blob
    const RawRow bare = With(Row("bare"), [](RawRow& r) {  // no tag text and no envelope
        std::tie(r.infoNull, r.indexSize, r.indexData) = std::tuple(true, 0, QByteArray());
    });
    Open({stored, Row("a"), Row("b")}, {video, otherTrack, incoming, unreadable, oddA, Row("b"), bare});
    const QStringList before = Rows(mainPath);
    const ImportRun run =
        Import(false, [](ImportDatabase& w, const QString&) { w.replaceDuplicates = true; });
    ASSERT_EQ(run.lines.size(), 5);
    EXPECT_EQ(run.lines[0], "Дубликат: MD5-хэш = dup\tтрек = 1\tid = 1\tid2 = 3\tразмер = 5000000000 байт");
    EXPECT_EQ(std::pair(run.summary, run.rowErrors), std::pair(ImportSummary(7, 7, 1, 2, 5), 2));
    EXPECT_EQ(Rows(mainPath, "id"), (QStringList{"1", "4", "5", "6", "7", "8"}));
    const QStringList s = Rows(sourcePath);
    const QString bareStored = QString(s[6]).replace(QStringLiteral("|NULL|"), QStringLiteral("|''|"));
    EXPECT_EQ(Rows(mainPath), (QStringList{before[0], s[0], s[1], s[4], s[5], bareStored}));
}

// "keep"/"refused" are refused by the database, "dup"/"broken" unreadable in the source: catches such a
// row counted, stopping the import, or costing the stored row it would replace.
TEST_F(ImportDatabaseTest, RowsThatCannotBeCopiedAreReportedLeftOutAndNotCounted) {
    const RawRow brokenNew = With(Row("broken"), [](RawRow& r) { r.indexSize = -2; });
    const RawRow brokenDup = With(Row("dup"), [](RawRow& r) { r.indexSize = 20000; });
    Open({Row("keep"), Row("dup")}, {Row("keep"), brokenNew, brokenDup, Row("refused"), Row("fresh")});
    SqliteConnection c;
    ASSERT_TRUE(c.Open(mainPath) && c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data WHEN NEW.md5 IN "
                                           "('keep', 'refused') BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    c.Close();
    const QStringList before = Rows(mainPath);
    const ImportRun run = Import(true);
    const QString insert = "Ошибка DataModule1->InsertSQL";
    const QStringList errors = {insert, kUnreadable, insert, kUnreadable, insert, insert};
    EXPECT_EQ(
        std::tuple(run.lines.filter(QStringLiteral("Ошибка")), run.boxes, run.summary, run.outcome,
                   run.rowErrors),
        std::tuple(errors, errors + QStringList{kDone}, ImportSummary(5, 5, 0, 0, 1), Outcome::Done, 6));
    EXPECT_EQ(Rows(mainPath), before + Rows(sourcePath).mid(4));
}

// Catches a source without its table read as an empty one, a loop run for an empty source, and a
// progress division by zero for one row.
TEST_F(ImportDatabaseTest, KeylessEmptyAndOneRowSourcesEndWithTheirOwnBoxAndSummary) {
    for (const int n : {-1, 0, 1}) {  // -1: a source without the table
        const int rows = std::max(n, 0);
        Open({}, std::vector<RawRow>(rows, Row("only")));
        ASSERT_TRUE(n >= 0 || source.Connect(dir.File(QStringLiteral("bare.db"))));
        const ImportRun run = Import(false);
        const QString box = n < 0 ? "Ошибка получения списка записей импортируемой базы данных!" : kDone;
        EXPECT_EQ(std::tuple(run.boxes, run.summary, run.outcome, Rows(mainPath).size(), run.progress),
                  std::tuple(QStringList{box}, ImportSummary(rows, rows, 0, 0, rows),
                             n < 0 ? Outcome::KeysUnreadable : Outcome::Done, rows, 100 * rows));
    }
}

// Done while the unreadable second row's box is open: catches a look-up failure that does not end the
// import, a stop that does not finish the row or skips its message, a batch committed by another caller (as
// the indexing's closing COMMIT) taken for lost or the rows after it left outside a batch; each losing the
// rows before it.
TEST_F(ImportDatabaseTest, ALookUpFailureAStopOrACommitElsewhereMidwayEndTheImportAsTheyMust) {
    const RawRow broken = With(Row("broken"), [](RawRow& r) { r.indexSize = 20000; });
    enum class Act { HoldStore, Stop, CommitElsewhere };
    const struct {
        Act act;
        Outcome outcome;
        const char* lastBox;
        int processed, added;
    } cases[] = {{Act::HoldStore, Outcome::LookupFailed, "Ошибка SQL запроса", 2, 1},
                 {Act::Stop, Outcome::Stopped, "Импорт остановлен!", 2, 1},
                 {Act::CommitElsewhere, Outcome::Done, "Задание выполнено!", 3, 2}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lastBox);
        Open({}, {Row("a"), broken, Row("c")});
        const ImportRun run = Import(false, [&](ImportDatabase& worker, const QString& text) {
            if (text != kUnreadable) {
                if (c.act == Act::HoldStore && text == c.lastBox) {
                    store.Busy().Release();  // held until the failure is told
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
        EXPECT_EQ(std::tuple(run.boxes.value(0), run.boxes.last(), run.summary, run.outcome),
                  std::tuple(kUnreadable, QString(c.lastBox), ImportSummary(c.processed, 3, 0, 0, c.added),
                             c.outcome));
        const QStringList s = Rows(sourcePath);
        EXPECT_EQ(Rows(mainPath), (QStringList{s[0], s[2]}.mid(0, c.added)));
    }
}

}  // namespace
}  // namespace tembrix
