// The help video panel's state machine over a fake player: loading on the first click, play/pause,
// restart, one clip at a time across panels, the messages for a missing or broken clip, unloading.

#include <gtest/gtest.h>

#include <QTest>

#include "fake_clip_player.h"
#include "forms/help_video_panel.h"
#include "indexing/logs.h"
#include "main_window_fixture.h"

namespace tembrix::test {
namespace {

using Mode = HelpClipPlayer::Mode;

class HelpVideoPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetLogLocations(dir.File(QStringLiteral("tembrix.log")), dir.Path());
        for (int clip : {4, 5, 6}) {
            dir.Write(QStringLiteral("content/%1.mpg").arg(clip), "clip");
        }
    }
    void TearDown() override { SetLogLocations(QString(), QString()); }
    QStringList Log() const { return LogMessagesIn(dir.File(QStringLiteral("tembrix.log"))); }
    static bool Unloaded(const HelpVideoPanel& panel) {
        return panel.Mode() == Mode::NotOpen && panel.IsCoverShown() && panel.PlayerFileName().isEmpty();
    }

    TempDir dir;
    RecordingMessages messages;
    FakePlayers players;
};

TEST_F(HelpVideoPanelTest, FirstClickLoadsThenClicksTogglePauseAndDoubleClicksRestart) {
    HelpVideoPanel panel(5, dir.Path());
    HelpVideoPanel::StopAll();
    panel.PanelVideoDblClick();
    panel.CloseClip();
    EXPECT_TRUE(players.made.empty());  // no player until the first click
    EXPECT_TRUE(panel.IsCoverShown());

    panel.resize(200, 120);
    QTest::mouseClick(&panel, Qt::LeftButton);
    ASSERT_EQ(players.made.size(), 1u);
    FakeClipPlayer* player = players.made[0];
    EXPECT_EQ(panel.ClipPath(), dir.File(QStringLiteral("content/5.mpg")));
    EXPECT_EQ(player->calls, QStringList({QStringLiteral("Open ") + panel.ClipPath(), "Play"}));
    EXPECT_EQ(panel.PlayerFileName(), panel.ClipPath());
    EXPECT_FALSE(panel.IsCoverShown());
    QTest::mouseClick(&panel, Qt::RightButton);
    EXPECT_EQ(panel.Mode(), Mode::Playing);
    for (Mode next : {Mode::Paused, Mode::Playing, Mode::Paused}) {
        QTest::mouseClick(&panel, Qt::LeftButton);
        EXPECT_EQ(panel.Mode(), next);
    }
    player->mode = Mode::Stopped;  // played to its end: resumes without loading again
    panel.PanelVideoClick();
    EXPECT_EQ(panel.Mode(), Mode::Playing);

    player->position = 700;
    QTest::mouseDClick(&panel, Qt::LeftButton);  // playing: no restart
    EXPECT_EQ(player->position, 700);
    for (Mode mode : {Mode::Paused, Mode::Stopped}) {
        player->mode = mode;
        panel.PanelVideoDblClick();
        EXPECT_EQ(player->position, 0);
        EXPECT_EQ(panel.Mode(), Mode::Playing);
        player->position = 700;
    }
    EXPECT_EQ(player->calls.filter(QStringLiteral("Open")).size(), 1);
    EXPECT_EQ(Log(), QStringList({"MediaPlayer 5.mpg"}));
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST_F(HelpVideoPanelTest, OneClipAtATimeAndStopAllOrClosingUnloads) {
    HelpVideoPanel main(4, dir.Path()), report(5, dir.Path()), settings(6, dir.Path()),
        untouched(6, dir.Path());
    main.PanelVideoClick();
    report.PanelVideoClick();  // main is stopped and unloaded
    EXPECT_TRUE(Unloaded(main));
    EXPECT_EQ(players.made[0]->calls.mid(2), QStringList({"Stop", "Close"}));
    report.PanelVideoClick();  // paused
    settings.PanelVideoClick();
    EXPECT_TRUE(Unloaded(report));
    EXPECT_EQ(settings.Mode(), Mode::Playing);
    EXPECT_FALSE(settings.IsCoverShown());

    main.PanelVideoClick();  // loads anew, with its log line again
    EXPECT_EQ(main.Mode(), Mode::Playing);
    EXPECT_TRUE(Unloaded(settings));
    EXPECT_EQ(Log(), QStringList({"MediaPlayer 4.mpg", "MediaPlayer 5.mpg", "MediaPlayer 6.mpg",
                                  "MediaPlayer 4.mpg"}));
    EXPECT_EQ(players.made.size(), 3u);  // each panel keeps its one player

    main.PanelVideoClick();  // paused
    HelpVideoPanel::StopAll();
    for (HelpVideoPanel* panel : {&main, &report, &settings, &untouched}) {
        EXPECT_TRUE(Unloaded(*panel)) << panel->ClipNumber();
    }
    EXPECT_FALSE(untouched.HasPlayer());

    report.PanelVideoClick();
    report.CloseClip();  // the window closes
    EXPECT_TRUE(Unloaded(report));
    EXPECT_EQ(players.made[1]->calls.filter(QStringLiteral("Open")).size(), 2);
}

TEST_F(HelpVideoPanelTest, MissingClipShowsItsPathAndKeepsThePictureHidden) {
    HelpVideoPanel panel(7, dir.Path());  // content/7.mpg was not written
    panel.PanelVideoClick();
    panel.PanelVideoClick();  // tried again
    EXPECT_EQ(messages.shown, QStringList(2, dir.File(QStringLiteral("content/7.mpg"))));
    EXPECT_EQ(Log(), QStringList(2, "MediaPlayer 7.mpg"));
    EXPECT_FALSE(panel.IsCoverShown());
    EXPECT_EQ(panel.Mode(), Mode::NotOpen);
    EXPECT_TRUE(players.made.at(0)->calls.filter(QStringLiteral("Open")).isEmpty());
    HelpVideoPanel other(4, dir.Path());
    other.PanelVideoClick();  // another clip starting brings the picture back
    EXPECT_TRUE(panel.IsCoverShown());
}

TEST(HelpVideoPanelInit, PlayerThatCannotOpenShowsTheInitialisationError) {
    TempDir dir;
    const QString clip = dir.Write(QStringLiteral("content/8.mpg"), "clip");
    RecordingMessages messages;
    FakePlayers players(/*failOpen=*/true);
    HelpVideoPanel panel(8, dir.Path());
    panel.PanelVideoClick();
    EXPECT_EQ(messages.shown, QStringList({QStringLiteral("Ошибка инициализации: ") + clip}));
    EXPECT_EQ(panel.Mode(), Mode::NotOpen);
}

TEST_F(HelpVideoPanelTest, CoversLoadedAtStartReachLaterPanelsToo) {
    QImage picture(16, 9, QImage::Format_RGB32);
    picture.fill(Qt::red);
    ASSERT_TRUE(picture.save(dir.File(QStringLiteral("content/5.jpg"))));
    HelpVideoPanel before(5, dir.Path()), otherClip(4, dir.Path());
    HelpVideoPanel::LoadCovers(dir.Path(), {4, 5});  // 4.jpg is missing: skipped
    HelpVideoPanel after(5, dir.Path());
    auto showsRed = [](HelpVideoPanel& panel) {
        panel.resize(160, 90);
        const QColor middle = panel.grab().toImage().pixelColor(80, 45);
        return middle.red() > 200 && middle.green() < 80 && middle.blue() < 80;
    };
    EXPECT_TRUE(showsRed(before));
    EXPECT_TRUE(showsRed(after));
    EXPECT_FALSE(showsRed(otherClip));
}

}  // namespace
}  // namespace tembrix::test
