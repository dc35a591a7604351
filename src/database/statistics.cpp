#include "database/statistics.h"

#include <QStringList>

#include "database/index_record.h"
#include "database/index_store.h"

namespace tembrix {

namespace {

struct Total {
    const char* label;
    const char* sql;
};

const Total kTotals[] = {
    {"Всего аудио дорожек", "SELECT COUNT(*) AS res FROM data"},
    {"Всего часов", "SELECT SUM(duration) / 3600 AS res FROM data"},
    {"Аудио дорожек из аудио файлов",
     "SELECT COUNT(*) AS res FROM data WHERE type = '" TEMBRIX_TYPE_AUDIO "'"},
    {"Аудио часов", "SELECT SUM(duration) / 3600 AS res FROM data WHERE type = '" TEMBRIX_TYPE_AUDIO "'"},
    {"Аудио дорожек из видео файлов",
     "SELECT COUNT(*) AS res FROM data WHERE type = '" TEMBRIX_TYPE_VIDEO "'"},
    {"Видео часов", "SELECT SUM(duration) / 3600 AS res FROM data WHERE type = '" TEMBRIX_TYPE_VIDEO "'"},
    {"Суммарный объём исходников (МБ)", "SELECT SUM(source_size) / (1024 * 1024) AS res FROM data"},
    {"Суммарный объём индексов  (МБ)", "SELECT SUM(index_size) / (1024 * 1024) AS res FROM data"},
    {"Содержат доп. информацию (аудио)",
     "SELECT COUNT(*) AS res FROM data WHERE info != '' AND type = '" TEMBRIX_TYPE_AUDIO "'"},
    {"Не содержат доп. информацию (аудио)",
     "SELECT COUNT(*) AS res FROM data WHERE info = '' AND type = '" TEMBRIX_TYPE_AUDIO "'"},
    {"Содержат доп. информацию (видео)",
     "SELECT COUNT(*) AS res FROM data WHERE info != '' AND type = '" TEMBRIX_TYPE_VIDEO "'"},
    {"Не содержат доп. информацию (видео)",
     "SELECT COUNT(*) AS res FROM data WHERE info = '' AND type = '" TEMBRIX_TYPE_VIDEO "'"},
};

constexpr char kFilesByExtensionSql[] =
    "SELECT extension AS par, count(*) AS val FROM data GROUP BY extension";
constexpr char kHoursByExtensionSql[] =
    "SELECT extension AS par, ROUND(SUM(duration) / 3600) AS val FROM data GROUP BY extension";
constexpr char kFilesByTracksSql[] =
    "SELECT all_tracks AS par, COUNT(*) AS val FROM data GROUP BY all_tracks ORDER BY all_tracks";
constexpr char kDurationClassesSql[] =
    "SELECT CAST(ROUND(duration / (60 * 10)) AS INTEGER) AS par, COUNT(*) AS val FROM data GROUP BY par "
    "ORDER "
    "BY par";

// Page cache for the statistics' table scans, in KiB: the pages of about 100,000 rows that lie beyond
// the memory-mapped part of the file.
constexpr int64_t kScanCacheKiB = 512 * 1024;

// The rows of one pair query; the lists of QueryPairs are parallel.
QList<QPair<QString, qint64>> Pairs(TDataModule1& store, const char* sql) {
    QStringList params;
    QStringList values;
    store.QueryPairs(QString::fromUtf8(sql), params, values);
    QList<QPair<QString, qint64>> pairs;
    for (qsizetype i = 0; i < params.size() && i < values.size(); ++i) {
        pairs.append({params[i], values[i].toLongLong()});
    }
    return pairs;
}

}  // namespace

DatabaseStatistics CollectStatistics(TDataModule1& store) {
    // The queries read the statistics index. Where a read-only file has none, they scan the whole table,
    // and a table of large envelopes keeps about one row per page: with SQLite's small default cache every
    // scan would read all those pages again; a larger cache for the duration keeps them after the first scan.
    // SQLite takes the memory only as pages arrive and gives it back when the limit is restored.
    const int64_t cacheSize = store.CacheSize();
    if (cacheSize != 0) {
        store.SetCacheSize(-kScanCacheKiB);
    }
    DatabaseStatistics s;
    for (const Total& t : kTotals) {
        s.totals.append({QString::fromUtf8(t.label), store.QueryScalar(QString::fromUtf8(t.sql))});
    }
    s.filesByExtension = Pairs(store, kFilesByExtensionSql);
    s.hoursByExtension = Pairs(store, kHoursByExtensionSql);
    s.filesByTracks = Pairs(store, kFilesByTracksSql);
    for (const auto& [par, val] : Pairs(store, kDurationClassesSql)) {
        s.durationClasses.append({par.toLongLong(), val});
    }
    if (cacheSize != 0) {
        store.SetCacheSize(cacheSize);
    }
    return s;
}

QStringList StatisticsQueries() {
    QStringList queries;
    for (const Total& t : kTotals) {
        queries.append(QString::fromUtf8(t.sql));
    }
    for (const char* sql :
         {kFilesByExtensionSql, kHoursByExtensionSql, kFilesByTracksSql, kDurationClassesSql}) {
        queries.append(QString::fromUtf8(sql));
    }
    return queries;
}

QString DurationClassLabel(qint64 c) {
    return QStringLiteral("%1-%2 минут").arg(10 * c).arg(10 * c + 10);
}

}  // namespace tembrix
