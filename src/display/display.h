// The display subsystem's state and entry points: DirectDraw devices, plugin start and stop.
#pragma once

#include <windows.h>
#include <ddraw.h>
#include <d3d.h>

#include <cstdint>

#include "frame/frame.h"

namespace zorv {

// Screen modes: how ZorvCreatePrimarySurface takes over the display.
enum ScreenMode : uint8_t { SCREEN_FULL = 0, SCREEN_WINDOW_DEPTH = 1, SCREEN_WINDOW = 2 };
// Render modes: whether and which Direct3D device a 3D surface gets.
enum RenderMode : uint8_t {
    RENDER_NO_3D = 0, RENDER_BEST = 1, RENDER_SOFTWARE = 2, RENDER_D3D_RGB = 3, RENDER_D3D_HAL = 4,
};

// Device choices with a meaning of their own; 0, 1, 2, ... are enumeration indices.
constexpr int32_t DEVICE_HARDWARE_ONLY = -2;
constexpr int32_t DEVICE_EMULATION_ONLY = -1;

// Fixed by ZorvInitialize for the library's life; the record pointer is never cleared.
extern HostScreen* hostScreen;
extern uint8_t screenMode;
extern uint8_t renderMode;
extern BOOL savedScreenSaverRunning;
extern int32_t screenSaverBlocked;

// The library's DirectDraw object: null until ZorvCreateDD and after ZorvReleaseDD.
extern IDirectDraw7* directDraw;

// ---- The screen (screen.cpp) -----------------------------------------------------------

extern IDirectDrawSurface7* primarySurface;  // the front surface; null without a screen
extern IDirectDrawClipper* screenClipper;    // windowed modes: bound to the host window
extern IDirect3D7* direct3D;                 // from the DirectDraw object at screen creation
// 0: separate back buffer copied to the primary; bit 0: flipping chain; 3: two back buffers.
extern uint8_t flipMode;
extern uint8_t screenDepth;                  // bits per pixel asked for at creation
extern int32_t paletteMode;                  // 1 when the screen depth is 8 or less
extern IDirectDrawPalette* screenPalette;
extern PALETTEENTRY paletteTable[256];       // the plugin palette
extern LONG savedWindowStyle;                // 0: nothing to restore
extern WNDPROC savedWindowProc;              // null: the hook is not installed
extern DWORD savedDesktopDepth;              // screen mode 1: depth to restore, 0 = none
extern RECT presentSource;                   // back-buffer rectangle presented
extern RECT presentDest;                     // windowed: client area in screen coordinates

// Gives back everything the screen holds; tolerates a half-made screen.
int32_t ReleaseScreen();

// ---- Frame update and rates (update.cpp) ----------------------------------------------

// One on-screen rate text: the frame rate ("FPS") or the polygon rate ("TPS").
struct RateDisplay {
    uint8_t flags;           // bit 0 plain text, bit 1 outline, bit 2 opaque background
    COLORREF textColour;
    COLORREF outlineColour;
    COLORREF backgroundColour;
    int32_t x;
    int32_t y;
    char text[12];           // at most 11 characters and the terminator
    int32_t textLength;
};

extern uint32_t frameClock;
extern uint32_t frameRemainder;
extern uint16_t frameCount;
extern uint32_t nextRateUpdate;
extern uint32_t frameRate;       // frames per second * 256
extern int32_t polygonCount;
extern int32_t polygonRate;
extern RateDisplay fpsDisplay;
extern RateDisplay tpsDisplay;

// Draws the two rate texts on the back buffer (used by the update and the window hook).
void DrawRateTexts();
// Presents the back buffer without a status code (window hook's repaint).
void PresentForRepaint();
// Restores lost surfaces; returns the last Restore's result (negative on failure).
HRESULT RestoreAllSurfaces();
// Copies a palette into the host window's GDI palette and colour table; the system's
// static colours are read into the table's first and last ten entries first.
void RefreshHostPalette(PALETTEENTRY* table);
// A GDI palette of 256 entries (for nearest-colour lookups and the host window); the caller
// deletes it. Null when GDI cannot make it.
HPALETTE CreateGdiPalette(const PALETTEENTRY* entries);

// The palette work of the screen update (colour/palette.cpp): pending entry changes, then the
// next step of a fade. 0, or -21 when the screen's palette could not be set.
int32_t ApplyPaletteWork();
// Forgets pending palette changes and any fade: they belong to the screen being released.
void ResetPaletteWork();

// ---- Window hook (window_hook.cpp) ----------------------------------------------------

LRESULT CALLBACK WindowHook(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// -66 / -67 / -68 when ddraw.dll or one of its entry points is missing, else 0.
int32_t CheckDirectDrawEntryPoints();
// Makes a DirectDraw object for a device choice; *out is null unless it returns 0.
int32_t CreateDirectDrawFor(int32_t choice, IDirectDraw7** out);

}  // namespace zorv
