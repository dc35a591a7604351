#include "forms/about_box.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>
#include <cmath>

#include "forms/shell_open.h"
#include "forms/web_links.h"

namespace tembrix {

namespace {

constexpr int kImageWidth = 200;
constexpr int kImageHeight = 150;

// Which third a coordinate falls in: 0 before the range, 1 inside [low, high), 2 at or after high.
int Band(int value, int low, int high) {
    if (value < low) {
        return 0;
    }
    return value < high ? 1 : 2;
}

// Stands in for a missing image file: a plain card with an arrow towards the pointer.
QPixmap FallbackImage(int index) {
    QPixmap pixmap(kImageWidth, kImageHeight);
    pixmap.fill(QColor(0xE8, 0xEC, 0xF2));
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(0x44, 0x66, 0xA3), 2));
    p.drawRect(pixmap.rect().adjusted(1, 1, -2, -2));
    const QPointF centre(kImageWidth / 2.0, kImageHeight / 2.0);
    const int dx = index % 3 - 1;
    const int dy = index / 3 - 1;
    if (dx == 0 && dy == 0) {
        p.setBrush(QColor(0x44, 0x66, 0xA3));
        p.drawEllipse(centre, 10, 10);
    } else {
        const double angle = std::atan2(dy, dx);
        const QPointF tip = centre + QPointF(std::cos(angle), std::sin(angle)) * 50;
        p.drawLine(centre, tip);
        QPainterPath head;
        head.moveTo(tip);
        head.lineTo(tip - QPointF(std::cos(angle - 0.5), std::sin(angle - 0.5)) * 14);
        head.lineTo(tip - QPointF(std::cos(angle + 0.5), std::sin(angle + 0.5)) * 14);
        head.closeSubpath();
        p.fillPath(head, QColor(0x44, 0x66, 0xA3));
    }
    return pixmap;
}

}  // namespace

int AboutImageIndex(QPoint pointer, const QRect& reference) {
    const int left = reference.left();
    const int top = reference.top();
    const int column = Band(pointer.x(), left, left + reference.width());
    const int row = Band(pointer.y(), top, top + reference.height());
    return row * 3 + column;
}

QString AboutImagePath(const QString& programDir, int index) {
    return programDir + QStringLiteral("/content/about%1.jpg").arg(index + 1);
}

TAboutBox::TAboutBox(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("О программе"));
    setObjectName(QStringLiteral("AboutBox"));

    const QString programDir = QCoreApplication::applicationDirPath();
    for (int i = 0; i < 9; ++i) {
        QPixmap loaded(AboutImagePath(programDir, i));
        m_images[i] = loaded.isNull() ? FallbackImage(i)
                                      : loaded.scaled(kImageWidth, kImageHeight, Qt::KeepAspectRatio,
                                                      Qt::SmoothTransformation);
    }

    auto* panel = new QFrame(this);
    panel->setObjectName(QStringLiteral("Panel1"));
    panel->setFrameShape(QFrame::StyledPanel);
    panel->setFrameShadow(QFrame::Sunken);

    m_image = new QLabel(panel);
    m_image->setObjectName(QStringLiteral("Image1"));
    m_image->setFixedSize(kImageWidth, kImageHeight);
    m_image->setAlignment(Qt::AlignCenter);

    auto* productName = new QLabel(QStringLiteral("Тембрикс"), panel);
    productName->setObjectName(QStringLiteral("ProductName"));
    QFont big = productName->font();
    big.setPointSizeF(big.pointSizeF() * 1.8);
    big.setBold(true);
    productName->setFont(big);
    auto* version = new QLabel(QStringLiteral("Версия " TEMBRIX_VERSION), panel);
    version->setObjectName(QStringLiteral("Version"));
    auto* copyright = new QLabel(QStringLiteral("Разработчик: команда «Тембрикс»"), panel);
    copyright->setObjectName(QStringLiteral("Copyright"));
    m_comments =
        new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(links::kMakerSite.toHtmlEscaped()), panel);
    m_comments->setObjectName(QStringLiteral("Comments"));
    m_comments->setCursor(Qt::PointingHandCursor);
    m_comments->setTextInteractionFlags(Qt::NoTextInteraction);
    m_comments->installEventFilter(this);

    auto* texts = new QVBoxLayout;
    texts->addWidget(productName);
    texts->addWidget(version);
    texts->addSpacing(12);
    texts->addWidget(copyright);
    texts->addWidget(m_comments);
    texts->addStretch(1);

    auto* panelLayout = new QHBoxLayout(panel);
    panelLayout->addWidget(m_image, 0, Qt::AlignTop);
    panelLayout->addSpacing(8);
    panelLayout->addLayout(texts, 1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("OK"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(panel);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    ShowImage(4);
    m_visible = -1;

    m_timer1 = new QTimer(this);
    m_timer1->setInterval(100);
    connect(m_timer1, &QTimer::timeout, this, &TAboutBox::Timer1Timer);
}

void TAboutBox::Timer1Timer() {
    const QRect reference(m_image->mapToGlobal(QPoint(0, 0)), m_image->size());
    ShowImage(AboutImageIndex(QCursor::pos(), reference));
}

void TAboutBox::ShowImage(int index) {
    if (index == m_visible || index < 0 || index >= static_cast<int>(m_images.size())) {
        return;
    }
    m_visible = index;
    m_image->setPixmap(m_images[index]);
}

void TAboutBox::CommentsClick() {
    ShellOpen(QUrl(links::kMakerSite));
}

void TAboutBox::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    Timer1Timer();
    m_timer1->start();
}

void TAboutBox::hideEvent(QHideEvent* event) {
    m_timer1->stop();
    QDialog::hideEvent(event);
}

bool TAboutBox::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_comments && event->type() == QEvent::MouseButtonRelease) {
        CommentsClick();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

}  // namespace tembrix
