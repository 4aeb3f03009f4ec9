// Chip drawing and the Direct3D state exports against the stand-in: the blits of plain and
// scaled chips with their clipped rectangles and flags, the Direct3D quads of transformed and
// four-point chips (call order, vertices, colours, depth, polygon count), the locks of the
// software quad rasterizer in render mode 2, the capabilities read from the device, and the
// status codes when a surface has no device or a call fails.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "plugin_standin.h"

using host::Variable;
using namespace standin_tests;

namespace {

const DWORD TLVERTEX = D3DFVF_TLVERTEX;  // 0x1C4

std::string RectText(int left, int top, int right, int bottom) {
    return "(" + std::to_string(left) + "," + std::to_string(top) + "," + std::to_string(right) + "," +
           std::to_string(bottom) + ")";
}

std::string HexText(DWORD value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(value));
    return text;
}

// One pre-transformed vertex as the stand-in logs it: (x,y,z,rhw,diffuse,u,v).
std::string VertexText(float x, float y, float z, float rhw, DWORD colour, float u, float v) {
    char text[160];
    std::snprintf(text, sizeof text, "(%g,%g,%g,%g,0x%08lX,%g,%g)", static_cast<double>(x), static_cast<double>(y),
                  static_cast<double>(z), static_cast<double>(rhw), static_cast<unsigned long>(colour),
                  static_cast<double>(u), static_cast<double>(v));
    return text;
}

std::string DrawLine(int device, DWORD flags, const std::string& vertices, HRESULT hr = DD_OK) {
    return DeviceLine(device,
                      "DrawPrimitive(type=5, fvf=" + HexText(TLVERTEX) + ", count=4, flags=" + HexText(flags) +
                          ", vertices=[" + vertices + "])",
                      hr);
}

std::string SetTextureLine(int device, int texture, HRESULT hr = DD_OK) {
    return DeviceLine(device, "SetTexture(stage=0, texture=#" + std::to_string(texture) + ")", hr);
}

// One complete scene of one strip.
Lines SceneLines(int device, int texture, DWORD flags, const std::string& vertices) {
    return {SetTextureLine(device, texture), DeviceLine(device, "BeginScene"), DrawLine(device, flags, vertices),
            DeviceLine(device, "EndScene")};
}

// A chip quad of DrawChipTransformed: corners top-left, top-right, bottom-right, bottom-left,
// texture rectangle (uL, vT, uR, vB), in the strip order TR, BR, TL, BL with z 0.5, rhw 2.
struct Quad {
    int x[4];
    int y[4];
};
std::string TransformedVertices(const Quad& q, DWORD colour, float uL, float vT, float uR, float vB) {
    auto vertex = [&](int i, float u, float v) {
        return VertexText(static_cast<float>(q.x[i]), static_cast<float>(q.y[i]), 0.5f, 2.0f, colour, u, v);
    };
    return vertex(1, uR, vT) + vertex(2, uR, vB) + vertex(0, uL, vT) + vertex(3, uL, vB);
}

// The polygon counter of the screen update, through ZorvCombine's block (offset 16 holds its
// address).
int32_t PolygonCount() {
    Variable v = Variable::Int(1);
    if (Call("ZorvCombine", v.Arg()) != 0) return -1;
    const uint8_t* block = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(v.Ints()[0])));
    uint32_t address;
    std::memcpy(&address, block + 16, sizeof address);
    int32_t count;
    std::memcpy(&count, reinterpret_cast<const void*>(static_cast<uintptr_t>(address)), sizeof count);
    return count;
}

// A 32-bit or 16-bit field of a surface record (alphaBlendOn at 272, renderColorOn at 220,
// the render colour factors at 224, 226, 228).
int32_t RecordInt(int index, size_t offset) {
    State state = ReadState();
    int32_t value = 0;
    if (state.table != nullptr && index < state.count) std::memcpy(&value, state.table + 292 * index + offset, 4);
    return value;
}
int32_t RecordHalf(int index, size_t offset) { return RecordInt(index, offset) & 0xFFFF; }

// The plugin's own fixed-point sine and cosine (ZorvmiscSin, ZorvmiscCos).
int32_t Misc(const char* name, int32_t angle, int32_t value) {
    Variable v = Variable::Int(1);
    Call(name, v.Arg(), angle, value);
    return v.Ints()[0];
}

// The four corners of a chip with extents (l, t, r, b) turned by angle about (x, y).
Quad Rotated(int x, int y, int l, int t, int r, int b, int angle) {
    auto corner = [&](int u, int v, int* cx, int* cy) {
        *cx = x + Misc("ZorvmiscCos", angle, u) + Misc("ZorvmiscSin", angle, v);
        *cy = y + Misc("ZorvmiscCos", angle, v) - Misc("ZorvmiscSin", angle, u);
    };
    Quad q;
    corner(l, t, &q.x[0], &q.y[0]);
    corner(r, t, &q.x[1], &q.y[1]);
    corner(r, b, &q.x[2], &q.y[2]);
    corner(l, b, &q.x[3], &q.y[3]);
    return q;
}

// An integer array of eight corner coordinates.
Variable CornerArray(std::initializer_list<int32_t> values) {
    Variable v = Variable::Int(8);
    int i = 0;
    for (int32_t value : values) v.Ints()[i++] = value;
    return v;
}

