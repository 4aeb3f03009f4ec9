// Smoke test of the stand-in ddraw.dll, run under Wine with WINEDLLOVERRIDES="ddraw=n" from
// its own folder: the DirectDraw entry points and IDirectDraw7 are called directly, and the
// call log, the failure rules, the world settings and the live-object count are checked.
#include <windows.h>
#include <ddraw.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "standin.h"

namespace {

using EnumerateExA = HRESULT(WINAPI*)(LPDDENUMCALLBACKEXA, LPVOID, DWORD);
using CreateEx = HRESULT(WINAPI*)(GUID*, LPVOID*, REFIID, IUnknown*);

HMODULE ddraw = nullptr;
EnumerateExA enumerate = nullptr;
CreateEx create = nullptr;
standin::Control control;

const GUID SECONDARY = {0x5A4F5256, 0x0000, 0x4000, {0x80, 0x00, 0, 0, 0, 0, 0, 1}};

// The folder of a file name, with its final backslash.
std::string Folder(const std::string& path) { return path.substr(0, path.find_last_of("\\/") + 1); }

std::string ModulePath(HMODULE module) {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(module, path, MAX_PATH);
    return path;
}

// Names in the export table of a DLL file, read from the file itself (not loaded).
std::set<std::string> FileExports(const std::string& path) {
    std::set<std::string> names;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return names;
    std::vector<uint8_t> bytes;
    uint8_t chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof(chunk), file)) > 0) bytes.insert(bytes.end(), chunk, chunk + n);
    std::fclose(file);

    auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
    auto nt = reinterpret_cast<const IMAGE_NT_HEADERS32*>(bytes.data() + dos->e_lfanew);
    auto sections = IMAGE_FIRST_SECTION(nt);
    // File offset of a relative virtual address, through the section table.
    auto at = [&](DWORD rva) -> const uint8_t* {
        for (WORD i = 0; i < nt->FileHeader.NumberOfSections; ++i) {
            const IMAGE_SECTION_HEADER& s = sections[i];
            if (rva >= s.VirtualAddress && rva < s.VirtualAddress + s.SizeOfRawData) {
                return bytes.data() + s.PointerToRawData + (rva - s.VirtualAddress);
            }
        }
        return nullptr;
    };
    const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    auto exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(at(dir.VirtualAddress));
    if (dir.VirtualAddress == 0 || exports == nullptr) return names;
    auto nameRvas = reinterpret_cast<const DWORD*>(at(exports->AddressOfNames));
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        names.insert(reinterpret_cast<const char*>(at(nameRvas[i])));
    }
    return names;
}

// ---- Device enumeration ----

struct SeenDevice {
    bool hasGuid;
    GUID guid;
    std::string description;
    std::string driverName;
    bool monitorNull;
};

struct DeviceList {
    std::vector<SeenDevice> devices;
    size_t stopAfter = 1000;
};

BOOL WINAPI DeviceCallback(GUID* guid, LPSTR description, LPSTR driverName, LPVOID context, HMONITOR monitor) {
    auto list = static_cast<DeviceList*>(context);
    SeenDevice device = {guid != nullptr, guid != nullptr ? *guid : GUID(), description, driverName, monitor == nullptr};
    list->devices.push_back(device);
    return list->devices.size() < list->stopAfter ? TRUE : FALSE;
}

// ---- Display modes ----

struct ModeList {
    std::vector<DDSURFACEDESC2> modes;
    size_t stopAfter = 1000;
};

HRESULT WINAPI ModeCallback(LPDDSURFACEDESC2 desc, LPVOID context) {
    auto list = static_cast<ModeList*>(context);
    list->modes.push_back(*desc);
    return list->modes.size() < list->stopAfter ? DDENUMRET_OK : DDENUMRET_CANCEL;
}

// Every test starts from the default world with an empty log and ends with nothing alive.
class StandIn : public testing::Test {
protected:
    void SetUp() override {
        control.Reset();
        ASSERT_EQ(0, control.LiveObjects());
    }
    void TearDown() override { EXPECT_EQ(0, control.LiveObjects()); }

    IDirectDraw7* Create(GUID* guid = nullptr) {
        IDirectDraw7* dd = nullptr;
        EXPECT_EQ(DD_OK, create(guid, reinterpret_cast<void**>(&dd), IID_IDirectDraw7, nullptr));
        return dd;
    }
    // The log since the last call of this (or since the test began).
    std::vector<std::string> TakeLog() {
        std::vector<std::string> lines = control.Log();
        control.ClearLog();
        return lines;
    }
};

using Lines = std::vector<std::string>;

}  // namespace

// ---- The loaded DLL ----

TEST_F(StandIn, LoadedDllIsTheStandInBesideTheProgram) {
    EXPECT_NE(nullptr, reinterpret_cast<void*>(GetProcAddress(ddraw, "StandInReset")));
    EXPECT_TRUE(control.Loaded());
    EXPECT_EQ(ddraw, GetModuleHandleA("ddraw.dll"));
    std::string dll = ModulePath(ddraw);
    std::string exe = ModulePath(nullptr);
    EXPECT_EQ(Folder(exe), Folder(dll)) << dll;
}

