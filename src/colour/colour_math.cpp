// Colour-code arithmetic (see colour_math.h). Pure code.
#include "colour/colour_math.h"

#include <cstring>

namespace zorv {

uint32_t FieldToByte(uint32_t code, uint32_t mask) {
    if (mask == 0) return 0;
    uint32_t value = code & mask;
    while ((mask & 1) == 0) {
        mask >>= 1;
        value >>= 1;
    }
    if (mask != 255) value = value * 255u / mask;
    return value;
}

uint32_t PixelCode(const uint8_t* pixel, uint32_t bits) {
    const uint32_t bytes = bits >= 32 ? 4 : (bits + 7) / 8;
    uint32_t word = 0;
    std::memcpy(&word, pixel, bytes);
    return bits < 32 ? word & ((1u << bits) - 1) : word;
}

uint8_t FadeMix(uint8_t from, uint8_t to, int32_t steps, int32_t step) {
    const int64_t kept = static_cast<int64_t>(from) * (steps - step) / steps;
    const int64_t reached = static_cast<int64_t>(to) * step / steps;
    return static_cast<uint8_t>((kept + reached) & 0xFF);
}

}  // namespace zorv
