// The main window: start-up and closing, the queue through the grid, shortcuts, shell-open failures.

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include "app/indexing_queue.h"
#include "forms/about_box.h"
#include "forms/application.h"
#include "forms/help_video_panel.h"
#include "forms/queue_model.h"
#include "forms/report_window.h"
#include "forms/shell_open.h"
#include "forms/statistics_window.h"
#include "forms/web_links.h"
#include "support/media_fixtures.h"
#include "util/file_utils.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

QByteArray IniWith(const QString& dbPath, const QString& workDir = QString()) {
    return QStringLiteral("[DataBase]\nDBPath=%1\n[Dirs]\nWorkDir=%2\n[Indexing]\nThreads=64\n")
        .arg(dbPath, workDir)
        .toUtf8();
}

// Catches a database connected before the tick, a gone one kept (or created) and threads not clamped.
TEST(Startup, TheStartTickConnectsAnExistingDatabaseAndForgetsAGoneOne) {
    TempDir other;
    const QString db = MakeDatabase(other, QStringLiteral("index"), 0), gone = other.File("gone.db");
    for (const QString& path : {db, gone}) {
        MainWindowFixture f(IniWith(path));
        EXPECT_EQ(f.window->CurrentSettings().threads, MainWindowFixture::kSlots);
        EXPECT_FALSE(f.store.IsConnected());
        f.window->Timer1Timer();
        EXPECT_EQ(f.store.IsConnected() ? f.window->CurrentSettings().dbPath : QString(),
                  path == db ? db : "");
    }
    EXPECT_FALSE(FileExists(gone));
}

// Catches a way of closing that loses the settings, leaves scratch folders or keeps other windows open.
TEST(Startup, EveryWayOfClosingWritesTheIniFileAndEmptiesTheWorkFolder) {
    for (const bool fromMenu : {false, true}) {
        TempDir work;
        work.Write(QStringLiteral("0/scratch.dat"), "x");
        MainWindowFixture f(IniWith(QString(), work.Path()));
        EXPECT_FALSE(FolderExists(work.File(QStringLiteral("0"))));  // emptied at start
        f.window->show();
        f.window->ReportWindow()->show();
        QSignalSpy closed(f.window.get(), &TForm1::closed);  // the program quits on it
        f.window->CurrentSettings().threads = 3;
        work.Write(QStringLiteral("1/left.dat"), "x");
        fromMenu ? f.window->Action(QStringLiteral("N7"))->trigger() : static_cast<void>(f.window->close());
        EXPECT_EQ(closed.size(), 1);
        EXPECT_FALSE(f.window->isVisible() || f.window->ReportWindow()->isVisible());
        EXPECT_TRUE(f.window->VideoPanel()->IsCoverShown());
        EXPECT_EQ(f.IniSettings().threads, 3);
        EXPECT_FALSE(FolderExists(work.File(QStringLiteral("1"))));
    }
}

// Catches a second copy of the program emptying the work folder the first one uses (their workers
// would read each other's files), and a restart that keeps the folder from the new instance.
TEST(Startup, ASecondCopyLeavesAHeldWorkFolderAloneAndARestartHandsItOver) {
    TempDir work;  // outlives the windows and their lock on it
    MainWindowFixture f(IniWith(QString(), work.Path()));
    TDataModule1 otherStore;
    const QString theirs = work.Write(QStringLiteral("0/data.dat"), "x");
    auto second = std::make_unique<TForm1>(otherStore, f.Executable(), MainWindowFixture::kSlots);
    second->Timer1Timer();
    second->close();
    EXPECT_TRUE(FileExists(theirs));
    second.reset();
    WriteFakeTool(f.dir.Path(), QStringLiteral("tembrix"), QStringLiteral("exit 0"));
    f.window->N47Click();  // "Перезапуск"
    EXPECT_TRUE(f.messages.shown.isEmpty());
    second = std::make_unique<TForm1>(otherStore, f.Executable(), MainWindowFixture::kSlots);
    EXPECT_FALSE(FileExists(theirs));
}

// Catches Qt's own buttons and dialogs left in English.
TEST(Startup, QtTextsAreRussian) {
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    ASSERT_TRUE(app != nullptr && LoadQtTranslations(*app));
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "&Yes"), "&Да");
    EXPECT_EQ(QCoreApplication::translate("QFileDialog", "Look in:"), "Перейти к:");
}

class QueueCommands : public ::testing::Test {
protected:
    QStringList Add(const QStringList& names) {  // files of 1234 bytes, added through "Добавить файлы"
        QStringList paths;
        for (const QString& name : names) {
            paths.append(media.Write(name, QByteArray(1234, 'x')));
        }
        f.messages.fileLists.push_back(paths);
        f.window->AddFilesExecute();
        return paths;
    }
    QStringList Column(int column) const {
        QStringList cells;
        for (int row = 0; row < f.window->Model()->rowCount(); ++row) {
            cells.append(f.window->Model()->CellText(row, column));
        }
        return cells;
    }

