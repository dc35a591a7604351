// The help video panel's state machine over a fake player: loading on the first click, play/pause,
// restart, one clip at a time across panels, the messages for a missing or broken clip, unloading.

#include <gtest/gtest.h>

#include <QFile>
#include <QTest>

#include "fake_clip_player.h"
#include "forms/help_video_panel.h"
#include "indexing/logs.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix::test {
namespace {

using Mode = HelpClipPlayer::Mode;

class HelpVideoPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetLogLocations(m_dir.File(QStringLiteral("tembrix.log")), m_dir.Path());
        for (int clip : {4, 5, 6}) {
            m_dir.Write(QStringLiteral("content/%1.mpg").arg(clip), "clip");
        }
    }
    void TearDown() override { SetLogLocations(QString(), QString()); }

    QStringList LogLines() const {
        QFile f(m_dir.File(QStringLiteral("tembrix.log")));
        if (!f.open(QIODevice::ReadOnly)) {
            return {};
        }
        QStringList lines;
        for (const QByteArray& line : f.readAll().split('\n')) {
            if (!line.isEmpty()) {
                lines.append(QString::fromUtf8(line).section(u' ', 2));  // without date and time
            }
        }
        return lines;
    }

    TempDir m_dir;
    RecordingMessages m_messages;
    FakePlayers m_players;
};

TEST_F(HelpVideoPanelTest, NoPlayerIsMadeUntilTheFirstClick) {
    HelpVideoPanel panel(4, m_dir.Path());
    EXPECT_FALSE(panel.HasPlayer());
    HelpVideoPanel::StopAll();
    panel.PanelVideoDblClick();
    panel.CloseClip();
    EXPECT_FALSE(panel.HasPlayer());
    EXPECT_TRUE(m_players.made.empty());
    EXPECT_TRUE(panel.IsCoverShown());
}

TEST_F(HelpVideoPanelTest, ClickLoadsThenTogglesPauseAndPlay) {
    HelpVideoPanel panel(5, m_dir.Path());
    panel.PanelVideoClick();
    ASSERT_EQ(m_players.made.size(), 1u);
    FakeClipPlayer* player = m_players.made[0];
    EXPECT_EQ(player->calls, QStringList({QStringLiteral("Open ") + panel.ClipPath(), "Play"}));
    EXPECT_EQ(panel.ClipPath(), m_dir.File(QStringLiteral("content/5.mpg")));
    EXPECT_EQ(panel.PlayerFileName(), panel.ClipPath());
    EXPECT_FALSE(panel.IsCoverShown());

    const struct {
        Mode before;
        Mode after;
    } steps[] = {{Mode::Playing, Mode::Paused}, {Mode::Paused, Mode::Playing}, {Mode::Playing, Mode::Paused}};
    for (const auto& step : steps) {
        ASSERT_EQ(panel.Mode(), step.before);
        panel.PanelVideoClick();
        EXPECT_EQ(panel.Mode(), step.after);
    }
    // A clip that played to its end (stopped) resumes on a click without being loaded again.
    player->mode = Mode::Stopped;
    panel.PanelVideoClick();
    EXPECT_EQ(panel.Mode(), Mode::Playing);
    EXPECT_EQ(player->calls.filter(QStringLiteral("Open")).size(), 1);
    EXPECT_EQ(LogLines(), QStringList({"MediaPlayer 5.mpg"}));
    EXPECT_TRUE(m_messages.shown.isEmpty());
}

TEST_F(HelpVideoPanelTest, DoubleClickRestartsOnlyAPausedOrStoppedClip) {
    HelpVideoPanel panel(4, m_dir.Path());
    panel.PanelVideoClick();
    FakeClipPlayer* player = m_players.made.at(0);
    player->position = 700;
    panel.PanelVideoDblClick();  // playing: nothing
    EXPECT_EQ(player->position, 700);
    EXPECT_EQ(panel.Mode(), Mode::Playing);

    for (Mode mode : {Mode::Paused, Mode::Stopped}) {
        player->mode = mode;
        player->position = 700;
        panel.PanelVideoDblClick();
        EXPECT_EQ(player->position, 0);
        EXPECT_EQ(panel.Mode(), Mode::Playing);
    }
}

TEST_F(HelpVideoPanelTest, MouseClicksReachTheHandlers) {
    HelpVideoPanel panel(4, m_dir.Path());
    panel.resize(200, 120);
    QTest::mouseClick(&panel, Qt::LeftButton);
    ASSERT_EQ(m_players.made.size(), 1u);
    EXPECT_EQ(panel.Mode(), Mode::Playing);
    QTest::mouseClick(&panel, Qt::RightButton);
    EXPECT_EQ(panel.Mode(), Mode::Playing);
    QTest::mouseClick(&panel, Qt::LeftButton);
    EXPECT_EQ(panel.Mode(), Mode::Paused);
    m_players.made[0]->position = 300;
    QTest::mouseDClick(&panel, Qt::LeftButton);
    EXPECT_EQ(m_players.made[0]->position, 0);
    EXPECT_EQ(panel.Mode(), Mode::Playing);
}

