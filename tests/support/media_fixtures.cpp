#include "support/media_fixtures.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <csignal>

namespace tembrix::test {

namespace {

QStringList Words(const QString& text) {
    return text.split(u' ');
}

const QStringList kFfmpeg = Words("-hide_banner -loglevel error -y -nostdin");

// Runs a tool to its end (SoX in its repeatable mode, as the worker runs it); true on exit status 0.
bool RunTool(const QString& program, const QStringList& args) {
    QProcess p;
    p.setEnvironment(QProcess::systemEnvironment() << QStringLiteral("SOX_OPTS=-R"));
    p.setStandardInputFile(QProcess::nullDevice());
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    return p.waitForStarted(-1) && p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit &&
           p.exitCode() == 0;
}

}  // namespace

MediaFixtures& MediaFixtures::Instance() {
    static MediaFixtures fixtures;
    return fixtures;
}

// The version in the folder's name is bumped when the way fixtures are made changes.
MediaFixtures::MediaFixtures()
    : m_folder(QDir::cleanPath(QStringLiteral(TEMBRIX_BIN_DIR "/../test-media/v1"))) {
    QDir().mkpath(m_folder);
}

QString MediaFixtures::Made(const QString& name, const QString& program, QStringList args) {
    if (m_made.contains(name)) {
        return m_made.value(name);
    }
    const QString path = QDir(m_folder).filePath(name);
    const QString partial = QDir(m_folder).filePath(
        QStringLiteral("partial-%1-%2").arg(QCoreApplication::applicationPid()).arg(name));
    bool made = QFileInfo(path).size() > 0;
    if (!made && RunTool(program, args.replaceInStrings(QStringLiteral("{out}"), partial)) &&
        QFileInfo(partial).size() > 0) {
        QFile::remove(path);
        made = QFile::rename(partial, path) || QFileInfo(path).size() > 0;
    }
    QFile::remove(partial);
    m_made.insert(name, made ? path : QString());
    return m_made.value(name);
}

QString MediaFixtures::Tone(const QString& extension, int seconds, int variant) {
    const QString stem = QStringLiteral("tone-%1s-v%2").arg(seconds).arg(variant);
    const QString wav =
        Made(stem + QStringLiteral(".wav"), RealSox(),
             Words(QStringLiteral("-n -r 22050 -c 1 -b 16 {out} synth %1 sine %2 tremolo %3 %4")
                       .arg(seconds)
                       .arg(440 + 110 * variant)
                       .arg(0.7 + 0.45 * variant, 0, 'f', 2)
                       .arg(80 - 15 * (variant % 4))));
    if (wav.isEmpty() || extension == QLatin1String(".wav")) {
        return wav;
    }
    return extension == QLatin1String(".m4a")
               ? Made(stem + extension, RealFfmpeg(),
                      kFfmpeg + QStringList{QStringLiteral("-i"), wav, QStringLiteral("{out}")})
               : Made(stem + extension, RealSox(), {wav, QStringLiteral("{out}")});
}

QString MediaFixtures::Video(int audioTracks) {
    QStringList args = kFfmpeg + Words("-f lavfi -i color=c=black:s=16x16:r=1:d=61");
    QStringList maps = Words("-map 0:v");
    for (int t = 0; t < audioTracks; ++t) {
        const QString tone = Tone(QStringLiteral(".wav"), 61, t + 1);
        if (tone.isEmpty()) {
            return QString();
        }
        args += {QStringLiteral("-i"), tone};
        maps += {QStringLiteral("-map"), QStringLiteral("%1:a").arg(t + 1)};
    }
    return Made(QStringLiteral("video-%1-tracks.mkv").arg(audioTracks), RealFfmpeg(),
                args + maps + Words("-c:v libx264 -preset ultrafast -c:a pcm_s16le {out}"));
}

QString MediaFixtures::Tagged(const QString& extension) {
    const QString wav = Tone(QStringLiteral(".wav"), 61, 5);
    QStringList args = kFfmpeg + QStringList{QStringLiteral("-i"), wav};
    for (const char* tag : {"artist=Исполнитель Тест", "title=Title One", "album=Album X", "date=2001",
                            "track=7", "genre=Rock"}) {
        args += {QStringLiteral("-metadata"), QString::fromUtf8(tag)};
    }
    // MP3 and AIFF get their ID3v2 tags only when asked; the ASF muxer keeps "date" under its own name.
    const QMap<QString, QString> extra = {{QStringLiteral(".mp3"), QStringLiteral("-id3v2_version 3")},
                                          {QStringLiteral(".aiff"), QStringLiteral("-write_id3v2 1")},
                                          {QStringLiteral(".wma"), QStringLiteral("-metadata WM/Year=2001")}};
    if (extra.contains(extension)) {
        args += Words(extra.value(extension));
    }
    return Made(QStringLiteral("tagged") + extension, RealFfmpeg(), args << QStringLiteral("{out}"));
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
        f.write("#!/bin/sh\n" + body.toUtf8() + "\n");
        f.close();
        f.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                         QFileDevice::ReadGroup | QFileDevice::ExeGroup);
    }
    return path;
}