std::string LockLine(int surface, const std::string& rect, DWORD flags, HRESULT hr = DD_OK) {
    return SurfaceLine(surface, "Lock(rect=" + rect + ", desc.dwSize=124, flags=" + HexText(flags) + ", event=NULL)",
                       hr);
}
std::string UnlockLine(int surface, const std::string& rect, HRESULT hr = DD_OK) {
    return SurfaceLine(surface, "Unlock(rect=" + rect + ")", hr);
}

// Source surfaces are 64 x 32 and every chip is the 32 x 16 cell at (16, 8), anchored at its
// centre (16, 8): texture coordinates 0.25 ... 0.75 both ways.
constexpr int CHIP_W = 32;
constexpr int CHIP_H = 16;
const std::string CHIP_RECT = "(16,8,48,24)";
constexpr float UL = 0.25f, VT = 0.25f, UR = 0.75f, VB = 0.75f;

// The chips are drawn with the current surface at (100, 50): corners 84 ... 116 x 42 ... 58.
constexpr int POS_X = 100;
constexpr int POS_Y = 50;
const Quad PLAIN_QUAD = {{84, 116, 116, 84}, {42, 42, 58, 58}};

class ChipFixture : public PluginTest {
protected:
    // A surface of 64 x 32 at `index` with these flags and a chip `chip` on it.
    static void SourceWithChip(int index, int32_t flags, int chip) {
        ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", index, 64, 32, flags));
        ASSERT_EQ(0, Call("ZorvSetPosition", 16, 8));
        ASSERT_EQ(0, Call("ZorvCreateChip", chip, CHIP_W, CHIP_H));
    }
    static void DrawOnScreen() {
        ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
        ASSERT_EQ(0, Call("ZorvSetPosition", POS_X, POS_Y));
    }
};

// Render modes 1, 3 and 4: a 3D screen; chip 0 on the texture surface 1, chip 1 on the
// plain surface 2 (which has no device either).
class ChipDirect3D : public ChipFixture {
protected:
    void SetUp() override {
        ASSERT_EQ(2, screenMode) << "a windowed run (--screen-mode=2)";
        ASSERT_TRUE(renderMode == 1 || renderMode == 3 || renderMode == 4) << "a run in render mode 1, 3 or 4";
        PluginTest::SetUp();
        ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x008));
        ASSERT_EQ(0, Call("ZorvInitializeChip", 4));
        SourceWithChip(1, 0x020, 0);
        SourceWithChip(2, 0, 1);
        DrawOnScreen();
        device = DeviceNumber(0);
        texture = SurfaceNumber(1);
        ASSERT_NE(0, device);
        ASSERT_NE(0, texture);
        TakeLog();
    }
    int device = 0;
    int texture = 0;
};

// Any render mode: blits of plain and scaled chips. Chip 0 on the plain surface 1, chip 1 on
// the texture surface 2.
class ChipBlits : public ChipFixture {
protected:
    void SetUp() override {
        ASSERT_EQ(2, screenMode) << "a windowed run (--screen-mode=2)";
        PluginTest::SetUp();
        ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
        ASSERT_EQ(0, Call("ZorvInitializeChip", 4));
        SourceWithChip(1, 0, 0);
        SourceWithChip(2, 0x020, 1);
        DrawOnScreen();
        back = SurfaceNumber(0);
        source = SurfaceNumber(1);
        TakeLog();
    }
    std::string BltFastLine(int x, int y, const std::string& rect, DWORD flags) const {
        return SurfaceLine(back, "BltFast(x=" + std::to_string(x) + ", y=" + std::to_string(y) + ", src=#" +
                                     std::to_string(source) + ", srcRect=" + rect + ", flags=" + HexText(flags) + ")");
    }
    std::string BltLine(const std::string& dest, const std::string& rect, DWORD flags) const {
        return SurfaceLine(back, "Blt(dest=" + dest + ", src=#" + std::to_string(source) + ", srcRect=" + rect +
                                     ", flags=" + HexText(flags) + ", fx=NULL)");
    }
    int back = 0;
    int source = 0;
};

// Render mode 2: transformed chips by stretched blits and the software rasterizer.
class ChipSoftware : public ChipBlits {
protected:
    void SetUp() override {
        ASSERT_EQ(2, renderMode) << "a run in render mode 2";
        ChipBlits::SetUp();
    }
};

// Render mode 0: no surface ever has a Direct3D device.
class ChipWithoutDirect3D : public ChipBlits {
protected:
    void SetUp() override {
        ASSERT_EQ(0, renderMode) << "a run in render mode 0";
        ChipBlits::SetUp();
    }
};

}  // namespace

// ---- Direct3D quads ----

TEST_F(ChipDirect3D, TransformedChipIsOneSceneWithATriangleStrip) {
    const int32_t before = PolygonCount();
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, 0));
    EXPECT_TRUE(SameLines(SceneLines(device, texture, 0, TransformedVertices(PLAIN_QUAD, 0xFFFFFFFF, UL, VT, UR, VB)),
                          TakeLog()));
    EXPECT_EQ(before + 2, PolygonCount());

    // Scale 512: the extents double about the anchor.
    const Quad doubled = {{68, 132, 132, 68}, {34, 34, 66, 66}};
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 512, 0, 0));
    EXPECT_TRUE(SameLines(SceneLines(device, texture, 0, TransformedVertices(doubled, 0xFFFFFFFF, UL, VT, UR, VB)),
                          TakeLog()));
    EXPECT_EQ(before + 4, PolygonCount());

    // Angle 256 (and -768, the same angle): the corners the plugin's own sine and cosine give.
    const Quad turned = Rotated(POS_X, POS_Y, -16, -8, 16, 8, 256);
    TakeLog();
    for (int32_t angle : {256, -768}) {
        SCOPED_TRACE(angle);
        EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, angle, 0));
        EXPECT_TRUE(SameLines(SceneLines(device, texture, 0, TransformedVertices(turned, 0xFFFFFFFF, UL, VT, UR, VB)),
                              TakeLog()));
    }
    EXPECT_EQ(before + 8, PolygonCount());

    // Scale 0 draws nothing.
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 0, 0, 0));
    EXPECT_EQ(0, control.LogCount());
    EXPECT_EQ(before + 8, PolygonCount());
}

