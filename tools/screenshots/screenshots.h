#pragma once
// tembrix-screenshots [--minimum] DIR: opens the program's windows over a demo database and saves a PNG of
// each into DIR. Each window has its own shot function, registered with TEMBRIX_SCREENSHOT in any .cpp of
// this folder; the shots run in the order of their names.

#include <QString>
#include <functional>

class QWidget;

namespace tembrix {
class TDataModule1;
class TForm1;
}  // namespace tembrix

namespace tembrix::shots {

// What every shot gets: the demo program folder, its database (connected) and the main window over it
// (queue filled, a job's statuses and report lines in place).
struct ShotContext {
    QString outDir;      // where the PNGs go
    QString programDir;  // the demo program folder (content/, database/, lists/)
    QString mediaDir;    // demo media files named like a real collection
    TDataModule1* store = nullptr;
    TForm1* mainWindow = nullptr;
    // "--minimum": every window is shot at its minimum size instead, into <name>_min.png.
    bool minimum = false;

    // Shows the window (offscreen), lets it lay itself out, grabs it and writes outDir/<name>.png.
    // False when the file cannot be written.
    bool Save(QWidget* window, const QString& name) const;
};

using ShotFunction = std::function<void(ShotContext&)>;

// Adds a shot; used through TEMBRIX_SCREENSHOT.
bool RegisterShot(const QString& name, ShotFunction function);

}  // namespace tembrix::shots

#define TEMBRIX_SCREENSHOT_CAT2(a, b) a##b
#define TEMBRIX_SCREENSHOT_CAT(a, b) TEMBRIX_SCREENSHOT_CAT2(a, b)
// TEMBRIX_SCREENSHOT("name", function): `function(ShotContext&)` runs when the tool takes its shots.
#define TEMBRIX_SCREENSHOT(name, function)                                 \
    static const bool TEMBRIX_SCREENSHOT_CAT(g_shotRegistered, __LINE__) = \
        ::tembrix::shots::RegisterShot(QStringLiteral(name), function)
