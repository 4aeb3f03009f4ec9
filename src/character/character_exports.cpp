// The exports of the character table: its size, the script's 26 arrays, and creating, finding
// and copying characters. Each records its name, then checks in order; a refused call changes
// nothing.
#include "character/character.h"
#include "character/hit_test.h"
#include "chip/chip.h"
#include "frame/frame.h"
#include "surface/surface.h"

using namespace zorv;

// A new table drops the animation patterns and every registered array: the script registers
// its 26 arrays again afterwards.
ZORV_API ZorvInitializeCharacter(int32_t capacity, int32_t, int32_t, int32_t) {
    EnterExport("ZorvInitializeCharacter");
    if (capacity < 1 || capacity > 32767) return ERR_PARAM_RANGE;
    ReleaseAnimationPatterns();
    ReleaseCharacterTables();
    characterCapacity = static_cast<uint16_t>(capacity);
    for (int32_t*& column : columnTable) column = nullptr;
    return AllocateCharacterTables();
}

// The array is used where it is: its storage address is kept, not a copy. An array with
// fewer elements than the character table has characters is refused (-71): every export
// would otherwise read and write past its end. (Re-register after re-dimensioning.)
ZORV_API ZorvSetCharacterVariable(HostVariable* var, int32_t column, int32_t, int32_t) {
    EnterExport("ZorvSetCharacterVariable");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (column < 0 || column >= CHARACTER_COLUMNS) return ERR_PARAM_RANGE;
    if (IntCapacity(var) < characterCapacity) return ERR_PARAM_MISSING;
    columnTable[column] = static_cast<int32_t*>(var->data);
    return OK;
}

ZORV_API ZorvCreateCharacter(int32_t n, int32_t chip, int32_t x, int32_t y) {
    EnterExport("ZorvCreateCharacter");
    if (!ValidCharacter(n) || chip < 0 || chip >= chipCount) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    if (currentSurface == nullptr) return ERR_NO_SURFACE;  // the limits come from its size
    FillNewCharacter(n, chip, chipTable[chip], x, y, currentSurface->width, currentSurface->height);
    return OK;
}

ZORV_API ZorvFindCharacter(HostVariable* var, int32_t mask, int32_t start, int32_t count) {
    EnterExport("ZorvFindCharacter");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    const int64_t end = static_cast<int64_t>(start) + count;
    if (!ValidCharacter(start) || end < 0 || end > characterCapacity) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    WriteInt(var, FindCharacter(mask, start, static_cast<int32_t>(end)));
    return OK;
}

ZORV_API ZorvCopyCharacter(int32_t source, int32_t destination, int32_t x, int32_t y) {
    EnterExport("ZorvCopyCharacter");
    if (!ValidCharacter(source) || !ValidCharacter(destination)) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    if (source == destination) return ERR_SAME_SURFACE;
    CopyCharacter(source, destination, x, y);
    return OK;
}

// ---- Motion -------------------------------------------------------------------------------

ZORV_API ZorvMoveCharacter(int32_t start, int32_t count, int32_t repeat, int32_t) {
    EnterExport("ZorvMoveCharacter");
    if (!ValidRange(start, count)) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    return MoveCharacters(start, WrapAdd(start, count), repeat, chipCount);
}

ZORV_API ZorvSetCharacterAim(int32_t n, int32_t x, int32_t y, int32_t speed) {
    EnterExport("ZorvSetCharacterAim");
    if (!ValidCharacter(n)) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    AimCharacter(n, x, y, speed);
    return OK;
}

// A free slot m is aimed at too: its last position is used.
ZORV_API ZorvSetCharacterAim2(int32_t n, int32_t m, int32_t speed, int32_t) {
    EnterExport("ZorvSetCharacterAim2");
    if (!ValidCharacter(n) || !ValidCharacter(m)) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    AimCharacter(n, Col(COL_POS_X, m), Col(COL_POS_Y, m), speed);
    return OK;
}

ZORV_API ZorvSetRelativeCharacter(int32_t n, int32_t t, int32_t, int32_t) {
    EnterExport("ZorvSetRelativeCharacter");
    if (!ValidCharacter(n) || !ValidCharacter(t)) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    if (Col(COL_ATTRIBUTE, t) == 0) return ERR_NO_RELATIVE_CHARACTER;
    TieCharacter(n, t);
    return OK;
}

// ---- Animation patterns ----------------------------------------------------------------------

// A count that does not fit the 16-bit pattern table is refused like the other table sizes.
ZORV_API ZorvInitializeAnimationPattern(int32_t count, int32_t, int32_t, int32_t) {
    EnterExport("ZorvInitializeAnimationPattern");
    if (count < 0 || count > 65535) return ERR_PARAM_RANGE;
    return AllocateAnimationPatterns(static_cast<uint16_t>(count));
}

// Pairs of (chip, frames); a pattern needs at least one step.
ZORV_API ZorvSetAnimationPattern(HostVariable* var, int32_t p, int32_t steps, int32_t) {
    EnterExport("ZorvSetAnimationPattern");
    if (p < 0 || p >= patternCount || steps < 1) return ERR_PARAM_RANGE;
    if (var == nullptr || var->data == nullptr || var->size < 2 * static_cast<int64_t>(steps)) return ERR_PARAM_MISSING;
    return FillAnimationPattern(p, static_cast<const int32_t*>(var->data), steps);
}

