// The screen: taking over the host window or the display, the primary surface, the back
// buffer (surface record 0), clipper, 8-bit palette and optional Direct3D device; its
// release; and the release of DirectDraw and the plugin's stop.
#include <windows.h>
#include <winnls32.h>

#include <cstdlib>
#include <cstring>

#include "chip/chip.h"
#include "character/character.h"
#include "display/display.h"
#include "gdi/gdi.h"
#include "surface/surface.h"

namespace zorv {

IDirectDrawSurface7* primarySurface = nullptr;
IDirectDrawClipper* screenClipper = nullptr;
IDirect3D7* direct3D = nullptr;
uint8_t flipMode = 0;
uint8_t screenDepth = 0;
int32_t paletteMode = 0;
IDirectDrawPalette* screenPalette = nullptr;
PALETTEENTRY paletteTable[256] = {};
LONG savedWindowStyle = 0;
WNDPROC savedWindowProc = nullptr;
DWORD savedDesktopDepth = 0;
RECT presentSource = {0, 0, 0, 0};
RECT presentDest = {0, 0, 0, 0};

namespace {

// Creation flags of ZorvCreatePrimarySurface.
constexpr int32_t SCREEN_VIDEO_OR_SYSTEM = 0x001;  // video memory, retried in system memory
constexpr int32_t SCREEN_SYSTEM = 0x002;           // system memory; full screen: no chain
constexpr int32_t SCREEN_VIDEO = 0x004;
constexpr int32_t SCREEN_3D = 0x008;
constexpr int32_t SCREEN_ZBUFFER = 0x010;
constexpr int32_t SCREEN_TWO_BACK_BUFFERS = 0x200;

constexpr int32_t MAX_SCREEN_SIZE = 1600;
constexpr UINT DESKTOP_SETTLE_MS = 500;

HWND HostWindow() { return hostScreen != nullptr ? hostScreen->hwnd : nullptr; }

DDSURFACEDESC2 EmptyDesc() {
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    return desc;
}

// The back buffer as an off-screen surface of its own, into record 0.
int32_t CreateBackBuffer(int32_t width, int32_t height, int32_t flags) {
    DDSURFACEDESC2 desc = EmptyDesc();
    desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    desc.dwWidth = static_cast<DWORD>(width);
    desc.dwHeight = static_cast<DWORD>(height);
    desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    if (flags & SCREEN_3D) desc.ddsCaps.dwCaps |= DDSCAPS_3DDEVICE;
    if (flags & SCREEN_SYSTEM) desc.ddsCaps.dwCaps |= DDSCAPS_SYSTEMMEMORY;
    if (flags & (SCREEN_VIDEO_OR_SYSTEM | SCREEN_VIDEO)) desc.ddsCaps.dwCaps |= DDSCAPS_VIDEOMEMORY;
    HRESULT hr = CreateSurfaceWithFallback(&desc, &surfaceTable[0].surface, (flags & SCREEN_VIDEO_OR_SYSTEM) != 0);
    if (FAILED(hr)) return DxFail(hr, ERR_CREATE_BACKBUFFER);
    return OK;
}

// Windowed: primary surface drawn through a clipper bound to the host window.
int32_t CreateWindowedScreen(int32_t width, int32_t height, int32_t flags) {
    DDSURFACEDESC2 desc = EmptyDesc();
    desc.dwFlags = DDSD_CAPS;
    desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE;
    HRESULT hr = directDraw->CreateSurface(&desc, &primarySurface, nullptr);
    if (FAILED(hr)) {
        primarySurface = nullptr;
        return DxFail(hr, ERR_CREATE_PRIMARY);
    }
    hr = directDraw->CreateClipper(0, &screenClipper, nullptr);
    if (FAILED(hr)) {
        screenClipper = nullptr;
        return DxFail(hr, ERR_CREATE_CLIPPER);
    }
    hr = screenClipper->SetHWnd(0, HostWindow());
    if (FAILED(hr)) return DxFail(hr, ERR_CLIPPER_WINDOW);
    hr = primarySurface->SetClipper(screenClipper);
    if (FAILED(hr)) return DxFail(hr, ERR_SET_CLIPPER);
    int32_t status = CreateBackBuffer(width, height, flags);
    if (status != OK) return status;
    flipMode = 0;
    return OK;
}

// Full screen: a flipping chain, or a single primary with a separate back buffer.
int32_t CreateFullScreen(int32_t width, int32_t height, int32_t flags) {
    DDSURFACEDESC2 desc = EmptyDesc();
    if (flags & SCREEN_SYSTEM) {
        desc.dwFlags = DDSD_CAPS;
        desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE;
        flipMode = 0;
    } else {
        desc.dwFlags = DDSD_CAPS | DDSD_BACKBUFFERCOUNT;
        desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX;
        if (flags & SCREEN_3D) desc.ddsCaps.dwCaps |= DDSCAPS_3DDEVICE;
        if (flags & (SCREEN_VIDEO_OR_SYSTEM | SCREEN_VIDEO)) desc.ddsCaps.dwCaps |= DDSCAPS_VIDEOMEMORY;
        desc.dwBackBufferCount = (flags & SCREEN_TWO_BACK_BUFFERS) ? 2 : 1;
        flipMode = (flags & SCREEN_TWO_BACK_BUFFERS) ? 3 : 1;
    }
    HRESULT hr = directDraw->CreateSurface(&desc, &primarySurface, nullptr);
    if (FAILED(hr) && (flags & SCREEN_VIDEO_OR_SYSTEM)) {
        // No chain in video memory: a single primary surface instead.
        desc.ddsCaps.dwCaps &= ~(DDSCAPS_FLIP | DDSCAPS_VIDEOMEMORY);
        desc.dwFlags &= ~DDSD_BACKBUFFERCOUNT;
        desc.dwBackBufferCount = 0;
        flipMode = 0;
        hr = directDraw->CreateSurface(&desc, &primarySurface, nullptr);
    }
    if (FAILED(hr)) {
        primarySurface = nullptr;
        return DxFail(hr, ERR_CREATE_PRIMARY);
    }
    if (flipMode & 1) {
        DDSCAPS2 caps = {};
        caps.dwCaps = DDSCAPS_BACKBUFFER;
        hr = primarySurface->GetAttachedSurface(&caps, &surfaceTable[0].surface);
        if (FAILED(hr)) {
            surfaceTable[0].surface = nullptr;
            return DxFail(hr, ERR_ATTACH_BACKBUFFER);
        }
        return OK;
    }
    return CreateBackBuffer(width, height, flags);
}

// An 8-bit screen's palette: a 3-3-2 colour cube, with the system's static colours
// referenced in the windowed modes, read back as the system realised it.
int32_t CreateScreenPalette() {
    if (screenDepth != 8) return ERR_NOT_SUPPORTED;
    for (int i = 0; i < 256; ++i) {
        paletteTable[i].peRed = static_cast<BYTE>(((i >> 5) & 7) * 255 / 7);
        paletteTable[i].peGreen = static_cast<BYTE>(((i >> 2) & 7) * 255 / 7);
        paletteTable[i].peBlue = static_cast<BYTE>((i & 3) * 255 / 3);
        paletteTable[i].peFlags = PC_RESERVED;
    }
    if (screenMode != SCREEN_FULL) {
        for (int i = 0; i < 256; ++i) {
            if (i >= 10 && i < 246) continue;
            paletteTable[i].peRed = static_cast<BYTE>(i);
            paletteTable[i].peGreen = 0;
            paletteTable[i].peBlue = 0;
            paletteTable[i].peFlags = PC_EXPLICIT;
        }
    }
    HRESULT hr = directDraw->CreatePalette(DDPCAPS_8BIT, paletteTable, &screenPalette, nullptr);
    if (FAILED(hr)) {
        screenPalette = nullptr;
        return DxFail(hr, ERR_CREATE_PALETTE);
    }
    hr = primarySurface->SetPalette(screenPalette);
    if (FAILED(hr)) return DxFail(hr, ERR_SET_PALETTE);
    HDC dc = nullptr;
    hr = primarySurface->GetDC(&dc);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DC);
    GetSystemPaletteEntries(dc, 0, 256, paletteTable);
    hr = primarySurface->ReleaseDC(dc);
    if (FAILED(hr)) return DxFail(hr, ERR_RELEASE_DC);
    return OK;
}

// Screen mode 1: the desktop to the requested depth, remembering the old one.
int32_t SwitchDesktopDepth(int32_t depth) {
    DEVMODEA mode;
    std::memset(&mode, 0, sizeof mode);
    mode.dmSize = sizeof mode;
    EnumDisplaySettingsA(nullptr, ENUM_CURRENT_SETTINGS, &mode);
    DWORD oldDepth = mode.dmBitsPerPel;
    if (oldDepth == static_cast<DWORD>(depth) || oldDepth == 0) return OK;
    mode.dmBitsPerPel = static_cast<DWORD>(depth);
    if (ChangeDisplaySettingsA(&mode, 0) != DISP_CHANGE_SUCCESSFUL) return ERR_DISPLAY_MODE;
    if (savedDesktopDepth == 0) savedDesktopDepth = oldDepth;
    Sleep(DESKTOP_SETTLE_MS);
    return OK;
}

// The host window's client area made width x height.
int32_t FitWindow(int32_t width, int32_t height) {
    HWND window = HostWindow();
    RECT client = {0, 0, 0, 0};
    RECT frame = {0, 0, 0, 0};
    GetClientRect(window, &client);
    GetWindowRect(window, &frame);
    frame.right += width - client.right;
    frame.bottom += height - client.bottom;
    hostScreen->width = width;
    hostScreen->height = height;
    if (!MoveWindow(window, frame.left, frame.top, frame.right - frame.left, frame.bottom - frame.top, TRUE)) {
        return ERR_MOVE_WINDOW;
    }
    return OK;
}

template <class T>
void ReleaseInterface(T*& object) {
    if (object != nullptr) {
        object->Release();
        object = nullptr;
    }
}

}  // namespace

