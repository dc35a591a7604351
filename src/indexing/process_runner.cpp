#include "indexing/process_runner.h"

#include <QFile>
#include <QThread>
#include <array>
#include <atomic>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

extern char** environ;

namespace tembrix {

namespace {

const char kNullDevice[] = "/dev/null";

// How long one slice of the wait lasts before the stop request is looked at again (ms). A tool that
// ends wakes the wait at once; the slice only bounds how late a stop is noticed.
constexpr int kSliceMs = 50;

// The live tools, by process group id (the leader's pid); 0 = free entry. Fixed and lock-free, so that
// KillAllTools may read it from a signal handler. A run that finds no free entry still runs, without
// the emergency path.
std::array<std::atomic<pid_t>, 256> g_live{};
std::atomic<bool> g_refuseNew{false};

int Register(pid_t group) {
    for (size_t i = 0; i < g_live.size(); ++i) {
        pid_t expected = 0;
        if (g_live[i].compare_exchange_strong(expected, group)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void Unregister(int entry) {
    if (entry >= 0) {
        g_live[static_cast<size_t>(entry)].store(0);
    }
}

bool StopRequested() {
    QThread* thread = QThread::currentThread();
    return thread != nullptr && thread->isInterruptionRequested();
}

// The environment of the child: ours, with each "NAME=value" of `extra` replacing or adding NAME.
std::vector<std::string> ChildEnvironment(const QStringList& extra) {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        entries.emplace_back(*entry);
    }
    for (const QString& item : extra) {
        if (item.indexOf(u'=') <= 0) {
            continue;
        }
        const std::string text = item.toStdString();
        const std::string prefix = text.substr(0, text.find('=') + 1);
        bool replaced = false;
        for (std::string& existing : entries) {
            if (existing.compare(0, prefix.size(), prefix) == 0) {
                existing = text;
                replaced = true;
            }
        }
        if (!replaced) {
            entries.push_back(text);
        }
    }
    return entries;
}

// A started child, leader of its own process group: its pid, or -1 when it could not be started.
pid_t Spawn(const QString& program, const QStringList& arguments, const QString& workingDirectory,
            const QByteArray& input, const QByteArray& output, const QByteArray& error,
            const QStringList& extraEnvironment) {
    const QByteArray programBytes = QFile::encodeName(program);
    std::vector<QByteArray> argumentBytes;
    argumentBytes.reserve(static_cast<size_t>(arguments.size()));
    for (const QString& argument : arguments) {
        argumentBytes.push_back(QFile::encodeName(argument));
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(programBytes.constData()));
    for (QByteArray& argument : argumentBytes) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);

    std::vector<std::string> environment = ChildEnvironment(extraEnvironment);
    std::vector<char*> envp;
    for (std::string& entry : environment) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);

    // The redirections are opened before the change of folder, so relative names mean what they mean
    // to us. Every other descriptor of ours is opened close-on-exec by Qt and SQLite.
    const QByteArray folder = QFile::encodeName(workingDirectory);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.constData(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.constData(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0666);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error.constData(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0666);
    if (!workingDirectory.isEmpty()) {
        posix_spawn_file_actions_addchdir_np(&actions, folder.constData());
    }

    // Its own process group: the terminal's Ctrl+C goes to this program, which stops the job in order,
    // and the whole group can be killed at once. The child starts with no blocked signals and the
    // default action for those we may have changed.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGCHLD}) {
        sigaddset(&defaults, signal);
    }
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    pid_t pid = -1;
    // posix_spawnp searches PATH for a bare name, as a shell would, and runs a path as it is.
    const int failed = posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return failed == 0 ? pid : -1;
}

// True once `pid` has ended; it stays a zombie (not reaped), so its pid, which is also its group's id,
// cannot be taken by another process meanwhile.
bool HasEnded(pid_t pid) {
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) < 0) {
        if (errno != EINTR) {
            return true;  // not our child any more: nothing to wait for
        }
    }
    return info.si_pid != 0;
}

