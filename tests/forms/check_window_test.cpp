// The check window over the real check worker: refusals, options and the report.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QTest>

#include "database/check_database.h"
#include "database/sqlite.h"
#include "forms/check_window.h"
#include "forms/message_list.h"
#include "maintenance_windows_fixture.h"

namespace tembrix::test {
namespace {

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

// Catches a second worker, closing while it runs, a Stop that leaves it running, a box miswired.
TEST(CheckWindowTest, StartStopAndCloseWithTheirRefusals) {
    TestDatabase db;
    TForm7 w(db.store);
    w.show();
    w.BitBtn2Click();
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка ещё не запущена!")});

    EXPECT_EQ(StartWith(w, {false, true, true, false, true}),
              (std::array<bool, 5>{false, true, true, false, false}));
    const CheckDatabase* first = w.Worker();
    w.BitBtn1Click();
    EXPECT_EQ(w.Worker(), first);
    w.close();
    w.reject();
    EXPECT_TRUE(w.isVisible());
    const QString wait = QStringLiteral("Дождитесь окончания проверки или остановите её!");
    EXPECT_EQ(db.messages.shown.mid(1), (QStringList{QStringLiteral("Проверка уже начата!"), wait, wait}));

    // Stop waits for the worker and reports its finish.
    db.messages.shown.clear();
    w.BitBtn2Click();
    EXPECT_FALSE(w.CheckRunning());
    EXPECT_EQ(w.Worker(), nullptr);
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    w.close();
    EXPECT_FALSE(w.isVisible());
}

// Catches a report that does not reach the memo, a wrong line count and a bar short of the end.
TEST(CheckWindowTest, FinishedCheckShowsItsReportAndCountsTheLines) {
    TestDatabase db;
    for (int i = 0; i < 3; ++i) {  // three rows of one track, made equal behind the store's back
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("twin%1").arg(i), QStringLiteral("mp3"), 100 + i)), 0);
    }
    SqliteConnection c;
    ASSERT_TRUE(c.Open(db.store.DatabasePath()));
    ASSERT_TRUE(SqliteStatement(c, "UPDATE data SET md5 = 'same', source_size = 1").Run());
    TForm7 w(db.store);
    w.show();
    EXPECT_EQ(StartWith(w, {true, false, false, true, false}),
              (std::array<bool, 5>{true, false, false, true, true}));
    ASSERT_TRUE(QTest::qWaitFor([&w] { return !w.CheckRunning(); }, 10000));
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(w.ProgressBar1()->value(), 100);
    const QStringList lines = w.Memo1()->Text().split(QLatin1Char('\n'));
    EXPECT_EQ(lines.filter(QStringLiteral("\tНайдены  дубликаты (3)")).size(), 1)
        << lines.join(u'|').toStdString();
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: %1").arg(lines.size()));

    // Catches the count of the run before kept after a check stopped before the next tick.
    db.messages.shown.clear();
    StartWith(w, {false, false, false, false, false});
    w.BitBtn2Click();
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: 0"));
}

}  // namespace
}  // namespace tembrix::test
