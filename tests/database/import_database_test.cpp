// The import worker: sources of zero, one and two rows, duplicates kept and replaced, a database imported
// into itself, a replacement whose insert fails, failures of the key list and the look-up, and a stop.

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

using test::RawRow;

// What a run delivered to the main thread, in order, and its progress at the end.
struct ImportRun {
    QStringList lines;
    QStringList boxes;
    QStringList summary;
    int summaries = 0;
    QList<int> progressAtLine;
    int progress = -1;
};

// Runs `worker`; `onLine` is called after each line is recorded.
ImportRun RunImport(ImportDatabase& worker, const std::function<void(const QString&)>& onLine = {}) {
    ImportRun run;
    worker.onLine = [&](const QString& line) {
        EXPECT_TRUE(OnMainThread());
        run.lines.append(line);
        run.progressAtLine.append(worker.progress.load());
        if (onLine) {
            onLine(line);
        }
    };
    worker.onMessageBox = [&](const QString& text) { run.boxes.append(text); };
    worker.onSummary = [&](const QStringList& summary) {
        ++run.summaries;
        run.summary = summary;
    };
    test::RunToEnd(worker);
    run.progress = worker.progress.load();
    return run;
}

QStringList Summary(int processed, int total, int ignored, int deleted, int added) {
    return {QString(), QStringLiteral("Обработано записей: %1 из %2").arg(processed).arg(total),
            QStringLiteral("Проигнорировано дубликатов: %1").arg(ignored),
            QStringLiteral("Удалено записей: %1").arg(deleted),
            QStringLiteral("Добавлено новых записей: %1").arg(added)};
}

const QStringList kDone{"Задание выполнено!"};

RawRow Row(const QString& md5, int64_t track = 0, int values = 6000) {
    RawRow r;
    r.md5 = md5;
    r.sha2 = QStringLiteral("sha-") + md5;
    r.audioTrack = track;
    r.sourcePath = QStringLiteral("/music/") + md5 + QStringLiteral(".mp3");
    r.sourceFileName = md5;
    std::vector<uint16_t> envelope(static_cast<size_t>(values));
    for (size_t i = 0; i < envelope.size(); ++i) {
        envelope[i] = static_cast<uint16_t>(md5.size() * 1000 + i * 7);
    }
    r.indexData = test::EnvelopeBytes(envelope);
    r.indexSize = r.indexData.size();
    return r;
}

// Every row of a database as one comparable text, the blob included.
QStringList Rows(sqlite3* db, bool withIds = false) {
    SqliteStatement q(
        db,
        "SELECT id, source_size, sha2, md5, duration, source_path, source_file_name, extension, "
        "type, audio_track, all_tracks, created, quote(info), index_size, hex(index_data) FROM "
        "Data ORDER BY id");
    QStringList rows;
    while (q.Next()) {
        QStringList fields;
        for (int c = withIds ? 0 : 1; c < 15; ++c) {
            fields.append(q.Text(c));
        }
        rows.append(fields.join(u'|'));
    }
    return rows;
}

QStringList Ids(const QStringList& rowsWithIds) {
    QStringList ids;
    for (const QString& row : rowsWithIds) {
        ids.append(row.section(u'|', 0, 0));
    }
    return ids;
}

class ImportDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        mainPath = dir.File(QStringLiteral("main.db"));
        sourcePath = dir.File(QStringLiteral("source.db"));
    }
    void Open(const std::vector<RawRow>& mainRows, const std::vector<RawRow>& sourceRows) {
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
    QStringList MainRows(bool withIds = false) { return Rows(store.Handle(), withIds); }
    // Through a connection of its own: what the import committed.
    static QStringList RowsOf(const QString& path) {
        SqliteConnection c;
        EXPECT_TRUE(c.Open(path));
        return Rows(c.Handle());
    }
    // The connection is back in autocommit mode: nothing of the import is left uncommitted.
    bool Committed() { return sqlite3_get_autocommit(store.Handle()) != 0; }
    test::TempDir dir;
    test::RecordingMessages messages;
    QString mainPath;
    QString sourcePath;
    TDataModule1 store;
    TDataModule2 source;
};

