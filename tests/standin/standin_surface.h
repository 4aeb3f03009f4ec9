// The stand-in's surface (IDirectDrawSurface7), declared for the objects that work with
// surfaces: the DirectDraw object makes them, a Direct3D device renders into one and
// clears it and its Z buffer.
#pragma once

#include <vector>

#include "standin_private.h"

namespace standin {

// Colour-key slots, one per DDCKEY_* kind.
enum KeySlot { KEY_DEST_BLT, KEY_DEST_OVERLAY, KEY_SRC_BLT, KEY_SRC_OVERLAY, KEY_SLOTS };

// What IDirectDraw7::CreateSurface knows when it makes surfaces.
struct SurfaceRequest {
    Counted* directDraw;
    DWORD cooperativeFlags;   // 0 = SetCooperativeLevel not called yet
    bool primaryExists;
};

// Checks a description and makes the surface, or the whole flipping chain for a complex
// primary (*out is the front buffer). *madePrimary receives the primary, if one was made.
HRESULT CreateSurfaces(const SurfaceRequest& request, const DDSURFACEDESC2& desc, IDirectDrawSurface7** out,
                       Counted** madePrimary);

class Surface final : public ComObject<IDirectDrawSurface7, IID_IDirectDrawSurface7> {
public:
    // The live surface behind an interface pointer, or nullptr.
    static Surface* From(const void* iface) { return static_cast<Surface*>(FindObject(iface, Kind::Surface)); }

    Surface(Counted* directDraw, int width, int height, const DDPIXELFORMAT& format, DWORD caps, DWORD caps2);
    bool Made() const { return memory_.bits != nullptr; }
    IDirectDrawSurface7* Interface() { return this; }

    // ---- For the other objects of the stand-in ----
    int Width() const { return width_; }
    int Height() const { return height_; }
    const DDPIXELFORMAT& PixelFormat() const { return format_; }
    DWORD Caps() const { return caps_; }
    bool Lost() const { return lost_; }
    bool Busy() const { return locked_ || dc_ != nullptr; }
    PixelMemory& Memory() { return memory_; }
    Surface* AttachedZBuffer() const { return zBuffer_; }
    Counted* Palette() const { return palette_; }
    void MarkLost() { lost_ = true; }
    // The flipping chain: the front buffer gets its back buffers in order.
    void AddBackBuffer(Surface* back);

