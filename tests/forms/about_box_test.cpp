// The about box: which of the nine images shows for a pointer around the reference rectangle (left and
// top edges belong to the inside, right and bottom edges to the outside), and the box's fixed texts.

#include <gtest/gtest.h>

#include <QLabel>

#include "forms/about_box.h"
#include "forms/web_links.h"

namespace tembrix::test {
namespace {

enum Image { UpLeft, Up, UpRight, Left, Centre, Right, DownLeft, Down, DownRight };

TEST(AboutImageTest, PointerAroundTheReferenceRectangle) {
    // L = 100, T = 50, R = L + 200 = 300, B = T + 150 = 200.
    const QRect reference(100, 50, 200, 150);
    const struct Case {
        QPoint pointer;
        Image image;
    } cases[] = {
        {{99, 49}, UpLeft},   {{-5000, -5000}, UpLeft}, {{100, 49}, Up},           {{299, 0}, Up},
        {{300, 49}, UpRight}, {{5000, -1}, UpRight},    {{99, 50}, Left},          {{0, 199}, Left},
        {{100, 50}, Centre},  {{299, 199}, Centre},     {{200, 120}, Centre},      {{300, 50}, Right},
        {{300, 199}, Right},  {{99, 200}, DownLeft},    {{-1, 9999}, DownLeft},    {{100, 200}, Down},
        {{299, 5000}, Down},  {{300, 200}, DownRight},  {{9999, 9999}, DownRight},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(AboutImageIndex(c.pointer, reference), c.image) << c.pointer.x() << "," << c.pointer.y();
    }
    // A screen left of the primary one has negative coordinates.
    const QRect negative(-400, -300, 10, 10);
    EXPECT_EQ(AboutImageIndex({-395, -295}, negative), Centre);
    EXPECT_EQ(AboutImageIndex({-390, -295}, negative), Right);
    EXPECT_EQ(AboutImageIndex({-401, -291}, negative), Left);
    // With no width there is no inside column: the pointer is left or right of it.
    const QRect flat(10, 10, 0, 20);
    EXPECT_EQ(AboutImageIndex({10, 15}, flat), Right);
    EXPECT_EQ(AboutImageIndex({9, 15}, flat), Left);
}

TEST(AboutBoxTest, CaptionTextsAndAPictureAfterTheFirstTick) {
    TAboutBox box;
    EXPECT_EQ(box.windowTitle(), QStringLiteral("О программе"));
    QStringList texts;
    for (const QLabel* label : box.findChildren<QLabel*>()) {
        texts.append(label->text());
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("Тембрикс")));
    EXPECT_TRUE(texts.contains(QStringLiteral("Версия 1.0")));
    EXPECT_EQ(texts.filter(links::kMakerSite).size(), 1);
    box.Timer1Timer();
    EXPECT_GE(box.VisibleImage(), 0);
    EXPECT_LE(box.VisibleImage(), 8);
    EXPECT_FALSE(box.Image1()->pixmap().isNull());
}

}  // namespace
}  // namespace tembrix::test
