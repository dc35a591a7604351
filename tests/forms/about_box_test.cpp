// The about box: it opens with a picture once its timer has ticked.

#include <gtest/gtest.h>

#include <QLabel>

#include "forms/about_box.h"

namespace tembrix::test {
namespace {

// Catches a box that opens without a picture after the first tick.
TEST(AboutBoxTest, ShowsAPictureAfterTheFirstTick) {
    TAboutBox box;
    box.show();
    box.Timer1Timer();
    EXPECT_GE(box.VisibleImage(), 0);
    EXPECT_FALSE(box.Image1()->pixmap().isNull());
}

}  // namespace
}  // namespace tembrix::test