TEST_F(ChipDirect3D, VertexColourFromTransparencyAndRenderColour) {
    struct Row {
        int32_t red, green, blue, on;
        int32_t transparency;
        DWORD colour;
    };
    const Row rows[] = {
        {0, 0, 0, 0, 0, 0xFFFFFFFF},      {0, 0, 0, 0, 255, 0x00FFFFFF},
        {0, 0, 0, 0, 511, 0x00FFFFFF},    {0, 0, 0, 0, 100, 0x9BFFFFFF},
        {255, 255, 255, 1, 0, 0xFFFFFFFF}, {255, 255, 255, 1, 128, 0x7F7F7F7F},
        {255, 0, 127, 1, 0, 0xFFFF007F},  {255, 0, 127, 0, 0, 0xFFFFFFFF},
        {255, 0, 128, 1, 0, 0xFFFF0080},  {65535, 1, 254, 1, 0, 0xFF0001FE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(HexText(row.colour));
        ASSERT_EQ(0, Call("ZorvSetRenderColor", row.red, row.green, row.blue, row.on));
        EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, row.transparency));
        EXPECT_TRUE(SameLines(SceneLines(device, texture, 0, TransformedVertices(PLAIN_QUAD, row.colour, UL, VT, UR, VB)),
                              TakeLog()));
    }
    // The factors: component + 1, 0 for 0, kept in 16 bits; switching off keeps them.
    ASSERT_EQ(0, Call("ZorvSetRenderColor", 255, 0, 128, 1));
    EXPECT_EQ(1, RecordInt(0, 220));
    EXPECT_EQ(256, RecordHalf(0, 224));
    EXPECT_EQ(0, RecordHalf(0, 226));
    EXPECT_EQ(129, RecordHalf(0, 228));
    ASSERT_EQ(0, Call("ZorvSetRenderColor", 1, 1, 1, 0));
    EXPECT_EQ(0, RecordInt(0, 220));
    EXPECT_EQ(256, RecordHalf(0, 224));
    EXPECT_EQ(129, RecordHalf(0, 228));
    EXPECT_EQ(-2, Call("ZorvSetRenderColor", 256, 0, 65536, 1));
    EXPECT_EQ(-2, Call("ZorvSetRenderColor", 0, 0, 0, 2));
    EXPECT_EQ(0, control.LogCount());
}

TEST_F(ChipDirect3D, FourPointChipGetsDepthFromTheDiagonalCrossing) {
    const int32_t before = PolygonCount();
    Variable corners = CornerArray({0, 0, 63, 0, 63, 31, 0, 31});
    // The diagonals cross at (31, 16); z = D / di with D the chip's diagonal, rhw = 1 / z.
    const int cx = 31, cy = 16;
    const float diagonal = std::sqrt(static_cast<float>(CHIP_W * CHIP_W + CHIP_H * CHIP_H));
    auto vertex = [&](int x, int y, DWORD colour, float u, float v) {
        const float z = diagonal / std::sqrt(static_cast<float>((x - cx) * (x - cx) + (y - cy) * (y - cy)));
        return VertexText(static_cast<float>(x), static_cast<float>(y), z, 1.0f / z, colour, u, v);
    };
    auto strip = [&](DWORD colour) {  // P0, P1, P3, P2
        return vertex(0, 0, colour, UL, VT) + vertex(63, 0, colour, UR, VT) + vertex(0, 31, colour, UL, VB) +
               vertex(63, 31, colour, UR, VB);
    };
    EXPECT_EQ(0, Call("ZorvPutChip3", corners.Arg(), 0, 0));
    EXPECT_TRUE(SameLines(SceneLines(device, texture, D3DDP_DONOTCLIP, strip(0xFFFFFFFF)), TakeLog()));
    EXPECT_EQ(before + 4, PolygonCount());

    // The render colour is not used here; the transparency is.
    ASSERT_EQ(0, Call("ZorvSetRenderColor", 255, 0, 0, 1));
    EXPECT_EQ(0, Call("ZorvPutChip3", corners.Arg(), 0, 200));
    EXPECT_TRUE(SameLines(SceneLines(device, texture, D3DDP_DONOTCLIP, strip(0x37FFFFFF)), TakeLog()));
    EXPECT_EQ(before + 8, PolygonCount());

    // Both diagonals' ends on vertical lines, or on horizontal lines: nothing drawn.
    Variable vertical = CornerArray({10, 0, 20, 0, 10, 30, 20, 30});
    Variable horizontal = CornerArray({0, 10, 30, 20, 40, 10, 50, 20});
    EXPECT_EQ(0, Call("ZorvPutChip3", vertical.Arg(), 0, 0));
    EXPECT_EQ(0, Call("ZorvPutChip3", horizontal.Arg(), 0, 0));
    // The centre comes before the texture check: a chip that is no texture draws nothing too.
    EXPECT_EQ(0, Call("ZorvPutChip3", vertical.Arg(), 1, 0));
    // A string variable: -1.
    Variable text = Variable::String(8);
    EXPECT_EQ(-1, Call("ZorvPutChip3", text.Arg(), 0, 0));
    EXPECT_EQ(0, control.LogCount());
    EXPECT_EQ(before + 8, PolygonCount());
}

