// The plugin against the recording stand-in ddraw.dll: what it asks DirectDraw for, in which
// order and with which arguments, what it does when a call fails, and that it gives back
// every object it made. Devices and display modes, the missing pieces of ddraw.dll, and the
// screen in the windowed and full-screen modes (creation, failures, update, exit).
#include <cstddef>
#include <cstring>

#include "plugin_standin.h"

using host::Variable;
using namespace standin_tests;

namespace {

const char* const SURFACE = "IDirectDrawSurface7";
const char* const CLIPPER = "IDirectDrawClipper";
const char* const D3D = "IDirect3D7";

const std::string ENUMERATION =
    "DirectDrawEnumerateExA(callback=non-NULL, context=non-NULL, flags=0x00000007) -> 0x00000000";
const std::string CREATE_PRIMARY_DRIVER =
    "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x00000000";
const std::string NORMAL_LEVEL = "IDirectDraw7::SetCooperativeLevel(hwnd=non-NULL, flags=0x00000008) -> 0x00000000";

std::string RectArg(const RECT& r) {
    return "(" + std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) + "," +
           std::to_string(r.bottom) + ")";
}

// The devices and display modes need no ZorvInitialize and no DirectDraw object.
class Devices : public PluginTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(control.Loaded()) << "ddraw.dll is not the stand-in";
        control.Reset();
        ASSERT_EQ(0, control.LiveObjects()) << control.LiveObjectsText();
    }
};

class WindowedScreen : public PluginTest {
protected:
    void SetUp() override {
        ASSERT_EQ(2, screenMode) << "a windowed run (--screen-mode=2)";
        PluginTest::SetUp();
    }
};

class FullScreen : public PluginTest {
protected:
    void SetUp() override {
        ASSERT_EQ(0, screenMode) << "a full-screen run (--screen-mode=0)";
        PluginTest::SetUp();
    }
    // After a release: the display mode back on the desktop, the window hidden.
    static void ExpectDesktopMode() {
        StandInMode mode = control.DisplayMode();
        EXPECT_EQ(1024u, mode.width);
        EXPECT_EQ(768u, mode.height);
        EXPECT_EQ(32u, mode.bpp);
    }
};

// The DDCAPS field of each ZorvGetDDcaps selector, as a DWORD index into the structure;
// -1 for selector 26, which has none.
int CapsIndex(int selector) {
#define AT(field) static_cast<int>(offsetof(DDCAPS, field) / 4)
    const int indices[56] = {
        AT(dwSize), AT(dwCaps), AT(dwCaps2), AT(dwCKeyCaps), AT(dwFXCaps), AT(dwFXAlphaCaps), AT(dwPalCaps),
        AT(dwSVCaps), AT(dwAlphaBltConstBitDepths), AT(dwAlphaBltPixelBitDepths), AT(dwAlphaBltSurfaceBitDepths),
        AT(dwAlphaOverlayConstBitDepths), AT(dwAlphaOverlayPixelBitDepths), AT(dwAlphaOverlaySurfaceBitDepths),
        AT(dwZBufferBitDepths), AT(dwVidMemTotal), AT(dwVidMemFree), AT(dwMaxVisibleOverlays),
        AT(dwCurrVisibleOverlays), AT(dwNumFourCCCodes), AT(dwAlignBoundarySrc), AT(dwAlignSizeSrc),
        AT(dwAlignBoundaryDest), AT(dwAlignSizeDest), AT(dwAlignStrideAlign), AT(dwRops), -1,
        AT(dwMinOverlayStretch), AT(dwMaxOverlayStretch), AT(dwMinLiveVideoStretch), AT(dwMaxLiveVideoStretch),
        AT(dwMinHwCodecStretch), AT(dwMaxHwCodecStretch), AT(dwReserved1), AT(dwReserved2), AT(dwReserved3),
        AT(dwSVBCaps), AT(dwSVBCKeyCaps), AT(dwSVBFXCaps), AT(dwSVBRops), AT(dwVSBCaps), AT(dwVSBCKeyCaps),
        AT(dwVSBFXCaps), AT(dwVSBRops), AT(dwSSBCaps), AT(dwSSBCKeyCaps), AT(dwSSBFXCaps), AT(dwSSBRops),
        AT(dwMaxVideoPorts), AT(dwCurrVideoPorts), AT(dwSVBCaps2), AT(dwNLVBCaps), AT(dwNLVBCaps2),
        AT(dwNLVBCKeyCaps), AT(dwNLVBFXCaps), AT(dwNLVBRops),
    };
#undef AT
    return indices[selector];
}

bool IsArraySelector(int selector) {
    return selector == 25 || selector == 39 || selector == 43 || selector == 47 || selector == 55;
}

}  // namespace

// ---- ddraw.dll missing, or missing an entry point ----

TEST(MissingDirectDraw, ExportsAnswerWithTheMissingPiece) {
    ASSERT_FALSE(missing.empty()) << "run with --missing=ddraw|enum|create";
    int32_t enumCode = 0;
    int32_t createCode = 0;
    if (missing == "ddraw") {
        EXPECT_EQ(nullptr, GetModuleHandleA("ddraw.dll"));
        enumCode = createCode = -66;
    } else if (missing == "enum") {
        ASSERT_TRUE(control.Loaded());
        enumCode = createCode = -67;
    } else {
        ASSERT_EQ("create", missing);
        ASSERT_TRUE(control.Loaded());
        createCode = -68;
    }
    control.Reset();
    Variable count = Variable::Int(1);
    Variable name = Variable::String(16);
    Variable modes = Variable::Int(24);
    Variable caps = Variable::Int(1);
    std::strcpy(name.Text(), "kept");
    count.Ints()[0] = -5;

    // The type checks come first.
    EXPECT_EQ(-1, Call("ZorvEnumDDdevice", name.Arg()));
    EXPECT_EQ(-1, Call("ZorvGetDDcaps", name.Arg(), 0, 0));

    // Enumeration needs only DirectDrawEnumerateExA; the rest needs DirectDrawCreateEx too.
    EXPECT_EQ(enumCode, Call("ZorvEnumDDdevice", count.Arg()));
    EXPECT_EQ(enumCode == 0 ? 2 : -5, count.Ints()[0]);
    EXPECT_EQ(enumCode, Call("ZorvGetDDdeviceName", name.Arg(), 0));
    EXPECT_STREQ(enumCode == 0 ? "Primary Display Driver" : "kept", name.Text());
    EXPECT_EQ(createCode, Call("ZorvEnumDisplayMode", modes.Arg(), 0, 1));
    EXPECT_EQ(createCode, Call("ZorvGetDDcaps", caps.Arg(), 0, 1));
    EXPECT_EQ(createCode, Call("ZorvCreateDD", 0));
    EXPECT_EQ(createCode, Call("ZorvCreateDD", -1));
    EXPECT_EQ(0, modes.Ints()[0]);
    EXPECT_EQ(0, caps.Ints()[0]);
    // ZorvInitialize needs DirectDrawEnumerateExA only.
    EXPECT_EQ(enumCode, Call("ZorvInitialize", hostScreen->Arg(), 2, 0));
    EXPECT_EQ("ZorvInitialize", LastCall());
    EXPECT_EQ(0, LastDxResult());

    if (control.Loaded()) {
        Lines expected;
        if (enumCode == 0) expected = {ENUMERATION, ENUMERATION};
        EXPECT_TRUE(SameLines(expected, control.Log()));
        EXPECT_EQ(0, control.LiveObjects());
    }
    if (enumCode == 0) {
        // Started, but without a DirectDraw object there is no screen.
        ASSERT_EQ(0, Call("ZorvInitializeSurface", 2));
        EXPECT_EQ(-38, Call("ZorvCreatePrimarySurface", 640, 480, 32, 0));
        EXPECT_EQ(0, Call("ZorvExit"));
    }
}

