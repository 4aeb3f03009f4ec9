// What the plugin does on Wine's real DirectDraw and Direct3D, read back: the screen record
// and window, fills, copies and colour keys, chips drawn every way, the update reaching the
// window, and the window hook.
#include "wine_tests.h"

#include <algorithm>
#include <random>

using host::Variable;
using namespace wine_tests;

namespace {

constexpr uint32_t BACKGROUND = 0x00102030u;

uint32_t Rgb(uint32_t v) { return v & 0x00FFFFFFu; }

// Every pixel is `inside(x, y)` within the rectangle and `outside` elsewhere, each colour
// channel within the tolerance (Wine filters stretched blits, Direct3D samples texel centres).
template <class Map>
void ExpectPicture(const Pixels& p, RECT r, Map inside, uint32_t outside = BACKGROUND, int tolerance = 0) {
    ASSERT_TRUE(p.ok);
    for (int32_t y = 0; y < p.height; ++y) {
        for (int32_t x = 0; x < p.width; ++x) {
            const bool in = x >= r.left && x < r.right && y >= r.top && y < r.bottom;
            const uint32_t want = in ? inside(x, y) : outside, got = Rgb(p.At(x, y));
            bool close = true;
            for (int shift = 0; shift < 24; shift += 8)
                close = close && std::abs(int(want >> shift & 0xFF) - int(got >> shift & 0xFF)) <= (in ? tolerance : 0);
            ASSERT_TRUE(close) << x << "," << y << ": " << std::hex << want << " vs " << got;
        }
    }
}

// The chip scene: surface 1 (64 x 32, 8-8-8-8) whose pixel (x, y) is SourceCode(x, y); chip 0
// its 32 x 32 cell at (0, 0), chip 1 the cell at (32, 0); surface 2 (200 x 120) cleared to
// BACKGROUND and current.
uint32_t SourceCode(int32_t x, int32_t y) { return 0x000001u | static_cast<uint32_t>(x * 4) << 16 | y * 8 << 8; }

void MakeChipScene(int32_t sourceFlags, int32_t targetFlags) {
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 32, 0x100 | sourceFlags));
    IDirectDrawSurface7* source = ReadState().At(1).Surface();
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, source->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_WRITEONLY, nullptr));
    for (int32_t y = 0; y < 32; ++y)
        for (int32_t x = 0; x < 64; ++x)
            reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(desc.lpSurface) + y * desc.lPitch)[x] = 0xFF000000u | SourceCode(x, y);
    source->Unlock(nullptr);
    ASSERT_EQ(0, plugin->Call("ZorvInitializeChip", 4));
    ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 0, 32, 32));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 32, 0));
    ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 1, 32, 32));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 200, 120, 0x100 | targetFlags));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
}

Pixels Target() { return ReadPixels(ReadState().At(2).Surface()); }
void Clear() { ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1)); }
auto Nothing = [](int32_t, int32_t) { return 0u; };

}  // namespace

TEST_F(Screen, BackBufferIsRecordZeroAndTheWindowFollows) {
    HWND window = hostScreen->Window();
    const LONG styleBefore = GetWindowLongA(window, GWL_STYLE), procBefore = GetWindowLongA(window, GWL_WNDPROC);
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    PluginState state = ReadState();
    EXPECT_EQ(0x6520, state.signature);
    EXPECT_EQ(8, state.count);
    EXPECT_EQ(state.table, state.current);
    EXPECT_EQ(screenMode, state.screenMode);
    EXPECT_EQ(renderMode, state.renderMode);
    EXPECT_NE(nullptr, state.direct3D);
    Record back = state.At(0);
    const uint32_t bits = back.At<uint32_t>(172);
    EXPECT_EQ(static_cast<uint32_t>(DesktopBits() == 24 ? 32 : DesktopBits()), bits);
    EXPECT_EQ(-1, back.At<int32_t>(8));
    EXPECT_EQ(124u, back.At<uint32_t>(88));  // the surface description's size
    EXPECT_EQ(WIDTH, back.At<int32_t>(232));
    EXPECT_EQ(HEIGHT, back.At<int32_t>(252));  // the screen's draw area is exclusive
    // White; an 8-bit screen's is matched before its palette exists, so it is not looked at.
    EXPECT_TRUE(bits == 8 || back.At<uint32_t>(264) == (bits >= 24 ? 0xFFFFFFu : 0xFFFFu));
    EXPECT_EQ(256, back.At<uint16_t>(224));
    EXPECT_EQ(8, back.At<uint8_t>(84));
    EXPECT_TRUE(back.At<uint32_t>(284) & DDSCAPS_OFFSCREENPLAIN);
    // The window: client area of the screen's size, no sizing frame, the hook in place, the
    // host record told the size; the release gives it all back and hides it.
    RECT client;
    GetClientRect(window, &client);
    EXPECT_EQ(WIDTH, client.right);
    EXPECT_EQ(HEIGHT, client.bottom);
    EXPECT_EQ(0, GetWindowLongA(window, GWL_STYLE) & WS_THICKFRAME);
    EXPECT_NE(procBefore, GetWindowLongA(window, GWL_WNDPROC));
    EXPECT_EQ(WIDTH, hostScreen->Field(host::Screen::WIDTH));
    EXPECT_EQ(0, plugin->Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(styleBefore & ~WS_VISIBLE, GetWindowLongA(window, GWL_STYLE));
    EXPECT_EQ(procBefore, GetWindowLongA(window, GWL_WNDPROC));
    EXPECT_EQ(nullptr, ReadState().At(0).Surface());
}

TEST_F(Screen, OffscreenSurfacesByFlags) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 320, 240, 0));
    EXPECT_EQ(319, ReadState().At(1).At<int32_t>(248));  // an off-screen area ends at width - 1
    // 0x020 a texture; 0x400 managed by Direct3D, the memory bits then not looked at.
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 64, 64, 0x020));
    EXPECT_EQ(DDSCAPS_TEXTURE, ReadState().At(2).At<uint32_t>(192) & (DDSCAPS_TEXTURE | DDSCAPS_OFFSCREENPLAIN));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 3, 64, 64, 0x400 | 0x020 | 0x004));
    DDSCAPS2 caps = {};
    ReadState().At(3).Surface()->GetCaps(&caps);
    EXPECT_TRUE(caps.dwCaps2 & DDSCAPS2_TEXTUREMANAGE);
    // Video memory is given or refused with the entry left unused; 0x001 falls back to system memory.
    const int32_t video = plugin->Call("ZorvCreateOffscreenSurface", 4, 16, 16, 0x004);
    EXPECT_TRUE(video == 0 ? ReadState().At(4).Surface() != nullptr : video == -29 && !ReadState().At(4).Surface());
    EXPECT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 5, 16, 16, 0x001));
    if (renderMode != 1 && renderMode != 3) return;
    // Wine gives one DirectDraw object one device at a time: the first goes before the second.
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 6, 64, 64, 0x008));
    IDirect3DDevice7* device = ReadState().At(6).At<IDirect3DDevice7*>(4);
    ASSERT_NE(nullptr, device);
    // Its capabilities, item by item: the members of the device's own description in their
    // declared order, the two primitive descriptions by sub-item, the GUID as a device type.
    D3DDEVICEDESC7 d = {};
    ASSERT_EQ(D3D_OK, device->GetCaps(&d));
    struct Field { const void* p; size_t n; };
