// ZorvCombine: the block of internal pointers that cooperating plugins use to draw on the
// same surfaces. The record layouts it leads to are fixed byte for byte.
#include "display/display.h"
#include "surface/surface.h"

namespace zorv {

struct CombineBlock {
    int32_t size;                        // 40
    SurfaceRecord** currentSurface;      // follows later selections
    SurfaceRecord* surfaceTable;         // offsets 8 to 34: a snapshot taken at the call
    int32_t surfaceCount;
    int32_t* polygonCount;
    HostScreen* hostScreen;
    IDirect3D7* direct3D;
    IDirectDraw7* directDraw;
    uint8_t screenMode;
    uint8_t flipMode;
    uint8_t renderMode;
    uint8_t unused35;
    int32_t signature;                   // 0x6520
};
static_assert(sizeof(CombineBlock) == 40, "CombineBlock is 40 bytes");
static_assert(offsetof(CombineBlock, screenMode) == 32, "screen mode at 32");
static_assert(offsetof(CombineBlock, signature) == 36, "signature at 36");

namespace {
CombineBlock combineBlock = {};
constexpr int32_t COMBINE_SIGNATURE = 0x6520;
}  // namespace

}  // namespace zorv

using namespace zorv;

// The variable's kind is not checked: cooperating plugins pass what they have. A variable
// without room for the address gets nothing.
ZORV_API ZorvCombine(HostVariable* var, int32_t, int32_t, int32_t) {
    EnterExport("ZorvCombine");
    CombineBlock& block = combineBlock;
    block.size = sizeof(CombineBlock);
    block.currentSurface = &currentSurface;
    block.surfaceTable = surfaceTable;
    block.surfaceCount = surfaceCount;
    block.polygonCount = &polygonCount;
    block.hostScreen = hostScreen;
    block.direct3D = direct3D;
    block.directDraw = directDraw;
    block.screenMode = screenMode;
    block.flipMode = flipMode;
    block.renderMode = renderMode;
    block.signature = COMBINE_SIGNATURE;
    if (var != nullptr && var->data != nullptr && var->size >= 1) {
        static_cast<int32_t*>(var->data)[0] = static_cast<int32_t>(reinterpret_cast<uintptr_t>(&block));
    }
    return OK;
}
