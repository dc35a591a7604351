// tembrix-cli index, run as a separate process on media made at test time with the real tools.

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include "database/index_store.h"
#include "database/sqlite.h"
#include "support/cli_runner.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

using test::MediaFixtures;
using test::RunCli;
using test::TempDir;

// A settings folder of its own, so no desktop settings leak in.
QProcessEnvironment IsolatedEnv(const TempDir& dir) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dir.File(QStringLiteral("xdg")));
    return env;
}

QString NewDatabase(const TempDir& dir) {
    const QString db = dir.File(QStringLiteral("index.db"));
    TDataModule1 store;
    store.Connect(db);
    store.CreateTable();
    return db;
}

QString Place(const TempDir& dir, const QString& fixture, const QString& name) {
    const QString path = dir.File(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile::copy(fixture, path);
    return path;
}

// "source_path/audio_track/all_tracks" of every row, in path order.
QStringList Rows(const QString& db) {
    QStringList rows;
    SqliteConnection c;
    if (c.Open(db)) {
        SqliteStatement q(c.Handle(), "SELECT source_path, audio_track, all_tracks FROM Data ORDER BY 1, 2");
        while (q.Next()) {
            rows.append(q.Text(0) + u'/' + q.Text(1) + u'/' + q.Text(2));
        }
    }
    return rows;
}

QStringList Counters(int files, int done, int errors, int already, int inWork, int left) {
    return {QStringLiteral("Кол-во файлов: %1").arg(files),
            QStringLiteral("Обработано: %1").arg(done),
            QStringLiteral("Ошибка: %1").arg(errors),
            QStringLiteral("Проиндексировано ранее: %1").arg(already),
            QStringLiteral("В обработке: %1").arg(inWork),
            QStringLiteral("Осталось: %1").arg(left)};
}

// The report lines (everything before the six counters), sorted: two workers finish in either order.
QStringList ReportLines(const QStringList& out) {
    QStringList report = out.mid(0, std::max<qsizetype>(0, out.size() - 6));
    report.sort();
    return report;
}

QStringList Sorted(QStringList l) {
    l.sort();
    return l;
}

// The worker's own results (hashes, envelopes, tags) are checked by the indexing tests; here the command's
// folder walk, report, counters and exit codes.
TEST(CliIndex, FolderIsWalkedReportedAndCountedAndASecondRunFindsItIndexed) {
    TempDir dir;
    const QString db = NewDatabase(dir);
    auto& fx = MediaFixtures::Instance();
    const QString mp3 =
        Place(dir, fx.Tone(QStringLiteral(".mp3"), 61), QStringLiteral("media/Песня \"один\" 'A'.mp3"));
    const QString mkv = Place(dir, fx.Video(3), QStringLiteral("media/film.mkv"));
    const QString shortWav =
        Place(dir, fx.Tone(QStringLiteral(".wav"), 59), QStringLiteral("media/short.wav"));
    const QString deep =
        Place(dir, fx.Tone(QStringLiteral(".ogg"), 61), QStringLiteral("media/sub/deep.ogg"));
    Place(dir, fx.Tone(QStringLiteral(".mp3"), 61, 2),
          QStringLiteral("media/CAPITAL.MP3"));  // not recognised
    dir.Write(QStringLiteral("media/notes.txt"), "not media");
    const QStringList args = {QStringLiteral("index"),
                              QStringLiteral("--db"),
                              db,
                              QStringLiteral("--threads"),
                              QStringLiteral("2"),
                              QStringLiteral("--sox"),
                              test::RealSox(),
                              QStringLiteral("--ffmpeg"),
                              test::RealFfmpeg(),
                              dir.File(QStringLiteral("media"))};
    const QString ok = QStringLiteral("Обработан успешно: ");
    const QString tooShort = QStringLiteral("Очень маленький размер аудио данных! - ") + shortWav;

    auto r = RunCli(args, IsolatedEnv(dir));
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();  // the short file failed
    QStringList out = r.OutLines();
    EXPECT_EQ(ReportLines(out), Sorted({ok + mp3, ok + mkv, ok + deep, tooShort}));
    EXPECT_EQ(out.mid(out.size() - 6), Counters(4, 3, 1, 0, 0, 0));
    EXPECT_TRUE(r.err.contains(QStringLiteral("Задание выполнено!")));
    EXPECT_FALSE(r.err.contains(QStringLiteral("files ")));  // no progress line off a terminal
    const QStringList rows = {mkv + "/0/3", mkv + "/1/3", mkv + "/2/3", deep + "/0/1", mp3 + "/0/1"};
    EXPECT_EQ(Rows(db), rows);

    const QString already = QStringLiteral("Уже проиндексирован - ");
    r = RunCli(args, IsolatedEnv(dir));
    EXPECT_EQ(r.exitCode, 1);
    out = r.OutLines();
    EXPECT_EQ(ReportLines(out), Sorted({already + mp3, already + mkv, already + deep, tooShort}));
    EXPECT_EQ(out.mid(out.size() - 6), Counters(4, 0, 1, 3, 0, 0));
    EXPECT_EQ(Rows(db), rows);
}

// Tools given by bare name are found on PATH, although they run in the work folder.
TEST(CliIndex, ListFilesAndRelativePathsAreQueuedWithFullPaths) {
    TempDir dir;
    const QString db = NewDatabase(dir);
    auto& fx = MediaFixtures::Instance();
    const QString a = Place(dir, fx.Tone(QStringLiteral(".flac"), 61, 2), QStringLiteral("a.flac"));
    const QString b = Place(dir, fx.Tone(QStringLiteral(".mp3"), 61, 1), QStringLiteral("b c.mp3"));
    const QString c = Place(dir, fx.Tone(QStringLiteral(".wav"), 61, 3), QStringLiteral("c.wav"));
    // BOM, CR LF, a duplicate, an empty line and a vanished file are all taken as the window takes them.
    const QString list =
        dir.Write(QStringLiteral("files.list"), QByteArray("\xEF\xBB\xBF") + a.toUtf8() + "\r\n" +
                                                    b.toUtf8() + "\r\n\r\n" + a.toUtf8() + "\r\n" +
                                                    dir.File(QStringLiteral("gone.txt")).toUtf8() + "\r\n");
    QProcess p;
    p.setWorkingDirectory(dir.Path());
    p.setProcessEnvironment(IsolatedEnv(dir));
    p.start(test::BinPath(QStringLiteral("tembrix-cli")),
            QStringList{QStringLiteral("index"), QStringLiteral("--db"), db, QStringLiteral("--no-copy"),
                        QStringLiteral("--sox"), QStringLiteral("sox"), QStringLiteral("--ffmpeg"),
                        QStringLiteral("ffmpeg"), list, QStringLiteral("c.wav")});
    ASSERT_TRUE(p.waitForFinished(120000));
    const QString out = QString::fromUtf8(p.readAllStandardOutput());
    EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
    const QStringList lines = out.split(u'\n', Qt::SkipEmptyParts);
    const QString ok = QStringLiteral("Обработан успешно: ");
    EXPECT_EQ(ReportLines(lines), Sorted({ok + a, ok + b, ok + c}));
    EXPECT_EQ(lines.mid(lines.size() - 6), Counters(3, 3, 0, 0, 0, 0));
    EXPECT_EQ(Rows(db), (QStringList{a + "/0/1", b + "/0/1", c + "/0/1"}));  // stored with full paths
}

TEST(CliIndex, UsageAndConfigurationErrorsExitWithTwo) {
    TempDir dir;
    const QString db = NewDatabase(dir);
    const QString media =
        Place(dir, MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61), QStringLiteral("a.wav"));
    const QString text = dir.Write(QStringLiteral("notes.txt"), "x");
    const QString bare = dir.File(QStringLiteral("bare.db"));
    SqliteConnection().Open(bare);
    const QString i = QStringLiteral("index");
    const QString dbOpt = QStringLiteral("--db");
    const struct {
        const char* name;
        QStringList args;
        const char* says;
    } cases[] = {
        {"no paths", {i, dbOpt, db}, "Usage: tembrix-cli index"},
        {"unknown option", {i, dbOpt, db, QStringLiteral("--fast"), media}, "Unknown option --fast"},
        {"zero threads",
         {i, dbOpt, db, QStringLiteral("--threads"), QStringLiteral("0"), media},
         "--threads"},
        {"word for threads",
         {i, dbOpt, db, QStringLiteral("--threads"), QStringLiteral("two"), media},
         "--threads"},
        {"missing path", {i, dbOpt, db, dir.File(QStringLiteral("none.mp3"))}, "Не найден файл: "},
        {"missing database", {i, dbOpt, dir.File(QStringLiteral("none.db")), media}, "Не найден файл: "},
        {"database without table", {i, dbOpt, bare, media}, "no table Data"},
        {"nothing to queue", {i, dbOpt, db, text}, "Добавьте в список аудио или видео файлы!"},
        {"work folder missing",
         {i, dbOpt, db, QStringLiteral("--work-dir"), dir.File(QStringLiteral("nowhere")), media},
         "Выберите рабочий каталог!"},
        {"no ffmpeg",
         {i, dbOpt, db, QStringLiteral("--ffmpeg"), dir.File(QStringLiteral("ffmpeg")), media},
         "Отсутствует утилита FFMPEG! Установите её пожалуйста и укажите её путь!"},
        {"no sox",
         {i, dbOpt, db, QStringLiteral("--sox"), dir.File(QStringLiteral("sox")), media},
         "Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto r = RunCli(c.args, IsolatedEnv(dir));
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.err.contains(QString::fromUtf8(c.says))) << r.err.toStdString();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.toStdString();
    }
    EXPECT_TRUE(Rows(db).empty());
}

