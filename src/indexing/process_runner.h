#pragma once
// Starts the outside console programs of the pipeline (SoX, ffmpeg, ffprobe, the tag tool) and waits for
// them. The program and its arguments go to the child as a list, never through a shell, so a file name
// with blanks, quotes, Cyrillic letters or a leading dash reaches the tool exactly as given. The child
// inherits this process's environment plus `extraEnvironment` ("NAME=value" entries), runs in
// `workingDirectory` ("" = the current folder) in a process group of its own (a Ctrl+C in the terminal
// reaches this program, not the tools), and never sees a pipe it could block on.
//
// Stopping: the wait is cut into short slices. When the calling QThread has been asked to stop
// (QThread::requestInterruption), the tool's whole process group is killed and the run ends as
// `Stopped` within one slice, whatever the tool is doing. Whenever a tool ends, whatever is left of its
// process group (children it started) is killed too, so no tool outlives its run. KillAllTools is the
// emergency path that ends every tool of the process at once.
//
// One launcher for every build (posix_spawn): the C library sets the child up, so no code of ours or of
// Qt runs in the child between fork and exec. Safe on any thread; runs share only the registry of live
// tools.

#include <QString>
#include <QStringList>

namespace tembrix {

// How a tool run ended.
struct ToolRun {
    enum class End {
        NotStarted,  // no program, it could not be started, or KillAllTools has run
        Exited,      // ended by itself; `code` is its exit status (0 … 255)
        Signalled,   // killed by a signal it did not ask for; `code` is the signal number
        Stopped,     // killed (or never started) because the calling thread was asked to stop
    };
    End end = End::NotStarted;
    int code = -1;

    bool Started() const { return end != End::NotStarted; }
    // Ended by itself with exit status 0.
    bool Succeeded() const { return end == End::Exited && code == 0; }
};

// Starts the program with no standard input, standard output discarded and standard error written to
// `errorFile` (deleted first; "" discards it), and waits for its end.
ToolRun RunAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                   const QStringList& extraEnvironment = {}, const QString& errorFile = {});

// Deletes `outputFile` and `errorFile` first, then starts the program with standard input read from
// `inputFile` (created empty when missing), standard output written to `outputFile` and standard error to
// `errorFile`, and waits for its end. An empty name gives no input / discards that output.
ToolRun RunRedirected(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                      const QString& inputFile, const QString& outputFile, const QString& errorFile,
                      const QStringList& extraEnvironment = {});

// Kills (SIGKILL) the process group of every tool this process is running, and refuses to start new
// ones from then on: the emergency path for leaving the program (a second Ctrl+C, a fatal signal).
// Async-signal-safe.
void KillAllTools();

// How many tools this process is running now (for tests and diagnostics).
int LiveToolCount();

}  // namespace tembrix
