// tembrix-cli index: queues files, folders and .list files the way the desktop program's queue does, and
// runs the same scheduler and workers on them, printing the job report as it is collected.

#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <optional>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "cli/commands.h"
#include "database/index_store.h"
#include "indexing/logs.h"
#include "util/file_utils.h"
#include "util/text_utils.h"

namespace tembrix::cli {

namespace {

const char kIndexUsage[] =
    "Usage: tembrix-cli index [--db DB] [--work-dir DIR] [--threads N] [--no-copy] [--sox PATH]\n"
    "                         [--ffmpeg PATH] PATH...\n"
    "PATH: a media file, a folder (searched recursively) or a .list file.";

// Ctrl+C (and SIGTERM) reach the event loop through this socket pair: the handler only writes a byte.
// A second signal while the stop is under way ends the program at once.
int g_signalSockets[2] = {-1, -1};
volatile sig_atomic_t g_signalsSeen = 0;

void OnStopSignal(int signal) {
    if (g_signalsSeen != 0) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
        return;
    }
    g_signalsSeen = 1;
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_signalSockets[0], &byte, 1);
}

// Installs the handlers for the lifetime of the object.
class StopSignals {
public:
    StopSignals() {
        m_ok = ::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalSockets) == 0;
        if (!m_ok) {
            return;
        }
        struct sigaction action = {};
        action.sa_handler = OnStopSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        sigaction(SIGINT, &action, &m_oldInt);
        sigaction(SIGTERM, &action, &m_oldTerm);
    }
    ~StopSignals() {
        if (!m_ok) {
            return;
        }
        sigaction(SIGINT, &m_oldInt, nullptr);
        sigaction(SIGTERM, &m_oldTerm, nullptr);
        ::close(g_signalSockets[0]);
        ::close(g_signalSockets[1]);
        g_signalSockets[0] = g_signalSockets[1] = -1;
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    bool Ok() const { return m_ok; }
    int ReadSocket() const { return g_signalSockets[1]; }

private:
    bool m_ok = false;
    struct sigaction m_oldInt = {};
    struct sigaction m_oldTerm = {};
};

