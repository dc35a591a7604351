#pragma once
// A temporary folder for one test, removed with everything in it at the end of the scope.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace tembrix::test {

class TempDir {
public:
    // The folder's path (no trailing separator).
    QString Path() const { return m_dir.path(); }
    // Path + "/" + name.
    QString File(const QString& name) const { return m_dir.path() + u'/' + name; }
    // Writes `bytes` to Path()/name (creating parent folders) and returns the full path.
    QString Write(const QString& name, const QByteArray& bytes) const {
        QFile f(File(name));
        QDir().mkpath(QFileInfo(f.fileName()).path());
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            f.write(bytes);
        }
        return f.fileName();
    }

private:
    QTemporaryDir m_dir{QDir::tempPath() + QStringLiteral("/tembrix-test-XXXXXX")};
};

// The whole content of a file; empty when it cannot be read.
inline QByteArray ReadFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The same as UTF-8 text.
inline QString ReadText(const QString& path) {
    return QString::fromUtf8(ReadFile(path));
}

}  // namespace tembrix::test