TEST_F(ChipDirect3D, OffscreenTargetDrawsWithItsOwnDevice) {
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 3, 128, 64, 0x008));
    const int target = DeviceNumber(3);
    ASSERT_NE(0, target);
    ASSERT_NE(device, target);
    ASSERT_EQ(0, Call("ZorvSetPosition", 40, 20));
    TakeLog();
    const int32_t before = PolygonCount();
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, 0));
    const Quad quad = {{24, 56, 56, 24}, {12, 12, 28, 28}};
    EXPECT_TRUE(SameLines(SceneLines(target, texture, 0, TransformedVertices(quad, 0xFFFFFFFF, UL, VT, UR, VB)),
                          TakeLog()));
    EXPECT_EQ(before + 2, PolygonCount());
}

TEST_F(ChipDirect3D, NoDeviceAndNoTextureAreRefusedBeforeAnyCall) {
    const int32_t before = PolygonCount();
    Variable corners = CornerArray({0, 0, 63, 0, 63, 31, 0, 31});
    Variable value = Variable::Int(1);
    // Surface 2 was made without the 3D flag: no device.
    ASSERT_EQ(0, Call("ZorvSelectSurface", 2));
    EXPECT_EQ(-40, Call("ZorvPutChip2", 0, 256, 0, 0));
    EXPECT_EQ(-40, Call("ZorvPutChip2", 0, 256, 100, 0));
    EXPECT_EQ(-40, Call("ZorvPutChip3", corners.Arg(), 0, 0));
    EXPECT_EQ(-40, Call("ZorvGetD3Dcaps", value.Arg(), 0));
    EXPECT_EQ(-40, Call("ZorvSetRenderState", D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE, 0, 0));
    EXPECT_EQ(-40, Call("ZorvSetTextureStageState", 0, D3DTSS_COLOROP, D3DTOP_MODULATE));
    // Alpha blending is stored before the device is looked for.
    EXPECT_EQ(-40, Call("ZorvSetRenderState", D3DRENDERSTATE_ALPHABLENDENABLE, 1, 0, 0));
    EXPECT_EQ(1, RecordInt(2, 272));
    Variable vertical = CornerArray({10, 0, 20, 0, 10, 30, 20, 30});
    EXPECT_EQ(-40, Call("ZorvPutChip3", vertical.Arg(), 0, 0));
    // Plain and scaled blits need no device.
    EXPECT_EQ(0, Call("ZorvPutChip", 1, 32, 16));
    EXPECT_EQ(1u, Containing(TakeLog(), "::BltFast(").size());

    // A chip on a surface that is no texture: -61 on the screen, which has a device.
    ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
    EXPECT_EQ(-61, Call("ZorvPutChip2", 1, 256, 0, 0));
    EXPECT_EQ(-61, Call("ZorvPutChip2", 1, 256, 300, 0));
    EXPECT_EQ(-61, Call("ZorvPutChip3", corners.Arg(), 1, 0));
    EXPECT_EQ(0, control.LogCount());
    EXPECT_EQ(before, PolygonCount());
}

TEST_F(ChipDirect3D, FailedCallsGiveTheirCodesAndKeepTheDirectXResult) {
    Variable corners = CornerArray({0, 0, 63, 0, 63, 31, 0, 31});
    int32_t count = PolygonCount();
    const std::string texturing = SetTextureLine(device, texture);
    const std::string begin = DeviceLine(device, "BeginScene");
    const std::string end = DeviceLine(device, "EndScene");
    for (int chip3 = 0; chip3 < 2; ++chip3) {
        SCOPED_TRACE(chip3 ? "ZorvPutChip3" : "ZorvPutChip2");
        const int32_t polygons = chip3 ? 4 : 2;
        auto draw = [&]() {
            return chip3 ? Call("ZorvPutChip3", corners.Arg(), 0, 0) : Call("ZorvPutChip2", 0, 256, 0, 0);
        };
        // SetTexture fails: -41, nothing else called.
        control.Fail("IDirect3DDevice7::SetTexture", 1, DDERR_SURFACELOST);
        EXPECT_EQ(-41, draw());
        EXPECT_EQ(static_cast<int32_t>(DDERR_SURFACELOST), LastDxResult());
        EXPECT_TRUE(SameLines({SetTextureLine(device, texture, DDERR_SURFACELOST)}, TakeLog()));

        // BeginScene fails: -41, no drawing and no EndScene.
        control.Fail("IDirect3DDevice7::BeginScene", 1, D3DERR_SCENE_BEGIN_FAILED);
        EXPECT_EQ(-41, draw());
        EXPECT_EQ(static_cast<int32_t>(D3DERR_SCENE_BEGIN_FAILED), LastDxResult());
        EXPECT_TRUE(SameLines({texturing, DeviceLine(device, "BeginScene", D3DERR_SCENE_BEGIN_FAILED)}, TakeLog()));

        // DrawPrimitive fails: -42, the scene is ended all the same.
        control.Fail("IDirect3DDevice7::DrawPrimitive", 1, D3DERR_INVALIDVERTEXTYPE);
        EXPECT_EQ(-42, draw());
        EXPECT_EQ(static_cast<int32_t>(D3DERR_INVALIDVERTEXTYPE), LastDxResult());
        Lines log = TakeLog();
        ASSERT_EQ(4u, log.size());
        EXPECT_EQ(texturing, log[0]);
        EXPECT_EQ(begin, log[1]);
        EXPECT_NE(std::string::npos, log[2].find("::DrawPrimitive("));
        EXPECT_NE(std::string::npos, log[2].find(" -> " + Hr(D3DERR_INVALIDVERTEXTYPE)));
        EXPECT_EQ(end, log[3]);
        EXPECT_EQ(count, PolygonCount());

        // No scene was left open by any failure: the next draw begins one afresh.
        EXPECT_EQ(0, draw());
        count += polygons;
        EXPECT_EQ(count, PolygonCount());
        Lines again = TakeLog();
        ASSERT_EQ(4u, again.size());
        EXPECT_EQ(begin, again[1]);
        EXPECT_EQ(end, again[3]);

        // An EndScene failure is not looked at. (The stand-in's failed EndScene leaves its
        // scene open; the test closes it itself.)
        control.Fail("IDirect3DDevice7::EndScene", 1, D3DERR_SCENE_END_FAILED);
        EXPECT_EQ(0, draw());
        EXPECT_EQ(4u, TakeLog().size());
        count += polygons;
        EXPECT_EQ(count, PolygonCount());
        EXPECT_EQ(D3D_OK, RecordDevice(0)->EndScene());
        TakeLog();
    }
}

