#include "chip/quad_math.h"

#include <gtest/gtest.h>

namespace zorv {
namespace {

class QuadMath : public testing::Test {
protected:
    static void SetUpTestSuite() { BuildTrigTables(); }
};

TEST_F(QuadMath, CentreOfAnAxisAlignedRectangleByTheGeneralCase) {
    const int32_t p[8] = {0, 0, 63, 0, 63, 31, 0, 31};
    QuadCentre c = DiagonalCrossing(p);
    EXPECT_TRUE(c.drawn);
    EXPECT_EQ(31, c.x);
    EXPECT_EQ(16, c.y);
}

TEST_F(QuadMath, CentreSpecialCases) {
    // P0 and P2 on one vertical line, P1 and P3 on another: nothing is drawn.
    const int32_t bothVertical[8] = {10, 0, 20, 5, 10, 30, 20, 40};
    EXPECT_FALSE(DiagonalCrossing(bothVertical).drawn);
    // Case 1: x0 = x2 only. cx = x0, cy = (y1 - y3)(x0 - x3)/(x1 - x3) + y3.
    const int32_t firstVertical[8] = {10, 0, 20, 10, 10, 20, 0, 10};
    QuadCentre c = DiagonalCrossing(firstVertical);
    EXPECT_EQ(10, c.x);
    EXPECT_EQ(10, c.y);
    // Case 2: x1 = x3 only.
    const int32_t secondVertical[8] = {0, 0, 10, 0, 20, 20, 10, 20};
    c = DiagonalCrossing(secondVertical);
    EXPECT_EQ(10, c.x);
    EXPECT_EQ((0 - 20) * (10 - 20) / (0 - 20) + 20, c.y);
    // Case 3: y0 = y2 (and not y1 = y3); both horizontal: nothing.
    const int32_t bothHorizontal[8] = {0, 5, 10, 8, 20, 5, 30, 8};
    EXPECT_FALSE(DiagonalCrossing(bothHorizontal).drawn);
    const int32_t firstHorizontal[8] = {0, 10, 10, 0, 20, 10, 10, 20};
    c = DiagonalCrossing(firstHorizontal);
    EXPECT_EQ(10, c.y);
    EXPECT_EQ(10, c.x);
    // Parallel diagonals (d = 0): the average, by arithmetic shifts.
    const int32_t parallel[8] = {0, 0, 4, 10, 8, 2, 12, 12};
    c = DiagonalCrossing(parallel);
    EXPECT_EQ((0 + 4 + 8 + 12) >> 2, c.x);
    EXPECT_EQ((0 + 10 + 2 + 12) >> 2, c.y);
}

TEST_F(QuadMath, VertexColours) {
    EXPECT_EQ(0xFFFFFFFFu, ChipVertexColour(0, false, 256, 256, 256));
    EXPECT_EQ(0x00FFFFFFu, ChipVertexColour(255, false, 256, 256, 256));
    EXPECT_EQ(0xFFFFFFFFu, ChipVertexColour(511, false, 0, 0, 0) | 0xFF000000u);
    EXPECT_EQ(0x00FFFFFFu, ChipVertexColour(511, false, 0, 0, 0));  // only the low 8 bits count
    EXPECT_EQ(0xFFFFFFFFu, ChipVertexColour(0, true, 256, 256, 256));
    EXPECT_EQ(0x7F7F7F7Fu, ChipVertexColour(128, true, 256, 256, 256));
    EXPECT_EQ(0xFFFF0080u, ChipVertexColour(0, true, 256, 0, 129));
}

TEST_F(QuadMath, ExtentsAndCorners) {
    ChipRecord chip = {};
    FillChip(&chip, nullptr, 0, 0, 0, 32, 32);
    ChipExtents e = ExtentsOf(chip, 256, 256);
    EXPECT_EQ(-16, e.left);
    EXPECT_EQ(16, e.right);
    e = ExtentsOf(chip, 512, 256);
    EXPECT_EQ(-32, e.left);
    EXPECT_EQ(32, e.right);
    EXPECT_EQ(-16, e.top);
    // The negation comes after the shift: -(33 >> 1) = -16, not -17.
    chip.offsetX = 33;
    EXPECT_EQ(-16, ExtentsOf(chip, 128, 256).left);

    chip.offsetX = 16;
    IntPoint corners[4];
    ChipCorners(100, 50, ExtentsOf(chip, 256, 256), 0, corners);
    EXPECT_EQ(84, corners[0].x);
    EXPECT_EQ(34, corners[0].y);
    EXPECT_EQ(116, corners[2].x);
    // Angle 1024 takes the rotating path at angle 0: the scaled cosine makes 16 into 15.
    ChipCorners(100, 50, ExtentsOf(chip, 256, 256), 1024, corners);
    EXPECT_EQ(84, corners[0].x);
    EXPECT_EQ(115, corners[1].x);
    // -256 is 768.
    IntPoint other[4];
    ChipCorners(100, 50, ExtentsOf(chip, 256, 256), 768, corners);
    ChipCorners(100, 50, ExtentsOf(chip, 256, 256), -256, other);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(corners[i].x, other[i].x);
        EXPECT_EQ(corners[i].y, other[i].y);
    }
    // At 256 the chip's right-pointing axis points up: the top-right corner is above.
    ChipCorners(100, 50, ExtentsOf(chip, 256, 256), 256, corners);
    EXPECT_LT(corners[1].y, 50);
}

}  // namespace
}  // namespace zorv
