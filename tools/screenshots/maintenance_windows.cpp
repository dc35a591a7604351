// Shots of the check, import, browser and statistics windows and of the about box. They run after the
// main window's shots and add to the demo database what these windows are best shown with: a video
// with three audio tracks whose envelopes come from real (synthesised) audio, a few long recordings,
// types as the queue classifies them, and a few faulty rows for the check.

#include <QApplication>
#include <QCheckBox>
#include <QCryptographicHash>
#include <QCursor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QSlider>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QThread>
#include <cmath>
#include <cstdio>
#include <vector>

#include "app/indexing_queue.h"
#include "database/import_source.h"
#include "database/index_store.h"
#include "database/sqlite.h"
#include "forms/about_box.h"
#include "forms/browser_window.h"
#include "forms/check_window.h"
#include "forms/import_window.h"
#include "forms/statistics_window.h"
#include "indexing/envelope.h"
#include "indexing/media_types.h"
#include "screenshots.h"
#include "util/synchronize.h"
#include "util/user_messages.h"

namespace tembrix::shots {
namespace {

// The envelope of `seconds` of synthesised audio: notes of a small phrase with percussive decays,
// swelling and fading over the phrase. Rendered by ffmpeg into raw 48 kHz mono samples and reduced by
// the program's own envelope code. Empty when ffmpeg is missing.
std::vector<uint16_t> SynthesisedEnvelope(int seconds, int voice) {
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    QTemporaryDir temp;
    if (ffmpeg.isEmpty() || !temp.isValid()) {
        return {};
    }
    const QString raw = temp.filePath(QStringLiteral("track.raw"));
    const double beat = 0.40 + 0.15 * voice;
    const QString expression = QStringLiteral(
                                   "(0.18+0.7*exp(-5*mod(t\\,%1)))*(0.55+0.45*sin(2*PI*t/"
                                   "%2))*sin(2*PI*(180+%3*floor(mod(t\\,3.2)/0.8))*t)")
                                   .arg(beat)
                                   .arg(23 + 9 * voice)
                                   .arg(45 + 20 * voice);
    QProcess process;
    process.start(ffmpeg, {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                           QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                           QStringLiteral("aevalsrc=exprs='%1':s=48000:d=%2").arg(expression).arg(seconds),
                           QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("-ac"),
                           QStringLiteral("1"), QStringLiteral("-ar"), QStringLiteral("48000"), raw});
    process.waitForFinished(120000);
    RawEnvelope envelope = EnvelopeOfRawFile(raw);
    if (!envelope.ok || !envelope.envelope) {
        return {};
    }
    const uint16_t* values = envelope.envelope->Values();
    return std::vector<uint16_t>(values, values + envelope.envelope->Count());
}

// A long made-up envelope (no audio behind it): speech-like bursts.
std::vector<uint16_t> SpeechEnvelope(int seconds, int seed) {
    std::vector<uint16_t> values(static_cast<size_t>(seconds) * 100);
    for (size_t i = 0; i < values.size(); ++i) {
        const double t = static_cast<double>(i) / 100.0;
        const double syllables = std::max(0.0, std::sin(t * 5.3 + seed) * std::sin(t * 1.1));
        values[i] = static_cast<uint16_t>(600 + 7000 * syllables + (i * 2654435761u >> 7) % 500);
    }
    return values;
}

// A stand-in media file of `bytes` (sparse): the check finds it, the browser shows its size.
void WriteSparseFile(const QString& path, qint64 bytes) {
    QFile file(path);
    if (!file.exists() && file.open(QIODevice::WriteOnly)) {
        file.write("demo");
        file.resize(bytes);
    }
}

IndexRecord DemoRecord(const QString& path, int32_t duration, int32_t track, int32_t tracks,
                       const QString& info) {
    const QFileInfo file(path);
    IndexRecord r;
    r.source_path = QDir::toNativeSeparators(path);
    r.source_file_name = file.completeBaseName();
    r.extension = file.suffix();
    r.type = MediaTypeOf(QLatin1Char('.') + r.extension);
    r.source_size = file.exists() ? file.size() : 734003200 + duration;
    r.md5 = QString::fromLatin1(QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5).toHex());
    r.sha2 = QString::fromLatin1(QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha256).toHex());
    r.duration = duration;
    r.audio_track = track;
    r.all_tracks = tracks;
    r.created = QStringLiteral("21.06.2024 20:15:42");
    r.info = info;
    return r;
}

