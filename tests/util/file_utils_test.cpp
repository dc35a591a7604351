// File and folder helpers on a real temporary folder.

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <ostream>

#include "support/temp_dir.h"
#include "util/file_utils.h"
#include "util/path_utils.h"

// Readable failure messages for texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

// Hidden files are skipped, the mask never filters folders (sub2.mp3 is one), and the files of a folder
// come before its subfolders, each followed by its own contents.
TEST(FindFiles, MaskRecursionAndOrder) {
    test::TempDir dir;
    for (const char* name :
         {"a.mp3", "b.txt", ".hidden.mp3", "sub1/c.mp3", "sub1/deep/d.wav", "sub2.mp3/e.txt"}) {
        dir.Write(QString::fromUtf8(name), "x");
    }
    QDir().mkpath(dir.File(QStringLiteral("empty")));
    auto p = [&dir](const QString& relative) {
        return JoinPath(dir.Path(), QString(relative).replace(u'/', QDir::separator()));
    };
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
    QStringList all;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mask);
        QStringList expected, list = {QStringLiteral("kept")};
        for (const QString& name : QString::fromUtf8(c.expected).split(u' ')) {
            expected.append(p(name));
        }
        FindFiles(dir.Path(), QString::fromUtf8(c.mask), c.recurse, c.listFolders, list);
        EXPECT_EQ(QStringLiteral("kept"), list.takeFirst());
        all = all.isEmpty() ? list : all;
        list.sort();
        expected.sort();
        EXPECT_EQ(expected, list);
    }
    // The order, in the full listing of the first case.
    auto at = [&all, &p](const char* relative) { return all.indexOf(p(QString::fromUtf8(relative))); };
    EXPECT_LT(std::max(at("a.mp3"), at("b.txt")), std::min({at("sub1"), at("sub2.mp3"), at("empty")}));
    EXPECT_LT(at("sub1"), at("sub1/c.mp3"));
    EXPECT_LT(at("sub1/c.mp3"), at("sub1/deep"));
    EXPECT_EQ(at("sub1/deep") + 1, at("sub1/deep/d.wav"));
    EXPECT_EQ(at("sub2.mp3") + 1, at("sub2.mp3/e.txt"));
    QStringList none;
    FindFiles(dir.File(QStringLiteral("missing")), QStringLiteral("*.*"), true, true, none);
    EXPECT_TRUE(none.isEmpty());
}

// A subfolder makes the clean-up fail, yet the files below it go and the folder tree stays.
TEST(DeleteFilesBelow, FilesGoFoldersStay) {
    test::TempDir dir;
    auto f = [&dir](const char* name) { return dir.File(QString::fromUtf8(name)); };
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

// A regular file stands where a folder is wanted: not even root can create anything below it.
TEST(FileHelpers, ChecksOnFilesAndFolders) {
    test::TempDir dir;
    const QString plain = dir.Write(QStringLiteral("plain"), "content");
    const QString missing = dir.File(QStringLiteral("missing"));
    EXPECT_TRUE(IsFolderWritable(dir.Path()));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("test.tmp"))));
    EXPECT_FALSE(IsFolderWritable(missing));
    EXPECT_FALSE(IsFolderWritable(plain));
    EXPECT_TRUE(EnsureFolder(dir.File(QStringLiteral("a/b/c"))));
    EXPECT_TRUE(FolderExists(dir.File(QStringLiteral("a/b/c"))));
    EXPECT_FALSE(EnsureFolder(plain + QStringLiteral("/sub")));
    EXPECT_FALSE(EnsureFolder(QString()));
    EXPECT_TRUE(IsFileReadWritable(plain));
    EXPECT_FALSE(IsFileReadWritable(missing));
    EXPECT_FALSE(IsFileReadWritable(dir.Path()));
    EXPECT_FALSE(QFileInfo::exists(missing));
    // Checking the file left it as it was.
    EXPECT_EQ(7, FileSize(plain));
    EXPECT_EQ(-1, FileSize(missing));
    EXPECT_TRUE(FileExists(plain));
    EXPECT_FALSE(FileExists(dir.Path()));
    EXPECT_FALSE(FolderExists(plain));
}

}  // namespace
}  // namespace tembrix
