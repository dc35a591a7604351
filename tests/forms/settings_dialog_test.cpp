// The settings dialog: filled when shown, Save as typed, Cancel, found tools, and the main window's own.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardPaths>

#include "forms/settings_dialog.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// Catches edits not filled again at a show, Cancel keeping what was typed, no threads shown as one, an
// edit checked or changed on the way to the settings, and an INI file not written.
TEST(SettingsDialogTest, ShowFillsCancelDropsAndSaveTakesTheEditsAsTyped) {
    TempDir dir;
    RecordingMessages messages;
    const QString ini = dir.File(QStringLiteral("tembrix.ini"));
    Settings settings{.ffmpegPath = "/usr/bin/ffmpeg",
                      .soxPath = "/usr/bin/sox",
                      .workDir = "/ram/work",
                      .dbPath = "/data/index.db",
                      .threads = 3,
                      .copyToWorkDir = false};
    TForm2 dialog(settings, ini, dir.Path(), 6);
    const auto edits = [&] {
        return QStringList{dialog.DatabaseEdit()->text(), dialog.WorkDirEdit()->text(),
                           dialog.FfmpegEdit()->text(), dialog.SoxEdit()->text(),
                           dialog.ThreadsBox()->currentText()};
    };
    const QStringList shown = {"/data/index.db", "/ram/work", "/usr/bin/ffmpeg", "/usr/bin/sox", "3"};
    dialog.FormShow();
    EXPECT_EQ(edits(), shown);
    dialog.DatabaseEdit()->setText(QStringLiteral("/other.db"));
    dialog.ThreadsBox()->setCurrentIndex(0);
    dialog.CancelButton()->click();
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_EQ(settings.dbPath + QString::number(settings.threads), "/data/index.db3");
    EXPECT_FALSE(QFile::exists(ini));
    dialog.FormShow();
    EXPECT_EQ(edits(), shown);

    dialog.DatabaseEdit()->setText(QStringLiteral("/nowhere/typed.db"));  // not checked
    dialog.WorkDirEdit()->setText(QStringLiteral("relative/work"));
    dialog.FfmpegEdit()->setText(QString());
    dialog.ThreadsBox()->setCurrentIndex(5);
    dialog.CopyBox()->setChecked(true);
    dialog.SaveButton()->click();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    Settings written;
    ReadSettings(ini, written, 64);
    for (const Settings& s : {settings, written}) {
        EXPECT_EQ(QStringList({s.dbPath, s.workDir, s.ffmpegPath, s.soxPath}),
                  QStringList({"/nowhere/typed.db", "relative/work", "", "/usr/bin/sox"}));
        EXPECT_EQ(s.threads, 6);
        EXPECT_TRUE(s.copyToWorkDir);
    }
    settings.threads = 0;
    dialog.FormShow();
    EXPECT_EQ(dialog.ThreadsBox()->currentIndex(), -1);
    dialog.SaveClick();
    EXPECT_EQ(settings.threads, 0);
    EXPECT_TRUE(messages.shown.isEmpty());
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

// Catches a dialog that saves into settings other than the window's own, or a menu that resets its page.
TEST(SettingsDialogTest, SavedSettingsAreTheWindowsOwnAndTheMenuKeepsThePage) {
    MainWindowFixture f;
    TForm2* dialog = f.window->SettingsDialog();
    dialog->FormShow();
    dialog->SoxEdit()->setText(QStringLiteral("/from/dialog/sox"));
    dialog->SaveClick();
    EXPECT_EQ(f.window->CurrentSettings().soxPath + f.IniSettings().soxPath,
              "/from/dialog/sox/from/dialog/sox");
    dialog->SetPage(TForm2::kSpeedPage);
    f.window->Action(QStringLiteral("N18"))->trigger();
    ASSERT_EQ(f.modals.size(), 1u);
    EXPECT_EQ(f.modals[0].page, TForm2::kSpeedPage);
}

}  // namespace
}  // namespace tembrix::test
