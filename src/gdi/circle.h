// The figure of ZorvDrawCircle: bounding box and the two radial points GDI's Arc and Pie take.
// Pure code: built into the plugin and natively for the unit tests.
#pragma once

#include <cstdint>

namespace zorv {

struct CircleFigure {
    int32_t left, top, right, bottom;  // the box around the circle
    int32_t firstX, firstY;            // the radial GDI starts from: the end angle
    int32_t secondX, secondY;          // the radial it goes to: the start angle
};

// The point at angle a is (x + ScaledSin(a, r), y - ScaledCos(a, r)): 0 up, 256 right. GDI
// goes counter-clockwise from its first radial to its second, so the figure runs from the
// start angle clockwise to the end angle. Angles outside 0 ... 1023 are reduced modulo 1024,
// as the fixed-point sine and cosine exports with normalisation do, rather than refused.
CircleFigure MakeCircleFigure(int32_t x, int32_t y, int32_t radius, int32_t start, int32_t end);

// A circle fits when its radius is not negative and its whole box lies within 16-bit
// coordinates (-32768 ... 32767), the range GDI draws in everywhere: larger figures fail on
// some systems and crash Wine's GDI (a radius of a million does).
bool CircleFits(int32_t x, int32_t y, int32_t radius);

}  // namespace zorv
