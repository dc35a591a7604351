#include "database/import_database.h"

#include <sqlite3.h>

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

namespace tembrix {

namespace {

// The open write transaction of the import: committed when it holds 1000 rows or 64 MB of envelopes,
// when its first row is a second old, and at the end. Whether a transaction is open is asked of the
// connection, since another caller of the store may commit it (the indexing's closing COMMIT); the rows
// are then committed one by one by the connection until the next batch begins.
class Batch {
public:
    static constexpr int kMaxRows = 1000;
    static constexpr int64_t kMaxBytes = 64 * 1024 * 1024;
    static constexpr qint64 kMaxMs = 1000;

    explicit Batch(TDataModule1& store) : m_store(store) {}

    void Begin() {
        m_store.BeginTransaction();
        m_rows = 0;
        m_bytes = 0;
    }

    // Notes that the rows of the track of `key` older than row `newId` are to go before the batch
    // commits. Deleting them at once would free their pages for the next rows of this very transaction,
    // and such pages are copied to the rollback journal before they are written again; freed at the end
    // of the batch, the next batch takes them without that copy.
    void DeleteLater(const QString& md5, int64_t sourceSize, int32_t audioTrack, int64_t newId) {
        m_pending.push_back({md5, sourceSize, audioTrack, newId});
        m_pendingTracks.insert(TrackKey(md5, sourceSize, audioTrack));
    }

    // Runs the pending deletes now if one of them is of that track, so that a look-up of the track sees
    // what it would see had the old rows gone at once.
    void SettleTrack(const QString& md5, int64_t sourceSize, int32_t audioTrack) {
        if (m_pendingTracks.contains(TrackKey(md5, sourceSize, audioTrack))) {
            DeletePending();
        }
    }

    // Counts one written row.
    void Count(int64_t envelopeBytes) {
        if (m_rows == 0) {
            m_timer.start();
        }
        ++m_rows;
        m_bytes += envelopeBytes;
    }

    // Commits the batch when it is full or old enough, and begins the next. A commit that fails (a
    // reader of the file holding its lock past the busy timeout) keeps the batch open; the next row
    // tries again.
    void CommitWhenDue() {
        if (!Open()) {
            Begin();
            return;
        }
        if (m_rows >= kMaxRows || m_bytes >= kMaxBytes || (m_rows > 0 && m_timer.elapsed() >= kMaxMs)) {
            DeletePending();
            if (m_store.CommitTransaction()) {
                Begin();
            }
        }
    }

    // Commits what is open. A last commit is retried; when it still fails the batch is rolled back, so
    // that the connection is not left inside a transaction. False then.
    bool End() {
        DeletePending();
        if (!Open()) {
            return true;
        }
        for (int attempt = 0; attempt < 3; ++attempt) {
            if (m_store.CommitTransaction()) {
                return true;
            }
        }
        m_store.RollbackTransaction();
        return false;
    }

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

    // A delete that fails leaves the old rows beside the new one (the store logs it): nothing is lost,
    // and the check reports the track as a duplicate.
    void DeletePending() {
        for (const Replaced& r : m_pending) {
            m_store.DeleteReplacedRows(r.md5, r.sourceSize, r.audioTrack, r.newId);
        }
        m_pending.clear();
        m_pendingTracks.clear();
    }

    bool Open() const { return m_store.Handle() != nullptr && sqlite3_get_autocommit(m_store.Handle()) == 0; }