// ---- Devices, display modes, capabilities, the DirectDraw object ----

TEST_F(Devices, EnumDDdeviceCountsEveryReportedDevice) {
    Variable count = Variable::Int(1);
    EXPECT_EQ(0, Call("ZorvEnumDDdevice", count.Arg()));
    EXPECT_EQ(2, count.Ints()[0]);
    EXPECT_TRUE(SameLines({ENUMERATION}, TakeLog()));
    control.SetDevices(5);
    EXPECT_EQ(0, Call("ZorvEnumDDdevice", count.Arg()));
    EXPECT_EQ(5, count.Ints()[0]);
    control.SetDevices(0);
    EXPECT_EQ(0, Call("ZorvEnumDDdevice", count.Arg()));
    EXPECT_EQ(0, count.Ints()[0]);
    Variable text = Variable::String(4);
    EXPECT_EQ(-1, Call("ZorvEnumDDdevice", text.Arg()));
    EXPECT_TRUE(SameLines({ENUMERATION, ENUMERATION}, TakeLog()));
    EXPECT_TRUE(count.GuardsIntact());
}

TEST_F(Devices, DeviceNamesByIndex) {
    Variable name = Variable::String(16);
    EXPECT_EQ(0, Call("ZorvGetDDdeviceName", name.Arg(), 0));
    EXPECT_STREQ("Primary Display Driver", name.Text());
    EXPECT_EQ(0, Call("ZorvGetDDdeviceName", name.Arg(), 1));
    EXPECT_STREQ("Secondary Test Device", name.Text());
    // No such device: the variable stays as it was, still success.
    std::strcpy(name.Text(), "kept");
    EXPECT_EQ(0, Call("ZorvGetDDdeviceName", name.Arg(), 2));
    EXPECT_EQ(0, Call("ZorvGetDDdeviceName", name.Arg(), -1));
    EXPECT_STREQ("kept", name.Text());
    control.SetDevices(4);
    EXPECT_EQ(0, Call("ZorvGetDDdeviceName", name.Arg(), 3));
    EXPECT_STREQ("Test Device 3", name.Text());
    // Never more than the variable holds: 8 bytes, 7 characters and the terminator.
    Variable small = Variable::String(2);
    EXPECT_EQ(0, Call("ZorvGetDDdeviceName", small.Arg(), 1));
    EXPECT_STREQ("Seconda", small.Text());
    EXPECT_TRUE(small.GuardsIntact());
    Variable number = Variable::Int(4);
    EXPECT_EQ(-1, Call("ZorvGetDDdeviceName", number.Arg(), 0));
    EXPECT_EQ(6, control.LogCount());
    EXPECT_EQ(0, control.LiveObjects());
}

TEST_F(Devices, DisplayModeCountAndRecords) {
    Variable count = Variable::Int(1);
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", count.Arg(), 0, 0));
    EXPECT_EQ(6, count.Ints()[0]);
    EXPECT_TRUE(SameLines(
        {ENUMERATION, CREATE_PRIMARY_DRIVER,
         DirectDrawLine("EnumDisplayModes(flags=0x00000003, desc=NULL, context=non-NULL, callback=non-NULL)"),
         ReleaseLine("IDirectDraw7", 0, 0)},
        TakeLog()));

    Variable list = Variable::Int(24);
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", list.Arg(), 0, 1));
    const int32_t expected[24] = {640, 480, 8, 60, 640, 480, 16, 60, 640, 480, 16, 75,
                                  800, 600, 16, 0, 1024, 768, 32, 60, 1024, 768, 32, 75};
    for (int i = 0; i < 24; ++i) EXPECT_EQ(expected[i], list.Ints()[i]) << i;
    EXPECT_TRUE(list.GuardsIntact());
    TakeLog();

    // Device 1 by its identifier, -1 and -2 without enumerating.
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", count.Arg(), 1, 0));
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", count.Arg(), -1, 0));
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", count.Arg(), -2, 0));
    const std::string modes =
        DirectDrawLine("EnumDisplayModes(flags=0x00000003, desc=NULL, context=non-NULL, callback=non-NULL)");
    EXPECT_TRUE(SameLines(
        {ENUMERATION,
         "DirectDrawCreateEx(guid={5A4F5256-0000-4000-8000-000000000001}, out=non-NULL, iid=IID_IDirectDraw7, "
         "outer=NULL) -> 0x00000000",
         modes, ReleaseLine("IDirectDraw7", 0, 0),
         "DirectDrawCreateEx(guid=DDCREATE_EMULATIONONLY, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> "
         "0x00000000",
         modes, ReleaseLine("IDirectDraw7", 0, 0),
         "DirectDrawCreateEx(guid=DDCREATE_HARDWAREONLY, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> "
         "0x00000000",
         modes, ReleaseLine("IDirectDraw7", 0, 0)},
        TakeLog()));

    // A list longer than the array is cut at the array's end.
    Variable short8 = Variable::Int(10);
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", short8.Arg(), 0, 1));
    EXPECT_EQ(480, short8.Ints()[5]);
    EXPECT_TRUE(short8.GuardsIntact());
    Variable text = Variable::String(4);
    TakeLog();
    EXPECT_EQ(-1, Call("ZorvEnumDisplayMode", text.Arg(), 0, 0));
    EXPECT_EQ(0, control.LogCount());
}

TEST_F(Devices, ChoicesWithoutADeviceGiveMinus37AfterTheEnumeration) {
    Variable v = Variable::Int(1);
    v.Ints()[0] = 77;
    EXPECT_EQ(-37, Call("ZorvEnumDisplayMode", v.Arg(), 2, 0));
    EXPECT_EQ(-37, Call("ZorvEnumDisplayMode", v.Arg(), -3, 0));
    EXPECT_EQ(-37, Call("ZorvGetDDcaps", v.Arg(), 5, 0));
    EXPECT_EQ(-37, Call("ZorvCreateDD", 2));
    EXPECT_EQ(77, v.Ints()[0]);
    // Each one enumerated to its end and made nothing.
    EXPECT_TRUE(SameLines({ENUMERATION, ENUMERATION, ENUMERATION, ENUMERATION}, TakeLog()));
    control.SetDevices(3);
    EXPECT_EQ(0, Call("ZorvCreateDD", 2));
    EXPECT_TRUE(SameLines({ENUMERATION, "DirectDrawCreateEx(guid={5A4F5256-0000-4000-8000-000000000002}, "
                                        "out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x00000000"},
                          TakeLog()));
    EXPECT_NE(nullptr, ReadState().directDraw);
}

