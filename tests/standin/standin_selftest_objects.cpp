// Smoke test of the stand-in's surfaces, clippers, palettes and Direct3D objects, called
// directly: formats and memory shared between GDI and Lock, blits, flipping chains, Z-buffer
// attachment, colour keys, lost surfaces, device state and clears, the log lines, failure
// rules and the live-object count.
#include <windows.h>
#include <ddraw.h>
#include <d3d.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "standin.h"

namespace {

using CreateEx = HRESULT(WINAPI*)(GUID*, LPVOID*, REFIID, IUnknown*);
using Lines = std::vector<std::string>;

HWND TestWindow() {
    static HWND window = CreateWindowExA(0, "STATIC", "stand-in objects", WS_POPUP, 0, 0, 64, 64, nullptr, nullptr,
                                         GetModuleHandleA(nullptr), nullptr);
    return window;
}

DDPIXELFORMAT RgbFormat(DWORD bits, DWORD r, DWORD g, DWORD b, DWORD a = 0) {
    DDPIXELFORMAT f = {};
    f.dwSize = sizeof f;
    f.dwFlags = DDPF_RGB | (a != 0 ? DDPF_ALPHAPIXELS : 0);
    f.dwRGBBitCount = bits;
    f.dwRBitMask = r;
    f.dwGBitMask = g;
    f.dwBBitMask = b;
    f.dwRGBAlphaBitMask = a;
    return f;
}

DDPIXELFORMAT ZFormat16() {
    DDPIXELFORMAT f = {};
    f.dwSize = sizeof f;
    f.dwFlags = DDPF_ZBUFFER;
    f.dwZBufferBitDepth = 16;
    f.dwZBitMask = 0xFFFF;
    return f;
}

DDPIXELFORMAT Indexed8() {
    DDPIXELFORMAT f = {};
    f.dwSize = sizeof f;
    f.dwFlags = DDPF_RGB | DDPF_PALETTEINDEXED8;
    f.dwRGBBitCount = 8;
    return f;
}

struct SeenDevices {
    std::vector<std::string> names;
    std::vector<GUID> guids;
};

HRESULT WINAPI OnDevice(char*, char* name, D3DDEVICEDESC7* desc, void* context) {
    static_cast<SeenDevices*>(context)->names.push_back(name);
    static_cast<SeenDevices*>(context)->guids.push_back(desc->deviceGUID);
    return D3DENUMRET_OK;
}

HRESULT WINAPI OnFormat(DDPIXELFORMAT* format, void* context) {
    static_cast<std::vector<DDPIXELFORMAT>*>(context)->push_back(*format);
    return D3DENUMRET_OK;
}

class Objects : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(control.Load());
        control.Reset();
        ASSERT_EQ(0, control.LiveObjects()) << control.LiveObjectsText();
        auto create = reinterpret_cast<CreateEx>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ddraw.dll"), "DirectDrawCreateEx")));
        ASSERT_NE(nullptr, create);
        ASSERT_EQ(DD_OK, create(nullptr, reinterpret_cast<void**>(&dd), IID_IDirectDraw7, nullptr));
    }
    void TearDown() override {
        if (dd != nullptr) dd->Release();
        EXPECT_EQ(0, control.LiveObjects()) << control.LiveObjectsText();
        control.Reset();
    }

    void Normal() { ASSERT_EQ(DD_OK, dd->SetCooperativeLevel(TestWindow(), DDSCL_NORMAL)); }
    void Exclusive() {
        ASSERT_EQ(DD_OK, dd->SetCooperativeLevel(TestWindow(), DDSCL_EXCLUSIVE | DDSCL_FULLSCREEN));
    }

    static DDSURFACEDESC2 Desc(DWORD flags, DWORD caps) {
        DDSURFACEDESC2 desc;
        std::memset(&desc, 0, sizeof desc);
        desc.dwSize = sizeof desc;
        desc.dwFlags = flags;
        desc.ddsCaps.dwCaps = caps;
        return desc;
    }
    // An off-screen surface, in the display's format or the one given.
    IDirectDrawSurface7* Offscreen(int width, int height, const DDPIXELFORMAT* format = nullptr,
                                   DWORD caps = DDSCAPS_OFFSCREENPLAIN) {
        DDSURFACEDESC2 desc = Desc(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, caps);
        desc.dwWidth = static_cast<DWORD>(width);
        desc.dwHeight = static_cast<DWORD>(height);
        if (format != nullptr) {
            desc.dwFlags |= DDSD_PIXELFORMAT;
            desc.ddpfPixelFormat = *format;
        }
        IDirectDrawSurface7* surface = nullptr;
        EXPECT_EQ(DD_OK, dd->CreateSurface(&desc, &surface, nullptr));
        return surface;
    }
    IDirectDrawSurface7* Primary(DWORD backBuffers = 0, DWORD extraCaps = 0) {
        DDSURFACEDESC2 desc = Desc(DDSD_CAPS, DDSCAPS_PRIMARYSURFACE | extraCaps);
        if (backBuffers > 0) {
            desc.dwFlags |= DDSD_BACKBUFFERCOUNT;
            desc.dwBackBufferCount = backBuffers;
            desc.ddsCaps.dwCaps |= DDSCAPS_FLIP | DDSCAPS_COMPLEX;
        }
        IDirectDrawSurface7* surface = nullptr;
        EXPECT_EQ(DD_OK, dd->CreateSurface(&desc, &surface, nullptr));
        return surface;
    }
    static uint32_t PixelAt(IDirectDrawSurface7* surface, int x, int y) {
        DDSURFACEDESC2 desc;
        std::memset(&desc, 0, sizeof desc);
        desc.dwSize = sizeof desc;
        if (FAILED(surface->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr))) return 0xDEADBEEF;
        const uint8_t* row = static_cast<const uint8_t*>(desc.lpSurface) + y * desc.lPitch;
        uint32_t bytes = desc.ddpfPixelFormat.dwRGBBitCount / 8;
        uint32_t value = 0;
        std::memcpy(&value, row + x * bytes, bytes);
        surface->Unlock(nullptr);
        return value;
    }
    static void SetPixelByDc(IDirectDrawSurface7* surface, int x, int y, COLORREF colour) {
        HDC dc = nullptr;
        ASSERT_EQ(DD_OK, surface->GetDC(&dc));
        SetPixel(dc, x, y, colour);
        ASSERT_EQ(DD_OK, surface->ReleaseDC(dc));
    }
    static bool Has(const Lines& log, const std::string& line) {
        for (const std::string& l : log) {
            if (l == line) return true;
        }
        return false;
    }
    std::vector<std::string> TakeLog() {
        std::vector<std::string> lines = control.Log();
        control.ClearLog();
        return lines;
    }

    standin::Control control;
    IDirectDraw7* dd = nullptr;
};

}  // namespace

