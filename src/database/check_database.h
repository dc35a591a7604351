#pragma once
// CheckDatabase, the database check worker: scans the main index database for faulty rows and reports
// each finding as one line "Id=<id>\t<finding>". It never changes the database. Its read-only queries
// run through the store (TDataModule1::ReadRows) on the store's connection and on its second, read-only
// one, without the store's busy flag.
//
// Created unstarted; the owner sets the options and callbacks, then start() runs Execute() on the
// worker thread. requestInterruption() asks it to stop: the current pass ends before its next row, the
// remaining passes end before their first, and the finish notification is still sent.

#include <QString>
#include <QStringList>
#include <QThread>
#include <atomic>
#include <functional>

#include "database/line_queue.h"

namespace tembrix {

class TDataModule1;

class CheckDatabase : public QThread {
public:
    // `store` must stay connected and alive while the worker runs.
    explicit CheckDatabase(TDataModule1& store, QObject* parent = nullptr);
    // Requests interruption and waits for the thread, delivering its pending notifications.
    ~CheckDatabase() override;

    // The passes to run. The index pass runs when either of the last two is set.
    bool checkDuplicates = true;
    bool checkEmptyFields = true;
    bool checkSourceFiles = true;
    bool checkIndexValues = true;
    bool checkIndexSizes = true;

    // 0..100, written by the worker only: 0, then 20, 40, 60, 80 after each pass, 100 at the end.
    std::atomic<int> progress{0};

    // Pause between progress 100 and the finish notification, in ms (interrupted by a stop request).
    int finishPauseMs = 1000;

    // Notifications, run on the main thread; an unset one is skipped. The report lines come in
    // batches, in order, without the worker waiting for them; the failure and finish notifications are
    // synchronous, and all lines found before each of them are delivered before it. Set them before
    // start().
    std::function<void(const QStringList& lines)> onLines;  // report lines "Id=…\t…"
    std::function<void(const QString& error)> onFailure;    // a pass failed: message box text
    std::function<void()> onFinish;                         // the end (also after a stop request)

    // The count step and the passes, reported in order, on the calling thread (the envelope pass reads
    // on a second thread meanwhile, which ends before this returns).
    void Execute();

protected:
    void run() override;

private:
    bool Stopping() const { return isInterruptionRequested(); }
    void Line(const QString& line);
    void Failure(const QString& error);

    void CountRecords();
    // The passes on the store's second connection; each reports its findings as it goes and returns
    // false when its query failed.
    bool FindDuplicates();
    bool FindEmptyFields();
    bool FindMissingSources();
    // The envelope pass, on the store's connection and on any thread: appends its findings to `lines`.
    bool CheckIndexData(QStringList& lines);

    LineQueue m_lines;  // feeds onLines
    TDataModule1& m_store;
};

}  // namespace tembrix
