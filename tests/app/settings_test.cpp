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
    return ReadBytes(path).replace("\r\n", "\n").split('\n');
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

// Whatever else the file holds is kept when writing.
TEST(Settings, WritesSectionsKeysAndBooleanAsOneOrZero) {
    test::TempDir dir;
    const QString ini =
        dir.Write(QStringLiteral("t.ini"), "[Window]\nLeft=10\n[Indexing]\nThreads=8\nExtra=keep me\n");
    Settings s = NonDefault();
    ASSERT_TRUE(WriteSettings(ini, s));
    const QList<QByteArray> off = Lines(ini);
    for (const char* line : {"[Utils]", "FFMPEG=/opt/ffmpeg/bin/ffmpeg", "SOX=/opt/sox/sox", "[Dirs]",
                             "WorkDir=/mnt/ram", "[DataBase]", "DBPath=/data/base.db", "[Indexing]",
                             "Threads=3", "CopyToWorkDir=0", "[Window]", "Left=10", "Extra=keep me"}) {
        EXPECT_TRUE(off.contains(QByteArray(line))) << line;
    }
    EXPECT_FALSE(off.contains(QByteArray("Threads=8")));
    s.copyToWorkDir = true;
    ASSERT_TRUE(WriteSettings(ini, s));
    const QList<QByteArray> on = Lines(ini);
    EXPECT_TRUE(on.contains(QByteArray("CopyToWorkDir=1")));
    EXPECT_FALSE(on.contains(QByteArray("CopyToWorkDir=0")));
}

// A key that is missing or does not hold a number reads as the key's default (the paths as empty); then
// the thread limit is clamped from above only.
TEST(Settings, ThreadsAndCopyFlagOnReading) {
    const struct {
        const char* indexingSection;
        int threads;
        bool copy;
    } cases[] = {{"Threads=64\nCopyToWorkDir=1\n", 4, true},
                 {"Threads=0\n", 0, true},
                 {"Threads=many\nCopyToWorkDir=yes\n", 1, true},
                 {"Threads= 2 \nCopyToWorkDir=7\n", 2, true},
                 {"CopyToWorkDir=0\n", 1, false}};
    test::TempDir dir;
    test::RecordingMessages messages;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.indexingSection);
        const QString ini =
            dir.Write(QStringLiteral("t.ini"), QByteArray("[Indexing]\n") + c.indexingSection);
        // Start from the opposite values, so that a key left unread would show.
        Settings s = NonDefault();
        s.threads = 99;
        s.copyToWorkDir = !c.copy;
        ASSERT_TRUE(ReadSettings(ini, s, 4));
        EXPECT_EQ(QStringLiteral("||||%1|%2").arg(c.threads).arg(c.copy ? "copy" : "no copy"), Text(s));
    }
    EXPECT_TRUE(messages.shown.isEmpty());
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
    const QString plainFile = dir.Write(QStringLiteral("plain"), "x");
    EXPECT_FALSE(WriteSettings(plainFile + QStringLiteral("/t.ini"), NonDefault()));
    EXPECT_EQ((QStringList{QStringLiteral("Ошибка чтения INI файла!"),
                           QStringLiteral("Ошибка записи INI файла! ")}),
              messages.shown);
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

// A writable program folder holds both files. Otherwise (here the folder lies under a regular file, which
// stops even root) they go to the fall-back folder, which Locate only names and Settle creates.
TEST(ProgramFiles, ProgramFolderOrFallBack) {
    test::TempDir dir;
    const QString dataHome = dir.File(QStringLiteral("data-home"));
    DataHomeGuard home(dataHome);
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

}  // namespace
}  // namespace tembrix