TEST_F(Objects, PrimaryAndOffscreenSurfacesTakeTheDisplayFormat) {
    Normal();
    TakeLog();
    IDirectDrawSurface7* primary = Primary();
    ASSERT_NE(nullptr, primary);
    EXPECT_EQ(1, control.ObjectNumber(primary));
    DDSURFACEDESC2 desc = Desc(0, 0);
    EXPECT_EQ(DD_OK, primary->GetSurfaceDesc(&desc));
    EXPECT_EQ(1024u, desc.dwWidth);
    EXPECT_EQ(768u, desc.dwHeight);
    EXPECT_EQ(32u, desc.ddpfPixelFormat.dwRGBBitCount);
    EXPECT_EQ(0x00FF0000u, desc.ddpfPixelFormat.dwRBitMask);
    EXPECT_EQ(static_cast<DWORD>(DDSCAPS_PRIMARYSURFACE | DDSCAPS_VISIBLE | DDSCAPS_VIDEOMEMORY | DDSCAPS_LOCALVIDMEM),
              desc.ddsCaps.dwCaps);

    IDirectDrawSurface7* second = nullptr;
    DDSURFACEDESC2 again = Desc(DDSD_CAPS, DDSCAPS_PRIMARYSURFACE);
    EXPECT_EQ(DDERR_PRIMARYSURFACEALREADYEXISTS, dd->CreateSurface(&again, &second, nullptr));

    IDirectDrawSurface7* plain = Offscreen(64, 32, nullptr, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_SYSTEMMEMORY);
    ASSERT_NE(nullptr, plain);
    EXPECT_EQ(DD_OK, plain->GetSurfaceDesc(&desc));
    EXPECT_EQ(256, desc.lPitch);
    EXPECT_EQ(static_cast<DWORD>(DDSCAPS_OFFSCREENPLAIN | DDSCAPS_SYSTEMMEMORY), desc.ddsCaps.dwCaps);
    DDSCAPS2 caps = {};
    EXPECT_EQ(DD_OK, plain->GetCaps(&caps));
    EXPECT_EQ(desc.ddsCaps.dwCaps, caps.dwCaps);

    IDirectDrawSurface7* both = nullptr;
    DDSURFACEDESC2 wrong = Desc(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_SYSTEMMEMORY | DDSCAPS_VIDEOMEMORY);
    wrong.dwWidth = wrong.dwHeight = 8;
    EXPECT_EQ(DDERR_INVALIDCAPS, dd->CreateSurface(&wrong, &both, nullptr));
    wrong = Desc(DDSD_CAPS | DDSD_WIDTH, DDSCAPS_OFFSCREENPLAIN);
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->CreateSurface(&wrong, &both, nullptr));

    void* owner = nullptr;
    EXPECT_EQ(DD_OK, plain->GetDDInterface(&owner));
    EXPECT_EQ(static_cast<void*>(dd), owner);
    EXPECT_EQ(3u, dd->Release());  // the reference GetDDInterface gave; each surface holds one
    EXPECT_EQ(0u, plain->Release());
    EXPECT_EQ(0u, primary->Release());
    Lines log = TakeLog();
    ASSERT_GE(log.size(), 4u);
    EXPECT_EQ("IDirectDraw7::CreateSurface(desc.dwSize=124, desc.dwFlags=0x00000001, caps=0x00000200, "
              "caps2=0x00000000, width=0, height=0, backBuffers=0, out=non-NULL, outer=NULL) -> 0x00000000",
              log[0]);
    EXPECT_EQ("IDirectDrawSurface7#1::GetSurfaceDesc(desc.dwSize=124) -> 0x00000000", log[1]);
    EXPECT_EQ("IDirectDrawSurface7#2::Release -> 0", log[log.size() - 2]);
    EXPECT_EQ("IDirectDrawSurface7#1::Release -> 0", log.back());
}

TEST_F(Objects, GdiAndLockShareTheMemoryInEveryFormat) {
    Normal();
    IDirectDrawSurface7* surface = Offscreen(16, 8);
    ASSERT_NE(nullptr, surface);
    HDC dc = nullptr;
    ASSERT_EQ(DD_OK, surface->GetDC(&dc));
    SetPixel(dc, 3, 2, RGB(0x11, 0x22, 0x33));
    EXPECT_EQ(RGB(0x11, 0x22, 0x33), GetPixel(dc, 3, 2));
    HDC second = nullptr;
    EXPECT_EQ(DDERR_DCALREADYCREATED, surface->GetDC(&second));
    DDSURFACEDESC2 desc = Desc(0, 0);
    EXPECT_EQ(DDERR_SURFACEBUSY, surface->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr));
    EXPECT_EQ(DD_OK, surface->ReleaseDC(dc));
    EXPECT_EQ(DDERR_NODC, surface->ReleaseDC(dc));
    EXPECT_EQ(0x00112233u, PixelAt(surface, 3, 2));

    // A locked rectangle starts at its first pixel; one outside the surface is refused.
    RECT rect = {2, 1, 6, 4};
    ASSERT_EQ(DD_OK, surface->Lock(&rect, &desc, DDLOCK_WAIT, nullptr));
    uint32_t value;
    std::memcpy(&value, static_cast<uint8_t*>(desc.lpSurface) + desc.lPitch + 4, 4);
    EXPECT_EQ(0x00112233u, value);
    EXPECT_EQ(DDERR_SURFACEBUSY, surface->GetDC(&dc));
    EXPECT_EQ(DD_OK, surface->Unlock(&rect));
    EXPECT_EQ(DDERR_NOTLOCKED, surface->Unlock(nullptr));
    RECT outside = {10, 0, 17, 4};
    EXPECT_EQ(DDERR_INVALIDPARAMS, surface->Lock(&outside, &desc, DDLOCK_WAIT, nullptr));
    surface->Release();

    // Explicit formats: GDI writes each in its own bits.
    struct Case {
        DDPIXELFORMAT format;
        uint32_t red;
    } cases[] = {
        {RgbFormat(16, 0xF800, 0x07E0, 0x001F), 0xF800},
        {RgbFormat(16, 0x7C00, 0x03E0, 0x001F, 0x8000), 0x7C00},
        {RgbFormat(16, 0x0F00, 0x00F0, 0x000F, 0xF000), 0x0F00},
        {RgbFormat(32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000), 0xFF0000},
        {RgbFormat(24, 0xFF0000, 0xFF00, 0xFF), 0xFF0000},
    };
    for (const Case& c : cases) {
        IDirectDrawSurface7* s = Offscreen(4, 4, &c.format);
        ASSERT_NE(nullptr, s);
        DDPIXELFORMAT read = {};
        read.dwSize = sizeof read;
        EXPECT_EQ(DD_OK, s->GetPixelFormat(&read));
        EXPECT_EQ(c.format.dwRBitMask, read.dwRBitMask);
        EXPECT_EQ(c.format.dwRGBAlphaBitMask, read.dwRGBAlphaBitMask);
        SetPixelByDc(s, 1, 1, RGB(255, 0, 0));
        EXPECT_EQ(c.red, PixelAt(s, 1, 1) & (c.format.dwRBitMask | c.format.dwGBitMask | c.format.dwBBitMask))
            << c.format.dwRGBBitCount << " bits, red mask " << std::hex << c.format.dwRBitMask;
        EXPECT_EQ(0u, PixelAt(s, 0, 0));
        s->Release();
    }
}