// ---- Direct3D state ----

TEST_F(ChipDirect3D, RenderStateAppliesTheSecondStateOnlyAfterTheFirst) {
    EXPECT_EQ(0, Call("ZorvSetRenderState", D3DRENDERSTATE_SRCBLEND, D3DBLEND_SRCALPHA, D3DRENDERSTATE_DESTBLEND,
                      D3DBLEND_INVSRCALPHA));
    EXPECT_TRUE(SameLines({RenderStateLine(device, D3DRENDERSTATE_SRCBLEND, D3DBLEND_SRCALPHA),
                           RenderStateLine(device, D3DRENDERSTATE_DESTBLEND, D3DBLEND_INVSRCALPHA)},
                          TakeLog()));
    // State 0 as the second state is not sent.
    EXPECT_EQ(0, Call("ZorvSetRenderState", D3DRENDERSTATE_ALPHABLENDENABLE, 0, 0, 7));
    EXPECT_TRUE(SameLines({RenderStateLine(device, D3DRENDERSTATE_ALPHABLENDENABLE, 0)}, TakeLog()));

    // The first fails: -47, the second is not applied.
    control.Fail("IDirect3DDevice7::SetRenderState", 1, DDERR_INVALIDPARAMS);
    EXPECT_EQ(-47, Call("ZorvSetRenderState", D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE, D3DRENDERSTATE_DESTBLEND,
                        D3DBLEND_ONE));
    EXPECT_EQ(static_cast<int32_t>(DDERR_INVALIDPARAMS), LastDxResult());
    Lines log = TakeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("SetRenderState(state=19, value=0x00000002) -> " + Hr(DDERR_INVALIDPARAMS)));

    // The second fails: -47 after the first was applied.
    control.Fail("IDirect3DDevice7::SetRenderState", 2, DDERR_GENERIC);
    EXPECT_EQ(-47, Call("ZorvSetRenderState", D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE, D3DRENDERSTATE_DESTBLEND,
                        D3DBLEND_ONE));
    EXPECT_EQ(static_cast<int32_t>(DDERR_GENERIC), LastDxResult());
    log = TakeLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(RenderStateLine(device, D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE), log[0]);
    EXPECT_NE(std::string::npos, log[1].find(" -> " + Hr(DDERR_GENERIC)));
}

TEST_F(ChipDirect3D, TextureStageStateGoesToTheDevice) {
    EXPECT_EQ(0, Call("ZorvSetTextureStageState", 1, D3DTSS_COLOROP, D3DTOP_ADD));
    EXPECT_TRUE(SameLines({DeviceLine(device, "SetTextureStageState(stage=1, type=1, value=0x00000007)")}, TakeLog()));
    control.Fail("IDirect3DDevice7::SetTextureStageState", 1, DDERR_INVALIDPARAMS);
    EXPECT_EQ(-47, Call("ZorvSetTextureStageState", 0, D3DTSS_MAGFILTER, D3DTFG_LINEAR));
    EXPECT_EQ(static_cast<int32_t>(DDERR_INVALIDPARAMS), LastDxResult());
    EXPECT_TRUE(SameLines({DeviceLine(device, "SetTextureStageState(stage=0, type=16, value=0x00000002)",
                                      DDERR_INVALIDPARAMS)},
                          TakeLog()));
}

