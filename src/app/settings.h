#pragma once
// The six process-wide settings, the INI file that holds them, and where that file and the program log
// live. Reading never creates the INI file. Main thread only.

#include <QString>

namespace tembrix {

struct Settings {
    QString ffmpegPath;         // [Utils] FFMPEG
    QString soxPath;            // [Utils] SOX
    QString workDir;            // [Dirs] WorkDir
    QString dbPath;             // [DataBase] DBPath
    int threads = 1;            // [Indexing] Threads: 1 … logical processors (0 is kept: no worker runs)
    bool copyToWorkDir = true;  // [Indexing] CopyToWorkDir, written as 1 / 0
};

// Where the program keeps its files, settled once at start-up.
struct ProgramFiles {
    QString programDir;  // the executable's folder
    QString iniPath;  // <programDir>/<exe name>.ini, or the fall-back folder when programDir is not writable
    QString logPath;  // the same with .log

    // Settles the paths for the executable at `executablePath`. When its folder is not writable the
    // files go to FallbackSettingsFolder() (created with its parents), named after the executable.
    static ProgramFiles Settle(const QString& executablePath);
    // Finds the paths without creating anything (for readers such as the command-line front end).
    static ProgramFiles Locate(const QString& executablePath);
};

// $XDG_DATA_HOME/Вокалис (default ~/.local/share/Вокалис); %APPDATA%\Вокалис on Windows.
QString FallbackSettingsFolder();

// Reads the INI file into `settings` when it exists (nothing changes otherwise). A value that does not
// parse keeps the default for its key; a thread limit above `processors` becomes `processors`.
// False (after the message "Ошибка чтения INI файла!") when the file exists but cannot be read.
bool ReadSettings(const QString& iniPath, Settings& settings, int processors);

// Writes the six keys (creating the file). False after "Ошибка записи INI файла! " when it fails.
bool WriteSettings(const QString& iniPath, const Settings& settings);

// The number of logical processors (at least 1).
int LogicalProcessors();

}  // namespace tembrix
