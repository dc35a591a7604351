// The program's own files: the settings INI file, where it and the program log live, and the three logs
// (one whole time-stamped line per call even when threads write at once).

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSet>
#include <ostream>
#include <thread>
#include <vector>

#include "app/settings.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"
#include "util/logs.h"

// Readable failure messages for texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

QByteArray ReadBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

Settings NonDefault() {
    return Settings{QStringLiteral("/opt/ffmpeg/bin/ffmpeg"),
                    QStringLiteral("/opt/sox/sox"),
                    QStringLiteral("/mnt/ram"),
                    QStringLiteral("/data/base.db"),
                    3,
                    false};
}

// All six values in one text, for comparing whole settings.
QString Text(const Settings& s) {
    return QStringLiteral("%1|%2|%3|%4|%5|%6")
        .arg(s.ffmpegPath, s.soxPath, s.workDir, s.dbPath, QString::number(s.threads),
             s.copyToWorkDir ? QStringLiteral("copy") : QStringLiteral("no copy"));
}

TEST(Settings, RoundTripKeepsPathsWithAwkwardCharacters) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString ini = dir.File(QStringLiteral("tembrix.ini"));
    for (const QString& path :
         {QStringLiteral("/home/user/Музыка, старое/база.db"), QStringLiteral("/tmp/a;b/#c"),
          QStringLiteral("/tmp/back\\slash/x"), QStringLiteral(" /leading and trailing blank "),
          QStringLiteral("\"/quoted\""), QStringLiteral("key=value/path")}) {
        SCOPED_TRACE(path.toStdString());
        Settings written = NonDefault();
        written.dbPath = path;
        written.workDir = path + QStringLiteral("/work");
        ASSERT_TRUE(WriteSettings(ini, written));
        Settings read;
        ASSERT_TRUE(ReadSettings(ini, read, 64));
        EXPECT_EQ(Text(written), Text(read));
    }
    EXPECT_TRUE(messages.shown.isEmpty());
}

// Whatever else the file holds is kept when writing; the flag is written as 1 or 0.
TEST(Settings, WritesSectionsKeysAndBooleanAsOneOrZero) {
    test::TempDir dir;
    const QString ini =
        dir.Write(QStringLiteral("t.ini"), "[Window]\nLeft=10\n[Indexing]\nThreads=8\nExtra=keep me\n");
    Settings s = NonDefault();
    for (const char* flag : {"CopyToWorkDir=0", "CopyToWorkDir=1"}) {
        ASSERT_TRUE(WriteSettings(ini, s));
        const QList<QByteArray> lines = ReadBytes(ini).replace("\r\n", "\n").split('\n');
        for (const char* line : {"[Utils]", "FFMPEG=/opt/ffmpeg/bin/ffmpeg", "SOX=/opt/sox/sox", "[Dirs]",
                                 "WorkDir=/mnt/ram", "[DataBase]", "DBPath=/data/base.db", "[Indexing]",
                                 "Threads=3", flag, "[Window]", "Left=10", "Extra=keep me"}) {
            EXPECT_TRUE(lines.contains(QByteArray(line))) << line;
        }
        EXPECT_FALSE(lines.contains("Threads=8") ||
                     lines.contains(s.copyToWorkDir ? "CopyToWorkDir=0" : "CopyToWorkDir=1"));
        s.copyToWorkDir = true;
    }
}

// A key that is missing or does not hold a number reads as the key's default (the paths as empty); then
// the thread limit is clamped from above only.
TEST(Settings, ThreadsAndCopyFlagOnReading) {
    const struct {
        const char* indexingSection;
        const char* read;
    } cases[] = {{"Threads=64\nCopyToWorkDir=1\n", "||||4|copy"},
                 {"Threads=0\n", "||||0|copy"},
                 {"Threads=many\nCopyToWorkDir=yes\n", "||||1|copy"},
                 {"Threads= 2 \nCopyToWorkDir=7\n", "||||2|copy"},
                 {"CopyToWorkDir=0\n", "||||1|no copy"}};
    test::TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.indexingSection);
        // Start from other values, so that a key left unread would show.
        Settings s = NonDefault();
        s.threads = 99;
        s.copyToWorkDir = !QByteArray(c.read).endsWith("|copy");
        ASSERT_TRUE(ReadSettings(
            dir.Write(QStringLiteral("t.ini"), QByteArray("[Indexing]\n") + c.indexingSection), s, 4));
        EXPECT_EQ(QString::fromUtf8(c.read), Text(s));
    }
}

