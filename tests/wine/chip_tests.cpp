// Chip drawing on Wine's real DirectDraw and Direct3D: placement and clipping of plain and
// scaled chips read back from surface memory, the software quad of render mode 2, and
// Direct3D quads in the other render modes, checked at known pixels.
#include <string>

#include "screen_fixture.h"

using host::Variable;
using wine_tests::plugin;
using wine_tests::Pixels;
using wine_tests::ReadPixels;
using wine_tests::ReadState;
using wine_tests::SCREEN_CREATED;
using wine_tests::Screen;

namespace {

constexpr uint32_t BACKGROUND = 0x00102030u;

// A 64 x 32 source (surface 1, 8-8-8-8) whose pixel (x, y) has the code 0x00XXYY01 (x, y in
// the red and green bytes), and a 200 x 120 target (surface 2) cleared to BACKGROUND. Chip 0
// is the source's 32 x 32 cell at (0, 0), chip 1 the cell at (32, 0). Leaves the target
// current. flags adds to both surfaces' creation flags (0x020 texture, 0x008 3D...).
void MakeChipScene(int32_t sourceFlags, int32_t targetFlags) {
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 32, 0x100 | sourceFlags));
    IDirectDrawSurface7* source = ReadState().At(1).Surface();
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, source->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_WRITEONLY, nullptr));
    for (int32_t y = 0; y < 32; ++y) {
        uint32_t* row = reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(desc.lpSurface) + y * desc.lPitch);
        for (int32_t x = 0; x < 64; ++x) row[x] = 0xFF000001u | (static_cast<uint32_t>(x * 4) << 16) | (y * 8 << 8);
    }
    source->Unlock(nullptr);
    ASSERT_EQ(0, plugin->Call("ZorvInitializeChip", 4));
    ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 0, 32, 32));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 32, 0));
    ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 1, 32, 32));
    ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 2, 200, 120, 0x100 | targetFlags));
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
}

uint32_t SourceCode(int32_t x, int32_t y) { return 0x00000001u | (static_cast<uint32_t>(x * 4) << 16) | (y * 8 << 8); }

Pixels Target() { return ReadPixels(ReadState().At(2).Surface()); }

// Every target pixel is either the background or, inside the rectangle, the source pixel
// that the mapping gives.
template <class Map>
void ExpectBlock(const Pixels& pixels, RECT inside, Map sourceAt) {
    for (int32_t y = 0; y < pixels.height; ++y) {
        for (int32_t x = 0; x < pixels.width; ++x) {
            bool in = x >= inside.left && x < inside.right && y >= inside.top && y < inside.bottom;
            uint32_t expected = in ? sourceAt(x, y) : BACKGROUND;
            ASSERT_EQ(expected, pixels.At(x, y) & 0x00FFFFFFu) << x << "," << y;
        }
    }
}

// Channels within a tolerance: Wine stretches blits with filtering and Direct3D samples
// texel centres, so neighbouring source pixels may blend in. (Source codes step by 4 in red
// per column and 8 in green per row.)
bool Near(uint32_t a, uint32_t b, int tolerance) {
    for (int shift = 0; shift < 24; shift += 8) {
        int ca = static_cast<int>((a >> shift) & 0xFF);
        int cb = static_cast<int>((b >> shift) & 0xFF);
        if (ca - cb > tolerance || cb - ca > tolerance) return false;
    }
    return true;
}

template <class Map>
void ExpectBlockNear(const Pixels& pixels, RECT inside, Map sourceAt, int tolerance) {
    for (int32_t y = 0; y < pixels.height; ++y) {
        for (int32_t x = 0; x < pixels.width; ++x) {
            bool in = x >= inside.left && x < inside.right && y >= inside.top && y < inside.bottom;
            uint32_t expected = in ? sourceAt(x, y) : BACKGROUND;
            ASSERT_TRUE(Near(expected, pixels.At(x, y) & 0x00FFFFFFu, in ? tolerance : 0))
                << x << "," << y << ": " << std::hex << expected << " vs " << pixels.At(x, y);
        }
    }
}

void SaveScene(const char* name) {
    if (wine_tests::pictureFolder.empty()) return;
    wine_tests::SavePng((wine_tests::pictureFolder + "\\" + name).c_str(), Target());
}

}  // namespace