    MainWindowFixture f;
    TempDir media;
};

// Catches cells showing the wrong field, a refresh that moves the selection, and no media filter offered.
TEST_F(QueueCommands, AddFilesShowsEveryColumnAndKeepsTheSelection) {
    EXPECT_EQ(Column(QueueModel::kName), QStringList({""}));  // an empty queue shows one empty row
    const QStringList paths = Add({"Song.mp3", "Clip.mkv"});
    f.window->AddFilesExecute();  // cancelled: nothing
    f.window->SelectIndex(1);
    Add({"g1.wav", "g2.wav"});
    f.window->Queue().SetStatus(kStatusInWork, paths[1]);
    f.window->UpdateListExecute();
    QStringList row;
    for (int column = 0; column < QueueModel::kColumnCount; ++column) {
        row.append(f.window->Model()->CellText(1, column));
    }
    EXPECT_EQ(row, QStringList({"2", "в обработке", paths[1], "Clip", "видео", "1234",
                                f.window->Queue().At(1).created}));
    EXPECT_EQ(Column(QueueModel::kName), QStringList({"Song", "Clip", "g1", "g2"}));
    EXPECT_EQ(f.window->SelectedIndex(), 1);
    EXPECT_TRUE(MediaFileFilter().contains(QStringLiteral("*.mp3")));
    EXPECT_TRUE(MediaFileFilter().endsWith(QStringLiteral(";;Все файлы (*)")));
}

// Catches the event loop held up while a folder is read, and files lost or added twice.
TEST_F(QueueCommands, AddDirectoryTakesTheTreeWhileTheEventLoopRuns) {
    for (int n = 0; n < 200; ++n) {
        media.Write(QStringLiteral("big/%1/track%2.flac").arg(n % 10).arg(n), QByteArray());
    }
    for (const char* name : {"a.wav", "b.txt", "sub/c.ogg", "sub/deeper/d.mp4"}) {
        media.Write(QString::fromLatin1(name), "x");
    }
    f.messages.choices = {media.Path()};
    QSignalSpy added(f.window.get(), &TForm1::directoryAdded);
    f.window->AddDirectoryExecute();
    EXPECT_TRUE(f.window->IsCollecting());
    ASSERT_TRUE(added.wait(60000));
    EXPECT_EQ(f.window->Model()->rowCount(), 203);
}

// Catches a deletion without its question, deleting on "no", a selection that jumps, and a Delete key
// in the grid that does not delete.
TEST_F(QueueCommands, DeletionsAskFirstAndKeepTheSelection) {
    f.window->DeleteFileFromListExecute();  // empty: nothing
    const QString question =
        QStringLiteral("Требуется подтверждение | Вы точно хотите удалить все записи %1 выбранной?");
    const struct {
        const char* action;
        int selected;
        bool answer;
        const char* question;  // "" for none
        QStringList left;
        int selectedAfter;
    } cases[] = {
        {"N43", 1, true, "", {"f1", "f3", "f4"}, 1},
        {"N43", 3, true, "", {"f1", "f2", "f3"}, 2},
        {"N50", 1, false, "после", {"f1", "f2", "f3", "f4"}, 1},
        {"N50", 1, true, "после", {"f1", "f2"}, 1},
        {"N51", 2, true, "перед", {"f3", "f4"}, 0},
        {"Delete", 2, true, "", {"f1", "f2", "f4"}, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.action << " on " << c.selected);
        f.window->ClearListExecute();
        Add({"f1.mp3", "f2.mp3", "f3.mp3", "f4.mp3"});
        f.window->SelectIndex(c.selected);
        f.messages.asked.clear();
        f.messages.answers = {c.answer};
        if (QLatin1String(c.action) == QLatin1String("Delete")) {
            QTest::keyClick(f.window->Grid(), Qt::Key_Delete);
        } else {
            f.window->Action(QString::fromLatin1(c.action))->trigger();
        }
        EXPECT_EQ(f.messages.asked,
                  *c.question ? QStringList{question.arg(QString::fromUtf8(c.question))} : QStringList());
        EXPECT_EQ(Column(QueueModel::kName), c.left);
        EXPECT_EQ(f.window->SelectedIndex(), c.selectedAfter);
    }
}

// Catches a grid that loses the files in work in a long job, and one that pulls the user back while
// they look at other rows.
TEST_F(QueueCommands, TheGridFollowsTheFirstFileInWorkUntilTheUserScrollsAway) {
    QStringList names;
    for (int n = 0; n < 300; ++n) {
        names.append(QStringLiteral("t%1.mp3").arg(n, 3, 10, QLatin1Char('0')));
    }
    const QStringList paths = Add(names);
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
    EXPECT_TRUE(visible(0) && !visible(151));
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
    TAboutBox(f.window.get()).CommentsClick();
    f.window->SettingsDialog()->DownloadButton(0)->click();
    TForm10(f.store).BitBtn2Click();
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
