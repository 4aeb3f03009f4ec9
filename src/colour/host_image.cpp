// Pixel exchange with the host's window buffers: ZorvHSPToSurface converts a block of a host
// buffer into the current surface in locked memory, ZorvSurfaceToHSP copies the current
// surface back through GDI.
#include <cstring>

#include "colour/host_pixels.h"
#include "display/display.h"
#include "surface/surface.h"

// Built with the palettes; a palette-mode copy back ends with it.
ZORV_API ZorvPaletteCopy(int32_t record, int32_t direction, int32_t first, int32_t buffer);

namespace zorv {
namespace {

// The host palette index -> the plugin palette's index of the nearest colour, asked of GDI
// once per host entry rather than once per pixel: the same answer for every pixel of an index.
void MatchHostPalette(const uint8_t* colourTable, uint8_t nearest[256]) {
    HPALETTE palette = CreateGdiPalette(paletteTable);
    for (int i = 0; i < 256; ++i) {
        const uint8_t* e = colourTable + 4 * i;
        nearest[i] = static_cast<uint8_t>(GetNearestPaletteIndex(palette, RGB(e[2], e[1], e[0])));
    }
    DeleteObject(palette);
}

HRESULT GetDcWaiting(IDirectDrawSurface7* surface, HDC* dc) {
    HRESULT hr;
    do {
        hr = surface->GetDC(dc);
    } while (hr == DDERR_WASSTILLDRAWING);
    return hr;
}

}  // namespace
}  // namespace zorv

using namespace zorv;

// A record without pixel bits (or, for an 8-bit buffer, without a colour table) cannot be
// read: -2 like a block that does not fit, checked with it.
ZORV_API ZorvHSPToSurface(HostScreen* record, int32_t w, int32_t h, int32_t mode) {
    EnterExport("ZorvHSPToSurface");
    if (w < 0 || h < 0) return ERR_PARAM_RANGE;
    if (w == 0 && h == 0) return OK;
    SurfaceRecord* target = DrawingSurface();
    if (target == nullptr) return ERR_NO_SURFACE;
    HostBlock block;
    if (record == nullptr || record->bits == nullptr || (record->paletteMode != 0 && record->colourTable == nullptr) ||
        !FitHostBlock(record->width, record->height, record->cursorX, record->cursorY, w, h, &block)) {
        return ERR_PARAM_RANGE;
    }
    block.bits = record->bits;
    block.colourTable = reinterpret_cast<const uint8_t*>(record->colourTable);
    block.palettised = record->paletteMode != 0;

    const DDPIXELFORMAT& format = target->desc.ddpfPixelFormat;
    const HostConversion kind = ChooseHostConversion(block.palettised, mode != 0, format.dwRGBBitCount);
    if (kind == HOST_NOTHING) return OK;
    const PixelPacking packing =
        AnalysePacking(format.dwRBitMask, format.dwGBitMask, format.dwBBitMask, format.dwRGBAlphaBitMask);
    uint8_t nearest[256] = {};
    if (kind == HOST_NEAREST) MatchHostPalette(block.colourTable, nearest);

    RECT rect = {target->posX, target->posY, target->posX + w, target->posY + h};
    DDSURFACEDESC2 locked;
    std::memset(&locked, 0, sizeof locked);
    locked.dwSize = sizeof locked;
    HRESULT hr = LockWaiting(target->surface, &rect, &locked, DDLOCK_WAIT);
    if (FAILED(hr)) return DxFail(hr, ERR_LOCK);
    // The pixel size of the memory as locked: a loop of another size writes nothing.
    const BlockTarget out = {static_cast<uint8_t*>(locked.lpSurface), locked.lPitch,
                             locked.ddpfPixelFormat.dwRGBBitCount == format.dwRGBBitCount ? format.dwRGBBitCount : 0};
    CopyHostBlock(block, kind, packing, nearest, out);
    hr = target->surface->Unlock(&rect);
    if (FAILED(hr)) return DxFail(hr, ERR_UNLOCK);
    return OK;
}

// GDI converts on this path, so every surface format is accepted. A negative size, a
// negative position x or a missing record is refused with -2 like a block that passes the
// buffer's edge.
ZORV_API ZorvSurfaceToHSP(HostScreen* record, int32_t w, int32_t h, int32_t paletteBuffer) {
    EnterExport("ZorvSurfaceToHSP");
    HostBlock block;
    if (record == nullptr || !FitHostBlock(record->width, record->height, record->cursorX, record->cursorY, w, h, &block)) {
        return ERR_PARAM_RANGE;
    }
    SurfaceRecord* source = DrawingSurface();
    if (source == nullptr) return ERR_NO_SURFACE;

    HDC dc = nullptr;
    HRESULT hr = GetDcWaiting(source->surface, &dc);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DC);
    const BOOL copied = BitBlt(record->hdc, record->cursorX, record->cursorY, w, h, dc, source->posX, source->posY, SRCCOPY);
    hr = source->surface->ReleaseDC(dc);
    if (!copied) return ERR_BITMAP_TRANSFER2;
    if (FAILED(hr)) return DxFail(hr, ERR_RELEASE_DC);

    // An 8-bit screen: the host also gets the plugin palette (which names itself the last call).
    if (paletteMode != 0) {
        return ZorvPaletteCopy(static_cast<int32_t>(reinterpret_cast<uintptr_t>(record)), 1, 0, paletteBuffer);
    }
    return OK;
}