#define M(m) Field{&d.m, sizeof d.m}
    const Field items[32] = {M(dwDevCaps), {}, {}, M(dwDeviceRenderBitDepth), M(dwDeviceZBufferBitDepth),
        M(dwMinTextureWidth), M(dwMinTextureHeight), M(dwMaxTextureWidth), M(dwMaxTextureHeight), M(dwMaxTextureRepeat),
        M(dwMaxTextureAspectRatio), M(dwMaxAnisotropy), M(dvGuardBandLeft), M(dvGuardBandTop), M(dvGuardBandRight),
        M(dvGuardBandBottom), M(dvExtentsAdjust), M(dwStencilCaps), M(dwFVFCaps), M(dwTextureOpCaps),
        M(wMaxTextureBlendStages), M(wMaxSimultaneousTextures), M(dwMaxActiveLights), M(dvMaxVertexW), {},
        M(wMaxUserClipPlanes), M(wMaxVertexBlendMatrices), M(dwVertexProcessingCaps), M(dwReserved1), M(dwReserved2),
        M(dwReserved3), M(dwReserved4)};
#undef M
    const uint32_t type = d.deviceGUID == IID_IDirect3DTnLHalDevice ? 3 : d.deviceGUID == IID_IDirect3DHALDevice ? 2
                        : d.deviceGUID == IID_IDirect3DRGBDevice ? 1 : 0;
    Variable value = Variable::Int(1);
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 6));
    for (int32_t item = 0; item < 32; ++item) {
        for (int32_t sub = 0; sub < (item == 1 || item == 2 ? 14 : 1); ++sub) {
            ASSERT_EQ(0, plugin->Call("ZorvGetD3Dcaps", value.Arg(), item, sub));
            const Field f = item == 1 ? Field{reinterpret_cast<DWORD*>(&d.dpcLineCaps) + sub, 4}
                          : item == 2 ? Field{reinterpret_cast<DWORD*>(&d.dpcTriCaps) + sub, 4} : items[item];
            uint32_t want = type;
            if (item != 24) want = 0, std::memcpy(&want, f.p, f.n);
            EXPECT_EQ(want, static_cast<uint32_t>(value.Ints()[0])) << item << " " << sub;
        }
    }
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 0));
    ASSERT_EQ(0, plugin->Call("ZorvReleaseOffscreenSurface", 6));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 7, 64, 64, 0x018)) << ErrorText(-3);
    EXPECT_GT(ReadState().At(7).At<uint32_t>(288), 1u);  // the Z buffer
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 0));
    ASSERT_EQ(0, plugin->Call("ZorvReleaseOffscreenSurface", 7));
    EXPECT_EQ(0u, ReadState().At(7).At<uint32_t>(288));
}

TEST_F(Screen, FillsCopiesAndKeys) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    // Source 1: black left half, red right half. Target 2: green, a box filled at (10, 20).
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 32, 32, 0x100));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0, 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 16, 0));
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 16, 32, 0x00FF0000));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 0));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 40, 40, 0x100));
    IDirectDrawSurface7* target = ReadState().At(2).Surface();
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0x0000FF00, 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 10, 20));
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 12, 6, 0x00FF8040));
    ExpectPicture(ReadPixels(target), RECT{10, 20, 22, 26}, [](int32_t, int32_t) { return 0xFF8040u; }, 0xFF00);

    // A block past the source's edge copies only what is inside it; a destination left of
    // the draw area moves the source along by the same amount.
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0x0000FF00, 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetDrawArea", 4, 0, 39, 39));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 2));
    EXPECT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 100, 8));
    ExpectPicture(ReadPixels(target), RECT{4, 2, 32, 10}, [](int32_t x, int32_t) { return x >= 16 ? 0xFF0000u : 0u; },
                  0xFF00);
    // With the source key on (code 0, black) black is skipped.
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetTransparentColor", 1, 0, 0));
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 2));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0x0000FF00, 1 | 2));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 20));
    EXPECT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 32, 4));
    ExpectPicture(ReadPixels(target), RECT{16, 20, 32, 24}, [](int32_t, int32_t) { return 0xFF0000u; }, 0xFF00);
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 200, 200));
    EXPECT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 32, 32));  // clipped to nothing
}

