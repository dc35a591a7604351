// The main window under everyday work: a database chosen in the settings, the browser kept true to the
// database, the grid following a long job, and shell-open failures told.

#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QLineSeries>
#include <QListView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTableWidget>

#include "app/indexing_queue.h"
#include "forms/about_box.h"
#include "forms/browser_window.h"
#include "forms/queue_model.h"
#include "forms/shell_open.h"
#include "forms/statistics_window.h"
#include "forms/web_links.h"
#include "main_window_fixture.h"
#include "maintenance_windows_fixture.h"
#include "util/file_utils.h"

namespace tembrix::test {
namespace {

// A database file with `rows` one-track records named <stem>-1 … (an 800-value envelope each).
QString MakeDatabase(const TempDir& dir, const QString& stem, int rows) {
    const QString path = dir.File(stem + QStringLiteral(".db"));
    TDataModule1 maker;
    if (!maker.Connect(path) || !maker.CreateTable()) {
        return QString();
    }
    for (int n = 1; n <= rows; ++n) {
        IndexRecord r = MakeRecord(QStringLiteral("%1-%2").arg(stem).arg(n), QStringLiteral("mp3"), 60 + n, 0,
                                   1, QStringLiteral("Artist: ") + stem);
        const auto values = Envelope(800, [n](int32_t k) { return static_cast<uint16_t>(k * n); });
        r.index_size = 1600;
        maker.InsertRecordWithIndex(r, values.data());
    }
    maker.Commit();
    return path;
}

// The browser's list lines.
QStringList BrowserLines(QWidget* browser) {
    QStringList lines;
    const auto* form = static_cast<TForm9*>(browser);
    for (int row = 0; row < form->ListBox1()->model()->rowCount(); ++row) {
        lines.append(form->ListBox1()->model()->index(row, 0).data().toString());
    }
    return lines;
}

// Catches a database saved in the settings but never connected (rows then fail or go into the old
// one), a missing file taken, a read-only one unannounced, and a browser left showing the list, the
// record or the graph of the database it had before.
TEST(SettingsSave, ADifferentDatabaseIsSwitchedToAsFromTheMenu) {
    TempDir data;
    const QString first = MakeDatabase(data, QStringLiteral("first"), 1);
    const QString second = MakeDatabase(data, QStringLiteral("second"), 3);
    const QString empty = MakeDatabase(data, QStringLiteral("empty"), 0);
    const QString readOnly = MakeDatabase(data, QStringLiteral("readonly"), 2);
    QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
    const QString missing = data.File(QStringLiteral("missing.db"));
    const struct {
        const char* what;
        QString before;  // connected before ("" none)
        QString chosen;
        QString after;  // connected after
        QStringList lines;
        QString message;  // "" none
    } cases[] = {
        {"none connected", QString(), second, second, {"second-1", "second-2", "second-3"}, QString()},
        {"another one", first, second, second, {"second-1", "second-2", "second-3"}, QString()},
        {"an empty one", first, empty, empty, {}, QString()},
        {"a missing file", first, missing, first, {"first-1"}, "Не найден файл: " + missing},
        {"a read-only file",
         first,
         readOnly,
         readOnly,
         {"readonly-1", "readonly-2"},
         IsFileReadWritable(readOnly) ? QString() : "База данных доступна только для чтения: " + readOnly},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        MainWindowFixture f;
        if (!c.before.isEmpty()) {
            ASSERT_TRUE(f.store.Connect(c.before));
            f.window->CurrentSettings().dbPath = c.before;
        }
        f.window->N16Click();
        QWidget* browser = f.window->BrowserWindow();
        const auto* form = static_cast<TForm9*>(browser);
        f.window->SetModalRunner([&](QDialog& dialog) {
            auto* settings = qobject_cast<TForm2*>(&dialog);
            settings->FormShow();
            settings->DatabaseEdit()->setText(c.chosen);
            settings->SaveClick();
            return static_cast<int>(QDialog::Accepted);
        });
        f.window->ShowSettings(TForm2::kDatabasePage);
        EXPECT_EQ(f.store.IsConnected() ? f.store.DatabasePath() : QString(), c.after);
        EXPECT_EQ(f.window->CurrentSettings().dbPath, c.after);
        EXPECT_EQ(f.IniSettings().dbPath, c.after);
        EXPECT_EQ(f.window->windowTitle(), "Тембрикс - " + c.after);
        EXPECT_EQ(f.messages.shown, c.message.isEmpty() ? QStringList() : QStringList{c.message});
        EXPECT_EQ(BrowserLines(browser), c.lines);
        if (c.lines.isEmpty()) {  // nothing of the database before stays on screen
            EXPECT_EQ(form->ValueListEditor1()->rowCount() + form->Series1()->count(), 0);
            EXPECT_TRUE(form->Memo1()->toPlainText().isEmpty());
        } else {
            EXPECT_EQ(form->ValueListEditor1()->item(0, 1)->text(), c.lines[0]);
        }
        EXPECT_FALSE(FileExists(missing));
        browser->close();
    }
}

// Catches a browser shown again (Ctrl+Alt+V on an open one) that keeps its old list.
TEST(MainWindowWork, ShowingTheOpenBrowserAgainListsItAnew) {
    TempDir data;
    MainWindowFixture f;
    ASSERT_TRUE(f.store.Connect(MakeDatabase(data, QStringLiteral("db"), 1)));
    f.window->N16Click();
    ASSERT_EQ(BrowserLines(f.window->BrowserWindow()), QStringList{"db-1"});
    IndexRecord r = MakeRecord(QStringLiteral("added"), QStringLiteral("wav"), 70);
    const auto values = Envelope(100, [](int32_t) { return uint16_t{5}; });
    r.index_size = 200;
    f.store.InsertRecordWithIndex(r, values.data());
    f.store.Commit();
    f.window->N16Click();
    EXPECT_EQ(BrowserLines(f.window->BrowserWindow()), QStringList({"added", "db-1"}));
    f.window->BrowserWindow()->close();
}

// Catches a grid that loses the files in work in a long job, and one that pulls the user back while
// they look at other rows.
TEST(MainWindowWork, TheGridFollowsTheFirstFileInWorkUntilTheUserScrollsAway) {
    MainWindowFixture f;
    TempDir media;
    QStringList paths;
    for (int n = 0; n < 300; ++n) {
        paths.append(media.Write(QStringLiteral("t%1.mp3").arg(n, 3, 10, QLatin1Char('0')), "x"));
    }
    f.messages.fileLists.push_back(paths);
    f.window->AddFilesExecute();
    f.window->resize(1200, 640);
    f.window->show();
    QApplication::processEvents();
    QTableView* grid = f.window->Grid();
    const auto visible = [&](int row) {
        return grid->viewport()->rect().intersects(grid->visualRect(f.window->Model()->index(row, 0)));
    };
    const auto work = [&](int done, int row) {  // file `done` ends, file `row` goes into work
        f.window->Queue().SetStatus(kStatusDone, paths[done]);
        f.window->Queue().SetStatus(kStatusInWork, paths[row]);
        f.window->UpdateListExecute();
        f.window->FollowWork();
    };
    work(0, 150);
    EXPECT_TRUE(visible(150));
    grid->verticalScrollBar()->setValue(0);  // the user looks at the top
    work(150, 151);
    EXPECT_TRUE(visible(0));
    EXPECT_FALSE(visible(151));
    grid->scrollTo(f.window->Model()->index(151, 0));  // and comes back to the files in work
    work(151, 280);
    EXPECT_TRUE(visible(280));
}

// Catches a shell-open that fails without a word: the web links, the help, the about box's link, the
// download buttons and the statistics window's file manager.
TEST(MainWindowWork, EveryShellOpenFailureIsTold) {
    MainWindowFixture f;
    const QString guide = f.dir.Write(QStringLiteral("content/guide/index.html"), "<html></html>");
    ASSERT_TRUE(f.store.Connect(f.dir.File(QStringLiteral("index.db"))) && f.store.CreateTable());
    const ShellOpener previous = SetShellOpener([](const QUrl&) { return false; });
    f.window->N52Click();
    f.window->N54Click();
    f.window->N27Click();
    TAboutBox about(f.window.get());
    about.CommentsClick();
    f.window->SettingsDialog()->DownloadButton(0)->click();
    TForm10 statistics(f.store);
    statistics.BitBtn2Click();
    SetShellOpener(previous);
    EXPECT_EQ(f.messages.shown, QStringList({"Не удалось открыть страницу: " + links::kBugReport,
                                             "Не удалось создать письмо: support@tembrix.example.org",
                                             "Не удалось открыть файл: " + guide,
                                             "Не удалось открыть страницу: " + links::kMakerSite,
                                             "Не удалось открыть страницу: " + links::kFfmpegDownload,
                                             "Не удалось открыть каталог с базой данных: " + f.dir.Path()}));
}

}  // namespace
}  // namespace tembrix::test
