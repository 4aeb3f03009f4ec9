// The exports of the character table: its size, the script's 26 arrays, and creating, finding
// and copying characters. Each records its name, then checks in order; a refused call changes
// nothing.
#include "character/character.h"
#include "chip/chip.h"
#include "frame/frame.h"
#include "surface/surface.h"

using namespace zorv;

namespace {
bool ValidCharacter(int32_t n) { return n >= 0 && n < characterCapacity; }
}  // namespace

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

// The array is used where it is: its storage address is kept, not a copy. An array shorter
// than the character table is the script's to avoid (re-register after re-dimensioning).
ZORV_API ZorvSetCharacterVariable(HostVariable* var, int32_t column, int32_t, int32_t) {
    EnterExport("ZorvSetCharacterVariable");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (column < 0 || column >= CHARACTER_COLUMNS) return ERR_PARAM_RANGE;
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
