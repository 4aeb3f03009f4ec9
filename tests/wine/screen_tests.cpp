// The screen and the surface table on Wine's real DirectDraw: creation checks, record 0,
// off-screen surfaces, fills, clears, copies and colour keys, read back from surface memory.
#include <cstdio>
#include <string>

#include "screen_fixture.h"

using host::Variable;
using wine_tests::LastCall;
using wine_tests::plugin;
using wine_tests::Pixels;
using wine_tests::ReadPixels;
using wine_tests::ReadState;

using wine_tests::DesktopBits;
using wine_tests::HEIGHT;
using wine_tests::LastDxResult;
using wine_tests::SCREEN_CREATED;
using wine_tests::Screen;
using wine_tests::WIDTH;

TEST_F(Screen, CreationChecksComeInOrder) {
    // No table yet for a fresh DirectDraw object: release the one from SetUp to test -38.
    ASSERT_EQ(0, plugin->Call("ZorvReleaseDD"));
    EXPECT_EQ(-38, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateDD", 0));
    EXPECT_EQ(-76, CreateScreen());
    EXPECT_EQ(-2, plugin->Call("ZorvInitializeSurface", 1));
    ASSERT_EQ(0, plugin->Call("ZorvInitializeSurface", 4));
    EXPECT_EQ(-2, plugin->Call("ZorvCreatePrimarySurface", 1601, 480, 32, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvCreatePrimarySurface", 640, -1, 32, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvCreatePrimarySurface", 640, 480, 3, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvCreatePrimarySurface", 640, 480, 33, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvCreatePrimarySurface", 640, 480, 32, 33));
    EXPECT_EQ(-2, plugin->Call("ZorvCreatePrimarySurface", 640, 480, 32, -1));
    EXPECT_EQ("ZorvCreatePrimarySurface", LastCall());

    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    EXPECT_EQ(-8, CreateScreen());
    EXPECT_EQ(-8, plugin->Call("ZorvInitializeSurface", 4));
    EXPECT_EQ(-8, plugin->Call("ZorvCreateDD", 0));
}

TEST_F(Screen, BackBufferIsRecordZeroAndCurrent) {
    HWND window = wine_tests::hostScreen->Window();
    LONG styleBefore = GetWindowLongA(window, GWL_STYLE);
    LONG procBefore = GetWindowLongA(window, GWL_WNDPROC);
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());

    wine_tests::PluginState state = ReadState();
    EXPECT_EQ(0x6520, state.signature);
    EXPECT_EQ(8, state.count);
    EXPECT_EQ(0, state.CurrentIndex());
    EXPECT_EQ(wine_tests::screenMode, state.screenMode);
    EXPECT_EQ(wine_tests::renderMode, state.renderMode);
    EXPECT_EQ(0, state.flipMode);
    EXPECT_NE(nullptr, state.directDraw);
    EXPECT_NE(nullptr, state.direct3D);

    wine_tests::Record back = state.At(0);
    EXPECT_NE(nullptr, back.Surface());
    EXPECT_EQ(-1, back.Reserved8());
    EXPECT_EQ(WIDTH, back.Width());
    EXPECT_EQ(HEIGHT, back.Height());
    RECT area = back.DrawArea();
    EXPECT_EQ(0, area.left);
    EXPECT_EQ(0, area.top);
    EXPECT_EQ(WIDTH, area.right);  // the screen's area is exclusive: width, not width - 1
    EXPECT_EQ(HEIGHT, area.bottom);
    EXPECT_EQ(0, back.Position().x);
    EXPECT_EQ(124u, back.DescSize());
    EXPECT_EQ(static_cast<uint32_t>(DesktopBits() == 24 ? 32 : DesktopBits()), back.BitCount());
    EXPECT_EQ(0, back.TransparentOn());
    EXPECT_EQ(0u, back.TransparentCode());  // black
    EXPECT_EQ(White(back.BitCount()), back.WhiteCode());  // on 8 bits: the static white, 255
    EXPECT_NE(back.WhiteCode(), back.TransparentCode());
    EXPECT_EQ(256, back.RenderColor(0));
    EXPECT_EQ(256, back.RenderColor(2));
    EXPECT_EQ(8, back.AlphaShift());
    EXPECT_TRUE(back.Caps() & DDSCAPS_OFFSCREENPLAIN);
    EXPECT_EQ(0u, back.ZBuffer());

    // The window: client area of the screen's size, no sizing frame, our hook in place,
    // and the host record told the new size.
    RECT client;
    GetClientRect(window, &client);
    EXPECT_EQ(WIDTH, client.right);
    EXPECT_EQ(HEIGHT, client.bottom);
    EXPECT_EQ(0, GetWindowLongA(window, GWL_STYLE) & WS_THICKFRAME);
    EXPECT_NE(procBefore, GetWindowLongA(window, GWL_WNDPROC));
    EXPECT_EQ(WIDTH, wine_tests::hostScreen->Field(host::Screen::WIDTH));
    EXPECT_EQ(HEIGHT, wine_tests::hostScreen->Field(host::Screen::HEIGHT));

    // Release gives the window back: style, procedure, hidden.
    EXPECT_EQ(0, plugin->Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(styleBefore & ~WS_VISIBLE, GetWindowLongA(window, GWL_STYLE));
    EXPECT_EQ(procBefore, GetWindowLongA(window, GWL_WNDPROC));
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(nullptr, ReadState().At(0).Surface());
    // A second release finds nothing to undo.
    EXPECT_EQ(0, plugin->Call("ZorvReleasePrimarySurface"));
}

TEST_F(Screen, OffscreenSurfacesAndSelection) {
    EXPECT_EQ(-28, plugin->Call("ZorvCreateOffscreenSurface", 1, 320, 240, 0));
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    EXPECT_EQ(-2, plugin->Call("ZorvCreateOffscreenSurface", 0, 320, 240, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvCreateOffscreenSurface", 8, 320, 240, 0));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 320, 240, 0));

    wine_tests::PluginState state = ReadState();
    EXPECT_EQ(1, state.CurrentIndex());
    wine_tests::Record one = state.At(1);
    IDirectDrawSurface7* first = one.Surface();
    RECT area = one.DrawArea();
    EXPECT_EQ(319, area.right);
    EXPECT_EQ(239, area.bottom);
    EXPECT_EQ(0, one.Position().x);
    EXPECT_EQ(0, one.TransparentOn());
    EXPECT_EQ(-1, one.Reserved8());

    EXPECT_EQ(-8, plugin->Call("ZorvCreateOffscreenSurface", 1, 16, 16, 0));
    EXPECT_EQ(first, ReadState().At(1).Surface());

    // Pixel formats: 0x040 then 0x100 makes 8-8-8-8 (the last one wins); 0x040 alone 1-5-5-5;
    // 0x080 4-4-4-4.
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 16, 16, 0x140));
    EXPECT_EQ(32u, ReadState().At(2).BitCount());
    EXPECT_EQ(0xFF000000u, ReadState().At(2).AlphaMask());
    EXPECT_EQ(0, ReadState().At(2).AlphaShift());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 3, 16, 16, 0x040));
    EXPECT_EQ(16u, ReadState().At(3).BitCount());
    EXPECT_EQ(7, ReadState().At(3).AlphaShift());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 4, 16, 16, 0x080));
    EXPECT_EQ(4, ReadState().At(4).AlphaShift());
    EXPECT_EQ(0x0F00u, ReadState().At(4).RedMask());

    // Video memory: either given, or refused with the DirectX result kept and the entry
    // unused. With 0x001 a refusal falls back to system memory, so it always succeeds.
    int32_t video = plugin->Call("ZorvCreateOffscreenSurface", 5, 16, 16, 0x004);
    if (video == 0) {
        EXPECT_TRUE(ReadState().At(5).Caps() & DDSCAPS_VIDEOMEMORY);
    } else {
        EXPECT_EQ(-29, video);
        EXPECT_LT(LastDxResult(), 0);
        EXPECT_EQ(nullptr, ReadState().At(5).Surface());
    }
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 6, 16, 16, 0x001));
    EXPECT_TRUE(ReadState().At(6).Caps() & (DDSCAPS_SYSTEMMEMORY | DDSCAPS_VIDEOMEMORY));

    // Selection and release.
    EXPECT_EQ(-2, plugin->Call("ZorvSelectSurface", 8));
    EXPECT_EQ(-2, plugin->Call("ZorvSelectSurface", -1));
    EXPECT_EQ(-39, plugin->Call("ZorvSelectSurface", 7));
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 1));
    EXPECT_EQ(-51, plugin->Call("ZorvReleaseOffscreenSurface", 1));
    EXPECT_EQ(-2, plugin->Call("ZorvReleaseOffscreenSurface", 0));
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 0));
    EXPECT_EQ(0, plugin->Call("ZorvReleaseOffscreenSurface", 1));
    EXPECT_EQ(-39, plugin->Call("ZorvReleaseOffscreenSurface", 1));
    EXPECT_EQ(-39, plugin->Call("ZorvSelectSurface", 1));
}

