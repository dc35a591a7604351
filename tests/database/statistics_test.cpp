// The statistics figures with their labels, and the rows that show one record.

#include <gtest/gtest.h>

#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "database/record_text.h"
#include "database/statistics.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RawRow;
using Pairs = QList<QPair<QString, qint64>>;

RawRow Row(const QString& type, const QString& extension, int64_t seconds, int64_t tracks,
           const QString& info, int64_t sourceBytes = 0, int64_t indexBytes = 2) {
    RawRow r;  // the figures read index_size, never the blob
    std::tie(r.type, r.extension, r.duration, r.allTracks, r.info, r.sourceSize, r.indexSize, r.indexData) =
        std::tuple(type, extension, seconds, tracks, info, QString::number(sourceBytes), indexBytes,
                   QByteArray(4, '\0'));
    return r;
}

// Catches a figure of the wrong type or label, hours or megabytes rounded instead of cut, a group missing or
// misordered, a duration class off by one at its edges, and the cache size the figures raise left raised.
TEST(Statistics, FiguresSplitByTypeAndTruncate) {
    test::TempDir dir;
    test::RecordingMessages messages;
    TDataModule1 store;
    const qint64 mb = 1024 * 1024;
    const QString path = dir.File(QStringLiteral("stats.db"));
    ASSERT_TRUE(test::MakeDatabase(
                    path, {Row(kTypeAudio, "mp3", 45 * 60, 1, "Artist: A", 3 * mb, mb / 2),
                           Row(kTypeAudio, "mp3", 2 * 3600, 2, "", 2 * mb, mb / 2),
                           Row(kTypeAudio, "flac", 3599, 2, "Title: T", mb - 1, 1),
                           Row(kTypeAudio, "ogg", 600, 1, "x"), Row(kTypeVideo, "mkv", 7200, 3, ""),
                           Row(kTypeVideo, "mkv", 7199, 3, "y"), Row(kTypeVideo, "mp4", 599, 1, "")}) &&
                store.Connect(path) && store.SetCacheSize(-3000));
    const DatabaseStatistics s = CollectStatistics(store);
    EXPECT_TRUE(store.CacheSize() == -3000 && messages.shown.isEmpty());
    // Hours and megabytes are truncated: 3:54:59 of audio is 3 hours, 6 MB - 1 byte of sources is 5 MB.
    QStringList totals;
    for (const auto& [label, value] : s.totals) {
        totals << label + u'=' + QString::number(value);
    }
    EXPECT_EQ(totals.join(u'|'),
              "Всего аудио дорожек=7|Всего часов=8|Аудио дорожек из аудио файлов=4|Аудио часов=3|"
              "Аудио дорожек из видео файлов=3|Видео часов=4|Суммарный объём исходников (МБ)=5|"
              "Суммарный объём индексов  (МБ)=1|Содержат доп. информацию (аудио)=3|"
              "Не содержат доп. информацию (аудио)=1|Содержат доп. информацию (видео)=1|"
              "Не содержат доп. информацию (видео)=2");
    EXPECT_EQ(s.filesByExtension, (Pairs{{"flac", 1}, {"mkv", 2}, {"mp3", 2}, {"mp4", 1}, {"ogg", 1}}));
    EXPECT_EQ(s.hoursByExtension, (Pairs{{"flac", 0}, {"mkv", 3}, {"mp3", 2}, {"mp4", 0}, {"ogg", 0}}));
    EXPECT_EQ(s.filesByTracks, (Pairs{{"1", 3}, {"2", 2}, {"3", 2}}));
    // Ten-minute classes: 9:59 in 0, 10:00 in 1, 59:59 in 5, 1:59:59 in 11, two hours in 12.
    EXPECT_EQ(s.durationClasses,
              (QList<QPair<qint64, qint64>>{{0, 1}, {1, 1}, {4, 1}, {5, 1}, {11, 1}, {12, 2}}));
    EXPECT_EQ(DurationClassLabel(12), QStringLiteral("120-130 минут"));
}

// Catches a record row with the wrong label or order, a 0-based track number, or sizes not grouped.
TEST(RecordRows, LabelEveryFieldInTheirOrder) {
    IndexRecord r;
    std::tie(r.source_file_name, r.source_path, r.source_size, r.sha2, r.md5, r.duration) =
        std::tuple("film", "/m/film.mkv", 1234567, "sha", "md", 3725);
    std::tie(r.extension, r.type, r.audio_track, r.all_tracks, r.created, r.index_size) =
        std::tuple("mkv", kTypeVideo, 1, 3, "05.06.2023", 12000);
    EXPECT_EQ(RecordRows(r),
              (QStringList{"Имя исходника=film", "Исходный файл=/m/film.mkv", "Размер исходника=1 234 567",
                           "SHA2 хэш=sha", "MD5 хэш=md", "Продолжительность=1:02:05 (3 725 сек)",
                           "Расширение=mkv", "Тип=видео", "Номер аудио дорожки=2", "Всего аудио дорожек=3",
                           "Дата создания=05.06.2023", "Размер индексного файла=12 000"}));
}

}  // namespace
}  // namespace tembrix
