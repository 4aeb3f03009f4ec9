// Arithmetic of chip drawing that needs no DirectX: the anchor extents of a scaled chip,
// rotated corners, the diagonal crossing of a four-point quad, and vertex colours. Pure code.
#pragma once

#include <cstdint>

#include "chip/chip.h"
#include "misc/trig.h"

namespace zorv {

// Corner order everywhere: top-left, top-right, bottom-right, bottom-left.
struct IntPoint {
    int32_t x;
    int32_t y;
};

// The chip's edges around its anchor at scales sx, sy (256 = 1.0); the negation comes after
// the shift, so a left extent of -16.5 pixels is -16. Products wrap in 32 bits (see WrapMul).
struct ChipExtents {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};
inline ChipExtents ExtentsOf(const ChipRecord& chip, int32_t sx, int32_t sy) {
    return ChipExtents{-(WrapMul(chip.offsetX, sx) >> 8), -(WrapMul(chip.offsetY, sy) >> 8),
                       WrapMul(WrapSub(chip.width, chip.offsetX), sx) >> 8,
                       WrapMul(WrapSub(chip.height, chip.offsetY), sy) >> 8};
}

// Extent pair (u, v) turned by angle a (0 ... 1023) about (x, y); at a = 256 the chip's
// right-pointing axis points up the screen.
inline IntPoint RotatedCorner(int32_t x, int32_t y, int32_t u, int32_t v, int32_t a) {
    return IntPoint{WrapAdd(x, ScaledCos(a, u) + ScaledSin(a, v)), WrapAdd(y, ScaledCos(a, v) - ScaledSin(a, u))};
}

// The four corners of a chip drawn about (x, y); angle 0 is not rotated at all.
void ChipCorners(int32_t x, int32_t y, const ChipExtents& e, int32_t angle, IntPoint corners[4]);

// Where the diagonals P0-P2 and P1-P3 of a quad cross, in wrapping 32-bit integer arithmetic
// with truncating division. drawn is false for the two degenerate cases that draw nothing.
struct QuadCentre {
    bool drawn;
    int32_t x;
    int32_t y;
};
QuadCentre DiagonalCrossing(const int32_t p[8]);

// Vertex colour of a transformed chip: alpha 255 - transparency (low 8 bits), white, or the
// render colour factors (0 ... 256) multiplied by the alpha.
uint32_t ChipVertexColour(int32_t transparency, bool renderColorOn, uint16_t red, uint16_t green, uint16_t blue);

}  // namespace zorv
