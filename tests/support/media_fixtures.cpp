#include "support/media_fixtures.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace tembrix::test {

namespace {

// Runs a tool to completion; true when it exited with 0.
bool RunTool(const QString& program, const QStringList& args, const QStringList& env = {}) {
    QProcess p;
    if (!env.isEmpty()) {
        QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
        for (const QString& kv : env) {
            e.insert(kv.section(u'=', 0, 0), kv.section(u'=', 1));
        }
        p.setProcessEnvironment(e);
    }
    p.setStandardInputFile(QProcess::nullDevice());
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    if (!p.waitForStarted(-1)) {
        return false;
    }
    p.waitForFinished(-1);
    return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// sox synth arguments of tone variant `v`: its pitch and its tremolo speed and depth differ.
QStringList SynthArgs(int seconds, int variant) {
    const int pitch = 440 + 110 * variant;
    const QString speed = QString::number(0.7 + 0.45 * variant, 'f', 2);
    const QString depth = QString::number(80 - 15 * (variant % 4));
    return {QStringLiteral("synth"),
            QString::number(seconds),
            QStringLiteral("sine"),
            QString::number(pitch),
            QStringLiteral("tremolo"),
            speed,
            depth};
}

const QStringList kFfmpegQuiet = {QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"),
                                  QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-nostdin")};

}  // namespace

MediaFixtures& MediaFixtures::Instance() {
    static MediaFixtures fixtures;
    return fixtures;
}

// Bump when the way fixtures are made changes, so stale ones are not reused.
constexpr char kFixtureVersion[] = "1";

MediaFixtures::MediaFixtures()
    : m_folder(QDir::cleanPath(QStringLiteral(TEMBRIX_BIN_DIR "/../test-media/v") +
                               QLatin1String(kFixtureVersion))) {
    QDir().mkpath(m_folder);
}

QString MediaFixtures::Made(const QString& key, const QString& name, const QString& program,
                            const QStringList& args) {
    const auto found = m_made.constFind(key);
    if (found != m_made.constEnd()) {
        return found.value();
    }
    const QString path = QDir(m_folder).filePath(name);
    if (QFileInfo(path).size() > 0) {
        m_made.insert(key, path);
        return path;
    }
    // Made under a name of this process, then renamed: another process never sees half a file.
    const QString partial = QDir(m_folder).filePath(
        QStringLiteral("partial-%1-%2").arg(QCoreApplication::applicationPid()).arg(name));
    QStringList full = args;
    full.replaceInStrings(QStringLiteral("{out}"), partial);
    bool made = RunTool(program, full) && QFileInfo(partial).size() > 0;
    if (made) {
        QFile::remove(path);
        made = QFile::rename(partial, path) || QFileInfo(path).size() > 0;
    }
    QFile::remove(partial);
    m_made.insert(key, made ? path : QString());
    return made ? path : QString();
}

QString MediaFixtures::Tone(const QString& extension, int seconds, int variant) {
    const QString stem = QStringLiteral("tone-%1s-v%2").arg(seconds).arg(variant);
    const QString wavKey = stem + QStringLiteral(".wav");
    QStringList wavArgs = {QStringLiteral("-n"), QStringLiteral("-r"),   QStringLiteral("22050"),
                           QStringLiteral("-c"), QStringLiteral("1"),    QStringLiteral("-b"),
                           QStringLiteral("16"), QStringLiteral("{out}")};
    wavArgs += SynthArgs(seconds, variant);
    const QString wav = Made(wavKey, wavKey, RealSox(), wavArgs);
    if (wav.isEmpty() || extension == QLatin1String(".wav")) {
        return wav;
    }
    const QString name = stem + extension;
    static const QStringList kBySox = {
        QStringLiteral(".mp3"), QStringLiteral(".ogg"), QStringLiteral(".flac"), QStringLiteral(".aiff"),
        QStringLiteral(".au"),  QStringLiteral(".voc"), QStringLiteral(".snd")};
    if (kBySox.contains(extension)) {
        return Made(name, name, RealSox(), {wav, QStringLiteral("{out}")});
    }
    QStringList args = kFfmpegQuiet;
    args += {QStringLiteral("-i"), wav};
    if (extension == QLatin1String(".aac")) {
        args += {QStringLiteral("-c:a"), QStringLiteral("aac"), QStringLiteral("-f"), QStringLiteral("adts")};
    }
    args += QStringLiteral("{out}");
    return Made(name, name, RealFfmpeg(), args);
}

QString MediaFixtures::Video(int audioTracks) {
    const QString name = QStringLiteral("video-%1-tracks.mkv").arg(audioTracks);
    if (m_made.contains(name)) {
        return m_made.value(name);
    }
    QStringList args = kFfmpegQuiet;
    args += {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
             QStringLiteral("color=c=black:s=16x16:r=1:d=61")};
    for (int t = 0; t < audioTracks; ++t) {
        const QString tone = Tone(QStringLiteral(".wav"), 61, t + 1);
        if (tone.isEmpty()) {
            m_made.insert(name, QString());
            return QString();
        }
        args += {QStringLiteral("-i"), tone};
    }
    args += {QStringLiteral("-map"), QStringLiteral("0:v")};
    for (int t = 0; t < audioTracks; ++t) {
        args += {QStringLiteral("-map"), QStringLiteral("%1:a").arg(t + 1)};
    }
    args += {QStringLiteral("-c:v"),      QStringLiteral("libx264"), QStringLiteral("-preset"),
             QStringLiteral("ultrafast"), QStringLiteral("-c:a"),    QStringLiteral("pcm_s16le"),
             QStringLiteral("{out}")};
    return Made(name, name, RealFfmpeg(), args);
}

namespace {

QStringList TagArgs() {
    return {QStringLiteral("-metadata"), QStringLiteral("artist=Исполнитель Тест"),
            QStringLiteral("-metadata"), QStringLiteral("title=Title One"),
            QStringLiteral("-metadata"), QStringLiteral("album=Album X"),
            QStringLiteral("-metadata"), QStringLiteral("date=2001"),
            QStringLiteral("-metadata"), QStringLiteral("track=7"),
            QStringLiteral("-metadata"), QStringLiteral("genre=Rock")};
}

}  // namespace

QString MediaFixtures::Tagged(const QString& extension) {
    const QString wav = Tone(QStringLiteral(".wav"), 61, 5);
    if (wav.isEmpty()) {
        return QString();
    }
    QStringList args = kFfmpegQuiet;
    args += {QStringLiteral("-i"), wav};
    args += TagArgs();
    if (extension == QLatin1String(".mp3")) {
        args += {QStringLiteral("-id3v2_version"), QStringLiteral("3")};
    } else if (extension == QLatin1String(".aiff")) {
        args += {QStringLiteral("-write_id3v2"), QStringLiteral("1")};
    } else if (extension == QLatin1String(".wma")) {
        // The ASF muxer keeps "date" under its own name; the year's attribute is WM/Year.
        args += {QStringLiteral("-metadata"), QStringLiteral("WM/Year=2001")};
    }
    args += QStringLiteral("{out}");
    const QString name = QStringLiteral("tagged") + extension;
    return Made(name, name, RealFfmpeg(), args);
}

QString RealSox() {
    return QStandardPaths::findExecutable(QStringLiteral("sox"));
}

QString RealFfmpeg() {
    return QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
}

QString ProgramDir() {
    return QStringLiteral(TEMBRIX_BIN_DIR);
}

QString WriteFakeTool(const QString& folder, const QString& name, const QString& body) {
    QDir().mkpath(folder);
    const QString path = QDir(folder).filePath(name);
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        f.write("#!/bin/sh\n");
        f.write(body.toUtf8());
        f.write("\n");
        f.close();
        f.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                         QFileDevice::ReadGroup | QFileDevice::ExeGroup);
    }
    return path;
}

