#include "util/path_utils.h"

#include <QDir>

namespace tembrix {

QString ExecutableFileName(const QString& baseName) {
#ifdef Q_OS_WIN
    return baseName + QStringLiteral(".exe");
#else
    return baseName;
#endif
}

QString FileNameOf(const QString& path) {
    const qsizetype pos = path.lastIndexOf(QDir::separator());
    return pos < 0 ? path : path.mid(pos + 1);
}

QString NameWithoutExtension(const QString& name) {
    const qsizetype pos = name.lastIndexOf(u'.');
    return pos < 0 ? name : name.left(pos);
}

QString ExtensionOf(const QString& path) {
    const qsizetype pos = path.lastIndexOf(u'.');
    return pos < 0 ? QString() : path.mid(pos);
}

QString DirectoryOf(const QString& path) {
    for (qsizetype i = path.size() - 1; i >= 0; --i) {
        if (path[i] == u'\\' || path[i] == u'/') {
            return path.left(i);
        }
    }
    return QString();
}

QString ForceExtension(const QString& path, const QString& ext) {
    return path.endsWith(ext, Qt::CaseSensitive) ? path : path + ext;
}

QString JoinPath(const QString& folder, const QString& name) {
    return folder + QDir::separator() + name;
}

}  // namespace tembrix
