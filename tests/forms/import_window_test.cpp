// The import window over the real import worker: the checks before a start in their order, the
// question, the buttons through idle → running → clean-up → idle, the conflict policy, the summary.

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>

#include "database/import_database.h"
#include "database/import_source.h"
#include "forms/import_window.h"
#include "maintenance_windows_fixture.h"

namespace tembrix::test {
namespace {

const QString kQuestion = QStringLiteral(
    "Рекомендуется сделать копии данных | Если что то пойдёт не так, Вы можете потерять свои данные. Сделали "
    "бэкап? Хотите продолжить?");

class ImportWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(main.ok);
        // The source: three tracks, the first of which the main database already has.
        sourcePath = main.dir.File(QStringLiteral("source.db"));
        TDataModule1 writer;
        ASSERT_TRUE(writer.Connect(sourcePath));
        ASSERT_TRUE(writer.CreateTable());
        const QString names[3] = {QStringLiteral("known"), QStringLiteral("new1"), QStringLiteral("new2")};
        for (const QString& name : names) {
            IndexRecord r = MakeRecord(name, QStringLiteral("mp3"), 90);
            r.index_size = 8;
            const uint16_t values[4] = {1, 2, 3, 4};
            ASSERT_EQ(writer.InsertRecordWithIndex(r, values), 0);
        }
        writer.Disconnect();
        ASSERT_EQ(main.Add(MakeRecord(QStringLiteral("known"), QStringLiteral("mp3"), 90)), 0);
    }

    // "Start Stop Exit Bar" visibility.
    static std::array<bool, 4> Shown(const TForm8& w) {
        return {!w.BitBtn3()->isHidden(), !w.BitBtn4()->isHidden(), !w.BitBtn2()->isHidden(),
                !w.ProgressBar1()->isHidden()};
    }
    static constexpr std::array<bool, 4> kIdle = {true, false, true, false};
    static constexpr std::array<bool, 4> kRunning = {false, true, false, true};

    // Runs an import to its end, clean-up included.
    static bool RunToEnd(TForm8& w) {
        w.BitBtn3Click();
        return w.Worker() != nullptr && WaitFor([&w] { return w.Worker() == nullptr; });
    }

    TestDatabase main;
    TDataModule2 source;
    QString sourcePath;
};

TEST_F(ImportWindowTest, RefusalsComeInOrderAndStartNothing) {
    const QString notADatabase = main.dir.Write(QStringLiteral("notes.db"), QByteArray(4096, 'x'));
    struct Case {
        bool connected;
        QString path;
        QStringList messages;
    };
    const QString choose = QStringLiteral("Выберите импортируемую базу данных!");
    const Case cases[] = {
        {false, sourcePath, {QStringLiteral("Главная база данных не подключена!")}},
        {true, QString(), {choose}},
        {true, main.dir.File(QStringLiteral("missing.db")), {choose}},
        {true, main.dir.Path(), {choose}},
        {true,
         notADatabase,
         {QStringLiteral("Ошибка подключения к базе данных!"),
          QStringLiteral("Ошибка подключения импортируемой базы данных!")}},
    };
    for (const Case& c : cases) {
        TDataModule1 unconnected;
        TForm8 w(c.connected ? main.store : unconnected, source);
        w.show();
        w.Edit1()->setText(c.path);
        main.messages.shown.clear();
        w.BitBtn3Click();
        EXPECT_EQ(main.messages.shown, c.messages) << c.path.toStdString();
        EXPECT_TRUE(main.messages.asked.isEmpty());
        EXPECT_EQ(w.Worker(), nullptr);
        EXPECT_EQ(Shown(w), kIdle);
    }
    EXPECT_EQ(main.Rows(), 1);
}

TEST_F(ImportWindowTest, AnsweringNoStartsNothingAndLeavesTheSourceConnected) {
    TForm8 w(main.store, source);
    w.show();
    w.Edit1()->setText(sourcePath);
    main.messages.answers.push_back(false);
    w.BitBtn3Click();
    EXPECT_EQ(main.messages.asked, QStringList{kQuestion});
    EXPECT_TRUE(main.messages.shown.isEmpty());
    EXPECT_EQ(w.Worker(), nullptr);
    EXPECT_EQ(Shown(w), kIdle);
    EXPECT_TRUE(source.IsConnected());
    EXPECT_EQ(main.Rows(), 1);
}

