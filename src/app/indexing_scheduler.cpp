#include "app/indexing_scheduler.h"

#include <QEventLoop>
#include <QFileInfo>
#include <algorithm>

#include "app/indexing_queue.h"
#include "app/settings.h"
#include "database/index_store.h"
#include "indexing/process_media_file.h"
#include "util/file_utils.h"
#include "util/path_utils.h"
#include "util/synchronize.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

constexpr int kDispatcherInterval = 500;  // ms
constexpr int kStopPollInterval = 20;     // ms: how often a stop looks for the workers' ends
const QString kLockFileName = QStringLiteral(".tembrix-work.lock");

// The same folder however it is spelled (a trailing separator, "..", a link).
QString Canonical(const QString& folder) {
    const QString canonical = QFileInfo(folder).canonicalFilePath();
    return canonical.isEmpty() ? folder : canonical;
}

}  // namespace

IndexingScheduler::IndexingScheduler(IndexingQueue& queue, TDataModule1& store, const Settings& settings,
                                     const QString& programDir, int slotCount, QObject* parent)
    : QObject(parent),
      m_queue(queue),
      m_store(store),
      m_settings(settings),
      m_programDir(programDir),
      m_locator(programDir),
      m_slots(static_cast<size_t>(std::clamp(slotCount, 1, LogicalProcessors())), nullptr) {
    m_timer2.setInterval(kDispatcherInterval);
    connect(&m_timer2, &QTimer::timeout, this, &IndexingScheduler::Timer2Timer);
    m_stopPoll.setInterval(kStopPollInterval);
    connect(&m_stopPoll, &QTimer::timeout, this, &IndexingScheduler::CheckStopDone);
}

IndexingScheduler::~IndexingScheduler() {
    // Joining delivers queued calls, among them the workers' ends: they must not tick any more.
    const bool hadJob = m_running;
    m_stopping = true;
    m_running = false;
    m_timer2.stop();
    m_stopPoll.stop();
    for (ProcessMediaFile* worker : m_slots) {
        if (worker != nullptr) {
            worker->requestInterruption();
        }
    }
    for (ProcessMediaFile*& worker : m_slots) {
        if (worker != nullptr) {
            JoinThread(worker);
            delete worker;
            worker = nullptr;
        }
    }
    if (hadJob && m_lock) {
        EmptySlotFolders();
    }
}

QString IndexingScheduler::SoxPath() {
    return m_settings.soxPath.isEmpty() ? m_locator.LocateSox() : m_settings.soxPath;
}

QString IndexingScheduler::FfmpegPath() {
    return m_settings.ffmpegPath.isEmpty() ? m_locator.LocateFfmpeg() : m_settings.ffmpegPath;
}

QString IndexingScheduler::SlotPath(int slot) const {
    if (slot < 0 || slot >= SlotCount() || m_slots[static_cast<size_t>(slot)] == nullptr) {
        return QString();
    }
    return m_slots[static_cast<size_t>(slot)]->sourcePath;
}

int IndexingScheduler::ThreadLimit() const {
    return std::clamp(m_settings.threads, 0, SlotCount());
}

void IndexingScheduler::AddReport(int list, const QString& line) {
    switch (list) {
        case kSuccessList:
            m_successes.append(line);
            break;
        case kErrorList:
            m_errors.append(line);
            break;
        default:
            m_already.append(line);
            break;
    }
    Q_EMIT reportLine(list, line);
}

bool IndexingScheduler::LockWorkFolder() {
    const QString folder = m_settings.workDir;
    if (m_lock && (m_running || Canonical(folder) == Canonical(m_lockedFolder))) {
        return true;  // a job keeps the folder it started in
    }
    if (!FolderExists(folder)) {
        return false;
    }
    auto lock = std::make_unique<QLockFile>(JoinPath(folder, kLockFileName));
    // Never taken for stale while its holder lives, however long the job; a dead holder's is taken.
    lock->setStaleLockTime(0);
    if (!lock->tryLock(0)) {
        return false;
    }
    m_lock = std::move(lock);
    m_lockedFolder = folder;
    return true;
}

void IndexingScheduler::UnlockWorkFolder() {
    if (m_running) {
        return;
    }
    m_lock.reset();
    m_lockedFolder.clear();
}

