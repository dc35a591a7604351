#include "indexing/process_runner.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>

#ifndef Q_OS_WIN
#include <unistd.h>
#endif

namespace tembrix {

namespace {

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

// Starts `process` and waits for its end. False when it could not be started.
bool StartAndWait(QProcess& process) {
    process.start(QIODevice::NotOpen);
    if (!process.waitForStarted(-1)) {
        return false;
    }
    process.waitForFinished(-1);
    return true;
}

}  // namespace

bool RunAndWait(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                const QStringList& extraEnvironment) {
    QProcess process;
    Prepare(process, program, arguments, workingDirectory, extraEnvironment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    return StartAndWait(process);
}

bool RunDetached(const QString& program, const QStringList& arguments, const QString& workingDirectory) {
    QProcess process;
    Prepare(process, program, arguments, workingDirectory, {});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
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
    QProcess process;
    Prepare(process, program, arguments, workingDirectory, extraEnvironment);
    if (inputFile.isEmpty()) {
        process.setStandardInputFile(QProcess::nullDevice());
    } else {
        if (!QFile::exists(inputFile)) {
            QFile create(inputFile);
            create.open(QIODevice::WriteOnly);  // opened "always": an empty input when missing
        }
        process.setStandardInputFile(inputFile);
    }
    process.setStandardOutputFile(outputFile.isEmpty() ? QProcess::nullDevice() : outputFile);
    process.setStandardErrorFile(errorFile.isEmpty() ? QProcess::nullDevice() : errorFile);
    return StartAndWait(process);
}

}  // namespace tembrix
