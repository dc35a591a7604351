#include "util/synchronize.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QDeadlineTimer>
#include <QThread>
#include <algorithm>

namespace tembrix {

bool OnMainThread() {
    QCoreApplication* app = QCoreApplication::instance();
    return app == nullptr || QThread::currentThread() == app->thread();
}

void Synchronize(const std::function<void()>& function) {
    if (OnMainThread()) {
        function();
        return;
    }
    QMetaObject::invokeMethod(QCoreApplication::instance(), function, Qt::BlockingQueuedConnection);
}

}  // namespace tembrix

namespace tembrix {

void JoinThread(QThread* thread) {
    if (thread == nullptr) {
        return;
    }
    if (!OnMainThread()) {
        thread->wait();
        return;
    }
    while (!thread->wait(5)) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

void WaitDelivering(int milliseconds) {
    QDeadlineTimer deadline(milliseconds);
    while (!deadline.hasExpired()) {
        if (OnMainThread()) {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        }
        QThread::msleep(std::min<qint64>(5, std::max<qint64>(1, deadline.remainingTime())));
    }
}

}  // namespace tembrix
