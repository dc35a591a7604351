#pragma once
// A small INI reader and writer: "[Section]" lines and "Key=Value" lines, read and written as plain text.
// Safe on any thread for distinct objects.

#include <QString>
#include <QStringList>
#include <optional>

#include "util/file_utils.h"

namespace tembrix {

// An INI file as the desktop platforms keep it: "[Section]" lines and "Key=Value" lines. A value runs
// to the end of its line (commas, semicolons and backslashes are plain characters of a path); the
// blanks around it and one pair of enclosing double quotes are dropped. Sections and keys are compared
// without case and the first occurrence counts. Lines that are neither (comments, blank lines, other
// programs' entries) are kept as they are when the file is written back.
class IniText {
public:
    // Reads the file; false when it cannot be read.
    bool Load(const QString& path) {
        QByteArray bytes;
        if (!ReadWholeFile(path, bytes)) {
            return false;
        }
        m_lines = SplitLines(Utf8Text(bytes), false);
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
        return SaveWholeFile(path, bytes);
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

}  // namespace tembrix
