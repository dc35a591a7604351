// tembrix-cli check | import | stats: the check and import workers and the statistics figures, with
// their lines on standard output as the windows would show them.

#include <QEventLoop>
#include <QThread>

#include "cli/commands.h"
#include "cli/stop_signals.h"
#include "database/check_database.h"
#include "database/import_database.h"
#include "database/import_source.h"
#include "database/index_store.h"
#include "database/statistics.h"
#include "util/file_utils.h"
#include "util/synchronize.h"

namespace tembrix::cli {

namespace {

// Runs `worker` to its end while the main thread serves its notifications. The first Ctrl+C or SIGTERM
// asks it to stop, as the windows' Stop buttons do, so that it still reports and commits what it has done.
void RunWorker(QThread& worker) {
    QEventLoop loop;
    QObject::connect(&worker, &QThread::finished, &loop, &QEventLoop::quit);
    const StopSignals stopSignals([&worker] { worker.requestInterruption(); });
    worker.start();
    loop.exec();
    worker.wait();
    WorkEndSeen(&worker);
}

// Prints a batch of lines with one write.
void OutLines(const QStringList& lines) {
    if (!lines.isEmpty()) {
        Out(lines.join(u'\n'));
    }
}

}  // namespace

int CmdCheck(Session& session, const QStringList& args) {
    const Options o = Parse(args, {QStringLiteral("db")},
                            {QStringLiteral("no-duplicates"), QStringLiteral("no-empty"),
                             QStringLiteral("sources"), QStringLiteral("no-index")});
    if (!o.error.isEmpty() || !o.positional.isEmpty()) {
        Err(o.error.isEmpty()
                ? QStringLiteral(
                      "Usage: tembrix-cli check [--db DB] [--no-duplicates] [--no-empty] [--sources] "
                      "[--no-index]")
                : o.error);
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    CheckDatabase worker(store);
    worker.checkDuplicates = !o.Has(QStringLiteral("no-duplicates"));
    worker.checkEmptyFields = !o.Has(QStringLiteral("no-empty"));
    worker.checkSourceFiles = o.Has(QStringLiteral("sources"));
    // One switch for both index options, as the check window has one box for them.
    worker.checkIndexValues = !o.Has(QStringLiteral("no-index"));
    worker.checkIndexSizes = worker.checkIndexValues;
    worker.finishPauseMs = 0;
    int findings = 0;
    int failures = 0;
    worker.onLines = [&](const QStringList& lines) {
        findings += static_cast<int>(lines.size());
        OutLines(lines);
    };
    worker.onFailure = [&](const QString& error) {
        ++failures;
        Out(error);
    };
    worker.onFinish = [] { Out(QStringLiteral("Проверка закончена!")); };
    RunWorker(worker);
    Out(QStringLiteral("Найдено замечаний: %1").arg(findings));
    return findings == 0 && failures == 0 ? kExitOk : kExitPartial;
}

int CmdImport(Session& session, const QStringList& args) {
    const Options o = Parse(args, {QStringLiteral("db")}, {QStringLiteral("replace")});
    if (!o.error.isEmpty() || o.positional.size() != 1) {
        Err(o.error.isEmpty() ? QStringLiteral("Usage: tembrix-cli import [--db DB] [--replace] SOURCE")
                              : o.error);
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    const QString sourcePath = o.positional[0];
    if (!FileExists(sourcePath)) {
        Err(QStringLiteral("Выберите импортируемую базу данных!"));
        return kExitUsage;
    }
    TDataModule2 source;
    if (!source.Connect(sourcePath)) {
        Err(QStringLiteral("Ошибка подключения импортируемой базы данных!"));
        return kExitUsage;
    }
    ImportDatabase worker(store, source);
    worker.replaceDuplicates = o.Has(QStringLiteral("replace"));
    worker.onLines = OutLines;
    worker.onMessageBox = [](const QString& text) { Out(text); };
    worker.onSummary = OutLines;
    RunWorker(worker);
    source.Disconnect();
    // The exit status follows from how the import ended: 2 when nothing could start, 1 when it ended
    // early or left rows out, 0 when every row was handled.
    switch (worker.outcome) {
        case ImportDatabase::Outcome::KeysUnreadable:
            return kExitUsage;
        case ImportDatabase::Outcome::Done:
            return worker.rowErrors == 0 ? kExitOk : kExitPartial;
        case ImportDatabase::Outcome::Stopped:
        case ImportDatabase::Outcome::LookupFailed:
        case ImportDatabase::Outcome::WriteFailed:
            break;
    }
    return kExitPartial;
}

int CmdStats(Session& session, const QStringList& args) {
    const Options o = Parse(args, {QStringLiteral("db")}, {});
    if (!o.error.isEmpty() || !o.positional.isEmpty()) {
        Err(o.error.isEmpty() ? QStringLiteral("Usage: tembrix-cli stats [--db DB]") : o.error);
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    const DatabaseStatistics s = CollectStatistics(store);
    for (const auto& [label, value] : s.totals) {
        Out(label + u'=' + QString::number(value));
    }
    // Each grouped figure under the title of its chart.
    const auto section = [](const QString& title, const QList<QPair<QString, qint64>>& rows) {
        Out(QString());
        Out(title + u':');
        for (const auto& [par, val] : rows) {
            Out(par + u'=' + QString::number(val));
        }
    };
    section(QStringLiteral("Распределение количества файлов в зависимости от расширения"),
            s.filesByExtension);
    section(QStringLiteral("Распределение по часам в зависимости от расширения"), s.hoursByExtension);
    section(QStringLiteral("Распределение количества файлов в зависимости от количества аудио дорожек"),
            s.filesByTracks);
    QList<QPair<QString, qint64>> classes;
    for (const auto& [c, count] : s.durationClasses) {
        classes.append({DurationClassLabel(c), count});
    }
    section(QStringLiteral("Количество аудио дорожек в зависимости от их продолжительности в минутах"),
            classes);
    return kExitOk;
}

}  // namespace tembrix::cli
