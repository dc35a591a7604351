#include "forms/help_clip_player.h"

#include <QAudioOutput>
#include <QMediaPlayer>
#include <QTimer>
#include <QUrl>
#include <QVideoFrame>
#include <QVideoSink>

namespace tembrix {

QtHelpClipPlayer::QtHelpClipPlayer()
    : m_player(std::make_unique<QMediaPlayer>()),
      m_audio(std::make_unique<QAudioOutput>()),
      m_sink(std::make_unique<QVideoSink>()) {
    m_player->setAudioOutput(m_audio.get());
    m_player->setVideoSink(m_sink.get());
    QObject::connect(m_sink.get(), &QVideoSink::videoFrameChanged, m_sink.get(),
                     [this](const QVideoFrame& frame) {
                         if (frame.isValid()) {
                             m_framesSeen = true;
                         }
                         if (onFrame && frame.isValid()) {
                             onFrame(frame.toImage());
                         }
                     });
    QObject::connect(m_player.get(), &QMediaPlayer::errorOccurred, m_player.get(),
                     [this](QMediaPlayer::Error error, const QString& text) {
                         if (error == QMediaPlayer::NoError || !m_open) {
                             return;
                         }
                         // A pipeline that fails before its first frame (seen now and then on virtual
                         // displays) is built anew once, after this handler has returned.
                         if (!m_framesSeen && !m_retried) {
                             m_retried = true;
                             QTimer::singleShot(0, m_player.get(), [this] { Reload(); });
                             return;
                         }
                         if (onError) {
                             onError(text);
                         }
                     });
}

QtHelpClipPlayer::~QtHelpClipPlayer() {
    // The sink and the audio output must outlive the player that feeds them.
    m_player->stop();
    m_player.reset();
}

HelpClipPlayer::Mode QtHelpClipPlayer::CurrentMode() const {
    if (!m_open) {
        return Mode::NotOpen;
    }
    switch (m_player->playbackState()) {
        case QMediaPlayer::PlayingState:
            return Mode::Playing;
        case QMediaPlayer::PausedState:
            return Mode::Paused;
        case QMediaPlayer::StoppedState:
            break;
    }
    return Mode::Stopped;
}

bool QtHelpClipPlayer::Open(const QString& path) {
    if (!m_player->isAvailable()) {
        return false;
    }
    m_path = path;
    m_framesSeen = false;
    m_retried = false;
    m_player->setSource(QUrl::fromLocalFile(path));
    m_open = m_player->error() == QMediaPlayer::NoError;
    return m_open;
}

void QtHelpClipPlayer::Reload() {
    if (!m_open) {
        return;
    }
    m_player->setSource(QUrl());
    m_player->setSource(QUrl::fromLocalFile(m_path));
    m_player->play();
}

void QtHelpClipPlayer::Play() {
    if (m_open) {
        m_player->play();
    }
}

void QtHelpClipPlayer::Pause() {
    if (m_open) {
        m_player->pause();
    }
}

void QtHelpClipPlayer::Stop() {
    if (m_open) {
        m_player->stop();
    }
}

void QtHelpClipPlayer::Rewind() {
    if (m_open) {
        m_player->setPosition(0);
    }
}

void QtHelpClipPlayer::Close() {
    m_open = false;
    m_player->stop();
    m_player->setSource(QUrl());
}

}  // namespace tembrix
