#include "database/check_database.h"

#include <QList>
#include <QPair>
#include <QStringList>
#include <QtGlobal>
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#else
#include <QDir>
#endif

#include "database/index_store.h"
#include "database/sqlite.h"
#include "util/file_utils.h"
#include "util/synchronize.h"

namespace tembrix {

namespace {

constexpr char kCountSql[] = "SELECT count(*) AS RECORDS_COUNT FROM Data";
constexpr char kDuplicatesSql[] =
    "SELECT id, md5, COUNT(*) AS n FROM Data GROUP BY md5, source_size, audio_track HAVING n > 1";
constexpr char kFieldsSql[] =
    "SELECT id, source_size, sha2, md5, duration, source_path, source_file_name, extension, type, "
    "audio_track, all_tracks, created, info, index_size FROM Data";
constexpr char kSourcesSql[] = "SELECT id, source_path FROM Data";
constexpr char kIndexSql[] = "SELECT id,index_size,index_data FROM Data";

// "Id=<id>\t" with the id as a 32-bit number, as every report line begins.
QString IdPrefix(int64_t id) {
    return QStringLiteral("Id=") + QString::number(static_cast<int32_t>(id)) + u'\t';
}

int32_t Int32(const SqliteStatement& q, int column) {
    return static_cast<int32_t>(q.Int64(column));
}

// Number of 16-bit little-endian values among the first `bytes` / 2 whose top bit is set (negative as
// signed numbers). Reads the bytes where they are, sixteen values at a time: the top bits are gathered
// into 16-bit counters, four to a 64-bit word, which are added up before they can overflow.
#if defined(__GNUC__)
#define TEMBRIX_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define TEMBRIX_ALWAYS_INLINE inline
#endif
TEMBRIX_ALWAYS_INLINE int64_t CountNegativeValuesIn(const unsigned char* data, int64_t bytes) {
    constexpr uint64_t kLowBits = 0x0001000100010001ULL;
    constexpr int64_t kBlock = 32;            // bytes per step: four words of four values
    constexpr int64_t kStepsPerFold = 65535;  // a 16-bit counter holds this many ones
    const auto load = [data](int64_t offset) {
        uint64_t word;
        std::memcpy(&word, data + offset, sizeof word);
        if constexpr (std::endian::native == std::endian::big) {
            word = __builtin_bswap64(word);
        }
        return (word >> 15) & kLowBits;  // the top bit of each value, moved to its lowest bit
    };
    const auto fold = [](uint64_t c) {
        return static_cast<int64_t>((c & 0xFFFF) + ((c >> 16) & 0xFFFF) + ((c >> 32) & 0xFFFF) + (c >> 48));
    };
    const int64_t usable = bytes / 2 * 2;
    int64_t count = 0;
    int64_t offset = 0;
    while (offset + kBlock <= usable) {
        const int64_t steps = std::min<int64_t>((usable - offset) / kBlock, kStepsPerFold);
        // Four independent counters, so that the additions do not wait for each other.
        uint64_t c0 = 0, c1 = 0, c2 = 0, c3 = 0;
        for (int64_t step = 0; step < steps; ++step, offset += kBlock) {
            c0 += load(offset);
            c1 += load(offset + 8);
            c2 += load(offset + 16);
            c3 += load(offset + 24);
        }
        count += fold(c0) + fold(c1) + fold(c2) + fold(c3);
    }
    for (; offset < usable; offset += 2) {
        count += (data[offset + 1] & 0x80) != 0 ? 1 : 0;
    }
    return count;
}

#if defined(__x86_64__) && defined(__GNUC__)
// The same loop compiled for twice the vector width, used where the processor has it. (Chosen at the
// call, not by the loader: a loader-resolved choice runs before a sanitizer's runtime is ready.)
__attribute__((target("avx2"))) int64_t CountNegativeValuesAvx2(const unsigned char* data, int64_t bytes) {
    return CountNegativeValuesIn(data, bytes);
}
#endif

int64_t CountNegativeValues(const unsigned char* data, int64_t bytes) {
#if defined(__x86_64__) && defined(__GNUC__)
    static const bool hasAvx2 = __builtin_cpu_supports("avx2");
    if (hasAvx2) {
        return CountNegativeValuesAvx2(data, bytes);
    }
#endif
    return CountNegativeValuesIn(data, bytes);
}

// True when something other than a folder exists at the UTF-8 path, as FileExists says. Asks the system
// directly where it can, without making a string of every path: the source pass looks at each row of the
// table.
bool RegularFileExists(const char* utf8Path) {
    if (utf8Path == nullptr || *utf8Path == '\0') {
        return false;
    }
#ifdef Q_OS_UNIX
    struct stat info;
    return ::stat(utf8Path, &info) == 0 && !S_ISDIR(info.st_mode);
#else
    return FileExists(QString::fromUtf8(utf8Path));
#endif
}

// Answers "is there a file at this path" for the source pass. Once a file and its folder are both missing,
// later paths in that folder are answered without asking the system again: a database from another
// machine may name thousands of files on a disk that is not there.
class SourceProbe {
public:
    bool FileExists(const char* utf8Path) {
        if (utf8Path == nullptr || *utf8Path == '\0') {
            return false;
        }
        const std::string_view path(utf8Path);
        const size_t separator = path.find_last_of(kSeparators);
        const std::string folder(separator == std::string_view::npos || separator == 0
                                     ? std::string_view()
                                     : path.substr(0, separator));
        if (!folder.empty() && m_missingFolders.count(folder) > 0) {
            return false;
        }
        if (RegularFileExists(utf8Path)) {
            return true;
        }
        if (!folder.empty() && !FolderExists(folder)) {
            m_missingFolders.insert(folder);
        }
        return false;
    }

private:
#ifdef Q_OS_UNIX
    static constexpr char kSeparators[] = "/";
    static bool FolderExists(const std::string& folder) {
        struct stat info;
        return ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    }
#else
    static constexpr char kSeparators[] = "/\\";
    static bool FolderExists(const std::string& folder) {
        return QDir(QString::fromStdString(folder)).exists();
    }
#endif

