// tembrix-cli envelope, create, list, show, clear and vacuum, run as a separate process.

#include <gtest/gtest.h>

#include <QFile>
#include <QtEndian>

#include "database/index_store.h"
#include "support/cli_runner.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RunCli;

// An environment whose settings folder is empty, so no desktop settings leak into --db defaults.
QProcessEnvironment IsolatedEnv(const test::TempDir& dir) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
    return env;
}

TEST(CliEnvelope, WritesTheBlobAndPrintsItsFigures) {
    test::TempDir dir;
    // 2.5 blocks: block 0 peaks 1000 in every sub-block, block 1 holds one -32768, then 240 samples.
    QByteArray raw(1200 * 2, '\0');
    auto put = [&](int i, int16_t v) { qToLittleEndian<int16_t>(v, raw.data() + 2 * i); };
    for (int sub = 0; sub < 10; ++sub) {
        put(sub * 48, -1000);
    }
    put(480 + 5, -32768);
    raw.append('\x01');  // odd byte: ignored
    const QString in = dir.Write(QStringLiteral("in.dat"), raw);
    const QString out = dir.File(QStringLiteral("out.env"));
    const auto r = RunCli({QStringLiteral("envelope"), in, out});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.OutLines(), QStringList{QStringLiteral("count=2 index_size=4 duration=0")});
    QFile f(out);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray blob = f.readAll();
    ASSERT_EQ(blob.size(), 4);
    EXPECT_EQ(qFromLittleEndian<uint16_t>(blob.constData()), 1000);
    EXPECT_EQ(qFromLittleEndian<uint16_t>(blob.constData() + 2), static_cast<uint16_t>(4294934528u / 10));
}

TEST(CliEnvelope, BadArgumentsAndUnreadableInputExitWithTwo) {
    test::TempDir dir;
    const struct {
        const char* name;
        QStringList args;
    } cases[] = {
        {"no arguments", {QStringLiteral("envelope")}},
        {"missing input", {QStringLiteral("envelope"), dir.File(QStringLiteral("none.dat")), dir.File("o")}},
        {"folder as input", {QStringLiteral("envelope"), dir.Path(), dir.File("o")}},
        {"unwritable output",
         {QStringLiteral("envelope"), dir.Write(QStringLiteral("x.dat"), QByteArray(960, 'a')),
          dir.File(QStringLiteral("no/such/dir/o"))}},
        {"unknown option", {QStringLiteral("envelope"), QStringLiteral("--fast"), QStringLiteral("a"), "b"}},
    };
    for (const auto& c : cases) {
        const auto r = RunCli(c.args);
        EXPECT_EQ(r.exitCode, 2) << c.name;
        EXPECT_FALSE(r.err.isEmpty()) << c.name;
    }
    EXPECT_EQ(RunCli({QStringLiteral("no-such-command")}).exitCode, 2);
    EXPECT_EQ(RunCli({}).exitCode, 2);
    EXPECT_EQ(RunCli({QStringLiteral("--help")}).exitCode, 0);
}

class CliDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        db = dir.File(QStringLiteral("x.db"));
        env = IsolatedEnv(dir);
        const auto r = RunCli({QStringLiteral("create"), db}, env);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    }
    void Insert(const QString& name, int track, int tracks, const QString& info = {}) {
        TDataModule1 store;
        ASSERT_TRUE(store.Connect(db));
        IndexRecord r;
        r.md5 = name;
        r.sha2 = QStringLiteral("s") + name;
        r.source_size = 1234567;
        r.source_path = QStringLiteral("/m/") + name + QStringLiteral(".mkv");
        r.source_file_name = name;
        r.extension = QStringLiteral("mkv");
        r.type = kTypeVideo;
        r.audio_track = track;
        r.all_tracks = tracks;
        r.duration = 3725;
        r.created = QStringLiteral("05.06.2023");
        r.info = info;
        r.index_size = 4;
        const uint16_t v[2] = {3, 4};
        ASSERT_EQ(store.InsertRecordWithIndex(r, v), 0);
    }
    QStringList Args(const QString& cmd, QStringList more = {}) {
        return QStringList{cmd, QStringLiteral("--db"), db} + more;
    }

    test::TempDir dir;
    QString db;
    QProcessEnvironment env;
};

