#pragma once
// Media made at test time with the real sox and ffmpeg. Each fixture is made once, on first use, into a
// folder of the build tree (test-media/), written under a temporary name and renamed when complete, so
// the test processes of one run (ctest starts one per test, several at once) share them. Content is
// cheap for the tools: mono 22050 Hz tones with a slow tremolo, so each envelope varies over time.

#include <QMap>
#include <QString>
#include <cstdint>
#include <vector>

namespace tembrix::test {

class MediaFixtures {
public:
    // The fixtures of this process.
    static MediaFixtures& Instance();

    // A tone in the format of `extension` (with its dot): ".m4a" or any format sox writes (".wav", ".mp3",
    // ".ogg", ".flac", …). `variant` selects one of several distinct signals (different pitch and tremolo,
    // hence different bytes and envelope). "" when the file could not be made.
    QString Tone(const QString& extension, int seconds, int variant = 0);
    // A Matroska video, 61 s, tiny black picture, with `audioTracks` audio tracks (0 = none); track t is
    // Tone variant t + 1, so each track has its own envelope.
    QString Video(int audioTracks);
    // A 61 s file with tags: artist "Исполнитель Тест", title "Title One", album "Album X", year 2001,
    // track 7, genre "Rock". ".mp3" (ID3v2), ".m4a" (MP4), ".wav" (RIFF INFO), ".aiff" (ID3 chunk),
    // ".wma" (ASF).
    QString Tagged(const QString& extension);

private:
    MediaFixtures();
    // Runs `program` with `args` ("{out}" standing for the file) unless `name` was made before.
    QString Made(const QString& name, const QString& program, QStringList args);

    QString m_folder;
    QMap<QString, QString> m_made;  // name -> path ("" when making failed)
};

// The real tools and the folder of the built programs (which holds id3-tags-cli and id3-tags/).
QString RealSox();
QString RealFfmpeg();
QString ProgramDir();

// Writes an executable /bin/sh script `name` into `folder` (created when missing) whose body follows
// the "#!/bin/sh" line, and returns its path.
QString WriteFakeTool(const QString& folder, const QString& name, const QString& body);

// Waits (up to a minute) until `path` exists; false if it never did.
bool WaitForFile(const QString& path);

// True when process `pid` has ended: it no longer exists, or it is a zombie waiting to be reaped by
// whoever inherited it. Waits up to a few seconds for a killed process to go.
bool ProcessGone(int pid);

// The envelope of `file` (of its audio track `track` when not -1, which ffmpeg writes to a WAV file
// first, as the worker has it done) as an independent reference: the real SoX converts it as the worker
// does, in its repeatable mode, and ReduceSamples reduces the raw output. Empty on failure.
std::vector<uint16_t> ReferenceEnvelopeOf(const QString& file, int track = -1);
// Raw little-endian samples reduced as the envelope format defines: every 480 samples, the mean (rounded
// down) of the ten 48-sample peaks of |s|, where |-32768| counts as 4294934528 and the sum wraps modulo
// 2^32. A trailing part block gives no value.
std::vector<uint16_t> ReduceSamples(const QByteArray& raw);
// The values of an envelope blob.
std::vector<uint16_t> ValuesOfBlob(const QByteArray& blob);

}  // namespace tembrix::test
