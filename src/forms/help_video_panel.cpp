#include "forms/help_video_panel.h"

#include <QFileInfo>
#include <QMap>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

#include "util/file_utils.h"
#include "util/logs.h"
#include "util/path_utils.h"
#include "util/user_messages.h"

namespace tembrix {
namespace {

std::vector<HelpVideoPanel*>& Registry() {
    static std::vector<HelpVideoPanel*> panels;
    return panels;
}

HelpClipPlayerFactory& Factory() {
    static HelpClipPlayerFactory factory;
    return factory;
}

// Pictures loaded by LoadCovers, by clip number, for panels created afterwards.
QMap<int, QPixmap>& CoverCache() {
    static QMap<int, QPixmap> covers;
    return covers;
}

std::unique_ptr<HelpClipPlayer> MakePlayer() {
    if (Factory()) {
        return Factory()();
    }
    return std::make_unique<QtHelpClipPlayer>();
}

}  // namespace

HelpVideoPanel::HelpVideoPanel(int clipNumber, const QString& programDir, QWidget* parent)
    : QWidget(parent), m_clipNumber(clipNumber), m_programDir(programDir) {
    setObjectName(QStringLiteral("PanelVideo"));
    setToolTip(QStringLiteral("Кликните мышкой чтобы начать или остановить воспроизведение"));
    setCursor(Qt::PointingHandCursor);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    const auto cached = CoverCache().constFind(clipNumber);
    if (cached != CoverCache().constEnd()) {
        m_cover = *cached;
    }
    Registry().push_back(this);
}

HelpVideoPanel::~HelpVideoPanel() {
    auto& panels = Registry();
    panels.erase(std::remove(panels.begin(), panels.end(), this), panels.end());
}

QString HelpVideoPanel::ClipPath() const {
    return JoinPath(JoinPath(m_programDir, QStringLiteral("content")),
                    QString::number(m_clipNumber) + QStringLiteral(".mpg"));
}

HelpClipPlayer::Mode HelpVideoPanel::Mode() const {
    return m_player ? m_player->CurrentMode() : HelpClipPlayer::Mode::NotOpen;
}

void HelpVideoPanel::SetCover(const QPixmap& cover) {
    m_cover = cover;
    updateGeometry();
    update();
}

void HelpVideoPanel::PanelVideoClick() {
    m_coverShown = false;
    update();
    if (!m_player) {
        m_player = MakePlayer();
        m_player->onFrame = [this](const QImage& frame) {
            m_frame = frame;
            update();
        };
        m_player->onError = [this](const QString&) {
            // The backend gave up after the clip was opened: unload it, so the next click tries anew.
            if (m_player && m_player->CurrentMode() != HelpClipPlayer::Mode::NotOpen) {
                m_player->Close();
                ShowInitError();
            }
        };
    }
    const HelpClipPlayer::Mode mode = m_player->CurrentMode();
    if (mode == HelpClipPlayer::Mode::Playing) {
        m_player->Pause();
        return;
    }
    if (mode == HelpClipPlayer::Mode::Paused || mode == HelpClipPlayer::Mode::Stopped) {
        m_player->Play();
        return;
    }
    ProgramLog(QStringLiteral("MediaPlayer %1.mpg").arg(m_clipNumber));
    for (HelpVideoPanel* other : std::vector<HelpVideoPanel*>(Registry())) {
        if (other != this) {
            other->Unload();
        }
    }
    m_fileName = ClipPath();
    m_frame = QImage();
    if (!FileExists(m_fileName)) {
        Messages().ShowMessage(m_fileName);
        return;
    }
    if (!m_player->Open(m_fileName)) {
        ShowInitError();
        return;
    }
    m_player->Play();
}

void HelpVideoPanel::PanelVideoDblClick() {
    const HelpClipPlayer::Mode mode = Mode();
    if (mode == HelpClipPlayer::Mode::Stopped || mode == HelpClipPlayer::Mode::Paused) {
        m_player->Rewind();
        m_player->Play();
    }
}

void HelpVideoPanel::CloseClip() {
    if (m_fileName.isEmpty()) {
        return;
    }
    if (m_player) {
        m_player->Stop();
        m_player->Close();
    }
    m_fileName.clear();
    m_frame = QImage();
    m_coverShown = true;
    update();
}

void HelpVideoPanel::Unload() {
    if (m_player && m_player->CurrentMode() == HelpClipPlayer::Mode::Playing) {
        m_player->Stop();
    }
    const HelpClipPlayer::Mode mode = Mode();
    if (mode == HelpClipPlayer::Mode::Playing) {
        return;  // a player that would not stop is left alone
    }
    if (m_player) {
        m_player->Close();
    }
    m_fileName.clear();
    m_frame = QImage();
    m_coverShown = true;
    update();
}

void HelpVideoPanel::ShowInitError() {
    Messages().ShowMessage(QStringLiteral("Ошибка инициализации: ") + m_fileName);
}

void HelpVideoPanel::StopAll() {
    for (HelpVideoPanel* panel : std::vector<HelpVideoPanel*>(Registry())) {
        panel->Unload();
    }
}

void HelpVideoPanel::LoadCovers(const QString& programDir, const QList<int>& clipNumbers) {
    for (int clip : clipNumbers) {
        const QString path = JoinPath(JoinPath(programDir, QStringLiteral("content")),
                                      QString::number(clip) + QStringLiteral(".jpg"));
        QPixmap picture;
        if (!picture.load(path)) {
            continue;
        }
        CoverCache().insert(clip, picture);
        for (HelpVideoPanel* panel : Registry()) {
            if (panel->m_clipNumber == clip) {
                panel->SetCover(picture);
            }
        }
    }
}

HelpClipPlayerFactory HelpVideoPanel::SetPlayerFactory(HelpClipPlayerFactory factory) {
    HelpClipPlayerFactory previous = std::move(Factory());
    Factory() = std::move(factory);
    return previous;
}

QSize HelpVideoPanel::sizeHint() const {
    return {320, heightForWidth(320)};
}

bool HelpVideoPanel::hasHeightForWidth() const {
    return true;
}

int HelpVideoPanel::heightForWidth(int width) const {
    if (m_cover.isNull() || m_cover.width() <= 0) {
        return width * 3 / 4;  // the clips' own proportion
    }
    return static_cast<int>(static_cast<qint64>(width) * m_cover.height() / m_cover.width());
}

QSize HelpVideoPanel::minimumSizeHint() const {
    return {120, 90};
}

void HelpVideoPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    // The picture or the video, as large as the panel allows, kept in proportion and centred.
    auto fitted = [this](QSize size) {
        if (size.isEmpty()) {
            size = QSize(4, 3);
        }
        const QSize scaled = size.scaled(this->size(), Qt::KeepAspectRatio);
        return QRect(QPoint((width() - scaled.width()) / 2, (height() - scaled.height()) / 2), scaled);
    };
    if (m_coverShown && !m_cover.isNull()) {
        painter.drawPixmap(fitted(m_cover.size()), m_cover);
        return;
    }
    if (!m_coverShown && !m_frame.isNull()) {
        const QRect target = fitted(m_frame.size());
        painter.fillRect(target, Qt::black);
        painter.drawImage(target, m_frame);
        return;
    }
    // No picture (or no frame yet): a dark screen with a play sign.
    const QRect screen = fitted(m_cover.isNull() ? QSize(4, 3) : m_cover.size());
    painter.fillRect(screen, QColor(0x2a, 0x25, 0x22));
    if (m_coverShown) {
        const int side = std::max(12, std::min(screen.width(), screen.height()) / 4);
        const QPointF centre = QRectF(screen).center();
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0xe8, 0xe0, 0xd8, 200));
        painter.drawEllipse(centre, side * 0.75, side * 0.75);
        painter.setBrush(QColor(0x5b, 0x4a, 0x3f));
        const QPointF triangle[3] = {centre + QPointF(-side * 0.22, -side * 0.32),
                                     centre + QPointF(-side * 0.22, side * 0.32),
                                     centre + QPointF(side * 0.36, 0)};
        painter.drawPolygon(triangle, 3);
    }
}

void HelpVideoPanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        PanelVideoClick();
    }
}

void HelpVideoPanel::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        PanelVideoDblClick();
    }
}

}  // namespace tembrix
