#pragma once
// A VFS made SQLite's default while it lives (connections opened before it are not affected), failing one
// database file and its journal even as root. DiskFull: the two may grow by `budget` bytes in all, then
// SQLITE_FULL. ReadOnly: the database file is opened read-only.

#include <sqlite3.h>

#include <QFileInfo>
#include <QString>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

namespace tembrix::test {

class FailingVfs {
public:
    // Passing: as DiskFull, but only the first refused write fails; the next ones go through.
    enum class Fault { DiskFull, ReadOnly, Passing };

    FailingVfs(const QString& databasePath, Fault fault, int64_t budget = std::numeric_limits<int64_t>::max())
        : m_path(QFileInfo(databasePath).absoluteFilePath().toStdString()), m_fault(fault), m_budget(budget) {
        s_self = this;
        m_real = sqlite3_vfs_find(nullptr);
        m_vfs = *m_real;
        m_vfs.zName = "tembrix-failing";
        m_vfs.szOsFile = static_cast<int>(sizeof(File)) + m_real->szOsFile;
        m_vfs.xOpen = &Open;
        m_vfs.pNext = nullptr;
        sqlite3_vfs_register(&m_vfs, 1);
    }
    ~FailingVfs() {
        sqlite3_vfs_unregister(&m_vfs);
        sqlite3_vfs_register(m_real, 1);
        s_self = nullptr;
    }
    FailingVfs(const FailingVfs&) = delete;

    // The growth reached at the first write to each new journal (where a transaction began changing pages),
    // and at each commit's first growing write to the database file after a journal sync. Read once ended.
    const std::vector<int64_t>& BatchStarts() const { return m_batchStarts; }
    const std::vector<int64_t>& CommitStarts() const { return m_commitStarts; }
    // Whether a refused write was one to the database file (a commit's). Read once ended.
    bool RefusedAtCommit() const { return m_refusedAtCommit; }

private:
    struct File {
        sqlite3_file base;
        sqlite3_file* real;  // the default VFS's file, in the bytes right after this struct
        bool watched;        // the database file or its journal
        bool database;       // the database file itself
    };
    static sqlite3_file* Real(sqlite3_file* f) { return reinterpret_cast<File*>(f)->real; }

    static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        FailingVfs& self = *s_self;
        File* f = reinterpret_cast<File*>(file);
        f->real = reinterpret_cast<sqlite3_file*>(f + 1);
        f->watched = name != nullptr && std::string(name).rfind(self.m_path, 0) == 0;
        f->database = f->watched && (flags & SQLITE_OPEN_MAIN_DB) != 0;
        if (f->database && self.m_fault == Fault::ReadOnly) {
            flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
        }
        if (f->watched && !f->database) {
            std::lock_guard lock(self.m_mutex);
            self.m_newJournal = true;
        }
        const int rc = self.m_real->xOpen(self.m_real, name, f->real, flags, outFlags);
        file->pMethods = rc == SQLITE_OK && f->real->pMethods != nullptr ? &kMethods : nullptr;
        return rc;
    }

    static int Write(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset) {
        FailingVfs& self = *s_self;
        const File* f = reinterpret_cast<File*>(file);
        if (f->watched && self.m_fault != Fault::ReadOnly) {
            sqlite3_int64 size = 0;
            Real(file)->pMethods->xFileSize(Real(file), &size);
            const int64_t growth = std::max<int64_t>(0, offset + amount - size);
            std::lock_guard lock(self.m_mutex);
            if (!f->database && self.m_newJournal) {
                self.m_newJournal = false;
                self.m_batchStarts.push_back(self.m_grown);
            }
            if (f->database && growth > 0 && self.m_journalSynced) {
                self.m_journalSynced = false;
                self.m_commitStarts.push_back(self.m_grown);
            }
            if (growth > 0 && self.m_grown + growth > self.m_budget) {
                self.m_refusedAtCommit = self.m_refusedAtCommit || f->database;
                if (self.m_fault == Fault::Passing) {
                    self.m_budget = std::numeric_limits<int64_t>::max();
                }
                return SQLITE_FULL;
            }
            self.m_grown += growth;
        }
        return Real(file)->pMethods->xWrite(Real(file), data, amount, offset);
    }

    static int Sync(sqlite3_file* file, int flags) {
        const File* f = reinterpret_cast<File*>(file);
        if (f->watched && !f->database) {
            std::lock_guard lock(s_self->m_mutex);
            s_self->m_journalSynced = true;
        }
        return Real(file)->pMethods->xSync(Real(file), flags);
    }

    // Everything else passes through; no shared memory or memory map, so every write passes through Write.
    template <auto method, typename... Args>
    static int Pass(sqlite3_file* f, Args... args) {
        return (Real(f)->pMethods->*method)(Real(f), args...);
    }
    using M = sqlite3_io_methods;
    // clang-format off
    static constexpr M kMethods = {1, &Pass<&M::xClose>, &Pass<&M::xRead>, &Write, &Pass<&M::xTruncate>, &Sync,
        &Pass<&M::xFileSize>, &Pass<&M::xLock>, &Pass<&M::xUnlock>, &Pass<&M::xCheckReservedLock>,
        &Pass<&M::xFileControl>, &Pass<&M::xSectorSize>, &Pass<&M::xDeviceCharacteristics>,
        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
    // clang-format on

    static inline FailingVfs* s_self = nullptr;
    std::string m_path;
    Fault m_fault;
    int64_t m_budget;
    sqlite3_vfs* m_real = nullptr;
    sqlite3_vfs m_vfs{};
    std::mutex m_mutex;  // guards the members below and the growth test of Write
    int64_t m_grown = 0;
    bool m_journalSynced = false;
    bool m_newJournal = false;
    std::vector<int64_t> m_commitStarts, m_batchStarts;
    bool m_refusedAtCommit = false;
};

}  // namespace tembrix::test
