// The surface table: one SurfaceRecord per DirectDraw surface the plugin knows. Entry 0 is
// the screen's back buffer, entries 1 and up are off-screen surfaces. Cooperating plugins
// receive the table through ZorvCombine, so the record's layout is fixed byte for byte.
#pragma once

#include <windows.h>
#include <ddraw.h>
#include <d3d.h>

#include <cstddef>
#include <cstdint>

namespace zorv {

struct SurfaceRecord {
    IDirectDrawSurface7* surface;    // null: entry unused
    IDirect3DDevice7* device;        // 3D surfaces only
    int32_t reserved8;               // -1 once created
    SurfaceRecord* boundTexture;     // record bound as texture of stage 0; 0 = none
    D3DMATERIAL7 material;
    uint8_t alphaShift;              // 8 - bits in the alpha mask
    uint8_t padding85[3];
    DDSURFACEDESC2 desc;             // read back right after creation
    int32_t transparentOn;           // source colour key in force
    uint32_t transparentCode;        // source key colour code
    int32_t renderColorOn;
    uint16_t renderColorR;           // tint factors, 256 = unchanged
    uint16_t renderColorG;
    uint16_t renderColorB;
    uint16_t padding230;
    int32_t width;
    int32_t height;
    int32_t drawLeft;                // draw area: the clip rectangle of copies and chips
    int32_t drawTop;
    int32_t drawRight;
    int32_t drawBottom;
    int32_t posX;                    // origin of fills and copies
    int32_t posY;
    uint32_t whiteCode;
    int32_t reserved268;
    int32_t alphaBlendOn;
    int32_t srcBlend;
    int32_t destBlend;
    uint32_t caps;                   // dwCaps reported by GetCaps after creation
    // Before the 3D set-up: 1 when a Z buffer is wanted. After it: the attached Z buffer's
    // IDirectDrawSurface7, or 0.
    uintptr_t zBuffer;
};

static_assert(sizeof(SurfaceRecord) == 292, "SurfaceRecord is 292 bytes");
static_assert(offsetof(SurfaceRecord, material) == 16, "material at 16");
static_assert(offsetof(SurfaceRecord, alphaShift) == 84, "alphaShift at 84");
static_assert(offsetof(SurfaceRecord, desc) == 88, "desc at 88");
static_assert(offsetof(SurfaceRecord, desc) + offsetof(DDSURFACEDESC2, lPitch) == 104, "pitch at 104");
static_assert(offsetof(SurfaceRecord, desc) + offsetof(DDSURFACEDESC2, ddpfPixelFormat) + 12 == 172,
              "bit count at 172");
static_assert(offsetof(SurfaceRecord, desc) + offsetof(DDSURFACEDESC2, ddsCaps) == 192, "caps at 192");
static_assert(offsetof(SurfaceRecord, transparentOn) == 212, "transparentOn at 212");
static_assert(offsetof(SurfaceRecord, renderColorR) == 224, "renderColorR at 224");
static_assert(offsetof(SurfaceRecord, width) == 232, "width at 232");
static_assert(offsetof(SurfaceRecord, drawLeft) == 240, "drawLeft at 240");
static_assert(offsetof(SurfaceRecord, posX) == 256, "posX at 256");
static_assert(offsetof(SurfaceRecord, whiteCode) == 264, "whiteCode at 264");
static_assert(offsetof(SurfaceRecord, alphaBlendOn) == 272, "alphaBlendOn at 272");
static_assert(offsetof(SurfaceRecord, caps) == 284, "caps at 284");
static_assert(offsetof(SurfaceRecord, zBuffer) == 288, "zBuffer at 288");

extern SurfaceRecord* surfaceTable;    // null until ZorvInitializeSurface
extern int32_t surfaceCount;
extern SurfaceRecord* currentSurface;  // the target of every drawing operation
extern int32_t currentSurfaceIndex;    // -1 at load

// The current surface when it has a DirectDraw surface to draw on, else null. Record 0 stays
// current after the screen was released (or its creation failed half-way) but has no
// surface then: operations that touch the surface answer -76 instead of calling through null.
inline SurfaceRecord* DrawingSurface() {
    return currentSurface != nullptr && currentSurface->surface != nullptr ? currentSurface : nullptr;
}

// The colour code that (red, green, blue) has on a surface, found through GDI.
uint32_t ColorMatch(IDirectDrawSurface7* surface, int32_t red, int32_t green, int32_t blue);
// Fills the fields every new surface starts with (size, draw area, keys, desc, caps...).
// The screen's record 0 passes its own draw-area right and bottom.
void InitSurfaceRecord(SurfaceRecord* record, int32_t width, int32_t height, int32_t drawRight,
                       int32_t drawBottom, bool wantsZBuffer);
// Releases entry index (1 ... count - 1); refuses the current one.
int32_t ReleaseSurfaceAt(int32_t index);
// Releases a record's Z buffer (detached first), whether or not its device was made, and
// its Direct3D device.
void ReleaseSurfaceDevice(SurfaceRecord* record);
// CreateSurface; when it fails and systemFallback is set, once more with system memory in
// place of video memory. *out is null unless it succeeds.
HRESULT CreateSurfaceWithFallback(DDSURFACEDESC2* desc, IDirectDrawSurface7** out, bool systemFallback);
// Locks, repeating while DirectDraw is still drawing.
HRESULT LockWaiting(IDirectDrawSurface7* surface, RECT* rect, DDSURFACEDESC2* desc, DWORD flags);

// The Direct3D device, Z buffer, viewport and initial state of a 3D surface.
int32_t CreateSurfaceDevice(SurfaceRecord* record);
HRESULT SetViewportRect(int32_t x, int32_t y, int32_t width, int32_t height, SurfaceRecord* record);

// The body of ZorvClearSurface, also run by the screen update.
int32_t ClearCurrentSurface(uint32_t colour, int32_t flags);
// Draw area (0, 0, width, height).
void ResetDrawArea(SurfaceRecord* record);

}  // namespace zorv