std::vector<uint16_t> ReduceSamples(const QByteArray& raw) {
    std::vector<uint16_t> values;
    const auto* bytes = reinterpret_cast<const unsigned char*>(raw.constData());
    uint32_t peaks[10] = {};
    for (qsizetype i = 0; i < raw.size() / 2; ++i) {
        const auto s = static_cast<int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        const uint32_t a = s == -32768 ? 4294934528u : static_cast<uint32_t>(s < 0 ? -s : s);
        peaks[i % 480 / 48] = std::max(peaks[i % 480 / 48], a);
        if (i % 480 == 479) {
            uint32_t sum = 0;
            for (uint32_t& p : peaks) {
                sum += p;
                p = 0;
            }
            values.push_back(static_cast<uint16_t>(sum / 10));
        }
    }
    return values;
}

std::vector<uint16_t> ReferenceEnvelopeOf(const QString& file, int track) {
    QTemporaryDir dir;
    QString input = file;
    if (track >= 0) {
        input = dir.filePath(QStringLiteral("track.wav"));
        if (!RunTool(RealFfmpeg(), kFfmpeg + QStringList{QStringLiteral("-i"), file} + Words("-vn -map") +
                                       QStringList{QStringLiteral("0:a:%1").arg(track), input})) {
            return {};
        }
    }
    const QString raw = dir.filePath(QStringLiteral("reference.raw"));
    QFile f(raw);
    if (!RunTool(RealSox(),
                 QStringList{input} +
                     Words("--bits 16 --channels 1 --encoding signed-integer --rate 48000 --type raw") +
                     QStringList{raw}) ||
        !f.open(QIODevice::ReadOnly)) {
        return {};
    }
    return ReduceSamples(f.readAll());
}

std::vector<uint16_t> ValuesOfBlob(const QByteArray& blob) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(blob.constData());
    std::vector<uint16_t> values(static_cast<size_t>(blob.size() / 2));
    for (size_t k = 0; k < values.size(); ++k) {
        values[k] = static_cast<uint16_t>(bytes[2 * k] | (bytes[2 * k + 1] << 8));
    }
    return values;
}

bool WaitForFile(const QString& path) {
    QDeadlineTimer deadline(60000);
    while (!QFileInfo::exists(path) && !deadline.hasExpired()) {
        QThread::msleep(5);
    }
    return QFileInfo::exists(path);
}

bool ProcessGone(int pid) {
    const auto gone = [pid] {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (::kill(pid, 0) != 0 || !stat.open(QIODevice::ReadOnly)) {
            return true;
        }
        const QByteArray text = stat.readAll();
        const qsizetype close = text.lastIndexOf(')');
        return close >= 0 && text.mid(close + 2, 1) == "Z";
    };
    QDeadlineTimer deadline(5000);
    while (!gone() && !deadline.hasExpired()) {
        QThread::msleep(5);
    }
    return gone();
}

}  // namespace tembrix::test
