#include "database/line_queue.h"

#include <QMetaObject>

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
    std::lock_guard lock(m_mutex);
    m_lines.append(line);
    if (!m_deliveryPosted && m_context) {
        m_deliveryPosted = QMetaObject::invokeMethod(
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
    if (!lines.isEmpty() && m_sink) {
        m_sink(lines);
    }
}

}  // namespace tembrix
