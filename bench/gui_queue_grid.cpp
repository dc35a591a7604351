// The main window's grid over a queue of 100,000 files, on the offscreen platform: what one dispatcher
// tick costs the window (statuses changed, the grid refreshed and repainted, the status-bar counters
// recomputed), and what files appended at the end cost. The files are created once, empty.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QTableView>
#include <QTemporaryDir>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "forms/queue_model.h"

namespace {

constexpr int kFileCount = 100000;

struct Grid {
    QTemporaryDir dir;
    tembrix::IndexingQueue queue;
    tembrix::QueueModel model{queue};
    QTableView view;
    QStringList extra;  // files not yet queued, for the append benchmark

    Grid() {
        const auto make = [this](int i) {
            const QString folder = dir.path() + QStringLiteral("/album %1").arg(i / 1000);
            if (i % 1000 == 0) {
                QDir().mkpath(folder);
            }
            const QString path = folder + QStringLiteral("/track %1.mp3").arg(i);
            QFile f(path);
            f.open(QIODevice::WriteOnly);
            return path;
        };
        for (int i = 0; i < kFileCount; ++i) {
            queue.AddFile(make(i));
        }
        for (int i = kFileCount; i < kFileCount + 1000; ++i) {
            extra.append(make(i));
        }
        model.Refresh();
        view.setModel(&model);
        view.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        view.verticalHeader()->hide();
        view.resize(1200, 600);
        view.show();
        QApplication::processEvents();
    }
};

Grid& TheGrid() {
    static Grid grid;
    return grid;
}

// One dispatcher tick with two workers: a file finishes, the next starts, the grid refreshes and paints.
void BM_TickRefresh(benchmark::State& state) {
    Grid& g = TheGrid();
    qsizetype next = 0;
    for (auto _ : state) {
        g.queue.SetStatus(tembrix::kStatusDone, g.queue.At(next).path);
        g.queue.SetStatus(tembrix::kStatusInWork, g.queue.At((next + 2) % kFileCount).path);
        next = (next + 1) % kFileCount;
        g.model.Refresh();
        g.view.viewport()->repaint();
    }
}
BENCHMARK(BM_TickRefresh)->Unit(benchmark::kMicrosecond);

// The same tick without the painting: the model's own share.
void BM_TickRefreshModelOnly(benchmark::State& state) {
    Grid& g = TheGrid();
    qsizetype next = 0;
    for (auto _ : state) {
        g.queue.SetStatus(tembrix::kStatusDone, g.queue.At(next).path);
        next = (next + 1) % kFileCount;
        g.model.Refresh();
    }
}
BENCHMARK(BM_TickRefreshModelOnly)->Unit(benchmark::kMicrosecond);

// The six status-bar counters (Timer3, every second).
void BM_StatusBarCounters(benchmark::State& state) {
    Grid& g = TheGrid();
    for (auto _ : state) {
        benchmark::DoNotOptimize(tembrix::QueueCounterTexts(g.queue));
    }
}
BENCHMARK(BM_StatusBarCounters)->Unit(benchmark::kMillisecond);

// A slice of files appended to the 100,000 and shown: the grid inserts rows, it is not rebuilt.
void BM_AppendAndRefresh(benchmark::State& state) {
    Grid& g = TheGrid();
    for (auto _ : state) {
        for (const QString& path : g.extra) {
            g.queue.AddFile(path);
        }
        g.model.Refresh();
        g.view.viewport()->repaint();
        state.PauseTiming();
        g.queue.DeleteAfter(kFileCount - 1);
        g.model.Refresh();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * g.extra.size());
}
BENCHMARK(BM_AppendAndRefresh)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
