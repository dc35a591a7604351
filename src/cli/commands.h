#pragma once
// The command-line front end: option parsing, shared helpers and one function per command. Runs on the
// main thread of a QCoreApplication, which plays the user-interface thread for the workers.

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include "app/session.h"

namespace tembrix::cli {

// Exit status: success; the job ran but some files or rows failed; usage, configuration or connection.
constexpr int kExitOk = 0;
constexpr int kExitPartial = 1;
constexpr int kExitUsage = 2;

// Parsed arguments of one command (after the command name).
struct Options {
    QStringList positional;
    QHash<QString, QString> values;  // "--name value" options, by name without dashes
    QSet<QString> flags;             // "--flag" options, by name without dashes
    QString error;                   // non-empty when the arguments do not parse

    bool Has(const QString& flag) const { return flags.contains(flag); }
    QString Value(const QString& name, const QString& fallback = {}) const {
        return values.value(name, fallback);
    }
};

// Parses `args`: names in `valueOptions` take the next argument, names in `flagOptions` stand alone;
// anything else starting with "--" is an error; the rest is positional. "--" ends the options.
Options Parse(const QStringList& args, const QStringList& valueOptions, const QStringList& flagOptions);

// Lines to standard output / standard error, UTF-8.
void Out(const QString& line);
void Err(const QString& line);

// Connects the session's store to --db (or the settings' database). Prints the reason and returns false
// when there is no database or the connection fails; with `mustHaveTable` also when the file has no
// table Data.
bool ConnectDatabase(Session& session, const Options& options, bool mustHaveTable = true);

// The usage text of `command` (several lines, no final line end); "" for an unknown command.
QString CommandUsage(const QString& command);

// Dispatches arguments[1] to its command. "COMMAND --help" (or -h, anywhere before "--") and
// "help COMMAND" print that command's usage to standard output instead. Before any command runs, starts
// the session: the program log (started afresh for each command) and my.log settled as the desktop
// program settles its own, and the settings read (never written) from the INI file of the desktop
// program `tembrix` of this program's folder, or from the fall-back folder. Returns the exit status.
int Run(const QStringList& arguments);

// The commands. `args` are the arguments after the command name; `session` is the one Run started.
int CmdEnvelope(Session& session, const QStringList& args);
int CmdCreate(Session& session, const QStringList& args);
int CmdList(Session& session, const QStringList& args);
int CmdShow(Session& session, const QStringList& args);
int CmdClear(Session& session, const QStringList& args);
int CmdVacuum(Session& session, const QStringList& args);
int CmdIndex(Session& session, const QStringList& args);
int CmdCheck(Session& session, const QStringList& args);
int CmdImport(Session& session, const QStringList& args);
int CmdStats(Session& session, const QStringList& args);

}  // namespace tembrix::cli
