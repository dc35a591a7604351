// The database browser on the offscreen platform: showing a database of 100,000 records (list, count,
// first record, graph), and a 24-hour envelope (8,640,000 values) chosen, scrolled with the track bar
// and resized, each with the chart repainted. The databases are made once per run in a temporary
// folder: 100,000 rows with envelopes of 1,000 values (2 KB, so every row is read from its own page,
// as rows with long envelopes are), and one 24-hour row beside a short one.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QChartView>
#include <QSlider>
#include <QTemporaryDir>
#include <cmath>
#include <vector>

#include "database/index_store.h"
#include "forms/browser_window.h"

namespace {

constexpr int kRecords = 100000;
constexpr int32_t kDayValues = 8640000;

tembrix::IndexRecord Record(int n, int32_t values) {
    tembrix::IndexRecord r;
    r.source_file_name =
        QStringLiteral("Запись %1 - трек").arg((n * 7919) % kRecords, 6, 10, QLatin1Char('0'));
    r.source_path = QStringLiteral("/media/collection/") + r.source_file_name + QStringLiteral(".mp3");
    r.extension = QStringLiteral("mp3");
    r.type = tembrix::kTypeAudio;
    r.source_size = 4000000 + n;
    r.md5 = QStringLiteral("%1").arg(n, 32, 16, QLatin1Char('0'));
    r.sha2 = QStringLiteral("%1").arg(n, 64, 16, QLatin1Char('0'));
    r.duration = values / 100;
    r.audio_track = 0;
    r.all_tracks = 1;
    r.created = QStringLiteral("01.02.2024 3:04:05");
    r.info = QStringLiteral("Artist: A\nTitle: T");
    r.index_size = values * 2;
    return r;
}

std::vector<uint16_t> Values(int32_t count) {
    std::vector<uint16_t> v(static_cast<size_t>(count));
    for (size_t i = 0; i < v.size(); ++i) {
        v[i] = static_cast<uint16_t>(6000 + 5000 * std::sin(static_cast<double>(i) / 700.0) +
                                     (i * 2654435761u >> 9) % 900);
    }
    return v;
}

struct Databases {
    QTemporaryDir dir;
    tembrix::TDataModule1 big;  // 100,000 rows
    tembrix::TDataModule1 day;  // the 24-hour row and a short one

    Databases() {
        big.Connect(dir.filePath(QStringLiteral("big.db")));
        big.CreateTable();
        const std::vector<uint16_t> small = Values(1000);
        big.BeginTransaction();
        for (int n = 0; n < kRecords; ++n) {
            big.InsertRecordWithIndex(Record(n, 1000), small.data());
        }
        big.CommitTransaction();

        day.Connect(dir.filePath(QStringLiteral("day.db")));
        day.CreateTable();
        const std::vector<uint16_t> long24 = Values(kDayValues);
        day.InsertRecordWithIndex(Record(1, kDayValues), long24.data());
        day.InsertRecordWithIndex(Record(2, 1000), small.data());
    }
};

Databases& TheDatabases() {
    static Databases databases;
    return databases;
}

// The whole show of 100,000 records: ListTracks, the list model, the count, the first record and its graph.
void BM_ShowHundredThousand(benchmark::State& state) {
    tembrix::TForm9 window(TheDatabases().big);
    window.resize(1000, 700);
    window.show();
    QApplication::processEvents();
    for (auto _ : state) {
        window.FormShow();
        window.repaint();
    }
    state.counters["records"] = static_cast<double>(window.Names().size());
}
BENCHMARK(BM_ShowHundredThousand)->Unit(benchmark::kMillisecond)->UseRealTime();

// Choosing the 24-hour record: 17 MB read from the database and the first window drawn.
void BM_SelectDay(benchmark::State& state) {
    tembrix::TForm9 window(TheDatabases().day);
    window.resize(1000, 700);
    window.show();
    QApplication::processEvents();
    const int dayRow = window.Names().indexOf(Record(1, 0).source_file_name);
    int other = dayRow == 0 ? 1 : 0;
    for (auto _ : state) {
        window.SelectRow(other);
        window.SelectRow(dayRow);
        window.Chart1()->viewport()->repaint();
    }
}
BENCHMARK(BM_SelectDay)->Unit(benchmark::kMillisecond)->UseRealTime();

// One track bar step across the 24-hour envelope, with the chart repainted.
void BM_ScrollDay(benchmark::State& state) {
    tembrix::TForm9 window(TheDatabases().day);
    window.resize(1000, 700);
    window.show();
    QApplication::processEvents();
    window.SelectRow(window.Names().indexOf(Record(1, 0).source_file_name));
    QSlider* bar = window.TrackBar1();
    const int step = bar->maximum() / 997;
    int position = 0;
    for (auto _ : state) {
        position = (position + step) % bar->maximum();
        bar->setValue(position);
        window.Chart1()->viewport()->repaint();
    }
}
BENCHMARK(BM_ScrollDay)->Unit(benchmark::kMillisecond)->UseRealTime();

// The window resized between 1000 and 1600 pixels wide with the 24-hour envelope shown.
void BM_ResizeDay(benchmark::State& state) {
    tembrix::TForm9 window(TheDatabases().day);
    window.resize(1000, 700);
    window.show();
    QApplication::processEvents();
    window.SelectRow(window.Names().indexOf(Record(1, 0).source_file_name));
    window.TrackBar1()->setValue(window.TrackBar1()->maximum() / 2);
    bool wide = false;
    for (auto _ : state) {
        wide = !wide;
        window.resize(wide ? 1600 : 1000, 700);
        QApplication::processEvents();
        window.Chart1()->viewport()->repaint();
    }
}
BENCHMARK(BM_ResizeDay)->Unit(benchmark::kMillisecond)->UseRealTime();

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
