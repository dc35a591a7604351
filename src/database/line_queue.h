#pragma once
// LineQueue: the report lines of a worker thread on their way to the main thread, in batches. The
// worker adds lines without waiting (unless kMaxQueued are already queued); the first line added to an empty
// queue posts one delivery to the main thread, which gathers lines for up to kGatherMs after that first one
// and then hands every line queued by then to the sink in one call. So a worker that reports a line for every
// row wakes the main thread a few dozen times a second, not once per line, and a line is shown within about
// kGatherMs (plus whatever the main thread is busy with) after it was found.
//
// Order is kept: lines come out in the order they were added, and Deliver() run before any other
// notification of the worker puts all lines added before it first.

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace tembrix {

class LineQueue {
public:
    // `context` is the worker object: deliveries are posted to it, so it must live on the main thread,
    // and a delivery posted after it is gone is dropped. `sink` (the worker's public callback, which
    // may be unset) must outlive this object.
    LineQueue(QObject* context, const std::function<void(const QStringList&)>& sink);
    LineQueue(const LineQueue&) = delete;
    LineQueue& operator=(const LineQueue&) = delete;

    // Any thread. Without an application, or on the main thread itself, the line goes to the sink at
    // once.
    void Add(const QString& line);
    // Main thread: hands every queued line to the sink (nothing when none is queued).
    void Deliver();
    // Any thread: has the queued lines handed on at once rather than after the gathering time (the
    // worker has no more for a while); does not wait for them.
    void Flush();

    // How long a delivery gathers lines after the first, in ms.
    static constexpr qint64 kGatherMs = 25;
    // At most this many lines wait for the main thread; a worker adding one more waits until the main
    // thread has taken them (a queued call, which a main thread joining the worker still answers).
    static constexpr qsizetype kMaxQueued = 2048;

private:
    // Main thread: delivers, or waits (on a timer) until the first queued line is kGatherMs old.
    void DeliverGathered();

    QPointer<QObject> m_context;
    const std::function<void(const QStringList&)>& m_sink;
    std::mutex m_mutex;
    QStringList m_lines;              // queued, guarded by m_mutex
    QElapsedTimer m_firstQueued;      // since the first line of m_lines was added, guarded by m_mutex
    bool m_deliveryPosted = false;    // guarded by m_mutex
    std::condition_variable m_taken;  // a worker waits here while kMaxQueued lines are queued
};

}  // namespace tembrix
