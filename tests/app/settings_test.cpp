// The program's own files: the settings INI file and where it and the program log live.

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

#include "app/settings.h"
#include "support/print_text.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

using test::ReadFile;

Settings NonDefault() {
    return {"/opt/ffmpeg/bin/ffmpeg", "/opt/sox/sox", "/mnt/ram", "/data/base.db", 3, false};
}

// All six values in one text, for comparing whole settings.
QString Text(const Settings& s) {
    return s.ffmpegPath + u'|' + s.soxPath + u'|' + s.workDir + u'|' + s.dbPath + u'|' +
           QString::number(s.threads) + (s.copyToWorkDir ? "|copy" : "|no copy");
}

// Catches a path changed on its way through the INI file or read from a hand-written one cut short, reading
// that creates or rewrites the file, and failures to read or write not shown.
TEST(Settings, RoundTripKeepsPathsWithAwkwardCharacters) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString ini = dir.File(QStringLiteral("tembrix.ini"));
    for (const QString path : {"/home/Музыка, старое/a;b/#c=d", " \"/back\\slash\" "}) {
        const Settings written{path + "/ffmpeg", path + "/sox", path + "/work", path, 3, false};
        ASSERT_TRUE(WriteSettings(ini, written));
        Settings read;
        EXPECT_TRUE(ReadSettings(ini, read, 64) && Text(written) == Text(read)) << path.toStdString();
    }
    // A hand-written value is taken whole, not cut at a comma, semicolon, backslash or quote.
    const QByteArray content =
        "\xEF\xBB\xBF; settings\r\n[Utils]\r\nFFMPEG=/opt/ff, mpeg/ffmpeg\r\nSOX = /opt/sox;1/sox \r\n"
        "[Dirs]\r\nWorkDir=/tmp/a\\b\r\n[DataBase]\r\nDBPath=\"/home/user/Музыка/база.db\"\r\n"
        "[Indexing]\r\nThreads=2\r\nCopyToWorkDir=0\r\n";
    Settings s;
    ASSERT_TRUE(ReadSettings(dir.Write("hand.ini", content), s, 8));
    EXPECT_EQ("/opt/ff, mpeg/ffmpeg|/opt/sox;1/sox|/tmp/a\\b|/home/user/Музыка/база.db|2|no copy", Text(s));
    const QString absent = dir.File("absent.ini");
    s = NonDefault();
    EXPECT_TRUE(ReadSettings(absent, s, 8) && Text(NonDefault()) == Text(s) && !QFileInfo::exists(absent));
    const QByteArray untouched = "[Indexing]\r\nThreads=2\r\n[Other]\r\nKey=1\r\n";
    ASSERT_TRUE(ReadSettings(dir.Write("tembrix.ini", untouched), s, 8));
    EXPECT_TRUE(untouched == ReadFile(ini) && messages.shown.isEmpty());
    s = NonDefault();
    ASSERT_TRUE(QDir().mkpath(dir.File("t.ini")));
    EXPECT_TRUE(!ReadSettings(dir.File("t.ini"), s, 8) && Text(NonDefault()) == Text(s));
    EXPECT_FALSE(WriteSettings(dir.Write("plain", "x") + "/t.ini", s));
    EXPECT_EQ((QStringList{"Ошибка чтения INI файла!", "Ошибка записи INI файла! "}), messages.shown);
}

// Catches a wrong section or key, the flag not written as 1/0, and other keys of the file lost.
TEST(Settings, WritesSectionsKeysAndBooleanAsOneOrZero) {
    test::TempDir dir;
    const QString ini =
        dir.Write(QStringLiteral("t.ini"), "[Window]\nLeft=10\n[Indexing]\nThreads=8\nExtra=keep me\n");
    Settings s = NonDefault();
    for (const bool copy : {false, true}) {
        s.copyToWorkDir = copy;
        ASSERT_TRUE(WriteSettings(ini, s));
        const QList<QByteArray> lines = ReadFile(ini).replace("\r\n", "\n").split('\n');
        for (const char* line :
             {"[Utils]", "FFMPEG=/opt/ffmpeg/bin/ffmpeg", "SOX=/opt/sox/sox", "[Dirs]", "WorkDir=/mnt/ram",
              "[DataBase]", "DBPath=/data/base.db", "[Indexing]", "Threads=3",
              copy ? "CopyToWorkDir=1" : "CopyToWorkDir=0", "[Window]", "Left=10", "Extra=keep me"}) {
            EXPECT_TRUE(lines.contains(QByteArray(line))) << line;
        }
        EXPECT_FALSE(lines.contains("Threads=8") ||
                     lines.contains(copy ? "CopyToWorkDir=0" : "CopyToWorkDir=1"));
    }
}

// Catches a key left unread, a bad number not read as the default, and the thread limit not capped.
TEST(Settings, ThreadsAndCopyFlagOnReading) {
    test::TempDir dir;
    for (const auto& [section, read] : {std::pair{"Threads=64\nCopyToWorkDir=1\n", "||||4|copy"},
                                        {"Threads=0\n", "||||0|copy"},
                                        {"Threads=many\nCopyToWorkDir=yes\n", "||||1|copy"},
                                        {"Threads= 2 \nCopyToWorkDir=7\n", "||||2|copy"},
                                        {"CopyToWorkDir=0\n", "||||1|no copy"}}) {
        Settings s{{}, {}, {}, {}, 99, !QByteArray(read).endsWith("|copy")};
        ASSERT_TRUE(ReadSettings(dir.Write("t.ini", QByteArray("[Indexing]\n") + section), s, 4));
        EXPECT_EQ(QString::fromUtf8(read), Text(s)) << section;
    }
}

// Catches the files put in the fall-back folder while the program folder is writable, or not moved
// there when it is not (a folder under a regular file, which stops even root); Locate creates nothing.
TEST(ProgramFiles, ProgramFolderOrFallBack) {
    test::TempDir dir;
    const QString dataHome = dir.File("data-home");
    const QByteArray oldHome = qgetenv("XDG_DATA_HOME");  // null when unset
    qputenv("XDG_DATA_HOME", dataHome.toUtf8());
    const auto restore = qScopeGuard(
        [&] { oldHome.isNull() ? qunsetenv("XDG_DATA_HOME") : qputenv("XDG_DATA_HOME", oldHome); });
    const auto where = [](const ProgramFiles& f) { return QStringList{f.programDir, f.iniPath, f.logPath}; };
    const QString prog = dir.File("prog");
    EXPECT_EQ(where(ProgramFiles::Settle(dir.Write("prog/tembrix", ""))),
              (QStringList{prog, prog + "/tembrix.ini", prog + "/tembrix.log"}));
    EXPECT_FALSE(QFileInfo::exists(dataHome));
    const QString program = dir.Write("blocker", "") + "/bin/tembrix", folder = dataHome + "/Вокалис";
    EXPECT_EQ(folder, FallbackSettingsFolder());
    const QStringList located = where(ProgramFiles::Locate(program)).mid(1);
    EXPECT_EQ(located, (QStringList{folder + "/tembrix.ini", folder + "/tembrix.log"}));
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_EQ(where(ProgramFiles::Settle(program)).mid(1), located);
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

}  // namespace
}  // namespace tembrix
