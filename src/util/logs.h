#pragma once
// The three plain-text logs. Every call opens the file, writes one time-stamped line and closes it; a log
// that cannot be opened is skipped silently. Safe on any thread (one lock around each write).
// Files are UTF-8 with LF line ends.

#include <QString>

namespace tembrix {

// Settles where the program log and my.log live; called once at start-up (before any worker runs).
// `programLogPath` is the per-run log beside the executable (or in the fall-back settings folder);
// `programDir` is the folder that holds my.log.
void SetLogLocations(const QString& programLogPath, const QString& programDir);
QString ProgramLogPath();

// One line "yyyy-MM-dd hh:mm:ss message" to the file at `logPath`, truncating it first unless `append`.
// False when the file cannot be opened.
bool WriteProgramLog(const QString& logPath, const QString& message, bool append);

// One line appended to the program log settled by SetLogLocations (nothing when none is set).
void ProgramLog(const QString& message);

// One line appended to programDir/my.log: insert failures of the index store.
void WriteStoreLog(const QString& message);

// One line "yyyy-MM-dd hh:mm:ss<TAB>message" appended to errors.log in the current folder.
void WriteErrorLog(const QString& message);

}  // namespace tembrix