TEST_F(Screen, ChipChecksBeforeDrawing) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    ASSERT_EQ(0, plugin->Call("ZorvInitializeChip", 2));
    Variable corners = Variable::Int(8);
    Variable text = Variable::String(8);
    for (const char* name : {"ZorvPutChip", "ZorvPutChip2", "ZorvPutChip4"}) {
        EXPECT_EQ(-2, plugin->Call(name, 2, 256, 0)) << name;
        EXPECT_EQ(-2, plugin->Call(name, -1, 256, 0)) << name;
    }
    EXPECT_EQ(-1, plugin->Call("ZorvPutChip3", text.Arg(), 0, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvPutChip3", corners.Arg(), 2, 0));
    // Scales below 1 draw nothing and answer 0, before the chip's size is looked at.
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 0, 0, 0, 0));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip4", 0, 0, 256));
    // A chip that was allocated but never created has no size: -73 from every drawing export.
    EXPECT_EQ(-73, plugin->Call("ZorvPutChip", 0, 10, 10));
    EXPECT_EQ(-73, plugin->Call("ZorvPutChip2", 0, 256, 0, 0));
    EXPECT_EQ(-73, plugin->Call("ZorvPutChip4", 0, 256, 256));
    EXPECT_EQ(-73, plugin->Call("ZorvPutChip3", corners.Arg(), 0, 0));
    // An array too short for eight corners is refused.
    Variable shortCorners = Variable::Int(6);
    ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 1, 8, 8));
    EXPECT_EQ(-71, plugin->Call("ZorvPutChip3", shortCorners.Arg(), 1, 0));
}

TEST_F(Screen, PutChipPlacesAndClipsTheAnchor) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    MakeChipScene(0, 0);
    // The anchor (16, 16) lands on (100, 50): pixels 84 ... 115 x 34 ... 65.
    ASSERT_EQ(0, plugin->Call("ZorvPutChip", 1, 100, 50));
    ExpectBlock(Target(), RECT{84, 34, 116, 66}, [](int32_t x, int32_t y) { return SourceCode(32 + x - 84, y - 34); });

    // At x = 10 with the draw area from 0: the first 6 source columns are skipped.
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip", 0, 10, 20));
    ExpectBlock(Target(), RECT{0, 4, 26, 36}, [](int32_t x, int32_t y) { return SourceCode(x + 6, y - 4); });
    // Wholly outside the draw area: nothing, and 0.
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip", 0, -40, 20));
    ExpectBlock(Target(), RECT{0, 0, 0, 0}, [](int32_t, int32_t) { return 0u; });
}

TEST_F(Screen, PutChip4ScalesAndClips) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    MakeChipScene(0, 0);
    // 512 x 256 at (100, 50): (68, 34) ... (132, 66) exclusive, two columns per source column.
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 50));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip4", 0, 512, 256));
    ExpectBlockNear(Target(), RECT{68, 34, 132, 66}, [](int32_t x, int32_t y) { return SourceCode((x - 68) / 2, y - 34); },
                    4);
    // At scale 1 it is a plain copy at the surface's position.
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip4", 0, 256, 256));
    ExpectBlock(Target(), RECT{84, 34, 116, 66}, [](int32_t x, int32_t y) { return SourceCode(x - 84, y - 34); });
    SaveScene("chips_scaled.png");
}

