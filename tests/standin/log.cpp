// The stand-in's shared state: the call log, the failure rules, the configurable world, the
// live-object count, argument formatting, and the control API that tests call.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include <d3d.h>

#include "standin_private.h"

namespace standin {

namespace {

// One lock for all shared state; it is never held while calling back into the caller.
CRITICAL_SECTION lock;

struct Guard {
    Guard() { EnterCriticalSection(&lock); }
    ~Guard() { LeaveCriticalSection(&lock); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

struct Rule {
    std::string call;
    int nth;      // 0 = every call
    int seen;     // matching calls since the rule was set
    HRESULT hr;
};

std::vector<std::string> callLog;
std::vector<Rule> rules;
LONG liveObjects = 0;

const StandInMode DEFAULT_MODES[] = {
    {640, 480, 8, 60}, {640, 480, 16, 60}, {640, 480, 16, 75},
    {800, 600, 16, 0}, {1024, 768, 32, 60}, {1024, 768, 32, 75},
};
constexpr int DEFAULT_MODE_COUNT = sizeof(DEFAULT_MODES) / sizeof(DEFAULT_MODES[0]);
const StandInMode DESKTOP_MODE = {1024, 768, 32, 60};
constexpr int DEFAULT_DEVICE_COUNT = 2;

int deviceCount = DEFAULT_DEVICE_COUNT;
StandInMode modes[MAX_MODES];
int modeCount = 0;
StandInMode currentMode = DESKTOP_MODE;

// Device n's GUID: {5A4F5256-0000-4000-8000-0000000000nn}.
GUID DeviceGuid(int n) {
    GUID guid = {0x5A4F5256, 0x0000, 0x4000, {0x80, 0x00, 0, 0, 0, 0, 0, static_cast<BYTE>(n)}};
    return guid;
}

Device MakeDevice(int n) {
    Device device = {};
    device.hasGuid = n > 0;
    if (device.hasGuid) device.guid = DeviceGuid(n);
    if (n == 0) {
        std::snprintf(device.description, sizeof(device.description), "Primary Display Driver");
        std::snprintf(device.driverName, sizeof(device.driverName), "display");
    } else if (n == 1) {
        std::snprintf(device.description, sizeof(device.description), "Secondary Test Device");
        std::snprintf(device.driverName, sizeof(device.driverName), "secondary");
    } else {
        std::snprintf(device.description, sizeof(device.description), "Test Device %d", n);
        std::snprintf(device.driverName, sizeof(device.driverName), "device%d", n);
    }
    return device;
}

void DefaultModesLocked() {
    std::memcpy(modes, DEFAULT_MODES, sizeof(DEFAULT_MODES));
    modeCount = DEFAULT_MODE_COUNT;
}

// Adds one line; a failed allocation loses the line rather than throwing into the caller.
void Append(const std::string& line) {
    Guard guard;
    try {
        callLog.push_back(line);
    } catch (...) {
    }
}

}  // namespace

// ---- Process set-up ----

void StartUp() {
    InitializeCriticalSection(&lock);
    DefaultModesLocked();
}

void ShutDown() { DeleteCriticalSection(&lock); }

// ---- Call log and failure rules ----

HRESULT Finish(const char* call, const std::string& args, HRESULT hr) {
    unsigned long code = static_cast<unsigned long>(hr);
    if (args.empty()) {
        Append(Format("%s -> 0x%08lX", call, code));
    } else {
        Append(Format("%s(%s) -> 0x%08lX", call, args.c_str(), code));
    }
    return hr;
}

ULONG FinishCount(const char* call, ULONG count) {
    Append(Format("%s -> %lu", call, static_cast<unsigned long>(count)));
    return count;
}

bool Injected(const char* call, HRESULT* hr) {
    Guard guard;
    bool fired = false;
    for (Rule& rule : rules) {
        if (rule.call != call) continue;
        ++rule.seen;
        if (!fired && (rule.nth == 0 || rule.seen == rule.nth)) {
            fired = true;
            *hr = rule.hr;
        }
    }
    // Rules for one call only are spent once they have fired.
    for (size_t i = 0; i < rules.size();) {
        if (rules[i].nth > 0 && rules[i].seen >= rules[i].nth) {
            rules.erase(rules.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
    return fired;
}

// ---- Argument formatting ----

std::string Format(const char* format, ...) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof(buffer), format, args);
    va_end(args);
    return buffer;
}

std::string Hex(DWORD value) { return Format("0x%08lX", static_cast<unsigned long>(value)); }

std::string Pointer(const void* pointer) { return pointer != nullptr ? "non-NULL" : "NULL"; }

std::string GuidText(const GUID& g) {
    return Format("{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<unsigned long>(g.Data1),
                  g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5],
                  g.Data4[6], g.Data4[7]);
}

std::string DeviceGuidText(const GUID* guid) {
    if (guid == nullptr) return "NULL";
    if (guid == reinterpret_cast<const GUID*>(DDCREATE_EMULATIONONLY)) return "DDCREATE_EMULATIONONLY";
    if (guid == reinterpret_cast<const GUID*>(DDCREATE_HARDWAREONLY)) return "DDCREATE_HARDWAREONLY";
    return GuidText(*guid);
}

std::string IidText(REFIID iid) {
    // The interfaces a DirectDraw 7 program asks for; more join as the stand-in grows.
    static const struct {
        const GUID* iid;
        const char* name;
    } NAMES[] = {
        {&IID_IUnknown, "IID_IUnknown"},
        {&IID_IDirectDraw, "IID_IDirectDraw"},
        {&IID_IDirectDraw2, "IID_IDirectDraw2"},
        {&IID_IDirectDraw4, "IID_IDirectDraw4"},
        {&IID_IDirectDraw7, "IID_IDirectDraw7"},
        {&IID_IDirectDrawSurface7, "IID_IDirectDrawSurface7"},
        {&IID_IDirectDrawClipper, "IID_IDirectDrawClipper"},
        {&IID_IDirectDrawPalette, "IID_IDirectDrawPalette"},
        {&IID_IDirectDrawGammaControl, "IID_IDirectDrawGammaControl"},
        {&IID_IDirect3D7, "IID_IDirect3D7"},
        {&IID_IDirect3DDevice7, "IID_IDirect3DDevice7"},
        {&IID_IDirect3DHALDevice, "IID_IDirect3DHALDevice"},
        {&IID_IDirect3DTnLHalDevice, "IID_IDirect3DTnLHalDevice"},
        {&IID_IDirect3DRGBDevice, "IID_IDirect3DRGBDevice"},
        {&IID_IDirect3DVertexBuffer7, "IID_IDirect3DVertexBuffer7"},
    };
    for (const auto& entry : NAMES) {
        if (IsEqualGUID(iid, *entry.iid)) return entry.name;
    }
    return GuidText(iid);
}

std::string SizedText(const char* name, const void* structure) {
    if (structure == nullptr) return Format("%s=NULL", name);
    DWORD size;
    std::memcpy(&size, structure, sizeof(size));
    return Format("%s.dwSize=%lu", name, static_cast<unsigned long>(size));
}

// ---- Live COM objects ----

void ObjectMade() { InterlockedIncrement(&liveObjects); }
void ObjectGone() { InterlockedDecrement(&liveObjects); }

// ---- The world ----

int Devices(Device* out) {
    int count;
    {
        Guard guard;
        count = deviceCount;
    }
    for (int i = 0; i < count; ++i) out[i] = MakeDevice(i);
    return count;
}

int Modes(StandInMode* out) {
    Guard guard;
    std::memcpy(out, modes, sizeof(StandInMode) * static_cast<size_t>(modeCount));
    return modeCount;
}

StandInMode CurrentMode() {
    Guard guard;
    return currentMode;
}

void SetCurrentMode(const StandInMode& mode) {
    Guard guard;
    currentMode = mode;
}

StandInMode DesktopMode() { return DESKTOP_MODE; }

int DeviceIndex(const GUID* guid) {
    if (guid == nullptr || guid == reinterpret_cast<const GUID*>(DDCREATE_EMULATIONONLY) ||
        guid == reinterpret_cast<const GUID*>(DDCREATE_HARDWAREONLY)) {
        return 0;
    }
    Guard guard;
    for (int i = 1; i < deviceCount; ++i) {
        if (IsEqualGUID(*guid, DeviceGuid(i))) return i;
    }
    return -1;
}

void DescribeMode(const StandInMode& mode, DDSURFACEDESC2* desc) {
    std::memset(desc, 0, sizeof(*desc));
    desc->dwSize = sizeof(*desc);
    desc->dwFlags = DDSD_WIDTH | DDSD_HEIGHT | DDSD_PITCH | DDSD_PIXELFORMAT | DDSD_REFRESHRATE;
    desc->dwWidth = mode.width;
    desc->dwHeight = mode.height;
    desc->lPitch = static_cast<LONG>(mode.width * ((mode.bpp + 7) / 8));
    desc->dwRefreshRate = mode.refresh;
    DDPIXELFORMAT& pf = desc->ddpfPixelFormat;
    pf.dwSize = sizeof(pf);
    pf.dwFlags = DDPF_RGB;
    pf.dwRGBBitCount = mode.bpp;
    switch (mode.bpp) {
    case 1: pf.dwFlags |= DDPF_PALETTEINDEXED1; break;
    case 2: pf.dwFlags |= DDPF_PALETTEINDEXED2; break;
    case 4: pf.dwFlags |= DDPF_PALETTEINDEXED4; break;
    case 8: pf.dwFlags |= DDPF_PALETTEINDEXED8; break;
    case 15:  // not a DirectDraw depth, but kept readable: X1R5G5B5
        pf.dwRBitMask = 0x7C00; pf.dwGBitMask = 0x03E0; pf.dwBBitMask = 0x001F;
        break;
    case 16:
        pf.dwRBitMask = 0xF800; pf.dwGBitMask = 0x07E0; pf.dwBBitMask = 0x001F;
        break;
    default:  // 24 and 32 bits
        pf.dwRBitMask = 0x00FF0000; pf.dwGBitMask = 0x0000FF00; pf.dwBBitMask = 0x000000FF;
        break;
    }
}

}  // namespace standin

// ---- Control API ----

using namespace standin;

extern "C" void __cdecl StandInReset(void) {
    Guard guard;
    callLog.clear();
    rules.clear();
    deviceCount = DEFAULT_DEVICE_COUNT;
    DefaultModesLocked();
    currentMode = DESKTOP_MODE;
}

extern "C" void __cdecl StandInClearLog(void) {
    Guard guard;
    callLog.clear();
}

extern "C" void __cdecl StandInFail(const char* call, int nth, HRESULT hr) {
    if (call == nullptr) return;
    Guard guard;
    try {
        if (nth < 0) {
            for (size_t i = 0; i < rules.size();) {
                if (rules[i].call == call) {
                    rules.erase(rules.begin() + static_cast<std::ptrdiff_t>(i));
                } else {
                    ++i;
                }
            }
            return;
        }
        rules.push_back(Rule{call, nth, 0, hr});
    } catch (...) {
    }
}

extern "C" void __cdecl StandInSetDevices(int count) {
    if (count < 0) count = 0;
    if (count > MAX_DEVICES) count = MAX_DEVICES;
    Guard guard;
    deviceCount = count;
}

extern "C" void __cdecl StandInSetModes(const StandInMode* list, int count) {
    Guard guard;
    if (count < 0) {
        DefaultModesLocked();
        return;
    }
    if (list == nullptr && count > 0) return;  // nothing to copy from: no change
    if (count > MAX_MODES) count = MAX_MODES;
    if (count > 0) std::memcpy(modes, list, sizeof(StandInMode) * static_cast<size_t>(count));
    modeCount = count;
}

extern "C" void __cdecl StandInDisplayMode(StandInMode* mode) {
    if (mode != nullptr) *mode = CurrentMode();
}

extern "C" int __cdecl StandInLogText(char* buffer, int size) {
    Guard guard;
    size_t length = 0;
    for (const std::string& line : callLog) length += line.size() + 1;
    if (buffer != nullptr && size > 0) {
        size_t room = static_cast<size_t>(size) - 1;
        size_t at = 0;
        for (const std::string& line : callLog) {
            if (at >= room) break;
            size_t n = line.size() < room - at ? line.size() : room - at;
            std::memcpy(buffer + at, line.data(), n);
            at += n;
            if (at < room) buffer[at++] = '\n';
        }
        buffer[at] = '\0';
    }
    return static_cast<int>(length);
}

extern "C" int __cdecl StandInLogCount(void) {
    Guard guard;
    return static_cast<int>(callLog.size());
}

extern "C" int __cdecl StandInLiveObjects(void) { return static_cast<int>(InterlockedCompareExchange(&liveObjects, 0, 0)); }
