// The fixed-point helpers, the random generator, the clock, frame pacing and the chip quad
// maths: seeded loops against plain reference formulas (64-bit or floating point, no shortcuts),
// with known values only where no loop pins a formula.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "chip/quad_math.h"
#include "display/pacing.h"
#include "misc/clock_math.h"
#include "misc/random.h"
#include "misc/trig.h"

namespace zorv {
namespace {

constexpr int LOOPS = 20000;

// Any 32-bit value, often a small one.
int32_t AnyInt(std::mt19937& r) { const uint32_t v = r(); return r() % 2 ? int32_t(v) : int32_t(v % 2001) - 1000; }
// The low 32 bits of v as a signed value.
int32_t Low32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v))); }
int64_t FloorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

const bool TABLES_BUILT = (BuildTrigTables(), true);

TEST(Maths, Trigonometry) {
    // Known rows: pi is taken as 3.141596, so the quarter turns fall one short of 65535.
    const int32_t sines[][2] = {{0, 0}, {1, 402}, {128, 46340}, {256, 65534}, {511, 401}, {768, -65534}, {1023, -401}};
    for (const auto& s : sines) EXPECT_EQ(s[1], SinTable[s[0]]) << s[0];
    EXPECT_TRUE(CosTable[0] == 65535 && CosTable[512] == -65534 && AtanTable[6] == 0 && AtanTable[7] == 1 &&
                AtanTable[256] == 39 && AtanTable[512] == 75 && AtanTable[1023] == 127);
    for (int i = 0; i < ANGLE_STEPS; ++i) {  // truncated toward zero from the true curves
        const double t = i * 2 * M_PI / ANGLE_STEPS;
        ASSERT_LE(std::abs(SinTable[i] - std::sin(t) * 65535), 1.5) << i;
        ASSERT_LE(std::abs(CosTable[i] - std::cos(t) * 65535), 1.5) << i;
        ASSERT_LE(std::abs(AtanTable[i] - std::atan(i / 1024.0) * 512 / M_PI), 1.01) << i;
    }
    std::mt19937 r(1);
    for (int n = 0; n < LOOPS; ++n) {
        const int32_t a = AnyInt(r), v = AnyInt(r);
        const int32_t i = static_cast<int32_t>(((int64_t{a} % 1024) + 1024) % 1024);
        ASSERT_EQ(i, NormalizeAngle(a)) << a;
        // The product's low 32 bits, floored by 65536.
        ASSERT_EQ(FloorDiv(Low32(int64_t{SinTable[i]} * v), 65536), ScaledSin(a, v)) << a << " " << v;
        ASSERT_EQ(FloorDiv(Low32(int64_t{CosTable[i]} * v), 65536), ScaledCos(a, v)) << a << " " << v;
    }
}

// The angle from the table's first octant, read at the ratio truncated to 1/1024, and reflected
// into the right octant: over y = x, over the y axis, then over the x axis; 1023 rather than
// 1024 just below +x, so that the result stays below a full turn.
TEST(Maths, AngleOfVector) {
    std::mt19937 r(2);
    for (int n = 0; n < LOOPS; ++n) {
        const int32_t x = n % 5 ? AnyInt(r) : int32_t(r() % 7) - 3, y = n % 7 ? AnyInt(r) : int32_t(r() % 7) - 3;
        const int64_t a = std::abs(int64_t{x}), b = std::abs(int64_t{y});
        int32_t want = a == b ? 128 : AtanTable[std::min(a, b) * 1024 / std::max(a, b)];
        if (b > a) want = 256 - want;
        if (x < 0) want = 512 - want;
        if (y < 0) want = 1024 - want - (x > 0 && a > b);
        if (x == 0 && y == 0) want = 768;
        ASSERT_EQ(want, AngleOfVector(x, y)) << x << ", " << y;
        const double off = std::remainder(want - std::atan2(y, x) * 512 / M_PI, 1024);  // the model against the curve
        ASSERT_TRUE(std::hypot(x, y) < 64 || (off > -2.05 && off < 2.05)) << x << ", " << y;
    }
}

