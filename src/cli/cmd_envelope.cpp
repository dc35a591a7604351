// tembrix-cli envelope RAW OUT

#include <QFile>

#include "cli/commands.h"
#include "indexing/envelope.h"
#include "util/file_utils.h"

namespace tembrix::cli {

int CmdEnvelope(Session& /*session*/, const QStringList& args) {
    const Options o = Parse(args, {}, {});
    if (!o.error.isEmpty() || o.positional.size() != 2) {
        Err(o.error.isEmpty() ? CommandUsage(QStringLiteral("envelope")) : o.error);
        return kExitUsage;
    }
    const QString& raw = o.positional[0];
    const QString& out = o.positional[1];
    if (!FileExists(raw)) {
        Err(QStringLiteral("Cannot read the raw audio file: ") + raw);
        return kExitUsage;
    }
    const RawEnvelope result = EnvelopeOfRawFile(raw);
    if (!result.ok) {
        Err(QStringLiteral("Cannot read the raw audio file: ") + raw);
        return kExitUsage;
    }
    const Envelope& env = *result.envelope;
    // An envelope without values writes an empty file, so OUT always reflects this run.
    const bool written = env.Count() > 0 ? env.WriteValues(out) : QFile(out).open(QIODevice::WriteOnly);
    if (!written) {
        Err(QStringLiteral("Cannot write the envelope file: ") + out);
        return kExitUsage;
    }
    Out(QStringLiteral("count=%1 index_size=%2 duration=%3")
            .arg(env.Count())
            .arg(static_cast<qint64>(env.Count()) * 2)
            .arg(result.duration));
    return kExitOk;
}

}  // namespace tembrix::cli
