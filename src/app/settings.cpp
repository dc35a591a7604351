#include "app/settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>
#include <QThread>
#include <algorithm>
#include <optional>

#include "app/user_messages.h"
#include "util/file_utils.h"
#include "util/path_utils.h"

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

// An INI file as the desktop platforms keep it: "[Section]" lines and "Key=Value" lines. A value runs
// to the end of its line (commas, semicolons and backslashes are plain characters of a path); the
// blanks around it and one pair of enclosing double quotes are dropped. Sections and keys are compared
// without case and the first occurrence counts. Lines that are neither (comments, blank lines, other
// programs' entries) are kept as they are when the file is written back.
class IniText {
public:
    // Reads the file; false when it cannot be read.
    bool Load(const QString& path) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            return false;
        }
        QByteArray bytes = file.readAll();
        if (file.error() != QFileDevice::NoError) {
            return false;
        }
        if (bytes.startsWith("\xEF\xBB\xBF")) {
            bytes.remove(0, 3);
        }
        m_lines = QString::fromUtf8(bytes).split(u'\n');
        for (QString& line : m_lines) {
            if (line.endsWith(u'\r')) {
                line.chop(1);
            }
        }
        // The line end after the last line is not a line of its own.
        if (!m_lines.isEmpty() && m_lines.constLast().isEmpty()) {
            m_lines.removeLast();
        }
        return true;
    }

    // The value of the key, or nullopt when the section or the key is missing.
    std::optional<QString> Value(const QString& section, const QString& key) const {
        const qsizetype line = KeyLine(section, key);
        if (line < 0) {
            return std::nullopt;
        }
        const QString& text = m_lines[line];
        QString value = text.mid(text.indexOf(u'=') + 1).trimmed();
        if (value.size() >= 2 && value.startsWith(u'"') && value.endsWith(u'"')) {
            value = value.mid(1, value.size() - 2);
        }
        return value;
    }

    // Replaces the key's line, or adds the key at the end of its section (adding the section at the end
    // of the file when it is missing).
    void SetValue(const QString& section, const QString& key, const QString& value) {
        // A value that reading would change (blanks around it, or enclosing quotes) is written quoted.
        QString written = value;
        if (value != value.trimmed() ||
            (value.startsWith(u'"') && value.endsWith(u'"') && value.size() >= 2)) {
            written = u'"' + value + u'"';
        }
        const QString line = key + u'=' + written;
        const qsizetype existing = KeyLine(section, key);
        if (existing >= 0) {
            m_lines[existing] = line;
            return;
        }
        const qsizetype header = SectionLine(section);
        if (header < 0) {
            m_lines.append(u'[' + section + u']');
            m_lines.append(line);
            return;
        }
        // After the last key=value line of the section, before any blank lines that end it.
        qsizetype insertAt = header + 1;
        for (qsizetype i = header + 1; i < m_lines.size() && !IsSectionHeader(m_lines[i]); ++i) {
            if (!m_lines[i].trimmed().isEmpty()) {
                insertAt = i + 1;
            }
        }
        m_lines.insert(insertAt, line);
    }

    // Writes the lines with the platform's line ends; a failed write leaves the old file in place.
    bool Save(const QString& path) const {
#ifdef Q_OS_WIN
        const QByteArray lineEnd("\r\n");
#else
        const QByteArray lineEnd("\n");
#endif
        QByteArray bytes;
        for (const QString& line : m_lines) {
            bytes += line.toUtf8();
            bytes += lineEnd;
        }
        QSaveFile file(path);
        file.setDirectWriteFallback(true);
        if (!file.open(QIODevice::WriteOnly)) {
            return false;
        }
        if (file.write(bytes) != bytes.size()) {
            file.cancelWriting();
            return false;
        }
        return file.commit();
    }

private:
    static bool IsSectionHeader(const QString& line) {
        const QString t = line.trimmed();
        return t.startsWith(u'[') && t.endsWith(u']');
    }

    static bool IsComment(const QString& line) {
        const QString t = line.trimmed();
        return t.startsWith(u';') || t.startsWith(u'#');
    }

    qsizetype SectionLine(const QString& section) const {
        for (qsizetype i = 0; i < m_lines.size(); ++i) {
            if (IsSectionHeader(m_lines[i])) {
                const QString t = m_lines[i].trimmed();
                if (t.mid(1, t.size() - 2).trimmed().compare(section, Qt::CaseInsensitive) == 0) {
                    return i;
                }
            }
        }
        return -1;
    }

    qsizetype KeyLine(const QString& section, const QString& key) const {
        const qsizetype header = SectionLine(section);
        if (header < 0) {
            return -1;
        }
        for (qsizetype i = header + 1; i < m_lines.size() && !IsSectionHeader(m_lines[i]); ++i) {
            const QString& line = m_lines[i];
            const qsizetype eq = line.indexOf(u'=');
            if (eq > 0 && !IsComment(line) &&
                line.left(eq).trimmed().compare(key, Qt::CaseInsensitive) == 0) {
                return i;
            }
        }
        return -1;
    }

    QStringList m_lines;
};

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
