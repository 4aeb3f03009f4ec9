// The work of the character exports once their arguments are checked: creating, copying,
// finding, aiming and moving characters, and the Y order of drawing.
#include "character/character.h"
#include "chip/chip.h"
#include "misc/trig.h"

namespace zorv {

void FillNewCharacter(int32_t n, int32_t chipNo, const ChipRecord& chip, int32_t x, int32_t y, int32_t surfaceWidth,
                      int32_t surfaceHeight) {
    for (int32_t c = 0; c < CHARACTER_COLUMNS; ++c) Col(c, n) = 0;
    Col(COL_ATTRIBUTE, n) = WrapAdd(chipNo, 1);
    Col(COL_POS_X, n) = x;
    Col(COL_POS_Y, n) = y;
    Col(COL_LIMIT_LEFT, n) = WrapSub(0, chip.width);
    Col(COL_LIMIT_TOP, n) = WrapSub(0, chip.height);
    Col(COL_LIMIT_RIGHT, n) = WrapAdd(surfaceWidth, chip.width);
    Col(COL_LIMIT_BOTTOM, n) = WrapAdd(surfaceHeight, chip.height);
    Col(COL_CHIP_NO, n) = chipNo;
    Col(COL_MOVE_FLAGS, n) = MOVE_LIMIT;
    Col(COL_DRAW_FLAGS, n) = DRAW_VISIBLE;
    Col(COL_SCALE_X, n) = 256;
    Col(COL_SCALE_Y, n) = 256;
    ResetCharacterEntries(n);
}

void CopyCharacter(int32_t from, int32_t to, int32_t x, int32_t y) {
    for (int32_t c = 0; c < CHARACTER_COLUMNS; ++c) Col(c, to) = Col(c, from);
    Col(COL_POS_X, to) = x;
    Col(COL_POS_Y, to) = y;
    CopyCharacterEntries(from, to);
}

int32_t FindCharacter(int32_t mask, int32_t start, int32_t end) {
    for (int32_t n = start; n < end; ++n) {
        const int32_t attribute = Col(COL_ATTRIBUTE, n);
        if (mask == 0 ? attribute == 0 : (attribute & mask) != 0) return n;
    }
    return -1;
}

void AimCharacter(int32_t n, int32_t x, int32_t y, int32_t speed) {
    const int32_t a = AngleOfVector(WrapSub(x, Col(COL_POS_X, n)), WrapSub(y, Col(COL_POS_Y, n)));
    Col(COL_VELOCITY_X, n) = ScaledCos(a, speed);
    Col(COL_VELOCITY_Y, n) = ScaledSin(a, speed);
    Col(COL_ACCEL_X, n) = 0;
    Col(COL_ACCEL_Y, n) = 0;
    Col(COL_MOVE_FLAGS, n) |= MOVE_VELOCITY;
}

int32_t MoveCharacters(int32_t start, int32_t end, int32_t repeat, int32_t chips) {
    for (int32_t r = 0; r < repeat; ++r)
        for (int32_t n = end - 1; n >= start; --n) {
            if (Col(COL_ATTRIBUTE, n) == 0) continue;
            if (Col(COL_CHIP_NO, n) < 0 || Col(COL_CHIP_NO, n) >= chips) return -75;
            UpdateCharacter(n);
        }
    return 0;
}

void PrepareYOrder(int32_t start, int32_t count) {
    for (int32_t k = start; k < start + count; ++k) sortOrder[k] = static_cast<uint16_t>(k);
    if (count >= 2) SortByY(sortOrder + start, 0, count - 1);
}

}  // namespace zorv
