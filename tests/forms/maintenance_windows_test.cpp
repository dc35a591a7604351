// The database browser, and the check and import windows over their real workers.

#include <gtest/gtest.h>

#include <QApplication>
#include <QChartView>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QLineSeries>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QRadioButton>
#include <QSlider>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

#include "database/check_database.h"
#include "database/failing_vfs.h"
#include "database/import_database.h"
#include "database/import_source.h"
#include "database/record_text.h"
#include "forms/browser_window.h"
#include "forms/check_window.h"
#include "forms/import_window.h"
#include "forms/message_list.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// Catches the last or unsigned values drawn, a window wider than asked, and a start before 0 or past the end.
TEST(BrowserTest, EnvelopeWindowDrawsSignedValuesAndLeavesOutTheLast) {
    const uint16_t v[] = {1000, 40000, 5, 7};
    const struct {
        int start, width;
        QList<QPointF> points;
    } cases[] = {
        {0, 1000, {{0, 1000}, {1, -25536}, {2, 5}}},
        {1, 1000, {{1, -25536}, {2, 5}}},
        {0, 102, {{0, 1000}, {1, -25536}}},
        {-5, 101, {{0, 1000}}},
        {0, 100, {}},
        {3, 1000, {}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(EnvelopeWindow(v, 4, c.start, c.width), c.points) << c.start << " " << c.width;
    }
}

// Catches the wrong record behind a line, a value cut at its own '=', the memo not filled, a graph deaf
// to the bar or the width, and a short envelope drawn over the graph before.
TEST(BrowserTest, ListRecordAndGraph) {
    TestDatabase db;
    TForm9 w(db.store);
    AddRecord(db.store, MakeRecord("a", "wav", 1000), 100000,
              [](int32_t k) { return uint16_t(k % 2 ? 4 : 1); });
    AddRecord(db.store, MakeRecord("b", "mp3", 61), 10);
    for (int track = 0; track < 2; ++track) {
        AddRecord(db.store, MakeRecord("concert", "mkv", 3600, track, 2));
    }
    IndexRecord song = MakeRecord("Песня=один", "mp3", 75, 0, 1, "Artist: Кто-то\nTitle: Что-то");
    ASSERT_EQ(AddRecord(db.store, song), 0);
    song.index_size = 8;
    w.show();
    QApplication::processEvents();
    EXPECT_EQ(w.Names(), QStringList({"a", "b", "concert [1]", "concert [2]", "Песня=один"}));
    EXPECT_EQ(w.TrackBar1()->maximum(), 100000 - 200);  // the first record is shown at once
    w.TrackBar1()->setValue(1234);
    w.resize(1600, 700);
    QApplication::processEvents();
    EXPECT_EQ(w.Series1()->count(), w.Chart1()->width() - 100);
    EXPECT_EQ(w.Series1()->at(0).x(), 1234);
    const QList<QPointF> before = w.Series1()->points();
    w.SelectRow(1);  // ten values: the graph stays as it was, the bar goes back to 0
    EXPECT_EQ(w.Series1()->points(), before);
    EXPECT_EQ(w.TrackBar1()->value(), 0);
    const auto details = [&w] {
        QStringList cells;
        for (int row = 0; row < w.ValueListEditor1()->rowCount(); ++row) {
            cells.append(w.ValueListEditor1()->item(row, 0)->text() + u'=' +
                         w.ValueListEditor1()->item(row, 1)->text());
        }
        return cells;
    };
    w.SelectRow(3);
    EXPECT_TRUE(details().contains(QStringLiteral("Номер аудио дорожки=2")));
    w.SelectRow(4);
    EXPECT_EQ(details(), RecordRows(song));
    EXPECT_EQ(w.Memo1()->toPlainText(), song.info);
}

// Ticks boxes 1-5 and starts; the worker's duplicates, empty fields, source files, index values and
// index sizes options.
std::array<bool, 5> StartWith(TForm7& w, std::array<bool, 5> boxes) {
    for (int n = 1; n <= 5; ++n) {
        w.CheckBox(n)->setChecked(boxes[n - 1]);
    }
    w.BitBtn1Click();
    const CheckDatabase* o = w.Worker();
    return o == nullptr ? std::array<bool, 5>{}
                        : std::array<bool, 5>{o->checkDuplicates, o->checkEmptyFields, o->checkSourceFiles,
                                              o->checkIndexValues, o->checkIndexSizes};
}

// Catches a box miswired, a second worker, closing while one runs, a Stop that leaves it running, a
// report that does not reach the memo, a wrong line count (or the count of the run before kept).
TEST(CheckWindowTest, RefusalsOptionsReportAndStop) {
    TestDatabase db;
    for (int i = 0; i < 3; ++i) {  // source files that do not exist: a line each
        ASSERT_EQ(AddRecord(db.store, MakeRecord(QStringLiteral("gone%1").arg(i), "mp3", 100)), 0);
    }
    TForm7 w(db.store);
    w.show();
    w.BitBtn2Click();
    EXPECT_EQ(StartWith(w, {false, true, true, false, true}),
              (std::array<bool, 5>{false, true, true, false, false}));
    w.BitBtn1Click();
    w.close();
    w.reject();
    EXPECT_TRUE(w.isVisible());
    ASSERT_TRUE(QTest::qWaitFor([&w] { return !w.CheckRunning(); }, 10000));
    const QString wait = QStringLiteral("Дождитесь окончания проверки или остановите её!");
    EXPECT_EQ(db.messages.shown, QStringList({"Проверка ещё не запущена!", "Проверка уже начата!", wait, wait,
                                              "Проверка закончена!"}));
    EXPECT_EQ(w.ProgressBar1()->value(), 100);
    const QStringList lines = w.Memo1()->Text().split(u'\n');
    EXPECT_EQ(lines.filter(QStringLiteral("Исходный файл не найден: /media/gone")).size(), 3);
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: %1").arg(lines.size()));

    db.messages.shown.clear();
    EXPECT_EQ(StartWith(w, {true, false, false, true, false}),
              (std::array<bool, 5>{true, false, false, true, true}));
    w.BitBtn2Click();  // Stop waits for the worker and reports its finish
    EXPECT_FALSE(w.CheckRunning() || w.Worker() != nullptr);
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: 0"));
}

// A main database holding "known" and a source of "known", "new1" and "new2"; the window is shown.
class ImportWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestDatabase writer(QStringLiteral("source.db"));
        for (const char* name : {"known", "new1", "new2"}) {
            AddRecord(writer.store, MakeRecord(name, "mp3", 90));
        }
        writer.store.Disconnect();
        ASSERT_TRUE(QFile::copy(writer.path, sourcePath));
        ASSERT_EQ(AddRecord(main.store, MakeRecord("known", "mp3", 90)), 0);
        w.show();
        w.Edit1()->setText(sourcePath);
    }
    bool WaitForEnd() {
        return QTest::qWaitFor([this] { return w.Worker() == nullptr; }, 10000);
    }

    TestDatabase main;
    TDataModule2 source;
    QString sourcePath = main.dir.File(QStringLiteral("source.db"));
    TForm8 w{main.store, source};
};

