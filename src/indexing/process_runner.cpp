#include "indexing/process_runner.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>

#ifndef Q_OS_WIN
#include <unistd.h>
#endif

// Thread-checker builds start the tools with posix_spawn instead of QProcess. Qt starts a child with a
// vfork-style clone and runs code of its own in it, on the parent's memory and thread state; the
// checker's bookkeeping of the starting thread is left damaged, and it then reports races that are
// not there. posix_spawn does the same set-up (arguments, redirections, folder, process group) inside
// the C library, where no checked code runs. Every other build uses QProcess.
#if !defined(Q_OS_WIN) && defined(__SANITIZE_THREAD__)
#define TEMBRIX_SPAWN_WITH_POSIX 1
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

extern char** environ;
#else
#define TEMBRIX_SPAWN_WITH_POSIX 0
#endif

namespace tembrix {

namespace {

const QString kNullDevice = QProcess::nullDevice();

#if TEMBRIX_SPAWN_WITH_POSIX

// The environment of the child: ours, with each "NAME=value" of `extra` replacing or adding NAME.
std::vector<std::string> ChildEnvironment(const QStringList& extra) {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        entries.emplace_back(*entry);
    }
    for (const QString& item : extra) {
        const qsizetype eq = item.indexOf(u'=');
        if (eq <= 0) {
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

// A started child: its pid, or -1 when it could not be started.
pid_t Spawn(const QString& program, const QStringList& arguments, const QString& workingDirectory,
            const QString& inputFile, const QString& outputFile, const QString& errorFile,
            const QStringList& extraEnvironment) {
    const QByteArray programBytes = QFile::encodeName(program);
    std::vector<QByteArray> argumentBytes;
    argumentBytes.reserve(static_cast<size_t>(arguments.size()));
    for (const QString& argument : arguments) {
        argumentBytes.push_back(argument.toLocal8Bit());
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
    const QByteArray input = QFile::encodeName(inputFile);
    const QByteArray output = QFile::encodeName(outputFile);
    const QByteArray error = QFile::encodeName(errorFile);
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

    // Our own process group: the terminal's Ctrl+C goes to this program, which stops the job in order,
    // instead of cutting a tool short and leaving a truncated output file that looks like a success.
    // The child starts with no blocked signals and the default action for those we may have changed.
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

// Starts the child and waits for its end, whatever its exit. False when it could not be started.
bool SpawnAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                  const QString& inputFile, const QString& outputFile, const QString& errorFile,
                  const QStringList& extraEnvironment) {
    if (program.isEmpty()) {
        return false;
    }
    const pid_t pid =
        Spawn(program, arguments, workingDirectory, inputFile, outputFile, errorFile, extraEnvironment);
    if (pid < 0) {
        return false;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return true;
}

#else

// Sets up `process` with the program, its arguments, the folder and the environment.
void Prepare(QProcess& process, const QString& program, const QStringList& arguments,
             const QString& workingDirectory, const QStringList& extraEnvironment) {
    process.setProgram(program);
    process.setArguments(arguments);
    if (!workingDirectory.isEmpty()) {
        process.setWorkingDirectory(workingDirectory);
    }
    if (!extraEnvironment.isEmpty()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString& entry : extraEnvironment) {
            const qsizetype eq = entry.indexOf(u'=');
            if (eq > 0) {
                environment.insert(entry.left(eq), entry.mid(eq + 1));
            }
        }
        process.setProcessEnvironment(environment);
    }
#ifndef Q_OS_WIN
    // Our own process group: the terminal's Ctrl+C goes to this program, which stops the job in order,
    // instead of cutting a tool short and leaving a truncated output file that looks like a success.
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
}

// Starts the child and waits for its end, whatever its exit. False when it could not be started.
bool SpawnAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                  const QString& inputFile, const QString& outputFile, const QString& errorFile,
                  const QStringList& extraEnvironment) {
    QProcess process;
    Prepare(process, program, arguments, workingDirectory, extraEnvironment);
    process.setStandardInputFile(inputFile);
    process.setStandardOutputFile(outputFile);
    process.setStandardErrorFile(errorFile);
    process.start(QIODevice::NotOpen);
    if (!process.waitForStarted(-1)) {
        return false;
    }
    process.waitForFinished(-1);
    return true;
}

#endif

}  // namespace

bool RunAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                const QStringList& extraEnvironment) {
    return SpawnAndWait(program, arguments, workingDirectory, kNullDevice, kNullDevice, kNullDevice,
                        extraEnvironment);
}

bool RunDetached(const QString& program, const QStringList& arguments, const QString& workingDirectory) {
    // Called from the main thread for the companion program and the restart; the child outlives us.
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    if (!workingDirectory.isEmpty()) {
        process.setWorkingDirectory(workingDirectory);
    }
    process.setStandardInputFile(kNullDevice);
    process.setStandardOutputFile(kNullDevice);
    process.setStandardErrorFile(kNullDevice);
#ifndef Q_OS_WIN
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
    return process.startDetached();
}

bool RunRedirected(const QString& program, const QStringList& arguments, const QString& workingDirectory,
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
    return SpawnAndWait(program, arguments, workingDirectory, inputFile.isEmpty() ? kNullDevice : inputFile,
                        outputFile.isEmpty() ? kNullDevice : outputFile,
                        errorFile.isEmpty() ? kNullDevice : errorFile, extraEnvironment);
}

}  // namespace tembrix