    TDataModule1& m_store;
    int m_rows = 0;
    int64_t m_bytes = 0;
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
    const QStringList fields = line.split(u'\t');
    SourceKey key;
    key.id = fields.value(0).toInt();
    key.sourceSize = fields.value(1).toLongLong();
    key.md5 = fields.value(2);
    key.audioTrack = fields.value(3).toInt();
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
    : QThread(parent), m_store(store), m_source(source) {}

ImportDatabase::~ImportDatabase() {
    requestInterruption();
    JoinThread(this);
}

void ImportDatabase::run() {
    Execute();
    MarkWorkEnd(this);
}

void ImportDatabase::Line(const QString& text) {
    if (onLine) {
        Synchronize([&] { onLine(text); });
    }
}

void ImportDatabase::MessageBox(const QString& text) {
    if (onMessageBox) {
        Synchronize([&] { onMessageBox(text); });
    }
}

void ImportDatabase::Summary() {
    if (!onSummary) {
        return;
    }
    const QStringList lines = {
        QString(),
        QString::asprintf("Обработано записей: %i из %i", processed, total),
        QString::asprintf("Проигнорировано дубликатов: %i", ignored),
        QString::asprintf("Удалено записей: %i", deleted),
        QString::asprintf("Добавлено новых записей: %i", added),
    };
    Synchronize([&] { onSummary(lines); });
}

void ImportDatabase::Execute() {
    QStringList keys;
    if (!m_source.ListKeys(keys)) {
        const QString text = QStringLiteral("Ошибка получения списка записей импортируемой базы данных!");
        Line(text);
        MessageBox(text);
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
    batch.Begin();
    SourceRows rows(m_source, sourceKeys, !SameFile(m_store.DatabasePath(), m_source.DatabasePath()));
    bool saved = true;
    const auto finish = [&] {
        rows.Stop();
        saved = batch.End();
        m_store.SetCacheSpill(true);
        m_store.SetCacheSize(cacheSize);
        if (!saved) {
            const QString text =
                QStringLiteral("Ошибка записи в базу данных! Последние импортированные записи не сохранены.");
            Line(text);
            MessageBox(text);
        }
    };

    IndexRecord record;
    std::vector<uint16_t> envelope;
    for (int i = 0; i < total; ++i) {
        if (isInterruptionRequested()) {
            break;
        }
        const SourceKey& key = sourceKeys[static_cast<size_t>(i)];
        batch.SettleTrack(key.md5, key.sourceSize, key.audioTrack);
        const int found = m_store.FindTrack(key.md5, key.sourceSize, key.audioTrack);
        if (found == TDataModule1::kFailed || found == TDataModule1::kBusy) {
            const QString text = QStringLiteral("Ошибка SQL запроса");
            Line(text);
            MessageBox(text);
            finish();
            Summary();
            return;
        }
        if (found == TDataModule1::kDuplicate) {
            // A new track. A row that cannot be read is counted all the same, without a message.
            if (rows.Read(i, record, envelope)) {
                m_store.InsertRecordWithIndex(record, envelope.data());
                batch.Count(record.index_size);
            }
            ++added;
        } else {
            Line(QStringLiteral("Дубликат: MD5-хэш = ") + key.md5 +
                 QString::asprintf("\tтрек = %i\tid = %i\tid2 = %i\tразмер = %lli байт", key.audioTrack,
                                   found, key.id, static_cast<long long>(key.sourceSize)));
            if (!replaceDuplicates) {
                ++ignored;
            } else {
                // The new row is stored first and the old rows go only once it is there, in the same
                // transaction (at the end of the batch): when the insert fails, the stored rows stay. A
                // row that could not be read is not inserted (its record would not be that track's).
                const bool read = rows.Read(i, record, envelope);
                int64_t newId = 0;
                const int inserted =
                    read ? m_store.InsertReplacement(record, envelope.data(), newId) : TDataModule1::kFailed;
                if (inserted == TDataModule1::kOk) {
                    batch.DeleteLater(key.md5, key.sourceSize, key.audioTrack, newId);
                }
                ++deleted;
                ++added;
                if (!read) {
                    const QString text = QStringLiteral("Ошибка DataModule2->GetRecord2");
                    Line(text);
                    MessageBox(text);
                }
                if (inserted != TDataModule1::kOk) {
                    const QString text = QStringLiteral("Ошибка DataModule1->InsertSQL");
                    Line(text);
                    MessageBox(text);
                }
                batch.Count(record.index_size);
            }
        }
        batch.CommitWhenDue();
        ++processed;
        progress = total > 1 ? static_cast<int>((int64_t{i} * 100) / (total - 1)) : 100;
    }
    finish();
    MessageBox(isInterruptionRequested() ? QStringLiteral("Импорт остановлен!")
                                         : QStringLiteral("Задание выполнено!"));
    Summary();
}

}  // namespace tembrix
