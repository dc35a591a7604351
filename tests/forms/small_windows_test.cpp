// The about box and the statistics window.

#include <gtest/gtest.h>

#include <QBarSet>
#include <QLabel>
#include <QPieSeries>
#include <QPieSlice>
#include <QStackedBarSeries>
#include <QTableWidget>

#include "forms/about_box.h"
#include "forms/statistics_window.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// Catches an about box that opens without a picture after the first tick.
TEST(AboutBoxTest, ShowsAPictureAfterTheFirstTick) {
    TAboutBox box;
    box.show();
    box.Timer1Timer();
    EXPECT_GE(box.VisibleImage(), 0);
    EXPECT_FALSE(box.Image1()->pixmap().isNull());
}

// Catches a statistics window that keeps what it showed before, or totals that feed no chart.
TEST(StatisticsWindowTest, EveryShowRebuildsTheChartsFromTheDatabase) {
    TestDatabase db;
    TForm10 w(db.store);
    w.show();
    EXPECT_EQ(w.ValueListEditor1()->item(0, 1)->text(), QStringLiteral("0"));
    EXPECT_EQ(w.PieSeries(1)->sum() + w.PieSeries(4)->count() + w.Series1()->count(), 0);
    w.close();
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a"), QStringLiteral("mp3"), 3600)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("v"), QStringLiteral("mkv"), 7200, 0, 2)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("v"), QStringLiteral("mkv"), 7200, 1, 2)), 0);
    w.show();
    EXPECT_EQ(w.ValueListEditor1()->item(0, 1)->text(), QStringLiteral("3"));
    QStringList slices;
    for (const QPieSlice* s : w.PieSeries(1)->slices()) {
        slices.append(QStringLiteral("%1 %2").arg(s->label()).arg(s->value()));
    }
    EXPECT_EQ(slices, QStringList({"Аудио 1", "Видео 2"}));  // tracks of each type
    EXPECT_EQ(w.PieSeries(4)->count(), 2);                   // one slice per extension
    const QList<QBarSet*> sets = w.Series1()->barSets();
    ASSERT_EQ(sets.size(), 2);  // one set per ten-minute class: 60-70 and 120-130 minutes
    EXPECT_EQ(sets[0]->at(0) + sets[1]->at(1), 3.0);
}

}  // namespace
}  // namespace tembrix::test