TEST_F(Devices, GetDDcapsReadsTheSelectedFieldOfDriverOrEmulation) {
    Variable v = Variable::Int(1);
    for (int selector = 0; selector <= 55; ++selector) {
        if (selector == 26) continue;
        int index = IsArraySelector(selector) ? selector % 8 : 0;
        SCOPED_TRACE(selector);
        v.Ints()[0] = 0;
        ASSERT_EQ(0, Call("ZorvGetDDcaps", v.Arg(), 0, selector, index));
        EXPECT_EQ(static_cast<int32_t>(standin::CapsValue(true, static_cast<size_t>(CapsIndex(selector) + index))),
                  v.Ints()[0]);
        if (selector == 0) continue;
        ASSERT_EQ(0, Call("ZorvGetDDcaps", v.Arg(), -1, -selector, index));
        EXPECT_EQ(static_cast<int32_t>(standin::CapsValue(false, static_cast<size_t>(CapsIndex(selector) + index))),
                  v.Ints()[0]);
    }
    EXPECT_EQ(380, (Call("ZorvGetDDcaps", v.Arg(), 0, 0), v.Ints()[0]));
    TakeLog();
    EXPECT_EQ(0, Call("ZorvGetDDcaps", v.Arg(), 0, 1));
    EXPECT_EQ(0, Call("ZorvGetDDcaps", v.Arg(), 0, -1));
    EXPECT_TRUE(SameLines({ENUMERATION, CREATE_PRIMARY_DRIVER, DirectDrawLine("GetCaps(driver.dwSize=380, hel=NULL)"),
                           ReleaseLine("IDirectDraw7", 0, 0), ENUMERATION, CREATE_PRIMARY_DRIVER,
                           DirectDrawLine("GetCaps(driver=NULL, hel.dwSize=380)"), ReleaseLine("IDirectDraw7", 0, 0)},
                          TakeLog()));

    // Out of range: -2 with nothing written, the temporary object released all the same.
    const int32_t bad[][2] = {{26, 0}, {56, 0}, {-56, 0}, {25, 8}, {25, -1}, {55, 8}, {-39, 9}};
    for (const auto& b : bad) {
        SCOPED_TRACE(b[0]);
        v.Ints()[0] = 1234;
        EXPECT_EQ(-2, Call("ZorvGetDDcaps", v.Arg(), 0, b[0], b[1]));
        EXPECT_EQ(1234, v.Ints()[0]);
        Lines log = TakeLog();
        ASSERT_EQ(4u, log.size());
        EXPECT_EQ(ReleaseLine("IDirectDraw7", 0, 0), log[3]);
    }
    EXPECT_EQ(0, control.LiveObjects());
}

TEST_F(Devices, CreateDDPassesTheChoice) {
    EXPECT_EQ(0, Call("ZorvCreateDD", 0));
    EXPECT_TRUE(SameLines({ENUMERATION, CREATE_PRIMARY_DRIVER}, TakeLog()));
    void* first = ReadState().directDraw;
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(1, control.LiveObjects());

    // A second object replaces the first, which is released.
    EXPECT_EQ(0, Call("ZorvCreateDD", -1));
    EXPECT_TRUE(SameLines({"DirectDrawCreateEx(guid=DDCREATE_EMULATIONONLY, out=non-NULL, iid=IID_IDirectDraw7, "
                           "outer=NULL) -> 0x00000000",
                           ReleaseLine("IDirectDraw7", 0, 0)},
                          TakeLog()));
    EXPECT_EQ(1, control.LiveObjects());
    EXPECT_EQ(0, Call("ZorvCreateDD", -2));
    EXPECT_TRUE(SameLines({"DirectDrawCreateEx(guid=DDCREATE_HARDWAREONLY, out=non-NULL, iid=IID_IDirectDraw7, "
                           "outer=NULL) -> 0x00000000",
                           ReleaseLine("IDirectDraw7", 0, 0)},
                          TakeLog()));
    EXPECT_EQ(0, Call("ZorvCreateDD", 1));
    EXPECT_EQ(ENUMERATION, TakeLog().front());
    EXPECT_EQ(1, control.LiveObjects());

    // ZorvReleaseDD releases it (a surface table is needed for that).
    ASSERT_EQ(0, Call("ZorvInitializeSurface", 2));
    EXPECT_EQ(0, Call("ZorvReleaseDD"));
    EXPECT_EQ(nullptr, ReadState().directDraw);
    EXPECT_EQ(0, control.LiveObjects());
}

TEST_F(Devices, FailuresKeepTheDirectXResultAndReleaseTheTemporaryObject) {
    Variable v = Variable::Int(24);
    Variable name = Variable::String(16);
    std::strcpy(name.Text(), "kept");
    v.Ints()[0] = 55;

    // The enumeration fails: -3.
    const HRESULT enumFailure = DDERR_NODIRECTDRAWSUPPORT;
    control.Fail("DirectDrawEnumerateExA", 0, enumFailure);
    EXPECT_EQ(-3, Call("ZorvEnumDDdevice", v.Arg()));
    EXPECT_EQ(-3, Call("ZorvGetDDdeviceName", name.Arg(), 0));
    EXPECT_EQ(-3, Call("ZorvEnumDisplayMode", v.Arg(), 0, 0));
    EXPECT_EQ(-3, Call("ZorvGetDDcaps", v.Arg(), 1, 1));
    EXPECT_EQ(-3, Call("ZorvCreateDD", 0));
    EXPECT_EQ(static_cast<int32_t>(enumFailure), LastDxResult());
    EXPECT_EQ(55, v.Ints()[0]);
    EXPECT_STREQ("kept", name.Text());
    EXPECT_TRUE(Containing(TakeLog(), "DirectDrawCreateEx").empty());
    // Choices -1 and -2 do not enumerate: they still work.
    EXPECT_EQ(0, Call("ZorvEnumDisplayMode", v.Arg(), -1, 0));
    EXPECT_EQ(6, v.Ints()[0]);
    control.Fail("DirectDrawEnumerateExA", -1, S_OK);

    // The creation fails: -4, nothing made.
    const HRESULT createFailure = DDERR_NODIRECTDRAWHW;
    control.Fail("DirectDrawCreateEx", 0, createFailure);
    v.Ints()[0] = 55;
    EXPECT_EQ(-4, Call("ZorvEnumDisplayMode", v.Arg(), 0, 0));
    EXPECT_EQ(-4, Call("ZorvGetDDcaps", v.Arg(), -1, 1));
    EXPECT_EQ(-4, Call("ZorvCreateDD", 1));
    EXPECT_EQ(static_cast<int32_t>(createFailure), LastDxResult());
    EXPECT_EQ(55, v.Ints()[0]);
    EXPECT_EQ(nullptr, ReadState().directDraw);
    EXPECT_EQ(0, control.LiveObjects());
    control.Fail("DirectDrawCreateEx", -1, S_OK);
    TakeLog();

    // GetCaps fails: -6; the mode enumeration fails: -7; the object goes either way.
    control.Fail("IDirectDraw7::GetCaps", 1, DDERR_INVALIDOBJECT);
    EXPECT_EQ(-6, Call("ZorvGetDDcaps", v.Arg(), 0, 1));
    EXPECT_EQ(static_cast<int32_t>(DDERR_INVALIDOBJECT), LastDxResult());
    EXPECT_EQ(ReleaseLine("IDirectDraw7", 0, 0), TakeLog().back());
    control.Fail("IDirectDraw7::EnumDisplayModes", 1, DDERR_GENERIC);
    EXPECT_EQ(-7, Call("ZorvEnumDisplayMode", v.Arg(), 0, 1));
    EXPECT_EQ(static_cast<int32_t>(DDERR_GENERIC), LastDxResult());
    EXPECT_EQ(ReleaseLine("IDirectDraw7", 0, 0), TakeLog().back());
    EXPECT_EQ(55, v.Ints()[0]);
    EXPECT_EQ(0, control.LiveObjects());

    // A later success does not reset the last DirectX result.
    EXPECT_EQ(0, Call("ZorvGetDDcaps", v.Arg(), 0, 1));
    EXPECT_EQ(static_cast<int32_t>(DDERR_GENERIC), LastDxResult());
}

