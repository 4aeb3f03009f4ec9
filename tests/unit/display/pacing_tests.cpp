#include "display/pacing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace zorv {
namespace {

constexpr uint32_t SIXTY_FPS = 1092267;  // 1000/60 ms in 16.16 fixed point

// Runs the pacing like the update does, with a frame that takes workMs of the slot each
// time and a clock that the polling brings exactly to the slot's end. Returns each slot.
std::vector<uint32_t> RunFrames(uint32_t interval, int frames, uint32_t startClock, uint32_t workMs) {
    std::vector<uint32_t> slots;
    uint32_t clock = startClock;
    uint32_t frameClock = startClock;
    uint32_t remainder = 0;
    for (int i = 0; i < frames; ++i) {
        clock += workMs;
        PacingStep step = ComputePacing(clock, frameClock, remainder, interval);
        remainder = step.remainder;
        frameClock = step.frameClock;
        slots.push_back(step.slotLength);
        clock += step.sleepMs;
        if (!step.late) {
            while (!ClockReached(clock, frameClock)) ++clock;
        }
    }
    return slots;
}

// ---- Frame pacing -----------------------------------------------------------------------

TEST(Pacing, SixtyFramesASecondRunsSlotsOf16_17_17) {
    std::vector<uint32_t> slots = RunFrames(SIXTY_FPS, 12, 5000, 2);
    std::vector<uint32_t> expected = {16, 17, 17, 16, 17, 17, 16, 17, 17, 16, 17, 17};
    EXPECT_EQ(expected, slots);
}

TEST(Pacing, SixtyFramesASecondHasNoDrift) {
    std::vector<uint32_t> slots = RunFrames(SIXTY_FPS, 3000, 100000, 5);
    uint64_t total = 0;
    for (uint32_t slot : slots) total += slot;
    EXPECT_GE(total, 49999u);
    EXPECT_LE(total, 50001u);

    // Carried by hand: the clock after 3000 on-time frames is 50 s after the start.
    uint32_t frameClock = 100000;
    uint32_t remainder = 0;
    for (int i = 0; i < 3000; ++i) {
        PacingStep step = ComputePacing(frameClock + 1, frameClock, remainder, SIXTY_FPS);
        ASSERT_FALSE(step.late) << "frame " << i;
        remainder = step.remainder;
        frameClock = step.frameClock;
    }
    EXPECT_EQ(150000u, frameClock);
}

TEST(Pacing, OnlyTheFractionIsCarried) {
    // Whole milliseconds left in the remainder from the last frame do not count again.
    PacingStep step = ComputePacing(1000, 1000, 0x00050000u | 43691u, SIXTY_FPS);
    EXPECT_EQ(43691u + SIXTY_FPS, step.remainder);
    EXPECT_EQ(17u, step.slotLength);
}

TEST(Pacing, IntervalZeroNeverWaits) {
    for (uint32_t now : {0u, 1u, 777u, 0xFFFFFFFFu}) {
        PacingStep step = ComputePacing(now, now, 0xABCD1234u, 0);
        EXPECT_EQ(0u, step.slotLength);
        EXPECT_TRUE(step.late);
        EXPECT_EQ(0u, step.sleepMs);
        EXPECT_EQ(0u, step.wait);
        EXPECT_EQ(now, step.frameClock);  // the clock follows the timer exactly
    }
}

TEST(Pacing, FirstFrameFromClockZeroRestartsFromNow) {
    PacingStep step = ComputePacing(123456789u, 0, 0, SIXTY_FPS);
    EXPECT_TRUE(step.late);
    EXPECT_EQ(0u, step.sleepMs);
    EXPECT_EQ(123456789u, step.frameClock);
}

TEST(Pacing, LateFrameRestartsTheScheduleFromNow) {
    // The frame took 40 ms of a 16 ms slot: no catching up, the next slot starts now.
    PacingStep late = ComputePacing(2040, 2000, 0, SIXTY_FPS);
    EXPECT_TRUE(late.late);
    EXPECT_EQ(40u, late.since);
    EXPECT_EQ(0u, late.sleepMs);
    EXPECT_EQ(2040u, late.frameClock);

    // Exactly on time counts as late: no wait.
    PacingStep onTime = ComputePacing(2016, 2000, 0, SIXTY_FPS);
    EXPECT_TRUE(onTime.late);
    EXPECT_EQ(2016u, onTime.frameClock);

    // The following frame is paced from the restart.
    PacingStep next = ComputePacing(2045, late.frameClock, late.remainder, SIXTY_FPS);
    EXPECT_FALSE(next.late);
    EXPECT_EQ(17u, next.slotLength);
    EXPECT_EQ(2057u, next.frameClock);
}

TEST(Pacing, LongWaitsSleepAllButThreeMilliseconds) {
    PacingStep step = ComputePacing(2001, 2000, 0, SIXTY_FPS);
    EXPECT_FALSE(step.late);
    EXPECT_EQ(16u, step.slotLength);
    EXPECT_EQ(15u, step.wait);
    EXPECT_EQ(12u, step.sleepMs);
    EXPECT_EQ(2016u, step.frameClock);

    // A wait of exactly 4 sleeps 1 ms.
    step = ComputePacing(2012, 2000, 0, SIXTY_FPS);
    EXPECT_EQ(4u, step.wait);
    EXPECT_EQ(1u, step.sleepMs);
}

TEST(Pacing, ShortWaitsOnlyPoll) {
    for (uint32_t since : {13u, 14u, 15u}) {
        PacingStep step = ComputePacing(2000 + since, 2000, 0, SIXTY_FPS);
        EXPECT_FALSE(step.late);
        EXPECT_EQ(16u - since, step.wait);
        EXPECT_EQ(0u, step.sleepMs) << "wait " << step.wait;
        EXPECT_EQ(2016u, step.frameClock);
    }
}

TEST(Pacing, ClockWrapsWithoutStalling) {
    // The slot runs across 0xFFFFFFFF: since and the new frame clock wrap with it.
    PacingStep step = ComputePacing(0xFFFFFFF5u, 0xFFFFFFF0u, 0, SIXTY_FPS);
    EXPECT_FALSE(step.late);
    EXPECT_EQ(5u, step.since);
    EXPECT_EQ(0xFFFFFFF0u + 16u, step.frameClock);
    step = ComputePacing(0xFFFFFFFCu, 0xFFFFFFF8u, 0, SIXTY_FPS);
    EXPECT_EQ(8u, step.frameClock);  // wrapped target
    EXPECT_FALSE(ClockReached(0xFFFFFFFCu, step.frameClock));
    EXPECT_FALSE(ClockReached(7u, step.frameClock));
    EXPECT_TRUE(ClockReached(8u, step.frameClock));
    EXPECT_TRUE(ClockReached(30u, step.frameClock));  // a coarse timer that jumps past
    // A late frame across the wrap.
    step = ComputePacing(20u, 0xFFFFFFF0u, 0, SIXTY_FPS);
    EXPECT_TRUE(step.late);
    EXPECT_EQ(36u, step.since);
    EXPECT_EQ(20u, step.frameClock);
}

// ---- Rates ------------------------------------------------------------------------------

TEST(Rates, FrameRateIsFramesPerSecondTimes256) {
    EXPECT_EQ(15360u, FrameRateFrom(60, 1000));
    EXPECT_EQ(15344u, FrameRateFrom(60, 1001));  // 15360000 / 1001 = 15344.6, truncated
    EXPECT_EQ(0u, FrameRateFrom(0, 1000));
    EXPECT_EQ(256000u, FrameRateFrom(1, 1));
    // The product wraps in 32 bits: 65535 * 256000 mod 2^32.
    uint32_t wrapped = static_cast<uint32_t>(65535ull * 256000ull % 4294967296ull);
    EXPECT_EQ(wrapped / 1000u, FrameRateFrom(65535, 1000));
}

TEST(Rates, ElapsedZeroGivesTheLargestFrameRate) {
    EXPECT_EQ(0xFFFFFFFFu, FrameRateFrom(60, 0));
    EXPECT_EQ(0xFFFFFFFFu, FrameRateFrom(0, 0));
    EXPECT_EQ(0xFFFFFFFFu, PolygonRateFrom(5, 0));
}

TEST(Rates, PolygonRateIsPolygonsPerSecond) {
    EXPECT_EQ(120000u, PolygonRateFrom(120000, 1000));
    EXPECT_EQ(60000u, PolygonRateFrom(120000, 2000));
    EXPECT_EQ(99900u, PolygonRateFrom(100000, 1001));
    // Counts above 4294967 wrap in the product.
    uint32_t wrapped = static_cast<uint32_t>(5000000ull * 1000ull % 4294967296ull);
    EXPECT_EQ(wrapped / 1000u, PolygonRateFrom(5000000, 1000));
}

TEST(Rates, DueAndElapsed) {
    // First measurement: scheduled at 0 + 1000, measured on a later clock of 123456.
    EXPECT_FALSE(RateUpdateDue(0, 1000));
    EXPECT_TRUE(RateUpdateDue(123456, 1000));
    EXPECT_EQ(123456u, RateElapsed(123456, 1000));
    // Steady state: due 4 ms late covers 1004 ms.
    EXPECT_TRUE(RateUpdateDue(51004, 51000));
    EXPECT_EQ(1004u, RateElapsed(51004, 51000));
    EXPECT_TRUE(RateUpdateDue(51000, 51000));
    EXPECT_EQ(1000u, RateElapsed(51000, 51000));
    EXPECT_FALSE(RateUpdateDue(50999, 51000));
}

// ---- Rate texts -------------------------------------------------------------------------

// A text buffer between two guard areas, to see that nothing is written outside it.
struct GuardedText {
    char before[16];
    char text[RATE_TEXT_SIZE];
    char after[16];
};
static_assert(sizeof(GuardedText) == 16 + RATE_TEXT_SIZE + 16, "no padding around the text");

constexpr char GUARD = '\x5A';

GuardedText MakeGuarded() {
    GuardedText g;
    std::memset(&g, GUARD, sizeof g);
    return g;
}

void ExpectGuardsIntact(const GuardedText& g) {
    for (char c : g.before) EXPECT_EQ(GUARD, c);
    for (char c : g.after) EXPECT_EQ(GUARD, c);
}

// The stored length matches the text, which is terminated inside the buffer.
void ExpectWellFormed(const GuardedText& g, int32_t length) {
    ASSERT_GE(length, 0);
    ASSERT_LE(length, static_cast<int32_t>(RATE_TEXT_MAX_LENGTH));
    EXPECT_EQ('\0', g.text[length]);
    EXPECT_EQ(static_cast<size_t>(length), std::strlen(g.text));
}

std::string FrameText(uint32_t frameRate) {
    GuardedText g = MakeGuarded();
    int32_t length = FormatFrameRate(frameRate, g.text);
    ExpectGuardsIntact(g);
    ExpectWellFormed(g, length);
    return std::string(g.text);
}

std::string PolygonText(int32_t polygonRate) {
    GuardedText g = MakeGuarded();
    int32_t length = FormatPolygonRate(polygonRate, g.text);
    ExpectGuardsIntact(g);
    ExpectWellFormed(g, length);
    return std::string(g.text);
}

TEST(RateTexts, FrameRateRightAlignedInSix) {
    EXPECT_EQ(" 60.00 FPS", FrameText(15360));
    EXPECT_EQ("  0.00 FPS", FrameText(0));
    EXPECT_EQ(" 59.94 FPS", FrameText(15345));  // 59.9414...
    EXPECT_EQ("  0.50 FPS", FrameText(128));
    EXPECT_EQ("120.00 FPS", FrameText(120 * 256));
    EXPECT_EQ("9999.99 FPS", FrameText(9999 * 256 + 253));  // 9999.988...: still fits
}

TEST(RateTexts, PolygonRateRightAlignedInSix) {
    EXPECT_EQ("     0 TPS", PolygonText(0));
    EXPECT_EQ(" 12345 TPS", PolygonText(12345));
    EXPECT_EQ("1234567 TPS", PolygonText(1234567));
    EXPECT_EQ("9999999 TPS", PolygonText(9999999));
    EXPECT_EQ("    -1 TPS", PolygonText(-1));
    EXPECT_EQ("-999999 TPS", PolygonText(-999999));
}

TEST(RateTexts, StartAndNoTimeTexts) {
    GuardedText g = MakeGuarded();
    EXPECT_EQ(5, SetRateText(FPS_TEXT_START, g.text));
    EXPECT_STREQ("0 FPS", g.text);
    EXPECT_EQ(5, SetRateText(TPS_TEXT_START, g.text));
    EXPECT_STREQ("0 TPS", g.text);
    EXPECT_EQ(11, SetRateText(TPS_TEXT_NO_TIME, g.text));
    EXPECT_STREQ("9999999 TPS", g.text);
    ExpectGuardsIntact(g);
    // A longer source is cut at 11 characters.
    EXPECT_EQ(11, SetRateText("0123456789ABCDEF", g.text));
    EXPECT_STREQ("0123456789A", g.text);
    ExpectGuardsIntact(g);
}

TEST(RateTexts, ElapsedZeroFrameRateFitsTheBuffer) {
    // 0xFFFFFFFF / 256 = 16777216.00 would be 15 characters.
    EXPECT_EQ("9999999 FPS", FrameText(FrameRateFrom(60, 0)));
}

TEST(RateTexts, HighFrameRatesDropDecimalsThenSaturate) {
    EXPECT_EQ("10000.0 FPS", FrameText(10000 * 256));
    EXPECT_EQ("10000.0 FPS", FrameText(9999 * 256 + 255));  // 9999.996 rounds up to 5 digits
    EXPECT_EQ("12345.5 FPS", FrameText(12345 * 256 + 128));
    EXPECT_EQ("99999.0 FPS", FrameText(99999 * 256));
    EXPECT_EQ("100000 FPS", FrameText(100000 * 256));
    EXPECT_EQ("1234567 FPS", FrameText(1234567 * 256));
    EXPECT_EQ("9999999 FPS", FrameText(9999999u * 256u));
    EXPECT_EQ("9999999 FPS", FrameText(10000000u * 256u));
    EXPECT_EQ("9999999 FPS", FrameText(0xFFFFFFFFu));
}

TEST(RateTexts, HighPolygonRatesSaturate) {
    EXPECT_EQ("9999999 TPS", PolygonText(10000000));
    EXPECT_EQ("9999999 TPS", PolygonText(100000000));
    EXPECT_EQ("9999999 TPS", PolygonText(2147483647));
    EXPECT_EQ("-999999 TPS", PolygonText(-1000000));
    EXPECT_EQ("-999999 TPS", PolygonText(-2147483647 - 1));
}

TEST(RateTexts, NoRateEverWritesPastTheBuffer) {
    // A sweep over the whole 32-bit range, with the edges where the texts change length.
    std::vector<uint32_t> values = {0u, 1u, 255u, 256u, 2559999u, 2560000u, 25599999u, 25600000u,
                                    255999999u, 256000000u, 2559999999u, 2560000000u,
                                    0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu};
    for (uint32_t v = 1; v != 0 && v < 0xF0000000u; v = v * 3 + 7) values.push_back(v);
    for (uint32_t v : values) {
        FrameText(v);
        PolygonText(static_cast<int32_t>(v));
    }
}

}  // namespace
}  // namespace zorv
