#include "database/import_database.h"

#include <QElapsedTimer>
#include <QSet>
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "database/import_source.h"
#include "database/index_store.h"
#include "util/synchronize.h"
#include "util/text_utils.h"

namespace tembrix {

namespace {

// The open write transaction of the import: committed when it holds 1000 rows or 64 MB of envelopes,
// when its first row is a second old, and at the end. The rows and deletions of a batch count as done
// only once it has committed. The first write that fails (a row, a deletion or the commit) rolls the
// whole batch back and the batch stays failed: nothing of it is left half done, and no deletion runs
// outside it.
//
// Whether the transaction is still open is asked of the store, since another caller of the store may end
// it: a COMMIT by the indexing's last step commits the batch (its rows are then stored), while a rollback
// of the connection (a failed statement of any caller) takes the batch with it, which the store's count
// of rollbacks shows.
class Batch {
public:
    static constexpr int kMaxRows = 1000;
    static constexpr int64_t kMaxBytes = 64 * 1024 * 1024;
    static constexpr qint64 kMaxMs = 1000;

    // The store must stay connected while the batch exists.
    explicit Batch(TDataModule1& store) : m_store(store) {}
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    // Opens the first batch. False (and failed) when the transaction cannot begin.
    bool Begin() {
        m_rows = 0;
        m_bytes = 0;
        m_rollbacksBefore = m_store.Rollbacks();
        if (!m_store.BeginTransaction() || !Open()) {
            return Fail();
        }
        return true;
    }

    // True once a write of the batch failed; the batch is then rolled back and nothing more is written.
    bool Failed() const { return m_failed; }

    // Rows inserted and rows deleted by the batches committed so far.
    int CommittedRows() const { return m_committedRows; }
    int CommittedDeletes() const { return m_committedDeletes; }

    // Notes that the rows of the track of `key` older than row `newId` are to go before the batch
    // commits. Deleting them at once would free their pages for the next rows of this very transaction,
    // and such pages are copied to the rollback journal before they are written again; freed at the end
    // of the batch, the next batch takes them without that copy.
    void DeleteLater(const QString& md5, int64_t sourceSize, int32_t audioTrack, int64_t newId) {
        m_pending.push_back({md5, sourceSize, audioTrack, newId});
        m_pendingTracks.insert(TrackKey(md5, sourceSize, audioTrack));
    }

    // Runs the pending deletes now if one of them is of that track, so that a look-up of the track sees
    // what it would see had the old rows gone at once. False when the batch failed.
    bool SettleTrack(const QString& md5, int64_t sourceSize, int32_t audioTrack) {
        if (m_pendingTracks.contains(TrackKey(md5, sourceSize, audioTrack))) {
            return DeletePending();
        }
        return !m_failed;
    }

    // Counts one row stored in the open batch, with its envelope bytes.
    void Count(int64_t envelopeBytes) {
        if (m_rows == 0) {
            m_timer.start();
        }
        ++m_rows;
        m_bytes += envelopeBytes;
    }

    // Fails the batch after a write of the import failed, or after the connection rolled it back.
    bool Fail() {
        if (!m_failed) {
            m_failed = true;
            if (Open()) {
                m_store.RollbackTransaction();
            }
            m_pending.clear();
            m_pendingTracks.clear();
            m_rows = 0;
            m_deletes = 0;
        }
        return false;
    }

    // After each source row: checks that the batch is still there, then commits it when it is full or
    // old enough and begins the next. False when the batch failed.
    bool CommitWhenDue() {
        if (!StillOpen()) {
            return false;
        }
        if (m_rows >= kMaxRows || m_bytes >= kMaxBytes || (m_rows > 0 && m_timer.elapsed() >= kMaxMs)) {
            return CommitNow() && Begin();
        }
        return true;
    }

    // Commits what is open, at the end of the import. False when the batch failed (now or before).
    bool End() { return StillOpen() && CommitNow(); }

private:
    struct Replaced {
        QString md5;
        int64_t sourceSize;
        int32_t audioTrack;
        int64_t newId;
    };

    static QString TrackKey(const QString& md5, int64_t sourceSize, int32_t audioTrack) {
        return md5 + QString::asprintf("\t%lli\t%i", static_cast<long long>(sourceSize), audioTrack);
    }

    // True while the batch is open. A batch rolled back by the connection fails; one that another
    // caller has committed counts as committed and the next one begins.
    bool StillOpen() {
        if (m_failed) {
            return false;
        }
        if (RolledBack()) {
            return Fail();
        }
        if (!Open()) {
            Committed();
            return Begin();
        }
        return true;
    }

