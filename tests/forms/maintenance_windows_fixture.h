#pragma once
// Databases made by the window tests: a connected store with table Data in a temporary folder, and
// records with envelopes of a chosen length.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <cstdint>
#include <functional>
#include <vector>

#include "database/index_store.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"
#include "util/synchronize.h"

namespace tembrix::test {

// One row: `name` is the file name without extension; the md5 is derived from name and size, so rows of
// one file (same name and size) share it.
inline IndexRecord MakeRecord(const QString& name, const QString& extension, int32_t durationSeconds,
                              int32_t track = 0, int32_t tracks = 1, const QString& info = QString()) {
    IndexRecord r;
    r.source_file_name = name;
    r.extension = extension;
    static const QStringList kVideo = {QStringLiteral("mkv"), QStringLiteral("mp4"), QStringLiteral("avi"),
                                       QStringLiteral("mpg")};
    r.type = kVideo.contains(extension) ? kTypeVideo : kTypeAudio;
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

// Envelope values v(k) = f(k), `count` of them.
inline std::vector<uint16_t> Envelope(int32_t count, const std::function<uint16_t(int32_t)>& f) {
    std::vector<uint16_t> values(static_cast<size_t>(count));
    for (int32_t k = 0; k < count; ++k) {
        values[static_cast<size_t>(k)] = f(k);
    }
    return values;
}

// A connected store over a new database with the table.
class TestDatabase {
public:
    explicit TestDatabase(const QString& name = QStringLiteral("index.db")) : path(dir.File(name)) {
        ok = store.Connect(path) && store.CreateTable();
    }
    // Inserts `record` with `values` as its envelope (index_size set to match); the store's result.
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

// Delivers events and workers' calls until `done` holds or `ms` pass; the final value of `done`.
inline bool WaitFor(const std::function<bool()>& done, int ms = 10000) {
    QDeadlineTimer deadline(ms);
    while (!done()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        QThread::msleep(2);
    }
    return true;
}

}  // namespace tembrix::test
