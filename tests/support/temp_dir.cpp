#include "support/temp_dir.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tembrix::test {

TempDir::TempDir() : m_dir(QDir::tempPath() + QStringLiteral("/tembrix-test-XXXXXX")) {}

QString TempDir::File(const QString& name) const {
    return m_dir.path() + u'/' + name;
}

QString TempDir::Write(const QString& name, const QByteArray& bytes) const {
    const QString path = File(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        f.write(bytes);
    }
    return path;
}

QByteArray ReadFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString ReadText(const QString& path) {
    return QString::fromUtf8(ReadFile(path));
}

}  // namespace tembrix::test
