// The main window's database and program commands: create, clear, compact and switch the database, the
// browser, check, import and statistics windows, restart, the companion program, help, about and the
// maker's web pages.

#include <QCoreApplication>
#include <QProcess>
#include <QUrl>

#include "app/indexing_scheduler.h"
#include "database/import_source.h"
#include "database/index_store.h"
#include "forms/about_box.h"
#include "forms/browser_window.h"
#include "forms/check_window.h"
#include "forms/import_window.h"
#include "forms/main_window.h"
#include "forms/report_window.h"
#include "forms/shell_open.h"
#include "forms/statistics_window.h"
#include "forms/web_links.h"
#include "util/file_utils.h"
#include "util/path_utils.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

const QString kNotConnected = QStringLiteral("База данных не подключена!");
const QString kDatabaseFilter = QStringLiteral("База данных (*.db)");
const QString kNotFound = QStringLiteral("Не найден файл: ");

}  // namespace

void TForm1::N9Click() {
    const QString initial =
        m_lastDatabaseName.isEmpty() ? InitialFolder(QStringLiteral("database")) : m_lastDatabaseName;
    QString name = Messages().ChooseSaveFile(QStringLiteral("Создать базу данных"), initial, kDatabaseFilter);
    if (name.isEmpty()) {
        return;
    }
    name = ForceExtension(name, QStringLiteral(".db"));
    m_lastDatabaseName = name;
    m_settings.dbPath = name;
    m_store.Disconnect();
    if (m_store.Connect(name)) {
        m_store.CreateTable();
        WriteINIExecute();
    } else {
        m_settings.dbPath.clear();
    }
    Timer3Timer();
}

void TForm1::N11Click() {
    if (!m_store.IsConnected()) {
        Messages().ShowMessage(kNotConnected);
        return;
    }
    if (!Messages().AskYesNo(QStringLiteral("Требуется подтверждение"),
                             QStringLiteral("Вы точно хотите удалить все записи?"))) {
        return;
    }
    if (!m_store.ClearTable()) {
        return;  // the store has shown "Ошибка очистки таблицы!"
    }
    m_store.Vacuum();
    m_store.Commit();
    Messages().ShowMessage(QStringLiteral("База данных успешно очищена!"));
}

void TForm1::N42Click() {
    if (!m_store.IsConnected()) {
        Messages().ShowMessage(kNotConnected);
        return;
    }
    Messages().ShowMessage(m_store.Vacuum() ? QStringLiteral("База данных сжата!")
                                            : QStringLiteral("Операция завершилась ошибкой!"));
}

void TForm1::N14Click() {
    const QString file = Messages().ChooseOpenFile(
        QStringLiteral("Открыть базу данных"), InitialFolder(QStringLiteral("database")), kDatabaseFilter);
    if (file.isEmpty()) {
        return;
    }
    if (!FileExists(file)) {
        Messages().ShowMessage(kNotFound + file);
        return;
    }
    SwitchDatabase(file);
}

void TForm1::SwitchDatabase(const QString& file) {
    if (m_store.IsConnected()) {
        m_store.Disconnect();
    }
    m_settings.dbPath = file;
    m_store.Connect(file);
    WriteINIExecute();
    if (!IsFileReadWritable(file)) {
        Messages().ShowMessage(QStringLiteral("База данных доступна только для чтения: ") + file);
    }
    Timer3Timer();
    RefreshBrowser();
}

void TForm1::RefreshBrowser() {
    if (m_form9 && m_form9->isVisible()) {
        static_cast<TForm9*>(m_form9.data())->FormShow();
    }
}

void TForm1::N16Click() {
    StopPlayExecute();
    if (!m_form9) {
        m_form9 = new TForm9(m_store, this);
    }
    if (m_form9->isVisible()) {
        // Shown again: its list is built anew, as at the first show.
        static_cast<TForm9*>(m_form9.data())->FormShow();
    }
    m_form9->show();
    m_form9->raise();
    m_form9->activateWindow();
}

void TForm1::N39Click() {
    if (m_scheduler->IsRunning()) {
        Messages().ShowMessage(QStringLiteral("Перед началом проверки остановите индексацию данных!"));
        return;
    }
    StopPlayExecute();
    TForm7 check(m_store, this);
    RunModal(check);
}

void TForm1::N41Click() {
    if (m_scheduler->IsRunning()) {
        Messages().ShowMessage(QStringLiteral("Перед началом импорта остановите индексацию данных!"));
        return;
    }
    StopPlayExecute();
    if (!m_source) {
        m_source = std::make_shared<TDataModule2>();
    }
    TForm8 import(m_store, *m_source, this);
    RunModal(import);
}

void TForm1::N44Click() {
    if (!m_store.IsConnected()) {
        Messages().ShowMessage(kNotConnected);
        return;
    }
    StopPlayExecute();
    TForm10 statistics(m_store, this);
    RunModal(statistics);
}

void TForm1::N47Click() {
    if (!FileExists(m_executablePath)) {
        Messages().ShowMessage(kNotFound + m_executablePath);
        return;
    }
    // The running job ends first and the work folder is handed over, so the new instance can take it.
    m_scheduler->StopAndWait(true);
    m_scheduler->UnlockWorkFolder();
    if (!QProcess::startDetached(m_executablePath, {})) {
        Messages().ShowMessage(QStringLiteral("Не удалось запустить программу: ") + m_executablePath);
        m_scheduler->LockWorkFolder();
        return;
    }
    QCoreApplication::quit();
}

void TForm1::N49Click() {
    const QString companion = JoinPath(m_files.programDir, ExecutableFileName(QStringLiteral("Vokalis")));
    if (!FileExists(companion)) {
        Messages().ShowMessage(kNotFound + companion);
        return;
    }
    // A program is started directly: the desktop's "open" would show an executable file, not run it.
    if (!QProcess::startDetached(companion, {})) {
        Messages().ShowMessage(QStringLiteral("Не удалось запустить программу: ") + companion);
    }
}

void TForm1::N27Click() {
    const QString helpFile = JoinPath(m_files.programDir, QStringLiteral("Вокалис.chm"));
    if (FileExists(helpFile)) {
        OpenLocalFile(helpFile);
        return;
    }
    // Without the help file (it comes with the companion program) the program's own guide is shown.
    const QString guide =
        JoinPath(JoinPath(JoinPath(m_files.programDir, QStringLiteral("content")), QStringLiteral("guide")),
                 QStringLiteral("index.html"));
    if (FileExists(guide)) {
        OpenLocalFile(guide);
        return;
    }
    Messages().ShowMessage(kNotFound + helpFile);
}

void TForm1::N28Click() {
    StopPlayExecute();
    TAboutBox about(this);
    RunModal(about);
}

void TForm1::N56Click() {
    m_form3->show();
    m_form3->raise();
    m_form3->activateWindow();
}

void TForm1::N52Click() {
    ShellOpen(QUrl(links::kBugReport));
}

void TForm1::N53Click() {
    ShellOpen(QUrl(links::kReview));
}

void TForm1::N54Click() {
    ShellOpen(QUrl(links::kSupportMail));
}

void TForm1::N55Click() {
    ShellOpen(QUrl(links::kContactForm));
}

bool TForm1::OpenLocalFile(const QString& path) {
    if (!FileExists(path)) {
        Messages().ShowMessage(kNotFound + path);
        return false;
    }
    return ShellOpen(QUrl::fromLocalFile(path));
}

}  // namespace tembrix
