// The main window: start-up and closing, the queue through the grid, database commands, shell-open
// failures, and indexing jobs: Start's refusals, a whole job on generated media, stopping.

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QLineSeries>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTableWidget>
#include <QTest>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "database/maint_test_db.h"
#include "forms/about_box.h"
#include "forms/application.h"
#include "forms/browser_window.h"
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

// Writes files `names` into `dir` and adds them through "Добавить файлы"; their paths.
QStringList AddNew(MainWindowFixture& f, const TempDir& dir, const QStringList& names) {
    QStringList paths;
    for (const QString& name : names) {
        paths.append(dir.Write(name, "x"));
    }
    f.AddFiles(paths);
    return paths;
}

// Catches a deletion without its question, deleting on "no", a selection that jumps, a Delete key in the
// grid that does not delete, and no media filter offered.
TEST(QueueCommands, DeletionsAskFirstAndKeepTheSelection) {
    MainWindowFixture f;
    TempDir media;
    f.window->DeleteFileFromListExecute();  // empty: nothing
    EXPECT_TRUE(MediaFileFilter().contains(QStringLiteral("*.mp3")) &&
                MediaFileFilter().endsWith(";;Все файлы (*)"));
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
        {"N43", 3, true, "", {"f1", "f2", "f3"}, 2},
        {"N50", 1, false, "после", {"f1", "f2", "f3", "f4"}, 1},
        {"N50", 1, true, "после", {"f1", "f2"}, 1},
        {"N51", 2, true, "перед", {"f3", "f4"}, 0},
        {"Delete", 2, true, "", {"f1", "f2", "f4"}, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.action << " on " << c.selected);
        f.window->ClearListExecute();
        AddNew(f, media, {"f1.mp3", "f2.mp3", "f3.mp3", "f4.mp3"});
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
        EXPECT_EQ(f.Column(QueueModel::kName), c.left);
        EXPECT_EQ(f.window->SelectedIndex(), c.selectedAfter);
    }
}

// Catches a grid that loses the files in work in a long job, and one that pulls the user back while
// they look at other rows.
TEST(QueueCommands, TheGridFollowsTheFirstFileInWorkUntilTheUserScrollsAway) {
    MainWindowFixture f;
    TempDir media;
    QStringList names;
    for (int n = 0; n < 300; ++n) {
        names.append(QStringLiteral("t%1.mp3").arg(n, 3, 10, QLatin1Char('0')));
    }
    const QStringList paths = AddNew(f, media, names);
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
        const QTableWidgetItem* shown = browser->ValueListEditor1()->item(0, 1);  // nothing of the one before
        EXPECT_EQ(shown != nullptr ? shown->text() : "", c.lines.value(0));
        EXPECT_EQ(browser->Memo1()->toPlainText().isEmpty() && browser->Series1()->count() == 0,
                  c.lines.isEmpty());
        EXPECT_FALSE(FileExists(missing));
        f.window->BrowserWindow()->close();
    }
}

// Catches ".db" not added, a database without its table or INI entry, a failure kept, commands run
// without a database, a browser shown again that keeps its old list, clearing on "no", and a failed clear
// or compaction followed by a success message.
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
    f.window->N16Click();
    ASSERT_EQ(AddRecord(f.store, MakeRecord(QStringLiteral("added"), QStringLiteral("wav"), 70)), 0);
    f.window->N16Click();  // Ctrl+Alt+V on the open browser
    EXPECT_EQ(static_cast<TForm9*>(f.window->BrowserWindow())->Names().first(), "added");
    f.messages.shown.clear();
    f.messages.answers = {false, true};
    const auto rows = [&f] {
        return f.store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM Data"));
    };
    f.window->N11Click();
    EXPECT_EQ(rows(), 6);
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

