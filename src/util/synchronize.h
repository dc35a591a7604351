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

// The end of a piece of background work, as a synchronisation point that thread checkers can see.
// Qt already orders a thread's last writes before QThread::wait() or isFinished() returns (and a
// QFuture's result before its watcher's signal), but inside its own library, where a checker does not
// look. The work calls MarkWorkEnd(key) as its very last step; whoever learns that it has ended calls
// WorkEndSeen(key) before touching what it left. `key` is any address both sides agree on (the
// QThread, for a thread). Free in ordinary builds. JoinThread calls WorkEndSeen itself.
void MarkWorkEnd(const void* key);
void WorkEndSeen(const void* key);

}  // namespace tembrix
