#include "indexing/media_tools.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include "indexing/process_runner.h"
#include "indexing/tool_locator.h"
#include "util/file_utils.h"
#include "util/path_utils.h"

namespace tembrix {

namespace {

const QString kOutFile = QStringLiteral("outfile.rp");
const QString kErrFile = QStringLiteral("errfile.rp");

}  // namespace

QStringList SoxRawArguments(const QString& input, const QString& output) {
    return {input,
            QStringLiteral("--bits"),
            QStringLiteral("16"),
            QStringLiteral("--channels"),
            QStringLiteral("1"),
            QStringLiteral("--encoding"),
            QStringLiteral("signed-integer"),
            QStringLiteral("--rate"),
            QStringLiteral("48000"),
            QStringLiteral("--type"),
            QStringLiteral("raw"),
            output};
}

QStringList FfmpegExtractArguments(const QString& input, const QString& output, int track) {
    return {QStringLiteral("-i"),
            input,
            QStringLiteral("-vn"),
            QStringLiteral("-map"),
            QString::asprintf("0:a:%i", track),
            output};
}

QStringList FfprobeCountArguments(const QString& input) {
    return {QStringLiteral("-v"),  QStringLiteral("error"),         QStringLiteral("-select_streams"),
            QStringLiteral("a"),   QStringLiteral("-show_entries"), QStringLiteral("stream=index"),
            QStringLiteral("-of"), QStringLiteral("csv=p=0"),       input};
}

QStringList SoxEnvironment() {
    return {QStringLiteral("SOX_OPTS=-R")};
}

bool SoxReportedFailure(const QString& errorFile) {
    static const QRegularExpression kFail(QStringLiteral("\\bFAIL\\b"));
    for (const QString& line : LoadLines(errorFile)) {
        if (kFail.match(line).hasMatch()) {
            return true;
        }
    }
    return false;
}

bool ConvertToRaw(const QString& soxPath, const QString& input, const QString& output,
                  const QString& workingDirectory) {
    QFile::remove(output);
    const QString errors = JoinPath(QFileInfo(output).path(), kErrFile);
    const ToolRun run =
        RunAndWait(soxPath, SoxRawArguments(input, output), workingDirectory, SoxEnvironment(), errors);
    return run.Succeeded() && !SoxReportedFailure(errors) && QFile::exists(output);
}

bool ExtractAudioTrack(const QString& ffmpegPath, const QString& input, const QString& outputWav, int track,
                       const QString& workingDirectory) {
    QFile::remove(outputWav);
    const ToolRun run =
        RunAndWait(ffmpegPath, FfmpegExtractArguments(input, outputWav, track), workingDirectory);
    return run.Succeeded() && QFile::exists(outputWav);
}

int CountAudioTracks(const QString& ffmpegPath, const QString& input, const QString& workingDirectory) {
    const QString out = JoinPath(workingDirectory, kOutFile);
    const QString errors = JoinPath(workingDirectory, kErrFile);
    const ToolRun run = RunRedirected(FfprobePathFor(ffmpegPath), FfprobeCountArguments(input),
                                      workingDirectory, QString(), out, errors);
    if (!run.Succeeded()) {
        return -1;
    }
    for (const QString& line : LoadLines(errors)) {
        if (!TrimControl(line).isEmpty()) {
            return -1;
        }
    }
    return static_cast<int>(LoadLines(out).size());
}

TagText ReadTags(const QString& toolPath, const QString& input, const QString& workingDirectory) {
    TagText result;
    const QString out = JoinPath(workingDirectory, kOutFile);
    RunRedirected(toolPath, {input}, workingDirectory, QString(), out, JoinPath(workingDirectory, kErrFile));
    if (!QFile::exists(out)) {
        return result;
    }
    bool ok = false;
    QStringList lines = LoadLines(out, &ok);
    if (!ok) {
        result.readFailed = true;
        return result;
    }
    if (!lines.isEmpty() && lines.first() == QLatin1String("Couldn't process given file")) {
        return result;
    }
    for (QString& line : lines) {
        line = TrimControl(line);
    }
    // The untagged-file test looks at the fourth line three times over, so it never passes and an
    // untagged file's six lines are kept; that is how the stored info has always been made.
    const bool untagged = lines.size() >= 4 && lines[0] == QLatin1String("Artist:") &&
                          lines[1] == QLatin1String("Title:") && lines[2] == QLatin1String("Album:") &&
                          lines[3] == QLatin1String("Year: 0") && lines[3] == QLatin1String("Track: 0") &&
                          lines[3] == QLatin1String("Genre: 0");
    if (untagged) {
        return result;
    }
    for (const QString& line : lines) {
        result.text += line + u'\n';
    }
    return result;
}

QString TrimControl(const QString& text) {
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text[first].unicode() <= 0x20) {
        ++first;
    }
    while (last > first && text[last - 1].unicode() <= 0x20) {
        --last;
    }
    return text.mid(first, last - first);
}

}  // namespace tembrix
