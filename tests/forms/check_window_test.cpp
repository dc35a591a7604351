// The check window over the real check worker: its buttons through idle → running → idle, the refusals
// and their messages, the options handed to the worker (the index-size option follows the index-values
// box), the report lines and the message count.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

#include "database/check_database.h"
#include "database/sqlite.h"
#include "forms/check_window.h"
#include "maintenance_windows_fixture.h"

namespace tembrix::test {
namespace {

class CheckWindowTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(db.ok); }

    // Visible buttons and bar, as "Start Stop Close Bar" flags.
    static std::array<bool, 4> Shown(const TForm7& w) {
        return {!w.BitBtn1()->isHidden(), !w.BitBtn2()->isHidden(), !w.BitBtn3()->isHidden(),
                !w.ProgressBar1()->isHidden()};
    }
    static constexpr std::array<bool, 4> kIdle = {true, false, true, false};
    static constexpr std::array<bool, 4> kRunning = {false, true, false, true};

    TestDatabase db;
};

TEST_F(CheckWindowTest, ShowsIdleWithTheDefaultOptions) {
    TForm7 w(db.store);
    w.show();
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Поиск ошибок в базе данных"));
    const bool defaults[5] = {true, true, false, true, true};
    for (int n = 1; n <= 5; ++n) {
        EXPECT_EQ(w.CheckBox(n)->isChecked(), defaults[n - 1]) << n;
    }
    EXPECT_EQ(Shown(w), kIdle);
    EXPECT_FALSE(w.CheckRunning());
}

TEST_F(CheckWindowTest, StopBeforeStartIsRefused) {
    TForm7 w(db.store);
    w.show();
    w.BitBtn2Click();
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка ещё не запущена!")});
    EXPECT_EQ(Shown(w), kIdle);
    EXPECT_EQ(w.Worker(), nullptr);
}

TEST_F(CheckWindowTest, IndexSizeOptionFollowsTheIndexValuesBox) {
    struct Case {
        bool boxes[5];
        bool options[5];  // duplicates, empty fields, source files, index values, index sizes
    };
    const Case cases[] = {
        {{true, true, false, true, true}, {true, true, false, true, true}},
        {{true, true, false, false, true}, {true, true, false, false, false}},  // only CheckBox4 off
        {{true, true, false, true, false}, {true, true, false, true, true}},    // only CheckBox5 off
        {{false, false, true, false, false}, {false, false, true, false, false}},
        {{false, true, true, true, false}, {false, true, true, true, true}},
    };
    for (const Case& c : cases) {
        TForm7 w(db.store);
        w.show();
        for (int n = 1; n <= 5; ++n) {
            w.CheckBox(n)->setChecked(c.boxes[n - 1]);
        }
        w.BitBtn1Click();
        ASSERT_NE(w.Worker(), nullptr);
        const CheckDatabase& worker = *w.Worker();
        const bool options[5] = {worker.checkDuplicates, worker.checkEmptyFields, worker.checkSourceFiles,
                                 worker.checkIndexValues, worker.checkIndexSizes};
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(options[i], c.options[i]) << "option " << i + 1;
        }
        w.BitBtn2Click();
    }
}

TEST_F(CheckWindowTest, SecondStartIsRefusedAndKeepsTheFirstWorker) {
    TForm7 w(db.store);
    w.show();
    w.BitBtn1Click();
    const CheckDatabase* first = w.Worker();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(w.CheckRunning());
    EXPECT_EQ(Shown(w), kRunning);

    w.BitBtn1Click();
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка уже начата!")});
    EXPECT_EQ(w.Worker(), first);
    w.BitBtn2Click();
}

TEST_F(CheckWindowTest, ClosingIsRefusedWhileACheckRuns) {
    TForm7 w(db.store);
    w.show();
    w.BitBtn1Click();
    w.close();
    EXPECT_TRUE(w.isVisible());
    w.reject();
    EXPECT_TRUE(w.isVisible());
    EXPECT_EQ(db.messages.shown,
              (QStringList{QStringLiteral("Дождитесь окончания проверки или остановите её!"),
                           QStringLiteral("Дождитесь окончания проверки или остановите её!")}));
    w.BitBtn2Click();
    db.messages.shown.clear();
    w.close();
    EXPECT_FALSE(w.isVisible());
    EXPECT_TRUE(db.messages.shown.isEmpty());
}

TEST_F(CheckWindowTest, FinishedCheckReportsItsLinesAndComesBackIdle) {
    // Three rows of one track: inserted as different files, then made equal behind the store's back.
    for (int i = 0; i < 3; ++i) {
        IndexRecord twin = MakeRecord(QStringLiteral("twin%1").arg(i), QStringLiteral("mp3"), 100 + i);
        ASSERT_EQ(db.Add(twin, Envelope(4000, [](int32_t) { return uint16_t{5}; })), 0);
    }
    SqliteStatement same(db.store.Handle(), "UPDATE data SET md5 = 'same', source_size = 1");
    ASSERT_TRUE(same.Run());

    TForm7 w(db.store);
    w.show();
    w.CheckBox(2)->setChecked(false);
    w.BitBtn1Click();
    ASSERT_TRUE(WaitFor([&w] { return !w.CheckRunning(); }));

    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(Shown(w)[0], true);
    EXPECT_EQ(Shown(w)[1], false);
    EXPECT_EQ(Shown(w)[2], true);
    EXPECT_EQ(w.ProgressBar1()->value(), 100);
    const QStringList lines = w.Memo1()->toPlainText().split(QLatin1Char('\n'));
    EXPECT_TRUE(lines.filter(QStringLiteral("\tНайдены  дубликаты (3)")).size() == 1)
        << lines.join(u'|').toStdString();
    EXPECT_EQ(lines.filter(QStringLiteral("менее минуты")).size(), 0);

    w.Timer1Timer();
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: %1").arg(lines.size()));
}

TEST_F(CheckWindowTest, StopEndsTheWorkerAndTheFinishBringsTheButtonsBack) {
    TForm7 w(db.store);
    w.show();
    w.BitBtn1Click();
    ASSERT_TRUE(w.CheckRunning());
    w.BitBtn2Click();
    EXPECT_FALSE(w.CheckRunning());
    EXPECT_EQ(w.Worker(), nullptr);
    // The worker's finish ran while it was waited for.
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(Shown(w), kIdle);

    // A new start works after a stop, and an empty memo counts as no messages.
    w.Timer1Timer();
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: 0"));
}

}  // namespace
}  // namespace tembrix::test