// ---- Windowed screen ----

TEST_F(WindowedScreen, CreationAndReleaseCallsInOrder) {
    HWND window = hostScreen->Window();
    LONG procBefore = GetWindowLongA(window, GWL_WNDPROC);
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    // Numbers: the Direct3D object 1, primary 2, clipper 3, back buffer 4.
    EXPECT_TRUE(SameLines(
        Joined({{NORMAL_LEVEL, DirectDrawLine("QueryInterface(iid=IID_IDirect3D7, out=non-NULL)"),
                 CreateSurfaceLine(DDSD_CAPS, DDSCAPS_PRIMARYSURFACE, 0, 0, 0),
                 DirectDrawLine("CreateClipper(flags=0x00000000, out=non-NULL, outer=NULL)"),
                 ObjectLine(CLIPPER, 3, "SetHWnd(flags=0x00000000, hwnd=non-NULL)"),
                 SurfaceLine(2, "SetClipper(clipper=#3)"),
                 CreateSurfaceLine(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_OFFSCREENPLAIN, WIDTH, HEIGHT, 0)},
                RecordLines(4, false)}),
        TakeLog()));
    EXPECT_EQ(4, SurfaceNumber(0));
    EXPECT_EQ(0, ReadState().flipMode);
    EXPECT_EQ(1, control.ObjectNumber(ReadState().direct3D));
    EXPECT_EQ(5, control.LiveObjects());
    // The clipper is bound to the host window.
    HWND bound = nullptr;
    IDirectDrawClipper* clipper = control.Object<IDirectDrawClipper>(3);
    ASSERT_NE(nullptr, clipper);
    EXPECT_EQ(DD_OK, clipper->GetHWnd(&bound));
    EXPECT_EQ(window, bound);
    EXPECT_NE(procBefore, GetWindowLongA(window, GWL_WNDPROC));
    TakeLog();

    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(SameLines({SurfaceLine(2, "SetClipper(clipper=NULL)"), ReleaseLine(CLIPPER, 3, 0),
                           ReleaseLine(SURFACE, 4, 0), ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0),
                           NORMAL_LEVEL},
                          TakeLog()));
    EXPECT_EQ(1, control.LiveObjects());
    EXPECT_FALSE(WindowVisible());
    EXPECT_EQ(procBefore, GetWindowLongA(window, GWL_WNDPROC));

    // A second release finds nothing to undo but the cooperative level.
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(SameLines({NORMAL_LEVEL}, TakeLog()));
}

TEST_F(WindowedScreen, BackBufferMemoryFollowsTheFlags) {
    struct Case {
        int32_t flags;
        Lines backBuffers;  // the CreateSurface calls after the primary's
    };
    const DWORD sized = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    const DWORD plain = DDSCAPS_OFFSCREENPLAIN;
    const Case cases[] = {
        {0x000, {CreateSurfaceLine(sized, plain, WIDTH, HEIGHT, 0)}},
        {0x001, {CreateSurfaceLine(sized, plain | DDSCAPS_VIDEOMEMORY, WIDTH, HEIGHT, 0)}},
        {0x002, {CreateSurfaceLine(sized, plain | DDSCAPS_SYSTEMMEMORY, WIDTH, HEIGHT, 0)}},
        {0x004, {CreateSurfaceLine(sized, plain | DDSCAPS_VIDEOMEMORY, WIDTH, HEIGHT, 0)}},
        {0x020, {CreateSurfaceLine(sized, plain, WIDTH, HEIGHT, 0)}},
        // Both memory bits are refused; bit 0 then retries in system memory.
        {0x003,
         {CreateSurfaceLine(sized, plain | DDSCAPS_VIDEOMEMORY | DDSCAPS_SYSTEMMEMORY, WIDTH, HEIGHT, 0, "",
                            DDERR_INVALIDCAPS),
          CreateSurfaceLine(sized, plain | DDSCAPS_SYSTEMMEMORY, WIDTH, HEIGHT, 0)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flags);
        ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, c.flags));
        Lines creates = Containing(TakeLog(), "::CreateSurface(");
        ASSERT_GE(creates.size(), 1u);
        creates.erase(creates.begin());
        EXPECT_TRUE(SameLines(c.backBuffers, creates));
        ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
        EXPECT_EQ(1, control.LiveObjects());
        TakeLog();
    }
}

TEST_F(WindowedScreen, VideoMemoryBackBufferFallsBackToSystemMemoryOnlyWithBitZero) {
    const DWORD sized = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    const DWORD video = DDSCAPS_OFFSCREENPLAIN | DDSCAPS_VIDEOMEMORY;
    const DWORD system = DDSCAPS_OFFSCREENPLAIN | DDSCAPS_SYSTEMMEMORY;
    int32_t lastDx = LastDxResult();

    // Flag 1: the refused video-memory back buffer is made again in system memory.
    control.Fail("IDirectDraw7::CreateSurface", 2, DDERR_OUTOFVIDEOMEMORY);
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0x001));
    EXPECT_TRUE(SameLines({CreateSurfaceLine(sized, video, WIDTH, HEIGHT, 0, "", DDERR_OUTOFVIDEOMEMORY),
                           CreateSurfaceLine(sized, system, WIDTH, HEIGHT, 0)},
                          Containing(TakeLog(), "(desc.dwSize=124, desc.dwFlags=0x00000007")));
    EXPECT_EQ(lastDx, LastDxResult());  // a retry that works is no failure
    EXPECT_TRUE(ReadState().table != nullptr && RecordSurface(0) != nullptr);
    ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));

    // Flag 1 with both refused, flag 4 and flag 2 without a retry: -18, screen released.
    const struct {
        int32_t flags;
        int failures;
        DWORD caps;
    } cases[] = {{0x001, 2, video}, {0x004, 1, video}, {0x002, 1, system}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        ShowWindow(hostScreen->Window(), SW_SHOW);
        control.Fail("IDirectDraw7::CreateSurface", 2, DDERR_OUTOFVIDEOMEMORY);
        if (c.failures == 2) control.Fail("IDirectDraw7::CreateSurface", 3, DDERR_OUTOFMEMORY);
        TakeLog();
        EXPECT_EQ(-18, CreateScreen(32, c.flags));
        EXPECT_EQ(static_cast<int32_t>(c.failures == 2 ? DDERR_OUTOFMEMORY : DDERR_OUTOFVIDEOMEMORY), LastDxResult());
        Lines backs = Containing(TakeLog(), "(desc.dwSize=124, desc.dwFlags=0x00000007");
        EXPECT_EQ(static_cast<size_t>(c.failures), backs.size());
        if (!backs.empty()) {
            EXPECT_NE(std::string::npos, backs[0].find(Hr(c.caps)));
        }
        EXPECT_FALSE(WindowVisible());
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        EXPECT_EQ(nullptr, RecordSurface(0));
    }
}

