// The main window under everyday work: the grid following a long job, and shell-open failures told.

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>

#include "app/indexing_queue.h"
#include "forms/about_box.h"
#include "forms/queue_model.h"
#include "forms/shell_open.h"
#include "forms/statistics_window.h"
#include "forms/web_links.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

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