    // ---- IDirectDrawSurface7, in ddraw.h's order ----
    HRESULT STDMETHODCALLTYPE AddAttachedSurface(LPDIRECTDRAWSURFACE7 surface) override;
    HRESULT STDMETHODCALLTYPE AddOverlayDirtyRect(LPRECT rect) override;
    HRESULT STDMETHODCALLTYPE Blt(LPRECT destRect, LPDIRECTDRAWSURFACE7 source, LPRECT sourceRect, DWORD flags,
                                  LPDDBLTFX fx) override;
    HRESULT STDMETHODCALLTYPE BltBatch(LPDDBLTBATCH batch, DWORD count, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE BltFast(DWORD x, DWORD y, LPDIRECTDRAWSURFACE7 source, LPRECT sourceRect,
                                      DWORD flags) override;
    HRESULT STDMETHODCALLTYPE DeleteAttachedSurface(DWORD flags, LPDIRECTDRAWSURFACE7 surface) override;
    HRESULT STDMETHODCALLTYPE EnumAttachedSurfaces(LPVOID context, LPDDENUMSURFACESCALLBACK7 callback) override;
    HRESULT STDMETHODCALLTYPE EnumOverlayZOrders(DWORD flags, LPVOID context,
                                                 LPDDENUMSURFACESCALLBACK7 callback) override;
    HRESULT STDMETHODCALLTYPE Flip(LPDIRECTDRAWSURFACE7 target, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE GetAttachedSurface(LPDDSCAPS2 caps, LPDIRECTDRAWSURFACE7* out) override;
    HRESULT STDMETHODCALLTYPE GetBltStatus(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE GetCaps(LPDDSCAPS2 caps) override;
    HRESULT STDMETHODCALLTYPE GetClipper(LPDIRECTDRAWCLIPPER* out) override;
    HRESULT STDMETHODCALLTYPE GetColorKey(DWORD flags, LPDDCOLORKEY key) override;
    HRESULT STDMETHODCALLTYPE GetDC(HDC* out) override;
    HRESULT STDMETHODCALLTYPE GetFlipStatus(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE GetOverlayPosition(LPLONG x, LPLONG y) override;
    HRESULT STDMETHODCALLTYPE GetPalette(LPDIRECTDRAWPALETTE* out) override;
    HRESULT STDMETHODCALLTYPE GetPixelFormat(LPDDPIXELFORMAT format) override;
    HRESULT STDMETHODCALLTYPE GetSurfaceDesc(LPDDSURFACEDESC2 desc) override;
    HRESULT STDMETHODCALLTYPE Initialize(LPDIRECTDRAW directDraw, LPDDSURFACEDESC2 desc) override;
    HRESULT STDMETHODCALLTYPE IsLost() override;
    HRESULT STDMETHODCALLTYPE Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE event) override;
    HRESULT STDMETHODCALLTYPE ReleaseDC(HDC dc) override;
    HRESULT STDMETHODCALLTYPE Restore() override;
    HRESULT STDMETHODCALLTYPE SetClipper(LPDIRECTDRAWCLIPPER clipper) override;
    HRESULT STDMETHODCALLTYPE SetColorKey(DWORD flags, LPDDCOLORKEY key) override;
    HRESULT STDMETHODCALLTYPE SetOverlayPosition(LONG x, LONG y) override;
    HRESULT STDMETHODCALLTYPE SetPalette(LPDIRECTDRAWPALETTE palette) override;
    HRESULT STDMETHODCALLTYPE Unlock(LPRECT rect) override;
    HRESULT STDMETHODCALLTYPE UpdateOverlay(LPRECT sourceRect, LPDIRECTDRAWSURFACE7 dest, LPRECT destRect,
                                            DWORD flags, LPDDOVERLAYFX fx) override;
    HRESULT STDMETHODCALLTYPE UpdateOverlayDisplay(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE UpdateOverlayZOrder(DWORD flags, LPDIRECTDRAWSURFACE7 reference) override;
    HRESULT STDMETHODCALLTYPE GetDDInterface(LPVOID* out) override;
    HRESULT STDMETHODCALLTYPE PageLock(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE PageUnlock(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetSurfaceDesc(LPDDSURFACEDESC2 desc, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID tag, LPVOID data, DWORD size, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID tag, LPVOID buffer, LPDWORD size) override;
    HRESULT STDMETHODCALLTYPE FreePrivateData(REFGUID tag) override;
    HRESULT STDMETHODCALLTYPE GetUniquenessValue(LPDWORD value) override;
    HRESULT STDMETHODCALLTYPE ChangeUniquenessValue() override;
    HRESULT STDMETHODCALLTYPE SetPriority(DWORD priority) override;
    HRESULT STDMETHODCALLTYPE GetPriority(LPDWORD priority) override;
    HRESULT STDMETHODCALLTYPE SetLOD(DWORD lod) override;
    HRESULT STDMETHODCALLTYPE GetLOD(LPDWORD lod) override;

protected:
    ~Surface() override;
    friend HRESULT CreateSurfaces(const SurfaceRequest&, const DDSURFACEDESC2&, IDirectDrawSurface7**, Counted**);
    // A back buffer of a flipping chain belongs to its front buffer and goes with it.
    void LastReleased() override;

private:
    bool Inside(const RECT& rect) const;
    void Describe(DDSURFACEDESC2* desc) const;
    HRESULT DoBlt(LPRECT destRect, Surface* source, LPRECT sourceRect, DWORD flags, const DDBLTFX* fx);
    HRESULT DoBltFast(LONG x, LONG y, Surface* source, LPRECT sourceRect, DWORD flags);
    // Copies sourceRect of source into dest (clipped to `clip`), stretching by nearest pixel.
    HRESULT Copy(Surface* source, const RECT& sourceRect, const RECT& dest, const RECT& clip,
                 const DDCOLORKEY* sourceKey, const DDCOLORKEY* destKey);
    HRESULT DoFlip(Surface* target);
    HRESULT DoGetDC(HDC* out);
    void ColourTable(HDC dc);
    std::vector<Surface*> Chain();

    Counted* directDraw_;
    bool holdsDirectDraw_ = false;
    int width_;
    int height_;
    DDPIXELFORMAT format_;
    DWORD caps_;
    DWORD caps2_;
    PixelMemory memory_;
    bool lost_ = false;
    bool locked_ = false;
    HDC dc_ = nullptr;
    HGDIOBJ oldBitmap_ = nullptr;
    Surface* zBuffer_ = nullptr;      // attached Z buffer, held
    Counted* clipper_ = nullptr;      // held
    Counted* palette_ = nullptr;      // held
    bool hasKey_[KEY_SLOTS] = {};
    DDCOLORKEY keys_[KEY_SLOTS] = {};
    Surface* front_ = nullptr;        // a back buffer's front buffer
    std::vector<Surface*> backBuffers_;  // a front buffer's back buffers
};

}  // namespace standin