TEST(CliIndex, CtrlCStopsTheJobLikeTheStopCommand) {
    TempDir dir;
    const QString db = NewDatabase(dir);
    const QString work = dir.File(QStringLiteral("work"));
    QDir().mkpath(work);
    const QString started = dir.File(QStringLiteral("started"));
    const QString sox = test::WriteFakeTool(
        dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
        QStringLiteral("touch '%1'; sleep 1; exec '%2' \"$@\"").arg(started, test::RealSox()));
    QStringList files;
    for (int v = 0; v < 3; ++v) {
        files.append(Place(dir, MediaFixtures::Instance().Tone(QStringLiteral(".flac"), 61, v),
                           QStringLiteral("m%1.flac").arg(v)));
    }
    QProcess p;
    p.setProcessEnvironment(IsolatedEnv(dir));
    // A process group of its own, as a shell gives a job: the terminal's Ctrl+C goes to the whole group.
    p.setChildProcessModifier([] { ::setpgid(0, 0); });
    p.start(test::BinPath(QStringLiteral("tembrix-cli")),
            QStringList{QStringLiteral("index"), QStringLiteral("--db"), db, QStringLiteral("--threads"),
                        QStringLiteral("1"), QStringLiteral("--work-dir"), work, QStringLiteral("--sox"), sox,
                        QStringLiteral("--ffmpeg"), test::RealFfmpeg()} +
                files);
    ASSERT_TRUE(p.waitForStarted());
    QDeadlineTimer deadline(60000);
    while (!QFileInfo::exists(started) && !deadline.hasExpired()) {
        QThread::msleep(10);
    }
    ASSERT_TRUE(QFileInfo::exists(started));
    ::kill(-static_cast<pid_t>(p.processId()), SIGINT);
    ASSERT_TRUE(p.waitForFinished(120000));
    const QString out = QString::fromUtf8(p.readAllStandardOutput());
    const QString err = QString::fromUtf8(p.readAllStandardError());
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 1);
    const QStringList lines = out.split(u'\n', Qt::SkipEmptyParts);
    EXPECT_EQ(lines, QStringList{QStringLiteral("Остановлен: ") + files[0]} + Counters(3, 0, 0, 0, 0, 2));
    EXPECT_TRUE(err.contains(QStringLiteral("Индексация остановлена!"))) << err.toStdString();
    EXPECT_FALSE(err.contains(QStringLiteral("Задание выполнено!")));
    // The slot folders are gone, data.dat with them; the work folder itself stays.
    EXPECT_TRUE(QDir(work).exists());
    EXPECT_TRUE(QDir(work).isEmpty());
}

