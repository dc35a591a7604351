// Start-up and closing of the main window: the program log, the one-second start-up tick, the database
// path that is cleared when its file is gone, the work folder emptied at start, and the INI file written
// by every way of closing.

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include "app/indexing_queue.h"
#include "forms/application.h"
#include "forms/help_video_panel.h"
#include "forms/report_window.h"
#include "main_window_fixture.h"
#include "util/file_utils.h"

namespace tembrix::test {
namespace {

QByteArray IniWith(const QString& dbPath, const QString& workDir = QString()) {
    return QStringLiteral("[DataBase]\nDBPath=%1\n[Dirs]\nWorkDir=%2\n[Indexing]\nThreads=2\n")
        .arg(dbPath, workDir)
        .toUtf8();
}

TEST(Startup, LogsEachStepAndResetsTheLogPerRun) {
    MainWindowFixture f;
    EXPECT_EQ(f.LogMessages(), QStringList({"Read Ini file", "Prepare dialogs", "Init completed"}));
    EXPECT_TRUE(f.window->Timer1()->isActive());
    EXPECT_EQ(f.window->Timer1()->interval(), 1000);
    f.window->Timer1Timer();
    EXPECT_FALSE(f.window->Timer1()->isActive());
    EXPECT_EQ(f.LogMessages().last(), "Load info images");

    // A second run starts the log afresh.
    f.MakeWindow();
    EXPECT_EQ(f.LogMessages(), QStringList({"Read Ini file", "Prepare dialogs", "Init completed"}));
}

TEST(Startup, TheStartTickRunsOnceAfterOneSecond) {
    MainWindowFixture f;
    QSignalSpy fired(f.window->Timer1(), &QTimer::timeout);
    ASSERT_TRUE(fired.wait(3000));
    QTest::qWait(1300);
    EXPECT_EQ(fired.size(), 1);
    EXPECT_EQ(f.LogMessages().count(QStringLiteral("Load info images")), 1);
}

TEST(Startup, ReadsTheSettingsFromTheIniFile) {
    MainWindowFixture f(
        QByteArray("[Utils]\nFFMPEG=/opt/ff/ffmpeg\nSOX=/opt/sox/sox\n[Indexing]\nThreads=64\n"
                   "CopyToWorkDir=0\n"));
    const Settings& s = f.window->CurrentSettings();
    EXPECT_EQ(s.ffmpegPath, "/opt/ff/ffmpeg");
    EXPECT_EQ(s.soxPath, "/opt/sox/sox");
    EXPECT_EQ(s.threads, MainWindowFixture::kSlots);  // clamped to the worker slots
    EXPECT_FALSE(s.copyToWorkDir);
}

TEST(Startup, ADatabaseWhoseFileIsGoneIsClearedAtTheStartTick) {
    TempDir other;
    const QString gone = other.File(QStringLiteral("gone.db"));
    MainWindowFixture f(IniWith(gone));
    EXPECT_EQ(f.window->CurrentSettings().dbPath, gone);  // kept until the tick
    f.window->Timer1Timer();
    EXPECT_TRUE(f.window->CurrentSettings().dbPath.isEmpty());
    EXPECT_FALSE(f.store.IsConnected());
    EXPECT_EQ(f.window->windowTitle(), "Тембрикс - ");
    EXPECT_FALSE(FileExists(gone));  // nothing was created
    EXPECT_TRUE(f.messages.shown.isEmpty());
}

TEST(Startup, AnExistingDatabaseIsConnectedAtTheStartTick) {
    TempDir other;
    const QString db = other.File(QStringLiteral("index.db"));
    {
        TDataModule1 maker;
        ASSERT_TRUE(maker.Connect(db));
        ASSERT_TRUE(maker.CreateTable());
    }
    MainWindowFixture f(IniWith(db));
    EXPECT_FALSE(f.store.IsConnected());
    f.window->Timer1Timer();
    EXPECT_TRUE(f.store.IsConnected());
    EXPECT_EQ(f.store.DatabasePath(), db);
    EXPECT_EQ(f.window->windowTitle(), "Тембрикс - " + db);
}

TEST(Startup, TheWorkFolderLosesOnlyTheSlotFolders) {
    TempDir work;
    for (const char* name : {"0/scratch.dat", "3/data.dat", "4/kept.dat", "notes/kept.txt"}) {
        work.Write(QString::fromLatin1(name), "x");
    }
    work.Write(QStringLiteral("kept.txt"), "x");
    MainWindowFixture f(IniWith(QString(), work.Path()));
    EXPECT_FALSE(FolderExists(work.File(QStringLiteral("0"))));
    EXPECT_FALSE(FolderExists(work.File(QStringLiteral("3"))));
    EXPECT_TRUE(FileExists(work.File(QStringLiteral("4/kept.dat"))));  // beyond the slots
    EXPECT_TRUE(FileExists(work.File(QStringLiteral("notes/kept.txt"))));
    EXPECT_TRUE(FileExists(work.File(QStringLiteral("kept.txt"))));
}

TEST(Startup, EveryWayOfClosingWritesTheIniFileAndEmptiesTheWorkFolder) {
    const struct {
        const char* way;
        std::function<void(TForm1&)> close;
    } ways[] = {
        {"frame", [](TForm1& w) { w.close(); }},
        {"menu", [](TForm1& w) { w.Action(QStringLiteral("N7"))->trigger(); }},
        {"button",
         [](TForm1& w) {
             for (QPushButton* button : w.findChildren<QPushButton*>()) {
                 if (button->text() == QStringLiteral("Выход")) {
                     button->click();
                 }
             }
         }},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way.way);
        TempDir work;
        MainWindowFixture f(IniWith(QString(), work.Path()));
        f.window->show();
        QSignalSpy closed(f.window.get(), &TForm1::closed);
        Settings& s = f.window->CurrentSettings();
        s.ffmpegPath = QStringLiteral("/x/ffmpeg-") + QString::fromLatin1(way.way);
        s.threads = 3;
        s.copyToWorkDir = false;
        work.Write(QStringLiteral("1/left.dat"), "x");
        way.close(*f.window);
        EXPECT_EQ(closed.size(), 1);
        EXPECT_FALSE(f.window->isVisible());
        const Settings written = f.IniSettings();
        EXPECT_EQ(written.ffmpegPath, s.ffmpegPath);
        EXPECT_EQ(written.workDir, work.Path());
        EXPECT_EQ(written.threads, 3);
        EXPECT_FALSE(written.copyToWorkDir);
        EXPECT_FALSE(FolderExists(work.File(QStringLiteral("1"))));
    }
}

TEST(Startup, ClosingHidesTheReportWindowAndUnloadsTheHelpClip) {
    MainWindowFixture f;
    f.window->show();
    f.window->ReportWindow()->show();
    f.window->close();
    EXPECT_FALSE(f.window->ReportWindow()->isVisible());
    EXPECT_TRUE(f.window->VideoPanel()->IsCoverShown());
}

TEST(Startup, TheStyleSheetIsBuiltIn) {
    TempDir emptyProgramDir;
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    ASSERT_NE(app, nullptr);
    const QString before = app->styleSheet();
    EXPECT_TRUE(ApplyProgramStyle(*app, emptyProgramDir.Path()));
    EXPECT_TRUE(app->styleSheet().contains(QStringLiteral("QPushButton")));
    // One beside the program wins.
    emptyProgramDir.Write(StyleSheetName(), "QWidget { color: #123456; }");
    EXPECT_TRUE(ApplyProgramStyle(*app, emptyProgramDir.Path()));
    EXPECT_EQ(app->styleSheet(), "QWidget { color: #123456; }");
    app->setStyleSheet(before);
}

}  // namespace
}  // namespace tembrix::test