std::vector<uint16_t> ReduceSamples(const QByteArray& raw) {
    std::vector<uint16_t> values;
    const qsizetype samples = raw.size() / 2;
    const auto* bytes = reinterpret_cast<const unsigned char*>(raw.constData());
    uint32_t peaks[10] = {};
    int inBlock = 0;
    for (qsizetype i = 0; i < samples; ++i) {
        const auto s = static_cast<int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        uint32_t a = 0;
        if (s == -32768) {
            a = 4294934528u;  // |s| in 16 bits is still -32768, sign-extended
        } else {
            a = static_cast<uint32_t>(s < 0 ? -s : s);
        }
        uint32_t& peak = peaks[inBlock / 48];
        if (a > peak) {
            peak = a;
        }
        if (++inBlock == 480) {
            uint32_t sum = 0;
            for (uint32_t& p : peaks) {
                sum += p;
                p = 0;
            }
            values.push_back(static_cast<uint16_t>(sum / 10));
            inBlock = 0;
        }
    }
    return values;
}

std::vector<uint16_t> ReferenceEnvelopeOf(const QString& file) {
    QTemporaryDir dir;
    const QString raw = dir.filePath(QStringLiteral("reference.raw"));
    const QStringList args = {file,
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
                              raw};
    if (!RunTool(RealSox(), args, {QStringLiteral("SOX_OPTS=-R")})) {
        return {};
    }
    QFile f(raw);
    if (!f.open(QIODevice::ReadOnly)) {
        return {};
    }
    return ReduceSamples(f.readAll());
}

std::vector<uint16_t> ReferenceEnvelopeOfTrack(const QString& file, int track) {
    QTemporaryDir dir;
    const QString wav = dir.filePath(QStringLiteral("track.wav"));
    QStringList args = kFfmpegQuiet;
    args += {QStringLiteral("-i"),
             file,
             QStringLiteral("-vn"),
             QStringLiteral("-map"),
             QStringLiteral("0:a:%1").arg(track),
             wav};
    if (!RunTool(RealFfmpeg(), args)) {
        return {};
    }
    return ReferenceEnvelopeOf(wav);
}

std::vector<uint16_t> ValuesOfBlob(const QByteArray& blob) {
    std::vector<uint16_t> values(static_cast<size_t>(blob.size() / 2));
    const auto* bytes = reinterpret_cast<const unsigned char*>(blob.constData());
    for (size_t k = 0; k < values.size(); ++k) {
        values[k] = static_cast<uint16_t>(bytes[2 * k] | (bytes[2 * k + 1] << 8));
    }
    return values;
}

}  // namespace tembrix::test
