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
#include <QtEndian>
#include <algorithm>
#include <csignal>
#include <functional>
#include <numeric>

#include "support/temp_dir.h"

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

// Polls `done` every 5 ms until it holds or `ms` milliseconds pass; returns its last answer.
bool PollUntil(int ms, const std::function<bool()>& done) {
    for (QDeadlineTimer deadline(ms); !done() && !deadline.hasExpired();) {
        QThread::msleep(5);
    }
    return done();
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
    const QString path = m_folder + u'/' + name;
    const QString partial =
        m_folder + QStringLiteral("/partial-%1-").arg(QCoreApplication::applicationPid()) + name;
    bool made = QFileInfo(path).size() > 0;
    if (!made && RunTool(program, args.replaceInStrings("{out}", partial)) && QFileInfo(partial).size() > 0) {
        QFile::remove(path);
        made = QFile::rename(partial, path) || QFileInfo(path).size() > 0;
    }
    QFile::remove(partial);
    m_made.insert(name, made ? path : QString());
    return m_made.value(name);
}

QString MediaFixtures::Tone(const QString& extension, int seconds, int variant) {
    const QString stem = QStringLiteral("tone-%1s-v%2").arg(seconds).arg(variant);
    const QString synth =
        QStringLiteral("-n -r 22050 -c 1 -b 16 {out} synth %1 sine %2 tremolo %3 %4")
            .arg(QString::number(seconds), QString::number(440 + 110 * variant),
                 QString::number(0.7 + 0.45 * variant, 'f', 2), QString::number(80 - 15 * (variant % 4)));
    const QString wav = Made(stem + ".wav", RealSox(), Words(synth));
    return wav.isEmpty() || extension == ".wav" ? wav
           : extension == ".m4a"
               ? Made(stem + extension, RealFfmpeg(), kFfmpeg + QStringList{"-i", wav, "{out}"})
               : Made(stem + extension, RealSox(), {wav, "{out}"});
}

QString MediaFixtures::Video(int audioTracks) {
    QStringList args = kFfmpeg + Words("-f lavfi -i color=c=black:s=16x16:r=1:d=61");
    QStringList maps = Words("-map 0:v");
    for (int t = 0; t < audioTracks; ++t) {
        args += {"-i", Tone(".wav", 61, t + 1)};  // an empty name fails the run
        maps += {"-map", QStringLiteral("%1:a").arg(t + 1)};
    }
    return Made(QStringLiteral("video-%1-tracks.mkv").arg(audioTracks), RealFfmpeg(),
                args + maps + Words("-c:v libx264 -preset ultrafast -c:a pcm_s16le {out}"));
}

QString MediaFixtures::Tagged(const QString& extension) {
    QStringList args = kFfmpeg + QStringList{"-i", Tone(".wav", 61, 5)};
    for (const char* tag : {"artist=Исполнитель Тест", "title=Title One", "album=Album X", "date=2001",
                            "track=7", "genre=Rock"}) {
        args += {"-metadata", tag};
    }
    // MP3 and AIFF get their ID3v2 tags only when asked; the ASF muxer keeps "date" under its own name.
    const QMap<QString, QString> extra = {
        {".mp3", "-id3v2_version 3"}, {".aiff", "-write_id3v2 1"}, {".wma", "-metadata WM/Year=2001"}};
    args += extra.contains(extension) ? Words(extra.value(extension)) : QStringList();
    return Made("tagged" + extension, RealFfmpeg(), args << "{out}");
}

QString RealSox() {
    return QStandardPaths::findExecutable("sox");
}

QString RealFfmpeg() {
    return QStandardPaths::findExecutable("ffmpeg");
}

QString ProgramDir() {
    return QStringLiteral(TEMBRIX_BIN_DIR);
}

QString WriteFakeTool(const QString& folder, const QString& name, const QString& body) {
    QDir().mkpath(folder);
    const QString path = folder + u'/' + name;
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
        f.write("#!/bin/sh\n" + body.toUtf8() + "\n") > 0) {
        f.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }
    return path;
}

std::vector<uint16_t> ReduceSamples(const QByteArray& raw) {
    std::vector<uint16_t> values;
    uint32_t peaks[10] = {};
    for (qsizetype i = 0; i < raw.size() / 2; ++i) {
        const auto s = qFromLittleEndian<int16_t>(raw.constData() + 2 * i);
        const uint32_t a = s == -32768 ? 4294934528u : static_cast<uint32_t>(s < 0 ? -s : s);
        peaks[i % 480 / 48] = std::max(peaks[i % 480 / 48], a);
        if (i % 480 == 479) {
            values.push_back(static_cast<uint16_t>(std::accumulate(peaks, peaks + 10, 0u) / 10));
            std::fill(peaks, peaks + 10, 0u);
        }
    }
    return values;
}

std::vector<uint16_t> ReferenceEnvelopeOf(const QString& file, int track) {
    QTemporaryDir dir;
    const QString wav = dir.filePath("track.wav"), raw = dir.filePath("ref.raw");
    const QStringList toRaw =
        Words("--bits 16 --channels 1 --encoding signed-integer --rate 48000 --type raw");
    const bool ok =
        (track < 0 ||
         RunTool(RealFfmpeg(),
                 kFfmpeg + QStringList{"-i", file} + Words(QStringLiteral("-vn -map 0:a:%1").arg(track))
                     << wav)) &&
        RunTool(RealSox(), QStringList{track < 0 ? file : wav} + toRaw << raw);
    return ok ? ReduceSamples(ReadFile(raw)) : std::vector<uint16_t>();
}

std::vector<uint16_t> ValuesOfBlob(const QByteArray& blob) {
    std::vector<uint16_t> values(static_cast<size_t>(blob.size() / 2));
    if (!values.empty()) {  // an empty vector's data() may be null
        qFromLittleEndian<uint16_t>(blob.constData(), blob.size() / 2, values.data());
    }
    return values;
}

bool WaitForFile(const QString& path) {
    return PollUntil(60000, [&] { return QFileInfo::exists(path); });
}

bool ProcessGone(int pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    return PollUntil(5000, [&] {
        stat.close();
        const QByteArray text = stat.open(QIODevice::ReadOnly) ? stat.readAll() : QByteArray();
        return ::kill(pid, 0) != 0 || text.isEmpty() || text.mid(text.lastIndexOf(')') + 2, 1) == "Z";
    });
}

}  // namespace tembrix::test
