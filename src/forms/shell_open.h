#pragma once
// Opening web pages, mail messages and local files through the desktop, with a message when the desktop
// cannot: a machine without a browser, mail program or file manager gets told what could not be opened
// instead of nothing happening. Main thread only.

#include <QString>
#include <functional>

class QUrl;

namespace tembrix {

// Asks the desktop to open `url` (a web page, "mailto:" or a local file). When that fails, shows
// "Не удалось открыть страницу: URL", "Не удалось создать письмо: ADDRESS" or "Не удалось открыть файл:
// PATH" through the user messages and returns false.
bool ShellOpen(const QUrl& url);

// Asks the desktop to open `url` without any message; false when it could not.
bool ShellOpenQuietly(const QUrl& url);

// The message for a failed ShellOpen of `url`.
QString ShellOpenFailureText(const QUrl& url);

// Replaces what ShellOpen uses to open (QDesktopServices::openUrl by default; an empty function restores
// it) and returns the previous one. For tests.
using ShellOpener = std::function<bool(const QUrl&)>;
ShellOpener SetShellOpener(ShellOpener opener);

}  // namespace tembrix
