// Index store: inserting rows with 48,000-byte envelopes (8 minutes of audio each), one commit per row as
// the indexing does and inside one transaction; FindTrack and FindPath at 10,000 and 100,000 rows.
//   build/bench/bench_store --benchmark_min_time=1

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <vector>

#include "database/index_store.h"

namespace {

tembrix::IndexRecord Row(int i, int32_t indexSize) {
    tembrix::IndexRecord r;
    r.md5 = QStringLiteral("%1").arg(i, 32, 16, QLatin1Char('0'));
    r.sha2 = QStringLiteral("%1").arg(i, 64, 16, QLatin1Char('0'));
    r.source_size = 1000000 + i;
    r.source_path = QStringLiteral("/music/collection/file-%1.mp3").arg(i);
    r.source_file_name = QStringLiteral("file-%1").arg(i);
    r.extension = QStringLiteral("mp3");
    r.type = tembrix::kTypeAudio;
    r.all_tracks = 1;
    r.duration = 480;
    r.created = QStringLiteral("01.01.2024 12:00:00");
    r.index_size = indexSize;
    return r;
}

QString FreshDb(const char* name) {
    const QString path = QDir::tempPath() + QStringLiteral("/tembrix-bench-") + QLatin1String(name) + ".db";
    QFile::remove(path);
    return path;
}

void FillStore(tembrix::TDataModule1& store, int rows, int32_t indexSize, bool transaction) {
    std::vector<uint16_t> envelope(static_cast<size_t>(indexSize / 2), 1234);
    if (transaction) {
        store.BeginTransaction();
    }
    for (int i = 0; i < rows; ++i) {
        store.InsertRecordWithIndex(Row(i, indexSize), envelope.data());
    }
    if (transaction) {
        store.CommitTransaction();
    }
}

void BM_Insert10kRows48kEnvelopes(benchmark::State& state) {
    const bool transaction = state.range(0) != 0;
    for (auto _ : state) {
        state.PauseTiming();
        tembrix::TDataModule1 store;
        store.Connect(FreshDb("insert"));
        store.CreateTable();
        state.ResumeTiming();
        FillStore(store, 10000, 48000, transaction);
    }
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_Insert10kRows48kEnvelopes)
    ->Arg(0)
    ->Arg(1)
    ->ArgNames({"transaction"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

void BM_FindTrack(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    tembrix::TDataModule1 store;
    store.Connect(FreshDb("find"));
    store.CreateTable();
    FillStore(store, rows, 64, true);
    int i = 0;
    for (auto _ : state) {
        const auto r = Row((i++ * 7919) % rows, 64);
        benchmark::DoNotOptimize(store.FindTrack(r.md5, r.source_size, 0));
    }
}
BENCHMARK(BM_FindTrack)->Arg(10000)->Arg(100000)->ArgNames({"rows"})->Unit(benchmark::kMicrosecond);

void BM_FindPath(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    tembrix::TDataModule1 store;
    store.Connect(FreshDb("path"));
    store.CreateTable();
    FillStore(store, rows, 64, true);
    int i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(store.FindPath(Row((i++ * 7919) % rows, 64)));
    }
}
BENCHMARK(BM_FindPath)->Arg(10000)->Arg(100000)->ArgNames({"rows"})->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