TEST_F(ChipDirect3D, CapabilitiesAreTheDevicesFieldsAsTheyAre) {
    auto word = [](size_t offset) { return static_cast<int32_t>(standin::DeviceCapsWord(offset / 4)); };
    auto half = [](size_t offset) { return static_cast<int32_t>(standin::DeviceCapsHalf(offset)); };
    const size_t line = offsetof(D3DDEVICEDESC7, dpcLineCaps);
    const size_t tri = offsetof(D3DDEVICEDESC7, dpcTriCaps);
    const int32_t deviceType = renderMode == 3 ? 1 : renderMode == 4 ? 2 : 3;  // RGB, HAL, T&L HAL
    const int32_t expected[32] = {
        word(offsetof(D3DDEVICEDESC7, dwDevCaps)),
        0,  // items 1 and 2 by sub-item, below
        0,
        word(offsetof(D3DDEVICEDESC7, dwDeviceRenderBitDepth)),
        word(offsetof(D3DDEVICEDESC7, dwDeviceZBufferBitDepth)),
        word(offsetof(D3DDEVICEDESC7, dwMinTextureWidth)),
        word(offsetof(D3DDEVICEDESC7, dwMinTextureHeight)),
        word(offsetof(D3DDEVICEDESC7, dwMaxTextureWidth)),
        word(offsetof(D3DDEVICEDESC7, dwMaxTextureHeight)),
        word(offsetof(D3DDEVICEDESC7, dwMaxTextureRepeat)),
        word(offsetof(D3DDEVICEDESC7, dwMaxTextureAspectRatio)),
        word(offsetof(D3DDEVICEDESC7, dwMaxAnisotropy)),
        word(offsetof(D3DDEVICEDESC7, dvGuardBandLeft)),  // floats, as bit patterns
        word(offsetof(D3DDEVICEDESC7, dvGuardBandTop)),
        word(offsetof(D3DDEVICEDESC7, dvGuardBandRight)),
        word(offsetof(D3DDEVICEDESC7, dvGuardBandBottom)),
        word(offsetof(D3DDEVICEDESC7, dvExtentsAdjust)),
        word(offsetof(D3DDEVICEDESC7, dwStencilCaps)),
        word(offsetof(D3DDEVICEDESC7, dwFVFCaps)),
        word(offsetof(D3DDEVICEDESC7, dwTextureOpCaps)),
        half(offsetof(D3DDEVICEDESC7, wMaxTextureBlendStages)),
        half(offsetof(D3DDEVICEDESC7, wMaxSimultaneousTextures)),
        word(offsetof(D3DDEVICEDESC7, dwMaxActiveLights)),
        word(offsetof(D3DDEVICEDESC7, dvMaxVertexW)),
        deviceType,
        half(offsetof(D3DDEVICEDESC7, wMaxUserClipPlanes)),
        half(offsetof(D3DDEVICEDESC7, wMaxVertexBlendMatrices)),
        word(offsetof(D3DDEVICEDESC7, dwVertexProcessingCaps)),
        word(offsetof(D3DDEVICEDESC7, dwReserved1)),
        word(offsetof(D3DDEVICEDESC7, dwReserved2)),
        word(offsetof(D3DDEVICEDESC7, dwReserved3)),
        word(offsetof(D3DDEVICEDESC7, dwReserved4)),
    };
    Variable value = Variable::Int(1);
    for (int32_t item = 0; item < 32; ++item) {
        if (item == 1 || item == 2) continue;
        SCOPED_TRACE(item);
        value.Ints()[0] = -1;
        EXPECT_EQ(0, Call("ZorvGetD3Dcaps", value.Arg(), item, 0));
        EXPECT_EQ(expected[item], value.Ints()[0]);
    }
    for (int32_t sub = 0; sub < 14; ++sub) {
        SCOPED_TRACE(sub);
        EXPECT_EQ(0, Call("ZorvGetD3Dcaps", value.Arg(), 1, sub));
        EXPECT_EQ(word(line + 4 * sub), value.Ints()[0]);
        EXPECT_EQ(0, Call("ZorvGetD3Dcaps", value.Arg(), 2, sub));
        EXPECT_EQ(word(tri + 4 * sub), value.Ints()[0]);
    }
    // Every read asks the device.
    EXPECT_EQ(30u + 28u, Containing(TakeLog(), DeviceLine(device, "GetCaps(desc=non-NULL)")).size());

    // Out of range after the device answered: -2.
    value.Ints()[0] = 12345;
    for (int32_t item : {32, -1}) EXPECT_EQ(-2, Call("ZorvGetD3Dcaps", value.Arg(), item, 0));
    EXPECT_EQ(-2, Call("ZorvGetD3Dcaps", value.Arg(), 1, 14));
    EXPECT_EQ(-2, Call("ZorvGetD3Dcaps", value.Arg(), 2, -1));
    EXPECT_EQ(12345, value.Ints()[0]);
    EXPECT_EQ(4u, TakeLog().size());
    // A string variable: -1 before anything.
    Variable text = Variable::String(4);
    EXPECT_EQ(-1, Call("ZorvGetD3Dcaps", text.Arg(), 0, 0));
    EXPECT_EQ(0, control.LogCount());

    // In render mode 1 the device class falls back when the driver offers fewer classes.
    if (renderMode == 1) {
        control.SetDeviceClasses(3);  // RGB and HAL
        ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 3, 64, 32, 0x008));
        EXPECT_EQ(0, Call("ZorvGetD3Dcaps", value.Arg(), 24, 0));
        EXPECT_EQ(2, value.Ints()[0]);
        control.SetDeviceClasses(1);  // RGB only
        ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 4, 64, 32, 0x008));
        EXPECT_EQ(0, Call("ZorvGetD3Dcaps", value.Arg(), 24, 0));
        EXPECT_EQ(1, value.Ints()[0]);
        ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
        value.Ints()[0] = 12345;
        TakeLog();
    }

    // GetCaps fails: -6 with the DirectX result.
    control.Fail("IDirect3DDevice7::GetCaps", 1, DDERR_INVALIDOBJECT);
    EXPECT_EQ(-6, Call("ZorvGetD3Dcaps", value.Arg(), 0, 0));
    EXPECT_EQ(static_cast<int32_t>(DDERR_INVALIDOBJECT), LastDxResult());
    EXPECT_EQ(12345, value.Ints()[0]);
}