TEST_F(WindowedScreen, EveryFailureRowOfTheCreation) {
    struct Row {
        const char* call;
        int nth;
        HRESULT hr;
        int32_t code;
        bool released;
    };
    const Row rows[] = {
        {"IDirectDraw7::SetCooperativeLevel", 1, DDERR_EXCLUSIVEMODEALREADYSET, -11, true},
        {"IDirectDraw7::QueryInterface", 1, E_NOINTERFACE, -22, false},
        {"IDirectDraw7::CreateSurface", 1, DDERR_PRIMARYSURFACEALREADYEXISTS, -14, true},
        {"IDirectDraw7::CreateClipper", 1, DDERR_OUTOFMEMORY, -15, true},
        {"IDirectDrawClipper::SetHWnd", 1, DDERR_INVALIDOBJECT, -16, true},
        {"IDirectDrawSurface7::SetClipper", 1, DDERR_NOCLIPPERATTACHED, -17, true},
        {"IDirectDraw7::CreateSurface", 2, DDERR_OUTOFVIDEOMEMORY, -18, true},
    };
    HWND window = hostScreen->Window();
    const LONG hostProc = GetWindowLongA(window, GWL_WNDPROC);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.code);
        Lines log = FailedCreation(row.call, row.nth, row.hr, row.code, 32);
        if (row.released) {
            // Everything given back: only the DirectDraw object lives, the window is hidden
            // and has its own procedure, the cooperative level is normal again.
            EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
            EXPECT_FALSE(WindowVisible());
            EXPECT_EQ(hostProc, GetWindowLongA(window, GWL_WNDPROC));
            ASSERT_FALSE(log.empty());
            EXPECT_EQ(NORMAL_LEVEL, log.back());
            EXPECT_EQ(nullptr, RecordSurface(0));
        } else {
            // Left as it was: the hook stays, the window is still shown.
            EXPECT_TRUE(WindowVisible());
            EXPECT_NE(hostProc, GetWindowLongA(window, GWL_WNDPROC));
            EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
            EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
            EXPECT_EQ(hostProc, GetWindowLongA(window, GWL_WNDPROC));
        }
        control.Reset();
    }
}

TEST_F(WindowedScreen, PaletteDepthsBelowEightAreNotSupported) {
    for (int32_t depth = 4; depth <= 7; ++depth) {
        SCOPED_TRACE(depth);
        ShowWindow(hostScreen->Window(), SW_SHOW);
        int32_t lastDx = LastDxResult();
        EXPECT_EQ(-255, CreateScreen(depth, 0));
        Lines log = TakeLog();
        // The surfaces were made, then everything was released; no palette was asked for.
        EXPECT_EQ(2u, Containing(log, "::CreateSurface(").size());
        EXPECT_TRUE(Containing(log, "Palette").empty());
        EXPECT_EQ(NORMAL_LEVEL, log.back());
        EXPECT_FALSE(WindowVisible());
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        EXPECT_EQ(lastDx, LastDxResult());
    }
}

TEST_F(WindowedScreen, CreationChecksComeBeforeAnyCall) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    TakeLog();
    EXPECT_EQ(-8, CreateScreen(32, 0));
    EXPECT_EQ(-8, Call("ZorvInitializeSurface", 4));
    EXPECT_EQ(0, control.LogCount());
    ASSERT_EQ(0, Call("ZorvReleaseDD"));
    TakeLog();
    EXPECT_EQ(-38, CreateScreen(32, 0));
    ASSERT_EQ(0, Call("ZorvCreateDD", 0));
    EXPECT_EQ(-76, CreateScreen(32, 0));
    ASSERT_EQ(0, Call("ZorvInitializeSurface", 4));
    TakeLog();
    EXPECT_EQ(-2, Call("ZorvCreatePrimarySurface", 1601, 480, 32, 0));
    EXPECT_EQ(-2, Call("ZorvCreatePrimarySurface", 640, 480, 3, 0));
    EXPECT_EQ(-2, Call("ZorvCreatePrimarySurface", 640, 480, 32, 33));
    EXPECT_EQ(0, control.LogCount());
}

TEST_F(WindowedScreen, TransparentColourSetsTheKeysOfTheSurface) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    IDirectDrawSurface7* back = RecordSurface(0);
    ASSERT_NE(nullptr, back);
    TakeLog();
    auto key = [](const char* flags, const char* low, const char* high) {
        return SurfaceLine(4, std::string("SetColorKey(flags=") + flags + ", key.low=" + low + ", key.high=" + high +
                                  ")");
    };
    const std::string noSource = SurfaceLine(4, "SetColorKey(flags=0x00000008, key=NULL)");
    const std::string noDest = SurfaceLine(4, "SetColorKey(flags=0x00000002, key=NULL)");
    const struct {
        int32_t mode;
        int32_t source;
        int32_t dest;
        Lines calls;
    } cases[] = {
        {2, 0, 0, {noSource, key("0x00000002", "0x00000001", "0xFFFFFFFF")}},
        {2, 0, 5, {noSource, key("0x00000002", "0x00000000", "0x00000004"), key("0x00000002", "0x00000006", "0xFFFFFFFF")}},
        {2, 0, -1, {noSource}},
        {1, 7, 0, {key("0x00000008", "0x00000007", "0x00000007"), noDest}},
        {3, 9, 2,
         {key("0x00000008", "0x00000009", "0x00000009"), key("0x00000002", "0x00000000", "0x00000001"),
          key("0x00000002", "0x00000003", "0xFFFFFFFF")}},
        {0, 9, 2, {noSource, noDest}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode * 1000 + c.dest);
        EXPECT_EQ(0, Call("ZorvSetTransparentColor", c.mode, c.source, c.dest));
        EXPECT_TRUE(SameLines(c.calls, TakeLog()));
    }
    // The key that stays is the last one set.
    EXPECT_EQ(0, Call("ZorvSetTransparentColor", 3, 9, 5));
    DDCOLORKEY kept = {};
    EXPECT_EQ(DD_OK, back->GetColorKey(DDCKEY_DESTBLT, &kept));
    EXPECT_EQ(6u, kept.dwColorSpaceLowValue);
    EXPECT_EQ(0xFFFFFFFFu, kept.dwColorSpaceHighValue);
    EXPECT_EQ(DD_OK, back->GetColorKey(DDCKEY_SRCBLT, &kept));
    EXPECT_EQ(9u, kept.dwColorSpaceHighValue);
    TakeLog();
    EXPECT_EQ(-2, Call("ZorvSetTransparentColor", 4, 0, 0));
    EXPECT_EQ(-2, Call("ZorvSetTransparentColor", -1, 0, 0));
    EXPECT_EQ(0, control.LogCount());
}

