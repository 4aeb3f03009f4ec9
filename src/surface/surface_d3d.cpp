// The Direct3D device of a 3D surface: Z buffer, device by render mode, viewport,
// transforms, material and the initial render and texture-stage state.
#include <cstring>

#include "display/display.h"
#include "surface/surface.h"

namespace zorv {

namespace {

// Takes the first format that is a plain Z buffer (dwFlags exactly DDPF_ZBUFFER).
HRESULT CALLBACK ZBufferFormatCallback(DDPIXELFORMAT* format, void* context) {
    if (format->dwFlags == DDPF_ZBUFFER) {
        std::memcpy(context, format, sizeof(DDPIXELFORMAT));
        return D3DENUMRET_CANCEL;
    }
    return D3DENUMRET_OK;
}

bool FindZBufferFormat(REFCLSID deviceClass, DDPIXELFORMAT* format) {
    std::memset(format, 0, sizeof *format);
    direct3D->EnumZBufferFormats(deviceClass, ZBufferFormatCallback, format);
    return format->dwSize == sizeof(DDPIXELFORMAT);
}

void SetMatrix(D3DMATRIX* m, const float (&values)[16]) { std::memcpy(m, values, sizeof values); }

// Surface pixels (y down, origin top left) to a space centred on the surface, y up.
void WorldMatrix(D3DMATRIX* m, float width, float height) {
    const float values[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, -width * 0.5f, height * 0.5f, 0, 1};
    SetMatrix(m, values);
}

const float VIEW[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 100, 1};
const float PROJECTION[16] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 1, 0, 0, -1, 0};

int32_t CreateZBuffer(SurfaceRecord* record) {
    record->zBuffer = 0;
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    desc.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH | DDSD_PIXELFORMAT;
    desc.dwWidth = static_cast<DWORD>(record->width);
    desc.dwHeight = static_cast<DWORD>(record->height);
    desc.ddsCaps.dwCaps = DDSCAPS_ZBUFFER;

    bool found = false;
    switch (renderMode) {
    case RENDER_BEST:
        found = FindZBufferFormat(IID_IDirect3DTnLHalDevice, &desc.ddpfPixelFormat) ||
                FindZBufferFormat(IID_IDirect3DHALDevice, &desc.ddpfPixelFormat);
        if (!found) {
            // The software device wants its Z buffer in system memory.
            found = FindZBufferFormat(IID_IDirect3DRGBDevice, &desc.ddpfPixelFormat);
            desc.ddsCaps.dwCaps |= DDSCAPS_SYSTEMMEMORY;
        }
        break;
    case RENDER_D3D_RGB:
        found = FindZBufferFormat(IID_IDirect3DRGBDevice, &desc.ddpfPixelFormat);
        desc.ddsCaps.dwCaps |= DDSCAPS_SYSTEMMEMORY;
        break;
    case RENDER_D3D_HAL:
        found = FindZBufferFormat(IID_IDirect3DHALDevice, &desc.ddpfPixelFormat);
        break;
    default:
        break;  // no Direct3D, or software drawing: no Z buffer format to ask for
    }
    if (!found) return ERR_NO_ZBUFFER_FORMAT;

    IDirectDrawSurface7* zBuffer = nullptr;
    HRESULT hr = directDraw->CreateSurface(&desc, &zBuffer, nullptr);
    if (FAILED(hr)) return DxFail(hr, ERR_CREATE_ZBUFFER);
    record->zBuffer = reinterpret_cast<uintptr_t>(zBuffer);
    hr = record->surface->AddAttachedSurface(zBuffer);
    if (FAILED(hr)) return DxFail(hr, ERR_ATTACH_ZBUFFER);
    return OK;
}

HRESULT CreateDevice(REFCLSID deviceClass, SurfaceRecord* record) {
    return direct3D->CreateDevice(deviceClass, record->surface, &record->device);
}

}  // namespace

HRESULT SetViewportRect(int32_t x, int32_t y, int32_t width, int32_t height, SurfaceRecord* record) {
    D3DVIEWPORT7 viewport = {static_cast<DWORD>(x), static_cast<DWORD>(y), static_cast<DWORD>(width),
                             static_cast<DWORD>(height), 0.0f, 1.0f};
    HRESULT hr = record->device->SetViewport(&viewport);
    if (FAILED(hr)) return hr;
    D3DMATRIX projection;
    SetMatrix(&projection, PROJECTION);
    return record->device->SetTransform(D3DTRANSFORMSTATE_PROJECTION, &projection);
}

