// The stand-in's surface (IDirectDrawSurface7). Its pixels are real memory in its pixel
// format (a DIB section where GDI can draw, so GetDC lends a memory DC on the very bytes
// Lock hands out). Blt, BltFast and Flip move pixels; colour keys, clipper, palette,
// attached Z buffer, lost state and the flipping chain are kept as DirectDraw keeps them.
// Every method is logged and may be failed by a rule.
#include "standin_surface.h"

#include <cstring>
#include <new>

namespace standin {

namespace {

constexpr DWORD MAX_BACK_BUFFERS = 8;
constexpr DWORD MAX_SIZE = 16384;

int SlotOf(DWORD flags) {
    switch (flags & ~static_cast<DWORD>(DDCKEY_COLORSPACE)) {
    case DDCKEY_DESTBLT: return KEY_DEST_BLT;
    case DDCKEY_DESTOVERLAY: return KEY_DEST_OVERLAY;
    case DDCKEY_SRCBLT: return KEY_SRC_BLT;
    case DDCKEY_SRCOVERLAY: return KEY_SRC_OVERLAY;
    default: return -1;
    }
}

bool InKey(DWORD value, const DDCOLORKEY& key) {
    return value >= key.dwColorSpaceLowValue && value <= key.dwColorSpaceHighValue;
}

std::string FxText(const DDBLTFX* fx, DWORD flags) {
    if (fx == nullptr) return "fx=NULL";
    std::string text = Format("fx.dwSize=%lu", static_cast<unsigned long>(fx->dwSize));
    if (flags & DDBLT_COLORFILL) text += ", fx.dwFillColor=" + Hex(fx->dwFillColor);
    if (flags & DDBLT_DEPTHFILL) text += ", fx.dwFillDepth=" + Hex(fx->dwFillDepth);
    return text;
}

std::string DescText(const DDSURFACEDESC2* desc) {
    if (desc == nullptr) return "desc=NULL";
    return Format("desc.dwSize=%lu", static_cast<unsigned long>(desc->dwSize));
}

RECT Whole(int width, int height) { return RECT{0, 0, width, height}; }

}  // namespace

// ---- Creation ----

Surface::Surface(Counted* directDraw, int width, int height, const DDPIXELFORMAT& format, DWORD caps, DWORD caps2)
    : ComObject(Kind::Surface, "IDirectDrawSurface7"), directDraw_(directDraw), width_(width), height_(height),
      format_(format), caps_(caps), caps2_(caps2) {
    if (!memory_.Create(width, height, format)) return;
    directDraw_->Hold();
    holdsDirectDraw_ = true;
    Register(static_cast<IDirectDrawSurface7*>(this));
}

Surface::~Surface() {
    if (dc_ != nullptr) {
        SelectObject(dc_, oldBitmap_);
        DeleteDC(dc_);
    }
    if (zBuffer_ != nullptr) zBuffer_->Drop();
    if (clipper_ != nullptr) clipper_->Drop();
    if (palette_ != nullptr) palette_->Drop();
    for (Surface* back : backBuffers_) delete back;
    memory_.Free();
    if (holdsDirectDraw_) {
        if (caps_ & DDSCAPS_PRIMARYSURFACE) DirectDrawForgetPrimary(directDraw_, this);
        directDraw_->Drop();
    }
}

void Surface::LastReleased() {
    if (front_ != nullptr) return;  // stays until its front buffer goes
    delete this;
}

void Surface::AddBackBuffer(Surface* back) {
    back->front_ = this;
    backBuffers_.push_back(back);
}

std::vector<Surface*> Surface::Chain() {
    Surface* front = front_ != nullptr ? front_ : this;
    std::vector<Surface*> chain;
    chain.push_back(front);
    for (Surface* back : front->backBuffers_) chain.push_back(back);
    return chain;
}

HRESULT CreateSurfaces(const SurfaceRequest& request, const DDSURFACEDESC2& desc, IDirectDrawSurface7** out,
                       Counted** madePrimary) {
    *madePrimary = nullptr;
    if (request.cooperativeFlags == 0) return DDERR_NOCOOPERATIVELEVELSET;
    const DWORD caps = (desc.dwFlags & DDSD_CAPS) ? desc.ddsCaps.dwCaps : 0;
    const DWORD caps2 = (desc.dwFlags & DDSD_CAPS) ? desc.ddsCaps.dwCaps2 : 0;
    if ((caps & DDSCAPS_SYSTEMMEMORY) && (caps & DDSCAPS_VIDEOMEMORY)) return DDERR_INVALIDCAPS;
    // Video memory unless system memory is asked for.
    const DWORD memory = (caps & DDSCAPS_SYSTEMMEMORY) ? DDSCAPS_SYSTEMMEMORY : (DDSCAPS_VIDEOMEMORY | DDSCAPS_LOCALVIDMEM);

    int width;
    int height;
    DDPIXELFORMAT format;
    DWORD backBuffers = 0;
    if (caps & DDSCAPS_PRIMARYSURFACE) {
        // The display itself: its size and format come from the current display mode.
        if (desc.dwFlags & (DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT)) return DDERR_INVALIDPARAMS;
        if (request.primaryExists) return DDERR_PRIMARYSURFACEALREADYEXISTS;
        if (caps & DDSCAPS_FLIP) {
            if ((caps & DDSCAPS_COMPLEX) == 0) return DDERR_INVALIDCAPS;
            if ((desc.dwFlags & DDSD_BACKBUFFERCOUNT) == 0 || desc.dwBackBufferCount == 0 ||
                desc.dwBackBufferCount > MAX_BACK_BUFFERS) {
                return DDERR_INVALIDPARAMS;
            }
            const DWORD exclusive = DDSCL_EXCLUSIVE | DDSCL_FULLSCREEN;
            if ((request.cooperativeFlags & exclusive) != exclusive) return DDERR_NOEXCLUSIVEMODE;
            backBuffers = desc.dwBackBufferCount;
        } else if (desc.dwFlags & DDSD_BACKBUFFERCOUNT) {
            return DDERR_INVALIDPARAMS;
        }
        StandInMode mode = CurrentMode();
        width = static_cast<int>(mode.width);
        height = static_cast<int>(mode.height);
        ModePixelFormat(mode.bpp, &format);
    } else {
        if (caps & (DDSCAPS_FLIP | DDSCAPS_BACKBUFFER | DDSCAPS_FRONTBUFFER)) return DDERR_INVALIDCAPS;
        if ((desc.dwFlags & (DDSD_WIDTH | DDSD_HEIGHT)) != (DDSD_WIDTH | DDSD_HEIGHT) || desc.dwWidth == 0 ||
            desc.dwHeight == 0 || desc.dwWidth > MAX_SIZE || desc.dwHeight > MAX_SIZE) {
            return DDERR_INVALIDPARAMS;
        }
        width = static_cast<int>(desc.dwWidth);
        height = static_cast<int>(desc.dwHeight);
        if (desc.dwFlags & DDSD_PIXELFORMAT) {
            format = desc.ddpfPixelFormat;
            if (!FormatAccepted(format)) return DDERR_INVALIDPIXELFORMAT;
            if (((caps & DDSCAPS_ZBUFFER) != 0) != ((format.dwFlags & DDPF_ZBUFFER) != 0)) {
                return DDERR_INVALIDPIXELFORMAT;
            }
        } else {
            if (caps & DDSCAPS_ZBUFFER) return DDERR_INVALIDPIXELFORMAT;
            ModePixelFormat(CurrentMode().bpp, &format);
        }
    }

    DWORD frontCaps = caps | memory;
    if (caps & DDSCAPS_PRIMARYSURFACE) frontCaps |= DDSCAPS_VISIBLE | (backBuffers ? DDSCAPS_FRONTBUFFER : 0);
    Surface* front = new (std::nothrow) Surface(request.directDraw, width, height, format, frontCaps, caps2);
    if (front == nullptr) return DDERR_OUTOFMEMORY;
    if (!front->Made()) {
        delete front;
        return DDERR_OUTOFMEMORY;
    }
    // The chain's back buffers: the first is the back buffer, all are flippable and complex.
    const DWORD chainCaps = caps & (DDSCAPS_3DDEVICE | DDSCAPS_FLIP | DDSCAPS_COMPLEX);
    for (DWORD i = 0; i < backBuffers; ++i) {
        DWORD backCaps = chainCaps | memory | (i == 0 ? DDSCAPS_BACKBUFFER : 0);
        Surface* back = new (std::nothrow) Surface(request.directDraw, width, height, format, backCaps, caps2);
        if (back == nullptr || !back->Made()) {
            delete back;
            front->Drop();
            return DDERR_OUTOFMEMORY;
        }
        front->AddBackBuffer(back);
    }
    if (caps & DDSCAPS_PRIMARYSURFACE) *madePrimary = front;
    *out = front->Interface();
    return DD_OK;
}

void LoseSurface(Counted* surface) { static_cast<Surface*>(surface)->MarkLost(); }

// ---- Helpers ----

bool Surface::Inside(const RECT& r) const {
    return r.left >= 0 && r.top >= 0 && r.right <= width_ && r.bottom <= height_ && r.left < r.right &&
           r.top < r.bottom;
}

void Surface::Describe(DDSURFACEDESC2* desc) const {
    std::memset(desc, 0, sizeof(*desc));
    desc->dwSize = sizeof(*desc);
    desc->dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PITCH | DDSD_PIXELFORMAT;
    desc->dwWidth = static_cast<DWORD>(width_);
    desc->dwHeight = static_cast<DWORD>(height_);
    desc->lPitch = memory_.pitch;
    desc->ddpfPixelFormat = format_;
    desc->ddsCaps.dwCaps = caps_;
    desc->ddsCaps.dwCaps2 = caps2_;
    if (!backBuffers_.empty()) {
        desc->dwFlags |= DDSD_BACKBUFFERCOUNT;
        desc->dwBackBufferCount = static_cast<DWORD>(backBuffers_.size());
    }
    if (hasKey_[KEY_DEST_BLT]) {
        desc->dwFlags |= DDSD_CKDESTBLT;
        desc->ddckCKDestBlt = keys_[KEY_DEST_BLT];
    }
    if (hasKey_[KEY_SRC_BLT]) {
        desc->dwFlags |= DDSD_CKSRCBLT;
        desc->ddckCKSrcBlt = keys_[KEY_SRC_BLT];
    }
    if (hasKey_[KEY_DEST_OVERLAY]) {
        desc->dwFlags |= DDSD_CKDESTOVERLAY;
        desc->ddckCKDestOverlay = keys_[KEY_DEST_OVERLAY];
    }
    if (hasKey_[KEY_SRC_OVERLAY]) {
        desc->dwFlags |= DDSD_CKSRCOVERLAY;
        desc->ddckCKSrcOverlay = keys_[KEY_SRC_OVERLAY];
    }
}

// ---- Attachments ----

HRESULT Surface::AddAttachedSurface(LPDIRECTDRAWSURFACE7 surface) {
    std::string args = "surface=" + ObjectText(surface);
    HRESULT hr;
    if (!Fail("AddAttachedSurface", &hr)) {
        Surface* z = From(surface);
        if (z == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else if (z == this || (z->caps_ & DDSCAPS_ZBUFFER) == 0 || (caps_ & DDSCAPS_ZBUFFER) != 0 ||
                   z->width_ != width_ || z->height_ != height_) {
            // Only Z buffers of the same size are attached here.
            hr = DDERR_CANNOTATTACHSURFACE;
        } else if (zBuffer_ != nullptr) {
            hr = DDERR_SURFACEALREADYATTACHED;
        } else {
            z->Hold();
            zBuffer_ = z;
            hr = DD_OK;
        }
    }
    return Done("AddAttachedSurface", args, hr);
}

HRESULT Surface::DeleteAttachedSurface(DWORD flags, LPDIRECTDRAWSURFACE7 surface) {
    std::string args = "flags=" + Hex(flags) + ", surface=" + ObjectText(surface);
    HRESULT hr;
    if (!Fail("DeleteAttachedSurface", &hr)) {
        if (flags != 0) {
            hr = DDERR_INVALIDPARAMS;
        } else if (zBuffer_ == nullptr || (surface != nullptr && From(surface) != zBuffer_)) {
            hr = DDERR_SURFACENOTATTACHED;
        } else {
            Surface* z = zBuffer_;
            zBuffer_ = nullptr;
            z->Drop();
            hr = DD_OK;
        }
    }
    return Done("DeleteAttachedSurface", args, hr);
}

HRESULT Surface::GetAttachedSurface(LPDDSCAPS2 caps, LPDIRECTDRAWSURFACE7* out) {
    std::string args = (caps == nullptr ? std::string("caps=NULL") : "caps.dwCaps=" + Hex(caps->dwCaps)) +
                       ", out=" + Pointer(out);
    HRESULT hr;
    if (!Fail("GetAttachedSurface", &hr)) {
        if (caps == nullptr || out == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            // Attached to this surface: the next surface of its flipping chain, its Z buffer.
            std::vector<Surface*> candidates;
            if (front_ != nullptr || !backBuffers_.empty()) {
                std::vector<Surface*> chain = Chain();
                for (size_t i = 0; i < chain.size(); ++i) {
                    if (chain[i] == this) candidates.push_back(chain[(i + 1) % chain.size()]);
                }
            }
            if (zBuffer_ != nullptr) candidates.push_back(zBuffer_);
            hr = DDERR_NOTFOUND;
            for (Surface* s : candidates) {
                if ((s->caps_ & caps->dwCaps) == caps->dwCaps && (s->caps2_ & caps->dwCaps2) == caps->dwCaps2) {
                    s->Hold();
                    *out = s->Interface();
                    hr = DD_OK;
                    break;
                }
            }
        }
    }
    return Done("GetAttachedSurface", args, hr);
}

// ---- Blits ----

HRESULT Surface::Copy(Surface* source, const RECT& sr, const RECT& dr, const RECT& clip, const DDCOLORKEY* sourceKey,
                      const DDCOLORKEY* destKey) {
    const bool same = SameColourLayout(source->format_, format_);
    if (!same && !BothRgb(source->format_, format_)) return DDERR_UNSUPPORTED;
    const LONG sw = sr.right - sr.left;
    const LONG sh = sr.bottom - sr.top;
    const LONG dw = dr.right - dr.left;
    const LONG dh = dr.bottom - dr.top;
    // A copy of the source block first, so a surface may be copied onto itself.
    std::vector<DWORD> block(static_cast<size_t>(sw) * static_cast<size_t>(sh));
    for (LONG y = 0; y < sh; ++y) {
        for (LONG x = 0; x < sw; ++x) block[static_cast<size_t>(y) * sw + x] = source->memory_.Read(sr.left + x, sr.top + y);
    }
    for (LONG y = clip.top; y < clip.bottom; ++y) {
        LONG sy = (y - dr.top) * sh / dh;
        for (LONG x = clip.left; x < clip.right; ++x) {
            LONG sx = (x - dr.left) * sw / dw;
            DWORD value = block[static_cast<size_t>(sy) * sw + sx];
            if (sourceKey != nullptr && InKey(value, *sourceKey)) continue;
            if (destKey != nullptr && !InKey(memory_.Read(x, y), *destKey)) continue;
            memory_.Write(x, y, same ? value : ConvertPixel(value, source->format_, format_));
        }
    }
    return DD_OK;
}

HRESULT Surface::DoBlt(LPRECT destRect, Surface* source, LPRECT sourceRect, DWORD flags, const DDBLTFX* fx) {
    if (lost_) return DDERR_SURFACELOST;
    if (Busy()) return DDERR_SURFACEBUSY;
    RECT dest = destRect != nullptr ? *destRect : Whole(width_, height_);
    // With a clipper the destination is cut to the surface; without one it must lie inside.
    RECT clip = dest;
    if (clipper_ != nullptr) {
        if (dest.left >= dest.right || dest.top >= dest.bottom) return DDERR_INVALIDRECT;
        if (clip.left < 0) clip.left = 0;
        if (clip.top < 0) clip.top = 0;
        if (clip.right > width_) clip.right = width_;
        if (clip.bottom > height_) clip.bottom = height_;
    } else if (!Inside(dest)) {
        return DDERR_INVALIDRECT;
    }
    const bool clippedAway = clip.left >= clip.right || clip.top >= clip.bottom;

    if (flags & (DDBLT_COLORFILL | DDBLT_DEPTHFILL)) {
        if (fx == nullptr || fx->dwSize != sizeof(DDBLTFX)) return DDERR_INVALIDPARAMS;
        if ((flags & DDBLT_DEPTHFILL) && (caps_ & DDSCAPS_ZBUFFER) == 0) return DDERR_INVALIDPARAMS;
        if (!clippedAway) memory_.Fill(clip, (flags & DDBLT_DEPTHFILL) ? fx->dwFillDepth : fx->dwFillColor);
        return DD_OK;
    }
    if (source == nullptr) return DDERR_INVALIDPARAMS;
    if (source->lost_) return DDERR_SURFACELOST;
    if (source != this && source->Busy()) return DDERR_SURFACEBUSY;
    RECT src = sourceRect != nullptr ? *sourceRect : Whole(source->width_, source->height_);
    if (!source->Inside(src)) return DDERR_INVALIDRECT;

    const DDCOLORKEY* sourceKey = nullptr;
    const DDCOLORKEY* destKey = nullptr;
    if ((flags & DDBLT_KEYSRC) && source->hasKey_[KEY_SRC_BLT]) sourceKey = &source->keys_[KEY_SRC_BLT];
    if ((flags & DDBLT_KEYSRCOVERRIDE) && fx != nullptr) sourceKey = &fx->ddckSrcColorkey;
    if ((flags & DDBLT_KEYDEST) && hasKey_[KEY_DEST_BLT]) destKey = &keys_[KEY_DEST_BLT];
    if ((flags & DDBLT_KEYDESTOVERRIDE) && fx != nullptr) destKey = &fx->ddckDestColorkey;
    if (clippedAway) return DD_OK;
    return Copy(source, src, dest, clip, sourceKey, destKey);
}

HRESULT Surface::Blt(LPRECT destRect, LPDIRECTDRAWSURFACE7 source, LPRECT sourceRect, DWORD flags, LPDDBLTFX fx) {
    std::string args = RectText("dest", destRect) + ", src=" + ObjectText(source) + ", " +
                       RectText("srcRect", sourceRect) + ", flags=" + Hex(flags) + ", " + FxText(fx, flags);
    HRESULT hr;
    if (!Fail("Blt", &hr)) {
        Surface* from = From(source);
        hr = (source != nullptr && from == nullptr) ? DDERR_INVALIDPARAMS : DoBlt(destRect, from, sourceRect, flags, fx);
    }
    return Done("Blt", args, hr);
}

HRESULT Surface::DoBltFast(LONG x, LONG y, Surface* source, LPRECT sourceRect, DWORD flags) {
    if (lost_) return DDERR_SURFACELOST;
    if (Busy()) return DDERR_SURFACEBUSY;
    if (clipper_ != nullptr) return DDERR_BLTFASTCANTCLIP;
    if (source == nullptr) return DDERR_INVALIDPARAMS;
    if (source->lost_) return DDERR_SURFACELOST;
    if (source != this && source->Busy()) return DDERR_SURFACEBUSY;
    RECT src = sourceRect != nullptr ? *sourceRect : Whole(source->width_, source->height_);
    if (!source->Inside(src)) return DDERR_INVALIDRECT;
    RECT dest = {x, y, x + (src.right - src.left), y + (src.bottom - src.top)};
    if (!Inside(dest)) return DDERR_INVALIDRECT;
    const DDCOLORKEY* sourceKey = nullptr;
    const DDCOLORKEY* destKey = nullptr;
    if ((flags & DDBLTFAST_SRCCOLORKEY) && source->hasKey_[KEY_SRC_BLT]) sourceKey = &source->keys_[KEY_SRC_BLT];
    if ((flags & DDBLTFAST_DESTCOLORKEY) && hasKey_[KEY_DEST_BLT]) destKey = &keys_[KEY_DEST_BLT];
    return Copy(source, src, dest, dest, sourceKey, destKey);
}

HRESULT Surface::BltFast(DWORD x, DWORD y, LPDIRECTDRAWSURFACE7 source, LPRECT sourceRect, DWORD flags) {
    std::string args = Format("x=%lu, y=%lu, src=", static_cast<unsigned long>(x), static_cast<unsigned long>(y)) +
                       ObjectText(source) + ", " + RectText("srcRect", sourceRect) + ", flags=" + Hex(flags);
    HRESULT hr;
    if (!Fail("BltFast", &hr)) {
        Surface* from = From(source);
        hr = (source != nullptr && from == nullptr)
                 ? DDERR_INVALIDPARAMS
                 : DoBltFast(static_cast<LONG>(x), static_cast<LONG>(y), from, sourceRect, flags);
    }
    return Done("BltFast", args, hr);
}

// ---- Flipping ----

HRESULT Surface::DoFlip(Surface* target) {
    if (front_ != nullptr || backBuffers_.empty()) return DDERR_NOTFLIPPABLE;
    std::vector<Surface*> chain = Chain();
    if (target != nullptr) {
        bool member = false;
        for (size_t i = 1; i < chain.size(); ++i) member = member || chain[i] == target;
        if (!member) return DDERR_INVALIDPARAMS;
    }
    for (Surface* s : chain) {
        if (s->lost_) return DDERR_SURFACELOST;
    }
    for (Surface* s : chain) {
        if (s->Busy()) return DDERR_SURFACEBUSY;
    }
    if (target != nullptr) {
        std::swap(memory_, target->memory_);
        return DD_OK;
    }
    // Each buffer takes the memory of the one behind it; the last takes the old front.
    PixelMemory oldFront = memory_;
    for (size_t i = 0; i + 1 < chain.size(); ++i) chain[i]->memory_ = chain[i + 1]->memory_;
    chain.back()->memory_ = oldFront;
    return DD_OK;
}

HRESULT Surface::Flip(LPDIRECTDRAWSURFACE7 target, DWORD flags) {
    std::string args = "target=" + ObjectText(target) + ", flags=" + Hex(flags);
    HRESULT hr;
    if (!Fail("Flip", &hr)) {
        Surface* to = From(target);
        hr = (target != nullptr && to == nullptr) ? DDERR_INVALIDPARAMS : DoFlip(to);
    }
    return Done("Flip", args, hr);
}

// ---- Description and state ----

HRESULT Surface::GetCaps(LPDDSCAPS2 caps) {
    std::string args = "caps=" + Pointer(caps);
    HRESULT hr;
    if (!Fail("GetCaps", &hr)) {
        if (caps == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            std::memset(caps, 0, sizeof(*caps));
            caps->dwCaps = caps_;
            caps->dwCaps2 = caps2_;
            hr = DD_OK;
        }
    }
    return Done("GetCaps", args, hr);
}

HRESULT Surface::GetPixelFormat(LPDDPIXELFORMAT format) {
    std::string args = SizedText("format", format);
    HRESULT hr;
    if (!Fail("GetPixelFormat", &hr)) {
        if (format == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            *format = format_;
            hr = DD_OK;
        }
    }
    return Done("GetPixelFormat", args, hr);
}

HRESULT Surface::GetSurfaceDesc(LPDDSURFACEDESC2 desc) {
    std::string args = DescText(desc);
    HRESULT hr;
    if (!Fail("GetSurfaceDesc", &hr)) {
        if (desc == nullptr || desc->dwSize != sizeof(DDSURFACEDESC2)) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            Describe(desc);
            hr = DD_OK;
        }
    }
    return Done("GetSurfaceDesc", args, hr);
}

HRESULT Surface::SetColorKey(DWORD flags, LPDDCOLORKEY key) {
    std::string args = "flags=" + Hex(flags) + ", ";
    args += key == nullptr ? std::string("key=NULL")
                           : "key.low=" + Hex(key->dwColorSpaceLowValue) + ", key.high=" + Hex(key->dwColorSpaceHighValue);
    HRESULT hr;
    if (!Fail("SetColorKey", &hr)) {
        int slot = SlotOf(flags);
        if (slot < 0) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            hasKey_[slot] = key != nullptr;
            if (key != nullptr) keys_[slot] = *key;
            hr = DD_OK;
        }
    }
    return Done("SetColorKey", args, hr);
}