int32_t ReleaseScreen() {
    if (surfaceTable == nullptr) return ERR_NO_SURFACE;
    ResetPaletteWork();
    SurfaceRecord* back = &surfaceTable[0];
    TakeBackLentDc(back->surface);
    ReleaseSurfaceDevice(back);

    if (primarySurface != nullptr) {
        ReleaseInterface(screenPalette);
        if (screenMode != SCREEN_FULL) {
            primarySurface->SetClipper(nullptr);
            ReleaseInterface(screenClipper);
        }
        if (flipMode != 0) {
            back->surface = nullptr;  // it belongs to the primary's flipping chain
        } else {
            ReleaseInterface(back->surface);
        }
        if (screenMode == SCREEN_FULL) {
            directDraw->RestoreDisplayMode();
            WINNLSEnableIME(HostWindow(), TRUE);
            ShowCursor(TRUE);
        } else if (savedDesktopDepth != 0) {
            DEVMODEA mode;
            std::memset(&mode, 0, sizeof mode);
            mode.dmSize = sizeof mode;
            EnumDisplaySettingsA(nullptr, ENUM_CURRENT_SETTINGS, &mode);
            mode.dmBitsPerPel = savedDesktopDepth;
            if (ChangeDisplaySettingsA(&mode, 0) == DISP_CHANGE_SUCCESSFUL) savedDesktopDepth = 0;
        }
        ReleaseInterface(primarySurface);
    } else if (back->surface != nullptr && flipMode == 0) {
        // A back buffer made without a primary cannot happen, but never leak one.
        ReleaseInterface(back->surface);
    }
    ReleaseInterface(direct3D);
    if (directDraw != nullptr) directDraw->SetCooperativeLevel(HostWindow(), DDSCL_NORMAL);

    HWND window = HostWindow();
    if (savedWindowStyle != 0) {
        SetWindowLongA(window, GWL_STYLE, savedWindowStyle);
        savedWindowStyle = 0;
    }
    if (savedWindowProc != nullptr) {
        WNDPROC replaced = reinterpret_cast<WNDPROC>(
            SetWindowLongA(window, GWL_WNDPROC, reinterpret_cast<LONG>(savedWindowProc)));
        if (replaced != WindowHook) {
            // Somebody subclassed the window after us: their procedure is now lost from the
            // chain, so keep it where the next release can put it back.
            savedWindowProc = replaced;
            return ERR_UNSUBCLASS;
        }
        savedWindowProc = nullptr;
    }
    if (window != nullptr) ShowWindow(window, SW_HIDE);
    return OK;
}

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvCreatePrimarySurface(int32_t width, int32_t height, int32_t depth, int32_t flags) {
    EnterExport("ZorvCreatePrimarySurface");
    if (directDraw == nullptr) return ERR_DD_NOT_INITIALIZED;
    if (surfaceTable == nullptr) return ERR_NO_SURFACE;
    if (primarySurface != nullptr) return ERR_ALREADY_INITIALIZED;
    const int32_t rangeFlags = flags & ~SCREEN_TWO_BACK_BUFFERS;
    if (width < 0 || width > MAX_SCREEN_SIZE || height < 0 || height > MAX_SCREEN_SIZE || depth < 4 || depth > 32 ||
        rangeFlags < 0 || rangeFlags > 32) {
        return ERR_PARAM_RANGE;
    }
    if (hostScreen == nullptr) return ERR_NOT_INITIALIZED;
    HWND window = hostScreen->hwnd;

    // 1. Window style: no sizing frame; full screen also loses its caption.
    savedWindowStyle = GetWindowLongA(window, GWL_STYLE);
    const LONG removed = screenMode == SCREEN_FULL ? (WS_CAPTION | WS_THICKFRAME) : WS_THICKFRAME;
    SetWindowLongA(window, GWL_STYLE, savedWindowStyle & ~removed);

    // 2. The window hook, installed once.
    if (savedWindowProc == nullptr) {
        savedWindowProc = reinterpret_cast<WNDPROC>(
            SetWindowLongA(window, GWL_WNDPROC, reinterpret_cast<LONG>(WindowHook)));
        if (savedWindowProc == nullptr) return ERR_SUBCLASS;
    }

    // 3. Cooperative level.
    const DWORD level = screenMode == SCREEN_FULL
                            ? (DDSCL_FULLSCREEN | DDSCL_ALLOWREBOOT | DDSCL_EXCLUSIVE | DDSCL_FPUSETUP)
                            : DDSCL_NORMAL;
    HRESULT hr = directDraw->SetCooperativeLevel(window, level);
    if (FAILED(hr)) {
        DxFail(hr, 0);
        ReleaseScreen();
        return ERR_COOPERATIVE_LEVEL;
    }

    // 4. Direct3D; this failure leaves everything as it is.
    hr = directDraw->QueryInterface(IID_IDirect3D7, reinterpret_cast<void**>(&direct3D));
    if (FAILED(hr)) {
        direct3D = nullptr;
        return DxFail(hr, ERR_CREATE_D3D);
    }

    // 5, 6. The desktop or the display mode.
    int32_t status = OK;
    if (screenMode != SCREEN_FULL) {
        if (screenMode == SCREEN_WINDOW_DEPTH) status = SwitchDesktopDepth(depth);
        if (status == OK) status = FitWindow(width, height);
    } else {
        ShowCursor(FALSE);
        WINNLSEnableIME(window, FALSE);
        hr = directDraw->SetDisplayMode(static_cast<DWORD>(width), static_cast<DWORD>(height),
                                        static_cast<DWORD>(depth), 0, 0);
        if (FAILED(hr)) status = DxFail(hr, ERR_DISPLAY_MODE);
    }
    if (status != OK) {
        ReleaseScreen();
        return status;
    }

    // 7, 8. The surfaces.
    screenDepth = static_cast<uint8_t>(depth);
    paletteMode = depth <= 8 ? 1 : 0;
    status = screenMode == SCREEN_FULL ? CreateFullScreen(width, height, flags)
                                       : CreateWindowedScreen(width, height, flags);
    if (status != OK) {
        ReleaseScreen();
        return status;
    }

    // 9, 10. Record 0 is the back buffer and the current surface. Its draw area covers the
    // whole surface with exclusive right and bottom.
    SurfaceRecord* back = &surfaceTable[0];
    InitSurfaceRecord(back, width, height, width, height, (flags & SCREEN_ZBUFFER) != 0);
    currentSurfaceIndex = 0;
    currentSurface = back;

    // 11. The 8-bit palette.
    if (paletteMode) {
        status = CreateScreenPalette();
        if (status != OK) {
            ReleaseScreen();
            return status;
        }
    }

    // 12. The Direct3D device; what it made stays in record 0 until the screen's release.
    if (flags & SCREEN_3D) {
        status = CreateSurfaceDevice(back);
        if (status != OK) return status;
    }

    // 13, 14. Presentation rectangles and a fresh frame rate.
    presentSource = {0, 0, width, height};
    POINT origin = {0, 0};
    ClientToScreen(window, &origin);
    presentDest = {origin.x, origin.y, origin.x + width, origin.y + height};
    frameRate = 0;
    return 0x10064;
}

