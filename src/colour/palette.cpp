// Colour codes and the 8-bit palette: RGB to colour codes and back, the code of one pixel,
// palette entries set by the script, palettes copied to and from the host, and fades that
// the screen update advances one step per frame.
//
// Choices where the rules leave room:
// - More than 256 ZorvSetPalette calls between two updates: the change list is full, so the
//   whole palette is marked and the update writes all 256 entries at once (full screen) or
//   hands the table over as usual (windowed). No change is lost, nothing is written past the
//   list.
// - A variable too small for the result (fewer than 3 elements for ZorvGetRGBFromColorCode,
//   fewer than 768 for ZorvFadePalette) answers -71 right after its type check.
// - Palette work needs the screen's palette: with paletteMode left set by a released or
//   half-made screen, ZorvPaletteCopy answers -32 and the update has no palette work.
// - ZorvPaletteCopy with a null buffer answers -71 after the direction check.
#include "colour/palette.h"

#include <cstring>

#include "colour/colour_math.h"
#include "display/display.h"
#include "surface/surface.h"

namespace zorv {

uint8_t paletteChanges[256] = {};
int32_t paletteChangeCount = 0;
uint8_t fadeTarget[256][3] = {};
int32_t fadeSteps = 0;
int32_t fadeStep = 0;

namespace {

constexpr int32_t FADE_SHOW_TABLE = -1;
constexpr int32_t FADE_STEPS_LIMIT = 0x7FFFFFFF;  // steps must stay below it
constexpr int32_t FADE_TARGET_ELEMENTS = 256 * 3;

// Windowed screens share the palette with the desktop: its first and last ten entries are
// the system's.
constexpr int32_t WINDOW_FIRST_ENTRY = 10;
constexpr int32_t WINDOW_ENTRY_COUNT = 236;

bool Windowed() { return screenMode != SCREEN_FULL; }
bool HasScreenPalette() { return paletteMode != 0 && screenPalette != nullptr; }

PALETTEENTRY Entry(int32_t red, int32_t green, int32_t blue) {
    return PALETTEENTRY{static_cast<BYTE>(red), static_cast<BYTE>(green), static_cast<BYTE>(blue), PC_RESERVED};
}

// A rectangle of one pixel; the right and bottom wrap instead of overflowing.
RECT PixelRect(int32_t x, int32_t y) {
    return RECT{x, y, static_cast<LONG>(static_cast<uint32_t>(x) + 1u), static_cast<LONG>(static_cast<uint32_t>(y) + 1u)};
}

// Locks the one-pixel rectangle, reads its code and unlocks it again.
int32_t ReadPixelCode(IDirectDrawSurface7* surface, RECT* rect, uint32_t* code) {
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    HRESULT hr = LockWaiting(surface, rect, &desc, DDLOCK_WAIT);
    if (FAILED(hr)) return DxFail(hr, ERR_LOCK);
    const uint32_t value = PixelCode(static_cast<const uint8_t*>(desc.lpSurface), desc.ddpfPixelFormat.dwRGBBitCount);
    hr = surface->Unlock(rect);
    if (FAILED(hr)) return DxFail(hr, ERR_UNLOCK);
    *code = value;
    return OK;
}

// Writes entries first ... first + count - 1 of the screen's palette.
int32_t SetScreenEntries(DWORD first, DWORD count, PALETTEENTRY* entries) {
    HRESULT hr = screenPalette->SetEntries(0, first, count, entries);
    if (FAILED(hr)) return DxFail(hr, ERR_SET_PALETTE);
    return OK;
}

// Entries changed by ZorvSetPalette. Windowed, the table goes to the host window; in full
// screen each change is written, the latest first (all at once after an overflow). A failure
// keeps the list for the next update.
int32_t ApplyPaletteChanges() {
    if (Windowed()) {
        RefreshHostPalette(paletteTable);
    } else if (paletteChangeCount > PALETTE_CHANGES_MAX) {
        int32_t status = SetScreenEntries(0, 256, paletteTable);
        if (status != OK) return status;
    } else {
        for (int32_t i = paletteChangeCount - 1; i >= 0; --i) {
            const uint8_t index = paletteChanges[i];
            int32_t status = SetScreenEntries(index, 1, &paletteTable[index]);
            if (status != OK) return status;
        }
    }
    paletteChangeCount = 0;
    return OK;
}

// One step of the running fade: the table mixed with the target, shown; the fade ends with
// its last step.
int32_t ApplyFadeStep() {
    const int32_t step = ++fadeStep;
    PALETTEENTRY mixed[256];
    for (int i = 0; i < 256; ++i) {
        mixed[i].peRed = FadeMix(paletteTable[i].peRed, fadeTarget[i][0], fadeSteps, step);
        mixed[i].peGreen = FadeMix(paletteTable[i].peGreen, fadeTarget[i][1], fadeSteps, step);
        mixed[i].peBlue = FadeMix(paletteTable[i].peBlue, fadeTarget[i][2], fadeSteps, step);
        mixed[i].peFlags = PC_RESERVED;
    }
    int32_t status = SetScreenEntries(0, 256, mixed);
    if (status != OK) return status;
    if (Windowed()) RefreshHostPalette(mixed);
    if (fadeStep == fadeSteps) fadeSteps = 0;
    return OK;
}

}  // namespace

int32_t ColorMatchChecked(IDirectDrawSurface7* surface, int32_t red, int32_t green, int32_t blue,
                          uint32_t* result) {
    const COLORREF wanted = RGB(red & 0xFF, green & 0xFF, blue & 0xFF);
    if (paletteMode != 0) {
        HPALETTE palette = CreateGdiPalette(paletteTable);
        *result = GetNearestPaletteIndex(palette, wanted);
        DeleteObject(palette);
        return OK;
    }

    // GDI writes the colour into pixel (0, 0); its bits are the code; the pixel is put back.
    HDC dc = nullptr;
    HRESULT hr = surface->GetDC(&dc);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DC);
    const COLORREF old = GetPixel(dc, 0, 0);
    SetPixel(dc, 0, 0, wanted);
    hr = surface->ReleaseDC(dc);
    if (FAILED(hr)) return DxFail(hr, ERR_RELEASE_DC);

