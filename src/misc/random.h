// The plugin's linear congruential random generator. Pure code.
#pragma once

#include <cstdint>

namespace zorv {

// Seeded from the millisecond timer when the library loads; only NextRandom advances it.
extern uint32_t RandomState;

// Advances the state and returns bits 15 ... 30 of the new state (0 ... 65535).
inline uint32_t NextRandom(uint32_t& state) {
    state = state * 1103515245u + 4649u;
    return (state >> 15) & 0xFFFFu;
}
inline uint32_t NextRandom() { return NextRandom(RandomState); }

// base + (r mod range) with a truncating remainder; r is never negative, so the remainder
// lies in 0 ... |range| - 1 for either sign of range. A range of 0 gives base.
inline int32_t RandomInRange(uint32_t r, int32_t base, int32_t range) {
    int32_t offset = range == 0 ? 0 : static_cast<int32_t>(r) % range;
    return static_cast<int32_t>(static_cast<uint32_t>(base) + static_cast<uint32_t>(offset));
}

}  // namespace zorv
