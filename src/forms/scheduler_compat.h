#pragma once
// ==== TEMPORARY: DELETE WHEN THE SCHEDULER HAS THESE ITSELF ====
// Stand-ins for what the indexing scheduler is gaining: an asynchronous StopExecute, IsStopping,
// StopAndWait, the work-folder lock (LockWorkFolder / UnlockWorkFolder) and the start results
// WorkDirBusy and NoFfprobe. The windows are written against these names; once IndexingScheduler has
// them, delete this file and replace `IndexingSchedulerCompat` by `IndexingScheduler` throughout
// src/forms, tests/forms and tools/screenshots.
//
// What the stand-ins do: StopExecute is the scheduler's own (synchronous) stop; IsStopping is always
// false; StopAndWait(quiet) is that stop with its message silenced when `quiet`; the lock is a QLockFile
// in the work folder; StartExecute adds the two refusals in front of the scheduler's own checks.

#include <QLockFile>
#include <memory>

#include "app/indexing_scheduler.h"
#include "app/settings.h"
#include "app/user_messages.h"
#include "indexing/tool_locator.h"
#include "util/file_utils.h"
#include "util/path_utils.h"

namespace tembrix {

// Swallows every message; answers No and chooses nothing.
class QuietMessagesCompat : public UserMessages {
public:
    void ShowMessage(const QString&) override {}
    bool AskYesNo(const QString&, const QString&) override { return false; }
    QString ChooseOpenFile(const QString&, const QString&, const QString&) override { return {}; }
    QStringList ChooseOpenFiles(const QString&, const QString&, const QString&) override { return {}; }
    QString ChooseSaveFile(const QString&, const QString&, const QString&) override { return {}; }
    QString ChooseFolder(const QString&, const QString&) override { return {}; }
};

class IndexingSchedulerCompat : public IndexingScheduler {
public:
    enum class StartResult {
        Started,
        NoWorkDir,
        NoDatabase,
        NoFfmpeg,
        NoSox,
        EmptyQueue,
        WorkDirBusy,
        NoFfprobe
    };

    IndexingSchedulerCompat(IndexingQueue& queue, TDataModule1& store, const Settings& settings,
                            const QString& programDir, int slotCount, QObject* parent = nullptr)
        : IndexingScheduler(queue, store, settings, programDir, slotCount, parent), m_settingsRef(settings) {}

    StartResult StartExecute() {
        if (IsRunning()) {
            return StartResult::Started;
        }
        const Settings& s = m_settingsRef;
        const bool workDirOk = !s.workDir.isEmpty() && FolderExists(s.workDir);
        if (workDirOk && !LockWorkFolder()) {
            Messages().ShowMessage(QStringLiteral("Рабочий каталог используется другой копией программы: ") +
                                   s.workDir);
            return StartResult::WorkDirBusy;
        }
        if (workDirOk && !s.dbPath.isEmpty() && FileExists(s.dbPath)) {
            const QString ffmpeg = FfmpegPath();
            const QString sox = SoxPath();
            if (!ffmpeg.isEmpty() && FileExists(ffmpeg) && !sox.isEmpty() && FileExists(sox) &&
                !FileExists(FfprobePathFor(ffmpeg))) {
                Messages().ShowMessage(QStringLiteral(
                    "Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!"));
                return StartResult::NoFfprobe;
            }
        }
        return static_cast<StartResult>(IndexingScheduler::StartExecute());
    }

    void StopExecute() { IndexingScheduler::StopExecute(); }
    bool IsStopping() const { return false; }
    void StopAndWait(bool quiet) {
        if (!IsRunning()) {
            return;
        }
        QuietMessagesCompat silent;
        UserMessages* previous = quiet ? SetMessages(&silent) : nullptr;
        IndexingScheduler::StopExecute();
        if (quiet) {
            SetMessages(previous);
        }
    }

    bool LockWorkFolder() {
        const QString folder = m_settingsRef.workDir;
        if (folder.isEmpty() || !FolderExists(folder)) {
            return false;
        }
        if (m_lock && m_lockedFolder == folder) {
            return true;
        }
        UnlockWorkFolder();
        auto lock = std::make_unique<QLockFile>(JoinPath(folder, QStringLiteral(".tembrix.lock")));
        lock->setStaleLockTime(0);
        if (!lock->tryLock(0)) {
            return false;
        }
        m_lock = std::move(lock);
        m_lockedFolder = folder;
        return true;
    }
    void UnlockWorkFolder() {
        m_lock.reset();
        m_lockedFolder.clear();
    }

private:
    const Settings& m_settingsRef;
    std::unique_ptr<QLockFile> m_lock;
    QString m_lockedFolder;
};

}  // namespace tembrix