// Catches a refusal checked out of order, a missing message and a worker started after any of them.
TEST_F(ImportWindowTest, RefusalsComeInOrderAndStartNothing) {
    const QString choose = QStringLiteral("Выберите импортируемую базу данных!");
    const struct {
        bool connected;
        QString path;
        QStringList messages;
    } cases[] = {
        {false, sourcePath, {"Главная база данных не подключена!"}},
        {true, QString(), {choose}},
        {true, main.dir.File(QStringLiteral("missing.db")), {choose}},
        {true,
         main.dir.Write(QStringLiteral("notes.db"), QByteArray(4096, 'x')),
         {"Ошибка подключения к базе данных!", "Ошибка подключения импортируемой базы данных!"}},
    };
    for (const auto& c : cases) {
        TDataModule1 unconnected;
        TForm8 window(c.connected ? main.store : unconnected, source);
        window.Edit1()->setText(c.path);
        main.messages.shown.clear();
        window.BitBtn3Click();
        EXPECT_EQ(main.messages.shown, c.messages) << c.path.toStdString();
        EXPECT_EQ(window.Worker(), nullptr);
    }
    main.messages.answers.push_back(false);  // no to the back-up question
    w.BitBtn3Click();
    EXPECT_EQ(main.messages.asked.size(), 1);
    EXPECT_EQ(w.Worker(), nullptr);
}

// Catches the replace policy not passed on, closing mid-import (or refusing it without a word), a source
// left connected, a chosen path lost, and a form kept for the next show.
TEST_F(ImportWindowTest, ReplaceWithCleanUpAndAFreshFormAfter) {
    main.messages.choices = {sourcePath, QString()};
    w.BitBtn1Click();
    w.BitBtn1Click();  // cancelled: the path stays
    EXPECT_EQ(w.Edit1()->text(), sourcePath);
    w.RadioButton2()->setChecked(true);
    w.BitBtn3Click();
    ASSERT_NE(w.Worker(), nullptr);
    w.close();  // refused, with the reason, while the worker exists
    EXPECT_TRUE(w.isVisible());
    ASSERT_TRUE(WaitForEnd());
    EXPECT_FALSE(source.IsConnected() || w.Timer2()->isActive());
    EXPECT_EQ(main.messages.shown,
              QStringList({"Дождитесь окончания импорта или остановите его!", "Задание выполнено!"}));
    EXPECT_TRUE(w.Memo1()->Text().endsWith(QStringLiteral("Удалено записей: 1\nДобавлено новых записей: 3")));
    w.close();
    w.show();
    EXPECT_TRUE(w.Edit1()->text().isEmpty() && w.Memo1()->Text().isEmpty() && w.RadioButton1()->isChecked());
}

// Catches a Stop that does not end the import or ends it without its message, and a write failure that
// the window does not show as the command line does (its line in the list and its message box).
TEST_F(ImportWindowTest, StopAndAReadOnlyMainDatabaseAreTold) {
    w.BitBtn3Click();
    w.BitBtn4Click();  // before the worker's first row is written: it ends at its next check
    ASSERT_TRUE(WaitForEnd());
    EXPECT_EQ(main.messages.shown, QStringList({"Импорт остановлен!"}));
    main.messages.shown.clear();
    main.store.Disconnect();
    FailingVfs readOnly(main.path, FailingVfs::Fault::ReadOnly);
    ASSERT_TRUE(main.store.Connect(main.path));
    w.BitBtn3Click();
    ASSERT_TRUE(w.Worker() != nullptr && WaitForEnd());
    const QString failed =
        QStringLiteral("Ошибка записи в базу данных! Последние импортированные записи не сохранены.");
    EXPECT_EQ(main.messages.shown, QStringList{failed});
    EXPECT_TRUE(w.Memo1()->Text().contains(failed + QStringLiteral("\n\n")));
}

}  // namespace
}  // namespace tembrix::test
