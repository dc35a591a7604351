#include "database/line_queue.h"

#include <QMetaObject>
#include <QTimer>

#include "util/synchronize.h"

namespace tembrix {

LineQueue::LineQueue(QObject* context, const std::function<void(const QStringList&)>& sink)
    : m_context(context), m_sink(sink) {}

void LineQueue::Add(const QString& line) {
    if (OnMainThread()) {
        Deliver();  // lines a worker thread queued earlier go first
        if (m_sink) {
            m_sink(QStringList{line});
        }
        return;
    }
    std::unique_lock lock(m_mutex);
    if (m_lines.size() >= kMaxQueued && m_context) {
        // The main thread is behind (busy, or blocked writing earlier lines): ask it to take what is
        // queued now (a queued call, which a main thread joining this worker still delivers) and wait
        // until it has taken them, so a worker that reports every row never holds more than kMaxQueued
        // lines. The main thread hands them on after it has let this thread go, so the two overlap.
        QMetaObject::invokeMethod(
            m_context, [this] { Deliver(); }, Qt::QueuedConnection);
        m_taken.wait(lock, [this] { return m_lines.size() < kMaxQueued; });
    }
    if (m_lines.isEmpty()) {
        m_firstQueued.start();
    }
    m_lines.append(line);
    if (!m_deliveryPosted && m_context) {
        m_deliveryPosted = QMetaObject::invokeMethod(
            m_context, [this] { DeliverGathered(); }, Qt::QueuedConnection);
    }
}

void LineQueue::DeliverGathered() {
    qint64 age = kGatherMs;
    {
        std::lock_guard lock(m_mutex);
        if (!m_lines.isEmpty()) {
            age = m_firstQueued.elapsed();
        }
    }
    if (age >= kGatherMs || !m_context) {
        Deliver();
        return;
    }
    QTimer::singleShot(kGatherMs - age, m_context, [this] { Deliver(); });
}

void LineQueue::Flush() {
    if (OnMainThread()) {
        Deliver();
        return;
    }
    std::lock_guard lock(m_mutex);
    if (!m_lines.isEmpty() && m_context) {
        QMetaObject::invokeMethod(
            m_context, [this] { Deliver(); }, Qt::QueuedConnection);
    }
}

void LineQueue::Deliver() {
    QStringList lines;
    {
        std::lock_guard lock(m_mutex);
        m_deliveryPosted = false;
        lines.swap(m_lines);
    }
    m_taken.notify_all();
    if (!lines.isEmpty() && m_sink) {
        m_sink(lines);
    }
}

}  // namespace tembrix
