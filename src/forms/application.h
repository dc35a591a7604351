#pragma once
// Start-up of the desktop program: application object, title, style, windows and data modules, message
// loop. Without a display it says so and points to tembrix-cli and `make demo`.

#include <QString>

class QApplication;

namespace tembrix {

int RunDesktopProgram(int argc, char** argv);

// The file name of the program's style sheet, "Smokey Quartz Kamri.qss".
QString StyleSheetName();

// Applies the style "Smokey Quartz Kamri": the Fusion style with the style sheet from `programDir` when
// one lies there, else the one built into the program. False (and the program goes on unstyled) when
// neither can be read.
bool ApplyProgramStyle(QApplication& app, const QString& programDir);

// Installs Qt's Russian translations (qtbase_ru from Qt's translations folder; Debian's
// qt6-translations-l10n) on `app`, so standard buttons and dialogs read "Да", "Нет", "Отмена", ….
// False (and Qt's English texts) when they cannot be loaded.
bool LoadQtTranslations(QApplication& app);

}  // namespace tembrix
