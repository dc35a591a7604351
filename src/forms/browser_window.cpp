#include "forms/browser_window.h"

#include <QChart>
#include <QChartView>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineSeries>
#include <QListView>
#include <QPlainTextEdit>
#include <QShowEvent>
#include <QSlider>
#include <QStatusBar>
#include <QStringListModel>
#include <QTableWidget>
#include <QTextDocument>
#include <QVBoxLayout>
#include <QValueAxis>
#include <algorithm>

#include "database/index_store.h"
#include "database/record_text.h"
#include "forms/help_video_panel.h"

namespace tembrix {

namespace {

// Pixels of the chart's width that carry no point.
constexpr int kChartMargin = 100;
// Envelopes shorter than this leave the graph as it is.
constexpr int32_t kShortestDrawn = 11;
// Start positions the track bar leaves out at the end of the envelope.
constexpr int kTrackBarReserve = 200;
// The line colour of the graph.
const QColor kEnvelopeColour(0x44, 0x66, 0xA3);

QLabel* InfoText(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    return label;
}

}  // namespace

QList<QPointF> EnvelopeWindow(const uint16_t* values, int32_t count, int start, int chartWidth) {
    QList<QPointF> points;
    if (chartWidth <= kChartMargin || values == nullptr) {
        return points;
    }
    const int64_t wanted = chartWidth - kChartMargin;
    const int64_t first = std::max(start, 0);
    const int64_t end = std::min<int64_t>(first + wanted, static_cast<int64_t>(count) - 1);
    if (end <= first) {
        return points;
    }
    points.reserve(end - first);
    for (int64_t k = first; k < end; ++k) {
        points.append(QPointF(static_cast<double>(k), static_cast<double>(static_cast<int16_t>(values[k]))));
    }
    return points;
}

TForm9::TForm9(TDataModule1& store, QWidget* parent) : QWidget(parent, Qt::Window), m_store(store) {
    setObjectName(QStringLiteral("Form9"));
    setWindowTitle(QStringLiteral("Просмотр базы данных"));
    setMinimumSize(1000, 700);
    resize(1000, 700);

    // The list of records.
    m_groupBox1 = new QGroupBox(QStringLiteral("Список записей"), this);
    m_groupBox1->setObjectName(QStringLiteral("GroupBox1"));
    m_groupBox1->setFixedWidth(254);
    m_listBox1 = new QListView(m_groupBox1);
    m_listBox1->setObjectName(QStringLiteral("ListBox1"));
    m_listBox1->setUniformItemSizes(true);
    m_listBox1->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_listBox1->setSelectionMode(QAbstractItemView::SingleSelection);
    m_listModel = new QStringListModel(this);
    m_listBox1->setModel(m_listModel);
    connect(m_listBox1->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
        if (!m_filling) {
            ListBox1Click();
        }
    });
    auto* listLayout = new QVBoxLayout(m_groupBox1);
    listLayout->setContentsMargins(4, 4, 4, 4);
    listLayout->addWidget(m_listBox1);

    // The fields of the chosen record.
    m_values = new QTableWidget(0, 2, this);
    m_values->setObjectName(QStringLiteral("ValueListEditor1"));
    m_values->setHorizontalHeaderLabels({QStringLiteral("Поле"), QStringLiteral("Значение")});
    m_values->verticalHeader()->setVisible(false);
    m_values->verticalHeader()->setDefaultSectionSize(20);
    m_values->setColumnWidth(0, 150);
    m_values->horizontalHeader()->setStretchLastSection(true);
    m_values->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_values->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_values->setWordWrap(false);
    // A long path loses its middle; the twelve rows (the SHA2 value on two lines when its column is too
    // narrow for it) fit without scrolling.
    m_values->setTextElideMode(Qt::ElideMiddle);
    m_values->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_values->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_values->setFixedHeight(m_values->horizontalHeader()->sizeHint().height() + 13 * 20 +
                             2 * m_values->frameWidth() + 2);

    auto* groupBox2 = new QGroupBox(QStringLiteral("Дополнительная информация"), this);
    groupBox2->setObjectName(QStringLiteral("GroupBox2"));
    m_memo1 = new QPlainTextEdit(groupBox2);
    m_memo1->setObjectName(QStringLiteral("Memo1"));
    m_memo1->setReadOnly(true);
    m_memo1->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    auto* memoLayout = new QVBoxLayout(groupBox2);
    memoLayout->setContentsMargins(4, 4, 4, 4);
    memoLayout->addWidget(m_memo1);
    // The six tag lines of the tag tool, whole.
    m_memo1->ensurePolished();
    const int memoHeight = 6 * m_memo1->fontMetrics().lineSpacing() +
                           2 * static_cast<int>(m_memo1->document()->documentMargin()) +
                           2 * m_memo1->frameWidth() + 4;
    m_memo1->setMinimumHeight(memoHeight);
    groupBox2->setFixedHeight(memoHeight + groupBox2->fontMetrics().height() + 14);

