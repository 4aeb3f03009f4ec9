// The plugin's Direct3D set-up against the stand-in, in every render mode: the Z-buffer
// format it picks and the device class it asks for, the device's initial state in order,
// the failure codes of each step, the release order, and the Direct3D side of colour keys,
// draw areas and clears.
#include <cstring>

#include "plugin_standin.h"

using namespace standin_tests;

namespace {

const char* const SURFACE = "IDirectDrawSurface7";
const char* const DEVICE = "IDirect3DDevice7";
const char* const D3D = "IDirect3D7";
const char* const CLIPPER = "IDirectDrawClipper";
const std::string NORMAL_LEVEL = "IDirectDraw7::SetCooperativeLevel(hwnd=non-NULL, flags=0x00000008) -> 0x00000000";

const DWORD Z_DESC_FLAGS = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH | DDSD_PIXELFORMAT;

const char* const CLASS_NAMES[3] = {"IID_IDirect3DRGBDevice", "IID_IDirect3DHALDevice", "IID_IDirect3DTnLHalDevice"};
enum DeviceClass { RGB_CLASS = 0, HAL_CLASS = 1, TNL_CLASS = 2 };

DDPIXELFORMAT ZFormat(DWORD flags, DWORD bits, DWORD zMask) {
    DDPIXELFORMAT f = {};
    f.dwSize = sizeof f;
    f.dwFlags = flags;
    f.dwZBufferBitDepth = bits;
    f.dwZBitMask = zMask;
    if (flags & DDPF_STENCILBUFFER) {
        f.dwStencilBitDepth = 8;
        f.dwStencilBitMask = 0xFF;
    }
    return f;
}

std::string EnumZLine(int cls) {
    return ObjectLine(D3D, 1, std::string("EnumZBufferFormats(class=") + CLASS_NAMES[cls] +
                                  ", callback=non-NULL, context=non-NULL)");
}

std::string CreateDeviceLine(int cls, int surface, HRESULT hr = DD_OK) {
    return ObjectLine(D3D, 1,
                      std::string("CreateDevice(class=") + CLASS_NAMES[cls] + ", surface=#" + std::to_string(surface) +
                          ", out=non-NULL)",
                      hr);
}

std::string ZSurfaceLine(DWORD caps, DWORD bits = 16, DWORD mask = 0xFFFF, HRESULT hr = DD_OK) {
    return CreateSurfaceLine(Z_DESC_FLAGS, caps, WIDTH, HEIGHT, 0, ZFormatText(bits, mask), hr);
}

std::string ViewportLine(int device, int x, int y, int w, int h) {
    return DeviceLine(device, "SetViewport(x=" + std::to_string(x) + ", y=" + std::to_string(y) + ", width=" +
                                  std::to_string(w) + ", height=" + std::to_string(h) + ", minZ=0, maxZ=1)");
}

std::string ProjectionLine(int device) {
    const float projection[16] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 1, 0, 0, -1, 0};
    return DeviceLine(device, "SetTransform(state=3, " + MatrixText(projection) + ")");
}

