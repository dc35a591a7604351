#include "app/indexing_queue.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>
#include <algorithm>

#include <sys/stat.h>

#include "indexing/media_types.h"
#include "util/file_utils.h"
#include "util/path_utils.h"
#include "util/text_utils.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

#ifdef Q_OS_WIN
constexpr char kLineEnd[] = "\r\n";
#else
constexpr char kLineEnd[] = "\n";
#endif

constexpr char kUtf8Bom[] = "\xEF\xBB\xBF";

// What the queue records of a file, from a single status call: a folder scan adds many thousands of
// files, and each further call (a second stat, the C library re-checking the time zone file for every
// local-time conversion) costs as much as the rest of AddFile together.
struct FileFacts {
    bool exists = false;   // the path names something
    bool regular = false;  // … and it is a regular file (links followed)
    qint64 size = -1;      // as FileSize gives it: -1 when the file cannot be examined
    QDateTime modified;    // local time; invalid unless the path is a regular file
};

FileFacts Examine(const QString& path) {
    FileFacts facts;
    struct stat st;
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &st) != 0) {
        return facts;
    }
    facts.exists = true;
    facts.regular = S_ISREG(st.st_mode);
    facts.size = static_cast<qint64>(st.st_size);
    if (facts.regular) {
        // The system time zone, read once: converting with it gives the same local time as Qt's own
        // conversion without a system call per file.
        static const QTimeZone zone = QTimeZone::systemTimeZone();
        const qint64 ms = static_cast<qint64>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
        facts.modified =
            zone.isValid() ? QDateTime::fromMSecsSinceEpoch(ms, zone) : QDateTime::fromMSecsSinceEpoch(ms);
    }
    return facts;
}

}  // namespace

bool IndexingQueue::AddFile(const QString& path) {
    if (Contains(path)) {
        return false;
    }
    const QString fileName = FileNameOf(path);
    const QString type = MediaTypeOf(ExtensionOf(fileName));
    if (type.isEmpty()) {
        return false;
    }
    QueueEntry entry;
    entry.path = path;
    entry.name = NameWithoutExtension(fileName);
    entry.type = type;
    const FileFacts facts = Examine(path);
    if (facts.exists && !facts.regular) {
        ++m_refused;
        Messages().ShowMessage(kNotRegularFileSkipped + path);
        return false;
    }
    if (!facts.exists && path.contains(QChar::ReplacementCharacter)) {
        ++m_refused;
        Messages().ShowMessage(kNameNotUtf8Skipped + path);
        return false;
    }
    entry.size = facts.size > 0 ? static_cast<quint64>(facts.size) : 0;
    entry.created = DateTimeText(facts.modified);
    const bool dateMissing = entry.created.isEmpty();
    // Contains() above left the position index valid.
    m_positions.insert(path, Count());
    m_entries.push_back(std::move(entry));
    if (dateMissing) {
        Messages().ShowMessage(path);
    }
    return true;
}

bool IndexingQueue::Contains(const QString& path) const {
    return IndexOf(path) >= 0;
}

void IndexingQueue::Clear() {
    m_entries.clear();
    m_positions.clear();
    m_indexValid = true;
}

bool IndexingQueue::Delete(qsizetype index) {
    if (index < 0 || index >= Count()) {
        return false;
    }
    if (m_indexValid && index == Count() - 1) {
        m_positions.remove(m_entries.back().path);
    } else {
        m_indexValid = false;
    }
    m_entries.erase(m_entries.begin() + index);
    return true;
}

bool IndexingQueue::DeleteBefore(qsizetype index) {
    if (index < 0 || index >= Count()) {
        return false;
    }
    if (index > 0) {
        m_entries.erase(m_entries.begin(), m_entries.begin() + index);
        m_indexValid = false;
    }
    return true;
}

bool IndexingQueue::DeleteAfter(qsizetype index) {
    if (index < 0 || index >= Count()) {
        return false;
    }
    // The entries that stay keep their positions, so the index only loses the removed paths.
    if (m_indexValid) {
        for (auto it = m_entries.begin() + index + 1; it != m_entries.end(); ++it) {
            m_positions.remove(it->path);
        }
    }
    m_entries.erase(m_entries.begin() + index + 1, m_entries.end());
    return true;
}

bool IndexingQueue::Save(const QString& file) const {
    QByteArray bytes(kUtf8Bom);
    for (const QueueEntry& entry : m_entries) {
        bytes += entry.path.toUtf8();
        bytes += kLineEnd;
    }
    return SaveWholeFile(file, bytes);
}

bool IndexingQueue::Open(const QString& file) {
    QByteArray bytes;
    if (!ReadWholeFile(file, bytes)) {
        return false;
    }
    Clear();
    for (const QString& line : SplitLines(Utf8Text(bytes), false)) {
        if (!line.isEmpty()) {
            AddFile(line);
        }
    }
    return true;
}

QString IndexingQueue::NextWithStatus(const QString& status) const {
    for (const QueueEntry& entry : m_entries) {
        if (entry.status == status) {
            return entry.path;
        }
    }
    return QString();
}

bool IndexingQueue::SetStatus(const QString& status, const QString& path) {
    const qsizetype index = IndexOf(path);
    if (index < 0) {
        return false;
    }
    m_entries[static_cast<std::size_t>(index)].status = status;
    return true;
}

QString IndexingQueue::StatusOf(const QString& path) const {
    const qsizetype index = IndexOf(path);
    return index < 0 ? QString() : m_entries[static_cast<std::size_t>(index)].status;
}

int IndexingQueue::CountWithStatus(const QString& status) const {
    return static_cast<int>(std::count_if(m_entries.begin(), m_entries.end(),
                                          [&status](const QueueEntry& e) { return e.status == status; }));
}

const QueueEntry& IndexingQueue::At(qsizetype index) const {
    static const QueueEntry kNoEntry;
    if (index < 0 || index >= Count()) {
        return kNoEntry;
    }
    return m_entries[static_cast<std::size_t>(index)];
}

qsizetype IndexingQueue::IndexOf(const QString& path) const {
    if (!m_indexValid) {
        RebuildIndex();
    }
    return m_positions.value(path, -1);
}

void IndexingQueue::RebuildIndex() const {
    m_positions.clear();
    m_positions.reserve(Count());
    for (qsizetype i = 0; i < Count(); ++i) {
        m_positions.insert(m_entries[static_cast<std::size_t>(i)].path, i);
    }
    m_indexValid = true;
}

}  // namespace tembrix
