// Characters: motion against conservation of the fixed-point sums, the stated frame cases,
// patterns, blink and Y order; hit tests against exact geometry (64-bit areas, separating axes)
// on seeded random shapes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "character/character.h"
#include "character/hit_test.h"
#include "misc/trig.h"

namespace zorv {
namespace {

const bool TABLES_BUILT = (BuildTrigTables(), true);

// A character table of the script's own arrays; character n exists, unlimited, flags given.
struct Table {
    std::vector<int32_t> col[CHARACTER_COLUMNS];
    explicit Table(int cap) {
        characterCapacity = static_cast<uint16_t>(cap);
        EXPECT_EQ(0, AllocateCharacterTables());
        for (int c = 0; c < CHARACTER_COLUMNS; ++c) columnTable[c] = (col[c] = std::vector<int32_t>(cap)).data();
    }
    ~Table() { ReleaseCharacterTables(), ReleaseAnimationPatterns(); }
    int32_t& operator()(int c, int n) { return col[c][n]; }
    void Make(int n, int move, int draw = 0) { col[COL_ATTRIBUTE][n] = 1, col[COL_MOVE_FLAGS][n] = move, col[COL_DRAW_FLAGS][n] = draw; }
    std::vector<int32_t> Run(int n, int c, int frames) {  // column c after each update
        std::vector<int32_t> v;
        for (int f = 0; f < frames; ++f) UpdateCharacter(n), v.push_back(col[c][n]);
        return v;
    }
};
using V = std::vector<int32_t>;

TEST(Character, CarryAndMotionKeepTheFixedPointSums) {
    std::mt19937 r(7);
    for (int i = 0; i < 20000; ++i) {  // CarryFraction against truncating division
        int32_t col = int32_t(r() % 2001) - 1000, rem = int32_t(r() % 511) - 255, delta = int32_t(r() % 4001) - 2000;
        const int32_t raw = rem + delta, q = std::abs(raw) > 255 ? raw / 256 : 0, wantCol = col + q;
        CarryFraction(col, rem, delta);
        ASSERT_TRUE(col == wantCol && rem == raw - q * 256) << raw;
    }
    Table t(1);
    for (int i = 0; i < 5000; ++i) {  // velocity and turning: position x 256 + remainder grows by the velocities
        t.Make(0, MOVE_VELOCITY * (r() % 2) | MOVE_TURN * (r() % 2));
        for (int c : {COL_VELOCITY_X, COL_VELOCITY_Y, COL_ACCEL_X, COL_ACCEL_Y, COL_SPEED, COL_TURN_SPEED, COL_TURN_ACCEL}) t(c, 0) = int32_t(r() % 1001) - 500;
        t(COL_ANGLE, 0) = r() % 1024;
        const int64_t x = t(COL_POS_X, 0) * 256LL + subPixel[0].x, y = t(COL_POS_Y, 0) * 256LL + subPixel[0].y;
        const int64_t a = t(COL_ANGLE, 0) * 256LL + angleFraction[0], ts = t(COL_TURN_SPEED, 0) * 256LL + turnFraction[0];
        const int32_t flags = t(COL_MOVE_FLAGS, 0), turnAccel = t(COL_TURN_ACCEL, 0);
        UpdateCharacter(0);
        const bool v = flags & MOVE_VELOCITY, turn = flags & MOVE_TURN;
        const int32_t hx = turn ? ScaledCos(t(COL_ANGLE, 0), t(COL_SPEED, 0)) : 0, hy = turn ? ScaledSin(t(COL_ANGLE, 0), -t(COL_SPEED, 0)) : 0;
        ASSERT_EQ(x + v * t(COL_VELOCITY_X, 0) + hx, t(COL_POS_X, 0) * 256LL + subPixel[0].x) << i;
        ASSERT_EQ(y + v * t(COL_VELOCITY_Y, 0) + hy, t(COL_POS_Y, 0) * 256LL + subPixel[0].y) << i;
        ASSERT_EQ(ts + turn * turnAccel, t(COL_TURN_SPEED, 0) * 256LL + turnFraction[0]) << i;
        ASSERT_EQ(0, (a + turn * t(COL_TURN_SPEED, 0) - t(COL_ANGLE, 0) * 256LL - angleFraction[0]) % (1024 * 256)) << i;
        ASSERT_TRUE(std::abs(subPixel[0].x) <= 255 && std::abs(subPixel[0].y) <= 255 && t(COL_ANGLE, 0) >= 0 && t(COL_ANGLE, 0) < 1024);
    }
}

TEST(Character, FrameSteps) {
    Table t(3);
    t.Make(0, MOVE_VELOCITY), t(COL_VELOCITY_X, 0) = 128;
    EXPECT_EQ(V({0, 1, 1, 2}), t.Run(0, COL_POS_X, 4));
    t(COL_VELOCITY_X, 0) = -128, t(COL_POS_X, 0) = 0;
    EXPECT_EQ(V({0, -1, -1, -2}), t.Run(0, COL_POS_X, 4));
    t(COL_VELOCITY_X, 0) = 0, t(COL_ACCEL_X, 0) = 256, t(COL_POS_X, 0) = 0;  // velocity changes before it moves
    EXPECT_EQ(V({1, 3}), t.Run(0, COL_POS_X, 2));
    t(COL_LIFE, 0) = 3, t(COL_POS_X, 0) = 0, t(COL_ACCEL_X, 0) = 0;  // the last frame of life moves nothing
    EXPECT_EQ(V({2, 4, 4}), t.Run(0, COL_POS_X, 3));
    EXPECT_EQ(0, t(COL_ATTRIBUTE, 0));
    t.Make(0, MOVE_LIMIT), t(COL_LIMIT_RIGHT, 0) = 5, t(COL_LIMIT_BOTTOM, 0) = 5, t(COL_POS_X, 0) = 5;
    UpdateCharacter(0);
    EXPECT_EQ(1, t(COL_ATTRIBUTE, 0));
    t(COL_POS_Y, 0) = 6, UpdateCharacter(0);
    EXPECT_EQ(0, t(COL_ATTRIBUTE, 0));
    const int32_t turns[][4] = {{0, 255, 0, 0}, {256, 0, -256, 0}, {768, 0, 255, 0}, {1023, 0, 0, 512}};  // angle, heading, turn speed
    for (const auto& c : turns) {
        t.Make(1, MOVE_TURN), t(COL_ANGLE, 1) = c[0], t(COL_SPEED, 1) = 256, t(COL_TURN_SPEED, 1) = c[3];
        UpdateCharacter(1);
        EXPECT_TRUE(c[3] ? t(COL_ANGLE, 1) == 1 : headingVelocity[1].x == c[1] && headingVelocity[1].y == c[2]) << c[0];
    }
    t.Make(0, MOVE_HOMING), t.Make(1, 0), t(COL_HOMING_TARGET, 0) = 1, t(COL_HOMING_ACCEL, 0) = 3;
    t(COL_POS_X, 0) = t(COL_POS_Y, 0) = 0, t(COL_POS_X, 1) = t(COL_POS_Y, 1) = 9, t(COL_ACCEL_X, 0) = t(COL_ACCEL_Y, 0) = 0;
    EXPECT_EQ(V({3, 6}), t.Run(0, COL_ACCEL_Y, 2));
    t(COL_POS_X, 1) = 0, t(COL_POS_Y, 1) = -1, UpdateCharacter(0);
    EXPECT_TRUE(t(COL_ACCEL_X, 0) == 6 && t(COL_ACCEL_Y, 0) == 3);
    t(COL_ATTRIBUTE, 1) = 0, UpdateCharacter(0);
    EXPECT_TRUE(t(COL_MOVE_FLAGS, 0) == 0 && t(COL_ACCEL_X, 0) == 6);
    // Tied: follows the target at the distance of the tie, released where it stands.
    t.Make(1, 0), t(COL_POS_X, 0) = 10, t(COL_POS_Y, 0) = 20, t(COL_POS_X, 1) = 3, t(COL_POS_Y, 1) = 5;
    TieCharacter(0, 1), t(COL_MOVE_FLAGS, 0) |= MOVE_VELOCITY, t(COL_VELOCITY_X, 0) = 256, t(COL_ACCEL_X, 0) = t(COL_ACCEL_Y, 0) = 0;
    EXPECT_EQ(7, EffectivePosition(0).x);
    t(COL_POS_X, 1) = 30, UpdateCharacter(0);
    EXPECT_TRUE(EffectivePosition(0).x == 38 && EffectivePosition(0).y == 20);
    t(COL_ATTRIBUTE, 1) = 0, UpdateCharacter(0);
    EXPECT_TRUE(t(COL_POS_X, 0) == 39 && EffectivePosition(0).x == 39 && t(COL_MOVE_FLAGS, 0) == MOVE_VELOCITY);
}

TEST(Character, AnimationAndBlink) {
    Table t(1);
    ASSERT_EQ(0, AllocateAnimationPatterns(2));
    const int32_t pairs[] = {5, 3, 6, 2, 7, 4};
    ASSERT_EQ(0, FillAnimationPattern(1, pairs, 3));
    t.Make(0, 0, DRAW_ANIMATE), t(COL_PATTERN_NO, 0) = 1, t(COL_CHIP_NO, 0) = 5;
    V shown;  // the chip drawn in each frame: the one before that frame's update
    for (int f = 0; f < 17; ++f) shown.push_back(t(COL_CHIP_NO, 0)), UpdateCharacter(0);
    EXPECT_EQ(V({5, 5, 5, 5, 5, 6, 6, 7, 7, 7, 7, 5, 5, 5, 5, 6, 6}), shown);
    animStep[0] = 0, animTimer[0] = 100, UpdateCharacter(0);  // late start: next step at once
    EXPECT_EQ(1, animStep[0]);
    ASSERT_EQ(0, FillAnimationPattern(1, pairs, 1));  // refilled shorter: back to step 0
    animStep[0] = 2, animTimer[0] = 1, UpdateCharacter(0);
    EXPECT_TRUE(animStep[0] == 0 && animTimer[0] == 1 && t(COL_CHIP_NO, 0) == 5);
    const char* blinks[][2] = {{"3", "x.xxx0"}, {"4", ".x.xx0"}, {"65535", "x.x.x65534"}, {"65534", ".x.x.65535"}, {"-1", "x.x.x-6"}};
    for (const auto& b : blinks) {
        int32_t blink = std::stoi(b[0]);
        std::string seen;
        for (int f = 0; f < 5; ++f) seen += BlinkShows(blink) ? 'x' : '.';
        EXPECT_EQ(b[1], seen + std::to_string(blink)) << b[0];
    }
}

TEST(Character, SortByY) {
    std::mt19937 r(3);
    Table t(300);
    for (int i = 0; i < 3000; ++i) {
        const int32_t range = i % 3 ? 4 : 0x7FFFFFFF, lo = r() % 300, hi = lo + r() % (300 - lo);
        for (int n = 0; n < 300; ++n) t(COL_POS_Y, n) = int32_t(r() % (2u * range + 1) - range), sortOrder[n] = uint16_t(299 - n);
        std::vector<uint16_t> want(sortOrder, sortOrder + 300);
        std::stable_sort(want.begin() + lo, want.begin() + hi + 1, [&](int a, int b) { return t(COL_POS_Y, a) < t(COL_POS_Y, b); });
        SortByY(sortOrder, lo, hi);
        std::vector<uint16_t> got(sortOrder, sortOrder + 300);
        std::vector<int32_t> keysGot, keysWant;
        for (int n = 0; n < 300; ++n) keysGot.push_back(t(COL_POS_Y, got[n])), keysWant.push_back(t(COL_POS_Y, want[n]));
        ASSERT_EQ(keysWant, keysGot) << i;  // same keys in each place: sorted, nothing outside lo ... hi moved
        std::sort(got.begin(), got.end());
        for (int n = 0; n < 300; ++n) ASSERT_EQ(n, got[n]);  // a permutation
    }
}

}  // namespace
}  // namespace zorv
