#pragma once
// ProcessMediaFile, the indexing worker: one thread per media file. It hashes the file, turns each of its
// audio tracks into raw 48 kHz mono 16-bit audio with ffmpeg and SoX, reduces that to an envelope, reads
// the tags, and inserts one row per track into table Data. It works only in its own scratch subfolder of
// the work folder, named by `workerNumber`; the scheduler never runs two workers with the same number at
// once. The store is reached only through Synchronize, so its calls run on the main thread; the main
// thread must keep delivering queued calls while it waits for a worker (JoinThread).
//
// Stopping: requestInterruption() ends the worker within a fraction of a second wherever it is (a
// running tool is killed, the digest loop ends, no further step starts) and it then stores nothing:
// the rows of a file are inserted together, in one call onto the main thread, after its last track (or
// its first failing track: the tracks before it are stored, as always), and that call inserts nothing
// once a stop was asked for. Such a worker ends with Stopped() true.

#include <QString>
#include <QThread>
#include <atomic>
#include <memory>
#include <vector>

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
inline const QString kStatusNotRegular = QStringLiteral("Это не обычный файл (канал, устройство или сокет)!");
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
    // True when the worker ended because it was asked to stop; it stored no row and `status` is "".
    // Read after the end.
    bool Stopped() const { return m_stopped; }

protected:
    void run() override;

private:
    // A track ready to be stored: its row and envelope bytes.
    struct ReadyTrack {
        IndexRecord record;
        QByteArray blob;
    };

    void CheckPathOnMainThread();
    // Inserts the ready tracks in order, up to the first refusal; nothing once a stop was asked for.
    void InsertOnMainThread();
    // Steps of one track once the raw file is there: size check, envelope, tags; the track is then
    // ready. False ends the worker (status says why).
    bool IndexRawFile(const QString& rawFile, const QString& waveFile, const QString& workingFile,
                      const QString& tagTool, int track);
    // Stores the ready tracks. False when an insert was refused (status says why) or a stop came.
    bool StoreReadyTracks();
    // Ends the work on a failed step: the tracks ready so far are stored, then `failure` becomes the
    // status unless an insert's refusal came first. When a stop was asked for, nothing is stored.
    void Fail(const QString& failure);
    // True (and Stopped() from then on) once the thread has been asked to stop.
    bool StopCame();

    TDataModule1& m_store;
    WorkerSetup m_setup;
    std::vector<ReadyTrack> m_ready;
    bool m_stopped = false;
    std::atomic<bool> m_executed{false};
};

}  // namespace tembrix
