#pragma once
// The indexing scheduler: runs a job over the indexing queue. It hands the waiting files, in queue order,
// to ProcessMediaFile workers, one per slot, at most as many at once as the Threads setting allows;
// collects each worker's outcome into the queue's status words and the three report lists; and ends the
// job when no worker is left. Driven by a 500 ms dispatcher timer on the main thread; the desktop
// window and the command-line front end both drive it. Main thread only.
//
// Slot n's worker works in <work folder>/<n>; two workers never share a slot. Emptying the work folder
// removes the subfolders 0 … slot count − 1 and nothing else.

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <vector>

#include "indexing/tool_locator.h"

namespace tembrix {

class IndexingQueue;
class ProcessMediaFile;
class TDataModule1;
struct Settings;

class IndexingScheduler : public QObject {
    Q_OBJECT
public:
    enum class StartResult { Started, NoWorkDir, NoDatabase, NoFfmpeg, NoSox, EmptyQueue };
    enum ReportList { kSuccessList = 0, kErrorList = 1, kAlreadyList = 2 };

    // `settings` is the live process-wide settings object, read at each Start and each tick (tool paths,
    // work folder, thread limit, copy flag); `programDir` holds id3-tags-cli; `slotCount` is the number
    // of worker slots (the logical processors). All three references must outlive the scheduler.
    IndexingScheduler(IndexingQueue& queue, TDataModule1& store, const Settings& settings,
                      const QString& programDir, int slotCount, QObject* parent = nullptr);
    // Stops a running job without messages (workers are joined).
    ~IndexingScheduler() override;

    // Checks the work folder, the database file, ffmpeg, SoX (an empty tool setting is filled in by the
    // tool locator) and the queue, in this order; each refusal shows its message and returns its
    // result. On success clears the report lists, empties the work folder, starts the dispatcher timer
    // and emits runningChanged(true).
    StartResult StartExecute();
    // Stops the job: the timer stops, 1000 ms pass (queued calls of the workers are still delivered),
    // every worker in a slot is marked "остановлен" in the queue and reported as stopped, and joined;
    // the work folder is emptied and "Индексация остановлена!" shown. Nothing when no job runs.
    void StopExecute();
    // One dispatcher tick: collect finished workers, launch new ones, refresh, and end the job when every
    // slot is empty (commit, "Задание выполнено!"). Public so tests can drive it without the timer.
    // Besides the 500 ms timer, a tick also runs as soon as a worker ends, so a free slot is refilled at
    // once instead of idling until the next timer tick; the outcome is the same either way.
    void Timer2Timer();
    // Removes the subfolders 0 … SlotCount() − 1 of the work folder with their contents.
    void ClearWorkDirectoryExecute();

    bool IsRunning() const { return m_running; }
    int SlotCount() const { return static_cast<int>(m_slots.size()); }
    // The path of the file in work in `slot`, or "" when the slot is empty.
    QString SlotPath(int slot) const;

    // The job report: "Обработан успешно: PATH", "TEXT - PATH" and "Остановлен: PATH",
    // "Уже проиндексирован - PATH".
    const QStringList& Successes() const { return m_successes; }
    const QStringList& Errors() const { return m_errors; }
    const QStringList& AlreadyIndexed() const { return m_already; }

    // Rows inserted and seconds of audio indexed by the workers collected in this job.
    int TracksIndexed() const { return m_tracksIndexed; }
    qint64 SecondsIndexed() const { return m_secondsIndexed; }

    // The SoX and ffmpeg programs the workers get: the setting, or the tool locator's find when empty.
    QString SoxPath();
    QString FfmpegPath();

Q_SIGNALS:
    void reportLine(int list, const QString& line);  // each line as it is appended to a report list
    void reportCleared();
    void queueChanged();                // after each tick's collect/launch: the grid refreshes
    void runningChanged(bool running);  // the start/stop button's caption
    void jobFinished();                 // after "Задание выполнено!" or the stop

private:
    void AddReport(int list, const QString& line);
    // Marks the finished workers' files and frees their slots.
    void Collect();
    // Fills empty slots below the thread limit with workers for the next waiting files.
    void Launch();
    int ThreadLimit() const;
    // A worker's thread has ended: let it finish and tick.
    void OnWorkerFinished();

    IndexingQueue& m_queue;
    TDataModule1& m_store;
    const Settings& m_settings;
    QString m_programDir;
    ToolLocator m_locator;
    std::vector<ProcessMediaFile*> m_slots;  // owned; null = empty slot
    QTimer m_timer2;
    bool m_busy = false;  // the tick's re-entrancy guard
    bool m_running = false;
    bool m_stopping = false;  // inside StopExecute: ticks from ending workers are ignored
    QStringList m_successes;
    QStringList m_errors;
    QStringList m_already;
    int m_tracksIndexed = 0;
    qint64 m_secondsIndexed = 0;
};

// The six status-bar counters of the queue, label and number: "Кол-во файлов: N", "Обработано: N",
// "Ошибка: N", "Проиндексировано ранее: N", "В обработке: N", "Осталось: N".
QStringList QueueCounterTexts(const IndexingQueue& queue);

}  // namespace tembrix
