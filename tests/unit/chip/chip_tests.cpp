#include "chip/chip.h"

#include <gtest/gtest.h>

namespace zorv {
namespace {

TEST(Chip, DefaultsOfA32By32ChipAtSixtyFour) {
    ChipRecord chip = {};
    int surfaceTag = 0;
    FillChip(&chip, &surfaceTag, 3, 64, 0, 32, 32);
    EXPECT_EQ(64, chip.srcLeft);
    EXPECT_EQ(0, chip.srcTop);
    EXPECT_EQ(96, chip.srcRight);
    EXPECT_EQ(32, chip.srcBottom);
    EXPECT_EQ(16, chip.offsetX);
    EXPECT_EQ(16, chip.offsetY);
    EXPECT_EQ(8, chip.hitLeft);
    EXPECT_EQ(8, chip.hitTop);
    EXPECT_EQ(24, chip.hitRight);
    EXPECT_EQ(24, chip.hitBottom);
    EXPECT_EQ(32, chip.width);
    EXPECT_EQ(32, chip.height);
    EXPECT_EQ(&surfaceTag, chip.sourceSurface);
    EXPECT_EQ(3, chip.surfaceIndex);
}

TEST(Chip, SmallChipsShiftArithmetically) {
    ChipRecord chip = {};
    FillChip(&chip, nullptr, 0, 0, 0, 3, 1);
    EXPECT_EQ(1, chip.offsetX);
    EXPECT_EQ(0, chip.offsetY);
    EXPECT_EQ(0, chip.hitLeft);
    EXPECT_EQ(0, chip.hitTop);
    EXPECT_EQ(2, chip.hitRight);
    EXPECT_EQ(0, chip.hitBottom);
    FillChip(&chip, nullptr, 0, 0, 0, 1, 1);
    EXPECT_EQ(0, chip.offsetX);
    EXPECT_EQ(0, chip.hitRight);
    EXPECT_EQ(0, chip.hitBottom);
}

TEST(Chip, SurfaceIndexKeepsItsLow16Bits) {
    ChipRecord chip = {};
    FillChip(&chip, nullptr, 0x12345, -5, -7, 4, 4);
    EXPECT_EQ(0x2345, chip.surfaceIndex);
    EXPECT_EQ(-5, chip.srcLeft);
    EXPECT_EQ(-1, chip.srcRight);
    EXPECT_EQ(-3, chip.srcBottom);
}

}  // namespace
}  // namespace zorv
