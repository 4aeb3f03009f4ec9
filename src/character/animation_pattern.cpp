// Animation patterns and the per-frame animation step of a character.
#include <cstdlib>

#include "character/character.h"
#include "chip/chip.h"

namespace zorv {

PatternRecord* patternTable = nullptr;
uint16_t patternCount = 0;

namespace {

void ClearPattern(PatternRecord& p) {
    std::free(p.endTimes);
    std::free(p.chips);
    p = PatternRecord{0, nullptr, nullptr};
}

}  // namespace

void ReleaseAnimationPatterns() {
    for (uint16_t i = 0; patternTable != nullptr && i < patternCount; ++i) ClearPattern(patternTable[i]);
    std::free(patternTable);
    patternTable = nullptr;
    patternCount = 0;
}

int32_t AllocateAnimationPatterns(uint16_t count) {
    ReleaseAnimationPatterns();
    if (count == 0) return 0;  // an empty table: every pattern number is out of range
    patternTable = static_cast<PatternRecord*>(std::calloc(count, sizeof(PatternRecord)));
    if (patternTable == nullptr) return -10;
    patternCount = count;
    return 0;
}

int32_t FillAnimationPattern(int32_t p, const int32_t* pairs, int32_t steps) {
    PatternRecord& record = patternTable[p];
    ClearPattern(record);
    int32_t* endTimes = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * steps));
    uint16_t* chips = static_cast<uint16_t*>(std::malloc(sizeof(uint16_t) * steps));
    if (endTimes == nullptr || chips == nullptr) {
        std::free(endTimes);
        std::free(chips);
        return -10;
    }
    for (int32_t i = 0; i < steps; ++i) {
        chips[i] = static_cast<uint16_t>(pairs[2 * i]);
        endTimes[i] = i == 0 ? pairs[1] : WrapAdd(endTimes[i - 1], pairs[2 * i + 1]);
    }
    record = PatternRecord{static_cast<uint8_t>(steps), endTimes, chips};
    return 0;
}

void AnimateCharacter(int32_t n) {
    const int32_t p = Col(COL_PATTERN_NO, n);
    // A PatternNo the script wrote that names no pattern, or a pattern without steps, leaves
    // the character as it is: there is nothing to advance through.
    if (p < 0 || p >= patternCount || patternTable[p].stepCount == 0) return;
    const PatternRecord& pattern = patternTable[p];
    const int32_t s = animStep[n];
    // A step beyond the pattern (it was refilled with fewer steps) counts as ended, so the
    // character starts the pattern again from step 0 instead of reading past its arrays.
    if (s >= pattern.stepCount || static_cast<uint32_t>(pattern.endTimes[s]) < animTimer[n]) {
        int32_t next = s + 1;
        if (next >= pattern.stepCount) {
            next = 0;
            animTimer[n] = 0;
        }
        animStep[n] = static_cast<uint8_t>(next);
        Col(COL_CHIP_NO, n) = pattern.chips[next];
    }
    animTimer[n] += 1;
}

}  // namespace zorv
