#pragma once
// A main window over a temporary program folder, with scripted messages and recorded modal dialogs.

#include <QDesktopServices>
#include <QDialog>
#include <QFile>
#include <QObject>
#include <QUrl>
#include <memory>
#include <ostream>

#include "app/settings.h"
#include "database/index_store.h"
#include "forms/main_window.h"
#include "forms/settings_dialog.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix::test {

// The messages of a program log, without their time stamps.
inline QStringList LogMessagesIn(const QString& path) {
    QFile file(path);
    QStringList lines;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (!line.isEmpty()) {
                lines.append(QString::fromUtf8(line).section(u' ', 2));
            }
        }
    }
    return lines;
}

// Records the addresses QDesktopServices is asked to open while it lives.
class UrlCatcher : public QObject {
    Q_OBJECT
public:
    UrlCatcher() {
        for (const char* scheme : kSchemes) {
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), this, "Open");
        }
    }
    ~UrlCatcher() override {
        for (const char* scheme : kSchemes) {
            QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
        }
    }
    QList<QUrl> opened;

public Q_SLOTS:
    void Open(const QUrl& url) { opened.append(url); }

private:
    static constexpr const char* kSchemes[] = {"https", "http", "mailto", "file"};
};

// A modal dialog the window asked for: its class and, for the settings dialog, the page it showed.
struct ModalCall {
    QString className;
    int page = -1;
};

class MainWindowFixture {
public:
    static constexpr int kSlots = 4;

    explicit MainWindowFixture(const QByteArray& ini = QByteArray()) {
        if (!ini.isEmpty()) {
            dir.Write(QStringLiteral("tembrix.ini"), ini);
        }
        MakeWindow();
    }

    void MakeWindow() {
        window.reset();
        window = std::make_unique<TForm1>(store, Executable(), kSlots);
        window->SetModalRunner([this](QDialog& dialog) {
            auto* settings = qobject_cast<TForm2*>(&dialog);
            modals.push_back({QString::fromLatin1(dialog.metaObject()->className()),
                              settings != nullptr ? settings->CurrentPage() : -1});
            return static_cast<int>(QDialog::Rejected);
        });
    }

    QString Executable() const { return dir.File(QStringLiteral("tembrix")); }
    QString IniPath() const { return dir.File(QStringLiteral("tembrix.ini")); }
    QStringList LogMessages() const { return LogMessagesIn(dir.File(QStringLiteral("tembrix.log"))); }

    // The settings the INI file holds now (threads -100 when there is no file).
    Settings IniSettings() const {
        Settings read;
        read.threads = -100;
        ReadSettings(IniPath(), read, 64);
        return read;
    }

    TempDir dir;
    RecordingMessages messages;
    TDataModule1 store;
    std::unique_ptr<TForm1> window;
    std::vector<ModalCall> modals;
};

}  // namespace tembrix::test
