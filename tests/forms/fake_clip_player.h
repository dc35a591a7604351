#pragma once
// A help clip player without a multimedia backend: it keeps the mode the real one would be in, records
// every call and can be told to fail at Open. FakePlayers installs it for a scope and keeps what it made.

#include <QStringList>
#include <vector>

#include "forms/help_clip_player.h"
#include "forms/help_video_panel.h"

namespace tembrix::test {

class FakeClipPlayer : public HelpClipPlayer {
public:
    Mode CurrentMode() const override { return mode; }
    bool Open(const QString& path) override {
        calls.append(QStringLiteral("Open ") + path);
        position = 0;
        return !failOpen && Note("", Mode::Stopped);
    }
    void Play() override { Note("Play", Mode::Playing); }
    void Pause() override { Note("Pause", Mode::Paused); }
    void Stop() override { Note("Stop", mode == Mode::NotOpen ? Mode::NotOpen : Mode::Stopped); }
    void Rewind() override {
        Note("Rewind", mode);
        position = 0;
    }
    void Close() override { Note("Close", Mode::NotOpen); }

    Mode mode = Mode::NotOpen;
    qint64 position = 0;  // moved by the test to stand for playback time
    bool failOpen = false;
    QStringList calls;

private:
    bool Note(const char* call, Mode next) {
        if (*call != '\0') {
            calls.append(QString::fromLatin1(call));
        }
        mode = next;
        return true;
    }
};

// Panels use FakeClipPlayer while this lives; `made` holds the players in creation order.
class FakePlayers {
public:
    explicit FakePlayers(bool failOpen = false) {
        m_previous = HelpVideoPanel::SetPlayerFactory([this, failOpen] {
            auto player = std::make_unique<FakeClipPlayer>();
            player->failOpen = failOpen;
            made.push_back(player.get());
            return player;
        });
    }
    ~FakePlayers() { HelpVideoPanel::SetPlayerFactory(m_previous); }
    std::vector<FakeClipPlayer*> made;

private:
    HelpClipPlayerFactory m_previous;
};

}  // namespace tembrix::test
