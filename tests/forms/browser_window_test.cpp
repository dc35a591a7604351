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

    // Shows the window at a known size and lets the layout settle.
    void Show(TForm9& w, int width = 1000) {
        w.resize(width, 700);
        w.show();
        QApplication::processEvents();
    }
    static QStringList Column(const QTableWidget* table, int column) {
        QStringList cells;
        for (int row = 0; row < table->rowCount(); ++row) {
            cells.append(table->item(row, column) != nullptr ? table->item(row, column)->text() : QString());
        }
        return cells;
    }
    static QStringList ListLines(const TForm9& w) {
        QStringList lines;
        const QAbstractItemModel* model = w.ListBox1()->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            lines.append(model->index(row, 0).data().toString());
        }
        return lines;
    }
    // Points the chart should hold for the envelope `values` at track bar position `start`.
    static qsizetype ExpectedPoints(const TForm9& w, int32_t count, int start) {
        const int width = w.Chart1()->width();
        if (width < 101) {
            return 0;
        }
        return std::max<qsizetype>(0, std::min<qsizetype>(width - 100, count - 1 - start));
    }

    TestDatabase db;
};

TEST_F(BrowserTest, EmptyDatabaseShowsZeroAndLeavesTheDetailsAlone) {
    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Просмотр базы данных"));
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 0"));
    EXPECT_EQ(w.ListBox1()->model()->rowCount(), 0);
    EXPECT_EQ(w.ValueListEditor1()->rowCount(), 0);
    EXPECT_TRUE(w.Memo1()->toPlainText().isEmpty());
    EXPECT_EQ(w.Series1()->count(), 0);
    // A click on an empty list does nothing.
    w.ListBox1Click();
    EXPECT_EQ(w.ValueListEditor1()->rowCount(), 0);
    EXPECT_TRUE(db.messages.shown.isEmpty());
}

TEST_F(BrowserTest, OneRecordIsSelectedAndShownAtOnce) {
    IndexRecord r = MakeRecord(QStringLiteral("Песня=один"), QStringLiteral("mp3"), 75, 0, 1,
                               QStringLiteral("Artist: Кто-то\nTitle: Что-то"));
    const auto values = Envelope(3000, [](int32_t k) { return static_cast<uint16_t>(k * 7); });
    ASSERT_EQ(db.Add(r, values), 0);
    r.index_size = 6000;

    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 1"));
    EXPECT_EQ(w.ListBox1()->currentIndex().row(), 0);

    const QStringList rows = RecordRows(r);
    ASSERT_EQ(w.ValueListEditor1()->rowCount(), 12);
    QStringList shown;
    for (int i = 0; i < 12; ++i) {
        shown.append(Column(w.ValueListEditor1(), 0)[i] + QLatin1Char('=') +
                     Column(w.ValueListEditor1(), 1)[i]);
    }
    EXPECT_EQ(shown, rows);
    EXPECT_EQ(Column(w.ValueListEditor1(), 0)[0], QStringLiteral("Имя исходника"));
    EXPECT_EQ(Column(w.ValueListEditor1(), 1)[0], QStringLiteral("Песня=один"));
    EXPECT_EQ(w.Memo1()->toPlainText(), r.info);
    EXPECT_EQ(w.EnvelopeCount(), 3000);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    EXPECT_EQ(w.TrackBar1()->maximum(), 2800);
    EXPECT_EQ(w.Series1()->count(), ExpectedPoints(w, 3000, 0));
    ASSERT_GT(w.Series1()->count(), 0);
    EXPECT_EQ(w.Series1()->at(0), QPointF(0, 0));
    EXPECT_EQ(w.Series1()->at(10), QPointF(10, 70));
}

TEST_F(BrowserTest, ThreeTrackFileGetsTrackNumbersSingleTrackFileNone) {
    for (int track = 0; track < 3; ++track) {
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("concert"), QStringLiteral("mkv"), 3600, track, 3)), 0);
    }
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("ballad"), QStringLiteral("flac"), 200)), 0);

    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(ListLines(w), (QStringList{QStringLiteral("ballad"), QStringLiteral("concert [1]"),
                                         QStringLiteral("concert [2]"), QStringLiteral("concert [3]")}));
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 4"));
    EXPECT_EQ(w.Ids().size(), 4);

    w.SelectRow(3);
    const QStringList keys = Column(w.ValueListEditor1(), 0);
    const QStringList values = Column(w.ValueListEditor1(), 1);
    EXPECT_EQ(values[keys.indexOf(QStringLiteral("Номер аудио дорожки"))], QStringLiteral("3"));
    EXPECT_EQ(values[keys.indexOf(QStringLiteral("Всего аудио дорожек"))], QStringLiteral("3"));
    EXPECT_EQ(values[keys.indexOf(QStringLiteral("Тип"))], kTypeVideo);
}

