#pragma once
// TDataModule1, the index store: the single owner of the connection to the main index database. Every
// other part reads and writes table Data only through these operations. Each operation prepares, runs
// and finalises its own statement; row operations are serialised by the store's busy flag and may be
// called from any thread (the user-interface thread and the import worker). Connect, Disconnect,
// CreateTable and ClearTable work on the connection directly and belong to the user-interface thread.
//
// Result codes: 0 success, -1 statement failed, -2 store busy, -3 duplicate (insert) or no such track
// (FindTrack; the same number under its own name). User messages go through Messages(); insert failures
// go to my.log.

#include <QString>
#include <QStringList>
#include <functional>
#include <mutex>
#include <vector>

#include "database/busy_flag.h"
#include "database/index_record.h"
#include "database/sqlite.h"

namespace tembrix {

class TDataModule1 {
public:
    static constexpr int kOk = 0;
    static constexpr int kFailed = -1;
    static constexpr int kBusy = -2;
    static constexpr int kDuplicate = -3;    // from the inserts: the track is stored already
    static constexpr int kNoSuchTrack = -3;  // from FindTrack: no row of that track
    // Only from InsertRow and DeleteReplacedRows: the file could not be written (disk full, I/O
    // error, read-only file or folder, lock timeout); the open transaction may be gone with it.
    static constexpr int kWriteFailed = -4;

    TDataModule1() = default;
    TDataModule1(const TDataModule1&) = delete;
    TDataModule1& operator=(const TDataModule1&) = delete;

    // Opens the database file (an empty database is created when missing). False after the message
    // "Ошибка подключения к базе данных!". Adds the side indexes (look-up and statistics) when the table
    // exists.
    bool Connect(const QString& path);
    // True if a connection was open and has been closed.
    bool Disconnect();
    bool IsConnected() const;
    // The path of the connected database ("" when none).
    QString DatabasePath() const { return m_path; }

    // The table (and its side indexes). False after "Ошибка создания таблицы!".
    bool CreateTable();
    // Deletes every row. False after "Ошибка очистки таблицы!".
    bool ClearTable();

    // A row without envelope (the blob column is then unbound, so the insert fails its NOT NULL).
    int InsertRecord(const IndexRecord& record);
    // A row with `record.index_size` bytes of envelope from `envelopeBytes`; -3 when a row with the same
    // md5, source_size and audio_track exists.
    int InsertRecordWithIndex(const IndexRecord& record, const void* envelopeBytes);
    // The id of the first row of that track; kNoSuchTrack; -1 failure; -2 busy.
    int FindTrack(const QString& md5, int64_t sourceSize, int32_t audioTrack);
    // 1 a row with record.source_path exists; 0 none; -1 failure; -2 busy.
    int FindPath(const IndexRecord& record);
    // False when the store stays busy or the statement fails (read-only, locked or damaged file, full
    // disk).
    bool Vacuum();
    // False only when the store stays busy; statement failures are swallowed.
    bool Commit();
    // The integer column `res` of the first row; 0 on busy or failure (and for NULL).
    int64_t QueryScalar(const QString& sql);
    // Columns `par` (text) and `val` (integer, as decimal text) of every row, both lists cleared first.
    bool QueryPairs(const QString& sql, QStringList& params, QStringList& values);
    // Display names and ids of every row ordered by source_file_name, appended (lists not cleared).
    // A name gets " [track+1]" when the file has two or more tracks.
    bool ListTracks(QStringList& names, QStringList& ids);
    // Reads the row's columns up to `info`, then fails on the column index_file_name, which the table
    // does not have: false, with the members before it filled. True when no row has that id.
    bool GetRecord(int32_t id, IndexRecord& record);
    // The row and its envelope values (index_size / 2 of them, replacing `envelope`). True when read or
    // when no row has that id (then nothing is touched); false on busy or failure.
    bool GetRecordWithIndex(int32_t id, IndexRecord& record, std::vector<uint16_t>& envelope, int32_t& count);
    // Deletes every track of a file. False only when busy.
    bool DeleteFile(const QString& md5, int64_t sourceSize);
    // 0 deleted (also when nothing matched); -1 failure; -2 busy.
    int DeleteTrack(const QString& md5, int64_t sourceSize, int32_t audioTrack);
    int DeleteById(int32_t id);

