// The statistics window: the totals list, the fixed-colour type pies, the grouped pies in palette colours
// (reused after 100 groups), the duration bars, and a fresh rebuild at every show; the palette itself.

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

// "label value colour" of every slice.
QStringList Slices(const QPieSeries* series) {
    QStringList slices;
    for (QPieSlice* s : series->slices()) {
        slices.append(QStringLiteral("%1 %2 %3").arg(s->label()).arg(s->value()).arg(s->color().name()));
    }
    return slices;
}

TEST(StatisticsWindowTest, TotalsFeedTheTypePiesAndGroupsGetPaletteColours) {
    TestDatabase db;
    const auto t = QStringLiteral("t");
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a"), QStringLiteral("mp3"), 3600, 0, 1, t)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b"), QStringLiteral("mp3"), 599)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("v"), QStringLiteral("mkv"), 7200, 0, 2, t)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("v"), QStringLiteral("mkv"), 7200, 1, 2)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("w"), QStringLiteral("mp4"), 1800, 0, 1, t)), 0);

    TForm10 w(db.store);
    w.show();
    EXPECT_EQ(w.windowTitle(), QStringLiteral("База данных: ") + db.path);
    ASSERT_EQ(w.ValueListEditor1()->rowCount(), 12);
    EXPECT_EQ(w.ValueListEditor1()->item(0, 0)->text() + w.ValueListEditor1()->item(0, 1)->text(),
              QStringLiteral("Всего аудио дорожек5"));
    EXPECT_EQ(Slices(w.PieSeries(1)), QStringList({"Аудио 2 #ff0000", "Видео 3 #008000"}));
    EXPECT_EQ(Slices(w.PieSeries(2)), QStringList({"Аудио 1 #ff0000", "Видео 4 #008000"}));
    EXPECT_EQ(Slices(w.PieSeries(3)), QStringList({"Аудио + 1 #ff0000", "Аудио - 1 #ffff00",
                                                   "Видео + 2 #008000", "Видео - 1 #0000ff"}));

    // Files by number of tracks: one group per value, in order, coloured from the palette.
    const QList<QColor>& p = w.Palette();
    EXPECT_EQ(Slices(w.PieSeries(6)), QStringList({"1 3 " + p[0].name(), "2 2 " + p[1].name()}));
    // Ten-minute classes, each its own bar set in its palette colour holding its count at its own class.
    const QStringList classes = {"0-10 минут", "30-40 минут", "60-70 минут", "120-130 минут"};
    const qreal counts[] = {1, 1, 1, 2};
    EXPECT_EQ(w.Series1Axis()->categories(), classes);
    const QList<QBarSet*> sets = w.Series1()->barSets();
    ASSERT_EQ(sets.size(), 4);
    for (int i = 0; i < sets.size(); ++i) {
        EXPECT_EQ(sets[i]->label(), classes[i]);
        EXPECT_EQ(sets[i]->color(), p[i]);
        for (int j = 0; j < sets[i]->count(); ++j) {
            EXPECT_EQ(sets[i]->at(j), i == j ? counts[i] : 0.0) << i << "," << j;
        }
    }
}

TEST(StatisticsWindowTest, GroupsBeyondTheHundredthReuseThePaletteAndEveryShowRebuilds) {
    TestDatabase db;
    TForm10 w(db.store);
    w.show();
    for (int row = 0; row < 12; ++row) {
        EXPECT_EQ(w.ValueListEditor1()->item(row, 1)->text(), QStringLiteral("0")) << row;
    }
    EXPECT_EQ(w.PieSeries(4)->count() + w.Series1()->count(), 0);
    w.close();

    ASSERT_TRUE(db.store.BeginTransaction());
    for (int i = 0; i < 105; ++i) {
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("f%1").arg(i),
                                    QStringLiteral("x%1").arg(i, 3, 10, QLatin1Char('0')), 60 * (i + 1))),
                  0);
    }
    ASSERT_TRUE(db.store.CommitTransaction());
    w.show();
    const QList<QPieSlice*> slices = w.PieSeries(4)->slices();
    ASSERT_EQ(slices.size(), 105);
    for (int i = 0; i < slices.size(); ++i) {
        EXPECT_EQ(slices[i]->color(), w.Palette()[i % kPaletteSize]) << i;
    }
    EXPECT_EQ(w.Series1()->count(), 11);  // ten-minute classes of 1…105 minutes
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
