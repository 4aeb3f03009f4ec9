// Characters: motion against the fixed-point sums it must keep, frame cases, pattern timing, blink,
// Y order; hit tests against exact geometry (64-bit areas, separating axes) on seeded random shapes.
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

using V = std::vector<int32_t>;
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
    V Run(int n, int c, int frames) { V v; for (int f = 0; f < frames; ++f) UpdateCharacter(n), v.push_back(col[c][n]); return v; }
};

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
        t.Make(0, int32_t(r() % 4));  // 1: velocity, 2: turning, as the script writes them
        for (int c : {COL_VELOCITY_X, COL_VELOCITY_Y, COL_ACCEL_X, COL_ACCEL_Y, COL_SPEED, COL_TURN_SPEED, COL_TURN_ACCEL}) t(c, 0) = int32_t(r() % 1001) - 500;
        t(COL_ANGLE, 0) = r() % 1024;
        const int64_t x = t(COL_POS_X, 0) * 256LL + subPixel[0].x, y = t(COL_POS_Y, 0) * 256LL + subPixel[0].y;
        const int64_t a = t(COL_ANGLE, 0) * 256LL + angleFraction[0], ts = t(COL_TURN_SPEED, 0) * 256LL + turnFraction[0];
        const int32_t flags = t(COL_MOVE_FLAGS, 0), turnAccel = t(COL_TURN_ACCEL, 0);
        UpdateCharacter(0);
        const bool v = flags & 1, turn = flags & 2;
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
    EXPECT_TRUE(t.Run(0, COL_POS_X, 3) == V({2, 4, 4}) && t(COL_ATTRIBUTE, 0) == 0);
    for (int s = 0; s < 8; ++s) {  // on each of the four limits it lives, one beyond it dies
        t.Make(0, 16), t(COL_POS_X, 0) = t(COL_POS_Y, 0) = 0, t(COL_LIFE, 0) = 0;
        t(COL_LIMIT_LEFT, 0) = t(COL_LIMIT_TOP, 0) = -5, t(COL_LIMIT_RIGHT, 0) = t(COL_LIMIT_BOTTOM, 0) = 5;
        t(s & 1 ? COL_POS_Y : COL_POS_X, 0) = (s & 2 ? 1 : -1) * (5 + s / 4);
        EXPECT_EQ(V({s < 4}), t.Run(0, COL_ATTRIBUTE, 1)) << s;
    }
    const int32_t turns[][4] = {{0, 255, 0, 0}, {256, 0, -256, 0}, {768, 0, 255, 0}, {1023, 0, 0, 512}};  // angle, heading, turn speed
    for (const auto& c : turns) {
        t.Make(1, 2), t(COL_ANGLE, 1) = c[0], t(COL_SPEED, 1) = 256, t(COL_TURN_SPEED, 1) = c[3], UpdateCharacter(1);
        EXPECT_TRUE(c[3] ? t(COL_ANGLE, 1) == 1 : headingVelocity[1].x == c[1] && headingVelocity[1].y == c[2]) << c[0];
    }
    t.Make(0, MOVE_HOMING), t.Make(1, 0), t(COL_HOMING_TARGET, 0) = 1, t(COL_HOMING_ACCEL, 0) = 3;
    t(COL_POS_X, 0) = t(COL_POS_Y, 0) = 0, t(COL_POS_X, 1) = t(COL_POS_Y, 1) = 9, t(COL_ACCEL_X, 0) = t(COL_ACCEL_Y, 0) = 0;
    EXPECT_EQ(V({3, 6}), t.Run(0, COL_ACCEL_Y, 2));
    EXPECT_TRUE((t(COL_POS_X, 1) = 0, t(COL_POS_Y, 1) = -1, UpdateCharacter(0), t(COL_ACCEL_X, 0) == 6 && t(COL_ACCEL_Y, 0) == 3));
    EXPECT_TRUE((t(COL_ATTRIBUTE, 1) = 0, UpdateCharacter(0), t(COL_MOVE_FLAGS, 0) == 0 && t(COL_ACCEL_X, 0) == 6));  // target gone
    // Tied: follows the target at the distance of the tie, released where it stands.
    t.Make(1, 0), t(COL_POS_X, 0) = 10, t(COL_POS_Y, 0) = 20, t(COL_POS_X, 1) = 3, t(COL_POS_Y, 1) = 5;
    TieCharacter(0, 1), t(COL_MOVE_FLAGS, 0) |= MOVE_VELOCITY, t(COL_VELOCITY_X, 0) = 256, t(COL_ACCEL_X, 0) = t(COL_ACCEL_Y, 0) = 0;
    EXPECT_EQ(7, EffectivePosition(0).x);
    EXPECT_TRUE((t(COL_POS_X, 1) = 30, UpdateCharacter(0), EffectivePosition(0).x == 38 && EffectivePosition(0).y == 20));
    EXPECT_TRUE((t(COL_ATTRIBUTE, 1) = 0, UpdateCharacter(0), t(COL_POS_X, 0) == 39) && EffectivePosition(0).x == 39 && relativeOffset[0].x == 0 && t(COL_MOVE_FLAGS, 0) == MOVE_VELOCITY);
}

