#pragma once
// SIGINT and SIGTERM for a command-line job (index, import, check). The first signal asks the job to
// stop, as the windows' Stop buttons do: the handler only writes a byte to a socket pair, and the main
// thread's event loop runs the stop request. A second signal ends the program at once, after ending the
// process group of every tool still running, so that no tool outlives the program.

#include <functional>
#include <memory>

class QSocketNotifier;

namespace tembrix::cli {

// Installs the two handlers for its lifetime and restores the previous ones at the end. Main thread
// only; one instance at a time. The stop request is delivered by the event loop, so the job must run
// one (QEventLoop::exec) while a signal can arrive.
class StopSignals {
public:
    // `requestStop` runs on the main thread at the first signal, once; it must not block for long
    // (a second signal can still end the program while it runs).
    explicit StopSignals(std::function<void()> requestStop);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // True once the first signal has been taken up by the event loop.
    bool StopRequested() const { return m_requested; }

private:
    void OnSignalByte();

    std::function<void()> m_requestStop;
    std::unique_ptr<QSocketNotifier> m_notifier;  // null when the socket pair could not be made
    bool m_requested = false;
};

}  // namespace tembrix::cli
