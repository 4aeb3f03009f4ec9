// Chip drawing entry points shared with character drawing.
#pragma once

#include <windows.h>

#include <cstdint>

#include "chip/chip.h"
#include "frame/frame.h"
#include "surface/surface.h"

namespace zorv {

// Draws a checked chip (size at least 1 x 1, scales at least 1) scaled, rotated and faded
// about its anchor at (x, y) on the current surface.
int32_t DrawChipTransformed(int32_t x, int32_t y, const ChipRecord& chip, int32_t scaleX, int32_t scaleY,
                            int32_t angle, int32_t transparency);

// The plain clipped, colour-keyed copy of ZorvPutChip: the chip's anchor lands on (x, y) of
// the target, clipped to its draw area; the blit's result is not reported. Returns 0, or -39
// when the chip's source surface is gone.
int32_t DrawChipPlain(SurfaceRecord* target, const ChipRecord& chip, int32_t x, int32_t y);

// The software quad of render mode 2: locks both surfaces and maps the chip onto the four
// corners (x0, y0 ... x3, y3). Returns 0 or the DirectDraw result of a failed Lock/Unlock.
int32_t RasterizeChipQuad(SurfaceRecord* target, const int32_t corners[8], SurfaceRecord* source,
                          const RECT& srcRect);

// The Direct3D quad: corners as (x, y, z) floats, top-left, top-right, bottom-right,
// bottom-left. Returns 0, -61, -41 or -42.
struct FloatPoint {
    float x, y, z;
};
int32_t DrawChipQuadD3D(const FloatPoint corners[4], int32_t transparency, SurfaceRecord* source,
                        const RECT& srcRect);
// ZorvPutChip3 outside render mode 2: the quad with its perspective-like depth.
int32_t DrawChipQuadPoints3D(const int32_t corners[8], const ChipRecord& chip, int32_t transparency);

}  // namespace zorv
