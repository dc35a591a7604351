#pragma once
// For the worker and scheduler tests: a temporary folder with a store (table Data), a work folder and
// the program log of the test, and the rows read back.

#include <QDir>
#include <vector>

#include "database/index_record.h"
#include "database/index_store.h"
#include "database/sqlite.h"
#include "indexing/process_media_file.h"
#include "support/media_fixtures.h"
#include "support/print_text.h"
#include "support/temp_dir.h"
#include "util/logs.h"

namespace tembrix::test {

struct StoredRow {
    IndexRecord record;
    QByteArray blob;
};

inline std::vector<StoredRow> ReadRows(const QString& dbPath) {
    std::vector<StoredRow> rows;
    SqliteConnection db;
    if (db.Open(dbPath)) {
        SqliteStatement q(db, "SELECT * FROM Data ORDER BY id");
        while (q.Next()) {
            rows.push_back({{}, q.Blob(q.Column("index_data"))});
            ReadRecordColumns(q, rows.back().record, false);
        }
    }
    return rows;
}

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
    bool LogHas(const QString& message) const { return ReadText(LogPath()).contains(message); }
    // The real tools, the built tag tool, copying on.
    WorkerSetup RealSetup() const { return {WorkDir(), RealSox(), RealFfmpeg(), ProgramDir(), true}; }

    TempDir dir;
    TDataModule1 store;
};

}  // namespace tembrix::test
