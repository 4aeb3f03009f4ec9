// The chip table's exports: allocating the table, cutting chips from the current surface,
// and their anchors and hit areas.
#include <cstdlib>

#include "chip/chip.h"
#include "frame/frame.h"
#include "surface/surface.h"

namespace zorv {

ChipRecord* chipTable = nullptr;
int32_t chipCount = 0;

void ReleaseChipTable() {
    std::free(chipTable);
    chipTable = nullptr;
    chipCount = 0;
}

namespace {
bool ValidChip(int32_t chip) { return chip >= 0 && chip < chipCount; }
}  // namespace

}  // namespace zorv

using namespace zorv;

// Discards every chip and starts a zero-filled table: an uncreated chip has zero size.
ZORV_API ZorvInitializeChip(int32_t count, int32_t, int32_t, int32_t) {
    EnterExport("ZorvInitializeChip");
    if (count < 1) return ERR_PARAM_RANGE;
    ReleaseChipTable();
    void* memory = std::calloc(static_cast<size_t>(count), sizeof(ChipRecord));
    if (memory == nullptr) return ERR_OUT_OF_MEMORY;
    chipTable = static_cast<ChipRecord*>(memory);
    chipCount = count;
    return OK;
}

// The chip is cut at the current surface's position; the rectangle is not checked against
// the surface.
ZORV_API ZorvCreateChip(int32_t chip, int32_t width, int32_t height, int32_t) {
    EnterExport("ZorvCreateChip");
    if (!ValidChip(chip) || width < 1 || height < 1) return ERR_PARAM_RANGE;
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    FillChip(&chipTable[chip], currentSurface->surface, currentSurfaceIndex, currentSurface->posX,
             currentSurface->posY, width, height);
    return OK;
}

ZORV_API ZorvSetChipOffset(int32_t chip, int32_t x, int32_t y, int32_t) {
    EnterExport("ZorvSetChipOffset");
    if (!ValidChip(chip)) return ERR_PARAM_RANGE;
    chipTable[chip].offsetX = x;
    chipTable[chip].offsetY = y;
    return OK;
}

// The array's first four elements: left, top, right, bottom. Its kind is not checked, but
// an array shorter than four elements is refused rather than read past its end.
ZORV_API ZorvSetChipHitArea(HostVariable* var, int32_t chip, int32_t, int32_t) {
    EnterExport("ZorvSetChipHitArea");
    if (!ValidChip(chip)) return ERR_PARAM_RANGE;
    if (var == nullptr || var->data == nullptr || var->size < 4) return ERR_PARAM_MISSING;
    const int32_t* area = static_cast<const int32_t*>(var->data);
    chipTable[chip].hitLeft = area[0];
    chipTable[chip].hitTop = area[1];
    chipTable[chip].hitRight = area[2];
    chipTable[chip].hitBottom = area[3];
    return OK;
}
