// The settings dialog: filled when shown, Save as typed, Cancel, and the main window's own settings.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardPaths>

#include "forms/settings_dialog.h"
#include "main_window_fixture.h"

namespace tembrix::test {
namespace {

class SettingsDialogTest : public ::testing::Test {
protected:
    SettingsDialogTest() : dialog(settings, dir.File(QStringLiteral("tembrix.ini")), dir.Path(), 6) {
        settings = {.ffmpegPath = "/usr/bin/ffmpeg",
                    .soxPath = "/usr/bin/sox",
                    .workDir = "/ram/work",
                    .dbPath = "/data/index.db",
                    .threads = 3,
                    .copyToWorkDir = false};
        dialog.FormShow();
    }
    QStringList Edits() const {
        return {dialog.DatabaseEdit()->text(), dialog.WorkDirEdit()->text(), dialog.FfmpegEdit()->text(),
                dialog.SoxEdit()->text(), dialog.ThreadsBox()->currentText()};
    }
    Settings Written() const {
        Settings read;
        read.threads = -1;
        ReadSettings(dir.File(QStringLiteral("tembrix.ini")), read, 64);
        return read;
    }

    TempDir dir;
    RecordingMessages messages;
    Settings settings;
    TForm2 dialog;
};

// Catches edits not filled again at a show, Cancel keeping what was typed, and no threads shown as one.
TEST_F(SettingsDialogTest, ShowFillsTheEditsAndCancelChangesNothing) {
    const QStringList shown = {"/data/index.db", "/ram/work", "/usr/bin/ffmpeg", "/usr/bin/sox", "3"};
    EXPECT_EQ(Edits(), shown);
    EXPECT_FALSE(dialog.CopyBox()->isChecked());

    dialog.DatabaseEdit()->setText(QStringLiteral("/other.db"));
    dialog.ThreadsBox()->setCurrentIndex(0);
    dialog.CancelButton()->click();
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_EQ(settings.dbPath, "/data/index.db");
    EXPECT_EQ(settings.threads, 3);
    EXPECT_EQ(Written().threads, -1);  // no INI file was written
    dialog.FormShow();
    EXPECT_EQ(Edits(), shown);

    settings.threads = 0;
    dialog.FormShow();
    EXPECT_EQ(dialog.ThreadsBox()->currentIndex(), -1);
    dialog.SaveClick();
    EXPECT_EQ(settings.threads, 0);
}

// Catches an edit checked or changed on the way to the settings, or an INI file not written.
TEST_F(SettingsDialogTest, SaveTakesTheEditsAsTypedAndWritesTheIniFile) {
    dialog.DatabaseEdit()->setText(QStringLiteral("/nowhere/typed.db"));  // not checked
    dialog.WorkDirEdit()->setText(QStringLiteral("relative/work"));
    dialog.FfmpegEdit()->setText(QString());
    dialog.SoxEdit()->setText(QStringLiteral("/opt/sox"));
    dialog.ThreadsBox()->setCurrentIndex(5);
    dialog.CopyBox()->setChecked(true);
    dialog.SaveButton()->click();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    for (const Settings& s : {settings, Written()}) {
        EXPECT_EQ(QStringList({s.dbPath, s.workDir, s.ffmpegPath, s.soxPath}),
                  QStringList({"/nowhere/typed.db", "relative/work", "", "/opt/sox"}));
        EXPECT_EQ(s.threads, 6);
        EXPECT_TRUE(s.copyToWorkDir);
    }
    EXPECT_TRUE(messages.shown.isEmpty());
}

// Catches tool edits left blank although the program will use a tool it finds by itself, and a found
// tool written into the settings unasked (a moved tool would then no longer be found).
TEST(SettingsDialogTools, EmptyToolSettingsShowTheToolThatWillBeUsed) {
    TempDir dir;
    const QString sox = dir.Write(QStringLiteral("sox"), "tool");  // beside the program: found first
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    Settings settings;
    settings.threads = 1;
    TForm2 dialog(settings, dir.File(QStringLiteral("tembrix.ini")), dir.Path(), 2);
    dialog.FormShow();
    EXPECT_EQ(dialog.SoxEdit()->placeholderText(), sox + " (найдена автоматически)");
    EXPECT_EQ(dialog.FfmpegEdit()->placeholderText(),
              ffmpeg.isEmpty() ? QStringLiteral("не найдена") : ffmpeg + " (найдена автоматически)");
    dialog.SaveClick();
    EXPECT_EQ(settings.soxPath + settings.ffmpegPath, "");
}

// Catches a dialog that saves into settings other than the window's own, or a menu that resets its page.
TEST(SettingsFromTheMainWindow, SavedSettingsAreTheWindowsOwnAndTheMenuKeepsThePage) {
    MainWindowFixture f;
    TForm2* dialog = f.window->SettingsDialog();
    dialog->FormShow();
    dialog->SoxEdit()->setText(QStringLiteral("/from/dialog/sox"));
    dialog->SaveClick();
    EXPECT_EQ(f.window->CurrentSettings().soxPath, "/from/dialog/sox");
    EXPECT_EQ(f.IniSettings().soxPath, "/from/dialog/sox");
    dialog->SetPage(TForm2::kSpeedPage);
    f.window->Action(QStringLiteral("N18"))->trigger();
    ASSERT_EQ(f.modals.size(), 1u);
    EXPECT_EQ(f.modals[0].page, TForm2::kSpeedPage);
}

}  // namespace
}  // namespace tembrix::test
