#pragma once
// Starts the outside console programs of the pipeline (SoX, ffmpeg, ffprobe, the tag tool). The program and
// its arguments go to the child as a list, never through a shell, so a file name with blanks, quotes,
// Cyrillic letters or a leading dash reaches the tool exactly as given. The child inherits this process's
// environment plus `extraEnvironment` ("NAME=value" entries), runs in `workingDirectory` ("" = the current
// folder) in its own process group (a Ctrl+C in the terminal reaches this program, not the tools), and
// never sees a pipe it could block on. Exit codes are never read: callers judge a tool by the files it
// leaves. Safe on any thread; the calls share no state.

#include <QString>
#include <QStringList>

namespace tembrix {

// Starts the program with no standard input and output and error discarded, and waits for it to end
// without a time limit. True when the program was started.
bool RunAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                const QStringList& extraEnvironment = {});

// Starts the program the same way and returns at once. True when it was started.
bool RunDetached(const QString& program, const QStringList& arguments, const QString& workingDirectory);

// Deletes `outputFile` and `errorFile` first, then starts the program with standard input read from
// `inputFile` (created empty when missing), standard output written to `outputFile` and standard error to
// `errorFile`, and waits without a time limit. An empty name gives no input / discards that output.
// True when the program was started.
bool RunRedirected(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                   const QString& inputFile, const QString& outputFile, const QString& errorFile,
                   const QStringList& extraEnvironment = {});

}  // namespace tembrix
