// The main window's database and program commands on temporary databases: create, clear, compact and
// switch; the guards of check, import and statistics; the companion program, help and web links.

#include <gtest/gtest.h>

#include <QFile>
#include <QUrlQuery>

#include "app/indexing_scheduler.h"
#include "forms/web_links.h"
#include "main_window_fixture.h"
#include "util/file_utils.h"

namespace tembrix::test {
namespace {

// A database file with `rows` made-up rows.
void MakeDatabase(const QString& path, int rows) {
    TDataModule1 store;
    ASSERT_TRUE(store.Connect(path));
    ASSERT_TRUE(store.CreateTable());
    for (int n = 0; n < rows; ++n) {
        IndexRecord record;
        record.source_size = 1000 + n;
        record.md5 = QStringLiteral("md5-%1").arg(n);
        record.sha2 = QStringLiteral("sha-%1").arg(n);
        record.source_path = QStringLiteral("/music/%1.mp3").arg(n);
        record.source_file_name = QString::number(n);
        record.extension = QStringLiteral("mp3");
        record.type = QStringLiteral("аудио");
        record.created = QStringLiteral("01.02.2024");
        const uint16_t envelope[4] = {1, 2, 3, 4};
        record.index_size = sizeof envelope;
        ASSERT_EQ(store.InsertRecordWithIndex(record, envelope), TDataModule1::kOk);
    }
    store.Commit();
}

int RowsOf(TDataModule1& store) {
    return static_cast<int>(store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM Data")));
}

class DatabaseCommands : public ::testing::Test {
protected:
    MainWindowFixture f;
    TempDir data;
};

TEST_F(DatabaseCommands, CreateAppendsTheExtensionOnlyWhenMissing) {
    const struct {
        const char* chosen;
        const char* made;
    } cases[] = {{"plain", "plain.db"}, {"named.db", "named.db"}, {"dotted.DB", "dotted.DB.db"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.chosen);
        const QString made = data.File(QString::fromLatin1(c.made));
        f.messages.choices.push_back(data.File(QString::fromLatin1(c.chosen)));
        f.window->N9Click();
        EXPECT_TRUE(FileExists(made));
        EXPECT_TRUE(f.store.IsConnected());
        EXPECT_EQ(f.store.DatabasePath(), made);
        EXPECT_EQ(RowsOf(f.store), 0);  // the table is there
        EXPECT_EQ(f.window->CurrentSettings().dbPath, made);
        EXPECT_EQ(f.IniSettings().dbPath, made);
        EXPECT_EQ(f.window->windowTitle(), "Тембрикс - " + made);
    }
    EXPECT_EQ(f.messages.chooserTitles.first(), "Создать базу данных");
    EXPECT_TRUE(f.messages.shown.isEmpty());
}

TEST_F(DatabaseCommands, CreateThatCannotConnectLeavesNoDatabase) {
    f.messages.choices.push_back(data.File(QStringLiteral("first")));
    f.window->N9Click();
    ASSERT_TRUE(f.store.IsConnected());
    const QString impossible = data.File(QStringLiteral("no/such/folder/new"));
    f.messages.choices.push_back(impossible);
    f.window->N9Click();
    EXPECT_FALSE(f.store.IsConnected());
    EXPECT_TRUE(f.window->CurrentSettings().dbPath.isEmpty());
    EXPECT_EQ(f.window->windowTitle(), "Тембрикс - ");
    EXPECT_EQ(f.messages.shown, QStringList({"Ошибка подключения к базе данных!"}));

    // Cancelled: nothing changes.
    f.window->N9Click();
    EXPECT_TRUE(f.window->CurrentSettings().dbPath.isEmpty());
}

TEST_F(DatabaseCommands, ClearAsksAndEmptiesTheTable) {
    f.window->N11Click();
    EXPECT_EQ(f.messages.shown, QStringList({"База данных не подключена!"}));
    EXPECT_TRUE(f.messages.asked.isEmpty());

    const QString db = data.File(QStringLiteral("full.db"));
    MakeDatabase(db, 5);
    ASSERT_TRUE(f.store.Connect(db));
    f.messages.shown.clear();
    f.messages.answers = {false, true};
    f.window->N11Click();
    EXPECT_EQ(RowsOf(f.store), 5);
    EXPECT_TRUE(f.messages.shown.isEmpty());
    f.window->N11Click();
    EXPECT_EQ(RowsOf(f.store), 0);
    EXPECT_EQ(f.messages.asked,
              QStringList(2, "Требуется подтверждение | Вы точно хотите удалить все записи?"));
    EXPECT_EQ(f.messages.shown, QStringList({"База данных успешно очищена!"}));
}

TEST_F(DatabaseCommands, CompactNeedsAConnection) {
    f.window->N42Click();
    EXPECT_EQ(f.messages.shown, QStringList({"База данных не подключена!"}));
    const QString db = data.File(QStringLiteral("full.db"));
    MakeDatabase(db, 50);
    ASSERT_TRUE(f.store.Connect(db));
    f.store.ClearTable();
    f.window->N42Click();
    EXPECT_EQ(f.messages.shown.last(), "База данных сжата!");
    f.store.Busy().TryAcquire();  // a store that stays busy: the compaction fails
    f.window->N42Click();
    f.store.Busy().Release();
    EXPECT_EQ(f.messages.shown.last(), "Операция завершилась ошибкой!");
}

TEST_F(DatabaseCommands, SwitchConnectsToAnExistingFileOnly) {
    const QString first = data.File(QStringLiteral("first.db"));
    const QString second = data.File(QStringLiteral("second.db"));
    MakeDatabase(first, 1);
    MakeDatabase(second, 3);
    ASSERT_TRUE(f.store.Connect(first));
    f.window->CurrentSettings().dbPath = first;

    const QString missing = data.File(QStringLiteral("missing.db"));
    f.messages.choices.push_back(missing);
    f.window->N14Click();
    EXPECT_EQ(f.messages.shown, QStringList({"Не найден файл: " + missing}));
    EXPECT_EQ(f.store.DatabasePath(), first);
    EXPECT_EQ(f.window->CurrentSettings().dbPath, first);
    EXPECT_FALSE(FileExists(missing));

    f.messages.choices.push_back(second);
    f.window->N14Click();
    EXPECT_EQ(f.store.DatabasePath(), second);
    EXPECT_EQ(RowsOf(f.store), 3);
    EXPECT_EQ(f.IniSettings().dbPath, second);
    EXPECT_EQ(f.messages.shown.size(), 1);
    EXPECT_EQ(f.messages.chooserTitles.last(), "Открыть базу данных");
}

TEST_F(DatabaseCommands, SwitchToAReadOnlyFileConnectsAndWarns) {
    const QString db = data.File(QStringLiteral("readonly.db"));
    MakeDatabase(db, 2);
    QFile::setPermissions(db, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
    if (IsFileReadWritable(db)) {
        QFile::setPermissions(db, QFile::ReadOwner | QFile::WriteOwner);
        GTEST_SKIP() << "the file stays writable for this user (running as root)";
    }
    f.messages.choices.push_back(db);
    f.window->N14Click();
    EXPECT_TRUE(f.store.IsConnected());
    EXPECT_EQ(RowsOf(f.store), 2);
    EXPECT_EQ(f.messages.shown, QStringList({"База данных доступна только для чтения: " + db}));
    QFile::setPermissions(db, QFile::ReadOwner | QFile::WriteOwner);
}

TEST_F(DatabaseCommands, CheckImportAndStatisticsAreGuarded) {
    // Statistics needs a connection.
    f.window->N44Click();
    EXPECT_EQ(f.messages.shown, QStringList({"База данных не подключена!"}));
    EXPECT_TRUE(f.modals.empty());

    // While a job runs, check and import refuse.
    TempDir work;
    Settings& s = f.window->CurrentSettings();
    s.workDir = work.Path();
    s.dbPath = data.File(QStringLiteral("job.db"));
    MakeDatabase(s.dbPath, 0);
    ASSERT_TRUE(f.store.Connect(s.dbPath));
    s.ffmpegPath = f.dir.Write(QStringLiteral("tools/ffmpeg"), "fake");
    s.soxPath = f.dir.Write(QStringLiteral("tools/sox"), "fake");
    f.messages.fileLists.push_back({f.dir.Write(QStringLiteral("media/a.mp3"), "x")});
    f.window->AddFilesExecute();
    f.window->StartExecute();
    ASSERT_TRUE(f.window->Scheduler().IsRunning());
    f.messages.shown.clear();
    f.window->N39Click();
    f.window->N41Click();
    EXPECT_EQ(f.messages.shown, QStringList({"Перед началом проверки остановите индексацию данных!",
                                             "Перед началом импорта остановите индексацию данных!"}));
    EXPECT_TRUE(f.modals.empty());
    f.window->StopExecute();

    // Idle and connected: each opens its window modally.
    f.messages.shown.clear();
    f.window->N39Click();
    f.window->N41Click();
    f.window->N44Click();
    f.window->N28Click();
    QStringList opened;
    for (const ModalCall& call : f.modals) {
        opened.append(call.className);
    }
    EXPECT_EQ(opened,
              QStringList({"tembrix::TForm7", "tembrix::TForm8", "tembrix::TForm10", "tembrix::TAboutBox"}));
    EXPECT_TRUE(f.messages.shown.isEmpty());
}

TEST_F(DatabaseCommands, BrowserIsOneModelessWindow) {
    f.window->N16Click();
    QWidget* browser = f.window->BrowserWindow();
    ASSERT_NE(browser, nullptr);
    EXPECT_TRUE(browser->isVisible());
    EXPECT_TRUE(browser->isWindow());
    f.window->N16Click();
    EXPECT_EQ(f.window->BrowserWindow(), browser);
    EXPECT_TRUE(f.modals.empty());
}

TEST_F(DatabaseCommands, MissingProgramsAndHelpSayWhichFile) {
    const QString dir = f.window->ProgramDir();
    f.window->N49Click();
    f.window->N27Click();
    EXPECT_EQ(f.messages.shown, QStringList({"Не найден файл: " + dir + "/Vokalis",
                                             "Не найден файл: " + dir + "/Вокалис.chm"}));

    // Without the help file the program's guide opens, and the help file wins when it is there.
    UrlCatcher urls;
    const QString guide = f.dir.Write(QStringLiteral("content/guide/index.html"), "<html></html>");
    f.window->N27Click();
    const QString chm = f.dir.Write(QStringLiteral("Вокалис.chm"), "help");
    f.window->N27Click();
    EXPECT_EQ(urls.opened, QList<QUrl>({QUrl::fromLocalFile(guide), QUrl::fromLocalFile(chm)}));
    EXPECT_EQ(f.messages.shown.size(), 2);
}

TEST_F(DatabaseCommands, RestartWithoutItsProgramSaysSo) {
    f.window->N47Click();
    EXPECT_EQ(f.messages.shown, QStringList({"Не найден файл: " + f.Executable()}));
}

TEST_F(DatabaseCommands, WebLinksOpenTheirAddresses) {
    UrlCatcher urls;
    f.window->N52Click();
    f.window->N53Click();
    f.window->N54Click();
    f.window->N55Click();
    ASSERT_EQ(urls.opened.size(), 4);
    EXPECT_EQ(urls.opened[0], QUrl(links::kBugReport));
    EXPECT_EQ(QUrlQuery(urls.opened[0]).queryItemValue(QStringLiteral("prog_id")), "tembrix");
    EXPECT_EQ(QUrlQuery(urls.opened[0]).queryItemValue(QStringLiteral("version")), "1.0");
    EXPECT_EQ(urls.opened[1], QUrl(links::kReview));
    EXPECT_EQ(urls.opened[2].scheme(), "mailto");
    EXPECT_EQ(urls.opened[3], QUrl(links::kContactForm));
}

}  // namespace
}  // namespace tembrix::test
