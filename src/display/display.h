// The display subsystem's state and entry points: DirectDraw devices, plugin start and stop.
#pragma once

#include <windows.h>
#include <ddraw.h>

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

// -66 / -67 / -68 when ddraw.dll or one of its entry points is missing, else 0.
int32_t CheckDirectDrawEntryPoints();
// Makes a DirectDraw object for a device choice; *out is null unless it returns 0.
int32_t CreateDirectDrawFor(int32_t choice, IDirectDraw7** out);

}  // namespace zorv
