// The hook on the host window while the plugin owns a screen: it keeps the windowed present
// rectangle on the window's client area, repaints the window from the back buffer, and can
// keep the screen saver away. Also ZorvLimitSystemBehavior, which switches that block.
#include "display/display.h"
#include "surface/surface.h"

namespace zorv {

namespace {

// ZorvLimitSystemBehavior's flags.
constexpr uint8_t LIMIT_BLOCK_SCREEN_SAVER = 1;
constexpr uint8_t LIMIT_SCREEN_SAVER_NOT_RUNNING = 2;

// Width and height of the back buffer's record, 0 while there is none.
void BackBufferSize(int32_t* width, int32_t* height) {
    *width = 0;
    *height = 0;
    if (surfaceTable == nullptr || surfaceCount < 1) return;
    *width = surfaceTable[0].width;
    *height = surfaceTable[0].height;
}

bool ScreenComplete() {
    return primarySurface != nullptr && surfaceTable != nullptr && surfaceCount >= 1 &&
           surfaceTable[0].surface != nullptr;
}

// Keeps the windowed present target on the window's client area after a move. During screen
// creation the record may not hold the final size yet; creation sets the rectangle again.
void TrackClientArea(HWND window) {
    POINT origin = {0, 0};
    ClientToScreen(window, &origin);
    int32_t width = 0;
    int32_t height = 0;
    BackBufferSize(&width, &height);
    presentDest.left = origin.x;
    presentDest.top = origin.y;
    presentDest.right = origin.x + width;
    presentDest.bottom = origin.y + height;
}

// Shows the last frame again. No rate is measured and no frame counted: a repaint is not a
// frame.
void RepaintFromBackBuffer() {
    // Paint messages come also while the screen is still being made.
    if (!ScreenComplete()) return;
    DrawRateTexts();
    PresentForRepaint();
}

// Hands a message to the host's own procedure; without one (or if it is somehow this hook)
// the default handling keeps the window alive.
LRESULT PassOn(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (savedWindowProc == nullptr || savedWindowProc == WindowHook) {
        return DefWindowProcA(window, message, wParam, lParam);
    }
    return CallWindowProcA(savedWindowProc, window, message, wParam, lParam);
}

}  // namespace

LRESULT CALLBACK WindowHook(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_MOVE:
        TrackClientArea(window);
        break;
    case WM_PAINT:
        // The host's procedure would paint its own buffer over the screen: it does not see
        // this message. The default handling validates the window.
        RepaintFromBackBuffer();
        return DefWindowProcA(window, message, wParam, lParam);
    case WM_SYSCOMMAND:
        if (wParam == SC_SCREENSAVE && screenSaverBlocked != 0) return 1;
        break;
    default:
        break;
    }
    return PassOn(window, message, wParam, lParam);
}

}  // namespace zorv

using namespace zorv;

// ---- Exports ----------------------------------------------------------------------------

// flags bit 0: block the screen saver; bit 1: tell the system that no screen saver runs
// (else the system's flag goes back to what ZorvInitialize found).
ZORV_API ZorvLimitSystemBehavior(int32_t flags, int32_t, int32_t, int32_t) {
    EnterExport("ZorvLimitSystemBehavior");
    uint8_t bits = static_cast<uint8_t>(flags & 0xFF);
    screenSaverBlocked = (bits & LIMIT_BLOCK_SCREEN_SAVER) ? 1 : 0;
    UINT running = static_cast<UINT>(savedScreenSaverRunning);
    if (bits & LIMIT_SCREEN_SAVER_NOT_RUNNING) running = FALSE;
    BOOL previous = FALSE;
    // The answer is of no use here: the flag is only a hint to the system.
    SystemParametersInfoA(SPI_SETSCREENSAVERRUNNING, running, &previous, 0);
    return OK;
}
