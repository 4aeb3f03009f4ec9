// What the Windows benchmarks share: seconds from the performance counter, and the windowed
// 640 x 480 screen at the desktop's depth that each starts from.
#pragma once

#include <windows.h>

#include "host_emulator.h"

inline double Seconds() {
    static LARGE_INTEGER frequency = {};
    if (frequency.QuadPart == 0) QueryPerformanceFrequency(&frequency);
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// Library, DirectDraw object, a surface table of two and the screen (a Direct3D back buffer in
// render mode 1); false when any step fails.
inline bool OpenScreen(const host::Plugin& plugin, host::Screen& screen, int32_t renderMode) {
    HDC desktop = GetDC(nullptr);
    const int32_t bits = GetDeviceCaps(desktop, BITSPIXEL);
    ReleaseDC(nullptr, desktop);
    return plugin.Call("ZorvInitialize", screen.Arg(), 2, renderMode) == 0 && plugin.Call("ZorvCreateDD", 0) == 0 &&
           plugin.Call("ZorvInitializeSurface", 2) == 0 &&
           plugin.Call("ZorvCreatePrimarySurface", 640, 480, bits, renderMode == 1 ? 8 : 0) == 65636;
}
