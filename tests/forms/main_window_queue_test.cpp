// The main window's queue commands through the grid: adding files and folders, the grid's columns, the
// deletions with their confirmations, saving and opening lists; and the menus, shortcuts and pop-up.

#include <gtest/gtest.h>

#include <QAction>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include "app/indexing_queue.h"
#include "forms/queue_model.h"
#include "main_window_fixture.h"
#include "util/file_utils.h"

namespace tembrix::test {
namespace {

class QueueCommands : public ::testing::Test {
protected:
    // Files media/<name> with `bytes` bytes each.
    QStringList MakeFiles(const QStringList& names, int bytes = 10) {
        QStringList paths;
        for (const QString& name : names) {
            paths.append(media.Write(name, QByteArray(bytes, 'x')));
        }
        return paths;
    }
    // The grid's column `column` for every row.
    QStringList Column(int column) const {
        QStringList cells;
        const QueueModel* model = f.window->Model();
        for (int row = 0; row < model->rowCount(); ++row) {
            cells.append(model->data(model->index(row, column)).toString());
        }
        return cells;
    }
    QStringList Names() const { return Column(QueueModel::kName); }
    void Fill(int count) {
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

TEST_F(QueueCommands, AnEmptyQueueShowsOneEmptyRowUnderTheHeaders) {
    const QueueModel* model = f.window->Model();
    ASSERT_EQ(model->columnCount(), 7);
    QStringList headers;
    for (int column = 0; column < 7; ++column) {
        headers.append(model->headerData(column, Qt::Horizontal).toString());
    }
    EXPECT_EQ(headers,
              QStringList({"", "Статус", "Путь к файлу", "Имя файла", "Тип", "Размер", "Дата создания"}));
    ASSERT_EQ(model->rowCount(), 1);
    for (int column = 0; column < 7; ++column) {
        EXPECT_EQ(model->CellText(0, column), "");
    }
}

TEST_F(QueueCommands, AddFilesKeepsMediaOnceAndShowsEveryColumn) {
    const QStringList paths = MakeFiles({"Song.mp3", "Loud.MP3", "notes.txt", "Clip.mkv"}, 1234);
    f.messages.fileLists.push_back(paths + QStringList{paths[0]});
    f.window->AddFilesExecute();
    EXPECT_EQ(f.messages.chooserTitles, QStringList({"Выбрать файлы"}));
    EXPECT_EQ(Column(QueueModel::kNumber), QStringList({"1", "2"}));
    EXPECT_EQ(Column(QueueModel::kPath), QStringList({paths[0], paths[3]}));
    EXPECT_EQ(Names(), QStringList({"Song", "Clip"}));
    EXPECT_EQ(Column(QueueModel::kType), QStringList({"аудио", "видео"}));
    EXPECT_EQ(Column(QueueModel::kSize), QStringList({"1234", "1234"}));
    EXPECT_EQ(Column(QueueModel::kStatus), QStringList({"", ""}));
    EXPECT_EQ(Column(QueueModel::kCreated)[0], f.window->Queue().At(0).created);
    EXPECT_FALSE(f.window->Queue().At(0).created.isEmpty());

    // A cancelled chooser adds nothing.
    f.window->AddFilesExecute();
    EXPECT_EQ(f.window->Queue().Count(), 2);
}

TEST_F(QueueCommands, AddDirectoryTakesTheWholeTreeWithoutBlocking) {
    MakeFiles({"a.wav", "b.txt", "sub/c.ogg", "sub/deeper/d.mp4", "sub/deeper/e.MP4"});
    f.messages.choices.push_back(media.Path());
    QSignalSpy added(f.window.get(), &TForm1::directoryAdded);
    f.window->AddDirectoryExecute();
    EXPECT_EQ(f.messages.chooserTitles, QStringList({"Выбор каталога с аудио и видео файлами"}));
    ASSERT_TRUE(added.wait(10000));
    EXPECT_FALSE(f.window->IsCollecting());
    QStringList names = Names();
    names.sort();
    EXPECT_EQ(names, QStringList({"a", "c", "d"}));

    // Cancelled: only a refresh.
    f.window->AddDirectoryExecute();
    EXPECT_FALSE(f.window->IsCollecting());
    EXPECT_EQ(f.window->Queue().Count(), 3);
}

TEST_F(QueueCommands, ALargeFolderIsAddedInSlicesWhileTheEventLoopRuns) {
    constexpr int kFiles = 6000;
    for (int n = 0; n < kFiles; ++n) {
        media.Write(QStringLiteral("big/%1/track%2.flac").arg(n % 20).arg(n), QByteArray());
    }
    QSignalSpy added(f.window.get(), &TForm1::directoryAdded);
    int turnsWhileCollecting = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout,
                     [&] { turnsWhileCollecting += f.window->IsCollecting() ? 1 : 0; });
    ticker.start(0);
    f.window->AddDirectory(media.File(QStringLiteral("big")));
    EXPECT_TRUE(f.window->IsCollecting());
    ASSERT_TRUE(added.wait(60000));
    ticker.stop();
    EXPECT_EQ(f.window->Queue().Count(), kFiles);
    EXPECT_EQ(f.window->Model()->rowCount(), kFiles);
    EXPECT_GT(turnsWhileCollecting, 0);  // the event loop was not held up while the files were found
}

TEST_F(QueueCommands, NewListEmptiesTheQueue) {
    Fill(3);
    f.window->ClearListExecute();
    EXPECT_EQ(f.window->Queue().Count(), 0);
    EXPECT_EQ(f.window->Model()->rowCount(), 1);
}

TEST_F(QueueCommands, DeleteFileRemovesTheSelectedRow) {
    f.window->DeleteFileFromListExecute();  // empty: nothing
    EXPECT_EQ(f.window->Queue().Count(), 0);
    Fill(4);
    f.window->SelectIndex(1);
    f.window->DeleteFileFromListExecute();
    EXPECT_EQ(Names(), QStringList({"f1", "f3", "f4"}));
    f.window->SelectIndex(2);
    f.window->DeleteFileFromListExecute();
    EXPECT_EQ(Names(), QStringList({"f1", "f3"}));
    EXPECT_EQ(f.window->SelectedIndex(), 1);  // the selection stays on the grid
}

TEST_F(QueueCommands, DeletionsBeforeAndAfterAskFirst) {
    const struct {
        const char* action;
        int selected;
        bool answer;
        QStringList left;
        int selectedAfter;
    } cases[] = {
        {"N50", 1, false, {"f1", "f2", "f3", "f4"}, 1}, {"N50", 1, true, {"f1", "f2"}, 1},
        {"N50", 3, true, {"f1", "f2", "f3", "f4"}, 3},  // the last row: nothing after it
        {"N51", 2, false, {"f1", "f2", "f3", "f4"}, 2}, {"N51", 2, true, {"f3", "f4"}, 0},
        {"N51", 0, true, {"f1", "f2", "f3", "f4"}, 0},  // the first row: nothing before it
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(
            QStringLiteral("%1 on %2, answer %3").arg(c.action).arg(c.selected).arg(c.answer).toStdString());
        f.window->ClearListExecute();
        f.messages.asked.clear();
        Fill(4);
        f.window->SelectIndex(c.selected);
        f.messages.answers.push_back(c.answer);
        f.window->Action(QString::fromLatin1(c.action))->trigger();
        const QString question = QString::fromLatin1(c.action) == "N50"
                                     ? QStringLiteral("Вы точно хотите удалить все записи после выбранной?")
                                     : QStringLiteral("Вы точно хотите удалить все записи перед выбранной?");
        EXPECT_EQ(f.messages.asked, QStringList({QStringLiteral("Требуется подтверждение | ") + question}));
        EXPECT_EQ(Names(), c.left);
        EXPECT_EQ(f.window->SelectedIndex(), c.selectedAfter);
    }
}

TEST_F(QueueCommands, ListsAreSavedWithTheirExtensionAndOpenedAfresh) {
    Fill(3);
    f.window->Queue().SetStatus(kStatusDone, f.window->Queue().At(0).path);
    const QString bare = media.File(QStringLiteral("mine"));
    f.messages.choices.push_back(bare);
    f.window->N31Click();
    EXPECT_TRUE(FileExists(bare + QStringLiteral(".list")));
    const QString named = media.File(QStringLiteral("other.list"));
    f.messages.choices.push_back(named);
    f.window->N31Click();
    EXPECT_TRUE(FileExists(named));
    EXPECT_FALSE(FileExists(named + QStringLiteral(".list")));

    f.window->ClearListExecute();
    Fill(1);
    f.messages.choices.push_back(bare + QStringLiteral(".list"));
    f.window->N32Click();
    EXPECT_EQ(Names(), QStringList({"f1", "f2", "f3"}));
    EXPECT_EQ(Column(QueueModel::kStatus), QStringList({"", "", ""}));  // statuses start empty
    EXPECT_EQ(f.messages.chooserTitles.filter(QStringLiteral("список")),
              QStringList(
                  {"Сохранить список с файлами", "Сохранить список с файлами", "Открыть список с файлами"}));

    // A cancelled chooser changes nothing; an unreadable list says so and keeps the queue.
    f.window->N32Click();
    EXPECT_EQ(f.window->Queue().Count(), 3);
    f.messages.choices.push_back(media.File(QStringLiteral("missing.list")));
    f.window->N32Click();
    EXPECT_EQ(f.window->Queue().Count(), 3);
    EXPECT_EQ(f.messages.shown.last(),
              "Не удалось открыть список: " + media.File(QStringLiteral("missing.list")));
}

TEST_F(QueueCommands, ARefreshKeepsTheSelectionWhenFilesAreAppended) {
    Fill(5);
    f.window->SelectIndex(3);
    f.messages.fileLists.push_back(MakeFiles({"g1.wav", "g2.wav"}));
    f.window->AddFilesExecute();
    EXPECT_EQ(f.window->SelectedIndex(), 3);
    f.window->Queue().SetStatus(kStatusInWork, f.window->Queue().At(4).path);
    f.window->UpdateListExecute();
    EXPECT_EQ(f.window->Model()->CellText(4, QueueModel::kStatus), "в обработке");
    EXPECT_EQ(f.window->SelectedIndex(), 3);
}

TEST_F(QueueCommands, DoubleClickOnTheGridDoesNothing) {
    Fill(2);
    f.window->show();
    QTableView* grid = f.window->Grid();
    const QRect cell = grid->visualRect(f.window->Model()->index(1, 2));
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell.center());
    EXPECT_EQ(f.window->Queue().Count(), 2);
    EXPECT_TRUE(f.modals.empty());
    EXPECT_TRUE(f.messages.shown.isEmpty());
}

TEST(MainWindowMenus, EveryItemHasItsCaptionAndShortcut) {
    MainWindowFixture f;
    const struct {
        const char* name;
        const char* caption;
        QKeySequence shortcut;
    } items[] = {
        {"N2", "Новый список", QKeySequence(Qt::CTRL | Qt::Key_N)},
        {"N32", "Открыть список", QKeySequence(Qt::CTRL | Qt::Key_O)},
        {"N31", "Сохранить список", QKeySequence(Qt::CTRL | Qt::Key_S)},
        {"N3", "Добавить файлы", QKeySequence(Qt::CTRL | Qt::Key_F)},
        {"N4", "Добавить файлы из каталога", QKeySequence(Qt::CTRL | Qt::Key_D)},
        {"N5", "Удалить файл", QKeySequence(Qt::CTRL | Qt::Key_Delete)},
        {"N7", "Выход", QKeySequence()},
        {"N47", "Перезапуск", QKeySequence(Qt::CTRL | Qt::Key_R)},
        {"N49", "Вокалис", QKeySequence()},
        {"N18", "Изменить параметры", QKeySequence(Qt::CTRL | Qt::Key_P)},
        {"N9", "Создать новую базу данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C)},
        {"N11", "Очистить содержимое базы данных", QKeySequence(Qt::ALT | Qt::Key_Backspace)},
        {"N42", "Сжать базу данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_M)},
        {"N14", "Переключиться на другую базу данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_D)},
        {"N16", "Просмотр базы данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_V)},
        {"N39", "Проверка базы данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_E)},
        {"N41", "Импорт информации из другой базы данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_I)},
        {"N44", "Информация о базе данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_A)},
        {"N20", "Старт", QKeySequence(Qt::Key_F5)},
        {"N21", "Стоп", QKeySequence(Qt::Key_F6)},
        {"N27", "Справка", QKeySequence(Qt::Key_F1)},
        {"N28", "О программе", QKeySequence(Qt::CTRL | Qt::Key_F1)},
        {"N52", "Сообщить об ошибке в программе", QKeySequence()},
        {"N53", "Добавить отзыв о программе", QKeySequence()},
        {"N54", "Написать разработчикам программы", QKeySequence()},
        {"N55", "Отправить сообщение через сайт", QKeySequence()},
        {"N45", "Добавить файлы", QKeySequence()},
        {"N46", "Добавить каталог", QKeySequence()},
        {"N48", "Новый список", QKeySequence()},
        {"N43", "Удалить файл из списка", QKeySequence()},
        {"N51", "Удалить все файлы перед выбранным", QKeySequence()},
        {"N50", "Удалить все файлы после выбранного", QKeySequence()},
    };
    for (const auto& item : items) {
        QAction* action = f.window->Action(QString::fromLatin1(item.name));
        ASSERT_NE(action, nullptr) << item.name;
        EXPECT_EQ(action->text(), QString::fromUtf8(item.caption)) << item.name;
        EXPECT_EQ(action->shortcut(), item.shortcut) << item.name;
    }
}

TEST(MainWindowMenus, ShortcutsReachTheirCommands) {
    MainWindowFixture f;
    f.window->show();
    QApplication::setActiveWindow(f.window.get());
    ASSERT_TRUE(QTest::qWaitForWindowActive(f.window.get()));
    QTest::keyClick(f.window.get(), Qt::Key_F5);  // Start: no work folder
    EXPECT_EQ(f.messages.shown, QStringList({"Выберите рабочий каталог!"}));
    QTest::keyClick(f.window.get(), Qt::Key_P, Qt::ControlModifier);
    ASSERT_EQ(f.modals.size(), 2u);
    EXPECT_EQ(f.modals[1].className, "tembrix::TForm2");
}

}  // namespace
}  // namespace tembrix::test
