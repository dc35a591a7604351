#pragma once
// MD5 and SHA-256 of a whole file, both fed from one read pass. Only regular files are read (a FIFO or
// a device is refused without blocking). Safe on any thread.

#include <QString>

namespace tembrix {

struct FileDigests {
    bool ok = false;   // false when the file is not a regular file, could not be opened or read to its
                       // end, or the calling QThread was asked to stop meanwhile
    QString md5;       // 32 lower-case hex digits
    QString sha256;    // 64 lower-case hex digits
    qint64 bytes = 0;  // bytes read
};

// Reads the file once, in 4 MiB chunks, and returns both digests.
FileDigests DigestFile(const QString& path);

// Copies `source` to `target` (replacing it) and returns the digests of the bytes copied: one read pass
// for both. `copied` is set to whether the whole file was read and written; after a failure no partial
// target is left.
FileDigests CopyAndDigest(const QString& source, const QString& target, bool* copied);

}  // namespace tembrix
