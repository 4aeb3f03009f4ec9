// The surface table: allocation, off-screen surfaces, selection, release, colour matching
// and copies between surfaces.
#include <cstdlib>
#include <cstring>

#include "colour/colour_math.h"
#include "display/display.h"
#include "gdi/gdi.h"
#include "surface/surface.h"

namespace zorv {

SurfaceRecord* surfaceTable = nullptr;
int32_t surfaceCount = 0;
SurfaceRecord* currentSurface = nullptr;
int32_t currentSurfaceIndex = -1;

namespace {

// Creation flags of ZorvCreateOffscreenSurface.
constexpr uint32_t MAX_SURFACE_SIZE = 16384;
constexpr int32_t SURFACE_VIDEO_OR_SYSTEM = 0x001;  // video memory, system memory as fall-back
constexpr int32_t SURFACE_SYSTEM = 0x002;
constexpr int32_t SURFACE_VIDEO = 0x004;
constexpr int32_t SURFACE_3D = 0x008;
constexpr int32_t SURFACE_ZBUFFER = 0x010;
constexpr int32_t SURFACE_TEXTURE = 0x020;
constexpr int32_t SURFACE_ARGB1555 = 0x040;
constexpr int32_t SURFACE_ARGB4444 = 0x080;
constexpr int32_t SURFACE_ARGB8888 = 0x100;
constexpr int32_t SURFACE_MANAGED = 0x400;

void SetAlphaFormat(DDSURFACEDESC2* desc, DWORD bits, DWORD alpha, DWORD red, DWORD green, DWORD blue) {
    desc->dwFlags |= DDSD_PIXELFORMAT;
    DDPIXELFORMAT& pf = desc->ddpfPixelFormat;
    std::memset(&pf, 0, sizeof pf);
    pf.dwSize = sizeof pf;
    pf.dwFlags = DDPF_RGB | DDPF_ALPHAPIXELS;
    pf.dwRGBBitCount = bits;
    pf.dwRGBAlphaBitMask = alpha;
    pf.dwRBitMask = red;
    pf.dwGBitMask = green;
    pf.dwBBitMask = blue;
}

int CountBits(DWORD mask) {
    int count = 0;
    for (; mask != 0; mask &= mask - 1) ++count;
    return count;
}

}  // namespace

HRESULT CreateSurfaceWithFallback(DDSURFACEDESC2* desc, IDirectDrawSurface7** out, bool systemFallback) {
    HRESULT hr = directDraw->CreateSurface(desc, out, nullptr);
    if (FAILED(hr) && systemFallback) {
        // Video memory is scarce: the same surface in system memory.
        desc->ddsCaps.dwCaps = (desc->ddsCaps.dwCaps & ~DDSCAPS_VIDEOMEMORY) | DDSCAPS_SYSTEMMEMORY;
        hr = directDraw->CreateSurface(desc, out, nullptr);
    }
    if (FAILED(hr)) *out = nullptr;
    return hr;
}

HRESULT LockWaiting(IDirectDrawSurface7* surface, RECT* rect, DDSURFACEDESC2* desc, DWORD flags) {
    HRESULT hr;
    do {
        hr = surface->Lock(rect, desc, flags, nullptr);
    } while (hr == DDERR_WASSTILLDRAWING);
    return hr;
}

uint32_t ColorMatch(IDirectDrawSurface7* surface, int32_t red, int32_t green, int32_t blue) {
    const COLORREF wanted = RGB(red & 0xFF, green & 0xFF, blue & 0xFF);
    if (paletteMode != 0) {
        // An 8-bit screen: the nearest entry of the plugin palette.
        HPALETTE palette = CreateGdiPalette(paletteTable);
        UINT index = GetNearestPaletteIndex(palette, wanted);
        DeleteObject(palette);
        return index;
    }

    // Let GDI write the colour into pixel (0, 0), read the pixel's bits, then put it back.
    HDC dc = nullptr;
    HRESULT hr = surface->GetDC(&dc);
    if (FAILED(hr)) {
        DxFail(hr, 0);
        return 0xFFFFFFFFu;
    }
    COLORREF old = GetPixel(dc, 0, 0);
    SetPixel(dc, 0, 0, wanted);
    surface->ReleaseDC(dc);

    uint32_t code = 0xFFFFFFFFu;
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    hr = LockWaiting(surface, nullptr, &desc, DDLOCK_WAIT | DDLOCK_READONLY);
    if (SUCCEEDED(hr)) {
        code = PixelCode(static_cast<const uint8_t*>(desc.lpSurface), desc.ddpfPixelFormat.dwRGBBitCount);
        surface->Unlock(nullptr);
    } else {
        DxFail(hr, 0);
    }

    hr = surface->GetDC(&dc);
    if (SUCCEEDED(hr)) {
        SetPixel(dc, 0, 0, old);
        surface->ReleaseDC(dc);
    } else {
        DxFail(hr, 0);
    }
    return code;
}

void InitSurfaceRecord(SurfaceRecord* record, int32_t width, int32_t height, int32_t drawRight,
                       int32_t drawBottom, bool wantsZBuffer) {
    record->reserved8 = -1;
    record->boundTexture = nullptr;
    record->posX = 0;
    record->posY = 0;
    record->drawLeft = 0;
    record->drawTop = 0;
    record->drawRight = drawRight;
    record->drawBottom = drawBottom;
    record->width = width;
    record->height = height;
    record->transparentOn = 0;
    record->transparentCode = ColorMatch(record->surface, 0, 0, 0);
    record->whiteCode = ColorMatch(record->surface, 255, 255, 255);
    record->renderColorOn = 0;
    record->renderColorR = 256;
    record->renderColorG = 256;
    record->renderColorB = 256;
    std::memset(&record->desc, 0, sizeof record->desc);
    record->desc.dwSize = sizeof record->desc;
    record->surface->GetSurfaceDesc(&record->desc);
    record->alphaShift = static_cast<uint8_t>(8 - CountBits(record->desc.ddpfPixelFormat.dwRGBAlphaBitMask));
    DDSCAPS2 caps = {};
    record->surface->GetCaps(&caps);
    record->caps = caps.dwCaps;
    record->zBuffer = wantsZBuffer ? 1 : 0;
}

void ReleaseSurfaceDevice(SurfaceRecord* record) {
    // A Z buffer is released (detached first) also when the device set-up failed after it
    // was attached, so that it does not outlive the surface. Before the set-up the field
    // only holds the request flag 1.
    if (record->zBuffer > 1) {
        auto zBuffer = reinterpret_cast<IDirectDrawSurface7*>(record->zBuffer);
        record->surface->DeleteAttachedSurface(0, zBuffer);
        zBuffer->Release();
        record->zBuffer = 0;
    }
    if (record->device != nullptr) {
        record->device->Release();
        record->device = nullptr;
    }
}

int32_t ReleaseSurfaceAt(int32_t index) {
    if (index < 1 || index >= surfaceCount) return ERR_PARAM_RANGE;
    if (index == currentSurfaceIndex) return ERR_ACTIVE_SURFACE;
    SurfaceRecord* record = &surfaceTable[index];
    if (record->surface == nullptr) return ERR_SURFACE_NOT_CREATED;
    TakeBackLentDc(record->surface);
    ReleaseSurfaceDevice(record);
    record->surface->Release();
    record->surface = nullptr;
    return OK;
}

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvInitializeSurface(int32_t count, int32_t, int32_t, int32_t) {
    EnterExport("ZorvInitializeSurface");
    if (count < 2) return ERR_PARAM_RANGE;
    if (primarySurface != nullptr) return ERR_ALREADY_INITIALIZED;
    // Surfaces still held by an old table are not released here; the script owns that order.
    std::free(surfaceTable);
    surfaceTable = nullptr;
    surfaceCount = 0;
    currentSurface = nullptr;
    currentSurfaceIndex = -1;
    void* memory = std::calloc(static_cast<size_t>(count), sizeof(SurfaceRecord));
    if (memory == nullptr) return ERR_OUT_OF_MEMORY;
    surfaceTable = static_cast<SurfaceRecord*>(memory);
    surfaceCount = count;
    return OK;
}

ZORV_API ZorvCreateOffscreenSurface(int32_t index, int32_t width, int32_t height, int32_t flags) {
    EnterExport("ZorvCreateOffscreenSurface");
    if (index < 1 || index >= surfaceCount) return ERR_PARAM_RANGE;
    if (primarySurface == nullptr) return ERR_NO_PRIMARY;
    SurfaceRecord* record = &surfaceTable[index];
    if (record->surface != nullptr) return ERR_ALREADY_INITIALIZED;
    // Negative sizes and sizes beyond 16384 are refused before DirectDraw sees them: Wine
    // makes a surface of a billion pixels across and then crashes in the first blit onto it.
    if (static_cast<uint32_t>(width) > MAX_SURFACE_SIZE || static_cast<uint32_t>(height) > MAX_SURFACE_SIZE) {
        return ERR_PARAM_RANGE;
    }

    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    desc.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH;
    desc.dwWidth = static_cast<DWORD>(width);
    desc.dwHeight = static_cast<DWORD>(height);
    desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    if (flags & SURFACE_MANAGED) {
        desc.ddsCaps.dwCaps2 = DDSCAPS2_TEXTUREMANAGE;
    } else {
        if (flags & SURFACE_SYSTEM) desc.ddsCaps.dwCaps |= DDSCAPS_SYSTEMMEMORY;
        if (flags & (SURFACE_VIDEO_OR_SYSTEM | SURFACE_VIDEO)) desc.ddsCaps.dwCaps |= DDSCAPS_VIDEOMEMORY;
    }
    if (flags & SURFACE_3D) desc.ddsCaps.dwCaps |= DDSCAPS_3DDEVICE;
    if (flags & SURFACE_TEXTURE) desc.ddsCaps.dwCaps = (desc.ddsCaps.dwCaps & ~DDSCAPS_OFFSCREENPLAIN) | DDSCAPS_TEXTURE;
    // Several format bits: the last one applied wins.
    if (flags & SURFACE_ARGB1555) SetAlphaFormat(&desc, 16, 0x8000, 0x7C00, 0x03E0, 0x001F);
    if (flags & SURFACE_ARGB4444) SetAlphaFormat(&desc, 16, 0xF000, 0x0F00, 0x00F0, 0x000F);
    if (flags & SURFACE_ARGB8888) SetAlphaFormat(&desc, 32, 0xFF000000, 0x00FF0000, 0x0000FF00, 0x000000FF);

    HRESULT hr = CreateSurfaceWithFallback(&desc, &record->surface, (flags & SURFACE_VIDEO_OR_SYSTEM) != 0);
    if (FAILED(hr)) return DxFail(hr, ERR_CREATE_SURFACE);

    InitSurfaceRecord(record, width, height, width - 1, height - 1, (flags & SURFACE_ZBUFFER) != 0);
    // Black is the stored source key from the start; ZorvSetTransparentColor puts it in force.
    DDCOLORKEY key = {record->transparentCode, record->transparentCode};
    record->surface->SetColorKey(DDCKEY_SRCBLT, &key);

    if (flags & SURFACE_3D) {
        int32_t status = CreateSurfaceDevice(record);
        if (status != OK) {
            ReleaseSurfaceDevice(record);
            record->zBuffer = 0;
            record->surface->Release();
            record->surface = nullptr;
            return status;
        }
    }
    currentSurface = record;
    currentSurfaceIndex = index;
    return OK;
}

ZORV_API ZorvSelectSurface(int32_t index, int32_t, int32_t, int32_t) {
    EnterExport("ZorvSelectSurface");
    if (index < 0 || index >= surfaceCount) return ERR_PARAM_RANGE;
    if (surfaceTable == nullptr || surfaceTable[index].surface == nullptr) return ERR_SURFACE_NOT_CREATED;
    currentSurfaceIndex = index;
    currentSurface = &surfaceTable[index];
    return OK;
}

ZORV_API ZorvReleaseOffscreenSurface(int32_t index, int32_t, int32_t, int32_t) {
    EnterExport("ZorvReleaseOffscreenSurface");
    return ReleaseSurfaceAt(index);
}

// Copies the w x h block at the source's position to the current surface's position,
// clipped to the source and to the current surface's draw area. BltFast honours no
// clipper, so the clipping is done here.
ZORV_API ZorvSurfaceToSurface(int32_t sourceIndex, int32_t w, int32_t h, int32_t) {
    EnterExport("ZorvSurfaceToSurface");
    if (sourceIndex < 0 || sourceIndex >= surfaceCount) return ERR_PARAM_RANGE;
    if (DrawingSurface() == nullptr) return ERR_NO_SURFACE;
    SurfaceRecord* source = &surfaceTable[sourceIndex];
    if (source->surface == nullptr) return OK;
    SurfaceRecord* target = currentSurface;

    RECT rect;
    rect.left = source->posX;
    rect.top = source->posY;
    rect.right = rect.left + w;
    rect.bottom = rect.top + h;
    if (rect.left < 0) rect.left = 0;
    if (rect.top < 0) rect.top = 0;
    if (rect.right > source->width) rect.right = source->width;
    if (rect.bottom > source->height) rect.bottom = source->height;

    int32_t x = target->posX;
    int32_t y = target->posY;
    int32_t over = target->drawLeft - x;
    if (over > 0) {
        rect.left += over;
        x = target->drawLeft;
    }
    if (rect.right <= rect.left) return OK;
    over = x + (rect.right - rect.left) - target->drawRight;
    if (over > 0) rect.right -= over;
    if (rect.right <= rect.left) return OK;
    over = target->drawTop - y;
    if (over > 0) {
        rect.top += over;
        y = target->drawTop;
    }
    if (rect.bottom <= rect.top) return OK;
    over = y + (rect.bottom - rect.top) - target->drawBottom;
    if (over > 0) rect.bottom -= over;
    if (rect.bottom <= rect.top) return OK;

    DWORD fastFlags = DDBLTFAST_WAIT | (source->transparentOn ? DDBLTFAST_SRCCOLORKEY : 0);
    target->surface->BltFast(static_cast<DWORD>(x), static_cast<DWORD>(y), source->surface, &rect, fastFlags);
    return OK;
}