TEST_F(CliDatabaseTest, CreateRefusesAnExistingFile) {
    const auto r = RunCli({QStringLiteral("create"), db}, env);
    EXPECT_EQ(r.exitCode, 2);
}

TEST_F(CliDatabaseTest, ListShowsBrowserNamesInNameOrder) {
    Insert(QStringLiteral("zeta"), 0, 1);
    Insert(QStringLiteral("alpha"), 1, 2);
    Insert(QStringLiteral("alpha"), 0, 2);
    const auto r = RunCli(Args(QStringLiteral("list")), env);
    ASSERT_EQ(r.exitCode, 0);
    const QStringList lines = r.OutLines();
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].endsWith(QStringLiteral("\talpha [2]")) ||
                lines[0].endsWith(QStringLiteral("\talpha [1]")));
    EXPECT_TRUE(lines[2].endsWith(QStringLiteral("\tzeta")));
    EXPECT_EQ(lines[2], QStringLiteral("1\tzeta"));
}

TEST_F(CliDatabaseTest, ShowPrintsTheTwelveRowsAndTheTags) {
    Insert(QStringLiteral("film"), 1, 3, QStringLiteral("Artist: X\nTitle: Y\n"));
    const auto r = RunCli(Args(QStringLiteral("show"), {QStringLiteral("1")}), env);
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.OutLines(), (QStringList{
                                QStringLiteral("Имя исходника=film"),
                                QStringLiteral("Исходный файл=/m/film.mkv"),
                                QStringLiteral("Размер исходника=1 234 567"),
                                QStringLiteral("SHA2 хэш=sfilm"),
                                QStringLiteral("MD5 хэш=film"),
                                QStringLiteral("Продолжительность=1:02:05 (3 725 сек)"),
                                QStringLiteral("Расширение=mkv"),
                                QStringLiteral("Тип=видео"),
                                QStringLiteral("Номер аудио дорожки=2"),
                                QStringLiteral("Всего аудио дорожек=3"),
                                QStringLiteral("Дата создания=05.06.2023"),
                                QStringLiteral("Размер индексного файла=4"),
                                QString(),
                                QStringLiteral("Artist: X"),
                                QStringLiteral("Title: Y"),
                            }));
    EXPECT_EQ(RunCli(Args(QStringLiteral("show"), {QStringLiteral("99")}), env).exitCode, 1);
    EXPECT_EQ(RunCli(Args(QStringLiteral("show"), {QStringLiteral("abc")}), env).exitCode, 2);
}

TEST_F(CliDatabaseTest, ClearAndVacuum) {
    Insert(QStringLiteral("a"), 0, 1);
    EXPECT_EQ(RunCli(Args(QStringLiteral("vacuum")), env).exitCode, 0);
    const auto r = RunCli(Args(QStringLiteral("clear")), env);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.OutLines(), QStringList{QStringLiteral("База данных успешно очищена!")});
    EXPECT_TRUE(RunCli(Args(QStringLiteral("list")), env).out.isEmpty());
}

TEST_F(CliDatabaseTest, ConnectionProblemsExitWithTwo) {
    const QString notDb = dir.Write(QStringLiteral("text.db"), QByteArray("hello"));
    const QString noTable = dir.File(QStringLiteral("empty.db"));
    {
        TDataModule1 store;
        ASSERT_TRUE(store.Connect(noTable));
    }
    const struct {
        const char* name;
        QStringList args;
    } cases[] = {
        {"missing file",
         {QStringLiteral("list"), QStringLiteral("--db"), dir.File(QStringLiteral("none.db"))}},
        {"not a database", {QStringLiteral("list"), QStringLiteral("--db"), notDb}},
        {"no table", {QStringLiteral("list"), QStringLiteral("--db"), noTable}},
        {"no database anywhere", {QStringLiteral("list")}},
    };
    for (const auto& c : cases) {
        const auto r = RunCli(c.args, env);
        EXPECT_EQ(r.exitCode, 2) << c.name;
        EXPECT_FALSE(r.err.isEmpty()) << c.name;
    }
}

}  // namespace
}  // namespace tembrix
