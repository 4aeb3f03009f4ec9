// Operations on the current surface: colour keys, the draw area, filled boxes and clears.
#include <cstring>

#include "display/display.h"
#include "surface/surface.h"

namespace zorv {

void ResetDrawArea(SurfaceRecord* record) {
    record->drawLeft = 0;
    record->drawTop = 0;
    record->drawRight = record->width;
    record->drawBottom = record->height;
}

int32_t ClearCurrentSurface(uint32_t colour, int32_t flags) {
    SurfaceRecord* record = currentSurface;
    if ((flags & 1) && record->surface == nullptr) return ERR_NO_SURFACE;
    if (flags & 2) ResetDrawArea(record);

    // Clearing through Direct3D; the software render mode has no device and skips it.
    if ((flags & (4 | 8)) != 0 && renderMode != RENDER_SOFTWARE) {
        if (record->device == nullptr) return ERR_NO_D3D_DEVICE;
        D3DRECT area = {{record->drawLeft}, {record->drawTop}, {record->drawRight}, {record->drawBottom}};
        DWORD clearFlags = ((flags & 4) ? D3DCLEAR_TARGET : 0) | ((flags & 8) ? D3DCLEAR_ZBUFFER : 0);
        HRESULT hr = record->device->Clear(1, &area, clearFlags, 0, 1.0f, 0);
        if (FAILED(hr)) return DxFail(hr, (flags & 8) ? ERR_CLEAR_ZBUFFER : ERR_CLEAR_VIEWPORT);
    }

    if (flags & 1) {
        DDBLTFX fx;
        std::memset(&fx, 0, sizeof fx);
        fx.dwSize = sizeof fx;
        fx.dwFillColor = colour;
        HRESULT hr = record->surface->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL | DDBLT_WAIT, &fx);
        if (FAILED(hr)) return DxFail(hr, ERR_COLORFILL);
    }
    return OK;
}

}  // namespace zorv

using namespace zorv;

// Mode bit 0: source key in force with the given code. Bit 1: destination key covering
// every code but the given one (a surface holds one range, so the upper range stays when
// both are set). Colour-key and render-state results are not looked at.
ZORV_API ZorvSetTransparentColor(int32_t mode, int32_t sourceKey, int32_t destKey, int32_t) {
    EnterExport("ZorvSetTransparentColor");
    if (mode < 0 || mode > 3) return ERR_PARAM_RANGE;
    SurfaceRecord* record = DrawingSurface();
    if (record == nullptr) return ERR_NO_SURFACE;

    if (mode & 1) {
        DDCOLORKEY key = {static_cast<DWORD>(sourceKey), static_cast<DWORD>(sourceKey)};
        record->surface->SetColorKey(DDCKEY_SRCBLT, &key);
        record->transparentOn = 1;
        record->transparentCode = static_cast<uint32_t>(sourceKey);
    } else {
        record->surface->SetColorKey(DDCKEY_SRCBLT, nullptr);
        record->transparentOn = 0;
    }

    if (mode & 2) {
        if (destKey > 0) {
            DDCOLORKEY below = {0, static_cast<DWORD>(destKey) - 1};
            record->surface->SetColorKey(DDCKEY_DESTBLT, &below);
        }
        if (static_cast<uint32_t>(destKey) != 0xFFFFFFFFu) {
            DDCOLORKEY above = {static_cast<DWORD>(destKey) + 1, 0xFFFFFFFFu};
            record->surface->SetColorKey(DDCKEY_DESTBLT, &above);
        }
        if (record->device != nullptr) record->device->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, TRUE);
    } else {
        record->surface->SetColorKey(DDCKEY_DESTBLT, nullptr);
        if (record->device != nullptr) record->device->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, FALSE);
    }
    return OK;
}

ZORV_API ZorvSetDrawArea(int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    EnterExport("ZorvSetDrawArea");
    SurfaceRecord* record = currentSurface;
    if (record == nullptr) return ERR_NO_SURFACE;
    int32_t left = x1 < x2 ? x1 : x2;
    int32_t right = x1 < x2 ? x2 : x1;
    int32_t top = y1 < y2 ? y1 : y2;
    int32_t bottom = y1 < y2 ? y2 : y1;
    if (left < 0) left = 0;
    if (top < 0) top = 0;
    if (right >= record->width) right = record->width - 1;
    if (bottom >= record->height) bottom = record->height - 1;
    record->drawLeft = left;
    record->drawTop = top;
    record->drawRight = right;
    record->drawBottom = bottom;

    if ((record->desc.ddsCaps.dwCaps & DDSCAPS_3DDEVICE) && record->device != nullptr) {
        HRESULT hr = SetViewportRect(left, top, right - left, bottom - top, record);
        if (FAILED(hr)) return DxFail(hr, ERR_SET_VIEWPORT);
    }
    return OK;
}

// The box starts at the surface's position and is not clipped: DirectDraw refuses a box
// that leaves the surface, which comes back as -36.
ZORV_API ZorvBoxFill(int32_t w, int32_t h, int32_t colour, int32_t) {
    EnterExport("ZorvBoxFill");
    SurfaceRecord* record = DrawingSurface();
    if (record == nullptr) return ERR_NO_SURFACE;
    RECT box = {record->posX, record->posY, record->posX + w, record->posY + h};
    DDBLTFX fx;
    std::memset(&fx, 0, sizeof fx);
    fx.dwSize = sizeof fx;
    fx.dwFillColor = static_cast<DWORD>(colour);
    HRESULT hr = record->surface->Blt(&box, nullptr, nullptr, DDBLT_COLORFILL | DDBLT_WAIT, &fx);
    if (FAILED(hr)) return DxFail(hr, ERR_COLORFILL);
    return OK;
}

ZORV_API ZorvClearSurface(int32_t colour, int32_t flags, int32_t, int32_t) {
    EnterExport("ZorvClearSurface");
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    return ClearCurrentSurface(static_cast<uint32_t>(colour), flags);
}
