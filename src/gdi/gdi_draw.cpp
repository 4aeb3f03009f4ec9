// GDI drawing: the pen of the host buffer, lending the current surface's device context to
// the host record (ZorvBeginDraw / ZorvEndDraw), and arcs and pies on the record's HDC.
#include "display/display.h"
#include "gdi/circle.h"
#include "gdi/gdi.h"
#include "surface/surface.h"

namespace zorv {
namespace {

// The pen the host had before the first ZorvSetPen, taken once for the library's life, and
// the pen the last ZorvSetPen made.
HPEN hostPen = nullptr;
bool hostPenTaken = false;
HPEN pluginPen = nullptr;
constexpr int32_t MAX_PEN_WIDTH = 32767;

// While a surface's DC is lent: that surface, and the host's HDC it replaced in the record.
IDirectDrawSurface7* lentSurface = nullptr;
HDC savedHdc = nullptr;

}  // namespace

void TakeBackLentDc(IDirectDrawSurface7* surface) {
    if (lentSurface == nullptr || surface != lentSurface) return;
    surface->ReleaseDC(hostScreen->hdc);
    hostScreen->hdc = savedHdc;
    lentSurface = nullptr;
}

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvSetPen(HostScreen* record, int32_t style, int32_t width, int32_t rop) {
    EnterExport("ZorvSetPen");
    // Widths beyond 16-bit coordinates are refused as the circle's box is: GDI's time grows
    // with the width (Wine takes 13 s for one arc a million pixels wide), so a wild width would
    // stall the script.
    if (width < 1 || width > MAX_PEN_WIDTH || record == nullptr) return ERR_PARAM_RANGE;
    if (!hostPenTaken) {
        hostPen = record->pen;
        hostPenTaken = true;
    }
    if (pluginPen != nullptr) {
        // The host pen goes back into the DC. What it replaced is deleted unless it is the
        // host's own pen (the host's objects are never deleted here), and the plugin pen once.
        HGDIOBJ replaced = SelectObject(record->hdc, hostPen);
        if (replaced != nullptr && replaced != hostPen) DeleteObject(replaced);
        if (replaced != pluginPen) DeleteObject(pluginPen);
    }
    pluginPen = CreatePen(style, width, record->colour);
    if (pluginPen == nullptr) return ERR_CREATE_PEN;
    record->pen = pluginPen;
    SetROP2(record->hdc, rop);
    return OK;
}

// One DC is lent at a time. A second call before ZorvEndDraw is refused with -31, the code
// DirectDraw's own refusal of a second DC of one surface gives, without asking DirectDraw:
// taking another DC would overwrite the saved HDC and the host's own HDC would be lost.
ZORV_API ZorvBeginDraw(int32_t, int32_t, int32_t, int32_t) {
    EnterExport("ZorvBeginDraw");
    if (hostScreen == nullptr) return ERR_NOT_INITIALIZED;
    SurfaceRecord* record = DrawingSurface();
    if (record == nullptr) return ERR_NO_SURFACE;
    if (lentSurface != nullptr) return ERR_GET_DC;
    HDC dc = nullptr;
    HRESULT hr = record->surface->GetDC(&dc);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DC);
    savedHdc = hostScreen->hdc;
    hostScreen->hdc = dc;
    lentSurface = record->surface;
    return OK;
}

// The DC is given back through the current surface: after a selection of another surface
// DirectDraw refuses it (-54) and the record keeps the lent DC until the first surface is
// selected again.
ZORV_API ZorvEndDraw(int32_t, int32_t, int32_t, int32_t) {
    EnterExport("ZorvEndDraw");
    if (hostScreen == nullptr) return ERR_NOT_INITIALIZED;
    SurfaceRecord* record = DrawingSurface();
    if (record == nullptr) return ERR_NO_SURFACE;
    HRESULT hr = record->surface->ReleaseDC(hostScreen->hdc);
    if (FAILED(hr)) return DxFail(hr, ERR_RELEASE_DC);
    if (lentSurface != nullptr) hostScreen->hdc = savedHdc;
    lentSurface = nullptr;
    return OK;
}

// Arc or pie on the record's HDC with the record's pen and brush; GDI's results are not
// looked at. A negative radius, or a circle beyond 16-bit coordinates, gives -2.
ZORV_API ZorvDrawCircle(int32_t radius, int32_t start, int32_t end, int32_t fill) {
    EnterExport("ZorvDrawCircle");
    if (hostScreen == nullptr) return ERR_NOT_INITIALIZED;
    if (!CircleFits(hostScreen->cursorX, hostScreen->cursorY, radius)) return ERR_PARAM_RANGE;
    HDC dc = hostScreen->hdc;
    HGDIOBJ oldPen = SelectObject(dc, hostScreen->pen);
    HGDIOBJ oldBrush = SelectObject(dc, hostScreen->brush);
    const CircleFigure f = MakeCircleFigure(hostScreen->cursorX, hostScreen->cursorY, radius, start, end);
    if (fill == 0) {
        Arc(dc, f.left, f.top, f.right, f.bottom, f.firstX, f.firstY, f.secondX, f.secondY);
    } else {
        Pie(dc, f.left, f.top, f.right, f.bottom, f.firstX, f.firstY, f.secondX, f.secondY);
    }
    SelectObject(dc, oldBrush);
    SelectObject(dc, oldPen);
    return OK;
}
