// The statistics figures (their labels are checked by the command-line stats test).

#include <gtest/gtest.h>

#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "database/sqlite.h"
#include "database/statistics.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RawRow;
using Pairs = QList<QPair<QString, qint64>>;
using Classes = QList<QPair<qint64, qint64>>;

RawRow Row(const QString& type, const QString& extension, int64_t seconds, int64_t tracks,
           const QString& info, int64_t sourceBytes = 0, int64_t indexBytes = 2) {
    RawRow r;
    r.type = type;
    r.extension = extension;
    r.duration = seconds;
    r.allTracks = tracks;
    r.info = info;
    r.sourceSize = QString::number(sourceBytes);
    r.indexSize = indexBytes;
    r.indexData = QByteArray(4, '\0');  // the figures read index_size, never the blob
    return r;
}

class StatisticsTest : public ::testing::Test {
protected:
    DatabaseStatistics Collect(const std::vector<RawRow>& rows) {
        const QString path = dir.File(QStringLiteral("stats.db"));
        EXPECT_TRUE(test::MakeDatabase(path, rows));
        EXPECT_TRUE(store.Connect(path));
        return CollectStatistics(store);
    }
    static QList<qint64> Values(const DatabaseStatistics& s) {
        QList<qint64> values;
        for (const auto& total : s.totals) {
            values.append(total.second);
        }
        return values;
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    TDataModule1 store;
};

// Catches a NULL sum read as garbage or told as an error, and the cache size the figures raise left raised.
TEST_F(StatisticsTest, EmptyDatabaseGivesZerosAndNoGroupsAndKeepsTheCache) {
    const DatabaseStatistics s = Collect({});
    EXPECT_EQ(Values(s), QList<qint64>(12, 0));
    EXPECT_TRUE(s.filesByExtension.isEmpty() && s.hoursByExtension.isEmpty() && s.filesByTracks.isEmpty() &&
                s.durationClasses.isEmpty());
    EXPECT_TRUE(messages.shown.isEmpty());
    ASSERT_TRUE(store.SetCacheSize(-3000));
    CollectStatistics(store);
    EXPECT_EQ(store.CacheSize(), -3000);
}

// Catches a figure of the wrong type, hours or megabytes rounded instead of cut, a group missing or
// misordered, and a duration class off by one at its edges.
TEST_F(StatisticsTest, FiguresSplitByTypeAndTruncate) {
    const qint64 mb = 1024 * 1024;
    const DatabaseStatistics s = Collect({
        Row(kTypeAudio, "mp3", 45 * 60, 1, "Artist: A", 3 * mb, mb / 2),
        Row(kTypeAudio, "mp3", 2 * 3600, 2, "", 2 * mb, mb / 2),
        Row(kTypeAudio, "flac", 3599, 2, "Title: T", mb - 1, 1),
        Row(kTypeAudio, "ogg", 600, 1, "x"),
        Row(kTypeVideo, "mkv", 7200, 3, ""),
        Row(kTypeVideo, "mkv", 7199, 3, "y"),
        Row(kTypeVideo, "mp4", 599, 1, ""),
    });
    // Hours and megabytes are truncated: 3:54:59 of audio is 3 hours, 6 MB - 1 byte of sources is 5 MB.
    EXPECT_EQ(Values(s), (QList<qint64>{7, 8, 4, 3, 3, 4, 5, 1, 3, 1, 1, 2}));
    EXPECT_EQ(s.filesByExtension, (Pairs{{"flac", 1}, {"mkv", 2}, {"mp3", 2}, {"mp4", 1}, {"ogg", 1}}));
    EXPECT_EQ(s.hoursByExtension, (Pairs{{"flac", 0}, {"mkv", 3}, {"mp3", 2}, {"mp4", 0}, {"ogg", 0}}));
    EXPECT_EQ(s.filesByTracks, (Pairs{{"1", 3}, {"2", 2}, {"3", 2}}));
    // Ten-minute classes: 9:59 in 0, 10:00 in 1, 59:59 in 5, 1:59:59 in 11, two hours in 12.
    EXPECT_EQ(s.durationClasses, (Classes{{0, 1}, {1, 1}, {4, 1}, {5, 1}, {11, 1}, {12, 2}}));
}

// Catches a query that reads the rows instead of the statistics index alone (seconds on a large collection).
TEST_F(StatisticsTest, EveryQueryReadsOnlyTheStatisticsIndex) {
    Collect({Row(kTypeAudio, "mp3", 60, 1, "x"), Row(kTypeVideo, "mkv", 60, 2, "")});
    SqliteConnection c;
    ASSERT_TRUE(c.Open(store.DatabasePath()));
    const QStringList queries = StatisticsQueries();
    ASSERT_EQ(queries.size(), 16);
    for (const QString& sql : queries) {
        SqliteStatement plan(c, QStringLiteral("EXPLAIN QUERY PLAN ") + sql);
        int steps = 0;
        while (plan.Next()) {
            const QString step = plan.Text(3);
            if (step.startsWith(QStringLiteral("SCAN")) || step.startsWith(QStringLiteral("SEARCH"))) {
                ++steps;
                EXPECT_TRUE(step.contains(QStringLiteral("COVERING INDEX idx_data_")))
                    << sql.toStdString() << ": " << step.toStdString();
            }
        }
        EXPECT_EQ(steps, 1) << sql.toStdString();
    }
}

}  // namespace
}  // namespace tembrix