IndexingScheduler::StartResult IndexingScheduler::StartExecute() {
    if (m_running) {
        return StartResult::Started;
    }
    if (m_settings.workDir.isEmpty() || !FolderExists(m_settings.workDir)) {
        Messages().ShowMessage(QStringLiteral("Выберите рабочий каталог!"));
        return StartResult::NoWorkDir;
    }
    if (!LockWorkFolder()) {
        Messages().ShowMessage(QStringLiteral("Рабочий каталог используется другой копией программы: ") +
                               m_settings.workDir);
        return StartResult::WorkDirBusy;
    }
    // A database path whose file exists is not enough: rows go only into a connected database.
    if (m_settings.dbPath.isEmpty() || !FileExists(m_settings.dbPath) || !m_store.IsConnected()) {
        Messages().ShowMessage(QStringLiteral("Выберите или создайте базу данных!"));
        return StartResult::NoDatabase;
    }
    const QString ffmpeg = FfmpegPath();
    if (ffmpeg.isEmpty() || !FileExists(ffmpeg)) {
        Messages().ShowMessage(
            QStringLiteral("Отсутствует утилита FFMPEG! Установите её пожалуйста и укажите её путь!"));
        return StartResult::NoFfmpeg;
    }
    if (!FileExists(FfprobePathFor(ffmpeg))) {
        Messages().ShowMessage(
            QStringLiteral("Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!"));
        return StartResult::NoFfprobe;
    }
    const QString sox = SoxPath();
    if (sox.isEmpty() || !FileExists(sox)) {
        Messages().ShowMessage(
            QStringLiteral("Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!"));
        return StartResult::NoSox;
    }
    if (m_queue.Count() == 0) {
        Messages().ShowMessage(QStringLiteral("Добавьте в список аудио или видео файлы!"));
        return StartResult::EmptyQueue;
    }
    m_successes.clear();
    m_errors.clear();
    m_already.clear();
    m_tracksIndexed = 0;
    m_secondsIndexed = 0;
    Q_EMIT reportCleared();
    EmptySlotFolders();
    m_running = true;
    m_timer2.start();
    Q_EMIT runningChanged(true);
    return StartResult::Started;
}

void IndexingScheduler::Collect() {
    for (ProcessMediaFile*& worker : m_slots) {
        if (worker == nullptr || !worker->isFinished()) {
            continue;
        }
        WorkEndSeen(worker);
        const QString path = worker->sourcePath;
        if (worker->Stopped()) {
            AddReport(kErrorList, QStringLiteral("Остановлен: ") + path);
            m_queue.SetStatus(kStatusStopped, path);
        } else if (worker->status.isEmpty()) {
            AddReport(kSuccessList, QStringLiteral("Обработан успешно: ") + path);
            m_queue.SetStatus(kStatusDone, path);
        } else if (worker->status == kStatusAlreadyIndexedText) {
            AddReport(kAlreadyList, QStringLiteral("Уже проиндексирован - ") + path);
            m_queue.SetStatus(kStatusAlreadyIndexed, path);
        } else {
            AddReport(kErrorList, worker->status + QStringLiteral(" - ") + path);
            m_queue.SetStatus(kStatusError, path);
        }
        m_tracksIndexed += worker->insertedTracks;
        m_secondsIndexed += worker->insertedSeconds;
        delete worker;
        worker = nullptr;
    }
}

void IndexingScheduler::Launch() {
    const int limit = ThreadLimit();
    for (int slot = 0; slot < limit; ++slot) {
        ProcessMediaFile*& worker = m_slots[static_cast<size_t>(slot)];
        if (worker != nullptr) {
            continue;
        }
        const QString path = m_queue.NextWithStatus(QString());
        if (path.isEmpty()) {
            return;
        }
        WorkerSetup setup;
        setup.workDir = m_lockedFolder;
        setup.soxPath = SoxPath();
        setup.ffmpegPath = FfmpegPath();
        setup.programDir = m_programDir;
        setup.copyToWorkDir = m_settings.copyToWorkDir;
        worker = new ProcessMediaFile(m_store, setup);
        worker->sourcePath = path;
        worker->workerNumber = slot;
        connect(worker, &QThread::finished, this, &IndexingScheduler::OnWorkerFinished, Qt::QueuedConnection);
        worker->start();
        m_queue.SetStatus(kStatusInWork, path);
    }
}

