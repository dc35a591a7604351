// File and folder helpers on a real temporary folder.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
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

QByteArray ReadBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// root/a.mp3, root/b.txt, root/.hidden.mp3, root/sub1/c.mp3, root/sub1/deep/d.wav, root/sub2.mp3/e.txt
// (a folder whose name matches the mask) and the empty folder root/empty.
struct Tree {
    test::TempDir dir;
    QString root;
    Tree() : root(dir.File(QStringLiteral("root"))) {
        for (const char* name : {"root/a.mp3", "root/b.txt", "root/.hidden.mp3", "root/sub1/c.mp3",
                                 "root/sub1/deep/d.wav", "root/sub2.mp3/e.txt"}) {
            dir.Write(QString::fromUtf8(name), "x");
        }
        QDir().mkpath(dir.File(QStringLiteral("root/empty")));
    }
    // The path FindFiles gives for a relative name under root.
    QString P(const char* relative) const {
        return JoinPath(root, QString::fromUtf8(relative).replace(u'/', QDir::separator()));
    }
};

TEST(FindFiles, FilesOfAFolderComeBeforeItsSubfolders) {
    Tree t;
    QStringList list;
    FindFiles(t.root, QStringLiteral("*.*"), true, true, list);

    QStringList expected = {t.P("a.mp3"),      t.P("b.txt"),          t.P("sub1"),
                            t.P("sub1/c.mp3"), t.P("sub1/deep"),      t.P("sub1/deep/d.wav"),
                            t.P("sub2.mp3"),   t.P("sub2.mp3/e.txt"), t.P("empty")};
    QStringList sortedList = list;
    sortedList.sort();
    expected.sort();
    EXPECT_EQ(expected, sortedList);

    // Within every folder its files come first, then each subfolder followed by its own contents.
    auto at = [&list](const QString& p) { return list.indexOf(p); };
    for (const char* folderFile : {"a.mp3", "b.txt"}) {
        for (const char* sub : {"sub1", "sub2.mp3", "empty"}) {
            EXPECT_LT(at(t.P(folderFile)), at(t.P(sub))) << folderFile << " / " << sub;
        }
    }
    EXPECT_LT(at(t.P("sub1")), at(t.P("sub1/c.mp3")));
    EXPECT_LT(at(t.P("sub1/c.mp3")), at(t.P("sub1/deep")));
    EXPECT_EQ(at(t.P("sub1/deep")) + 1, at(t.P("sub1/deep/d.wav")));
    EXPECT_EQ(at(t.P("sub2.mp3")) + 1, at(t.P("sub2.mp3/e.txt")));
}

TEST(FindFiles, MaskFiltersFilesButNeverFolders) {
    Tree t;
    QStringList list;
    FindFiles(t.root, QStringLiteral("*.mp3"), true, false, list);
    list.sort();
    QStringList expected = {t.P("a.mp3"), t.P("sub1/c.mp3")};
    expected.sort();
    EXPECT_EQ(expected, list);

    QStringList withFolders;
    FindFiles(t.root, QStringLiteral("*.wav"), true, true, withFolders);
    withFolders.sort();
    QStringList expectedWithFolders = {t.P("sub1"), t.P("sub1/deep"), t.P("sub1/deep/d.wav"), t.P("sub2.mp3"),
                                       t.P("empty")};
    expectedWithFolders.sort();
    EXPECT_EQ(expectedWithFolders, withFolders);
}

TEST(FindFiles, WithoutRecursionOnlyTheFolderItself) {
    Tree t;
    QStringList list = {QStringLiteral("kept")};
    FindFiles(t.root, QStringLiteral("*"), false, true, list);
    EXPECT_EQ(QStringLiteral("kept"), list.first());
    list.removeFirst();
    list.sort();
    EXPECT_EQ((QStringList{t.P("a.mp3"), t.P("b.txt")}), list);

    QStringList none;
    FindFiles(t.dir.File(QStringLiteral("missing")), QStringLiteral("*.*"), true, true, none);
    EXPECT_TRUE(none.isEmpty());
}

