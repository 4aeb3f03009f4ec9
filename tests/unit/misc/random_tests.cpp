#include "misc/random.h"

#include <gtest/gtest.h>

namespace zorv {
namespace {

TEST(Random, SequenceFromKnownStates) {
    uint32_t state = 1;
    EXPECT_EQ(33676u, NextRandom(state));
    EXPECT_EQ(31185u, NextRandom(state));
    EXPECT_EQ(11092u, NextRandom(state));
    EXPECT_EQ(56629u, NextRandom(state));
    state = 0;
    EXPECT_EQ(0u, NextRandom(state));
    EXPECT_EQ(62604u, NextRandom(state));
    EXPECT_EQ(10840u, NextRandom(state));
    EXPECT_EQ(296u, NextRandom(state));
}

TEST(Random, GlobalStateAdvances) {
    RandomState = 1;
    EXPECT_EQ(33676u, NextRandom());
    EXPECT_EQ(1u * 1103515245u + 4649u, RandomState);
}

TEST(Random, RangeRemainder) {
    EXPECT_EQ(7, RandomInRange(65535, 7, 1));
    EXPECT_EQ(10, RandomInRange(0, 10, -3));
    EXPECT_EQ(12, RandomInRange(5, 10, -3));  // 5 % -3 = 2
    EXPECT_EQ(11, RandomInRange(4, 10, 3));
    EXPECT_EQ(65535 - 100, RandomInRange(65535, -100, 1000000));
    EXPECT_EQ(5, RandomInRange(65535, 5, 0));  // range 0: base
    EXPECT_EQ(INT32_MIN + 1, RandomInRange(2, INT32_MAX, 100));  // wraps, no overflow trap
    EXPECT_EQ(3, RandomInRange(3, 0, INT32_MIN));
}

}  // namespace
}  // namespace zorv
