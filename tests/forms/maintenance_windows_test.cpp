// The check and import windows over their real workers, and the settings dialog.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

#include "database/check_database.h"
#include "database/failing_vfs.h"
#include "database/import_database.h"
#include "database/import_source.h"
#include "forms/check_window.h"
#include "forms/import_window.h"
#include "forms/message_list.h"
#include "forms/settings_dialog.h"
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
    w.RadioButton2()->setChecked(true);  // a write is tried even if the stopped run stored every row
    w.BitBtn3Click();
    ASSERT_TRUE(w.Worker() != nullptr && WaitForEnd());
    const QString failed =
        QStringLiteral("Ошибка записи в базу данных! Последние импортированные записи не сохранены.");
    EXPECT_EQ(main.messages.shown, QStringList{failed});
    EXPECT_TRUE(w.Memo1()->Text().contains(failed + QStringLiteral("\n\n")));
}

// Catches tool edits left blank although the program will use a tool it finds by itself, and a found
// tool written into the settings unasked (a moved tool would then no longer be found).
TEST(SettingsDialogTest, EmptyToolSettingsShowTheToolThatWillBeUsed) {
    TempDir dir;
    const QString sox = dir.Write(QStringLiteral("sox"), "tool");  // beside the program: found first
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    Settings settings;
    TForm2 dialog(settings, dir.File(QStringLiteral("tembrix.ini")), dir.Path(), 2);
    dialog.FormShow();
    EXPECT_EQ(dialog.SoxEdit()->placeholderText(), sox + " (найдена автоматически)");
    EXPECT_EQ(dialog.FfmpegEdit()->placeholderText(),
              ffmpeg.isEmpty() ? QStringLiteral("не найдена") : ffmpeg + " (найдена автоматически)");
    dialog.SaveClick();
    EXPECT_EQ(settings.soxPath + settings.ffmpegPath, "");
}

}  // namespace
}  // namespace tembrix::test
