// The settings dialog: filled from the settings when shown, choosers that only change the edits, Save
// writing the INI file exactly as typed, Cancel changing nothing, the thread list, and the download
// buttons' addresses.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>

#include "forms/help_video_panel.h"
#include "forms/settings_dialog.h"
#include "forms/web_links.h"
#include "main_window_fixture.h"

namespace tembrix::test {
namespace {

class SettingsDialogTest : public ::testing::Test {
protected:
    SettingsDialogTest() : dialog(settings, dir.File(QStringLiteral("tembrix.ini")), dir.Path(), 6) {
        settings.dbPath = QStringLiteral("/data/index.db");
        settings.workDir = QStringLiteral("/ram/work");
        settings.ffmpegPath = QStringLiteral("/usr/bin/ffmpeg");
        settings.soxPath = QStringLiteral("/usr/bin/sox");
        settings.threads = 3;
        settings.copyToWorkDir = false;
        dialog.FormShow();
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

TEST_F(SettingsDialogTest, ShowsTheSettingsOnThreePages) {
    EXPECT_EQ(dialog.windowTitle(), "Настройки");
    ASSERT_EQ(dialog.Pages()->count(), 3);
    EXPECT_EQ(dialog.Pages()->tabText(0), "База данных и рабочий каталог");
    EXPECT_EQ(dialog.Pages()->tabText(1), "Необходимые утилиты");
    EXPECT_EQ(dialog.Pages()->tabText(2), "Скорость индексации");
    EXPECT_EQ(dialog.DatabaseEdit()->text(), "/data/index.db");
    EXPECT_EQ(dialog.WorkDirEdit()->text(), "/ram/work");
    EXPECT_EQ(dialog.FfmpegEdit()->text(), "/usr/bin/ffmpeg");
    EXPECT_EQ(dialog.SoxEdit()->text(), "/usr/bin/sox");
    QStringList items;
    for (int n = 0; n < dialog.ThreadsBox()->count(); ++n) {
        items.append(dialog.ThreadsBox()->itemText(n));
    }
    EXPECT_EQ(items, QStringList({"1", "2", "3", "4", "5", "6"}));
    EXPECT_EQ(dialog.ThreadsBox()->currentText(), "3");
    EXPECT_FALSE(dialog.CopyBox()->isChecked());
    EXPECT_EQ(dialog.CopyBox()->text(), "Копировать файлы в рабочий каталог");
    EXPECT_EQ(dialog.VideoPanel()->ClipNumber(), 6);
}

TEST_F(SettingsDialogTest, SaveTakesTheEditsAsTypedAndWritesTheIniFile) {
    dialog.DatabaseEdit()->setText(QStringLiteral("/nowhere/typed.db"));  // not checked
    dialog.WorkDirEdit()->setText(QStringLiteral("relative/work"));
    dialog.FfmpegEdit()->setText(QString());
    dialog.SoxEdit()->setText(QStringLiteral("/opt/sox"));
    dialog.ThreadsBox()->setCurrentIndex(5);
    dialog.CopyBox()->setChecked(true);
    dialog.SaveButton()->click();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    const Settings written = Written();
    for (const Settings* s : {static_cast<const Settings*>(&settings), &written}) {
        EXPECT_EQ(s->dbPath, "/nowhere/typed.db");
        EXPECT_EQ(s->workDir, "relative/work");
        EXPECT_EQ(s->ffmpegPath, "");
        EXPECT_EQ(s->soxPath, "/opt/sox");
        EXPECT_EQ(s->threads, 6);
        EXPECT_TRUE(s->copyToWorkDir);
    }
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST_F(SettingsDialogTest, CancelChangesNothingAndTheNextShowRestoresTheEdits) {
    dialog.DatabaseEdit()->setText(QStringLiteral("/other.db"));
    dialog.ThreadsBox()->setCurrentIndex(0);
    dialog.CancelButton()->click();
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_EQ(settings.dbPath, "/data/index.db");
    EXPECT_EQ(settings.threads, 3);
    EXPECT_EQ(Written().threads, -1);  // no INI file was written
    dialog.FormShow();
    EXPECT_EQ(dialog.DatabaseEdit()->text(), "/data/index.db");
    EXPECT_EQ(dialog.ThreadsBox()->currentText(), "3");
}

TEST_F(SettingsDialogTest, ChoosersReplaceTheEditOnlyWhenConfirmed) {
    const struct {
        const char* title;
        std::function<void()> choose;
        QLineEdit* edit;
        const char* chosen;
    } choosers[] = {
        {"Выбрать базу данных", [this] { dialog.ChooseDatabase(); }, dialog.DatabaseEdit(), "/chosen/db.db"},
        {"Выбрать рабочий каталог", [this] { dialog.ChooseWorkDir(); }, dialog.WorkDirEdit(), "/chosen/work"},
        {"Путь к FFMPEG", [this] { dialog.ChooseFfmpeg(); }, dialog.FfmpegEdit(), "/chosen/ffmpeg"},
        {"Путь к SOX", [this] { dialog.ChooseSox(); }, dialog.SoxEdit(), "/chosen/sox"},
    };
    for (const auto& c : choosers) {
        SCOPED_TRACE(c.title);
        const QString before = c.edit->text();
        c.choose();  // cancelled
        EXPECT_EQ(c.edit->text(), before);
        messages.choices.push_back(QString::fromLatin1(c.chosen));
        c.choose();
        EXPECT_EQ(c.edit->text(), QString::fromLatin1(c.chosen));
        EXPECT_EQ(messages.chooserTitles.last(), QString::fromUtf8(c.title));
    }
    EXPECT_EQ(settings.dbPath, "/data/index.db");  // nothing saved yet
}

TEST_F(SettingsDialogTest, NoThreadsIsKeptAsNone) {
    settings.threads = 0;
    dialog.FormShow();
    EXPECT_EQ(dialog.ThreadsBox()->currentIndex(), -1);
    dialog.SaveClick();
    EXPECT_EQ(settings.threads, 0);
}

TEST_F(SettingsDialogTest, DownloadButtonsOpenTheirPages) {
    UrlCatcher urls;
    for (int n = 0; n < 4; ++n) {
        dialog.DownloadButton(n)->click();
    }
    EXPECT_EQ(urls.opened, QList<QUrl>({QUrl(links::kFfmpegDownload), QUrl(links::kSoxDownload),
                                        QUrl(links::kOwnFfmpegArchive), QUrl(links::kOwnSoxArchive)}));
    EXPECT_EQ(dialog.DownloadButton(2)->toolTip(), "Загрузить с нашего сайта");
    EXPECT_EQ(dialog.DownloadButton(3)->toolTip(),
              "Содержит дополнительно библиотеку для работы с MP3 файлами");
    EXPECT_EQ(dialog.DownloadButton(3)->text(), "SOX + Lame");
}

TEST(SettingsFromTheMainWindow, SavedSettingsAreTheWindowsOwn) {
    MainWindowFixture f;
    TForm2* dialog = f.window->SettingsDialog();
    dialog->FormShow();
    dialog->SoxEdit()->setText(QStringLiteral("/from/dialog/sox"));
    dialog->SaveClick();
    EXPECT_EQ(f.window->CurrentSettings().soxPath, "/from/dialog/sox");
    EXPECT_EQ(f.IniSettings().soxPath, "/from/dialog/sox");
    // The menu item opens it on the page it showed last; Start's checks choose their page.
    dialog->SetPage(TForm2::kSpeedPage);
    f.window->Action(QStringLiteral("N18"))->trigger();
    ASSERT_EQ(f.modals.size(), 1u);
    EXPECT_EQ(f.modals[0].page, TForm2::kSpeedPage);
}

}  // namespace
}  // namespace tembrix::test