TEST_F(HelpVideoPanelTest, StartingOneClipUnloadsEveryOther) {
    HelpVideoPanel main(4, m_dir.Path());
    HelpVideoPanel report(5, m_dir.Path());
    HelpVideoPanel settings(6, m_dir.Path());
    main.PanelVideoClick();    // playing
    report.PanelVideoClick();  // starts; main is stopped and unloaded
    EXPECT_EQ(main.Mode(), Mode::NotOpen);
    EXPECT_TRUE(main.IsCoverShown());
    EXPECT_TRUE(main.PlayerFileName().isEmpty());
    EXPECT_EQ(m_players.made[0]->calls.mid(2), QStringList({"Stop", "Close"}));
    report.PanelVideoClick();  // paused
    settings.PanelVideoClick();
    EXPECT_EQ(report.Mode(), Mode::NotOpen);
    EXPECT_TRUE(report.IsCoverShown());
    EXPECT_EQ(settings.Mode(), Mode::Playing);
    EXPECT_FALSE(settings.IsCoverShown());
    EXPECT_EQ(LogLines(), QStringList({"MediaPlayer 4.mpg", "MediaPlayer 5.mpg", "MediaPlayer 6.mpg"}));

    // The unloaded clip starts anew on its next click, with its log line again.
    main.PanelVideoClick();
    EXPECT_EQ(main.Mode(), Mode::Playing);
    EXPECT_EQ(settings.Mode(), Mode::NotOpen);
    EXPECT_EQ(LogLines().size(), 4);
    EXPECT_EQ(m_players.made.size(), 3u);  // each panel keeps its one player
}

TEST_F(HelpVideoPanelTest, StopAllUnloadsPlayingAndPausedClips) {
    HelpVideoPanel a(4, m_dir.Path());
    HelpVideoPanel b(5, m_dir.Path());
    HelpVideoPanel untouched(6, m_dir.Path());
    a.PanelVideoClick();
    b.PanelVideoClick();  // a unloaded; b playing
    b.PanelVideoClick();  // b paused
    HelpVideoPanel::StopAll();
    for (HelpVideoPanel* panel : {&a, &b, &untouched}) {
        EXPECT_EQ(panel->Mode(), Mode::NotOpen) << panel->ClipNumber();
        EXPECT_TRUE(panel->IsCoverShown()) << panel->ClipNumber();
        EXPECT_TRUE(panel->PlayerFileName().isEmpty()) << panel->ClipNumber();
    }
    EXPECT_FALSE(untouched.HasPlayer());
}

TEST_F(HelpVideoPanelTest, MissingClipShowsItsPathAndKeepsThePictureHidden) {
    HelpVideoPanel panel(7, m_dir.Path());  // content/7.mpg was not written
    panel.PanelVideoClick();
    EXPECT_EQ(m_messages.shown, QStringList({m_dir.File(QStringLiteral("content/7.mpg"))}));
    EXPECT_FALSE(panel.IsCoverShown());
    EXPECT_EQ(panel.Mode(), Mode::NotOpen);
    EXPECT_EQ(m_players.made.at(0)->calls.filter(QStringLiteral("Open")).size(), 0);
    // A second click tries again (the log line too); another clip starting brings the picture back.
    panel.PanelVideoClick();
    EXPECT_EQ(m_messages.shown.size(), 2);
    EXPECT_EQ(LogLines(), QStringList({"MediaPlayer 7.mpg", "MediaPlayer 7.mpg"}));
    HelpVideoPanel other(4, m_dir.Path());
    other.PanelVideoClick();
    EXPECT_TRUE(panel.IsCoverShown());
}

TEST(HelpVideoPanelInit, PlayerThatCannotOpenShowsTheInitialisationError) {
    TempDir dir;
    dir.Write(QStringLiteral("content/8.mpg"), "clip");
    RecordingMessages messages;
    FakePlayers players(/*failOpen=*/true);
    HelpVideoPanel panel(8, dir.Path());
    panel.PanelVideoClick();
    EXPECT_EQ(messages.shown, QStringList({QStringLiteral("Ошибка инициализации: ") +
                                           dir.File(QStringLiteral("content/8.mpg"))}));
    EXPECT_EQ(panel.Mode(), Mode::NotOpen);
}

TEST_F(HelpVideoPanelTest, ClosingTheWindowUnloadsTheClip) {
    HelpVideoPanel panel(4, m_dir.Path());
    panel.PanelVideoClick();
    panel.PanelVideoClick();  // paused
    panel.CloseClip();
    EXPECT_EQ(panel.Mode(), Mode::NotOpen);
    EXPECT_TRUE(panel.IsCoverShown());
    EXPECT_TRUE(panel.PlayerFileName().isEmpty());
    panel.PanelVideoClick();
    EXPECT_EQ(panel.Mode(), Mode::Playing);
    EXPECT_EQ(m_players.made[0]->calls.filter(QStringLiteral("Open")).size(), 2);
    EXPECT_EQ(LogLines().size(), 2);
}

TEST_F(HelpVideoPanelTest, CoversLoadedAtStartReachLaterPanelsToo) {
    QImage picture(16, 9, QImage::Format_RGB32);
    picture.fill(Qt::red);
    ASSERT_TRUE(picture.save(m_dir.File(QStringLiteral("content/5.jpg"))));
    HelpVideoPanel before(5, m_dir.Path());
    HelpVideoPanel otherClip(4, m_dir.Path());
    HelpVideoPanel::LoadCovers(m_dir.Path(), {4, 5});  // 4.jpg is missing: skipped
    HelpVideoPanel after(5, m_dir.Path());
    before.resize(160, 90);
    after.resize(160, 90);
    otherClip.resize(160, 90);
    auto showsRed = [](HelpVideoPanel& panel) {
        const QColor middle = panel.grab().toImage().pixelColor(80, 45);
        return middle.red() > 200 && middle.green() < 80 && middle.blue() < 80;
    };
    EXPECT_TRUE(showsRed(before));
    EXPECT_TRUE(showsRed(after));
    EXPECT_FALSE(showsRed(otherClip));
}

}  // namespace
}  // namespace tembrix::test