TEST_F(Screen, PlainAndScaledChips) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    MakeChipScene(0, 0);
    // Chip 0's top left and chip 1's bottom right 2 x 2 pixels black, the key every surface
    // starts with: skipped by ZorvPutChip, copied by ZorvPutChip4 while the key is off. (On
    // the surface's edges: Wine's stretching filter reads a pixel past the chip.)
    auto black = [](int32_t x, int32_t y) { return (x < 2 && y < 2) || (x >= 62 && y >= 30); };
    auto keyed = [&](int32_t x, int32_t y) { return black(x, y) ? BACKGROUND : SourceCode(x, y); };
    auto plain = [&](int32_t x, int32_t y) { return black(x, y) ? 0u : SourceCode(x, y); };
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, ReadState().At(1).Surface()->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr));
    for (int32_t i = 0; i < 8; ++i) reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(desc.lpSurface) + (i / 4 * 30 + i / 2 % 2) * desc.lPitch)[i / 4 * 62 + i % 2] = 0;
    ReadState().At(1).Surface()->Unlock(nullptr);
    // The anchor (16, 16) lands on (100, 50); at x = 10 the first 6 columns are cut off.
    ASSERT_EQ(0, plugin->Call("ZorvPutChip", 1, 100, 50));
    ExpectPicture(Target(), RECT{84, 34, 116, 66}, [&](int32_t x, int32_t y) { return keyed(32 + x - 84, y - 34); });
    Clear();
    ASSERT_EQ(0, plugin->Call("ZorvPutChip", 0, 10, 20));
    ExpectPicture(Target(), RECT{0, 4, 26, 36}, [](int32_t x, int32_t y) { return SourceCode(x + 6, y - 4); });
    Clear();
    EXPECT_EQ(0, plugin->Call("ZorvPutChip", 0, -40, 20));
    ExpectPicture(Target(), RECT{}, Nothing);
    // 512 x 256 at (100, 50): two columns per source column; scale 1 is a plain copy.
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 50));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip4", 0, 512, 256));
    ExpectPicture(Target(), RECT{68, 34, 132, 66}, [&](int32_t x, int32_t y) { return plain((x - 68) / 2, y - 34); },
                  BACKGROUND, 4);
    Clear();
    ASSERT_EQ(0, plugin->Call("ZorvPutChip4", 0, 256, 256));
    ExpectPicture(Target(), RECT{84, 34, 116, 66}, [&](int32_t x, int32_t y) { return plain(x - 84, y - 34); });
}

// A character is drawn where ZorvPutChip puts its chip, shifted by the scroll; by number the
// lowest number ends on top, by Y the lowest on the screen; the blink counter runs per frame;
// a scale below 1 draws nothing.
TEST_F(Screen, CharactersDrawLikeTheirChips) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    const bool direct3D = renderMode == 1 || renderMode == 3;  // a texture, a target with a device
    MakeChipScene(direct3D ? 0x020 : 0, direct3D ? 0x008 : 0);
    ASSERT_EQ(0, plugin->Call("ZorvInitializeCharacter", 4));
    std::vector<Variable> columns;
    for (int32_t c = 0; c < 26; ++c) {
        columns.push_back(Variable::Int(4));
        ASSERT_EQ(0, plugin->Call("ZorvSetCharacterVariable", columns.back().Arg(), c));
    }
    auto col = [&columns](int32_t c, int32_t n) -> int32_t& { return columns[c].Ints()[n]; };
    ASSERT_EQ(0, plugin->Call("ZorvCreateCharacter", 2, 1, 90, 40));
    ASSERT_EQ(0, plugin->Call("ZorvPutCharacter", 0, 4, 10, 10));
    ExpectPicture(Target(), RECT{84, 34, 116, 66}, [](int32_t x, int32_t y) { return SourceCode(32 + x - 84, y - 34); });
    EXPECT_EQ(90, col(1, 2));
    EXPECT_EQ(40, col(2, 2));
    // Characters 1 (chip 0) and 2 (chip 1): the pixel at the anchor tells who was drawn last.
    ASSERT_EQ(0, plugin->Call("ZorvCreateCharacter", 1, 0, 90, 40));
    const uint32_t chip0 = SourceCode(16, 16);
    ASSERT_EQ(0, plugin->Call("ZorvPutCharacter", 0, 4, 0, 0));
    EXPECT_EQ(chip0, Rgb(Target().At(90, 40)));
    for (int32_t lower : {1, 2}) {
        col(2, lower) = 41;
        col(2, 3 - lower) = 40;
        ASSERT_EQ(0, plugin->Call("ZorvPutCharacterYSort", 0, 4, 0, 0));
        EXPECT_EQ(SourceCode(lower == 1 ? 16 : 48, 15), Rgb(Target().At(90, 40))) << lower;
    }
    // Blink 3: drawn, skipped, drawn, then drawn with the counter at 0.
    col(0, 2) = 0;
    col(10, 1) = 3;
    for (int32_t frame = 0; frame < 4; ++frame) {
        Clear();
        ASSERT_EQ(0, plugin->Call("ZorvPutCharacter", 0, 4, 0, 0));
        EXPECT_EQ(frame == 1 ? BACKGROUND : chip0, Rgb(Target().At(90, 40))) << frame;
    }
    EXPECT_EQ(0, col(10, 1));
    // Scaled to 0 wide: nothing drawn, and the call goes on.
    Clear();
    col(9, 1) = 1 | 8;
    col(20, 1) = 0;
    col(21, 1) = 256;
    EXPECT_EQ(0, plugin->Call("ZorvPutCharacter", 0, 4, 0, 0));
    ExpectPicture(Target(), RECT{}, Nothing);
    // At scale 1 the transformed path puts the chip where the plain path does: the software
    // rasterizer exactly, Direct3D within its filtering; render mode 0 has no Direct3D.
    col(20, 1) = 256;
    if (direct3D) {
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 19, D3DBLEND_ONE, 20, D3DBLEND_ZERO));  // a copy
    }
    EXPECT_EQ(renderMode == 0 ? -40 : 0, plugin->Call("ZorvPutCharacter", 0, 4, 0, 0));
    if (renderMode != 0)
        ExpectPicture(Target(), RECT{74, 24, 106, 56}, [](int32_t x, int32_t y) { return SourceCode(x - 74, y - 24); },
                      BACKGROUND, direct3D ? 8 : 0);
    // Angle 1024 is turned by 0 with the scaled cosine, one pixel narrower, not drawn unturned.
    Clear();
    col(9, 1) = 1 | 4, col(17, 1) = 1024;
    EXPECT_EQ(renderMode == 0 ? -40 : 0, plugin->Call("ZorvPutCharacter", 0, 4, 0, 0));
    if (direct3D) EXPECT_EQ(BACKGROUND, Rgb(Target().At(105, 40)));
    // The scene for a person to compare across render modes: turned and doubled, faded, plain.
    ASSERT_EQ(0, plugin->Call("ZorvCreateCharacter", 2, 1, 150, 60));
    ASSERT_EQ(0, plugin->Call("ZorvCreateCharacter", 3, 0, 40, 80));
    col(9, 2) = 1 | 4 | 8, col(17, 2) = 128, col(20, 2) = col(21, 2) = 512;
    col(9, 3) = 1 | 16, col(24, 3) = 128;
    plugin->Call("ZorvPutCharacterYSort", 0, 4, 0, 10);
    SavePicture(("characters_render" + std::to_string(renderMode) + ".png").c_str(), Target());
    // The arrays go with this test: ZorvExit drops the character table (and everything else).
    EXPECT_EQ(0, plugin->Call("ZorvExit"));
    ASSERT_EQ(0, plugin->Call("ZorvInitializeSurface", 2));  // for TearDown's release
}