TEST_F(StandIn, ExportTablesOfTheThreeBuilds) {
    const std::set<std::string> control = {
        "StandInClearLog",  "StandInDisplayMode",     "StandInFail",           "StandInLiveObjects",
        "StandInLiveObjectsText", "StandInLoseSurfaces", "StandInLogCount",    "StandInLogText",
        "StandInObject", "StandInObjectNumber", "StandInRefCount",     "StandInReset",          "StandInSetDeviceClasses",
        "StandInSetDevices", "StandInSetModes",       "StandInSetZBufferFormats"};
    std::set<std::string> full = control;
    full.insert("DirectDrawEnumerateExA");
    full.insert("DirectDrawCreateEx");
    std::set<std::string> noEnum = control;
    noEnum.insert("DirectDrawCreateEx");
    std::set<std::string> noCreate = control;
    noCreate.insert("DirectDrawEnumerateExA");

    std::string here = Folder(ModulePath(nullptr));
    EXPECT_EQ(full, FileExports(here + "ddraw.dll"));
    EXPECT_EQ(noEnum, FileExports(here + "..\\standin-noenum\\ddraw.dll"));
    EXPECT_EQ(noCreate, FileExports(here + "..\\standin-nocreate\\ddraw.dll"));
}

// ---- DirectDrawEnumerateExA ----

TEST_F(StandIn, EnumeratesTheTwoDefaultDevices) {
    DeviceList list;
    EXPECT_EQ(DD_OK, enumerate(DeviceCallback, &list, DDENUM_ATTACHEDSECONDARYDEVICES |
                                                          DDENUM_DETACHEDSECONDARYDEVICES | DDENUM_NONDISPLAYDEVICES));
    ASSERT_EQ(2u, list.devices.size());
    EXPECT_FALSE(list.devices[0].hasGuid);
    EXPECT_EQ("Primary Display Driver", list.devices[0].description);
    EXPECT_EQ("display", list.devices[0].driverName);
    EXPECT_TRUE(list.devices[0].monitorNull);
    EXPECT_TRUE(list.devices[1].hasGuid);
    EXPECT_TRUE(IsEqualGUID(SECONDARY, list.devices[1].guid));
    EXPECT_EQ("Secondary Test Device", list.devices[1].description);
    EXPECT_EQ("secondary", list.devices[1].driverName);
    EXPECT_EQ((Lines{"DirectDrawEnumerateExA(callback=non-NULL, context=non-NULL, flags=0x00000007) -> 0x00000000"}),
              control.Log());
    EXPECT_EQ(1, control.LogCount());
}

TEST_F(StandIn, SecondaryDevicesOnlyWhenAskedFor) {
    DeviceList list;
    EXPECT_EQ(DD_OK, enumerate(DeviceCallback, &list, 0));
    ASSERT_EQ(1u, list.devices.size());
    EXPECT_FALSE(list.devices[0].hasGuid);
    EXPECT_EQ((Lines{"DirectDrawEnumerateExA(callback=non-NULL, context=non-NULL, flags=0x00000000) -> 0x00000000"}),
              control.Log());
}

TEST_F(StandIn, DeviceCountAndCallbackStop) {
    control.SetDevices(5);
    DeviceList list;
    EXPECT_EQ(DD_OK, enumerate(DeviceCallback, &list, DDENUM_ATTACHEDSECONDARYDEVICES));
    ASSERT_EQ(5u, list.devices.size());
    EXPECT_EQ("Test Device 4", list.devices[4].description);
    EXPECT_EQ("device4", list.devices[4].driverName);
    EXPECT_EQ(4, list.devices[4].guid.Data4[7]);

    DeviceList stopped;
    stopped.stopAfter = 2;
    EXPECT_EQ(DD_OK, enumerate(DeviceCallback, &stopped, DDENUM_ATTACHEDSECONDARYDEVICES));
    EXPECT_EQ(2u, stopped.devices.size());

    control.SetDevices(0);
    DeviceList none;
    EXPECT_EQ(DD_OK, enumerate(DeviceCallback, &none, DDENUM_ATTACHEDSECONDARYDEVICES));
    EXPECT_TRUE(none.devices.empty());

    EXPECT_EQ(DDERR_INVALIDPARAMS, enumerate(nullptr, nullptr, 0));
    EXPECT_EQ("DirectDrawEnumerateExA(callback=NULL, context=NULL, flags=0x00000000) -> 0x80070057", control.Log().back());
}

// ---- DirectDrawCreateEx and the object's life ----