// A file written by hand or by another INI writer: each value runs to the end of its line.
TEST(Settings, HandWrittenValuesAreTakenWhole) {
    test::TempDir dir;
    const QByteArray content =
        "\xEF\xBB\xBF; settings\r\n[Utils]\r\nFFMPEG=/opt/ff, mpeg/ffmpeg\r\nSOX = /opt/sox;1/sox \r\n"
        "[Dirs]\r\nWorkDir=/tmp/a\\b\r\n[DataBase]\r\nDBPath=\"/home/user/Музыка/база.db\"\r\n"
        "[Indexing]\r\nThreads=2\r\nCopyToWorkDir=0\r\n";
    Settings s;
    ASSERT_TRUE(ReadSettings(dir.Write(QStringLiteral("t.ini"), content), s, 8));
    EXPECT_EQ(
        QStringLiteral("/opt/ff, mpeg/ffmpeg|/opt/sox;1/sox|/tmp/a\\b|/home/user/Музыка/база.db|2|no copy"),
        Text(s));
}

// Reading never creates the file nor changes one. A folder where the INI file should be cannot be read;
// a place below a regular file cannot be written.
TEST(Settings, ReadingChangesNoFileAndFailuresSaySo) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString absent = dir.File(QStringLiteral("absent.ini"));
    Settings s = NonDefault();
    EXPECT_TRUE(ReadSettings(absent, s, 8));
    EXPECT_EQ(Text(NonDefault()), Text(s));
    EXPECT_FALSE(QFileInfo::exists(absent));
    const QByteArray content = "[Indexing]\r\nThreads=2\r\n[Other]\r\nKey=1\r\n";
    const QString ini = dir.Write(QStringLiteral("tembrix.ini"), content);
    ASSERT_TRUE(ReadSettings(ini, s, 8));
    EXPECT_EQ(content, ReadBytes(ini));
    EXPECT_TRUE(messages.shown.isEmpty());

    s = NonDefault();
    ASSERT_TRUE(QDir().mkpath(dir.File(QStringLiteral("t.ini"))));
    EXPECT_FALSE(ReadSettings(dir.File(QStringLiteral("t.ini")), s, 8));
    EXPECT_EQ(Text(NonDefault()), Text(s));
    EXPECT_FALSE(WriteSettings(dir.Write(QStringLiteral("plain"), "x") + QStringLiteral("/t.ini"), s));
    EXPECT_EQ((QStringList{QStringLiteral("Ошибка чтения INI файла!"),
                           QStringLiteral("Ошибка записи INI файла! ")}),
              messages.shown);
}

