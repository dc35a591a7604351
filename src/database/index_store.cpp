#include "database/index_store.h"

#include <QtEndian>
#include <string>

#include "util/logs.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

constexpr char kFindTrackSql[] =
    "SELECT id FROM data WHERE md5 = :MD5 AND source_size = :SOURCESIZE AND audio_track = :AUDIOTRACK";
constexpr char kFindPathSql[] = "SELECT id FROM data WHERE source_path = :SOURCEPATH";
constexpr char kListTracksSql[] =
    "SELECT id, source_file_name, audio_track, all_tracks FROM data ORDER BY source_file_name";
constexpr char kDeleteFileSql[] = "DELETE FROM data where md5 = :MD5 AND source_size = :SOURCESIZE";
constexpr char kDeleteTrackSql[] =
    "DELETE FROM data where md5 = :MD5 AND source_size = :SOURCESIZE AND audio_track = :AUDIOTRACK";
constexpr char kDeleteByIdSql[] = "DELETE FROM data where id = :ID";
constexpr char kDeleteOlderRowsSql[] =
    "DELETE FROM data WHERE md5 = :MD5 AND source_size = :SOURCESIZE AND audio_track = :AUDIOTRACK AND id < "
    ":ID";

// The thirteen value parameters of the row insert, in their binding order.
void BindRecord(SqliteStatement& q, const IndexRecord& r) {
    q.Bind(":SOURCESIZE", r.source_size);
    q.Bind(":SHA2", r.sha2);
    q.Bind(":MD5", r.md5);
    q.BindInt(":DURATION", r.duration);
    q.Bind(":SOURCEPATH", r.source_path);
    q.Bind(":SOURCEFILENAME", r.source_file_name);
    q.Bind(":EXTENSION", r.extension);
    q.Bind(":TYPE", r.type);
    q.BindInt(":AUDIOTRACK", r.audio_track);
    q.BindInt(":ALLTRACKS", r.all_tracks);
    q.Bind(":CREATED", r.created);
    q.Bind(":INFO", r.info);
    // Bound as decimal text on purpose; the column's INTEGER affinity stores a number.
    q.Bind(":INDEXSIZE", QString::asprintf("%i", r.index_size));
}

}  // namespace

const char* InsertRowSql(bool withEnvelope) {
    static const std::string kColumns =
        "source_size, sha2, md5, duration, source_path, source_file_name, extension, type, audio_track, "
        "all_tracks, created, info, index_size";
    static const std::string kValues =
        ":SOURCESIZE, :SHA2, :MD5, :DURATION, :SOURCEPATH, :SOURCEFILENAME, :EXTENSION, :TYPE, :AUDIOTRACK, "
        ":ALLTRACKS, :CREATED, :INFO, :INDEXSIZE";
    static const std::string kWithout = "INSERT INTO data (" + kColumns + ") values(" + kValues + ")";
    static const std::string kWith =
        "INSERT INTO data (" + kColumns + ", index_data) values(" + kValues + ", :INDEXDATA)";
    return (withEnvelope ? kWith : kWithout).c_str();
}

bool ReadRecordColumns(const SqliteStatement& q, IndexRecord& r, bool probeIndexFileName) {
    r.source_size = q.Int64(q.Column("source_size"));
    r.sha2 = q.Text(q.Column("sha2"));
    r.md5 = q.Text(q.Column("md5"));
    r.duration = static_cast<int32_t>(q.Int64(q.Column("duration")));
    r.source_path = q.Text(q.Column("source_path"));
    r.source_file_name = q.Text(q.Column("source_file_name"));
    r.extension = q.Text(q.Column("extension"));
    r.type = q.Text(q.Column("type"));
    r.audio_track = static_cast<int32_t>(q.Int64(q.Column("audio_track")));
    r.all_tracks = static_cast<int32_t>(q.Int64(q.Column("all_tracks")));
    r.created = q.Text(q.Column("created"));
    r.info = q.Text(q.Column("info"));
    if (probeIndexFileName) {
        const int column = q.Column("index_file_name");
        if (column < 0) {
            return false;
        }
        r.index_file_name = q.Text(column);
    }
    r.index_size = static_cast<int32_t>(q.Int64(q.Column("index_size")));
    return true;
}

bool ReadEnvelopeColumn(const SqliteStatement& q, int32_t indexSize, std::vector<uint16_t>& envelope,
                        int32_t& count) {
    const int column = q.Column("index_data");
    if (column < 0 || indexSize < 0) {
        return false;
    }
    count = indexSize / 2;
    envelope.assign(static_cast<size_t>(count), 0);
    const auto* data = static_cast<const char*>(q.BlobData(column));
    const int64_t available = q.BlobBytes(column);
    // Exactly index_size bytes are asked for; a shorter blob leaves the rest of the array zero.
    const int64_t bytes = std::min<int64_t>(available, static_cast<int64_t>(count) * 2);
    for (int64_t k = 0; k < bytes / 2; ++k) {
        envelope[static_cast<size_t>(k)] = qFromLittleEndian<uint16_t>(data + 2 * k);
    }
    return true;
}

