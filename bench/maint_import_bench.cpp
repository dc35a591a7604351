// Import of 20,000 rows with 48,000-byte envelopes into a database of 20,000 rows, half of them
// duplicates, with the keep and the replace policy (the import worker's whole run, on this thread).
// The databases (about 1 GB each) are kept in the temporary folder between runs.
//   build/bench/maint_import_bench

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <QFile>

#include "database/import_database.h"
#include "database/import_source.h"
#include "database/index_store.h"
#include "maint_bench_db.h"

namespace {

using tembrix::bench::BenchPath;
using tembrix::bench::Collection;

void BM_Import20kHalfDuplicates(benchmark::State& state) {
    const bool replace = state.range(0) != 0;
    const QString pristine = Collection(QStringLiteral("import-main-20k"), 0, 20000);
    const QString source = Collection(QStringLiteral("import-source-20k"), 10000, 30000);
    const QString work = BenchPath(QStringLiteral("import-work"));
    if (pristine.isEmpty() || source.isEmpty()) {
        state.SkipWithError("could not make the databases");
        return;
    }
    int added = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QFile::remove(work);
        QFile::copy(pristine, work);
        {
            // The copy's pages reach the disk now, not in the import's first commit.
            QFile copy(work);
            if (copy.open(QIODevice::ReadWrite)) {
                ::fsync(copy.handle());
            }
        }
        tembrix::TDataModule1 store;
        tembrix::TDataModule2 reader;
        store.Connect(work);
        reader.Connect(source);
        tembrix::ImportDatabase worker(store, reader);
        worker.replaceDuplicates = replace;
        state.ResumeTiming();
        worker.Execute();
        state.PauseTiming();
        added = worker.added;
        if (worker.processed != 20000 || worker.added != (replace ? 20000 : 10000)) {
            state.SkipWithError("the import did not handle every row");
        }
        state.ResumeTiming();
    }
    state.counters["added"] = added;
    state.SetItemsProcessed(state.iterations() * 20000);
    QFile::remove(work);
}
BENCHMARK(BM_Import20kHalfDuplicates)
    ->ArgName("replace")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Repetitions(3)
    ->ComputeStatistics("min", tembrix::bench::Minimum)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