    // The envelope graph and its track bar.
    m_series1 = new QLineSeries;
    m_series1->setObjectName(QStringLiteral("Series1"));
    QPen pen(kEnvelopeColour);
    pen.setWidthF(1.0);
    m_series1->setPen(pen);
    m_chart = new QChart;
    m_chart->setObjectName(QStringLiteral("Chart1"));
    m_chart->setTitle(QStringLiteral("График огибающей"));
    m_chart->legend()->setVisible(false);
    m_chart->setAnimationOptions(QChart::NoAnimation);
    m_chart->setBackgroundRoundness(0);
    m_chart->setMargins(QMargins(2, 2, 2, 2));
    m_chart->addSeries(m_series1);
    m_axisX = new QValueAxis;
    m_axisX->setLabelFormat(QStringLiteral("%i"));
    m_axisY = new QValueAxis;
    m_axisY->setLabelFormat(QStringLiteral("%i"));
    m_chart->addAxis(m_axisX, Qt::AlignBottom);
    m_chart->addAxis(m_axisY, Qt::AlignLeft);
    m_series1->attachAxis(m_axisX);
    m_series1->attachAxis(m_axisY);
    m_axisX->setRange(0, 1);
    m_axisY->setRange(0, 1);
    m_chartView = new QChartView(m_chart, this);
    m_chartView->setObjectName(QStringLiteral("Chart1View"));
    m_chartView->setMinimumHeight(150);
    m_chartView->installEventFilter(this);
    m_values->installEventFilter(this);

    m_trackBar1 = new QSlider(Qt::Horizontal, this);
    m_trackBar1->setObjectName(QStringLiteral("TrackBar1"));
    m_trackBar1->setRange(0, 0);
    m_trackBar1->setSingleStep(1);
    connect(m_trackBar1, &QSlider::valueChanged, this, &TForm9::DrawEnvelopeExecute);

    auto* centre = new QVBoxLayout;
    centre->addWidget(m_values);
    centre->addWidget(groupBox2);
    centre->addWidget(m_chartView, 1);
    centre->addWidget(m_trackBar1);

    // The information panel with the help video.
    auto* groupBox3 = new QGroupBox(QStringLiteral("Информация"), this);
    groupBox3->setObjectName(QStringLiteral("GroupBox3"));
    groupBox3->setFixedWidth(245);
    auto* staticText1 = InfoText(
        QStringLiteral(
            "Список записей содержит отсортированный по алфавиту список исходных имён файлов. К сожалению, "
            "имена некоторых файлов могут совпадать, поэтому при выборе придётся опираться и на более "
            "детальную информацию, отображаемую программой. Выберите нужный файл и Вы получите полную "
            "информацию о нём: размер, SHA2 и MD5 хэши, тип (аудио или видео) и расширение файла, дату "
            "создания, количество аудио дорожек, продолжительность воспроизведения и размер индексных "
            "данных. Если имеются ID3 тэги (для аудио файлов), то программа покажет и их."),
        groupBox3);
    staticText1->setObjectName(QStringLiteral("StaticText1"));
    m_video = new HelpVideoPanel(7, QCoreApplication::applicationDirPath(), groupBox3);
    m_video->setObjectName(QStringLiteral("PanelVideo"));
    auto* staticText2 = InfoText(
        QStringLiteral("График огибающей содержит основную информацию по которой осуществляется поиск. Для "
                       "навигации по графику используйте ползунок прокрутки."),
        groupBox3);
    staticText2->setObjectName(QStringLiteral("StaticText2"));
    auto* infoLayout = new QVBoxLayout(groupBox3);
    infoLayout->addWidget(staticText1);
    infoLayout->addWidget(m_video);
    infoLayout->addWidget(staticText2);
    infoLayout->addStretch(1);

    auto* main = new QHBoxLayout;
    main->addWidget(m_groupBox1);
    main->addLayout(centre, 1);
    main->addWidget(groupBox3);

    auto* statusBar1 = new QStatusBar(this);
    statusBar1->setObjectName(QStringLiteral("StatusBar1"));
    statusBar1->setSizeGripEnabled(true);
    for (int i = 0; i < 3; ++i) {
        auto* panel = new QLabel(statusBar1);
        panel->setFixedWidth(50);
        statusBar1->addWidget(panel);
    }

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 0);
    layout->addLayout(main, 1);
    layout->addWidget(statusBar1);
}

TForm9::~TForm9() = default;

void TForm9::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous()) {
        FormShow();
    }
}

void TForm9::closeEvent(QCloseEvent* event) {
    m_video->CloseClip();
    QWidget::closeEvent(event);
}

