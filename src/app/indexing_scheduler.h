#pragma once
// The indexing scheduler: runs a job over the indexing queue. It hands the waiting files, in queue order,
// to ProcessMediaFile workers, one per slot, at most as many at once as the Threads setting allows;
// collects each worker's outcome into the queue's status words and the three report lists; and ends the
// job when no worker is left. Driven by a 500 ms dispatcher timer on the main thread; the desktop
// window and the command-line front end both drive it. Main thread only; it never blocks that thread
// for long (a stop is finished from the event loop as the workers end).
//
// One job per work folder: the scheduler holds an exclusive lock file in the work folder before it
// empties or uses anything there, so two programs (or two schedulers) never share slot folders.
//
// Slot n's worker works in <work folder>/<n>; two workers never share a slot. Emptying the work folder
// removes the subfolders 0 … slot count − 1 and nothing else.

#include <QLockFile>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <memory>
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
    enum class StartResult {
        Started,
        NoWorkDir,
        WorkDirBusy,
        NoDatabase,
        NoFfmpeg,
        NoFfprobe,
        NoSox,
        EmptyQueue
    };
    enum ReportList { kSuccessList = 0, kErrorList = 1, kAlreadyList = 2 };

    // `settings` is the live process-wide settings object, read at each Start and each tick (tool paths,
    // thread limit, copy flag; the work folder is taken at Start for the whole job); `programDir` holds
    // id3-tags-cli; `slotCount` is the number of worker slots, at most the logical processor count (a
    // larger number is cut down to it). All three references must outlive the scheduler.
    IndexingScheduler(IndexingQueue& queue, TDataModule1& store, const Settings& settings,
                      const QString& programDir, int slotCount, QObject* parent = nullptr);
    // Ends a running job without messages: its tools are killed and its workers joined (within a
    // fraction of a second, delivering their calls meanwhile), the slot folders emptied when the work
    // folder lock is held, and the lock released.
    ~IndexingScheduler() override;

    // Checks the work folder, takes its lock (WorkDirBusy, "Рабочий каталог используется другой копией
    // программы: FOLDER", when another holder has it), then checks the database (its file, connected),
    // ffmpeg, ffprobe beside it, SoX (an empty tool setting is filled in by the tool locator) and the queue,
    // in this order; each refusal shows its message and returns its result. On success clears the report
    // lists, empties the work folder, starts the dispatcher timer and emits runningChanged(true).
    StartResult StartExecute();
    // Begins stopping the job and returns at once: the timer stops and every worker is asked to stop
    // (its tool is killed, it stores nothing more). As the workers end, the main thread's event loop
    // goes on as usual; when the last has ended, each file that was stopped is marked "остановлен" and
    // reported "Остановлен: PATH" (a file whose worker had already finished is collected as usual), the
    // work folder is emptied, runningChanged(false) is emitted, "Индексация остановлена!" shown and
    // jobFinished() emitted. Nothing when no job runs or a stop is already under way.
    void StopExecute();
    // True from StopExecute until the stop has finished.
    bool IsStopping() const { return m_stopping; }
    // StopExecute, then runs a local event loop (all events: windows keep painting and answering) until
    // the stop has finished. `quiet` leaves out the message box (closing the window or the program).
    void StopAndWait(bool quiet);

    // One dispatcher tick: collect finished workers, launch new ones, refresh, and end the job when every
    // slot is empty (commit, "Задание выполнено!"). Public so tests can drive it without the timer.
    // Besides the 500 ms timer, a tick also runs as soon as a worker ends, so a free slot is refilled at
    // once instead of idling until the next timer tick; the outcome is the same either way.
    void Timer2Timer();

    // Takes (or keeps) the exclusive lock of the work folder of the current settings: a lock file in it
    // that a crashed holder does not leave stuck. When the setting names another folder than the one
    // locked, the lock moves there (not while a job runs: the job keeps its folder). False when the
    // folder is missing or another holder, in this process or another, has its lock.
    bool LockWorkFolder();
    // Releases the lock (nothing while a job runs).
    void UnlockWorkFolder();
    // True while this scheduler holds the lock of `WorkFolder()`.
    bool HoldsWorkFolder() const { return m_lock != nullptr; }
    // The folder locked, or "".
    QString WorkFolder() const { return m_lockedFolder; }
    // Removes the subfolders 0 … SlotCount() − 1 of the work folder with their contents, once the work
    // folder lock is held (it is taken first when it can be); touches nothing otherwise, nor while a
    // job runs.
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
    // Marks the finished workers' files (stopped ones "остановлен") and frees their slots.
    void Collect();
    // Fills empty slots below the thread limit with workers for the next waiting files.
    void Launch();
    int ThreadLimit() const;
    // A worker's thread has ended: let it finish and tick (or, while stopping, see whether all ended).
    void OnWorkerFinished();
    // While stopping: finishes the stop once every worker's thread has ended.
    void CheckStopDone();
    // Removes the slot folders of the locked work folder.
    void EmptySlotFolders();

    IndexingQueue& m_queue;
    TDataModule1& m_store;
    const Settings& m_settings;
    QString m_programDir;
    ToolLocator m_locator;
    std::vector<ProcessMediaFile*> m_slots;  // owned; null = empty slot
    QTimer m_timer2;
    QTimer m_stopPoll;    // while stopping: looks for the workers' ends
    bool m_busy = false;  // the tick's re-entrancy guard
    bool m_running = false;
    bool m_stopping = false;   // between StopExecute and the end of the stop
    bool m_quietStop = false;  // the stop under way shows no message
    std::unique_ptr<QLockFile> m_lock;
    QString m_lockedFolder;  // the folder of m_lock, as the settings named it
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
