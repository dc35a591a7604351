#include "util/file_utils.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include "util/path_utils.h"

namespace tembrix {

void FindFiles(const QString& folder, const QString& mask, bool recurse, bool listFolders,
               QStringList& list) {
    // "*.*" matches every name, with or without a dot, as the platform's own wildcard search does.
    const QStringList filters =
        (mask == QLatin1String("*.*") || mask == QLatin1String("*")) ? QStringList() : QStringList{mask};
    {
        QDirIterator files(folder, filters, QDir::Files | QDir::NoDotAndDotDot);
        while (files.hasNext()) {
            files.next();
            list.append(JoinPath(folder, files.fileName()));
        }
    }
    if (!recurse) {
        return;
    }
    QDirIterator dirs(folder, QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    while (dirs.hasNext()) {
        dirs.next();
        const QString sub = JoinPath(folder, dirs.fileName());
        if (listFolders) {
            list.append(sub);
        }
        FindFiles(sub, mask, recurse, listFolders, list);
    }
}

bool DeleteFilesBelow(const QString& folder) {
    QStringList paths;
    FindFiles(folder, QStringLiteral("*"), true, true, paths);
    bool allDeleted = true;
    for (const QString& p : paths) {
        if (QFileInfo(p).isDir() || !QFile::remove(p)) {
            allDeleted = false;
        }
    }
    return allDeleted;
}

bool RemoveFolder(const QString& folder) {
    QDir dir(folder);
    if (dir.exists()) {
        dir.removeRecursively();
    }
    return !QFileInfo::exists(folder);
}

qint64 FileSize(const QString& path) {
    const QFileInfo info(path);
    return info.exists() ? info.size() : -1;
}

bool IsFolderWritable(const QString& folder) {
    QFile probe(JoinPath(folder, QStringLiteral("test.tmp")));
    if (!probe.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    probe.close();
    probe.remove();
    return true;
}

bool EnsureFolder(const QString& folder) {
    if (folder.isEmpty()) {
        return false;
    }
    if (QFileInfo(folder).isDir()) {
        return true;
    }
    QDir().mkpath(folder);
    return QFileInfo(folder).isDir();
}

bool IsFileReadWritable(const QString& path) {
    if (!FileExists(path)) {
        return false;
    }
    QFile reader(path);
    const bool canRead = reader.open(QIODevice::ReadOnly);
    reader.close();
    QFile appender(path);
    const bool canAppend = appender.open(QIODevice::WriteOnly | QIODevice::Append);
    appender.close();
    return canRead && canAppend;
}

bool FileExists(const QString& path) {
    const QFileInfo info(path);
    return !path.isEmpty() && info.exists() && !info.isDir();
}

bool FolderExists(const QString& path) {
    return !path.isEmpty() && QFileInfo(path).isDir();
}

}  // namespace tembrix
