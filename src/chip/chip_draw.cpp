// Drawing chips on the current surface: plain (ZorvPutChip), scaled (ZorvPutChip4), scaled,
// rotated and faded (ZorvPutChip2) and onto four points (ZorvPutChip3). Plain and scaled
// drawing are DirectDraw blits clipped here against the draw area, since BltFast takes no
// clipper; transformed drawing goes to Direct3D, or in render mode 2 to a stretched blit or
// the plugin's own quad rasterizer.
#include "chip/chip_draw.h"
#include "chip/quad_math.h"
#include "display/display.h"

namespace zorv {

namespace {

constexpr int32_t ERR_TEXTURE_SOURCE = -81;  // a scaled blit cannot read a texture surface
constexpr int32_t SCALE_ONE = 256;

bool ValidChip(int32_t chip) { return chip >= 0 && chip < chipCount; }
bool SizedChip(const ChipRecord& chip) { return chip.width >= 1 && chip.height >= 1; }

SurfaceRecord* SourceOf(const ChipRecord& chip) {
    if (surfaceTable == nullptr || chip.surfaceIndex >= surfaceCount) return nullptr;
    return &surfaceTable[chip.surfaceIndex];
}

// The surface a blit reads: the chip's own interface, but only while the surface it was cut
// from still holds it. A chip whose surface was released would otherwise hand DirectDraw a
// dangling interface.
IDirectDrawSurface7* LiveSource(const ChipRecord& chip, const SurfaceRecord* source) {
    if (source == nullptr || source->surface == nullptr || source->surface != chip.sourceSurface) return nullptr;
    return source->surface;
}

// Unscaled clip of a blit at (dx, dy) against the draw area; false when nothing is left.
bool ClipPlain(const SurfaceRecord& target, int32_t* dx, int32_t* dy, RECT* src) {
    int32_t over = target.drawLeft - *dx;
    if (over > 0) {
        src->left += over;
        if (src->right <= src->left) return false;
        *dx = target.drawLeft;
    }
    over = *dx + (src->right - src->left) - target.drawRight;
    if (over > 0) {
        src->right -= over;
        if (src->right <= src->left) return false;
    }
    over = target.drawTop - *dy;
    if (over > 0) {
        src->top += over;
        if (src->bottom <= src->top) return false;
        *dy = target.drawTop;
    }
    over = *dy + (src->bottom - src->top) - target.drawBottom;
    if (over > 0) {
        src->bottom -= over;
        if (src->bottom <= src->top) return false;
    }
    return true;
}

// Scaled clip: the source edge moves by whole destination pixels converted with the 1/256
// step, so the visible part keeps its scale. False when nothing is left.
bool ClipScaled(const SurfaceRecord& target, RECT* dest, RECT* src, int32_t stepX, int32_t stepY) {
    // The cut source pixels are worked out in 64 bits, so that a destination far outside the
    // surface cannot overflow; a cut as wide as the source empties it.
    auto cut = [](int64_t over, int32_t step) { return (over * step) >> 8; };
    int64_t over = int64_t{target.drawLeft} - dest->left;
    if (over > 0) {
        if (int64_t{src->right} <= src->left + cut(over, stepX)) return false;
        src->left += static_cast<int32_t>(cut(over, stepX));
        dest->left = target.drawLeft;
    }
    over = int64_t{dest->right} - target.drawRight;
    if (over > 0) {
        if (int64_t{src->right} - cut(over, stepX) <= src->left) return false;
        src->right -= static_cast<int32_t>(cut(over, stepX));
        dest->right = target.drawRight;
    }
    over = int64_t{target.drawTop} - dest->top;
    if (over > 0) {
        if (int64_t{src->bottom} <= src->top + cut(over, stepY)) return false;
        src->top += static_cast<int32_t>(cut(over, stepY));
        dest->top = target.drawTop;
    }
    over = int64_t{dest->bottom} - target.drawBottom;
    if (over > 0) {
        if (int64_t{src->bottom} - cut(over, stepY) <= src->top) return false;
        src->bottom -= static_cast<int32_t>(cut(over, stepY));
        dest->bottom = target.drawBottom;
    }
    return true;
}

RECT SourceRect(const ChipRecord& chip) { return RECT{chip.srcLeft, chip.srcTop, chip.srcRight, chip.srcBottom}; }

bool Invisible(const SurfaceRecord& target, int32_t transparency) {
    return target.alphaBlendOn != 0 && (transparency & 0xFF) == 255;
}

// A clipped, stretched Blt for render mode 2 at angle 0. A destination of zero width or
// height has no step: nothing is drawn.
void StretchChipBlit(SurfaceRecord* target, RECT dest, IDirectDrawSurface7* source, RECT src, DWORD flags,
                     int32_t transparency) {
    // In 64 bits: a script's position and scale can put the corners anywhere in 32 bits.
    const int64_t destWidth = int64_t{dest.right} - dest.left;
    const int64_t destHeight = int64_t{dest.bottom} - dest.top;
    if (destWidth == 0 || destHeight == 0) return;
    const int32_t stepX = static_cast<int32_t>(int64_t{src.right - src.left} * 256 / destWidth);
    const int32_t stepY = static_cast<int32_t>(int64_t{src.bottom - src.top} * 256 / destHeight);
    if (!ClipScaled(*target, &dest, &src, stepX, stepY)) return;
    if (Invisible(*target, transparency)) return;
    target->surface->Blt(&dest, source, &src, flags, nullptr);
}

}  // namespace

int32_t DrawChipTransformed(int32_t x, int32_t y, const ChipRecord& chip, int32_t scaleX, int32_t scaleY,
                            int32_t angle, int32_t transparency) {
    SurfaceRecord* target = currentSurface;
    SurfaceRecord* source = SourceOf(chip);
    if (source == nullptr || source->surface == nullptr) return ERR_SURFACE_NOT_CREATED;
    const ChipExtents extents = ExtentsOf(chip, scaleX, scaleY);
    IntPoint corners[4];
    ChipCorners(x, y, extents, angle, corners);

    if (renderMode == RENDER_SOFTWARE) {
        if (Invisible(*target, transparency)) return OK;
        if (angle != 0) {
            const int32_t points[8] = {corners[0].x, corners[0].y, corners[1].x, corners[1].y,
                                       corners[2].x, corners[2].y, corners[3].x, corners[3].y};
            return RasterizeChipQuad(target, points, source, SourceRect(chip));
        }
        RECT dest = {WrapAdd(x, extents.left), WrapAdd(y, extents.top), WrapAdd(x, extents.right),
                     WrapAdd(y, extents.bottom)};
        DWORD flags = DDBLT_WAIT | (source->transparentOn ? DDBLT_KEYSRC : 0);
        StretchChipBlit(target, dest, source->surface, SourceRect(chip), flags, transparency);
        return OK;
    }

    if (target->device == nullptr) return ERR_NO_D3D_DEVICE;
    FloatPoint points[4];
    for (int i = 0; i < 4; ++i) {
        points[i] = FloatPoint{static_cast<float>(corners[i].x), static_cast<float>(corners[i].y), 0.5f};
    }
    return DrawChipQuadD3D(points, transparency, source, SourceRect(chip));
}

int32_t DrawChipPlain(SurfaceRecord* target, const ChipRecord& chip, int32_t x, int32_t y) {
    IDirectDrawSurface7* sourceSurface = LiveSource(chip, SourceOf(chip));
    if (sourceSurface == nullptr) return ERR_SURFACE_NOT_CREATED;
    int32_t dx = WrapSub(x, chip.offsetX);
    int32_t dy = WrapSub(y, chip.offsetY);
    RECT src = SourceRect(chip);
    if (!ClipPlain(*target, &dx, &dy, &src)) return OK;
    // The colour key is always asked for here; the result of the blit is not reported.
    target->surface->BltFast(static_cast<DWORD>(dx), static_cast<DWORD>(dy), sourceSurface, &src,
                             DDBLTFAST_SRCCOLORKEY | DDBLTFAST_WAIT);
    return OK;
}

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvPutChip(int32_t number, int32_t x, int32_t y, int32_t) {
    EnterExport("ZorvPutChip");
    if (!ValidChip(number)) return ERR_PARAM_RANGE;
    const ChipRecord& chip = chipTable[number];
    if (!SizedChip(chip)) return ERR_CHIP_SIZE;  // allocated but never created
    SurfaceRecord* target = DrawingSurface();
    if (target == nullptr) return ERR_NO_SURFACE;
    return DrawChipPlain(target, chip, x, y);
}

ZORV_API ZorvPutChip4(int32_t number, int32_t scaleX, int32_t scaleY, int32_t) {
    EnterExport("ZorvPutChip4");
    if (!ValidChip(number)) return ERR_PARAM_RANGE;
    if (scaleX < 1 || scaleY < 1) return OK;
    const ChipRecord& chip = chipTable[number];
    if (!SizedChip(chip)) return ERR_CHIP_SIZE;
    SurfaceRecord* source = SourceOf(chip);
    if (source != nullptr && (source->desc.ddsCaps.dwCaps & DDSCAPS_TEXTURE)) return ERR_TEXTURE_SOURCE;
    SurfaceRecord* target = DrawingSurface();
    if (target == nullptr) return ERR_NO_SURFACE;
    IDirectDrawSurface7* sourceSurface = LiveSource(chip, source);
    if (sourceSurface == nullptr) return ERR_SURFACE_NOT_CREATED;
    const bool keyed = source->transparentOn != 0;

    if (scaleX == SCALE_ONE && scaleY == SCALE_ONE) {
        int32_t dx = target->posX - chip.offsetX;
        int32_t dy = target->posY - chip.offsetY;
        RECT src = SourceRect(chip);
        if (!ClipPlain(*target, &dx, &dy, &src)) return OK;
        target->surface->BltFast(static_cast<DWORD>(dx), static_cast<DWORD>(dy), sourceSurface, &src,
                                 DDBLTFAST_WAIT | (keyed ? DDBLTFAST_SRCCOLORKEY : 0));
        return OK;
    }

    RECT dest;
    dest.left = target->posX - ((chip.offsetX * scaleX) >> 8);
    dest.right = dest.left + ((chip.width * scaleX) >> 8);
    dest.top = target->posY - ((chip.offsetY * scaleY) >> 8);
    dest.bottom = dest.top + ((chip.height * scaleY) >> 8);
    // A scale so small that the chip has no width or height: no step, nothing drawn.
    if (dest.right == dest.left || dest.bottom == dest.top) return OK;
    RECT src = SourceRect(chip);
    const int32_t stepX = ((src.right - src.left) * 256) / (dest.right - dest.left);
    const int32_t stepY = ((src.bottom - src.top) * 256) / (dest.bottom - dest.top);
    if (!ClipScaled(*target, &dest, &src, stepX, stepY)) return OK;
    target->surface->Blt(&dest, sourceSurface, &src, DDBLT_WAIT | (keyed ? DDBLT_KEYSRC : 0), nullptr);
    return OK;
}

ZORV_API ZorvPutChip2(int32_t number, int32_t scale, int32_t angle, int32_t transparency) {
    EnterExport("ZorvPutChip2");
    if (!ValidChip(number)) return ERR_PARAM_RANGE;
    if (scale < 1) return OK;
    const ChipRecord& chip = chipTable[number];
    if (!SizedChip(chip)) return ERR_CHIP_SIZE;
    if (DrawingSurface() == nullptr) return ERR_NO_SURFACE;
    return DrawChipTransformed(currentSurface->posX, currentSurface->posY, chip, scale, scale, angle, transparency);
}

// Corners from an integer array: x0, y0 (top-left), x1, y1, x2, y2, x3, y3.
ZORV_API ZorvPutChip3(HostVariable* var, int32_t number, int32_t transparency, int32_t) {
    EnterExport("ZorvPutChip3");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (!ValidChip(number)) return ERR_PARAM_RANGE;
    const ChipRecord& chip = chipTable[number];
    if (!SizedChip(chip)) return ERR_CHIP_SIZE;
    // Eight elements are read: a shorter array is refused rather than read past its end.
    if (IntCapacity(var) < 8) return ERR_PARAM_MISSING;
    if (DrawingSurface() == nullptr) return ERR_NO_SURFACE;
    const int32_t* corners = static_cast<const int32_t*>(var->data);
    if (renderMode == RENDER_SOFTWARE) {
        SurfaceRecord* source = SourceOf(chip);
        if (source == nullptr || source->surface == nullptr) return ERR_SURFACE_NOT_CREATED;
        return RasterizeChipQuad(currentSurface, corners, source, SourceRect(chip));
    }
    return DrawChipQuadPoints3D(corners, chip, transparency);
}
