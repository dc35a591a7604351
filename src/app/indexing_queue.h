#pragma once
// The indexing queue: the media files the user has gathered, in the order they were added, each with its
// type, size, date and a status word that the scheduler writes as the file goes through indexing.
// What enters it is decided by the media types (indexing/media_types.h).

#include <QHash>
#include <QString>
#include <vector>

namespace tembrix {

// Status words of a queue entry; an empty status means the file is waiting.
inline const QString kStatusInWork = QStringLiteral("в обработке");
inline const QString kStatusDone = QStringLiteral("обработан");
inline const QString kStatusError = QStringLiteral("ошибка");
inline const QString kStatusAlreadyIndexed = QStringLiteral("уже проиндексирован");
inline const QString kStatusStopped = QStringLiteral("остановлен");

// What AddFile says about a file it refuses, followed by the path.
inline const QString kNotRegularFileSkipped =
    QStringLiteral("Это не обычный файл (папка, канал, устройство или сокет), он пропущен: ");
inline const QString kNameNotUtf8Skipped =
    QStringLiteral("Имя файла не в кодировке UTF-8, программа не может его открыть, он пропущен: ");

// One file of the queue.
struct QueueEntry {
    QString path;      // full path as added; unique within the queue
    QString name;      // file name without folder and extension
    QString type;      // kTypeAudio or kTypeVideo
    QString created;   // DateTimeText of the modification time; "" when it could not be read
    QString status;    // "" (waiting) or one of the kStatus words
    quint64 size = 0;  // bytes; 0 when the file could not be examined
};

// The process-wide queue of files to index, owned by the main window (or the command-line front end).
// Positions are zero-based. Look-ups by path go through a hash, so adding, finding and setting the
// status of one file cost the same in a queue of a hundred thousand files as in a short one.
// Main thread only; workers get a copy of their path.
class IndexingQueue {
public:
    // Appends the file unless its path is already queued or its extension is not a media type (both
    // silently: false). Only regular files are queued: a folder, FIFO, device or socket is refused with
    // kNotRegularFileSkipped + path, and a path that names nothing because it holds U+FFFD in place of
    // a name's bytes that were not UTF-8 (FindFiles lists such files so) with kNameNotUtf8Skipped +
    // path. Reads its size and modification time; when the file is gone the full path is shown in a
    // message box and the entry is kept with an empty date. True when an entry was appended.
    bool AddFile(const QString& path);
    // How many files AddFile has refused with one of those two messages since the queue was made.
    int Refused() const { return m_refused; }
    // True when an entry has exactly this path.
    bool Contains(const QString& path) const;

    // Removes every entry.
    void Clear();
    // Removes the entry at `index`; false (nothing removed) when there is no such entry.
    bool Delete(qsizetype index);
    // Removes the entries before `index`, keeping it; false when `index` is not a position of the queue.
    bool DeleteBefore(qsizetype index);
    // Removes the entries after `index`, keeping it; false when `index` is not a position of the queue.
    bool DeleteAfter(qsizetype index);

    // Writes the list file: UTF-8 with a byte-order mark, one path per line in queue order, nothing
    // else (CR LF line ends on Windows, LF elsewhere). Written to a temporary file and renamed, so a
    // failed save leaves an existing list intact. False when the file cannot be written.
    bool Save(const QString& file) const;
    // Clears the queue and adds every line of the list file with AddFile (so empty lines, duplicates and
    // unsupported or, apart from the date message, vanished files are dropped and every status starts
    // empty). Accepts CR LF and LF, with or without the byte-order mark. When the file cannot be read
    // the queue is left as it was and the result is false.
    bool Open(const QString& file);

    // The path of the first entry whose status equals `status`; "" when none. Status "" gives the
    // next waiting file.
    QString NextWithStatus(const QString& status) const;
    // Sets the status of the entry with this path; false when there is none.
    bool SetStatus(const QString& status, const QString& path);
    // The status of the entry with this path; "" when there is none.
    QString StatusOf(const QString& path) const;
    // How many entries have exactly this status.
    int CountWithStatus(const QString& status) const;

    qsizetype Count() const { return static_cast<qsizetype>(m_entries.size()); }
    // The entry at `index`; an empty entry when there is none.
    const QueueEntry& At(qsizetype index) const;

private:
    // Position of the entry with `path`, or -1.
    qsizetype IndexOf(const QString& path) const;
    // Rebuilds the path index after entries have moved.
    void RebuildIndex() const;

    std::vector<QueueEntry> m_entries;
    // path -> position; valid only while m_indexValid (deleting from the middle shifts positions, and
    // the hash is then rebuilt at the next look-up rather than at every deletion).
    mutable QHash<QString, qsizetype> m_positions;
    mutable bool m_indexValid = true;
    int m_refused = 0;
};

}  // namespace tembrix
