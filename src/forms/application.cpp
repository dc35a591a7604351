#include "forms/application.h"

#include <QApplication>
#include <cstdio>

namespace tembrix {

int RunDesktopProgram(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        std::fputs(
            "tembrix: no display found (DISPLAY and WAYLAND_DISPLAY are empty).\n"
            "Run it on a desktop, under xvfb-run, or use the command-line front end:\n"
            "  build/bin/tembrix-cli --help\n"
            "  make demo      # indexes a small generated collection into demo.db\n",
            stderr);
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Тембрикс"));
    QApplication::setApplicationDisplayName(QStringLiteral("Тембрикс"));
    return 0;
}

}  // namespace tembrix
