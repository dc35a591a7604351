// The settings INI file: what is written, what is read back, the defaults and clamps on reading, and
// where the file lives when the program folder cannot take it.

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <ostream>

#include "app/settings.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

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

// Lines of a text file without their line ends.
QList<QByteArray> Lines(const QString& path) {
    QList<QByteArray> lines = ReadBytes(path).split('\n');
    for (QByteArray& line : lines) {
        if (line.endsWith('\r')) {
            line.chop(1);
        }
    }
    return lines;
}

Settings NonDefault() {
    Settings s;
    s.ffmpegPath = QStringLiteral("/opt/ffmpeg/bin/ffmpeg");
    s.soxPath = QStringLiteral("/opt/sox/sox");
    s.workDir = QStringLiteral("/mnt/ram");
    s.dbPath = QStringLiteral("/data/base.db");
    s.threads = 3;
    s.copyToWorkDir = false;
    return s;
}

void ExpectSame(const Settings& expected, const Settings& actual) {
    EXPECT_EQ(expected.ffmpegPath, actual.ffmpegPath);
    EXPECT_EQ(expected.soxPath, actual.soxPath);
    EXPECT_EQ(expected.workDir, actual.workDir);
    EXPECT_EQ(expected.dbPath, actual.dbPath);
    EXPECT_EQ(expected.threads, actual.threads);
    EXPECT_EQ(expected.copyToWorkDir, actual.copyToWorkDir);
}

TEST(Settings, RoundTripKeepsPathsWithAwkwardCharacters) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString ini = dir.File(QStringLiteral("tembrix.ini"));
    const QStringList awkward = {
        QStringLiteral("/home/user/Музыка, старое/база.db"),
        QStringLiteral("/tmp/a;b/#c"),
        QStringLiteral("/tmp/back\\slash/x"),
        QStringLiteral(" /leading and trailing blank "),
        QStringLiteral("\"/quoted\""),
        QStringLiteral("key=value/path"),
    };
    for (const QString& path : awkward) {
        SCOPED_TRACE(path.toStdString());
        Settings written = NonDefault();
        written.dbPath = path;
        written.workDir = path + QStringLiteral("/work");
        ASSERT_TRUE(WriteSettings(ini, written));
        Settings read;
        ASSERT_TRUE(ReadSettings(ini, read, 64));
        ExpectSame(written, read);
    }
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST(Settings, WritesSectionsKeysAndBooleanAsOneOrZero) {
    test::TempDir dir;
    const QString ini = dir.File(QStringLiteral("tembrix.ini"));
    Settings s = NonDefault();
    ASSERT_TRUE(WriteSettings(ini, s));
    const QList<QByteArray> off = Lines(ini);
    for (const char* line :
         {"[Utils]", "FFMPEG=/opt/ffmpeg/bin/ffmpeg", "SOX=/opt/sox/sox", "[Dirs]", "WorkDir=/mnt/ram",
          "[DataBase]", "DBPath=/data/base.db", "[Indexing]", "Threads=3", "CopyToWorkDir=0"}) {
        EXPECT_TRUE(off.contains(QByteArray(line))) << line;
    }
    s.copyToWorkDir = true;
    ASSERT_TRUE(WriteSettings(ini, s));
    const QList<QByteArray> on = Lines(ini);
    EXPECT_TRUE(on.contains(QByteArray("CopyToWorkDir=1")));
    EXPECT_FALSE(on.contains(QByteArray("CopyToWorkDir=0")));
}

TEST(Settings, MissingFileChangesNothingAndIsNotCreated) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString ini = dir.File(QStringLiteral("absent.ini"));

    Settings fresh;
    EXPECT_TRUE(ReadSettings(ini, fresh, 8));
    ExpectSame(Settings{}, fresh);
    EXPECT_TRUE(fresh.copyToWorkDir);
    EXPECT_EQ(1, fresh.threads);

    Settings changed = NonDefault();
    EXPECT_TRUE(ReadSettings(ini, changed, 8));
    ExpectSame(NonDefault(), changed);

    EXPECT_FALSE(QFileInfo::exists(ini));
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST(Settings, ReadingLeavesAnExistingFileUntouched) {
    test::TempDir dir;
    const QByteArray content = "[Indexing]\r\nThreads=2\r\n[Other]\r\nKey=1\r\n";
    const QString ini = dir.Write(QStringLiteral("tembrix.ini"), content);
    Settings s;
    ASSERT_TRUE(ReadSettings(ini, s, 8));
    EXPECT_EQ(content, ReadBytes(ini));
}

