// Chip corner, centre and colour arithmetic.
#include "chip/quad_math.h"

namespace zorv {

namespace {

// The centre is computed as 32-bit integers that wrap, like the plugin's scripts expect for
// ordinary coordinates (WrapAdd, WrapSub and WrapMul keep the wrap defined).
int32_t Add(int32_t a, int32_t b) { return WrapAdd(a, b); }
int32_t Sub(int32_t a, int32_t b) { return WrapSub(a, b); }
int32_t Mul(int32_t a, int32_t b) { return WrapMul(a, b); }
int32_t Div(int32_t a, int32_t b) {
    if (b == -1) return Sub(0, a);  // INT32_MIN / -1 wraps instead of trapping
    return a / b;
}

}  // namespace

void ChipCorners(int32_t x, int32_t y, const ChipExtents& e, int32_t angle, IntPoint corners[4]) {
    if (angle == 0) {
        corners[0] = IntPoint{WrapAdd(x, e.left), WrapAdd(y, e.top)};
        corners[1] = IntPoint{WrapAdd(x, e.right), WrapAdd(y, e.top)};
        corners[2] = IntPoint{WrapAdd(x, e.right), WrapAdd(y, e.bottom)};
        corners[3] = IntPoint{WrapAdd(x, e.left), WrapAdd(y, e.bottom)};
        return;
    }
    const int32_t a = NormalizeAngle(angle);
    corners[0] = RotatedCorner(x, y, e.left, e.top, a);
    corners[1] = RotatedCorner(x, y, e.right, e.top, a);
    corners[2] = RotatedCorner(x, y, e.right, e.bottom, a);
    corners[3] = RotatedCorner(x, y, e.left, e.bottom, a);
}

QuadCentre DiagonalCrossing(const int32_t p[8]) {
    const int32_t x0 = p[0], y0 = p[1], x1 = p[2], y1 = p[3], x2 = p[4], y2 = p[5], x3 = p[6], y3 = p[7];
    if (x0 == x2) {
        if (x1 == x3) return QuadCentre{false, 0, 0};
        return QuadCentre{true, x0, Add(Div(Mul(Sub(y1, y3), Sub(x0, x3)), Sub(x1, x3)), y3)};
    }
    if (x1 == x3) return QuadCentre{true, x1, Add(Div(Mul(Sub(y0, y2), Sub(x1, x2)), Sub(x0, x2)), y2)};
    if (y0 == y2) {
        if (y1 == y3) return QuadCentre{false, 0, 0};
        return QuadCentre{true, Add(Div(Mul(Sub(y0, y3), Sub(x1, x3)), Sub(y1, y3)), x3), y0};
    }
    if (y1 == y3) return QuadCentre{true, Add(Div(Mul(Sub(y1, y2), Sub(x0, x2)), Sub(y0, y2)), x2), y1};

    const int32_t d = Sub(Mul(Sub(y1, y3), Sub(x0, x2)), Mul(Sub(y0, y2), Sub(x1, x3)));
    if (d == 0) {
        // Parallel diagonals: the average of the corners.
        return QuadCentre{true, Add(Add(x0, x1), Add(x2, x3)) >> 2, Add(Add(y0, y1), Add(y2, y3)) >> 2};
    }
    const int32_t numerator =
        Add(Mul(Sub(Mul(Sub(y2, y3), Sub(x0, x2)), Mul(Sub(y0, y2), x2)), Sub(x1, x3)), Mul(Mul(Sub(y1, y3), Sub(x0, x2)), x3));
    const int32_t cx = Div(numerator, d);
    const int32_t cy = Add(Div(Mul(Sub(cx, x2), Sub(y0, y2)), Sub(x0, x2)), y2);
    return QuadCentre{true, cx, cy};
}

uint32_t ChipVertexColour(int32_t transparency, bool renderColorOn, uint16_t red, uint16_t green, uint16_t blue) {
    const uint32_t a = ~static_cast<uint32_t>(transparency) & 0xFFu;
    if (!renderColorOn) return (a << 24) | 0xFFFFFFu;
    return (a << 24) | (((red * a) >> 8) << 16) | (((green * a) >> 8) << 8) | ((blue * a) >> 8);
}

}  // namespace zorv
