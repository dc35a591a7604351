#include "forms/application.h"

#include <QApplication>
#include <QFile>
#include <QLibraryInfo>
#include <QLocale>
#include <QMessageBox>
#include <QStyleFactory>
#include <QTranslator>
#include <cstdio>
#include <exception>

#include "app/settings.h"
#include "database/index_store.h"
#include "forms/gui_messages.h"
#include "forms/main_window.h"
#include "util/path_utils.h"

// The resources of the forms library (a static library: they are registered by hand).
static void InitFormsResources() {
    Q_INIT_RESOURCE(forms);
}

namespace tembrix {

namespace {

QWidget* MainWindowForBoxes() {
    QWidget* active = QApplication::activeModalWidget();
    if (active == nullptr) {
        active = QApplication::activeWindow();
    }
    return active;
}

}  // namespace

QString StyleSheetName() {
    return QStringLiteral("Smokey Quartz Kamri.qss");
}

bool ApplyProgramStyle(QApplication& app, const QString& programDir) {
    InitFormsResources();
    app.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    // A style sheet beside the program wins over the one built in, so the look can be changed without a
    // new build.
    const QString candidates[] = {JoinPath(programDir, StyleSheetName()),
                                  QStringLiteral(":/tembrix/") + StyleSheetName()};
    for (const QString& path : candidates) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray text = file.readAll();
            if (!text.isEmpty()) {
                app.setStyleSheet(QString::fromUtf8(text));
                return true;
            }
        }
    }
    return false;  // unstyled
}

bool LoadQtTranslations(QApplication& app) {
    // Qt's own texts (standard buttons, file and folder dialogs) in Russian, as the program's are.
    auto* translator = new QTranslator(&app);
    if (!translator->load(QLocale(QLocale::Russian, QLocale::Russia), QStringLiteral("qtbase"),
                          QStringLiteral("_"), QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        delete translator;
        return false;
    }
    QApplication::installTranslator(translator);
    return true;
}

int RunDesktopProgram(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        std::fputs(
            "tembrix: no display found (DISPLAY and WAYLAND_DISPLAY are empty).\n"
            "Run it on a desktop, under xvfb-run, or use the command-line front end:\n"
            "  tembrix-cli --help   # installed beside this program\n"
            "  make demo            # indexes a small generated collection into demo.db\n",
            stderr);
        return 2;
    }
    QApplication app(argc, argv);
    // The application's title; no display name, which the desktop would append to every window title.
    QApplication::setApplicationName(QStringLiteral("Тембрикс"));
    ApplyProgramStyle(app, QApplication::applicationDirPath());
    LoadQtTranslations(app);
    GuiMessages messages(&MainWindowForBoxes);
    UserMessages* previous = SetMessages(&messages);
    int result = 1;
    try {
        // The index store lives as long as the windows that use it.
        TDataModule1 store;
        TForm1 form1(store, QApplication::applicationFilePath(), LogicalProcessors());
        // The report and browser windows are separate top-level windows: the program ends with the
        // main window, not with the last window.
        app.setQuitOnLastWindowClosed(false);
        QObject::connect(&form1, &TForm1::closed, &app, &QCoreApplication::quit, Qt::QueuedConnection);
        form1.show();
        result = QApplication::exec();
    } catch (const std::exception& error) {
        QMessageBox::critical(nullptr, QApplication::applicationName(), QString::fromLocal8Bit(error.what()));
    } catch (...) {
        QMessageBox::critical(nullptr, QApplication::applicationName(), QStringLiteral("Неизвестная ошибка"));
    }
    SetMessages(previous);
    return result;
}

}  // namespace tembrix
