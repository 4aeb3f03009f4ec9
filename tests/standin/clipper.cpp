// The stand-in's clipper (IDirectDrawClipper): it remembers the window it is bound to. A
// surface that holds a clipper cuts Blt destinations to itself instead of refusing them,
// and refuses BltFast, as DirectDraw does. Every method is logged and may be failed.
#include <new>

#include "standin_private.h"

namespace standin {

namespace {

class Clipper final : public ComObject<IDirectDrawClipper, IID_IDirectDrawClipper> {
public:
    Clipper() : ComObject(Kind::Clipper, "IDirectDrawClipper") { Register(static_cast<IDirectDrawClipper*>(this)); }

    // ---- IDirectDrawClipper, in ddraw.h's order ----

    HRESULT STDMETHODCALLTYPE GetClipList(LPRECT rect, LPRGNDATA clipList, LPDWORD size) override {
        return Unsupported("GetClipList", RectText("rect", rect) + ", clipList=" + Pointer(clipList) + ", size=" +
                                              Pointer(size));
    }

    HRESULT STDMETHODCALLTYPE GetHWnd(HWND* out) override {
        std::string args = "out=" + Pointer(out);
        HRESULT hr;
        if (!Fail("GetHWnd", &hr)) {
            if (out == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *out = window_;
                hr = DD_OK;
            }
        }
        return Done("GetHWnd", args, hr);
    }

    HRESULT STDMETHODCALLTYPE Initialize(LPDIRECTDRAW directDraw, DWORD flags) override {
        return Unsupported("Initialize", "dd=" + Pointer(directDraw) + ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE IsClipListChanged(WINBOOL* changed) override {
        std::string args = "changed=" + Pointer(changed);
        HRESULT hr;
        if (!Fail("IsClipListChanged", &hr)) {
            if (changed == nullptr) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                *changed = FALSE;
                hr = DD_OK;
            }
        }
        return Done("IsClipListChanged", args, hr);
    }

    HRESULT STDMETHODCALLTYPE SetClipList(LPRGNDATA clipList, DWORD flags) override {
        return Unsupported("SetClipList", "clipList=" + Pointer(clipList) + ", flags=" + Hex(flags));
    }

    HRESULT STDMETHODCALLTYPE SetHWnd(DWORD flags, HWND window) override {
        std::string args = "flags=" + Hex(flags) + ", hwnd=" + Pointer(window);
        HRESULT hr;
        if (!Fail("SetHWnd", &hr)) {
            if (flags != 0 || (window != nullptr && !IsWindow(window))) {
                hr = DDERR_INVALIDPARAMS;
            } else {
                window_ = window;
                hr = DD_OK;
            }
        }
        return Done("SetHWnd", args, hr);
    }

private:
    ~Clipper() override = default;

    HWND window_ = nullptr;
};

}  // namespace

IDirectDrawClipper* NewClipper() { return new (std::nothrow) Clipper(); }

}  // namespace standin
