#pragma once
// Runs build/bin/tembrix-cli with arguments and collects its exit status and output (UTF-8).

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

namespace tembrix::test {

struct CliResult {
    int exitCode = -1;
    QString out;  // standard output
    QString err;  // standard error
    // The lines of `out`, without the empty one after the last line end.
    QStringList OutLines() const {
        return out.isEmpty() ? QStringList() : (out.endsWith(u'\n') ? out.chopped(1) : out).split(u'\n');
    }
};

// The full path of a program in build/bin.
inline QString BinPath(const QString& program) {
    return QStringLiteral(TEMBRIX_BIN_DIR) + u'/' + program;
}

// `env` defaults to the test's own environment. Waits up to `timeoutMs`.
inline CliResult RunCli(const QStringList& args,
                        const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
                        int timeoutMs = 120000) {
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(BinPath(QStringLiteral("tembrix-cli")), args);
    if (!p.waitForStarted() || !p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        return {-1, QString(), QStringLiteral("tembrix-cli did not run or did not finish")};
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
            QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
}

}  // namespace tembrix::test
