// Characters: sprites whose state lives column by column in 26 integer arrays owned by the
// script, plus a few per-character tables of the plugin's own. Motion, animation patterns,
// blinking and the Y order of drawing are pure code here; the exports and the drawing itself
// build on them.
#pragma once

#include <cstdint>

namespace zorv {

// Column numbers: the second argument of ZorvSetCharacterVariable.
enum CharacterColumn : int32_t {
    COL_ATTRIBUTE, COL_POS_X, COL_POS_Y, COL_LIMIT_LEFT, COL_LIMIT_TOP, COL_LIMIT_RIGHT, COL_LIMIT_BOTTOM,
    COL_CHIP_NO, COL_MOVE_FLAGS, COL_DRAW_FLAGS, COL_BLINK, COL_LIFE, COL_VELOCITY_X, COL_VELOCITY_Y,
    COL_ACCEL_X, COL_ACCEL_Y, COL_SPEED, COL_ANGLE, COL_TURN_SPEED, COL_TURN_ACCEL, COL_SCALE_X, COL_SCALE_Y,
    COL_HOMING_TARGET, COL_HOMING_ACCEL, COL_TRANSPARENCY, COL_PATTERN_NO,
    CHARACTER_COLUMNS
};

// MoveFlags and DrawFlags bits; only the low byte of either column is read.
constexpr int32_t MOVE_VELOCITY = 1, MOVE_TURN = 2, MOVE_RELATIVE = 4, MOVE_HOMING = 8, MOVE_LIMIT = 16;
constexpr int32_t DRAW_VISIBLE = 1, DRAW_ANIMATE = 2, DRAW_ROTATE = 4, DRAW_SCALE = 8, DRAW_TRANSPARENCY = 16;

struct IntPair {
    int32_t x;
    int32_t y;
};

// 1 ... 32767 while a table exists, 0 otherwise.
extern uint16_t characterCapacity;
// The script's 26 arrays, read and written in place; each null until registered.
extern int32_t* columnTable[CHARACTER_COLUMNS];

// Plugin-side tables of characterCapacity entries; null while no table exists.
extern IntPair* headingVelocity;   // turning-motion velocity of the last frame, 1/256 pixel
extern IntPair* subPixel;          // remainders of PosX and PosY, 1/256 pixel, -255 ... 255
extern int32_t* angleFraction;     // remainder of Angle, 1/256 step
extern int32_t* turnFraction;      // remainder of TurnSpeed
extern uint32_t* animTimer;        // frames since the animation pattern started
extern uint8_t* animStep;          // current step of the pattern
extern uint16_t* relativeTarget;   // the character this one is placed relative to
extern IntPair* relativeOffset;    // added to the position while MOVE_RELATIVE is set
extern IntPair* relativeDistance;  // own position minus the target's when the tie was made
extern uint16_t* sortOrder;        // scratch list for Y-sorted drawing, not zero-filled
// Scratch for the sort itself: each number with its PosY beside it, not zero-filled.
struct YEntry {
    int32_t y;
    uint16_t n;
};
extern YEntry* sortKeys;

// A character number of the table, and a range start ... start + count - 1 inside it (the end
// is a 32-bit sum that wraps).
inline bool ValidCharacter(int32_t n) { return n >= 0 && n < characterCapacity; }
inline bool ValidRange(int32_t start, int32_t count) {
    const int32_t end = static_cast<int32_t>(static_cast<uint32_t>(start) + static_cast<uint32_t>(count));
    return ValidCharacter(start) && end >= 0 && end <= characterCapacity;
}

// Element n of column c, in the script's own storage.
inline int32_t& Col(int32_t c, int32_t n) { return columnTable[c][n]; }

// 0 when all 26 columns are registered, -63 otherwise.
int32_t CharacterVariablesReady();
// Allocates and zero-fills the plugin-side tables for characterCapacity characters: 0, or -10
// with none of them left allocated.
int32_t AllocateCharacterTables();
// Frees the plugin-side tables and sets characterCapacity to 0; safe when none exist.
void ReleaseCharacterTables();
// Zeroes every plugin-side entry of character n (a new character), or copies them from
// another character (a copied one).
void ResetCharacterEntries(int32_t n);
void CopyCharacterEntries(int32_t from, int32_t to);
// Ties n to t: the offset becomes n's position minus t's, n's position becomes 0 and
// MOVE_RELATIVE is set. The remainders stay as they are.
void TieCharacter(int32_t n, int32_t t);

// Where the character is drawn and hit-tested: its position plus the relative offset while
// MOVE_RELATIVE is set. Wraps in 32 bits.
IntPair EffectivePosition(int32_t n);

// remainder += delta; whole 1/256 units beyond +-255 move into column, toward zero, so the
// remainder keeps its sign and stays within -255 ... 255.
void CarryFraction(int32_t& column, int32_t& remainder, int32_t delta);

// One frame of character n: life, velocity, turning, relative placement, homing, limits,
// animation. Callers pass only existing characters with a valid ChipNo.
void UpdateCharacter(int32_t n);

// Animation patterns: numbered sequences of chips, each shown for a number of frames.
struct PatternRecord {
    uint8_t stepCount;   // 0 = pattern not set
    int32_t* endTimes;   // running sum of the step durations, frames from the pattern's start
    uint16_t* chips;     // chip number of each step
};
extern PatternRecord* patternTable;  // null while no table exists
extern uint16_t patternCount;

// Frees every pattern's arrays and the table; safe when there is none.
void ReleaseAnimationPatterns();
// Allocates count empty patterns (after releasing the old table): 0, or -10 with no table.
int32_t AllocateAnimationPatterns(uint16_t count);
// Fills pattern p from (chip, frames) pairs: 0, or -10 with the pattern left without steps.
int32_t FillAnimationPattern(int32_t p, const int32_t* pairs, int32_t steps);
// The last step of UpdateCharacter while DRAW_ANIMATE is set.
void AnimateCharacter(int32_t n);

// What the character exports do once their arguments are checked.
struct ChipRecord;
// Character n as ZorvCreateCharacter makes it: chip chipNo at (x, y), alive while its anchor is
// no more than one chip size outside a surface of surfaceWidth x surfaceHeight.
void FillNewCharacter(int32_t n, int32_t chipNo, const ChipRecord& chip, int32_t x, int32_t y, int32_t surfaceWidth,
                      int32_t surfaceHeight);
// Every column but the position and every plugin-side entry of from, into to placed at (x, y).
void CopyCharacter(int32_t from, int32_t to, int32_t x, int32_t y);
// The first n of start ... end - 1 that is free (mask 0) or whose Attribute shares a bit with
// mask, or -1.
int32_t FindCharacter(int32_t mask, int32_t start, int32_t end);
// Velocity of n toward (x, y) at speed (1/256 pixel per frame); acceleration 0, MOVE_VELOCITY on.
void AimCharacter(int32_t n, int32_t x, int32_t y, int32_t speed);
// repeat frames of the existing characters of start ... end - 1, highest number first: 0, or
// -75 at the first one whose ChipNo is not below chips (those before it keep their new state).
int32_t MoveCharacters(int32_t start, int32_t end, int32_t repeat, int32_t chips);
// sortOrder[start ... start + count - 1] <- those numbers in ascending PosY.
void PrepareYOrder(int32_t start, int32_t count);

// Counts the Blink column one frame on and tells whether the character is drawn in it.
bool BlinkShows(int32_t& blink);
// Sorts the character numbers list[lo ... hi] into ascending PosY, in place, not stable; the
// part is at most characterCapacity long (sortKeys holds it while it is sorted).
void SortByY(uint16_t* list, int32_t lo, int32_t hi);

}  // namespace zorv