TEST_F(Objects, BltFillsCopiesStretchesAndHonoursKeys) {
    Normal();
    IDirectDrawSurface7* a = Offscreen(8, 8);
    IDirectDrawSurface7* b = Offscreen(8, 8);
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, b);
    DDBLTFX fx;
    std::memset(&fx, 0, sizeof fx);
    fx.dwSize = sizeof fx;
    fx.dwFillColor = 0x00FF0000;
    RECT box = {2, 2, 4, 4};
    TakeLog();
    EXPECT_EQ(DD_OK, a->Blt(&box, nullptr, nullptr, DDBLT_COLORFILL | DDBLT_WAIT, &fx));
    EXPECT_EQ(0x00FF0000u, PixelAt(a, 3, 3));
    EXPECT_EQ(0u, PixelAt(a, 4, 4));
    RECT outside = {6, 6, 9, 8};
    EXPECT_EQ(DDERR_INVALIDRECT, a->Blt(&outside, nullptr, nullptr, DDBLT_COLORFILL, &fx));
    fx.dwSize = 4;
    EXPECT_EQ(DDERR_INVALIDPARAMS, a->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx));
    fx.dwSize = sizeof fx;

    // Copy of a source rectangle, then stretched to twice its size.
    RECT from = {2, 2, 4, 4};
    RECT to = {0, 0, 2, 2};
    EXPECT_EQ(DD_OK, b->Blt(&to, a, &from, DDBLT_WAIT, nullptr));
    EXPECT_EQ(0x00FF0000u, PixelAt(b, 1, 1));
    EXPECT_EQ(0u, PixelAt(b, 2, 2));
    RECT big = {4, 4, 8, 8};
    EXPECT_EQ(DD_OK, b->Blt(&big, a, &from, DDBLT_WAIT, nullptr));
    EXPECT_EQ(0x00FF0000u, PixelAt(b, 7, 7));
    RECT beyond = {6, 6, 9, 9};
    EXPECT_EQ(DDERR_INVALIDRECT, b->Blt(&to, a, &beyond, DDBLT_WAIT, nullptr));

    // Source key: black (0) stays out with DDBLT_KEYSRC and DDBLTFAST_SRCCOLORKEY.
    fx.dwFillColor = 0x000000FF;
    EXPECT_EQ(DD_OK, b->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx));
    DDCOLORKEY black = {0, 0};
    EXPECT_EQ(DD_OK, a->SetColorKey(DDCKEY_SRCBLT, &black));
    EXPECT_EQ(DD_OK, b->Blt(nullptr, a, nullptr, DDBLT_KEYSRC | DDBLT_WAIT, nullptr));
    EXPECT_EQ(0x00FF0000u, PixelAt(b, 2, 2));
    EXPECT_EQ(0x000000FFu, PixelAt(b, 0, 0));
    EXPECT_EQ(DD_OK, b->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx));
    EXPECT_EQ(DD_OK, b->BltFast(1, 1, a, &from, DDBLTFAST_SRCCOLORKEY | DDBLTFAST_WAIT));
    EXPECT_EQ(0x00FF0000u, PixelAt(b, 1, 1));
    EXPECT_EQ(DD_OK, b->BltFast(0, 0, a, nullptr, DDBLTFAST_WAIT));
    EXPECT_EQ(0u, PixelAt(b, 0, 0));
    EXPECT_EQ(DDERR_INVALIDRECT, b->BltFast(7, 7, a, &from, DDBLTFAST_WAIT));

    // Between RGB formats the pixels are converted.
    DDPIXELFORMAT f565 = RgbFormat(16, 0xF800, 0x07E0, 0x001F);
    IDirectDrawSurface7* c = Offscreen(8, 8, &f565);
    ASSERT_NE(nullptr, c);
    EXPECT_EQ(DD_OK, c->BltFast(0, 0, a, nullptr, DDBLTFAST_WAIT));
    EXPECT_EQ(0xF800u, PixelAt(c, 2, 2));

    Lines log = TakeLog();
    EXPECT_EQ("IDirectDrawSurface7#1::Blt(dest=(2,2,4,4), src=NULL, srcRect=NULL, flags=0x01000400, "
              "fx.dwSize=100, fx.dwFillColor=0x00FF0000) -> 0x00000000",
              log[0]);
    EXPECT_TRUE(Has(log, "IDirectDrawSurface7#2::Blt(dest=(0,0,2,2), src=#1, srcRect=(2,2,4,4), flags=0x01000000, "
                         "fx=NULL) -> 0x00000000"));
    EXPECT_TRUE(Has(log, "IDirectDrawSurface7#2::BltFast(x=1, y=1, src=#1, srcRect=(2,2,4,4), flags=0x00000011) -> "
                         "0x00000000"));
    EXPECT_TRUE(Has(log, "IDirectDrawSurface7#1::Blt(dest=(6,6,9,8), src=NULL, srcRect=NULL, flags=0x00000400, "
                         "fx.dwSize=100, fx.dwFillColor=0x00FF0000) -> 0x88760096"));
    c->Release();
    b->Release();
    a->Release();
}