TEST_F(StandIn, CreateAndReleaseCountsLiveObjects) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    EXPECT_EQ(1, control.LiveObjects());
    IDirectDraw7* second = Create(const_cast<GUID*>(&SECONDARY));
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(2, control.LiveObjects());
    EXPECT_EQ(2u, dd->AddRef());
    EXPECT_EQ(1u, dd->Release());
    EXPECT_EQ(0u, dd->Release());
    EXPECT_EQ(1, control.LiveObjects());
    EXPECT_EQ(0u, second->Release());
    EXPECT_EQ(0, control.LiveObjects());
    EXPECT_EQ((Lines{
                  "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x00000000",
                  "DirectDrawCreateEx(guid={5A4F5256-0000-4000-8000-000000000001}, out=non-NULL, "
                  "iid=IID_IDirectDraw7, outer=NULL) -> 0x00000000",
                  "IDirectDraw7::AddRef -> 2",
                  "IDirectDraw7::Release -> 1",
                  "IDirectDraw7::Release -> 0",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

TEST_F(StandIn, CreateChecksItsArguments) {
    IDirectDraw7* dd = nullptr;
    EXPECT_EQ(DD_OK, create(reinterpret_cast<GUID*>(DDCREATE_EMULATIONONLY), reinterpret_cast<void**>(&dd),
                            IID_IDirectDraw7, nullptr));
    ASSERT_NE(nullptr, dd);
    dd->Release();
    dd = nullptr;
    EXPECT_EQ(DD_OK, create(reinterpret_cast<GUID*>(DDCREATE_HARDWAREONLY), reinterpret_cast<void**>(&dd),
                            IID_IDirectDraw7, nullptr));
    ASSERT_NE(nullptr, dd);
    dd->Release();
    TakeLog();

    GUID unknown = SECONDARY;
    unknown.Data1 = 0x12345678;
    void* out = &unknown;
    EXPECT_EQ(DDERR_INVALIDDIRECTDRAWGUID, create(&unknown, &out, IID_IDirectDraw7, nullptr));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(DDERR_INVALIDPARAMS, create(nullptr, &out, IID_IDirectDraw, nullptr));
    EXPECT_EQ(CLASS_E_NOAGGREGATION, create(nullptr, &out, IID_IDirectDraw7, reinterpret_cast<IUnknown*>(&out)));
    EXPECT_EQ(DDERR_INVALIDPARAMS, create(nullptr, nullptr, IID_IDirectDraw7, nullptr));
    // Two devices: the third device's GUID is not one of them.
    GUID third = SECONDARY;
    third.Data4[7] = 2;
    EXPECT_EQ(DDERR_INVALIDDIRECTDRAWGUID, create(&third, &out, IID_IDirectDraw7, nullptr));
    EXPECT_EQ((Lines{
                  "DirectDrawCreateEx(guid={12345678-0000-4000-8000-000000000001}, out=non-NULL, iid=IID_IDirectDraw7, "
                  "outer=NULL) -> 0x88760231",
                  "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw, outer=NULL) -> 0x80070057",
                  "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=non-NULL) -> 0x80040110",
                  "DirectDrawCreateEx(guid=NULL, out=NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x80070057",
                  "DirectDrawCreateEx(guid={5A4F5256-0000-4000-8000-000000000002}, out=non-NULL, iid=IID_IDirectDraw7, "
                  "outer=NULL) -> 0x88760231",
              }),
              control.Log());
}

TEST_F(StandIn, CreateLogsTheEmulationOnlyValue) {
    IDirectDraw7* dd = nullptr;
    create(reinterpret_cast<GUID*>(DDCREATE_EMULATIONONLY), reinterpret_cast<void**>(&dd), IID_IDirectDraw7, nullptr);
    ASSERT_NE(nullptr, dd);
    dd->Release();
    EXPECT_EQ("DirectDrawCreateEx(guid=DDCREATE_EMULATIONONLY, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> "
              "0x00000000",
              control.Log()[0]);
}

TEST_F(StandIn, QueryInterface) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    void* out = nullptr;
    EXPECT_EQ(S_OK, dd->QueryInterface(IID_IUnknown, &out));
    EXPECT_EQ(static_cast<void*>(dd), out);
    EXPECT_EQ(S_OK, dd->QueryInterface(IID_IDirectDraw7, &out));
    EXPECT_EQ(static_cast<void*>(dd), out);
    EXPECT_EQ(E_NOINTERFACE, dd->QueryInterface(IID_IDirectDraw, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, dd->QueryInterface(IID_IDirectDraw7, nullptr));
    EXPECT_EQ(2u, dd->Release());
    EXPECT_EQ(1u, dd->Release());
    EXPECT_EQ(0u, dd->Release());
    EXPECT_EQ((Lines{
                  "IDirectDraw7::QueryInterface(iid=IID_IUnknown, out=non-NULL) -> 0x00000000",
                  "IDirectDraw7::QueryInterface(iid=IID_IDirectDraw7, out=non-NULL) -> 0x00000000",
                  "IDirectDraw7::QueryInterface(iid=IID_IDirectDraw, out=non-NULL) -> 0x80004002",
                  "IDirectDraw7::QueryInterface(iid=IID_IDirectDraw7, out=NULL) -> 0x80004003",
                  "IDirectDraw7::Release -> 2",
                  "IDirectDraw7::Release -> 1",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

// ---- GetCaps ----

TEST_F(StandIn, GetCapsFillsEveryFieldByTheRule) {
    static_assert(sizeof(DDCAPS) == 380, "DirectX 7 caps");
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    DDCAPS driver, hel;
    std::memset(&driver, 0, sizeof(driver));
    std::memset(&hel, 0, sizeof(hel));
    driver.dwSize = sizeof(driver);
    hel.dwSize = sizeof(hel);
    EXPECT_EQ(DD_OK, dd->GetCaps(&driver, &hel));
    const DWORD* d = reinterpret_cast<const DWORD*>(&driver);
    const DWORD* h = reinterpret_cast<const DWORD*>(&hel);
    for (size_t i = 0; i < sizeof(DDCAPS) / 4; ++i) {
        EXPECT_EQ(standin::CapsValue(true, i), d[i]) << i;
        EXPECT_EQ(standin::CapsValue(false, i), h[i]) << i;
    }
    EXPECT_EQ(380u, driver.dwSize);
    EXPECT_EQ(0x1001u, driver.dwCaps);
    EXPECT_EQ(0x2000u + offsetof(DDCAPS, dwVidMemTotal) / 4, hel.dwVidMemTotal);
    EXPECT_EQ(0x1000u + offsetof(DDCAPS, ddsCaps) / 4 + 3, driver.ddsCaps.dwCaps4);

    // Either may be NULL; a wrong size or two NULLs are refused and nothing is written.
    DDCAPS only;
    std::memset(&only, 0, sizeof(only));
    only.dwSize = sizeof(only);
    EXPECT_EQ(DD_OK, dd->GetCaps(nullptr, &only));
    EXPECT_EQ(0x2001u, only.dwCaps);
    EXPECT_EQ(DD_OK, dd->GetCaps(&only, nullptr));
    EXPECT_EQ(0x1001u, only.dwCaps);
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->GetCaps(nullptr, nullptr));
    DDCAPS small;
    std::memset(&small, 0, sizeof(small));
    small.dwSize = 316;  // DirectX 6 layout
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->GetCaps(&small, nullptr));
    EXPECT_EQ(0u, small.dwCaps);
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->GetCaps(&only, &small));
    dd->Release();
    EXPECT_EQ((Lines{
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel.dwSize=380) -> 0x00000000",
                  "IDirectDraw7::GetCaps(driver=NULL, hel.dwSize=380) -> 0x00000000",
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL) -> 0x00000000",
                  "IDirectDraw7::GetCaps(driver=NULL, hel=NULL) -> 0x80070057",
                  "IDirectDraw7::GetCaps(driver.dwSize=316, hel=NULL) -> 0x80070057",
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel.dwSize=316) -> 0x80070057",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

// ---- Display modes ----

TEST_F(StandIn, EnumDisplayModesReportsTheDefaultList) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    ModeList list;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(DDEDM_REFRESHRATES | DDEDM_STANDARDVGAMODES, nullptr, &list, ModeCallback));
    const StandInMode expected[] = {{640, 480, 8, 60},  {640, 480, 16, 60},  {640, 480, 16, 75},
                                    {800, 600, 16, 0},  {1024, 768, 32, 60}, {1024, 768, 32, 75}};
    ASSERT_EQ(6u, list.modes.size());
    for (size_t i = 0; i < 6; ++i) {
        const DDSURFACEDESC2& m = list.modes[i];
        EXPECT_EQ(sizeof(DDSURFACEDESC2), m.dwSize);
        EXPECT_EQ(expected[i].width, m.dwWidth) << i;
        EXPECT_EQ(expected[i].height, m.dwHeight) << i;
        EXPECT_EQ(expected[i].bpp, m.ddpfPixelFormat.dwRGBBitCount) << i;
        EXPECT_EQ(expected[i].refresh, m.dwRefreshRate) << i;
        EXPECT_EQ(static_cast<LONG>(expected[i].width * expected[i].bpp / 8), m.lPitch) << i;
        EXPECT_TRUE(m.ddpfPixelFormat.dwFlags & DDPF_RGB);
    }
    EXPECT_TRUE(list.modes[0].ddpfPixelFormat.dwFlags & DDPF_PALETTEINDEXED8);
    EXPECT_EQ(0xF800u, list.modes[1].ddpfPixelFormat.dwRBitMask);
    EXPECT_EQ(0x07E0u, list.modes[1].ddpfPixelFormat.dwGBitMask);
    EXPECT_EQ(0x001Fu, list.modes[1].ddpfPixelFormat.dwBBitMask);
    EXPECT_EQ(0x00FF0000u, list.modes[4].ddpfPixelFormat.dwRBitMask);
    EXPECT_EQ(0x0000FF00u, list.modes[4].ddpfPixelFormat.dwGBitMask);
    EXPECT_EQ(0x000000FFu, list.modes[4].ddpfPixelFormat.dwBBitMask);

    // Without DDEDM_REFRESHRATES each size and depth comes once, without a rate.
    ModeList plain;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(0, nullptr, &plain, ModeCallback));
    EXPECT_EQ(4u, plain.modes.size());
    for (const DDSURFACEDESC2& m : plain.modes) EXPECT_EQ(0u, m.dwRefreshRate);
    if (plain.modes.size() == 4) {
        EXPECT_EQ(800u, plain.modes[2].dwWidth);
    }

    // A description filters; the callback can stop the enumeration.
    DDSURFACEDESC2 filter;
    std::memset(&filter, 0, sizeof(filter));
    filter.dwSize = sizeof(filter);
    filter.dwFlags = DDSD_WIDTH | DDSD_PIXELFORMAT;
    filter.dwWidth = 640;
    filter.ddpfPixelFormat.dwSize = sizeof(DDPIXELFORMAT);
    filter.ddpfPixelFormat.dwRGBBitCount = 16;
    ModeList filtered;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(DDEDM_REFRESHRATES, &filter, &filtered, ModeCallback));
    ASSERT_EQ(2u, filtered.modes.size());
    EXPECT_EQ(60u, filtered.modes[0].dwRefreshRate);
    EXPECT_EQ(75u, filtered.modes[1].dwRefreshRate);
    ModeList first;
    first.stopAfter = 1;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(DDEDM_REFRESHRATES, nullptr, &first, ModeCallback));
    EXPECT_EQ(1u, first.modes.size());
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->EnumDisplayModes(0, nullptr, nullptr, nullptr));
    dd->Release();
    EXPECT_EQ((Lines{
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000003, desc=NULL, context=non-NULL, callback=non-NULL) "
                  "-> 0x00000000",
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000000, desc=NULL, context=non-NULL, callback=non-NULL) "
                  "-> 0x00000000",
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000001, desc.dwSize=124, desc.dwFlags=0x00001004, "
                  "context=non-NULL, callback=non-NULL) -> 0x00000000",
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000001, desc=NULL, context=non-NULL, callback=non-NULL) "
                  "-> 0x00000000",
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000000, desc=NULL, context=NULL, callback=NULL) -> "
                  "0x80070057",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

