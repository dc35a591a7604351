// The main window's database and program commands: create, clear, compact and switch; programs and help.

#include <gtest/gtest.h>

#include <QFile>

#include "database/maint_test_db.h"
#include "main_window_fixture.h"
#include "maintenance_windows_fixture.h"
#include "util/file_utils.h"

namespace tembrix::test {
namespace {

class DatabaseCommands : public ::testing::Test {
protected:
    // Makes data/<name> with `rows` rows and returns its path.
    QString MakeDatabase(const QString& name, int rows) {
        const QString path = data.File(name);
        TDataModule1 maker;
        EXPECT_TRUE(maker.Connect(path) && maker.CreateTable());
        for (int n = 0; n < rows; ++n) {
            IndexRecord r = MakeRecord(QString::number(n), QStringLiteral("mp3"), 60);
            r.index_size = 2;
            const uint16_t value = 1;
            EXPECT_EQ(maker.InsertRecordWithIndex(r, &value), TDataModule1::kOk);
        }
        maker.Commit();
        return path;
    }
    int Rows() {
        return static_cast<int>(f.store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM Data")));
    }

    MainWindowFixture f;
    TempDir data;
};

// Catches ".db" added twice or not at all, a database without its table or INI entry, a failure kept.
TEST_F(DatabaseCommands, CreateAppendsTheExtensionOnlyWhenMissingAndForgetsAFailure) {
    const char* cases[][2] = {{"plain", "plain.db"}, {"named.db", "named.db"}, {"dotted.DB", "dotted.DB.db"}};
    for (const auto& c : cases) {
        const QString made = data.File(QString::fromLatin1(c[1]));
        f.messages.choices.push_back(data.File(QString::fromLatin1(c[0])));
        f.window->N9Click();
        EXPECT_EQ(f.store.DatabasePath(), made);
        EXPECT_EQ(Rows(), 0);  // the table is there
        EXPECT_EQ(f.IniSettings().dbPath, made);
    }
    EXPECT_TRUE(f.messages.shown.isEmpty());

    f.messages.choices.push_back(data.File(QStringLiteral("no/such/folder/new")));
    f.window->N9Click();
    EXPECT_FALSE(f.store.IsConnected());
    EXPECT_TRUE(f.window->CurrentSettings().dbPath.isEmpty());
    EXPECT_EQ(f.messages.shown, QStringList({"Ошибка подключения к базе данных!"}));
}

// Catches commands run without a database, clearing on "no", and failures reported as done.
TEST_F(DatabaseCommands, ClearAsksAndCompactReportsItsOutcome) {
    f.window->N11Click();
    f.window->N42Click();
    f.window->N44Click();
    EXPECT_EQ(f.messages.shown, QStringList(3, "База данных не подключена!"));
    EXPECT_TRUE(f.messages.asked.isEmpty() && f.modals.empty());

    ASSERT_TRUE(f.store.Connect(MakeDatabase(QStringLiteral("full.db"), 5)));
    f.messages.shown.clear();
    f.messages.answers = {false, true};
    f.window->N11Click();
    EXPECT_EQ(Rows(), 5);
    f.window->N11Click();
    EXPECT_EQ(Rows(), 0);
    EXPECT_EQ(f.messages.asked,
              QStringList(2, "Требуется подтверждение | Вы точно хотите удалить все записи?"));
    f.window->N42Click();
    f.store.Busy().TryAcquire();  // a store that stays busy: the compaction fails
    f.window->N42Click();
    f.store.Busy().Release();
    EXPECT_EQ(f.messages.shown, QStringList({"База данных успешно очищена!", "База данных сжата!",
                                             "Операция завершилась ошибкой!"}));
    f.window->N44Click();
    ASSERT_EQ(f.modals.size(), 1u);
    EXPECT_EQ(f.modals[0].className, "tembrix::TForm10");

    // Catches a failed clear followed by the success message, and a failed VACUUM reported as done.
    const QString damaged = MakeDatabase(QStringLiteral("damaged.db"), 60);
    ASSERT_TRUE(DamageRows(damaged));
    ASSERT_TRUE(f.store.Connect(damaged));
    f.messages.shown.clear();
    f.messages.answers = {true};
    f.window->N11Click();
    f.window->N42Click();
    EXPECT_EQ(f.messages.shown, QStringList({"Ошибка очистки таблицы!", "Операция завершилась ошибкой!"}));
}

// Catches a switch to a missing file (or creating it), a switch not saved, a read-only file unannounced.
TEST_F(DatabaseCommands, SwitchConnectsToAnExistingFileOnlyAndWarnsWhenReadOnly) {
    const QString first = MakeDatabase(QStringLiteral("first.db"), 1);
    const QString second = MakeDatabase(QStringLiteral("second.db"), 3);
    const QString readOnly = MakeDatabase(QStringLiteral("readonly.db"), 2);
    QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
    ASSERT_TRUE(f.store.Connect(first));
    f.window->CurrentSettings().dbPath = first;
    const QString missing = data.File(QStringLiteral("missing.db"));
    f.messages.choices = {missing, second, readOnly};
    f.window->N14Click();
    EXPECT_EQ(f.messages.shown, QStringList({"Не найден файл: " + missing}));
    EXPECT_EQ(f.store.DatabasePath(), first);
    EXPECT_EQ(f.window->CurrentSettings().dbPath, first);
    EXPECT_FALSE(FileExists(missing));
    f.window->N14Click();
    EXPECT_EQ(Rows(), 3);
    EXPECT_EQ(f.IniSettings().dbPath, second);
    EXPECT_EQ(f.messages.shown.size(), 1);
    f.window->N14Click();
    EXPECT_EQ(Rows(), 2);
    if (!IsFileReadWritable(readOnly)) {  // a user that may write anywhere gets no warning
        EXPECT_EQ(f.messages.shown.last(), "База данных доступна только для чтения: " + readOnly);
    }
}

// Catches a missing program or help file kept quiet, or the help file opened before the guide.
TEST_F(DatabaseCommands, ProgramsAndHelp) {
    const QString dir = f.window->ProgramDir();
    f.window->N49Click();
    f.window->N27Click();
    f.window->N47Click();
    EXPECT_EQ(f.messages.shown,
              QStringList({"Не найден файл: " + dir + "/Vokalis", "Не найден файл: " + dir + "/Вокалис.chm",
                           "Не найден файл: " + f.Executable()}));

    UrlCatcher urls;
    const QString guide = f.dir.Write(QStringLiteral("content/guide/index.html"), "<html></html>");
    f.window->N27Click();
    const QString chm = f.dir.Write(QStringLiteral("Вокалис.chm"), "help");
    f.window->N27Click();
    EXPECT_EQ(urls.opened, QList<QUrl>({QUrl::fromLocalFile(guide), QUrl::fromLocalFile(chm)}));
    EXPECT_EQ(f.messages.shown.size(), 3);
}

}  // namespace
}  // namespace tembrix::test