TEST_F(Objects, ClipperCutsBltsAndRefusesBltFast) {
    Normal();
    IDirectDrawSurface7* primary = Primary();
    IDirectDrawSurface7* back = Offscreen(64, 64);
    ASSERT_NE(nullptr, back);
    IDirectDrawClipper* clipper = nullptr;
    ASSERT_EQ(DD_OK, dd->CreateClipper(0, &clipper, nullptr));
    EXPECT_EQ(DDERR_INVALIDPARAMS, clipper->SetHWnd(1, TestWindow()));
    EXPECT_EQ(DD_OK, clipper->SetHWnd(0, TestWindow()));
    HWND window = nullptr;
    EXPECT_EQ(DD_OK, clipper->GetHWnd(&window));
    EXPECT_EQ(TestWindow(), window);
    EXPECT_EQ(DD_OK, primary->SetClipper(clipper));
    EXPECT_EQ(2, control.RefCount(clipper));

    RECT partly = {1000, 740, 1064, 804};
    EXPECT_EQ(DD_OK, primary->Blt(&partly, back, nullptr, DDBLT_WAIT, nullptr));
    EXPECT_EQ(DDERR_BLTFASTCANTCLIP, primary->BltFast(0, 0, back, nullptr, DDBLTFAST_WAIT));
    EXPECT_EQ(1u, clipper->Release());
    EXPECT_EQ(4, control.LiveObjects());
    EXPECT_EQ(DD_OK, primary->SetClipper(nullptr));
    EXPECT_EQ(3, control.LiveObjects());
    back->Release();
    primary->Release();
}

TEST_F(Objects, FlippingChainSwapsMemoryAndEndsWithItsFront) {
    Normal();
    DDSURFACEDESC2 chain = Desc(DDSD_CAPS | DDSD_BACKBUFFERCOUNT,
                                DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX);
    chain.dwBackBufferCount = 1;
    IDirectDrawSurface7* s = nullptr;
    EXPECT_EQ(DDERR_NOEXCLUSIVEMODE, dd->CreateSurface(&chain, &s, nullptr));
    Exclusive();
    chain.ddsCaps.dwCaps &= ~static_cast<DWORD>(DDSCAPS_COMPLEX);
    EXPECT_EQ(DDERR_INVALIDCAPS, dd->CreateSurface(&chain, &s, nullptr));

    IDirectDrawSurface7* front = Primary(2, DDSCAPS_3DDEVICE);
    ASSERT_NE(nullptr, front);
    EXPECT_EQ(4, control.LiveObjects());
    DDSCAPS2 caps = {};
    caps.dwCaps = DDSCAPS_BACKBUFFER;
    IDirectDrawSurface7* back = nullptr;
    ASSERT_EQ(DD_OK, front->GetAttachedSurface(&caps, &back));
    EXPECT_EQ(2, control.ObjectNumber(back));
    DDSCAPS2 backCaps = {};
    back->GetCaps(&backCaps);
    EXPECT_EQ(static_cast<DWORD>(DDSCAPS_BACKBUFFER | DDSCAPS_FLIP | DDSCAPS_COMPLEX | DDSCAPS_3DDEVICE |
                                 DDSCAPS_VIDEOMEMORY | DDSCAPS_LOCALVIDMEM),
              backCaps.dwCaps);
    caps.dwCaps = DDSCAPS_FLIP;
    IDirectDrawSurface7* third = nullptr;
    ASSERT_EQ(DD_OK, back->GetAttachedSurface(&caps, &third));
    EXPECT_EQ(3, control.ObjectNumber(third));
    caps.dwCaps = DDSCAPS_ZBUFFER;
    IDirectDrawSurface7* none = nullptr;
    EXPECT_EQ(DDERR_NOTFOUND, front->GetAttachedSurface(&caps, &none));

    // Mark each buffer, flip, and see the marks move one place forward.
    DDBLTFX fx;
    std::memset(&fx, 0, sizeof fx);
    fx.dwSize = sizeof fx;
    IDirectDrawSurface7* buffers[3] = {front, back, third};
    for (DWORD i = 0; i < 3; ++i) {
        fx.dwFillColor = 0x10 + i;
        ASSERT_EQ(DD_OK, buffers[i]->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx));
    }
    EXPECT_EQ(DD_OK, front->Flip(nullptr, DDFLIP_DONOTWAIT));
    EXPECT_EQ(0x11u, PixelAt(front, 0, 0));
    EXPECT_EQ(0x12u, PixelAt(back, 0, 0));
    EXPECT_EQ(0x10u, PixelAt(third, 0, 0));
    EXPECT_EQ(DDERR_NOTFLIPPABLE, back->Flip(nullptr, 0));
    HDC dc = nullptr;
    ASSERT_EQ(DD_OK, back->GetDC(&dc));
    EXPECT_EQ(DDERR_SURFACEBUSY, front->Flip(nullptr, DDFLIP_WAIT));
    back->ReleaseDC(dc);

    // The back buffers go with the front, whatever their own counts.
    EXPECT_EQ(2, control.RefCount(back));
    EXPECT_EQ(1u, back->Release());
    EXPECT_EQ(0u, front->Release());
    EXPECT_EQ(1, control.LiveObjects());
}

TEST_F(Objects, ZBufferAttachmentHoldsAReference) {
    Normal();
    IDirectDrawSurface7* target = Offscreen(32, 16, nullptr, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_3DDEVICE);
    DDSURFACEDESC2 zDesc = Desc(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_ZBUFFER);
    zDesc.dwWidth = 32;
    zDesc.dwHeight = 16;
    IDirectDrawSurface7* z = nullptr;
    EXPECT_EQ(DDERR_INVALIDPIXELFORMAT, dd->CreateSurface(&zDesc, &z, nullptr));
    DDPIXELFORMAT zFormat = ZFormat16();
    z = Offscreen(32, 16, &zFormat, DDSCAPS_ZBUFFER);
    ASSERT_NE(nullptr, z);
    IDirectDrawSurface7* small = Offscreen(8, 8, &zFormat, DDSCAPS_ZBUFFER);
    HDC dc = nullptr;
    EXPECT_EQ(DDERR_CANTCREATEDC, z->GetDC(&dc));
    EXPECT_EQ(DDERR_CANNOTATTACHSURFACE, target->AddAttachedSurface(small));
    EXPECT_EQ(DDERR_CANNOTATTACHSURFACE, target->AddAttachedSurface(target));
    TakeLog();
    EXPECT_EQ(DD_OK, target->AddAttachedSurface(z));
    EXPECT_EQ(2, control.RefCount(z));
    EXPECT_EQ(DDERR_SURFACEALREADYATTACHED, target->AddAttachedSurface(z));
    DDSCAPS2 caps = {};
    caps.dwCaps = DDSCAPS_ZBUFFER;
    IDirectDrawSurface7* found = nullptr;
    EXPECT_EQ(DD_OK, target->GetAttachedSurface(&caps, &found));
    EXPECT_EQ(z, found);
    found->Release();
    EXPECT_EQ(DDERR_SURFACENOTATTACHED, target->DeleteAttachedSurface(0, small));
    EXPECT_EQ(DDERR_INVALIDPARAMS, target->DeleteAttachedSurface(1, z));
    EXPECT_EQ(DD_OK, target->DeleteAttachedSurface(0, z));
    EXPECT_EQ(1, control.RefCount(z));
    EXPECT_EQ(DD_OK, target->AddAttachedSurface(z));
    Lines log = TakeLog();
    EXPECT_EQ("IDirectDrawSurface7#1::AddAttachedSurface(surface=#2) -> 0x00000000", log[0]);
    EXPECT_TRUE(Has(log, "IDirectDrawSurface7#1::DeleteAttachedSurface(flags=0x00000000, surface=#2) -> 0x00000000"));
    EXPECT_TRUE(Has(log, "IDirectDrawSurface7#1::DeleteAttachedSurface(flags=0x00000000, surface=#3) -> 0x887601CC"));

    // The attached Z buffer outlives its own last reference until its surface goes.
    EXPECT_EQ(1u, z->Release());
    small->Release();
    EXPECT_EQ(3, control.LiveObjects());
    EXPECT_EQ(0u, target->Release());
    EXPECT_EQ(1, control.LiveObjects());
}

