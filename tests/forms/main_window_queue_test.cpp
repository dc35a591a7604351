// The main window's queue commands through the grid: adding files and folders, the grid's columns, the
// deletions with their confirmations, saving and opening lists; and the menus and their shortcuts.

#include <gtest/gtest.h>

#include <QAction>
#include <QSignalSpy>
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
    QStringList MakeFiles(const QStringList& names, int bytes = 10) {
        QStringList paths;
        for (const QString& name : names) {
            paths.append(media.Write(name, QByteArray(bytes, 'x')));
        }
        return paths;
    }
    QStringList Column(int column) const {
        QStringList cells;
        for (int row = 0; row < f.window->Model()->rowCount(); ++row) {
            cells.append(f.window->Model()->CellText(row, column));
        }
        return cells;
    }
    QStringList Names() const { return Column(QueueModel::kName); }
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

TEST_F(QueueCommands, AddFilesKeepsMediaOnceAndShowsEveryColumn) {
    const QueueModel* model = f.window->Model();
    QStringList headers;
    for (int column = 0; column < model->columnCount(); ++column) {
        headers.append(model->headerData(column, Qt::Horizontal).toString());
    }
    EXPECT_EQ(headers,
              QStringList({"", "Статус", "Путь к файлу", "Имя файла", "Тип", "Размер", "Дата создания"}));
    EXPECT_EQ(Column(0), QStringList({""}));  // an empty queue shows one empty row

    const QStringList paths = MakeFiles({"Song.mp3", "Loud.MP3", "notes.txt", "Clip.mkv"}, 1234);
    f.messages.fileLists.push_back(paths + QStringList{paths[0]});
    f.window->AddFilesExecute();
    f.window->AddFilesExecute();  // cancelled: nothing
    EXPECT_EQ(f.messages.chooserTitles, QStringList(2, "Выбрать файлы"));
    EXPECT_EQ(Column(QueueModel::kNumber), QStringList({"1", "2"}));
    EXPECT_EQ(Column(QueueModel::kPath), QStringList({paths[0], paths[3]}));
    EXPECT_EQ(Names(), QStringList({"Song", "Clip"}));
    EXPECT_EQ(Column(QueueModel::kType), QStringList({"аудио", "видео"}));
    EXPECT_EQ(Column(QueueModel::kSize), QStringList({"1234", "1234"}));
    EXPECT_EQ(Column(QueueModel::kStatus), QStringList({"", ""}));
    EXPECT_EQ(Column(QueueModel::kCreated)[0], f.window->Queue().At(0).created);
    EXPECT_FALSE(f.window->Queue().At(0).created.isEmpty());
}

TEST_F(QueueCommands, AddDirectoryTakesTheTreeInSlicesWhileTheEventLoopRuns) {
    MakeFiles({"a.wav", "b.txt", "sub/c.ogg", "sub/deeper/d.mp4"});
    for (int n = 0; n < 6000; ++n) {
        media.Write(QStringLiteral("big/%1/track%2.flac").arg(n % 20).arg(n), QByteArray());
    }
    f.messages.choices = {media.Path(), QString()};
    QSignalSpy added(f.window.get(), &TForm1::directoryAdded);
    int turnsWhileCollecting = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout,
                     [&] { turnsWhileCollecting += f.window->IsCollecting() ? 1 : 0; });
    ticker.start(0);
    f.window->AddDirectoryExecute();
    EXPECT_TRUE(f.window->IsCollecting());
    ASSERT_TRUE(added.wait(60000));
    EXPECT_FALSE(f.window->IsCollecting());
    EXPECT_GT(turnsWhileCollecting, 0);  // the event loop was not held up
    EXPECT_EQ(f.window->Model()->rowCount(), 6003);
    EXPECT_EQ(f.messages.chooserTitles, QStringList({"Выбор каталога с аудио и видео файлами"}));
    f.window->AddDirectoryExecute();  // cancelled
    EXPECT_FALSE(f.window->IsCollecting());
    EXPECT_EQ(f.window->Queue().Count(), 6003);
}

