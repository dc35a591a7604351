#pragma once
// Databases for the maintenance window tests, and records with envelopes of a chosen length.

#include <cstdint>
#include <functional>
#include <vector>

#include "database/index_store.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix::test {

// One row of file /media/<name>.<extension>; rows of one name and duration share their md5.
inline IndexRecord MakeRecord(const QString& name, const QString& extension, int32_t durationSeconds,
                              int32_t track = 0, int32_t tracks = 1, const QString& info = QString()) {
    IndexRecord r;
    r.source_file_name = name;
    r.extension = extension;
    const bool video = QStringList{"mkv", "mp4", "avi", "mpg"}.contains(extension);
    r.type = video ? kTypeVideo : kTypeAudio;
    r.source_path = QStringLiteral("/media/") + name + QLatin1Char('.') + extension;
    r.source_size = 1000 + durationSeconds;
    r.md5 = QStringLiteral("md5-%1-%2").arg(name).arg(r.source_size);
    r.sha2 = QStringLiteral("sha2-%1").arg(name);
    r.duration = durationSeconds;
    r.audio_track = track;
    r.all_tracks = tracks;
    r.created = QStringLiteral("01.02.2024 3:04:05");
    r.info = info;
    return r;
}

// `count` envelope values f(0), f(1), ...
inline std::vector<uint16_t> Envelope(int32_t count, const std::function<uint16_t(int32_t)>& f) {
    std::vector<uint16_t> values;
    for (int32_t k = 0; k < count; ++k) {
        values.push_back(f(k));
    }
    return values;
}

class TestDatabase {
public:
    explicit TestDatabase(const QString& name = QStringLiteral("index.db")) : path(dir.File(name)) {
        ok = store.Connect(path) && store.CreateTable();
    }
    // Inserts `record` with `values` as its envelope; the store's result.
    int Add(IndexRecord record, const std::vector<uint16_t>& values = std::vector<uint16_t>(4, 100)) {
        record.index_size = static_cast<int32_t>(values.size() * 2);
        return store.InsertRecordWithIndex(record, values.data());
    }
    int64_t Rows() { return store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM data")); }

    RecordingMessages messages;  // first, so that a failed Connect is recorded
    TempDir dir;
    QString path;
    TDataModule1 store;
    bool ok = false;
};

}  // namespace tembrix::test
