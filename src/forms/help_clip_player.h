#pragma once
// The player behind a help video panel, as a small interface so that the panel's behaviour can be driven
// without the multimedia backend (tests inject their own). The real one, QtHelpClipPlayer, plays through
// Qt Multimedia and hands every decoded frame to the panel, which paints it. Main thread only.

#include <QImage>
#include <QString>
#include <functional>
#include <memory>

class QMediaPlayer;
class QAudioOutput;
class QVideoSink;

namespace tembrix {

class HelpClipPlayer {
public:
    // NotOpen covers every mode in which no clip is loaded (never opened, closed, failed).
    enum class Mode { NotOpen, Stopped, Playing, Paused };

    virtual ~HelpClipPlayer() = default;

    virtual Mode CurrentMode() const = 0;
    // Loads the clip; false when the player cannot be initialised for it (no backend, bad file).
    virtual bool Open(const QString& path) = 0;
    virtual void Play() = 0;
    virtual void Pause() = 0;
    virtual void Stop() = 0;
    // Back to the first frame (position 0); the mode is kept.
    virtual void Rewind() = 0;
    // Unloads the clip; the mode becomes NotOpen.
    virtual void Close() = 0;

    // Called with each frame to show (main thread).
    std::function<void(const QImage&)> onFrame;
    // Called with a text when the backend fails after Open (main thread).
    std::function<void(const QString&)> onError;
};

// Creates a player; the panel calls it on its first click.
using HelpClipPlayerFactory = std::function<std::unique_ptr<HelpClipPlayer>()>;

// The real player: QMediaPlayer with an audio output and a video sink.
class QtHelpClipPlayer : public HelpClipPlayer {
public:
    QtHelpClipPlayer();
    ~QtHelpClipPlayer() override;

    Mode CurrentMode() const override;
    bool Open(const QString& path) override;
    void Play() override;
    void Pause() override;
    void Stop() override;
    void Rewind() override;
    void Close() override;

private:
    // Loads the clip again and plays it: the one retry after a failure before the first frame.
    void Reload();

    std::unique_ptr<QMediaPlayer> m_player;
    std::unique_ptr<QAudioOutput> m_audio;
    std::unique_ptr<QVideoSink> m_sink;
    QString m_path;
    bool m_open = false;
    bool m_framesSeen = false;  // a frame arrived since Open
    bool m_retried = false;     // the one reload after an early failure is spent
};

}  // namespace tembrix