TEST_F(Objects, ColourKeysAreLoggedAndKept) {
    Normal();
    IDirectDrawSurface7* s = Offscreen(4, 4);
    TakeLog();
    DDCOLORKEY range = {0, 4};
    EXPECT_EQ(DD_OK, s->SetColorKey(DDCKEY_DESTBLT, &range));
    EXPECT_EQ(DD_OK, s->SetColorKey(DDCKEY_SRCBLT, nullptr));
    EXPECT_EQ(DDERR_INVALIDPARAMS, s->SetColorKey(DDCKEY_SRCBLT | DDCKEY_DESTBLT, &range));
    DDCOLORKEY read = {9, 9};
    EXPECT_EQ(DD_OK, s->GetColorKey(DDCKEY_DESTBLT, &read));
    EXPECT_EQ(4u, read.dwColorSpaceHighValue);
    EXPECT_EQ(DDERR_NOCOLORKEY, s->GetColorKey(DDCKEY_SRCBLT, &read));
    DDSURFACEDESC2 desc = Desc(0, 0);
    s->GetSurfaceDesc(&desc);
    EXPECT_TRUE(desc.dwFlags & DDSD_CKDESTBLT);
    EXPECT_FALSE(desc.dwFlags & DDSD_CKSRCBLT);
    EXPECT_EQ((Lines{
                  "IDirectDrawSurface7#1::SetColorKey(flags=0x00000002, key.low=0x00000000, key.high=0x00000004) -> "
                  "0x00000000",
                  "IDirectDrawSurface7#1::SetColorKey(flags=0x00000008, key=NULL) -> 0x00000000",
                  "IDirectDrawSurface7#1::SetColorKey(flags=0x0000000A, key.low=0x00000000, key.high=0x00000004) -> "
                  "0x80070057",
                  "IDirectDrawSurface7#1::GetColorKey(flags=0x00000002, key=non-NULL) -> 0x00000000",
                  "IDirectDrawSurface7#1::GetColorKey(flags=0x00000008, key=non-NULL) -> 0x887600D7",
                  "IDirectDrawSurface7#1::GetSurfaceDesc(desc.dwSize=124) -> 0x00000000",
              }),
              TakeLog());
    s->Release();
}

TEST_F(Objects, PalettesColourEightBitSurfaces) {
    PALETTEENTRY entries[256];
    for (int i = 0; i < 256; ++i) entries[i] = PALETTEENTRY{static_cast<BYTE>(i), 0, static_cast<BYTE>(255 - i), 0};
    IDirectDrawPalette* palette = nullptr;
    EXPECT_EQ(DDERR_NOCOOPERATIVELEVELSET, dd->CreatePalette(DDPCAPS_8BIT, entries, &palette, nullptr));
    Normal();
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->CreatePalette(DDPCAPS_8BIT | DDPCAPS_4BIT, entries, &palette, nullptr));
    ASSERT_EQ(DD_OK, dd->CreatePalette(DDPCAPS_8BIT | DDPCAPS_ALLOW256, entries, &palette, nullptr));
    DWORD caps = 0;
    EXPECT_EQ(DD_OK, palette->GetCaps(&caps));
    EXPECT_EQ(static_cast<DWORD>(DDPCAPS_8BIT | DDPCAPS_ALLOW256), caps);

    DDPIXELFORMAT indexed = Indexed8();
    IDirectDrawSurface7* s = Offscreen(8, 8, &indexed);
    ASSERT_NE(nullptr, s);
    IDirectDrawSurface7* rgb = Offscreen(8, 8);
    EXPECT_EQ(DDERR_INVALIDPIXELFORMAT, rgb->SetPalette(palette));
    EXPECT_EQ(DD_OK, s->SetPalette(palette));
    EXPECT_EQ(2, control.RefCount(palette));
    SetPixelByDc(s, 2, 2, RGB(10, 0, 245));
    EXPECT_EQ(10u, PixelAt(s, 2, 2));

    PALETTEENTRY changed = {200, 0, 55, 0};
    EXPECT_EQ(DD_OK, palette->SetEntries(0, 7, 1, &changed));
    PALETTEENTRY read[2] = {};
    EXPECT_EQ(DD_OK, palette->GetEntries(0, 6, 2, read));
    EXPECT_EQ(6, read[0].peRed);
    EXPECT_EQ(200, read[1].peRed);
    EXPECT_EQ(DDERR_INVALIDPARAMS, palette->GetEntries(0, 255, 2, read));
    IDirectDrawPalette* got = nullptr;
    EXPECT_EQ(DD_OK, s->GetPalette(&got));
    EXPECT_EQ(palette, got);
    got->Release();
    EXPECT_EQ(DDERR_NOPALETTEATTACHED, rgb->GetPalette(&got));
    EXPECT_EQ(1u, palette->Release());
    rgb->Release();
    s->Release();
}

