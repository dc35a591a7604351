// Import of 20,000 rows with 48,000-byte envelopes into a database of 20,000 rows, half of them
// duplicates, with the keep and the replace policy (the import worker's whole run, on this thread), and
// beside it SQLite's own bulk copy of the same rows in one transaction (ATTACH, then the duplicates
// deleted and every source row inserted by INSERT … SELECT), the floor of a replacing import. Target:
// the import with replace within 1.5 x of the bulk copy. The databases (about 1 GB each) are kept in
// the temporary folder between runs.
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

// A fresh copy of `pristine` at `work`, on the disk before the measurement starts.
void FreshCopy(const QString& pristine, const QString& work) {
    QFile::remove(work);
    QFile::copy(pristine, work);
    // The copy's pages reach the disk now, not in the first commit.
    QFile copy(work);
    if (copy.open(QIODevice::ReadWrite)) {
        ::fsync(copy.handle());
    }
}

// The main database (20,000 rows), the source (20,000 rows, half of them in the main one) and the
// work copy's path; empty paths after telling `state` when they cannot be made.
struct Databases {
    QString pristine = Collection(QStringLiteral("import-main-20k"), 0, 20000);
    QString source = Collection(QStringLiteral("import-source-20k"), 10000, 30000);
    QString work = BenchPath(QStringLiteral("import-work"));

    bool Ready(benchmark::State& state) const {
        if (pristine.isEmpty() || source.isEmpty()) {
            state.SkipWithError("could not make the databases");
            return false;
        }
        return true;
    }
};

void BM_SqliteBulkCopy20kHalfDuplicates(benchmark::State& state) {
    const Databases dbs;
    if (!dbs.Ready(state)) {
        return;
    }
    const auto& [pristine, source, work] = dbs;
    constexpr char kColumns[] =
        "source_size, sha2, md5, duration, source_path, source_file_name, extension, type, audio_track, "
        "all_tracks, created, info, index_size, index_data";
    const QString copySql =
        QStringLiteral(
            "BEGIN; DELETE FROM main.Data WHERE EXISTS (SELECT 1 FROM src.Data s WHERE s.md5 = Data.md5 "
            "AND s.source_size = Data.source_size AND s.audio_track = Data.audio_track); "
            "INSERT INTO main.Data (%1) SELECT %1 FROM src.Data ORDER BY id; COMMIT;")
            .arg(QLatin1String(kColumns));
    int64_t rows = 0;
    for (auto _ : state) {
        state.PauseTiming();
        FreshCopy(pristine, work);
        tembrix::SqliteConnection c;
        c.Open(work);
        c.Exec(QStringLiteral("ATTACH '%1' AS src").arg(source));
        state.ResumeTiming();
        if (!c.Exec(copySql)) {
            state.SkipWithError("the bulk copy failed");
            return;
        }
        state.PauseTiming();
        tembrix::SqliteStatement q(c, "SELECT count(*) FROM main.Data");
        rows = q.Next() ? q.Int64(0) : -1;
        state.ResumeTiming();
    }
    state.counters["rows"] = static_cast<double>(rows);
    state.SetItemsProcessed(state.iterations() * 20000);
    QFile::remove(work);
}
BENCHMARK(BM_SqliteBulkCopy20kHalfDuplicates)
    ->Iterations(1)
    ->Repetitions(3)
    ->ComputeStatistics("min", tembrix::bench::Minimum)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Import20kHalfDuplicates(benchmark::State& state) {
    const bool replace = state.range(0) != 0;
    const Databases dbs;
    if (!dbs.Ready(state)) {
        return;
    }
    const auto& [pristine, source, work] = dbs;
    int added = 0;
    for (auto _ : state) {
        state.PauseTiming();
        FreshCopy(pristine, work);
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
        if (worker.outcome != tembrix::ImportDatabase::Outcome::Done || worker.processed != 20000 ||
            worker.added != (replace ? 20000 : 10000)) {
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
