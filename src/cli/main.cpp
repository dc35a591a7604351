// tembrix-cli: the core of Tembrix, scriptable. See `tembrix-cli --help`.

#include <QCoreApplication>

#include "cli/commands.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tembrix-cli"));
    return tembrix::cli::Run(QCoreApplication::arguments());
}