// One scene with chips drawn every way (plain, scaled, rotated, faded, onto four points):
// Direct3D from a texture in render modes 1 and 3, the software rasterizer in render mode 2;
// each saved as chips_render<mode>.png for a person to compare.
TEST_F(Screen, TransformedChipsByRenderMode) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    const bool direct3D = renderMode == 1 || renderMode == 3;
    MakeChipScene(direct3D ? 0x020 : 0, direct3D ? 0x008 : 0);
    Variable corners = Variable::Int(8);
    const int32_t identity[8] = {40, 20, 71, 20, 71, 51, 40, 51};
    std::memcpy(corners.Ints(), identity, sizeof identity);
    if (renderMode == 0) return;
    const int32_t copy = direct3D ? 19 : 0;  // blending one-to-zero copies the texture
    ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", copy, D3DBLEND_ONE, 20, D3DBLEND_ZERO));
    // Angle 0 and scale 1, and (by the rasterizer) the quad onto the chip's own size: one to one.
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 50));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 0));
    ASSERT_EQ(0, direct3D ? 0 : plugin->Call("ZorvPutChip3", corners.Arg(), 0, 0));
    ExpectPicture(Target(), RECT{40, 20, 116, 66}, [direct3D](int32_t x, int32_t y) {
        if (x < 72 && y < 52) return direct3D ? BACKGROUND : SourceCode(x - 40, y - 20);
        return x >= 84 && y >= 34 ? SourceCode(32 + x - 84, y - 34) : BACKGROUND;
    }, BACKGROUND, direct3D ? 8 : 0);
    Clear();
    if (renderMode == 2) {
        // With alpha blending on, transparency 255 (or 511) draws nothing.
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 27, 1, 0, 0));
        EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 511));
        EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 300, 255));
        ExpectPicture(Target(), RECT{}, Nothing);
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 27, 0, 0, 0));
    } else {
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 19, D3DBLEND_SRCALPHA, 20, D3DBLEND_INVSRCALPHA));
    }
    // A quarter turn, doubled, at (100, 60): source column x lands at y = 60 - (x - 16) * 2,
    // source row y at x = 100 + (y - 16) * 2.
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 60));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip2", 0, 512, 256, 0));
    const uint32_t sample = Rgb(Target().At(100 + (8 - 16) * 2, 60 - (24 - 16) * 2)), want = SourceCode(24, 8);
    EXPECT_NEAR(int(want >> 16), int(sample >> 16), 12) << std::hex << sample;
    EXPECT_NEAR(int(want >> 8 & 0xFF), int(sample >> 8 & 0xFF), 20) << std::hex << sample;
    // The rest of the scene, for a person to compare.
    const int32_t trapezoid[8] = {120, 70, 160, 70, 185, 112, 105, 112};
    std::memcpy(corners.Ints(), trapezoid, sizeof trapezoid);
    EXPECT_EQ(0, plugin->Call("ZorvPutChip", 0, 24, 30));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 24, 85));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 1, 384, -200, 0));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 160, 30));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 160));  // faded (Direct3D only)
    const int32_t polygons = *ReadState().polygons;
    EXPECT_EQ(0, plugin->Call("ZorvPutChip3", corners.Arg(), 1, 0));
    EXPECT_EQ(polygons + (direct3D ? 4 : 0), *ReadState().polygons) << "ZorvPutChip3 counts four polygons";
    Pixels scene = Target();
    EXPECT_EQ(SourceCode(5, 5), Rgb(scene.At(24 - 16 + 5, 30 - 16 + 5)));
    for (POINT p : {POINT{24, 85}, POINT{145, 100}}) EXPECT_NE(BACKGROUND, Rgb(scene.At(p.x, p.y))) << p.x << "," << p.y;
    const std::string name = "chips_render" + std::to_string(renderMode) + ".png";
    SavePicture(name.c_str(), scene);
}

// The software rasterizer draws nothing from a chip whose pixel size differs from the
// target's (a 32-bit chip turned onto a 16-bit back buffer once wrote past its end).
TEST_F(Screen, RasterizerLeavesATargetOfAnotherPixelSizeAlone) {
    if (renderMode != 2) GTEST_SKIP() << "the software rasterizer draws in render mode 2";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 64, DesktopBits() == 16 ? 0x100 : 0x040));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0x7777, 1));
    ASSERT_EQ(0, plugin->Call("ZorvInitializeChip", 1));
    ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 0, 64, 64));
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 0));
    IDirectDrawSurface7* back = ReadState().At(0).Surface();
    const Pixels before = ReadPixels(back);
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", WIDTH - 20, HEIGHT - 20));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 0, 512, 100, 0));
    EXPECT_TRUE(before.values == ReadPixels(back).values);
}

namespace {

uint32_t Code(uint32_t bits, uint8_t r, uint8_t g, uint8_t b) {
    return bits == 16 ? (r >> 3) << 11 | (g >> 2) << 5 | b >> 3 : static_cast<uint32_t>(r) << 16 | g << 8 | b;
}

int32_t CountCode(const Pixels& p, uint32_t code, RECT r) {
    int32_t count = 0;
    for (int32_t y = r.top; y < r.bottom; ++y)
        for (int32_t x = r.left; x < r.right; ++x) count += (p.At(x, y) & (p.bits >= 24 ? 0xFFFFFFu : 0xFFFFu)) == code;
    return count;
}

void SetRateDisplay(const char* name, int32_t flags, int32_t x, int32_t y) {
    Variable colours = Variable::Int(9);
    const int32_t values[9] = {255, 255, 255, 0, 0, 0, 64, 64, 64};
    std::memcpy(colours.Ints(), values, sizeof values);
    ASSERT_EQ(0, plugin->Call(name, colours.Arg(), flags, x, y));
}

// Wine throttles windowed presents: one that follows another too soon reaches the window
// only with the next. So the frame is presented again, as a game's loop would, until the
// pixel shows the colour (a window shown again may take a moment to be mapped).
std::vector<uint32_t> CaptureWhen(int32_t x, int32_t y, uint32_t colour) {
    std::vector<uint32_t> shot;
    for (int attempt = 0; attempt < 250; ++attempt) {
        host::PumpMessages();
        shot = host::CaptureScreen(hostScreen->Window(), 0, 0, WIDTH, HEIGHT);
        if (shot[static_cast<size_t>(y) * WIDTH + x] == colour) break;
        Sleep(20);
        plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0);
    }
    return shot;
}

}  // namespace