// Waits up to one slice for `pid` to end: on its pidfd when the system has them, else in short naps.
void WaitSlice(int pidfd, pid_t pid) {
    if (pidfd >= 0) {
        pollfd entry{pidfd, POLLIN, 0};
        ::poll(&entry, 1, kSliceMs);
        return;
    }
    // Without pidfds: naps growing from 1 ms, so a short tool is not kept waiting for a whole slice.
    for (int napMs = 1, waited = 0; waited < kSliceMs && !HasEnded(pid); waited += napMs, napMs *= 2) {
        const timespec nap{0, static_cast<long>(napMs) * 1000000L};
        ::nanosleep(&nap, nullptr);
    }
}

// Starts the child and waits for its end (or kills it on a stop request).
ToolRun SpawnAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                     const QByteArray& input, const QByteArray& output, const QByteArray& error,
                     const QStringList& extraEnvironment) {
    ToolRun run;
    if (program.isEmpty() || g_refuseNew.load()) {
        return run;
    }
    if (StopRequested()) {
        run.end = ToolRun::End::Stopped;
        return run;
    }
    const pid_t pid = Spawn(program, arguments, workingDirectory, input, output, error, extraEnvironment);
    if (pid < 0) {
        return run;
    }
    const int entry = Register(pid);
    if (g_refuseNew.load()) {
        ::kill(-pid, SIGKILL);  // KillAllTools ran while this one was starting
    }
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    bool stopped = false;
    while (!HasEnded(pid)) {
        if (!stopped && StopRequested()) {
            ::kill(-pid, SIGKILL);
            stopped = true;
        }
        WaitSlice(pidfd, pid);
    }
    // Whatever the tool left running in its group goes with it; the zombie leader keeps the id ours.
    ::kill(-pid, SIGKILL);
    Unregister(entry);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (pidfd >= 0) {
        ::close(pidfd);
    }
    if (stopped) {
        run.end = ToolRun::End::Stopped;
    } else if (WIFEXITED(status)) {
        run.end = ToolRun::End::Exited;
        run.code = WEXITSTATUS(status);
    } else {
        run.end = ToolRun::End::Signalled;
        run.code = WIFSIGNALED(status) ? WTERMSIG(status) : -1;
    }
    return run;
}

QByteArray DeviceOr(const QString& file) {
    return file.isEmpty() ? QByteArray(kNullDevice) : QFile::encodeName(file);
}

}  // namespace

ToolRun RunAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                   const QStringList& extraEnvironment, const QString& errorFile) {
    if (!errorFile.isEmpty()) {
        QFile::remove(errorFile);
    }
    return SpawnAndWait(program, arguments, workingDirectory, kNullDevice, kNullDevice, DeviceOr(errorFile),
                        extraEnvironment);
}

ToolRun RunRedirected(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                      const QString& inputFile, const QString& outputFile, const QString& errorFile,
                      const QStringList& extraEnvironment) {
    if (!outputFile.isEmpty()) {
        QFile::remove(outputFile);
    }
    if (!errorFile.isEmpty()) {
        QFile::remove(errorFile);
    }
    if (!inputFile.isEmpty() && !QFile::exists(inputFile)) {
        QFile create(inputFile);
        create.open(QIODevice::WriteOnly);  // opened "always": an empty input when missing
    }
    return SpawnAndWait(program, arguments, workingDirectory, DeviceOr(inputFile), DeviceOr(outputFile),
                        DeviceOr(errorFile), extraEnvironment);
}

void KillAllTools() {
    g_refuseNew.store(true);
    for (std::atomic<pid_t>& entry : g_live) {
        const pid_t group = entry.load();
        if (group > 0) {
            ::kill(-group, SIGKILL);
        }
    }
}

int LiveToolCount() {
    int count = 0;
    for (const std::atomic<pid_t>& entry : g_live) {
        if (entry.load() > 0) {
            ++count;
        }
    }
    return count;
}

}  // namespace tembrix
