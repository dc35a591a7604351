// The database browser: the list and its caption, the twelve rows and the tag text of the chosen record,
// and the envelope graph's window of points (chart width − 100 points from the track bar's position,
// never the last value, short envelopes left alone) with the track bar's limits.

#include <gtest/gtest.h>

#include <QApplication>
#include <QChartView>
#include <QGroupBox>
#include <QLineSeries>
#include <QListView>
#include <QPlainTextEdit>
#include <QSlider>
#include <QTableWidget>

#include "database/record_text.h"
#include "forms/browser_window.h"
#include "maintenance_windows_fixture.h"

namespace tembrix::test {
namespace {

class BrowserTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(db.ok); }

    void Show(TForm9& w, int width = 1000) {
        w.resize(width, 700);
        w.show();
        QApplication::processEvents();
    }
    // The detail rows as "key=value".
    static QStringList Rows(const TForm9& w) {
        QStringList rows;
        for (int row = 0; row < w.ValueListEditor1()->rowCount(); ++row) {
            rows.append(w.ValueListEditor1()->item(row, 0)->text() + QLatin1Char('=') +
                        w.ValueListEditor1()->item(row, 1)->text());
        }
        return rows;
    }
    static QStringList ListLines(const TForm9& w) {
        QStringList lines;
        for (int row = 0; row < w.ListBox1()->model()->rowCount(); ++row) {
            lines.append(w.ListBox1()->model()->index(row, 0).data().toString());
        }
        return lines;
    }
    // Points the chart should hold for an envelope of `count` values from position `start`.
    static qsizetype ExpectedPoints(const TForm9& w, int32_t count, int start) {
        const int width = w.Chart1()->width();
        return width < 101 ? 0 : std::max<qsizetype>(0, std::min<qsizetype>(width - 100, count - 1 - start));
    }

    TestDatabase db;
};

TEST_F(BrowserTest, EmptyDatabaseShowsZeroAndShowingAgainListsNewRecords) {
    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Просмотр базы данных"));
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 0"));
    w.ListBox1Click();  // on an empty list: nothing
    EXPECT_EQ(w.ValueListEditor1()->rowCount() + w.Series1()->count(), 0);
    EXPECT_TRUE(db.messages.shown.isEmpty());

    w.close();
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("first"), QStringLiteral("mp3"), 100)), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("second"), QStringLiteral("mp3"), 101)), 0);
    Show(w);
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 2"));
    EXPECT_EQ(ListLines(w), (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
}

TEST_F(BrowserTest, ListNumbersTracksAndShowsTheChosenRecord) {
    for (int track = 0; track < 3; ++track) {
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("concert"), QStringLiteral("mkv"), 3600, track, 3)), 0);
    }
    IndexRecord song = MakeRecord(QStringLiteral("Песня=один"), QStringLiteral("mp3"), 75, 0, 1,
                                  QStringLiteral("Artist: Кто-то\nTitle: Что-то"));
    ASSERT_EQ(db.Add(song, Envelope(3000, [](int32_t k) { return static_cast<uint16_t>(k * 7); })), 0);
    song.index_size = 6000;

    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(ListLines(w), (QStringList{QStringLiteral("concert [1]"), QStringLiteral("concert [2]"),
                                         QStringLiteral("concert [3]"), QStringLiteral("Песня=один")}));
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 4"));
    EXPECT_EQ(w.ListBox1()->currentIndex().row(), 0);  // the first record is shown at once
    EXPECT_TRUE(Rows(w).contains(QStringLiteral("Номер аудио дорожки=1")));
    w.SelectRow(2);
    EXPECT_TRUE(Rows(w).contains(QStringLiteral("Номер аудио дорожки=3")));
    EXPECT_TRUE(Rows(w).contains(QStringLiteral("Всего аудио дорожек=3")));
    EXPECT_TRUE(Rows(w).contains(QStringLiteral("Тип=") + kTypeVideo));

    w.SelectRow(3);
    ASSERT_EQ(Rows(w).size(), 12);
    EXPECT_EQ(Rows(w), RecordRows(song));
    EXPECT_EQ(Rows(w)[0], QStringLiteral("Имя исходника=Песня=один"));
    EXPECT_EQ(w.Memo1()->toPlainText(), song.info);
    EXPECT_EQ(w.EnvelopeCount(), 3000);
    EXPECT_EQ(w.TrackBar1()->maximum(), 2800);
    ASSERT_EQ(w.Series1()->count(), ExpectedPoints(w, 3000, 0));
    EXPECT_EQ(w.Series1()->at(10), QPointF(10, 70));
}