HRESULT Surface::GetColorKey(DWORD flags, LPDDCOLORKEY key) {
    std::string args = "flags=" + Hex(flags) + ", key=" + Pointer(key);
    HRESULT hr;
    if (!Fail("GetColorKey", &hr)) {
        int slot = SlotOf(flags);
        if (slot < 0 || key == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else if (!hasKey_[slot]) {
            hr = DDERR_NOCOLORKEY;
        } else {
            *key = keys_[slot];
            hr = DD_OK;
        }
    }
    return Done("GetColorKey", args, hr);
}

HRESULT Surface::IsLost() {
    HRESULT hr;
    if (!Fail("IsLost", &hr)) hr = lost_ ? DDERR_SURFACELOST : DD_OK;
    return Done("IsLost", "", hr);
}

HRESULT Surface::Restore() {
    HRESULT hr;
    if (!Fail("Restore", &hr)) {
        if (front_ != nullptr) {
            hr = DDERR_IMPLICITLYCREATED;  // restored with its front buffer
        } else {
            // The memory comes back, not the pixels.
            for (Surface* s : Chain()) {
                if (s->lost_) s->memory_.Clear();
                s->lost_ = false;
            }
            hr = DD_OK;
        }
    }
    return Done("Restore", "", hr);
}

HRESULT Surface::GetDDInterface(LPVOID* out) {
    std::string args = "out=" + Pointer(out);
    HRESULT hr;
    if (!Fail("GetDDInterface", &hr)) {
        if (out == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            directDraw_->Hold();
            *out = const_cast<void*>(directDraw_->Iface());
            hr = DD_OK;
        }
    }
    return Done("GetDDInterface", args, hr);
}

// ---- Memory access ----

HRESULT Surface::Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE event) {
    std::string args = RectText("rect", rect) + ", " + DescText(desc) + ", flags=" + Hex(flags) + ", event=" +
                       Pointer(event);
    HRESULT hr;
    if (!Fail("Lock", &hr)) {
        if (desc == nullptr || desc->dwSize != sizeof(DDSURFACEDESC2) || (rect != nullptr && !Inside(*rect))) {
            hr = DDERR_INVALIDPARAMS;
        } else if (lost_) {
            hr = DDERR_SURFACELOST;
        } else if (Busy()) {
            hr = DDERR_SURFACEBUSY;
        } else {
            GdiFlush();  // what GDI drew must be in the memory handed out
            Describe(desc);
            RECT r = rect != nullptr ? *rect : Whole(width_, height_);
            desc->dwFlags |= DDSD_LPSURFACE;
            desc->lpSurface = memory_.Row(r.top) + (static_cast<LONG>(r.left) * memory_.bpp) / 8;
            locked_ = true;
            hr = DD_OK;
        }
    }
    return Done("Lock", args, hr);
}

