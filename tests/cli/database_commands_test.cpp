// tembrix-cli envelope, create, list, show, clear and vacuum, run as a separate process: arguments,
// output format and exit codes.

#include <gtest/gtest.h>

#include <QFile>
#include <QtEndian>

#include "database/index_store.h"
#include "support/cli_runner.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::RunCli;

TEST(CliEnvelope, WritesTheBlobAndPrintsItsFigures) {
    test::TempDir dir;
    // 2.5 blocks: block 0 peaks 1000 in every sub-block, block 1 holds one -32768, then 240 samples.
    QByteArray raw(1200 * 2, '\0');
    for (int sub = 0; sub < 10; ++sub) {
        qToLittleEndian<int16_t>(-1000, raw.data() + 2 * sub * 48);
    }
    qToLittleEndian<int16_t>(-32768, raw.data() + 2 * 485);
    raw.append('\x01');  // odd byte: ignored
    const QString out = dir.File(QStringLiteral("out.env"));
    const auto r = RunCli({QStringLiteral("envelope"), dir.Write(QStringLiteral("in.dat"), raw), out});
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
    const QString e = QStringLiteral("envelope");
    const QStringList cases[] = {
        {e},
        {e, dir.File(QStringLiteral("none.dat")), dir.File(QStringLiteral("o"))},
        {e, dir.Write(QStringLiteral("x.dat"), QByteArray(960, 'a')), dir.File(QStringLiteral("no/dir/o"))},
        {e, QStringLiteral("--fast"), QStringLiteral("a"), QStringLiteral("b")},
        {QStringLiteral("no-such-command")},
        {},
    };
    for (const QStringList& args : cases) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const auto r = RunCli(args);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_FALSE(r.err.isEmpty());
    }
    EXPECT_EQ(RunCli({QStringLiteral("--help")}).exitCode, 0);
}

class CliDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        db = dir.File(QStringLiteral("x.db"));
        // A settings folder of its own, so no desktop settings leak into --db defaults.
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
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
    test::CliResult Run(const char* command, QStringList more = {}) {
        return RunCli(QStringList{QString::fromUtf8(command), QStringLiteral("--db"), db} + more, env);
    }

    test::TempDir dir;
    QString db;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

TEST_F(CliDatabaseTest, ListShowClearAndVacuum) {
    EXPECT_EQ(RunCli({QStringLiteral("create"), db}, env).exitCode, 2);  // refuses an existing file
    Insert(QStringLiteral("zeta"), 0, 1);
    Insert(QStringLiteral("film"), 1, 3, QStringLiteral("Artist: X\nTitle: Y\n"));
    const auto list = Run("list");
    ASSERT_EQ(list.exitCode, 0);
    EXPECT_EQ(list.OutLines(), (QStringList{QStringLiteral("2\tfilm [2]"), QStringLiteral("1\tzeta")}));

    const auto show = Run("show", {QStringLiteral("2")});
    ASSERT_EQ(show.exitCode, 0) << show.err.toStdString();
    EXPECT_EQ(show.out,
              QString("Имя исходника=film\nИсходный файл=/m/film.mkv\nРазмер исходника=1 234 567\n"
                      "SHA2 хэш=sfilm\nMD5 хэш=film\nПродолжительность=1:02:05 (3 725 сек)\nРасширение=mkv\n"
                      "Тип=видео\nНомер аудио дорожки=2\nВсего аудио дорожек=3\nДата создания=05.06.2023\n"
                      "Размер индексного файла=4\n\nArtist: X\nTitle: Y\n"));
    EXPECT_EQ(Run("show", {QStringLiteral("99")}).exitCode, 1);
    EXPECT_EQ(Run("show", {QStringLiteral("abc")}).exitCode, 2);

    EXPECT_EQ(Run("vacuum").exitCode, 0);
    const auto clear = Run("clear");
    EXPECT_EQ(clear.exitCode, 0);
    EXPECT_EQ(clear.OutLines(), QStringList{QStringLiteral("База данных успешно очищена!")});
    EXPECT_TRUE(Run("list").out.isEmpty());
}

TEST_F(CliDatabaseTest, ConnectionProblemsExitWithTwo) {
    const QString noTable = dir.File(QStringLiteral("empty.db"));
    ASSERT_TRUE(TDataModule1().Connect(noTable));
    const QStringList cases[] = {
        {QStringLiteral("list"), QStringLiteral("--db"), dir.File(QStringLiteral("none.db"))},
        {QStringLiteral("list"), QStringLiteral("--db"), dir.Write(QStringLiteral("text.db"), "hello")},
        {QStringLiteral("list"), QStringLiteral("--db"), noTable},
        {QStringLiteral("list")},  // no database anywhere
    };
    for (const QStringList& args : cases) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const auto r = RunCli(args, env);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_FALSE(r.err.isEmpty());
    }
}

}  // namespace
}  // namespace tembrix