bool TDataModule1::Connect(const QString& path) {
    m_reader.Close();
    if (!m_connection.Open(path)) {
        m_path.clear();
        Messages().ShowMessage(QStringLiteral("Ошибка подключения к базе данных!"));
        return false;
    }
    m_path = path;
    if (m_connection.HasTable(QStringLiteral("Data"))) {
        // Databases made before the side indexes existed get them now; a read-only file keeps none.
        m_connection.Exec(kCreateTrackIndexSql);
        m_connection.Exec(kCreatePathIndexSql);
        m_connection.Exec(kCreateStatsIndexSql);
    }
    return true;
}

bool TDataModule1::Disconnect() {
    if (!m_connection.IsOpen()) {
        return false;
    }
    m_reader.Close();
    m_connection.Close();
    m_path.clear();
    return true;
}

SqliteConnection& TDataModule1::ReaderConnection() {
    const std::lock_guard<std::mutex> lock(m_readerMutex);
    if (!m_reader.IsOpen() && m_connection.IsOpen()) {
        m_reader.Open(m_path, true);
    }
    return m_reader.IsOpen() ? m_reader : m_connection;
}

bool TDataModule1::ReadRows(ReadOn on, const char* sql, const RowVisitor& visit) {
    SqliteStatement q(on == ReadOn::Reader ? ReaderConnection() : m_connection, sql);
    while (q.Next()) {
        if (!visit(q)) {
            break;
        }
    }
    return q.Ok();
}

bool TDataModule1::IsConnected() const {
    return m_connection.IsOpen();
}

bool TDataModule1::CreateTable() {
    if (!m_connection.Exec(kCreateTableSql)) {
        Messages().ShowMessage(QStringLiteral("Ошибка создания таблицы!"));
        return false;
    }
    m_connection.Exec(kCreateTrackIndexSql);
    m_connection.Exec(kCreatePathIndexSql);
    m_connection.Exec(kCreateStatsIndexSql);
    return true;
}

bool TDataModule1::ClearTable() {
    if (!m_connection.Exec("DELETE FROM Data;")) {
        Messages().ShowMessage(QStringLiteral("Ошибка очистки таблицы!"));
        return false;
    }
    return true;
}

int TDataModule1::InsertRecord(const IndexRecord& record) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, InsertRowSql(false), SqliteStatement::Prepared::Kept);
    BindRecord(q, record);
    if (!q.Run()) {
        WriteStoreLog(QStringLiteral("Query insert error!"));
        return kFailed;
    }
    return kOk;
}

int TDataModule1::InsertRecordWithIndex(const IndexRecord& record, const void* envelopeBytes) {
    const int found = FindTrack(record.md5, record.source_size, record.audio_track);
    if (found != kNoSuchTrack) {
        return found < 0 ? found : kDuplicate;
    }
    int64_t id = 0;
    const int result = InsertRow(record, envelopeBytes, id);
    return result == kWriteFailed ? kFailed : result;
}

int TDataModule1::FindTrack(const QString& md5, int64_t sourceSize, int32_t audioTrack) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, kFindTrackSql, SqliteStatement::Prepared::Kept);
    q.Bind(":MD5", md5);
    q.Bind(":SOURCESIZE", sourceSize);
    q.BindInt(":AUDIOTRACK", audioTrack);
    if (q.Next()) {
        return static_cast<int32_t>(q.Int64(0));
    }
    return q.Failed() ? kFailed : kNoSuchTrack;
}

int TDataModule1::FindPath(const IndexRecord& record) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, kFindPathSql, SqliteStatement::Prepared::Kept);
    q.Bind(":SOURCEPATH", record.source_path);
    if (q.Next()) {
        return 1;
    }
    return q.Failed() ? kFailed : 0;
}

bool TDataModule1::ExecGuarded(const char* sql, bool* ran) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, sql);
    const bool ok = q.Run();
    if (ran != nullptr) {
        *ran = ok;
    }
    return true;
}

bool TDataModule1::Vacuum() {
    // A VACUUM that fails (read-only or damaged file, a reader holding it, a full disk) says so.
    bool ran = false;
    return ExecGuarded("VACUUM", &ran) && ran;
}

bool TDataModule1::Commit() {
    return ExecGuarded("COMMIT", nullptr);  // failures are swallowed: the result only speaks of the flag
}

int64_t TDataModule1::QueryScalar(const QString& sql) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return 0;
    }
    SqliteStatement q(m_connection, sql);
    if (!q.Next()) {
        return 0;
    }
    return q.Int64(q.Column("res"));
}

bool TDataModule1::QueryPairs(const QString& sql, QStringList& params, QStringList& values) {
    params.clear();
    values.clear();
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, sql);
    const int par = q.Column("par");
    const int val = q.Column("val");
    if (q.Ok() && (par < 0 || val < 0)) {
        return false;
    }
    while (q.Next()) {
        params.append(q.Text(par));
        values.append(QString::number(q.Int64(val)));
    }
    return q.Ok();
}

