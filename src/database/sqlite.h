#pragma once
// A thin RAII layer over the SQLite C API: one connection, and statements that bind by parameter name
// and read columns by name. Nothing here throws; every failure is a false or an invalid value.
// A connection is opened in serialized mode, so its statements may be used from several threads
// (each statement by one thread at a time).

#include <QByteArray>
#include <QString>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace tembrix {

class SqliteConnection {
public:
    SqliteConnection() = default;
    ~SqliteConnection() { Close(); }
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // Opens (creating when missing) the database file, with a 5 s busy timeout and memory-mapped reads,
    // and confirms that the file really is an SQLite database by reading its schema. False (and closed)
    // otherwise. A read-only connection never creates the file and cannot write.
    bool Open(const QString& path, bool readOnly = false);
    void Close();
    bool IsOpen() const { return m_db != nullptr; }

    // Runs one or more statements without results. False on any error.
    bool Exec(const char* sql);
    bool Exec(const QString& sql) { return Exec(sql.toUtf8().constData()); }
    // True when a table of that name exists (case-insensitive, as SQLite names are).
    bool HasTable(const QString& name);
    // True while a transaction is open (BEGIN without its COMMIT or ROLLBACK yet). Any thread.
    bool InTransaction() const;
    // How many transactions this connection has rolled back since it was opened, whoever ran the
    // statement and whether asked for or forced by an error. Any thread.
    uint64_t Rollbacks() const { return m_rollbacks.load(std::memory_order_acquire); }
    // The row id of the last successful INSERT, and the rows changed by the last finished INSERT, UPDATE
    // or DELETE, of this connection (whichever thread ran it).
    int64_t LastInsertRowId() const;
    int Changes() const;

private:
    friend class SqliteStatement;

    static void OnRollback(void* connection);

    // A statement of `sql` for one use: an idle one prepared before, or a new one (nullptr when the
    // preparation fails). `generation` receives the number of the opening it belongs to.
    sqlite3_stmt* TakeStatement(const char* sql, uint64_t& generation);
    // Takes back a statement of TakeStatement: reset and kept for the next use of its SQL, or
    // finalised when the connection was closed since, or when enough of that SQL are idle.
    void ReturnStatement(sqlite3_stmt* stmt, uint64_t generation);
    // Finalises the idle statements. Called with m_cacheMutex held.
    void DropIdleStatements();

    sqlite3* m_db = nullptr;
    // Statements prepared on this connection and not in use, for operations that run once per row or
    // per file: preparing costs 10 to 20 µs each time, as much as a look-up itself. Guarded by
    // m_cacheMutex, since statements of one connection are used by several threads.
    std::mutex m_cacheMutex;
    std::vector<std::pair<std::string, sqlite3_stmt*>> m_idle;
    uint64_t m_generation = 0;  // counts the openings, so that a statement outliving its connection dies
    std::atomic<uint64_t> m_rollbacks{0};  // counted by SQLite's rollback hook
};

// True when a result code means the file could not be written, whatever the statement: disk full, I/O
// error, read-only file or folder, lock not obtained within the busy timeout, damage, no memory. Such a
// failure may have ended the open transaction. Constraint and type failures are not write faults.
bool IsWriteFault(int code);

// One statement on a connection, which must outlive it.
class SqliteStatement {
public:
    // Once: prepared for this object and finalised with it. Kept: taken from the statements the
    // connection keeps prepared between uses, and given back (reset, bindings cleared) when this object
    // ends; for statements run once per row or per file.
    enum class Prepared { Once, Kept };

    // Prepares `sql` on the connection; Ok() tells whether that worked.
    SqliteStatement(SqliteConnection& connection, const char* sql, Prepared how = Prepared::Once);
    SqliteStatement(SqliteConnection& connection, const QString& sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    bool Ok() const { return m_stmt != nullptr && !m_failed; }

    // Binding by name (":NAME"). An unknown name marks the statement failed.
    void Bind(const char* name, const QString& text);
    void Bind(const char* name, int64_t value);
    void BindInt(const char* name, int32_t value) { Bind(name, static_cast<int64_t>(value)); }
    void BindBlob(const char* name, const void* data, int64_t bytes);

    // Steps once: true while a row is available. After the last row (or an error) false; Failed() then
    // tells an error from the end.
    bool Next();
    // Runs a statement that has no rows. True when it completed.
    bool Run();
    bool Failed() const { return m_failed; }
    // The result code of the last failed step (SQLITE_OK when no step failed).
    int Code() const { return m_code; }

    // Column index by name (-1 when absent).
    int Column(const char* name) const;
    int64_t Int64(int column) const;
    QString Text(int column) const;
    QByteArray Blob(int column) const;
    int64_t BlobBytes(int column) const;
    // Bytes of the value as UTF-8 text (a number is counted as its decimal text; NULL has none).
    int64_t TextBytes(int column) const;
    // The value as UTF-8 text, valid until the next step (nullptr for NULL).
    const char* Utf8(int column) const;
    const void* BlobData(int column) const;

private:
    sqlite3_stmt* m_stmt = nullptr;
    bool m_failed = false;
    int m_code = 0;
    SqliteConnection* m_cache = nullptr;  // the connection that takes the statement back, if any
    uint64_t m_generation = 0;
};

}  // namespace tembrix
