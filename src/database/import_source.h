#pragma once
// TDataModule2, the import source: a second index database, opened only to be read by the import
// worker. It has the same table Data and the same record as the main database. Its two query
// operations are serialised by its own busy flag (1 ms polls, at most 1000, then the busy result) and
// may be called from any thread; Connect and Disconnect belong to the user-interface thread.

#include <QString>
#include <QStringList>
#include <cstdint>
#include <vector>

#include "database/busy_flag.h"
#include "database/index_record.h"
#include "database/sqlite.h"

namespace tembrix {

class TDataModule2 {
public:
    TDataModule2() = default;
    TDataModule2(const TDataModule2&) = delete;
    TDataModule2& operator=(const TDataModule2&) = delete;

    // Opens the database file (a missing file becomes an empty database without the table, and
    // ListKeys then fails). False after the message "Ошибка подключения к базе данных!".
    bool Connect(const QString& path);
    // True if a connection was open and has been closed.
    bool Disconnect();
    bool IsConnected() const;
    // The file given to the last successful Connect; empty when disconnected.
    QString DatabasePath() const { return m_path; }

    // Appends one line per row, in ascending id: id, a tab, source_size (64-bit), a tab, md5, a tab,
    // audio_track. The list is not cleared. False on busy or failure (the lines read before stay).
    bool ListKeys(QStringList& keys);

    // Reads the row `id` into `record` and its envelope into `envelope`: `count` = index_size / 2
    // values, taken from exactly index_size bytes of the blob (an odd last byte is kept in one more
    // element, so the vector always holds index_size bytes). True when read, and also when no row has
    // that id (then nothing is touched). False on busy, failure, a negative index_size or a blob shorter
    // than index_size.
    bool GetRecordWithIndex(int32_t id, IndexRecord& record, std::vector<uint16_t>& envelope, int32_t& count);

    // The busy flag, for tests that hold it to exercise the busy results.
    BusyFlag& Busy() { return m_busy; }

private:
    SqliteConnection m_connection;
    BusyFlag m_busy;
    QString m_path;
};

}  // namespace tembrix
