#include "forms/statistics_window.h"

#include <QBarCategoryAxis>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLegendMarker>
#include <QPainter>
#include <QPainterPath>
#include <QPieSeries>
#include <QPieSlice>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QShowEvent>
#include <QStackedBarSeries>
#include <QTabWidget>
#include <QTableWidget>
#include <QUrl>
#include <QVBoxLayout>
#include <QValueAxis>
#include <algorithm>

#ifdef TEMBRIX_HAVE_DBUS
#include <QDBusConnection>
#include <QDBusMessage>
#endif

#include "database/index_store.h"
#include "database/statistics.h"
#include "forms/shell_open.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

// The fixed colours of the type charts.
const QColor kRed(255, 0, 0);
const QColor kGreen(0, 128, 0);
const QColor kYellow(255, 255, 0);
const QColor kBlue(0, 0, 255);

// Slices smaller than this share of the pie carry no label on the pie (the legend still names them).
constexpr double kLabelledShare = 0.03;
// A legend with more entries than this would not fit beside the pie; the pie labels remain.
constexpr int kMaxLegendEntries = 18;

// The picture at the top left: a database drum beside a pie.
QPixmap DecorativePicture() {
    QPixmap pixmap(312, 84);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor drum(0x44, 0x66, 0xA3);
    for (int i = 2; i >= 0; --i) {
        const QRectF body(18, 14 + i * 18, 64, 22);
        p.setPen(QPen(drum.darker(130), 1.5));
        p.setBrush(drum.lighter(100 + i * 20));
        p.drawRect(body.adjusted(0, 8, 0, 0));
        p.drawEllipse(QRectF(body.left(), body.top(), body.width(), 16));
    }
    const QRectF pie(112, 6, 72, 72);
    const QColor slices[] = {QColor(0xD9, 0x4F, 0x3D), QColor(0x3D, 0x9A, 0x4F), QColor(0xE8, 0xC1, 0x3A),
                             QColor(0x3D, 0x6A, 0xD9)};
    const int spans[] = {140, 100, 70, 50};
    int start = 90;
    for (int i = 0; i < 4; ++i) {
        p.setPen(QPen(Qt::white, 1.5));
        p.setBrush(slices[i]);
        p.drawPie(pie, start * 16, spans[i] * 16);
        start += spans[i];
    }
    p.setPen(drum.darker(140));
    QFont f = p.font();
    f.setPointSizeF(f.pointSizeF() * 1.25);
    f.setBold(true);
    p.setFont(f);
    p.drawText(QRectF(198, 10, 112, 64), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextWordWrap,
               QStringLiteral("Статистика базы"));
    return pixmap;
}

QChartView* MakeChartView(QChart* chart, QWidget* parent) {
    auto* view = new QChartView(chart, parent);
    view->setRenderHint(QPainter::Antialiasing);
    chart->setBackgroundRoundness(0);
    chart->setMargins(QMargins(4, 4, 4, 4));
    QFont titleFont = chart->titleFont();
    titleFont.setBold(true);
    chart->setTitleFont(titleFont);
    return view;
}

// A page holding one chart.
QWidget* ChartPage(QChartView* view) {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(view);
    return page;
}

QPieSlice* MakeSlice(const QString& label, qint64 value, const QColor& colour) {
    auto* slice = new QPieSlice(label, static_cast<qreal>(value));
    slice->setColor(colour);
    slice->setBorderColor(Qt::white);
    return slice;
}

// Labels the slices big enough to carry a label; the legend shows each group with its count.
void DecorateSlices(QChart* chart, QPieSeries* series) {
    const QList<QPieSlice*> slices = series->slices();
    const QList<QLegendMarker*> markers = chart->legend()->markers(series);
    for (qsizetype i = 0; i < slices.size(); ++i) {
        QPieSlice* slice = slices[i];
        slice->setLabelVisible(series->sum() > 0 && slice->percentage() >= kLabelledShare);
        slice->setLabelPosition(QPieSlice::LabelOutside);
        slice->setLabelArmLengthFactor(0.08);
        if (i < markers.size()) {
            markers[i]->setLabel(
                QStringLiteral("%1: %2").arg(slice->label()).arg(static_cast<qint64>(slice->value())));
        }
    }
    chart->legend()->setVisible(slices.size() <= kMaxLegendEntries);
}

}  // namespace

