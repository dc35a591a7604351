#pragma once
// Runs a function on the main (user-interface) thread and waits until it has run: a blocking queued
// call from any other thread, a direct call on the main thread itself (a blocking queued call onto the
// calling thread would deadlock). Requires a QCoreApplication; without one the function runs directly.

#include <functional>

namespace tembrix {

void Synchronize(const std::function<void()>& function);

// True when called on the thread of the QCoreApplication (or when there is none).
bool OnMainThread();

}  // namespace tembrix

class QThread;

namespace tembrix {

// Waits on the main thread for `thread` to end without deadlocking: while waiting it delivers the calls
// that the thread queued onto the main thread (a worker blocked in Synchronize would otherwise never
// return). On another thread it is a plain wait. Does not request interruption itself.
void JoinThread(QThread* thread);

// Sleeps `milliseconds` on the main thread while still delivering queued calls from workers.
void WaitDelivering(int milliseconds);

}  // namespace tembrix
