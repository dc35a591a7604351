#pragma once
// Runs build/bin/tembrix-cli with arguments and collects its exit status and output (UTF-8).

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace tembrix::test {

struct CliResult {
    int exitCode = -1;
    QString out;  // standard output
    QString err;  // standard error
    QStringList OutLines() const;
};

// `env` defaults to the test's own environment. Waits up to `timeoutMs`.
CliResult RunCli(const QStringList& args,
                 const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
                 int timeoutMs = 120000);

// The full path of a program in build/bin.
QString BinPath(const QString& program);

}  // namespace tembrix::test
