#pragma once
// The start-up both front ends share: the program's files, the logs, the settings, the index store, the
// indexing queue and (once asked for) the scheduler over them. The desktop window and every command of
// the command-line front end start through one session. Main thread only.

#include <QString>
#include <QTemporaryDir>
#include <memory>
#include <optional>

#include "app/indexing_queue.h"
#include "app/settings.h"

namespace tembrix {

class IndexingScheduler;
class TDataModule1;

class Session {
public:
    // Settles the files of the program at `executablePath` (its INI and program log beside it, or in the
    // fall-back folder, made when missing, when its folder is not writable), starts the program log
    // afresh with `firstLogLine` and reads the settings, a thread limit above `processors` cut down.
    // my.log goes to the program folder when it is writable, else beside the program log.
    // `settingsOf`: the executable whose INI holds the settings; "" for this program's own. Another
    // program's INI is only read, never written.
    // `store`: the index store to use, which must outlive the session; null: the session owns one.
    Session(const QString& executablePath, const QString& firstLogLine, int processors,
            const QString& settingsOf = {}, TDataModule1* store = nullptr);
    // The scheduler goes first (its workers joined, the work folder's lock released), then the queue.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const ProgramFiles& Files() const { return m_files; }
    Settings& CurrentSettings() { return m_settings; }
    IndexingQueue& Queue() { return m_queue; }
    TDataModule1& Store() { return *m_store; }

    // Writes the settings to the program's own INI. False (without writing) when they are another
    // program's, or after the message of a failed write.
    bool WriteSettings() const;

    // Connects the store to the settings' database when its file exists; forgets a database setting
    // whose file is gone. False when nothing was connected.
    bool ConnectSettingsDatabase();

    // The work folder becomes a fresh temporary folder, removed with the session (after the scheduler).
    // False when none can be made.
    bool UseTemporaryWorkFolder();

    // Makes the scheduler over the queue, the store and the settings with `slotCount` worker slots; the
    // session owns it. Once per session.
    IndexingScheduler& StartScheduler(int slotCount);

private:
    ProgramFiles m_files;
    QString m_iniPath;  // the INI file the settings come from
    bool m_ownSettings = true;
    Settings m_settings;
    std::unique_ptr<TDataModule1> m_ownStore;
    TDataModule1* m_store = nullptr;
    IndexingQueue m_queue;
    std::optional<QTemporaryDir> m_temporaryWork;
    std::unique_ptr<IndexingScheduler> m_scheduler;
};

}  // namespace tembrix
