#pragma once
// Databases for the maintenance benchmarks: rows like the indexer writes them (48,000-byte envelopes,
// eight minutes of audio each), made straight through SQLite in one transaction. Large files are kept
// in the temporary folder between runs and made again only when missing or of another size.

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QString>
#include <QtEndian>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "database/index_record.h"
#include "database/sqlite.h"

namespace tembrix::bench {

constexpr int kEnvelopeBytes = 48000;

// The fastest repetition: on a machine shared with other work, the least disturbed one.
inline double Minimum(const std::vector<double>& v) {
    return v.empty() ? 0.0 : *std::min_element(v.begin(), v.end());
}

// The runs of a benchmark that compares a check reporting no row (every_row:0) with one reporting every
// row (every_row:1): milliseconds of real time, the fastest of five repetitions. Use with ->Apply().
inline void EveryRowRuns(benchmark::internal::Benchmark* b) {
    b->ArgName("every_row")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);
    b->ComputeStatistics("min", Minimum);
}

inline QString BenchPath(const QString& name) {
    return QDir::tempPath() + QStringLiteral("/tembrix-bench-") + name + QStringLiteral(".db");
}

// Row `key` of a collection: its md5 and sizes follow from `key`, so two databases made with the same
// keys hold duplicates of each other. Types, extensions, track counts and durations vary as in a real
// collection (four in five rows audio).
inline bool InsertRow(SqliteStatement& q, int key, const QByteArray& envelope) {
    static const char* const kExtensions[] = {"mp3", "flac", "ogg", "m4a", "wav", "mkv", "mp4"};
    const bool video = key % 5 == 4;
    const char* extension = video ? kExtensions[5 + key % 2] : kExtensions[key % 5];
    const QString md5 =
        QStringLiteral("%1").arg(static_cast<uint>(key) * 2654435761u, 32, 16, QLatin1Char('0'));
    q.Bind(":SOURCESIZE", static_cast<int64_t>(3000000 + key));
    q.Bind(":SHA2", QStringLiteral("%1").arg(key, 64, 16, QLatin1Char('0')));
    q.Bind(":MD5", md5);
    q.Bind(":DURATION", static_cast<int64_t>(60 + (key * 37) % 7200));
    q.Bind(":SOURCEPATH", QStringLiteral("/home/user/Музыка/Исполнитель %1/Альбом/%2.%3")
                              .arg(key % 300)
                              .arg(key)
                              .arg(QLatin1String(extension)));
    q.Bind(":SOURCEFILENAME", QString::number(key));
    q.Bind(":EXTENSION", QString::fromLatin1(extension));
    q.Bind(":TYPE", video ? kTypeVideo : kTypeAudio);
    q.Bind(":AUDIOTRACK", static_cast<int64_t>(0));
    q.Bind(":ALLTRACKS", static_cast<int64_t>(video ? 1 + key % 3 : 1));
    q.Bind(":CREATED", QStringLiteral("01.02.2024 10:11:12"));
    q.Bind(":INFO",
           key % 3 == 0 ? QString() : QStringLiteral("Artist: Исполнитель\nTitle: Песня %1\n").arg(key));
    q.Bind(":INDEXSIZE", static_cast<int64_t>(envelope.size()));
    q.BindBlob(":INDEXDATA", envelope.constData(), envelope.size());
    return q.Run();
}

// Makes `path` afresh with table Data, its side indexes and one row for each key in [first, last).
inline bool MakeCollection(const QString& path, int first, int last) {
    QFile::remove(path);
    SqliteConnection c;
    if (!c.Open(path) || !c.Exec(kCreateTableSql) || !c.Exec(kCreateTrackIndexSql) ||
        !c.Exec(kCreatePathIndexSql) || !c.Exec(kCreateStatsIndexSql) || !c.Exec("BEGIN")) {
        return false;
    }
    QByteArray envelope(kEnvelopeBytes, '\0');
    QRandomGenerator random(7);
    for (int i = 0; i < kEnvelopeBytes / 2; ++i) {
        qToLittleEndian<uint16_t>(static_cast<uint16_t>(random.bounded(20000)), envelope.data() + 2 * i);
    }
    for (int key = first; key < last; ++key) {
        qToLittleEndian<uint32_t>(static_cast<uint32_t>(key), envelope.data());  // no two blobs alike
        SqliteStatement insert(c, InsertRowSql(true), SqliteStatement::Prepared::Kept);
        if (!InsertRow(insert, key, envelope)) {
            return false;
        }
    }
    return c.Exec("COMMIT");
}

// The number of rows of `path`, or -1.
inline int64_t RowCount(const QString& path) {
    if (!QFile::exists(path)) {
        return -1;
    }
    SqliteConnection c;
    if (!c.Open(path)) {
        return -1;
    }
    SqliteStatement q(c, "SELECT count(*) FROM Data");
    return q.Next() ? q.Int64(0) : -1;
}

// `path` with the rows of keys [first, last), made unless a file of that many rows is there already.
inline QString Collection(const QString& name, int first, int last) {
    const QString path = BenchPath(name);
    if (RowCount(path) != last - first) {
        std::fprintf(stderr, "making %s (%d rows)...\n", path.toUtf8().constData(), last - first);
        if (!MakeCollection(path, first, last)) {
            std::fprintf(stderr, "could not make %s\n", path.toUtf8().constData());
            return {};
        }
    }
    return path;
}

// 100,000 rows with 1,200-byte envelopes, all without tag text (`lackingTags`: the check's empty-fields
// pass reports each) or all with it (it reports none); otherwise alike. Kept between runs.
inline QString TagCollection(bool lackingTags) {
    constexpr int kRows = 100000;
    const QString path =
        BenchPath(lackingTags ? QStringLiteral("check-no-tags-100k") : QStringLiteral("check-tags-100k"));
    if (RowCount(path) == kRows) {
        return path;
    }
    std::fprintf(stderr, "making %s...\n", path.toUtf8().constData());
    QFile::remove(path);
    SqliteConnection c;
    if (!c.Open(path) || !c.Exec(kCreateTableSql) || !c.Exec("BEGIN")) {
        return {};
    }
    const QByteArray envelope(1200, '\x10');  // above the short-index limit: no other finding
    for (int key = 0; key < kRows; ++key) {
        SqliteStatement insert(c, InsertRowSql(true), SqliteStatement::Prepared::Kept);
        if (!InsertRow(insert, key, envelope)) {
            return {};
        }
    }
    const char* info = lackingTags ? "UPDATE Data SET info = ''" : "UPDATE Data SET info = 'Artist: A'";
    if (!c.Exec(info) || !c.Exec("COMMIT") || !c.Exec(kCreateTrackIndexSql) || !c.Exec(kCreatePathIndexSql) ||
        !c.Exec(kCreateStatsIndexSql)) {
        return {};
    }
    return path;
}

}  // namespace tembrix::bench
