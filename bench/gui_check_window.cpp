// The check window on the offscreen platform over 100,000 rows: a check whose empty-fields pass reports
// every row (no tag text) against one that reports none, from Старт until the worker's last line is in
// the list (the closing pause of the worker is left out). Target: at most 2 x. Also a million lines into
// the message list in the line queue's batches, with the slowest batch (how long the window can stall).
//   build/bench/gui_check_window

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QThread>
#include <algorithm>

#include "database/check_database.h"
#include "database/index_store.h"
#include "forms/check_window.h"
#include "forms/message_list.h"
#include "maint_bench_db.h"
#include "util/user_messages.h"

namespace {

void BM_CheckWindowEveryRowReported(benchmark::State& state) {
    const bool lacking = state.range(0) != 0;
    tembrix::TDataModule1 store;
    if (!store.Connect(tembrix::bench::TagCollection(lacking))) {
        state.SkipWithError("no database");
        return;
    }
    tembrix::ConsoleMessages quiet(true);
    tembrix::UserMessages* previous = tembrix::SetMessages(&quiet);
    tembrix::TForm7 window(store);
    window.show();
    const bool boxes[5] = {false, true, false, false, false};
    for (int n = 1; n <= 5; ++n) {
        window.CheckBox(n)->setChecked(boxes[n - 1]);
    }
    for (auto _ : state) {
        window.BitBtn1Click();
        while (window.Worker() != nullptr && window.Worker()->progress.load() < 100) {
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        const int expected = lacking ? 100000 : 0;  // a line for each of the collection's rows
        while (window.Memo1()->Shown() < expected && window.Worker() != nullptr) {  // lines on their way
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        state.PauseTiming();
        state.counters["lines"] = window.Memo1()->Count();
        window.BitBtn2Click();  // cuts the worker's closing pause short
        state.ResumeTiming();
    }
    tembrix::SetMessages(previous);
}
BENCHMARK(BM_CheckWindowEveryRowReported)->Apply(tembrix::bench::EveryRowRuns);

// Responsiveness with a million lines: the lines reach the list in the line queue's largest batches
// (2048), and each batch is one call on the main thread, between which the window paints and takes input.
// Reports the slowest single batch (the longest the window is unresponsive) and the whole million.
void BM_MessageListMillionLines(benchmark::State& state) {
    constexpr int kLines = 1000000;
    constexpr int kBatch = 2048;
    QStringList batch;
    for (int i = 0; i < kBatch; ++i) {
        batch.append(QStringLiteral("Id=%1\tНе содержит доп. информации").arg(i));
    }
    for (auto _ : state) {
        tembrix::MessageList list;
        list.resize(600, 400);
        list.show();
        qint64 slowestNs = 0;  // the longest single return to the event loop: how long the window stalls
        QElapsedTimer timer;
        const auto serve = [&] {
            timer.start();
            QApplication::processEvents();
            slowestNs = std::max(slowestNs, timer.nsecsElapsed());
        };
        for (int done = 0; done < kLines; done += kBatch) {
            timer.start();
            list.AppendLines(batch);
            slowestNs = std::max(slowestNs, timer.nsecsElapsed());
            serve();
            if (done % (kBatch * 16) == 0) {  // lines come over time: the list shows them in between
                QThread::msleep(tembrix::MessageList::kShowDelayMs);
                serve();
            }
        }
        while (list.Shown() < list.Count()) {
            QThread::msleep(tembrix::MessageList::kShowDelayMs);
            serve();
        }
        state.counters["slowest_batch_ms"] = static_cast<double>(slowestNs) / 1e6;
        state.counters["lines"] = list.Shown();
    }
}
BENCHMARK(BM_MessageListMillionLines)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

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