TEST(Character, AnimationAndBlink) {
    Table t(1);
    const int32_t pairs[] = {5, 3, 6, 2, 7, 4};
    ASSERT_TRUE(AllocateAnimationPatterns(2) == 0 && FillAnimationPattern(1, pairs, 3) == 0);
    t.Make(0, 0, DRAW_ANIMATE), t(COL_PATTERN_NO, 0) = 1, t(COL_CHIP_NO, 0) = 5;
    V shown;  // the chip drawn in each frame: the one before that frame's update
    for (int f = 0; f < 17; ++f) shown.push_back(t(COL_CHIP_NO, 0)), UpdateCharacter(0);
    EXPECT_EQ(V({5, 5, 5, 5, 5, 6, 6, 7, 7, 7, 7, 5, 5, 5, 5, 6, 6}), shown);
    animStep[0] = 0, animTimer[0] = 100, UpdateCharacter(0);  // late start: next step at once
    EXPECT_EQ(1, animStep[0]);
    ASSERT_EQ(0, FillAnimationPattern(1, pairs, 1));  // refilled shorter: back to step 0
    animStep[0] = 2, animTimer[0] = 1, UpdateCharacter(0);
    EXPECT_TRUE(animStep[0] == 0 && animTimer[0] == 1 && t(COL_CHIP_NO, 0) == 5);
    for (int32_t p : {-1, 2}) {  // no such pattern: the chip stays
        t(COL_PATTERN_NO, 0) = p, t(COL_CHIP_NO, 0) = 9, UpdateCharacter(0);
        EXPECT_EQ(9, t(COL_CHIP_NO, 0)) << p;
    }
    const char* blinks[][2] = {{"3", "x.xxx0"}, {"4", ".x.xx0"}, {"65535", "x.x.x65534"}, {"65534", ".x.x.65535"}, {"-1", "x.x.x-6"}, {"70000", ".x.x.65535"}};
    auto frames = [](int32_t b) { std::string s; for (int f = 0; f < 5; ++f) s += BlinkShows(b) ? 'x' : '.'; return s + std::to_string(b); };
    for (const auto& b : blinks) EXPECT_EQ(b[1], frames(std::stoi(b[0]))) << b[0];
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
        ASSERT_TRUE(std::is_permutation(want.begin(), want.end(), sortOrder)) << i;
        for (int n = 0; n < 300; ++n)  // same keys in each place: sorted, nothing outside lo ... hi moved
            ASSERT_EQ(t(COL_POS_Y, want[n]), t(COL_POS_Y, sortOrder[n])) << i;
    }
}

