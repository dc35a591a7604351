#pragma once
// Window test fixtures: records and databases, and a main window over a temporary program folder with
// scripted messages and recorded modal dialogs.

#include <QDialog>
#include <functional>
#include <memory>
#include <vector>

#include "app/settings.h"
#include "database/index_store.h"
#include "forms/main_window.h"
#include "forms/queue_model.h"
#include "forms/settings_dialog.h"
#include "support/print_text.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix::test {

// One row of file /media/<name>.<extension>; rows of one name and duration share their md5.
inline IndexRecord MakeRecord(const QString& name, const QString& ext, int32_t seconds, int32_t track = 0,
                              int32_t tracks = 1, const QString& info = QString()) {
    return {.audio_track = track,
            .all_tracks = tracks,
            .duration = seconds,
            .source_size = 1000 + seconds,
            .source_path = "/media/" + name + '.' + ext,
            .source_file_name = name,
            .extension = ext,
            .type = QStringList{"mkv", "mp4"}.contains(ext) ? kTypeVideo : kTypeAudio,
            .sha2 = "sha2-" + name,
            .md5 = QStringLiteral("md5-%1-%2").arg(name).arg(1000 + seconds),
            .created = "01.02.2024 3:04:05",
            .index_file_name = {},
            .info = info};
}

// Inserts `record` with an envelope of `count` values f(0), f(1), … (four 100s by default); the result.
inline int AddRecord(
    TDataModule1& store, IndexRecord record, int32_t count = 4,
    const std::function<uint16_t(int32_t)>& f = [](int32_t) { return uint16_t{100}; }) {
    std::vector<uint16_t> values;
    for (int32_t k = 0; k < count; ++k) {
        values.push_back(f(k));
    }
    record.index_size = count * 2;
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
                  800, [n](int32_t k) { return static_cast<uint16_t>(k * n); });
    }
    maker.Commit();
    return path;
}

// A connected database with its table in a temporary folder, and recorded messages.
struct TestDatabase {
    explicit TestDatabase(const QString& name = QStringLiteral("index.db")) : path(dir.File(name)) {
        store.Connect(path);
        store.CreateTable();
    }

    RecordingMessages messages;
    TempDir dir;
    QString path;
    TDataModule1 store;
};

// A main window whose program (and so INI file and log) lies in a temporary folder; modal dialogs are
// rejected instead of run, the settings dialog's page recorded (-1 for other dialogs).
class MainWindowFixture {
public:
    static constexpr int kSlots = 4;

    explicit MainWindowFixture(const QByteArray& ini = QByteArray()) {
        if (!ini.isEmpty()) {
            dir.Write(QStringLiteral("tembrix.ini"), ini);
        }
        window = std::make_unique<TForm1>(store, Executable(), kSlots);
        window->SetModalRunner([this](QDialog& dialog) {
            auto* settings = qobject_cast<TForm2*>(&dialog);
            modals.push_back(settings != nullptr ? settings->CurrentPage() : -1);
            return static_cast<int>(QDialog::Rejected);
        });
    }
    QString Executable() const { return dir.File(QStringLiteral("tembrix")); }
    // "Добавить файлы" answered with `paths`.
    void AddFiles(const QStringList& paths) {
        messages.fileLists.push_back(paths);
        window->AddFilesExecute();
    }
    // The texts of one grid column (QueueModel::kName, …), row by row.
    QStringList Column(int column) const {
        QStringList cells;
        for (int row = 0; row < window->Model()->rowCount(); ++row) {
            cells.append(window->Model()->CellText(row, column));
        }
        return cells;
    }
    Settings IniSettings() const {
        Settings read;
        ReadSettings(dir.File(QStringLiteral("tembrix.ini")), read, 64);
        return read;
    }

    TempDir dir;
    RecordingMessages messages;
    TDataModule1 store;
    std::unique_ptr<TForm1> window;
    std::vector<int> modals;
};

}  // namespace tembrix::test
