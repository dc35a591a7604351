#pragma once
// Finds the SoX and ffmpeg programs on a machine where the settings leave their paths empty, and the
// platform names of the outside tools. Main thread only.

#include <QString>

namespace tembrix {

// The ffprobe program beside an ffmpeg program. On Windows every "ffmpeg.exe" in the path is replaced by
// "ffprobe.exe" (case-insensitively); elsewhere every "ffmpeg" in the file-name part is replaced by
// "ffprobe" and the folder part is left alone. A path without that name comes back unchanged.
QString FfprobePathFor(const QString& ffmpegPath);

// Looks for a tool, in this order, and keeps what it found:
//   1. program folder / sox                 (ffmpeg)
//   2. program folder / SOX / sox           (FFMPEG / ffmpeg)
//   3. key Path of section [SOX] in program folder / SOX.ini   ([FFMPEG], FFMPEG.ini), taken unchecked
//   4. the first match on the PATH
// The result may be "" when nothing was found.
class ToolLocator {
public:
    // `programDir`: the folder of the running program (no trailing separator).
    explicit ToolLocator(const QString& programDir);

    QString LocateSox();
    QString LocateFfmpeg();
    // Writes Path = `path` to [SOX] of SOX.ini ([FFMPEG] of FFMPEG.ini) in the program folder.
    // False when the file cannot be written.
    bool SaveSoxPath(const QString& path);
    bool SaveFfmpegPath(const QString& path);

    QString ProgramDir() const { return m_programDir; }
    QString SoxPath() const { return m_soxPath; }
    QString FfmpegPath() const { return m_ffmpegPath; }

private:
    QString m_soxPath;
    QString m_ffmpegPath;
    QString m_programDir;
};

}  // namespace tembrix
