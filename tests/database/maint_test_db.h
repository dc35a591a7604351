#pragma once
// Rows written straight into table Data, bypassing the store's duplicate refusal and its types, so that
// tests can build databases with any fault they need.

#include <QByteArray>
#include <QEventLoop>
#include <QString>
#include <QThread>
#include <QtEndian>
#include <vector>

#include "database/index_record.h"
#include "database/sqlite.h"
#include "util/synchronize.h"

namespace tembrix::test {

// Starts `worker` and serves its calls onto the main thread until it has finished.
inline void RunToEnd(QThread& worker) {
    QEventLoop loop;
    QObject::connect(&worker, &QThread::finished, &loop, &QEventLoop::quit);
    worker.start();
    loop.exec();
    worker.wait();
    WorkEndSeen(&worker);
}

inline QByteArray EnvelopeBytes(const std::vector<uint16_t>& values) {
    QByteArray bytes(static_cast<qsizetype>(values.size() * 2), '\0');
    for (size_t i = 0; i < values.size(); ++i) {
        qToLittleEndian<uint16_t>(values[i], bytes.data() + 2 * i);
    }
    return bytes;
}

// `count` values cycling through 0..999 (never negative as signed numbers).
inline QByteArray PlainEnvelope(int count) {
    std::vector<uint16_t> values(static_cast<size_t>(count));
    for (size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<uint16_t>(i % 1000);
    }
    return EnvelopeBytes(values);
}

// One row as stored. Defaults describe a healthy two-minute audio track with a 12,000-byte envelope.
struct RawRow {
    QString sourceSize = QStringLiteral("5000000");  // bound as text; INTEGER affinity makes it a number
    QString sha2 = QStringLiteral("sha");
    QString md5 = QStringLiteral("md5");
    int64_t duration = 120;
    QString sourcePath = QStringLiteral("/music/a.mp3");
    QString sourceFileName = QStringLiteral("a");
    QString extension = QStringLiteral("mp3");
    QString type = kTypeAudio;
    int64_t audioTrack = 0;
    int64_t allTracks = 1;
    QString created = QStringLiteral("01.02.2024 10:11:12");
    QString info = QStringLiteral("Artist: A");
    bool infoNull = false;
    int64_t indexSize = 12000;
    QByteArray indexData = PlainEnvelope(6000);
};

// Inserts `row`; returns its id, or -1 when the insert failed.
inline int64_t InsertRaw(sqlite3* db, const RawRow& r) {
    SqliteStatement q(db,
                      "INSERT INTO Data (source_size, sha2, md5, duration, source_path, source_file_name, "
                      "extension, type, audio_track, all_tracks, created, info, index_size, index_data) "
                      "VALUES (:SS, :SHA2, :MD5, :DUR, :PATH, :NAME, :EXT, :TYPE, :TRACK, :TRACKS, :CREATED, "
                      ":INFO, :ISIZE, :IDATA)");
    for (const auto& [name, value] : {std::pair{":SS", r.sourceSize},
                                      {":SHA2", r.sha2},
                                      {":MD5", r.md5},
                                      {":PATH", r.sourcePath},
                                      {":NAME", r.sourceFileName},
                                      {":EXT", r.extension},
                                      {":TYPE", r.type},
                                      {":CREATED", r.created}}) {
        q.Bind(name, value);
    }
    for (const auto& [name, value] : {std::pair{":DUR", r.duration},
                                      {":TRACK", r.audioTrack},
                                      {":TRACKS", r.allTracks},
                                      {":ISIZE", r.indexSize}}) {
        q.Bind(name, value);
    }
    if (!r.infoNull) {
        q.Bind(":INFO", r.info);
    }
    q.BindBlob(":IDATA", r.indexData.constData(), r.indexData.size());
    if (!q.Run()) {
        return -1;
    }
    SqliteStatement last(db, "SELECT last_insert_rowid()");
    return last.Next() ? last.Int64(0) : -1;
}

// A new database file with table Data and the given rows (ids 1, 2, … in order).
inline bool MakeDatabase(const QString& path, const std::vector<RawRow>& rows = {}) {
    SqliteConnection c;
    if (!c.Open(path) || !c.Exec(kCreateTableSql) || !c.Exec("BEGIN")) {
        return false;
    }
    for (const RawRow& r : rows) {
        if (InsertRaw(c.Handle(), r) < 0) {
            return false;
        }
    }
    return c.Exec("COMMIT");
}

}  // namespace tembrix::test