// A key that is missing or does not hold a number reads as the key's default; then the thread limit is
// clamped from above only.
TEST(Settings, ThreadsAndCopyFlagOnReading) {
    struct Case {
        const char* indexingSection;
        int processors;
        int threads;
        bool copy;
    };
    const Case cases[] = {
        {"Threads=64\nCopyToWorkDir=1\n", 4, 4, true},
        {"Threads=4\nCopyToWorkDir=0\n", 4, 4, false},
        {"Threads=3\n", 4, 3, true},
        {"Threads=0\n", 4, 0, true},
        {"Threads=-2\n", 4, -2, true},
        {"Threads=many\nCopyToWorkDir=yes\n", 4, 1, true},
        {"Threads=\nCopyToWorkDir=\n", 4, 1, true},
        {"Threads= 2 \nCopyToWorkDir=7\n", 4, 2, true},
        {"CopyToWorkDir=0\n", 4, 1, false},
        {"", 4, 1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.indexingSection);
        test::TempDir dir;
        test::RecordingMessages messages;
        const QString ini =
            dir.Write(QStringLiteral("t.ini"), QByteArray("[Indexing]\n") + c.indexingSection);
        // Start from the opposite values, so that a key left unread would show.
        Settings s;
        s.threads = 99;
        s.copyToWorkDir = !c.copy;
        ASSERT_TRUE(ReadSettings(ini, s, c.processors));
        EXPECT_EQ(c.threads, s.threads);
        EXPECT_EQ(c.copy, s.copyToWorkDir);
        EXPECT_TRUE(messages.shown.isEmpty());
    }
}

TEST(Settings, ThreadLimitAboveThisMachineIsClampedToItsProcessors) {
    test::TempDir dir;
    const QString ini = dir.Write(QStringLiteral("t.ini"), "[Indexing]\nThreads=100000\n");
    Settings s;
    ASSERT_TRUE(ReadSettings(ini, s, LogicalProcessors()));
    EXPECT_EQ(LogicalProcessors(), s.threads);
    EXPECT_GE(s.threads, 1);
}

// A file written by hand or by another INI writer: each value runs to the end of its line.
TEST(Settings, HandWrittenValuesAreTakenWhole) {
    test::TempDir dir;
    const QByteArray content =
        "\xEF\xBB\xBF; settings\r\n"
        "[Utils]\r\n"
        "FFMPEG=/opt/ff, mpeg/ffmpeg\r\n"
        "SOX = /opt/sox;1/sox \r\n"
        "[Dirs]\r\n"
        "WorkDir=/tmp/a\\b\r\n"
        "[DataBase]\r\n"
        "DBPath=\"/home/user/Музыка/база.db\"\r\n"
        "[Indexing]\r\n"
        "Threads=2\r\n"
        "CopyToWorkDir=0\r\n";
    const QString ini = dir.Write(QStringLiteral("t.ini"), content);
    Settings s;
    ASSERT_TRUE(ReadSettings(ini, s, 8));
    EXPECT_EQ(QStringLiteral("/opt/ff, mpeg/ffmpeg"), s.ffmpegPath);
    EXPECT_EQ(QStringLiteral("/opt/sox;1/sox"), s.soxPath);
    EXPECT_EQ(QStringLiteral("/tmp/a\\b"), s.workDir);
    EXPECT_EQ(QStringLiteral("/home/user/Музыка/база.db"), s.dbPath);
    EXPECT_EQ(2, s.threads);
    EXPECT_FALSE(s.copyToWorkDir);
}

TEST(Settings, MissingPathKeysReadAsEmpty) {
    test::TempDir dir;
    const QString ini = dir.Write(QStringLiteral("t.ini"), "[Utils]\nSOX=/usr/bin/sox\n");
    Settings s = NonDefault();
    ASSERT_TRUE(ReadSettings(ini, s, 8));
    EXPECT_EQ(QStringLiteral("/usr/bin/sox"), s.soxPath);
    EXPECT_TRUE(s.ffmpegPath.isEmpty());
    EXPECT_TRUE(s.workDir.isEmpty());
    EXPECT_TRUE(s.dbPath.isEmpty());
    EXPECT_EQ(1, s.threads);
    EXPECT_TRUE(s.copyToWorkDir);
}