void Add(TDataModule1& store, IndexRecord record, const std::vector<uint16_t>& values) {
    record.index_size = static_cast<int32_t>(values.size() * 2);
    store.InsertRecordWithIndex(record, values.data());
}

// Runs `sql` on the store's file through a connection of its own (the store hands out none).
void Exec(const TDataModule1& store, const char* sql) {
    SqliteConnection connection;
    if (connection.Open(store.DatabasePath())) {
        connection.Exec(sql);
    }
}

// Lets the windows and the workers' calls run for `ms`.
void Settle(int ms) {
    WaitDelivering(ms);
    QApplication::processEvents();
}

void AddBrowsableRecords(ShotContext& context) {
    TDataModule1& store = *context.store;
    // Types as the queue classifies the extensions.
    Exec(store,
         "UPDATE data SET type = 'видео' WHERE extension IN "
         "('mp4','mov','mkv','m2ts','avi','wmv','webm','mpg',"
         "'mpeg','ogv','asf')");
    const QString film = QDir(context.mediaDir).filePath(QStringLiteral("Фильм - Три звуковые дорожки.mkv"));
    WriteSparseFile(film, 734003200);
    for (int track = 0; track < 3; ++track) {
        const std::vector<uint16_t> values = SynthesisedEnvelope(150, track);
        if (!values.empty()) {
            Add(store, DemoRecord(film, 150, track, 3, QString()), values);
        }
    }
    const struct {
        const char* name;
        int minutes;
        const char* info;
    } longOnes[] = {
        {"Лекция 03 - Волны и частоты.mp4", 47, ""},
        {"Аудиокнига - Глава 1.mp3", 83,
         "Artist: Чтец\nTitle: Глава 1\nAlbum: Аудиокнига\nYear: 2019\nTrack: 1\nGenre: Speech"},
        {"Аудиокнига - Глава 2.mp3", 76,
         "Artist: Чтец\nTitle: Глава 2\nAlbum: Аудиокнига\nYear: 2019\nTrack: 2\nGenre: Speech"},
        {"Запись эфира - Полдень.wav", 121, ""},
        {"Концерт - Второе отделение.mkv", 58, ""},
        {"Конференция - Пленарный доклад.webm", 35, ""},
    };
    int seed = 0;
    for (const auto& item : longOnes) {
        const QString path = QDir(context.mediaDir).filePath(QString::fromUtf8(item.name));
        WriteSparseFile(path,
                        qint64(item.minutes) * 60 * (path.endsWith(QStringLiteral(".wav")) ? 176400 : 24000));
        Add(store, DemoRecord(path, item.minutes * 60, 0, 1, QString::fromUtf8(item.info)),
            SpeechEnvelope(item.minutes * 60, ++seed));
    }
    store.Commit();
}

void Browser(ShotContext& context) {
    AddBrowsableRecords(context);
    TForm9 window(*context.store);
    window.show();  // at its default (and minimum) size
    Settle(50);
    // A track with all six tag lines.
    const int row = window.Names().indexOf(QStringLiteral("Вечерний джаз - Осенняя сюита"));
    if (row >= 0) {
        window.SelectRow(row);
    }
    window.TrackBar1()->setValue(2400);
    context.Save(&window, QStringLiteral("browser"));
    window.hide();
}

void Statistics(ShotContext& context) {
    TForm10 window(*context.store);
    window.show();
    Settle(50);
    context.Save(&window, QStringLiteral("statistics"));
    auto* files = qobject_cast<QTabWidget*>(window.PageControl1()->widget(0));
    if (files != nullptr) {
        files->setCurrentIndex(1);
        context.Save(&window, QStringLiteral("statistics_extension"));
    }
    window.PageControl1()->setCurrentIndex(2);
    context.Save(&window, QStringLiteral("statistics_info"));
    window.PageControl1()->setCurrentIndex(4);
    context.Save(&window, QStringLiteral("statistics_duration"));
    window.hide();
}

