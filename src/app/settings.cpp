#include "app/settings.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>

#include "app/user_messages.h"
#include "util/file_utils.h"
#include "util/path_utils.h"

namespace tembrix {

namespace {

// The executable's path without its suffix (".exe" on Windows, none elsewhere).
QString ExecutableStem(const QString& executablePath) {
    const QFileInfo info(executablePath);
    return info.absolutePath() + u'/' + info.completeBaseName();
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
        stem = folder + u'/' + info.completeBaseName();
    }
    files.iniPath = QDir::toNativeSeparators(stem + QStringLiteral(".ini"));
    files.logPath = QDir::toNativeSeparators(stem + QStringLiteral(".log"));
    return files;
}

// An integer key; `fallback` when missing or not a number.
int ReadInt(const QSettings& ini, const QString& key, int fallback) {
    bool ok = false;
    const int value = ini.value(key).toString().trimmed().toInt(&ok);
    return ok ? value : fallback;
}

// A boolean key written as 1/0; any integer reads as (value != 0); anything else gives `fallback`.
bool ReadBool(const QSettings& ini, const QString& key, bool fallback) {
    const QString text = ini.value(key).toString().trimmed();
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
    const QFileInfo info(iniPath);
    if (!info.exists()) {
        return true;
    }
    QSettings ini(iniPath, QSettings::IniFormat);
    if (ini.status() != QSettings::NoError || !info.isReadable()) {
        Messages().ShowMessage(QStringLiteral("Ошибка чтения INI файла!"));
        return false;
    }
    settings.ffmpegPath = ini.value(QStringLiteral("Utils/FFMPEG"), QString()).toString();
    settings.soxPath = ini.value(QStringLiteral("Utils/SOX"), QString()).toString();
    settings.workDir = ini.value(QStringLiteral("Dirs/WorkDir"), QString()).toString();
    settings.dbPath = ini.value(QStringLiteral("DataBase/DBPath"), QString()).toString();
    settings.threads = ReadInt(ini, QStringLiteral("Indexing/Threads"), 1);
    settings.copyToWorkDir = ReadBool(ini, QStringLiteral("Indexing/CopyToWorkDir"), true);
    if (settings.threads > processors) {
        settings.threads = processors;
    }
    return true;
}

bool WriteSettings(const QString& iniPath, const Settings& settings) {
    QSettings ini(iniPath, QSettings::IniFormat);
    ini.setValue(QStringLiteral("Utils/FFMPEG"), settings.ffmpegPath);
    ini.setValue(QStringLiteral("Utils/SOX"), settings.soxPath);
    ini.setValue(QStringLiteral("Dirs/WorkDir"), settings.workDir);
    ini.setValue(QStringLiteral("DataBase/DBPath"), settings.dbPath);
    ini.setValue(QStringLiteral("Indexing/Threads"), settings.threads);
    ini.setValue(QStringLiteral("Indexing/CopyToWorkDir"), settings.copyToWorkDir ? 1 : 0);
    ini.sync();
    if (ini.status() != QSettings::NoError) {
        Messages().ShowMessage(QStringLiteral("Ошибка записи INI файла! "));
        return false;
    }
    return true;
}

int LogicalProcessors() {
    return std::max(1, QThread::idealThreadCount());
}

}  // namespace tembrix