TEST(Character, ExportWork) {
    Table t(8);
    const ChipRecord chips[] = {{8, 8, 24, 24, 16, 16, nullptr, 0, 0, 32, 16, 32, 16, 0}};
    subPixel[5] = {9, 9}, relativeOffset[5] = {3, 3}, t(COL_LIFE, 5) = 7;
    FillNewCharacter(5, 0, chips[0], 100, 50, 640, 480);
    V made;
    for (const V& c : t.col) made.push_back(c[5]);
    EXPECT_EQ(V({1, 100, 50, -32, -16, 672, 496, 0, 16, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 256, 256, 0, 0, 0, 0}), made);
    EXPECT_TRUE(subPixel[5].x == 0 && relativeOffset[5].y == 0);
    relativeOffset[5] = {3, 4}, CopyCharacter(5, 2, 7, 8);  // all but the position, with the plugin-side entries
    EXPECT_TRUE(t(COL_LIMIT_RIGHT, 2) == 672 && t(COL_POS_X, 2) == 7 && t(COL_POS_Y, 2) == 8 && relativeOffset[2].y == 4);
    EXPECT_TRUE((CopyCharacter(0, 2, 0, 0), t(COL_ATTRIBUTE, 2) == 0));  // a free source frees the destination
    t.col[COL_ATTRIBUTE] = V({1, 1, 8, 1, 2, 4, 8, 1}), columnTable[COL_ATTRIBUTE] = t.col[COL_ATTRIBUTE].data();
    EXPECT_TRUE(FindCharacter(0, 0, 8) == -1 && FindCharacter(6, 0, 8) == 4 && FindCharacter(6, 5, 8) == 5 && FindCharacter(6, 6, 8) == -1);
    EXPECT_TRUE((t(COL_ATTRIBUTE, 6) = 0, FindCharacter(0, 0, 8) == 6 && FindCharacter(0, 0, 6) == -1));
    const int32_t aims[][4] = {{100, 200, 0, 511}, {100, 0, 0, -512}, {100, 100, 0, -512}, {0, 100, -512, 0}};  // target, velocity from (100, 100)
    for (const auto& a : aims) {
        t(COL_POS_X, 0) = t(COL_POS_Y, 0) = 100, t(COL_ACCEL_X, 0) = t(COL_ACCEL_Y, 0) = 7, AimCharacter(0, a[0], a[1], 512);
        EXPECT_TRUE(t(COL_VELOCITY_X, 0) == a[2] && t(COL_VELOCITY_Y, 0) == a[3] && (t(COL_MOVE_FLAGS, 0) & MOVE_VELOCITY)) << a[0];
        EXPECT_TRUE(t(COL_ACCEL_X, 0) == 0 && t(COL_ACCEL_Y, 0) == 0);
    }
    for (int n = 0; n < 4; ++n) t.Make(n, MOVE_VELOCITY), t(COL_VELOCITY_X, n) = 256, t(COL_POS_X, n) = 0, t(COL_CHIP_NO, n) = n == 1;
    EXPECT_TRUE(MoveCharacters(0, 4, 0, 1) == 0 && MoveCharacters(0, 4, 2, 1) == -75 && t(COL_POS_X, 3) == 1 && t(COL_POS_X, 0) == 0);
    t(COL_CHIP_NO, 1) = 0, t(COL_POS_X, 0) = 100, t(COL_POS_X, 1) = 116, t(COL_POS_X, 2) = 115;
    for (int n = 0; n < 3; ++n) t(COL_POS_Y, n) = 100, t(COL_MOVE_FLAGS, n) = 0;
    int32_t hit = 0;
    for (bool quads : {false, true}) {  // the lowest-numbered hit, the tested character included
        EXPECT_TRUE(FirstHit(0, 1, 1, 3, quads, 0, chips, 1, hit) == 0 && hit == 2 && FirstHit(0, 1, 0, 3, quads, 0, chips, 1, hit) == 0 && hit == 0);
        EXPECT_TRUE((hit = 9, FirstHit(0, 0, 0, 3, quads, 7, chips, 1, hit) == 0 && hit == 9));  // mask 0: no hit
    }
    t(COL_DRAW_FLAGS, 0) = DRAW_SCALE, t(COL_SCALE_X, 0) = t(COL_SCALE_Y, 0) = 512, t(COL_POS_X, 2) = 123, t(COL_POS_Y, 2) = 112;
    for (bool quads : {false, true})  // 84 ... 116 against 115 ... 131 x 104 ... 120: apart by more than the small reach
        EXPECT_TRUE((hit = 9, FirstHit(0, 1, 2, 3, quads, 0, chips, 1, hit) == 0 && hit == 2)) << quads;
    t(COL_CHIP_NO, 1) = 1;  // an invalid ChipNo ends the call unless the mask skips it; the tested one's always does
    EXPECT_TRUE(FirstHit(0, 1, 1, 3, false, 0, chips, 1, hit) == -75 && FirstHit(0, 2, 1, 3, false, 0, chips, 1, hit) == 0);
    EXPECT_TRUE(FirstHit(1, 1, 0, 0, true, 0, chips, 1, hit) == -75);
    t(COL_POS_Y, 4) = 30, t(COL_POS_Y, 5) = 10, t(COL_POS_Y, 6) = 20, PrepareYOrder(4, 3);  // drawn 5, 6, 4
    EXPECT_TRUE(sortOrder[4] == 5 && sortOrder[5] == 6 && sortOrder[6] == 4);
}