TEST(Maths, RandomAndClock) {
    RandomState = 1;  // the shared state advances like any other
    EXPECT_TRUE(NextRandom() == 33676u && RandomState == 1103519894u);
    std::mt19937 r(3);
    for (int n = 0; n < LOOPS; ++n) {
        uint32_t state = r();
        const uint64_t next = (uint64_t{state} * 1103515245u + 4649u) % 4294967296u;
        ASSERT_EQ((next >> 15) % 65536, NextRandom(state));
        ASSERT_EQ(next, state);
        const uint32_t v = r() % 65536;
        const int32_t base = AnyInt(r), range = n % 50 == 0 ? INT32_MIN : n % 50 == 1 ? 0 : AnyInt(r);
        ASSERT_EQ(Low32(int64_t{base} + (range == 0 ? 0 : int64_t{v} % range)), RandomInRange(v, base, range));
    }
    EXPECT_EQ(10u, ClockHzFromCycles(1));  // cycles over 100 ms times 10.0016..., truncated
    EXPECT_EQ(1000164932u, ClockHzFromCycles(100000000));
    EXPECT_EQ(static_cast<uint32_t>(5000824662ull), ClockHzFromCycles(500000000));  // low 32 bits above 4.29 GHz
    EXPECT_TRUE(MicrosFromTicks(123456789, 0) == 0 && MicrosFromTicks(3999, 2000000000u) == 1 &&
                MicrosFromTicks((1ull << 32) + 5, 1000000u) == 5 && MicrosFromTicks(1ull << 63, 1) == 0);  // modulo 2^32
    for (int n = 0; n < LOOPS; ++n) {  // exact where the quotient is small enough for a double to hold it
        const uint32_t hz = 1000000u + r() % 4000000000u;
        const uint64_t ticks = uint64_t{r()} % hz;
        ASSERT_EQ(ticks * 1000000 / hz, MicrosFromTicks(ticks, hz)) << ticks << " at " << hz;
    }
}

TEST(Maths, Pacing) {
    std::mt19937 r(4);
    for (int n = 0; n < LOOPS; ++n) {
        const uint32_t now = r(), frameClock = r() % 2 ? r() : now - r() % 40, carried = r(), interval = r() % 3000000;
        const PacingStep s = ComputePacing(now, frameClock, carried, interval);
        const uint64_t sum = carried % 65536 + uint64_t{interval}, slot = sum / 65536;
        const uint64_t since = (uint64_t{now} + 4294967296u - frameClock) % 4294967296u;
        const uint64_t wait = since >= slot ? 0 : slot - since, next = since >= slot ? now : (frameClock + slot) % 4294967296u;
        ASSERT_TRUE(s.remainder == sum && s.slotLength == slot && s.since == since && s.late == (since >= slot) &&
                    s.wait == wait && s.sleepMs == (wait >= 4 ? wait - 3 : 0) && s.frameClock == next)
            << now << " " << frameClock << " " << carried << " " << interval;
        const uint32_t target = r();
        ASSERT_EQ(((uint64_t{now} - target) & 0x80000000u) == 0, ClockReached(now, target));
        ASSERT_EQ(target <= now, RateUpdateDue(now, target));
        ASSERT_EQ((uint64_t{now} + 4294967296u - target + 1000) % 4294967296u, RateElapsed(now, target));
        const uint32_t count = r() % 8 ? r() % 100000 : r(), elapsed = r() % 8 ? r() % 5000 : 0;
        ASSERT_EQ(elapsed ? uint32_t(uint64_t{count} * 256000 % 4294967296u / elapsed) : ~0u, FrameRateFrom(count, elapsed));
        ASSERT_EQ(elapsed ? uint32_t(uint64_t{count} * 1000 % 4294967296u / elapsed) : ~0u, PolygonRateFrom(count, elapsed));
    }
}