    // Deletes the replaced rows inside the batch. Any failure fails the batch: the replacements would
    // otherwise stand beside the rows they replace.
    bool DeletePending() {
        for (const Replaced& r : m_pending) {
            int deletedRows = 0;
            if (m_store.DeleteReplacedRows(r.md5, r.sourceSize, r.audioTrack, r.newId, deletedRows) !=
                    TDataModule1::kOk ||
                RolledBack()) {
                return Fail();
            }
            m_deletes += deletedRows;
        }
        m_pending.clear();
        m_pendingTracks.clear();
        return true;
    }

    bool CommitNow() {
        if (!DeletePending()) {
            return false;
        }
        if (!m_store.CommitTransaction() || RolledBack()) {
            return Fail();
        }
        Committed();
        return true;
    }

    void Committed() {
        m_committedRows += m_rows;
        m_committedDeletes += m_deletes;
        m_rows = 0;
        m_deletes = 0;
        m_bytes = 0;
    }

    bool Open() const { return m_store.InTransaction(); }
    // True once the connection has rolled back a transaction since the open batch began.
    bool RolledBack() const { return m_store.Rollbacks() != m_rollbacksBefore; }

    TDataModule1& m_store;
    uint64_t m_rollbacksBefore = 0;  // the store's rollback count when the open batch began
    int m_rows = 0;                  // rows inserted in the open batch
    int m_deletes = 0;               // rows deleted in the open batch
    int64_t m_bytes = 0;
    int m_committedRows = 0;
    int m_committedDeletes = 0;
    bool m_failed = false;
    QElapsedTimer m_timer;
    std::vector<Replaced> m_pending;
    QSet<QString> m_pendingTracks;
};

// SQLite's page cache during an import, in KiB: room for the pages of two full batches.
constexpr int64_t kImportCacheKiB = 2 * Batch::kMaxBytes / 1024;

// One line of the source's key list: id, source size, md5, audio track, separated by tabs.
struct SourceKey {
    int32_t id = 0;
    int64_t sourceSize = 0;  // 0 when the text does not parse
    QString md5;
    int32_t audioTrack = 0;
};

SourceKey ParseKey(const QString& line) {
    const QString tab = QStringLiteral("\t");
    SourceKey key;
    key.id = FieldOf(0, line, tab).toInt();
    key.sourceSize = FieldOf(1, line, tab).toLongLong();
    key.md5 = FieldOf(2, line, tab);
    key.audioTrack = FieldOf(3, line, tab).toInt();
    return key;
}

// Reads the source row of `key` afresh. False when the read fails or the row read is not the track of
// the key (gone from the source, or a key line that did not split cleanly); the record is then never
// written anywhere, so no other row's values can be stored under this track.
bool ReadSourceRow(TDataModule2& source, const SourceKey& key, IndexRecord& record,
                   std::vector<uint16_t>& envelope) {
    record = IndexRecord{};
    envelope.clear();
    record.source_size = -1;  // stays so when no row has that id
    int32_t count = 0;
    if (!source.GetRecordWithIndex(key.id, record, envelope, count)) {
        return false;
    }
    return record.md5 == key.md5 && record.source_size == key.sourceSize &&
           record.audio_track == key.audioTrack;
}

// True when both paths name one file (also through links); false when either cannot be examined.
bool SameFile(const QString& a, const QString& b) {
    std::error_code error;
    return std::filesystem::equivalent(std::filesystem::path(a.toStdU16String()),
                                       std::filesystem::path(b.toStdU16String()), error) &&
           !error;
}

// The source rows of the key list, handed out in the order of the list. When the source is another file
// than the store, a thread of its own reads them ahead of the import (at most kAheadRows rows and
// kAheadBytes of envelopes), so that reading the source overlaps with looking up and writing the store.
// A database imported into itself is read in step instead: the import deletes the rows it replaces, and
// a row read early could be one that a replacement has deleted meanwhile.
class SourceRows {
public:
    static constexpr size_t kAheadRows = 256;
    static constexpr size_t kAheadBytes = 16 * 1024 * 1024;

    // `source` and `keys` must outlive the object. The reader starts at once when `ahead`.
    SourceRows(TDataModule2& source, const std::vector<SourceKey>& keys, bool ahead)
        : m_source(source), m_keys(keys) {
        if (ahead) {
            m_thread = std::thread([this] { ReadAhead(); });
        }
    }

    ~SourceRows() { Stop(); }

    SourceRows(const SourceRows&) = delete;
    SourceRows& operator=(const SourceRows&) = delete;

    // Stops the reader after the row it is reading and waits for it; rows are then read in step.
    void Stop() {
        if (m_thread.joinable()) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_stop = true;
            }
            m_roomMade.notify_one();
            m_thread.join();
            m_rows.clear();
            m_bytes = 0;
        }
    }

