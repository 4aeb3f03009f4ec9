// Arithmetic of the processor-clock exports, kept apart from RDTSC and the system timer
// so that it can be tested natively. Pure code.
#pragma once

#include <cmath>
#include <cstdint>

namespace zorv {

// Cycles counted over 100 ms scaled to cycles per second. The factor is slightly above 10
// (0x402400D82E259D8F); the low 32 bits of the truncated product are the clock in Hz.
inline uint32_t ClockHzFromCycles(uint64_t cycles) {
    constexpr double CLOCK_FACTOR = 0x1.400d82e259d8fp+3;  // 10.001649324504596
    double hz = static_cast<double>(cycles) * CLOCK_FACTOR;
    return static_cast<uint32_t>(static_cast<uint64_t>(std::fmod(std::trunc(hz), 18446744073709551616.0)));
}

// Time-stamp counter in microseconds, modulo 2^32. Without a measured clock (0 Hz) the
// division would be by zero: it writes 0 instead.
inline uint32_t MicrosFromTicks(uint64_t ticks, uint32_t clockHz) {
    if (clockHz == 0) return 0;
    double micros = static_cast<double>(ticks) * 1000000.0 / static_cast<double>(clockHz);
    return static_cast<uint32_t>(static_cast<uint64_t>(std::fmod(std::trunc(micros), 4294967296.0)));
}

}  // namespace zorv
