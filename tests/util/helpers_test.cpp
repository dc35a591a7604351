// Text, path and file helpers, the folder walk and clean-up on a real temporary folder.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <tuple>

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

using U = QString;  // from UTF-8

// Catches a wrong field count with empty or overlapping delimiters (field 0 searched from the delimiter's
// length on), and replaced text scanned again or an empty pattern looping.
TEST(TextUtils, FieldOfAndReplaceAll) {
    const std::tuple<unsigned, const char*, const char*, const char*> rows[] = {
        {1, "a;b;c", ";", "b"},    {3, "a;b;c", ";", ""},      {1, "", ";", ""},
        {0, "abc", ";", "abc"},    {0, ";a;b", ";", ""},       {1, "a;;c", ";", ""},
        {2, "a;b;", ";", ""},      {0, "a:b::c", "::", "a:b"}, {1, "Id=5\tпуть\tимя", "\t", "путь"},
        {1, "a:::b", "::", ":b"},  {2, "a:::b", "::", "b"},    {0, "a:::b", "::", "a:"},
        {0, "x::y", "::", "x::y"}, {0, "xy::z", "::", "xy"}};
    for (const auto& [n, text, delimiter, expected] : rows) {
        EXPECT_EQ(U(expected), FieldOf(n, U(text), U(delimiter)))
            << n << " of " << text << " by " << delimiter;
    }
    EXPECT_EQ(ReplaceAll("aaa", "a", "aa") + u'|' + ReplaceAll("aaa", "aa", "b") + u'|' +
                  ReplaceAll("abc", "", "x"),
              "aaaaaa|ba|abc");
}

// Applies `helper` to each of the '|'-separated inputs; the results joined by '|'.
template <typename Helper>
QString Each(Helper helper, const char* inputs) {
    QStringList results;
    for (const QString& input : U(inputs).split(u'|')) {
        results.append(helper(input));
    }
    return results.join(u'|');
}

// Catches wrong grouping (the minus sign counts as a digit), digits lost at the 64-bit extremes, hours
// wrapped at a day, a fraction's rounding carried into the seconds, and a time shown for midnight.
TEST(TextUtils, NumbersDurationsAndDates) {
    const auto grouped = [](const QString& n) { return GroupThousands(n.toLongLong()); };
    EXPECT_EQ(
        Each(grouped, "0|999|1234567|-1234|-999|-123456|9223372036854775807|-9223372036854775808"),
        U("0|999|1 234 567|-1 234|- 999|- 123 456|9 223 372 036 854 775 807|-9 223 372 036 854 775 808"));
    const auto duration = [](const QString& s) {
        return DurationText(s.toInt(), true) + u' ' + DurationText(s.toInt(), false);
    };
    EXPECT_EQ(Each(duration, "9|3659|172805"),
              U("0:00:09 (9 сек) 0:00:09|1:00:59 (3 659 сек) 1:00:59|48:00:05 (172 805 сек) 48:00:05"));
    EXPECT_EQ(DurationTextEn(3725, true) + u'|' + DurationTextEn(3725, false) + u'|' +
                  PreciseDurationText(3725.25) + u'|' + PreciseDurationText(59.9996),
              "1:02:05 (3 725 sec)|1:02:05|1:02:05.250 (3 725.250 сек)|0:00:59.000 (59.000 сек)");
    const QDate day(2024, 3, 5);
    EXPECT_EQ(DateTimeText(QDateTime(day, QTime(0, 0))) + u'|' +
                  DateTimeText(QDateTime(day, QTime(0, 0, 0, 1))) + u'|' + DateTimeText(QDateTime()),
              "05.03.2024|05.03.2024 0:00:00|");
}

// Catches the wrong separator or dot taken (the last wins), and an extension compared without case.
TEST(PathUtils, Examples) {
    EXPECT_EQ(Each(FileNameOf, "/music/album/song.mp3|/music/album/|song.mp3"), U("song.mp3||song.mp3"));
    EXPECT_EQ(Each(NameWithoutExtension, "live.2020.mkv|noext|.hidden"), U("live.2020|noext|"));
    EXPECT_EQ(Each(ExtensionOf, "/music/a.b/c|/music/noext|/music/song."), U(".b/c||."));
    EXPECT_EQ(Each(DirectoryOf, "song.mp3|a/b\\c|a\\b/c"), U("|a/b|a\\b"));
    const auto force = [](const QString& s) {
        return ForceExtension(s.section(u' ', 0, 0), s.section(u' ', 1));
    };
    EXPECT_EQ(Each(force, "queue .list|queue.list .list|queue.LIST .list|queue.list "),
              U("queue.list|queue.list|queue.LIST.list|queue.list"));
    EXPECT_EQ(U("/music/song.mp3"), JoinPath(U("/music"), U("song.mp3")));
}

