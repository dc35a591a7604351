// The check worker with every pass over 20,000 rows with 48,000-byte envelopes, against reading every
// blob once (SELECT index_data FROM Data), the floor any envelope pass has. Target: at most 1.5 x.
// And a check that reports every row against one that reports none (100,000 rows without or with tag
// text, the empty-fields pass alone), by the worker on its thread and by tembrix-cli check; target: at
// most 2 x. (The check window's side is bench/gui_check_window.)
//   build/bench/maint_check_bench

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>

#include "database/check_database.h"
#include "database/index_store.h"
#include "maint_bench_db.h"

namespace {

QString Database() {
    return tembrix::bench::Collection(QStringLiteral("check-20k"), 0, 20000);
}

// Reads every envelope once, as any envelope pass must; returns a value that depends on every blob.
uint64_t ReadEveryBlob(tembrix::TDataModule1& store) {
    uint64_t sum = 0;
    store.ReadRows(tembrix::TDataModule1::ReadOn::Store, "SELECT index_data FROM Data",
                   [&sum](const tembrix::SqliteStatement& q) {
                       const auto* data = static_cast<const unsigned char*>(q.BlobData(0));
                       const int64_t bytes = q.BlobBytes(0);
                       sum += bytes > 0 ? data[bytes - 1] : 0;
                       return true;
                   });
    return sum;
}

void BM_ReadEveryBlobOnce(benchmark::State& state) {
    tembrix::TDataModule1 store;
    if (!store.Connect(Database())) {
        state.SkipWithError("no database");
        return;
    }
    // Untimed first pass: the file's pages are mapped into this connection before the measurement, as
    // they are for the check below.
    benchmark::DoNotOptimize(ReadEveryBlob(store));
    for (auto _ : state) {
        benchmark::DoNotOptimize(ReadEveryBlob(store));
    }
    state.SetItemsProcessed(state.iterations() * 20000);
}
BENCHMARK(BM_ReadEveryBlobOnce)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(7)
    ->ComputeStatistics("min", tembrix::bench::Minimum);

// Runs the passes selected by `mask` (bit 0 duplicates, 1 empty fields, 2 sources, 3 envelope values and
// sizes); the count step always runs. Returns the number of report lines.
int RunCheck(tembrix::TDataModule1& store, int mask) {
    tembrix::CheckDatabase worker(store);
    worker.finishPauseMs = 0;
    worker.checkDuplicates = (mask & 1) != 0;
    worker.checkEmptyFields = (mask & 2) != 0;
    worker.checkSourceFiles = (mask & 4) != 0;
    worker.checkIndexValues = worker.checkIndexSizes = (mask & 8) != 0;
    int lines = 0;
    worker.onLines = [&lines](const QStringList& batch) { lines += static_cast<int>(batch.size()); };
    worker.Execute();
    return lines;
}

// Argument: the passes, as RunCheck's mask. 15 is the whole check; the others show each pass's share.
void BM_Check(benchmark::State& state) {
    tembrix::TDataModule1 store;
    if (!store.Connect(Database())) {
        state.SkipWithError("no database");
        return;
    }
    const int mask = static_cast<int>(state.range(0));
    int lines = RunCheck(store, 15);  // untimed: maps the file's pages, as in the read above
    for (auto _ : state) {
        lines = RunCheck(store, mask);
    }
    state.counters["lines"] = lines;  // every source file is missing here: one line per row
    state.SetItemsProcessed(state.iterations() * 20000);
}
BENCHMARK(BM_Check)
    ->ArgName("passes")
    ->Arg(15)
    ->Arg(1)
    ->Arg(2)
    ->Arg(4)
    ->Arg(8)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(7)
    ->ComputeStatistics("min", tembrix::bench::Minimum);

// Runs `worker` on its thread while this (main) thread takes its notifications, as the window and the
// command line do.
void RunOnThread(QThread& worker) {
    QEventLoop loop;
    QObject::connect(&worker, &QThread::finished, &loop, &QEventLoop::quit);
    worker.start();
    loop.exec();
    worker.wait();
}

// Argument: 1 for the rows without tag text (a line each), 0 for the rows with it (no line).
void BM_CheckEveryRowReported(benchmark::State& state) {
    const bool lacking = state.range(0) != 0;
    tembrix::TDataModule1 store;
    if (!store.Connect(tembrix::bench::TagCollection(lacking))) {
        state.SkipWithError("no database");
        return;
    }
    int lines = 0;
    for (auto _ : state) {
        tembrix::CheckDatabase worker(store);
        worker.finishPauseMs = 0;
        worker.checkDuplicates = worker.checkSourceFiles = false;
        worker.checkIndexValues = worker.checkIndexSizes = false;
        lines = 0;
        worker.onLines = [&lines](const QStringList& batch) { lines += static_cast<int>(batch.size()); };
        RunOnThread(worker);
    }
    state.counters["lines"] = lines;
}
BENCHMARK(BM_CheckEveryRowReported)->Apply(tembrix::bench::EveryRowRuns);

// The same through tembrix-cli check --no-duplicates --no-index, its output thrown away.
void BM_CliCheckEveryRowReported(benchmark::State& state) {
    const QString db = tembrix::bench::TagCollection(state.range(0) != 0);
    const QString cli = QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/tembrix-cli");
    for (auto _ : state) {
        QProcess process;
        process.setStandardOutputFile(QProcess::nullDevice());
        process.start(cli, {QStringLiteral("check"), QStringLiteral("--db"), db,
                            QStringLiteral("--no-duplicates"), QStringLiteral("--no-index")});
        if (!process.waitForFinished(600000) || process.exitStatus() != QProcess::NormalExit) {
            state.SkipWithError("tembrix-cli did not run");
            return;
        }
    }
}
BENCHMARK(BM_CliCheckEveryRowReported)->Apply(tembrix::bench::EveryRowRuns);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);  // the main thread that takes the workers' lines
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
