#include "cli/stop_signals.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>

#include "indexing/process_runner.h"

namespace tembrix::cli {

namespace {

// Written by the handler, read by the notifier: [0] is the handler's end, [1] the event loop's.
int g_sockets[2] = {-1, -1};
volatile sig_atomic_t g_signalsSeen = 0;
struct sigaction g_oldInt = {};
struct sigaction g_oldTerm = {};

void OnStopSignal(int signal) {
    const int savedErrno = errno;
    if (g_signalsSeen != 0) {
        KillAllTools();  // async-signal-safe: no tool outlives the program
        struct sigaction fallback = {};
        fallback.sa_handler = SIG_DFL;
        sigemptyset(&fallback.sa_mask);
        sigaction(signal, &fallback, nullptr);
        raise(signal);  // delivered when this handler returns: the program ends as the signal says
        errno = savedErrno;
        return;
    }
    g_signalsSeen = 1;
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_sockets[0], &byte, 1);
    errno = savedErrno;
}

}  // namespace

StopSignals::StopSignals(std::function<void()> requestStop) : m_requestStop(std::move(requestStop)) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_sockets) != 0) {
        return;  // the default actions stay: a signal ends the program at once
    }
    g_signalsSeen = 0;
    m_notifier = std::make_unique<QSocketNotifier>(g_sockets[1], QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { OnSignalByte(); });
    struct sigaction action = {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, &g_oldInt);
    sigaction(SIGTERM, &action, &g_oldTerm);
}

StopSignals::~StopSignals() {
    if (!m_notifier) {
        return;
    }
    sigaction(SIGINT, &g_oldInt, nullptr);
    sigaction(SIGTERM, &g_oldTerm, nullptr);
    m_notifier.reset();
    ::close(g_sockets[0]);
    ::close(g_sockets[1]);
    g_sockets[0] = g_sockets[1] = -1;
}

void StopSignals::OnSignalByte() {
    char byte = 0;
    [[maybe_unused]] const ssize_t got = ::read(g_sockets[1], &byte, 1);
    m_notifier->setEnabled(false);
    m_requested = true;
    if (m_requestStop) {
        m_requestStop();
    }
}

}  // namespace tembrix::cli
