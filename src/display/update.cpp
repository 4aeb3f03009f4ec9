// The end of every frame: rate measurement and rate texts, presenting the back buffer, the
// palette step, frame pacing and the clear for the next frame. Also the rate exports, the
// restoring of lost surfaces and the host window's palette refresh.
#include <cstddef>
#include <cstring>

#include "display/display.h"
#include "display/pacing.h"
#include "surface/surface.h"

namespace zorv {

// ---- Rate and pacing state --------------------------------------------------------------

uint32_t frameClock = 0;
uint32_t frameRemainder = 0;
uint16_t frameCount = 0;
uint32_t nextRateUpdate = 0;
uint32_t frameRate = 0;
int32_t polygonCount = 0;
int32_t polygonRate = 0;

// The frame rate shows outlined white text from the start; the polygon rate is hidden.
RateDisplay fpsDisplay = {3, RGB(255, 255, 255), RGB(0, 0, 0), RGB(64, 64, 64), 0, 0, "0 FPS", 5};
RateDisplay tpsDisplay = {0, RGB(255, 255, 0), RGB(0, 0, 0), RGB(64, 64, 64), 0, 0, "0 TPS", 5};

namespace {

// nextRateUpdate is scheduled by the first update that measures; any value it holds before
// that, 0 included, is not a schedule.
bool rateScheduleStarted = false;

constexpr uint8_t RATE_PLAIN = 1;
constexpr uint8_t RATE_OUTLINE = 2;
constexpr uint8_t RATE_BACKGROUND = 4;
constexpr uint8_t RATE_SHOWN = RATE_PLAIN | RATE_OUTLINE | RATE_BACKGROUND;

// ZorvUpdateScreen's fourth argument: bit 0 asks for 0 instead of 65536 on success.
constexpr int32_t UPDATE_RESULT_ZERO = 1;
constexpr int32_t UPDATE_DONE = 0x10000;

bool RatesShown() { return fpsDisplay.flags != 0 || tpsDisplay.flags != 0; }

IDirectDrawSurface7* BackBuffer() {
    if (surfaceTable == nullptr || surfaceCount < 1) return nullptr;
    return surfaceTable[0].surface;
}

// ---- Rate measurement -------------------------------------------------------------------

// Measures on the pacing clock, so a rate covers whole frame slots.
void MeasureRates() {
    uint32_t now = frameClock;
    if (!rateScheduleStarted) {
        nextRateUpdate = now + 1000;
        rateScheduleStarted = true;
    }
    if (!RateUpdateDue(now, nextRateUpdate)) {
        ++frameCount;
        return;
    }

    uint32_t elapsed = RateElapsed(now, nextRateUpdate);
    if (fpsDisplay.flags != 0) {
        frameRate = FrameRateFrom(frameCount, elapsed);
        frameCount = 1;
        fpsDisplay.textLength = FormatFrameRate(frameRate, fpsDisplay.text);
    }
    if (tpsDisplay.flags != 0) {
        if (elapsed != 0) {
            polygonRate = static_cast<int32_t>(PolygonRateFrom(static_cast<uint32_t>(polygonCount), elapsed));
            tpsDisplay.textLength = FormatPolygonRate(polygonRate, tpsDisplay.text);
        } else {
            // No time measured: the rate keeps its value, the text says "very many".
            tpsDisplay.textLength = SetRateText(TPS_TEXT_NO_TIME, tpsDisplay.text);
        }
        polygonCount = 0;
    }
    // The next second counts from the real time, not from the pacing clock.
    nextRateUpdate = timeGetTime() + 1000;
}

// ---- Rate texts -------------------------------------------------------------------------

void DrawRateText(HDC dc, const RateDisplay& display) {
    uint8_t flags = display.flags;
    if ((flags & RATE_SHOWN) == 0) return;
    int32_t x = display.x;
    int32_t y = display.y;
    const char* text = display.text;
    // The stored length is always ours, but never let TextOutA read past the buffer.
    int length = display.textLength;
    if (length < 0) length = 0;
    if (length > static_cast<int>(RATE_TEXT_MAX_LENGTH)) length = static_cast<int>(RATE_TEXT_MAX_LENGTH);

    if (flags & RATE_BACKGROUND) {
        SetBkColor(dc, display.backgroundColour);
        SetBkMode(dc, OPAQUE);
        SetTextColor(dc, display.textColour);
        TextOutA(dc, x, y, text, length);
    }
    SetBkMode(dc, TRANSPARENT);
    if (flags & RATE_OUTLINE) {
        SetTextColor(dc, display.outlineColour);
        TextOutA(dc, x + 1, y, text, length);
        TextOutA(dc, x - 1, y, text, length);
        TextOutA(dc, x, y + 1, text, length);
        TextOutA(dc, x, y - 1, text, length);
    }
    if (flags & RATE_PLAIN) {
        SetTextColor(dc, display.textColour);
        TextOutA(dc, x, y, text, length);
    }
}

// ---- Present ----------------------------------------------------------------------------

// Brings the back buffer to the screen. Returns 0, -34 (lost surfaces that cannot be
// restored) or -35 (flip or fast blit failed); failures are kept as the last DirectX result.
int32_t PresentBackBuffer(IDirectDrawSurface7* backBuffer) {
    if (flipMode != 0) {
        HRESULT hr = primarySurface->Flip(nullptr, DDFLIP_DONOTWAIT);
        // A flip refused while the card is still drawing just skips this frame's flip.
        if (hr == DD_OK || hr == DDERR_WASSTILLDRAWING) return OK;
        if (hr == DDERR_SURFACELOST) {
            HRESULT restored = RestoreAllSurfaces();
            if (restored < 0) return DxFail(restored, ERR_RESTORE);
            return OK;
        }
        return DxFail(hr, ERR_FLIP);
    }

    if (screenMode != SCREEN_FULL) {
        // Windowed: the clipper on the primary keeps the copy inside the window; a refused
        // blit (window covered, minimised) is not an error.
        primarySurface->Blt(&presentDest, backBuffer, &presentSource, DDBLT_WAIT, nullptr);
        return OK;
    }

    HRESULT hr = primarySurface->BltFast(0, 0, backBuffer, &presentSource, DDBLTFAST_WAIT);
    if (FAILED(hr)) return DxFail(hr, ERR_FLIP);
    return OK;
}

// ---- Pacing -----------------------------------------------------------------------------

// Waits out the rest of the frame's slot: sleeps most of it, polls the last milliseconds.
void WaitForFrameSlot(uint32_t interval) {
    PacingStep step = ComputePacing(timeGetTime(), frameClock, frameRemainder, interval);
    frameRemainder = step.remainder;
    if (step.late) {
        frameClock = step.frameClock;
        return;
    }
    if (step.sleepMs > 0) Sleep(step.sleepMs);
    frameClock = step.frameClock;
    while (!ClockReached(timeGetTime(), frameClock)) {
    }
}

// ---- Rate displays ----------------------------------------------------------------------

// Element i of an integer variable, 0 past its end.
int32_t ElementOr0(const HostVariable* var, int32_t i) {
    if (i >= IntCapacity(var)) return 0;
    return static_cast<const int32_t*>(var->data)[i];
}

// Three elements from first on as red, green and blue; only the low 8 bits count.
COLORREF ColourAt(const HostVariable* var, int32_t first) {
    int32_t red = ElementOr0(var, first) & 0xFF;
    int32_t green = ElementOr0(var, first + 1) & 0xFF;
    int32_t blue = ElementOr0(var, first + 2) & 0xFF;
    return RGB(red, green, blue);
}

// colours: text, outline and background colour as red, green, blue (nine elements; missing
// elements count as 0).
void SetRateDisplay(RateDisplay* display, const HostVariable* colours, int32_t flags, int32_t x, int32_t y) {
    display->textColour = ColourAt(colours, 0);
    display->outlineColour = ColourAt(colours, 3);
    display->backgroundColour = ColourAt(colours, 6);
    display->flags = static_cast<uint8_t>(flags & 0xFF);
    display->x = x;
    display->y = y;
}

// ---- Host window palette ----------------------------------------------------------------

// A LOGPALETTE with room for all 256 entries, built on the stack.
struct FullLogPalette {
    WORD palVersion;
    WORD palNumEntries;
    PALETTEENTRY palPalEntry[256];
};
static_assert(offsetof(FullLogPalette, palPalEntry) == offsetof(LOGPALETTE, palPalEntry),
              "same layout as LOGPALETTE");

}  // namespace

// ---- Shared with the window hook --------------------------------------------------------

void DrawRateTexts() {
    if (!RatesShown()) return;
    IDirectDrawSurface7* backBuffer = BackBuffer();
    if (backBuffer == nullptr) return;
    HDC dc = nullptr;
    // Without a device context the texts are simply not drawn this frame.
    if (FAILED(backBuffer->GetDC(&dc))) return;
    DrawRateText(dc, fpsDisplay);
    DrawRateText(dc, tpsDisplay);
    backBuffer->ReleaseDC(dc);
}

void PresentForRepaint() {
    IDirectDrawSurface7* backBuffer = BackBuffer();
    if (primarySurface == nullptr || backBuffer == nullptr) return;
    // A repaint has nobody to return a status to; the failure stays in the last DirectX
    // result.
    PresentBackBuffer(backBuffer);
}

HRESULT RestoreAllSurfaces() {
    HRESULT result = DD_OK;
    if (primarySurface != nullptr && primarySurface->IsLost() != DD_OK) {
        result = primarySurface->Restore();
        if (FAILED(result)) {
            StoreDxResult(result);
            return result;
        }
    }
    if (surfaceTable == nullptr) return result;
    for (int32_t i = 0; i < surfaceCount; ++i) {
        IDirectDrawSurface7* surface = surfaceTable[i].surface;
        if (surface == nullptr) continue;
        if (surface->IsLost() == DD_OK) continue;
        result = surface->Restore();
        if (FAILED(result)) {
            StoreDxResult(result);
            return result;
        }
    }
    // Only the memory comes back: the script redraws its images.
    return result;
}

HPALETTE CreateGdiPalette(const PALETTEENTRY* entries) {
    FullLogPalette logPalette = {};
    logPalette.palVersion = 0x300;
    logPalette.palNumEntries = 256;
    std::memcpy(logPalette.palPalEntry, entries, sizeof logPalette.palPalEntry);
    return CreatePalette(reinterpret_cast<const LOGPALETTE*>(&logPalette));
}

// ---- Host window palette refresh --------------------------------------------------------

// In the windowed modes the host's own window buffer must show the same colours as the
// screen, so its GDI palette and DIB colour table follow the plugin palette.
void RefreshHostPalette(PALETTEENTRY* entries) {
    if (hostScreen == nullptr || entries == nullptr) return;
    HostScreen* host = hostScreen;

    // Give the device context its old palette back before the one we made goes.
    if (host->palette != nullptr) {
        SelectPalette(host->hdc, host->oldPalette, TRUE);
        DeleteObject(host->palette);
    }

    HDC screenDc = nullptr;
    if (primarySurface != nullptr && SUCCEEDED(primarySurface->GetDC(&screenDc))) {
        // The system's 20 static colours go into the table's first and last ten entries.
        GetSystemPaletteEntries(screenDc, 0, 10, &entries[0]);
        GetSystemPaletteEntries(screenDc, 246, 10, &entries[246]);
        primarySurface->ReleaseDC(screenDc);
    }

    if (host->paletteMode != 0 && host->colourTable != nullptr) {
        for (int i = 0; i < 256; ++i) {
            host->colourTable[i].rgbBlue = entries[i].peBlue;
            host->colourTable[i].rgbGreen = entries[i].peGreen;
            host->colourTable[i].rgbRed = entries[i].peRed;
            host->colourTable[i].rgbReserved = 0;
        }
        SetDIBColorTable(host->hdc, 0, 256, host->colourTable);
    }

    host->palette = CreateGdiPalette(entries);
    host->paletteCount = 256;
    if (host->palette == nullptr) return;
    // Selected only; the host realises it when it paints.
    host->oldPalette = SelectPalette(host->hdc, host->palette, TRUE);
}

}  // namespace zorv

