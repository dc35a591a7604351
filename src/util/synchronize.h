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