TEST_F(Objects, LostSurfacesAndRestore) {
    Exclusive();
    IDirectDrawSurface7* front = Primary(1);
    IDirectDrawSurface7* image = Offscreen(8, 8);
    ASSERT_NE(nullptr, front);
    DDSCAPS2 caps = {};
    caps.dwCaps = DDSCAPS_BACKBUFFER;
    IDirectDrawSurface7* back = nullptr;
    ASSERT_EQ(DD_OK, front->GetAttachedSurface(&caps, &back));
    DDBLTFX fx;
    std::memset(&fx, 0, sizeof fx);
    fx.dwSize = sizeof fx;
    fx.dwFillColor = 7;
    image->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx);

    control.LoseSurfaces();
    EXPECT_EQ(DDERR_SURFACELOST, front->IsLost());
    EXPECT_EQ(DDERR_SURFACELOST, image->IsLost());
    EXPECT_EQ(DDERR_SURFACELOST, front->Flip(nullptr, DDFLIP_DONOTWAIT));
    EXPECT_EQ(DDERR_SURFACELOST, image->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx));
    HDC dc = nullptr;
    EXPECT_EQ(DDERR_SURFACELOST, image->GetDC(&dc));
    EXPECT_EQ(DDERR_IMPLICITLYCREATED, back->Restore());
    EXPECT_EQ(DD_OK, front->Restore());
    EXPECT_EQ(DD_OK, back->IsLost());
    EXPECT_EQ(DD_OK, front->Flip(nullptr, DDFLIP_DONOTWAIT));
    EXPECT_EQ(DDERR_SURFACELOST, image->IsLost());
    EXPECT_EQ(DD_OK, image->Restore());
    EXPECT_EQ(0u, PixelAt(image, 0, 0));  // memory back, pixels not
    image->Release();
    front->Release();
}

TEST_F(Objects, Direct3DReportsClassesFormatsAndMakesDevices) {
    Normal();
    IDirect3D7* d3d = nullptr;
    ASSERT_EQ(S_OK, dd->QueryInterface(IID_IDirect3D7, reinterpret_cast<void**>(&d3d)));
    IDirect3D7* again = nullptr;
    ASSERT_EQ(S_OK, dd->QueryInterface(IID_IDirect3D7, reinterpret_cast<void**>(&again)));
    EXPECT_EQ(d3d, again);
    again->Release();

    SeenDevices seen;
    EXPECT_EQ(D3D_OK, d3d->EnumDevices(OnDevice, &seen));
    EXPECT_EQ((Lines{"RGB Emulation", "Direct3D HAL", "Direct3D T&L HAL"}), seen.names);
    EXPECT_TRUE(IsEqualGUID(IID_IDirect3DTnLHalDevice, seen.guids[2]));

    std::vector<DDPIXELFORMAT> formats;
    EXPECT_EQ(D3D_OK, d3d->EnumZBufferFormats(IID_IDirect3DHALDevice, OnFormat, &formats));
    ASSERT_EQ(3u, formats.size());
    EXPECT_EQ(static_cast<DWORD>(DDPF_ZBUFFER | DDPF_STENCILBUFFER), formats[0].dwFlags);
    EXPECT_EQ(static_cast<DWORD>(DDPF_ZBUFFER), formats[1].dwFlags);
    EXPECT_EQ(16u, formats[1].dwZBufferBitDepth);
    EXPECT_EQ(24u, formats[2].dwZBufferBitDepth);
    EXPECT_EQ(DDERR_INVALIDPARAMS, d3d->EnumZBufferFormats(IID_IDirect3D7, OnFormat, &formats));

    // Only the RGB device: the others report nothing and cannot be made.
    control.SetDeviceClasses(1);
    control.SetZBufferFormats(0, {ZFormat16()});
    seen.names.clear();
    formats.clear();
    EXPECT_EQ(D3D_OK, d3d->EnumDevices(OnDevice, &seen));
    EXPECT_EQ((Lines{"RGB Emulation"}), seen.names);
    EXPECT_EQ(D3D_OK, d3d->EnumZBufferFormats(IID_IDirect3DTnLHalDevice, OnFormat, &formats));
    EXPECT_TRUE(formats.empty());
    EXPECT_EQ(D3D_OK, d3d->EnumZBufferFormats(IID_IDirect3DRGBDevice, OnFormat, &formats));
    EXPECT_EQ(1u, formats.size());

    IDirectDrawSurface7* flat = Offscreen(16, 16);
    IDirectDrawSurface7* target = Offscreen(16, 16, nullptr, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_3DDEVICE);
    IDirect3DDevice7* device = nullptr;
    TakeLog();
    EXPECT_EQ(D3DERR_INVALID_DEVICE, d3d->CreateDevice(IID_IDirect3DHALDevice, target, &device));
    EXPECT_EQ(DDERR_INVALIDCAPS, d3d->CreateDevice(IID_IDirect3DRGBDevice, flat, &device));
    ASSERT_EQ(D3D_OK, d3d->CreateDevice(IID_IDirect3DRGBDevice, target, &device));
    EXPECT_EQ((Lines{
                  "IDirect3D7#1::CreateDevice(class=IID_IDirect3DHALDevice, surface=#3, out=non-NULL) -> 0x887602C1",
                  "IDirect3D7#1::CreateDevice(class=IID_IDirect3DRGBDevice, surface=#2, out=non-NULL) -> 0x88760064",
                  "IDirect3D7#1::CreateDevice(class=IID_IDirect3DRGBDevice, surface=#3, out=non-NULL) -> 0x00000000",
              }),
              TakeLog());
    EXPECT_EQ(2, control.RefCount(target));

    D3DDEVICEDESC7 desc;
    std::memset(&desc, 0, sizeof desc);
    EXPECT_EQ(D3D_OK, device->GetCaps(&desc));
    EXPECT_EQ(standin::DeviceCapsWord(0), desc.dwDevCaps);
    EXPECT_EQ(standin::DeviceCapsWord(offsetof(D3DDEVICEDESC7, dwMaxTextureWidth) / 4), desc.dwMaxTextureWidth);
    EXPECT_EQ(standin::DeviceCapsHalf(offsetof(D3DDEVICEDESC7, wMaxUserClipPlanes)), desc.wMaxUserClipPlanes);
    EXPECT_TRUE(IsEqualGUID(IID_IDirect3DRGBDevice, desc.deviceGUID));
    IDirect3D7* owner = nullptr;
    EXPECT_EQ(D3D_OK, device->GetDirect3D(&owner));
    EXPECT_EQ(d3d, owner);
    EXPECT_EQ(2u, owner->Release());

    // The device holds its target and the Direct3D object until it goes.
    EXPECT_EQ(1u, target->Release());
    EXPECT_EQ(1u, d3d->Release());
    EXPECT_EQ(0u, device->Release());
    EXPECT_EQ(-1, control.RefCount(target));
    flat->Release();
}