TEST_F(WindowedScreen, UpdateBlitsTheBackBufferOntoTheWindow) {
    EXPECT_EQ(-28, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_EQ(0, control.LogCount());
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    ASSERT_EQ(0, Call("ZorvClearSurface", 0x00336699, 1));
    TakeLog();
    const RECT dest = PresentRect();
    const std::string present = SurfaceLine(2, "Blt(dest=" + RectArg(dest) +
                                                   ", src=#4, srcRect=(0,0,640,480), flags=0x01000000, fx=NULL)");
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_TRUE(SameLines({present}, TakeLog()));
    EXPECT_EQ(0, Call("ZorvUpdateScreen", 0, 0, 0, 1));
    TakeLog();

    // The pixels arrived on the primary surface, at the window's client area.
    IDirectDrawSurface7* primary = control.Object<IDirectDrawSurface7>(2);
    ASSERT_NE(nullptr, primary);
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, primary->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr));
    auto at = [&desc](LONG x, LONG y) {
        uint32_t v;
        std::memcpy(&v, static_cast<uint8_t*>(desc.lpSurface) + y * desc.lPitch + x * 4, 4);
        return v & 0x00FFFFFFu;
    };
    EXPECT_EQ(0x00336699u, at(dest.left, dest.top));
    EXPECT_EQ(0x00336699u, at(dest.right - 1, dest.bottom - 1));
    if (dest.left > 0) {
        EXPECT_EQ(0u, at(dest.left - 1, dest.top));
    }
    primary->Unlock(nullptr);
    TakeLog();

    // A refused blit is no failure; the clear for the next frame comes after the present.
    int32_t lastDx = LastDxResult();
    control.Fail("IDirectDrawSurface7::Blt", 1, DDERR_SURFACEBUSY);
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 1, 0x00ABCDEF, 0));
    EXPECT_EQ(lastDx, LastDxResult());
    EXPECT_TRUE(SameLines({SurfaceLine(2, "Blt(dest=" + RectArg(dest) +
                                              ", src=#4, srcRect=(0,0,640,480), flags=0x01000000, fx=NULL)",
                                          DDERR_SURFACEBUSY),
                           SurfaceLine(4, "Blt(dest=NULL, src=NULL, srcRect=NULL, flags=0x01000400, fx.dwSize=100, "
                                          "fx.dwFillColor=0x00ABCDEF)")},
                          TakeLog()));
}

TEST_F(WindowedScreen, UpdateDrawsTheRateTextThroughTheDeviceContext) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    Variable colours = Variable::Int(9);
    for (int i = 0; i < 3; ++i) colours.Ints()[i] = 255;  // white text, black outline
    ASSERT_EQ(0, Call("ZorvShowFrameRate", colours.Arg(), 3, 0, 0));
    TakeLog();
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    Lines log = TakeLog();
    ASSERT_EQ(3u, log.size());
    EXPECT_EQ(SurfaceLine(4, "GetDC(out=non-NULL)"), log[0]);
    EXPECT_EQ(SurfaceLine(4, "ReleaseDC(hdc=non-NULL)"), log[1]);
    EXPECT_NE(std::string::npos, log[2].find("IDirectDrawSurface7#2::Blt("));
    // The text's white pixels are in the back buffer's memory, top left.
    IDirectDrawSurface7* back = RecordSurface(0);
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, back->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr));
    int white = 0;
    for (int y = 0; y < 20; ++y) {
        const uint32_t* row = reinterpret_cast<const uint32_t*>(static_cast<uint8_t*>(desc.lpSurface) + y * desc.lPitch);
        for (int x = 0; x < 80; ++x) white += (row[x] & 0x00FFFFFF) == 0x00FFFFFF;
    }
    back->Unlock(nullptr);
    EXPECT_GT(white, 10);

    // Without a device context the text is left out and the frame still presented.
    control.Fail("IDirectDrawSurface7::GetDC", 1, DDERR_CANTCREATEDC);
    TakeLog();
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    log = TakeLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(SurfaceLine(4, "GetDC(out=non-NULL)", DDERR_CANTCREATEDC), log[0]);
    EXPECT_EQ(0, HideFrameRate());
}

TEST_F(WindowedScreen, ExitReleasesEverythingAndLeavesTheNormalLevel) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(32, 0));
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 1, 32, 32, 0));
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 2, 16, 16, 0x100));
    ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
    EXPECT_EQ(5, SurfaceNumber(1));
    EXPECT_EQ(6, SurfaceNumber(2));
    TakeLog();
    EXPECT_EQ(0, Call("ZorvExit"));
    EXPECT_TRUE(SameLines({SurfaceLine(2, "SetClipper(clipper=NULL)"), ReleaseLine(CLIPPER, 3, 0),
                           ReleaseLine(SURFACE, 4, 0), ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0),
                           NORMAL_LEVEL, ReleaseLine(SURFACE, 5, 0), ReleaseLine(SURFACE, 6, 0),
                           ReleaseLine("IDirectDraw7", 0, 0)},
                          TakeLog()));
    EXPECT_EQ(0, control.LiveObjects()) << control.LiveObjectsText();
    EXPECT_FALSE(WindowVisible());
    EXPECT_EQ(nullptr, ReadState().directDraw);
}

// ---- Full screen ----

TEST_F(FullScreen, FlippingChainCreationAndRelease) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0));
    // Numbers: the Direct3D object 1, front buffer 2, back buffer 3.
    EXPECT_TRUE(SameLines(
        Joined({{DirectDrawLine("SetCooperativeLevel(hwnd=non-NULL, flags=0x00000813)"),
                 DirectDrawLine("QueryInterface(iid=IID_IDirect3D7, out=non-NULL)"),
                 DirectDrawLine("SetDisplayMode(width=640, height=480, bpp=16, refresh=0, flags=0x00000000)"),
                 CreateSurfaceLine(DDSD_CAPS | DDSD_BACKBUFFERCOUNT,
                                   DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX, 0, 0, 1),
                 SurfaceLine(2, "GetAttachedSurface(caps.dwCaps=0x00000004, out=non-NULL)")},
                RecordLines(3, false)}),
        TakeLog()));
    EXPECT_EQ(3, SurfaceNumber(0));
    EXPECT_EQ(1, ReadState().flipMode);
    StandInMode mode = control.DisplayMode();
    EXPECT_EQ(640u, mode.width);
    EXPECT_EQ(16u, mode.bpp);
    // The caption goes in full screen.
    EXPECT_EQ(0, GetWindowLongA(hostScreen->Window(), GWL_STYLE) & WS_CAPTION);

    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(SameLines({DirectDrawLine("RestoreDisplayMode"), ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0),
                           NORMAL_LEVEL},
                          TakeLog()));
    ExpectDesktopMode();
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
    EXPECT_FALSE(WindowVisible());
    EXPECT_NE(0, GetWindowLongA(hostScreen->Window(), GWL_STYLE) & WS_CAPTION);
}

