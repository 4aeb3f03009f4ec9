// The stand-in's DirectDraw object (IDirectDraw7). Every method records itself in the call
// log and may be failed by a rule. Device and display-mode choice answer from the configured
// world; surfaces, clippers, palettes and the Direct3D interface are made here; the other
// methods return DDERR_UNSUPPORTED.
#include <cstring>
#include <new>

#include "standin_surface.h"

namespace standin {

namespace {

constexpr DWORD MODE_ENUM_FLAGS = DDEDM_REFRESHRATES | DDEDM_STANDARDVGAMODES;

// "desc=NULL" or "desc.dwSize=N, desc.dwFlags=0x..." for a surface description the call reads.
std::string ReadDescText(const char* name, const DDSURFACEDESC2* desc) {
    if (desc == nullptr) return Format("%s=NULL", name);
    return Format("%s.dwSize=%lu, %s.dwFlags=%s", name, static_cast<unsigned long>(desc->dwSize), name,
                  Hex(desc->dwFlags).c_str());
}

// What CreateSurface logs of a description: its flags, caps, size, back-buffer count, and the
// pixel format when one is given.
std::string CreateDescText(const DDSURFACEDESC2* desc) {
    if (desc == nullptr) return "desc=NULL";
    std::string text = ReadDescText("desc", desc);
    text += ", caps=" + Hex(desc->ddsCaps.dwCaps) + ", caps2=" + Hex(desc->ddsCaps.dwCaps2);
    text += Format(", width=%lu, height=%lu, backBuffers=%lu", static_cast<unsigned long>(desc->dwWidth),
                   static_cast<unsigned long>(desc->dwHeight), static_cast<unsigned long>(desc->dwBackBufferCount));
    if (desc->dwFlags & DDSD_PIXELFORMAT) {
        const DDPIXELFORMAT& f = desc->ddpfPixelFormat;
        text += ", format.dwFlags=" + Hex(f.dwFlags) + Format(", format.bits=%lu", static_cast<unsigned long>(f.dwRGBBitCount));
        text += Format(", format.masks=%lX/%lX/%lX/%lX", static_cast<unsigned long>(f.dwRBitMask),
                       static_cast<unsigned long>(f.dwGBitMask), static_cast<unsigned long>(f.dwBBitMask),
                       static_cast<unsigned long>(f.dwRGBAlphaBitMask));
    }
    return text;
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
class DirectDraw7 final : public ComObject<IDirectDraw7, IID_IDirectDraw7> {
public:
    explicit DirectDraw7(int device) : ComObject(Kind::DirectDraw, "IDirectDraw7"), device_(device) {
        Register(static_cast<IDirectDraw7*>(this));
    }

    // ---- For the objects it makes ----
    Counted* primary = nullptr;    // its primary surface while there is one
    Counted* direct3D = nullptr;   // its IDirect3D7 while there is one

    // ---- IUnknown: its Direct3D object, besides itself ----

    bool QueryOther(REFIID iid, void** out, HRESULT* hr) override {
        if (!IsEqualGUID(iid, IID_IDirect3D7)) return false;
        // One Direct3D object per DirectDraw object, as long as somebody holds it.
        *hr = S_OK;
        if (direct3D != nullptr) {
            direct3D->Hold();
            *out = const_cast<void*>(direct3D->Iface());
        } else {
            IDirect3D7* made = NewDirect3D(this);
            *out = made;
            if (made == nullptr) *hr = E_OUTOFMEMORY;
            direct3D = FindObject(made, Kind::Direct3D);
        }
        return true;
    }

    // ---- IDirectDraw7: what device and display-mode choice needs ----

    HRESULT STDMETHODCALLTYPE GetCaps(LPDDCAPS driver, LPDDCAPS hel) override {
        std::string args = SizedText("driver", driver) + ", " + SizedText("hel", hel);
        HRESULT hr;
        if (!Fail("GetCaps", &hr)) {
            if ((driver == nullptr && hel == nullptr) || (driver != nullptr && driver->dwSize != sizeof(DDCAPS)) ||
                (hel != nullptr && hel->dwSize != sizeof(DDCAPS))) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                if (driver != nullptr) FillCaps(driver, 0x1000);
                if (hel != nullptr) FillCaps(hel, 0x2000);
                hr = DD_OK;
            }
        }
        return Done("GetCaps", args, hr);
    }

    HRESULT STDMETHODCALLTYPE EnumDisplayModes(DWORD flags, LPDDSURFACEDESC2 desc, LPVOID context,
                                               LPDDENUMMODESCALLBACK2 callback) override {
        std::string args = "flags=" + Hex(flags) + ", " + ReadDescText("desc", desc) + ", context=" +
                           Pointer(context) + ", callback=" + FunctionPointer(callback);
        HRESULT hr;
        if (!Fail("EnumDisplayModes", &hr)) hr = EnumModes(flags, desc, context, callback);
        return Done("EnumDisplayModes", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetDisplayMode(LPDDSURFACEDESC2 desc) override {
        std::string args = SizedText("desc", desc);
        HRESULT hr;
        if (!Fail("GetDisplayMode", &hr)) {
            if (desc == nullptr || desc->dwSize != sizeof(DDSURFACEDESC2)) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                DescribeMode(CurrentMode(), desc);
                hr = DD_OK;
            }
        }
        return Done("GetDisplayMode", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetCooperativeLevel(HWND window, DWORD flags) override {
        std::string args = "hwnd=" + Pointer(window) + ", flags=" + Hex(flags);
        HRESULT hr;
        if (!Fail("SetCooperativeLevel", &hr)) {
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
        return Done("SetCooperativeLevel", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetDisplayMode(DWORD width, DWORD height, DWORD bpp, DWORD refresh, DWORD flags) override {
        std::string args = Format("width=%lu, height=%lu, bpp=%lu, refresh=%lu, flags=%s", static_cast<unsigned long>(width),
                                  static_cast<unsigned long>(height), static_cast<unsigned long>(bpp),
                                  static_cast<unsigned long>(refresh), Hex(flags).c_str());
        HRESULT hr;
        if (!Fail("SetDisplayMode", &hr)) {
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
        return Done("SetDisplayMode", args, hr);
    }

    HRESULT STDMETHODCALLTYPE RestoreDisplayMode() override {
        HRESULT hr;
        if (!Fail("RestoreDisplayMode", &hr)) {
            SetCurrentMode(DesktopMode());
            hr = DD_OK;
        }
        return Done("RestoreDisplayMode", "", hr);
    }

    // ---- IDirectDraw7: surfaces, clippers, palettes ----

    HRESULT STDMETHODCALLTYPE CreateSurface(LPDDSURFACEDESC2 desc, LPDIRECTDRAWSURFACE7* out, IUnknown* outer) override {
        std::string args = CreateDescText(desc) + ", out=" + Pointer(out) + ", outer=" + Pointer(outer);
        HRESULT hr;
        if (!Fail("CreateSurface", &hr)) {
            if (out != nullptr) *out = nullptr;
            if (desc == nullptr || desc->dwSize != sizeof(DDSURFACEDESC2) || out == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else if (outer != nullptr) {
                hr = CLASS_E_NOAGGREGATION;
            } else {
                SurfaceRequest request = {this, cooperativeFlags_, primary != nullptr};
                Counted* madePrimary = nullptr;
                hr = CreateSurfaces(request, *desc, out, &madePrimary);
                if (madePrimary != nullptr) primary = madePrimary;
            }
        }
        return Done("CreateSurface", args, hr);
    }

    HRESULT STDMETHODCALLTYPE CreateClipper(DWORD flags, LPDIRECTDRAWCLIPPER* out, IUnknown* outer) override {
        std::string args = "flags=" + Hex(flags) + ", out=" + Pointer(out) + ", outer=" + Pointer(outer);
        HRESULT hr;
        if (!Fail("CreateClipper", &hr)) {
            if (out != nullptr) *out = nullptr;
            if (out == nullptr || flags != 0) {
                hr = DDERR_INVALIDPARAMS;
            } else if (outer != nullptr) {
                hr = CLASS_E_NOAGGREGATION;
            } else {
                *out = NewClipper();
                hr = *out != nullptr ? DD_OK : DDERR_OUTOFMEMORY;
            }
        }
        return Done("CreateClipper", args, hr);
    }

    HRESULT STDMETHODCALLTYPE CreatePalette(DWORD flags, LPPALETTEENTRY entries, LPDIRECTDRAWPALETTE* out,
                                            IUnknown* outer) override {
        std::string args = "flags=" + Hex(flags) + ", entries=" + Pointer(entries) + ", out=" + Pointer(out) +
                           ", outer=" + Pointer(outer);
        HRESULT hr;
        if (!Fail("CreatePalette", &hr)) {
            if (out != nullptr) *out = nullptr;
            const DWORD sizes = DDPCAPS_1BIT | DDPCAPS_2BIT | DDPCAPS_4BIT | DDPCAPS_8BIT;
            const DWORD size = flags & sizes;
            if (out == nullptr || entries == nullptr || (size & (size - 1)) != 0 || size == 0) {
                hr = DDERR_INVALIDPARAMS;  // exactly one size
            } else if (outer != nullptr) {
                hr = CLASS_E_NOAGGREGATION;
            } else if (cooperativeFlags_ == 0) {
                hr = DDERR_NOCOOPERATIVELEVELSET;
            } else {
                *out = NewPalette(this, flags, entries);
                hr = *out != nullptr ? DD_OK : DDERR_OUTOFMEMORY;
            }
        }
        return Done("CreatePalette", args, hr);
    }

    // ---- IDirectDraw7: not modelled; recorded, DDERR_UNSUPPORTED ----

    HRESULT STDMETHODCALLTYPE Compact() override { return Unsupported("Compact", ""); }

    HRESULT STDMETHODCALLTYPE DuplicateSurface(LPDIRECTDRAWSURFACE7 surface, LPDIRECTDRAWSURFACE7* out) override {
        return Unsupported("DuplicateSurface", "surface=" + Pointer(surface) + ", out=" + Pointer(out));
    }

    HRESULT STDMETHODCALLTYPE EnumSurfaces(DWORD flags, LPDDSURFACEDESC2 desc, LPVOID context,
                                           LPDDENUMSURFACESCALLBACK7 callback) override {
        return Unsupported("EnumSurfaces", "flags=" + Hex(flags) + ", " + ReadDescText("desc", desc) +
                                                   ", context=" + Pointer(context) + ", callback=" + FunctionPointer(callback));
    }

    HRESULT STDMETHODCALLTYPE FlipToGDISurface() override { return Unsupported("FlipToGDISurface", ""); }

    HRESULT STDMETHODCALLTYPE GetFourCCCodes(LPDWORD count, LPDWORD codes) override {
        return Unsupported("GetFourCCCodes", "count=" + Pointer(count) + ", codes=" + Pointer(codes));
    }

    HRESULT STDMETHODCALLTYPE GetGDISurface(LPDIRECTDRAWSURFACE7* out) override {
        return Unsupported("GetGDISurface", "out=" + Pointer(out));
    }

    HRESULT STDMETHODCALLTYPE GetMonitorFrequency(LPDWORD frequency) override {
        return Unsupported("GetMonitorFrequency", "frequency=" + Pointer(frequency));
    }

    HRESULT STDMETHODCALLTYPE GetScanLine(LPDWORD line) override {
        return Unsupported("GetScanLine", "line=" + Pointer(line));
    }

    HRESULT STDMETHODCALLTYPE GetVerticalBlankStatus(WINBOOL* inBlank) override {
        return Unsupported("GetVerticalBlankStatus", "inBlank=" + Pointer(inBlank));
    }

    HRESULT STDMETHODCALLTYPE Initialize(GUID* guid) override {
        return Unsupported("Initialize", "guid=" + DeviceGuidText(guid));
    }

    HRESULT STDMETHODCALLTYPE WaitForVerticalBlank(DWORD flags, HANDLE event) override {
        return Unsupported("WaitForVerticalBlank", "flags=" + Hex(flags) + ", event=" + Pointer(event));
    }

    HRESULT STDMETHODCALLTYPE GetAvailableVidMem(LPDDSCAPS2 caps, LPDWORD total, LPDWORD free) override {
        std::string capsText = caps == nullptr ? std::string("caps=NULL") : "caps.dwCaps=" + Hex(caps->dwCaps);
        return Unsupported("GetAvailableVidMem", capsText + ", total=" + Pointer(total) + ", free=" + Pointer(free));
    }

    HRESULT STDMETHODCALLTYPE GetSurfaceFromDC(HDC dc, LPDIRECTDRAWSURFACE7* out) override {
        return Unsupported("GetSurfaceFromDC", "hdc=" + Pointer(dc) + ", out=" + Pointer(out));
    }

    HRESULT STDMETHODCALLTYPE RestoreAllSurfaces() override { return Unsupported("RestoreAllSurfaces", ""); }

    HRESULT STDMETHODCALLTYPE TestCooperativeLevel() override { return Unsupported("TestCooperativeLevel", ""); }

    HRESULT STDMETHODCALLTYPE GetDeviceIdentifier(LPDDDEVICEIDENTIFIER2 identifier, DWORD flags) override {
        return Unsupported("GetDeviceIdentifier", "identifier=" + Pointer(identifier) + ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE StartModeTest(LPSIZE modes, DWORD count, DWORD flags) override {
        return Unsupported("StartModeTest", "modes=" + Pointer(modes) +
                                                    Format(", count=%lu", static_cast<unsigned long>(count)) +
                                                    ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE EvaluateMode(DWORD flags, DWORD* timeout) override {
        return Unsupported("EvaluateMode", "flags=" + Hex(flags) + ", timeout=" + Pointer(timeout));
    }

private:
    // Only Release (or the last internal reference) deletes the object.
    ~DirectDraw7() override = default;

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

    int device_;                 // index of the configured device the object was made for
    HWND window_ = nullptr;      // last SetCooperativeLevel window and flags
    DWORD cooperativeFlags_ = 0;
};

}  // namespace

IDirectDraw7* NewDirectDraw7(int device) { return new (std::nothrow) DirectDraw7(device); }

int DirectDrawPrimaryPalette(Counted* directDraw, PALETTEENTRY* entries) {
    Counted* primary = static_cast<DirectDraw7*>(directDraw)->primary;
    if (primary == nullptr) return 0;
    Counted* palette = static_cast<Surface*>(primary)->Palette();
    return palette != nullptr ? PaletteEntries(palette, entries) : 0;
}

void DirectDrawForgetPrimary(Counted* directDraw, Counted* surface) {
    DirectDraw7* dd = static_cast<DirectDraw7*>(directDraw);
    if (dd->primary == surface) dd->primary = nullptr;
}

void DirectDrawForgetDirect3D(Counted* directDraw, Counted* direct3D) {
    DirectDraw7* dd = static_cast<DirectDraw7*>(directDraw);
    if (dd->direct3D == direct3D) dd->direct3D = nullptr;
}

}  // namespace standin
