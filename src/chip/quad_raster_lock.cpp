// The software quad's DirectDraw side: lock the chip's source read-only and the target's
// bounding box write-only, hand the memory to the pixel loops, unlock.
#include <cstring>

#include "chip/chip_draw.h"
#include "chip/quad_raster.h"
#include "frame/frame.h"

namespace zorv {

int32_t RasterizeChipQuad(SurfaceRecord* target, const int32_t corners[8], SurfaceRecord* source,
                          const RECT& srcRect) {
    RasterQuad quad;
    for (int i = 0; i < 4; ++i) {
        quad.x[i] = corners[2 * i];
        quad.y[i] = corners[2 * i + 1];
    }
    RasterRect box;
    const int32_t width = static_cast<int32_t>(target->desc.dwWidth);
    const int32_t height = static_cast<int32_t>(target->desc.dwHeight);
    if (!QuadLockRect(quad, width, height, &box)) return OK;  // nothing lies on the surface

    RECT sourceRect = srcRect;
    source->desc.dwSize = sizeof(DDSURFACEDESC2);
    HRESULT hr = LockWaiting(source->surface, &sourceRect, &source->desc, DDLOCK_WAIT | DDLOCK_READONLY);
    if (FAILED(hr)) return hr;
    RECT targetRect = {box.left, box.top, box.right, box.bottom};
    target->desc.dwSize = sizeof(DDSURFACEDESC2);
    hr = LockWaiting(target->surface, &targetRect, &target->desc, DDLOCK_WAIT | DDLOCK_WRITEONLY);
    if (FAILED(hr)) {
        source->surface->Unlock(&sourceRect);
        return hr;
    }

    // The target's own pixel size from the locked description: when it differs from the
    // source's the pixel loops draw nothing, and the call still answers the Unlock result (0).
    RasterSurface out = {static_cast<uint8_t*>(target->desc.lpSurface), target->desc.lPitch,
                         static_cast<int32_t>(target->desc.ddpfPixelFormat.dwRGBBitCount), box.left, box.top,
                         width, height};
    RasterSource in = {static_cast<const uint8_t*>(source->desc.lpSurface), source->desc.lPitch,
                       static_cast<int32_t>(source->desc.ddpfPixelFormat.dwRGBBitCount), source->transparentOn != 0,
                       source->transparentCode};
    RasterClip clip = {target->drawLeft, target->drawTop, target->drawRight, target->drawBottom};
    RasterRect chipRect = {srcRect.left, srcRect.top, srcRect.right, srcRect.bottom};
    RasterizeQuad(out, clip, quad, in, chipRect);

    source->surface->Unlock(&sourceRect);
    return target->surface->Unlock(&targetRect);
}

}  // namespace zorv