TEST_F(Objects, DeviceKeepsStateClearsAndLogsPrimitives) {
    Normal();
    IDirect3D7* d3d = nullptr;
    ASSERT_EQ(S_OK, dd->QueryInterface(IID_IDirect3D7, reinterpret_cast<void**>(&d3d)));
    IDirectDrawSurface7* target = Offscreen(16, 8, nullptr, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_3DDEVICE);
    DDPIXELFORMAT zFormat = ZFormat16();
    IDirectDrawSurface7* z = Offscreen(16, 8, &zFormat, DDSCAPS_ZBUFFER);
    IDirectDrawSurface7* texture = Offscreen(4, 4, nullptr, DDSCAPS_TEXTURE);
    IDirect3DDevice7* device = nullptr;
    ASSERT_EQ(D3D_OK, d3d->CreateDevice(IID_IDirect3DHALDevice, target, &device));
    TakeLog();

    D3DVIEWPORT7 viewport = {2, 1, 10, 6, 0.0f, 1.0f};
    EXPECT_EQ(D3D_OK, device->SetViewport(&viewport));
    D3DVIEWPORT7 tooWide = {8, 0, 10, 8, 0.0f, 1.0f};
    EXPECT_EQ(DDERR_INVALIDPARAMS, device->SetViewport(&tooWide));
    float world[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, -8, 4.5f, 0, 1};
    EXPECT_EQ(D3D_OK, device->SetTransform(D3DTRANSFORMSTATE_WORLD, reinterpret_cast<D3DMATRIX*>(world)));
    D3DMATRIX read;
    EXPECT_EQ(D3D_OK, device->GetTransform(D3DTRANSFORMSTATE_WORLD, &read));
    EXPECT_EQ(0, std::memcmp(world, &read, sizeof world));
    D3DMATERIAL7 material;
    std::memset(&material, 0, sizeof material);
    material.diffuse.r = material.diffuse.a = 1.0f;
    material.power = 50.0f;
    EXPECT_EQ(D3D_OK, device->SetMaterial(&material));
    EXPECT_EQ(D3D_OK, device->SetRenderState(D3DRENDERSTATE_ALPHABLENDENABLE, TRUE));
    DWORD state = 0;
    EXPECT_EQ(D3D_OK, device->GetRenderState(D3DRENDERSTATE_ALPHABLENDENABLE, &state));
    EXPECT_EQ(1u, state);
    EXPECT_EQ(DDERR_INVALIDPARAMS, device->SetRenderState(static_cast<D3DRENDERSTATETYPE>(0), 1));
    EXPECT_EQ(D3D_OK, device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE));
    EXPECT_EQ(DDERR_INVALIDPARAMS, device->SetTextureStageState(8, D3DTSS_COLOROP, D3DTOP_MODULATE));
    Lines log = TakeLog();
    EXPECT_EQ((Lines{
                  "IDirect3DDevice7#5::SetViewport(x=2, y=1, width=10, height=6, minZ=0, maxZ=1) -> 0x00000000",
                  "IDirect3DDevice7#5::SetViewport(x=8, y=0, width=10, height=8, minZ=0, maxZ=1) -> 0x80070057",
                  "IDirect3DDevice7#5::SetTransform(state=1, matrix=[1 0 0 0 0 -1 0 0 0 0 1 0 -8 4.5 0 1]) -> "
                  "0x00000000",
                  "IDirect3DDevice7#5::GetTransform(state=1, matrix=non-NULL) -> 0x00000000",
                  "IDirect3DDevice7#5::SetMaterial(diffuse=(1,0,0,1), ambient=(0,0,0,0), specular=(0,0,0,0), "
                  "emissive=(0,0,0,0), power=50) -> 0x00000000",
                  "IDirect3DDevice7#5::SetRenderState(state=27, value=0x00000001) -> 0x00000000",
                  "IDirect3DDevice7#5::GetRenderState(state=27, value=non-NULL) -> 0x00000000",
                  "IDirect3DDevice7#5::SetRenderState(state=0, value=0x00000001) -> 0x80070057",
                  "IDirect3DDevice7#5::SetTextureStageState(stage=0, type=1, value=0x00000004) -> 0x00000000",
                  "IDirect3DDevice7#5::SetTextureStageState(stage=8, type=1, value=0x00000004) -> 0x80070057",
              }),
              log);

    // Clears: the target in its own format, cut to the viewport; the Z buffer once attached.
    D3DRECT all = {{0}, {0}, {16}, {8}};
    EXPECT_EQ(D3DERR_ZBUFFER_NOTPRESENT, device->Clear(1, &all, D3DCLEAR_ZBUFFER, 0, 1.0f, 0));
    EXPECT_EQ(D3D_OK, device->Clear(1, &all, D3DCLEAR_TARGET, 0xFF102030, 1.0f, 0));
    EXPECT_EQ(0x00102030u, PixelAt(target, 2, 1));
    EXPECT_EQ(0u, PixelAt(target, 1, 1));
    EXPECT_EQ(0u, PixelAt(target, 12, 1));
    ASSERT_EQ(DD_OK, target->AddAttachedSurface(z));
    EXPECT_EQ(D3D_OK, device->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0));
    EXPECT_EQ(0xFFFFu, PixelAt(z, 5, 5));
    EXPECT_EQ(0u, PixelAt(z, 0, 0));
    EXPECT_EQ(DDERR_INVALIDPARAMS, device->Clear(1, nullptr, D3DCLEAR_TARGET, 0, 1.0f, 0));

    // Primitives are logged, inside a scene only.
    D3DTLVERTEX quad[2];
    std::memset(quad, 0, sizeof quad);
    quad[0].sx = 1.5f;
    quad[0].sy = 2;
    quad[0].rhw = 1;
    quad[0].color = 0xFFFFFFFF;
    quad[1].sx = 9;
    quad[1].sy = 2;
    quad[1].rhw = 1;
    quad[1].color = 0x80FF0000;
    quad[1].tu = 1;
    EXPECT_EQ(D3DERR_SCENE_NOT_IN_SCENE, device->DrawPrimitive(D3DPT_LINELIST, D3DFVF_TLVERTEX, quad, 2, 0));
    EXPECT_EQ(D3D_OK, device->BeginScene());
    EXPECT_EQ(D3DERR_SCENE_IN_SCENE, device->BeginScene());
    EXPECT_EQ(D3D_OK, device->SetTexture(0, texture));
    EXPECT_EQ(2, control.RefCount(texture));
    EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_LINELIST, D3DFVF_TLVERTEX, quad, 2, 0));
    EXPECT_EQ(D3D_OK, device->EndScene());
    EXPECT_EQ(D3DERR_SCENE_NOT_IN_SCENE, device->EndScene());
    log = TakeLog();
    ASSERT_GE(log.size(), 11u);
    EXPECT_EQ("IDirect3DDevice7#5::Clear(count=1, rects=[(0,0,16,8)], flags=0x00000002, colour=0x00000000, z=1, "
              "stencil=0) -> 0x88760816",
              log[0]);
    EXPECT_EQ("IDirect3DDevice7#5::SetTexture(stage=0, texture=#4) -> 0x00000000", log[log.size() - 4]);
    EXPECT_EQ("IDirect3DDevice7#5::DrawPrimitive(type=2, fvf=0x000001C4, count=2, flags=0x00000000, "
              "vertices=[(1.5,2,0,1,0xFFFFFFFF,0,0)(9,2,0,1,0x80FF0000,1,0)]) -> 0x00000000",
              log[log.size() - 3]);

    EXPECT_EQ(0u, device->Release());
    EXPECT_EQ(1, control.RefCount(texture));
    EXPECT_EQ(DD_OK, target->DeleteAttachedSurface(0, z));
    z->Release();
    texture->Release();
    target->Release();
    d3d->Release();
}