// The state a new device gets, in order, for a surface of width x height.
Lines DeviceSetUpLines(int d, int width, int height) {
    const float world[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, -width * 0.5f, height * 0.5f, 0, 1};
    const float view[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 100, 1};
    return {
        ViewportLine(d, 0, 0, width, height),
        DeviceLine(d, "SetTransform(state=1, " + MatrixText(world) + ")"),
        DeviceLine(d, "SetTransform(state=2, " + MatrixText(view) + ")"),
        ViewportLine(d, 0, 0, width, height),
        ProjectionLine(d),
        DeviceLine(d, "GetDirect3D(out=non-NULL)"),
        ReleaseLine(D3D, 1, 2),  // the plugin's own reference and the device's stay
        RenderStateLine(d, D3DRENDERSTATE_AMBIENT, 0x00FFFFFF),
        DeviceLine(d, "SetMaterial(diffuse=(1,1,1,1), ambient=(1,1,1,1), specular=(0,0,0,0), emissive=(0,0,0,0), "
                      "power=50)"),
        RenderStateLine(d, D3DRENDERSTATE_FILLMODE, D3DFILL_SOLID),
        RenderStateLine(d, D3DRENDERSTATE_ZENABLE, D3DZB_FALSE),
        RenderStateLine(d, D3DRENDERSTATE_SHADEMODE, D3DSHADE_FLAT),
        RenderStateLine(d, D3DRENDERSTATE_ALPHABLENDENABLE, TRUE),
        RenderStateLine(d, D3DRENDERSTATE_SRCBLEND, D3DBLEND_ONE),
        RenderStateLine(d, D3DRENDERSTATE_DESTBLEND, D3DBLEND_ONE),
        RenderStateLine(d, D3DRENDERSTATE_DITHERENABLE, FALSE),
        RenderStateLine(d, D3DRENDERSTATE_SPECULARENABLE, FALSE),
        RenderStateLine(d, D3DRENDERSTATE_WRAPU, 0),
        RenderStateLine(d, D3DRENDERSTATE_WRAPV, 0),
        RenderStateLine(d, D3DRENDERSTATE_TEXTUREPERSPECTIVE, TRUE),
        RenderStateLine(d, D3DRENDERSTATE_COLORKEYENABLE, TRUE),
        StageStateLine(d, D3DTSS_ALPHAOP, D3DTOP_MODULATE),
        StageStateLine(d, D3DTSS_ALPHAARG1, D3DTA_TEXTURE),
        StageStateLine(d, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE),
        StageStateLine(d, D3DTSS_COLOROP, D3DTOP_MODULATE),
        StageStateLine(d, D3DTSS_COLORARG1, D3DTA_TEXTURE),
        StageStateLine(d, D3DTSS_COLORARG2, D3DTA_DIFFUSE),
        StageStateLine(d, D3DTSS_MINFILTER, D3DTFN_POINT),
        StageStateLine(d, D3DTSS_MAGFILTER, D3DTFG_POINT),
        StageStateLine(d, D3DTSS_ADDRESS, D3DTADDRESS_CLAMP),
    };
}

// The log after the back buffer's record lines: what the 3D set-up did.
Lines AfterBackBuffer(const Lines& log) {
    int at = Find(log, SurfaceLine(4, "GetCaps(caps=non-NULL)"));
    if (at < 0) return log;
    return Lines(log.begin() + at + 1, log.end());
}

// A windowed screen in every render mode.
class Direct3DScreen : public PluginTest {
protected:
    void SetUp() override {
        ASSERT_EQ(2, screenMode) << "a windowed run (--screen-mode=2)";
        PluginTest::SetUp();
    }
    static bool DeviceMode() { return renderMode == 1 || renderMode == 3 || renderMode == 4; }
    // The class the render mode asks for first, and the Z-buffer caps it gives.
    static int FirstClass() { return renderMode == 3 ? RGB_CLASS : renderMode == 4 ? HAL_CLASS : TNL_CLASS; }
    static DWORD ZCaps() { return DDSCAPS_ZBUFFER | (renderMode == 3 ? DDSCAPS_SYSTEMMEMORY : 0); }
    // The release of a windowed screen whose back buffer (4) has a device and maybe a Z buffer.
    static Lines ReleaseLines(int zBuffer, int device) {
        Lines lines;
        if (zBuffer != 0) {
            lines.push_back(SurfaceLine(4, "DeleteAttachedSurface(flags=0x00000000, surface=#" +
                                               std::to_string(zBuffer) + ")"));
            lines.push_back(ReleaseLine(SURFACE, zBuffer, 0));
        }
        if (device != 0) lines.push_back(ReleaseLine(DEVICE, device, 0));
        return Joined({lines,
                       {SurfaceLine(2, "SetClipper(clipper=NULL)"), ReleaseLine(CLIPPER, 3, 0),
                        ReleaseLine(SURFACE, 4, 0), ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0), NORMAL_LEVEL}});
    }
};