int64_t Orient(IntPoint a, IntPoint b, IntPoint c) { return int64_t(b.x - a.x) * (c.y - a.y) - int64_t(b.y - a.y) * (c.x - a.x); }
IntPoint Pt(std::mt19937& r, int m) { return IntPoint{int32_t(r() % (2 * m + 1)) - m, int32_t(r() % (2 * m + 1)) - m}; }
double PointToSegment(IntPoint p, IntPoint a, IntPoint b) {
    const double dx = b.x - a.x, dy = b.y - a.y, l = dx * dx + dy * dy, t = l ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / l, 0.0, 1.0) : 0;
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}
// Widest gap between the two quads' projections on the normals of their edges: below 0 when the
// interiors of two convex quads overlap, otherwise at most their distance.
double Gap(const IntPoint* p, const IntPoint* q) {
    double gap = -1e9;
    for (const IntPoint* e : {p, q})
        for (int i = 0; i < 4; ++i) {
            const double nx = e[i].y - e[(i + 1) % 4].y, ny = e[(i + 1) % 4].x - e[i].x, len = std::hypot(nx, ny);
            double lo[2] = {1e18, 1e18}, hi[2] = {-1e18, -1e18}, v;
            for (int k = 0; k < 8 && len > 0; ++k)
                v = ((k < 4 ? p : q - 4)[k].x * nx + (k < 4 ? p : q - 4)[k].y * ny) / len, lo[k / 4] = std::min(lo[k / 4], v), hi[k / 4] = std::max(hi[k / 4], v);
            if (len > 0) gap = std::max({gap, lo[1] - hi[0], lo[0] - hi[1]});
        }
    return gap;
}

TEST(Character, TriangleAndSegmentsAgainstExactGeometry) {
    std::mt19937 r(5);
    for (int i = 0; i < 100000; ++i) {
        const IntPoint a = Pt(r, 5), b = Pt(r, 5), c = Pt(r, 5), x = Pt(r, 5);
        const int64_t o = Orient(a, b, c), s1 = Orient(a, b, x), s2 = Orient(b, c, x), s3 = Orient(c, a, x);
        // Closed triangle (parts add up to the whole) when positively oriented, open when negatively.
        const bool closed = std::abs(s1) + std::abs(s2) + std::abs(s3) == std::abs(o), open = closed && s1 && s2 && s3;
        ASSERT_TRUE(o == 0 || (o > 0 ? closed : open) == PointInTriangle(x, a, b, c)) << i;
        // Segments a-b, c-x: a proper crossing is found; a reported one is under a pixel from a meeting.
        const bool proper = s1 * s3 < 0 && Orient(c, x, a) * Orient(c, x, b) < 0 && Orient(a, b, c) * Orient(a, b, x) < 0;
        const double apart = std::min({PointToSegment(a, c, x), PointToSegment(b, c, x), PointToSegment(c, a, b), PointToSegment(x, a, b)});
        ASSERT_TRUE(proper ? SegmentsCross(a, b, c, x) : !SegmentsCross(a, b, c, x) || apart < 1.0) << i;
    }
}