TEST_F(Screen, TransformedChipsByRenderMode) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    const int32_t mode = wine_tests::renderMode;
    const bool direct3D = mode == 1 || mode == 3;
    MakeChipScene(direct3D ? 0x020 : 0, direct3D ? 0x008 : 0);
    Variable corners = Variable::Int(8);
    const int32_t identity[8] = {40, 20, 71, 20, 71, 51, 40, 51};
    for (int i = 0; i < 8; ++i) corners.Ints()[i] = identity[i];

    if (mode == 0) {
        // No device anywhere: the transformed paths refuse, the blits still draw.
        EXPECT_EQ(-40, plugin->Call("ZorvPutChip2", 0, 256, 100, 0));
        EXPECT_EQ(-40, plugin->Call("ZorvPutChip3", corners.Arg(), 0, 0));
        EXPECT_EQ(0, plugin->Call("ZorvPutChip", 0, 50, 50));
        return;
    }
    if (mode == 2) {
        // Angle 0, scale 1: exactly like ZorvPutChip.
        ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 50));
        ASSERT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 0));
        ExpectBlock(Target(), RECT{84, 34, 116, 66},
                    [](int32_t x, int32_t y) { return SourceCode(32 + x - 84, y - 34); });
        // The quad onto its own size copies the chip one to one.
        ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
        ASSERT_EQ(0, plugin->Call("ZorvPutChip3", corners.Arg(), 0, 0));
        ExpectBlock(Target(), RECT{40, 20, 72, 52}, [](int32_t x, int32_t y) { return SourceCode(x - 40, y - 20); });
        // With alpha blending on, transparency 255 (or 511) draws nothing.
        ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 27, 1, 0, 0));
        EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 511));
        EXPECT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 300, 255));
        ExpectBlock(Target(), RECT{0, 0, 0, 0}, [](int32_t, int32_t) { return 0u; });
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 27, 0, 0, 0));
    } else {
        // A non-texture source is refused on the Direct3D path.
        EXPECT_EQ(-40, plugin->Call("ZorvSelectSurface", 0) == 0 ? plugin->Call("ZorvPutChip2", 0, 256, 0, 0) : 0);
        ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 2));
        // Blending one-to-zero copies the texture; the chip at scale 1 and angle 0 covers
        // 84 ... 115 x 34 ... 65 (Direct3D samples texel centres, so compare inside).
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 19, D3DBLEND_ONE, 20, D3DBLEND_ZERO));
        ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 50));
        ASSERT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 0));
        ExpectBlockNear(Target(), RECT{84, 34, 116, 66},
                        [](int32_t x, int32_t y) { return SourceCode(32 + x - 84, y - 34); }, 8);
        // Faded by transparency 128 over black: about half the colour.
        ASSERT_EQ(0, plugin->Call("ZorvClearSurface", 0, 1));
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 19, D3DBLEND_SRCALPHA, 20, D3DBLEND_INVSRCALPHA));
        ASSERT_EQ(0, plugin->Call("ZorvPutChip2", 1, 256, 0, 128));
        uint32_t faded = Target().At(84 + 20, 34 + 20);
        uint32_t full = SourceCode(32 + 20, 20);
        EXPECT_NEAR(static_cast<int>((full >> 16) & 0xFF) / 2, static_cast<int>((faded >> 16) & 0xFF), 3);
    }

    // Rotated a quarter turn at (100, 60), doubled: the chip's top row now runs upwards on
    // the left... checked by the colour of a pixel well inside each half.
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(BACKGROUND), 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 100, 60));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip2", 0, 512, 256, 0));
    Pixels pixels = Target();
    // At 256 the chip's x axis points up the screen: source column x lands at y = 60 - (x - 16) * 2,
    // source row y at x = 100 + (y - 16) * 2.
    uint32_t sample = pixels.At(100 + (8 - 16) * 2, 60 - (24 - 16) * 2) & 0x00FFFFFFu;
    uint32_t expected = SourceCode(24, 8);
    EXPECT_NEAR(static_cast<int>(expected >> 16), static_cast<int>(sample >> 16), 12) << std::hex << sample;
    EXPECT_NEAR(static_cast<int>((expected >> 8) & 0xFF), static_cast<int>((sample >> 8) & 0xFF), 20) << std::hex << sample;
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 0));
    ASSERT_EQ(0, plugin->Call("ZorvPutChip3", corners.Arg(), 1, 0));
    SaveScene(mode == 2 ? "chips_render2.png" : mode == 1 ? "chips_render1.png" : "chips_render3.png");
}

namespace {

// Raw dumps let the render-mode-2 run put its scene beside the one the render-mode-1 run
// left in the same folder (the runs are separate processes, one after the other).
bool WriteRaw(const std::string& path, const Pixels& pixels) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    int32_t size[2] = {pixels.width, pixels.height};
    WriteFile(file, size, sizeof size, &written, nullptr);
    WriteFile(file, pixels.values.data(), static_cast<DWORD>(pixels.values.size() * 4), &written, nullptr);
    CloseHandle(file);
    return true;
}

bool ReadRaw(const std::string& path, Pixels* pixels) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD read = 0;
    int32_t size[2] = {0, 0};
    ReadFile(file, size, sizeof size, &read, nullptr);
    pixels->width = size[0];
    pixels->height = size[1];
    pixels->bits = 32;
    pixels->values.resize(static_cast<size_t>(size[0]) * size[1]);
    ReadFile(file, pixels->values.data(), static_cast<DWORD>(pixels->values.size() * 4), &read, nullptr);
    CloseHandle(file);
    pixels->ok = read == pixels->values.size() * 4;
    return pixels->ok;
}

}  // namespace

