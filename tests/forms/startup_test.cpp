// Start-up and closing of the main window: log, start-up tick, work folder, INI file; Qt texts and style.

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>

#include "forms/application.h"
#include "forms/help_video_panel.h"
#include "forms/report_window.h"
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

// Catches a missing log step, a log that grows across runs and a start-up tick that repeats.
TEST(Startup, LogsEachStepAndTheStartTickRunsOnce) {
    MainWindowFixture f;
    const QStringList init = {"Read Ini file", "Prepare dialogs", "Init completed"};
    EXPECT_EQ(f.LogMessages(), init);
    QSignalSpy fired(f.window->Timer1(), &QTimer::timeout);
    ASSERT_TRUE(fired.wait(10000));
    EXPECT_FALSE(f.window->Timer1()->isActive());
    EXPECT_EQ(f.LogMessages(), init + QStringList{"Load info images"});
    f.MakeWindow();
    EXPECT_EQ(f.LogMessages(), init);
}

// Catches a database connected before the tick, a gone one kept (or created) and threads not clamped.
TEST(Startup, TheStartTickConnectsAnExistingDatabaseAndForgetsAGoneOne) {
    TempDir other;
    const QString db = MakeDatabase(other, QStringLiteral("index"), 0),
                  gone = other.File(QStringLiteral("gone.db"));
    for (const QString& path : {db, gone}) {
        MainWindowFixture f(IniWith(path));
        EXPECT_EQ(f.window->CurrentSettings().threads, MainWindowFixture::kSlots);
        EXPECT_EQ(f.window->CurrentSettings().dbPath, path);
        EXPECT_FALSE(f.store.IsConnected());
        f.window->Timer1Timer();
        EXPECT_EQ(f.store.IsConnected(), path == db);
        EXPECT_EQ(f.window->CurrentSettings().dbPath, path == db ? db : QString());
        EXPECT_TRUE(f.messages.shown.isEmpty());
    }
    EXPECT_FALSE(FileExists(gone));
}

// Catches a way of closing that loses the settings, leaves scratch folders or keeps other windows open.
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
        work.Write(QStringLiteral("0/scratch.dat"), "x");
        MainWindowFixture f(IniWith(QString(), work.Path()));
        EXPECT_FALSE(FolderExists(work.File(QStringLiteral("0"))));  // emptied at start
        f.window->show();
        f.window->ReportWindow()->show();
        QSignalSpy closed(f.window.get(), &TForm1::closed);
        f.window->CurrentSettings().threads = 3;
        work.Write(QStringLiteral("1/left.dat"), "x");
        way.close(*f.window);
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

// Catches Qt's own buttons and dialogs left in English, and a program without its built-in look or one
// that ignores the style sheet beside it.
TEST(Startup, QtTextsAreRussianAndTheStyleSheetIsBuiltInUnlessOneLiesBesideTheProgram) {
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    ASSERT_NE(app, nullptr);
    ASSERT_TRUE(LoadQtTranslations(*app));
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "&Yes"), "&Да");
    EXPECT_EQ(QCoreApplication::translate("QFileDialog", "Look in:"), "Перейти к:");
    TempDir programDir;
    const QString before = app->styleSheet();
    EXPECT_TRUE(ApplyProgramStyle(*app, programDir.Path()));
    EXPECT_TRUE(app->styleSheet().contains(QStringLiteral("QPushButton")));
    programDir.Write(StyleSheetName(), "QWidget { color: #123456; }");
    EXPECT_TRUE(ApplyProgramStyle(*app, programDir.Path()));
    EXPECT_EQ(app->styleSheet(), "QWidget { color: #123456; }");
    app->setStyleSheet(before);
}

}  // namespace
}  // namespace tembrix::test
