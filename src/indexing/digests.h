#pragma once
// MD5 and SHA-256 of a whole file, both fed from one read pass. Safe on any thread.

#include <QString>

namespace tembrix {

struct FileDigests {
    bool ok = false;   // false when the file could not be opened or read to its end
    QString md5;       // 32 lower-case hex digits
    QString sha256;    // 64 lower-case hex digits
    qint64 bytes = 0;  // bytes read
};

// Reads the file once, in 4 MiB chunks, and returns both digests.
FileDigests DigestFile(const QString& path);

}  // namespace tembrix