void Check(ShotContext& context) {
    TDataModule1& store = *context.store;
    // Faulty rows for the check to find: a second copy of one track, a row without tags whose source is
    // gone, a short envelope.
    Exec(
        store,
        "INSERT INTO data (source_size, sha2, md5, duration, source_path, source_file_name, extension, type, "
        "audio_track, all_tracks, created, info, index_size, index_data) SELECT source_size, sha2, md5, "
        "duration, "
        "source_path, source_file_name, extension, type, audio_track, all_tracks, created, info, index_size, "
        "index_data FROM data WHERE id = (SELECT MIN(id) FROM data)");
    Add(store,
        DemoRecord(QDir(context.mediaDir).filePath(QStringLiteral("Удалённый файл - Черновик.mp3")), 61, 0, 1,
                   QString()),
        std::vector<uint16_t>(400, 2500));
    store.Commit();

    TForm7 window(store);
    window.show();
    window.CheckBox(3)->setChecked(true);
    window.BitBtn1Click();
    for (int i = 0; i < 400 && window.CheckRunning(); ++i) {
        Settle(10);
    }
    window.Timer1Timer();
    context.Save(&window, QStringLiteral("check_window"));
    window.hide();
}

void Import(ShotContext& context) {
    // Another computer's database: three new tracks and two this one has already.
    const QString otherPath =
        QDir(context.programDir).filePath(QStringLiteral("database/второй компьютер.db"));
    {
        TDataModule1 other;
        if (!other.Connect(otherPath) || !other.CreateTable()) {
            return;
        }
        const char* names[] = {"Хор мальчиков - Весна.flac", "Скрипка соло - Каприс.ogg",
                               "Радиоспектакль - Часть 3.m4a"};
        int n = 0;
        for (const char* name : names) {
            const QString path = QStringLiteral("/mnt/share/Коллекция/") + QString::fromUtf8(name);
            ++n;
            Add(other, DemoRecord(path, 140 + 40 * n, 0, 1, QString()), SpeechEnvelope(60, n));
        }
        QList<int> ids;
        context.store->ReadRows(TDataModule1::ReadOn::Store, "SELECT id FROM data ORDER BY id LIMIT 2",
                                [&ids](const SqliteStatement& known) {
                                    ids.append(static_cast<int>(known.Int64(0)));
                                    return true;
                                });
        for (int id : ids) {
            IndexRecord record;
            std::vector<uint16_t> values;
            int32_t count = 0;
            if (context.store->GetRecordWithIndex(id, record, values, count)) {
                other.InsertRecordWithIndex(record, values.data());
            }
        }
        other.Disconnect();
    }
    // The confirmation is answered with Yes; every other message goes to standard error as before.
    ConsoleMessages answerYes(true);
    UserMessages* previous = SetMessages(&answerYes);
    TDataModule2 source;
    TForm8 window(*context.store, source);
    window.show();
    window.Edit1()->setText(otherPath);
    window.BitBtn3Click();
    for (int i = 0; i < 400 && window.Worker() != nullptr; ++i) {
        Settle(10);
    }
    context.Save(&window, QStringLiteral("import_window"));
    window.hide();
    SetMessages(previous);
}

void About(ShotContext& context) {
    TAboutBox box;
    box.show();
    Settle(20);
    // The pointer on the picture: the centre image looks out.
    QCursor::setPos(box.Image1()->mapToGlobal(box.Image1()->rect().center()));
    box.Timer1Timer();
    context.Save(&box, QStringLiteral("about_box"));
    box.hide();
}

}  // namespace

TEMBRIX_SCREENSHOT("other_1_browser", Browser);
TEMBRIX_SCREENSHOT("other_2_statistics", Statistics);
TEMBRIX_SCREENSHOT("other_3_check", Check);
TEMBRIX_SCREENSHOT("other_4_import", Import);
TEMBRIX_SCREENSHOT("other_5_about", About);

}  // namespace tembrix::shots
