#pragma once
// Databases with any fault, written past the store; and what the maintenance workers say.

#include <QByteArray>
#include <QEventLoop>
#include <QFile>
#include <QString>
#include <QStringList>
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

// One row as stored. Defaults describe a healthy two-minute audio track with a 12,000-byte envelope.
struct RawRow {
    QString sourceSize = QStringLiteral("5000000");  // bound as text; INTEGER affinity makes it a number
    QString sha2 = QStringLiteral("sha"), md5 = QStringLiteral("md5");
    int64_t duration = 120;
    QString sourcePath = QStringLiteral("/music/a.mp3"), sourceFileName = QStringLiteral("a");
    QString extension = QStringLiteral("mp3"), type = kTypeAudio;
    int64_t audioTrack = 0, allTracks = 1;
    QString created = QStringLiteral("01.02.2024 10:11:12"), info = QStringLiteral("Artist: A");
    bool infoNull = false;
    int64_t indexSize = 12000;
    QByteArray indexData = QByteArray(12000, '\x01');
};

// A healthy row of its own file "/music/<md5>.mp3", with `values` envelope values below 1000, by md5.
inline RawRow Row(const QString& md5, int values = 6000) {
    RawRow r;
    r.md5 = md5;
    r.sha2 = QStringLiteral("sha-") + md5;
    r.sourcePath = QStringLiteral("/music/") + md5 + QStringLiteral(".mp3");
    r.sourceFileName = md5;
    std::vector<uint16_t> envelope(static_cast<size_t>(values));
    for (size_t i = 0; i < envelope.size(); ++i) {
        envelope[i] = static_cast<uint16_t>((qChecksum(md5.toUtf8()) + i) % 1000);
    }
    r.indexData = EnvelopeBytes(envelope);
    r.indexSize = r.indexData.size();
    return r;
}

// A new database file with table Data and the given rows (ids 1, 2, … in order).
inline bool MakeDatabase(const QString& path, const std::vector<RawRow>& rows = {}) {
    SqliteConnection c;
    if (!c.Open(path) || !c.Exec(kCreateTableSql) || !c.Exec("BEGIN")) {
        return false;
    }
    for (const RawRow& r : rows) {
        SqliteStatement q(
            c, "INSERT INTO Data VALUES (NULL, :A, :B, :C, :D, :E, :F, :G, :H, :I, :J, :K, :L, :M, :N)");
        const auto n = [](int64_t v) { return QString::number(v); };
        const std::pair<const char*, QString> fields[] = {
            {":A", r.sourceSize},    {":B", r.sha2},           {":C", r.md5},       {":D", n(r.duration)},
            {":E", r.sourcePath},    {":F", r.sourceFileName}, {":G", r.extension}, {":H", r.type},
            {":I", n(r.audioTrack)}, {":J", n(r.allTracks)},   {":K", r.created},   {":M", n(r.indexSize)}};
        for (const auto& [name, value] : fields) {
            q.Bind(name, value);
        }
        if (!r.infoNull) {
            q.Bind(":L", r.info);
        }
        q.BindBlob(":N", r.indexData.constData(), r.indexData.size());
        if (!q.Run()) {
            return false;
        }
    }
    return c.Exec("COMMIT");
}

// Overwrites every page after the first two (the schema) with garbage: reads, VACUUM and DELETE then fail.
inline bool DamageRows(const QString& path) {
    QFile f(path);
    const qint64 bytes = f.size() - 2 * 4096;
    return f.open(QIODevice::ReadWrite) && bytes > 4096 && f.seek(2 * 4096) &&
           f.write(QByteArray(bytes, '\xA5')) == bytes;
}

// The first column of each row `sql` gives, read through a connection of its own (what is committed).
inline QStringList Texts(const QString& path, const QString& sql) {
    SqliteConnection c;
    QStringList texts;
    if (c.Open(path)) {
        for (SqliteStatement q(c, sql); q.Next();) {
            texts.append(q.Text(0));
        }
    }
    return texts;
}

// The import's closing lines.
inline QStringList ImportSummary(int processed, int total, int ignored, int deleted, int added) {
    return {QString(), QStringLiteral("Обработано записей: %1 из %2").arg(processed).arg(total),
            QStringLiteral("Проигнорировано дубликатов: %1").arg(ignored),
            QStringLiteral("Удалено записей: %1").arg(deleted),
            QStringLiteral("Добавлено новых записей: %1").arg(added)};
}

}  // namespace tembrix::test