    RECT first = PixelRect(0, 0);
    uint32_t code = 0;
    int32_t status = ReadPixelCode(surface, &first, &code);
    if (status != OK) return status;

    hr = surface->GetDC(&dc);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DC);
    SetPixel(dc, 0, 0, old);
    hr = surface->ReleaseDC(dc);
    if (FAILED(hr)) return DxFail(hr, ERR_RELEASE_DC);
    *result = code;
    return OK;
}

void ResetPaletteWork() {
    paletteChangeCount = 0;
    fadeSteps = 0;
    fadeStep = 0;
}

int32_t ApplyPaletteWork() {
    if (!HasScreenPalette()) {
        paletteChangeCount = 0;
        fadeSteps = 0;
        return OK;
    }
    if (paletteChangeCount > 0) {
        int32_t status = ApplyPaletteChanges();
        if (status != OK) return status;
    }
    if (fadeSteps == FADE_SHOW_TABLE) {
        int32_t status = SetScreenEntries(0, 256, paletteTable);
        if (status != OK) return status;
        if (Windowed()) RefreshHostPalette(paletteTable);
        fadeSteps = 0;
    } else if (fadeSteps > 0) {
        int32_t status = ApplyFadeStep();
        if (status != OK) return status;
    }
    return OK;
}

}  // namespace zorv

using namespace zorv;

// ---- Exports ----------------------------------------------------------------------------

// Red, green and blue of a colour code into elements 0, 1, 2.
ZORV_API ZorvGetRGBFromColorCode(HostVariable* var, int32_t code, int32_t, int32_t) {
    EnterExport("ZorvGetRGBFromColorCode");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (IntCapacity(var) < 3) return ERR_PARAM_MISSING;
    int32_t* out = static_cast<int32_t*>(var->data);
    if (paletteMode != 0) {
        if (code < 0 || code > 255) return ERR_PARAM_RANGE;
        out[0] = paletteTable[code].peRed;
        out[1] = paletteTable[code].peGreen;
        out[2] = paletteTable[code].peBlue;
        return OK;
    }
    if (primarySurface == nullptr) return ERR_NO_PRIMARY;
    DDPIXELFORMAT format;
    std::memset(&format, 0, sizeof format);
    format.dwSize = sizeof format;
    HRESULT hr = primarySurface->GetPixelFormat(&format);
    if (FAILED(hr)) return DxFail(hr, ERR_PIXEL_FORMAT);
    const uint32_t value = static_cast<uint32_t>(code);
    out[0] = static_cast<int32_t>(FieldToByte(value, format.dwRBitMask));
    out[1] = static_cast<int32_t>(FieldToByte(value, format.dwGBitMask));
    out[2] = static_cast<int32_t>(FieldToByte(value, format.dwBBitMask));
    return OK;
}