// "H:MM:SS" of whole seconds.
QString Clock(qint64 seconds) {
    return QString::asprintf("%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

// The one-line progress shown on a terminal.
QString ProgressLine(const IndexingQueue& queue, const IndexingScheduler& scheduler, qint64 elapsedMs) {
    qsizetype done = 0;
    quint64 doneBytes = 0;
    quint64 totalBytes = 0;
    for (qsizetype i = 0; i < queue.Count(); ++i) {
        const QueueEntry& e = queue.At(i);
        totalBytes += e.size;
        if (!e.status.isEmpty() && e.status != kStatusInWork) {
            ++done;
            doneBytes += e.size;
        }
    }
    QString left = QStringLiteral("?");
    if (doneBytes > 0 && totalBytes >= doneBytes) {
        const double rest = static_cast<double>(elapsedMs) / 1000.0 *
                            static_cast<double>(totalBytes - doneBytes) / static_cast<double>(doneBytes);
        left = QStringLiteral("~") + Clock(static_cast<qint64>(rest));
    }
    return QStringLiteral("files %1/%2, tracks %3, audio %4 h, elapsed %5, left %6")
        .arg(done)
        .arg(queue.Count())
        .arg(scheduler.TracksIndexed())
        .arg(static_cast<double>(scheduler.SecondsIndexed()) / 3600.0, 0, 'f', 2)
        .arg(Clock(elapsedMs / 1000), left);
}

// A tool path made absolute: a bare name is looked up on PATH, a relative path taken from the current
// folder. "" stays "" (the tool locator fills it in).
QString ToolPath(const QString& path) {
    if (path.isEmpty()) {
        return path;
    }
    if (!path.contains(QDir::separator()) && !path.contains(u'/')) {
        const QString found = QStandardPaths::findExecutable(path);
        if (!found.isEmpty()) {
            return QDir::toNativeSeparators(found);
        }
    }
    return QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}

// Queues one command-line path. False (after a message) when it does not exist or cannot be read.
bool QueuePath(IndexingQueue& queue, const QString& argument) {
    const QFileInfo info(argument);
    if (!info.exists()) {
        Err(QStringLiteral("Не найден файл: ") + argument);
        return false;
    }
    const QString path = QDir::toNativeSeparators(info.absoluteFilePath());
    if (info.isDir()) {
        QStringList files;
        FindFiles(path, QStringLiteral("*.*"), true, false, files);
        for (const QString& file : files) {
            queue.AddFile(file);
        }
        return true;
    }
    if (path.endsWith(QLatin1String(".list"))) {
        IndexingQueue list;
        if (!list.Open(path)) {
            Err(QStringLiteral("Cannot read the list file: ") + argument);
            return false;
        }
        for (qsizetype i = 0; i < list.Count(); ++i) {
            queue.AddFile(list.At(i).path);
        }
        return true;
    }
    if (!queue.AddFile(path) && !queue.Contains(path)) {
        Err(QStringLiteral("Skipped, not a media file extension: ") + argument);
    }
    return true;
}

}  // namespace

int CmdIndex(const QStringList& args) {
    const Options o = Parse(args,
                            {QStringLiteral("db"), QStringLiteral("work-dir"), QStringLiteral("threads"),
                             QStringLiteral("sox"), QStringLiteral("ffmpeg")},
                            {QStringLiteral("no-copy")});
    if (!o.error.isEmpty() || o.positional.isEmpty()) {
        Err(o.error.isEmpty() ? QString::fromUtf8(kIndexUsage) : o.error);
        return kExitUsage;
    }
    Settings settings = DesktopSettings();
    const int processors = LogicalProcessors();
    settings.threads = processors;
    if (o.values.contains(QStringLiteral("threads"))) {
        bool ok = false;
        settings.threads = o.Value(QStringLiteral("threads")).toInt(&ok);
        if (!ok || settings.threads < 1) {
            Err(QStringLiteral("--threads needs a whole number of 1 or more"));
            return kExitUsage;
        }
    }
    if (o.Has(QStringLiteral("no-copy"))) {
        settings.copyToWorkDir = false;
    }
    // The tools run in the work folder, so a relative tool path is made absolute here.
    settings.soxPath = ToolPath(o.Value(QStringLiteral("sox"), settings.soxPath));
    settings.ffmpegPath = ToolPath(o.Value(QStringLiteral("ffmpeg"), settings.ffmpegPath));

    // Never the desktop program's work folder, whose slot folders a running window may be using.
    std::optional<QTemporaryDir> temporaryWork;
    if (o.values.contains(QStringLiteral("work-dir"))) {
        settings.workDir =
            QDir::toNativeSeparators(QFileInfo(o.Value(QStringLiteral("work-dir"))).absoluteFilePath());
    } else if (temporaryWork.emplace(QDir::tempPath() + QStringLiteral("/tembrix-index-XXXXXX")).isValid()) {
        settings.workDir = QDir::toNativeSeparators(temporaryWork->path());
    } else {
        Err(QStringLiteral("Cannot create a temporary work folder; pass --work-dir DIR"));
        return kExitUsage;
    }

    // The program's own log beside it (or in the fall-back folder), reset for this run.
    const ProgramFiles files = ProgramFiles::Locate(QCoreApplication::applicationFilePath());
    SetLogLocations(files.logPath, files.programDir);
    WriteProgramLog(files.logPath, QStringLiteral("Index ") + o.positional.join(u' '), false);

    IndexingQueue queue;
    bool allFound = true;
    for (const QString& p : o.positional) {
        allFound = QueuePath(queue, p) && allFound;
    }
    if (!allFound) {
        return kExitUsage;
    }

    TDataModule1 store;
    if (!ConnectDatabase(store, o)) {
        return kExitUsage;
    }
    settings.dbPath = store.DatabasePath();

    IndexingScheduler scheduler(queue, store, settings, QCoreApplication::applicationDirPath(),
                                std::max(processors, settings.threads));

    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    QElapsedTimer elapsed;
    elapsed.start();
    bool progressShown = false;
    const auto showProgress = [&] {
        if (terminal && scheduler.IsRunning()) {
            std::fprintf(stderr, "\r%s\033[K",
                         ProgressLine(queue, scheduler, elapsed.elapsed()).toUtf8().constData());
            std::fflush(stderr);
            progressShown = true;
        }
    };
    const auto clearProgress = [&] {
        if (progressShown) {
            std::fputs("\r\033[K", stderr);
            std::fflush(stderr);
            progressShown = false;
        }
    };
    // Report lines go to standard output; on a terminal the progress line is cleared before each and
    // before the closing message.
    QObject::connect(&scheduler, &IndexingScheduler::reportLine, [&](int, const QString& line) {
        clearProgress();
        Out(line);
        showProgress();
    });
    QObject::connect(&scheduler, &IndexingScheduler::runningChanged, [&](bool running) {
        if (!running) {
            clearProgress();
        }
    });

    if (scheduler.StartExecute() != IndexingScheduler::StartResult::Started) {
        return kExitUsage;  // the reason has been printed
    }

    StopSignals stopSignals;
    bool stopped = false;
    QEventLoop loop;
    std::unique_ptr<QSocketNotifier> notifier;
    if (stopSignals.Ok()) {
        notifier = std::make_unique<QSocketNotifier>(stopSignals.ReadSocket(), QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, [&] {
            char byte = 0;
            [[maybe_unused]] const ssize_t got = ::read(stopSignals.ReadSocket(), &byte, 1);
            notifier->setEnabled(false);
            clearProgress();
            Err(QStringLiteral("Stopping: waiting for the files in work to finish…"));
            stopped = true;
            scheduler.StopExecute();
        });
    }
    QTimer progressTimer;
    QObject::connect(&progressTimer, &QTimer::timeout, showProgress);
    if (terminal) {
        progressTimer.start(1000);
    }
    QObject::connect(&scheduler, &IndexingScheduler::jobFinished, &loop, &QEventLoop::quit);
    // The first tick at once rather than after the timer's first interval.
    QTimer::singleShot(0, &scheduler, &IndexingScheduler::Timer2Timer);
    loop.exec();
    progressTimer.stop();
    clearProgress();

    for (const QString& line : QueueCounterTexts(queue)) {
        Out(line);
    }
    const bool someFailed = !scheduler.Errors().isEmpty() || queue.CountWithStatus(QString()) > 0;
    return stopped || someFailed ? kExitPartial : kExitOk;
}

}  // namespace tembrix::cli
