// Shots of the main window, the settings dialog (each page) and the indexing report.

#include <QApplication>
#include <QElapsedTimer>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>

#include "app/indexing_queue.h"
#include "app/job_progress.h"
#include "forms/help_video_panel.h"
#include "forms/main_window.h"
#include "forms/report_window.h"
#include "forms/settings_dialog.h"
#include "screenshots.h"

namespace tembrix::shots {
namespace {

// Statuses as part-way through a job with two threads.
void MarkJobInProgress(TForm1& window) {
    IndexingQueue& queue = window.Queue();
    TForm3* report = window.ReportWindow();
    report->N2Click();
    for (qsizetype n = 0; n < queue.Count(); ++n) {
        const QueueEntry& entry = queue.At(n);
        if (n < 11) {
            const bool before = n == 4 || n == 8;
            const bool failed = n == 6;
            const QString status = failed ? kStatusError : before ? kStatusAlreadyIndexed : kStatusDone;
            queue.SetStatus(status, entry.path);
            if (failed) {
                report->AppendLine(TForm3::kErrorPage,
                                   QStringLiteral("Очень маленький размер аудио данных! - ") + entry.path);
            } else if (before) {
                report->AppendLine(TForm3::kAlreadyPage,
                                   QStringLiteral("Уже проиндексирован - ") + entry.path);
            } else {
                report->AppendLine(TForm3::kSuccessPage, QStringLiteral("Обработан успешно: ") + entry.path);
            }
        } else if (n < 13) {
            queue.SetStatus(kStatusInWork, entry.path);
        }
    }
    window.UpdateListExecute();
    // The progress as it would read 12 minutes into the job, all of the queue waiting at its start.
    QueueTally atStart = TallyQueue(queue);
    atStart.waitingFiles += atStart.finishedFiles + atStart.inWorkFiles;
    atStart.finishedFiles = 0;
    atStart.inWorkFiles = 0;
    atStart.finishedBytes = 0;
    JobProgress progress;
    progress.Begin(atStart);
    const ProgressSnapshot snapshot = progress.Measure(TallyQueue(queue), 12 * 60 * 1000);
    window.ProgressBar()->setValue(snapshot.permille);
    window.ProgressBar()->setFormat(ProgressText(snapshot));
    window.SelectIndex(11);
    window.Timer3Timer();
    report->Timer1Timer();
}

void MainWindow(ShotContext& context) {
    TForm1& window = *context.mainWindow;
    MarkJobInProgress(window);
    // The button as it reads while a job runs (the statuses above are staged, no job is started).
    window.StartButton()->setText(QStringLiteral("Остановить индексацию"));
    context.Save(&window, QStringLiteral("main_window"));
}

void SettingsDialog(ShotContext& context) {
    TForm2* dialog = context.mainWindow->SettingsDialog();
    const char* const names[3] = {"settings_database", "settings_tools", "settings_speed"};
    for (int page = 0; page < 3; ++page) {
        dialog->SetPage(page);
        context.Save(dialog, QString::fromLatin1(names[page]));
    }
    dialog->hide();
}

void ReportWindow(ShotContext& context) {
    TForm3* report = context.mainWindow->ReportWindow();
    MarkJobInProgress(*context.mainWindow);
    report->Pages()->setCurrentIndex(TForm3::kSuccessPage);
    context.Save(report, QStringLiteral("report_window"));
    report->Pages()->setCurrentIndex(TForm3::kErrorPage);
    context.Save(report, QStringLiteral("report_window_errors"));
    report->hide();
}

// The main window's help clip one and a half seconds after a click, played by the real backend.
void HelpVideoPlaying(ShotContext& context) {
    HelpVideoPanel* panel = context.mainWindow->VideoPanel();
    context.mainWindow->show();
    panel->PanelVideoClick();
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 1500) {
        QApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    context.Save(panel, QStringLiteral("help_video_playing"));
    HelpVideoPanel::StopAll();
}

}  // namespace

TEMBRIX_SCREENSHOT("help_video_playing", HelpVideoPlaying);
TEMBRIX_SCREENSHOT("main_window", MainWindow);
TEMBRIX_SCREENSHOT("report_window", ReportWindow);
TEMBRIX_SCREENSHOT("settings_dialog", SettingsDialog);

}  // namespace tembrix::shots
