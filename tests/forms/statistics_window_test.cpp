// The statistics window: pie colours, palette groups, one bar set per duration class, rebuilds.

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

// Catches totals feeding the wrong pie or colour, and bars put in another class's column.
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
    EXPECT_EQ(w.ValueListEditor1()->item(0, 0)->text() + w.ValueListEditor1()->item(0, 1)->text(),
              QStringLiteral("Всего аудио дорожек5"));
    EXPECT_EQ(Slices(w.PieSeries(1)), QStringList({"Аудио 2 #ff0000", "Видео 3 #008000"}));
    EXPECT_EQ(Slices(w.PieSeries(2)), QStringList({"Аудио 1 #ff0000", "Видео 4 #008000"}));
    EXPECT_EQ(Slices(w.PieSeries(3)), QStringList({"Аудио + 1 #ff0000", "Аудио - 1 #ffff00",
                                                   "Видео + 2 #008000", "Видео - 1 #0000ff"}));
    const QList<QColor>& p = w.Palette();
    EXPECT_EQ(Slices(w.PieSeries(6)), QStringList({"1 3 " + p[0].name(), "2 2 " + p[1].name()}));
    const QStringList classes = {"0-10 минут", "30-40 минут", "60-70 минут", "120-130 минут"};
    const qreal counts[] = {1, 1, 1, 2};
    EXPECT_EQ(w.Series1Axis()->categories(), classes);
    const QList<QBarSet*> sets = w.Series1()->barSets();
    ASSERT_EQ(sets.size(), 4);
    for (int i = 0; i < sets.size(); ++i) {  // each class its own set, holding its count at its column
        EXPECT_EQ(sets[i]->label() + sets[i]->color().name(), classes[i] + p[i].name());
        for (int j = 0; j < sets[i]->count(); ++j) {
            EXPECT_EQ(sets[i]->at(j), i == j ? counts[i] : 0.0) << i << "," << j;
        }
    }
}

// Catches a window that keeps what it showed before and colours past the palette's end.
TEST(StatisticsWindowTest, EveryShowRebuildsAndGroupsBeyondTheHundredthReuseThePalette) {
    TestDatabase db;
    TForm10 w(db.store);
    w.show();
    EXPECT_EQ(w.ValueListEditor1()->item(0, 1)->text(), QStringLiteral("0"));
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

// Catches channels drawn in the wrong order or not reduced modulo 255.
TEST(PaletteTest, DrawsBlueGreenRedModulo255) {
    quint32 counter = 254;
    const QList<QColor> palette = MakePalette([&counter] { return counter++; });
    ASSERT_EQ(palette.size(), kPaletteSize);
    EXPECT_EQ(palette[0], QColor(1, 0, 254));  // blue 254, green 255 % 255, red 256 % 255
    EXPECT_EQ(palette[1], QColor(4, 3, 2));
}

}  // namespace
}  // namespace tembrix::test
