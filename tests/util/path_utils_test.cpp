// Path text helpers: the last separator or dot wins, the dot search crosses separators, and the
// extension comparison of ForceExtension is exact.

#include <gtest/gtest.h>

#include <QDir>
#include <ostream>

#include "util/path_utils.h"

// Readable failure messages for texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

// The path with "/" written as the platform's own separator.
QString Native(const char* path) {
    return QString::fromUtf8(path).replace(u'/', QDir::separator());
}

struct PathRow {
    const char* input;
    const char* expected;
};

TEST(PathUtils, FileNameOf) {
    const PathRow rows[] = {
        {"/music/album/song.mp3", "song.mp3"},
        {"song.mp3", "song.mp3"},
        {"/music/album/", ""},
        {"/song", "song"},
        {"", ""},
        {"/a.b/c", "c"},
    };
    for (const PathRow& r : rows) {
        SCOPED_TRACE(r.input);
        EXPECT_EQ(Native(r.expected), FileNameOf(Native(r.input)));
    }
}

TEST(PathUtils, NameWithoutExtension) {
    const PathRow rows[] = {
        {"song.mp3", "song"}, {"live.2020.mkv", "live.2020"}, {"noext", "noext"},
        {".hidden", ""},      {"trailing.", "trailing"},      {"", ""},
    };
    for (const PathRow& r : rows) {
        SCOPED_TRACE(r.input);
        EXPECT_EQ(QString::fromUtf8(r.expected), NameWithoutExtension(QString::fromUtf8(r.input)));
    }
}

TEST(PathUtils, ExtensionOf) {
    const PathRow rows[] = {
        {"/music/song.mp3", ".mp3"},
        // The last dot lies in a folder name: the search does not stop at the separator.
        {"/music/a.b/c", ".b/c"},
        {"/music/SONG.MP3", ".MP3"},
        {"/music/noext", ""},
        {"/music/song.", "."},
        {"/music/archive.tar.gz", ".gz"},
        {"", ""},
    };
    for (const PathRow& r : rows) {
        SCOPED_TRACE(r.input);
        EXPECT_EQ(Native(r.expected), ExtensionOf(Native(r.input)));
    }
}

// Both separators count here, on every platform.
TEST(PathUtils, DirectoryOf) {
    const PathRow rows[] = {
        {"/music/album/song.mp3", "/music/album"},
        {"song.mp3", ""},
        {"", ""},
        {"/song.mp3", ""},
        {"C:\\music\\song.mp3", "C:\\music"},
        {"a/b\\c", "a/b"},
        {"a\\b/c", "a\\b"},
        {"folder/", "folder"},
    };
    for (const PathRow& r : rows) {
        SCOPED_TRACE(r.input);
        EXPECT_EQ(QString::fromUtf8(r.expected), DirectoryOf(QString::fromUtf8(r.input)));
    }
}

TEST(PathUtils, ForceExtension) {
    const struct {
        const char* path;
        const char* ext;
        const char* expected;
    } rows[] = {
        {"queue", ".list", "queue.list"},
        {"queue.list", ".list", "queue.list"},
        {"queue.LIST", ".list", "queue.LIST.list"},
        {"queue.lis", ".list", "queue.lis.list"},
        {"list", ".list", "list.list"},
        {"", ".list", ".list"},
        {"queue.list", "", "queue.list"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.path);
        EXPECT_EQ(QString::fromUtf8(r.expected),
                  ForceExtension(QString::fromUtf8(r.path), QString::fromUtf8(r.ext)));
    }
}

TEST(PathUtils, JoinPathUsesTheNativeSeparator) {
    EXPECT_EQ(Native("/music/song.mp3"), JoinPath(Native("/music"), QStringLiteral("song.mp3")));
    EXPECT_EQ(QStringLiteral("song.mp3"), FileNameOf(JoinPath(Native("/music"), QStringLiteral("song.mp3"))));
}

}  // namespace
}  // namespace tembrix