// One scene with chips drawn every way: plain, scaled, rotated, faded and onto four points.
// Render mode 1 draws the transformed chips from a texture by Direct3D, render mode 2 with
// the software rasterizer; the pictures are saved side by side for a person to compare.
TEST_F(Screen, ChipSceneEveryWay) {
    const int32_t mode = wine_tests::renderMode;
    if (mode != 1 && mode != 2) GTEST_SKIP() << "the scene compares render modes 1 and 2";
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    MakeChipScene(0, mode == 1 ? 0x008 : 0);  // chips 0 and 1 on surface 1, target surface 2
    int32_t transformed = 1;
    if (mode == 1) {
        // Direct3D draws from a texture: the same picture copied into one (from the source's
        // position, so that goes back to its corner first).
        ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 1));
        ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 0, 0));
        ASSERT_EQ(0, plugin->Call("ZorvCreateOffscreenSurface", 3, 64, 32, 0x100 | 0x020));
        ASSERT_EQ(0, plugin->Call("ZorvSurfaceToSurface", 1, 64, 32));
        ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 32, 0));
        ASSERT_EQ(0, plugin->Call("ZorvCreateChip", 2, 32, 32));
        transformed = 2;
        ASSERT_EQ(0, plugin->Call("ZorvSelectSurface", 2));
        ASSERT_EQ(0, plugin->Call("ZorvSetRenderState", 19, D3DBLEND_SRCALPHA, 20, D3DBLEND_INVSRCALPHA));
    }
    EXPECT_EQ(0, plugin->Call("ZorvPutChip", 0, 24, 30));                       // plain
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 70, 30));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip4", 0, 384, 256));                   // scaled 1.5 x 1
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 125, 30));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", transformed, 256, 128, 0));      // rotated 45 degrees
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 24, 85));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", transformed, 384, -200, 0));     // scaled and rotated
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 80, 85));
    EXPECT_EQ(0, plugin->Call("ZorvPutChip2", transformed, 256, 0, 160));      // faded (Direct3D only)
    Variable corners = Variable::Int(8);
    const int32_t trapezoid[8] = {120, 70, 160, 70, 185, 112, 105, 112};
    for (int i = 0; i < 8; ++i) corners.Ints()[i] = trapezoid[i];
    EXPECT_EQ(0, plugin->Call("ZorvPutChip3", corners.Arg(), transformed, 0));  // four points
    Pixels scene = Target();
    ASSERT_TRUE(scene.ok);
    // The plain chip is exact in both modes.
    EXPECT_EQ(SourceCode(5, 5), scene.At(24 - 16 + 5, 30 - 16 + 5) & 0x00FFFFFFu);
    // Something of every other chip landed near where it should.
    for (POINT p : {POINT{70, 30}, POINT{125, 30}, POINT{24, 85}, POINT{145, 100}}) {
        EXPECT_NE(BACKGROUND, scene.At(p.x, p.y) & 0x00FFFFFFu) << p.x << "," << p.y;
    }

    if (wine_tests::pictureFolder.empty()) return;
    const std::string folder = wine_tests::pictureFolder + "\\";
    if (mode == 1) {
        WriteRaw(folder + "chips_scene_render1.raw", scene);
        return;
    }
    Pixels left;
    if (!ReadRaw(folder + "chips_scene_render1.raw", &left) || left.width != scene.width) return;
    Pixels both;
    both.width = scene.width * 2 + 8;
    both.height = scene.height;
    both.bits = 32;
    both.values.assign(static_cast<size_t>(both.width) * both.height, 0xFFFFFFu);
    for (int32_t y = 0; y < scene.height; ++y) {
        for (int32_t x = 0; x < scene.width; ++x) {
            both.values[static_cast<size_t>(y) * both.width + x] = left.At(x, y) & 0xFFFFFFu;
            both.values[static_cast<size_t>(y) * both.width + scene.width + 8 + x] = scene.At(x, y) & 0xFFFFFFu;
        }
    }
    wine_tests::SavePng((folder + "chips_render1_and_render2.png").c_str(), both);
}