// Scripts may pass any sizes, offsets, scales and positions: the arithmetic wraps in 32 bits.
TEST(Maths, ChipQuads) {
    std::mt19937 r(5);
    for (int n = 0; n < LOOPS; ++n) {
        // A chip's defaults, and its extents about the anchor (floored, negated after the shift).
        ChipRecord chip{};
        const bool small = n % 2;
        const int32_t w = 1 + r() % (small ? 512 : INT32_MAX), h = 1 + r() % (small ? 512 : INT32_MAX);
        const int32_t x0 = AnyInt(r), index = AnyInt(r);
        FillChip(&chip, &chip, index, x0, 40, w, h);
        ASSERT_TRUE(chip.offsetX == w / 2 && chip.offsetY == h / 2 && chip.hitLeft == w / 4 && chip.hitTop == h / 4 &&
                    chip.hitRight == FloorDiv(Low32(3 * int64_t{w}), 4) && chip.hitBottom == FloorDiv(Low32(3 * int64_t{h}), 4) &&
                    chip.srcLeft == x0 && chip.srcRight == Low32(int64_t{x0} + w) && chip.srcBottom == Low32(int64_t{h} + 40) &&
                    chip.surfaceIndex == (index & 0xFFFF) && chip.width == w && chip.height == h);
        if (!small) chip.offsetX = AnyInt(r), chip.offsetY = AnyInt(r);
        const int32_t sx = small ? r() % 1024 : AnyInt(r), sy = small ? r() % 1024 : AnyInt(r);
        const ChipExtents e = ExtentsOf(chip, sx, sy);
        auto scaled = [](int64_t a, int64_t b) { return FloorDiv(Low32(int64_t{Low32(a)} * b), 256); };
        ASSERT_TRUE(e.left == -scaled(chip.offsetX, sx) && e.top == -scaled(chip.offsetY, sy) &&
                    e.right == scaled(int64_t{w} - chip.offsetX, sx) && e.bottom == scaled(int64_t{h} - chip.offsetY, sy));
        // Corners about (0, 0) against a true rotation: each scaled term is floored, so x (two
        // terms added) lies up to 2 below it and y (one subtracted) within 1 of it. Anywhere
        // else they are the same corners moved, modulo 2^32.
        const int32_t angle = AnyInt(r), x = AnyInt(r), y = AnyInt(r);
        IntPoint c[4], at0[4];
        ChipCorners(0, 0, e, angle, at0);
        ChipCorners(x, y, e, angle, c);
        const int32_t u[4] = {e.left, e.right, e.right, e.left}, v[4] = {e.top, e.top, e.bottom, e.bottom};
        const double t = NormalizeAngle(angle) * 2 * M_PI / 1024, cs = angle ? std::cos(t) : 1, sn = angle ? std::sin(t) : 0;
        for (int k = 0; k < 4; ++k) {
            ASSERT_TRUE(c[k].x == Low32(int64_t{at0[k].x} + x) && c[k].y == Low32(int64_t{at0[k].y} + y)) << k;
            if (!small) continue;
            const double dx = at0[k].x - (u[k] * cs + v[k] * sn), dy = at0[k].y - (v[k] * cs - u[k] * sn);
            ASSERT_TRUE(dx > -2.1 && dx < 0.1 && std::abs(dy) < 1.1) << "corner " << k << " at angle " << angle;
        }
        // Vertex colours: alpha 255 - transparency, colour factors times alpha / 256.
        const int32_t transparency = AnyInt(r);
        const uint32_t red = r() % 257, green = r() % 257, blue = r() % 257, a = 255 - (transparency & 255);
        ASSERT_EQ(a << 24 | 0xFFFFFF, ChipVertexColour(transparency, false, red, green, blue));
        ASSERT_EQ(a << 24 | red * a / 256 << 16 | green * a / 256 << 8 | blue * a / 256,
                  ChipVertexColour(transparency, true, red, green, blue));
    }
}

// Where the diagonals P0-P2 and P1-P3 cross, with small corners (no wrap), from the exact line
// intersection: x truncated toward zero, then y read off P0-P2 at that x. A diagonal along an
// axis fixes its coordinate and the other one is read off the other diagonal.
TEST(Maths, DiagonalCrossing) {
    std::mt19937 r(6);
    for (int n = 0; n < LOOPS; ++n) {
        int32_t p[8];
        for (int32_t& v : p) v = static_cast<int32_t>(r() % (n % 4 ? 600 : 6)) - (n % 4 ? 300 : 3);
        const int64_t x0 = p[0], y0 = p[1], x1 = p[2], y1 = p[3], x2 = p[4], y2 = p[5], x3 = p[6], y3 = p[7];
        auto onLine = [](int64_t t, int64_t ta, int64_t tb, int64_t a, int64_t b) { return (t - tb) * (a - b) / (ta - tb) + b; };
        bool drawn = true;
        int64_t cx = 0, cy = 0;
        if (x0 == x2 && x1 == x3) drawn = false;
        else if (x0 == x2) cx = x0, cy = onLine(x0, x1, x3, y1, y3);
        else if (x1 == x3) cx = x1, cy = onLine(x1, x0, x2, y0, y2);
        else if (y0 == y2 && y1 == y3) drawn = false;
        else if (y0 == y2) cy = y0, cx = onLine(y0, y1, y3, x1, x3);
        else if (y1 == y3) cy = y1, cx = onLine(y1, y0, y2, x0, x2);
        else if (const int64_t d = (x2 - x0) * (y3 - y1) - (y2 - y0) * (x3 - x1); d == 0)  // diagonals' cross product
            cx = (x0 + x1 + x2 + x3) >> 2, cy = (y0 + y1 + y2 + y3) >> 2;  // parallel: the corners' average, floored
        else cx = (x0 * d + (x2 - x0) * ((x1 - x0) * (y3 - y1) - (y1 - y0) * (x3 - x1))) / d, cy = onLine(cx, x0, x2, y0, y2);
        const QuadCentre c = DiagonalCrossing(p);
        ASSERT_TRUE(c.drawn == drawn && (!drawn || (c.x == cx && c.y == cy)))
            << n << ": " << c.x << ", " << c.y << " for " << cx << ", " << cy;
        for (int32_t& v : p) v = AnyInt(r);  // any corners: defined wrap-around, nothing to trap
        DiagonalCrossing(p);
    }
}

}  // namespace
}  // namespace zorv
