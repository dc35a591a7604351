#pragma once
// ProcessMediaFile, the indexing worker: one thread per media file. It hashes the file, turns each of its
// audio tracks into raw 48 kHz mono 16-bit audio with ffmpeg and SoX, reduces that to an envelope, reads
// the tags, and inserts one row per track into table Data. It works only in its own scratch subfolder of
// the work folder, named by `workerNumber`; the scheduler never runs two workers with the same number at
// once. The store is reached only through Synchronize, so its calls run on the main thread; the main
// thread must keep delivering queued calls while it waits for a worker (JoinThread).

#include <QString>
#include <QThread>
#include <atomic>
#include <memory>

#include "database/index_record.h"
#include "indexing/envelope.h"

namespace tembrix {

class TDataModule1;

// The worker's `status` texts. Empty means success.
inline const QString kStatusQueryFailed1 = QStringLiteral("Ошибка выполнения запроса 1!");
inline const QString kStatusAlreadyIndexedText = QStringLiteral("Уже проиндексирован!");
inline const QString kStatusNoSubfolder = QStringLiteral("Ошибка создания рабочего подкаталога!");
inline const QString kStatusCopyFailed =
    QStringLiteral("Ошибка копирования исходного файла в рабочий каталог!");
inline const QString kStatusSourceUnreadable = QStringLiteral("Ошибка чтения исходного файла!");
inline const QString kStatusExtractFailed = QStringLiteral("Ошибка извлечения аудио данных из видео!");
inline const QString kStatusConvertFailed = QStringLiteral("Ошибка конвертирования в DAT формат!");
inline const QString kStatusTooShort = QStringLiteral("Очень маленький размер аудио данных!");
inline const QString kStatusDuplicateTrack =
    QStringLiteral("Запись с таким же MD5 хешем, размером файла и номером аудио трека уже существует!");
inline const QString kStatusQueryFailed = QStringLiteral("Ошибка выполнения запроса!");

// What a worker takes from the shared settings, copied when it is created.
struct WorkerSetup {
    QString workDir;            // the work folder; the worker uses workDir/<workerNumber>
    QString soxPath;            // the SoX program
    QString ffmpegPath;         // the ffmpeg program (ffprobe is found beside it)
    QString programDir;         // holds id3-tags-cli and id3-tags/id3-tags-cli
    bool copyToWorkDir = true;  // index a copy in the scratch subfolder instead of the file itself
};

class ProcessMediaFile : public QThread {
    Q_OBJECT
public:
    // Created unstarted ("suspended"): set sourcePath and workerNumber, then start(). `store` must
    // outlive the worker and is used on the main thread only.
    ProcessMediaFile(TDataModule1& store, const WorkerSetup& setup, QObject* parent = nullptr);
    // Waits for the thread (delivering queued calls meanwhile) if it still runs.
    ~ProcessMediaFile() override;

    // Indexes sourcePath; leaves the outcome in `status`. Runs on the worker's thread (run()), or
    // directly on the caller's for tests.
    void Execute();

    // The scratch subfolder: workDir/<workerNumber>.
    QString Subdirectory() const;

    QString sourcePath;                         // set by the creator before the start
    int32_t workerNumber = 0;                   // set by the creator; names the scratch subfolder
    QString status;                             // read by the creator after the end; "" = success
    IndexRecord indexRecord;                    // the row being built (the last track's, at the end)
    int32_t storeResult = 0;                    // result of the last store call
    std::unique_ptr<Envelope> currentEnvelope;  // the current track's envelope, or none

    // Rows inserted by this worker and their total duration in seconds (for progress displays).
    int insertedTracks = 0;
    qint64 insertedSeconds = 0;

    // True once run() has returned: the thread makes no more calls onto the main thread and ends at
    // once, so a plain wait() for it cannot block. Safe on any thread.
    bool Executed() const { return m_executed.load(); }

protected:
    void run() override;

private:
    void CheckPathOnMainThread();
    void InsertOnMainThread();
    // Steps of one track once the raw file is there: size check, envelope, tags, insert. False ends the
    // worker (status says why).
    bool IndexRawFile(const QString& rawFile, const QString& waveFile, const QString& workingFile,
                      const QString& tagTool, int track);

    TDataModule1& m_store;
    WorkerSetup m_setup;
    std::atomic<bool> m_executed{false};
};

}  // namespace tembrix
