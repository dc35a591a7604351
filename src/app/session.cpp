#include "app/session.h"

#include <QDir>
#include <QFileInfo>

#include "app/indexing_scheduler.h"
#include "database/index_store.h"
#include "util/file_utils.h"
#include "util/logs.h"

namespace tembrix {

Session::Session(const QString& executablePath, const QString& firstLogLine, int processors,
                 const QString& settingsOf, TDataModule1* store)
    : m_files(ProgramFiles::Settle(executablePath)), m_store(store) {
    // The program log sits in the program folder when that is writable, else in the fall-back folder;
    // my.log goes with it, so an installed, read-only program folder loses no line.
    SetLogLocations(m_files.logPath, QFileInfo(m_files.logPath).absolutePath());
    WriteProgramLog(m_files.logPath, firstLogLine, false);
    m_ownSettings = settingsOf.isEmpty();
    m_iniPath = m_ownSettings ? m_files.iniPath : ProgramFiles::Locate(settingsOf).iniPath;
    ReadSettings(m_iniPath, m_settings, processors);
    if (m_store == nullptr) {
        m_ownStore = std::make_unique<TDataModule1>();
        m_store = m_ownStore.get();
    }
}

Session::~Session() {
    if (m_scheduler) {
        m_scheduler->UnlockWorkFolder();
        m_scheduler.reset();
    }
}

bool Session::WriteSettings() const {
    return m_ownSettings && tembrix::WriteSettings(m_iniPath, m_settings);
}

bool Session::ConnectSettingsDatabase() {
    if (m_settings.dbPath.isEmpty()) {
        return false;
    }
    if (!FileExists(m_settings.dbPath)) {
        m_settings.dbPath.clear();
        return false;
    }
    return m_store->Connect(m_settings.dbPath);
}

bool Session::UseTemporaryWorkFolder() {
    if (!m_temporaryWork.emplace(QDir::tempPath() + QStringLiteral("/tembrix-index-XXXXXX")).isValid()) {
        m_temporaryWork.reset();
        return false;
    }
    m_settings.workDir = QDir::toNativeSeparators(m_temporaryWork->path());
    return true;
}

IndexingScheduler& Session::StartScheduler(int slotCount) {
    m_scheduler =
        std::make_unique<IndexingScheduler>(m_queue, *m_store, m_settings, m_files.programDir, slotCount);
    return *m_scheduler;
}

}  // namespace tembrix