bool TDataModule1::ListTracks(QStringList& names, QStringList& ids) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, kListTracksSql);
    while (q.Next()) {
        const auto id = static_cast<int32_t>(q.Int64(0));
        QString name = q.Text(1);
        const auto track = static_cast<int32_t>(q.Int64(2));
        if (q.Int64(3) >= 2) {
            name += QStringLiteral(" [") + QString::number(track + 1) + u']';
        }
        ids.append(QString::number(id));
        names.append(name);
    }
    return q.Ok();
}

bool TDataModule1::GetRecord(int32_t id, IndexRecord& record) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, kGetRecordSql, SqliteStatement::Prepared::Kept);
    q.BindInt(":ID", id);
    if (!q.Next()) {
        return q.Ok();
    }
    return ReadRecordColumns(q, record, true);
}

bool TDataModule1::GetRecordWithIndex(int32_t id, IndexRecord& record, std::vector<uint16_t>& envelope,
                                      int32_t& count) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, kGetRecordSql, SqliteStatement::Prepared::Kept);
    q.BindInt(":ID", id);
    if (!q.Next()) {
        return q.Ok();
    }
    ReadRecordColumns(q, record, false);
    return ReadEnvelopeColumn(q, record.index_size, envelope, count);
}

bool TDataModule1::DeleteFile(const QString& md5, int64_t sourceSize) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, kDeleteFileSql, SqliteStatement::Prepared::Kept);
    q.Bind(":MD5", md5);
    q.Bind(":SOURCESIZE", sourceSize);
    q.Run();
    return true;
}

int TDataModule1::DeleteTrack(const QString& md5, int64_t sourceSize, int32_t audioTrack) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, kDeleteTrackSql, SqliteStatement::Prepared::Kept);
    q.Bind(":MD5", md5);
    q.Bind(":SOURCESIZE", sourceSize);
    q.BindInt(":AUDIOTRACK", audioTrack);
    return q.Run() ? kOk : kFailed;
}

int TDataModule1::DeleteById(int32_t id) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, kDeleteByIdSql, SqliteStatement::Prepared::Kept);
    q.BindInt(":ID", id);
    return q.Run() ? kOk : kFailed;
}

int TDataModule1::InsertRow(const IndexRecord& record, const void* envelopeBytes, int64_t& newId) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, InsertRowSql(true), SqliteStatement::Prepared::Kept);
    BindRecord(q, record);
    bool stored = false;
    if (record.index_size <= 0 || envelopeBytes != nullptr) {
        q.BindBlob(":INDEXDATA", envelopeBytes, record.index_size);
        stored = q.Run();
    }
    if (!stored) {
        WriteStoreLog(QStringLiteral("Query insert error!"));
        return IsWriteFault(q.Code()) ? kWriteFailed : kFailed;
    }
    newId = m_connection.LastInsertRowId();
    return kOk;
}

int TDataModule1::DeleteReplacedRows(const QString& md5, int64_t sourceSize, int32_t audioTrack,
                                     int64_t newId, int& deletedRows) {
    deletedRows = 0;
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return kBusy;
    }
    SqliteStatement q(m_connection, kDeleteOlderRowsSql, SqliteStatement::Prepared::Kept);
    q.Bind(":MD5", md5);
    q.Bind(":SOURCESIZE", sourceSize);
    q.BindInt(":AUDIOTRACK", audioTrack);
    q.Bind(":ID", newId);
    if (!q.Run()) {
        WriteStoreLog(QStringLiteral("Query delete error!"));
        return IsWriteFault(q.Code()) ? kWriteFailed : kFailed;
    }
    deletedRows = m_connection.Changes();
    return kOk;
}

bool TDataModule1::BeginTransaction() {
    BusyGuard busy(m_busy);
    return busy.Ok() && m_connection.Exec("BEGIN");
}

bool TDataModule1::CommitTransaction() {
    BusyGuard busy(m_busy);
    return busy.Ok() && m_connection.Exec("COMMIT");
}

bool TDataModule1::RollbackTransaction() {
    BusyGuard busy(m_busy);
    return busy.Ok() && m_connection.Exec("ROLLBACK");
}

bool TDataModule1::SetCacheSpill(bool enabled) {
    BusyGuard busy(m_busy);
    return busy.Ok() && m_connection.Exec(enabled ? "PRAGMA cache_spill=ON" : "PRAGMA cache_spill=OFF");
}

int64_t TDataModule1::CacheSize() {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return 0;
    }
    SqliteStatement q(m_connection, "PRAGMA cache_size");
    return q.Next() ? q.Int64(0) : 0;
}

bool TDataModule1::SetCacheSize(int64_t size) {
    BusyGuard busy(m_busy);
    return busy.Ok() && m_connection.Exec(QStringLiteral("PRAGMA cache_size=%1").arg(size));
}

}  // namespace tembrix