TEST_F(ImportDatabaseTest, SourcesOfZeroOneAndTwoRowsEndNormally) {
    const std::vector<RawRow> sources[] = {{}, {Row("a")}, {Row("a"), Row("b")}};
    for (const auto& rows : sources) {
        const int n = static_cast<int>(rows.size());
        SCOPED_TRACE(n);
        const test::TempDir d;
        mainPath = d.File(QStringLiteral("main.db"));
        sourcePath = d.File(QStringLiteral("source.db"));
        store.Disconnect();
        source.Disconnect();
        Open({}, rows);
        const int progress = n == 0 ? 0 : 100;
        {
            ImportDatabase worker(store, source);
            const ImportRun run = RunImport(worker);
            EXPECT_TRUE(run.lines.isEmpty());
            EXPECT_EQ(run.boxes, kDone);
            EXPECT_EQ(run.summary, Summary(n, n, 0, 0, n));
            EXPECT_EQ(run.summaries, 1);
            EXPECT_EQ(run.progress, progress);
            EXPECT_EQ(MainRows(), RowsOf(sourcePath));
            EXPECT_TRUE(Committed());
        }
        // The same source again: every row is now a duplicate, reported with its line.
        ImportDatabase again(store, source);
        const ImportRun run = RunImport(again);
        EXPECT_EQ(run.progressAtLine, QList<int>(n, 0));
        EXPECT_EQ(run.summary, Summary(n, n, n, 0, 0));
        EXPECT_EQ(run.progress, progress);
    }
}

TEST_F(ImportDatabaseTest, DuplicateLineNamesBothIdsAndKeepLeavesTheStoredRow) {
    RawRow stored = Row("dup", 1);
    stored.sourceSize = QStringLiteral("3000000000");
    stored.sourcePath = QStringLiteral("/old/path.mp3");
    RawRow incoming = stored;
    incoming.sourcePath = QStringLiteral("/new/path.mp3");
    RawRow otherTrack = Row("dup", 0);  // same file, another track: new
    otherTrack.sourceSize = stored.sourceSize;
    Open({Row("x"), stored}, {Row("new1"), otherTrack, incoming});
    const QStringList before = MainRows(true);

    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.lines,
              QStringList{"Дубликат: MD5-хэш = dup\tтрек = 1\tid = 2\tid2 = 3\tразмер = 3000000000 байт"});
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(run.summary, Summary(3, 3, 1, 0, 2));
    ASSERT_EQ(MainRows().size(), 4);
    EXPECT_EQ(MainRows(true).mid(0, 2), before);  // the stored row is untouched
    EXPECT_EQ(MainRows().mid(2), RowsOf(sourcePath).mid(0, 2));
}

TEST_F(ImportDatabaseTest, ReplaceDeletesTheStoredRowAndAddsTheSourceRowUnderANewId) {
    RawRow stored = Row("dup");
    stored.sourcePath = QStringLiteral("/old/path.mp3");
    RawRow incoming = stored;
    incoming.sourcePath = QStringLiteral("/new/path.mp3");
    incoming.indexSize = 7;  // an odd envelope is copied byte for byte
    incoming.indexData = QByteArray("\x01\x02\x03\x04\x05\x06\xFE", 7);
    Open({stored, Row("y")}, {incoming});

    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.lines.size(), 1);
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(run.summary, Summary(1, 1, 0, 1, 1));
    EXPECT_EQ(Ids(MainRows(true)), (QStringList{"2", "3"}));  // ids are never reused
    EXPECT_EQ(MainRows().last(), RowsOf(sourcePath).first());
    EXPECT_TRUE(Committed());
}

TEST_F(ImportDatabaseTest, PolicyIsReadAtEveryDuplicate) {
    Open({Row("a"), Row("b"), Row("c")}, {Row("a"), Row("b"), Row("c")});
    ImportDatabase worker(store, source);
    int seen = 0;
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.replaceDuplicates = ++seen >= 2; });
    EXPECT_EQ(run.summary, Summary(3, 3, 1, 2, 2));
    EXPECT_EQ(Ids(MainRows(true)), (QStringList{"1", "4", "5"}));
}

TEST_F(ImportDatabaseTest, IntoItselfWithKeepAndWithReplace) {
    OpenSelf({Row("a"), Row("b", 1), Row("c")});
    const QStringList original = MainRows();
    {
        ImportDatabase worker(store, source);
        const ImportRun run = RunImport(worker);
        EXPECT_EQ(run.summary, Summary(3, 3, 3, 0, 0));
        EXPECT_EQ(run.lines.value(1),
                  "Дубликат: MD5-хэш = b\tтрек = 1\tid = 2\tid2 = 2\tразмер = 5000000 байт");
    }
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.summary, Summary(3, 3, 0, 3, 3));
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(MainRows(), original);
    EXPECT_EQ(Ids(MainRows(true)), (QStringList{"4", "5", "6"}));
    EXPECT_TRUE(Committed());
}

TEST_F(ImportDatabaseTest, IntoItselfLargerThanTheCacheWithReplace) {
    // 7 MB of envelopes changed in one batch: more than SQLite's page cache holds. The source reads the
    // same file through its own connection and must never find it locked by the batch.
    std::vector<RawRow> rows;
    for (int i = 0; i < 150; ++i) {
        rows.push_back(Row(QString::number(i), 0, 24000));
    }
    OpenSelf(rows);
    const QStringList original = MainRows();
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.summary, Summary(150, 150, 0, 150, 150));
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(MainRows(), original);
}

