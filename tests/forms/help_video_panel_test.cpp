// Help videos: the panel's state machine over a fake player, and the real player on the backend.

#include <gtest/gtest.h>

#include <QProcess>
#include <QTest>

#include "forms/help_clip_player.h"
#include "forms/help_video_panel.h"
#include "support/media_fixtures.h"
#include "util/logs.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

using Mode = HelpClipPlayer::Mode;

// Keeps the mode the real player would be in; `position` stands for playback time.
struct FakeClipPlayer : HelpClipPlayer {
    Mode CurrentMode() const override { return mode; }
    bool Open(const QString& path) override {
        opened.append(path);
        mode = failOpen ? mode : Mode::Stopped;
        return !failOpen;
    }
    void Play() override { mode = Mode::Playing; }
    void Pause() override { mode = Mode::Paused; }
    void Stop() override { mode = mode == Mode::NotOpen ? mode : Mode::Stopped; }
    void Rewind() override { position = 0; }
    void Close() override { mode = Mode::NotOpen; }

    Mode mode = Mode::NotOpen;
    qint64 position = 0;
    bool failOpen = false;
    QStringList opened;
};

class HelpVideoPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetLogLocations(dir.File(QStringLiteral("tembrix.log")), dir.Path());
        for (int clip : {5, 6}) {
            dir.Write(QStringLiteral("content/%1.mpg").arg(clip), "clip");
        }
        previous = HelpVideoPanel::SetPlayerFactory([this] {
            auto player = std::make_unique<FakeClipPlayer>();
            player->failOpen = failOpen;
            made.push_back(player.get());
            return player;
        });
    }
    void TearDown() override {
        HelpVideoPanel::SetPlayerFactory(previous);
        SetLogLocations(QString(), QString());
    }

    TempDir dir;
    RecordingMessages messages;
    HelpClipPlayerFactory previous;
    std::vector<FakeClipPlayer*> made;
    bool failOpen = false;
};

// Catches a player made before the first click, a reload on every click and a restart while playing.
TEST_F(HelpVideoPanelTest, FirstClickLoadsThenClicksTogglePauseAndDoubleClicksRestart) {
    HelpVideoPanel panel(5, dir.Path());
    HelpVideoPanel::StopAll();
    panel.PanelVideoDblClick();
    panel.CloseClip();
    EXPECT_TRUE(made.empty());

    panel.resize(200, 120);
    QTest::mouseClick(&panel, Qt::LeftButton);
    ASSERT_EQ(made.size(), 1u);
    FakeClipPlayer* player = made[0];
    EXPECT_EQ(player->opened, QStringList({dir.File(QStringLiteral("content/5.mpg"))}));
    EXPECT_FALSE(panel.IsCoverShown());
    QTest::mouseClick(&panel, Qt::RightButton);
    for (Mode now : {Mode::Playing, Mode::Paused, Mode::Playing}) {
        EXPECT_EQ(panel.Mode(), now);
        QTest::mouseClick(&panel, Qt::LeftButton);
    }
    player->mode = Mode::Stopped;  // played to its end: resumes without loading again
    panel.PanelVideoClick();
    EXPECT_EQ(panel.Mode(), Mode::Playing);
    player->position = 700;
    QTest::mouseDClick(&panel, Qt::LeftButton);  // playing: no restart
    EXPECT_EQ(player->position, 700);
    for (Mode mode : {Mode::Paused, Mode::Stopped}) {
        player->mode = mode;
        player->position = 700;
        panel.PanelVideoDblClick();
        EXPECT_EQ(player->position, 0);
        EXPECT_EQ(panel.Mode(), Mode::Playing);
    }
    EXPECT_EQ(player->opened.size(), 1);
    EXPECT_EQ(LogMessagesIn(dir.File(QStringLiteral("tembrix.log"))), QStringList({"MediaPlayer 5.mpg"}));
    EXPECT_TRUE(messages.shown.isEmpty());
}

// Catches a missing or unopenable clip failing silently or being taken for loaded.
TEST_F(HelpVideoPanelTest, MissingOrBrokenClipIsReportedAndNothingLoads) {
    HelpVideoPanel missing(7, dir.Path()), broken(6, dir.Path());  // content/7.mpg was not written
    missing.PanelVideoClick();
    missing.PanelVideoClick();  // tried again
    EXPECT_EQ(messages.shown, QStringList(2, dir.File(QStringLiteral("content/7.mpg"))));
    EXPECT_EQ(missing.Mode(), Mode::NotOpen);
    EXPECT_TRUE(made.at(0)->opened.isEmpty());
    failOpen = true;
    broken.PanelVideoClick();  // another clip starting brings the first one's picture back
    EXPECT_TRUE(missing.IsCoverShown());
    EXPECT_EQ(messages.shown.mid(2), QStringList({"Ошибка инициализации: " + broken.ClipPath()}));
    EXPECT_EQ(broken.Mode(), Mode::NotOpen);
}

// Catches a real player that shows no frames or reports modes the backend is not in.
TEST(QtHelpClipPlayerTest, PlaysAClipAndHandsOverItsFrames) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the multimedia backend's threads are not instrumented";
#endif
    TempDir dir;
    const QString clip = dir.File(QStringLiteral("4.mpg"));  // 3 seconds of test picture, as the help clips
    QProcess ffmpeg;
    ffmpeg.start(RealFfmpeg(), {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x90:rate=25", "-t", "3",
                                "-c:v", "mpeg1video", "-f", "mpeg", "-y", clip});
    ASSERT_TRUE(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);
    QtHelpClipPlayer player;
    QString error;
    QList<QSize> frames;
    player.onError = [&](const QString& text) { error = text.isEmpty() ? QStringLiteral("?") : text; };
    player.onFrame = [&](const QImage& frame) { frames.append(frame.size()); };
    EXPECT_EQ(player.CurrentMode(), Mode::NotOpen);
    ASSERT_TRUE(player.Open(clip));
    EXPECT_EQ(player.CurrentMode(), Mode::Stopped);
    player.Play();
    EXPECT_EQ(player.CurrentMode(), Mode::Playing);
    ASSERT_TRUE(QTest::qWaitFor([&] { return frames.size() > 2 || !error.isEmpty(); }, 15000));
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    EXPECT_EQ(frames.last(), QSize(160, 90));
    player.Pause();
    EXPECT_EQ(player.CurrentMode(), Mode::Paused);
    player.Close();
    EXPECT_EQ(player.CurrentMode(), Mode::NotOpen);
}

}  // namespace
}  // namespace tembrix::test
