#pragma once
// A main window over a temporary program folder: its own INI and log beside a made-up executable, a
// store, scripted user messages, modal dialogs recorded instead of run, and web addresses caught instead
// of opened.

#include <QDesktopServices>
#include <QDialog>
#include <QFile>
#include <QObject>
#include <QTabWidget>
#include <QUrl>
#include <memory>
#include <ostream>

#include "app/settings.h"
#include "database/index_store.h"
#include "forms/main_window.h"
#include "forms/settings_dialog.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

// Readable failure output for the program's texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix::test {

// Records the addresses QDesktopServices is asked to open (https, mailto and file) for its lifetime.
class UrlCatcher : public QObject {
    Q_OBJECT
public:
    UrlCatcher() {
        for (const char* scheme : {"https", "http", "mailto", "file"}) {
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), this, "Open");
        }
    }
    ~UrlCatcher() override {
        for (const char* scheme : {"https", "http", "mailto", "file"}) {
            QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
        }
    }
    QList<QUrl> opened;

public Q_SLOTS:
    void Open(const QUrl& url) { opened.append(url); }
};

// One modal dialog the window asked for: its class and, for the settings dialog, the page it showed.
struct ModalCall {
    QString className;
    int page = -1;
};

class MainWindowFixture {
public:
    static constexpr int kSlots = 4;

    // `ini`: INI text written beside the executable before the window is made ("" for none).
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
            ModalCall call{QString::fromLatin1(dialog.metaObject()->className()), -1};
            if (auto* settings = qobject_cast<TForm2*>(&dialog)) {
                call.page = settings->CurrentPage();
            }
            modals.push_back(call);
            return static_cast<int>(QDialog::Rejected);
        });
    }

    QString Executable() const { return dir.File(QStringLiteral("tembrix")); }
    QString IniPath() const { return dir.File(QStringLiteral("tembrix.ini")); }
    QString LogPath() const { return dir.File(QStringLiteral("tembrix.log")); }

    // The program log's messages, without their time stamps.
    QStringList LogMessages() const {
        QFile file(LogPath());
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

    // The settings as the INI file holds them now.
    Settings IniSettings() const {
        Settings read;
        read.threads = -100;  // so that a missing file shows
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
