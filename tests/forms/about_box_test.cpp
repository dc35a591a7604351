// The about box: the image chosen for a pointer around the reference rectangle, and its first tick.

#include <gtest/gtest.h>

#include <QLabel>

#include "forms/about_box.h"
#include "forms/web_links.h"

namespace tembrix::test {
namespace {

enum Image { UpLeft, Up, UpRight, Left, Centre, Right, DownLeft, Down, DownRight };

// Catches an off-by-one at any of the four edges and trouble with far or negative coordinates.
TEST(AboutImageTest, PointerAroundTheReferenceRectangle) {
    const QRect reference(100, 50, 200, 150);  // L = 100, T = 50, R = 300, B = 200
    const struct Case {
        QPoint pointer;
        Image image;
    } cases[] = {
        {{99, 49}, UpLeft},  {{100, 49}, Up},         {{300, 49}, UpRight},     {{99, 50}, Left},
        {{100, 50}, Centre}, {{299, 199}, Centre},    {{300, 199}, Right},      {{99, 200}, DownLeft},
        {{299, 200}, Down},  {{300, 200}, DownRight}, {{-5000, -5000}, UpLeft}, {{9999, 9999}, DownRight},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(AboutImageIndex(c.pointer, reference), c.image) << c.pointer.x() << "," << c.pointer.y();
    }
    // A screen left of the primary one has negative coordinates; with no width there is no inside column.
    EXPECT_EQ(AboutImageIndex({-395, -295}, QRect(-400, -300, 10, 10)), Centre);
    EXPECT_EQ(AboutImageIndex({-390, -295}, QRect(-400, -300, 10, 10)), Right);
    EXPECT_EQ(AboutImageIndex({10, 15}, QRect(10, 10, 0, 20)), Right);
    EXPECT_EQ(AboutImageIndex({9, 15}, QRect(10, 10, 0, 20)), Left);
}

// Catches a box without its link to the maker's site or without a picture once the timer ticks.
TEST(AboutBoxTest, LinkAndAPictureAfterTheFirstTick) {
    TAboutBox box;
    QStringList texts;
    for (const QLabel* label : box.findChildren<QLabel*>()) {
        texts.append(label->text());
    }
    EXPECT_EQ(texts.filter(links::kMakerSite).size(), 1);
    box.Timer1Timer();
    EXPECT_GE(box.VisibleImage(), 0);
    EXPECT_LE(box.VisibleImage(), 8);
    EXPECT_FALSE(box.Image1()->pixmap().isNull());
}

}  // namespace
}  // namespace tembrix::test