TEST_F(BrowserTest, EnvelopeShorterThanElevenValuesLeavesTheGraphAsItWas) {
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("a-long"), QStringLiteral("mp3"), 120),
                     Envelope(5000, [](int32_t k) { return static_cast<uint16_t>(k % 300); })),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("b-short"), QStringLiteral("mp3"), 61),
                     Envelope(10, [](int32_t) { return uint16_t{9999}; })),
              0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("c-eleven"), QStringLiteral("mp3"), 62),
                     Envelope(11, [](int32_t k) { return static_cast<uint16_t>(k + 1); })),
              0);

    TForm9 w(db.store);
    Show(w);
    const QList<QPointF> before = w.Series1()->points();
    ASSERT_FALSE(before.isEmpty());

    w.SelectRow(1);
    EXPECT_EQ(Column(w.ValueListEditor1(), 1)[0], QStringLiteral("b-short"));
    EXPECT_EQ(w.EnvelopeCount(), 10);
    EXPECT_EQ(w.Series1()->points(), before);

    // Eleven values are drawn, all but the last.
    w.SelectRow(2);
    ASSERT_EQ(w.Series1()->count(), 10);
    EXPECT_EQ(w.Series1()->at(0), QPointF(0, 1));
    EXPECT_EQ(w.Series1()->at(9), QPointF(9, 10));
}

TEST_F(BrowserTest, TrackBarLimitsAndTheNeverDrawnLastValue) {
    // Values above 32767 are shown as signed 16-bit numbers.
    const auto values =
        Envelope(100000, [](int32_t k) { return static_cast<uint16_t>(k % 2 ? 40000 : 1000); });
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("long"), QStringLiteral("wav"), 1000), values), 0);
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("short"), QStringLiteral("wav"), 62),
                     Envelope(150, [](int32_t k) { return static_cast<uint16_t>(k); })),
              0);

    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(w.TrackBar1()->minimum(), 0);
    EXPECT_EQ(w.TrackBar1()->maximum(), 100000 - 200);
    EXPECT_EQ(w.Series1()->at(1).y(), 40000 - 65536);

    w.TrackBar1()->setValue(w.TrackBar1()->maximum());
    ASSERT_EQ(w.Series1()->count(), ExpectedPoints(w, 100000, 99800));
    EXPECT_EQ(w.Series1()->at(0).x(), 99800);
    EXPECT_EQ(w.Series1()->points().back().x(), 99998);  // value 99999 is never drawn

    w.TrackBar1()->setValue(w.TrackBar1()->maximum() + 50);
    EXPECT_EQ(w.TrackBar1()->value(), 99800);

    // A new selection starts from 0 again; an envelope shorter than 200 values gives a bar that cannot
    // move, and the graph runs from 0 up to count − 2.
    w.SelectRow(1);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    EXPECT_EQ(w.TrackBar1()->maximum(), 0);
    w.TrackBar1()->setValue(20);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    ASSERT_EQ(w.Series1()->count(), ExpectedPoints(w, 150, 0));
    EXPECT_EQ(w.Series1()->points().back().x(), std::min<qsizetype>(148, w.Chart1()->width() - 101));
}

TEST_F(BrowserTest, WideningDrawsMorePointsWithoutMovingTheStart) {
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("wide"), QStringLiteral("ogg"), 600),
                     Envelope(60000, [](int32_t k) { return static_cast<uint16_t>(k & 0xFFF); })),
              0);
    TForm9 w(db.store);
    Show(w, 1000);
    w.TrackBar1()->setValue(1234);
    const qsizetype narrow = w.Series1()->count();
    EXPECT_EQ(narrow, ExpectedPoints(w, 60000, 1234));

    w.resize(1600, 700);
    QApplication::processEvents();
    EXPECT_GT(w.Series1()->count(), narrow);
    EXPECT_EQ(w.Series1()->count(), ExpectedPoints(w, 60000, 1234));
    EXPECT_EQ(w.Series1()->at(0).x(), 1234);
}

TEST(EnvelopeWindowTest, WindowWidthAndEnds) {
    const auto values = Envelope(1000, [](int32_t k) { return static_cast<uint16_t>(k); });
    struct Case {
        int32_t count;
        int start;
        int width;
        qsizetype points;
        double firstX;
    };
    const Case cases[] = {
        {1000, 0, 100, 0, 0},                              // narrower than 101: empty
        {1000, 0, 101, 1, 0},                              // one pixel beyond the margin: one point
        {1000, 0, 600, 500, 0},                            // width − 100 points
        {1000, 990, 600, 9, 990},                          // stops before the last value
        {1000, 998, 600, 1, 998}, {1000, 999, 600, 0, 0},  // the last value alone is never drawn
        {1, 0, 600, 0, 0},        {0, 0, 600, 0, 0},
    };
    for (const Case& c : cases) {
        const QList<QPointF> points = EnvelopeWindow(values.data(), c.count, c.start, c.width);
        ASSERT_EQ(points.size(), c.points) << c.count << " " << c.start << " " << c.width;
        if (!points.isEmpty()) {
            EXPECT_EQ(points.front().x(), c.firstX);
            EXPECT_EQ(points.back().x(), c.firstX + static_cast<double>(c.points) - 1);
        }
    }
}

TEST_F(BrowserTest, ShowingAgainListsRecordsAddedMeanwhile) {
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("first"), QStringLiteral("mp3"), 100)), 0);
    TForm9 w(db.store);
    Show(w);
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 1"));
    w.close();
    ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("second"), QStringLiteral("mp3"), 101)), 0);
    Show(w);
    EXPECT_EQ(w.GroupBox1()->title(), QStringLiteral("Список записей: 2"));
    EXPECT_EQ(ListLines(w), (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
}

}  // namespace
}  // namespace tembrix::test
