#pragma once
// ImportDatabase, the database import worker: copies the rows of an import source (TDataModule2) into
// the main index store (TDataModule1). A row whose track (md5, source_size, audio_track) is already in
// the store is either left out (keep) or replaces the stored row (replace), as `replaceDuplicates` says
// when the duplicate is met.
//
// The store is called from the worker's own thread, through its busy flag. Rows are written in batches:
// one transaction of at most 1000 rows, one second or 64 MB of envelopes, committed also at the end and
// after a stop. A replacement stores the new row first and deletes the older rows of its track at the
// end of the batch, in the same transaction, so that a failed insert leaves the stored row in place.
// The first write that fails (disk full, I/O error, read-only file or folder, lock timeout) rolls the
// open batch back as a whole and ends the import with "Ошибка записи в базу данных! …"; the summary
// counts only rows of committed batches. The source rows are read ahead on a second thread, unless the
// source is the store's own file.
//
// Created unstarted; start() runs Execute() on the worker thread; requestInterruption() stops it after
// the current row, and the closing message and the summary still follow.

#include <QString>
#include <QStringList>
#include <QThread>
#include <atomic>
#include <functional>

#include "database/line_queue.h"

namespace tembrix {

class TDataModule1;
class TDataModule2;

class ImportDatabase : public QThread {
public:
    // Both must stay connected and alive while the worker runs.
    ImportDatabase(TDataModule1& store, TDataModule2& source, QObject* parent = nullptr);
    // Requests interruption and waits for the thread, delivering its pending notifications.
    ~ImportDatabase() override;

    // The duplicate policy: false keeps the stored row, true replaces it. Read at every duplicate.
    std::atomic<bool> replaceDuplicates{false};
    // 0..100 after each source row, written by the worker only.
    std::atomic<int> progress{0};
    // How the import ended, for callers that decide from it (the command line's exit status).
    enum class Outcome {
        Done,     // every row handled ("Задание выполнено!"), perhaps with row errors
        Stopped,  // stopped on request ("Импорт остановлен!"); what was done is committed
        KeysUnreadable,  // the source's key list could not be read; nothing done
        LookupFailed,  // a track look-up failed ("Ошибка SQL запроса"); the rows before are committed
        WriteFailed,  // a write failed; the open batch was rolled back
    };
    // Valid once Execute() has returned (or the thread has ended).
    Outcome outcome = Outcome::Done;
    // Lines "Ошибка DataModule2->GetRecord2" and "Ошибка DataModule1->InsertSQL" given: rows left out.
    int rowErrors = 0;

    // Counters of the summary. Written by the worker; read by the notifications (the worker waits then)
    // or after the thread has ended.
    int total = 0;      // rows in the source
    int added = 0;      // rows inserted, in committed batches
    int ignored = 0;    // duplicates left out
    int deleted = 0;    // stored rows deleted by replacements, in committed batches
    int processed = 0;  // source rows handled

    // Notifications, run on the main thread; an unset one is skipped. The lines (duplicates and errors,
    // in order) come in batches without the worker waiting for them; the message boxes and the summary
    // are synchronous, and all lines found before each of them are delivered before it. Set them before
    // start().
    std::function<void(const QStringList& lines)> onLines;      // lines for the message list
    std::function<void(const QString&)> onMessageBox;           // a message box text
    std::function<void(const QStringList& summary)> onSummary;  // the five summary lines, at the end

    // The whole import, on the calling thread.
    void Execute();

protected:
    void run() override;

private:
    void Line(const QString& text);
    void MessageBox(const QString& text);
    void Summary();
    // A failure: its line, then its message box.
    void Report(const QString& text);

    LineQueue m_lines;  // feeds onLines
    TDataModule1& m_store;
    TDataModule2& m_source;
};

}  // namespace tembrix