    // Stores `record` with `record.index_size` bytes of envelope without looking for its track first
    // (the caller has, or means to replace the rows there), and gives the new row's id in `newId`; 0, -1
    // (nothing stored), -2, -4 (a write fault). Each one step under the busy flag.
    int InsertRow(const IndexRecord& record, const void* envelopeBytes, int64_t& newId);
    // The second half of a replacement after InsertRow: removes the rows of that track older than
    // `newId` and gives their number in `deletedRows`; 0, -1 (the rows stay), -2, -4. The import runs
    // both inside one transaction, the deletes of a batch just before its commit: pages freed in a
    // transaction and used again in it must first be copied to the rollback journal, pages freed by an
    // earlier one need not.
    int DeleteReplacedRows(const QString& md5, int64_t sourceSize, int32_t audioTrack, int64_t newId,
                           int& deletedRows);

    // Batched writing for the import: one transaction. Each takes the busy flag.
    bool BeginTransaction();
    bool CommitTransaction();
    // Abandons the open transaction.
    bool RollbackTransaction();
    // True while the connection has a transaction open, whoever began it. Any thread, no busy flag.
    bool InTransaction() const { return m_connection.InTransaction(); }
    // How many transactions the connection has rolled back since it was opened (asked for, or forced by
    // a failed statement of any caller). Any thread, no busy flag.
    uint64_t Rollbacks() const { return m_connection.Rollbacks(); }
    // Whether SQLite may write changed pages to the file before the transaction commits (on by default).
    // Off, a long transaction keeps them in memory and other readers of the file are not locked out
    // until the commit.
    bool SetCacheSpill(bool enabled);
    // SQLite's page cache limit, as PRAGMA cache_size has it: pages when positive, KiB when negative.
    // 0 when busy or not connected.
    int64_t CacheSize();
    bool SetCacheSize(int64_t size);

    // Where a worker's read-only query runs: on the store's own connection, or on a second, read-only
    // connection to the same file, so that two readers do not take turns (opened on first use and kept,
    // with its memory map, until the store connects elsewhere or disconnects; the store's own connection
    // stands in when it cannot be opened).
    enum class ReadOn { Store, Reader };
    // Called for each result row, positioned on it; returns false to stop early.
    using RowVisitor = std::function<bool(const SqliteStatement& row)>;
    // Runs the read-only `sql` for a worker that reads beside the row operations (the check worker), without
    // the busy flag, handing each row to `visit`. False when the statement failed (the rows before it were
    // handed out) or the store is not connected. Any thread: the connections are serialized, so readers
    // of one connection on two threads take turns.
    bool ReadRows(ReadOn on, const char* sql, const RowVisitor& visit);
    // The busy flag, for tests that hold it to exercise the busy results.
    BusyFlag& Busy() { return m_busy; }

private:
    // Runs `sql` under the busy flag: false only when busy; `ran` (when given) tells whether it ran.
    bool ExecGuarded(const char* sql, bool* ran);

    SqliteConnection m_connection;
    BusyFlag m_busy;
    QString m_path;
    // The connection of ReadOn::Reader (opened on first use), or the store's own when it cannot be.
    SqliteConnection& ReaderConnection();

    std::mutex m_readerMutex;  // guards the opening of m_reader
    SqliteConnection m_reader;
};

// Reads one row's fields from a kGetRecordSql statement positioned on a row (shared with the import
// source). Stops before index_size when `probeIndexFileName` asks for the missing column, and then
// returns false.
bool ReadRecordColumns(const SqliteStatement& query, IndexRecord& record, bool probeIndexFileName);

// Reads the envelope of a "SELECT * FROM data" row into `envelope` (index_size / 2 values).
bool ReadEnvelopeColumn(const SqliteStatement& query, int32_t indexSize, std::vector<uint16_t>& envelope,
                        int32_t& count);

}  // namespace tembrix