TEST_F(QueueCommands, DeletionsAskFirstAndKeepTheSelection) {
    f.window->DeleteFileFromListExecute();  // empty: nothing
    Fill(4);
    f.window->SelectIndex(1);
    f.window->DeleteFileFromListExecute();
    EXPECT_EQ(Names(), QStringList({"f1", "f3", "f4"}));
    EXPECT_EQ(f.window->SelectedIndex(), 1);

    const struct {
        const char* action;
        int selected;
        bool answer;
        QStringList left;
        int selectedAfter;
    } cases[] = {
        {"N50", 1, false, {"f1", "f2", "f3", "f4"}, 1},
        {"N50", 1, true, {"f1", "f2"}, 1},
        {"N50", 3, true, {"f1", "f2", "f3", "f4"}, 3},  // the last row: nothing after it
        {"N51", 2, true, {"f3", "f4"}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(
            QStringLiteral("%1 on %2, answer %3").arg(c.action).arg(c.selected).arg(c.answer).toStdString());
        Fill(4);
        f.window->SelectIndex(c.selected);
        f.messages.asked.clear();
        f.messages.answers.push_back(c.answer);
        f.window->Action(QString::fromLatin1(c.action))->trigger();
        EXPECT_EQ(
            f.messages.asked,
            QStringList({QStringLiteral("Требуется подтверждение | Вы точно хотите удалить все записи ") +
                         (c.action[2] == '0' ? "после" : "перед") + " выбранной?"}));
        EXPECT_EQ(Names(), c.left);
        EXPECT_EQ(f.window->SelectedIndex(), c.selectedAfter);
    }
}

TEST_F(QueueCommands, ListsAreSavedWithTheirExtensionAndOpenedAfresh) {
    Fill(3);
    f.window->Queue().SetStatus(kStatusDone, f.window->Queue().At(0).path);
    const QString bare = media.File(QStringLiteral("mine")), named = media.File(QStringLiteral("other.list"));
    f.messages.choices = {bare, named};
    f.window->N31Click();
    f.window->N31Click();
    EXPECT_TRUE(FileExists(bare + QStringLiteral(".list")));
    EXPECT_TRUE(FileExists(named));
    EXPECT_FALSE(FileExists(named + QStringLiteral(".list")));

    Fill(1);
    const QString missing = media.File(QStringLiteral("missing.list"));
    f.messages.choices = {bare + QStringLiteral(".list"), QString(), missing};
    f.window->N32Click();
    EXPECT_EQ(Names(), QStringList({"f1", "f2", "f3"}));
    EXPECT_EQ(Column(QueueModel::kStatus), QStringList({"", "", ""}));  // statuses start empty
    f.window->N32Click();                                               // cancelled
    f.window->N32Click();  // unreadable: says so and keeps the queue
    EXPECT_EQ(f.window->Queue().Count(), 3);
    EXPECT_EQ(f.messages.shown, QStringList({"Не удалось открыть список: " + missing}));
    EXPECT_EQ(
        f.messages.chooserTitles.filter(QStringLiteral("список")),
        QStringList({"Сохранить список с файлами", "Сохранить список с файлами", "Открыть список с файлами",
                     "Открыть список с файлами", "Открыть список с файлами"}));
}

TEST_F(QueueCommands, ARefreshKeepsTheSelectionAndShowsNewStatuses) {
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

TEST(MainWindowMenus, EveryItemHasItsCaptionAndShortcutAndTheKeysWork) {
    MainWindowFixture f;
    // name|caption|shortcut, one item after another.
    const QString items = QStringLiteral(
        "N2|Новый список|Ctrl+N;N32|Открыть список|Ctrl+O;N31|Сохранить список|Ctrl+S;"
        "N3|Добавить файлы|Ctrl+F;N4|Добавить файлы из каталога|Ctrl+D;N5|Удалить файл|Ctrl+Del;"
        "N7|Выход|;N47|Перезапуск|Ctrl+R;N49|Вокалис|;N18|Изменить параметры|Ctrl+P;"
        "N9|Создать новую базу данных|Ctrl+Alt+C;N11|Очистить содержимое базы данных|Alt+Backspace;"
        "N42|Сжать базу данных|Ctrl+Alt+M;N14|Переключиться на другую базу данных|Ctrl+Alt+D;"
        "N16|Просмотр базы данных|Ctrl+Alt+V;N39|Проверка базы данных|Ctrl+Alt+E;"
        "N41|Импорт информации из другой базы данных|Ctrl+Alt+I;"
        "N44|Информация о базе данных|Ctrl+Alt+A;N20|Старт|F5;N21|Стоп|F6;N27|Справка|F1;"
        "N28|О программе|Ctrl+F1;N52|Сообщить об ошибке в программе|;N53|Добавить отзыв о программе|;"
        "N54|Написать разработчикам программы|;N55|Отправить сообщение через сайт|;"
        "N45|Добавить файлы|;N46|Добавить каталог|;N48|Новый список|;N43|Удалить файл из списка|;"
        "N51|Удалить все файлы перед выбранным|;N50|Удалить все файлы после выбранного|");
    for (const QString& item : items.split(u';')) {
        const QStringList parts = item.split(u'|');
        const QAction* action = f.window->Action(parts[0]);
        ASSERT_NE(action, nullptr) << parts[0].toStdString();
        EXPECT_EQ(action->text(), parts[1]);
        EXPECT_EQ(action->shortcut(), QKeySequence(parts[2], QKeySequence::PortableText))
            << parts[0].toStdString();
    }

    f.window->show();
    QApplication::setActiveWindow(f.window.get());
    ASSERT_TRUE(QTest::qWaitForWindowActive(f.window.get()));
    QTest::keyClick(f.window.get(), Qt::Key_F5);  // Start without a work folder
    EXPECT_EQ(f.messages.shown, QStringList({"Выберите рабочий каталог!"}));
    QTest::keyClick(f.window.get(), Qt::Key_P, Qt::ControlModifier);
    ASSERT_EQ(f.modals.size(), 2u);
    EXPECT_EQ(f.modals[1].className, "tembrix::TForm2");
}

}  // namespace
}  // namespace tembrix::test