void IndexingScheduler::Timer2Timer() {
    if (!m_running || m_busy || m_stopping) {
        return;
    }
    m_busy = true;
    Collect();
    Launch();
    Q_EMIT queueChanged();
    if (!m_running || m_stopping) {  // stopped from a handler of queueChanged
        m_busy = false;
        return;
    }
    const bool anyWorker =
        std::any_of(m_slots.begin(), m_slots.end(), [](const ProcessMediaFile* w) { return w != nullptr; });
    if (anyWorker) {
        m_busy = false;
        return;
    }
    m_timer2.stop();
    m_busy = false;
    m_store.Commit();
    m_running = false;
    Q_EMIT runningChanged(false);
    Messages().ShowMessage(QStringLiteral("Задание выполнено!"));
    Q_EMIT jobFinished();
}

void IndexingScheduler::OnWorkerFinished() {
    if (m_stopping) {
        CheckStopDone();
        return;
    }
    if (!m_running || m_busy) {
        return;
    }
    // `finished` is emitted just before the thread ends; wait for that so the tick sees it finished.
    for (ProcessMediaFile* worker : m_slots) {
        if (worker != nullptr && worker->Executed()) {
            worker->wait();
            WorkEndSeen(worker);
        }
    }
    Timer2Timer();
}

void IndexingScheduler::StopExecute() {
    if (!m_running || m_stopping) {
        return;
    }
    m_stopping = true;
    m_timer2.stop();
    for (ProcessMediaFile* worker : m_slots) {
        if (worker != nullptr) {
            worker->requestInterruption();
        }
    }
    m_stopPoll.start();
    CheckStopDone();
}

void IndexingScheduler::CheckStopDone() {
    if (!m_stopping || !m_running || m_busy) {
        return;
    }
    for (ProcessMediaFile* worker : m_slots) {
        if (worker == nullptr) {
            continue;
        }
        // A worker past its last step ends at once; one still at work is not waited for here.
        if (!worker->Executed()) {
            return;
        }
        worker->wait();
    }
    m_stopPoll.stop();
    Collect();
    m_running = false;
    EmptySlotFolders();
    m_stopping = false;
    const bool quiet = m_quietStop;
    m_quietStop = false;
    Q_EMIT queueChanged();
    Q_EMIT runningChanged(false);
    if (!quiet) {
        Messages().ShowMessage(QStringLiteral("Индексация остановлена!"));
    }
    Q_EMIT jobFinished();
}

void IndexingScheduler::StopAndWait(bool quiet) {
    if (!m_running) {
        return;
    }
    m_quietStop = m_quietStop || quiet;
    QEventLoop loop;
    connect(this, &IndexingScheduler::jobFinished, &loop, &QEventLoop::quit);
    StopExecute();
    if (m_stopping) {
        loop.exec();
    }
}

void IndexingScheduler::ClearWorkDirectoryExecute() {
    if (m_running || !LockWorkFolder()) {
        return;
    }
    EmptySlotFolders();
}

void IndexingScheduler::EmptySlotFolders() {
    if (!m_lock) {
        return;
    }
    for (int n = 0; n < SlotCount(); ++n) {
        const QString folder = JoinPath(m_lockedFolder, QString::number(n));
        if (FolderExists(folder)) {
            RemoveFolder(folder);
        }
    }
}

QStringList QueueCounterTexts(const IndexingQueue& queue) {
    return {QStringLiteral("Кол-во файлов: %1").arg(queue.Count()),
            QStringLiteral("Обработано: %1").arg(queue.CountWithStatus(kStatusDone)),
            QStringLiteral("Ошибка: %1").arg(queue.CountWithStatus(kStatusError)),
            QStringLiteral("Проиндексировано ранее: %1").arg(queue.CountWithStatus(kStatusAlreadyIndexed)),
            QStringLiteral("В обработке: %1").arg(queue.CountWithStatus(kStatusInWork)),
            QStringLiteral("Осталось: %1").arg(queue.CountWithStatus(QString()))};
}

}  // namespace tembrix
