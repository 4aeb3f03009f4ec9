// Direct3D state of the current surface: device capabilities, render state, the render
// colour and texture-stage state. In the software render mode the blend settings are only
// recorded for the plugin's own drawing.
#include <cstring>

#include "display/display.h"
#include "surface/surface.h"

namespace zorv {

namespace {

// D3DPRIMCAPS fields by sub-item (items 1 and 2).
uint32_t PrimCapsField(const D3DPRIMCAPS& caps, uint32_t sub) {
    const DWORD fields[14] = {caps.dwSize,          caps.dwMiscCaps,          caps.dwRasterCaps,
                              caps.dwZCmpCaps,      caps.dwSrcBlendCaps,      caps.dwDestBlendCaps,
                              caps.dwAlphaCmpCaps,  caps.dwShadeCaps,         caps.dwTextureCaps,
                              caps.dwTextureFilterCaps, caps.dwTextureBlendCaps, caps.dwTextureAddressCaps,
                              caps.dwStippleWidth,  caps.dwStippleHeight};
    return fields[sub];
}

// Floating-point fields travel as their IEEE single-precision bit patterns.
uint32_t Bits(float value) {
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

uint32_t DeviceType(const GUID& guid) {
    if (IsEqualGUID(guid, IID_IDirect3DRGBDevice)) return 1;
    if (IsEqualGUID(guid, IID_IDirect3DHALDevice)) return 2;
    if (IsEqualGUID(guid, IID_IDirect3DTnLHalDevice)) return 3;
    return 0;
}

uint32_t CapsItem(const D3DDEVICEDESC7& d, uint32_t item, uint32_t sub) {
    switch (item) {
    case 0: return d.dwDevCaps;
    case 1: return PrimCapsField(d.dpcLineCaps, sub);
    case 2: return PrimCapsField(d.dpcTriCaps, sub);
    case 3: return d.dwDeviceRenderBitDepth;
    case 4: return d.dwDeviceZBufferBitDepth;
    case 5: return d.dwMinTextureWidth;
    case 6: return d.dwMinTextureHeight;
    case 7: return d.dwMaxTextureWidth;
    case 8: return d.dwMaxTextureHeight;
    case 9: return d.dwMaxTextureRepeat;
    case 10: return d.dwMaxTextureAspectRatio;
    case 11: return d.dwMaxAnisotropy;
    case 12: return Bits(d.dvGuardBandLeft);
    case 13: return Bits(d.dvGuardBandTop);
    case 14: return Bits(d.dvGuardBandRight);
    case 15: return Bits(d.dvGuardBandBottom);
    case 16: return Bits(d.dvExtentsAdjust);
    case 17: return d.dwStencilCaps;
    case 18: return d.dwFVFCaps;
    case 19: return d.dwTextureOpCaps;
    case 20: return d.wMaxTextureBlendStages;
    case 21: return d.wMaxSimultaneousTextures;
    case 22: return d.dwMaxActiveLights;
    case 23: return Bits(d.dvMaxVertexW);
    case 24: return DeviceType(d.deviceGUID);
    case 25: return d.wMaxUserClipPlanes;
    case 26: return d.wMaxVertexBlendMatrices;
    case 27: return d.dwVertexProcessingCaps;
    case 28: return d.dwReserved1;
    case 29: return d.dwReserved2;
    case 30: return d.dwReserved3;
    default: return d.dwReserved4;
    }
}

// record may be null (no current surface): only the states that would touch it answer -76.
// The software render mode keeps the three blending states in the record and ignores the rest.
int32_t ApplyRenderState(SurfaceRecord* record, int32_t state, int32_t value) {
    const bool blending = state == D3DRENDERSTATE_SRCBLEND || state == D3DRENDERSTATE_DESTBLEND ||
                          state == D3DRENDERSTATE_ALPHABLENDENABLE;
    if (renderMode == RENDER_SOFTWARE && !blending) return OK;
    if (record == nullptr) return ERR_NO_SURFACE;
    if (renderMode == RENDER_SOFTWARE) {
        if (state == D3DRENDERSTATE_SRCBLEND) record->srcBlend = value;
        if (state == D3DRENDERSTATE_DESTBLEND) record->destBlend = value;
        if (state == D3DRENDERSTATE_ALPHABLENDENABLE) record->alphaBlendOn = value;
        return OK;
    }
    if (state == D3DRENDERSTATE_ALPHABLENDENABLE) record->alphaBlendOn = value;
    if (record->device == nullptr) return ERR_NO_D3D_DEVICE;
    HRESULT hr = record->device->SetRenderState(static_cast<D3DRENDERSTATETYPE>(state), static_cast<DWORD>(value));
    if (FAILED(hr)) return DxFail(hr, ERR_RENDER_STATE);
    return OK;
}

}  // namespace

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvGetD3Dcaps(HostVariable* var, int32_t item, int32_t sub, int32_t) {
    EnterExport("ZorvGetD3Dcaps");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    if (currentSurface->device == nullptr) return ERR_NO_D3D_DEVICE;
    D3DDEVICEDESC7 desc;
    std::memset(&desc, 0, sizeof desc);
    HRESULT hr = currentSurface->device->GetCaps(&desc);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DDCAPS);
    const uint32_t itemBits = static_cast<uint32_t>(item);
    const uint32_t subBits = static_cast<uint32_t>(sub);
    if (itemBits > 31) return ERR_PARAM_RANGE;
    if ((itemBits == 1 || itemBits == 2) && subBits > 13) return ERR_PARAM_RANGE;
    WriteInt(var, static_cast<int32_t>(CapsItem(desc, itemBits, subBits)));
    return OK;
}

// The second state is applied only when the first succeeded and the second is not 0.
ZORV_API ZorvSetRenderState(int32_t state1, int32_t value1, int32_t state2, int32_t value2) {
    EnterExport("ZorvSetRenderState");
    int32_t status = ApplyRenderState(currentSurface, state1, value1);
    if (status != OK || state2 == 0) return status;
    return ApplyRenderState(currentSurface, state2, value2);
}

// A component c other than 0 becomes the factor c + 1 in 16 bits (255 -> 256, 65535 -> 0).
ZORV_API ZorvSetRenderColor(int32_t red, int32_t green, int32_t blue, int32_t on) {
    EnterExport("ZorvSetRenderColor");
    auto component = [](int32_t c) { return c >= 0 && c <= 65535; };
    if (!component(red) || !component(green) || !component(blue) || on < 0 || on > 1) return ERR_PARAM_RANGE;
    if (renderMode == RENDER_SOFTWARE) return OK;
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    currentSurface->renderColorOn = on;
    if (on == 1) {
        auto factor = [](int32_t c) { return static_cast<uint16_t>(c == 0 ? 0 : c + 1); };
        currentSurface->renderColorR = factor(red);
        currentSurface->renderColorG = factor(green);
        currentSurface->renderColorB = factor(blue);
    }
    return OK;
}

ZORV_API ZorvSetTextureStageState(int32_t stage, int32_t type, int32_t value, int32_t) {
    EnterExport("ZorvSetTextureStageState");
    if (renderMode == RENDER_SOFTWARE) return OK;
    // A colour or alpha operation that names no operation (D3DTOP_DISABLE to
    // D3DTOP_DOTPRODUCT3) is refused: Wine takes the value as a table index when it next draws
    // and faults on a large one.
    if ((type == D3DTSS_COLOROP || type == D3DTSS_ALPHAOP) && (value < D3DTOP_DISABLE || value > D3DTOP_DOTPRODUCT3)) {
        return ERR_PARAM_RANGE;
    }
    if (currentSurface == nullptr) return ERR_NO_SURFACE;
    if (currentSurface->device == nullptr) return ERR_NO_D3D_DEVICE;
    HRESULT hr = currentSurface->device->SetTextureStageState(
        static_cast<DWORD>(stage), static_cast<D3DTEXTURESTAGESTATETYPE>(type), static_cast<DWORD>(value));
    if (FAILED(hr)) return DxFail(hr, ERR_RENDER_STATE);
    return OK;
}