// Catches a missing program or help file, or a shell-open failure, kept quiet: the web links, the help,
// the about box's link, the download buttons and the statistics window's file manager.
TEST(DatabaseCommands, MissingProgramsAndEveryShellOpenFailureAreTold) {
    MainWindowFixture f;
    const QString dir = f.window->ProgramDir();
    f.window->N49Click();
    f.window->N27Click();
    f.window->N47Click();
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
    EXPECT_EQ(
        f.messages.shown,
        QStringList({"Не найден файл: " + dir + "/Vokalis", "Не найден файл: " + dir + "/Вокалис.chm",
                     "Не найден файл: " + f.Executable(), "Не удалось открыть страницу: " + links::kBugReport,
                     "Не удалось создать письмо: support@tembrix.example.org",
                     "Не удалось открыть файл: " + guide, "Не удалось открыть страницу: " + links::kMakerSite,
                     "Не удалось открыть страницу: " + links::kFfmpegDownload,
                     "Не удалось открыть каталог с базой данных: " + f.dir.Path()}));
}

// A window whose settings point at a work folder, a connected database and tools: the real ones, or
// fakes that never end.
struct JobFixture {
    explicit JobFixture(bool realTools) {
        f.window->Timer1Timer();  // the start-up tick is over
        Settings& s = f.window->CurrentSettings();
        s.workDir = work.Path();
        s.dbPath = f.dir.File(QStringLiteral("index.db"));
        s.threads = 2;
        const QString tools = f.dir.File(QStringLiteral("tools")), hang = QStringLiteral("exec sleep 60");
        s.ffmpegPath = realTools ? RealFfmpeg() : WriteFakeTool(tools, QStringLiteral("ffmpeg"), hang);
        s.soxPath = realTools ? RealSox() : WriteFakeTool(tools, QStringLiteral("sox"), hang);
        WriteFakeTool(tools, QStringLiteral("ffprobe"), hang);
        for (const char* tool : {"/id3-tags-cli", "/id3-tags"}) {  // where the worker looks for the tag tool
            QFile::link(ProgramDir() + QLatin1String(tool), f.dir.Path() + QLatin1String(tool));
        }
        f.store.Connect(s.dbPath);
        f.store.CreateTable();
    }
    bool WaitForEnd() {
        return QTest::qWaitFor([this] { return !f.window->Scheduler().IsRunning(); }, 120000);
    }
    void Start(const QStringList& paths) {
        f.AddFiles(paths);
        f.window->StartExecute();
    }

    TempDir work;  // outlives the windows, which hold its lock
    MainWindowFixture f;
};

