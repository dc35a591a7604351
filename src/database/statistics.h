#pragma once
// The statistics of the main index database that the statistics window shows: twelve totals and the
// grouped figures of its charts, each computed afresh by an SQL aggregate query through the store.

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace tembrix {

class TDataModule1;

struct DatabaseStatistics {
    // The twelve totals in display order: the label without its trailing "=", and the value (0 where the
    // query failed or its sum was NULL, as for an empty table).
    QList<QPair<QString, qint64>> totals;
    // Rows of the grouped queries in result order: the group (`par`) and its value (`val`).
    QList<QPair<QString, qint64>> filesByExtension;  // extension, number of rows
    QList<QPair<QString, qint64>> hoursByExtension;  // extension, whole hours
    QList<QPair<QString, qint64>> filesByTracks;     // all_tracks, number of rows
    // Ten-minute duration class c (durations 10·c to 10·c + 10 minutes), number of rows; ascending.
    QList<QPair<qint64, qint64>> durationClasses;
};

// Runs the twelve scalar queries and the four grouped queries through QueryScalar / QueryPairs, in the
// window's order. A grouped query that fails leaves its list with the rows read before. Takes the
// store's busy flag once per query; any thread.
DatabaseStatistics CollectStatistics(TDataModule1& store);

// The sixteen statements CollectStatistics runs, in its order: the twelve totals, then the grouped queries.
QStringList StatisticsQueries();

// The label of ten-minute class `c`: "20-30 минут" for class 2.
QString DurationClassLabel(qint64 c);

}  // namespace tembrix