TEST_F(Screen, ThreeDimensionalSurfacesFollowTheRenderMode) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    int32_t plain = plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 64, 0x008);
    wine_tests::PluginState state = ReadState();
    switch (wine_tests::renderMode) {
    case 0:
        EXPECT_EQ(-74, plain);
        EXPECT_EQ(nullptr, state.At(1).Surface());
        EXPECT_EQ(-78, plugin->Call("ZorvCreateOffscreenSurface", 2, 64, 64, 0x018));
        EXPECT_EQ(nullptr, ReadState().At(2).Surface());
        break;
    case 2:
        EXPECT_EQ(0, plain);
        EXPECT_EQ(nullptr, state.At(1).Device());
        EXPECT_EQ(-78, plugin->Call("ZorvCreateOffscreenSurface", 2, 64, 64, 0x018));
        EXPECT_EQ(nullptr, ReadState().At(2).Surface());
        break;
    default: {
        // Wine makes its devices in software on any machine, but only one Direct3D device
        // per DirectDraw object at a time: the first is released before the second is made.
        EXPECT_EQ(0, plain);
        EXPECT_NE(nullptr, state.At(1).Device());
        ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 0));
        ASSERT_EQ(0, plugin->Call("ZorvReleaseOffscreenSurface", 1));
        int32_t withZ = plugin->Call("ZorvCreateOffscreenSurface", 2, 64, 64, 0x018);
        EXPECT_EQ(0, withZ) << std::hex << LastDxResult() << " " << wine_tests::ErrorText(-3);
        state = ReadState();
        EXPECT_NE(nullptr, state.At(2).Device());
        EXPECT_GT(state.At(2).ZBuffer(), 1u);
        EXPECT_EQ(0, plugin->Call("ZorvSelectSurface", 0));
        EXPECT_EQ(0, plugin->Call("ZorvReleaseOffscreenSurface", 2));
        EXPECT_EQ(0u, ReadState().At(2).ZBuffer());
        break;
    }
    }
}

