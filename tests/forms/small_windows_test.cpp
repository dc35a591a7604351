// The settings dialog and the help video panel.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardPaths>
#include <QTest>

#include "forms/help_clip_player.h"
#include "forms/help_video_panel.h"
#include "forms/settings_dialog.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// Catches edits not filled again at a show, Cancel keeping what was typed, an edit checked or changed on
// the way to the settings, an INI file not written, and no threads shown as one.
TEST(SettingsDialogTest, ShowFillsCancelDropsAndSaveTakesTheEditsAsTyped) {
    TempDir dir;
    const QString ini = dir.File(QStringLiteral("tembrix.ini"));
    Settings settings;
    settings.soxPath = QStringLiteral("/usr/bin/sox");
    settings.workDir = QStringLiteral("/ram/work");
    settings.dbPath = QStringLiteral("/data/index.db");
    settings.threads = 3;
    TForm2 dialog(settings, ini, dir.Path(), 6);
    const auto edits = [&] {
        return QStringList{dialog.DatabaseEdit()->text(), dialog.WorkDirEdit()->text(),
                           dialog.SoxEdit()->text(), dialog.ThreadsBox()->currentText()};
    };
    const QStringList shown = {"/data/index.db", "/ram/work", "/usr/bin/sox", "3"};
    dialog.FormShow();
    EXPECT_EQ(edits(), shown);
    dialog.DatabaseEdit()->setText(QStringLiteral("/other.db"));
    dialog.ThreadsBox()->setCurrentIndex(0);
    dialog.CancelButton()->click();
    EXPECT_EQ(settings.dbPath + QString::number(settings.threads), "/data/index.db3");
    EXPECT_FALSE(QFile::exists(ini));
    dialog.FormShow();
    EXPECT_EQ(edits(), shown);
    dialog.DatabaseEdit()->setText(QStringLiteral("/nowhere/typed.db"));  // not checked
    dialog.WorkDirEdit()->setText(QStringLiteral("relative/work"));
    dialog.ThreadsBox()->setCurrentIndex(5);
    dialog.CopyBox()->setChecked(true);
    dialog.SaveButton()->click();
    Settings written;
    ReadSettings(ini, written, 64);
    for (const Settings& s : {settings, written}) {
        EXPECT_EQ(QStringList({s.dbPath, s.workDir, s.soxPath, QString::number(s.threads)}),
                  QStringList({"/nowhere/typed.db", "relative/work", "/usr/bin/sox", "6"}));
        EXPECT_TRUE(s.copyToWorkDir);
    }
    settings.threads = 0;
    dialog.FormShow();
    EXPECT_EQ(dialog.ThreadsBox()->currentIndex(), -1);
    dialog.SaveClick();
    EXPECT_EQ(settings.threads, 0);
}

// Catches tool edits left blank although the program will use a tool it finds by itself, and a found
// tool written into the settings unasked (a moved tool would then no longer be found).
TEST(SettingsDialogTest, EmptyToolSettingsShowTheToolThatWillBeUsed) {
    TempDir dir;
    const QString sox = dir.Write(QStringLiteral("sox"), "tool");  // beside the program: found first
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    Settings settings;
    TForm2 dialog(settings, dir.File(QStringLiteral("tembrix.ini")), dir.Path(), 2);
    dialog.FormShow();
    EXPECT_EQ(dialog.SoxEdit()->placeholderText(), sox + " (найдена автоматически)");
    EXPECT_EQ(dialog.FfmpegEdit()->placeholderText(),
              ffmpeg.isEmpty() ? QStringLiteral("не найдена") : ffmpeg + " (найдена автоматически)");
    dialog.SaveClick();
    EXPECT_EQ(settings.soxPath + settings.ffmpegPath, "");
}

// Catches a settings menu that resets the page the dialog was left on.
TEST(SettingsDialogTest, TheMenuKeepsThePage) {
    MainWindowFixture f;
    f.window->SettingsDialog()->SetPage(TForm2::kSpeedPage);
    f.window->Action(QStringLiteral("N18"))->trigger();
    ASSERT_EQ(f.modals.size(), 1u);
    EXPECT_EQ(f.modals[0].page, TForm2::kSpeedPage);
}

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

// Clips 5 and 6 in a program folder, panels playing through fake players.
class HelpVideoPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir.Write(QStringLiteral("content/5.mpg"), "clip");
        dir.Write(QStringLiteral("content/6.mpg"), "clip");
        previous = HelpVideoPanel::SetPlayerFactory([this] {
            auto player = std::make_unique<FakeClipPlayer>();
            player->failOpen = failOpen;
            made.push_back(player.get());
            return player;
        });
    }
    void TearDown() override { HelpVideoPanel::SetPlayerFactory(previous); }

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
        panel.PanelVideoDblClick();
        EXPECT_EQ(player->position, 0);
        EXPECT_EQ(panel.Mode(), Mode::Playing);
        player->position = 700;
    }
    EXPECT_EQ(player->opened, QStringList({dir.File(QStringLiteral("content/5.mpg"))}));
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

}  // namespace
}  // namespace tembrix::test
