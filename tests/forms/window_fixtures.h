#pragma once
// Window test fixtures: records and databases, and a main window over a temporary program folder with
// scripted messages and recorded modal dialogs.

#include <QDialog>
#include <functional>
#include <memory>
#include <ostream>
#include <vector>

#include "app/settings.h"
#include "database/index_store.h"
#include "forms/main_window.h"
#include "forms/settings_dialog.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix::test {

// One row of file /media/<name>.<extension>; rows of one name and duration share their md5.
inline IndexRecord MakeRecord(const QString& name, const QString& extension, int32_t seconds,
                              int32_t track = 0, int32_t tracks = 1, const QString& info = QString()) {
    IndexRecord r;
    r.source_file_name = name;
    r.extension = extension;
    r.type = QStringList{"mkv", "mp4"}.contains(extension) ? kTypeVideo : kTypeAudio;
    r.source_path = QStringLiteral("/media/") + name + QLatin1Char('.') + extension;
    r.source_size = 1000 + seconds;
    r.md5 = QStringLiteral("md5-%1-%2").arg(name).arg(r.source_size);
    r.sha2 = QStringLiteral("sha2-%1").arg(name);
    r.duration = seconds;
    r.audio_track = track;
    r.all_tracks = tracks;
    r.created = QStringLiteral("01.02.2024 3:04:05");
    r.info = info;
    return r;
}

// `count` envelope values f(0), f(1), ...
inline std::vector<uint16_t> Envelope(int32_t count, const std::function<uint16_t(int32_t)>& f) {
    std::vector<uint16_t> values;
    for (int32_t k = 0; k < count; ++k) {
        values.push_back(f(k));
    }
    return values;
}

// Inserts `record` with `values` as its envelope; the store's result.
inline int AddRecord(TDataModule1& store, IndexRecord record,
                     const std::vector<uint16_t>& values = std::vector<uint16_t>(4, 100)) {
    record.index_size = static_cast<int32_t>(values.size() * 2);
    return store.InsertRecordWithIndex(record, values.data());
}

// dir/<stem>.db with `rows` records <stem>-1 … of 800 envelope values each; its path ("" on failure).
inline QString MakeDatabase(const TempDir& dir, const QString& stem, int rows) {
    const QString path = dir.File(stem + QStringLiteral(".db"));
    TDataModule1 maker;
    if (!maker.Connect(path) || !maker.CreateTable()) {
        return QString();
    }
    for (int n = 1; n <= rows; ++n) {
        AddRecord(maker,
                  MakeRecord(QStringLiteral("%1-%2").arg(stem).arg(n), QStringLiteral("mp3"), 60 + n, 0, 1,
                             QStringLiteral("Artist: ") + stem),
                  Envelope(800, [n](int32_t k) { return static_cast<uint16_t>(k * n); }));
    }
    maker.Commit();
    return path;
}

// A connected database with its table in a temporary folder.
struct TestDatabase {
    explicit TestDatabase(const QString& name = QStringLiteral("index.db")) : path(dir.File(name)) {
        store.Connect(path);
        store.CreateTable();
    }
    int Add(const IndexRecord& r, const std::vector<uint16_t>& values = std::vector<uint16_t>(4, 100)) {
        return AddRecord(store, r, values);
    }

    RecordingMessages messages;
    TempDir dir;
    QString path;
    TDataModule1 store;
};

// A modal dialog the window asked for: its class and, for the settings dialog, the page it showed.
struct ModalCall {
    QString className;
    int page = -1;
};

// A main window whose program (and so INI file and log) lies in a temporary folder; modal dialogs are
// recorded and rejected instead of run.
class MainWindowFixture {
public:
    static constexpr int kSlots = 4;

    explicit MainWindowFixture(const QByteArray& ini = QByteArray()) {
        if (!ini.isEmpty()) {
            dir.Write(QStringLiteral("tembrix.ini"), ini);
        }
        MakeWindow();
    }
    void MakeWindow() {
        window.reset();
        window = std::make_unique<TForm1>(store, Executable(), kSlots);
        window->SetModalRunner([this](QDialog& dialog) {
            auto* settings = qobject_cast<TForm2*>(&dialog);
            modals.push_back({QString::fromLatin1(dialog.metaObject()->className()),
                              settings != nullptr ? settings->CurrentPage() : -1});
            return static_cast<int>(QDialog::Rejected);
        });
    }
    QString Executable() const { return dir.File(QStringLiteral("tembrix")); }
    // The settings the INI file holds now (threads -100 when there is no file).
    Settings IniSettings() const {
        Settings read;
        read.threads = -100;
        ReadSettings(dir.File(QStringLiteral("tembrix.ini")), read, 64);
        return read;
    }

    TempDir dir;
    RecordingMessages messages;
    TDataModule1 store;
    std::unique_ptr<TForm1> window;
    std::vector<ModalCall> modals;
};

}  // namespace tembrix::test
