// The real help clip player on the multimedia backend: an MPEG-1 clip made with ffmpeg plays headless
// and hands its frames over; pause, rewind and close reach the backend's modes.

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include "forms/help_clip_player.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix::test {
namespace {

using Mode = HelpClipPlayer::Mode;

// A 3-second MPEG-1 clip with a test picture, as the help clips are; "" when ffmpeg cannot make it.
QString MakeClip(const TempDir& dir) {
    const QString clip = dir.File(QStringLiteral("4.mpg"));
    QProcess ffmpeg;
    ffmpeg.start(RealFfmpeg(), {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x90:rate=25", "-t", "3",
                                "-c:v", "mpeg1video", "-f", "mpeg", "-y", clip});
    if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0) {
        return QString();
    }
    return clip;
}

// The backend's threads live in GStreamer, GLib and libffi, which ThreadSanitizer does not see into:
// their own hand-offs look like races to it.
#if defined(__SANITIZE_THREAD__)
constexpr bool kUnderThreadSanitizer = true;
#else
constexpr bool kUnderThreadSanitizer = false;
#endif

template <typename Predicate>
bool WaitFor(Predicate done, int ms) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < ms) {
        QTest::qWait(20);
    }
    return done();
}

TEST(QtHelpClipPlayer, PlaysAClipAndHandsOverItsFrames) {
    if (kUnderThreadSanitizer) {
        GTEST_SKIP() << "the multimedia backend's threads are not instrumented";
    }
    TempDir dir;
    const QString clip = MakeClip(dir);
    ASSERT_FALSE(clip.isEmpty());
    QtHelpClipPlayer player;
    EXPECT_EQ(player.CurrentMode(), Mode::NotOpen);
    int frames = 0;
    QSize frameSize;
    QString error;
    player.onFrame = [&](const QImage& frame) {
        ++frames;
        frameSize = frame.size();
    };
    player.onError = [&](const QString& text) { error = text; };
    ASSERT_TRUE(player.Open(clip));
    EXPECT_EQ(player.CurrentMode(), Mode::Stopped);
    player.Play();
    EXPECT_EQ(player.CurrentMode(), Mode::Playing);
    ASSERT_TRUE(WaitFor([&] { return frames > 2 || !error.isEmpty(); }, 15000)) << error.toStdString();
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    EXPECT_EQ(frameSize, QSize(160, 90));
    player.Pause();
    EXPECT_EQ(player.CurrentMode(), Mode::Paused);
    player.Rewind();
    player.Play();
    EXPECT_EQ(player.CurrentMode(), Mode::Playing);
    player.Close();
    EXPECT_EQ(player.CurrentMode(), Mode::NotOpen);
}

TEST(QtHelpClipPlayer, ABrokenClipReportsAnError) {
    if (kUnderThreadSanitizer) {
        GTEST_SKIP() << "the multimedia backend's threads are not instrumented";
    }
    TempDir dir;
    const QString broken = dir.Write(QStringLiteral("9.mpg"), QByteArray(4096, 'x'));
    QtHelpClipPlayer player;
    QString error;
    player.onError = [&](const QString& text) { error = text.isEmpty() ? QStringLiteral("?") : text; };
    // Either way the panel hears of it: Open refuses the clip, or the backend reports an error.
    const bool opened = player.Open(broken);
    if (opened) {
        player.Play();
        WaitFor([&] { return !error.isEmpty(); }, 15000);
    }
    EXPECT_TRUE(!opened || !error.isEmpty());
}

}  // namespace
}  // namespace tembrix::test
