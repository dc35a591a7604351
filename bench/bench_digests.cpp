// Digest throughput: MD5 and SHA-256 alone over a buffer, and both from one read pass over a file in
// the page cache (what the indexing worker does). Bytes per second are reported by each benchmark.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <random>
#include <vector>

#include "indexing/digests.h"

namespace {

constexpr size_t kBufferBytes = 64 * 1024 * 1024;
constexpr qint64 kFileBytes = 256 * 1024 * 1024;

const std::vector<unsigned char>& Buffer() {
    static const std::vector<unsigned char> buffer = [] {
        std::vector<unsigned char> b(kBufferBytes);
        std::mt19937 random(7);
        for (auto& c : b) {
            c = static_cast<unsigned char>(random());
        }
        return b;
    }();
    return buffer;
}

void DigestBuffer(benchmark::State& state, const EVP_MD* md) {
    const auto& buffer = Buffer();
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    for (auto _ : state) {
        EVP_Digest(buffer.data(), buffer.size(), digest, &length, md, nullptr);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(buffer.size()));
}

void BM_Md5Buffer(benchmark::State& state) {
    DigestBuffer(state, EVP_md5());
}
void BM_Sha256Buffer(benchmark::State& state) {
    DigestBuffer(state, EVP_sha256());
}

// Writes the 256 MiB test file into `dir`; "" on failure.
QString MakeFile(const QTemporaryDir& dir) {
    const QString path = dir.filePath(QStringLiteral("source.bin"));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) {
        return QString();
    }
    const auto& buffer = Buffer();
    for (qint64 written = 0; written < kFileBytes; written += static_cast<qint64>(buffer.size())) {
        f.write(reinterpret_cast<const char*>(buffer.data()), static_cast<qint64>(buffer.size()));
    }
    tembrix::DigestFile(path);  // into the page cache
    return path;
}

void BM_BothDigestsOfFile(benchmark::State& state) {
    QTemporaryDir dir;
    const QString path = MakeFile(dir);
    if (path.isEmpty()) {
        state.SkipWithError("cannot write the test file");
        return;
    }
    for (auto _ : state) {
        const tembrix::FileDigests d = tembrix::DigestFile(path);
        benchmark::DoNotOptimize(d.md5);
        if (!d.ok) {
            state.SkipWithError("digest failed");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFileBytes);
}

// The worker's copy to its scratch folder with both digests on the way, then the copy's deletion.
void BM_CopyAndDigestOfFile(benchmark::State& state) {
    QTemporaryDir dir;
    const QString path = MakeFile(dir);
    if (path.isEmpty()) {
        state.SkipWithError("cannot write the test file");
        return;
    }
    const QString copy = dir.filePath(QStringLiteral("copy.bin"));
    for (auto _ : state) {
        bool copied = false;
        const tembrix::FileDigests d = tembrix::CopyAndDigest(path, copy, &copied);
        benchmark::DoNotOptimize(d.md5);
        QFile::remove(copy);
        if (!copied) {
            state.SkipWithError("copy failed");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFileBytes);
}

BENCHMARK(BM_Md5Buffer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sha256Buffer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BothDigestsOfFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyAndDigestOfFile)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
