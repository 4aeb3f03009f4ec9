// The stand-in's Direct3D object (IDirect3D7), obtained from a DirectDraw object with
// QueryInterface. It reports the device classes switched on by StandInSetDeviceClasses and
// their Z-buffer formats, and makes devices of those classes on 3D surfaces. Every method
// is logged and may be failed.
#include <new>

#include "standin_surface.h"

namespace standin {

namespace {

const char* const CLASS_DESCRIPTIONS[DEVICE_CLASS_COUNT] = {
    "Stand-in RGB Emulation", "Stand-in Direct3D HAL", "Stand-in Direct3D T&L HAL"};
const char* const CLASS_NAMES[DEVICE_CLASS_COUNT] = {"RGB Emulation", "Direct3D HAL", "Direct3D T&L HAL"};

class Direct3D final : public ComObject<IDirect3D7, IID_IDirect3D7> {
public:
    explicit Direct3D(Counted* directDraw) : ComObject(Kind::Direct3D, "IDirect3D7"), directDraw_(directDraw) {
        directDraw_->Hold();
        Register(static_cast<IDirect3D7*>(this));
    }

    // ---- IUnknown: its DirectDraw object, besides itself ----

    bool QueryOther(REFIID iid, void** out, HRESULT* hr) override {
        if (!IsEqualGUID(iid, IID_IDirectDraw7)) return false;
        directDraw_->Hold();
        *out = const_cast<void*>(directDraw_->Iface());
        *hr = S_OK;
        return true;
    }

    // ---- IDirect3D7, in d3d.h's order ----

    HRESULT STDMETHODCALLTYPE EnumDevices(LPD3DENUMDEVICESCALLBACK7 callback, void* context) override {
        std::string args = "callback=" + FunctionPointer(callback) + ", context=" + Pointer(context);
        HRESULT hr;
        if (!Fail("EnumDevices", &hr)) {
            if (callback == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                hr = D3D_OK;
                for (int i = 0; i < DEVICE_CLASS_COUNT; ++i) {
                    if (!DeviceClassEnabled(i)) continue;
                    D3DDEVICEDESC7 desc;
                    DescribeDeviceClass(i, &desc);
                    char description[64];
                    char name[64];
                    lstrcpynA(description, CLASS_DESCRIPTIONS[i], sizeof description);
                    lstrcpynA(name, CLASS_NAMES[i], sizeof name);
                    if (callback(description, name, &desc, context) == D3DENUMRET_CANCEL) break;
                }
            }
        }
        return Done("EnumDevices", args, hr);
    }

    HRESULT STDMETHODCALLTYPE CreateDevice(REFCLSID deviceClass, IDirectDrawSurface7* surface,
                                           IDirect3DDevice7** out) override {
        std::string args = "class=" + IidText(deviceClass) + ", surface=" + ObjectText(surface) + ", out=" + Pointer(out);
        HRESULT hr;
        if (!Fail("CreateDevice", &hr)) {
            if (out != nullptr) *out = nullptr;
            int index = DeviceClassIndex(deviceClass);
            Surface* target = Surface::From(surface);
            if (out == nullptr || target == nullptr || index < 0) {
                hr = DDERR_INVALIDPARAMS;
            } else if (!DeviceClassEnabled(index)) {
                hr = D3DERR_INVALID_DEVICE;  // the driver offers no such device
            } else if ((target->Caps() & DDSCAPS_3DDEVICE) == 0) {
                hr = DDERR_INVALIDCAPS;
            } else {
                *out = NewDevice3D(this, index, target);
                hr = *out != nullptr ? D3D_OK : DDERR_OUTOFMEMORY;
            }
        }
        return Done("CreateDevice", args, hr);
    }

    HRESULT STDMETHODCALLTYPE CreateVertexBuffer(D3DVERTEXBUFFERDESC* desc, IDirect3DVertexBuffer7** buffer,
                                                 DWORD flags) override {
        return Unsupported("CreateVertexBuffer", SizedText("desc", desc) + ", buffer=" + Pointer(buffer) + ", flags=" +
                                                     Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE EnumZBufferFormats(REFCLSID deviceClass, LPD3DENUMPIXELFORMATSCALLBACK callback,
                                                 void* context) override {
        std::string args = "class=" + IidText(deviceClass) + ", callback=" + FunctionPointer(callback) +
                           ", context=" + Pointer(context);
        HRESULT hr;
        if (!Fail("EnumZBufferFormats", &hr)) {
            int index = DeviceClassIndex(deviceClass);
            if (callback == nullptr || index < 0) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                hr = D3D_OK;
                // A class the driver does not offer has no formats to report.
                DDPIXELFORMAT formats[MAX_ZBUFFER_FORMATS];
                int count = DeviceClassEnabled(index) ? ZBufferFormats(index, formats) : 0;
                for (int i = 0; i < count; ++i) {
                    if (callback(&formats[i], context) == D3DENUMRET_CANCEL) break;
                }
            }
        }
        return Done("EnumZBufferFormats", args, hr);
    }

    HRESULT STDMETHODCALLTYPE EvictManagedTextures() override {
        HRESULT hr;
        if (!Fail("EvictManagedTextures", &hr)) hr = D3D_OK;
        return Done("EvictManagedTextures", "", hr);
    }

private:
    ~Direct3D() override {
        DirectDrawForgetDirect3D(directDraw_, this);
        directDraw_->Drop();
    }

    Counted* directDraw_;
};

}  // namespace

IDirect3D7* NewDirect3D(Counted* directDraw) { return new (std::nothrow) Direct3D(directDraw); }

}  // namespace standin