TEST_F(ImportDatabaseTest, ReplaceWhoseInsertFailsKeepsTheOldRow) {
    Open({Row("keep"), Row("other")}, {Row("keep"), Row("fresh")});
    {
        SqliteConnection c;
        ASSERT_TRUE(c.Open(mainPath));
        ASSERT_TRUE(
            c.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Data WHEN NEW.md5 = 'keep' "
                   "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    }
    const QStringList before = MainRows(true);

    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.lines.size(), 2);
    EXPECT_EQ(run.lines.value(1), "Ошибка DataModule1->InsertSQL");
    EXPECT_EQ(run.boxes, (QStringList{"Ошибка DataModule1->InsertSQL", "Задание выполнено!"}));
    EXPECT_EQ(run.summary, Summary(2, 2, 0, 1, 2));
    const QStringList after = MainRows(true);
    ASSERT_EQ(after.size(), 3);
    EXPECT_EQ(after.mid(0, 2), before);
    EXPECT_TRUE(after[2].contains("|fresh|"));
    EXPECT_TRUE(Committed());
}

TEST_F(ImportDatabaseTest, UnreadableSourceRowsAreNeverStoredUnderTheirKey) {
    RawRow brokenNew = Row("broken");
    brokenNew.indexSize = 20000;  // longer than its blob: the row cannot be read
    RawRow brokenDup = Row("dup");
    brokenDup.indexSize = 20000;
    Open({Row("dup")}, {brokenNew, brokenDup});
    const QStringList before = MainRows(true);

    ImportDatabase worker(store, source);
    worker.replaceDuplicates = true;
    const ImportRun run = RunImport(worker);
    // The new track counts as added without a word; the replacement reports the read and the insert.
    EXPECT_EQ(run.lines.mid(1),
              (QStringList{"Ошибка DataModule2->GetRecord2", "Ошибка DataModule1->InsertSQL"}));
    EXPECT_EQ(run.summary, Summary(2, 2, 0, 1, 2));
    EXPECT_EQ(MainRows(true), before);
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
    EXPECT_EQ(run.summary, Summary(0, 0, 0, 0, 0));
}

TEST_F(ImportDatabaseTest, LookUpFailureEndsWithoutClosingMessage) {
    ASSERT_TRUE(test::MakeDatabase(sourcePath, {Row("a")}));
    ASSERT_TRUE(store.Connect(mainPath));  // a new empty file: no table
    ASSERT_TRUE(source.Connect(sourcePath));
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker);
    EXPECT_EQ(run.lines, QStringList{"Ошибка SQL запроса"});
    EXPECT_EQ(run.boxes, QStringList{"Ошибка SQL запроса"});
    EXPECT_EQ(run.summary, Summary(0, 1, 0, 0, 0));
    EXPECT_TRUE(Committed());
}

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
    EXPECT_EQ(run.summary, Summary(2, 3, 1, 0, 1));
    EXPECT_TRUE(Committed());
    const QStringList rows = RowsOf(mainPath);
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[1], RowsOf(sourcePath)[0]);
}

TEST_F(ImportDatabaseTest, StopFinishesTheRowThenReportsAndCommits) {
    Open({Row("a")}, {Row("a"), Row("b"), Row("c")});
    ImportDatabase worker(store, source);
    const ImportRun run = RunImport(worker, [&](const QString&) { worker.requestInterruption(); });
    EXPECT_EQ(run.boxes, QStringList{"Импорт остановлен!"});
    EXPECT_EQ(run.summary, Summary(1, 3, 1, 0, 0));
    EXPECT_TRUE(Committed());
}

TEST_F(ImportDatabaseTest, ACommitByAnotherCallerMidwayLosesNothing) {
    Open({Row("b")}, {Row("a"), Row("b"), Row("c")});
    ImportDatabase worker(store, source);
    // As the indexing's last step does.
    const ImportRun run = RunImport(worker, [&](const QString&) { EXPECT_TRUE(store.Commit()); });
    EXPECT_EQ(run.boxes, kDone);
    EXPECT_EQ(run.summary, Summary(3, 3, 1, 0, 2));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(RowsOf(mainPath).size(), 3);
}

TEST_F(ImportDatabaseTest, ManyRowsAreCommittedInBatchesAndAllArrive) {
    std::vector<RawRow> rows;
    for (int i = 0; i < 2500; ++i) {
        rows.push_back(Row(QString::number(i), 0, 10));
    }
    Open({}, rows);
    ImportDatabase worker(store, source);
    EXPECT_EQ(RunImport(worker).summary, Summary(2500, 2500, 0, 0, 2500));
    EXPECT_TRUE(Committed());
    EXPECT_EQ(RowsOf(mainPath), RowsOf(sourcePath));
}

}  // namespace
}  // namespace tembrix