TEST(Character, HitAreas) {
    ChipRecord chip{8, 8, 24, 24, 16, 16, nullptr, 0, 0, 32, 32, 32, 32, 0};
    const HitExtents e = HitExtentsOf(chip, 0, 512, 512), big = HitExtentsOf(chip, DRAW_SCALE, 512, 512);
    EXPECT_TRUE(RectsHit(e, {100, 100}, e, {115, 100}) && !RectsHit(e, {100, 100}, e, {116, 100}) && !RectsHit(e, {100, 100}, e, {100, 84}));
    EXPECT_TRUE(big.left == -16 && big.top == -16 && big.right == 16 && big.bottom == 16);
    chip.hitLeft = 3, chip.offsetX = 1;  // each term shifted on its own: 1 - 0, not (2 x 100) >> 8 = 0
    EXPECT_EQ(1, HitExtentsOf(chip, DRAW_SCALE, 100, 256).left);
    const HitExtents sq{-8, -8, 8, 8};
    const HitQuad turned = HitQuadOf(sq, {0, 0}, DRAW_ROTATE, 256), diamond = HitQuadOf(sq, {0, 0}, DRAW_ROTATE, 128);
    const int32_t want[] = {-8, 8, -8, -7, 7, -7, 7, 8}, got[] = {turned.corner[0].x, turned.corner[0].y, turned.corner[1].x, turned.corner[1].y,
                                                                turned.corner[2].x, turned.corner[2].y, turned.corner[3].x, turned.corner[3].y};
    EXPECT_TRUE(std::equal(want, want + 8, got) && turned.reach == 32 && turned.core == 8);
    for (int mode = 0; mode < 8; ++mode)
        EXPECT_TRUE(QuadsHit(turned, HitQuadOf(sq, {7, 0}, 0, 0), mode) && !QuadsHit(turned, HitQuadOf(sq, {20, 13}, 0, 0), mode));
    EXPECT_TRUE(QuadsHit(turned, HitQuadOf(sq, {14, 0}, 0, 0), 0) && !QuadsHit(turned, HitQuadOf(sq, {15, 0}, 0, 0), 0) && !QuadsHit(turned, HitQuadOf(sq, {-16, 0}, 0, 0), 0));
    const HitQuad wide = HitQuadOf({-8, -4, 8, 4}, {0, 0}, 0, 0), away = HitQuadOf({20, 20, 24, 24}, {4, 0}, 0, 0);  // core 4; reach 8, hit area far off
    EXPECT_TRUE(!QuadsHit(wide, away, 0) && QuadsHit(wide, HitQuadOf({20, 20, 24, 24}, {3, 0}, 0, 0), 0) && !QuadsHit(wide, HitQuadOf({20, 20, 24, 24}, {6, 0}, 0, 0), 0));
    EXPECT_TRUE(!QuadsHit(diamond, HitQuadOf(sq, {12, 0}, DRAW_ROTATE, 128), 0) && QuadsHit(diamond, HitQuadOf(sq, {12, 0}, DRAW_ROTATE, 128), 7));
    std::mt19937 r(9);
    for (int i = 0; i < 20000; ++i) {  // turned areas around their anchors, beyond the quick tests
        HitQuad q[2];
        for (HitQuad& h : q) {
            const int32_t l = -3 - int32_t(r() % 8), t = -3 - int32_t(r() % 8);
            h = HitQuadOf({l, t, 3 + int32_t(r() % 8), 3 + int32_t(r() % 8)}, Pt(r, 15), DRAW_ROTATE * (r() % 2), r() % 1024);
        }
        const int32_t d = std::abs(q[0].centre.x - q[1].centre.x) + std::abs(q[0].centre.y - q[1].centre.y), mode = r() % 8;
        const bool hit = QuadsHit(q[0], q[1], mode | 7 * (i % 2)), far = d > std::max(q[0].reach, q[1].reach);
        const double gap = Gap(q[0].corner, q[1].corner);
        if (far || d < std::min(q[0].core, q[1].reach)) {
            ASSERT_EQ(!far, hit) << i;
        } else {
            ASSERT_TRUE(hit ? gap < 1 : i % 2 == 0 || gap >= 0) << i << " " << gap;  // all modes: overlap found
            bool edgesCross = false, cornerIn[2] = {false, false};  // by exact orientations; each mode bit must see its case
            for (int a = 0; a < 16; ++a) {
                const IntPoint p0 = q[0].corner[a / 4], p1 = q[0].corner[(a / 4 + 1) % 4], q0 = q[1].corner[a % 4], q1 = q[1].corner[(a % 4 + 1) % 4];
                edgesCross = edgesCross || (Orient(p0, p1, q0) * Orient(p0, p1, q1) < 0 && Orient(q0, q1, p0) * Orient(q0, q1, p1) < 0);
                const IntPoint x = q[a / 8].corner[a % 4], *o = q[1 - a / 8].corner;  // strictly inside, off the diagonal 0-2
                cornerIn[a / 8] = cornerIn[a / 8] || (Orient(o[0], o[1], x) * Orient(o[1], o[2], x) > 0 && Orient(o[1], o[2], x) * Orient(o[2], o[3], x) > 0 &&
                                                      Orient(o[2], o[3], x) * Orient(o[3], o[0], x) > 0 && Orient(o[0], o[2], x) != 0);
            }
            ASSERT_TRUE(hit || !(((mode & HIT_EDGES) && edgesCross) || ((mode & 1) && cornerIn[0]) || ((mode & 2) && cornerIn[1]))) << i;
        }
    }
}

}  // namespace
}  // namespace zorv