// A writable program folder holds both files. Otherwise (here the folder lies under a regular file, which
// stops even root) they go to the fall-back folder, which Locate only names and Settle creates.
TEST(ProgramFiles, ProgramFolderOrFallBack) {
    test::TempDir dir;
    const QString dataHome = dir.File(QStringLiteral("data-home"));
    const bool hadHome = qEnvironmentVariableIsSet("XDG_DATA_HOME");
    const QByteArray oldHome = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", dataHome.toUtf8());
    const auto restore =
        qScopeGuard([&] { hadHome ? qputenv("XDG_DATA_HOME", oldHome) : qunsetenv("XDG_DATA_HOME"); });
    const ProgramFiles files = ProgramFiles::Settle(dir.Write(QStringLiteral("prog/tembrix"), ""));
    EXPECT_EQ(dir.File(QStringLiteral("prog")), files.programDir);
    EXPECT_EQ(dir.File(QStringLiteral("prog/tembrix.ini")), files.iniPath);
    EXPECT_EQ(dir.File(QStringLiteral("prog/tembrix.log")), files.logPath);
    EXPECT_FALSE(QFileInfo::exists(dataHome));

    const QString program = dir.Write(QStringLiteral("blocker"), "") + QStringLiteral("/bin/tembrix");
    const QString folder = dataHome + QStringLiteral("/Вокалис");
    EXPECT_EQ(folder, FallbackSettingsFolder());
    const ProgramFiles located = ProgramFiles::Locate(program);
    EXPECT_EQ(folder + QStringLiteral("/tembrix.ini"), located.iniPath);
    EXPECT_EQ(folder + QStringLiteral("/tembrix.log"), located.logPath);
    EXPECT_FALSE(QFileInfo::exists(folder));
    const ProgramFiles settled = ProgramFiles::Settle(program);
    EXPECT_EQ(located.iniPath, settled.iniPath);
    EXPECT_EQ(located.logPath, settled.logPath);
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

// The lines of a UTF-8 log file, which must end with a line feed.
QStringList LogLines(const QString& path) {
    const QString text = QString::fromUtf8(ReadBytes(path));
    EXPECT_TRUE(text.endsWith(u'\n')) << path.toStdString();
    return text.split(u'\n').mid(0, text.count(u'\n'));
}

// Checks "<stamp><separator><message>" with a stamp of the current local time, and returns the message.
QString MessageOf(const QString& line, QChar separator) {
    const QDateTime when = QDateTime::fromString(line.left(19), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    EXPECT_TRUE(when.isValid() && qAbs(when.secsTo(QDateTime::currentDateTime())) <= 120)
        << line.toStdString();
    EXPECT_EQ(QString(separator), line.mid(19, 1)) << line.toStdString();
    return line.mid(20);
}

// The run's first line starts the log afresh (each run: the start-up tests); a log that cannot be opened,
// or has no path, fails.
TEST(Logs, ProgramLogIsResetOnceAndThenAppended) {
    test::TempDir dir;
    const QString log = dir.Write(QStringLiteral("tembrix.log"), "left from the last run\n");
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Read Ini file"), false));
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Ошибка: путь/к файлу"), true));
    const QStringList lines = LogLines(log);
    ASSERT_EQ(2, lines.size());
    EXPECT_EQ(QStringLiteral("Read Ini file"), MessageOf(lines[0], u' '));
    EXPECT_EQ(QStringLiteral("Ошибка: путь/к файлу"), MessageOf(lines[1], u' '));
    EXPECT_FALSE(WriteProgramLog(dir.Write(QStringLiteral("plain"), "x") + QStringLiteral("/tembrix.log"),
                                 QStringLiteral("m"), false));
    EXPECT_FALSE(WriteProgramLog(QString(), QStringLiteral("m"), true));
}

// Once the locations are settled the program log and my.log (beside the program, never reset) take lines;
// before that they are not written anywhere, while errors.log always goes to the current folder, with a tab.
TEST(Logs, StoreAndErrorLogs) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    dir.Write(QStringLiteral("my.log"), QByteArray("2020-01-01 00:00:00 older line\n"));
    const auto reset = qScopeGuard([] { SetLogLocations(QString(), QString()); });
    SetLogLocations(log, dir.Path());
    EXPECT_EQ(log, ProgramLogPath());
    ProgramLog(QStringLiteral("Init completed"));
    WriteStoreLog(QStringLiteral("Query insert error!"));
    const QStringList program = LogLines(log);
    ASSERT_EQ(1, program.size());
    EXPECT_EQ(QStringLiteral("Init completed"), MessageOf(program[0], u' '));
    const QStringList store = LogLines(dir.File(QStringLiteral("my.log")));
    ASSERT_EQ(2, store.size());
    EXPECT_EQ(QStringLiteral("2020-01-01 00:00:00 older line"), store[0]);
    EXPECT_EQ(QStringLiteral("Query insert error!"), MessageOf(store[1], u' '));

    test::TempDir current;
    SetLogLocations(QString(), QString());
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(current.Path()));
    ProgramLog(QStringLiteral("lost"));
    WriteStoreLog(QStringLiteral("lost"));
    WriteErrorLog(QStringLiteral("first"));
    WriteErrorLog(QStringLiteral("second\tpart"));
    ASSERT_TRUE(QDir::setCurrent(previous));
    EXPECT_EQ(QStringList{QStringLiteral("errors.log")},
              QDir(current.Path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    const QStringList lines = LogLines(current.File(QStringLiteral("errors.log")));
    ASSERT_EQ(2, lines.size());
    EXPECT_EQ(QStringLiteral("first"), MessageOf(lines[0], u'\t'));
    EXPECT_EQ(QStringLiteral("second\tpart"), MessageOf(lines[1], u'\t'));
}

TEST(Logs, ThreadsWritingAtOnceLeaveWholeLines) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    const auto reset = qScopeGuard([] { SetLogLocations(QString(), QString()); });
    SetLogLocations(log, dir.Path());
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kLines; ++i) {
                ProgramLog(QStringLiteral("worker %1 line %2 %3").arg(t).arg(i).arg(QString(40, u'ж')));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const QStringList lines = LogLines(log);
    ASSERT_EQ(kThreads * kLines, lines.size());
    QSet<QString> seen;
    for (const QString& line : lines) {
        const QString message = MessageOf(line, u' ');
        EXPECT_TRUE(message.endsWith(QString(40, u'ж'))) << line.toStdString();
        seen.insert(message);
    }
    EXPECT_EQ(kThreads * kLines, seen.size());
}

}  // namespace
}  // namespace tembrix