TEST_F(FullScreen, TwoBackBuffersWithFlag512) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0x200));
    Lines log = TakeLog();
    EXPECT_EQ(1u, Containing(log, CreateSurfaceLine(DDSD_CAPS | DDSD_BACKBUFFERCOUNT,
                                                    DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX, 0, 0, 2))
                      .size());
    EXPECT_EQ(3, ReadState().flipMode);
    EXPECT_EQ(3, SurfaceNumber(0));
    EXPECT_EQ(5, control.LiveObjects());
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(FullScreen, Flag2MakesASinglePrimaryAndASeparateBackBuffer) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0x002));
    EXPECT_TRUE(SameLines({CreateSurfaceLine(DDSD_CAPS, DDSCAPS_PRIMARYSURFACE, 0, 0, 0),
                           CreateSurfaceLine(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT,
                                             DDSCAPS_OFFSCREENPLAIN | DDSCAPS_SYSTEMMEMORY, WIDTH, HEIGHT, 0)},
                          Containing(TakeLog(), "::CreateSurface(")));
    EXPECT_EQ(0, ReadState().flipMode);
    EXPECT_EQ(3, SurfaceNumber(0));

    // The update copies with a fast blit to (0, 0); its failure is -35.
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_TRUE(SameLines({SurfaceLine(2, "BltFast(x=0, y=0, src=#3, srcRect=(0,0,640,480), flags=0x00000010)")},
                          TakeLog()));
    control.Fail("IDirectDrawSurface7::BltFast", 1, DDERR_SURFACEBUSY);
    EXPECT_EQ(-35, Call("ZorvUpdateScreen", 0, 1, 0, 0));
    EXPECT_EQ(static_cast<int32_t>(DDERR_SURFACEBUSY), LastDxResult());
    EXPECT_EQ(1u, TakeLog().size());  // nothing after the failed present, not the clear
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(Containing(TakeLog(), "RestoreDisplayMode").size() == 1);
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(FullScreen, Flag1RetriesAFailedChainAsASinglePrimary) {
    control.Fail("IDirectDraw7::CreateSurface", 1, DDERR_OUTOFVIDEOMEMORY);
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0x001));
    Lines created = TakeLog();
    EXPECT_TRUE(SameLines(
        {CreateSurfaceLine(DDSD_CAPS | DDSD_BACKBUFFERCOUNT,
                           DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX | DDSCAPS_VIDEOMEMORY, 0, 0, 1, "",
                           DDERR_OUTOFVIDEOMEMORY),
         CreateSurfaceLine(DDSD_CAPS, DDSCAPS_PRIMARYSURFACE | DDSCAPS_COMPLEX, 0, 0, 0),
         CreateSurfaceLine(DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_OFFSCREENPLAIN | DDSCAPS_VIDEOMEMORY, WIDTH,
                           HEIGHT, 0)},
        Containing(created, "::CreateSurface(")));
    EXPECT_EQ(0, ReadState().flipMode);
    EXPECT_TRUE(Containing(created, "GetAttachedSurface").empty());
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_EQ(1u, Containing(TakeLog(), "BltFast(x=0, y=0, src=#3").size());
    ASSERT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();

    // Flag 4 asks for video memory too, but does not retry.
    ShowWindow(hostScreen->Window(), SW_SHOW);
    control.Fail("IDirectDraw7::CreateSurface", 1, DDERR_OUTOFVIDEOMEMORY);
    TakeLog();
    EXPECT_EQ(-14, CreateScreen(16, 0x004));
    EXPECT_TRUE(SameLines({CreateSurfaceLine(DDSD_CAPS | DDSD_BACKBUFFERCOUNT,
                                             DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX |
                                                 DDSCAPS_VIDEOMEMORY,
                                             0, 0, 1, "", DDERR_OUTOFVIDEOMEMORY)},
                          Containing(TakeLog(), "::CreateSurface(")));
    EXPECT_FALSE(WindowVisible());
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(FullScreen, EveryFailureRowOfTheCreation) {
    struct Row {
        const char* call;
        int nth;
        HRESULT hr;
        int32_t code;
        bool released;
        bool displayRestored;  // RestoreDisplayMode runs only once a primary surface exists
    };
    const Row rows[] = {
        {"IDirectDraw7::SetCooperativeLevel", 1, DDERR_EXCLUSIVEMODEALREADYSET, -11, true, false},
        {"IDirectDraw7::QueryInterface", 1, E_NOINTERFACE, -22, false, false},
        {"IDirectDraw7::SetDisplayMode", 1, DDERR_INVALIDMODE, -13, true, false},
        {"IDirectDraw7::CreateSurface", 1, DDERR_OUTOFVIDEOMEMORY, -14, true, false},
        {"IDirectDrawSurface7::GetAttachedSurface", 1, DDERR_NOTFOUND, -19, true, true},
    };
    HWND window = hostScreen->Window();
    const LONG hostProc = GetWindowLongA(window, GWL_WNDPROC);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.code);
        Lines log = FailedCreation(row.call, row.nth, row.hr, row.code, 16);
        if (row.released) {
            EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
            EXPECT_FALSE(WindowVisible());
            EXPECT_EQ(hostProc, GetWindowLongA(window, GWL_WNDPROC));
            ASSERT_FALSE(log.empty());
            EXPECT_EQ(NORMAL_LEVEL, log.back());
            EXPECT_EQ(row.displayRestored ? 1u : 0u, Containing(log, "RestoreDisplayMode").size());
        } else {
            EXPECT_TRUE(WindowVisible());
            EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
            EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        }
        control.Reset();  // also the display mode, which the -14 path leaves switched
    }
}