QList<QColor> MakePalette(const std::function<quint32()>& next) {
    QList<QColor> palette;
    palette.reserve(kPaletteSize);
    for (int i = 0; i < kPaletteSize; ++i) {
        const int blue = static_cast<int>(next() % 255);
        const int green = static_cast<int>(next() % 255);
        const int red = static_cast<int>(next() % 255);
        palette.append(QColor(red, green, blue));
    }
    return palette;
}

QColor GroupColor(const QList<QColor>& palette, qsizetype i) {
    if (palette.isEmpty() || i < 0) {
        return QColor(Qt::gray);
    }
    return palette[i % palette.size()];
}

bool ShowFileInFileManager(const QString& path) {
    if (path.isEmpty()) {
        return false;
    }
    const QFileInfo info(path);
#ifdef Q_OS_WIN
    QProcess explorer;
    explorer.setProgram(QStringLiteral("explorer.exe"));
    explorer.setNativeArguments(QStringLiteral("/select, ") +
                                QDir::toNativeSeparators(info.absoluteFilePath()));
    if (explorer.startDetached()) {
        return true;
    }
#elif defined(TEMBRIX_HAVE_DBUS)
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(info.absoluteFilePath()).toString()} << QString();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 3000);
    if (reply.type() == QDBusMessage::ReplyMessage) {
        return true;
    }
#endif
    return ShellOpenQuietly(QUrl::fromLocalFile(info.absolutePath()));
}