TEST(CliIndex, ProgressLineOnATerminal) {
    TempDir dir;
    const QString db = NewDatabase(dir);
    const QString media =
        Place(dir, MediaFixtures::Instance().Tone(QStringLiteral(".flac"), 61), QStringLiteral("a.flac"));
    // script(1) gives the program a terminal; a slow SoX keeps the job running past a progress tick.
    const QString sox =
        test::WriteFakeTool(dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
                            QStringLiteral("sleep 1.5; exec '%1' \"$@\"").arg(test::RealSox()));
    const QStringList command = {test::BinPath(QStringLiteral("tembrix-cli")),
                                 QStringLiteral("index"),
                                 QStringLiteral("--db"),
                                 db,
                                 QStringLiteral("--sox"),
                                 sox,
                                 QStringLiteral("--ffmpeg"),
                                 test::RealFfmpeg(),
                                 media};
    QStringList quoted;
    for (const QString& a : command) {
        quoted.append(u'\'' + a + u'\'');
    }
    QProcess p;
    p.setProcessEnvironment(IsolatedEnv(dir));
    p.start(QStringLiteral("script"),
            {QStringLiteral("-qec"), quoted.join(u' '), QStringLiteral("/dev/null")});
    if (!p.waitForStarted()) {
        GTEST_SKIP() << "script(1) is not available";
    }
    ASSERT_TRUE(p.waitForFinished(120000));
    const QString all = QString::fromUtf8(p.readAll());
    EXPECT_TRUE(all.contains(QStringLiteral("files 0/1, tracks 0, audio 0.00 h, elapsed 0:00:0")))
        << all.toStdString();
    EXPECT_TRUE(all.contains(QStringLiteral("Обработан успешно: ") + media));
}

}  // namespace
}  // namespace tembrix
