#pragma once
// Shared by the worker and scheduler tests: a connected store with table Data in a temporary folder, the
// rows read back, and the program log of the test.

#include <QByteArray>
#include <QCryptographicHash>
#include <QFile>
#include <QString>
#include <memory>
#include <ostream>
#include <vector>

#include "database/index_record.h"
#include "database/index_store.h"
#include "database/sqlite.h"
#include "indexing/logs.h"
#include "indexing/process_media_file.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"
#include "util/synchronize.h"

// Readable failure messages for texts (found by argument-dependent look-up, so at global scope).
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix::test {

// One row of Data as stored.
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
    SqliteStatement q(db.Handle(), "SELECT * FROM Data ORDER BY id");
    while (q.Next()) {
        StoredRow row;
        IndexRecord& r = row.record;
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
        r.index_size = static_cast<int32_t>(q.Int64(q.Column("index_size")));
        row.blob = q.Blob(q.Column("index_data"));
        rows.push_back(row);
    }
    return rows;
}

inline QString HexDigest(const QString& path, QCryptographicHash::Algorithm algorithm) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        return QString();
    }
    QCryptographicHash hash(algorithm);
    hash.addData(&f);
    return QString::fromLatin1(hash.result().toHex());
}

// A temporary folder with a database (table Data), a work folder, and the program log and my.log of
// the test inside it.
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
    // The messages of the program log after its time stamps, in order.
    QStringList LogMessages() const {
        QStringList messages;
        QFile f(LogPath());
        if (f.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : f.readAll().split('\n')) {
                if (line.size() > 20) {
                    messages.append(QString::fromUtf8(line.mid(20)));
                }
            }
        }
        return messages;
    }
    // The real tools, the built tag tool, copying on.
    WorkerSetup RealSetup() const {
        WorkerSetup s;
        s.workDir = WorkDir();
        s.soxPath = RealSox();
        s.ffmpegPath = RealFfmpeg();
        s.programDir = ProgramDir();
        s.copyToWorkDir = true;
        return s;
    }

    TempDir dir;
    TDataModule1 store;
};

}  // namespace tembrix::test