TEST(DeleteFilesBelow, EmptiesFilesAndLeavesTheTree) {
    test::TempDir dir;
    const QString empty = dir.File(QStringLiteral("empty"));
    QDir().mkpath(empty);
    EXPECT_TRUE(DeleteFilesBelow(empty));

    const QString flat = dir.File(QStringLiteral("flat"));
    dir.Write(QStringLiteral("flat/data.dat"), "x");
    dir.Write(QStringLiteral("flat/tags.txt"), "x");
    EXPECT_TRUE(DeleteFilesBelow(flat));
    EXPECT_TRUE(QDir(flat).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    EXPECT_TRUE(QFileInfo(flat).isDir());
}

TEST(DeleteFilesBelow, SubfolderMakesItFailButItsFilesGo) {
    test::TempDir dir;
    const QString top = dir.File(QStringLiteral("work"));
    dir.Write(QStringLiteral("work/a.dat"), "x");
    dir.Write(QStringLiteral("work/1/b.dat"), "x");
    EXPECT_FALSE(DeleteFilesBelow(top));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("work/a.dat"))));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("work/1/b.dat"))));
    EXPECT_TRUE(QFileInfo(dir.File(QStringLiteral("work/1"))).isDir());
}

TEST(RemoveFolder, RemovesEverythingBelow) {
    test::TempDir dir;
    dir.Write(QStringLiteral("gone/a/b/c.txt"), "x");
    EXPECT_TRUE(RemoveFolder(dir.File(QStringLiteral("gone"))));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("gone"))));
    EXPECT_TRUE(RemoveFolder(dir.File(QStringLiteral("never-was"))));
}

TEST(FileHelpers, IsFolderWritable) {
    test::TempDir dir;
    EXPECT_TRUE(IsFolderWritable(dir.Path()));
    EXPECT_FALSE(QFileInfo::exists(dir.File(QStringLiteral("test.tmp"))));
    EXPECT_FALSE(IsFolderWritable(dir.File(QStringLiteral("missing"))));
    // Not even root can create a file below a regular file.
    const QString plain = dir.Write(QStringLiteral("plain"), "x");
    EXPECT_FALSE(IsFolderWritable(plain));
    EXPECT_EQ(QByteArray("x"), ReadBytes(plain));
}

TEST(FileHelpers, EnsureFolder) {
    test::TempDir dir;
    EXPECT_TRUE(EnsureFolder(dir.Path()));
    const QString nested = dir.File(QStringLiteral("a/b/c"));
    EXPECT_TRUE(EnsureFolder(nested));
    EXPECT_TRUE(QFileInfo(nested).isDir());
    const QString plain = dir.Write(QStringLiteral("plain"), "x");
    EXPECT_FALSE(EnsureFolder(plain));
    EXPECT_FALSE(EnsureFolder(plain + QStringLiteral("/sub")));
    EXPECT_FALSE(EnsureFolder(QString()));
}

TEST(FileHelpers, IsFileReadWritableLeavesTheFileAlone) {
    test::TempDir dir;
    const QString file = dir.Write(QStringLiteral("db.db"), "content");
    EXPECT_TRUE(IsFileReadWritable(file));
    EXPECT_EQ(QByteArray("content"), ReadBytes(file));
    const QString missing = dir.File(QStringLiteral("missing.db"));
    EXPECT_FALSE(IsFileReadWritable(missing));
    EXPECT_FALSE(QFileInfo::exists(missing));
    EXPECT_FALSE(IsFileReadWritable(dir.Path()));
}

TEST(FileHelpers, SizeAndExistence) {
    test::TempDir dir;
    const QString file = dir.Write(QStringLiteral("f.bin"), QByteArray(4097, 'z'));
    const QString empty = dir.Write(QStringLiteral("empty.bin"), QByteArray());
    EXPECT_EQ(4097, FileSize(file));
    EXPECT_EQ(0, FileSize(empty));
    EXPECT_EQ(-1, FileSize(dir.File(QStringLiteral("missing"))));
    EXPECT_TRUE(FileExists(file));
    EXPECT_FALSE(FileExists(dir.Path()));
    EXPECT_FALSE(FileExists(QString()));
    EXPECT_TRUE(FolderExists(dir.Path()));
    EXPECT_FALSE(FolderExists(file));
}

}  // namespace
}  // namespace tembrix
