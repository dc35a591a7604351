#include "util/logs.h"

#include <QDateTime>
#include <QFile>
#include <QMutex>

#include "util/path_utils.h"

namespace tembrix {
namespace {

QMutex& LogLock() {
    static QMutex lock;
    return lock;
}

struct Locations {
    QString programLog;
    QString programDir;
};

Locations& CurrentLocations() {
    static Locations locations;
    return locations;
}

QString Stamp() {
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

bool WriteLine(const QString& path, const QString& line, bool append) {
    QMutexLocker guard(&LogLock());
    QFile file(path);
    const QIODevice::OpenMode mode =
        QIODevice::WriteOnly | (append ? QIODevice::Append : QIODevice::Truncate);
    if (!file.open(mode)) {
        return false;
    }
    file.write((line + u'\n').toUtf8());
    return true;
}

}  // namespace

void SetLogLocations(const QString& programLogPath, const QString& programDir) {
    QMutexLocker guard(&LogLock());
    CurrentLocations() = {programLogPath, programDir};
}

QString ProgramLogPath() {
    QMutexLocker guard(&LogLock());
    return CurrentLocations().programLog;
}

bool WriteProgramLog(const QString& logPath, const QString& message, bool append) {
    if (logPath.isEmpty()) {
        return false;
    }
    return WriteLine(logPath, Stamp() + u' ' + message, append);
}

void ProgramLog(const QString& message) {
    WriteProgramLog(ProgramLogPath(), message, true);
}

void WriteStoreLog(const QString& message) {
    QString dir;
    {
        QMutexLocker guard(&LogLock());
        dir = CurrentLocations().programDir;
    }
    if (dir.isEmpty()) {
        return;
    }
    WriteLine(JoinPath(dir, QStringLiteral("my.log")), Stamp() + u' ' + message, true);
}

void WriteErrorLog(const QString& message) {
    WriteLine(QStringLiteral("errors.log"), Stamp() + u'\t' + message, true);
}

}  // namespace tembrix