TForm10::TForm10(TDataModule1& store, QWidget* parent) : QDialog(parent), m_store(store) {
    setObjectName(QStringLiteral("Form10"));
    setWindowTitle(QStringLiteral("База данных: "));

    auto* image1 = new QLabel(this);
    image1->setObjectName(QStringLiteral("Image1"));
    image1->setPixmap(DecorativePicture());

    m_values = new QTableWidget(0, 2, this);
    m_values->setObjectName(QStringLiteral("ValueListEditor1"));
    m_values->setHorizontalHeaderLabels({QStringLiteral("Параметр"), QStringLiteral("Значение")});
    m_values->verticalHeader()->setVisible(false);
    m_values->verticalHeader()->setDefaultSectionSize(22);
    m_values->setColumnWidth(0, 227);
    m_values->setColumnWidth(1, 81);
    m_values->horizontalHeader()->setStretchLastSection(true);
    m_values->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_values->setEnabled(false);
    // Disabled only against editing: the figures keep the normal text colour.
    QPalette readable = m_values->palette();
    readable.setColor(QPalette::Disabled, QPalette::Text, readable.color(QPalette::Active, QPalette::Text));
    m_values->setPalette(readable);
    m_values->setFixedWidth(227 + 81 + 2 * m_values->frameWidth() + 4);
    m_values->setFixedHeight(m_values->horizontalHeader()->sizeHint().height() + 12 * 22 +
                             2 * m_values->frameWidth() + 2);

    m_staticText1 = new QLabel(
        QStringLiteral(
            "Показаны основные статистические данные для текущей базы данных. Для сжатия распухшей "
            "базы данных используйте команду \"Сжать базу данных\"."),
        this);
    m_staticText1->setObjectName(QStringLiteral("StaticText1"));
    m_staticText1->setWordWrap(true);
    m_staticText1->setFixedWidth(m_values->width());
    m_staticText1->setFrameShape(QFrame::StyledPanel);
    m_staticText1->setMargin(6);

    // The six pies, in the order of their series numbers, with their two-line titles (the chart title is
    // rich text, so the line break is <br>).
    const QString titles[6] = {
        QStringLiteral("Распределение количества файлов <br>в зависимости от типа данных"),
        QStringLiteral("Распределение по часам <br>в зависимости от типа данных"),
        QStringLiteral("Наличие ID3 тегов или описания <br>в зависимости от типа данных"),
        QStringLiteral("Распределение количества файлов <br>в зависимости от расширения"),
        QStringLiteral("Распределение по часам <br>в зависимости от расширения"),
        QStringLiteral("Распределение количества файлов<br>в зависимости от количества аудио дорожек"),
    };
    QList<QChartView*> pieViews;
    for (int n = 1; n <= 6; ++n) {
        auto* chart = new QChart;
        chart->setObjectName(QStringLiteral("Chart%1").arg(n));
        chart->setTitle(titles[n - 1]);
        auto* series = new QPieSeries;
        series->setObjectName(QStringLiteral("PieSeries%1").arg(n));
        series->setPieSize(0.62);
        chart->addSeries(series);
        chart->legend()->setAlignment(Qt::AlignRight);
        chart->setAnimationOptions(QChart::NoAnimation);
        m_pies.append(series);
        m_pieCharts.append(chart);
        pieViews.append(MakeChartView(chart, this));
    }

    auto* chart7 = new QChart;
    chart7->setObjectName(QStringLiteral("Chart7"));
    chart7->setTitle(
        QStringLiteral("Количество аудио дорожек в зависимости от их продолжительности в минутах"));
    chart7->legend()->setVisible(false);
    m_bars = new QStackedBarSeries;
    m_bars->setObjectName(QStringLiteral("Series1"));
    m_bars->setBarWidth(0.7);
    chart7->addSeries(m_bars);
    m_barAxis = new QBarCategoryAxis;
    m_barAxis->setLabelsAngle(-90);
    chart7->addAxis(m_barAxis, Qt::AlignBottom);
    m_bars->attachAxis(m_barAxis);
    m_barValueAxis = new QValueAxis;
    m_barValueAxis->setLabelFormat(QStringLiteral("%d"));
    chart7->addAxis(m_barValueAxis, Qt::AlignLeft);
    m_bars->attachAxis(m_barValueAxis);
    QChartView* barView = MakeChartView(chart7, this);

    auto* pageControl2 = new QTabWidget;
    pageControl2->setObjectName(QStringLiteral("PageControl2"));
    pageControl2->addTab(ChartPage(pieViews[0]), QStringLiteral("По типу данных"));
    pageControl2->addTab(ChartPage(pieViews[3]), QStringLiteral("По расширению"));
    auto* pageControl3 = new QTabWidget;
    pageControl3->setObjectName(QStringLiteral("PageControl3"));
    pageControl3->addTab(ChartPage(pieViews[1]), QStringLiteral("По типу данных"));
    pageControl3->addTab(ChartPage(pieViews[4]), QStringLiteral("По расширению"));

    m_pages = new QTabWidget(this);
    m_pages->setObjectName(QStringLiteral("PageControl1"));
    m_pages->addTab(pageControl2, QStringLiteral("Файлы"));
    m_pages->addTab(pageControl3, QStringLiteral("Часы"));
    m_pages->addTab(ChartPage(pieViews[2]), QStringLiteral("Доп. инфо"));
    m_pages->addTab(ChartPage(pieViews[5]), QStringLiteral("Кол-во дорожек"));
    m_pages->addTab(ChartPage(barView), QStringLiteral("Продолжительность"));

    auto* bitBtn1 = new QPushButton(QStringLiteral("Закрыть"), this);
    bitBtn1->setObjectName(QStringLiteral("BitBtn1"));
    bitBtn1->setIcon(style()->standardIcon(QStyle::SP_DialogCloseButton));
    connect(bitBtn1, &QPushButton::clicked, this, &TForm10::BitBtn1Click);
    auto* bitBtn2 = new QPushButton(QStringLiteral("Открыть проводник в каталоге с базой"), this);
    bitBtn2->setObjectName(QStringLiteral("BitBtn2"));
    bitBtn2->setIcon(style()->standardIcon(QStyle::SP_DirOpenIcon));
    bitBtn2->setAutoDefault(false);
    connect(bitBtn2, &QPushButton::clicked, this, &TForm10::BitBtn2Click);

    auto* left = new QVBoxLayout;
    left->addWidget(image1);
    left->addWidget(m_values);
    left->addWidget(m_staticText1);
    left->addStretch(1);

    auto* top = new QHBoxLayout;
    top->addLayout(left);
    top->addWidget(m_pages, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(bitBtn2);
    buttons->addStretch(1);
    buttons->addWidget(bitBtn1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addLayout(buttons);
    setFixedSize(1020, 620);
}

void TForm10::showEvent(QShowEvent* event) {
    if (!event->spontaneous()) {
        FormShow();
    }
    QDialog::showEvent(event);
}

void TForm10::FormShow() {
    setWindowTitle(QStringLiteral("База данных: ") + m_store.DatabasePath());
    QRandomGenerator* random = QRandomGenerator::global();
    m_palette = MakePalette([random] { return random->generate(); });
    m_values->setRowCount(0);

    const DatabaseStatistics statistics = CollectStatistics(m_store);
    FillTotals(statistics.totals);

    auto total = [&statistics](int row) {
        return row < statistics.totals.size() ? statistics.totals[row].second : 0;
    };
    // Each series is cleared and given its slices in one call.
    FillSeries(0, {MakeSlice(QStringLiteral("Аудио"), total(2), kRed),
                   MakeSlice(QStringLiteral("Видео"), total(4), kGreen)});
    FillSeries(1, {MakeSlice(QStringLiteral("Аудио"), total(3), kRed),
                   MakeSlice(QStringLiteral("Видео"), total(5), kGreen)});
    FillSeries(2, {MakeSlice(QStringLiteral("Аудио +"), total(8), kRed),
                   MakeSlice(QStringLiteral("Аудио -"), total(9), kYellow),
                   MakeSlice(QStringLiteral("Видео +"), total(10), kGreen),
                   MakeSlice(QStringLiteral("Видео -"), total(11), kBlue)});
    FillGroups(3, statistics.filesByExtension);
    FillGroups(4, statistics.hoursByExtension);
    FillGroups(5, statistics.filesByTracks);
    FillDurations(statistics.durationClasses);
}

void TForm10::FillTotals(const QList<QPair<QString, qint64>>& totals) {
    m_values->setRowCount(static_cast<int>(totals.size()));
    for (int row = 0; row < totals.size(); ++row) {
        m_values->setItem(row, 0, new QTableWidgetItem(totals[row].first));
        auto* value = new QTableWidgetItem(QString::number(totals[row].second));
        m_values->setItem(row, 1, value);
    }
    // The labels are wider than their column in some fonts: the list grows, the charts give way.
    m_values->resizeColumnToContents(0);
    m_values->setColumnWidth(0, std::max(227, m_values->columnWidth(0) + 6));
    m_values->setFixedWidth(m_values->columnWidth(0) + 81 + 2 * m_values->frameWidth() + 4);
    m_staticText1->setFixedWidth(m_values->width());
}

void TForm10::FillSeries(int index, const QList<QPieSlice*>& slices) {
    QPieSeries* series = m_pies[index];
    series->clear();
    series->append(slices);
    DecorateSlices(m_pieCharts[index], series);
}

void TForm10::FillGroups(int index, const QList<QPair<QString, qint64>>& groups) {
    QList<QPieSlice*> slices;
    slices.reserve(groups.size());
    for (qsizetype i = 0; i < groups.size(); ++i) {
        slices.append(MakeSlice(groups[i].first, groups[i].second, GroupColor(m_palette, i)));
    }
    FillSeries(index, slices);
}

void TForm10::FillDurations(const QList<QPair<qint64, qint64>>& classes) {
    m_bars->clear();
    QStringList labels;
    qint64 highest = 0;
    for (qsizetype i = 0; i < classes.size(); ++i) {
        const QString label = DurationClassLabel(classes[i].first);
        labels.append(label);
        // Each class is its own set, so that each bar keeps its own colour; the set holds zero at every
        // other class, which a stacked series draws as nothing.
        auto* set = new QBarSet(label);
        for (qsizetype j = 0; j < classes.size(); ++j) {
            set->append(j == i ? static_cast<qreal>(classes[i].second) : 0.0);
        }
        set->setColor(GroupColor(m_palette, i));
        set->setBorderColor(GroupColor(m_palette, i).darker(130));
        m_bars->append(set);
        highest = std::max(highest, classes[i].second);
    }
    m_barAxis->clear();
    m_barAxis->append(labels);
    m_barValueAxis->setRange(0, std::max<qint64>(highest, 1));
    m_barValueAxis->applyNiceNumbers();
}

void TForm10::BitBtn1Click() {
    close();
}

void TForm10::BitBtn2Click() {
    const QString path = m_store.DatabasePath();
    if (!ShowFileInFileManager(path)) {
        Messages().ShowMessage(QStringLiteral("Не удалось открыть каталог с базой данных: ") +
                               QDir::toNativeSeparators(QFileInfo(path).absolutePath()));
    }
}

}  // namespace tembrix
