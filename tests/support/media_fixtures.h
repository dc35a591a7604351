#pragma once
// Media made once by the real sox and ffmpeg into test-media/ of the build tree (renamed into place, so
// test processes share them): mono 22050 Hz tones with a slow tremolo, so each envelope varies over time.

#include <QMap>
#include <QString>
#include <cstdint>
#include <vector>

namespace tembrix::test {

class MediaFixtures {
public:
    static MediaFixtures& Instance();

    // A tone as ".m4a" or any format sox writes; `variant` picks another pitch and tremolo. "" on failure.
    QString Tone(const QString& extension, int seconds, int variant = 0);
    // A 61 s Matroska video with `audioTracks` tracks (0 = none); track t is Tone variant t + 1.
    QString Video(int audioTracks);
    // A 61 s file (".mp3", ".m4a", ".wav", ".aiff", ".wma") tagged: artist "Исполнитель Тест", title
    // "Title One", album "Album X", year 2001, track 7, genre "Rock".
    QString Tagged(const QString& extension);

private:
    MediaFixtures();
    // Runs `program` with `args` ("{out}" standing for the file) unless `name` was made before.
    QString Made(const QString& name, const QString& program, QStringList args);

    QString m_folder;
    QMap<QString, QString> m_made;  // name -> path ("" when making failed)
};

QString RealSox();
QString RealFfmpeg();
// The folder of the built programs (with id3-tags-cli and id3-tags/).
QString ProgramDir();

// Writes an executable /bin/sh script `folder`/`name` (folder created) with `body`; returns its path.
QString WriteFakeTool(const QString& folder, const QString& name, const QString& body);
// Waits (up to a minute) until `path` exists.
bool WaitForFile(const QString& path);
// True when process `pid` is gone or a zombie; waits a few seconds for a killed one.
bool ProcessGone(int pid);

// An independent envelope of `file` (of audio track `track` unless -1): the real SoX output, reduced by
// ReduceSamples. Empty on failure.
std::vector<uint16_t> ReferenceEnvelopeOf(const QString& file, int track = -1);
// The envelope from its definition: per 480 little-endian samples, the mean (rounded down) of the ten
// 48-sample peaks of |s| (|-32768| = 4294934528, the sum modulo 2^32); none for a trailing part block.
std::vector<uint16_t> ReduceSamples(const QByteArray& raw);
// The values of an envelope blob (16-bit little-endian).
std::vector<uint16_t> ValuesOfBlob(const QByteArray& blob);

}  // namespace tembrix::test
