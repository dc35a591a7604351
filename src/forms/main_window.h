#pragma once
// TForm1, the main window "Тембрикс": the indexing queue in a grid, the buttons and menus of the queue,
// the indexing job (start/stop button, the dispatcher and the status bar), the database commands, the
// settings dialog and the indexing report, and an information area with the help video (clip 4).
// It owns the process-wide state of the desktop program, a session: the program's files, the six
// settings, the queue and the scheduler. The index store is given to it. Main thread only.
//
// Life: the constructor starts the session (INI and log files, settings), takes the work folder's lock
// and, when it got it, empties the work folder (log lines "Read Ini file", "Prepare dialogs", "Init
// completed"); a work folder another copy of the program holds is left alone, and Start refuses to use
// it. One second later Timer1 loads the help pictures and connects the database ("Load info images").
// Closing, by the frame, the menu or the button, stops a running job, writes the INI file and empties
// the work folder; then closed() is emitted. The lock is held until the window is destroyed.

#include <QElapsedTimer>
#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <memory>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "app/job_progress.h"
#include "app/session.h"
#include "app/settings.h"

class QAction;
class QDialog;
class QLabel;
class QMenu;
class QProgressBar;
class QPushButton;
class QTableView;
class QTimer;

namespace tembrix {

class HelpVideoPanel;
class QueueModel;
class TDataModule1;
class TDataModule2;
class TForm2;
class TForm3;
class TForm7;
class TForm8;
class TForm9;
class TForm10;
class TAboutBox;

// The file filter of "Добавить файлы": the media files the queue takes, then all files.
QString MediaFileFilter();

class TForm1 : public QMainWindow {
    Q_OBJECT
public:
    // Runs a modal dialog and returns its result; the default is QDialog::exec(). Tests install one that
    // records the dialog instead of blocking.
    using ModalRunner = std::function<int(QDialog&)>;

    // `executablePath`: the program's own file; its folder is the program folder (content, lists,
    // database, companion program). `store` must outlive the window. `slotCount`: worker slots (the
    // logical processor count; tests give fewer).
    TForm1(TDataModule1& store, const QString& executablePath, int slotCount, QWidget* parent = nullptr);
    ~TForm1() override;

    // ---- start-up and closing
    // The one-second start-up tick (runs once): pictures, database connection, work folder.
    void Timer1Timer();
    // Loads the help pictures of every window (content/4.jpg, 6, 5, 8, 9, 7).
    void SetImageExecute();
    // Stops every help video of the program.
    void StopPlayExecute();
    // Deletes the worker slots' folders in the work folder.
    void ClearWorkDirectoryExecute();
    bool WriteINIExecute();
    // Menu "Выход": writes the INI file, empties the work folder and closes the window.
    void ExitMenuClick();

    // ---- the queue
    void AddFilesExecute();
    // Chooses a folder and adds every file below it. The files are collected on another thread and added
    // in slices, so the window stays responsive; IsCollecting() tells when that is under way.
    void AddDirectoryExecute();
    // Adds every file below `folder` (the part of AddDirectoryExecute after the chooser).
    void AddDirectory(const QString& folder);
    bool IsCollecting() const;
    void ClearListExecute();
    void DeleteFileFromListExecute();
    void N50Click();  // delete the files after the selected one
    void N51Click();  // delete the files before the selected one
    void N31Click();  // save the list
    void N32Click();  // open a list
    void UpdateListExecute();

    // ---- indexing
    void StartExecute();
    void StopExecute();
    void BitBtn4Click();
    void Timer3Timer();

    // ---- database and program commands
    void N9Click();   // create a new database
    void N11Click();  // clear the database
    void N42Click();  // compact the database
    void N14Click();  // switch to another database
    void N16Click();  // browser
    void N39Click();  // check
    void N41Click();  // import
    void N44Click();  // statistics
    void N47Click();  // restart
    void N49Click();  // companion program
    void N27Click();  // help
    void N28Click();  // about
    void N56Click();  // show the indexing report without clearing it
    void N52Click();  // report a bug
    void N53Click();  // review
    void N54Click();  // mail to the developers
    void N55Click();  // contact form
    // Shows the settings dialog modally on `page` (0 database and work folder, 1 tools, 2 speed; -1 the
    // page it showed last). When it was saved with a database other than the connected one, switches to
    // that database as "Переключиться на другую базу данных" does.
    void ShowSettings(int page);
    // Disconnects the current database and connects `file`, which must exist; writes the INI file; warns
    // when the file is read-only; rebuilds an open browser.
    void SwitchDatabase(const QString& file);

