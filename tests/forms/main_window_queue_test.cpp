// The main window's queue commands through the grid, and its keyboard shortcuts.

#include <gtest/gtest.h>

#include <QAction>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include "app/indexing_queue.h"
#include "forms/queue_model.h"
#include "util/file_utils.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

class QueueCommands : public ::testing::Test {
protected:
    QStringList MakeFiles(const QStringList& names, int bytes = 10) {
        QStringList paths;
        for (const QString& name : names) {
            paths.append(media.Write(name, QByteArray(bytes, 'x')));
        }
        return paths;
    }
    QStringList Names() const {
        QStringList names;
        for (int row = 0; row < f.window->Model()->rowCount(); ++row) {
            names.append(f.window->Model()->CellText(row, QueueModel::kName));
        }
        return names;
    }
    void Fill(int count) {  // f1.mp3 … f<count>.mp3
        f.window->ClearListExecute();
        QStringList names;
        for (int n = 1; n <= count; ++n) {
            names.append(QStringLiteral("f%1.mp3").arg(n));
        }
        f.messages.fileLists.push_back(MakeFiles(names));
        f.window->AddFilesExecute();
    }

    MainWindowFixture f;
    TempDir media;
};

// Catches a file added twice, cells showing the wrong field and a refresh that moves the selection.
TEST_F(QueueCommands, AddFilesKeepsMediaOnceShowsEveryColumnAndKeepsTheSelection) {
    EXPECT_EQ(Names(), QStringList({""}));  // an empty queue shows one empty row
    const QStringList paths = MakeFiles({"Song.mp3", "Loud.MP3", "notes.txt", "Clip.mkv"}, 1234);
    f.messages.fileLists.push_back(paths + QStringList{paths[0]});
    f.window->AddFilesExecute();
    f.window->AddFilesExecute();  // cancelled: nothing
    QStringList row;
    for (int column = 0; column < QueueModel::kColumnCount; ++column) {
        row.append(f.window->Model()->CellText(1, column));
    }
    EXPECT_EQ(row,
              QStringList({"2", "", paths[3], "Clip", "видео", "1234", f.window->Queue().At(1).created}));
    EXPECT_EQ(Names(), QStringList({"Song", "Clip"}));

    f.window->SelectIndex(1);
    f.messages.fileLists.push_back(MakeFiles({"g1.wav", "g2.wav"}));
    f.window->AddFilesExecute();
    f.window->Queue().SetStatus(kStatusInWork, f.window->Queue().At(3).path);
    f.window->UpdateListExecute();
    EXPECT_EQ(f.window->Model()->CellText(3, QueueModel::kStatus), "в обработке");
    EXPECT_EQ(f.window->SelectedIndex(), 1);
}

// Catches the event loop held up while a folder is read, and files lost or added twice.
TEST_F(QueueCommands, AddDirectoryTakesTheTreeWhileTheEventLoopRuns) {
    MakeFiles({"a.wav", "b.txt", "sub/c.ogg", "sub/deeper/d.mp4"});
    for (int n = 0; n < 200; ++n) {
        media.Write(QStringLiteral("big/%1/track%2.flac").arg(n % 10).arg(n), QByteArray());
    }
    f.messages.choices = {media.Path()};
    QSignalSpy added(f.window.get(), &TForm1::directoryAdded);
    int turnsWhileCollecting = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout,
                     [&] { turnsWhileCollecting += f.window->IsCollecting() ? 1 : 0; });
    ticker.start(0);
    f.window->AddDirectoryExecute();
    ASSERT_TRUE(added.wait(60000));
    EXPECT_FALSE(f.window->IsCollecting());
    EXPECT_GT(turnsWhileCollecting, 0);
    EXPECT_EQ(f.window->Model()->rowCount(), 203);
}

