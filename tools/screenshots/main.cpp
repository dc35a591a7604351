// tembrix-screenshots [--minimum] DIR: builds a demo program folder (settings, a database of made-up tracks,
// a queue of media files part-way through a job), opens the windows over it and saves a PNG of each into DIR.
// Runs offscreen when there is no display.

#include <QApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPixmap>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

#include "app/settings.h"
#include "database/index_store.h"
#include "forms/application.h"
#include "forms/main_window.h"
#include "screenshots.h"

namespace tembrix::shots {

namespace {

std::map<QString, ShotFunction>& Shots() {
    static std::map<QString, ShotFunction> shots;
    return shots;
}

// Demo collection: names, sizes in MiB and whether the file is a video.
struct DemoFile {
    const char* name;
    int megabytes;
};
const DemoFile kDemoFiles[] = {
    {"Вечерний джаз - Осенняя сюита.mp3", 9},
    {"Северный хор - Колыбельная.flac", 31},
    {"Лекция 01 - Введение в акустику.mp4", 412},
    {"Квартет Струны - Адажио соль минор.ogg", 7},
    {"Городской шум - Утро на вокзале.wav", 52},
    {"Радиоспектакль - Часть 1.m4a", 44},
    {"Радиоспектакль - Часть 2.m4a", 46},
    {"Концерт в парке (запись с пульта).mkv", 1306},
    {"Песни у костра - Дорога.mp3", 6},
    {"Интервью с композитором.webm", 233},
    {"Духовой оркестр - Марш.aac", 5},
    {"Фортепиано - Этюд № 3.flac", 28},
    {"Документальный фильм - Море.mov", 2048},
    {"Подкаст - Выпуск 27.opus", 18},
    {"Народный ансамбль - Хоровод.mp3", 8},
    {"Лекция 02 - Резонанс.mp4", 388},
    {"Орган - Токката.aiff", 61},
    {"Детский хор - Зимняя сказка.ogg", 6},
    {"Камерный оркестр - Рондо.wma", 10},
    {"Репетиция - Дубль 4.wav", 73},
};

void WriteSparseFile(const QString& path, qint64 bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write("demo");
        file.resize(bytes);
    }
}

// A made-up envelope of `seconds` with a slowly changing loudness.
std::vector<uint16_t> DemoEnvelope(int seconds, int seed) {
    std::vector<uint16_t> values(static_cast<size_t>(seconds) * 100);
    for (size_t i = 0; i < values.size(); ++i) {
        const double t = static_cast<double>(i) / 100.0;
        const double level = 0.55 + 0.35 * std::sin(t / (7.0 + seed)) * std::cos(t / 23.0);
        values[i] = static_cast<uint16_t>(std::clamp(level, 0.0, 1.0) * 12000 + (i * 7919 + seed) % 900);
    }
    return values;
}

void FillDatabase(TDataModule1& store, const QStringList& media) {
    for (int n = 0; n < media.size(); ++n) {
        if (n % 4 == 3) {
            continue;  // a few files of the queue are not in the database yet
        }
        const QFileInfo info(media[n]);
        IndexRecord record;
        record.audio_track = 0;
        record.all_tracks = 1;
        record.duration = 95 + n * 37;
        record.source_size = info.size();
        record.source_path = QDir::toNativeSeparators(info.absoluteFilePath());
        record.source_file_name = info.completeBaseName();
        record.extension = info.suffix();
        record.type = QStringLiteral("аудио");
        record.md5 =
            QString::fromLatin1(QCryptographicHash::hash(media[n].toUtf8(), QCryptographicHash::Md5).toHex());
        record.sha2 = QString::fromLatin1(
            QCryptographicHash::hash(media[n].toUtf8(), QCryptographicHash::Sha256).toHex());
        record.created = QStringLiteral("12.03.2024 18:%1:07").arg(10 + n, 2, 10, QLatin1Char('0'));
        record.info =
            QStringLiteral("Artist: Демо\nTitle: %1\nAlbum: Коллекция\nYear: 2024\nTrack: %2\nGenre: 0")
                .arg(info.completeBaseName())
                .arg(n + 1);
        const std::vector<uint16_t> envelope = DemoEnvelope(record.duration, n);
        record.index_size = static_cast<int32_t>(envelope.size() * 2);
        store.InsertRecordWithIndex(record, envelope.data());
    }
    store.Commit();
}

}  // namespace

