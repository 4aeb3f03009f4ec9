// Character drawing: each existing character of a range is drawn onto the current surface
// (by number, or from the smallest PosY up) and moved one frame right after.
#include "character/character.h"
#include "chip/chip_draw.h"

using namespace zorv;

namespace {

// A visible character with a valid chip: the blink decides, then the plain colour-keyed copy
// or, when rotated, scaled or transparent, the transformed chip, its anchor at the effective
// position plus the scroll.
int32_t DrawCharacter(int32_t n, int32_t sx, int32_t sy) {
    if (!BlinkShows(Col(COL_BLINK, n))) return OK;
    const IntPair at = EffectivePosition(n);
    const int32_t x = WrapAdd(at.x, sx), y = WrapAdd(at.y, sy);
    const int32_t flags = Col(COL_DRAW_FLAGS, n) & 0xFF;
    const ChipRecord& chip = chipTable[Col(COL_CHIP_NO, n)];
    if ((flags & (DRAW_ROTATE | DRAW_SCALE | DRAW_TRANSPARENCY)) == 0) {
        // Like a failed blit, a chip with no surface to copy from (never created, or its
        // surface released) draws nothing and does not stop the call.
        DrawChipPlain(DrawingSurface(), chip, x, y);
        return OK;
    }
    const int32_t scaleX = flags & DRAW_SCALE ? Col(COL_SCALE_X, n) : 256;
    const int32_t scaleY = flags & DRAW_SCALE ? Col(COL_SCALE_Y, n) : 256;
    // Scales below 1 draw nothing, as for ZorvPutChip2 and ZorvPutChip4; so does a chip that
    // was never created.
    if (scaleX < 1 || scaleY < 1 || chip.width < 1 || chip.height < 1) return OK;
    return DrawChipTransformed(x, y, chip, scaleX, scaleY, flags & DRAW_ROTATE ? Col(COL_ANGLE, n) : 0,
                               flags & DRAW_TRANSPARENCY ? Col(COL_TRANSPARENCY, n) & 0xFF : 0);
}

// Draws (when visible) and then moves character n: 0, -75 for a chip number outside the table,
// or the first drawing error (the character is then not moved, nor any after it).
int32_t PutCharacter(int32_t n, int32_t sx, int32_t sy) {
    if (Col(COL_ATTRIBUTE, n) == 0) return OK;
    if (Col(COL_CHIP_NO, n) < 0 || Col(COL_CHIP_NO, n) >= chipCount) return ERR_CHIP_NUMBER;
    if (Col(COL_DRAW_FLAGS, n) & DRAW_VISIBLE) {
        const int32_t status = DrawCharacter(n, sx, sy);
        if (status != OK) return status;
    }
    UpdateCharacter(n);
    return OK;
}

}  // namespace

ZORV_API ZorvPutCharacter(int32_t start, int32_t count, int32_t sx, int32_t sy) {
    EnterExport("ZorvPutCharacter");
    if (!ValidRange(start, count)) return ERR_PARAM_RANGE;
    const int32_t end = WrapAdd(start, count);
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    if (DrawingSurface() == nullptr) return ERR_NO_SURFACE;
    // Highest number first, so that lower-numbered characters end on top.
    for (int32_t n = end - 1; n >= start; --n) {
        const int32_t status = PutCharacter(n, sx, sy);
        if (status != OK) return status;
    }
    return OK;
}

// Smaller PosY first, so that the character lowest on the screen is drawn last.
ZORV_API ZorvPutCharacterYSort(int32_t start, int32_t count, int32_t sx, int32_t sy) {
    EnterExport("ZorvPutCharacterYSort");
    if (!ValidCharacter(start) || count < 0 || count > characterCapacity || start + count > characterCapacity) {
        return ERR_PARAM_RANGE;
    }
    if (CharacterVariablesReady() != OK) return ERR_CHARACTER_VARIABLES;
    if (DrawingSurface() == nullptr) return ERR_NO_SURFACE;
    PrepareYOrder(start, count);
    for (int32_t k = start; k < start + count; ++k) {
        const int32_t status = PutCharacter(sortOrder[k], sx, sy);
        if (status != OK) return status;
    }
    return OK;
}