ZORV_API ZorvReleasePrimarySurface(int32_t, int32_t, int32_t, int32_t) {
    EnterExport("ZorvReleasePrimarySurface");
    return ReleaseScreen();
}

ZORV_API ZorvSetPosition(int32_t x, int32_t y, int32_t, int32_t) {
    EnterExport("ZorvSetPosition");
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    currentSurface->posX = x;
    currentSurface->posY = y;
    return OK;
}

ZORV_API ZorvReleaseDD(int32_t, int32_t, int32_t, int32_t) {
    EnterExport("ZorvReleaseDD");
    int32_t status = ReleaseScreen();
    if (status != OK) return status;
    currentSurfaceIndex = 0;
    for (int32_t i = 1; i < surfaceCount; ++i) ReleaseSurfaceAt(i);
    std::free(surfaceTable);
    surfaceTable = nullptr;
    surfaceCount = 0;
    currentSurface = nullptr;
    ReleaseInterface(directDraw);
    return OK;
}

// Stops the plugin: DirectDraw and every surface, then the system's screen-saver flag as
// ZorvInitialize found it. The host screen record stays: the plugin is started once.
ZORV_API ZorvExit(int32_t, int32_t, int32_t, int32_t) {
    EnterExport("ZorvExit");
    int32_t status = ZorvReleaseDD(0, 0, 0, 0);
    if (status != OK) return status;
    ReleaseCharacterTables();  // the registered arrays stay until the next ZorvInitializeCharacter
    ReleaseAnimationPatterns();
    ReleaseChipTable();
    BOOL scratch = FALSE;
    SystemParametersInfoA(SPI_SETSCREENSAVERRUNNING, static_cast<UINT>(savedScreenSaverRunning), &scratch, 0);
    return OK;
}