TEST_F(BrowserTest, EnvelopeShorterThanElevenValuesLeavesTheGraphAsItWas) {
    const auto values = Envelope(5000, [](int32_t k) { return static_cast<uint16_t>(k % 300); });
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a-long"), QStringLiteral("mp3"), 120), values), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b-short"), QStringLiteral("mp3"), 61),
                     Envelope(10, [](int32_t) { return uint16_t{9999}; })),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("c-eleven"), QStringLiteral("mp3"), 62),
                     Envelope(11, [](int32_t k) { return static_cast<uint16_t>(k + 1); })),
              0);
    TForm9 w(db.store);
    Show(w);
    const QList<QPointF> before = w.Series1()->points();
    w.SelectRow(1);
    EXPECT_EQ(w.EnvelopeCount(), 10);
    EXPECT_EQ(w.Series1()->points(), before);
    EXPECT_EQ(before.size(), ExpectedPoints(w, 5000, 0));
    w.SelectRow(2);  // eleven values: all but the last are drawn
    ASSERT_EQ(w.Series1()->count(), 10);
    EXPECT_EQ(w.Series1()->at(0), QPointF(0, 1));
    EXPECT_EQ(w.Series1()->at(9), QPointF(9, 10));
}

TEST_F(BrowserTest, TrackBarLimitsSignedValuesAndWidening) {
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("long"), QStringLiteral("wav"), 1000),
                     Envelope(100000, [](int32_t k) { return static_cast<uint16_t>(k % 2 ? 40000 : 1000); })),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("short"), QStringLiteral("wav"), 62),
                     Envelope(150, [](int32_t k) { return static_cast<uint16_t>(k); })),
              0);
    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(w.TrackBar1()->maximum(), 100000 - 200);
    EXPECT_EQ(w.Series1()->at(1).y(), 40000 - 65536);  // drawn as signed 16-bit numbers

    w.TrackBar1()->setValue(1234);
    const qsizetype narrow = w.Series1()->count();
    w.resize(1600, 700);
    QApplication::processEvents();
    EXPECT_GT(w.Series1()->count(), narrow);
    EXPECT_EQ(w.Series1()->count(), ExpectedPoints(w, 100000, 1234));
    EXPECT_EQ(w.Series1()->at(0).x(), 1234);

    w.TrackBar1()->setValue(w.TrackBar1()->maximum() + 50);
    EXPECT_EQ(w.TrackBar1()->value(), 99800);
    ASSERT_EQ(w.Series1()->count(), ExpectedPoints(w, 100000, 99800));
    EXPECT_EQ(w.Series1()->points().back().x(), 99998);  // value 99999 is never drawn

    // A new selection starts from 0; under 200 values the bar cannot move.
    w.SelectRow(1);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    w.TrackBar1()->setValue(20);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    EXPECT_EQ(w.Series1()->points().back().x(), 148);
}

TEST(EnvelopeWindowTest, WindowWidthAndEnds) {
    const auto values = Envelope(1000, [](int32_t k) { return static_cast<uint16_t>(k); });
    // count, start, chart width → points, first x: nothing under 101 pixels, width − 100 points, never
    // the last value.
    const int cases[][5] = {{1000, 0, 100, 0, 0},     {1000, 0, 101, 1, 0},     {1000, 0, 600, 500, 0},
                            {1000, 990, 600, 9, 990}, {1000, 998, 600, 1, 998}, {1000, 999, 600, 0, 0},
                            {1, 0, 600, 0, 0},        {0, 0, 600, 0, 0}};
    for (const auto& c : cases) {
        const QList<QPointF> points = EnvelopeWindow(values.data(), c[0], c[1], c[2]);
        ASSERT_EQ(points.size(), c[3]) << c[0] << " " << c[1] << " " << c[2];
        if (!points.isEmpty()) {
            EXPECT_EQ(points.front().x(), c[4]);
            EXPECT_EQ(points.back().x(), c[4] + c[3] - 1);
        }
    }
}

}  // namespace
}  // namespace tembrix::test
