// The stand-in's Direct3D device (IDirect3DDevice7). It keeps the state a program gives it
// (viewport, transforms, material, render and texture-stage states, textures), clears its
// render target and Z buffer in memory, and records primitives in the log without drawing
// them. Every method is logged and may be failed.
#include <cstring>
#include <new>

#include "standin_surface.h"

namespace standin {

namespace {

constexpr DWORD MAX_RENDER_STATE = 255;
constexpr DWORD STAGES = 8;
constexpr DWORD MAX_STAGE_STATE = 31;
constexpr DWORD TRANSFORM_SLOTS = 32;
constexpr DWORD MAX_LOGGED_VERTICES = 64;

std::string MatrixText(const D3DMATRIX* m) {
    if (m == nullptr) return "matrix=NULL";
    const float* v = reinterpret_cast<const float*>(m);
    std::string text = "matrix=[";
    for (int i = 0; i < 16; ++i) {
        if (i > 0) text += " ";
        text += FloatText(v[i]);
    }
    return text + "]";
}

std::string ViewportText(const D3DVIEWPORT7* vp) {
    if (vp == nullptr) return "viewport=NULL";
    return Format("x=%lu, y=%lu, width=%lu, height=%lu, minZ=", static_cast<unsigned long>(vp->dwX),
                  static_cast<unsigned long>(vp->dwY), static_cast<unsigned long>(vp->dwWidth),
                  static_cast<unsigned long>(vp->dwHeight)) +
           FloatText(vp->dvMinZ) + ", maxZ=" + FloatText(vp->dvMaxZ);
}

std::string ColourValueText(const D3DCOLORVALUE& c) {
    return "(" + FloatText(c.r) + "," + FloatText(c.g) + "," + FloatText(c.b) + "," + FloatText(c.a) + ")";
}

std::string MaterialText(const D3DMATERIAL7* m) {
    if (m == nullptr) return "material=NULL";
    return "diffuse=" + ColourValueText(m->diffuse) + ", ambient=" + ColourValueText(m->ambient) +
           ", specular=" + ColourValueText(m->specular) + ", emissive=" + ColourValueText(m->emissive) +
           ", power=" + FloatText(m->power);
}

// Bytes of one vertex of a flexible vertex format.
DWORD VertexSize(DWORD fvf) {
    static const DWORD POSITION_BYTES[8] = {0, 12, 16, 16, 20, 24, 28, 32};
    DWORD size = POSITION_BYTES[(fvf & D3DFVF_POSITION_MASK) >> 1];
    if (fvf & D3DFVF_NORMAL) size += 12;
    if (fvf & D3DFVF_RESERVED1) size += 4;
    if (fvf & D3DFVF_DIFFUSE) size += 4;
    if (fvf & D3DFVF_SPECULAR) size += 4;
    DWORD sets = (fvf & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT;
    for (DWORD i = 0; i < sets; ++i) {
        static const DWORD FLOATS[4] = {2, 3, 4, 1};
        size += 4 * FLOATS[(fvf >> (16 + 2 * i)) & 3];
    }
    return size;
}

// One vertex as (x,y,z[,rhw][,colour][,u,v]).
std::string VertexText(const uint8_t* v, DWORD fvf) {
    auto f = [v](DWORD offset) {
        float value;
        std::memcpy(&value, v + offset, sizeof value);
        return FloatText(value);
    };
    std::string text = "(" + f(0) + "," + f(4) + "," + f(8);
    DWORD position = fvf & D3DFVF_POSITION_MASK;
    DWORD at = 12;
    if (position == D3DFVF_XYZRHW) {
        text += "," + f(12);
        at = 16;
    } else if (position > D3DFVF_XYZRHW) {
        at = 12 + 4 * ((position - D3DFVF_XYZRHW) / 2);  // blend weights are not shown
    }
    if (fvf & D3DFVF_NORMAL) at += 12;
    if (fvf & D3DFVF_RESERVED1) at += 4;
    if (fvf & D3DFVF_DIFFUSE) {
        DWORD colour;
        std::memcpy(&colour, v + at, sizeof colour);
        text += "," + Hex(colour);
        at += 4;
    }
    if (fvf & D3DFVF_SPECULAR) at += 4;
    if ((fvf & D3DFVF_TEXCOUNT_MASK) != 0) text += "," + f(at) + "," + f(at + 4);
    return text + ")";
}

class Device3D final : public ComObject<IDirect3DDevice7, IID_IDirect3DDevice7> {
public:
    Device3D(Counted* direct3D, int deviceClass, Surface* target)
        : ComObject(Kind::Device, "IDirect3DDevice7"), direct3D_(direct3D), class_(deviceClass), target_(target) {
        direct3D_->Hold();
        target_->Hold();
        std::memset(&viewport_, 0, sizeof viewport_);
        viewport_.dwWidth = static_cast<DWORD>(target->Width());
        viewport_.dwHeight = static_cast<DWORD>(target->Height());
        viewport_.dvMaxZ = 1.0f;
        std::memset(transforms_, 0, sizeof transforms_);
        for (DWORD i = 0; i < TRANSFORM_SLOTS; ++i) {
            float* m = reinterpret_cast<float*>(&transforms_[i]);
            m[0] = m[5] = m[10] = m[15] = 1.0f;  // identity
        }
        std::memset(&material_, 0, sizeof material_);
        std::memset(renderStates_, 0, sizeof renderStates_);
        std::memset(stageStates_, 0, sizeof stageStates_);
        Register(static_cast<IDirect3DDevice7*>(this));
    }

    // ---- IDirect3DDevice7, in d3d.h's order ----

    HRESULT STDMETHODCALLTYPE GetCaps(D3DDEVICEDESC7* desc) override {
        std::string args = "desc=" + Pointer(desc);
        HRESULT hr;
        if (!Fail("GetCaps", &hr)) {
            if (desc == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                DescribeDeviceClass(class_, desc);
                hr = D3D_OK;
            }
        }
        return Done("GetCaps", args, hr);
    }

    HRESULT STDMETHODCALLTYPE EnumTextureFormats(LPD3DENUMPIXELFORMATSCALLBACK callback, void* context) override {
        return Unsupported("EnumTextureFormats", "callback=" + FunctionPointer(callback) + ", context=" + Pointer(context));
    }

    HRESULT STDMETHODCALLTYPE BeginScene() override {
        HRESULT hr;
        if (!Fail("BeginScene", &hr)) {
            hr = inScene_ ? D3DERR_SCENE_IN_SCENE : D3D_OK;
            inScene_ = true;
        }
        return Done("BeginScene", "", hr);
    }

    HRESULT STDMETHODCALLTYPE EndScene() override {
        HRESULT hr;
        if (!Fail("EndScene", &hr)) {
            hr = inScene_ ? D3D_OK : D3DERR_SCENE_NOT_IN_SCENE;
            inScene_ = false;
        }
        return Done("EndScene", "", hr);
    }

    HRESULT STDMETHODCALLTYPE GetDirect3D(IDirect3D7** out) override {
        std::string args = "out=" + Pointer(out);
        HRESULT hr;
        if (!Fail("GetDirect3D", &hr)) {
            if (out == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                direct3D_->Hold();
                *out = static_cast<IDirect3D7*>(const_cast<void*>(direct3D_->Iface()));
                hr = D3D_OK;
            }
        }
        return Done("GetDirect3D", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetRenderTarget(IDirectDrawSurface7* surface, DWORD flags) override {
        return Unsupported("SetRenderTarget", "surface=" + ObjectText(surface) + ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE GetRenderTarget(IDirectDrawSurface7** out) override {
        std::string args = "out=" + Pointer(out);
        HRESULT hr;
        if (!Fail("GetRenderTarget", &hr)) {
            if (out == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                target_->Hold();
                *out = target_->Interface();
                hr = D3D_OK;
            }
        }
        return Done("GetRenderTarget", args, hr);
    }

    HRESULT STDMETHODCALLTYPE Clear(DWORD count, D3DRECT* rects, DWORD flags, D3DCOLOR colour, D3DVALUE z,
                                    DWORD stencil) override {
        std::string args = Format("count=%lu, rects=", static_cast<unsigned long>(count));
        if (rects == nullptr) {
            args += "NULL";
        } else {
            args += "[";
            for (DWORD i = 0; i < count && i < MAX_LOGGED_VERTICES; ++i) {
                if (i > 0) args += " ";
                args += Format("(%ld,%ld,%ld,%ld)", static_cast<long>(rects[i].x1), static_cast<long>(rects[i].y1),
                               static_cast<long>(rects[i].x2), static_cast<long>(rects[i].y2));
            }
            args += "]";
        }
        args += ", flags=" + Hex(flags) + ", colour=" + Hex(colour) + ", z=" + FloatText(z) +
                Format(", stencil=%lu", static_cast<unsigned long>(stencil));
        HRESULT hr;
        if (!Fail("Clear", &hr)) hr = DoClear(count, rects, flags, colour, z);
        return Done("Clear", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) override {
        std::string args = Format("state=%d, ", static_cast<int>(state)) + MatrixText(matrix);
        HRESULT hr;
        if (!Fail("SetTransform", &hr)) {
            DWORD slot = static_cast<DWORD>(state);
            if (matrix == nullptr || slot == 0 || slot >= TRANSFORM_SLOTS) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                transforms_[slot] = *matrix;
                hr = D3D_OK;
            }
        }
        return Done("SetTransform", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) override {
        std::string args = Format("state=%d, matrix=", static_cast<int>(state)) + Pointer(matrix);
        HRESULT hr;
        if (!Fail("GetTransform", &hr)) {
            DWORD slot = static_cast<DWORD>(state);
            if (matrix == nullptr || slot == 0 || slot >= TRANSFORM_SLOTS) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *matrix = transforms_[slot];
                hr = D3D_OK;
            }
        }
        return Done("GetTransform", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetViewport(D3DVIEWPORT7* vp) override {
        std::string args = ViewportText(vp);
        HRESULT hr;
        if (!Fail("SetViewport", &hr)) {
            // The viewport must lie inside the render target.
            if (vp == nullptr || static_cast<uint64_t>(vp->dwX) + vp->dwWidth > static_cast<uint64_t>(target_->Width()) ||
                static_cast<uint64_t>(vp->dwY) + vp->dwHeight > static_cast<uint64_t>(target_->Height())) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                viewport_ = *vp;
                hr = D3D_OK;
            }
        }
        return Done("SetViewport", args, hr);
    }

    HRESULT STDMETHODCALLTYPE MultiplyTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) override {
        return Unsupported("MultiplyTransform", Format("state=%d, ", static_cast<int>(state)) + MatrixText(matrix));
    }

    HRESULT STDMETHODCALLTYPE GetViewport(D3DVIEWPORT7* vp) override {
        std::string args = "viewport=" + Pointer(vp);
        HRESULT hr;
        if (!Fail("GetViewport", &hr)) {
            if (vp == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *vp = viewport_;
                hr = D3D_OK;
            }
        }
        return Done("GetViewport", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetMaterial(D3DMATERIAL7* material) override {
        std::string args = MaterialText(material);
        HRESULT hr;
        if (!Fail("SetMaterial", &hr)) {
            if (material == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                material_ = *material;
                hr = D3D_OK;
            }
        }
        return Done("SetMaterial", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetMaterial(D3DMATERIAL7* material) override {
        std::string args = "material=" + Pointer(material);
        HRESULT hr;
        if (!Fail("GetMaterial", &hr)) {
            if (material == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *material = material_;
                hr = D3D_OK;
            }
        }
        return Done("GetMaterial", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetLight(DWORD index, D3DLIGHT7* light) override {
        return Unsupported("SetLight", Format("index=%lu, light=", static_cast<unsigned long>(index)) + Pointer(light));
    }

    HRESULT STDMETHODCALLTYPE GetLight(DWORD index, D3DLIGHT7* light) override {
        return Unsupported("GetLight", Format("index=%lu, light=", static_cast<unsigned long>(index)) + Pointer(light));
    }

    HRESULT STDMETHODCALLTYPE SetRenderState(D3DRENDERSTATETYPE state, DWORD value) override {
        std::string args = Format("state=%d, value=", static_cast<int>(state)) + Hex(value);
        HRESULT hr;
        if (!Fail("SetRenderState", &hr)) {
            DWORD index = static_cast<DWORD>(state);
            if (index == 0 || index > MAX_RENDER_STATE) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                renderStates_[index] = value;
                hr = D3D_OK;
            }
        }
        return Done("SetRenderState", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetRenderState(D3DRENDERSTATETYPE state, LPDWORD value) override {
        std::string args = Format("state=%d, value=", static_cast<int>(state)) + Pointer(value);
        HRESULT hr;
        if (!Fail("GetRenderState", &hr)) {
            DWORD index = static_cast<DWORD>(state);
            if (value == nullptr || index == 0 || index > MAX_RENDER_STATE) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *value = renderStates_[index];
                hr = D3D_OK;
            }
        }
        return Done("GetRenderState", args, hr);
    }

    HRESULT STDMETHODCALLTYPE BeginStateBlock() override { return Unsupported("BeginStateBlock", ""); }

    HRESULT STDMETHODCALLTYPE EndStateBlock(LPDWORD handle) override {
        return Unsupported("EndStateBlock", "handle=" + Pointer(handle));
    }

    HRESULT STDMETHODCALLTYPE PreLoad(IDirectDrawSurface7* surface) override {
        return Unsupported("PreLoad", "surface=" + ObjectText(surface));
    }

    HRESULT STDMETHODCALLTYPE DrawPrimitive(D3DPRIMITIVETYPE type, DWORD fvf, void* vertices, DWORD count,
                                            DWORD flags) override {
        std::string args = Format("type=%d, fvf=", static_cast<int>(type)) + Hex(fvf) +
                           Format(", count=%lu, flags=", static_cast<unsigned long>(count)) + Hex(flags) + ", vertices=";
        if (vertices == nullptr) {
            args += "NULL";
        } else {
            args += "[";
            const DWORD size = VertexSize(fvf);
            const uint8_t* v = static_cast<const uint8_t*>(vertices);
            for (DWORD i = 0; i < count && i < MAX_LOGGED_VERTICES; ++i) args += VertexText(v + i * size, fvf);
            if (count > MAX_LOGGED_VERTICES) args += "...";
            args += "]";
        }
        HRESULT hr;
        if (!Fail("DrawPrimitive", &hr)) {
            if (vertices == nullptr || count == 0 || (fvf & D3DFVF_POSITION_MASK) == 0) {
                hr = DDERR_INVALIDPARAMS;
            } else if (!inScene_) {
                hr = D3DERR_SCENE_NOT_IN_SCENE;
            } else {
                hr = D3D_OK;  // recorded, not drawn
            }
        }
        return Done("DrawPrimitive", args, hr);
    }

    HRESULT STDMETHODCALLTYPE DrawIndexedPrimitive(D3DPRIMITIVETYPE type, DWORD fvf, void* vertices, DWORD count,
                                                   WORD* indices, DWORD indexCount, DWORD flags) override {
        return Unsupported("DrawIndexedPrimitive",
                           Format("type=%d, fvf=", static_cast<int>(type)) + Hex(fvf) + ", vertices=" + Pointer(vertices) +
                               Format(", count=%lu, indices=", static_cast<unsigned long>(count)) + Pointer(indices) +
                               Format(", indexCount=%lu, flags=", static_cast<unsigned long>(indexCount)) + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE SetClipStatus(D3DCLIPSTATUS* status) override {
        return Unsupported("SetClipStatus", "status=" + Pointer(status));
    }

    HRESULT STDMETHODCALLTYPE GetClipStatus(D3DCLIPSTATUS* status) override {
        return Unsupported("GetClipStatus", "status=" + Pointer(status));
    }

    HRESULT STDMETHODCALLTYPE DrawPrimitiveStrided(D3DPRIMITIVETYPE type, DWORD fvf, D3DDRAWPRIMITIVESTRIDEDDATA* data,
                                                   DWORD count, DWORD flags) override {
        return Unsupported("DrawPrimitiveStrided", Format("type=%d, fvf=", static_cast<int>(type)) + Hex(fvf) +
                                                       ", data=" + Pointer(data) +
                                                       Format(", count=%lu, flags=", static_cast<unsigned long>(count)) +
                                                       Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE DrawIndexedPrimitiveStrided(D3DPRIMITIVETYPE type, DWORD fvf,
                                                          D3DDRAWPRIMITIVESTRIDEDDATA* data, DWORD count, WORD* indices,
                                                          DWORD indexCount, DWORD flags) override {
        return Unsupported("DrawIndexedPrimitiveStrided",
                           Format("type=%d, fvf=", static_cast<int>(type)) + Hex(fvf) + ", data=" + Pointer(data) +
                               Format(", count=%lu, indices=", static_cast<unsigned long>(count)) + Pointer(indices) +
                               Format(", indexCount=%lu, flags=", static_cast<unsigned long>(indexCount)) + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE DrawPrimitiveVB(D3DPRIMITIVETYPE type, IDirect3DVertexBuffer7* buffer, DWORD start,
                                              DWORD count, DWORD flags) override {
        return Unsupported("DrawPrimitiveVB", Format("type=%d, buffer=", static_cast<int>(type)) + Pointer(buffer) +
                                                  Format(", start=%lu, count=%lu, flags=", static_cast<unsigned long>(start),
                                                         static_cast<unsigned long>(count)) +
                                                  Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE DrawIndexedPrimitiveVB(D3DPRIMITIVETYPE type, IDirect3DVertexBuffer7* buffer, DWORD start,
                                                     DWORD count, WORD* indices, DWORD indexCount, DWORD flags) override {
        return Unsupported("DrawIndexedPrimitiveVB",
                           Format("type=%d, buffer=", static_cast<int>(type)) + Pointer(buffer) +
                               Format(", start=%lu, count=%lu, indices=", static_cast<unsigned long>(start),
                                      static_cast<unsigned long>(count)) +
                               Pointer(indices) + Format(", indexCount=%lu, flags=", static_cast<unsigned long>(indexCount)) +
                               Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE ComputeSphereVisibility(D3DVECTOR* centers, D3DVALUE* radii, DWORD count, DWORD flags,
                                                      DWORD* results) override {
        return Unsupported("ComputeSphereVisibility", "centers=" + Pointer(centers) + ", radii=" + Pointer(radii) +
                                                          Format(", count=%lu, flags=", static_cast<unsigned long>(count)) +
                                                          Hex(flags) + ", results=" + Pointer(results));
    }

    HRESULT STDMETHODCALLTYPE GetTexture(DWORD stage, IDirectDrawSurface7** out) override {
        std::string args = Format("stage=%lu, out=", static_cast<unsigned long>(stage)) + Pointer(out);
        HRESULT hr;
        if (!Fail("GetTexture", &hr)) {
            if (out == nullptr || stage >= STAGES) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                if (textures_[stage] != nullptr) textures_[stage]->Hold();
                *out = textures_[stage] != nullptr ? textures_[stage]->Interface() : nullptr;
                hr = D3D_OK;
            }
        }
        return Done("GetTexture", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetTexture(DWORD stage, IDirectDrawSurface7* surface) override {
        std::string args = Format("stage=%lu, texture=", static_cast<unsigned long>(stage)) + ObjectText(surface);
        HRESULT hr;
        if (!Fail("SetTexture", &hr)) {
            Surface* texture = Surface::From(surface);
            if (stage >= STAGES || (surface != nullptr && texture == nullptr)) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                if (texture != nullptr) texture->Hold();
                if (textures_[stage] != nullptr) textures_[stage]->Drop();
                textures_[stage] = texture;
                hr = D3D_OK;
            }
        }
        return Done("SetTexture", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, LPDWORD value) override {
        std::string args = Format("stage=%lu, type=%d, value=", static_cast<unsigned long>(stage), static_cast<int>(type)) +
                           Pointer(value);
        HRESULT hr;
        if (!Fail("GetTextureStageState", &hr)) {
            DWORD t = static_cast<DWORD>(type);
            if (value == nullptr || stage >= STAGES || t == 0 || t > MAX_STAGE_STATE) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *value = stageStates_[stage][t];
                hr = D3D_OK;
            }
        }
        return Done("GetTextureStageState", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) override {
        std::string args = Format("stage=%lu, type=%d, value=", static_cast<unsigned long>(stage), static_cast<int>(type)) +
                           Hex(value);
        HRESULT hr;
        if (!Fail("SetTextureStageState", &hr)) {
            DWORD t = static_cast<DWORD>(type);
            if (stage >= STAGES || t == 0 || t > MAX_STAGE_STATE) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                stageStates_[stage][t] = value;
                hr = D3D_OK;
            }
        }
        return Done("SetTextureStageState", args, hr);
    }

    HRESULT STDMETHODCALLTYPE ValidateDevice(LPDWORD passes) override {
        return Unsupported("ValidateDevice", "passes=" + Pointer(passes));
    }

    HRESULT STDMETHODCALLTYPE ApplyStateBlock(DWORD handle) override {
        return Unsupported("ApplyStateBlock", Format("handle=%lu", static_cast<unsigned long>(handle)));
    }

    HRESULT STDMETHODCALLTYPE CaptureStateBlock(DWORD handle) override {
        return Unsupported("CaptureStateBlock", Format("handle=%lu", static_cast<unsigned long>(handle)));
    }

    HRESULT STDMETHODCALLTYPE DeleteStateBlock(DWORD handle) override {
        return Unsupported("DeleteStateBlock", Format("handle=%lu", static_cast<unsigned long>(handle)));
    }

    HRESULT STDMETHODCALLTYPE CreateStateBlock(D3DSTATEBLOCKTYPE type, LPDWORD handle) override {
        return Unsupported("CreateStateBlock", Format("type=%d, handle=", static_cast<int>(type)) + Pointer(handle));
    }

    HRESULT STDMETHODCALLTYPE Load(IDirectDrawSurface7* dest, POINT* point, IDirectDrawSurface7* source, RECT* rect,
                                   DWORD flags) override {
        return Unsupported("Load", "dest=" + ObjectText(dest) + ", point=" + Pointer(point) + ", src=" +
                                       ObjectText(source) + ", " + RectText("srcRect", rect) + ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE LightEnable(DWORD index, WINBOOL enable) override {
        return Unsupported("LightEnable", Format("index=%lu, enable=%d", static_cast<unsigned long>(index), enable));
    }

    HRESULT STDMETHODCALLTYPE GetLightEnable(DWORD index, WINBOOL* enable) override {
        return Unsupported("GetLightEnable", Format("index=%lu, enable=", static_cast<unsigned long>(index)) +
                                                 Pointer(enable));
    }

    HRESULT STDMETHODCALLTYPE SetClipPlane(DWORD index, D3DVALUE* plane) override {
        return Unsupported("SetClipPlane", Format("index=%lu, plane=", static_cast<unsigned long>(index)) + Pointer(plane));
    }

    HRESULT STDMETHODCALLTYPE GetClipPlane(DWORD index, D3DVALUE* plane) override {
        return Unsupported("GetClipPlane", Format("index=%lu, plane=", static_cast<unsigned long>(index)) + Pointer(plane));
    }

    HRESULT STDMETHODCALLTYPE GetInfo(DWORD id, void* info, DWORD size) override {
        return Unsupported("GetInfo", Format("id=%lu, info=", static_cast<unsigned long>(id)) + Pointer(info) +
                                          Format(", size=%lu", static_cast<unsigned long>(size)));
    }

private:
    ~Device3D() override {
        for (Surface* texture : textures_) {
            if (texture != nullptr) texture->Drop();
        }
        target_->Drop();
        direct3D_->Drop();
    }

    // Clears the rectangles (or the viewport) of the render target and its Z buffer, each
    // cut to the viewport.
    HRESULT DoClear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR colour, D3DVALUE z) {
        if ((count > 0 && rects == nullptr) || (flags & (D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)) == 0) {
            return DDERR_INVALIDPARAMS;
        }
        Surface* zBuffer = target_->AttachedZBuffer();
        if ((flags & (D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)) && zBuffer == nullptr) return D3DERR_ZBUFFER_NOTPRESENT;
        if ((flags & D3DCLEAR_STENCIL) && (zBuffer->PixelFormat().dwFlags & DDPF_STENCILBUFFER) == 0) {
            return D3DERR_STENCILBUFFER_NOTPRESENT;
        }
        if (target_->Lost()) return DDERR_SURFACELOST;
        if (target_->Busy()) return DDERR_SURFACEBUSY;
        const RECT view = {static_cast<LONG>(viewport_.dwX), static_cast<LONG>(viewport_.dwY),
                           static_cast<LONG>(viewport_.dwX + viewport_.dwWidth),
                           static_cast<LONG>(viewport_.dwY + viewport_.dwHeight)};
        DWORD n = count > 0 ? count : 1;
        for (DWORD i = 0; i < n; ++i) {
            RECT r = view;
            if (count > 0) {
                if (rects[i].x1 > r.left) r.left = rects[i].x1;
                if (rects[i].y1 > r.top) r.top = rects[i].y1;
                if (rects[i].x2 < r.right) r.right = rects[i].x2;
                if (rects[i].y2 < r.bottom) r.bottom = rects[i].y2;
            }
            if (r.left >= r.right || r.top >= r.bottom) continue;
            if (flags & D3DCLEAR_TARGET) target_->Memory().Fill(r, PackColour(colour, target_->PixelFormat()));
            if (flags & D3DCLEAR_ZBUFFER) {
                // The depth scaled into the format's Z bits.
                DWORD mask = zBuffer->PixelFormat().dwZBitMask;
                int shift = 0;
                while (mask != 0 && (mask & 1u) == 0) {
                    mask >>= 1;
                    ++shift;
                }
                float clamped = z < 0.0f ? 0.0f : (z > 1.0f ? 1.0f : z);
                DWORD depth = static_cast<DWORD>(static_cast<double>(clamped) * mask + 0.5) << shift;
                zBuffer->Memory().Fill(r, depth);
            }
        }
        return D3D_OK;
    }

    Counted* direct3D_;
    int class_;
    Surface* target_;
    bool inScene_ = false;
    D3DVIEWPORT7 viewport_;
    D3DMATRIX transforms_[TRANSFORM_SLOTS];
    D3DMATERIAL7 material_;
    DWORD renderStates_[MAX_RENDER_STATE + 1];
    DWORD stageStates_[STAGES][MAX_STAGE_STATE + 1];
    Surface* textures_[STAGES] = {};
};

}  // namespace

IDirect3DDevice7* NewDevice3D(Counted* direct3D, int deviceClass, Counted* target) {
    return new (std::nothrow) Device3D(direct3D, deviceClass, static_cast<Surface*>(target));
}

}  // namespace standin
