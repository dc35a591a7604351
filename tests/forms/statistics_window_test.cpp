// The statistics window on databases made by the test: the twelve totals, the fixed-colour type pies,
// the grouped pies with their palette colours (reused after 100 groups), the duration bars, and a fresh
// rebuild at every show. The palette itself: its size, its range and the order the numbers are drawn in.

#include <gtest/gtest.h>

#include <QBarCategoryAxis>
#include <QBarSet>
#include <QPieSeries>
#include <QPieSlice>
#include <QStackedBarSeries>
#include <QTableWidget>

#include "forms/statistics_window.h"
#include "maintenance_windows_fixture.h"

namespace tembrix::test {
namespace {

class StatisticsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(db.ok); }

    // The value-list row `label` as a number (-1 when absent).
    static qint64 Total(const TForm10& w, const QString& label) {
        const QTableWidget* t = w.ValueListEditor1();
        for (int row = 0; row < t->rowCount(); ++row) {
            if (t->item(row, 0)->text() == label) {
                return t->item(row, 1)->text().toLongLong();
            }
        }
        return -1;
    }
    struct Slice {
        QString label;
        qint64 value;
        QColor colour;
        bool operator==(const Slice&) const = default;
    };
    static QList<Slice> Slices(const QPieSeries* series) {
        QList<Slice> slices;
        for (QPieSlice* s : series->slices()) {
            slices.append({s->label(), static_cast<qint64>(s->value()), s->color()});
        }
        return slices;
    }

    TestDatabase db;
};

const QColor kRed(255, 0, 0), kGreen(0, 128, 0), kYellow(255, 255, 0), kBlue(0, 0, 255);

TEST_F(StatisticsTest, AudioOnlyDatabaseGivesZeroVideo) {
    ASSERT_EQ(
        db.Add(MakeRecord(QStringLiteral("a"), QStringLiteral("mp3"), 45 * 60, 0, 1, QStringLiteral("tags"))),
        0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b"), QStringLiteral("flac"), 2 * 3600)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("c"), QStringLiteral("mp3"), 599)), 0);

    TForm10 w(db.store);
    w.show();
    EXPECT_EQ(w.windowTitle(), QStringLiteral("База данных: ") + db.path);
    ASSERT_EQ(w.ValueListEditor1()->rowCount(), 12);
    EXPECT_EQ(Total(w, QStringLiteral("Всего аудио дорожек")), 3);
    EXPECT_EQ(Total(w, QStringLiteral("Всего часов")), (45 * 60 + 2 * 3600 + 599) / 3600);
    EXPECT_EQ(Total(w, QStringLiteral("Аудио дорожек из видео файлов")), 0);
    EXPECT_EQ(Total(w, QStringLiteral("Видео часов")), 0);
    EXPECT_EQ(Total(w, QStringLiteral("Содержат доп. информацию (видео)")), 0);
    EXPECT_EQ(Total(w, QStringLiteral("Не содержат доп. информацию (видео)")), 0);
    EXPECT_EQ(Total(w, QStringLiteral("Суммарный объём индексов  (МБ)")), 0);

    EXPECT_EQ(Slices(w.PieSeries(1)),
              (QList<Slice>{{QStringLiteral("Аудио"), 3, kRed}, {QStringLiteral("Видео"), 0, kGreen}}));
    EXPECT_EQ(Slices(w.PieSeries(2)),
              (QList<Slice>{{QStringLiteral("Аудио"), 2, kRed}, {QStringLiteral("Видео"), 0, kGreen}}));
    EXPECT_EQ(Slices(w.PieSeries(3)), (QList<Slice>{{QStringLiteral("Аудио +"), 1, kRed},
                                                    {QStringLiteral("Аудио -"), 2, kYellow},
                                                    {QStringLiteral("Видео +"), 0, kGreen},
                                                    {QStringLiteral("Видео -"), 0, kBlue}}));

    // The duration bars: 9:59 → 0-10, 45 minutes → 40-50, two hours → 120-130; one bar per class,
    // each in its palette colour.
    const QStringList expectedClasses = {QStringLiteral("0-10 минут"), QStringLiteral("40-50 минут"),
                                         QStringLiteral("120-130 минут")};
    EXPECT_EQ(w.Series1Axis()->categories(), expectedClasses);
    const QList<QBarSet*> sets = w.Series1()->barSets();
    ASSERT_EQ(sets.size(), 3);
    for (int i = 0; i < sets.size(); ++i) {
        EXPECT_EQ(sets[i]->label(), expectedClasses[i]);
        EXPECT_EQ(sets[i]->color(), w.Palette()[i]);
        for (int j = 0; j < sets[i]->count(); ++j) {
            EXPECT_EQ(sets[i]->at(j), i == j ? 1.0 : 0.0);
        }
    }
}

TEST_F(StatisticsTest, MixedDatabaseFillsTheTypePiesAndTheGroups) {
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a"), QStringLiteral("mp3"), 3600, 0, 1, QStringLiteral("t"))),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b"), QStringLiteral("mp3"), 3600)), 0);
    for (int track = 0; track < 2; ++track) {
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("v"), QStringLiteral("mkv"), 7200, track, 2,
                                    track == 0 ? QStringLiteral("t") : QString())),
                  0);
    }
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("w"), QStringLiteral("mp4"), 1800, 0, 1, QStringLiteral("t"))),
              0);

    TForm10 w(db.store);
    w.show();
    EXPECT_EQ(Total(w, QStringLiteral("Аудио дорожек из видео файлов")), 3);
    EXPECT_EQ(Total(w, QStringLiteral("Видео часов")), (2 * 7200 + 1800) / 3600);
    EXPECT_EQ(Slices(w.PieSeries(1)),
              (QList<Slice>{{QStringLiteral("Аудио"), 2, kRed}, {QStringLiteral("Видео"), 3, kGreen}}));
    EXPECT_EQ(Slices(w.PieSeries(3)), (QList<Slice>{{QStringLiteral("Аудио +"), 1, kRed},
                                                    {QStringLiteral("Аудио -"), 1, kYellow},
                                                    {QStringLiteral("Видео +"), 2, kGreen},
                                                    {QStringLiteral("Видео -"), 1, kBlue}}));

    // Files by number of tracks: one group per all_tracks value, in order, coloured from the palette.
    const QList<QColor>& p = w.Palette();
    EXPECT_EQ(Slices(w.PieSeries(6)),
              (QList<Slice>{{QStringLiteral("1"), 3, p[0]}, {QStringLiteral("2"), 2, p[1]}}));
    // Files by extension: the counts per extension add up to every row.
    qint64 files = 0;
    for (const Slice& s : Slices(w.PieSeries(4))) {
        files += s.value;
    }
    EXPECT_EQ(files, 5);
    EXPECT_EQ(w.PieSeries(4)->count(), 3);
}