TEST_F(Screen, FillsAndClearsReadBack) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 48, 0x100));  // 8-8-8-8
    IDirectDrawSurface7* surface = ReadState().At(1).Surface();

    EXPECT_EQ(0, plugin->Call("ZorvClearSurface", 0x00112233, 1));
    EXPECT_EQ(0, plugin->Call("ZorvSetPosition", 10, 20));
    EXPECT_EQ(0, plugin->Call("ZorvBoxFill", 30, 12, 0x00FF8040));
    Pixels pixels = ReadPixels(surface);
    ASSERT_TRUE(pixels.ok);
    int32_t inside = 0;
    for (int32_t y = 0; y < 48; ++y) {
        for (int32_t x = 0; x < 64; ++x) {
            bool inBox = x >= 10 && x < 40 && y >= 20 && y < 32;
            uint32_t expected = inBox ? 0x00FF8040u : 0x00112233u;
            ASSERT_EQ(expected, pixels.At(x, y) & 0x00FFFFFFu) << x << "," << y;
            inside += inBox;
        }
    }
    EXPECT_EQ(30 * 12, inside);

    // A box past the edge is handed over unclipped and refused.
    EXPECT_EQ(0, plugin->Call("ZorvSetPosition", 50, 40));
    EXPECT_EQ(-36, plugin->Call("ZorvBoxFill", 30, 12, 0));
    EXPECT_NE(0, LastDxResult());
    EXPECT_EQ(0x00112233u, ReadPixels(surface).At(63, 47) & 0x00FFFFFFu);
}

