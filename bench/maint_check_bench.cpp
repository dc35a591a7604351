// The check worker with every pass over 20,000 rows with 48,000-byte envelopes, against reading every
// blob once (SELECT index_data FROM Data), the floor any envelope pass has. Target: at most 1.5 x.
//   build/bench/maint_check_bench

#include <benchmark/benchmark.h>

#include <sqlite3.h>

#include "database/check_database.h"
#include "database/index_store.h"
#include "maint_bench_db.h"

namespace {

QString Database() {
    return tembrix::bench::Collection(QStringLiteral("check-20k"), 0, 20000);
}

void BM_ReadEveryBlobOnce(benchmark::State& state) {
    tembrix::TDataModule1 store;
    if (!store.Connect(Database())) {
        state.SkipWithError("no database");
        return;
    }
    for (auto _ : state) {
        tembrix::SqliteStatement q(store.Handle(), "SELECT index_data FROM Data");
        uint64_t sum = 0;
        while (q.Next()) {
            const auto* data = static_cast<const unsigned char*>(q.BlobData(0));
            const int64_t bytes = q.BlobBytes(0);
            sum += bytes > 0 ? data[bytes - 1] : 0;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * 20000);
}
BENCHMARK(BM_ReadEveryBlobOnce)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(7)
    ->ComputeStatistics("min", tembrix::bench::Minimum);

void BM_CheckAllPasses(benchmark::State& state) {
    tembrix::TDataModule1 store;
    if (!store.Connect(Database())) {
        state.SkipWithError("no database");
        return;
    }
    int lines = 0;
    for (auto _ : state) {
        tembrix::CheckDatabase worker(store);
        worker.finishPauseMs = 0;
        lines = 0;
        worker.onLine = [&lines](const QString&) { ++lines; };
        worker.Execute();
    }
    state.counters["lines"] = lines;  // every source file is missing here: one line per row
    state.SetItemsProcessed(state.iterations() * 20000);
}
BENCHMARK(BM_CheckAllPasses)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(7)
    ->ComputeStatistics("min", tembrix::bench::Minimum);

}  // namespace

BENCHMARK_MAIN();
