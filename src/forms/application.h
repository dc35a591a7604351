#pragma once
// Start-up of the desktop program: application object, title, style, windows and data modules, message
// loop. Without a display it says so and points to tembrix-cli and `make demo`.

namespace tembrix {

int RunDesktopProgram(int argc, char** argv);

}  // namespace tembrix
