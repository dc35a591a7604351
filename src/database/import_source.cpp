#include "database/import_source.h"

#include <QList>
#include <QPair>
#include <QtEndian>
#include <algorithm>

#include "database/index_store.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {
constexpr char kListKeysSql[] = "SELECT id, source_size, md5, audio_track FROM data";
}  // namespace

bool TDataModule2::Connect(const QString& path) {
    m_path.clear();
    if (!m_connection.Open(path)) {
        Messages().ShowMessage(QStringLiteral("Ошибка подключения к базе данных!"));
        return false;
    }
    m_path = path;
    return true;
}

bool TDataModule2::Disconnect() {
    if (!m_connection.IsOpen()) {
        return false;
    }
    m_connection.Close();
    m_path.clear();
    return true;
}

bool TDataModule2::IsConnected() const {
    return m_connection.IsOpen();
}

bool TDataModule2::ListKeys(QStringList& keys) {
    BusyGuard busy(m_busy);
    if (!busy.Ok()) {
        return false;
    }
    SqliteStatement q(m_connection, kListKeysSql);
    // SQLite reads this statement in the order of the track look-up index; the keys are handed out in
    // the order of the table, so that imported rows keep their order.
    QList<QPair<int64_t, QString>> rows;
    while (q.Next()) {
        const int64_t id = q.Int64(0);
        rows.append({id, QString::asprintf("%i\t%lli\t", static_cast<int32_t>(id),
                                           static_cast<long long>(q.Int64(1))) +
                             q.Text(2) + QString::asprintf("\t%i", static_cast<int32_t>(q.Int64(3)))});
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& row : rows) {
        keys.append(row.second);
    }
    return q.Ok();
}

bool TDataModule2::GetRecordWithIndex(int32_t id, IndexRecord& record, std::vector<uint16_t>& envelope,
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
    const int dataColumn = q.Column("index_data");
    const int64_t indexSize = q.Int64(q.Column("index_size"));
    // The blob is read as a stream of exactly index_size bytes: a shorter blob is a read error.
    if (dataColumn < 0 || indexSize < 0 || indexSize > INT32_MAX || q.BlobBytes(dataColumn) < indexSize) {
        return false;
    }
    ReadRecordColumns(q, record, false);
    const auto* bytes = static_cast<const unsigned char*>(q.BlobData(dataColumn));
    count = record.index_size / 2;
    envelope.assign(static_cast<size_t>((indexSize + 1) / 2), 0);
    if (count > 0) {  // an empty blob has no data pointer to read from
        qFromLittleEndian<uint16_t>(bytes, count, envelope.data());
    }
    if (indexSize % 2 != 0) {
        envelope.back() = bytes[indexSize - 1];  // the odd last byte, in the low half as stored
    }
    return true;
}

}  // namespace tembrix
