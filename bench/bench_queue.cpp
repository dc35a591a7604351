// The indexing queue with 100,000 real files: adding them one by one (as a folder scan does), saving
// the list file and opening it again (which adds every file afresh), and the status look-ups the
// scheduler makes per file. The files are created once, empty, in a temporary folder.

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include "app/indexing_queue.h"

namespace {

constexpr int kFileCount = 100000;

struct Fixture {
    QTemporaryDir dir;
    QStringList paths;
    QString list;

    Fixture() {
        // 100 folders of 1,000 files each, like a music collection.
        for (int i = 0; i < kFileCount; ++i) {
            const QString folder =
                dir.path() + QStringLiteral("/album %1").arg(i / 1000, 3, 10, QLatin1Char('0'));
            if (i % 1000 == 0) {
                QDir().mkpath(folder);
            }
            const QString path =
                folder +
                (i % 3 == 0 ? QStringLiteral("/track %1.mkv") : QStringLiteral("/track %1.mp3")).arg(i);
            QFile f(path);
            if (f.open(QIODevice::WriteOnly)) {
                f.write("x");
            }
            paths.append(path);
        }
        list = dir.path() + QStringLiteral("/all.list");
    }
};

Fixture& Files() {
    static Fixture fixture;
    return fixture;
}

void BM_AddFiles(benchmark::State& state) {
    const QStringList& paths = Files().paths;
    for (auto _ : state) {
        tembrix::IndexingQueue queue;
        for (const QString& p : paths) {
            queue.AddFile(p);
        }
        benchmark::DoNotOptimize(queue.Count());
        state.PauseTiming();
        queue.Clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * paths.size());
}
BENCHMARK(BM_AddFiles)->Unit(benchmark::kMillisecond);

void BM_SaveList(benchmark::State& state) {
    tembrix::IndexingQueue queue;
    for (const QString& p : Files().paths) {
        queue.AddFile(p);
    }
    for (auto _ : state) {
        if (!queue.Save(Files().list)) {
            state.SkipWithError("save failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * queue.Count());
}
BENCHMARK(BM_SaveList)->Unit(benchmark::kMillisecond);

void BM_OpenList(benchmark::State& state) {
    {
        tembrix::IndexingQueue queue;
        for (const QString& p : Files().paths) {
            queue.AddFile(p);
        }
        queue.Save(Files().list);
    }
    tembrix::IndexingQueue queue;
    for (auto _ : state) {
        if (!queue.Open(Files().list) || queue.Count() != kFileCount) {
            state.SkipWithError("open failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kFileCount);
}
BENCHMARK(BM_OpenList)->Unit(benchmark::kMillisecond);

// One status change and one status read per file, as the scheduler makes them over a whole job.
void BM_SetAndReadStatus(benchmark::State& state) {
    tembrix::IndexingQueue queue;
    for (const QString& p : Files().paths) {
        queue.AddFile(p);
    }
    queue.Delete(0);  // positions shift: the first look-up rebuilds the path index
    for (auto _ : state) {
        for (const QString& p : Files().paths) {
            queue.SetStatus(tembrix::kStatusDone, p);
            benchmark::DoNotOptimize(queue.StatusOf(p));
        }
    }
    state.SetItemsProcessed(state.iterations() * kFileCount);
}
BENCHMARK(BM_SetAndReadStatus)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    Files();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