// Catches a deletion without its question, deleting on "no", a selection that jumps, and a Delete key
// in the grid that does not delete.
TEST_F(QueueCommands, DeletionsAskFirstAndKeepTheSelection) {
    f.window->DeleteFileFromListExecute();  // empty: nothing
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
        Fill(4);
        f.window->SelectIndex(c.selected);
        f.messages.asked.clear();
        f.messages.answers = {c.answer};
        if (QLatin1String(c.action) == QLatin1String("Delete")) {
            QTest::keyClick(f.window->Grid(), Qt::Key_Delete);
        } else {
            f.window->Action(QString::fromLatin1(c.action))->trigger();
        }
        const QString question =
            QStringLiteral("Требуется подтверждение | Вы точно хотите удалить все записи %1 выбранной?");
        EXPECT_EQ(f.messages.asked,
                  *c.question ? QStringList{question.arg(QString::fromUtf8(c.question))} : QStringList());
        EXPECT_EQ(Names(), c.left);
        EXPECT_EQ(f.window->SelectedIndex(), c.selectedAfter);
    }
}

// Catches a list saved without its extension or with it twice, a failure kept quiet, a bad list kept.
TEST_F(QueueCommands, ListsAreSavedWithTheirExtensionAndOpenedAfresh) {
    Fill(3);
    const QString bare = media.File(QStringLiteral("mine")), named = media.File(QStringLiteral("other.list"));
    const QString unwritable = media.Write(QStringLiteral("plain"), "x") + QStringLiteral("/x.list");
    f.messages.choices = {bare, named, unwritable};
    for (int n = 0; n < 3; ++n) {
        f.window->N31Click();
    }
    EXPECT_TRUE(FileExists(bare + QStringLiteral(".list")) && FileExists(named));
    EXPECT_FALSE(FileExists(named + QStringLiteral(".list")));

    Fill(1);
    const QString missing = media.File(QStringLiteral("missing.list"));
    f.messages.choices = {bare + QStringLiteral(".list"), QString(), missing};
    for (int n = 0; n < 3; ++n) {  // the list, cancelled, a missing list
        f.window->N32Click();
    }
    EXPECT_EQ(Names(), QStringList({"f1", "f2", "f3"}));
    EXPECT_EQ(f.messages.shown, QStringList({"Не удалось сохранить список: " + unwritable,
                                             "Не удалось открыть список: " + missing}));
}

// Catches a shortcut lost or given to another command, and a second browser made for Ctrl+Alt+V.
TEST(MainWindowMenus, ShortcutsReachTheirCommands) {
    MainWindowFixture f;
    const struct {
        QKeyCombination key;
        QStringList outcome;  // choosers, then messages, then modal windows
    } keys[] = {
        {Qt::CTRL | Qt::Key_F, {"Выбрать файлы"}},
        {Qt::CTRL | Qt::Key_S, {"Сохранить список с файлами"}},
        {Qt::CTRL | Qt::Key_P, {"tembrix::TForm2"}},
        {Qt::ALT | Qt::Key_Backspace, {"База данных не подключена!"}},
        {Qt::CTRL | Qt::ALT | Qt::Key_D, {"Открыть базу данных"}},
        {Qt::CTRL | Qt::ALT | Qt::Key_I, {"tembrix::TForm8"}},
        {Qt::Key_F5, {"Выберите рабочий каталог!", "tembrix::TForm2"}},
        {Qt::CTRL | Qt::Key_F1, {"tembrix::TAboutBox"}},
    };
    f.window->show();
    QApplication::setActiveWindow(f.window.get());
    ASSERT_TRUE(QTest::qWaitForWindowActive(f.window.get()));
    for (const auto& k : keys) {
        const qsizetype choosers = f.messages.chooserTitles.size(), shown = f.messages.shown.size();
        const size_t modals = f.modals.size();
        QTest::keyClick(f.window.get(), k.key.key(), k.key.keyboardModifiers());
        QStringList outcome = f.messages.chooserTitles.mid(choosers) + f.messages.shown.mid(shown);
        for (size_t m = modals; m < f.modals.size(); ++m) {
            outcome.append(f.modals[m].className);
        }
        EXPECT_EQ(outcome, k.outcome) << QKeySequence(k.key).toString().toStdString();
    }
    QTest::keyClick(f.window.get(), Qt::Key_V, Qt::ControlModifier | Qt::AltModifier);
    QWidget* browser = f.window->BrowserWindow();
    ASSERT_TRUE(browser != nullptr && browser->isVisible());
    f.window->N16Click();
    EXPECT_EQ(f.window->BrowserWindow(), browser);
}

}  // namespace
}  // namespace tembrix::test
