#pragma once
// TForm10, the statistics of the main index database: twelve totals and seven charts, all computed
// anew each time the window is shown (it only reads). Fixed-size dialog, opened with exec() by the main
// window. Main thread only.

#include <QColor>
#include <QDialog>
#include <QList>
#include <functional>

class QLabel;
class QTableWidget;
class QTabWidget;
class QPushButton;

QT_BEGIN_NAMESPACE
class QPieSeries;
class QPieSlice;
class QStackedBarSeries;
class QBarCategoryAxis;
class QValueAxis;
class QChart;
QT_END_NAMESPACE

namespace tembrix {

class TDataModule1;

// The statistics palette: `kPaletteSize` colours, each from three numbers drawn from `next` and reduced
// modulo 255, drawn in the order blue, green, red (so every component is 0..254).
constexpr int kPaletteSize = 100;
QList<QColor> MakePalette(const std::function<quint32()>& next);

// Colour of group `i` (0-based) of a grouped chart: palette entry i, reused cyclically after the last.
QColor GroupColor(const QList<QColor>& palette, qsizetype i);

// Shows `path` selected in the desktop's file manager (Windows: explorer "/select, "; elsewhere the
// freedesktop FileManager1.ShowItems call over D-Bus), falling back to opening its folder. False when
// nothing could be started.
bool ShowFileInFileManager(const QString& path);

class TForm10 : public QDialog {
    Q_OBJECT
public:
    // `store` must outlive the window.
    explicit TForm10(TDataModule1& store, QWidget* parent = nullptr);

    // Caption, palette, the twelve totals and every chart, from fresh queries.
    void FormShow();
    // "Закрыть".
    void BitBtn1Click();
    // "Открыть проводник в каталоге с базой": the database file selected in the file manager.
    void BitBtn2Click();

    // The controls, for the tests and the screenshots.
    QTableWidget* ValueListEditor1() const { return m_values; }
    QTabWidget* PageControl1() const { return m_pages; }
    // PieSeries1 … PieSeries6 (`n` 1..6).
    QPieSeries* PieSeries(int n) const { return m_pies.value(n - 1); }
    // The duration chart: one bar set per duration class, holding its bar at the class's own position.
    QStackedBarSeries* Series1() const { return m_bars; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void FillTotals(const QList<QPair<QString, qint64>>& totals);
    // Pie `index` (0-based) cleared and given `slices` (taken over).
    void FillSeries(int index, const QList<QPieSlice*>& slices);
    void FillGroups(int index, const QList<QPair<QString, qint64>>& groups);
    void FillDurations(const QList<QPair<qint64, qint64>>& classes);

    TDataModule1& m_store;
    QList<QColor> m_palette;
    QTableWidget* m_values = nullptr;
    QLabel* m_staticText1 = nullptr;
    QTabWidget* m_pages = nullptr;
    QList<QPieSeries*> m_pies;
    QList<QChart*> m_pieCharts;
    QStackedBarSeries* m_bars = nullptr;
    QBarCategoryAxis* m_barAxis = nullptr;
    QValueAxis* m_barValueAxis = nullptr;
};

}  // namespace tembrix