TEST_F(ImportWindowTest, ImportKeepsOldRecordsAndCleansUp) {
    TForm8 w(main.store, source);
    w.show();
    w.Edit1()->setText(sourcePath);
    w.BitBtn3Click();
    ASSERT_NE(w.Worker(), nullptr);
    EXPECT_EQ(Shown(w), kRunning);
    EXPECT_EQ(w.ProgressBar1()->value(), 0);
    // The window cannot close while the worker exists.
    w.close();
    EXPECT_TRUE(w.isVisible());

    ASSERT_TRUE(WaitFor([&w] { return w.Worker() == nullptr; }));
    EXPECT_EQ(Shown(w), kIdle);
    EXPECT_FALSE(source.IsConnected());
    EXPECT_FALSE(w.Timer2()->isActive());
    EXPECT_EQ(main.messages.shown, QStringList{QStringLiteral("Задание выполнено!")});
    const QStringList lines = w.Memo1()->toPlainText().split(QLatin1Char('\n'));
    ASSERT_GE(lines.size(), 6);
    EXPECT_TRUE(lines.first().startsWith(QStringLiteral("Дубликат: MD5-хэш = md5-known-")));
    EXPECT_EQ(
        lines.mid(lines.size() - 5),
        (QStringList{QString(), QStringLiteral("Обработано записей: 3 из 3"),
                     QStringLiteral("Проигнорировано дубликатов: 1"), QStringLiteral("Удалено записей: 0"),
                     QStringLiteral("Добавлено новых записей: 2")}));
    EXPECT_EQ(main.Rows(), 3);
    w.close();
    EXPECT_FALSE(w.isVisible());
}

TEST_F(ImportWindowTest, ReplacePolicyComesFromTheSecondRadioButton) {
    TForm8 w(main.store, source);
    w.show();
    w.Edit1()->setText(sourcePath);
    w.RadioButton2()->setChecked(true);
    ASSERT_TRUE(RunToEnd(w));
    EXPECT_TRUE(
        w.Memo1()->toPlainText().endsWith(QStringLiteral("Удалено записей: 1\nДобавлено новых записей: 3")));
    EXPECT_EQ(main.Rows(), 3);
}

TEST_F(ImportWindowTest, ShowResetsPathMessagesAndPolicy) {
    TForm8 w(main.store, source);
    w.show();
    w.Edit1()->setText(sourcePath);
    w.RadioButton2()->setChecked(true);
    ASSERT_TRUE(RunToEnd(w));
    w.close();
    w.show();
    EXPECT_TRUE(w.Edit1()->text().isEmpty());
    EXPECT_TRUE(w.Memo1()->toPlainText().isEmpty());
    EXPECT_TRUE(w.RadioButton1()->isChecked());
    EXPECT_EQ(Shown(w), kIdle);
}

TEST_F(ImportWindowTest, ChooserFillsThePathUnlessCancelled) {
    TForm8 w(main.store, source);
    w.show();
    main.messages.choices.push_back(sourcePath);
    main.messages.choices.push_back(QString());
    w.BitBtn1Click();
    EXPECT_EQ(w.Edit1()->text(), sourcePath);
    w.BitBtn1Click();
    EXPECT_EQ(w.Edit1()->text(), sourcePath);
    EXPECT_EQ(main.messages.chooserTitles.size(), 2);
}

TEST_F(ImportWindowTest, StopEndsTheImportWithTheStoppedMessage) {
    TForm8 w(main.store, source);
    w.show();
    w.Edit1()->setText(sourcePath);
    w.BitBtn3Click();
    ASSERT_NE(w.Worker(), nullptr);
    // Stop before the worker's first row can be written out: it ends at its next check.
    w.BitBtn4Click();
    ASSERT_TRUE(WaitFor([&w] { return w.Worker() == nullptr; }));
    ASSERT_FALSE(main.messages.shown.isEmpty());
    EXPECT_EQ(main.messages.shown.last(), QStringLiteral("Импорт остановлен!"));
    EXPECT_EQ(Shown(w), kIdle);
}

}  // namespace
}  // namespace tembrix::test