TEST_F(Objects, FailureRulesReachEveryInterfaceAndUnmodelledMethodsAreLogged) {
    Normal();
    IDirectDrawSurface7* s = Offscreen(4, 4, nullptr, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_3DDEVICE);
    IDirectDrawClipper* clipper = nullptr;
    ASSERT_EQ(DD_OK, dd->CreateClipper(0, &clipper, nullptr));
    IDirect3D7* d3d = nullptr;
    ASSERT_EQ(S_OK, dd->QueryInterface(IID_IDirect3D7, reinterpret_cast<void**>(&d3d)));
    control.Fail("IDirectDrawSurface7::Lock", 1, DDERR_GENERIC);
    control.Fail("IDirectDrawClipper::SetHWnd", 1, DDERR_INVALIDOBJECT);
    control.Fail("IDirect3D7::CreateDevice", 1, DDERR_OUTOFVIDEOMEMORY);
    control.Fail("IDirect3DDevice7::Clear", 0, DDERR_SURFACEBUSY);
    control.Fail("IDirectDraw7::CreateSurface", 1, DDERR_OUTOFVIDEOMEMORY);
    TakeLog();
    DDSURFACEDESC2 desc = Desc(0, 0);
    EXPECT_EQ(DDERR_GENERIC, s->Lock(nullptr, &desc, 0, nullptr));
    EXPECT_EQ(DD_OK, s->Lock(nullptr, &desc, 0, nullptr));
    EXPECT_EQ(DD_OK, s->Unlock(nullptr));
    EXPECT_EQ(DDERR_INVALIDOBJECT, clipper->SetHWnd(0, TestWindow()));
    IDirect3DDevice7* device = reinterpret_cast<IDirect3DDevice7*>(&device);
    EXPECT_EQ(DDERR_OUTOFVIDEOMEMORY, d3d->CreateDevice(IID_IDirect3DRGBDevice, s, &device));
    EXPECT_EQ(reinterpret_cast<IDirect3DDevice7*>(&device), device);  // left as passed
    ASSERT_EQ(D3D_OK, d3d->CreateDevice(IID_IDirect3DRGBDevice, s, &device));
    EXPECT_EQ(DDERR_SURFACEBUSY, device->Clear(0, nullptr, D3DCLEAR_TARGET, 0, 1.0f, 0));
    DDSURFACEDESC2 plain = Desc(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_OFFSCREENPLAIN);
    plain.dwWidth = plain.dwHeight = 4;
    IDirectDrawSurface7* none = nullptr;
    EXPECT_EQ(DDERR_OUTOFVIDEOMEMORY, dd->CreateSurface(&plain, &none, nullptr));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(DDERR_UNSUPPORTED, s->PageLock(0));
    EXPECT_EQ(DDERR_UNSUPPORTED, s->SetLOD(2));
    EXPECT_EQ(DDERR_UNSUPPORTED, device->ValidateDevice(nullptr));
    EXPECT_EQ(DDERR_UNSUPPORTED, d3d->CreateVertexBuffer(nullptr, nullptr, 0));
    Lines log = TakeLog();
    EXPECT_EQ("IDirectDrawSurface7#1::Lock(rect=NULL, desc.dwSize=124, flags=0x00000000, event=NULL) -> 0x80004005",
              log[0]);
    EXPECT_EQ("IDirectDrawClipper#2::SetHWnd(flags=0x00000000, hwnd=non-NULL) -> 0x88760082", log[3]);
    EXPECT_EQ("IDirectDrawSurface7#1::PageLock(flags=0x00000000) -> 0x80004001", log[log.size() - 4]);
    EXPECT_EQ("IDirectDrawSurface7#1::SetLOD(lod=2) -> 0x80004001", log[log.size() - 3]);
    EXPECT_EQ("IDirect3DDevice7#4::ValidateDevice(passes=NULL) -> 0x80004001", log[log.size() - 2]);
    device->Release();
    d3d->Release();
    clipper->Release();
    s->Release();
}

TEST_F(Objects, NumbersStartAgainAfterReset) {
    Normal();
    IDirectDrawSurface7* a = Offscreen(4, 4);
    IDirectDrawSurface7* b = Offscreen(4, 4);
    EXPECT_EQ(2, control.ObjectNumber(b));
    b->Release();
    control.Reset();  // a is alive: numbering goes on after it
    IDirectDrawSurface7* c = Offscreen(4, 4);
    EXPECT_EQ(2, control.ObjectNumber(c));
    EXPECT_EQ(0, control.ObjectNumber(dd));
    EXPECT_EQ(a, control.Object<IDirectDrawSurface7>(1));
    EXPECT_EQ(c, control.Object<IDirectDrawSurface7>(2));
    EXPECT_EQ(nullptr, control.Object<IDirectDrawSurface7>(3));
    EXPECT_EQ("IDirectDraw7 refs=3\nIDirectDrawSurface7#1 refs=1\nIDirectDrawSurface7#2 refs=1\n",
              control.LiveObjectsText());
    c->Release();
    a->Release();
    control.Reset();
    IDirectDrawSurface7* d = Offscreen(4, 4);
    EXPECT_EQ(1, control.ObjectNumber(d));
    d->Release();
}
