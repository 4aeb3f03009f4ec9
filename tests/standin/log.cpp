// The stand-in's shared state: the call log, the failure rules, the configurable world, the
// registry of live objects, argument formatting, and the control API that tests call.
#include <cstdarg>
#include <cstddef>
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
// Every live COM object, in the order they were made; numbers for all but DirectDraw objects.
std::vector<Counted*> objects;
int nextNumber = 1;

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

// Direct3D device classes in the order EnumDevices reports them.
const GUID* const DEVICE_CLASSES[DEVICE_CLASS_COUNT] = {
    &IID_IDirect3DRGBDevice, &IID_IDirect3DHALDevice, &IID_IDirect3DTnLHalDevice};
constexpr int ALL_DEVICE_CLASSES = 7;
int deviceClassMask = ALL_DEVICE_CLASSES;
DDPIXELFORMAT zFormats[DEVICE_CLASS_COUNT][MAX_ZBUFFER_FORMATS];
int zFormatCount[DEVICE_CLASS_COUNT] = {};

DDPIXELFORMAT ZFormat(DWORD flags, DWORD depth, DWORD stencilDepth, DWORD zMask, DWORD stencilMask) {
    DDPIXELFORMAT f = {};
    f.dwSize = sizeof f;
    f.dwFlags = flags;
    f.dwZBufferBitDepth = depth;
    f.dwStencilBitDepth = stencilDepth;
    f.dwZBitMask = zMask;
    f.dwStencilBitMask = stencilMask;
    return f;
}

// A Z buffer with stencil first, then plain 16-bit and 24-bit Z buffers.
void DefaultZFormatsLocked(int index) {
    zFormats[index][0] = ZFormat(DDPF_ZBUFFER | DDPF_STENCILBUFFER, 32, 8, 0xFFFFFF00, 0x000000FF);
    zFormats[index][1] = ZFormat(DDPF_ZBUFFER, 16, 0, 0x0000FFFF, 0);
    zFormats[index][2] = ZFormat(DDPF_ZBUFFER, 24, 0, 0x00FFFFFF, 0);
    zFormatCount[index] = 3;
}

void DefaultDirect3DLocked() {
    deviceClassMask = ALL_DEVICE_CLASSES;
    for (int i = 0; i < DEVICE_CLASS_COUNT; ++i) DefaultZFormatsLocked(i);
}

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
    DefaultDirect3DLocked();
}

void ShutDown() { DeleteCriticalSection(&lock); }

// ---- Call log and failure rules ----

HRESULT Finish(const std::string& call, const std::string& args, HRESULT hr) {
    // Built without Format: a vertex list can be longer than its buffer.
    std::string line = call;
    if (!args.empty()) line += "(" + args + ")";
    line += Format(" -> 0x%08lX", static_cast<unsigned long>(hr));
    Append(line);
    return hr;
}

ULONG FinishCount(const std::string& call, ULONG count) {
    Append(call + Format(" -> %lu", static_cast<unsigned long>(count)));
    return count;
}

