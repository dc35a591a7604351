#pragma once
// TForm2, "Настройки": the six settings on three pages (database and work folder; the outside tools and
// where to download them; speed: threads and copying), with the help video (clip 6). "Сохранить" takes
// the values as typed and writes the INI file; "Отмена" changes nothing. A modal dialog, centred on the
// main window. Main thread only.

#include <QDialog>

#include "app/settings.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QTabWidget;

namespace tembrix {

class HelpVideoPanel;

class TForm2 : public QDialog {
    Q_OBJECT
public:
    enum Page { kDatabasePage = 0, kToolsPage = 1, kSpeedPage = 2 };

    // `settings` (the program's own, edited in place on save) and `iniPath` must outlive the dialog.
    // The thread list holds 1 … `processors`.
    TForm2(Settings& settings, const QString& iniPath, const QString& programDir, int processors,
           QWidget* parent = nullptr);

    // Fills the controls from the settings (the dialog's show). A tool edit whose setting is empty shows,
    // greyed as its placeholder, the program the tool locator finds instead ("… (найдена
    // автоматически)") or "не найдена": saving leaves the setting empty, so the program is looked up
    // afresh each time and a moved tool is still found.
    void FormShow();
    // Selects a page before the dialog is shown.
    void SetPage(int page);
    int CurrentPage() const;

    // The "Выбрать" buttons: a confirmed choice replaces the edit's text; nothing is saved yet.
    void ChooseDatabase();
    void ChooseWorkDir();
    void ChooseFfmpeg();
    void ChooseSox();
    // "Сохранить": the edits as typed, thread limit = chosen item + 1, the copy flag; writes the INI
    // file and closes.
    void SaveClick();

    // The controls, for tests and screenshots.
    QLineEdit* DatabaseEdit() const { return m_database; }
    QLineEdit* WorkDirEdit() const { return m_workDir; }
    QLineEdit* FfmpegEdit() const { return m_ffmpeg; }
    QLineEdit* SoxEdit() const { return m_sox; }
    QComboBox* ThreadsBox() const { return m_threads; }
    QCheckBox* CopyBox() const { return m_copy; }
    QPushButton* SaveButton() const { return m_save; }
    QPushButton* CancelButton() const { return m_cancel; }
    // The four download buttons: maker's ffmpeg page, SoX page, own ffmpeg archive, own SoX + Lame.
    QPushButton* DownloadButton(int n) const { return m_downloads[n]; }
    QTabWidget* Pages() const { return m_pages; }
    HelpVideoPanel* VideoPanel() const { return m_video; }

protected:
    void showEvent(QShowEvent* event) override;
    void done(int result) override;

private:
    QWidget* MakeDatabasePage();
    QWidget* MakeToolsPage();
    QWidget* MakeSpeedPage();

    Settings& m_settings;
    QString m_iniPath;
    QTabWidget* m_pages = nullptr;
    QLineEdit* m_database = nullptr;
    QLineEdit* m_workDir = nullptr;
    QLineEdit* m_ffmpeg = nullptr;
    QLineEdit* m_sox = nullptr;
    QComboBox* m_threads = nullptr;
    QCheckBox* m_copy = nullptr;
    QPushButton* m_save = nullptr;
    QPushButton* m_cancel = nullptr;
    QPushButton* m_downloads[4] = {};
    HelpVideoPanel* m_video = nullptr;
    int m_processors;
    QString m_programDir;
};

// The file filter of the tool choosers: the tool's executable name as description and mask
// ("ffmpeg (ffmpeg)" here, "FFMPEG.exe (FFMPEG.exe)" on Windows).
QString ToolFilter(const QString& tool);

}  // namespace tembrix
