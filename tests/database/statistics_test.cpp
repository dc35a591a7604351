// The statistics figures: an empty database, one of audio rows only, a mixed one, and the duration
// classes' labels.

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
           const QString& info, int64_t sourceBytes = 1, int64_t indexBytes = 2) {
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
    // The twelve totals' values, after checking their labels and order.
    static QList<qint64> Values(const DatabaseStatistics& s) {
        QList<qint64> values;
        QStringList labels;
        for (const auto& [label, value] : s.totals) {
            labels.append(label);
            values.append(value);
        }
        EXPECT_EQ(labels,
                  (QStringList{"Всего аудио дорожек", "Всего часов", "Аудио дорожек из аудио файлов",
                               "Аудио часов", "Аудио дорожек из видео файлов", "Видео часов",
                               "Суммарный объём исходников (МБ)", "Суммарный объём индексов  (МБ)",
                               "Содержат доп. информацию (аудио)", "Не содержат доп. информацию (аудио)",
                               "Содержат доп. информацию (видео)", "Не содержат доп. информацию (видео)"}));
        return values;
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    TDataModule1 store;
};

TEST_F(StatisticsTest, EmptyDatabaseGivesZerosAndNoGroupsAndKeepsTheCache) {
    const DatabaseStatistics s = Collect({});
    EXPECT_EQ(Values(s), QList<qint64>(12, 0));
    EXPECT_TRUE(s.filesByExtension.isEmpty());
    EXPECT_TRUE(s.hoursByExtension.isEmpty());
    EXPECT_TRUE(s.filesByTracks.isEmpty());
    EXPECT_TRUE(s.durationClasses.isEmpty());
    EXPECT_TRUE(messages.shown.isEmpty());
    ASSERT_TRUE(store.SetCacheSize(-3000));
    CollectStatistics(store);
    EXPECT_EQ(store.CacheSize(), -3000);
}

TEST_F(StatisticsTest, AudioOnlyDatabaseHasZeroVideoFigures) {
    const qint64 mb = 1024 * 1024;
    const DatabaseStatistics s = Collect({
        Row(kTypeAudio, "mp3", 45 * 60, 1, "Artist: A", 3 * mb, mb / 2),
        Row(kTypeAudio, "mp3", 2 * 3600, 2, "", 2 * mb, mb / 2),
        Row(kTypeAudio, "flac", 3599, 2, "Title: T", mb - 1, 1),
    });
    // Hours and megabytes are truncated: 2:45 + 0:59:59 of audio is 3 hours; 6 MB - 1 byte is 5 MB.
    EXPECT_EQ(Values(s), (QList<qint64>{3, 3, 3, 3, 0, 0, 5, 1, 2, 1, 0, 0}));
    EXPECT_EQ(s.filesByExtension, (Pairs{{"flac", 1}, {"mp3", 2}}));
    EXPECT_EQ(s.hoursByExtension, (Pairs{{"flac", 0}, {"mp3", 2}}));
    EXPECT_EQ(s.filesByTracks, (Pairs{{"1", 1}, {"2", 2}}));
    // 45 minutes in 40-50, 59:59 in 50-60, two hours in 120-130.
    EXPECT_EQ(s.durationClasses, (Classes{{4, 1}, {5, 1}, {12, 1}}));
}

TEST_F(StatisticsTest, VideoRowsAndInfoSplitByType) {
    const DatabaseStatistics s = Collect({
        Row(kTypeAudio, "ogg", 600, 1, "x"),
        Row(kTypeVideo, "mkv", 7200, 3, ""),
        Row(kTypeVideo, "mkv", 7199, 3, "y"),
        Row(kTypeVideo, "mp4", 599, 1, ""),
    });
    EXPECT_EQ(Values(s), (QList<qint64>{4, 4, 1, 0, 3, 4, 0, 0, 1, 0, 1, 2}));
    EXPECT_EQ(s.filesByExtension, (Pairs{{"mkv", 2}, {"mp4", 1}, {"ogg", 1}}));
    EXPECT_EQ(s.hoursByExtension, (Pairs{{"mkv", 3}, {"mp4", 0}, {"ogg", 0}}));
    EXPECT_EQ(s.filesByTracks, (Pairs{{"1", 2}, {"3", 2}}));
    EXPECT_EQ(s.durationClasses, (Classes{{0, 1}, {1, 1}, {11, 1}, {12, 1}}));
}

// Every query reads only the statistics index: a column missing from it sends a query back to reading
// each row's page, which for a large collection costs seconds.
TEST_F(StatisticsTest, EveryQueryReadsOnlyTheStatisticsIndex) {
    Collect({Row(kTypeAudio, "mp3", 60, 1, "x"), Row(kTypeVideo, "mkv", 60, 2, "")});
    SqliteConnection c;
    ASSERT_TRUE(c.Open(store.DatabasePath()));
    const QStringList queries = StatisticsQueries();
    ASSERT_EQ(queries.size(), 16);
    for (const QString& sql : queries) {
        SqliteStatement plan(c.Handle(), QStringLiteral("EXPLAIN QUERY PLAN ") + sql);
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

TEST(DurationClassLabel, TenMinuteSpans) {
    EXPECT_EQ(DurationClassLabel(0), QStringLiteral("0-10 минут"));
    EXPECT_EQ(DurationClassLabel(4), QStringLiteral("40-50 минут"));
    EXPECT_EQ(DurationClassLabel(12), QStringLiteral("120-130 минут"));
}

}  // namespace
}  // namespace tembrix