TEST_F(StandIn, ConfiguredModesAndResetRestoresThem) {
    control.SetModes({{320, 240, 8, 70}, {512, 384, 32, 0}});
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    ModeList list;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(DDEDM_REFRESHRATES, nullptr, &list, ModeCallback));
    ASSERT_EQ(2u, list.modes.size());
    EXPECT_EQ(320u, list.modes[0].dwWidth);
    EXPECT_EQ(70u, list.modes[0].dwRefreshRate);
    EXPECT_EQ(2048, list.modes[1].lPitch);

    control.SetModes({});
    ModeList none;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(DDEDM_REFRESHRATES, nullptr, &none, ModeCallback));
    EXPECT_TRUE(none.modes.empty());

    // Reset leaves the live object alone and brings the default list back.
    control.Reset();
    EXPECT_EQ(1, control.LiveObjects());
    EXPECT_EQ(0, control.LogCount());
    ModeList back;
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(DDEDM_REFRESHRATES, nullptr, &back, ModeCallback));
    EXPECT_EQ(6u, back.modes.size());
    EXPECT_EQ(0u, dd->Release());
}

TEST_F(StandIn, CooperativeLevelAndDisplayMode) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    HWND window = GetDesktopWindow();
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof(desc));
    desc.dwSize = sizeof(desc);
    EXPECT_EQ(DD_OK, dd->GetDisplayMode(&desc));
    EXPECT_EQ(1024u, desc.dwWidth);
    EXPECT_EQ(768u, desc.dwHeight);
    EXPECT_EQ(32u, desc.ddpfPixelFormat.dwRGBBitCount);
    EXPECT_EQ(60u, desc.dwRefreshRate);

    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->SetCooperativeLevel(window, DDSCL_EXCLUSIVE));
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->SetCooperativeLevel(nullptr, DDSCL_EXCLUSIVE | DDSCL_FULLSCREEN));
    EXPECT_EQ(DD_OK, dd->SetCooperativeLevel(window, DDSCL_EXCLUSIVE | DDSCL_FULLSCREEN));
    EXPECT_EQ(DD_OK, dd->SetDisplayMode(640, 480, 16, 0, 0));
    StandInMode mode = control.DisplayMode();
    EXPECT_EQ(640u, mode.width);
    EXPECT_EQ(16u, mode.bpp);
    EXPECT_EQ(60u, mode.refresh);
    EXPECT_EQ(DD_OK, dd->SetDisplayMode(640, 480, 16, 75, 0));
    EXPECT_EQ(DD_OK, dd->GetDisplayMode(&desc));
    EXPECT_EQ(640u, desc.dwWidth);
    EXPECT_EQ(75u, desc.dwRefreshRate);
    EXPECT_EQ(1280, desc.lPitch);
    EXPECT_EQ(DDERR_INVALIDMODE, dd->SetDisplayMode(640, 480, 24, 0, 0));
    EXPECT_EQ(DDERR_INVALIDMODE, dd->SetDisplayMode(800, 600, 16, 85, 0));
    EXPECT_EQ(DD_OK, dd->RestoreDisplayMode());
    EXPECT_EQ(1024u, control.DisplayMode().width);
    DDSURFACEDESC2 wrong = desc;
    wrong.dwSize = 108;
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->GetDisplayMode(&wrong));
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->GetDisplayMode(nullptr));
    EXPECT_EQ(DD_OK, dd->SetCooperativeLevel(nullptr, DDSCL_NORMAL));
    dd->Release();
    EXPECT_EQ((Lines{
                  "IDirectDraw7::GetDisplayMode(desc.dwSize=124) -> 0x00000000",
                  "IDirectDraw7::SetCooperativeLevel(hwnd=non-NULL, flags=0x00000010) -> 0x80070057",
                  "IDirectDraw7::SetCooperativeLevel(hwnd=NULL, flags=0x00000011) -> 0x80070057",
                  "IDirectDraw7::SetCooperativeLevel(hwnd=non-NULL, flags=0x00000011) -> 0x00000000",
                  "IDirectDraw7::SetDisplayMode(width=640, height=480, bpp=16, refresh=0, flags=0x00000000) -> "
                  "0x00000000",
                  "IDirectDraw7::SetDisplayMode(width=640, height=480, bpp=16, refresh=75, flags=0x00000000) -> "
                  "0x00000000",
                  "IDirectDraw7::GetDisplayMode(desc.dwSize=124) -> 0x00000000",
                  "IDirectDraw7::SetDisplayMode(width=640, height=480, bpp=24, refresh=0, flags=0x00000000) -> "
                  "0x88760078",
                  "IDirectDraw7::SetDisplayMode(width=800, height=600, bpp=16, refresh=85, flags=0x00000000) -> "
                  "0x88760078",
                  "IDirectDraw7::RestoreDisplayMode -> 0x00000000",
                  "IDirectDraw7::GetDisplayMode(desc.dwSize=108) -> 0x80070057",
                  "IDirectDraw7::GetDisplayMode(desc=NULL) -> 0x80070057",
                  "IDirectDraw7::SetCooperativeLevel(hwnd=NULL, flags=0x00000008) -> 0x00000000",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

// ---- The vtable: every method in MinGW's order, each logging itself ----

TEST_F(StandIn, CreateMethodsCheckTheirArguments) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->CreateClipper(0, nullptr, nullptr));
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->CreatePalette(DDPCAPS_8BIT, nullptr, nullptr, nullptr));
    EXPECT_EQ(DDERR_INVALIDPARAMS, dd->CreateSurface(nullptr, nullptr, nullptr));
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    desc.dwFlags = DDSD_CAPS;
    desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE;
    IDirectDrawSurface7* surface = nullptr;
    EXPECT_EQ(DDERR_NOCOOPERATIVELEVELSET, dd->CreateSurface(&desc, &surface, nullptr));
    EXPECT_EQ(nullptr, surface);
    dd->Release();
    EXPECT_EQ((Lines{
                  "IDirectDraw7::CreateClipper(flags=0x00000000, out=NULL, outer=NULL) -> 0x80070057",
                  "IDirectDraw7::CreatePalette(flags=0x00000004, entries=NULL, out=NULL, outer=NULL) -> 0x80070057",
                  "IDirectDraw7::CreateSurface(desc=NULL, out=NULL, outer=NULL) -> 0x80070057",
                  "IDirectDraw7::CreateSurface(desc.dwSize=124, desc.dwFlags=0x00000001, caps=0x00000200, "
                  "caps2=0x00000000, width=0, height=0, backBuffers=0, out=non-NULL, outer=NULL) -> 0x887600D4",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

TEST_F(StandIn, EveryOtherMethodLogsItselfAndIsUnsupported) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    const HRESULT U = DDERR_UNSUPPORTED;
    EXPECT_EQ(U, dd->Compact());
    EXPECT_EQ(U, dd->DuplicateSurface(nullptr, nullptr));
    EXPECT_EQ(U, dd->EnumSurfaces(0, nullptr, nullptr, nullptr));
    EXPECT_EQ(U, dd->FlipToGDISurface());
    EXPECT_EQ(U, dd->GetFourCCCodes(nullptr, nullptr));
    EXPECT_EQ(U, dd->GetGDISurface(nullptr));
    EXPECT_EQ(U, dd->GetMonitorFrequency(nullptr));
    EXPECT_EQ(U, dd->GetScanLine(nullptr));
    EXPECT_EQ(U, dd->GetVerticalBlankStatus(nullptr));
    EXPECT_EQ(U, dd->Initialize(nullptr));
    EXPECT_EQ(U, dd->WaitForVerticalBlank(DDWAITVB_BLOCKBEGIN, nullptr));
    EXPECT_EQ(U, dd->GetAvailableVidMem(nullptr, nullptr, nullptr));
    EXPECT_EQ(U, dd->GetSurfaceFromDC(nullptr, nullptr));
    EXPECT_EQ(U, dd->RestoreAllSurfaces());
    EXPECT_EQ(U, dd->TestCooperativeLevel());
    EXPECT_EQ(U, dd->GetDeviceIdentifier(nullptr, 0));
    EXPECT_EQ(U, dd->StartModeTest(nullptr, 0, 0));
    EXPECT_EQ(U, dd->EvaluateMode(0, nullptr));
    dd->Release();
    EXPECT_EQ((Lines{
                  "IDirectDraw7::Compact -> 0x80004001",
                  "IDirectDraw7::DuplicateSurface(surface=NULL, out=NULL) -> 0x80004001",
                  "IDirectDraw7::EnumSurfaces(flags=0x00000000, desc=NULL, context=NULL, callback=NULL) -> 0x80004001",
                  "IDirectDraw7::FlipToGDISurface -> 0x80004001",
                  "IDirectDraw7::GetFourCCCodes(count=NULL, codes=NULL) -> 0x80004001",
                  "IDirectDraw7::GetGDISurface(out=NULL) -> 0x80004001",
                  "IDirectDraw7::GetMonitorFrequency(frequency=NULL) -> 0x80004001",
                  "IDirectDraw7::GetScanLine(line=NULL) -> 0x80004001",
                  "IDirectDraw7::GetVerticalBlankStatus(inBlank=NULL) -> 0x80004001",
                  "IDirectDraw7::Initialize(guid=NULL) -> 0x80004001",
                  "IDirectDraw7::WaitForVerticalBlank(flags=0x00000001, event=NULL) -> 0x80004001",
                  "IDirectDraw7::GetAvailableVidMem(caps=NULL, total=NULL, free=NULL) -> 0x80004001",
                  "IDirectDraw7::GetSurfaceFromDC(hdc=NULL, out=NULL) -> 0x80004001",
                  "IDirectDraw7::RestoreAllSurfaces -> 0x80004001",
                  "IDirectDraw7::TestCooperativeLevel -> 0x80004001",
                  "IDirectDraw7::GetDeviceIdentifier(identifier=NULL, flags=0x00000000) -> 0x80004001",
                  "IDirectDraw7::StartModeTest(modes=NULL, count=0, flags=0x00000000) -> 0x80004001",
                  "IDirectDraw7::EvaluateMode(flags=0x00000000, timeout=NULL) -> 0x80004001",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

// Raw slots at the byte offsets of ddraw.h's comments, independent of the C++ declaration.
TEST_F(StandIn, VtableSlotsByOffset) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    TakeLog();
    void** vtable = *reinterpret_cast<void***>(dd);
    using GetCapsSlot = HRESULT(WINAPI*)(IDirectDraw7*, DDCAPS*, DDCAPS*);
    using SetModeSlot = HRESULT(WINAPI*)(IDirectDraw7*, DWORD, DWORD, DWORD, DWORD, DWORD);
    using NoArgSlot = HRESULT(WINAPI*)(IDirectDraw7*);
    using EvaluateSlot = HRESULT(WINAPI*)(IDirectDraw7*, DWORD, DWORD*);
    EXPECT_EQ(DDERR_INVALIDPARAMS, reinterpret_cast<GetCapsSlot>(vtable[0x2c / 4])(dd, nullptr, nullptr));
    EXPECT_EQ(DD_OK, reinterpret_cast<SetModeSlot>(vtable[0x54 / 4])(dd, 800, 600, 16, 0, 0));
    EXPECT_EQ(DD_OK, reinterpret_cast<NoArgSlot>(vtable[0x4c / 4])(dd));
    EXPECT_EQ(DDERR_UNSUPPORTED, reinterpret_cast<NoArgSlot>(vtable[0x68 / 4])(dd));
    EXPECT_EQ(DDERR_UNSUPPORTED, reinterpret_cast<EvaluateSlot>(vtable[0x74 / 4])(dd, 0, nullptr));
    dd->Release();
    EXPECT_EQ((Lines{
                  "IDirectDraw7::GetCaps(driver=NULL, hel=NULL) -> 0x80070057",
                  "IDirectDraw7::SetDisplayMode(width=800, height=600, bpp=16, refresh=0, flags=0x00000000) -> "
                  "0x00000000",
                  "IDirectDraw7::RestoreDisplayMode -> 0x00000000",
                  "IDirectDraw7::TestCooperativeLevel -> 0x80004001",
                  "IDirectDraw7::EvaluateMode(flags=0x00000000, timeout=NULL) -> 0x80004001",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

// ---- Failure injection ----

TEST_F(StandIn, FailTheNthCallCountedFromTheRule) {
    IDirectDraw7* first = Create();  // before the rule: not counted
    ASSERT_NE(nullptr, first);
    first->Release();
    control.ClearLog();

    control.Fail("DirectDrawCreateEx", 2, DDERR_NODIRECTDRAWHW);
    IDirectDraw7* a = Create();
    ASSERT_NE(nullptr, a);
    IDirectDraw7* b = reinterpret_cast<IDirectDraw7*>(&b);  // left as passed on injected failure
    EXPECT_EQ(DDERR_NODIRECTDRAWHW, create(nullptr, reinterpret_cast<void**>(&b), IID_IDirectDraw7, nullptr));
    EXPECT_EQ(reinterpret_cast<IDirectDraw7*>(&b), b);
    EXPECT_EQ(1, control.LiveObjects());
    IDirectDraw7* c = Create();  // the rule is spent
    ASSERT_NE(nullptr, c);
    a->Release();
    c->Release();
    EXPECT_EQ((Lines{
                  "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x00000000",
                  "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x88760233",
                  "DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL) -> 0x00000000",
                  "IDirectDraw7::Release -> 0",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

TEST_F(StandIn, FailEveryCallAndSeveralRules) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    control.Fail("IDirectDraw7::GetCaps", 0, DDERR_GENERIC);
    control.Fail("IDirectDraw7::EnumDisplayModes", 1, E_OUTOFMEMORY);
    control.Fail("DirectDrawEnumerateExA", 0, DDERR_NODIRECTDRAWSUPPORT);
    // A second rule on the same call: the first rule set gives the result while both fire.
    control.Fail("IDirectDraw7::GetCaps", 2, DDERR_INVALIDOBJECT);
    control.Fail("IDirectDraw7::Release", 0, E_FAIL);  // never applies
    TakeLog();

    DDCAPS caps;
    std::memset(&caps, 0, sizeof(caps));
    caps.dwSize = sizeof(caps);
    EXPECT_EQ(DDERR_GENERIC, dd->GetCaps(&caps, nullptr));
    EXPECT_EQ(DDERR_GENERIC, dd->GetCaps(&caps, nullptr));
    EXPECT_EQ(DDERR_GENERIC, dd->GetCaps(&caps, nullptr));
    EXPECT_EQ(0u, caps.dwCaps);  // no work done

    ModeList modes;
    EXPECT_EQ(E_OUTOFMEMORY, dd->EnumDisplayModes(0, nullptr, &modes, ModeCallback));
    EXPECT_TRUE(modes.modes.empty());
    EXPECT_EQ(DD_OK, dd->EnumDisplayModes(0, nullptr, &modes, ModeCallback));
    EXPECT_EQ(4u, modes.modes.size());

    DeviceList devices;
    EXPECT_EQ(DDERR_NODIRECTDRAWSUPPORT, enumerate(DeviceCallback, &devices, 0));
    EXPECT_TRUE(devices.devices.empty());

    // nth < 0 removes the rules of one call.
    control.Fail("IDirectDraw7::GetCaps", -1, S_OK);
    EXPECT_EQ(DD_OK, dd->GetCaps(&caps, nullptr));
    EXPECT_EQ(0x1001u, caps.dwCaps);
    EXPECT_EQ(0u, dd->Release());

    EXPECT_EQ((Lines{
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL) -> 0x80004005",
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL) -> 0x80004005",
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL) -> 0x80004005",
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000000, desc=NULL, context=non-NULL, callback=non-NULL) "
                  "-> 0x8007000E",
                  "IDirectDraw7::EnumDisplayModes(flags=0x00000000, desc=NULL, context=non-NULL, callback=non-NULL) "
                  "-> 0x00000000",
                  "DirectDrawEnumerateExA(callback=non-NULL, context=non-NULL, flags=0x00000000) -> 0x887600DE",
                  "IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL) -> 0x00000000",
                  "IDirectDraw7::Release -> 0",
              }),
              control.Log());
}

TEST_F(StandIn, SecondRuleGivesTheResultWhenOnlyItFires) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    control.Fail("IDirectDraw7::SetDisplayMode", 3, DDERR_GENERIC);
    control.Fail("IDirectDraw7::SetDisplayMode", 2, DDERR_NOEXCLUSIVEMODE);
    EXPECT_EQ(DD_OK, dd->SetDisplayMode(640, 480, 8, 0, 0));
    EXPECT_EQ(DDERR_NOEXCLUSIVEMODE, dd->SetDisplayMode(800, 600, 16, 0, 0));
    EXPECT_EQ(640u, control.DisplayMode().width);  // the failed call changed nothing
    EXPECT_EQ(DDERR_GENERIC, dd->SetDisplayMode(800, 600, 16, 0, 0));
    EXPECT_EQ(DD_OK, dd->SetDisplayMode(800, 600, 16, 0, 0));
    EXPECT_EQ(800u, control.DisplayMode().width);
    // Reset drops the rules and brings the desktop mode back; the object stays.
    control.Fail("IDirectDraw7::RestoreDisplayMode", 0, DDERR_GENERIC);
    control.Reset();
    EXPECT_EQ(1024u, control.DisplayMode().width);
    EXPECT_EQ(DD_OK, dd->RestoreDisplayMode());
    EXPECT_EQ(1, control.LiveObjects());
    EXPECT_EQ(0u, dd->Release());
}

TEST_F(StandIn, FailQueryInterfaceLeavesTheCountAlone) {
    IDirectDraw7* dd = Create();
    ASSERT_NE(nullptr, dd);
    control.Fail("IDirectDraw7::QueryInterface", 1, E_NOINTERFACE);
    void* out = nullptr;
    EXPECT_EQ(E_NOINTERFACE, dd->QueryInterface(IID_IDirectDraw7, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0u, dd->Release());
}

// ---- The log text ----

TEST_F(StandIn, LogTextCopiesAndReportsItsLength) {
    EXPECT_EQ(0, control.logText(nullptr, 0));
    enumerate(DeviceCallback, nullptr, 0x100);  // refused: unknown flag, callback not called
    enumerate(nullptr, nullptr, 0);
    std::string expected =
        "DirectDrawEnumerateExA(callback=non-NULL, context=NULL, flags=0x00000100) -> 0x80070057\n"
        "DirectDrawEnumerateExA(callback=NULL, context=NULL, flags=0x00000000) -> 0x80070057\n";
    EXPECT_EQ(static_cast<int>(expected.size()), control.logText(nullptr, 0));
    EXPECT_EQ(expected, control.LogText());
    char small[11];
    std::memset(small, 'x', sizeof(small));
    EXPECT_EQ(static_cast<int>(expected.size()), control.logText(small, sizeof(small)));
    EXPECT_EQ(expected.substr(0, 10), std::string(small));
    EXPECT_EQ(2, control.LogCount());
    control.ClearLog();
    EXPECT_EQ(0, control.LogCount());
    EXPECT_TRUE(control.Log().empty());
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // From the program's folder, where the stand-in sits; WINEDLLOVERRIDES=ddraw=n lets Wine
    // take it instead of its own.
    ddraw = LoadLibraryA("ddraw.dll");
    if (ddraw == nullptr) {
        std::fprintf(stderr, "cannot load ddraw.dll (error %lu)\n", GetLastError());
        return 2;
    }
    std::printf("ddraw.dll: %s\n", ModulePath(ddraw).c_str());
    if (GetProcAddress(ddraw, "StandInReset") == nullptr || !control.Load()) {
        std::fprintf(stderr, "ddraw.dll is not the stand-in (WINEDLLOVERRIDES=ddraw=n missing?)\n");
        return 2;
    }
    enumerate = reinterpret_cast<EnumerateExA>(reinterpret_cast<void*>(GetProcAddress(ddraw, "DirectDrawEnumerateExA")));
    create = reinterpret_cast<CreateEx>(reinterpret_cast<void*>(GetProcAddress(ddraw, "DirectDrawCreateEx")));
    if (enumerate == nullptr || create == nullptr) {
        std::fprintf(stderr, "ddraw.dll lacks DirectDrawEnumerateExA or DirectDrawCreateEx\n");
        return 2;
    }
    return RUN_ALL_TESTS();
}