// ---- Blits ----

TEST_F(ChipBlits, PlainChipIsAColourKeyedBltFastClippedToTheDrawArea) {
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 100, 50));
    EXPECT_TRUE(SameLines({BltFastLine(84, 42, CHIP_RECT, 0x11)}, TakeLog()));
    // Left: the first 6 source columns are cut and the chip lands at x = 0.
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 10, 50));
    EXPECT_TRUE(SameLines({BltFastLine(0, 42, "(22,8,48,24)", 0x11)}, TakeLog()));
    // Right and bottom edges of the draw area (0, 0, 640, 480).
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 630, 475));
    EXPECT_TRUE(SameLines({BltFastLine(614, 467, "(16,8,42,21)", 0x11)}, TakeLog()));
    // Top, with a smaller draw area.
    ASSERT_EQ(0, Call("ZorvSetDrawArea", 10, 20, 200, 100));
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 100, 25));
    EXPECT_TRUE(SameLines({BltFastLine(84, 20, "(16,11,48,24)", 0x11)}, TakeLog()));
    ASSERT_EQ(0, Call("ZorvSetDrawArea", 0, 0, WIDTH, HEIGHT));
    TakeLog();
    // Wholly outside: nothing.
    EXPECT_EQ(0, Call("ZorvPutChip", 0, -100, 50));
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 700, 50));
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 100, -30));
    // Chip numbers: out of range -2, allocated but never created -73.
    EXPECT_EQ(-2, Call("ZorvPutChip", 4, 100, 50));
    EXPECT_EQ(-2, Call("ZorvPutChip", -1, 100, 50));
    EXPECT_EQ(-73, Call("ZorvPutChip", 3, 100, 50));
    EXPECT_EQ(0, control.LogCount());
    // A failing blit is not reported.
    control.Fail("IDirectDrawSurface7::BltFast", 1, DDERR_SURFACELOST);
    EXPECT_EQ(0, Call("ZorvPutChip", 0, 100, 50));
    EXPECT_EQ(1, control.LogCount());
}

TEST_F(ChipBlits, ScaledChipUsesTheSourceColourKeyOnlyWhenItIsOn) {
    // Unscaled, key off: BltFast without the key flag.
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 256, 256));
    EXPECT_TRUE(SameLines({BltFastLine(84, 42, CHIP_RECT, 0x10)}, TakeLog()));
    // Scaled 512 x 256: a Blt into (68, 42) ... (132, 58).
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 512, 256));
    EXPECT_TRUE(SameLines({BltLine("(68,42,132,58)", CHIP_RECT, DDBLT_WAIT)}, TakeLog()));

    // The source's transparent colour on.
    ASSERT_EQ(0, Call("ZorvSelectSurface", 1));
    ASSERT_EQ(0, Call("ZorvSetTransparentColor", 1, 0, 0));
    DrawOnScreen();
    TakeLog();
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 256, 256));
    EXPECT_TRUE(SameLines({BltFastLine(84, 42, CHIP_RECT, 0x11)}, TakeLog()));
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 512, 256));
    EXPECT_TRUE(SameLines({BltLine("(68,42,132,58)", CHIP_RECT, DDBLT_WAIT | DDBLT_KEYSRC)}, TakeLog()));
    // Left clip of a scaled chip: whole destination pixels by the step (128 = half a pixel).
    ASSERT_EQ(0, Call("ZorvSetPosition", 20, 50));
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 512, 256));
    EXPECT_TRUE(SameLines({BltLine("(0,42,52,58)", "(22,8,48,24)", DDBLT_WAIT | DDBLT_KEYSRC)}, TakeLog()));

    // A texture surface as the source: -81; scales below 1: nothing.
    EXPECT_EQ(-81, Call("ZorvPutChip4", 1, 256, 256));
    EXPECT_EQ(-81, Call("ZorvPutChip4", 1, 512, 256));
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 0, 256));
    EXPECT_EQ(0, Call("ZorvPutChip4", 0, 256, -1));
    EXPECT_EQ(-73, Call("ZorvPutChip4", 3, 256, 256));
    EXPECT_EQ(0, control.LogCount());
}

// ---- Render mode 2 ----

TEST_F(ChipSoftware, AngleZeroIsAStretchedBlit) {
    const int32_t before = PolygonCount();
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, 0));
    EXPECT_TRUE(SameLines({BltLine("(84,42,116,58)", CHIP_RECT, DDBLT_WAIT)}, TakeLog()));
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 512, 0, 0));
    EXPECT_TRUE(SameLines({BltLine("(68,34,132,66)", CHIP_RECT, DDBLT_WAIT)}, TakeLog()));
    EXPECT_EQ(before, PolygonCount());

    // Alpha blending on: transparency 255 (low byte) draws nothing; below it draws unfaded.
    ASSERT_EQ(0, Call("ZorvSetRenderState", D3DRENDERSTATE_ALPHABLENDENABLE, 1, D3DRENDERSTATE_SRCBLEND, 5));
    EXPECT_EQ(1, RecordInt(0, 272));
    EXPECT_EQ(5, RecordInt(0, 276));
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, 255));
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, 511));
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 300, 255));
    EXPECT_EQ(0, control.LogCount());
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 0, 254));
    EXPECT_EQ(1u, TakeLog().size());

    // The Direct3D exports: no device in this mode.
    Variable value = Variable::Int(1);
    EXPECT_EQ(-40, Call("ZorvGetD3Dcaps", value.Arg(), 0));
    EXPECT_EQ(0, Call("ZorvSetTextureStageState", 0, D3DTSS_COLOROP, D3DTOP_ADD));
    EXPECT_EQ(0, control.LogCount());
}

