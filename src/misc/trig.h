// Fixed-point trigonometry on angles of 1024 steps to the turn.
// Pure code: built into the plugin and natively into the unit tests and benchmarks.
#pragma once

#include <cstdint>

namespace zorv {

constexpr int32_t ANGLE_STEPS = 1024;

// Filled once by BuildTrigTables when the library attaches; never changed afterwards.
extern int32_t SinTable[ANGLE_STEPS];
extern int32_t CosTable[ANGLE_STEPS];
extern uint16_t AtanTable[ANGLE_STEPS];

void BuildTrigTables();

// Reduces any angle into 0 ... 1023 (-1 -> 1023, 1024 -> 0).
inline int32_t NormalizeAngle(int32_t angle) { return angle & (ANGLE_STEPS - 1); }

// table[angle] * value, low 32 bits of the product, shifted right arithmetically by 16.
// Callers pass angles in 0 ... 1023; the mask only keeps a stray angle inside the table.
inline int32_t ScaledSin(int32_t angle, int32_t value) {
    uint32_t product = static_cast<uint32_t>(SinTable[angle & (ANGLE_STEPS - 1)]) * static_cast<uint32_t>(value);
    return static_cast<int32_t>(product) >> 16;
}
inline int32_t ScaledCos(int32_t angle, int32_t value) {
    uint32_t product = static_cast<uint32_t>(CosTable[angle & (ANGLE_STEPS - 1)]) * static_cast<uint32_t>(value);
    return static_cast<int32_t>(product) >> 16;
}

// Angle 0 ... 1023 of the vector (x, y): 0 along +x, 256 along +y, 768 for (0, 0).
int32_t AngleOfVector(int32_t x, int32_t y);

}  // namespace zorv
