#pragma once
// Shared by the worker and scheduler tests: a store with table Data in a temporary folder, its rows read
// back, and the program log of the test.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <ostream>
#include <vector>

#include "database/index_record.h"
#include "database/index_store.h"
#include "database/sqlite.h"
#include "indexing/process_media_file.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"
#include "util/logs.h"
#include "util/synchronize.h"

// Readable failure messages for texts (found by argument-dependent look-up, so at global scope).
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix::test {

struct StoredRow {
    IndexRecord record;
    QByteArray blob;
};

inline std::vector<StoredRow> ReadRows(const QString& dbPath) {
    std::vector<StoredRow> rows;
    SqliteConnection db;
    if (!db.Open(dbPath)) {
        return rows;
    }
    SqliteStatement q(db, "SELECT * FROM Data ORDER BY id");
    while (q.Next()) {
        StoredRow row;
        ReadRecordColumns(q, row.record, false);
        row.blob = q.Blob(q.Column("index_data"));
        rows.push_back(row);
    }
    return rows;
}

// A temporary folder with a database (table Data), a work folder and the program log of the test.
class IndexingSandbox {
public:
    IndexingSandbox() {
        QDir().mkpath(WorkDir());
        store.Connect(DbPath());
        store.CreateTable();
        SetLogLocations(LogPath(), dir.Path());
        WriteProgramLog(LogPath(), QStringLiteral("Test"), false);
    }
    ~IndexingSandbox() {
        store.Disconnect();
        SetLogLocations(QString(), QString());
    }

    QString DbPath() const { return dir.File(QStringLiteral("index.db")); }
    QString WorkDir() const { return dir.File(QStringLiteral("work")); }
    QString LogPath() const { return dir.File(QStringLiteral("program.log")); }
    bool LogHas(const QString& message) const {
        QFile f(LogPath());
        return f.open(QIODevice::ReadOnly) && QString::fromUtf8(f.readAll()).contains(message);
    }
    // The real tools, the built tag tool, copying on.
    WorkerSetup RealSetup() const {
        return WorkerSetup{WorkDir(), RealSox(), RealFfmpeg(), ProgramDir(), true};
    }

    TempDir dir;
    TDataModule1 store;
};

}  // namespace tembrix::test