// The rate text on the back buffer, the clear after presenting, and the window's pixels
// wherever the window is. An 8-bit screen's codes are palette indices: not compared there.
TEST_F(Screen, UpdateDrawsTheRateAndReachesTheWindow) {
    if (DesktopBits() == 8) GTEST_SKIP() << "an 8-bit screen's codes are palette indices";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    IDirectDrawSurface7* back = ReadState().At(0).Surface();
    const uint32_t bits = ReadState().At(0).At<uint32_t>(172), white = Code(bits, 255, 255, 255);
    const RECT all = {0, 0, WIDTH, HEIGHT}, text = {0, 0, 48, 20};
    // "0 FPS" in white outlined in black at the top left, nothing white elsewhere.
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(Code(bits, 0, 0, 255)), 1));
    EXPECT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    Pixels pixels = ReadPixels(back);
    EXPECT_GT(CountCode(pixels, white, text), 10);
    EXPECT_GT(CountCode(pixels, 0, text), 10);
    EXPECT_EQ(CountCode(pixels, white, text), CountCode(pixels, white, all));
    // Clearing after presenting fills the current surface for the next frame; a hidden rate
    // draws nothing; flags 4 draws on a grey background.
    const uint32_t green = Code(bits, 0, 255, 0);
    EXPECT_EQ(0, plugin->Call("ZorvUpdateScreen", 0, 1, static_cast<int32_t>(green), 1));
    EXPECT_EQ(WIDTH * HEIGHT, CountCode(ReadPixels(back), green, all));
    SetRateDisplay("ZorvShowFrameRate", 0, 0, 0);
    EXPECT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_EQ(WIDTH * HEIGHT, CountCode(ReadPixels(back), green, all));
    SetRateDisplay("ZorvShowPolygonRate", 4, 100, 200);
    EXPECT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    pixels = ReadPixels(back);
    EXPECT_GT(CountCode(pixels, Code(bits, 64, 64, 64), all), 50);
    EXPECT_EQ(0, CountCode(pixels, Code(bits, 64, 64, 64), RECT{0, 0, 100, HEIGHT}));
    SetRateDisplay("ZorvShowPolygonRate", 0, 0, 0);

    // A red frame with a yellow box and the rate text, then a blue one after the window moved.
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(Code(bits, 255, 0, 0)), 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 200, 100));
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 40, 30, static_cast<int32_t>(Code(bits, 255, 255, 0))));
    ASSERT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    std::vector<uint32_t> shot = CaptureWhen(300, 300, 0xFF0000u);
    EXPECT_EQ(0xFF0000u, shot[300 * WIDTH + 300]);
    EXPECT_EQ(0xFFFF00u, shot[110 * WIDTH + 210]);
    EXPECT_GT(std::count(shot.begin(), shot.begin() + 20 * WIDTH, 0xFFFFFFu), 10) << "the frame-rate text";
    if (!pictureFolder.empty()) host::SavePng((pictureFolder + "\\window_after_update.png").c_str(), shot, WIDTH, HEIGHT);
    SetRateDisplay("ZorvShowFrameRate", 0, 0, 0);
    HWND window = hostScreen->Window();
    RECT frame;
    GetWindowRect(window, &frame);
    MoveWindow(window, frame.left + 120, frame.top + 70, frame.right - frame.left, frame.bottom - frame.top, TRUE);
    host::PumpMessages();
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(Code(bits, 0, 0, 255)), 1));
    ASSERT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    shot = CaptureWhen(5, 5, 0x0000FFu);
    EXPECT_EQ(0x0000FFu, shot[5 * WIDTH + 5]);
    EXPECT_EQ(0x0000FFu, shot[(HEIGHT - 5) * WIDTH + WIDTH - 5]);
    MoveWindow(window, frame.left, frame.top, frame.right - frame.left, frame.bottom - frame.top, TRUE);
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);
}

// Paced at 60 frames per second for over a second, the measured rate is at most 60 x 256
// (fewer when Wine's presents are slow), and some.
TEST_F(Screen, FrameRateOfAPacedLoop) {
    if (renderMode != 2 || DesktopBits() < 24) GTEST_SKIP() << "one run is enough";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);
    for (DWORD start = GetTickCount(); GetTickCount() - start < 1300;)
        ASSERT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 1092267, 0, 0, 0));
    Variable rate = Variable::Int(1);
    ASSERT_EQ(0, plugin->Call("ZorvGetFrameRate", rate.Arg()));
    EXPECT_TRUE(rate.Ints()[0] > 256 && rate.Ints()[0] <= 61 * 256) << rate.Ints()[0];
}

