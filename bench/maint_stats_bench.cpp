// The statistics figures (twelve totals and four grouped queries) of a 100,000-row database with
// 48,000-byte envelopes, about 4.8 GB, kept in the temporary folder between runs. Target: under 1.2 s.
//   build/bench/maint_stats_bench

#include <benchmark/benchmark.h>

#include "database/index_store.h"
#include "database/statistics.h"
#include "maint_bench_db.h"

namespace {

void BM_Statistics100k(benchmark::State& state) {
    const QString path = tembrix::bench::Collection(QStringLiteral("stats-100k"), 0, 100000);
    tembrix::TDataModule1 store;
    if (path.isEmpty() || !store.Connect(path)) {
        state.SkipWithError("no database");
        return;
    }
    qint64 tracks = 0;
    for (auto _ : state) {
        const tembrix::DatabaseStatistics s = tembrix::CollectStatistics(store);
        tracks = s.totals.value(0).second;
    }
    if (tracks != 100000) {
        state.SkipWithError("the totals are wrong");
    }
}
BENCHMARK(BM_Statistics100k)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ComputeStatistics("min", tembrix::bench::Minimum);

// The same with a new connection each time: the first reading of the file by the window's store.
void BM_Statistics100kFreshConnection(benchmark::State& state) {
    const QString path = tembrix::bench::Collection(QStringLiteral("stats-100k"), 0, 100000);
    for (auto _ : state) {
        tembrix::TDataModule1 store;
        store.Connect(path);
        benchmark::DoNotOptimize(tembrix::CollectStatistics(store));
    }
}
BENCHMARK(BM_Statistics100kFreshConnection)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ComputeStatistics("min", tembrix::bench::Minimum);

}  // namespace

BENCHMARK_MAIN();
