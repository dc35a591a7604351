#include "cli/commands.h"

#include <QCoreApplication>
#include <QDir>
#include <cstdio>

#include "database/index_store.h"
#include "util/file_utils.h"

namespace tembrix::cli {

namespace {

struct Command {
    const char* name;
    int (*run)(const QStringList&);
};

// Every command of the front end; later commands add a line here.
const Command kCommands[] = {
    {"envelope", CmdEnvelope}, {"create", CmdCreate}, {"list", CmdList},
    {"show", CmdShow},         {"clear", CmdClear},   {"vacuum", CmdVacuum},
    {"index", CmdIndex},
    {"check", CmdCheck},       {"import", CmdImport}, {"stats", CmdStats},
};

const char kUsage[] =
    "Usage: tembrix-cli COMMAND [options]\n"
    "\n"
    "Commands:\n"
    "  envelope RAW OUT        envelope of a raw s16le 48 kHz mono file; writes OUT and prints\n"
    "                          count=N index_size=N duration=N\n"
    "  create DB               new database with table Data\n"
    "  index [opts] PATH...    index files, folders (recursively) and .list files\n"
    "        --db DB --work-dir DIR --threads N --no-copy --sox PATH --ffmpeg PATH\n"
    "  check [--db DB] [--no-duplicates] [--no-empty] [--sources] [--no-index]\n"
    "  import [--db DB] [--replace] SOURCE\n"
    "  stats [--db DB]         totals and grouped figures\n"
    "  list [--db DB]          id<TAB>display name, in the browser's order\n"
    "  show [--db DB] ID       one record as key=value rows, then its tag text\n"
    "  clear [--db DB]         delete every row\n"
    "  vacuum [--db DB]        compact the database file\n"
    "\n"
    "--db defaults to the database of the desktop program's settings.\n"
    "Exit status: 0 success, 1 some files or rows failed, 2 usage, configuration or connection error.\n";

}  // namespace

Options Parse(const QStringList& args, const QStringList& valueOptions, const QStringList& flagOptions) {
    Options o;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (optionsEnded || !a.startsWith(QLatin1String("--"))) {
            o.positional.append(a);
            continue;
        }
        if (a == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        const QString name = a.mid(2);
        if (valueOptions.contains(name)) {
            if (i + 1 >= args.size()) {
                o.error = QStringLiteral("Option --%1 needs a value").arg(name);
                return o;
            }
            o.values.insert(name, args[++i]);
        } else if (flagOptions.contains(name)) {
            o.flags.insert(name);
        } else {
            o.error = QStringLiteral("Unknown option %1").arg(a);
            return o;
        }
    }
    return o;
}

void Out(const QString& line) {
    std::fputs((line + u'\n').toUtf8().constData(), stdout);
    std::fflush(stdout);
}

void Err(const QString& line) {
    std::fputs((line + u'\n').toUtf8().constData(), stderr);
    std::fflush(stderr);
}

Settings DesktopSettings() {
    const QString desktopExecutable =
        QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("tembrix"));
    const ProgramFiles files = ProgramFiles::Locate(desktopExecutable);
    Settings settings;
    ReadSettings(files.iniPath, settings, LogicalProcessors());
    return settings;
}

bool ConnectDatabase(TDataModule1& store, const Options& options, bool mustHaveTable) {
    const QString path = options.Value(QStringLiteral("db"), DesktopSettings().dbPath);
    if (path.isEmpty()) {
        Err(QStringLiteral("No database: pass --db DB or choose one in the program's settings."));
        return false;
    }
    if (!FileExists(path)) {
        Err(QStringLiteral("Не найден файл: ") + path);
        return false;
    }
    if (!store.Connect(path)) {
        return false;  // the store has printed its message
    }
    if (mustHaveTable) {
        SqliteConnection probe;
        if (!probe.Open(path) || !probe.HasTable(QStringLiteral("Data"))) {
            Err(QStringLiteral("The database has no table Data: ") + path);
            store.Disconnect();
            return false;
        }
    }
    return true;
}

int Run(const QStringList& arguments) {
    if (arguments.size() < 2 || arguments[1] == QLatin1String("--help") ||
        arguments[1] == QLatin1String("-h") || arguments[1] == QLatin1String("help")) {
        std::fputs(kUsage, arguments.size() < 2 ? stderr : stdout);
        return arguments.size() < 2 ? kExitUsage : kExitOk;
    }
    if (arguments[1] == QLatin1String("--version")) {
        Out(QStringLiteral("tembrix-cli " TEMBRIX_VERSION));
        return kExitOk;
    }
    const QString name = arguments[1];
    for (const Command& c : kCommands) {
        if (name == QLatin1String(c.name)) {
            return c.run(arguments.mid(2));
        }
    }
    Err(QStringLiteral("Unknown command: %1 (see tembrix-cli --help)").arg(name));
    return kExitUsage;
}

}  // namespace tembrix::cli