// The display's colour code of (red, green, blue) into element 0.
ZORV_API ZorvGetColorCode(HostVariable* var, int32_t red, int32_t green, int32_t blue) {
    EnterExport("ZorvGetColorCode");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (paletteMode == 0 && primarySurface == nullptr) return ERR_NO_PRIMARY;
    uint32_t code = 0;
    int32_t status = ColorMatchChecked(primarySurface, red, green, blue, &code);
    if (status == OK) WriteInt(var, static_cast<int32_t>(code));
    return status;
}

// The code of the current surface's pixel (x, y), not moved by the surface's position.
ZORV_API ZorvGetPointColor(HostVariable* var, int32_t x, int32_t y, int32_t) {
    EnterExport("ZorvGetPointColor");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    SurfaceRecord* record = DrawingSurface();
    if (record == nullptr) return ERR_NO_SURFACE;
    RECT pixel = PixelRect(x, y);
    uint32_t code = 0;
    int32_t status = ReadPixelCode(record->surface, &pixel, &code);
    if (status == OK) WriteInt(var, static_cast<int32_t>(code));
    return status;
}

// One palette entry, shown from the next screen update on. Scripts know it by its old name.
ZORV_API ZorvSetPalette(int32_t index, int32_t red, int32_t green, int32_t blue) {
    EnterExport("ZorvGetSetPalette");
    if (paletteMode == 0) return OK;
    if (index < 0 || index > 255) return ERR_PARAM_RANGE;
    paletteTable[index] = Entry(red, green, blue);
    NotePaletteChange(paletteChanges, paletteChangeCount, static_cast<uint8_t>(index));
    return OK;
}

// A fade of `steps` screen updates towards the 256 colours of the variable; 0 steps shows the
// palette table again at the next update.
ZORV_API ZorvFadePalette(HostVariable* var, int32_t steps, int32_t, int32_t) {
    EnterExport("ZorvFadePalette");
    if (steps < 0 || steps >= FADE_STEPS_LIMIT) return ERR_PARAM_RANGE;
    if (steps == 0) {
        fadeSteps = FADE_SHOW_TABLE;
        return OK;
    }
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (IntCapacity(var) < FADE_TARGET_ELEMENTS) return ERR_PARAM_MISSING;
    const int32_t* colours = static_cast<const int32_t*>(var->data);
    for (int i = 0; i < 256; ++i) {
        for (int c = 0; c < 3; ++c) fadeTarget[i][c] = static_cast<uint8_t>(colours[3 * i + c] & 0xFF);
    }
    fadeSteps = steps;
    fadeStep = 0;
    return OK;
}

// direction 0: the host's 256 x 3 bytes into the palette, shown at once; 1: the palette as
// shown into the host's bytes. Windowed, only entries 10 ... 245 (the rest is the system's).
ZORV_API ZorvPaletteCopy(int32_t, int32_t direction, int32_t, int32_t buffer) {
    EnterExport("ZorvPaletteCopy");
    if (!HasScreenPalette()) return ERR_NOT_PALETTE_MODE;
    if (direction != 0 && direction != 1) return ERR_PARAM_RANGE;
    uint8_t* bytes = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(buffer)));
    if (bytes == nullptr) return ERR_PARAM_MISSING;
    const int32_t first = Windowed() ? WINDOW_FIRST_ENTRY : 0;
    const int32_t count = Windowed() ? WINDOW_ENTRY_COUNT : 256;

    if (direction == 1) {
        HRESULT hr = screenPalette->GetEntries(0, first, count, &paletteTable[first]);
        if (FAILED(hr)) return DxFail(hr, ERR_GET_PALETTE);
        for (int32_t i = first; i < first + count; ++i) {
            bytes[3 * i] = paletteTable[i].peRed;
            bytes[3 * i + 1] = paletteTable[i].peGreen;
            bytes[3 * i + 2] = paletteTable[i].peBlue;
        }
        return OK;
    }
    for (int32_t i = first; i < first + count; ++i) paletteTable[i] = Entry(bytes[3 * i], bytes[3 * i + 1], bytes[3 * i + 2]);
    return SetScreenEntries(first, count, &paletteTable[first]);
}