// Catches a refusal that opens the wrong settings page or still starts the job; a job started into a
// database that is named but not connected.
TEST(StartRefusals, EachCheckWithItsMessageAndSettingsPage) {
    const auto settings = [](JobFixture& j) -> Settings& { return j.f.window->CurrentSettings(); };
    const struct {
        std::function<void(JobFixture&)> spoil;
        const char* message;
        std::vector<int> pages;  // settings pages opened
    } cases[] = {
        {[&](JobFixture& j) { settings(j).workDir += "/nowhere"; }, "Выберите рабочий каталог!", {0}},
        {[&](JobFixture& j) { settings(j).dbPath.clear(); }, "Выберите или создайте базу данных!", {0}},
        {[](JobFixture& j) { j.f.store.Disconnect(); }, "Выберите или создайте базу данных!", {0}},
        {[&](JobFixture& j) { settings(j).ffmpegPath += "-none"; },
         "Отсутствует утилита FFMPEG! Установите её пожалуйста и укажите её путь!",
         {1}},
        {[&](JobFixture& j) { settings(j).soxPath += "-none"; },
         "Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!",
         {1}},
        {[](JobFixture& j) { QFile::remove(j.f.dir.File(QStringLiteral("tools/ffprobe"))); },
         "Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!",
         {1}},
        {[](JobFixture&) {}, "Добавьте в список аудио или видео файлы!", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        JobFixture job(false);
        c.spoil(job);
        job.f.window->StartButton()->click();
        EXPECT_EQ(job.f.messages.shown, QStringList({QString::fromUtf8(c.message)}));
        EXPECT_EQ(job.f.modals, c.pages);
        EXPECT_FALSE(job.f.window->Scheduler().IsRunning() || job.f.window->ReportWindow()->isVisible());
    }
}

// Catches a job's statuses, counters, progress or report lines not shown, an old report kept, and a
// closed report that cannot be shown again.
TEST(IndexingJob, AWholeJobThroughTheWindow) {
    MediaFixtures& media = MediaFixtures::Instance();
    const QString mp3 = media.Tone(QStringLiteral(".mp3"), 62, 1),
                  ogg = media.Tone(QStringLiteral(".ogg"), 20, 2);
    ASSERT_FALSE(mp3.isEmpty() || ogg.isEmpty());
    JobFixture job(true);
    TForm3* report = job.f.window->ReportWindow();
    job.Start({mp3, ogg});
    ASSERT_TRUE(job.WaitForEnd());
    EXPECT_TRUE(report->isVisible());
    EXPECT_EQ(job.f.Column(QueueModel::kStatus), QStringList({"обработан", "ошибка"}));
    job.f.window->Timer3Timer();
    report->Timer1Timer();
    EXPECT_EQ(QStringList({job.f.window->StatusPanelText(1), report->PageText(TForm3::kSuccessPage),
                           report->PageText(TForm3::kErrorPage), report->StatusText(0), report->StatusText(1),
                           report->StatusText(2)}),
              QStringList({"Обработано: 1", "Обработан успешно: " + mp3,
                           "Очень маленький размер аудио данных! - " + ogg, "Успешно обработаны: 1",
                           "Сообщения об ошибках: 1", "Проиндексированы ранее: 0"}));
    EXPECT_EQ(job.f.messages.shown, QStringList({"Задание выполнено!"}));

    job.f.window->ClearListExecute();  // a second job: the report starts afresh
    job.Start({mp3});
    ASSERT_TRUE(job.WaitForEnd());
    EXPECT_EQ(job.f.Column(QueueModel::kStatus), QStringList({"уже проиндексирован"}));
    EXPECT_EQ(report->PageText(TForm3::kSuccessPage) + report->PageText(TForm3::kErrorPage), "");
    EXPECT_TRUE(job.f.window->ProgressBar()->text().startsWith(QStringLiteral("Файлы: 1 из 1, ")));
    EXPECT_EQ(job.f.window->ProgressBar()->value(), 1000);
    report->close();
    job.f.window->Action(QStringLiteral("N56"))->trigger();
    EXPECT_TRUE(report->isVisible());
    EXPECT_EQ(report->PageText(TForm3::kAlreadyPage), "Уже проиндексирован - " + mp3);
}

// Catches check or import opened during a job; a Stop, closing the window or "Перезапуск" that leaves
// the job running or its files in work unmarked; the stop message missing from Stop or shown on the others.
TEST(IndexingJob, StopCloseAndRestartEndTheJob) {
    const struct {
        const char* way;
        std::function<void(JobFixture&)> end;
    } ways[] = {
        {"stop", [](JobFixture& j) { j.f.window->Action(QStringLiteral("N21"))->trigger(); }},
        {"close", [](JobFixture& j) { j.f.window->close(); }},
        {"restart",
         [](JobFixture& j) {
             WriteFakeTool(j.f.dir.Path(), QStringLiteral("tembrix"), QStringLiteral("exit 0"));
             j.f.window->N47Click();
         }},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way.way);
        JobFixture job(false);
        job.Start({job.f.dir.Write("m/a.wav", "x"), job.f.dir.Write("m/b.mp3", "x"),
                   job.f.dir.Write("m/c.wav", "x")});
        ASSERT_TRUE(QTest::qWaitFor([&] { return job.f.window->Queue().CountWithStatus(kStatusInWork) == 2; },
                                    10000));
        job.f.window->N39Click();
        job.f.window->N41Click();
        EXPECT_TRUE(job.f.modals.empty());
        way.end(job);
        ASSERT_TRUE(job.WaitForEnd());
        EXPECT_EQ(job.f.Column(QueueModel::kStatus), QStringList({"остановлен", "остановлен", ""}));
        QStringList told = {"Перед началом проверки остановите индексацию данных!",
                            "Перед началом импорта остановите индексацию данных!"};
        EXPECT_EQ(job.f.messages.shown,
                  way.way == std::string("stop") ? told << "Индексация остановлена!" : told);
    }
}

}  // namespace
}  // namespace tembrix::test
