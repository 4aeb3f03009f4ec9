// The stand-in's DirectDraw object (IDirectDraw7). Every method records itself in the call
// log and may be failed by a rule; the methods a program needs to choose a device and a
// display mode answer from the configured world, the others return DDERR_UNSUPPORTED.
#include <cstring>
#include <new>

#include "standin_private.h"

namespace standin {

namespace {

// Log names of the methods, also the names failure rules match.
#define DD7 "IDirectDraw7::"

constexpr DWORD MODE_ENUM_FLAGS = DDEDM_REFRESHRATES | DDEDM_STANDARDVGAMODES;

// "desc=NULL" or "desc.dwSize=N, desc.dwFlags=0x..." for a surface description the call reads.
std::string ReadDescText(const char* name, const DDSURFACEDESC2* desc) {
    if (desc == nullptr) return Format("%s=NULL", name);
    return Format("%s.dwSize=%lu, %s.dwFlags=%s", name, static_cast<unsigned long>(desc->dwSize), name,
                  Hex(desc->dwFlags).c_str());
}

// GetCaps' fill rule: DWORD i holds base + i, DWORD 0 (dwSize) stays 380.
void FillCaps(DDCAPS* caps, DWORD base) {
    DWORD* field = reinterpret_cast<DWORD*>(caps);
    const size_t count = sizeof(DDCAPS) / sizeof(DWORD);
    for (size_t i = 1; i < count; ++i) field[i] = base + static_cast<DWORD>(i);
}

// Whether a mode passes the fields a filter description sets.
bool Matches(const DDSURFACEDESC2* filter, const DDSURFACEDESC2& mode) {
    if (filter == nullptr) return true;
    if ((filter->dwFlags & DDSD_WIDTH) && filter->dwWidth != mode.dwWidth) return false;
    if ((filter->dwFlags & DDSD_HEIGHT) && filter->dwHeight != mode.dwHeight) return false;
    if ((filter->dwFlags & DDSD_PIXELFORMAT) &&
        filter->ddpfPixelFormat.dwRGBBitCount != mode.ddpfPixelFormat.dwRGBBitCount) {
        return false;
    }
    if ((filter->dwFlags & DDSD_REFRESHRATE) && filter->dwRefreshRate != mode.dwRefreshRate) return false;
    return true;
}

// final: Release deletes through the concrete type, and no destructor joins the vtable.
class DirectDraw7 final : public IDirectDraw7 {
public:
    explicit DirectDraw7(int device) : device_(device) { ObjectMade(); }

    // ---- IUnknown ----

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        std::string args = "iid=" + IidText(iid) + ", out=" + Pointer(out);
        HRESULT hr;
        if (!Injected(DD7 "QueryInterface", &hr)) {
            if (out == nullptr) {
                hr = E_POINTER;
            } else if (IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IDirectDraw7)) {
                InterlockedIncrement(&refs_);
                *out = static_cast<IDirectDraw7*>(this);
                hr = S_OK;
            } else {
                *out = nullptr;
                hr = E_NOINTERFACE;
            }
        }
        return Finish(DD7 "QueryInterface", args, hr);
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        return FinishCount(DD7 "AddRef", static_cast<ULONG>(InterlockedIncrement(&refs_)));
    }

    ULONG STDMETHODCALLTYPE Release() override {
        ULONG count = static_cast<ULONG>(InterlockedDecrement(&refs_));
        if (count == 0) {
            ObjectGone();
            delete this;
        }
        return FinishCount(DD7 "Release", count);
    }

    // ---- IDirectDraw7: what device and display-mode choice needs ----