using namespace zorv;

// ---- Exports ----------------------------------------------------------------------------

// interval: frame length in 1/65536 ms (0 = no waiting); clearFlags and colour: the clear
// for the next frame (0 = none); resultSwitch bit 0: return 0 instead of 65536.
ZORV_API ZorvUpdateScreen(int32_t interval, int32_t clearFlags, int32_t colour, int32_t resultSwitch) {
    EnterExport("ZorvUpdateScreen");
    IDirectDrawSurface7* backBuffer = BackBuffer();
    if (primarySurface == nullptr || backBuffer == nullptr) return ERR_NO_PRIMARY;

    if (RatesShown()) {
        MeasureRates();
        DrawRateTexts();
    }

    int32_t status = PresentBackBuffer(backBuffer);
    if (status != OK) return status;

    status = ApplyPaletteWork();
    if (status != OK) return status;

    WaitForFrameSlot(static_cast<uint32_t>(interval));

    if (clearFlags != 0) {
        if (currentSurface == nullptr) return ERR_NO_SURFACE;
        status = ClearCurrentSurface(static_cast<uint32_t>(colour), clearFlags);
        if (status != OK) return status;
    }
    return (resultSwitch & UPDATE_RESULT_ZERO) ? OK : UPDATE_DONE;
}

ZORV_API ZorvShowFrameRate(HostVariable* colours, int32_t flags, int32_t x, int32_t y) {
    EnterExport("ZorvShowFrameRate");
    if (!IsIntVar(colours)) return ERR_PARAM_TYPE;
    SetRateDisplay(&fpsDisplay, colours, flags, x, y);
    return OK;
}

ZORV_API ZorvShowPolygonRate(HostVariable* colours, int32_t flags, int32_t x, int32_t y) {
    EnterExport("ZorvShowPolygonRate");
    if (!IsIntVar(colours)) return ERR_PARAM_TYPE;
    SetRateDisplay(&tpsDisplay, colours, flags, x, y);
    return OK;
}

ZORV_API ZorvGetFrameRate(HostVariable* var, int32_t, int32_t, int32_t) {
    EnterExport("ZorvGetFrameRate");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    WriteInt(var, static_cast<int32_t>(frameRate));
    return OK;
}

ZORV_API ZorvGetPolygonRate(HostVariable* var, int32_t, int32_t, int32_t) {
    EnterExport("ZorvGetPolygonRate");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    WriteInt(var, polygonRate);
    return OK;
}