bool TForm9::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_chartView && event->type() == QEvent::Resize) {
        FormResize();
    }
    if (watched == m_values && event->type() == QEvent::Resize) {
        FitLongValues();
    }
    return QWidget::eventFilter(watched, event);
}

void TForm9::FormShow() {
    m_names.clear();
    m_ids.clear();
    const QString database = m_store.IsConnected() ? m_store.DatabasePath() : QString();
    if (!database.isEmpty()) {
        m_store.ListTracks(m_names, m_ids);
    }
    // The two lists stay parallel even when the store stopped half-way.
    const qsizetype rows = std::min(m_names.size(), m_ids.size());
    m_names.resize(rows);
    m_ids.resize(rows);
    if (rows == 0 || database != m_listedDatabase) {
        ClearDetails();
    }
    m_listedDatabase = database;
    m_filling = true;
    m_listModel->setStringList(m_names);
    m_groupBox1->setTitle(QStringLiteral("Список записей: %1").arg(rows));
    if (rows >= 1) {
        m_listBox1->setCurrentIndex(m_listModel->index(0));
    }
    m_filling = false;
    if (rows >= 1) {
        ListBox1Click();
    }
}

void TForm9::FitLongValues() {
    // The SHA2 value (64 characters) is the one value that must be read whole: too wide for its column,
    // it goes on two lines of half its length.
    constexpr int kSha2Row = 3;
    QTableWidgetItem* sha2 = m_values->item(kSha2Row, 1);
    if (sha2 == nullptr) {
        return;
    }
    const QString value = sha2->toolTip();
    const int room = m_values->viewport()->width() - m_values->columnWidth(0) - 8;
    const bool split = m_values->fontMetrics().horizontalAdvance(value) > room && value.size() > 1;
    sha2->setText(split ? value.left(value.size() / 2) + u'\n' + value.mid(value.size() / 2) : value);
    m_values->setRowHeight(kSha2Row, split ? 2 * 20 : 20);
}

void TForm9::ClearDetails() {
    m_values->setRowCount(0);
    m_memo1->clear();
    m_envelope.clear();
    m_envelopeCount = 0;
    m_series1->clear();
    const QSignalBlocker quiet(m_trackBar1);
    m_trackBar1->setRange(0, 0);
    m_trackBar1->setValue(0);
}

void TForm9::SelectRow(int row) {
    m_listBox1->setCurrentIndex(m_listModel->index(row));
}

void TForm9::ListBox1Click() {
    const int row = m_listBox1->currentIndex().row();
    if (row < 0 || row >= m_ids.size()) {
        return;
    }
    IndexRecord record;
    m_store.GetRecordWithIndex(m_ids[row].toInt(), record, m_envelope, m_envelopeCount);
    m_envelopeCount = std::clamp<int32_t>(m_envelopeCount, 0, static_cast<int32_t>(m_envelope.size()));

    const QStringList rows = RecordRows(record);
    m_values->setRowCount(static_cast<int>(rows.size()));
    for (int i = 0; i < rows.size(); ++i) {
        const qsizetype equals = rows[i].indexOf(QLatin1Char('='));
        m_values->setItem(i, 0, new QTableWidgetItem(rows[i].left(equals)));
        auto* value = new QTableWidgetItem(rows[i].mid(equals + 1));
        value->setToolTip(value->text());
        m_values->setItem(i, 1, value);
    }
    // The keys are wider than their column in some fonts.
    m_values->resizeColumnToContents(0);
    m_values->setColumnWidth(0, std::max(150, m_values->columnWidth(0) + 6));
    FitLongValues();
    m_memo1->setPlainText(record.info);

    {
        const QSignalBlocker quiet(m_trackBar1);
        m_trackBar1->setValue(0);
        // A bar shorter than its reserve cannot move: the graph then always starts at 0.
        m_trackBar1->setRange(0, std::max(0, m_envelopeCount - kTrackBarReserve));
        m_trackBar1->setValue(0);
    }
    DrawEnvelopeExecute();
}

void TForm9::DrawEnvelopeExecute() {
    if (m_envelopeCount < kShortestDrawn) {
        return;
    }
    const int width = m_chartView->width();
    const QList<QPointF> points =
        EnvelopeWindow(m_envelope.data(), m_envelopeCount, m_trackBar1->value(), width);
    m_series1->replace(points);
    if (points.isEmpty()) {
        return;
    }
    double low = points.front().y();
    double high = low;
    for (const QPointF& p : points) {
        low = std::min(low, p.y());
        high = std::max(high, p.y());
    }
    if (high <= low) {
        high = low + 1;
    }
    const double firstX = points.front().x();
    const double lastX = std::max(points.back().x(), firstX + 1);
    m_axisX->setRange(firstX, lastX);
    m_axisY->setRange(low, high);
    m_axisY->applyNiceNumbers();
}

void TForm9::FormResize() {
    DrawEnvelopeExecute();
}

}  // namespace tembrix
