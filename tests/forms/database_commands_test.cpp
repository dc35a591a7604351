// The main window's database and program commands: switch, create, clear and compact; programs and help.

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QLineSeries>
#include <QPlainTextEdit>
#include <QTableWidget>
#include <QUrl>

#include "database/maint_test_db.h"
#include "forms/browser_window.h"
#include "forms/shell_open.h"
#include "util/file_utils.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// Catches a database chosen from the menu or saved in the settings but not connected (rows would fail or
// go into the old one), a switch not saved, a missing file taken or created, a read-only one
// unannounced, and a browser left showing the list, record or graph of the database before.
TEST(SwitchDatabase, FromTheMenuOrTheSettings) {
    TempDir data;
    const QString first = MakeDatabase(data, "first", 1), second = MakeDatabase(data, "second", 3);
    const QString empty = MakeDatabase(data, "empty", 0), readOnly = MakeDatabase(data, "readonly", 2);
    QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
    const QString missing = data.File(QStringLiteral("missing.db")), notFound = "Не найден файл: " + missing;
    const QString warned =  // a user that may write anywhere gets no warning
        IsFileReadWritable(readOnly) ? QString() : "База данных доступна только для чтения: " + readOnly;
    const QStringList seconds = {"second-1", "second-2", "second-3"}, firsts = {"first-1"};
    const struct {
        bool menu;
        QString before, chosen, after;  // connected before ("" none), chosen, connected after
        QStringList lines;
        QString message;
    } cases[] = {
        {false, "", second, second, seconds, ""},
        {false, first, second, second, seconds, ""},
        {false, first, empty, empty, {}, ""},
        {false, first, missing, first, firsts, notFound},
        {true, first, second, second, seconds, ""},
        {true, first, missing, first, firsts, notFound},
        {false, first, readOnly, readOnly, {"readonly-1", "readonly-2"}, warned},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.menu ? "menu: " : "settings: ") << c.chosen.toStdString());
        MainWindowFixture f;
        ASSERT_TRUE(c.before.isEmpty() || f.store.Connect(c.before));
        f.window->CurrentSettings().dbPath = c.before;
        f.window->WriteINIExecute();
        f.window->N16Click();
        const auto* browser = static_cast<TForm9*>(f.window->BrowserWindow());
        f.messages.choices = {c.chosen};
        f.window->SetModalRunner([&](QDialog& dialog) {
            auto* settings = qobject_cast<TForm2*>(&dialog);
            settings->FormShow();
            settings->DatabaseEdit()->setText(c.chosen);
            settings->SaveClick();
            return static_cast<int>(QDialog::Accepted);
        });
        c.menu ? f.window->N14Click() : f.window->ShowSettings(TForm2::kDatabasePage);
        f.window->Timer3Timer();
        EXPECT_EQ(f.store.IsConnected() ? f.store.DatabasePath() : QString(), c.after);
        EXPECT_EQ(QStringList(
                      {f.window->CurrentSettings().dbPath, f.IniSettings().dbPath, f.window->windowTitle()}),
                  QStringList({c.after, c.after, "Тембрикс - " + c.after}));
        EXPECT_EQ(f.messages.shown, c.message.isEmpty() ? QStringList() : QStringList{c.message});
        EXPECT_EQ(browser->Names(), c.lines);
        if (c.lines.isEmpty()) {  // nothing of the database before stays on screen
            EXPECT_EQ(browser->ValueListEditor1()->rowCount() + browser->Series1()->count(), 0);
            EXPECT_TRUE(browser->Memo1()->toPlainText().isEmpty());
        } else {
            EXPECT_EQ(browser->ValueListEditor1()->item(0, 1)->text(), c.lines[0]);
        }
        EXPECT_FALSE(FileExists(missing));
        f.window->BrowserWindow()->close();
    }
}

