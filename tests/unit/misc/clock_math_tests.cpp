#include "misc/clock_math.h"

#include <gtest/gtest.h>

namespace zorv {
namespace {

TEST(ClockMath, CyclesOverAHundredMillisecondsToHz) {
    EXPECT_EQ(0u, ClockHzFromCycles(0));
    EXPECT_EQ(10u, ClockHzFromCycles(1));            // 10.0016... truncated
    EXPECT_EQ(1000164932u, ClockHzFromCycles(100000000));
    // Above 4.29 GHz only the low 32 bits remain.
    uint64_t cycles = 500000000;  // 5.0008 GHz
    uint64_t full = static_cast<uint64_t>(static_cast<double>(cycles) * 10.001649324504596);
    EXPECT_EQ(static_cast<uint32_t>(full), ClockHzFromCycles(cycles));
}

TEST(ClockMath, TicksToMicroseconds) {
    EXPECT_EQ(0u, MicrosFromTicks(123456789, 0));
    EXPECT_EQ(1000000u, MicrosFromTicks(2000000000ull, 2000000000u));
    EXPECT_EQ(1u, MicrosFromTicks(3999, 2000000000u));  // 1.9995 us truncated
    // Wraps modulo 2^32: 2^32 + 5 microseconds at 1 MHz.
    EXPECT_EQ(5u, MicrosFromTicks((1ull << 32) + 5, 1000000u));
    // Counters near the top of 64 bits at 1 Hz: still defined, low 32 bits.
    EXPECT_EQ(0u, MicrosFromTicks(1ull << 63, 1));
}

}  // namespace
}  // namespace zorv
