#include "forms/shell_open.h"

#include <QDesktopServices>
#include <QDir>
#include <QUrl>

#include "util/user_messages.h"

namespace tembrix {

namespace {

ShellOpener& Opener() {
    static ShellOpener opener;
    return opener;
}

}  // namespace

QString ShellOpenFailureText(const QUrl& url) {
    if (url.isLocalFile()) {
        return QStringLiteral("Не удалось открыть файл: ") + QDir::toNativeSeparators(url.toLocalFile());
    }
    if (url.scheme() == QStringLiteral("mailto")) {
        return QStringLiteral("Не удалось создать письмо: ") + url.path();
    }
    return QStringLiteral("Не удалось открыть страницу: ") + url.toString();
}

bool ShellOpenQuietly(const QUrl& url) {
    return Opener() ? Opener()(url) : QDesktopServices::openUrl(url);
}

bool ShellOpen(const QUrl& url) {
    const bool opened = ShellOpenQuietly(url);
    if (!opened) {
        Messages().ShowMessage(ShellOpenFailureText(url));
    }
    return opened;
}

ShellOpener SetShellOpener(ShellOpener opener) {
    ShellOpener previous = std::move(Opener());
    Opener() = std::move(opener);
    return previous;
}

}  // namespace tembrix
