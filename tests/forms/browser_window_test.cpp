// The database browser: the record list, the chosen record's rows and the envelope graph with its bar.

#include <gtest/gtest.h>

#include <QApplication>
#include <QChartView>
#include <QLineSeries>
#include <QListView>
#include <QPlainTextEdit>
#include <QSlider>
#include <QTableWidget>

#include "database/record_text.h"
#include "forms/browser_window.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// The detail rows as "key=value".
QStringList Rows(const TForm9& w) {
    QStringList rows;
    for (int row = 0; row < w.ValueListEditor1()->rowCount(); ++row) {
        rows.append(w.ValueListEditor1()->item(row, 0)->text() + u'=' +
                    w.ValueListEditor1()->item(row, 1)->text());
    }
    return rows;
}

// Catches a list not rebuilt at a show, the wrong record behind a line, a value cut at its own '=', and a
// graph that draws the wrong values.
TEST(BrowserTest, ListNumbersTracksAndShowsTheChosenRecord) {
    TestDatabase db;
    TForm9 w(db.store);
    w.resize(1000, 700);
    w.show();
    EXPECT_EQ(w.ValueListEditor1()->rowCount() + w.Series1()->count(), 0);
    w.close();
    for (int track = 0; track < 2; ++track) {
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("concert"), QStringLiteral("mkv"), 3600, track, 2)), 0);
    }
    IndexRecord song = MakeRecord(QStringLiteral("Песня=один"), QStringLiteral("mp3"), 75, 0, 1,
                                  QStringLiteral("Artist: Кто-то\nTitle: Что-то"));
    ASSERT_EQ(db.Add(song, Envelope(3000, [](int32_t k) { return static_cast<uint16_t>(k * 7); })), 0);
    song.index_size = 6000;
    w.show();
    QStringList lines;
    for (int row = 0; row < w.ListBox1()->model()->rowCount(); ++row) {
        lines.append(w.ListBox1()->model()->index(row, 0).data().toString());
    }
    EXPECT_EQ(lines, QStringList({"concert [1]", "concert [2]", "Песня=один"}));
    EXPECT_TRUE(Rows(w).contains(QStringLiteral("Номер аудио дорожки=1")));  // the first is shown at once
    w.SelectRow(1);
    EXPECT_TRUE(Rows(w).contains(QStringLiteral("Номер аудио дорожки=2")));
    w.SelectRow(2);
    EXPECT_EQ(Rows(w), RecordRows(song));
    EXPECT_EQ(w.Memo1()->toPlainText(), song.info);
    EXPECT_EQ(w.TrackBar1()->maximum(), 2800);
    EXPECT_EQ(w.Series1()->at(10), QPointF(10, 70));
}

// Catches a graph deaf to the bar or the width, the last or unsigned values drawn, short envelopes drawn.
TEST(BrowserTest, TrackBarWidthAndShortEnvelopes) {
    TestDatabase db;
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a"), QStringLiteral("wav"), 1000),
                     Envelope(100000, [](int32_t k) { return static_cast<uint16_t>(k % 2 ? 40000 : 1000); })),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b"), QStringLiteral("mp3"), 61),
                     Envelope(10, [](int32_t) { return uint16_t{9}; })),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("c"), QStringLiteral("mp3"), 62),
                     Envelope(150, [](int32_t k) { return static_cast<uint16_t>(k + 1); })),
              0);
    TForm9 w(db.store);
    w.resize(1000, 700);
    w.show();
    QApplication::processEvents();
    EXPECT_EQ(w.TrackBar1()->maximum(), 100000 - 200);
    EXPECT_EQ(w.Series1()->at(1).y(), 40000 - 65536);  // drawn as signed 16-bit numbers
    w.TrackBar1()->setValue(1234);
    const qsizetype narrow = w.Series1()->count();
    w.resize(1600, 700);
    QApplication::processEvents();
    EXPECT_EQ(w.Series1()->count(), w.Chart1()->width() - 100);
    EXPECT_GT(w.Series1()->count(), narrow);
    EXPECT_EQ(w.Series1()->at(0).x(), 1234);
    w.TrackBar1()->setValue(w.TrackBar1()->maximum() + 50);
    EXPECT_EQ(w.TrackBar1()->value(), 99800);
    EXPECT_EQ(w.Series1()->points().back().x(), 99998);  // value 99999 is never drawn

    const QList<QPointF> before = w.Series1()->points();
    w.SelectRow(1);  // ten values: the graph stays as it was, the bar goes back to 0
    EXPECT_EQ(w.EnvelopeCount(), 10);
    EXPECT_EQ(w.Series1()->points(), before);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    w.SelectRow(2);  // under 200 values the bar cannot move; all but the last value are drawn
    w.TrackBar1()->setValue(20);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    EXPECT_EQ(w.Series1()->count(), 149);
    EXPECT_EQ(w.Series1()->at(0), QPointF(0, 1));
}

// Catches points drawn on a chart too narrow for any, or past the end of the envelope.
TEST(EnvelopeWindowTest, NarrowChartsAndEnds) {
    const auto values = Envelope(1000, [](int32_t k) { return static_cast<uint16_t>(k); });
    EXPECT_TRUE(EnvelopeWindow(values.data(), 1000, 0, 100).isEmpty());
    EXPECT_EQ(EnvelopeWindow(values.data(), 1000, 0, 101).size(), 1);
    EXPECT_EQ(EnvelopeWindow(values.data(), 1000, 998, 600), QList<QPointF>({QPointF(998, 998)}));
    EXPECT_TRUE(EnvelopeWindow(values.data(), 1000, 999, 600).isEmpty());
    EXPECT_TRUE(EnvelopeWindow(values.data(), 1, 0, 600).isEmpty() &&
                EnvelopeWindow(values.data(), 0, 0, 600).isEmpty());
}

}  // namespace
}  // namespace tembrix::test