// Render modes 1, 3 and 4: the screen's back buffer gets a device.
class DeviceScreen : public Direct3DScreen {
protected:
    void SetUp() override {
        ASSERT_TRUE(DeviceMode()) << "a run in render mode 1, 3 or 4";
        Direct3DScreen::SetUp();
    }
};

// Render modes 0 and 2: no Direct3D device is ever made.
class NoDeviceScreen : public Direct3DScreen {
protected:
    void SetUp() override {
        ASSERT_FALSE(DeviceMode()) << "a run in render mode 0 or 2";
        Direct3DScreen::SetUp();
    }
};

// Render mode 1 only: the best device, falling back class by class.
class BestDevice : public Direct3DScreen {
protected:
    void SetUp() override {
        ASSERT_EQ(1, renderMode) << "a run in render mode 1";
        Direct3DScreen::SetUp();
    }
};

// Full screen in render mode 1: the device on the flipping chain's back buffer.
class FullScreen3D : public PluginTest {
protected:
    void SetUp() override {
        ASSERT_EQ(0, screenMode) << "a full-screen run (--screen-mode=0)";
        ASSERT_EQ(1, renderMode) << "a run in render mode 1";
        PluginTest::SetUp();
    }
};

}  // namespace

TEST_F(Direct3DScreen, DeviceAndZBufferByRenderMode) {
    const int32_t code = CreateScreen(32, 0x018);
    Lines log = TakeLog();
    EXPECT_EQ(CreateSurfaceLine(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_3DDEVICE, WIDTH,
                                HEIGHT, 0),
              Containing(log, "::CreateSurface(").at(1));
    if (!DeviceMode()) {
        // No Direct3D, or drawing without it: no Z-buffer format is asked for.
        EXPECT_EQ(-78, code);
        EXPECT_TRUE(SameLines({}, AfterBackBuffer(log)));
        EXPECT_TRUE(WindowVisible());  // not released on this path
        EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        control.Reset();  // numbers from 1 again
        // Without the Z buffer: -74 without Direct3D, a surface without device in mode 2.
        EXPECT_EQ(renderMode == 0 ? -74 : SCREEN_CREATED, CreateScreen(32, 0x008));
        EXPECT_TRUE(SameLines({}, AfterBackBuffer(TakeLog())));
        EXPECT_EQ(nullptr, RecordDevice(0));
        EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        return;
    }
    ASSERT_EQ(SCREEN_CREATED, code);
    // Z buffer 5 attached to the back buffer 4, device 6 on it.
    EXPECT_TRUE(SameLines(Joined({{EnumZLine(FirstClass()), ZSurfaceLine(ZCaps()),
                                   SurfaceLine(4, "AddAttachedSurface(surface=#5)"), CreateDeviceLine(FirstClass(), 4)},
                                  DeviceSetUpLines(6, WIDTH, HEIGHT)}),
                          AfterBackBuffer(log)));
    EXPECT_EQ(6, DeviceNumber(0));
    EXPECT_EQ(control.Object<IDirectDrawSurface7>(5), reinterpret_cast<IDirectDrawSurface7*>(RecordZBuffer(0)));
    // The device is of the class asked for.
    D3DDEVICEDESC7 desc;
    std::memset(&desc, 0, sizeof desc);
    ASSERT_EQ(D3D_OK, RecordDevice(0)->GetCaps(&desc));
    const GUID* classes[3] = {&IID_IDirect3DRGBDevice, &IID_IDirect3DHALDevice, &IID_IDirect3DTnLHalDevice};
    EXPECT_TRUE(IsEqualGUID(*classes[FirstClass()], desc.deviceGUID));
    TakeLog();

    // The release: Z buffer detached and released, then the device, then the surfaces.
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(SameLines(ReleaseLines(5, 6), TakeLog()));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(DeviceScreen, ZBufferTakesTheFirstPlainFormat) {
    const DDPIXELFORMAT stencil = ZFormat(DDPF_ZBUFFER | DDPF_STENCILBUFFER, 32, 0xFFFFFF00);
    control.SetZBufferFormats(FirstClass(),
                              {stencil, ZFormat(DDPF_ZBUFFER, 24, 0xFFFFFF), ZFormat(DDPF_ZBUFFER, 16, 0xFFFF)});
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x018));
    EXPECT_TRUE(SameLines({ZSurfaceLine(ZCaps(), 24, 0xFFFFFF)},
                          Containing(TakeLog(), "format.dwFlags=0x00000400")));
    ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();

    // Only formats with more than the Z flag, in every class: -78, nothing made for it.
    for (int cls = 0; cls < 3; ++cls) control.SetZBufferFormats(cls, {stencil});
    ShowWindow(hostScreen->Window(), SW_SHOW);
    TakeLog();
    EXPECT_EQ(-78, CreateScreen(32, 0x018));
    Lines log = TakeLog();
    EXPECT_TRUE(Containing(log, "format.dwFlags=").empty());
    EXPECT_TRUE(Containing(log, "CreateDevice").empty());
    EXPECT_EQ(0u, RecordZBuffer(0));
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(DeviceScreen, FailureCodesOfTheSetUp) {
    struct Row {
        const char* call;
        int nth;
        HRESULT hr;
        int32_t code;
        int32_t flags;
    };
    const Row rows[] = {
        {"IDirectDraw7::CreateSurface", 3, DDERR_OUTOFVIDEOMEMORY, -79, 0x018},
        {"IDirect3D7::CreateDevice", 0, DDERR_OUTOFMEMORY, -23, 0x008},
        {"IDirect3DDevice7::SetViewport", 1, DDERR_INVALIDPARAMS, -26, 0x008},
        {"IDirect3DDevice7::SetTransform", 1, DDERR_INVALIDPARAMS, -43, 0x008},
        {"IDirect3DDevice7::SetTransform", 2, DDERR_GENERIC, -43, 0x008},
        {"IDirect3DDevice7::SetViewport", 2, DDERR_INVALIDPARAMS, -43, 0x008},
        {"IDirect3DDevice7::SetTransform", 3, DDERR_GENERIC, -43, 0x008},
        {"IDirect3DDevice7::GetDirect3D", 1, E_NOINTERFACE, -43, 0x008},
        {"IDirect3DDevice7::SetViewport", 1, DDERR_INVALIDPARAMS, -26, 0x018},
    };
    HWND window = hostScreen->Window();
    const LONG hostProc = GetWindowLongA(window, GWL_WNDPROC);
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.call) + " " + std::to_string(row.nth));
        ShowWindow(window, SW_SHOW);
        control.Fail(row.call, row.nth, row.hr);
        EXPECT_EQ(row.code, CreateScreen(32, row.flags));
        EXPECT_EQ(static_cast<int32_t>(row.hr), LastDxResult());
        // The screen stays, with what was made so far, until its release.
        EXPECT_TRUE(WindowVisible());
        EXPECT_NE(hostProc, GetWindowLongA(window, GWL_WNDPROC));
        EXPECT_NE(nullptr, RecordSurface(0));
        EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        EXPECT_EQ(hostProc, GetWindowLongA(window, GWL_WNDPROC));
        control.Reset();
    }

    // Material, render and texture-stage state are set without looking at the results.
    control.Fail("IDirect3DDevice7::SetMaterial", 0, DDERR_GENERIC);
    control.Fail("IDirect3DDevice7::SetRenderState", 0, DDERR_GENERIC);
    control.Fail("IDirect3DDevice7::SetTextureStageState", 0, DDERR_GENERIC);
    ShowWindow(window, SW_SHOW);
    EXPECT_EQ(SCREEN_CREATED, CreateScreen(32, 0x018));
    EXPECT_NE(nullptr, RecordDevice(0));
}