// The hook keeps paint and, when asked, the screen saver from the host's own procedure.
TEST_F(Screen, HookKeepsPaintAndScreenSaverFromTheHost) {
    HWND window = hostScreen->Window();
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    const int user = host::HostMessageCount(WM_USER + 7), paints = host::HostMessageCount(WM_PAINT);
    SendMessageA(window, WM_USER + 7, 0, 0);
    EXPECT_EQ(user + 1, host::HostMessageCount(WM_USER + 7));
    InvalidateRect(window, nullptr, FALSE);
    UpdateWindow(window);
    EXPECT_EQ(paints, host::HostMessageCount(WM_PAINT));
    const int commands = host::HostMessageCount(WM_SYSCOMMAND);
    ASSERT_EQ(0, plugin->Call("ZorvLimitSystemBehavior", 1));
    EXPECT_EQ(1, SendMessageA(window, WM_SYSCOMMAND, SC_SCREENSAVE, 0));
    SendMessageA(window, WM_SYSCOMMAND, SC_SCREENSAVE + 1, 0);  // low bits set: another command
    EXPECT_EQ(commands + 1, host::HostMessageCount(WM_SYSCOMMAND));
    ASSERT_EQ(0, plugin->Call("ZorvLimitSystemBehavior", 0));
    EXPECT_EQ(0, SendMessageA(window, WM_SYSCOMMAND, SC_SCREENSAVE, 0));
    EXPECT_EQ(commands + 2, host::HostMessageCount(WM_SYSCOMMAND));
    // After the release the host's procedure gets every message again.
    ASSERT_EQ(0, plugin->Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(reinterpret_cast<LONG>(host::HostWindowProcedure()), GetWindowLongA(window, GWL_WNDPROC));
    EXPECT_FALSE(IsWindowVisible(window));
    ShowWindow(window, SW_SHOW);
    InvalidateRect(window, nullptr, FALSE);
    UpdateWindow(window);
    EXPECT_EQ(paints + 1, host::HostMessageCount(WM_PAINT));
}

namespace {

// The screen's DirectDraw palette as shown, and a code's colour from ZorvGetRGBFromColorCode,
// each as 0xRRGGBB.
std::vector<uint32_t> ShownPalette() {
    IDirectDrawSurface7* primary = nullptr;
    IDirectDrawPalette* palette = nullptr;
    PALETTEENTRY e[256] = {};
    static_cast<IDirectDraw7*>(ReadState().directDraw)->GetGDISurface(&primary);
    if (primary && SUCCEEDED(primary->GetPalette(&palette))) palette->GetEntries(0, 0, 256, e), palette->Release();
    if (primary) primary->Release();
    std::vector<uint32_t> rgb(256);
    for (int i = 0; i < 256; ++i) rgb[i] = static_cast<uint32_t>(e[i].peRed) << 16 | e[i].peGreen << 8 | e[i].peBlue;
    return rgb;
}
uint32_t RgbOfCode(int32_t code) {
    Variable rgb = Variable::Int(3);
    EXPECT_EQ(0, plugin->Call("ZorvGetRGBFromColorCode", rgb.Arg(), code));
    return static_cast<uint32_t>(rgb.Ints()[0]) << 16 | rgb.Ints()[1] << 8 | rgb.Ints()[2];
}
uint32_t Rgb(const uint8_t* p) { return static_cast<uint32_t>(p[0]) << 16 | p[1] << 8 | p[2]; }

}  // namespace

// An 8-bit windowed screen's palette: made as a 3-3-2 colour cube with the system's twenty
// static colours referenced by their index. A set entry reaches the host window's palette with
// the next update; a fade of N steps shows the N mixes of table and target, then stays on the
// target while the table is still reported; 0 steps brings the table back; copies leave the
// system's entries alone. (Entries 0 and 255 stay black and white in a DirectDraw palette made
// without DDPCAPS_ALLOW256: not compared after the start.)
TEST_F(Screen, PaletteOfAnEightBitScreen) {
    if (DesktopBits() != 8) GTEST_SKIP() << "only an 8-bit desktop gives the screen a palette";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    std::vector<uint32_t> shown = ShownPalette();
    for (uint32_t i = 0; i < 256; ++i) {
        const bool fixed = i < 10 || (i >= 246 && i < 255);
        EXPECT_EQ(fixed ? i << 16 : (i >> 5 & 7) * 255 / 7 << 16 | (i >> 2 & 7) * 255 / 7 << 8 | (i & 3) * 255 / 3, shown[i]) << i;
    }
    ASSERT_EQ(0, plugin->Call("ZorvSetPalette", 100, 10, 20, 30));
    ASSERT_EQ(0, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1));
    PALETTEENTRY host = {};
    ASSERT_EQ(1u, GetPaletteEntries(HPALETTE(hostScreen->Field(40)), 100, 1, &host));
    EXPECT_TRUE(host.peRed == 10 && host.peGreen == 20 && host.peBlue == 30);
    std::vector<uint32_t> table(256);
    for (int32_t i = 0; i < 256; ++i) table[i] = RgbOfCode(i);
    Variable target = Variable::Int(768);
    for (int32_t i = 0; i < 768; ++i) target.Ints()[i] = 0x100 | (i * 37 % 256);  // only the low 8 bits count
    for (int32_t steps : {1, 2, 30}) {
        ASSERT_EQ(0, plugin->Call("ZorvFadePalette", target.Arg(), steps));
        for (int32_t k = 1, n = 1; k <= steps + 1; n = std::min(++k, steps)) {
            ASSERT_EQ(0, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1));
            shown = ShownPalette();
            for (int32_t i = 1; i < 255; ++i) {
                for (int32_t c = 0, shift = 16; c < 3; ++c, shift -= 8) {
                    const int32_t from = table[i] >> shift & 0xFF, to = (3 * i + c) * 37 % 256;
                    ASSERT_EQ(from * (steps - n) / steps + to * n / steps, int32_t(shown[i] >> shift & 0xFF))
                        << steps << " steps, update " << k << ", entry " << i;
                }
            }
        }
        EXPECT_EQ(table[100], RgbOfCode(100));
    }
    ASSERT_EQ(0, plugin->Call("ZorvFadePalette", 0, 0));
    ASSERT_EQ(0, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1));
    EXPECT_TRUE(std::equal(table.begin() + 1, table.end() - 1, ShownPalette().begin() + 1));
    // Copied out and in through the host's bytes (4 guard bytes before and after).
    std::vector<uint8_t> out(776, 0xA5), in(776);
    for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint8_t>(i * 13);
    EXPECT_EQ(0, plugin->Call("ZorvPaletteCopy", 0, 1, 0, static_cast<int32_t>(reinterpret_cast<uintptr_t>(&out[4]))));
    EXPECT_EQ(0, plugin->Call("ZorvPaletteCopy", 0, 0, 0, static_cast<int32_t>(reinterpret_cast<uintptr_t>(&in[4]))));
    shown = ShownPalette();
    for (int32_t i = 1; i < 255; ++i) {
        const bool system = i < 10 || i >= 246;
        ASSERT_EQ(system ? 0xA5A5A5u : table[i], Rgb(&out[4 + 3 * i])) << i;
        ASSERT_EQ(system ? table[i] : Rgb(&in[4 + 3 * i]), shown[i]) << i;  // shown at once
        ASSERT_EQ(shown[i], RgbOfCode(i)) << i;
    }
    EXPECT_TRUE(out[0] == 0xA5 && out[772] == 0xA5 && out[775] == 0xA5);
}