    HRESULT STDMETHODCALLTYPE GetCaps(LPDDCAPS driver, LPDDCAPS hel) override {
        std::string args = SizedText("driver", driver) + ", " + SizedText("hel", hel);
        HRESULT hr;
        if (!Injected(DD7 "GetCaps", &hr)) {
            if ((driver == nullptr && hel == nullptr) || (driver != nullptr && driver->dwSize != sizeof(DDCAPS)) ||
                (hel != nullptr && hel->dwSize != sizeof(DDCAPS))) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                if (driver != nullptr) FillCaps(driver, 0x1000);
                if (hel != nullptr) FillCaps(hel, 0x2000);
                hr = DD_OK;
            }
        }
        return Finish(DD7 "GetCaps", args, hr);
    }

    HRESULT STDMETHODCALLTYPE EnumDisplayModes(DWORD flags, LPDDSURFACEDESC2 desc, LPVOID context,
                                               LPDDENUMMODESCALLBACK2 callback) override {
        std::string args = "flags=" + Hex(flags) + ", " + ReadDescText("desc", desc) + ", context=" +
                           Pointer(context) + ", callback=" + FunctionPointer(callback);
        HRESULT hr;
        if (!Injected(DD7 "EnumDisplayModes", &hr)) hr = EnumModes(flags, desc, context, callback);
        return Finish(DD7 "EnumDisplayModes", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetDisplayMode(LPDDSURFACEDESC2 desc) override {
        std::string args = SizedText("desc", desc);
        HRESULT hr;
        if (!Injected(DD7 "GetDisplayMode", &hr)) {
            if (desc == nullptr || desc->dwSize != sizeof(DDSURFACEDESC2)) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                DescribeMode(CurrentMode(), desc);
                hr = DD_OK;
            }
        }
        return Finish(DD7 "GetDisplayMode", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetCooperativeLevel(HWND window, DWORD flags) override {
        std::string args = "hwnd=" + Pointer(window) + ", flags=" + Hex(flags);
        HRESULT hr;
        if (!Injected(DD7 "SetCooperativeLevel", &hr)) {
            bool exclusive = (flags & DDSCL_EXCLUSIVE) != 0;
            if (flags == 0 || (exclusive && ((flags & DDSCL_FULLSCREEN) == 0 || window == nullptr)) ||
                (exclusive && (flags & DDSCL_NORMAL))) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                window_ = window;
                cooperativeFlags_ = flags;
                hr = DD_OK;
            }
        }
        return Finish(DD7 "SetCooperativeLevel", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetDisplayMode(DWORD width, DWORD height, DWORD bpp, DWORD refresh, DWORD flags) override {
        std::string args = Format("width=%lu, height=%lu, bpp=%lu, refresh=%lu, flags=%s", static_cast<unsigned long>(width),
                                  static_cast<unsigned long>(height), static_cast<unsigned long>(bpp),
                                  static_cast<unsigned long>(refresh), Hex(flags).c_str());
        HRESULT hr;
        if (!Injected(DD7 "SetDisplayMode", &hr)) {
            hr = DDERR_INVALIDMODE;
            if ((flags & ~static_cast<DWORD>(DDSDM_STANDARDVGAMODE)) != 0) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                StandInMode modes[MAX_MODES];
                int count = Modes(modes);
                for (int i = 0; i < count; ++i) {
                    const StandInMode& m = modes[i];
                    if (m.width == width && m.height == height && m.bpp == bpp && (refresh == 0 || m.refresh == refresh)) {
                        SetCurrentMode(m);
                        hr = DD_OK;
                        break;
                    }
                }
            }
        }
        return Finish(DD7 "SetDisplayMode", args, hr);
    }

    HRESULT STDMETHODCALLTYPE RestoreDisplayMode() override {
        HRESULT hr;
        if (!Injected(DD7 "RestoreDisplayMode", &hr)) {
            SetCurrentMode(DesktopMode());
            hr = DD_OK;
        }
        return Finish(DD7 "RestoreDisplayMode", "", hr);
    }

    // ---- IDirectDraw7: not yet modelled; recorded, DDERR_UNSUPPORTED ----

    HRESULT STDMETHODCALLTYPE Compact() override { return Unsupported(DD7 "Compact", ""); }

    HRESULT STDMETHODCALLTYPE CreateClipper(DWORD flags, LPDIRECTDRAWCLIPPER* out, IUnknown* outer) override {
        return Unsupported(DD7 "CreateClipper", "flags=" + Hex(flags) + ", out=" + Pointer(out) + ", outer=" + Pointer(outer));
    }

    HRESULT STDMETHODCALLTYPE CreatePalette(DWORD flags, LPPALETTEENTRY entries, LPDIRECTDRAWPALETTE* out,
                                            IUnknown* outer) override {
        return Unsupported(DD7 "CreatePalette", "flags=" + Hex(flags) + ", entries=" + Pointer(entries) +
                                                    ", out=" + Pointer(out) + ", outer=" + Pointer(outer));
    }

    HRESULT STDMETHODCALLTYPE CreateSurface(LPDDSURFACEDESC2 desc, LPDIRECTDRAWSURFACE7* out, IUnknown* outer) override {
        return Unsupported(DD7 "CreateSurface",
                           ReadDescText("desc", desc) + ", out=" + Pointer(out) + ", outer=" + Pointer(outer));
    }

    HRESULT STDMETHODCALLTYPE DuplicateSurface(LPDIRECTDRAWSURFACE7 surface, LPDIRECTDRAWSURFACE7* out) override {
        return Unsupported(DD7 "DuplicateSurface", "surface=" + Pointer(surface) + ", out=" + Pointer(out));
    }

    HRESULT STDMETHODCALLTYPE EnumSurfaces(DWORD flags, LPDDSURFACEDESC2 desc, LPVOID context,
                                           LPDDENUMSURFACESCALLBACK7 callback) override {
        return Unsupported(DD7 "EnumSurfaces", "flags=" + Hex(flags) + ", " + ReadDescText("desc", desc) +
                                                   ", context=" + Pointer(context) + ", callback=" + FunctionPointer(callback));
    }

    HRESULT STDMETHODCALLTYPE FlipToGDISurface() override { return Unsupported(DD7 "FlipToGDISurface", ""); }

    HRESULT STDMETHODCALLTYPE GetFourCCCodes(LPDWORD count, LPDWORD codes) override {
        return Unsupported(DD7 "GetFourCCCodes", "count=" + Pointer(count) + ", codes=" + Pointer(codes));
    }

    HRESULT STDMETHODCALLTYPE GetGDISurface(LPDIRECTDRAWSURFACE7* out) override {
        return Unsupported(DD7 "GetGDISurface", "out=" + Pointer(out));
    }

    HRESULT STDMETHODCALLTYPE GetMonitorFrequency(LPDWORD frequency) override {
        return Unsupported(DD7 "GetMonitorFrequency", "frequency=" + Pointer(frequency));
    }

    HRESULT STDMETHODCALLTYPE GetScanLine(LPDWORD line) override {
        return Unsupported(DD7 "GetScanLine", "line=" + Pointer(line));
    }

    HRESULT STDMETHODCALLTYPE GetVerticalBlankStatus(WINBOOL* inBlank) override {
        return Unsupported(DD7 "GetVerticalBlankStatus", "inBlank=" + Pointer(inBlank));
    }

    HRESULT STDMETHODCALLTYPE Initialize(GUID* guid) override {
        return Unsupported(DD7 "Initialize", "guid=" + DeviceGuidText(guid));
    }

    HRESULT STDMETHODCALLTYPE WaitForVerticalBlank(DWORD flags, HANDLE event) override {
        return Unsupported(DD7 "WaitForVerticalBlank", "flags=" + Hex(flags) + ", event=" + Pointer(event));
    }

    HRESULT STDMETHODCALLTYPE GetAvailableVidMem(LPDDSCAPS2 caps, LPDWORD total, LPDWORD free) override {
        std::string capsText = caps == nullptr ? std::string("caps=NULL") : "caps.dwCaps=" + Hex(caps->dwCaps);
        return Unsupported(DD7 "GetAvailableVidMem", capsText + ", total=" + Pointer(total) + ", free=" + Pointer(free));
    }

    HRESULT STDMETHODCALLTYPE GetSurfaceFromDC(HDC dc, LPDIRECTDRAWSURFACE7* out) override {
        return Unsupported(DD7 "GetSurfaceFromDC", "hdc=" + Pointer(dc) + ", out=" + Pointer(out));
    }

    HRESULT STDMETHODCALLTYPE RestoreAllSurfaces() override { return Unsupported(DD7 "RestoreAllSurfaces", ""); }

    HRESULT STDMETHODCALLTYPE TestCooperativeLevel() override { return Unsupported(DD7 "TestCooperativeLevel", ""); }

    HRESULT STDMETHODCALLTYPE GetDeviceIdentifier(LPDDDEVICEIDENTIFIER2 identifier, DWORD flags) override {
        return Unsupported(DD7 "GetDeviceIdentifier", "identifier=" + Pointer(identifier) + ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE StartModeTest(LPSIZE modes, DWORD count, DWORD flags) override {
        return Unsupported(DD7 "StartModeTest", "modes=" + Pointer(modes) +
                                                    Format(", count=%lu", static_cast<unsigned long>(count)) +
                                                    ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE EvaluateMode(DWORD flags, DWORD* timeout) override {
        return Unsupported(DD7 "EvaluateMode", "flags=" + Hex(flags) + ", timeout=" + Pointer(timeout));
    }

private:
    // Only Release deletes the object.
    ~DirectDraw7() = default;

    // A method not modelled yet: a rule may still choose its result.
    static HRESULT Unsupported(const char* call, const std::string& args) {
        HRESULT hr;
        if (!Injected(call, &hr)) hr = DDERR_UNSUPPORTED;
        return Finish(call, args, hr);
    }

    // Reports the configured modes that pass the filter, until the callback cancels.
    static HRESULT EnumModes(DWORD flags, const DDSURFACEDESC2* filter, LPVOID context,
                             LPDDENUMMODESCALLBACK2 callback) {
        if (callback == nullptr || (flags & ~MODE_ENUM_FLAGS) != 0) return DDERR_INVALIDPARAMS;
        if (filter != nullptr && filter->dwSize != sizeof(DDSURFACEDESC2)) return DDERR_INVALIDPARAMS;
        StandInMode modes[MAX_MODES];
        int count = Modes(modes);
        for (int i = 0; i < count; ++i) {
            StandInMode mode = modes[i];
            if ((flags & DDEDM_REFRESHRATES) == 0) {
                // One report per width, height and depth, without a rate.
                bool reported = false;
                for (int j = 0; j < i && !reported; ++j) {
                    reported = modes[j].width == mode.width && modes[j].height == mode.height && modes[j].bpp == mode.bpp;
                }
                if (reported) continue;
                mode.refresh = 0;
            }
            DDSURFACEDESC2 desc;
            DescribeMode(mode, &desc);
            if (!Matches(filter, desc)) continue;
            if (callback(&desc, context) == DDENUMRET_CANCEL) break;
        }
        return DD_OK;
    }

    LONG refs_ = 1;
    int device_;                 // index of the configured device the object was made for
    HWND window_ = nullptr;      // last SetCooperativeLevel window and flags
    DWORD cooperativeFlags_ = 0;
};

#undef DD7

}  // namespace

IDirectDraw7* NewDirectDraw7(int device) { return new (std::nothrow) DirectDraw7(device); }

}  // namespace standin