    std::unordered_set<std::string> m_missingFolders;
};

}  // namespace

CheckDatabase::CheckDatabase(TDataModule1& store, QObject* parent)
    : QThread(parent), m_lines(this, onLines), m_store(store) {}

CheckDatabase::~CheckDatabase() {
    requestInterruption();
    JoinThread(this);
}

void CheckDatabase::run() {
    Execute();
    // Lines queued after the last notification reach the sink before the thread is seen to end.
    Synchronize([this] { m_lines.Deliver(); });
    MarkWorkEnd(this);
}

void CheckDatabase::Line(const QString& line) {
    m_lines.Add(line);
}

void CheckDatabase::Failure(const QString& error) {
    Synchronize([&] {
        m_lines.Deliver();
        if (onFailure) {
            onFailure(error);
        }
    });
}

void CheckDatabase::Execute() {
    progress = 0;
    CountRecords();
    progress = 20;
    // The envelope pass reads every blob; the others read only the rows' first pages and the indexes. So
    // the envelope pass runs beside them on a second thread, on the store's connection, and holds its
    // findings back until theirs are out: the report comes in the same order as one pass after another.
    // The other passes read through the store's second, read-only connection (its main one when that
    // cannot be opened: SQLite then takes turns between the two threads).
    const bool envelopes = checkIndexValues || checkIndexSizes;
    QStringList envelopeLines;
    bool envelopesRead = true;
    std::thread envelopePass;
    if (envelopes) {
        envelopePass = std::thread([&] { envelopesRead = CheckIndexData(envelopeLines); });
    }
    if (checkDuplicates && !FindDuplicates()) {
        Failure(QStringLiteral("Ошибка поиска дубликатов!"));
    }
    progress = 40;
    if (checkEmptyFields && !FindEmptyFields()) {
        Failure(QStringLiteral("Ошибка поиска пустых полей!"));
    }
    progress = 60;
    if (checkSourceFiles && !FindMissingSources()) {
        Failure(QStringLiteral("Ошибка чтения списка файлов!"));
    }
    progress = 80;
    if (envelopePass.joinable()) {
        envelopePass.join();
    }
    for (const QString& line : envelopeLines) {
        if (Stopping()) {
            break;
        }
        Line(line);
    }
    if (!envelopesRead) {
        Failure(QStringLiteral("Ошибка чтения индексных данных!"));
    }
    m_lines.Flush();  // the report is complete: no gathering time for its last lines
    progress = 100;
    for (int slept = 0; slept < finishPauseMs && !Stopping(); slept += 10) {
        QThread::msleep(10);
    }
    Synchronize([&] {
        m_lines.Deliver();
        if (onFinish) {
            onFinish();
        }
    });
}

void CheckDatabase::CountRecords() {
    // The number itself is not used: the step only shows that the table can be read.
    bool counted = false;
    const bool read = m_store.ReadRows(TDataModule1::ReadOn::Store, kCountSql, [&](const SqliteStatement& q) {
        counted = q.Column("RECORDS_COUNT") >= 0;
        return false;
    });
    if (!read || !counted) {
        Failure(QStringLiteral("Ошибка чтения количества записей!"));
    }
}

bool CheckDatabase::FindDuplicates() {
    return m_store.ReadRows(TDataModule1::ReadOn::Reader, kDuplicatesSql, [this](const SqliteStatement& q) {
        if (Stopping()) {
            return false;
        }
        // Columns in the order of the statement: id, md5, n.
        Line(IdPrefix(q.Int64(0)) + QString::asprintf("Найдены  дубликаты (%i)", Int32(q, 2)));
        return true;
    });
}

bool CheckDatabase::FindEmptyFields() {
    // Columns in the order of the statement; faulty ones are listed in this order too.
    enum Col {
        kId,
        kSourceSize,
        kSha2,
        kMd5,
        kDuration,
        kSourcePath,
        kSourceFileName,
        kExtension,
        kType,
        kAudioTrack,
        kAllTracks,
        kCreated,
        kInfo,
        kIndexSize
    };
    return m_store.ReadRows(TDataModule1::ReadOn::Reader, kFieldsSql, [this](const SqliteStatement& q) {
        if (Stopping()) {
            return false;
        }
        const int64_t id = q.Int64(kId);
        const int32_t indexSize = Int32(q, kIndexSize);
        QString faulty;
        // A value is empty text when it has no bytes as text (NULL included); no string is made.
        const auto emptyText = [&](int column, const char* name) {
            if (q.TextBytes(column) == 0) {
                faulty += QLatin1String(name) + QLatin1String(", ");
            }
        };
        const auto belowOne = [&](int32_t value, const char* name) {
            if (value < 1) {
                faulty += QLatin1String(name) + QLatin1String(", ");
            }
        };
        emptyText(kSourceSize, "source_size");
        emptyText(kSha2, "sha2");
        emptyText(kMd5, "md5");
        belowOne(Int32(q, kDuration), "duration");
        emptyText(kSourcePath, "source_path");
        emptyText(kSourceFileName, "source_file_name");
        emptyText(kExtension, "extension");
        emptyText(kType, "type");
        belowOne(Int32(q, kAllTracks), "all_tracks");
        emptyText(kCreated, "created");
        emptyText(kInfo, "info");
        belowOne(indexSize, "index_size");
        if (!faulty.isEmpty()) {
            Line(IdPrefix(id) + QStringLiteral("Найдены пустые поля (") + faulty.chopped(2) + u')');
        }
        if (indexSize <= 1000) {
            Line(IdPrefix(id) + QString::asprintf("Найдены короткие индексы (%i)", indexSize));
        }
        return true;
    });
}

bool CheckDatabase::FindMissingSources() {
    // SQLite reads this statement in the order of the path look-up index; the findings are reported in
    // the order of the table, as the other passes report theirs.
    QList<QPair<int64_t, QString>> missing;
    SourceProbe probe;
    const bool read =
        m_store.ReadRows(TDataModule1::ReadOn::Reader, kSourcesSql, [&](const SqliteStatement& q) {
            if (Stopping()) {
                return false;
            }
            if (!probe.FileExists(q.Utf8(1))) {
                missing.append({q.Int64(0), q.Text(1)});
            }
            return true;
        });
    std::stable_sort(missing.begin(), missing.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [id, path] : missing) {
        Line(IdPrefix(id) + QStringLiteral("Исходный файл не найден: ") + path);
    }
    return read;
}

bool CheckDatabase::CheckIndexData(QStringList& lines) {
    return m_store.ReadRows(TDataModule1::ReadOn::Store, kIndexSql, [&](const SqliteStatement& q) {
        if (Stopping()) {
            return false;
        }
        const int64_t id = q.Int64(0);
        const int32_t indexSize = Int32(q, 1);
        // The blob is read once, where SQLite holds it; only one row's blob is in memory at a time.
        const int64_t realSize = q.BlobBytes(2);
        const auto* data = static_cast<const unsigned char*>(q.BlobData(2));
        if (realSize != indexSize) {
            lines.append(
                IdPrefix(id) +
                QString::asprintf(
                    "Реальный размер индексных данных (%lli) отличен от значения поля index_size (%i)",
                    static_cast<long long>(realSize), indexSize));
        }
        if (indexSize == 0) {
            lines.append(IdPrefix(id) + QStringLiteral("Индексные данные отстутствуют!"));
        } else if (indexSize <= 5999) {
            lines.append(IdPrefix(id) + QString::asprintf("Размер индексных данных (%lli) менее минуты!",
                                                          static_cast<long long>(realSize)));
        }
        const int64_t negative = data != nullptr ? CountNegativeValues(data, realSize) : 0;
        if (negative > 0) {
            lines.append(IdPrefix(id) + QString::asprintf("Обнаружено (%i) отрицательных значений огибающей!",
                                                          static_cast<int32_t>(negative)));
        }
        return true;
    });
}

}  // namespace tembrix
