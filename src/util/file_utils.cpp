#include "util/file_utils.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringDecoder>
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>

#include <sys/stat.h>

#include "util/path_utils.h"

namespace tembrix {

namespace {

// A natural comparison for when the collator cannot compare numbers: runs of digits by their value
// (then by length, so "09" follows "9"), everything else letter by letter without case.
bool NaturalLess(const QString& a, const QString& b) {
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            qsizetype ei = i;
            qsizetype ej = j;
            while (ei < a.size() && a[ei].isDigit()) {
                ++ei;
            }
            while (ej < b.size() && b[ej].isDigit()) {
                ++ej;
            }
            QStringView da = QStringView(a).mid(i, ei - i);
            QStringView db = QStringView(b).mid(j, ej - j);
            while (da.size() > 1 && da.front() == u'0') {
                da = da.mid(1);
            }
            while (db.size() > 1 && db.front() == u'0') {
                db = db.mid(1);
            }
            if (da.size() != db.size()) {
                return da.size() < db.size();
            }
            if (const int c = da.compare(db); c != 0) {
                return c < 0;
            }
            if (ei - i != ej - j) {
                return ei - i < ej - j;
            }
            i = ei;
            j = ej;
            continue;
        }
        const QChar ca = a[i].toCaseFolded();
        const QChar cb = b[j].toCaseFolded();
        if (ca != cb) {
            return ca < cb;
        }
        ++i;
        ++j;
    }
    if (a.size() - i != b.size() - j) {
        return a.size() - i < b.size() - j;
    }
    return a < b;
}

// Orders names as a file manager shows them: by the locale's collation (the Russian one when the
// system has none) with numbers compared as numbers; a hand-written natural order when the collator
// cannot compare numbers.
class NameOrder {
public:
    NameOrder() {
        const QLocale system;
        m_collator =
            QCollator(system.language() == QLocale::C ? QLocale(QLocale::Russian, QLocale::Russia) : system);
        m_collator.setNumericMode(true);
        m_collator.setCaseSensitivity(Qt::CaseInsensitive);
        m_collatorWorks = m_collator.compare(QStringLiteral("a2"), QStringLiteral("a10")) < 0;
    }
    void Sort(QStringList& names) const {
        if (m_collatorWorks) {
            // One sort key per name: comparing keys is far cheaper than collating names again and again.
            std::vector<std::pair<QCollatorSortKey, qsizetype>> keys;
            keys.reserve(static_cast<size_t>(names.size()));
            for (qsizetype i = 0; i < names.size(); ++i) {
                keys.emplace_back(m_collator.sortKey(names[i]), i);
            }
            std::stable_sort(keys.begin(), keys.end(), [&names](const auto& a, const auto& b) {
                const int c = a.first.compare(b.first);
                return c != 0 ? c < 0 : names[a.second] < names[b.second];
            });
            QStringList sorted;
            sorted.reserve(names.size());
            for (const auto& key : keys) {
                sorted.append(names[key.second]);
            }
            names = std::move(sorted);
        } else {
            std::stable_sort(names.begin(), names.end(), NaturalLess);
        }
    }

private:
    QCollator m_collator;
    bool m_collatorWorks = false;
};

// Adds `folder`'s entries to `list` as FindFiles describes.
void FindIn(const QString& folder, const QRegularExpression* mask, bool recurse, bool listFolders,
            const NameOrder& order, QStringList& list) {
    QStringList files;
    QStringList folders;
    DIR* dir = ::opendir(QFile::encodeName(folder).constData());
    if (dir == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.') {
            continue;  // hidden, and the "." and ".." entries
        }
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decoder(QByteArrayView(name));
        bool regular = entry->d_type == DT_REG;
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            // A link counts as what it points to, but a link to a folder is not followed.
            struct stat st;
            const bool link =
                entry->d_type == DT_LNK ||
                (::fstatat(::dirfd(dir), name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode));
            if (::fstatat(::dirfd(dir), name, &st, 0) == 0) {
                regular = S_ISREG(st.st_mode);
                isFolder = S_ISDIR(st.st_mode) && !link;
            }
        }
        if (decoder.hasError()) {
            // No path of ours can name it. A file is listed all the same, with U+FFFD for each bad byte
            // (a path that names nothing), so that whoever adds it can say it was there.
            if (regular && (mask == nullptr || mask->match(text).hasMatch())) {
                files.append(text);
            }
            continue;
        }
        if (regular && (mask == nullptr || mask->match(text).hasMatch())) {
            files.append(text);
        } else if (isFolder && recurse) {
            folders.append(text);
        }
    }
    ::closedir(dir);
    order.Sort(files);
    for (const QString& file : files) {
        list.append(JoinPath(folder, file));
    }
    order.Sort(folders);
    for (const QString& name : folders) {
        const QString sub = JoinPath(folder, name);
        if (listFolders) {
            list.append(sub);
        }
        FindIn(sub, mask, recurse, listFolders, order, list);
    }
}

}  // namespace

void FindFiles(const QString& folder, const QString& mask, bool recurse, bool listFolders,
               QStringList& list) {
    // "*.*" matches every name, with or without a dot, as the platform's own wildcard search does.
    std::optional<QRegularExpression> pattern;
    if (mask != QLatin1String("*.*") && mask != QLatin1String("*")) {
        pattern.emplace(QRegularExpression::wildcardToRegularExpression(mask),
                        QRegularExpression::CaseInsensitiveOption);
    }
    const NameOrder order;
    FindIn(folder, pattern ? &*pattern : nullptr, recurse, listFolders, order, list);
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

bool PathExists(const QString& path) {
    struct stat st;
    return !path.isEmpty() && ::stat(QFile::encodeName(path).constData(), &st) == 0;
}

bool IsRegularFile(const QString& path) {
    struct stat st;
    return !path.isEmpty() && ::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISREG(st.st_mode);
}

bool FileExists(const QString& path) {
    const QFileInfo info(path);
    return !path.isEmpty() && info.exists() && !info.isDir();
}

bool FolderExists(const QString& path) {
    return !path.isEmpty() && QFileInfo(path).isDir();
}

bool ReadWholeFile(const QString& path, QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    bytes = file.readAll();
    return file.error() == QFileDevice::NoError;
}

bool SaveWholeFile(const QString& path, const QByteArray& bytes) {
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

QString Utf8Text(QByteArray bytes) {
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        bytes.remove(0, 3);
    }
    return QString::fromUtf8(bytes);
}

QStringList SplitLines(const QString& text, bool loneCrBreaks) {
    QStringList lines;
    qsizetype start = 0;
    const qsizetype n = text.size();
    while (start < n) {
        qsizetype end = start;
        while (end < n && text[end] != u'\n' && !(loneCrBreaks && text[end] == u'\r')) {
            ++end;
        }
        if (loneCrBreaks) {
            lines.append(text.mid(start, end - start));
            if (end + 1 < n && text[end] == u'\r' && text[end + 1] == u'\n') {
                ++end;  // CR LF is one break
            }
        } else {
            // One CR before the LF (or at the very end) belongs to the line end.
            const bool cr = end > start && text[end - 1] == u'\r';
            lines.append(text.mid(start, end - start - (cr ? 1 : 0)));
        }
        start = end + 1;
    }
    return lines;
}

QStringList LoadLines(const QString& path, bool* ok) {
    QByteArray bytes;
    const bool read = ReadWholeFile(path, bytes);
    if (ok != nullptr) {
        *ok = read;
    }
    return read ? SplitLines(Utf8Text(bytes), true) : QStringList();
}

}  // namespace tembrix
