#pragma once
// LineQueue: the report lines of a worker thread on their way to the main thread, in batches. The
// worker adds lines without waiting; the first line added to an empty queue posts one delivery to the
// main thread, which hands every line queued by then to the sink in one call. While the main thread is
// busy, lines pile up and go in the next batch, so a worker that reports a line for every row costs the
// main thread one call per batch, not one per line; an idle main thread shows a line at once.
//
// Order is kept: lines come out in the order they were added, and Deliver() run before any other
// notification of the worker puts all lines added before it first.

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
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

private:
    QPointer<QObject> m_context;
    const std::function<void(const QStringList&)>& m_sink;
    std::mutex m_mutex;
    QStringList m_lines;            // queued, guarded by m_mutex
    bool m_deliveryPosted = false;  // guarded by m_mutex
};

}  // namespace tembrix
