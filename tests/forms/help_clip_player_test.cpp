// The real help clip player on the multimedia backend: an MPEG-1 clip made with ffmpeg plays headless
// and hands its frames over; pause, rewind and close reach the backend's modes; a broken clip is reported.

#include <gtest/gtest.h>

#include <QProcess>
#include <QTest>

#include "forms/help_clip_player.h"
#include "support/media_fixtures.h"
#include "support/temp_dir.h"

namespace tembrix::test {
namespace {

using Mode = HelpClipPlayer::Mode;

class QtHelpClipPlayerTest : public ::testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_THREAD__)
        // The backend's threads live in GStreamer, GLib and libffi, which the thread checker cannot see
        // into: their own hand-offs look like races to it.
        GTEST_SKIP() << "the multimedia backend's threads are not instrumented";
#endif
        player = std::make_unique<QtHelpClipPlayer>();
        player->onError = [this](const QString& text) {
            error = text.isEmpty() ? QStringLiteral("?") : text;
        };
    }
    TempDir dir;
    QString error;
    std::unique_ptr<QtHelpClipPlayer> player;
};

TEST_F(QtHelpClipPlayerTest, PlaysAClipAndHandsOverItsFrames) {
    const QString clip = dir.File(QStringLiteral("4.mpg"));  // 3 seconds of test picture, as the help clips
    QProcess ffmpeg;
    ffmpeg.start(RealFfmpeg(), {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x90:rate=25", "-t", "3",
                                "-c:v", "mpeg1video", "-f", "mpeg", "-y", clip});
    ASSERT_TRUE(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);
    int frames = 0;
    QSize frameSize;
    player->onFrame = [&](const QImage& frame) {
        ++frames;
        frameSize = frame.size();
    };
    EXPECT_EQ(player->CurrentMode(), Mode::NotOpen);
    ASSERT_TRUE(player->Open(clip));
    EXPECT_EQ(player->CurrentMode(), Mode::Stopped);
    player->Play();
    EXPECT_EQ(player->CurrentMode(), Mode::Playing);
    ASSERT_TRUE(QTest::qWaitFor([&] { return frames > 2 || !error.isEmpty(); }, 15000));
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    EXPECT_EQ(frameSize, QSize(160, 90));
    player->Pause();
    EXPECT_EQ(player->CurrentMode(), Mode::Paused);
    player->Rewind();
    player->Play();
    EXPECT_EQ(player->CurrentMode(), Mode::Playing);
    player->Close();
    EXPECT_EQ(player->CurrentMode(), Mode::NotOpen);
}

TEST_F(QtHelpClipPlayerTest, ABrokenClipIsRefusedOrReportsAnError) {
    const bool refused = !player->Open(dir.Write(QStringLiteral("9.mpg"), QByteArray(4096, 'x')));
    if (!refused) {
        player->Play();
    }
    EXPECT_TRUE(refused || QTest::qWaitFor([&] { return !error.isEmpty(); }, 15000));
}

}  // namespace
}  // namespace tembrix::test