TEST_F(DeviceScreen, AFailedDeviceDoesNotKeepItsZBufferAfterTheRelease) {
    const struct {
        const char* call;
        HRESULT hr;
        int32_t code;
    } rows[] = {
        {"IDirectDrawSurface7::AddAttachedSurface", DDERR_CANNOTATTACHSURFACE, -80},
        {"IDirect3D7::CreateDevice", DDERR_OUTOFMEMORY, -23},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        ShowWindow(hostScreen->Window(), SW_SHOW);
        control.Fail(row.call, 0, row.hr);
        EXPECT_EQ(row.code, CreateScreen(32, 0x018));
        EXPECT_EQ(static_cast<int32_t>(row.hr), LastDxResult());
        EXPECT_GT(RecordZBuffer(0), 1u);  // the Z buffer stays in the record until the release
        EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        control.Reset();
    }
}

TEST_F(DeviceScreen, OffscreenDeviceIsReleasedZBufferFirst) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    TakeLog();
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 1, 64, 32, 0x018));
    // Surface 5, Z buffer 6, device 7; the world is centred on the 64 x 32 surface.
    Lines log = TakeLog();
    const float world[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, -32, 16, 0, 1};
    EXPECT_EQ(1u, Containing(log, DeviceLine(7, "SetTransform(state=1, " + MatrixText(world) + ")")).size());
    EXPECT_EQ(2u, Containing(log, ViewportLine(7, 0, 0, 64, 32)).size());
    ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
    TakeLog();
    EXPECT_EQ(0, Call("ZorvReleaseOffscreenSurface", 1));
    EXPECT_TRUE(SameLines({SurfaceLine(5, "DeleteAttachedSurface(flags=0x00000000, surface=#6)"),
                           ReleaseLine(SURFACE, 6, 0), ReleaseLine(DEVICE, 7, 0), ReleaseLine(SURFACE, 5, 0)},
                          TakeLog()));
    EXPECT_EQ(5, control.LiveObjects()) << control.LiveObjectsText();  // the screen's five
}

