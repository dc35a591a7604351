#pragma once
// A help clip player without a multimedia backend: it keeps the mode the real one would be in, records
// every call, and can be told to fail at Open. Installed for a scope by FakePlayers, which also keeps
// the players it made so that tests can look at them.

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
        if (failOpen) {
            return false;
        }
        mode = Mode::Stopped;
        position = 0;
        return true;
    }
    void Play() override {
        calls.append(QStringLiteral("Play"));
        mode = Mode::Playing;
    }
    void Pause() override {
        calls.append(QStringLiteral("Pause"));
        mode = Mode::Paused;
    }
    void Stop() override {
        calls.append(QStringLiteral("Stop"));
        if (mode != Mode::NotOpen) {
            mode = Mode::Stopped;
        }
    }
    void Rewind() override {
        calls.append(QStringLiteral("Rewind"));
        position = 0;
    }
    void Close() override {
        calls.append(QStringLiteral("Close"));
        mode = Mode::NotOpen;
    }

    Mode mode = Mode::NotOpen;
    qint64 position = 0;  // the test moves it to stand for playback time
    bool failOpen = false;
    QStringList calls;
};

// Makes panels use FakeClipPlayer for its lifetime; `made` holds the players in creation order (owned by
// their panels).
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
