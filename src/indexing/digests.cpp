#include "indexing/digests.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QThread>
#include <algorithm>
#include <memory>

namespace tembrix {

namespace {

struct MdContextFree {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using MdContext = std::unique_ptr<EVP_MD_CTX, MdContextFree>;

QString HexOf(const unsigned char* digest, unsigned int length) {
    return QString::fromLatin1(
        QByteArray::fromRawData(reinterpret_cast<const char*>(digest), static_cast<qsizetype>(length))
            .toHex());
}

// Reads `path` once, feeding both digests and, when `copy` is set, writing every chunk to it. `copied`
// tells whether every write succeeded.
FileDigests Digest(const QString& path, QFile* copy, bool* copied) {
    FileDigests result;
    if (copied != nullptr) {
        *copied = false;
    }
    // Opened without waiting (a FIFO would otherwise block the open until a writer comes) and read
    // only when it is a regular file.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return result;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return result;
    }
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return result;
    }
    QThread* thread = QThread::currentThread();
    MdContext md5(EVP_MD_CTX_new());
    MdContext sha(EVP_MD_CTX_new());
    if (!md5 || !sha || EVP_DigestInit_ex(md5.get(), EVP_md5(), nullptr) != 1 ||
        EVP_DigestInit_ex(sha.get(), EVP_sha256(), nullptr) != 1) {
        return result;
    }
    constexpr qint64 kChunk = 4 * 1024 * 1024;
    std::unique_ptr<char[]> buffer(new char[kChunk]);
    bool written = true;
    for (;;) {
        if (thread->isInterruptionRequested()) {
            return result;  // asked to stop: not ok, and no copy is kept
        }
        const qint64 got = file.read(buffer.get(), kChunk);
        if (got < 0) {
            return result;
        }
        if (got == 0) {
            break;
        }
        if (copy != nullptr && written) {
            written = copy->write(buffer.get(), got) == got;
        }
        // Both digests take each slice while it is still in the cache.
        constexpr qint64 kSlice = 64 * 1024;
        for (qint64 at = 0; at < got; at += kSlice) {
            const auto n = static_cast<size_t>(std::min(kSlice, got - at));
            EVP_DigestUpdate(md5.get(), buffer.get() + at, n);
            EVP_DigestUpdate(sha.get(), buffer.get() + at, n);
        }
        result.bytes += got;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(md5.get(), digest, &length) != 1) {
        return result;
    }
    result.md5 = HexOf(digest, length);
    if (EVP_DigestFinal_ex(sha.get(), digest, &length) != 1) {
        return result;
    }
    result.sha256 = HexOf(digest, length);
    result.ok = true;
    if (copy != nullptr && copied != nullptr) {
        *copied = written && copy->flush();
    }
    return result;
}

}  // namespace

FileDigests DigestFile(const QString& path) {
    return Digest(path, nullptr, nullptr);
}

FileDigests CopyAndDigest(const QString& source, const QString& target, bool* copied) {
    bool done = false;
    FileDigests result;
    {
        QFile::remove(target);
        QFile copy(target);
        if (copy.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
            result = Digest(source, &copy, &done);
            done = done && result.ok;
        }
    }
    if (!done) {
        QFile::remove(target);
    }
    if (copied != nullptr) {
        *copied = done;
    }
    return result;
}

}  // namespace tembrix
