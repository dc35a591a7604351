#include "indexing/tool_locator.h"

#include <QDir>
#include <QStandardPaths>

#include "util/file_utils.h"
#include "util/ini_file.h"
#include "util/path_utils.h"

namespace tembrix {

QString FfprobePathFor(const QString& ffmpegPath) {
#ifdef Q_OS_WIN
    QString result = ffmpegPath;
    return result.replace(QStringLiteral("ffmpeg.exe"), QStringLiteral("ffprobe.exe"), Qt::CaseInsensitive);
#else
    const qsizetype slash = ffmpegPath.lastIndexOf(u'/');
    QString name = ffmpegPath.mid(slash + 1);
    name.replace(QStringLiteral("ffmpeg"), QStringLiteral("ffprobe"));
    return ffmpegPath.left(slash + 1) + name;
#endif
}

namespace {

// The four steps for one tool. `folderName` is the subfolder of the program folder that may hold it,
// `section` the INI file's name (without ".ini") and its section.
QString Locate(QString& kept, const QString& programDir, const QString& tool, const QString& folderName,
               const QString& section) {
    if (!kept.isEmpty()) {
        return kept;
    }
    const QString beside = JoinPath(programDir, ExecutableFileName(tool));
    const QString inFolder = JoinPath(JoinPath(programDir, folderName), ExecutableFileName(tool));
    if (FileExists(beside)) {
        kept = beside;
    } else if (FileExists(inFolder)) {
        kept = inFolder;
    } else {
        const QString ini = JoinPath(programDir, section + QStringLiteral(".ini"));
        if (FileExists(ini)) {
            IniText file;
            if (file.Load(ini)) {
                kept = file.Value(section, QStringLiteral("Path")).value_or(QString());
            }
        }
    }
    if (kept.isEmpty()) {
        const QString found = QStandardPaths::findExecutable(ExecutableFileName(tool));
        if (!found.isEmpty()) {
            kept = QDir::toNativeSeparators(found);
        }
    }
    return kept;
}

bool SavePath(const QString& programDir, const QString& section, const QString& path) {
    const QString ini = JoinPath(programDir, section + QStringLiteral(".ini"));
    IniText file;
    file.Load(ini);  // a missing file starts empty
    file.SetValue(section, QStringLiteral("Path"), path);
    return file.Save(ini);
}

}  // namespace

ToolLocator::ToolLocator(const QString& programDir) : m_programDir(programDir) {}

QString ToolLocator::LocateSox() {
    return Locate(m_soxPath, m_programDir, QStringLiteral("sox"), QStringLiteral("SOX"),
                  QStringLiteral("SOX"));
}

QString ToolLocator::LocateFfmpeg() {
    return Locate(m_ffmpegPath, m_programDir, QStringLiteral("ffmpeg"), QStringLiteral("FFMPEG"),
                  QStringLiteral("FFMPEG"));
}

bool ToolLocator::SaveSoxPath(const QString& path) {
    return SavePath(m_programDir, QStringLiteral("SOX"), path);
}

bool ToolLocator::SaveFfmpegPath(const QString& path) {
    return SavePath(m_programDir, QStringLiteral("FFMPEG"), path);
}

}  // namespace tembrix