TEST_F(DeviceScreen, TransparentColourSwitchesTheDeviceColourKey) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x008));
    TakeLog();
    const std::string noSource = SurfaceLine(4, "SetColorKey(flags=0x00000008, key=NULL)");
    const std::string noDest = SurfaceLine(4, "SetColorKey(flags=0x00000002, key=NULL)");
    EXPECT_EQ(0, Call("ZorvSetTransparentColor", 2, 0, -1));
    EXPECT_TRUE(SameLines({noSource, RenderStateLine(5, D3DRENDERSTATE_COLORKEYENABLE, TRUE)}, TakeLog()));
    EXPECT_EQ(0, Call("ZorvSetTransparentColor", 0, 0, 0));
    EXPECT_TRUE(SameLines({noSource, noDest, RenderStateLine(5, D3DRENDERSTATE_COLORKEYENABLE, FALSE)}, TakeLog()));
    // The device keeps what it was told last.
    DWORD value = 7;
    ASSERT_EQ(D3D_OK, RecordDevice(0)->GetRenderState(D3DRENDERSTATE_COLORKEYENABLE, &value));
    EXPECT_EQ(0u, value);
}

TEST_F(DeviceScreen, ClearsGoThroughTheDeviceWithTheDrawArea) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x018));
    IDirectDrawSurface7* back = RecordSurface(0);
    IDirectDrawSurface7* z = reinterpret_cast<IDirectDrawSurface7*>(RecordZBuffer(0));
    ASSERT_EQ(0, Call("ZorvClearSurface", 0x00FFFFFF, 1));
    TakeLog();
    auto clear = [](const char* rect, const char* flags) {
        return DeviceLine(6, std::string("Clear(count=1, rects=[") + rect + "], flags=" + flags +
                                 ", colour=0x00000000, z=1, stencil=0)");
    };
    EXPECT_EQ(0, Call("ZorvClearSurface", 0x00FFFFFF, 4));
    EXPECT_EQ(0, Call("ZorvClearSurface", 0, 8));
    EXPECT_EQ(0, Call("ZorvClearSurface", 0, 12));
    EXPECT_TRUE(SameLines({clear("(0,0,640,480)", "0x00000001"), clear("(0,0,640,480)", "0x00000002"),
                           clear("(0,0,640,480)", "0x00000003")},
                          TakeLog()));
    // The target was cleared to 0 whatever the colour, the Z buffer to its far end.
    auto pixel = [](IDirectDrawSurface7* s, int bytes) {
        DDSURFACEDESC2 desc;
        std::memset(&desc, 0, sizeof desc);
        desc.dwSize = sizeof desc;
        uint32_t v = 0xDEADBEEF;
        if (SUCCEEDED(s->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr))) {
            v = 0;
            std::memcpy(&v, static_cast<uint8_t*>(desc.lpSurface) + 5 * desc.lPitch + 5 * bytes, bytes);
            s->Unlock(nullptr);
        }
        return v;
    };
    EXPECT_EQ(0u, pixel(back, 4));
    EXPECT_EQ(0xFFFFu, pixel(z, 2));
    TakeLog();

    // The draw area sets the viewport and is the clear's rectangle; the DirectDraw fill
    // takes the colour and the whole surface.
    EXPECT_EQ(0, Call("ZorvSetDrawArea", 10, 20, 100, 200));
    EXPECT_EQ(0, Call("ZorvClearSurface", 0x00123456, 5));
    EXPECT_TRUE(SameLines({ViewportLine(6, 10, 20, 90, 180), ProjectionLine(6), clear("(10,20,100,200)", "0x00000001"),
                           SurfaceLine(4, "Blt(dest=NULL, src=NULL, srcRect=NULL, flags=0x01000400, fx.dwSize=100, "
                                          "fx.dwFillColor=0x00123456)")},
                          TakeLog()));
    control.Fail("IDirect3DDevice7::SetViewport", 1, DDERR_INVALIDPARAMS);
    EXPECT_EQ(-26, Call("ZorvSetDrawArea", 0, 0, 50, 50));
    EXPECT_EQ(static_cast<int32_t>(DDERR_INVALIDPARAMS), LastDxResult());
    EXPECT_EQ(50, RecordDrawArea(0).right);  // kept all the same
    EXPECT_EQ(0, Call("ZorvClearSurface", 0, 2));
    TakeLog();

    // The clear of ZorvUpdateScreen comes after the present.
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 4, 0, 0));
    Lines log = TakeLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("IDirectDrawSurface7#2::Blt("));
    EXPECT_EQ(clear("(0,0,640,480)", "0x00000001"), log[1]);

    // Failures: -50 for the target alone, -55 as soon as the Z buffer is asked for; the fill
    // after a failed clear does not happen.
    const struct {
        int32_t flags;
        int32_t code;
    } rows[] = {{4, -50}, {8, -55}, {12, -55}, {5, -50}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.flags);
        control.Fail("IDirect3DDevice7::Clear", 1, D3DERR_VIEWPORTHASNODEVICE);
        EXPECT_EQ(row.code, Call("ZorvClearSurface", 0, row.flags));
        EXPECT_EQ(static_cast<int32_t>(D3DERR_VIEWPORTHASNODEVICE), LastDxResult());
        EXPECT_EQ(1u, TakeLog().size());
    }
    // In the update the failed clear comes after the present, and is its result.
    control.Fail("IDirect3DDevice7::Clear", 1, DDERR_SURFACEBUSY);
    EXPECT_EQ(-50, Call("ZorvUpdateScreen", 0, 4, 0, 0));
    log = TakeLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("IDirectDrawSurface7#2::Blt("));
}

