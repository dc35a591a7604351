#include "support/cli_runner.h"

#include <QProcess>

namespace tembrix::test {

QStringList CliResult::OutLines() const {
    QStringList lines = out.split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    return lines;
}

QString BinPath(const QString& program) {
    return QStringLiteral(TEMBRIX_BIN_DIR) + u'/' + program;
}

CliResult RunCli(const QStringList& args, const QProcessEnvironment& env, int timeoutMs) {
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(BinPath(QStringLiteral("tembrix-cli")), args);
    CliResult r;
    if (!p.waitForStarted() || !p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        r.err = QStringLiteral("tembrix-cli did not run or did not finish");
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

}  // namespace tembrix::test