    // The row of keys[i], as ReadSourceRow gives it. `i` must grow from call to call; the rows between
    // are not needed and are dropped (or never read).
    bool Read(int i, IndexRecord& record, std::vector<uint16_t>& envelope) {
        if (!m_thread.joinable()) {
            return ReadSourceRow(m_source, m_keys[static_cast<size_t>(i)], record, envelope);
        }
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wanted = i;
        for (;;) {
            while (!m_rows.empty() && m_rows.front().index < i) {
                Drop();
            }
            if (!m_rows.empty()) {
                break;
            }
            m_importWaits = true;
            m_rowQueued.wait(lock);
        }
        Row& row = m_rows.front();
        const bool ok = row.ok;
        record = std::move(row.record);
        envelope.swap(row.envelope);
        Drop();
        return ok;
    }

private:
    struct Row {
        int index = 0;
        bool ok = false;
        IndexRecord record;
        std::vector<uint16_t> envelope;
    };

    // Removes the first row of the queue; wakes the reader once the queue is down to half. Called with
    // the mutex held.
    void Drop() {
        m_bytes -= m_rows.front().envelope.size() * sizeof(uint16_t);
        m_rows.pop_front();
        if (m_readerWaits && m_rows.size() <= kAheadRows / 2 && m_bytes <= kAheadBytes / 2) {
            m_readerWaits = false;
            m_roomMade.notify_one();
        }
    }

    // The reader thread: every row from the first the import still wants, in order. When the queue is
    // full it waits until the import has taken half of it, so that the two threads wake each other
    // once per many rows rather than at every row. One row always fits, however large.
    void ReadAhead() {
        const int count = static_cast<int>(m_keys.size());
        for (int i = 0; i < count; ++i) {
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                if (!m_rows.empty() && (m_rows.size() >= kAheadRows || m_bytes >= kAheadBytes)) {
                    m_readerWaits = true;
                    m_roomMade.wait(lock, [this] { return m_stop || !m_readerWaits; });
                }
                if (m_stop) {
                    return;
                }
                i = std::max(i, m_wanted);  // rows the import has passed are not read
            }
            Row row;
            row.index = i;
            row.ok = ReadSourceRow(m_source, m_keys[static_cast<size_t>(i)], row.record, row.envelope);
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bytes += row.envelope.size() * sizeof(uint16_t);
            m_rows.push_back(std::move(row));
            if (m_importWaits) {
                m_importWaits = false;
                m_rowQueued.notify_one();
            }
        }
    }

    TDataModule2& m_source;
    const std::vector<SourceKey>& m_keys;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_rowQueued;  // the import waits here for a row
    std::condition_variable m_roomMade;   // the reader waits here for room, or the stop
    std::deque<Row> m_rows;               // read and not yet taken, in ascending index
    size_t m_bytes = 0;                   // envelope bytes in m_rows
    int m_wanted = 0;                     // the index the import asked for last
    bool m_importWaits = false;
    bool m_readerWaits = false;
    bool m_stop = false;
};

}  // namespace

ImportDatabase::ImportDatabase(TDataModule1& store, TDataModule2& source, QObject* parent)
    : QThread(parent), m_lines(this, onLines), m_store(store), m_source(source) {}

ImportDatabase::~ImportDatabase() {
    requestInterruption();
    JoinThread(this);
}

void ImportDatabase::run() {
    Execute();
    // Lines queued after the last notification reach the sink before the thread is seen to end.
    Synchronize([this] { m_lines.Deliver(); });
    MarkWorkEnd(this);
}

void ImportDatabase::Line(const QString& text) {
    m_lines.Add(text);
}

void ImportDatabase::MessageBox(const QString& text) {
    Synchronize([&] {
        m_lines.Deliver();
        if (onMessageBox) {
            onMessageBox(text);
        }
    });
}

void ImportDatabase::Summary() {
    const QStringList lines = {
        QString(),
        QString::asprintf("Обработано записей: %i из %i", processed, total),
        QString::asprintf("Проигнорировано дубликатов: %i", ignored),
        QString::asprintf("Удалено записей: %i", deleted),
        QString::asprintf("Добавлено новых записей: %i", added),
    };
    Synchronize([&] {
        m_lines.Deliver();
        if (onSummary) {
            onSummary(lines);
        }
    });
}

void ImportDatabase::Report(const QString& text) {
    Line(text);
    MessageBox(text);
}

