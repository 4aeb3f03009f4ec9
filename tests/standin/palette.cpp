// The stand-in's palette (IDirectDrawPalette): 2, 4, 16 or 256 entries, read and written by
// GetEntries and SetEntries. A surface holding it shows its entries in the colour table of
// the device context it lends. Every method is logged and may be failed.
#include <cstring>
#include <new>

#include "standin_private.h"

namespace standin {

namespace {

int EntryCount(DWORD flags) {
    if (flags & DDPCAPS_1BIT) return 2;
    if (flags & DDPCAPS_2BIT) return 4;
    if (flags & DDPCAPS_4BIT) return 16;
    return 256;
}

class Palette final : public ComObject<IDirectDrawPalette, IID_IDirectDrawPalette> {
public:
    Palette(Counted* directDraw, DWORD flags, const PALETTEENTRY* entries)
        : ComObject(Kind::Palette, "IDirectDrawPalette"), directDraw_(directDraw), flags_(flags),
          count_(EntryCount(flags)) {
        std::memset(entries_, 0, sizeof entries_);
        std::memcpy(entries_, entries, sizeof(PALETTEENTRY) * static_cast<size_t>(count_));
        directDraw_->Hold();
        Register(static_cast<IDirectDrawPalette*>(this));
    }

    int Entries(PALETTEENTRY* out) const {
        std::memcpy(out, entries_, sizeof(PALETTEENTRY) * static_cast<size_t>(count_));
        return count_;
    }

    // ---- IDirectDrawPalette, in ddraw.h's order ----

    HRESULT STDMETHODCALLTYPE GetCaps(LPDWORD caps) override {
        std::string args = "caps=" + Pointer(caps);
        HRESULT hr;
        if (!Fail("GetCaps", &hr)) {
            if (caps == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *caps = flags_;
                hr = DD_OK;
            }
        }
        return Done("GetCaps", args, hr);
    }

    HRESULT STDMETHODCALLTYPE GetEntries(DWORD flags, DWORD base, DWORD count, LPPALETTEENTRY entries) override {
        std::string args = "flags=" + Hex(flags) + Format(", base=%lu, count=%lu", static_cast<unsigned long>(base),
                                                          static_cast<unsigned long>(count)) +
                           ", entries=" + Pointer(entries);
        HRESULT hr;
        if (!Fail("GetEntries", &hr)) {
            if (flags != 0 || entries == nullptr || base > static_cast<DWORD>(count_) ||
                count > static_cast<DWORD>(count_) - base) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                std::memcpy(entries, entries_ + base, sizeof(PALETTEENTRY) * count);
                hr = DD_OK;
            }
        }
        return Done("GetEntries", args, hr);
    }

    HRESULT STDMETHODCALLTYPE Initialize(LPDIRECTDRAW directDraw, DWORD flags, LPPALETTEENTRY table) override {
        return Unsupported("Initialize", "dd=" + Pointer(directDraw) + ", flags=" + Hex(flags) + ", table=" +
                                             Pointer(table));
    }

    HRESULT STDMETHODCALLTYPE SetEntries(DWORD flags, DWORD start, DWORD count, LPPALETTEENTRY entries) override {
        std::string args = "flags=" + Hex(flags) + Format(", start=%lu, count=%lu", static_cast<unsigned long>(start),
                                                          static_cast<unsigned long>(count)) +
                           ", entries=" + Pointer(entries);
        HRESULT hr;
        if (!Fail("SetEntries", &hr)) {
            if (flags != 0 || entries == nullptr || start > static_cast<DWORD>(count_) ||
                count > static_cast<DWORD>(count_) - start) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                std::memcpy(entries_ + start, entries, sizeof(PALETTEENTRY) * count);
                hr = DD_OK;
            }
        }
        return Done("SetEntries", args, hr);
    }

private:
    ~Palette() override { directDraw_->Drop(); }

    Counted* directDraw_;
    DWORD flags_;
    int count_;
    PALETTEENTRY entries_[256];
};

}  // namespace

IDirectDrawPalette* NewPalette(Counted* directDraw, DWORD flags, const PALETTEENTRY* entries) {
    return new (std::nothrow) Palette(directDraw, flags, entries);
}

int PaletteEntries(Counted* palette, PALETTEENTRY* entries) { return static_cast<Palette*>(palette)->Entries(entries); }

}  // namespace standin
