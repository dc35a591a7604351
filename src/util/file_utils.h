#pragma once
// File and folder helpers shared by the indexing worker, the queue, start-up and the database commands.
// None of them throws or reports to the user: failures come back as a flag or an empty result, and the
// callers word the messages. Safe on any thread.

#include <QString>
#include <QStringList>

namespace tembrix {

// Appends to `list` the full path (folder + separator + name) of every regular, non-hidden file in
// `folder` whose name matches `mask` (wildcards without case, "*.*" and "*" match every name); FIFOs,
// devices and sockets are left out. Then, when `recurse` is set, for every subfolder that is not hidden
// (symbolic links to folders are not followed) appends its path when `listFolders` is set and descends
// into it. Files of a folder come before its subfolders, each in name order as a file manager sorts
// them (the locale's collation, numbers compared as numbers: "track_9" before "track_10").
// A name that is not valid UTF-8 cannot be held in a path: such a file is listed with U+FFFD in place
// of its bad bytes (a path that names nothing, so adding it fails visibly); such a folder is skipped.
void FindFiles(const QString& folder, const QString& mask, bool recurse, bool listFolders, QStringList& list);

// Deletes every file below `folder` (FindFiles with mask "*" and both flags set, each listed path deleted
// as a file). Returns false when any deletion failed, folders in the list included (they cannot be
// deleted as files); true otherwise, also for an empty folder. The folder tree stays standing.
bool DeleteFilesBelow(const QString& folder);

// Removes a folder with everything in it. True when the folder no longer exists afterwards.
bool RemoveFolder(const QString& folder);

// Reads the whole file into `bytes`; false when it cannot be opened or read.
bool ReadWholeFile(const QString& path, QByteArray& bytes);

// Writes `bytes` as the file's whole content through a temporary file renamed over it, so a failed
// write leaves the old file in place. In a folder where no new file can be made, the file is
// overwritten in place instead. False when the write fails.
bool SaveWholeFile(const QString& path, const QByteArray& bytes);

// UTF-8 text of a file's bytes, a leading byte-order mark dropped.
QString Utf8Text(QByteArray bytes);

// The lines of `text`, split at CR LF and LF, and also at a lone CR when `loneCrBreaks` is set; a line
// end at the very end adds no empty line.
QStringList SplitLines(const QString& text, bool loneCrBreaks);

// The lines of a UTF-8 text file (a byte-order mark is skipped), split at CR LF, LF or CR; a line break
// at the very end adds no empty line. `ok` is false when the file cannot be opened.
QStringList LoadLines(const QString& path, bool* ok = nullptr);

// Size in bytes, or -1 when the file cannot be examined.
qint64 FileSize(const QString& path);

// True when a file "test.tmp" can be created (and is then deleted) in the folder.
bool IsFolderWritable(const QString& folder);

// True when the folder exists, creating it with all missing parents first.
bool EnsureFolder(const QString& folder);

// False when the file does not exist; otherwise whether it can be opened both for reading and for
// appending (each handle closed at once; the file is not changed).
bool IsFileReadWritable(const QString& path);

// True when something (a file, folder, FIFO, device, socket…) exists at the path; links are followed.
bool PathExists(const QString& path);

// True when a regular file exists at the path (links followed): not a folder, FIFO, device or socket.
bool IsRegularFile(const QString& path);

// True when a file (not a folder) exists at the path.
bool FileExists(const QString& path);

// True when a folder exists at the path.
bool FolderExists(const QString& path);

}  // namespace tembrix
