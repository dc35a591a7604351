#include "util/synchronize.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

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