int32_t CreateSurfaceDevice(SurfaceRecord* record) {
    if (record->zBuffer == 1) {
        int32_t status = CreateZBuffer(record);
        if (status != OK) return status;
    }

    HRESULT hr;
    switch (renderMode) {
    case RENDER_NO_3D:
        return ERR_NO_3D_MODE;
    case RENDER_SOFTWARE:
        return OK;  // drawn by the plugin's own rasterizer: no device
    case RENDER_BEST:
        hr = CreateDevice(IID_IDirect3DTnLHalDevice, record);
        if (FAILED(hr)) hr = CreateDevice(IID_IDirect3DHALDevice, record);
        if (FAILED(hr)) hr = CreateDevice(IID_IDirect3DRGBDevice, record);
        break;
    case RENDER_D3D_RGB:
        hr = CreateDevice(IID_IDirect3DRGBDevice, record);
        break;
    default:
        hr = CreateDevice(IID_IDirect3DHALDevice, record);
        break;
    }
    if (FAILED(hr)) {
        record->device = nullptr;
        return DxFail(hr, ERR_CREATE_D3D_DEVICE);
    }
    IDirect3DDevice7* device = record->device;

    D3DVIEWPORT7 viewport = {0, 0, static_cast<DWORD>(record->width), static_cast<DWORD>(record->height), 0.0f, 1.0f};
    hr = device->SetViewport(&viewport);
    if (FAILED(hr)) return DxFail(hr, ERR_SET_VIEWPORT);

    D3DMATRIX world;
    WorldMatrix(&world, static_cast<float>(record->width), static_cast<float>(record->height));
    D3DMATRIX view;
    SetMatrix(&view, VIEW);
    hr = device->SetTransform(D3DTRANSFORMSTATE_WORLD, &world);
    if (SUCCEEDED(hr)) hr = device->SetTransform(D3DTRANSFORMSTATE_VIEW, &view);
    if (SUCCEEDED(hr)) hr = SetViewportRect(0, 0, record->width, record->height, record);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_D3D);

    IDirect3D7* owner = nullptr;
    hr = device->GetDirect3D(&owner);
    if (FAILED(hr)) return DxFail(hr, ERR_GET_D3D);
    owner->Release();

    // A white material; the results from here on are not looked at.
    D3DMATERIAL7& material = record->material;
    std::memset(&material, 0, sizeof material);
    material.diffuse.r = material.diffuse.g = material.diffuse.b = material.diffuse.a = 1.0f;
    material.ambient.r = material.ambient.g = material.ambient.b = material.ambient.a = 1.0f;
    material.power = 50.0f;
    device->SetRenderState(D3DRENDERSTATE_AMBIENT, 0x00FFFFFF);
    device->SetMaterial(&material);

    device->SetRenderState(D3DRENDERSTATE_FILLMODE, D3DFILL_SOLID);
    device->SetRenderState(D3DRENDERSTATE_ZENABLE, D3DZB_FALSE);
    device->SetRenderState(D3DRENDERSTATE_SHADEMODE, D3DSHADE_FLAT);
    device->SetRenderState(D3DRENDERSTATE_ALPHABLENDENABLE, TRUE);
    device->SetRenderState(D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE);
    device->SetRenderState(D3DRENDERSTATE_DESTBLEND, D3DBLEND_ONE);
    device->SetRenderState(D3DRENDERSTATE_DITHERENABLE, FALSE);
    device->SetRenderState(D3DRENDERSTATE_SPECULARENABLE, FALSE);
    device->SetRenderState(D3DRENDERSTATE_WRAPU, 0);
    device->SetRenderState(D3DRENDERSTATE_WRAPV, 0);
    device->SetRenderState(D3DRENDERSTATE_TEXTUREPERSPECTIVE, TRUE);
    device->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, TRUE);

    device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
    device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
    device->SetTextureStageState(0, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE);
    device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
    device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    device->SetTextureStageState(0, D3DTSS_COLORARG2, D3DTA_DIFFUSE);
    device->SetTextureStageState(0, D3DTSS_MINFILTER, D3DTFN_POINT);
    device->SetTextureStageState(0, D3DTSS_MAGFILTER, D3DTFG_POINT);
    device->SetTextureStageState(0, D3DTSS_ADDRESS, D3DTADDRESS_CLAMP);
    return OK;
}

}  // namespace zorv
