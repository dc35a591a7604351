#pragma once
// A temporary folder for one test, removed with everything in it at the end of the scope.

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <ostream>

namespace tembrix::test {

class TempDir {
public:
    TempDir();
    // The folder's path (no trailing separator).
    QString Path() const { return m_dir.path(); }
    // Path + "/" + name.
    QString File(const QString& name) const;
    // Writes `bytes` to Path()/name (creating parent folders) and returns the full path.
    QString Write(const QString& name, const QByteArray& bytes) const;

private:
    QTemporaryDir m_dir;
};

// The whole content of a file; empty when it cannot be read.
QByteArray ReadFile(const QString& path);
// The same as UTF-8 text.
QString ReadText(const QString& path);

}  // namespace tembrix::test