TEST_F(FullScreen, EightBitScreenGetsTheColourCubePalette) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(8, 0));
    Lines log = TakeLog();
    // Colour codes come from the palette, not from the surface: no DC, no lock for them.
    int at = Find(log, SurfaceLine(2, "GetAttachedSurface(caps.dwCaps=0x00000004, out=non-NULL)"));
    ASSERT_GE(at, 0);
    Lines rest(log.begin() + at + 1, log.end());
    EXPECT_TRUE(SameLines(Joined({RecordLines(3, true),
                                  {DirectDrawLine("CreatePalette(flags=0x00000004, entries=non-NULL, out=non-NULL, "
                                                  "outer=NULL)"),
                                   SurfaceLine(2, "SetPalette(palette=#4)"), SurfaceLine(2, "GetDC(out=non-NULL)"),
                                   SurfaceLine(2, "ReleaseDC(hdc=non-NULL)")}}),
                          rest));
    // A 3-3-2 colour cube, every entry reserved (no static colours in full screen).
    IDirectDrawPalette* palette = control.Object<IDirectDrawPalette>(4);
    ASSERT_NE(nullptr, palette);
    PALETTEENTRY entries[256];
    ASSERT_EQ(DD_OK, palette->GetEntries(0, 0, 256, entries));
    for (int i = 0; i < 256; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(((i >> 5) & 7) * 255 / 7, entries[i].peRed);
        EXPECT_EQ(((i >> 2) & 7) * 255 / 7, entries[i].peGreen);
        EXPECT_EQ((i & 3) * 255 / 3, entries[i].peBlue);
        EXPECT_EQ(PC_RESERVED, entries[i].peFlags);
    }
    TakeLog();
    EXPECT_EQ(0, Call("ZorvReleasePrimarySurface"));
    EXPECT_TRUE(SameLines({ReleaseLine("IDirectDrawPalette", 4, 1), DirectDrawLine("RestoreDisplayMode"),
                           ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0), NORMAL_LEVEL},
                          TakeLog()));
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(FullScreen, PaletteFailureRows) {
    const struct {
        const char* call;
        HRESULT hr;
        int32_t code;
    } rows[] = {
        {"IDirectDraw7::CreatePalette", DDERR_OUTOFMEMORY, -20},
        {"IDirectDrawSurface7::SetPalette", DDERR_INVALIDPIXELFORMAT, -21},
        {"IDirectDrawSurface7::GetDC", DDERR_CANTCREATEDC, -31},
        {"IDirectDrawSurface7::ReleaseDC", DDERR_NODC, -54},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        Lines log = FailedCreation(row.call, 1, row.hr, row.code, 8);
        EXPECT_EQ(1u, Containing(log, "RestoreDisplayMode").size());
        EXPECT_EQ(NORMAL_LEVEL, log.back());
        EXPECT_FALSE(WindowVisible());
        EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
        ExpectDesktopMode();
        control.Reset();
    }
}

TEST_F(FullScreen, DepthsFourToSevenAreRefusedAfterTheSurfaces) {
    std::vector<StandInMode> modes = {{640, 480, 4, 60}, {640, 480, 8, 60}, {640, 480, 16, 60}};
    control.SetModes(modes);
    EXPECT_EQ(-255, CreateScreen(4, 0));
    Lines log = TakeLog();
    EXPECT_EQ(1u, Containing(log, "::CreateSurface(").size());
    EXPECT_EQ(1u, Containing(log, "RestoreDisplayMode").size());
    EXPECT_TRUE(Containing(log, "CreatePalette").empty());
    EXPECT_FALSE(WindowVisible());
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();

    // A depth the display does not have: SetDisplayMode refuses it, -13.
    ShowWindow(hostScreen->Window(), SW_SHOW);
    EXPECT_EQ(-13, CreateScreen(5, 0));
    EXPECT_EQ(static_cast<int32_t>(DDERR_INVALIDMODE), LastDxResult());
    EXPECT_EQ(1, control.LiveObjects()) << control.LiveObjectsText();
}

TEST_F(FullScreen, UpdateFlipsWithoutWaiting) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0));
    ASSERT_EQ(0, Call("ZorvClearSurface", 0x1234, 1));
    TakeLog();
    const std::string flip = SurfaceLine(2, "Flip(target=NULL, flags=0x00000020)");
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_TRUE(SameLines({flip}, TakeLog()));
    // The back buffer's pixels are now the front's.
    IDirectDrawSurface7* front = control.Object<IDirectDrawSurface7>(2);
    ASSERT_NE(nullptr, front);
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    ASSERT_EQ(DD_OK, front->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr));
    uint16_t pixel;
    std::memcpy(&pixel, desc.lpSurface, 2);
    front->Unlock(nullptr);
    EXPECT_EQ(0x1234, pixel);
    TakeLog();

    // Still drawing: the frame is simply not flipped, and that is no failure.
    int32_t lastDx = LastDxResult();
    control.Fail("IDirectDrawSurface7::Flip", 1, DDERR_WASSTILLDRAWING);
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_EQ(lastDx, LastDxResult());
    EXPECT_TRUE(SameLines({SurfaceLine(2, "Flip(target=NULL, flags=0x00000020)", DDERR_WASSTILLDRAWING)}, TakeLog()));

    // Any other failure: -35, nothing after it.
    control.Fail("IDirectDrawSurface7::Flip", 1, DDERR_GENERIC);
    EXPECT_EQ(-35, Call("ZorvUpdateScreen", 0, 1, 0, 0));
    EXPECT_EQ(static_cast<int32_t>(DDERR_GENERIC), LastDxResult());
    EXPECT_EQ(1u, TakeLog().size());
}

TEST_F(FullScreen, LostSurfacesAreRestoredDuringTheUpdate) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0));
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 1, 32, 32, 0));
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 3, 16, 16, 0));
    ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
    ASSERT_EQ(4, SurfaceNumber(1));
    ASSERT_EQ(5, SurfaceNumber(3));
    const HRESULT lost = DDERR_SURFACELOST;
    control.LoseSurfaces();
    TakeLog();
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    // The primary's restore brings its chain back: the back buffer is not lost any more.
    EXPECT_TRUE(SameLines({SurfaceLine(2, "Flip(target=NULL, flags=0x00000020)", lost), SurfaceLine(2, "IsLost", lost),
                           SurfaceLine(2, "Restore"), SurfaceLine(3, "IsLost"), SurfaceLine(4, "IsLost", lost),
                           SurfaceLine(4, "Restore"), SurfaceLine(5, "IsLost", lost), SurfaceLine(5, "Restore")},
                          TakeLog()));
    EXPECT_EQ(SCREEN_UPDATED, Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_TRUE(SameLines({SurfaceLine(2, "Flip(target=NULL, flags=0x00000020)")}, TakeLog()));

    // A restore that fails: -34 with its result.
    control.LoseSurfaces();
    control.Fail("IDirectDrawSurface7::Restore", 2, DDERR_OUTOFVIDEOMEMORY);
    EXPECT_EQ(-34, Call("ZorvUpdateScreen", 0, 1, 0, 0));
    EXPECT_EQ(static_cast<int32_t>(DDERR_OUTOFVIDEOMEMORY), LastDxResult());
    Lines log = TakeLog();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(SurfaceLine(4, "Restore", DDERR_OUTOFVIDEOMEMORY), log.back());
}

TEST_F(FullScreen, ExitRestoresTheDisplayMode) {
    ASSERT_EQ(SCREEN_CREATED, CreateScreen(16, 0x200));
    ASSERT_EQ(0, Call("ZorvCreateOffscreenSurface", 1, 32, 32, 0));
    ASSERT_EQ(0, Call("ZorvSelectSurface", 0));
    TakeLog();
    EXPECT_EQ(0, Call("ZorvExit"));
    Lines log = TakeLog();
    EXPECT_TRUE(SameLines({DirectDrawLine("RestoreDisplayMode"), ReleaseLine(SURFACE, 2, 0), ReleaseLine(D3D, 1, 0),
                           NORMAL_LEVEL, ReleaseLine(SURFACE, 5, 0), ReleaseLine("IDirectDraw7", 0, 0)},
                          log));
    ExpectDesktopMode();
    EXPECT_EQ(0, control.LiveObjects()) << control.LiveObjectsText();
    EXPECT_FALSE(WindowVisible());
}
