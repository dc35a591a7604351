#include "util/synchronize.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaObject>
#include <QObject>
#include <QThread>
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace tembrix {

bool OnMainThread() {
    QCoreApplication* app = QCoreApplication::instance();
    return app == nullptr || QThread::currentThread() == app->thread();
}

namespace {

// One waiting call: the function and whether the main thread is done with it. Lives on the stack of
// the worker that waits for it.
struct PendingCall {
    const std::function<void()>* function = nullptr;
    bool finished = false;
    std::condition_variable done;
};

// The calls waiting for the main thread, in order. The queued event that wakes the main thread carries
// no data of ours: the calls pass through this mailbox under a standard mutex, so the hand-over from
// the worker and back is ordered by that mutex and is visible as such to thread checkers (Qt's own
// queue is not).
class Mailbox : public QObject {
    Q_OBJECT

public:
    // Guards every member below and the `finished` flags of the pending calls.
    static std::mutex& Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    // The mailbox of the running application, or null before it exists and after it is gone. Called
    // with Mutex() held.
    static Mailbox* Instance() { return s_instance; }

    // Made on the main thread as the application starts (a startup function), so that every member
    // is written before any worker can see it; deleted with the application as its child.
    static void Create() {
        auto* mailbox = new Mailbox;
        mailbox->setParent(QCoreApplication::instance());
        std::lock_guard lock(Mutex());
        s_instance = mailbox;
    }

    // Queues `call` and makes sure one delivery is on its way. Called with Mutex() held.
    void Post(PendingCall* call) {
        m_calls.push_back(call);
        if (!m_deliveryPosted) {
            m_deliveryPosted = QMetaObject::invokeMethod(this, "Deliver", Qt::QueuedConnection);
        }
        if (!m_deliveryPosted) {
            ReleaseAll();
        }
    }

    // Runs every queued call on the main thread, one after another, each outside the mutex.
    Q_INVOKABLE void Deliver() {
        for (;;) {
            PendingCall* call = nullptr;
            {
                std::lock_guard lock(Mutex());
                m_deliveryPosted = false;
                if (m_calls.empty()) {
                    return;
                }
                call = m_calls.front();
                m_calls.pop_front();
            }
            (*call->function)();
            Finish(call);
        }
    }

    // At the end of the application the calls never delivered are released unrun, as Qt does with a
    // blocking call whose event is dropped.
    ~Mailbox() override {
        std::lock_guard lock(Mutex());
        ReleaseAll();
        s_instance = nullptr;
    }

private:
    // Marks `call` done and wakes its worker. Notified under the lock: once it is released the worker
    // may return, and the call is gone with its stack.
    static void Finish(PendingCall* call) {
        std::lock_guard lock(Mutex());
        call->finished = true;
        call->done.notify_one();
    }

    // Called with Mutex() held.
    void ReleaseAll() {
        for (PendingCall* call : m_calls) {
            call->finished = true;
            call->done.notify_one();
        }
        m_calls.clear();
    }

    static inline Mailbox* s_instance = nullptr;
    std::deque<PendingCall*> m_calls;
    bool m_deliveryPosted = false;
};

void CreateMailbox() {
    Mailbox::Create();
}

}  // namespace

Q_COREAPP_STARTUP_FUNCTION(CreateMailbox)

void Synchronize(const std::function<void()>& function) {
    if (OnMainThread()) {
        function();
        return;
    }
    PendingCall call;
    call.function = &function;
    std::unique_lock lock(Mailbox::Mutex());
    Mailbox* mailbox = Mailbox::Instance();
    if (mailbox == nullptr) {
        // The application is being torn down: no main-thread loop is left to run the call.
        return;
    }
    mailbox->Post(&call);
    call.done.wait(lock, [&call] { return call.finished; });
}

}  // namespace tembrix

namespace tembrix {

void JoinThread(QThread* thread) {
    if (thread == nullptr) {
        return;
    }
    if (!OnMainThread()) {
        thread->wait();
        WorkEndSeen(thread);
        return;
    }
    while (!thread->wait(5)) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    }
    WorkEndSeen(thread);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

void MarkWorkEnd(const void* key) {
#if defined(__SANITIZE_THREAD__)
    __tsan_release(const_cast<void*>(key));
#else
    Q_UNUSED(key);
#endif
}

void WorkEndSeen(const void* key) {
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(const_cast<void*>(key));
#else
    Q_UNUSED(key);
#endif
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

#include "synchronize.moc"