HRESULT Surface::Unlock(LPRECT rect) {
    std::string args = RectText("rect", rect);
    HRESULT hr;
    if (!Fail("Unlock", &hr)) {
        if (!locked_) {
            hr = DDERR_NOTLOCKED;
        } else {
            locked_ = false;
            hr = DD_OK;
        }
    }
    return Done("Unlock", args, hr);
}

void Surface::ColourTable(HDC dc) {
    if (memory_.bpp > 8) return;
    PALETTEENTRY entries[256];
    int count = 0;
    if (palette_ != nullptr) {
        count = PaletteEntries(palette_, entries);
    } else {
        // A surface without a palette of its own shows through the primary's palette.
        count = DirectDrawPrimaryPalette(directDraw_, entries);
    }
    if (count == 0) return;
    RGBQUAD table[256];
    for (int i = 0; i < count; ++i) table[i] = RGBQUAD{entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
    int wanted = 1 << memory_.bpp;
    SetDIBColorTable(dc, 0, static_cast<UINT>(count < wanted ? count : wanted), table);
}

HRESULT Surface::DoGetDC(HDC* out) {
    if (out == nullptr) return DDERR_INVALIDPARAMS;
    if (lost_) return DDERR_SURFACELOST;
    if (dc_ != nullptr) return DDERR_DCALREADYCREATED;
    if (locked_) return DDERR_SURFACEBUSY;
    if (memory_.dib == nullptr) return DDERR_CANTCREATEDC;
    HDC dc = CreateCompatibleDC(nullptr);
    if (dc == nullptr) return DDERR_CANTCREATEDC;
    oldBitmap_ = SelectObject(dc, memory_.dib);
    ColourTable(dc);
    dc_ = dc;
    *out = dc;
    return DD_OK;
}

HRESULT Surface::GetDC(HDC* out) {
    std::string args = "out=" + Pointer(out);
    HRESULT hr;
    if (!Fail("GetDC", &hr)) hr = DoGetDC(out);
    return Done("GetDC", args, hr);
}

HRESULT Surface::ReleaseDC(HDC dc) {
    std::string args = "hdc=" + Pointer(dc);
    HRESULT hr;
    if (!Fail("ReleaseDC", &hr)) {
        if (dc_ == nullptr) {
            hr = DDERR_NODC;
        } else if (dc != dc_) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            GdiFlush();
            SelectObject(dc_, oldBitmap_);
            DeleteDC(dc_);
            dc_ = nullptr;
            hr = DD_OK;
        }
    }
    return Done("ReleaseDC", args, hr);
}

