#include "database/sqlite.h"

#include <sqlite3.h>

namespace tembrix {

namespace {

// Process-wide settings of SQLite, made once before its first use. SQLite keeps no count of the memory
// it holds: that count takes one global lock at every allocation, and the import's reader and writer
// threads, which allocate for every page they touch, would wait on each other for it.
void ConfigureSqliteOnce() {
    static const bool configured = [] {
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        return true;
    }();
    (void)configured;
}

}  // namespace

bool SqliteConnection::Open(const QString& path, bool readOnly) {
    ConfigureSqliteOnce();
    Close();
    if (path.isEmpty()) {
        return false;
    }
    const int flags = (readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
                      SQLITE_OPEN_FULLMUTEX;
    if (sqlite3_open_v2(path.toUtf8().constData(), &m_db, flags, nullptr) != SQLITE_OK) {
        Close();
        return false;
    }
    sqlite3_busy_timeout(m_db, 5000);
    sqlite3_rollback_hook(m_db, &SqliteConnection::OnRollback, this);
    // Pages are read through a memory map (as far as SQLite allows, 2 GB here) instead of a read call
    // and a copy each: a statistics query scans one page per row of a database of gigabytes.
    sqlite3_exec(m_db, "PRAGMA mmap_size=2147418112", nullptr, nullptr, nullptr);
    // Deleted rows are not overwritten with zeros where that costs writes (some builds of SQLite zero
    // every freed page): a row's envelope spans a dozen pages, and zeroing them would copy each to the
    // rollback journal and write it again, tripling the writes of an import that replaces rows.
    sqlite3_exec(m_db, "PRAGMA secure_delete=FAST", nullptr, nullptr, nullptr);
    // SQLite opens lazily: read the schema now so that a file that is not a database fails here.
    SqliteStatement probe(*this, "SELECT count(*) FROM sqlite_master");
    if (!probe.Ok() || !probe.Next()) {
        Close();
        return false;
    }
    return true;
}

void SqliteConnection::Close() {
    {
        std::lock_guard<std::mutex> lock(m_cacheMutex);
        DropIdleStatements();
        ++m_generation;
    }
    if (m_db != nullptr) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

bool SqliteConnection::Exec(const char* sql) {
    if (m_db == nullptr) {
        return false;
    }
    return sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool SqliteConnection::HasTable(const QString& name) {
    if (m_db == nullptr) {
        return false;
    }
    SqliteStatement q(*this, "SELECT 1 FROM sqlite_master WHERE type='table' AND name=:NAME COLLATE NOCASE");
    q.Bind(":NAME", name);
    return q.Ok() && q.Next();
}

sqlite3_stmt* SqliteConnection::TakeStatement(const char* sql, uint64_t& generation) {
    {
        std::lock_guard<std::mutex> lock(m_cacheMutex);
        generation = m_generation;
        for (auto it = m_idle.begin(); it != m_idle.end(); ++it) {
            if (it->first == sql) {
                sqlite3_stmt* stmt = it->second;
                m_idle.erase(it);
                return stmt;
            }
        }
    }
    sqlite3_stmt* stmt = nullptr;
    if (m_db == nullptr || sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt);
        return nullptr;
    }
    return stmt;
}

void SqliteConnection::ReturnStatement(sqlite3_stmt* stmt, uint64_t generation) {
    if (stmt == nullptr) {
        return;
    }
    // At most two idle statements of one SQL (one thread reading while another writes) and sixteen in
    // all; the rest are finalised.
    constexpr int kIdleOfOneSql = 2;
    constexpr size_t kIdleInAll = 16;
    sqlite3_reset(stmt);
    sqlite3_clear_bindings(stmt);
    {
        std::lock_guard<std::mutex> lock(m_cacheMutex);
        if (generation == m_generation && m_idle.size() < kIdleInAll) {
            const char* sql = sqlite3_sql(stmt);
            int same = 0;
            for (const auto& idle : m_idle) {
                same += idle.first == sql ? 1 : 0;
            }
            if (same < kIdleOfOneSql) {
                m_idle.emplace_back(sql, stmt);
                return;
            }
        }
    }
    sqlite3_finalize(stmt);
}

void SqliteConnection::DropIdleStatements() {
    for (const auto& idle : m_idle) {
        sqlite3_finalize(idle.second);
    }
    m_idle.clear();
}

bool SqliteConnection::InTransaction() const {
    return m_db != nullptr && sqlite3_get_autocommit(m_db) == 0;
}

int64_t SqliteConnection::LastInsertRowId() const {
    return m_db != nullptr ? sqlite3_last_insert_rowid(m_db) : 0;
}

int SqliteConnection::Changes() const {
    return m_db != nullptr ? sqlite3_changes(m_db) : 0;
}

void SqliteConnection::OnRollback(void* connection) {
    static_cast<SqliteConnection*>(connection)->m_rollbacks.fetch_add(1, std::memory_order_acq_rel);
}

bool IsWriteFault(int code) {
    switch (code & 0xFF) {
        case SQLITE_FULL:
        case SQLITE_IOERR:
        case SQLITE_READONLY:
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_NOMEM:
        case SQLITE_PROTOCOL:
        case SQLITE_NOLFS:
            return true;
        default:
            return false;
    }
}

SqliteStatement::SqliteStatement(SqliteConnection& connection, const char* sql, Prepared how) {
    if (how == Prepared::Kept) {
        m_cache = &connection;
        m_stmt = connection.TakeStatement(sql, m_generation);
    } else if (connection.m_db == nullptr ||
               sqlite3_prepare_v2(connection.m_db, sql, -1, &m_stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(m_stmt);
        m_stmt = nullptr;
    }
    m_failed = m_stmt == nullptr;
}

SqliteStatement::SqliteStatement(SqliteConnection& connection, const QString& sql)
    : SqliteStatement(connection, sql.toUtf8().constData()) {}

SqliteStatement::~SqliteStatement() {
    if (m_cache != nullptr) {
        m_cache->ReturnStatement(m_stmt, m_generation);
    } else {
        sqlite3_finalize(m_stmt);
    }
}

namespace {
int ParameterIndex(sqlite3_stmt* stmt, const char* name) {
    return stmt != nullptr ? sqlite3_bind_parameter_index(stmt, name) : 0;
}
}  // namespace

void SqliteStatement::Bind(const char* name, const QString& text) {
    const int i = ParameterIndex(m_stmt, name);
    const QByteArray utf8 = text.toUtf8();
    if (i == 0 || sqlite3_bind_text(m_stmt, i, utf8.constData(), static_cast<int>(utf8.size()),
                                    SQLITE_TRANSIENT) != SQLITE_OK) {
        m_failed = true;
    }
}

void SqliteStatement::Bind(const char* name, int64_t value) {
    const int i = ParameterIndex(m_stmt, name);
    if (i == 0 || sqlite3_bind_int64(m_stmt, i, value) != SQLITE_OK) {
        m_failed = true;
    }
}

void SqliteStatement::BindBlob(const char* name, const void* data, int64_t bytes) {
    const int i = ParameterIndex(m_stmt, name);
    // A zero-length blob is an empty value, never NULL.
    static const char kEmpty = 0;
    if (i == 0 || bytes < 0 ||
        sqlite3_bind_blob64(m_stmt, i, bytes > 0 ? data : &kEmpty, static_cast<sqlite3_uint64>(bytes),
                            SQLITE_STATIC) != SQLITE_OK) {
        m_failed = true;
    }
}

bool SqliteStatement::Next() {
    if (m_stmt == nullptr || m_failed) {
        return false;
    }
    const int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc != SQLITE_DONE) {
        m_failed = true;
        m_code = rc;
    }
    return false;
}

bool SqliteStatement::Run() {
    Next();
    return Ok();
}

int SqliteStatement::Column(const char* name) const {
    if (m_stmt == nullptr) {
        return -1;
    }
    const int n = sqlite3_column_count(m_stmt);
    for (int i = 0; i < n; ++i) {
        if (sqlite3_stricmp(sqlite3_column_name(m_stmt, i), name) == 0) {
            return i;
        }
    }
    return -1;
}

int64_t SqliteStatement::Int64(int column) const {
    return column >= 0 ? sqlite3_column_int64(m_stmt, column) : 0;
}

QString SqliteStatement::Text(int column) const {
    if (column < 0) {
        return QString();
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_stmt, column));
    const int bytes = sqlite3_column_bytes(m_stmt, column);
    return text != nullptr ? QString::fromUtf8(text, bytes) : QString();
}

QByteArray SqliteStatement::Blob(int column) const {
    if (column < 0) {
        return QByteArray();
    }
    const void* data = sqlite3_column_blob(m_stmt, column);
    const int bytes = sqlite3_column_bytes(m_stmt, column);
    return data != nullptr ? QByteArray(static_cast<const char*>(data), bytes) : QByteArray();
}

int64_t SqliteStatement::BlobBytes(int column) const {
    if (column < 0) {
        return 0;
    }
    sqlite3_column_blob(m_stmt, column);
    return sqlite3_column_bytes(m_stmt, column);
}

int64_t SqliteStatement::TextBytes(int column) const {
    return column >= 0 ? sqlite3_column_bytes(m_stmt, column) : 0;
}

const char* SqliteStatement::Utf8(int column) const {
    return column >= 0 ? reinterpret_cast<const char*>(sqlite3_column_text(m_stmt, column)) : nullptr;
}

const void* SqliteStatement::BlobData(int column) const {
    return column >= 0 ? sqlite3_column_blob(m_stmt, column) : nullptr;
}

}  // namespace tembrix
