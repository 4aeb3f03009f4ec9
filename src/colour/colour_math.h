// Colour-code arithmetic: one colour field of a packed pixel scaled to 0 ... 255, the pixel
// value read from surface memory, the palette fade mix and the list of changed palette
// entries. Pure code.
#pragma once

#include <cstdint>

namespace zorv {

// The field of `code` under `mask`, moved down to bit 0 and scaled so that a full field is
// 255: v * 255 / (mask moved down), in unsigned 32-bit arithmetic that truncates (and wraps
// for fields of more than 24 bits). An 8-bit field is copied as it is; a mask of 0 gives 0.
uint32_t FieldToByte(uint32_t code, uint32_t mask);

// The colour code of the pixel at `pixel` on a surface of `bits` bits per pixel: only the
// pixel's own bytes are read (never past a surface's last pixel), masked to `bits` bits when
// that is below 32.
uint32_t PixelCode(const uint8_t* pixel, uint32_t bits);

// Step `step` (1 ... steps) of a fade of `steps` steps from `from` to `to`:
// from * (steps - step) / steps + to * step / steps, each division truncating on its own,
// the sum kept in 8 bits. The products are formed in 64 bits, so that fades longer than
// 8421504 steps mix like short ones instead of wrapping. The last step gives `to` exactly.
uint8_t FadeMix(uint8_t from, uint8_t to, int32_t steps, int32_t step);

// The palette entries changed since the last screen update, in call order. The list holds
// 256 indices; a change past that turns the count into PALETTE_CHANGES_ALL, which asks for
// the whole palette to be written once, so that no change is lost and nothing overflows.
constexpr int32_t PALETTE_CHANGES_MAX = 256;
constexpr int32_t PALETTE_CHANGES_ALL = PALETTE_CHANGES_MAX + 1;
inline void NotePaletteChange(uint8_t* list, int32_t& count, uint8_t index) {
    if (count >= 0 && count < PALETTE_CHANGES_MAX) {
        list[count++] = index;
    } else {
        count = PALETTE_CHANGES_ALL;
    }
}

}  // namespace zorv