// True colour: a colour's code is its bits in the display format (5-6-5 truncates), the code
// gives the colour back scaled to 0 ... 255, and a filled pixel reads back as its code, masked
// to the pixel's size; pixel (0, 0), which the colour match borrows, is put back.
TEST_F(Screen, ColourCodesAndPointColours) {
    if (DesktopBits() == 8) GTEST_SKIP() << "an 8-bit screen's codes are palette indices";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    const uint32_t bits = ReadState().At(0).At<uint32_t>(172);
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 1, 1, 0x1234));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 20, 30));
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 65, 1, -1));  // every bit set beside each tested pixel
    Variable code = Variable::Int(1);
    std::mt19937 r(5);
    for (int32_t i = 0; i < 64; ++i) {
        const uint8_t c[3] = {uint8_t(r()), uint8_t(r()), uint8_t(r())};
        ASSERT_EQ(0, plugin->Call("ZorvGetColorCode", code.Arg(), c[0], c[1], c[2]));
        const uint32_t want = Code(bits, c[0], c[1], c[2]);
        ASSERT_EQ(want, static_cast<uint32_t>(code.Ints()[0])) << i;
        const uint32_t back = bits > 16 ? Rgb(c) : (c[0] >> 3) * 255 / 31 << 16 | (c[1] >> 2) * 255 / 63 << 8 | (c[2] >> 3) * 255 / 31;
        ASSERT_EQ(back, RgbOfCode(static_cast<int32_t>(want))) << i;
        ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 20 + i, 30));
        ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 1, 1, static_cast<int32_t>(want)));
        ASSERT_EQ(0, plugin->Call("ZorvGetPointColor", code.Arg(), 20 + i, 30));
        ASSERT_EQ(want, static_cast<uint32_t>(code.Ints()[0])) << i;
    }
    ASSERT_EQ(0, plugin->Call("ZorvGetPointColor", code.Arg(), 0, 0));
    EXPECT_EQ(0x1234, code.Ints()[0]);
}

namespace {

// The host record's fields that the image copies and the circle read.
enum HostField : size_t { PALETTE_MODE = 12, COLOUR_TABLE = 36, POS_X = 108, POS_Y = 112, PEN = 148, COLOUR = 160 };

// An 8-bit component under a surface mask of n bits from bit z: its top n bits there.
uint32_t Under(uint32_t mask, uint32_t c) {
    int z = 0, n = 0;
    while (mask && !(mask >> z & 1)) ++z;
    while (mask >> (z + n) & 1) ++n;
    return mask ? c >> (8 - n) << z : 0;
}

int32_t Address(const void* p) { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(p)); }

void FillRandom(IDirectDrawSurface7* surface, std::mt19937& random) {
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, surface->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_WRITEONLY, nullptr));
    for (DWORD i = 0; i < desc.dwHeight * desc.lPitch; ++i) static_cast<uint8_t*>(desc.lpSurface)[i] = static_cast<uint8_t>(random());
    surface->Unlock(nullptr);
}

}  // namespace

// Random blocks of the 24-bit DIB (its bottom right corner) and of an 8-bit buffer with its own
// colour table, onto random 8-8-8-8, 1-5-5-5 and desktop-format surfaces as colours and as
// alpha (inverted green or luminance, top bits in the alpha field); then a surface back.
TEST_F(Screen, HostImagesBothWays) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    std::mt19937 random(5);
    uint8_t* dib = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(hostScreen->Field(host::Screen::BITS)));
    std::vector<uint8_t> indices(16 * 8), table(1024);
    for (int i = 0; i < WIDTH * HEIGHT * 3; ++i) dib[i] = static_cast<uint8_t>(random());
    for (uint8_t& v : table) v = static_cast<uint8_t>(random());
    for (size_t i = 0; i < indices.size(); ++i) indices[i] = static_cast<uint8_t>(i % 7 ? random() : 5);
    table[4 * 5] = table[4 * 5 + 2] = 0, table[4 * 5 + 1] = 255;  // entry 5 pure green
    PALETTEENTRY system[256] = {};  // the palette as the system realised it (8-bit desktop)
    HDC desktop = GetDC(nullptr);
    GetSystemPaletteEntries(desktop, 0, 256, system);
    ReleaseDC(nullptr, desktop);
    for (int32_t s = 1; s <= 3; ++s) ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", s, 48, 16, s == 1 ? 0x100 : s == 2 ? 0x040 : 0));
    for (int round = 0; round < 12; ++round) {
        const int32_t s = 1 + round / 4, pal = round & 1, mode = round >> 1 & 1;
        SCOPED_TRACE("surface " + std::to_string(s) + (pal ? " palettised" : "") + (mode ? " alpha" : ""));
        const Record record = ReadState().At(s);
        ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", s));
        ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 3, 2));
        FillRandom(record.Surface(), random);
        const Pixels before = ReadPixels(record.Surface());
        const int32_t W = pal ? 16 : WIDTH, H = pal ? 8 : HEIGHT, x0 = pal ? 2 : 600, y0 = pal ? 1 : 470, w = pal ? 14 : 40, h = pal ? 7 : 10;
        // The 8-bit buffer is in the record for the call only.
        const std::pair<size_t, int32_t> fields[5] = {{host::Screen::WIDTH, W}, {host::Screen::HEIGHT, H},
            {host::Screen::BITS, Address(indices.data())}, {COLOUR_TABLE, Address(table.data())}, {PALETTE_MODE, 1}};
        int32_t saved[5];
        for (int i = 0; i < 5; ++i) {
            saved[i] = hostScreen->Field(fields[i].first);
            if (pal) hostScreen->SetField(fields[i].first, fields[i].second);
        }
        hostScreen->SetField(POS_X, x0), hostScreen->SetField(POS_Y, y0);
        EXPECT_EQ(0, plugin->Call("ZorvHSPToSurface", hostScreen->Arg(), w, h, mode));
        for (int i = 0; i < 5; ++i) hostScreen->SetField(fields[i].first, saved[i]);
        const Pixels after = ReadPixels(record.Surface());
        const uint32_t R = record.At<uint32_t>(176), G = record.At<uint32_t>(180), B = record.At<uint32_t>(184), A = record.At<uint32_t>(188);
        int32_t green = 0;
        for (int32_t y = 0; y < after.height; ++y) {
            for (int32_t x = 0; x < after.width; ++x) {
                const uint32_t old = before.At(x, y), got = after.At(x, y);
                const bool in = x >= 3 && x < 3 + w && y >= 2 && y < 2 + h, nearest = in && pal && !mode && after.bits == 8;
                const size_t at = in ? static_cast<size_t>(H - 1 - (y0 + y - 2)) * W + x0 + x - 3 : 0;
                const uint8_t* c = pal ? &table[4 * indices[at]] : dib + 3 * at;  // blue, green, red
                const uint32_t v = pal ? (c[2] * 19595 + c[1] * 38470 + c[0] * 7471) >> 16 : c[1];
                uint32_t want = !in || after.bits == 8 ? old : mode ? Under(A, 255 - v) | (old & ~A)
                                                             : Under(R, c[2]) | Under(G, c[1]) | Under(B, c[0]) | (old & A);
                green += nearest && indices[at] == 5 && system[got].peGreen == 255 && !system[got].peRed && !system[got].peBlue;
                ASSERT_EQ(nearest ? got : want, got) << x << "," << y;
            }
        }
        // An 8-bit surface gets the index of the plugin palette's entry nearest to the colour.
        EXPECT_TRUE(!(pal && !mode && after.bits == 8) || green > 0);
    }
    if (DesktopBits() == 8) return;  // the palette copy that ends the copy back belongs to the palettes
    // Surface 1 back into the DIB at (100, 50): the colour bits, converted by GDI.
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 1));
    hostScreen->SetField(POS_X, 100), hostScreen->SetField(POS_Y, 50);
    ASSERT_EQ(0, plugin->Call("ZorvSurfaceToHSP", hostScreen->Arg(), 40, 10, 0));
    GdiFlush();
    const Pixels surface = ReadPixels(ReadState().At(1).Surface());
    for (int32_t i = 0; i < 400; ++i) {
        const uint8_t* p = dib + 3 * (static_cast<size_t>(HEIGHT - 51 - i / 40) * WIDTH + 100 + i % 40);
        ASSERT_EQ(surface.At(3 + i % 40, 2 + i / 40) & 0xFFFFFF, static_cast<uint32_t>(p[2] << 16 | p[1] << 8 | p[0])) << i;
    }
    hostScreen->SetField(POS_X, 0), hostScreen->SetField(POS_Y, 0);
}

