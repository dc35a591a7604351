// tembrix-cli index: queues files, folders and .list files the way the desktop program's queue does, and
// runs the same scheduler and workers on them, printing the job report as it is collected.

#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>
#include <algorithm>
#include <cstdio>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "app/job_progress.h"
#include "cli/commands.h"
#include "cli/stop_signals.h"
#include "database/index_store.h"
#include "util/file_utils.h"
#include "util/text_utils.h"

namespace tembrix::cli {

namespace {

// The one-line progress shown on a terminal: the job's progress as the desktop window measures it,
// with the tracks and hours of audio indexed so far.
QString ProgressLine(const ProgressSnapshot& p, const IndexingScheduler& scheduler) {
    const QString left =
        p.leftMs < 0 ? QStringLiteral("?") : QStringLiteral("~") + ClockText(p.leftMs / 1000);
    return QStringLiteral("files %1/%2, tracks %3, audio %4 h, elapsed %5, left %6")
        .arg(p.filesDone)
        .arg(p.filesTotal)
        .arg(scheduler.TracksIndexed())
        .arg(static_cast<double>(scheduler.SecondsIndexed()) / 3600.0, 0, 'f', 2)
        .arg(ClockText(p.elapsedMs / 1000), left);
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

// Queues one command-line path. False (after a message) when it does not exist or cannot be read: the
// job does not start. What the queue refuses (anything but a regular file, a name that is not UTF-8) it
// names itself, and the job goes on with the rest; `refused` counts those, from lists too.
bool QueuePath(IndexingQueue& queue, const QString& argument, int& refused) {
    const QFileInfo info(argument);
    // A name that came as bytes that are not UTF-8 holds U+FFFD and names nothing: the queue says so.
    if (!info.exists() && !argument.contains(QChar::ReplacementCharacter)) {
        Err(QStringLiteral("Не найден файл: ") + argument);
        return false;
    }
    const QString path = QDir::toNativeSeparators(info.absoluteFilePath());
    if (info.isDir()) {
        if (!info.isReadable() || !info.isExecutable()) {
            Err(QStringLiteral("Cannot read the folder: ") + argument);
            return false;
        }
        QStringList files;
        FindFiles(path, QStringLiteral("*.*"), true, false, files);
        for (const QString& file : files) {
            queue.AddFile(file);
        }
        return true;
    }
    if (info.isFile() && path.endsWith(QLatin1String(".list"))) {
        IndexingQueue list;
        if (!list.Open(path)) {
            Err(QStringLiteral("Cannot read the list file: ") + argument);
            return false;
        }
        refused += list.Refused();
        for (qsizetype i = 0; i < list.Count(); ++i) {
            queue.AddFile(list.At(i).path);
        }
        return true;
    }
    const int refusedBefore = queue.Refused();
    if (!queue.AddFile(path) && !queue.Contains(path) && queue.Refused() == refusedBefore) {
        Err(QStringLiteral("Skipped, not a media file extension: ") + argument);
    }
    return true;
}

}  // namespace

int CmdIndex(Session& session, const QStringList& args) {
    const Options o = Parse(args,
                            {QStringLiteral("db"), QStringLiteral("work-dir"), QStringLiteral("threads"),
                             QStringLiteral("sox"), QStringLiteral("ffmpeg")},
                            {QStringLiteral("no-copy")});
    if (!o.error.isEmpty() || o.positional.isEmpty()) {
        Err(o.error.isEmpty() ? CommandUsage(QStringLiteral("index")) : o.error);
        return kExitUsage;
    }
    Settings& settings = session.CurrentSettings();
    // One slot per logical processor, whatever --threads says: each slot costs a folder and a worker.
    const int processors = LogicalProcessors();
    settings.threads = processors;
    if (o.values.contains(QStringLiteral("threads"))) {
        bool ok = false;
        const qlonglong wanted = o.Value(QStringLiteral("threads")).toLongLong(&ok);
        if (!ok || wanted < 1) {
            Err(QStringLiteral("--threads needs a whole number of 1 or more"));
            return kExitUsage;
        }
        if (wanted > processors) {
            Err(QStringLiteral("--threads %1 is more than the %2 logical processors; %2 are used")
                    .arg(wanted)
                    .arg(processors));
        }
        settings.threads = static_cast<int>(std::min<qlonglong>(wanted, processors));
    }
    if (o.Has(QStringLiteral("no-copy"))) {
        settings.copyToWorkDir = false;
    }
    // The tools run in the work folder, so a relative tool path is made absolute here.
    settings.soxPath = ToolPath(o.Value(QStringLiteral("sox"), settings.soxPath));
    settings.ffmpegPath = ToolPath(o.Value(QStringLiteral("ffmpeg"), settings.ffmpegPath));

    IndexingQueue& queue = session.Queue();
    bool allFound = true;
    int refused = 0;
    for (const QString& p : o.positional) {
        allFound = QueuePath(queue, p, refused) && allFound;
    }
    if (!allFound) {
        return kExitUsage;
    }

    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    settings.dbPath = session.Store().DatabasePath();

    // Never the desktop program's work folder, whose slot folders a running window may be using. A
    // work folder given that does not exist yet is made, with its parents.
    QStringList madeFolders;  // the folders made for the work folder, deepest first
    if (o.values.contains(QStringLiteral("work-dir"))) {
        settings.workDir =
            QDir::toNativeSeparators(QFileInfo(o.Value(QStringLiteral("work-dir"))).absoluteFilePath());
        for (QString f = settings.workDir; !QFileInfo::exists(f); f = QFileInfo(f).path()) {
            madeFolders.append(f);
        }
        if (!QDir().mkpath(settings.workDir)) {
            Err(QStringLiteral("Cannot create the work folder: ") + settings.workDir);
            return kExitUsage;
        }
    } else if (!session.UseTemporaryWorkFolder()) {
        Err(QStringLiteral("Cannot create a temporary work folder; pass --work-dir DIR"));
        return kExitUsage;
    }

    IndexingScheduler& scheduler = session.StartScheduler(processors);
    // The connections below end with this function; the scheduler lives on in the session.
    const QObject context;

    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    JobProgress progress;
    progress.Begin(TallyQueue(queue));
    QElapsedTimer elapsed;
    elapsed.start();
    bool progressShown = false;
    const auto showProgress = [&] {
        if (terminal && scheduler.IsRunning()) {
            std::fprintf(stderr, "\r%s\033[K",
                         ProgressLine(progress.Measure(TallyQueue(queue), elapsed.elapsed()), scheduler)
                             .toUtf8()
                             .constData());
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
    QObject::connect(&scheduler, &IndexingScheduler::reportLine, &context, [&](int, const QString& line) {
        clearProgress();
        Out(line);
        showProgress();
    });
    QObject::connect(&scheduler, &IndexingScheduler::runningChanged, &context, [&](bool running) {
        if (!running) {
            clearProgress();
        }
    });

    // The scheduler checks the work folder (and takes it for this job), the database, the tools and the
    // queue; a refusal has printed its reason and left the folder as it was, and what was made for it
    // goes again.
    if (scheduler.StartExecute() != IndexingScheduler::StartResult::Started) {
        scheduler.UnlockWorkFolder();
        for (const QString& folder : madeFolders) {
            QDir().rmdir(folder);
        }
        return kExitUsage;
    }

    // The first Ctrl+C or SIGTERM stops the job as the Stop command does: the running tools are ended
    // and the files in work marked stopped; the loop ends with the job.
    const StopSignals stopSignals([&] {
        clearProgress();
        Err(QStringLiteral("Stopping: ending the running tools and the files in work…"));
        scheduler.StopExecute();
    });
    QEventLoop loop;
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
    // Every worker has ended: the slot folders of the job go, and nothing else in the work folder.
    scheduler.ClearWorkDirectoryExecute();
    scheduler.UnlockWorkFolder();

    for (const QString& line : QueueCounterTexts(queue)) {
        Out(line);
    }
    const bool someFailed = refused + queue.Refused() > 0 || !scheduler.Errors().isEmpty() ||
                            queue.CountWithStatus(QString()) > 0;
    return stopSignals.StopRequested() || someFailed ? kExitPartial : kExitOk;
}

}  // namespace tembrix::cli