    // The job's progress beside the status panels: refreshed at every tick of the job and every second.
    void UpdateProgress();
    QProgressBar* ProgressBar() const { return m_progress; }
    // Keeps the first file in work in view unless the user has scrolled away from it.
    void FollowWork();

    // ---- state, for the start-up, the tests and the screenshots
    const QString& ProgramDir() const { return m_files.programDir; }
    const ProgramFiles& Files() const { return m_files; }
    Settings& CurrentSettings() { return m_settings; }
    IndexingQueue& Queue() { return m_queue; }
    IndexingScheduler& Scheduler() { return *m_scheduler; }
    TDataModule1& Store() { return m_store; }
    QueueModel* Model() const { return m_model; }
    QTableView* Grid() const { return m_grid; }
    TForm2* SettingsDialog() const { return m_form2; }
    TForm3* ReportWindow() const { return m_form3; }
    HelpVideoPanel* VideoPanel() const { return m_video; }
    QPushButton* StartButton() const { return m_bitBtn4; }
    QTimer* Timer1() const { return m_timer1; }
    QString StatusPanelText(int panel) const;
    // The grid's selected queue position (0 when nothing is selected).
    int SelectedIndex() const;
    void SelectIndex(int index);
    // A menu or pop-up action by its object name ("N9", "N50", …), null when none.
    QAction* Action(const QString& objectName) const;
    void SetModalRunner(ModalRunner runner) { m_modal = std::move(runner); }
    // The browser window once opened (modeless), null before.
    QWidget* BrowserWindow() const;

Q_SIGNALS:
    // The window has closed (the application ends then).
    void closed();
    // A folder's files have all been added.
    void directoryAdded();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    // The grid's Delete key deletes the selected file, as "Удалить файл" does.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildMenus();
    void BuildBody();
    void BuildStatusBar();
    void ConnectScheduler();
    // The minimum size at which every text is whole: the instruction text, the keys, the status panels
    // and the progress.
    void FitMinimumSize();
    void OnRunningChanged(bool running);
    // Shows the job's progress now (also after it ended: the last reading stays).
    void ShowProgress();
    // Rebuilds the browser when it is open (the database changed under it).
    void RefreshBrowser();
    // The first queue position with the status "в обработке", -1 when none.
    int FirstInWork() const;
    int RunModal(QDialog& dialog);
    // Adds `paths` from `next` on, a slice per event-loop turn.
    void AddCollected(std::shared_ptr<QStringList> paths, qsizetype next);
    void SetCollecting(bool collecting);
    // Opens a local file or program through the desktop; "Не найден файл: " + path when it is missing.
    bool OpenLocalFile(const QString& path);
    QString InitialFolder(const QString& name) const;

    QString m_executablePath;
    Session m_session;
    // The session's parts, under the names the window's code uses.
    const ProgramFiles& m_files;
    Settings& m_settings;
    IndexingQueue& m_queue;
    TDataModule1& m_store;
    IndexingScheduler* m_scheduler;

    QueueModel* m_model = nullptr;
    QTableView* m_grid = nullptr;
    HelpVideoPanel* m_video = nullptr;
    QPushButton* m_bitBtn1 = nullptr;
    QPushButton* m_bitBtn2 = nullptr;
    QPushButton* m_bitBtn3 = nullptr;
    QPushButton* m_bitBtn4 = nullptr;
    QPushButton* m_bitBtn5 = nullptr;
    QMenu* m_popup = nullptr;
    QLabel* m_panels[6] = {};
    QProgressBar* m_progress = nullptr;
    QWidget* m_info = nullptr;  // the information panel beside the grid
    JobProgress m_jobProgress;
    QElapsedTimer m_jobClock;
    bool m_followWork = true;        // the grid follows the files in work
    bool m_scrollingToWork = false;  // the grid is being scrolled by FollowWork, not by the user
    QTimer* m_timer1 = nullptr;
    QTimer* m_timer3 = nullptr;
    TForm2* m_form2 = nullptr;
    TForm3* m_form3 = nullptr;
    QString m_lastDatabaseName;
    int m_collecting = 0;  // folders being collected or added

    // The windows of the database commands, made on first use.
    std::shared_ptr<TDataModule2> m_source;  // shared_ptr: the type is complete only where made
    QPointer<QWidget> m_form9;
    ModalRunner m_modal;
};

}  // namespace tembrix
