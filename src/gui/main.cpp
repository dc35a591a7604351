// tembrix: the desktop program. Start-up lives in forms/application.h so that tests can run it too.

#include "forms/application.h"

int main(int argc, char** argv) {
    return tembrix::RunDesktopProgram(argc, argv);
}
