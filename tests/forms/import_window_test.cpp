// The import window over the real import worker: refusals, conflict policy, Stop and write failures.

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

#include "database/failing_vfs.h"
#include "database/import_database.h"
#include "database/import_source.h"
#include "forms/import_window.h"
#include "forms/message_list.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// A main database holding "known" and a source of "known", "new1" and "new2"; the window is shown.
class ImportWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestDatabase writer(QStringLiteral("source.db"));
        for (const char* name : {"known", "new1", "new2"}) {
            ASSERT_EQ(writer.Add(MakeRecord(QString::fromLatin1(name), QStringLiteral("mp3"), 90)), 0);
        }
        writer.store.Disconnect();
        ASSERT_TRUE(QFile::copy(writer.path, sourcePath));
        ASSERT_EQ(main.Add(MakeRecord(QStringLiteral("known"), QStringLiteral("mp3"), 90)), 0);
        w.show();
        w.Edit1()->setText(sourcePath);
    }
    bool RunToEnd() {
        w.BitBtn3Click();
        return w.Worker() != nullptr && QTest::qWaitFor([this] { return w.Worker() == nullptr; }, 10000);
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
        {false, sourcePath, {QStringLiteral("Главная база данных не подключена!")}},
        {true, QString(), {choose}},
        {true, main.dir.File(QStringLiteral("missing.db")), {choose}},
        {true, main.dir.Path(), {choose}},
        {true,
         main.dir.Write(QStringLiteral("notes.db"), QByteArray(4096, 'x')),
         {QStringLiteral("Ошибка подключения к базе данных!"),
          QStringLiteral("Ошибка подключения импортируемой базы данных!")}},
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

// Catches closing mid-import (or refusing it without a word), a source left connected, the policy lost, a
// form kept for the next show.
TEST_F(ImportWindowTest, KeepThenReplaceWithCleanUpAndAFreshFormBetween) {
    w.BitBtn3Click();
    ASSERT_NE(w.Worker(), nullptr);
    w.close();  // refused, with the reason, while the worker exists
    EXPECT_TRUE(w.isVisible());
    ASSERT_TRUE(QTest::qWaitFor([this] { return w.Worker() == nullptr; }, 10000));
    EXPECT_FALSE(source.IsConnected() || w.Timer2()->isActive());
    EXPECT_EQ(main.messages.shown,
              QStringList({"Дождитесь окончания импорта или остановите его!", "Задание выполнено!"}));
    EXPECT_TRUE(w.Memo1()->Text().endsWith(QStringLiteral("Удалено записей: 0\nДобавлено новых записей: 2")));
    w.close();
    EXPECT_FALSE(w.isVisible());

    w.show();
    EXPECT_TRUE(w.Edit1()->text().isEmpty() && w.Memo1()->Text().isEmpty() && w.RadioButton1()->isChecked());
    main.messages.choices = {sourcePath, QString()};
    w.BitBtn1Click();
    w.BitBtn1Click();  // cancelled: the path stays
    EXPECT_EQ(w.Edit1()->text(), sourcePath);
    w.RadioButton2()->setChecked(true);
    ASSERT_TRUE(RunToEnd());  // every source row is now a duplicate and replaces the stored one
    EXPECT_TRUE(w.Memo1()->Text().endsWith(QStringLiteral("Удалено записей: 3\nДобавлено новых записей: 3")));
}

// Catches a Stop that does not end the import or ends it without its message.
TEST_F(ImportWindowTest, StopEndsTheImportWithTheStoppedMessage) {
    w.BitBtn3Click();
    ASSERT_NE(w.Worker(), nullptr);
    w.BitBtn4Click();  // before the worker's first row is written: it ends at its next check
    ASSERT_TRUE(QTest::qWaitFor([this] { return w.Worker() == nullptr; }, 10000));
    EXPECT_EQ(main.messages.shown.value(main.messages.shown.size() - 1),
              QStringLiteral("Импорт остановлен!"));
}

// Catches a write failure that the window does not show as the command line does (its line in the
// list and its message box).
TEST_F(ImportWindowTest, AReadOnlyMainDatabaseShowsTheWriteFailure) {
    main.store.Disconnect();
    FailingVfs readOnly(main.path, FailingVfs::Fault::ReadOnly);
    ASSERT_TRUE(main.store.Connect(main.path));
    ASSERT_TRUE(RunToEnd());
    const QString failed =
        QStringLiteral("Ошибка записи в базу данных! Последние импортированные записи не сохранены.");
    EXPECT_EQ(main.messages.shown, QStringList{failed});
    EXPECT_TRUE(w.Memo1()->Text().contains(failed + QStringLiteral("\n\n")));
}

}  // namespace
}  // namespace tembrix::test