bool Injected(const std::string& call, HRESULT* hr) {
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

std::string RectText(const char* name, const RECT* rect) {
    if (rect == nullptr) return Format("%s=NULL", name);
    return Format("%s=(%ld,%ld,%ld,%ld)", name, static_cast<long>(rect->left), static_cast<long>(rect->top),
                  static_cast<long>(rect->right), static_cast<long>(rect->bottom));
}

std::string FloatText(float value) { return Format("%g", static_cast<double>(value)); }

std::string ObjectText(const void* iface) {
    if (iface == nullptr) return "NULL";
    Guard guard;
    for (Counted* object : objects) {
        if (object->Iface() == iface && object->Number() != 0) return Format("#%d", object->Number());
    }
    return "non-NULL";
}

// ---- Live COM objects ----

Counted::~Counted() {
    if (!registered_) return;
    Guard guard;
    for (size_t i = 0; i < objects.size(); ++i) {
        if (objects[i] == this) {
            objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    }
}

void Counted::Register(const void* iface) {
    Guard guard;
    iface_ = iface;
    if (kind_ != Kind::DirectDraw) number_ = nextNumber++;
    try {
        objects.push_back(this);
        registered_ = true;
    } catch (...) {
    }
}

void Counted::Hold() { InterlockedIncrement(&refs_); }

void Counted::Drop() {
    if (InterlockedDecrement(&refs_) == 0) LastReleased();
}

ULONG Counted::LoggedAddRef() {
    std::string name = LogName("AddRef");
    return FinishCount(name, static_cast<ULONG>(InterlockedIncrement(&refs_)));
}

ULONG Counted::LoggedRelease() {
    // The name first: the object may be gone after the count reaches 0.
    std::string name = LogName("Release");
    ULONG count = static_cast<ULONG>(InterlockedDecrement(&refs_));
    if (count == 0) LastReleased();
    return FinishCount(name, count);
}

std::string Counted::LogName(const char* method) const {
    if (number_ == 0) return Format("%s::%s", interfaceName_, method);
    return Format("%s#%d::%s", interfaceName_, number_, method);
}

bool Counted::Fail(const char* method, HRESULT* hr) const {
    return Injected(Format("%s::%s", interfaceName_, method), hr);
}

HRESULT Counted::Done(const char* method, const std::string& args, HRESULT hr) const {
    return Finish(LogName(method), args, hr);
}

HRESULT Counted::Unsupported(const char* method, const std::string& args) const {
    HRESULT hr;
    if (!Fail(method, &hr)) hr = DDERR_UNSUPPORTED;
    return Done(method, args, hr);
}

Counted* FindObject(const void* iface, Kind kind) {
    if (iface == nullptr) return nullptr;
    Guard guard;
    for (Counted* object : objects) {
        if (object->Iface() == iface && object->ObjectKind() == kind) return object;
    }
    return nullptr;
}

int ObjectsOfKind(Kind kind, Counted** out, int capacity) {
    Guard guard;
    int count = 0;
    for (Counted* object : objects) {
        if (object->ObjectKind() != kind) continue;
        if (count < capacity) out[count] = object;
        ++count;
    }
    return count;
}

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

int DeviceClassIndex(REFCLSID deviceClass) {
    for (int i = 0; i < DEVICE_CLASS_COUNT; ++i) {
        if (IsEqualGUID(deviceClass, *DEVICE_CLASSES[i])) return i;
    }
    return -1;
}

const GUID& DeviceClassGuid(int index) { return *DEVICE_CLASSES[index]; }

bool DeviceClassEnabled(int index) {
    Guard guard;
    return (deviceClassMask & (1 << index)) != 0;
}

int ZBufferFormats(int index, DDPIXELFORMAT* out) {
    Guard guard;
    std::memcpy(out, zFormats[index], sizeof(DDPIXELFORMAT) * static_cast<size_t>(zFormatCount[index]));
    return zFormatCount[index];
}

void DescribeDeviceClass(int index, D3DDEVICEDESC7* desc) {
    // Every 32-bit word holds 0x3000 + its index, the 16-bit fields 0x5000 + their byte
    // offset, and deviceGUID the class: each value can be told apart from the others.
    DWORD* words = reinterpret_cast<DWORD*>(desc);
    for (size_t i = 0; i < sizeof(D3DDEVICEDESC7) / 4; ++i) words[i] = DeviceCapsWord(i);
    desc->wMaxTextureBlendStages = DeviceCapsHalf(offsetof(D3DDEVICEDESC7, wMaxTextureBlendStages));
    desc->wMaxSimultaneousTextures = DeviceCapsHalf(offsetof(D3DDEVICEDESC7, wMaxSimultaneousTextures));
    desc->wMaxUserClipPlanes = DeviceCapsHalf(offsetof(D3DDEVICEDESC7, wMaxUserClipPlanes));
    desc->wMaxVertexBlendMatrices = DeviceCapsHalf(offsetof(D3DDEVICEDESC7, wMaxVertexBlendMatrices));
    desc->deviceGUID = *DEVICE_CLASSES[index];
}

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
    ModePixelFormat(mode.bpp, &desc->ddpfPixelFormat);
}

void ModePixelFormat(DWORD bpp, DDPIXELFORMAT* format) {
    std::memset(format, 0, sizeof(*format));
    DDPIXELFORMAT& pf = *format;
    pf.dwSize = sizeof(pf);
    pf.dwFlags = DDPF_RGB;
    pf.dwRGBBitCount = bpp;
    switch (bpp) {
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
    DefaultDirect3DLocked();
    // Numbers start again at 1, or after the highest number still alive.
    nextNumber = 1;
    for (Counted* object : objects) {
        if (object->Number() >= nextNumber) nextNumber = object->Number() + 1;
    }
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

extern "C" int __cdecl StandInLiveObjects(void) {
    Guard guard;
    return static_cast<int>(objects.size());
}

extern "C" void __cdecl StandInLoseSurfaces(void) {
    Counted* surfaces[256];
    int count = ObjectsOfKind(Kind::Surface, surfaces, 256);
    if (count > 256) count = 256;
    for (int i = 0; i < count; ++i) LoseSurface(surfaces[i]);
}

extern "C" void __cdecl StandInSetDeviceClasses(int mask) {
    Guard guard;
    deviceClassMask = mask & ALL_DEVICE_CLASSES;
}

extern "C" void __cdecl StandInSetZBufferFormats(int deviceClass, const DDPIXELFORMAT* formats, int count) {
    if (deviceClass < 0 || deviceClass >= DEVICE_CLASS_COUNT) return;
    Guard guard;
    if (count < 0) {
        DefaultZFormatsLocked(deviceClass);
        return;
    }
    if (formats == nullptr && count > 0) return;
    if (count > MAX_ZBUFFER_FORMATS) count = MAX_ZBUFFER_FORMATS;
    if (count > 0) std::memcpy(zFormats[deviceClass], formats, sizeof(DDPIXELFORMAT) * static_cast<size_t>(count));
    zFormatCount[deviceClass] = count;
}

extern "C" int __cdecl StandInObjectNumber(const void* object) {
    if (object == nullptr) return 0;
    Guard guard;
    for (Counted* o : objects) {
        if (o->Iface() == object) return o->Number();
    }
    return 0;
}

extern "C" void* __cdecl StandInObject(int number) {
    if (number <= 0) return nullptr;
    Guard guard;
    for (Counted* o : objects) {
        if (o->Number() == number) return const_cast<void*>(o->Iface());
    }
    return nullptr;
}

extern "C" int __cdecl StandInRefCount(const void* object) {
    if (object == nullptr) return -1;
    Guard guard;
    for (Counted* o : objects) {
        if (o->Iface() == object) return static_cast<int>(o->Refs());
    }
    return -1;
}

extern "C" int __cdecl StandInLiveObjectsText(char* buffer, int size) {
    std::string text;
    {
        Guard guard;
        for (Counted* o : objects) {
            text += o->InterfaceName();
            if (o->Number() != 0) text += Format("#%d", o->Number());
            text += Format(" refs=%ld\n", static_cast<long>(o->Refs()));
        }
    }
    if (buffer != nullptr && size > 0) {
        size_t n = text.size() < static_cast<size_t>(size) - 1 ? text.size() : static_cast<size_t>(size) - 1;
        std::memcpy(buffer, text.data(), n);
        buffer[n] = '\0';
    }
    return static_cast<int>(text.size());
}