TEST_F(DeviceScreen, ZBufferClearWithoutAZBufferIsRefused) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x008));
    EXPECT_EQ(-55, Call("ZorvClearSurface", 0, 8));
    EXPECT_EQ(static_cast<int32_t>(D3DERR_ZBUFFER_NOTPRESENT), LastDxResult());
    EXPECT_EQ(0, Call("ZorvClearSurface", 0, 4));
}

TEST_F(NoDeviceScreen, SurfacesAskForNoZBufferFormatAndClearWithoutDevice) {
    // Formats on offer change nothing: no device class is asked for them.
    control.SetZBufferFormats(RGB_CLASS, {ZFormat(DDPF_ZBUFFER, 16, 0xFFFF)});
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    TakeLog();
    EXPECT_EQ(-78, Call("ZorvCreateOffscreenSurface", 1, 64, 32, 0x018));
    EXPECT_EQ(nullptr, RecordSurface(1));
    // 3D alone: -74 without Direct3D (the surface goes again), a plain surface in mode 2.
    EXPECT_EQ(renderMode == 0 ? -74 : 0, Call("ZorvCreateOffscreenSurface", 2, 64, 32, 0x008));
    EXPECT_EQ(renderMode == 0, RecordSurface(2) == nullptr);
    EXPECT_EQ(nullptr, RecordDevice(2));
    Lines log = TakeLog();
    EXPECT_TRUE(Containing(log, "IDirect3D7").empty());
    // The screen's own five objects (DirectDraw included), and the plain surface in mode 2.
    EXPECT_EQ(renderMode == 0 ? 5 : 6, control.LiveObjects()) << control.LiveObjectsText();

    // No device: -40, except in the software mode, which skips the Direct3D clear.
    ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
    EXPECT_EQ(renderMode == 2 ? 0 : -40, Call("ZorvClearSurface", 0, 4));
    EXPECT_EQ(renderMode == 2 ? 0 : -40, Call("ZorvClearSurface", 0, 8));
    EXPECT_EQ(0, control.LogCount());
}

