// The chip table: rectangular cells cut from surfaces, drawn by number. The record and its
// defaults are pure code, so the native unit tests check them too.
#pragma once

#include <cstdint>

namespace zorv {

struct ChipRecord {
    int32_t hitLeft;        // hit area, in chip pixels from the chip's top-left
    int32_t hitTop;
    int32_t hitRight;
    int32_t hitBottom;
    int32_t offsetX;        // anchor: the chip pixel that lands on the drawing point
    int32_t offsetY;
    void* sourceSurface;    // IDirectDrawSurface7 of the source surface, not reference-counted
    int32_t srcLeft;        // source rectangle, laid out like a RECT, right and bottom exclusive
    int32_t srcTop;
    int32_t srcRight;
    int32_t srcBottom;
    int32_t width;
    int32_t height;
    uint16_t surfaceIndex;  // the source surface's index in the surface table
};

// Sizes, offsets, scales and positions reach the chip arithmetic from scripts unchecked. Sums
// and products wrap in 32 bits as the 32-bit plugin's arithmetic always has; they are computed
// unsigned so that the wrap is defined rather than a signed overflow.
inline int32_t WrapAdd(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
inline int32_t WrapSub(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
inline int32_t WrapMul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }

extern ChipRecord* chipTable;  // null while no table exists
extern int32_t chipCount;

// A new chip of width x height at (x, y) of a surface: anchor at its centre, hit area the
// middle half. Shifts are arithmetic, so a 3 x 1 chip has its anchor at (1, 0).
inline void FillChip(ChipRecord* chip, void* surface, int32_t surfaceIndex, int32_t x, int32_t y, int32_t width,
                     int32_t height) {
    chip->hitLeft = width >> 2;
    chip->hitTop = height >> 2;
    chip->hitRight = WrapMul(3, width) >> 2;
    chip->hitBottom = WrapMul(3, height) >> 2;
    chip->offsetX = width >> 1;
    chip->offsetY = height >> 1;
    chip->sourceSurface = surface;
    chip->srcLeft = x;
    chip->srcTop = y;
    chip->srcRight = WrapAdd(x, width);
    chip->srcBottom = WrapAdd(y, height);
    chip->width = width;
    chip->height = height;
    chip->surfaceIndex = static_cast<uint16_t>(surfaceIndex);
}

// Frees the table; safe when there is none. ZorvExit calls it.
void ReleaseChipTable();

}  // namespace zorv