ZORV_API ZorvSetCharacterAnimation(int32_t n, int32_t p, int32_t s, int32_t t) {
    EnterExport("ZorvSetCharacterAnimation");
    if (!ValidCharacter(n) || p < 0 || p >= patternCount || s < 0 || s >= patternTable[p].stepCount) {
        return ERR_PARAM_RANGE;
    }
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    const PatternRecord& pattern = patternTable[p];
    if (pattern.chips == nullptr || pattern.endTimes == nullptr) return ERR_NO_ANIMATION_PATTERN;
    Col(COL_DRAW_FLAGS, n) |= DRAW_ANIMATE;
    Col(COL_PATTERN_NO, n) = p;
    animStep[n] = static_cast<uint8_t>(s);
    animTimer[n] = static_cast<uint32_t>(t);
    Col(COL_CHIP_NO, n) = pattern.chips[s];
    return OK;
}

// ---- Hit tests -------------------------------------------------------------------------------

namespace {
// The common checks after the variable's: the range and the tested character s, the columns;
// then the first hit of the range is written into element 0 (left as it is when none hits).
int32_t HitTestRange(HostVariable* var, int32_t mask, int32_t start, int32_t count, bool quads) {
    int32_t* values = static_cast<int32_t*>(var->data);
    const int32_t s = values[0];
    if (!ValidCharacter(start) || !ValidCharacter(s) || !ValidRange(start, count)) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    int32_t hit = s;
    const int32_t status =
        FirstHit(s, mask, start, WrapAdd(start, count), quads, quads ? values[1] & 0xFF : 0, chipTable, chipCount, hit);
    values[0] = hit;
    return status;
}
}  // namespace

// Hit areas as axis-aligned rectangles.
ZORV_API ZorvHitTest(HostVariable* var, int32_t mask, int32_t start, int32_t count) {
    EnterExport("ZorvHitTest");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (IntCapacity(var) < 1) return ERR_PARAM_MISSING;  // no element to read the tested character from
    return HitTestRange(var, mask, start, count, false);
}

// Hit areas as turned quadrilaterals; element 1 holds the test mode.
ZORV_API ZorvHitTest2(HostVariable* var, int32_t mask, int32_t start, int32_t count) {
    EnterExport("ZorvHitTest2");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (IntCapacity(var) < 2) return ERR_PARAM_MISSING;
    return HitTestRange(var, mask, start, count, true);
}

// ---- String chips --------------------------------------------------------------------------

namespace {
// The glyph chip of each byte code; kept across chip and character tables for the library's life.
uint16_t stringChipTable[256] = {};
}  // namespace

// Codes first ... first + count - 1 get the chip numbers of the array's elements (low 16 bits);
// the first one that is no chip stops the call with -2, those before it stay set.
ZORV_API ZorvSetStringChip(HostVariable* var, int32_t first, int32_t count, int32_t) {
    EnterExport("ZorvSetStringChip");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (first < 1 || first > 255 || count < 1 || count > 255 || first + count > 256) return ERR_PARAM_RANGE;
    if (IntCapacity(var) < count) return ERR_PARAM_MISSING;
    const int32_t* chips = static_cast<const int32_t*>(var->data);
    for (int32_t k = 0; k < count; ++k) {
        const uint16_t chip = static_cast<uint16_t>(chips[k]);
        if (chip >= chipCount) return ERR_PARAM_RANGE;
        stringChipTable[first + k] = chip;
    }
    return OK;
}

// One character per byte, from start on, laid out left to right from the current surface's
// position, each glyph's anchor at (pen x, pen y - its height). A string without its 0 byte
// ends with the variable's buffer.
ZORV_API ZorvDrawString(HostVariable* var, int32_t start, int32_t attribute, int32_t transparency) {
    EnterExport("ZorvDrawString");
    if (!IsStringVar(var)) return ERR_PARAM_TYPE;
    if (!ValidCharacter(start) || transparency < 0 || transparency >= 65536) return ERR_PARAM_RANGE;
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    const uint8_t* text = static_cast<const uint8_t*>(var->data);
    const int64_t bytes = text == nullptr || var->size < 0 ? 0 : 4 * static_cast<int64_t>(var->size);
    int32_t x = currentSurface->posX;
    const int32_t y = currentSurface->posY;
    int32_t n = start;
    for (int64_t i = 0; i < bytes && text[i] != 0; ++i, ++n) {
        if (n >= characterCapacity) return ERR_PARAM_RANGE;
        const int32_t chipNo = stringChipTable[text[i]];
        if (chipNo >= chipCount) return ERR_CHIP_NUMBER;
        const ChipRecord& chip = chipTable[chipNo];
        FillNewCharacter(n, chipNo, chip, x, WrapSub(y, chip.height), currentSurface->width, currentSurface->height);
        Col(COL_ATTRIBUTE, n) = attribute;
        if (transparency != 0) Col(COL_DRAW_FLAGS, n) |= DRAW_TRANSPARENCY;
        Col(COL_TRANSPARENCY, n) = transparency;
        x = WrapAdd(x, chip.width);
    }
    return OK;
}