// The host draws on a surface between ZorvBeginDraw and ZorvEndDraw: a white quarter arc from
// the top clockwise to the right; the DC goes back only through the surface it came from.
TEST_F(Screen, GdiDrawingOnASurface) {
    if (DesktopBits() == 8) GTEST_SKIP() << "colour codes are palette indices";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 16, 16, 0x100));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 48, 0x100));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0, 1));
    const int32_t hostDc = hostScreen->Field(host::Screen::HDC_FIELD);
    hostScreen->SetField(COLOUR, 0xFFFFFF), hostScreen->SetField(POS_X, 30), hostScreen->SetField(POS_Y, 20);
    // The host's pen is taken by the first ZorvSetPen and never deleted; each plugin pen is
    // deleted when the next replaces it.
    const HPEN hostPen = CreatePen(PS_SOLID, 1, 0);
    auto pen = [] { return reinterpret_cast<HGDIOBJ>(static_cast<intptr_t>(hostScreen->Field(PEN))); };
    hostScreen->SetField(PEN, static_cast<int32_t>(reinterpret_cast<intptr_t>(hostPen)));
    ASSERT_EQ(0, plugin->Call("ZorvSetPen", hostScreen->Arg(), PS_DOT, 1, R2_COPYPEN));
    const HGDIOBJ first = pen();
    ASSERT_EQ(0, plugin->Call("ZorvSetPen", hostScreen->Arg(), PS_SOLID, 1, R2_COPYPEN));
    EXPECT_TRUE(first != hostPen && GetObjectType(first) == 0 && GetObjectType(pen()) == OBJ_PEN);
    EXPECT_EQ(static_cast<DWORD>(OBJ_PEN), GetObjectType(hostPen));
    ASSERT_EQ(0, plugin->Call("ZorvBeginDraw"));
    EXPECT_EQ(0, plugin->Call("ZorvDrawCircle", 10, 0, 256, 0));
    ASSERT_EQ(0, plugin->Call("ZorvEndDraw"));
    EXPECT_EQ(hostDc, hostScreen->Field(host::Screen::HDC_FIELD));
    // (Wine's Arc leaves a pixel or two off each end: (32, 10) to (39, 19) here.)
    const Pixels p = ReadPixels(ReadState().At(1).Surface());
    int32_t set = 0, outside = 0, top = 0, right = 0;
    for (int32_t i = 0; i < p.width * p.height; ++i)
        if (Rgb(p.values[i]) != 0) ++set, outside += i % 64 < 29 || i / 64 > 21, top += i / 64 <= 11, right += i % 64 >= 38;
    EXPECT_TRUE(set > 10 && top > 0 && right > 0 && outside == 0) << set << " " << top << " " << right << " " << outside;
    // Another surface selected before the end: -54, and the host keeps drawing on surface 1.
    ASSERT_EQ(0, plugin->Call("ZorvBeginDraw"));
    const int32_t lent = hostScreen->Field(host::Screen::HDC_FIELD);
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 2));
    EXPECT_EQ(-54, plugin->Call("ZorvEndDraw"));
    EXPECT_EQ(lent, hostScreen->Field(host::Screen::HDC_FIELD));
    // Released with its DC lent, the surface gives the host its HDC back.
    ASSERT_EQ(0, plugin->Call("ZorvReleaseOffscreenSurface", 1));
    EXPECT_EQ(hostDc, hostScreen->Field(host::Screen::HDC_FIELD));
    hostScreen->SetField(POS_X, 0), hostScreen->SetField(POS_Y, 0);
}
