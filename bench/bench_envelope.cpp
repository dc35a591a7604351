// Envelope speed: compute over one hour of samples in memory, against a plain pass over the same buffer;
// and a raw file of one hour, from page cache, against reading the file alone in the same chunks.
//   build/bench/bench_envelope --benchmark_min_time=2

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "indexing/envelope.h"

namespace {

constexpr size_t kHourSamples = 48000ull * 3600;  // 172,800,000 samples, 345.6 MB

const std::vector<int16_t>& HourOfSamples() {
    static const std::vector<int16_t> samples = [] {
        std::vector<int16_t> s(kHourSamples);
        std::mt19937 gen(1);
        for (auto& v : s) {
            v = static_cast<int16_t>(gen());
        }
        return s;
    }();
    return samples;
}

void BM_EnvelopeCompute(benchmark::State& state) {
    const auto& s = HourOfSamples();
    for (auto _ : state) {
        tembrix::Envelope e(480, static_cast<int32_t>((s.size() + 479) / 480));
        e.AddSamples(s.data(), s.size());
        benchmark::DoNotOptimize(e.Values()[e.Count() - 1]);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * s.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.size() * 2));
}
BENCHMARK(BM_EnvelopeCompute)->Unit(benchmark::kMillisecond);

// Compute alone on a 1 MiB buffer that stays in cache, as each chunk of a file read is.
void BM_EnvelopeComputeCached(benchmark::State& state) {
    const auto& all = HourOfSamples();
    const std::vector<int16_t> s(all.begin(), all.begin() + 512 * 1024);
    tembrix::Envelope e(480, static_cast<int32_t>(s.size() / 480 * 1000 + 1));
    for (auto _ : state) {
        e.Reset();
        e.AddSamples(s.data(), s.size());
        benchmark::DoNotOptimize(e.Values()[0]);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * s.size()));
}
BENCHMARK(BM_EnvelopeComputeCached);

// The floor: one pass that touches every sample (a running maximum of |s|).
void BM_PlainPass(benchmark::State& state) {
    const auto& s = HourOfSamples();
    for (auto _ : state) {
        uint16_t highest = 0;
        for (int16_t v : s) {
            const auto a = static_cast<uint16_t>(v < 0 ? -v : v);
            highest = a > highest ? a : highest;
        }
        benchmark::DoNotOptimize(highest);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * s.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.size() * 2));
}
BENCHMARK(BM_PlainPass)->Unit(benchmark::kMillisecond);

QString HourFile() {
    static const QString path = [] {
        const QString p = QDir::tempPath() + QStringLiteral("/tembrix-bench-hour.dat");
        QFile f(p);
        if (f.size() != static_cast<qint64>(kHourSamples * 2) &&
            f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            const auto& s = HourOfSamples();
            f.write(reinterpret_cast<const char*>(s.data()), static_cast<qint64>(s.size() * 2));
        }
        return p;
    }();
    return path;
}

void BM_RawFileToEnvelope(benchmark::State& state) {
    const QString path = HourFile();
    for (auto _ : state) {
        const auto r = tembrix::EnvelopeOfRawFile(path);
        benchmark::DoNotOptimize(r.envelope->Count());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kHourSamples * 2));
}
BENCHMARK(BM_RawFileToEnvelope)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor for the file: the same file read in 1 MiB chunks into one reused buffer.
void BM_RawFileReadOnly(benchmark::State& state) {
    const QString path = HourFile();
    std::unique_ptr<char[]> buffer(new char[1 << 20]);
    for (auto _ : state) {
        QFile f(path);
        f.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        qint64 total = 0;
        for (qint64 got; (got = f.read(buffer.get(), 1 << 20)) > 0;) {
            total += got;
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kHourSamples * 2));
}
BENCHMARK(BM_RawFileReadOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