TEST_F(Screen, DrawAreaAndClearFlags) {
    EXPECT_EQ(-76, plugin->Call("ZorvSetDrawArea", 0, 0, 1, 1));
    EXPECT_EQ(-76, plugin->Call("ZorvClearSurface", 0, 1));
    EXPECT_EQ(-76, plugin->Call("ZorvBoxFill", 1, 1, 0));
    EXPECT_EQ(-76, plugin->Call("ZorvSetPosition", 1, 1));
    EXPECT_EQ(-2, plugin->Call("ZorvSetTransparentColor", 4, 0, 0));  // arguments come first
    EXPECT_EQ(-76, plugin->Call("ZorvSetTransparentColor", 1, 0, 0));
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());

    EXPECT_EQ(0, plugin->Call("ZorvSetDrawArea", 100, 50, 10, 5));
    RECT area = ReadState().At(0).DrawArea();
    EXPECT_EQ(10, area.left);
    EXPECT_EQ(5, area.top);
    EXPECT_EQ(100, area.right);
    EXPECT_EQ(50, area.bottom);
    EXPECT_EQ(0, plugin->Call("ZorvSetDrawArea", -5, -5, 10000, 10000));
    area = ReadState().At(0).DrawArea();
    EXPECT_EQ(0, area.left);
    EXPECT_EQ(WIDTH - 1, area.right);
    EXPECT_EQ(HEIGHT - 1, area.bottom);
    EXPECT_EQ(0, plugin->Call("ZorvClearSurface", 0, 2));
    area = ReadState().At(0).DrawArea();
    EXPECT_EQ(WIDTH, area.right);
    EXPECT_EQ(HEIGHT, area.bottom);

    // Direct3D clears: skipped in the software mode, -40 without a device otherwise.
    int32_t expected = wine_tests::renderMode == 2 ? 0 : -40;
    EXPECT_EQ(expected, plugin->Call("ZorvClearSurface", 0, 4));
    EXPECT_EQ(expected, plugin->Call("ZorvClearSurface", 0, 8));
    EXPECT_EQ(-2, plugin->Call("ZorvSetTransparentColor", -1, 0, 0));
}

TEST_F(Screen, CopiesClipAndHonourTheKey) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 32, 32, 0x100));
    // Source: left half black (0), right half red.
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0, 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 16, 0));
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 16, 32, 0x00FF0000));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 0));

    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 40, 40, 0x100));
    IDirectDrawSurface7* target = ReadState().At(2).Surface();
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0x0000FF00, 1));

    // A block past the source's right edge copies only the part inside the source; the
    // destination left of the draw area moves the source left by the same amount.
    ASSERT_EQ(0, plugin->Call("ZorvSetDrawArea", 4, 0, 39, 39));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 2));
    EXPECT_EQ(-2, plugin->Call("ZorvSurfaceToSurface", 8, 10, 10));
    EXPECT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 100, 8));
    Pixels pixels = ReadPixels(target);
    ASSERT_TRUE(pixels.ok);
    for (int32_t y = 0; y < 40; ++y) {
        for (int32_t x = 0; x < 40; ++x) {
            uint32_t expected = 0x0000FF00u;
            if (y >= 2 && y < 10 && x >= 4 && x < 32) expected = x >= 16 ? 0x00FF0000u : 0u;
            ASSERT_EQ(expected, pixels.At(x, y) & 0x00FFFFFFu) << x << "," << y;
        }
    }

    // With the source key in force (code 0, black) black pixels are skipped.
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetTransparentColor", 1, 0, 0));
    EXPECT_EQ(1, ReadState().At(1).TransparentOn());
    ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 2));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0x0000FF00, 1 | 2));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 20));
    EXPECT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 32, 4));
    pixels = ReadPixels(target);
    EXPECT_EQ(0x0000FF00u, pixels.At(3, 21) & 0x00FFFFFFu);
    EXPECT_EQ(0x00FF0000u, pixels.At(20, 21) & 0x00FFFFFFu);

    // A block that clips to nothing copies nothing and still answers 0.
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 200, 200));
    EXPECT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 32, 32));
}

