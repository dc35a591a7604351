#pragma once
// Pure text operations on paths. The separator is the platform's own (QDir::separator()); every search
// is for the last occurrence. None of them touches the file system.

#include <QString>

namespace tembrix {

// The text after the last separator; the whole path when there is none.
QString FileNameOf(const QString& path);

// The text before the last "."; the whole text when there is none.
QString NameWithoutExtension(const QString& name);

// The text from the last "." to the end, dot included; "" when there is none. The search does not stop
// at a separator (a folder "a.b" holding a file "c" gives ".b/c") and no case is folded.
QString ExtensionOf(const QString& path);

// Scanning from the end, the text before the last "\" or "/", without it; "" when the path has neither.
QString DirectoryOf(const QString& path);

// path + ext unless the path already ends with ext, compared exactly (case-sensitive).
QString ForceExtension(const QString& path, const QString& ext);

// A program's file name on this platform: `baseName` plus ".exe" on Windows, `baseName` elsewhere.
QString ExecutableFileName(const QString& baseName);

// folder + native separator + name.
QString JoinPath(const QString& folder, const QString& name);

}  // namespace tembrix
