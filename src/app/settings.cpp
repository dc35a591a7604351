#include "app/settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>
#include <QThread>
#include <algorithm>
#include <optional>

#include "util/file_utils.h"
#include "util/ini_file.h"
#include "util/path_utils.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

// The executable's file name without its platform suffix: ".exe" is dropped on Windows; elsewhere
// executables have no suffix, so a name such as "tembrix-1.2" is kept whole.
QString ExecutableName(const QFileInfo& info) {
#ifdef Q_OS_WIN
    return info.fileName().endsWith(QLatin1String(".exe"), Qt::CaseInsensitive) ? info.fileName().chopped(4)
                                                                                : info.fileName();
#else
    return info.fileName();
#endif
}

// The executable's path without its suffix (".exe" on Windows, none elsewhere).
QString ExecutableStem(const QString& executablePath) {
    const QFileInfo info(executablePath);
    return info.absolutePath() + u'/' + ExecutableName(info);
}

ProgramFiles PathsFor(const QString& executablePath, bool createFallback) {
    ProgramFiles files;
    const QFileInfo info(executablePath);
    files.programDir = QDir::toNativeSeparators(info.absolutePath());
    QString stem;
    if (IsFolderWritable(files.programDir)) {
        stem = ExecutableStem(executablePath);
    } else {
        const QString folder = FallbackSettingsFolder();
        if (createFallback) {
            EnsureFolder(folder);
        }
        stem = folder + u'/' + ExecutableName(info);
    }
    files.iniPath = QDir::toNativeSeparators(stem + QStringLiteral(".ini"));
    files.logPath = QDir::toNativeSeparators(stem + QStringLiteral(".log"));
    return files;
}

// An integer key; `fallback` when missing or not a number.
int ReadInt(const IniText& ini, const QString& section, const QString& key, int fallback) {
    bool ok = false;
    const int value = ini.Value(section, key).value_or(QString()).toInt(&ok);
    return ok ? value : fallback;
}

// A boolean key written as 1/0; any integer reads as (value != 0); anything else gives `fallback`.
bool ReadBool(const IniText& ini, const QString& section, const QString& key, bool fallback) {
    const QString text = ini.Value(section, key).value_or(QString());
    bool ok = false;
    const int value = text.toInt(&ok);
    if (ok) {
        return value != 0;
    }
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) {
        return true;
    }
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) {
        return false;
    }
    return fallback;
}

}  // namespace

ProgramFiles ProgramFiles::Settle(const QString& executablePath) {
    return PathsFor(executablePath, true);
}

ProgramFiles ProgramFiles::Locate(const QString& executablePath) {
    return PathsFor(executablePath, false);
}

QString FallbackSettingsFolder() {
#ifdef Q_OS_WIN
    const QString base = qEnvironmentVariable("APPDATA");
#else
    QString base = qEnvironmentVariable("XDG_DATA_HOME");
    if (base.isEmpty()) {
        base = QDir::homePath() + QStringLiteral("/.local/share");
    }
#endif
    return QDir::toNativeSeparators(base + QStringLiteral("/Вокалис"));
}

bool ReadSettings(const QString& iniPath, Settings& settings, int processors) {
    if (!QFileInfo::exists(iniPath)) {
        return true;
    }
    IniText ini;
    if (!ini.Load(iniPath)) {
        Messages().ShowMessage(QStringLiteral("Ошибка чтения INI файла!"));
        return false;
    }
    const QString utils = QStringLiteral("Utils");
    const QString indexing = QStringLiteral("Indexing");
    settings.ffmpegPath = ini.Value(utils, QStringLiteral("FFMPEG")).value_or(QString());
    settings.soxPath = ini.Value(utils, QStringLiteral("SOX")).value_or(QString());
    settings.workDir = ini.Value(QStringLiteral("Dirs"), QStringLiteral("WorkDir")).value_or(QString());
    settings.dbPath = ini.Value(QStringLiteral("DataBase"), QStringLiteral("DBPath")).value_or(QString());
    settings.threads = ReadInt(ini, indexing, QStringLiteral("Threads"), 1);
    settings.copyToWorkDir = ReadBool(ini, indexing, QStringLiteral("CopyToWorkDir"), true);
    if (settings.threads > processors) {
        settings.threads = processors;
    }
    return true;
}

bool WriteSettings(const QString& iniPath, const Settings& settings) {
    IniText ini;
    // Whatever else the file holds is kept; a file that exists but cannot be read is not overwritten.
    bool ok = !QFileInfo::exists(iniPath) || ini.Load(iniPath);
    if (ok) {
        ini.SetValue(QStringLiteral("Utils"), QStringLiteral("FFMPEG"), settings.ffmpegPath);
        ini.SetValue(QStringLiteral("Utils"), QStringLiteral("SOX"), settings.soxPath);
        ini.SetValue(QStringLiteral("Dirs"), QStringLiteral("WorkDir"), settings.workDir);
        ini.SetValue(QStringLiteral("DataBase"), QStringLiteral("DBPath"), settings.dbPath);
        ini.SetValue(QStringLiteral("Indexing"), QStringLiteral("Threads"),
                     QString::number(settings.threads));
        ini.SetValue(QStringLiteral("Indexing"), QStringLiteral("CopyToWorkDir"),
                     settings.copyToWorkDir ? QStringLiteral("1") : QStringLiteral("0"));
        ok = ini.Save(iniPath);
    }
    if (!ok) {
        Messages().ShowMessage(QStringLiteral("Ошибка записи INI файла! "));
        return false;
    }
    return true;
}

int LogicalProcessors() {
    return std::max(1, QThread::idealThreadCount());
}

}  // namespace tembrix
