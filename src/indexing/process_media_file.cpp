#include "indexing/process_media_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "database/index_store.h"
#include "indexing/digests.h"
#include "indexing/media_tools.h"
#include "indexing/media_types.h"
#include "indexing/tool_locator.h"
#include "util/file_utils.h"
#include "util/logs.h"
#include "util/path_utils.h"
#include "util/synchronize.h"
#include "util/text_utils.h"

namespace tembrix {

ProcessMediaFile::ProcessMediaFile(TDataModule1& store, const WorkerSetup& setup, QObject* parent)
    : QThread(parent), m_store(store), m_setup(setup) {}

ProcessMediaFile::~ProcessMediaFile() {
    if (isRunning()) {
        JoinThread(this);
    }
}

void ProcessMediaFile::run() {
    Execute();
    m_executed.store(true);
    MarkWorkEnd(this);
}

QString ProcessMediaFile::Subdirectory() const {
    return JoinPath(m_setup.workDir, QString::number(workerNumber));
}

void ProcessMediaFile::CheckPathOnMainThread() {
    storeResult = m_store.FindPath(indexRecord);
    if (storeResult == TDataModule1::kFailed) {
        status = kStatusQueryFailed1;
    } else if (storeResult == 1) {
        status = kStatusAlreadyIndexedText;
    }
}

void ProcessMediaFile::InsertOnMainThread() {
    // Runs on the main thread, where a stop is asked for: once it has been, nothing more is stored.
    if (isInterruptionRequested()) {
        m_stopped = true;
        return;
    }
    for (const ReadyTrack& track : m_ready) {
        storeResult = m_store.InsertRecordWithIndex(track.record, track.blob.constData());
        if (storeResult == TDataModule1::kDuplicate) {
            status = kStatusDuplicateTrack;
        } else if (storeResult != TDataModule1::kOk) {
            status = kStatusQueryFailed;
        }
        if (!status.isEmpty()) {
            return;
        }
        ++insertedTracks;
        insertedSeconds += track.record.duration;
    }
}

bool ProcessMediaFile::StopCame() {
    if (isInterruptionRequested()) {
        m_stopped = true;
    }
    return m_stopped;
}

bool ProcessMediaFile::StoreReadyTracks() {
    if (StopCame()) {
        return false;
    }
    if (m_ready.empty()) {
        return true;
    }
    Synchronize([this] { InsertOnMainThread(); });
    m_ready.clear();
    if (m_stopped) {
        return false;
    }
    if (!status.isEmpty()) {
        ProgramLog(QStringLiteral("Insert record error"));
        return false;
    }
    return true;
}

void ProcessMediaFile::Fail(const QString& failure) {
    if (StopCame()) {
        status.clear();
        return;
    }
    if (StoreReadyTracks()) {
        status = failure;
    }
}

bool ProcessMediaFile::IndexRawFile(const QString& rawFile, const QString& waveFile,
                                    const QString& workingFile, const QString& tagTool, int track) {
    // Sizes are 64-bit: a track of more than about six hours is not taken for a short one.
    if (FileSize(rawFile) < kMinimumRawSize) {
        ProgramLog(QStringLiteral("Insert record error"));
        if (!waveFile.isEmpty()) {
            QFile::remove(waveFile);
        }
        QFile::remove(rawFile);
        Fail(kStatusTooShort);
        return false;
    }
    RawEnvelope raw = EnvelopeOfRawFile(rawFile);
    if (!raw.ok) {
        QFile::remove(rawFile);
        Fail(kStatusConvertFailed);
        return false;
    }
    currentEnvelope = std::move(raw.envelope);
    indexRecord.duration = raw.duration;
    indexRecord.audio_track = track;
    indexRecord.index_size = currentEnvelope->Count() * 2;

    if (IsTagBearing(ExtensionOf(workingFile))) {
        const TagText tags = ReadTags(tagTool, workingFile, Subdirectory());
        if (tags.readFailed) {
            ProgramLog(QStringLiteral("Error: ") + ExecutableFileName(QStringLiteral("id3-tags-cli")) + u' ' +
                       workingFile);
        } else {
            indexRecord.info = tags.text;
        }
    } else {
        indexRecord.info.clear();
    }

    if (!waveFile.isEmpty()) {
        QFile::remove(waveFile);
    }
    QFile::remove(rawFile);
    m_ready.push_back(ReadyTrack{indexRecord, currentEnvelope->Blob()});
    currentEnvelope.reset();
    return !StopCame();
}

void ProcessMediaFile::Execute() {
    // 1. The file's own fields.
    indexRecord = IndexRecord();
    m_ready.clear();
    indexRecord.source_path = sourcePath;
    indexRecord.source_file_name = NameWithoutExtension(FileNameOf(sourcePath));
    indexRecord.source_size = FileSize(sourcePath);
    const QFileInfo sourceInfo(sourcePath);
    indexRecord.created = sourceInfo.exists() ? DateTimeText(sourceInfo.lastModified()) : QString();
    const QString extension = ExtensionOf(sourcePath);
    indexRecord.extension = QString(extension).remove(u'.');
    indexRecord.type = MediaTypeOf(extension);

    // 2. Already indexed under this path?
    Synchronize([this] { CheckPathOnMainThread(); });
    if (!status.isEmpty() || StopCame()) {
        return;
    }
    // Only regular files: reading a FIFO or a device could block for ever or never end. (The digest
    // step checks again on the descriptor it reads, in case the file is replaced meanwhile.)
    if (PathExists(sourcePath) && !IsRegularFile(sourcePath)) {
        status = kStatusNotRegular;
        return;
    }

    // 3-4. The scratch subfolder, emptied.
    const QString subdirectory = Subdirectory();
    if (!FolderExists(subdirectory)) {
        QDir().mkdir(subdirectory);
        if (!FolderExists(subdirectory)) {
            status = kStatusNoSubfolder;
            return;
        }
    }
    if (!DeleteFilesBelow(subdirectory)) {
        ProgramLog(QStringLiteral("Clear work directory error"));
    }

    // 5-6. The file to work on, and its digests from one read pass: when the file is copied to the
    // scratch folder, the bytes are digested on their way into the copy.
    QString workingFile = sourcePath;
    FileDigests digests;
    if (m_setup.copyToWorkDir) {
        workingFile = JoinPath(subdirectory, FileNameOf(sourcePath));
        bool copied = false;
        digests = CopyAndDigest(sourcePath, workingFile, &copied);
        if (StopCame()) {
            return;
        }
        if (!copied) {
            status = kStatusCopyFailed;
            return;
        }
    } else {
        digests = DigestFile(workingFile);
    }
    if (StopCame()) {
        return;
    }
    if (!digests.ok) {
        status = kStatusSourceUnreadable;
        return;
    }
    indexRecord.sha2 = digests.sha256;
    indexRecord.md5 = digests.md5;

    // 7.
    const QString waveFile = JoinPath(subdirectory, QStringLiteral("data.wav"));
    const QString rawFile = JoinPath(subdirectory, QStringLiteral("data.dat"));
    const QString workingExtension = ExtensionOf(workingFile);

    if (IsDirectAudio(workingExtension)) {
        // 10. One track, converted by SoX straight from the file.
        if (!ConvertToRaw(m_setup.soxPath, workingFile, rawFile, m_setup.workDir)) {
            QFile::remove(rawFile);
            Fail(kStatusConvertFailed);
            return;
        }
        indexRecord.all_tracks = 1;
        const QString tagTool = JoinPath(JoinPath(m_setup.programDir, QStringLiteral("id3-tags")),
                                         ExecutableFileName(QStringLiteral("id3-tags-cli")));
        if (!IndexRawFile(rawFile, QString(), workingFile, tagTool, 0)) {
            return;
        }
    } else {
        // 8. How many tracks. A container ffprobe cannot read fails; a readable one without audio
        // gives no row and no message.
        if (IsMultiTrack(workingExtension)) {
            indexRecord.all_tracks = CountAudioTracks(m_setup.ffmpegPath, workingFile, subdirectory);
            if (indexRecord.all_tracks < 0) {
                Fail(kStatusExtractFailed);
                return;
            }
        } else {
            indexRecord.all_tracks = 1;
        }
        // 9. Each track through ffmpeg, then SoX.
        const QString tagTool =
            JoinPath(m_setup.programDir, ExecutableFileName(QStringLiteral("id3-tags-cli")));
        for (int track = 0; track < indexRecord.all_tracks; ++track) {
            if (!ExtractAudioTrack(m_setup.ffmpegPath, workingFile, waveFile, track, m_setup.workDir)) {
                QFile::remove(waveFile);
                Fail(kStatusExtractFailed);
                return;
            }
            if (!ConvertToRaw(m_setup.soxPath, waveFile, rawFile, m_setup.workDir)) {
                QFile::remove(rawFile);
                Fail(kStatusConvertFailed);
                return;
            }
            if (!IndexRawFile(rawFile, waveFile, workingFile, tagTool, track)) {
                return;
            }
        }
    }
    if (!StoreReadyTracks()) {
        return;
    }

    // 11. Normal end.
    if (m_setup.copyToWorkDir) {
        QFile::remove(workingFile);
    }
}

}  // namespace tembrix