TEST_F(Screen, ExitReleasesEverythingAndNamesReleaseDD) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 32, 32, 0));
    EXPECT_EQ(0, plugin->Call("ZorvExit"));
    EXPECT_EQ("ZorvReleaseDD", LastCall());
    wine_tests::PluginState state = ReadState();
    EXPECT_EQ(nullptr, state.table);
    EXPECT_EQ(0, state.count);
    EXPECT_EQ(nullptr, state.current);
    EXPECT_EQ(nullptr, state.directDraw);
    EXPECT_FALSE(IsWindowVisible(wine_tests::hostScreen->Window()));
    // Without a surface table there is nothing to release: -76, and nothing changes.
    EXPECT_EQ(-76, plugin->Call("ZorvExit"));
    EXPECT_EQ(-76, plugin->Call("ZorvReleaseDD"));
    // The host record is kept: the plugin cannot be started again.
    EXPECT_EQ(-8, plugin->Call("ZorvInitialize", wine_tests::hostScreen->Arg(), 2, 0));
    ASSERT_EQ(0, plugin->Call("ZorvInitializeSurface", 2));  // for TearDown's release
}

TEST_F(Screen, TextureAndManagedFlags) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    // 0x020: a texture instead of an off-screen plain surface.
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 64, 0x020));
    wine_tests::Record texture = ReadState().At(1);
    EXPECT_TRUE(texture.DescCaps() & DDSCAPS_TEXTURE);
    EXPECT_FALSE(texture.DescCaps() & DDSCAPS_OFFSCREENPLAIN);
    // 0x400: managed by Direct3D; the memory bits are then not looked at.
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 64, 64, 0x400 | 0x020 | 0x004));
    DDSCAPS2 caps = {};
    ReadState().At(2).Surface()->GetCaps(&caps);
    EXPECT_TRUE(caps.dwCaps2 & DDSCAPS2_TEXTUREMANAGE);
}

TEST_F(Screen, ChipTableChecks) {
    EXPECT_EQ(-2, plugin->Call("ZorvInitializeChip", 0));
    ASSERT_EQ(0, plugin->Call("ZorvInitializeChip", 4));
    EXPECT_EQ(-76, plugin->Call("ZorvCreateChip", 0, 8, 8));  // no surface is current yet
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    EXPECT_EQ(-2, plugin->Call("ZorvCreateChip", 4, 8, 8));
    EXPECT_EQ(-2, plugin->Call("ZorvCreateChip", -1, 8, 8));
    EXPECT_EQ(-2, plugin->Call("ZorvCreateChip", 0, 0, 8));
    EXPECT_EQ(-2, plugin->Call("ZorvCreateChip", 0, 8, 0));
    EXPECT_EQ(0, plugin->Call("ZorvCreateChip", 3, 32, 32));
    EXPECT_EQ(0, plugin->Call("ZorvSetChipOffset", 3, -100, 100));
    EXPECT_EQ(-2, plugin->Call("ZorvSetChipOffset", 4, 0, 0));
    Variable area = Variable::Int(4);
    EXPECT_EQ(0, plugin->Call("ZorvSetChipHitArea", area.Arg(), 3));
    EXPECT_EQ(-2, plugin->Call("ZorvSetChipHitArea", area.Arg(), 4));
    // An array too short for the four values is refused rather than read past its end.
    Variable shortArea = Variable::Int(2);
    EXPECT_EQ(-71, plugin->Call("ZorvSetChipHitArea", shortArea.Arg(), 3));
    EXPECT_EQ("ZorvSetChipHitArea", LastCall());
}