TEST_F(BestDevice, FallsBackClassByClass) {
    const struct {
        int mask;
        Lines zSearch;       // EnumZBufferFormats calls
        DWORD zCaps;
        Lines devices;       // CreateDevice calls
        int deviceClass;
    } cases[] = {
        {7, {EnumZLine(TNL_CLASS)}, DDSCAPS_ZBUFFER, {CreateDeviceLine(TNL_CLASS, 4)}, TNL_CLASS},
        {3, {EnumZLine(TNL_CLASS), EnumZLine(HAL_CLASS)}, DDSCAPS_ZBUFFER,
         {CreateDeviceLine(TNL_CLASS, 4, D3DERR_INVALID_DEVICE), CreateDeviceLine(HAL_CLASS, 4)}, HAL_CLASS},
        {1, {EnumZLine(TNL_CLASS), EnumZLine(HAL_CLASS), EnumZLine(RGB_CLASS)}, DDSCAPS_ZBUFFER | DDSCAPS_SYSTEMMEMORY,
         {CreateDeviceLine(TNL_CLASS, 4, D3DERR_INVALID_DEVICE), CreateDeviceLine(HAL_CLASS, 4, D3DERR_INVALID_DEVICE),
          CreateDeviceLine(RGB_CLASS, 4)},
         RGB_CLASS},
    };
    const GUID* classes[3] = {&IID_IDirect3DRGBDevice, &IID_IDirect3DHALDevice, &IID_IDirect3DTnLHalDevice};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mask);
        ShowWindow(hostScreen->Window(), SW_SHOW);
        control.SetDeviceClasses(c.mask);
        TakeLog();
        ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x018));
        Lines log = TakeLog();
        EXPECT_TRUE(SameLines(c.zSearch, Containing(log, "EnumZBufferFormats")));
        EXPECT_TRUE(SameLines({ZSurfaceLine(c.zCaps)}, Containing(log, "format.dwFlags=0x00000400")));
        EXPECT_TRUE(SameLines(c.devices, Containing(log, "CreateDevice")));
        D3DDEVICEDESC7 desc;
        std::memset(&desc, 0, sizeof desc);
        ASSERT_NE(nullptr, RecordDevice(0));
        ASSERT_EQ(D3D_OK, RecordDevice(0)->GetCaps(&desc));
        EXPECT_TRUE(IsEqualGUID(*classes[c.deviceClass], desc.deviceGUID));
        ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        control.Reset();
    }

    // A Z format found for one class, a device made of another: the search and the creation
    // fall back separately.
    control.SetZBufferFormats(TNL_CLASS, {ZFormat(DDPF_ZBUFFER | DDPF_STENCILBUFFER, 32, 0xFFFFFF00)});
    control.Fail("IDirect3D7::CreateDevice", 1, DDERR_OUTOFVIDEOMEMORY);
    ShowWindow(hostScreen->Window(), SW_SHOW);
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x018));
    Lines log = TakeLog();
    EXPECT_TRUE(SameLines({EnumZLine(TNL_CLASS), EnumZLine(HAL_CLASS)}, Containing(log, "EnumZBufferFormats")));
    EXPECT_TRUE(SameLines({CreateDeviceLine(TNL_CLASS, 4, DDERR_OUTOFVIDEOMEMORY), CreateDeviceLine(HAL_CLASS, 4)},
                          Containing(log, "CreateDevice")));
    ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
    control.Reset();

    // No class at all: no Z format (-78), and without a Z buffer every device fails (-23).
    control.SetDeviceClasses(0);
    ShowWindow(hostScreen->Window(), SW_SHOW);
    EXPECT_EQ(-78, CreateScreen(32, 0x018));
    ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
    ShowWindow(hostScreen->Window(), SW_SHOW);
    TakeLog();
    EXPECT_EQ(-23, CreateScreen(32, 0x008));
    EXPECT_EQ(static_cast<int32_t>(D3DERR_INVALID_DEVICE), LastDxResult());
    EXPECT_EQ(3u, Containing(TakeLog(), "CreateDevice").size());
    EXPECT_EQ(nullptr, RecordDevice(0));
    ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(FullScreen3D, DeviceOnTheChainsBackBuffer) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0x018));
    Lines log = TakeLog();
    // Front 2, back 3 (3D), Z buffer 4, device 5.
    EXPECT_EQ(CreateSurfaceLine(DDSD_CAPS | DDSD_BACKBUFFERCOUNT,
                                DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX | DDSCAPS_3DDEVICE, 0, 0, 1),
              log.at(3));
    int at = Find(log, SurfaceLine(3, "GetCaps(caps=non-NULL)"));
    ASSERT_GE(at, 0);
    EXPECT_TRUE(SameLines(Joined({{EnumZLine(TNL_CLASS), ZSurfaceLine(DDSCAPS_ZBUFFER),
                                   SurfaceLine(3, "AddAttachedSurface(surface=#4)"), CreateDeviceLine(TNL_CLASS, 3)},
                                  DeviceSetUpLines(5, WIDTH, HEIGHT)}),
                          Lines(log.begin() + at + 1, log.end())));
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 12, 0, 0));
    EXPECT_TRUE(SameLines({SurfaceLine(2, "Flip(target=NULL, flags=0x00000020)"),
                           DeviceLine(5, "Clear(count=1, rects=[(0,0,640,480)], flags=0x00000003, colour=0x00000000, "
                                         "z=1, stencil=0)")},
                          TakeLog()));
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(SameLines({SurfaceLine(3, "DeleteAttachedSurface(flags=0x00000000, surface=#4)"),
                           ReleaseLine(SURFACE, 4, 0), ReleaseLine(DEVICE, 5, 0), DirectDrawLine("RestoreDisplayMode"),
                           ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0), NORMAL_LEVEL},
                          TakeLog()));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}
