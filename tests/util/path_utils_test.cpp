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

// DirectoryOf takes both separators on every platform, so its rows are used as written.
TEST(PathUtils, SinglePathHelpers) {
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
                {DirectoryOf, "/song.mp3", ""},
                {DirectoryOf, "a/b\\c", "a/b"},
                {DirectoryOf, "a\\b/c", "a\\b"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.input);
        const bool asWritten = r.helper == &DirectoryOf;
        const QString input = asWritten ? QString::fromUtf8(r.input) : Native(r.input);
        EXPECT_EQ(asWritten ? QString::fromUtf8(r.expected) : Native(r.expected), r.helper(input));
    }
}

// The extension is compared exactly: a different case is appended again.
TEST(PathUtils, ForceExtensionAndJoinPath) {
    auto force = [](const char* path, const char* ext) {
        return ForceExtension(QString::fromUtf8(path), QString::fromUtf8(ext));
    };
    EXPECT_EQ(QStringLiteral("queue.list"), force("queue", ".list"));
    EXPECT_EQ(QStringLiteral("queue.list"), force("queue.list", ".list"));
    EXPECT_EQ(QStringLiteral("queue.LIST.list"), force("queue.LIST", ".list"));
    EXPECT_EQ(QStringLiteral(".list"), force("", ".list"));
    EXPECT_EQ(QStringLiteral("queue.list"), force("queue.list", ""));
    EXPECT_EQ(Native("/music/song.mp3"), JoinPath(Native("/music"), QStringLiteral("song.mp3")));
}

}  // namespace
}  // namespace tembrix