// Catches a browser shown again (Ctrl+Alt+V on an open one) that keeps its old list.
TEST(SwitchDatabase, ShowingTheOpenBrowserAgainListsItAnew) {
    TempDir data;
    MainWindowFixture f;
    ASSERT_TRUE(f.store.Connect(MakeDatabase(data, QStringLiteral("db"), 1)));
    f.window->N16Click();
    ASSERT_EQ(AddRecord(f.store, MakeRecord(QStringLiteral("added"), QStringLiteral("wav"), 70)), 0);
    f.window->N16Click();
    EXPECT_EQ(static_cast<TForm9*>(f.window->BrowserWindow())->Names(), QStringList({"added", "db-1"}));
    f.window->BrowserWindow()->close();
}

// Catches ".db" not added, a database without its table or INI entry, a failure kept, commands run
// without a database, clearing on "no", and a failed clear or compaction followed by a success message.
TEST(DatabaseCommands, CreateClearAndCompact) {
    MainWindowFixture f;
    TempDir data;
    const QString plain = data.File(QStringLiteral("plain.db"));
    f.messages.choices = {data.File(QStringLiteral("plain")),
                          data.File(QStringLiteral("no/such/folder/new"))};
    f.window->N9Click();
    EXPECT_EQ(f.store.DatabasePath() + f.IniSettings().dbPath, plain + plain);
    EXPECT_TRUE(f.store.ClearTable());  // the table is there
    f.window->N9Click();
    EXPECT_FALSE(f.store.IsConnected() || !f.window->CurrentSettings().dbPath.isEmpty());
    for (auto command : {&TForm1::N11Click, &TForm1::N42Click, &TForm1::N44Click}) {
        (f.window.get()->*command)();
    }
    EXPECT_EQ(f.messages.shown,
              QStringList({"Ошибка подключения к базе данных!", "База данных не подключена!",
                           "База данных не подключена!", "База данных не подключена!"}));
    EXPECT_TRUE(f.messages.asked.isEmpty() && f.modals.empty());

    ASSERT_TRUE(f.store.Connect(MakeDatabase(data, QStringLiteral("full"), 5)));
    f.messages.shown.clear();
    f.messages.answers = {false, true};
    const auto rows = [&f] {
        return f.store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM Data"));
    };
    f.window->N11Click();
    EXPECT_EQ(rows(), 5);
    f.window->N11Click();
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(f.messages.asked,
              QStringList(2, "Требуется подтверждение | Вы точно хотите удалить все записи?"));
    f.window->N42Click();
    f.window->N44Click();
    EXPECT_EQ(f.modals, std::vector<int>{-1});  // the statistics window

    const QString damaged = MakeDatabase(data, QStringLiteral("damaged"), 60);
    ASSERT_TRUE(DamageRows(damaged) && f.store.Connect(damaged));
    f.window->N11Click();
    f.window->N42Click();
    EXPECT_EQ(f.messages.shown, QStringList({"База данных успешно очищена!", "База данных сжата!",
                                             "Ошибка очистки таблицы!", "Операция завершилась ошибкой!"}));
}

// Catches a missing program or help file kept quiet, and the guide opened before the help file.
TEST(DatabaseCommands, ProgramsAndHelp) {
    MainWindowFixture f;
    const QString dir = f.window->ProgramDir();
    f.window->N49Click();
    f.window->N27Click();
    f.window->N47Click();
    EXPECT_EQ(f.messages.shown,
              QStringList({"Не найден файл: " + dir + "/Vokalis", "Не найден файл: " + dir + "/Вокалис.chm",
                           "Не найден файл: " + f.Executable()}));
    QList<QUrl> opened;
    const ShellOpener previous = SetShellOpener([&](const QUrl& url) { return opened.append(url), true; });
    const QString guide = f.dir.Write(QStringLiteral("content/guide/index.html"), "<html></html>");
    f.window->N27Click();
    const QString chm = f.dir.Write(QStringLiteral("Вокалис.chm"), "help");
    f.window->N27Click();
    SetShellOpener(previous);
    EXPECT_EQ(opened, QList<QUrl>({QUrl::fromLocalFile(guide), QUrl::fromLocalFile(chm)}));
}

}  // namespace
}  // namespace tembrix::test