TEST_F(StatisticsTest, GroupsBeyondTheHundredthReuseThePalette) {
    ASSERT_TRUE(db.store.BeginTransaction());
    for (int i = 0; i < 105; ++i) {
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("f%1").arg(i),
                                    QStringLiteral("x%1").arg(i, 3, 10, QLatin1Char('0')), 60 * (i + 1))),
                  0);
    }
    ASSERT_TRUE(db.store.CommitTransaction());
    TForm10 w(db.store);
    w.show();
    const QList<QPieSlice*> slices = w.PieSeries(4)->slices();
    ASSERT_EQ(slices.size(), 105);
    ASSERT_EQ(w.Palette().size(), kPaletteSize);
    for (int i = 0; i < slices.size(); ++i) {
        EXPECT_EQ(slices[i]->color(), w.Palette()[i % kPaletteSize]) << i;
    }
    EXPECT_EQ(slices[100]->color(), slices[0]->color());
    // Ten-minute classes of 1…105 minutes: 11 bars, also coloured by position.
    EXPECT_EQ(w.Series1()->count(), 11);
}

TEST_F(StatisticsTest, EveryShowRebuildsFromFreshQueries) {
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a"), QStringLiteral("mp3"), 100)), 0);
    TForm10 w(db.store);
    w.show();
    EXPECT_EQ(Total(w, QStringLiteral("Всего аудио дорожек")), 1);
    w.close();
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b"), QStringLiteral("ogg"), 100)), 0);
    w.show();
    EXPECT_EQ(w.ValueListEditor1()->rowCount(), 12);
    EXPECT_EQ(Total(w, QStringLiteral("Всего аудио дорожек")), 2);
    EXPECT_EQ(w.PieSeries(1)->count(), 2);
    EXPECT_EQ(w.PieSeries(4)->count(), 2);
    EXPECT_EQ(w.Series1()->count(), 1);
}

TEST_F(StatisticsTest, EmptyDatabaseShowsZerosAndEmptyGroups) {
    TForm10 w(db.store);
    w.show();
    ASSERT_EQ(w.ValueListEditor1()->rowCount(), 12);
    for (int row = 0; row < 12; ++row) {
        EXPECT_EQ(w.ValueListEditor1()->item(row, 1)->text(), QStringLiteral("0")) << row;
    }
    for (int n = 4; n <= 6; ++n) {
        EXPECT_EQ(w.PieSeries(n)->count(), 0);
    }
    EXPECT_EQ(w.Series1()->count(), 0);
}

TEST(PaletteTest, DrawsBlueGreenRedModulo255) {
    quint32 counter = 0;
    const QList<QColor> palette = MakePalette([&counter] { return counter++; });
    ASSERT_EQ(palette.size(), kPaletteSize);
    EXPECT_EQ(palette[0], QColor(2, 1, 0));
    EXPECT_EQ(palette[1], QColor(5, 4, 3));

    const quint32 sequence[] = {254, 255, 256, 0xFFFFFFFFu};
    int next = 0;
    const QList<QColor> wrapped = MakePalette([&] { return sequence[next++ % 4]; });
    EXPECT_EQ(wrapped[0], QColor(1, 0, 254));  // blue 254, green 255 % 255, red 256 % 255
    for (const QColor& c : wrapped) {
        EXPECT_LE(std::max({c.red(), c.green(), c.blue()}), 254);
    }
    EXPECT_EQ(GroupColor(palette, 100), palette[0]);
    EXPECT_EQ(GroupColor(palette, 257), palette[57]);
}

}  // namespace
}  // namespace tembrix::test