bool RegisterShot(const QString& name, ShotFunction function) {
    Shots()[name] = std::move(function);
    return true;
}

bool ShotContext::Save(QWidget* window, const QString& name) const {
    if (minimum) {
        window->resize(window->minimumSizeHint().expandedTo(window->minimumSize()));
    }
    window->show();
    for (int turn = 0; turn < 5; ++turn) {
        QApplication::processEvents();
        QThread::msleep(10);
    }
    const QString path =
        QDir(outDir).filePath(name + (minimum ? QStringLiteral("_min.png") : QStringLiteral(".png")));
    const bool saved = window->grab().save(path);
    std::fprintf(saved ? stdout : stderr, "%s %s\n", saved ? "saved" : "could not save",
                 path.toUtf8().constData());
    return saved;
}

}  // namespace tembrix::shots

int main(int argc, char** argv) {
    using namespace tembrix;
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Тембрикс"));
    QStringList args = QApplication::arguments();
    shots::ShotContext context;
    context.minimum = args.removeAll(QStringLiteral("--minimum")) > 0;
    if (args.size() != 2) {
        std::fputs("usage: tembrix-screenshots [--minimum] DIR\n", stderr);
        return 2;
    }
    context.outDir = QDir(args[1]).absolutePath();
    if (!QDir().mkpath(context.outDir)) {
        std::fprintf(stderr, "cannot create %s\n", context.outDir.toUtf8().constData());
        return 2;
    }
    ApplyProgramStyle(app, QApplication::applicationDirPath());
    LoadQtTranslations(app);

    // The demo program folder: the real content beside this tool, the rest made up.
    QTemporaryDir temp;
    const QString programDir = temp.filePath(QStringLiteral("Тембрикс"));
    context.programDir = programDir;
    context.mediaDir = temp.filePath(QStringLiteral("Музыка и видео"));
    for (const char* folder : {"database", "lists", "work"}) {
        QDir().mkpath(QDir(programDir).filePath(QString::fromLatin1(folder)));
    }
    QDir().mkpath(context.mediaDir);
    QFile::link(QDir(QApplication::applicationDirPath()).filePath(QStringLiteral("content")),
                QDir(programDir).filePath(QStringLiteral("content")));
    QStringList media;
    for (const auto& file : shots::kDemoFiles) {
        const QString path = QDir(context.mediaDir).filePath(QString::fromUtf8(file.name));
        shots::WriteSparseFile(path, qint64(file.megabytes) * 1024 * 1024 + file.megabytes * 4093);
        media.append(path);
    }

    Settings settings;
    settings.dbPath = QDir::toNativeSeparators(QDir(programDir).filePath(QStringLiteral("database/demo.db")));
    settings.workDir = QDir::toNativeSeparators(QDir(programDir).filePath(QStringLiteral("work")));
    settings.ffmpegPath = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    settings.soxPath = QStandardPaths::findExecutable(QStringLiteral("sox"));
    settings.threads = std::min(2, LogicalProcessors());
    const QString executable = QDir(programDir).filePath(QStringLiteral("tembrix"));
    WriteSettings(QDir(programDir).filePath(QStringLiteral("tembrix.ini")), settings);

    TDataModule1 store;
    if (store.Connect(settings.dbPath)) {
        store.CreateTable();
        shots::FillDatabase(store, media);
        store.Disconnect();
    }
    context.store = &store;
    TForm1 mainWindow(store, executable, LogicalProcessors());
    mainWindow.Timer1Timer();  // pictures and the database, as one second after start
    context.mainWindow = &mainWindow;
    for (const QString& path : media) {
        mainWindow.Queue().AddFile(path);
    }

    for (auto& [name, shot] : shots::Shots()) {
        shot(context);
    }
    return 0;
}