TEST_F(Screen, Direct3DStateOfTheCurrentSurface) {
    Variable text = Variable::String(2);
    EXPECT_EQ(-1, plugin->Call("ZorvGetD3Dcaps", text.Arg(), 0, 0));  // before anything else
    Variable v = Variable::Int(1);
    EXPECT_EQ(-76, plugin->Call("ZorvGetD3Dcaps", v.Arg(), 0, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvSetRenderColor", 256 * 256, 0, 0, 1));
    EXPECT_EQ(-2, plugin->Call("ZorvSetRenderColor", 256, 0, 0, 2));
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());

    // The back buffer has no device here (the screen was made without the 3D flag).
    const bool software = wine_tests::renderMode == 2;
    EXPECT_EQ(-40, plugin->Call("ZorvGetD3Dcaps", v.Arg(), 0, 0));
    EXPECT_EQ(software ? 0 : -40, plugin->Call("ZorvSetTextureStageState", 0, 1, 4));
    EXPECT_EQ(software ? 0 : -40, plugin->Call("ZorvSetRenderState", 8, 2, 0, 0));
    // Alpha blending is remembered in every render mode, before the device is asked.
    plugin->Call("ZorvSetRenderState", 27, 0, 0, 0);
    EXPECT_EQ(0, ReadState().At(0).AlphaBlendOn());
    plugin->Call("ZorvSetRenderState", 27, 1, 0, 0);
    EXPECT_EQ(1, ReadState().At(0).AlphaBlendOn());
    if (software) {
        EXPECT_EQ(0, plugin->Call("ZorvSetRenderState", 19, 5, 20, 6));
        EXPECT_EQ(5, ReadState().At(0).SrcBlend());
        EXPECT_EQ(6, ReadState().At(0).DestBlend());
    }

    // Render colour: 255 -> 256, 0 -> 0, 128 -> 129; the software mode keeps nothing.
    EXPECT_EQ(0, plugin->Call("ZorvSetRenderColor", 255, 0, 128, 1));
    wine_tests::Record back = ReadState().At(0);
    if (software) {
        EXPECT_EQ(0, back.RenderColorOn());
        EXPECT_EQ(256, back.RenderColor(0));
    } else {
        EXPECT_EQ(1, back.RenderColorOn());
        EXPECT_EQ(256, back.RenderColor(0));
        EXPECT_EQ(0, back.RenderColor(1));
        EXPECT_EQ(129, back.RenderColor(2));
        EXPECT_EQ(0, plugin->Call("ZorvSetRenderColor", 65535, 1, 1, 0));
        EXPECT_EQ(0, ReadState().At(0).RenderColorOn());
        EXPECT_EQ(129, ReadState().At(0).RenderColor(2));  // switched off: factors kept
    }

    if (wine_tests::renderMode == 1 || wine_tests::renderMode == 3) {
        ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 64, 0x008));
        ASSERT_EQ(0, plugin->Call("ZorvGetD3Dcaps", v.Arg(), 24, 0));
        // Mode 1 gets Wine's T&L HAL device (3). Wine describes every device class with the
        // T&L HAL's description, so the RGB device of mode 3 reports 3 as well there.
        EXPECT_EQ(3, v.Ints()[0]);
        v.Ints()[0] = 0x5A5A5A5A;
        EXPECT_EQ(-2, plugin->Call("ZorvGetD3Dcaps", v.Arg(), 32, 0));
        EXPECT_EQ(-2, plugin->Call("ZorvGetD3Dcaps", v.Arg(), -1, 0));
        EXPECT_EQ(-2, plugin->Call("ZorvGetD3Dcaps", v.Arg(), 1, 14));
        EXPECT_EQ(0x5A5A5A5A, v.Ints()[0]);
        EXPECT_EQ(0, plugin->Call("ZorvGetD3Dcaps", v.Arg(), 1, 0));
        EXPECT_EQ(static_cast<int32_t>(sizeof(D3DPRIMCAPS)), v.Ints()[0]);
        EXPECT_EQ(0, plugin->Call("ZorvSetRenderState", 27, 0, 19, 2));
        EXPECT_EQ(0, plugin->Call("ZorvSetTextureStageState", 0, 16, 2));
    }
}