void ImportDatabase::Execute() {
    outcome = Outcome::Done;
    rowErrors = 0;
    QStringList keys;
    if (!m_source.ListKeys(keys)) {
        outcome = Outcome::KeysUnreadable;
        Report(QStringLiteral("Ошибка получения списка записей импортируемой базы данных!"));
        Summary();
        return;
    }
    total = static_cast<int>(keys.size());
    std::vector<SourceKey> sourceKeys;
    sourceKeys.reserve(keys.size());
    for (const QString& line : keys) {
        sourceKeys.push_back(ParseKey(line));
    }
    keys.clear();

    // Dirty pages stay in memory until the batch commits instead of being written to the file early,
    // which would lock readers of the file (the source itself, when a database is imported into
    // itself) out until the commit.
    m_store.SetCacheSpill(false);
    // A batch's pages stay in SQLite's cache after its commit and serve the next one, instead of being
    // freed and allocated again for every batch.
    const int64_t cacheSize = m_store.CacheSize();
    m_store.SetCacheSize(-kImportCacheKiB);
    Batch batch(m_store);
    SourceRows rows(m_source, sourceKeys, !SameFile(m_store.DatabasePath(), m_source.DatabasePath()));
    // Ends the batch (committing it unless it failed) and takes over its counts. A write failure then
    // is the outcome, whatever ended the loop.
    const auto finish = [&] {
        rows.Stop();
        const bool saved = batch.End();
        m_store.SetCacheSpill(true);
        m_store.SetCacheSize(cacheSize);
        added = batch.CommittedRows();
        deleted = batch.CommittedDeletes();
        if (!saved) {
            outcome = Outcome::WriteFailed;
            Report(QStringLiteral(
                "Ошибка записи в базу данных! Последние импортированные записи не сохранены."));
        }
        return saved;
    };
    const auto rowError = [&](const QString& text) {
        ++rowErrors;
        Report(text);
    };

    batch.Begin();
    IndexRecord record;
    std::vector<uint16_t> envelope;
    for (int i = 0; i < total && !batch.Failed(); ++i) {
        if (isInterruptionRequested()) {
            break;
        }
        const SourceKey& key = sourceKeys[static_cast<size_t>(i)];
        if (!batch.SettleTrack(key.md5, key.sourceSize, key.audioTrack)) {
            break;
        }
        const int found = m_store.FindTrack(key.md5, key.sourceSize, key.audioTrack);
        if (found == TDataModule1::kFailed || found == TDataModule1::kBusy) {
            Report(QStringLiteral("Ошибка SQL запроса"));
            if (finish()) {
                outcome = Outcome::LookupFailed;
            }
            Summary();
            return;
        }
        const bool isNew = found == TDataModule1::kNoSuchTrack;
        if (!isNew) {
            Line(QStringLiteral("Дубликат: MD5-хэш = ") + key.md5 +
                 QString::asprintf("\tтрек = %i\tid = %i\tid2 = %i\tразмер = %lli байт", key.audioTrack,
                                   found, key.id, static_cast<long long>(key.sourceSize)));
        }
        if (!isNew && !replaceDuplicates) {
            ++ignored;
        } else {
            // A new track, or a replacement: the new row is stored first, and the old rows of a replaced
            // track go only once it is there, in the same transaction (at the end of the batch), so that
            // a failed insert leaves them in place. A row that could not be read is not inserted (its
            // record would not be that track's).
            const bool read = rows.Read(i, record, envelope);
            int64_t newId = 0;
            const int inserted =
                read ? m_store.InsertRow(record, envelope.data(), newId) : TDataModule1::kFailed;
            if (inserted == TDataModule1::kWriteFailed) {
                batch.Fail();
                break;
            }
            if (!read) {
                rowError(QStringLiteral("Ошибка DataModule2->GetRecord2"));
            }
            if (inserted != TDataModule1::kOk) {
                rowError(QStringLiteral("Ошибка DataModule1->InsertSQL"));
            } else {
                batch.Count(record.index_size);
                if (!isNew) {
                    batch.DeleteLater(key.md5, key.sourceSize, key.audioTrack, newId);
                }
            }
        }
        if (!batch.CommitWhenDue()) {
            break;
        }
        ++processed;
        progress = total > 1 ? static_cast<int>((int64_t{i} * 100) / (total - 1)) : 100;
        added = batch.CommittedRows();
        deleted = batch.CommittedDeletes();
    }
    if (!finish()) {
        Summary();
        return;
    }
    if (isInterruptionRequested()) {
        outcome = Outcome::Stopped;
    }
    MessageBox(outcome == Outcome::Stopped ? QStringLiteral("Импорт остановлен!")
                                           : QStringLiteral("Задание выполнено!"));
    Summary();
}

}  // namespace tembrix