TEST(Settings, WritingKeepsWhatElseTheFileHolds) {
    test::TempDir dir;
    const QString ini =
        dir.Write(QStringLiteral("t.ini"), "[Window]\nLeft=10\n[Indexing]\nThreads=8\nExtra=keep me\n");
    ASSERT_TRUE(WriteSettings(ini, NonDefault()));
    const QList<QByteArray> lines = Lines(ini);
    EXPECT_TRUE(lines.contains(QByteArray("[Window]")));
    EXPECT_TRUE(lines.contains(QByteArray("Left=10")));
    EXPECT_TRUE(lines.contains(QByteArray("Extra=keep me")));
    EXPECT_TRUE(lines.contains(QByteArray("Threads=3")));
    EXPECT_FALSE(lines.contains(QByteArray("Threads=8")));
    Settings s;
    ASSERT_TRUE(ReadSettings(ini, s, 8));
    ExpectSame(NonDefault(), s);
}

TEST(Settings, UnreadableFileKeepsValuesAndSaysSo) {
    test::TempDir dir;
    test::RecordingMessages messages;
    Settings s = NonDefault();
    // A folder where the INI file should be: it exists but cannot be read as a file.
    ASSERT_TRUE(QDir().mkpath(dir.File(QStringLiteral("t.ini"))));
    EXPECT_FALSE(ReadSettings(dir.File(QStringLiteral("t.ini")), s, 8));
    ExpectSame(NonDefault(), s);
    EXPECT_EQ(QStringList{QStringLiteral("Ошибка чтения INI файла!")}, messages.shown);
}

TEST(Settings, UnwritableFileSaysSo) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString plainFile = dir.Write(QStringLiteral("plain"), "x");
    EXPECT_FALSE(WriteSettings(plainFile + QStringLiteral("/t.ini"), NonDefault()));
    EXPECT_EQ(QStringList{QStringLiteral("Ошибка записи INI файла! ")}, messages.shown);
    EXPECT_EQ(QByteArray("x"), ReadBytes(plainFile));
}

// Points XDG_DATA_HOME at a folder of the test for its lifetime.
class DataHomeGuard {
public:
    explicit DataHomeGuard(const QString& folder)
        : m_had(qEnvironmentVariableIsSet("XDG_DATA_HOME")), m_old(qgetenv("XDG_DATA_HOME")) {
        qputenv("XDG_DATA_HOME", folder.toUtf8());
    }
    ~DataHomeGuard() {
        if (m_had) {
            qputenv("XDG_DATA_HOME", m_old);
        } else {
            qunsetenv("XDG_DATA_HOME");
        }
    }

private:
    bool m_had;
    QByteArray m_old;
};

TEST(ProgramFiles, WritableProgramFolderHoldsIniAndLog) {
    test::TempDir dir;
    DataHomeGuard home(dir.File(QStringLiteral("data-home")));
    const QString program = dir.Write(QStringLiteral("prog/tembrix"), "");
    const ProgramFiles files = ProgramFiles::Settle(program);
    EXPECT_EQ(dir.File(QStringLiteral("prog")), files.programDir);
    EXPECT_EQ(dir.File(QStringLiteral("prog/tembrix.ini")), files.iniPath);
    EXPECT_EQ(dir.File(QStringLiteral("prog/tembrix.log")), files.logPath);
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("prog/test.tmp"))));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("data-home"))));
}

// The program folder cannot take files (here it lies under a regular file, which stops even root).
TEST(ProgramFiles, UnwritableProgramFolderFallsBackToDataHome) {
    test::TempDir dir;
    const QString dataHome = dir.File(QStringLiteral("data-home"));
    DataHomeGuard home(dataHome);
    const QString blocker = dir.Write(QStringLiteral("blocker"), "");
    const QString program = blocker + QStringLiteral("/bin/tembrix");
    const QString folder = dataHome + QStringLiteral("/Вокалис");
    EXPECT_EQ(folder, FallbackSettingsFolder());

    const ProgramFiles located = ProgramFiles::Locate(program);
    EXPECT_EQ(folder + QStringLiteral("/tembrix.ini"), located.iniPath);
    EXPECT_EQ(folder + QStringLiteral("/tembrix.log"), located.logPath);
    EXPECT_FALSE(QFileInfo::exists(folder));

    const ProgramFiles settled = ProgramFiles::Settle(program);
    EXPECT_EQ(folder + QStringLiteral("/tembrix.ini"), settled.iniPath);
    EXPECT_EQ(folder + QStringLiteral("/tembrix.log"), settled.logPath);
    EXPECT_TRUE(QFileInfo(folder).isDir());

    // The settled place really takes the settings.
    ASSERT_TRUE(WriteSettings(settled.iniPath, NonDefault()));
    Settings s;
    ASSERT_TRUE(ReadSettings(settled.iniPath, s, 8));
    ExpectSame(NonDefault(), s);
}

}  // namespace
}  // namespace tembrix
