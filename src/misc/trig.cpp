// Builds the sine, cosine and arc-tangent tables and finds the angle of a vector by octant.
#include "misc/trig.h"

#include <cmath>

namespace zorv {

int32_t SinTable[ANGLE_STEPS];
int32_t CosTable[ANGLE_STEPS];
uint16_t AtanTable[ANGLE_STEPS];

namespace {
// The tables take pi as 3.141596, so the quarter turns fall one short of the scale
// (SinTable[256] = 65534). Scripts depend on those exact values, so the constants stay.
constexpr double PI_APPROX = 3.141596;
constexpr double ANGLE_STEP = 2.0 * PI_APPROX / ANGLE_STEPS;  // 0.0061359296875
constexpr double ATAN_SCALE = 512.0 / PI_APPROX;              // 162.97448812641727
constexpr double TRIG_SCALE = 65535.0;
}  // namespace

void BuildTrigTables() {
    for (int i = 0; i < ANGLE_STEPS; ++i) {
        double radians = i * ANGLE_STEP;
        SinTable[i] = static_cast<int32_t>(std::sin(radians) * TRIG_SCALE);
        CosTable[i] = static_cast<int32_t>(std::cos(radians) * TRIG_SCALE);
        AtanTable[i] = static_cast<uint16_t>(std::atan2(i * 0.0009765625, 1.0) * ATAN_SCALE);
    }
}

int32_t AngleOfVector(int32_t x, int32_t y) {
    if (x == 0) return y > 0 ? 256 : 768;
    if (y == 0) return x > 0 ? 0 : 512;

    // 64-bit magnitudes: the same result as 32-bit arithmetic for components within
    // +-2097151, and no overflow (or INT_MIN negation) outside that range.
    int64_t a = x < 0 ? -static_cast<int64_t>(x) : x;
    int64_t b = y < 0 ? -static_cast<int64_t>(y) : y;
    if (a == b) {
        if (x > 0) return y > 0 ? 128 : 896;
        return y > 0 ? 384 : 640;
    }
    int64_t small = a < b ? a : b;
    int64_t big = a < b ? b : a;
    int32_t t = AtanTable[(small * 1024) / big];

    if (x > 0 && y > 0) return b < a ? t : 256 - t;
    if (x < 0 && y > 0) return b > a ? 256 + t : 512 - t;
    if (x < 0 && y < 0) return b < a ? 512 + t : 768 - t;
    // x > 0, y < 0: 1023 rather than 1024 near +x so the result stays below a full turn.
    return b > a ? 768 + t : 1023 - t;
}

}  // namespace zorv