// Catches hidden files listed, the mask applied to folders (sub2.mp3 is one), recursion or folder listing
// ignored, the list not kept, a folder listed in file-system order instead of by name (numbers as numbers,
// case ignored), a FIFO or a link to one listed (reading it blocks), and a name not UTF-8 dropped silently.
TEST(FindFiles, MaskRecursionFoldersAndRegularFilesInNameOrder) {
    test::TempDir dir;
    for (const char* name :
         {"a.mp3", "b.txt", ".hidden.mp3", "sub1/c.mp3", "sub1/deep/d.wav", "sub2.mp3/e.txt"}) {
        dir.Write(U(name), "x");
    }
    QDir().mkpath(dir.File("empty"));
    for (const auto& [mask, recurse, listFolders, names] :
         {std::tuple{"*.*", true, true,
                     "a.mp3 b.txt empty sub1 sub1/c.mp3 sub1/deep sub1/deep/d.wav sub2.mp3 sub2.mp3/e.txt"},
          {"*.mp3", true, false, "a.mp3 sub1/c.mp3"},
          {"*.wav", true, true, "empty sub1 sub1/deep sub1/deep/d.wav sub2.mp3"},
          {"*", false, true, "a.mp3 b.txt"},
          {"*.*", true, true, ""}}) {
        QStringList list = {"kept"};
        FindFiles(*names ? dir.Path() : dir.File("missing"), U(mask), recurse, listFolders, list);
        std::sort(list.begin() + 1, list.end());
        EXPECT_EQ(list.join(u' ').replace(dir.Path() + u'/', ""), ("kept " + U(names)).trimmed()) << mask;
    }
    const QString order = dir.File("order/");
    for (const char* name :
         {"track_10.wav", "Track_011.wav", "b.wav", "track_9.wav", "sub10/a.wav", "sub9/a.wav"}) {
        dir.Write("order/" + U(name), "x");
    }
    ASSERT_EQ(::mkfifo(QFile::encodeName(order + "x.wav").constData(), 0600), 0);
    ASSERT_EQ(::symlink("x.wav", QFile::encodeName(order + "y.wav").constData()), 0);
    ::close(::open((QFile::encodeName(order) + "bad\xff.wav").constData(), O_CREAT | O_WRONLY, 0600));
    QStringList list;
    FindFiles(dir.File("order"), U("*.*"), true, false, list);
    EXPECT_EQ(list.removeAll(order + "bad" + QChar(QChar::ReplacementCharacter) + ".wav"), 1);
    EXPECT_EQ(list.join(u' ').replace(order, ""),
              "b.wav track_9.wav track_10.wav Track_011.wav sub9/a.wav sub10/a.wav");
}

// Catches a clean-up that stops at a subfolder, removes folders or reports a subfolder as success, and
// checks that answer wrongly for files, folders and missing paths or leave a file behind.
TEST(FileUtils, CleanUpAndChecks) {
    test::TempDir dir;
    const auto f = [&dir](const char* name) { return dir.File(U(name)); };
    dir.Write("flat/data.dat", "x");
    EXPECT_TRUE(DeleteFilesBelow(f("flat")) && !QFileInfo::exists(f("flat/data.dat")));
    dir.Write("work/a.dat", "x");
    dir.Write("work/1/b.dat", "x");
    EXPECT_FALSE(DeleteFilesBelow(f("work")) || QFileInfo::exists(f("work/a.dat")) ||
                 QFileInfo::exists(f("work/1/b.dat")));
    EXPECT_TRUE(FolderExists(f("work/1")) && RemoveFolder(f("work")) && !QFileInfo::exists(f("work")) &&
                RemoveFolder(f("never-was")));

    const QString plain = dir.Write("plain", "content"), missing = f("missing");
    // A folder under a regular file cannot be made, even by root.
    EXPECT_EQ(
        (QList<qint64>{IsFolderWritable(dir.Path()), IsFolderWritable(missing), IsFolderWritable(plain),
                       EnsureFolder(f("a/b/c")), EnsureFolder(plain + "/sub"), IsFileReadWritable(plain),
                       IsFileReadWritable(missing), IsFileReadWritable(dir.Path()), FileExists(dir.Path()),
                       FolderExists(plain), FileSize(plain), FileSize(missing)}),
        (QList<qint64>{1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 7, -1}));
    EXPECT_FALSE(QFileInfo::exists(f("test.tmp")) || QFileInfo::exists(missing));
}

}  // namespace
}  // namespace tembrix
