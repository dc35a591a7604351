// The settings dialog and the help video panel.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardPaths>

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
    const auto edits = [](const QString& db, const QString& work, const QString& sox,
                          const QString& threads) {
        return QStringList{db, work, sox, threads};
    };
    const auto shown = [&] {
        return edits(dialog.DatabaseEdit()->text(), dialog.WorkDirEdit()->text(), dialog.SoxEdit()->text(),
                     dialog.ThreadsBox()->currentText());
    };
    dialog.FormShow();
    dialog.DatabaseEdit()->setText(QStringLiteral("/other.db"));
    dialog.ThreadsBox()->setCurrentIndex(0);
    dialog.CancelButton()->click();
    EXPECT_EQ(settings.dbPath + QString::number(settings.threads), "/data/index.db3");
    EXPECT_FALSE(QFile::exists(ini));
    dialog.FormShow();
    EXPECT_EQ(shown(), edits("/data/index.db", "/ram/work", "/usr/bin/sox", "3"));
    dialog.DatabaseEdit()->setText(QStringLiteral("/nowhere/typed.db"));  // not checked
    dialog.WorkDirEdit()->setText(QStringLiteral("relative/work"));
    dialog.ThreadsBox()->setCurrentIndex(5);
    dialog.CopyBox()->setChecked(true);
    dialog.SaveButton()->click();
    Settings written;
    ReadSettings(ini, written, 64);
    for (const Settings& s : {settings, written}) {
        EXPECT_EQ(
            edits(s.dbPath, s.workDir, s.soxPath, QString::number(s.threads) + (s.copyToWorkDir ? "c" : "")),
            edits("/nowhere/typed.db", "relative/work", "/usr/bin/sox", "6c"));
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

using Mode = HelpClipPlayer::Mode;

// Keeps the mode the real player would be in.
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
    void Rewind() override {}
    void Close() override { mode = Mode::NotOpen; }

    Mode mode = Mode::NotOpen;
    bool failOpen = false;
    QStringList opened;
};

// Catches a clip reloaded at every click, a click that does not toggle pause, and a missing or unopenable
// clip failing silently or taken for loaded.
TEST(HelpVideoPanelTest, ClicksToggleAndMissingOrBrokenClipsAreReported) {
    TempDir dir;
    RecordingMessages messages;
    dir.Write(QStringLiteral("content/5.mpg"), "clip");
    dir.Write(QStringLiteral("content/6.mpg"), "clip");
    std::vector<FakeClipPlayer*> made;
    const HelpClipPlayerFactory previous = HelpVideoPanel::SetPlayerFactory([&] {
        auto player = std::make_unique<FakeClipPlayer>();
        player->failOpen = !made.empty();  // only the first player opens its clip
        made.push_back(player.get());
        return player;
    });
    HelpVideoPanel good(5, dir.Path()), missing(7, dir.Path()), broken(6, dir.Path());
    for (Mode now : {Mode::Playing, Mode::Paused, Mode::Playing}) {
        good.PanelVideoClick();
        EXPECT_EQ(good.Mode(), now);
    }
    EXPECT_EQ(made.at(0)->opened, QStringList({good.ClipPath()}));
    missing.PanelVideoClick();
    broken.PanelVideoClick();  // another clip starting brings the first one's picture back
    EXPECT_TRUE(good.IsCoverShown());
    EXPECT_EQ(messages.shown,
              QStringList({missing.ClipPath(), "Ошибка инициализации: " + broken.ClipPath()}));
    EXPECT_EQ(QList<Mode>({missing.Mode(), broken.Mode()}), QList<Mode>({Mode::NotOpen, Mode::NotOpen}));
    HelpVideoPanel::SetPlayerFactory(previous);
}

}  // namespace
}  // namespace tembrix::test
