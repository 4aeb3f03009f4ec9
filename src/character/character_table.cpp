// The character table: the registered columns, the plugin-side tables and their life.
#include <cstdlib>
#include <cstring>

#include "character/character.h"
#include "chip/chip.h"

namespace zorv {

uint16_t characterCapacity = 0;
int32_t* columnTable[CHARACTER_COLUMNS] = {};

IntPair* headingVelocity = nullptr;
IntPair* subPixel = nullptr;
int32_t* angleFraction = nullptr;
int32_t* turnFraction = nullptr;
uint32_t* animTimer = nullptr;
uint8_t* animStep = nullptr;
uint16_t* relativeTarget = nullptr;
IntPair* relativeOffset = nullptr;
IntPair* relativeDistance = nullptr;
uint16_t* sortOrder = nullptr;
YEntry* sortKeys = nullptr;

namespace {

// Every zero-filled table with its entry size; sortOrder and sortKeys are filled before each
// use instead.
struct SideTable {
    void** pointer;
    size_t entrySize;
};
const SideTable SIDE_TABLES[] = {
    {reinterpret_cast<void**>(&headingVelocity), sizeof(IntPair)},
    {reinterpret_cast<void**>(&subPixel), sizeof(IntPair)},
    {reinterpret_cast<void**>(&angleFraction), sizeof(int32_t)},
    {reinterpret_cast<void**>(&turnFraction), sizeof(int32_t)},
    {reinterpret_cast<void**>(&animTimer), sizeof(uint32_t)},
    {reinterpret_cast<void**>(&animStep), sizeof(uint8_t)},
    {reinterpret_cast<void**>(&relativeTarget), sizeof(uint16_t)},
    {reinterpret_cast<void**>(&relativeOffset), sizeof(IntPair)},
    {reinterpret_cast<void**>(&relativeDistance), sizeof(IntPair)},
};

}  // namespace

int32_t CharacterVariablesReady() {
    for (int32_t* column : columnTable)
        if (column == nullptr) return -63;
    return 0;
}

int32_t AllocateCharacterTables() {
    bool failed = false;
    for (const SideTable& t : SIDE_TABLES) {
        *t.pointer = std::calloc(characterCapacity, t.entrySize);
        failed = failed || *t.pointer == nullptr;
    }
    sortOrder = static_cast<uint16_t*>(std::malloc(sizeof(uint16_t) * characterCapacity));
    sortKeys = static_cast<YEntry*>(std::malloc(sizeof(YEntry) * characterCapacity));
    if (failed || sortOrder == nullptr || sortKeys == nullptr) {
        ReleaseCharacterTables();
        return -10;
    }
    return 0;
}

void ReleaseCharacterTables() {
    for (const SideTable& t : SIDE_TABLES) {
        std::free(*t.pointer);
        *t.pointer = nullptr;
    }
    std::free(sortOrder);
    sortOrder = nullptr;
    std::free(sortKeys);
    sortKeys = nullptr;
    characterCapacity = 0;
}

void ResetCharacterEntries(int32_t n) {
    for (const SideTable& t : SIDE_TABLES)
        std::memset(static_cast<char*>(*t.pointer) + n * t.entrySize, 0, t.entrySize);
}

void CopyCharacterEntries(int32_t from, int32_t to) {
    for (const SideTable& t : SIDE_TABLES) {
        char* base = static_cast<char*>(*t.pointer);
        std::memcpy(base + to * t.entrySize, base + from * t.entrySize, t.entrySize);
    }
}

void TieCharacter(int32_t n, int32_t t) {
    // Read t's position before n's is cleared: t may be n itself.
    const IntPair distance{WrapSub(Col(COL_POS_X, n), Col(COL_POS_X, t)), WrapSub(Col(COL_POS_Y, n), Col(COL_POS_Y, t))};
    relativeTarget[n] = static_cast<uint16_t>(t);
    relativeOffset[n] = distance;
    relativeDistance[n] = distance;
    Col(COL_POS_X, n) = 0;
    Col(COL_POS_Y, n) = 0;
    Col(COL_MOVE_FLAGS, n) |= MOVE_RELATIVE;
}

IntPair EffectivePosition(int32_t n) {
    const int32_t x = Col(COL_POS_X, n), y = Col(COL_POS_Y, n);
    if ((Col(COL_MOVE_FLAGS, n) & MOVE_RELATIVE) == 0) return IntPair{x, y};
    return IntPair{WrapAdd(x, relativeOffset[n].x), WrapAdd(y, relativeOffset[n].y)};
}

}  // namespace zorv
