// Text, path and file helpers: fields, digit grouping, durations and dates; the last separator or dot
// wins in paths; the folder walk, clean-up and checks on a real temporary folder.

#include <gtest/gtest.h>

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTime>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/print_text.h"
#include "support/temp_dir.h"
#include "util/file_utils.h"
#include "util/path_utils.h"
#include "util/text_utils.h"

namespace tembrix {
namespace {

QString U(const char* text) {
    return QString::fromUtf8(text);
}

// Catches a wrong field count with empty or overlapping delimiters (field 0 searched from the delimiter's
// length on).
TEST(FieldOf, Examples) {
    const struct {
        unsigned n;
        const char* text;
        const char* delimiter;
        const char* expected;
    } rows[] = {{1, "a;b;c", ";", "b"},    {3, "a;b;c", ";", ""},      {1, "", ";", ""},
                {0, "abc", ";", "abc"},    {0, ";a;b", ";", ""},       {1, "a;;c", ";", ""},
                {2, "a;b;", ";", ""},      {0, "a:b::c", "::", "a:b"}, {1, "Id=5\tпуть\tимя", "\t", "путь"},
                {1, "a:::b", "::", ":b"},  {2, "a:::b", "::", "b"},    {0, "a:::b", "::", "a:"},
                {0, "x::y", "::", "x::y"}, {0, "xy::z", "::", "xy"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.n << " of \"" << r.text << "\" by \"" << r.delimiter << '"');
        EXPECT_EQ(U(r.expected), FieldOf(r.n, U(r.text), U(r.delimiter)));
    }
}

// Catches replaced text scanned again, and an empty pattern looping.
TEST(ReplaceAll, Examples) {
    EXPECT_EQ(U("aaaaaa"), ReplaceAll(U("aaa"), U("a"), U("aa")));
    EXPECT_EQ(U("ba"), ReplaceAll(U("aaa"), U("aa"), U("b")));
    EXPECT_EQ(U("abc"), ReplaceAll(U("abc"), QString(), U("x")));
    EXPECT_EQ(U("файл и файл"), ReplaceAll(U("%1 и %1"), U("%1"), U("файл")));
}

// Catches wrong grouping (the minus sign counts as a digit) and digits lost at the 64-bit extremes.
TEST(GroupThousands, Examples) {
    const std::pair<qint64, const char*> rows[] = {
        {0, "0"},
        {999, "999"},
        {1234567, "1 234 567"},
        {-1234, "-1 234"},
        {-999, "- 999"},
        {-123456, "- 123 456"},
        {std::numeric_limits<qint64>::max(), "9 223 372 036 854 775 807"},
        {std::numeric_limits<qint64>::min(), "-9 223 372 036 854 775 808"}};
    for (const auto& [value, expected] : rows) {
        EXPECT_EQ(U(expected), GroupThousands(value)) << value;
    }
}

// Catches hours wrapped at a day, and a fraction's rounding carried into the whole seconds.
TEST(DurationText, Examples) {
    const std::pair<int, const char*> rows[] = {{9, "0:00:09 (9 сек)"},
                                                {3599, "0:59:59 (3 599 сек)"},
                                                {3659, "1:00:59 (3 659 сек)"},
                                                {172805, "48:00:05 (172 805 сек)"}};
    for (const auto& [seconds, withSeconds] : rows) {
        EXPECT_EQ(U(withSeconds), DurationText(seconds, true));
        EXPECT_EQ(U(withSeconds).section(u' ', 0, 0), DurationText(seconds, false));
    }
    EXPECT_EQ(U("1:02:05 (3 725 sec)"), DurationTextEn(3725, true));
    EXPECT_EQ(U("1:02:05"), DurationTextEn(3725, false));
    EXPECT_EQ(U("1:02:05.250 (3 725.250 сек)"), PreciseDurationText(3725.25));
    EXPECT_EQ(U("0:00:59.000 (59.000 сек)"), PreciseDurationText(59.9996));
}

// Catches a time shown for midnight, or dropped for a moment after it.
TEST(DateTimeText, MidnightHasNoTime) {
    const QDate day(2024, 3, 5);
    EXPECT_EQ(U("05.03.2024"), DateTimeText(QDateTime(day, QTime(0, 0))));
    EXPECT_EQ(U("05.03.2024 0:00:00"), DateTimeText(QDateTime(day, QTime(0, 0, 0, 1))));
    EXPECT_EQ(QString(), DateTimeText(QDateTime()));
}

// Catches the wrong separator or dot taken (the last wins), and an extension compared without case.
TEST(PathUtils, Examples) {
    using Helper = QString (*)(const QString&);
    const struct {
        Helper helper;
        const char* input;
        const char* expected;
    } rows[] = {{FileNameOf, "/music/album/song.mp3", "song.mp3"},
                {FileNameOf, "song.mp3", "song.mp3"},
                {FileNameOf, "/music/album/", ""},
                {NameWithoutExtension, "live.2020.mkv", "live.2020"},
                {NameWithoutExtension, "noext", "noext"},
                {NameWithoutExtension, ".hidden", ""},
                {ExtensionOf, "/music/a.b/c", ".b/c"},
                {ExtensionOf, "/music/noext", ""},
                {ExtensionOf, "/music/song.", "."},
                {DirectoryOf, "song.mp3", ""},
                {DirectoryOf, "a/b\\c", "a/b"},
                {DirectoryOf, "a\\b/c", "a\\b"}};
    for (const auto& r : rows) {
        EXPECT_EQ(U(r.expected), r.helper(U(r.input))) << r.input;
    }
    EXPECT_EQ(U("queue.list"), ForceExtension(U("queue"), U(".list")));
    EXPECT_EQ(U("queue.list"), ForceExtension(U("queue.list"), U(".list")));
    EXPECT_EQ(U("queue.LIST.list"), ForceExtension(U("queue.LIST"), U(".list")));
    EXPECT_EQ(U("queue.list"), ForceExtension(U("queue.list"), QString()));
    EXPECT_EQ(U("/music/song.mp3"), JoinPath(U("/music"), U("song.mp3")));
}

// Catches hidden files listed, the mask applied to folders (sub2.mp3 is one), and recursion or folder
// listing ignored.
TEST(FindFiles, MaskRecursionAndOrder) {
    test::TempDir dir;
    for (const char* name :
         {"a.mp3", "b.txt", ".hidden.mp3", "sub1/c.mp3", "sub1/deep/d.wav", "sub2.mp3/e.txt"}) {
        dir.Write(U(name), "x");
    }
    QDir().mkpath(dir.File(QStringLiteral("empty")));
    const struct {
        const char* mask;
        bool recurse;
        bool listFolders;
        const char* expected;
    } cases[] = {{"*.*", true, true,
                  "a.mp3 b.txt sub1 sub1/c.mp3 sub1/deep sub1/deep/d.wav sub2.mp3 sub2.mp3/e.txt empty"},
                 {"*.mp3", true, false, "a.mp3 sub1/c.mp3"},
                 {"*.wav", true, true, "sub1 sub1/deep sub1/deep/d.wav sub2.mp3 empty"},
                 {"*", false, true, "a.mp3 b.txt"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mask);
        QStringList expected, list = {QStringLiteral("kept")};
        for (const QString& name : U(c.expected).split(u' ')) {
            expected.append(JoinPath(dir.Path(), name));
        }
        FindFiles(dir.Path(), U(c.mask), c.recurse, c.listFolders, list);
        EXPECT_EQ(QStringLiteral("kept"), list.takeFirst());
        list.sort();
        expected.sort();
        EXPECT_EQ(expected, list);
    }
    QStringList none;
    FindFiles(dir.File(QStringLiteral("missing")), QStringLiteral("*.*"), true, true, none);
    EXPECT_TRUE(none.isEmpty());
}

// Catches a folder listed in file-system order instead of by name (numbers as numbers, case ignored), a
// FIFO or a link to one listed (reading it blocks), and a name that is not UTF-8 dropped silently.
TEST(FindFiles, RegularFilesInNameOrder) {
    test::TempDir dir;
    for (const char* name :
         {"track_10.wav", "Track_011.wav", "b.wav", "track_9.wav", "sub10/a.wav", "sub9/a.wav"}) {
        dir.Write(U(name), "x");
    }
    ASSERT_EQ(::mkfifo(QFile::encodeName(dir.File(U("x.wav"))).constData(), 0600), 0);
    ASSERT_EQ(::symlink("x.wav", QFile::encodeName(dir.File(U("y.wav"))).constData()), 0);
    const QByteArray bad = QFile::encodeName(dir.Path()) + "/bad\xff.wav";
    const int fd = ::open(bad.constData(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ::close(fd);
    QStringList list;
    FindFiles(dir.Path(), U("*.*"), true, false, list);
    const QString lossy = dir.File(U("bad") + QChar(QChar::ReplacementCharacter) + U(".wav"));
    EXPECT_EQ(list.removeAll(lossy), 1);
    QStringList expected;
    for (const char* name :
         {"b.wav", "track_9.wav", "track_10.wav", "Track_011.wav", "sub9/a.wav", "sub10/a.wav"}) {
        expected.append(JoinPath(dir.Path(), U(name)));
    }
    EXPECT_EQ(expected, list);
}

// Catches a clean-up that stops at a subfolder, removes folders, or reports a subfolder as success.
TEST(DeleteFilesBelow, FilesGoFoldersStay) {
    test::TempDir dir;
    auto f = [&dir](const char* name) { return dir.File(U(name)); };
    dir.Write(QStringLiteral("flat/data.dat"), "x");
    EXPECT_TRUE(DeleteFilesBelow(f("flat")));
    EXPECT_FALSE(QFileInfo::exists(f("flat/data.dat")));
    EXPECT_TRUE(DeleteFilesBelow(f("flat")));
    dir.Write(QStringLiteral("work/a.dat"), "x");
    dir.Write(QStringLiteral("work/1/b.dat"), "x");
    EXPECT_FALSE(DeleteFilesBelow(f("work")));
    EXPECT_FALSE(QFileInfo::exists(f("work/a.dat")));
    EXPECT_FALSE(QFileInfo::exists(f("work/1/b.dat")));
    EXPECT_TRUE(FolderExists(f("work/1")));
    EXPECT_TRUE(RemoveFolder(f("work")));
    EXPECT_FALSE(QFileInfo::exists(f("work")));
    EXPECT_TRUE(RemoveFolder(f("never-was")));
}

// Catches checks that answer wrongly for files, folders and missing paths, or leave a file behind (a
// folder under a regular file stops even root).
TEST(FileHelpers, ChecksOnFilesAndFolders) {
    test::TempDir dir;
    const QString plain = dir.Write(QStringLiteral("plain"), "content");
    const QString missing = dir.File(QStringLiteral("missing"));
    EXPECT_TRUE(IsFolderWritable(dir.Path()));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("test.tmp"))));
    EXPECT_FALSE(IsFolderWritable(missing));
    EXPECT_FALSE(IsFolderWritable(plain));
    EXPECT_TRUE(EnsureFolder(dir.File(QStringLiteral("a/b/c"))));
    EXPECT_FALSE(EnsureFolder(plain + QStringLiteral("/sub")));
    EXPECT_TRUE(IsFileReadWritable(plain));
    EXPECT_FALSE(IsFileReadWritable(missing));
    EXPECT_FALSE(IsFileReadWritable(dir.Path()));
    EXPECT_FALSE(QFileInfo::exists(missing));
    EXPECT_EQ(7, FileSize(plain));
    EXPECT_EQ(-1, FileSize(missing));
    EXPECT_FALSE(FileExists(dir.Path()));
    EXPECT_FALSE(FolderExists(plain));
}

}  // namespace
}  // namespace tembrix
