#pragma once
// The four commands that drive the outside tools for the indexing worker: SoX turns audio into raw DAT
// audio, ffmpeg extracts one audio track into a WAV file, ffprobe counts the audio tracks of a container,
// and the tag tool prints a file's tags. SoX, ffmpeg and ffprobe are judged by their exit status and their
// own failure report as well as by the files they leave; the tag tool by its output alone. They block
// the calling thread until the tool has ended, or until the thread is asked to stop (the tool is then
// killed and the command fails; process_runner.h). ffprobe and the tag tool write outfile.rp and
// errfile.rp into the working folder, SoX its errfile.rp beside its output file, so two threads may run
// them at once only in different folders. Safe on any thread.

#include <QString>
#include <QStringList>

namespace tembrix {

// The argument lists, exactly as the tools get them (exposed for tests).
// sox INPUT --bits 16 --channels 1 --encoding signed-integer --rate 48000 --type raw OUTPUT
QStringList SoxRawArguments(const QString& input, const QString& output);
// ffmpeg -i INPUT -vn -map 0:a:TRACK OUTPUT
QStringList FfmpegExtractArguments(const QString& input, const QString& output, int track);
// ffprobe -v error -select_streams a -show_entries stream=index -of csv=p=0 INPUT
QStringList FfprobeCountArguments(const QString& input);

// True when SoX's standard error, as kept in `errorFile`, holds a failure report (a line with the word
// "FAIL"). A missing file holds none.
bool SoxReportedFailure(const QString& errorFile);

// SoX's environment: its repeatable mode, so the same file always gives the same samples (no random
// dither seed).
QStringList SoxEnvironment();

// Deletes `output`, then converts `input` with SoX into signed 16-bit mono 48 kHz raw audio at `output`.
// True when SoX exited with status 0, printed no failure ("FAIL", e.g. on a full disk, where it still
// exits 0 after writing part of the file) to its standard error (kept in errfile.rp beside `output`),
// and `output` exists.
bool ConvertToRaw(const QString& soxPath, const QString& input, const QString& output,
                  const QString& workingDirectory);

// Deletes `outputWav`, then has ffmpeg write audio track `track` (0-based among the audio streams) of
// `input` into it. True when ffmpeg exited with status 0 and `outputWav` exists.
bool ExtractAudioTrack(const QString& ffmpegPath, const QString& input, const QString& outputWav, int track,
                       const QString& workingDirectory);

// The number of lines ffprobe (found beside `ffmpegPath`, FfprobePathFor) prints for the audio streams
// of `input`: one per stream, 0 for a readable container without audio. Lines are not filtered. -1 when
// the container could not be read: ffprobe is missing or stopped, exits with a non-zero status, or
// reports an error (anything on its standard error, which runs at level "error").
int CountAudioTracks(const QString& ffmpegPath, const QString& input, const QString& workingDirectory);

// What ReadTags found.
struct TagText {
    bool readFailed = false;  // the tool's output file exists but could not be read
    QString text;             // the trimmed lines, each ended by "\n"; "" for no output or an unreadable file
};

// Runs the tag tool on `input` and returns its six lines, trimmed. "" when the tool left no output or its
// first line is "Couldn't process given file". An untagged file's lines ("Artist:", …, "Genre: 0") are
// returned as they are.
TagText ReadTags(const QString& toolPath, const QString& input, const QString& workingDirectory);

// `text` without the characters up to U+0020 (blanks and control characters) at either end.
QString TrimControl(const QString& text);

}  // namespace tembrix
