// The software quad rasterizer's pixel work: maps a chip onto four corner points of a locked
// target surface with Bresenham edge and span walkers, nearest source sample, optional colour
// key, 8/16/24/32 bits per pixel.
// Pure code: works on memory only. The render-mode-2 drawing locks the two surfaces, fills
// these records and calls RasterizeQuad; everything here builds natively for tests and benchmarks.
#pragma once

#include <cstdint>

namespace zorv {

// The locked target. pixels addresses pixel (originX, originY): a Lock over a rectangle
// returns the address of that rectangle's top-left pixel, so the caller passes the locked
// rectangle's left and top (from QuadLockRect) as the origin; pass 0, 0 with the surface start.
struct RasterSurface {
    uint8_t* pixels;
    int32_t pitch;         // bytes from one row to the next
    int32_t bitsPerPixel;  // must equal the source's: pixels are copied byte for byte
    int32_t originX;
    int32_t originY;
    int32_t width;    // the whole surface; nothing outside 0 <= x < width, 0 <= y < height is written
    int32_t height;
};

// The locked chip source. pixels addresses the source rectangle's top-left pixel and must
// hold the whole rectangle.
struct RasterSource {
    const uint8_t* pixels;
    int32_t pitch;
    int32_t bitsPerPixel;  // 8, 16, 24 or 32; any other size draws nothing
    bool keyed;            // the surface's transparent colour is on
    uint32_t keyCode;      // the transparent colour code
};

// The target's draw area, inclusive at both ends as the rasterizer uses it.
struct RasterClip {
    int32_t left, top, right, bottom;
};

// Corners: 0 receives the chip's top-left, 1 its top-right, 2 its bottom-right, 3 its bottom-left.
struct RasterQuad {
    int32_t x[4];
    int32_t y[4];
};

// Right and bottom exclusive.
struct RasterRect {
    int32_t left, top, right, bottom;
};

// The target rectangle to lock: the corners' bounding box limited to 0 ... width and
// 0 ... height. False when it is empty: nothing is drawn and nothing needs locking.
bool QuadLockRect(const RasterQuad& quad, int32_t width, int32_t height, RasterRect* lockRect);

// Draws the chip srcRect of source onto quad on target. Pixels are copied unchanged; with the
// key on, source pixels equal to the key leave the target as it is (neither read nor written:
// the target is locked write-only). When every corner lies in clip no pixel is bounds-tested
// against it; otherwise only pixels inside clip are written.
// Returns 1 when the pixel loops ran, 0 when the inputs left nothing to draw: a pixel size
// other than 8, 16, 24 or 32 bits, target and source of different sizes, no memory, an empty
// bounding box, source rectangle or draw area.
int32_t RasterizeQuad(const RasterSurface& target, const RasterClip& clip, const RasterQuad& quad,
                   const RasterSource& source, const RasterRect& srcRect);

}  // namespace zorv
