// The check window over the real check worker: refusals, options and the report.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QTest>

#include "database/check_database.h"
#include "forms/check_window.h"
#include "forms/message_list.h"
#include "window_fixtures.h"

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

// Catches a box miswired, a second worker, closing while one runs, a Stop that leaves it running, a
// report that does not reach the memo, a wrong line count (or the count of the run before kept).
TEST(CheckWindowTest, RefusalsOptionsReportAndStop) {
    TestDatabase db;
    for (int i = 0; i < 3; ++i) {  // source files that do not exist: a line each
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("gone%1").arg(i), QStringLiteral("mp3"), 100)), 0);
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
    EXPECT_FALSE(w.CheckRunning());
    EXPECT_EQ(w.Worker(), nullptr);
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: 0"));
    w.close();
    EXPECT_FALSE(w.isVisible());
}

}  // namespace
}  // namespace tembrix::test