TEST_F(ChipSoftware, TurnedChipLocksSourceAndTargetForTheRasterizer) {
    const Quad q = Rotated(POS_X, POS_Y, -16, -8, 16, 8, 256);
    int minX = q.x[0], maxX = q.x[0], minY = q.y[0], maxY = q.y[0];
    for (int i = 1; i < 4; ++i) {
        minX = std::min(minX, q.x[i]);
        maxX = std::max(maxX, q.x[i]);
        minY = std::min(minY, q.y[i]);
        maxY = std::max(maxY, q.y[i]);
    }
    const std::string box = RectText(minX, minY, maxX, maxY);
    TakeLog();
    const int32_t before = PolygonCount();
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 256, 0));
    const Lines locks = {LockLine(source, CHIP_RECT, DDLOCK_WAIT | DDLOCK_READONLY),
                         LockLine(back, box, DDLOCK_WAIT | DDLOCK_WRITEONLY), UnlockLine(source, CHIP_RECT),
                         UnlockLine(back, box)};
    EXPECT_TRUE(SameLines(locks, TakeLog()));
    EXPECT_EQ(before, PolygonCount());

    // DDERR_WASSTILLDRAWING is waited out.
    control.Fail("IDirectDrawSurface7::Lock", 1, DDERR_WASSTILLDRAWING);
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 256, 0));
    EXPECT_TRUE(SameLines(Joined({{LockLine(source, CHIP_RECT, 0x11, DDERR_WASSTILLDRAWING)}, locks}), TakeLog()));

    // The target's Lock fails: its result is the status, and the source is unlocked.
    control.Fail("IDirectDrawSurface7::Lock", 2, DDERR_SURFACELOST);
    EXPECT_EQ(static_cast<int32_t>(DDERR_SURFACELOST), Call("ZorvPutChip2", 0, 256, 256, 0));
    EXPECT_TRUE(SameLines({locks[0], LockLine(back, box, 0x21, DDERR_SURFACELOST), locks[2]}, TakeLog()));

    // The source's Lock fails: nothing else is locked.
    control.Fail("IDirectDrawSurface7::Lock", 1, DDERR_SURFACEBUSY);
    EXPECT_EQ(static_cast<int32_t>(DDERR_SURFACEBUSY), Call("ZorvPutChip2", 0, 256, 256, 0));
    EXPECT_TRUE(SameLines({LockLine(source, CHIP_RECT, 0x11, DDERR_SURFACEBUSY)}, TakeLog()));
    // Nothing stays locked: the next draw locks both again.
    EXPECT_EQ(0, Call("ZorvPutChip2", 0, 256, 256, 0));
    EXPECT_TRUE(SameLines(locks, TakeLog()));
}

TEST_F(ChipSoftware, FourPointChipLocksTheBoundingBox) {
    Variable corners = CornerArray({0, 0, 63, 0, 63, 31, 0, 31});
    EXPECT_EQ(0, Call("ZorvPutChip3", corners.Arg(), 0, 0));
    EXPECT_TRUE(SameLines({LockLine(source, CHIP_RECT, 0x11), LockLine(back, "(0,0,63,31)", 0x21),
                           UnlockLine(source, CHIP_RECT), UnlockLine(back, "(0,0,63,31)")},
                          TakeLog()));
    // Corners partly off the surface: the box is cut to it.
    Variable off = CornerArray({-20, -10, 700, -10, 700, 40, -20, 40});
    EXPECT_EQ(0, Call("ZorvPutChip3", off.Arg(), 0, 0));
    Lines log = TakeLog();
    ASSERT_EQ(4u, log.size());
    EXPECT_EQ(LockLine(back, "(0,0,640,40)", 0x21), log[1]);
    // Every corner left of the surface: nothing is locked.
    Variable left = CornerArray({-40, 0, -1, 0, -1, 31, -40, 31});
    EXPECT_EQ(0, Call("ZorvPutChip3", left.Arg(), 0, 0));
    EXPECT_EQ(0, control.LogCount());
}

// ---- Render mode 0 ----

TEST_F(ChipWithoutDirect3D, TransformedChipsAndStateNeedADevice) {
    Variable corners = CornerArray({0, 0, 63, 0, 63, 31, 0, 31});
    Variable value = Variable::Int(1);
    EXPECT_EQ(-40, Call("ZorvPutChip2", 0, 256, 0, 0));
    EXPECT_EQ(-40, Call("ZorvPutChip2", 1, 256, 0, 0));
    EXPECT_EQ(-40, Call("ZorvPutChip3", corners.Arg(), 0, 0));
    EXPECT_EQ(-40, Call("ZorvGetD3Dcaps", value.Arg(), 0));
    EXPECT_EQ(-40, Call("ZorvSetRenderState", D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE, 0, 0));
    EXPECT_EQ(-40, Call("ZorvSetTextureStageState", 0, D3DTSS_COLOROP, D3DTOP_ADD));
    EXPECT_EQ(0, Call("ZorvSetRenderColor", 1, 2, 3, 1));
    EXPECT_EQ(0, control.LogCount());
}
