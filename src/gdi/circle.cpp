// The figure of ZorvDrawCircle (see circle.h).
#include "gdi/circle.h"

#include "misc/trig.h"

namespace zorv {

CircleFigure MakeCircleFigure(int32_t x, int32_t y, int32_t radius, int32_t start, int32_t end) {
    start = NormalizeAngle(start);
    end = NormalizeAngle(end);
    return CircleFigure{x - radius,
                        y - radius,
                        x + radius,
                        y + radius,
                        x + ScaledSin(end, radius),
                        y - ScaledCos(end, radius),
                        x + ScaledSin(start, radius),
                        y - ScaledCos(start, radius)};
}

bool CircleFits(int32_t x, int32_t y, int32_t radius) {
    constexpr int64_t LIMIT = 32768;
    auto fits = [](int64_t v) { return v >= -LIMIT && v < LIMIT; };
    return radius >= 0 && fits(int64_t{x} - radius) && fits(int64_t{x} + radius) && fits(int64_t{y} - radius) &&
           fits(int64_t{y} + radius);
}

}  // namespace zorv
