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
    int (*run)(Session&, const QStringList&);
    const char* usage;
};

// Every command of the front end with its usage text; later commands add a line here.
const Command kCommands[] = {
    {"envelope", CmdEnvelope,
     "Usage: tembrix-cli envelope RAW OUT\n"
     "Writes the envelope of RAW (raw s16le 48 kHz mono samples) to OUT and prints\n"
     "count=N index_size=N duration=N."},
    {"create", CmdCreate,
     "Usage: tembrix-cli create DB\n"
     "Creates the database file DB with table Data; an existing file is refused."},
    {"index", CmdIndex,
     "Usage: tembrix-cli index [--db DB] [--work-dir DIR] [--threads N] [--no-copy] [--sox PATH]\n"
     "                         [--ffmpeg PATH] PATH...\n"
     "Indexes media files into the database. PATH: a media file, a folder (searched recursively)\n"
     "or a .list file saved by the program's queue.\n"
     "  --db DB         the database (default: the program's settings)\n"
     "  --work-dir DIR  the work folder, created when missing and emptied at the end\n"
     "                  (default: a fresh temporary folder)\n"
     "  --threads N     files indexed at once, at most the logical processors (default: all)\n"
     "  --no-copy       read the files where they are instead of copying them to the work folder\n"
     "  --sox PATH, --ffmpeg PATH  the tools (default: the program's settings, then a search)\n"
     "Ctrl+C or SIGTERM stops the job and the running tools; a second one ends the program at once."},
    {"check", CmdCheck,
     "Usage: tembrix-cli check [--db DB] [--no-duplicates] [--no-empty] [--sources] [--no-index]\n"
     "Checks the records for duplicates, empty fields and index faults, and with --sources\n"
     "whether their source files are still there; prints a line for each finding."},
    {"import", CmdImport,
     "Usage: tembrix-cli import [--db DB] [--replace] SOURCE\n"
     "Adds the records of database SOURCE; a duplicate is kept, or replaced with --replace."},
    {"stats", CmdStats,
     "Usage: tembrix-cli stats [--db DB]\n"
     "Prints the totals as label=value and the grouped figures."},
    {"list", CmdList,
     "Usage: tembrix-cli list [--db DB]\n"
     "Prints id<TAB>display name for each record, in the browser's order."},
    {"show", CmdShow,
     "Usage: tembrix-cli show [--db DB] ID\n"
     "Prints one record as key=value rows, then its tag text."},
    {"clear", CmdClear,
     "Usage: tembrix-cli clear [--db DB]\n"
     "Deletes every record."},
    {"vacuum", CmdVacuum,
     "Usage: tembrix-cli vacuum [--db DB]\n"
     "Compacts the database file."},
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
    "tembrix-cli COMMAND --help shows the command's own usage.\n"
    "--db defaults to the database of the desktop program's settings.\n"
    "Exit status: 0 success, 1 some files or rows failed, 2 usage, configuration or connection error.\n";

const Command* FindCommand(const QString& name) {
    for (const Command& c : kCommands) {
        if (name == QLatin1String(c.name)) {
            return &c;
        }
    }
    return nullptr;
}

// True when the command's arguments ask for its usage: --help or -h before any "--".
bool AsksForHelp(const QStringList& args) {
    for (const QString& a : args) {
        if (a == QLatin1String("--")) {
            return false;
        }
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            return true;
        }
    }
    return false;
}

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

bool ConnectDatabase(Session& session, const Options& options, bool mustHaveTable) {
    TDataModule1& store = session.Store();
    const QString path = options.Value(QStringLiteral("db"), session.CurrentSettings().dbPath);
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

QString CommandUsage(const QString& command) {
    const Command* c = FindCommand(command);
    return c == nullptr ? QString() : QString::fromUtf8(c->usage);
}

int Run(const QStringList& arguments) {
    if (arguments.size() < 2 || arguments[1] == QLatin1String("--help") ||
        arguments[1] == QLatin1String("-h") ||
        (arguments[1] == QLatin1String("help") && arguments.size() == 2)) {
        std::fputs(kUsage, arguments.size() < 2 ? stderr : stdout);
        return arguments.size() < 2 ? kExitUsage : kExitOk;
    }
    if (arguments[1] == QLatin1String("--version")) {
        Out(QStringLiteral("tembrix-cli " TEMBRIX_VERSION));
        return kExitOk;
    }
    const bool helpCommand = arguments[1] == QLatin1String("help");
    const QString name = helpCommand ? arguments[2] : arguments[1];
    const Command* command = FindCommand(name);
    if (command == nullptr) {
        Err(QStringLiteral("Unknown command: %1 (see tembrix-cli --help)").arg(name));
        return kExitUsage;
    }
    const QStringList args = arguments.mid(2);
    if (helpCommand || AsksForHelp(args)) {
        Out(QString::fromUtf8(command->usage));
        return kExitOk;
    }
    const QString desktopProgram =
        QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("tembrix"));
    Session session(QCoreApplication::applicationFilePath(), arguments.mid(1).join(u' '), LogicalProcessors(),
                    desktopProgram);
    return command->run(session, args);
}

}  // namespace tembrix::cli
