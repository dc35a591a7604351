#pragma once
// TForm9, "Просмотр базы данных": the list of every indexed track of the main database, the twelve
// fields and the tag text of the chosen one, and a scrollable graph of its envelope. Modeless top-level
// window; it never writes to the database. Main thread only.
//
// The graph shows one envelope value per horizontal pixel of the chart less a margin of 100 pixels,
// starting at the track bar's position; the bar's maximum is the value count − 200. Each redraw hands
// the series its points in one call, so even a 24-hour envelope (8,640,000 values) scrolls and resizes
// without work proportional to its length.

#include <QList>
#include <QPointF>
#include <QStringList>
#include <QWidget>
#include <cstdint>
#include <vector>

class QGroupBox;
class QListView;
class QPlainTextEdit;
class QSlider;
class QStringListModel;
class QTableWidget;

QT_BEGIN_NAMESPACE
class QChart;
class QChartView;
class QLineSeries;
class QValueAxis;
QT_END_NAMESPACE

namespace tembrix {

class TDataModule1;
class HelpVideoPanel;

// The visible window of an envelope for a chart `chartWidth` pixels wide and a track bar at `start`:
// the points (k, value k read as signed 16-bit) for k = start, start + 1, … while fewer than
// chartWidth − 100 points are taken and k < count − 1. Empty when chartWidth < 101.
QList<QPointF> EnvelopeWindow(const uint16_t* values, int32_t count, int start, int chartWidth);

class TForm9 : public QWidget {
    Q_OBJECT
public:
    // `store` must outlive the window.
    explicit TForm9(TDataModule1& store, QWidget* parent = nullptr);
    ~TForm9() override;

    // Lists every record anew, shows the count and selects the first record. The detail area (fields,
    // tag text, graph) is cleared first when the database is another than at the last listing, and
    // whenever the list comes out empty, so no record of another database, or one since deleted, stays
    // on screen. Runs at each show; the main window runs it again when the browser is shown while open
    // and when the database is switched.
    void FormShow();
    // Puts the SHA2 value on two lines when its column is too narrow for it (the tool tip holds it whole).
    void FitLongValues();
    // Empties the fields, the tag text and the graph.
    void ClearDetails();
    // Shows the selected record: its fields, its tag text, and its envelope from the start.
    void ListBox1Click();
    // Redraws the graph from the track bar's position for the chart's current width. An envelope of
    // fewer than 11 values leaves the graph as it is.
    void DrawEnvelopeExecute();
    // The chart changed its width: the number of points changes.
    void FormResize();

    // The controls, for the tests and the screenshots.
    QGroupBox* GroupBox1() const { return m_groupBox1; }
    QListView* ListBox1() const { return m_listBox1; }
    QTableWidget* ValueListEditor1() const { return m_values; }
    QPlainTextEdit* Memo1() const { return m_memo1; }
    QChartView* Chart1() const { return m_chartView; }
    QLineSeries* Series1() const { return m_series1; }
    QSlider* TrackBar1() const { return m_trackBar1; }
    HelpVideoPanel* VideoPanel() const { return m_video; }
    // The display names behind ListBox1.
    const QStringList& Names() const { return m_names; }
    int32_t EnvelopeCount() const { return m_envelopeCount; }

    // Selects list line `row` (0-based) as a click would.
    void SelectRow(int row);

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    TDataModule1& m_store;
    QStringList m_names;
    QStringList m_ids;
    std::vector<uint16_t> m_envelope;
    int32_t m_envelopeCount = 0;
    bool m_filling = false;
    QString m_listedDatabase;  // the database of the last listing

    QGroupBox* m_groupBox1 = nullptr;
    QListView* m_listBox1 = nullptr;
    QStringListModel* m_listModel = nullptr;
    QTableWidget* m_values = nullptr;
    QPlainTextEdit* m_memo1 = nullptr;
    QChart* m_chart = nullptr;
    QChartView* m_chartView = nullptr;
    QLineSeries* m_series1 = nullptr;
    QValueAxis* m_axisX = nullptr;
    QValueAxis* m_axisY = nullptr;
    QSlider* m_trackBar1 = nullptr;
    HelpVideoPanel* m_video = nullptr;
};

}  // namespace tembrix
