// The check window over the real check worker: its buttons through idle → running → idle, the refusals
// and their messages, the options handed to the worker and the report in the memo.

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

// Which of Start, Stop, Close and the progress bar are visible.
std::array<bool, 4> Shown(const TForm7& w) {
    return {!w.BitBtn1()->isHidden(), !w.BitBtn2()->isHidden(), !w.BitBtn3()->isHidden(),
            !w.ProgressBar1()->isHidden()};
}
constexpr std::array<bool, 4> kIdle = {true, false, true, false}, kRunning = {false, true, false, true};

TEST(CheckWindowTest, StartStopAndCloseWithTheirRefusals) {
    TestDatabase db;
    TForm7 w(db.store);
    w.show();
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Поиск ошибок в базе данных"));
    EXPECT_EQ(Shown(w), kIdle);
    w.BitBtn2Click();
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка ещё не запущена!")});

    w.BitBtn1Click();
    const CheckDatabase* first = w.Worker();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(Shown(w), kRunning);
    w.BitBtn1Click();
    EXPECT_EQ(w.Worker(), first);
    w.close();
    w.reject();
    EXPECT_TRUE(w.isVisible());
    const QString wait = QStringLiteral("Дождитесь окончания проверки или остановите её!");
    EXPECT_EQ(db.messages.shown.mid(1), (QStringList{QStringLiteral("Проверка уже начата!"), wait, wait}));

    // Stop waits for the worker, whose finish brings the buttons back.
    db.messages.shown.clear();
    w.BitBtn2Click();
    EXPECT_FALSE(w.CheckRunning());
    EXPECT_EQ(w.Worker(), nullptr);
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_EQ(Shown(w), kIdle);
    w.Timer1Timer();
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: 0"));
    w.close();
    EXPECT_FALSE(w.isVisible());
}

TEST(CheckWindowTest, IndexSizeOptionFollowsTheIndexValuesBox) {
    // Boxes 1-5 → duplicates, empty fields, source files, index values, index sizes.
    const bool defaults[5] = {true, true, false, true, true};
    const struct {
        bool boxes[5];
        bool options[5];
    } cases[] = {
        {{true, true, false, false, true}, {true, true, false, false, false}},  // only box 4 off
        {{true, true, false, true, false}, {true, true, false, true, true}},    // only box 5 off
        {{false, true, true, true, false}, {false, true, true, true, true}},
    };
    TestDatabase db;
    TForm7 w(db.store);
    w.show();
    for (int n = 1; n <= 5; ++n) {
        EXPECT_EQ(w.CheckBox(n)->isChecked(), defaults[n - 1]) << n;
    }
    for (const auto& c : cases) {
        for (int n = 1; n <= 5; ++n) {
            w.CheckBox(n)->setChecked(c.boxes[n - 1]);
        }
        w.BitBtn1Click();
        ASSERT_NE(w.Worker(), nullptr);
        const CheckDatabase& o = *w.Worker();
        const bool options[5] = {o.checkDuplicates, o.checkEmptyFields, o.checkSourceFiles,
                                 o.checkIndexValues, o.checkIndexSizes};
        EXPECT_TRUE(std::equal(options, options + 5, c.options)) << &c - cases;
        w.BitBtn2Click();
    }
}

TEST(CheckWindowTest, FinishedCheckShowsItsReportAndCountsTheLines) {
    TestDatabase db;
    for (int i = 0; i < 3; ++i) {  // three rows of one track, made equal behind the store's back
        ASSERT_EQ(db.Add(MakeRecord(QStringLiteral("twin%1").arg(i), QStringLiteral("mp3"), 100 + i),
                         Envelope(4000, [](int32_t) { return uint16_t{5}; })),
                  0);
    }
    ASSERT_TRUE(SqliteStatement(db.store.Handle(), "UPDATE data SET md5 = 'same', source_size = 1").Run());
    TForm7 w(db.store);
    w.show();
    w.BitBtn1Click();
    ASSERT_TRUE(WaitFor([&w] { return !w.CheckRunning(); }));
    EXPECT_EQ(db.messages.shown, QStringList{QStringLiteral("Проверка закончена!")});
    EXPECT_TRUE(Shown(w)[0] && !Shown(w)[1] && Shown(w)[2]);  // the full bar stays
    EXPECT_EQ(w.ProgressBar1()->value(), 100);
    const QStringList lines = w.Memo1()->toPlainText().split(QLatin1Char('\n'));
    EXPECT_EQ(lines.filter(QStringLiteral("\tНайдены  дубликаты (3)")).size(), 1)
        << lines.join(u'|').toStdString();
    w.Timer1Timer();
    EXPECT_EQ(w.StatusPanel0()->text(), QStringLiteral("Количество сообщений: %1").arg(lines.size()));
}

}  // namespace
}  // namespace tembrix::test