// ---- Clipper and palette ----

HRESULT Surface::SetClipper(LPDIRECTDRAWCLIPPER clipper) {
    std::string args = "clipper=" + ObjectText(clipper);
    HRESULT hr;
    if (!Fail("SetClipper", &hr)) {
        Counted* c = FindObject(clipper, Kind::Clipper);
        if (clipper != nullptr && c == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else {
            if (c != nullptr) c->Hold();
            if (clipper_ != nullptr) clipper_->Drop();
            clipper_ = c;
            hr = DD_OK;
        }
    }
    return Done("SetClipper", args, hr);
}

HRESULT Surface::GetClipper(LPDIRECTDRAWCLIPPER* out) {
    std::string args = "out=" + Pointer(out);
    HRESULT hr;
    if (!Fail("GetClipper", &hr)) {
        if (out == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else if (clipper_ == nullptr) {
            hr = DDERR_NOCLIPPERATTACHED;
        } else {
            clipper_->Hold();
            *out = static_cast<IDirectDrawClipper*>(const_cast<void*>(clipper_->Iface()));
            hr = DD_OK;
        }
    }
    return Done("GetClipper", args, hr);
}

HRESULT Surface::SetPalette(LPDIRECTDRAWPALETTE palette) {
    std::string args = "palette=" + ObjectText(palette);
    HRESULT hr;
    if (!Fail("SetPalette", &hr)) {
        Counted* p = FindObject(palette, Kind::Palette);
        const DWORD indexed = DDPF_PALETTEINDEXED1 | DDPF_PALETTEINDEXED2 | DDPF_PALETTEINDEXED4 | DDPF_PALETTEINDEXED8;
        if (palette != nullptr && p == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else if (p != nullptr && (format_.dwFlags & indexed) == 0) {
            hr = DDERR_INVALIDPIXELFORMAT;
        } else {
            if (p != nullptr) p->Hold();
            if (palette_ != nullptr) palette_->Drop();
            palette_ = p;
            hr = DD_OK;
        }
    }
    return Done("SetPalette", args, hr);
}

HRESULT Surface::GetPalette(LPDIRECTDRAWPALETTE* out) {
    std::string args = "out=" + Pointer(out);
    HRESULT hr;
    if (!Fail("GetPalette", &hr)) {
        if (out == nullptr) {
            hr = DDERR_INVALIDPARAMS;
        } else if (palette_ == nullptr) {
            hr = DDERR_NOPALETTEATTACHED;
        } else {
            palette_->Hold();
            *out = static_cast<IDirectDrawPalette*>(const_cast<void*>(palette_->Iface()));
            hr = DD_OK;
        }
    }
    return Done("GetPalette", args, hr);
}

// ---- Not modelled: recorded, DDERR_UNSUPPORTED ----

HRESULT Surface::AddOverlayDirtyRect(LPRECT rect) { return Unsupported("AddOverlayDirtyRect", RectText("rect", rect)); }

HRESULT Surface::BltBatch(LPDDBLTBATCH batch, DWORD count, DWORD flags) {
    return Unsupported("BltBatch", "batch=" + Pointer(batch) + Format(", count=%lu", static_cast<unsigned long>(count)) +
                                       ", flags=" + Hex(flags));
}

HRESULT Surface::EnumAttachedSurfaces(LPVOID context, LPDDENUMSURFACESCALLBACK7 callback) {
    return Unsupported("EnumAttachedSurfaces", "context=" + Pointer(context) + ", callback=" + FunctionPointer(callback));
}

HRESULT Surface::EnumOverlayZOrders(DWORD flags, LPVOID context, LPDDENUMSURFACESCALLBACK7 callback) {
    return Unsupported("EnumOverlayZOrders", "flags=" + Hex(flags) + ", context=" + Pointer(context) +
                                                 ", callback=" + FunctionPointer(callback));
}

HRESULT Surface::GetBltStatus(DWORD flags) { return Unsupported("GetBltStatus", "flags=" + Hex(flags)); }

HRESULT Surface::GetFlipStatus(DWORD flags) { return Unsupported("GetFlipStatus", "flags=" + Hex(flags)); }

HRESULT Surface::GetOverlayPosition(LPLONG x, LPLONG y) {
    return Unsupported("GetOverlayPosition", "x=" + Pointer(x) + ", y=" + Pointer(y));
}

HRESULT Surface::Initialize(LPDIRECTDRAW directDraw, LPDDSURFACEDESC2 desc) {
    return Unsupported("Initialize", "dd=" + Pointer(directDraw) + ", " + DescText(desc));
}

HRESULT Surface::SetOverlayPosition(LONG x, LONG y) {
    return Unsupported("SetOverlayPosition", Format("x=%ld, y=%ld", static_cast<long>(x), static_cast<long>(y)));
}

HRESULT Surface::UpdateOverlay(LPRECT sourceRect, LPDIRECTDRAWSURFACE7 dest, LPRECT destRect, DWORD flags,
                               LPDDOVERLAYFX fx) {
    return Unsupported("UpdateOverlay", RectText("srcRect", sourceRect) + ", dest=" + ObjectText(dest) + ", " +
                                            RectText("destRect", destRect) + ", flags=" + Hex(flags) + ", " +
                                            SizedText("fx", fx));
}

HRESULT Surface::UpdateOverlayDisplay(DWORD flags) { return Unsupported("UpdateOverlayDisplay", "flags=" + Hex(flags)); }

HRESULT Surface::UpdateOverlayZOrder(DWORD flags, LPDIRECTDRAWSURFACE7 reference) {
    return Unsupported("UpdateOverlayZOrder", "flags=" + Hex(flags) + ", reference=" + ObjectText(reference));
}

HRESULT Surface::PageLock(DWORD flags) { return Unsupported("PageLock", "flags=" + Hex(flags)); }

HRESULT Surface::PageUnlock(DWORD flags) { return Unsupported("PageUnlock", "flags=" + Hex(flags)); }

HRESULT Surface::SetSurfaceDesc(LPDDSURFACEDESC2 desc, DWORD flags) {
    return Unsupported("SetSurfaceDesc", DescText(desc) + ", flags=" + Hex(flags));
}

HRESULT Surface::SetPrivateData(REFGUID tag, LPVOID data, DWORD size, DWORD flags) {
    return Unsupported("SetPrivateData", "tag=" + GuidText(tag) + ", data=" + Pointer(data) +
                                             Format(", size=%lu", static_cast<unsigned long>(size)) + ", flags=" + Hex(flags));
}

HRESULT Surface::GetPrivateData(REFGUID tag, LPVOID buffer, LPDWORD size) {
    return Unsupported("GetPrivateData", "tag=" + GuidText(tag) + ", buffer=" + Pointer(buffer) + ", size=" + Pointer(size));
}

HRESULT Surface::FreePrivateData(REFGUID tag) { return Unsupported("FreePrivateData", "tag=" + GuidText(tag)); }

HRESULT Surface::GetUniquenessValue(LPDWORD value) { return Unsupported("GetUniquenessValue", "value=" + Pointer(value)); }

HRESULT Surface::ChangeUniquenessValue() { return Unsupported("ChangeUniquenessValue", ""); }

HRESULT Surface::SetPriority(DWORD priority) {
    return Unsupported("SetPriority", Format("priority=%lu", static_cast<unsigned long>(priority)));
}

HRESULT Surface::GetPriority(LPDWORD priority) { return Unsupported("GetPriority", "priority=" + Pointer(priority)); }

HRESULT Surface::SetLOD(DWORD lod) { return Unsupported("SetLOD", Format("lod=%lu", static_cast<unsigned long>(lod))); }

HRESULT Surface::GetLOD(LPDWORD lod) { return Unsupported("GetLOD", "lod=" + Pointer(lod)); }

}  // namespace standin
