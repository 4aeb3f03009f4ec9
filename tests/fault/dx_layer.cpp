// The hooks are one template, instantiated per method from the interface tables' own member
// types, so each hook has the method's exact signature and pops the right number of bytes.
#define CINTERFACE
#include "dx_layer.h"

#include <ddraw.h>
#include <d3d.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <type_traits>

namespace layer {
namespace {

enum Kind { DRAW, SURFACE, CLIPPER, PALETTE, D3D, DEVICE };
const char* const KIND_NAMES[] = {"IDirectDraw7", "IDirectDrawSurface7", "IDirectDrawClipper",
                                  "IDirectDrawPalette", "IDirect3D7", "IDirect3DDevice7"};

struct Method {
    Kind kind;
    int slot;
    const char* name;
    void* hook;
};

struct Table {
    void** entries;
    void* saved[64];
};

struct Held {
    int count;
    std::string origin;
};

uintptr_t pluginStart = 0;
uintptr_t pluginEnd = 0;
std::string currentExport = "(none)";
std::vector<CallRecord> calls;
std::vector<Table> tables;
std::map<void*, Held> held;
int checked = 0;
int failAt = 0;
HRESULT failResult = S_OK;
struct AnswerRow {
    std::string method;
    HRESULT hr;
    int nth;
    int seen;
};
std::vector<AnswerRow> answers;

bool FromPlugin(void* returnAddress) {
    uintptr_t at = reinterpret_cast<uintptr_t>(returnAddress);
    return at >= pluginStart && at < pluginEnd;
}

void* Original(void* self, int slot) {
    void** entries = *static_cast<void***>(self);
    for (const Table& t : tables)
        if (t.entries == entries) return t.saved[slot];
    std::fprintf(stderr, "dx_layer: call on an object whose table was never patched\n");
    std::abort();
}

// The arguments worth seeing in a record: numbers, rectangles, and whether a pointer is set.
template <class T>
std::string ArgText(T value) {
    char text[64];
    if constexpr (std::is_floating_point_v<T>) {
        std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        std::snprintf(text, sizeof text, "0x%lX", static_cast<unsigned long>(value));
    } else if constexpr (std::is_same_v<T, RECT*>) {
        if (value == nullptr) return "NULL";
        std::snprintf(text, sizeof text, "(%ld,%ld,%ld,%ld)", value->left, value->top, value->right, value->bottom);
    } else if constexpr (std::is_pointer_v<T>) {
        return value == nullptr ? "NULL" : "p";
    } else {
        return "{}";
    }
    return text;
}

void Patch(Kind kind, void* object);

// A new reference the plugin received through an out argument.
void Take(void* object, Kind kind, const std::string& origin) {
    if (object == nullptr) return;
    Patch(kind, object);
    Held& h = held[object];
    ++h.count;
    h.origin = origin;
}

template <class T>
void TakeOut(T, const std::string&) {}
void TakeOut(IDirectDrawSurface7** out, const std::string& origin) {
    // The back buffers of a flipping chain go with the chain's primary surface.
    if (out != nullptr && origin.find("GetAttachedSurface") == std::string::npos) Take(*out, SURFACE, origin);
}
void TakeOut(IDirectDrawClipper** out, const std::string& origin) { if (out) Take(*out, CLIPPER, origin); }
void TakeOut(IDirectDrawPalette** out, const std::string& origin) { if (out) Take(*out, PALETTE, origin); }
void TakeOut(IDirect3D7** out, const std::string& origin) { if (out) Take(*out, D3D, origin); }
void TakeOut(IDirect3DDevice7** out, const std::string& origin) { if (out) Take(*out, DEVICE, origin); }
void TakeOut(void** out, const std::string& origin) {
    // QueryInterface: the plugin asks the DirectDraw object for IDirect3D7 only.
    if (out != nullptr) Take(*out, D3D, origin);
}

// Whether this checked call is failed or answered; the result is in *hr.
bool Decide(const std::string& name, HRESULT* hr) {
    if (++checked == failAt) {
        *hr = failResult;
        return true;
    }
    for (AnswerRow& a : answers) {
        if (name.compare(0, a.method.size(), a.method) != 0 || name[a.method.size()] != '(') continue;
        ++a.seen;
        if (a.nth == 0 || a.nth == a.seen) {
            *hr = a.hr;
            return true;
        }
    }
    return false;
}

template <Kind K, int Slot, class Fn>
struct Hook;
template <Kind K, int Slot, class R, class Self, class... A>
struct Hook<K, Slot, R(STDMETHODCALLTYPE*)(Self*, A...)> {
    static const char* name;
    static R STDMETHODCALLTYPE Call(Self* self, A... a) {
        using Fn = R(STDMETHODCALLTYPE*)(Self*, A...);
        Fn original = reinterpret_cast<Fn>(Original(self, Slot));
        if (!FromPlugin(__builtin_return_address(0))) return original(self, a...);
        if constexpr (std::is_same_v<R, ULONG>) {
            // AddRef (slot 1) and Release (slot 2): the plugin's references, never failed.
            R count = original(self, a...);
            Held& h = held[self];
            h.count += Slot == 1 ? 1 : -1;
            if (h.count == 0) held.erase(self);
            return count;
        } else {
            std::string text = std::string(KIND_NAMES[K]) + "::" + name + "(";
            ((text += ArgText(a) + ","), ...);
            if (text.back() == ',') text.pop_back();
            text += ")";
            HRESULT hr = S_OK;
            bool injected = Decide(text, &hr);
            if (!injected) hr = original(self, a...);
            calls.push_back({text, currentExport, hr, injected});
            if (SUCCEEDED(hr)) (TakeOut(a, text), ...);
            return hr;
        }
    }
};
template <Kind K, int Slot, class R, class Self, class... A>
const char* Hook<K, Slot, R(STDMETHODCALLTYPE*)(Self*, A...)>::name = nullptr;

template <Kind K, class Vtbl, int Slot, class Fn>
Method Make(const char* name) {
    Hook<K, Slot, Fn>::name = name;
    return {K, Slot, name, reinterpret_cast<void*>(&Hook<K, Slot, Fn>::Call)};
}
#define M(K, V, name) Make<K, V, offsetof(V, name) / sizeof(void*), decltype(V::name)>(#name)
#define COMMON(K, V) M(K, V, AddRef), M(K, V, Release)

// Every method the plugin calls.
const std::vector<Method>& Methods() {
    static const std::vector<Method> methods = {
        COMMON(DRAW, IDirectDraw7Vtbl), M(DRAW, IDirectDraw7Vtbl, QueryInterface),
        M(DRAW, IDirectDraw7Vtbl, CreateClipper), M(DRAW, IDirectDraw7Vtbl, CreatePalette),
        M(DRAW, IDirectDraw7Vtbl, CreateSurface), M(DRAW, IDirectDraw7Vtbl, EnumDisplayModes),
        M(DRAW, IDirectDraw7Vtbl, GetCaps), M(DRAW, IDirectDraw7Vtbl, RestoreDisplayMode),
        M(DRAW, IDirectDraw7Vtbl, SetCooperativeLevel), M(DRAW, IDirectDraw7Vtbl, SetDisplayMode),
        COMMON(SURFACE, IDirectDrawSurface7Vtbl), M(SURFACE, IDirectDrawSurface7Vtbl, AddAttachedSurface),
        M(SURFACE, IDirectDrawSurface7Vtbl, Blt), M(SURFACE, IDirectDrawSurface7Vtbl, BltFast),
        M(SURFACE, IDirectDrawSurface7Vtbl, DeleteAttachedSurface), M(SURFACE, IDirectDrawSurface7Vtbl, Flip),
        M(SURFACE, IDirectDrawSurface7Vtbl, GetAttachedSurface), M(SURFACE, IDirectDrawSurface7Vtbl, GetCaps),
        M(SURFACE, IDirectDrawSurface7Vtbl, GetDC), M(SURFACE, IDirectDrawSurface7Vtbl, GetPalette),
        M(SURFACE, IDirectDrawSurface7Vtbl, GetPixelFormat), M(SURFACE, IDirectDrawSurface7Vtbl, GetSurfaceDesc),
        M(SURFACE, IDirectDrawSurface7Vtbl, IsLost), M(SURFACE, IDirectDrawSurface7Vtbl, Lock),
        M(SURFACE, IDirectDrawSurface7Vtbl, ReleaseDC), M(SURFACE, IDirectDrawSurface7Vtbl, Restore),
        M(SURFACE, IDirectDrawSurface7Vtbl, SetClipper), M(SURFACE, IDirectDrawSurface7Vtbl, SetColorKey),
        M(SURFACE, IDirectDrawSurface7Vtbl, SetPalette), M(SURFACE, IDirectDrawSurface7Vtbl, Unlock),
        COMMON(CLIPPER, IDirectDrawClipperVtbl), M(CLIPPER, IDirectDrawClipperVtbl, SetHWnd),
        COMMON(PALETTE, IDirectDrawPaletteVtbl), M(PALETTE, IDirectDrawPaletteVtbl, GetEntries),
        M(PALETTE, IDirectDrawPaletteVtbl, SetEntries),
        COMMON(D3D, IDirect3D7Vtbl), M(D3D, IDirect3D7Vtbl, CreateDevice), M(D3D, IDirect3D7Vtbl, EnumZBufferFormats),
        COMMON(DEVICE, IDirect3DDevice7Vtbl), M(DEVICE, IDirect3DDevice7Vtbl, BeginScene),
        M(DEVICE, IDirect3DDevice7Vtbl, EndScene), M(DEVICE, IDirect3DDevice7Vtbl, Clear),
        M(DEVICE, IDirect3DDevice7Vtbl, DrawPrimitive), M(DEVICE, IDirect3DDevice7Vtbl, GetCaps),
        M(DEVICE, IDirect3DDevice7Vtbl, GetDirect3D), M(DEVICE, IDirect3DDevice7Vtbl, SetMaterial),
        M(DEVICE, IDirect3DDevice7Vtbl, SetRenderState), M(DEVICE, IDirect3DDevice7Vtbl, SetTexture),
        M(DEVICE, IDirect3DDevice7Vtbl, SetTextureStageState), M(DEVICE, IDirect3DDevice7Vtbl, SetTransform),
        M(DEVICE, IDirect3DDevice7Vtbl, SetViewport),
    };
    return methods;
}

void WriteProtected(void** at, void* value) {
    DWORD old = 0;
    VirtualProtect(at, sizeof(void*), PAGE_READWRITE, &old);
    *at = value;
    VirtualProtect(at, sizeof(void*), old, &old);
}

// Points the hooked entries of the object's interface table at the hooks, once per table.
void Patch(Kind kind, void* object) {
    void** entries = *static_cast<void***>(object);
    for (const Table& t : tables)
        if (t.entries == entries) return;
    Table table = {entries, {}};
    std::memcpy(table.saved, entries, sizeof table.saved);
    tables.push_back(table);
    for (const Method& m : Methods())
        if (m.kind == kind) WriteProtected(&entries[m.slot], m.hook);
}

// ---- The two entry points -------------------------------------------------------------

using CreateEx = HRESULT(WINAPI*)(GUID*, void**, REFIID, IUnknown*);
using EnumerateEx = HRESULT(WINAPI*)(LPDDENUMCALLBACKEXA, void*, DWORD);
CreateEx realCreate = nullptr;
EnumerateEx realEnumerate = nullptr;

template <class F>
HRESULT Entry(const char* name, F call) {
    HRESULT hr = S_OK;
    bool injected = Decide(std::string(name) + "(", &hr);
    if (!injected) hr = call();
    calls.push_back({std::string(name) + "()", currentExport, hr, injected});
    return hr;
}

HRESULT WINAPI HookCreate(GUID* guid, void** out, REFIID iid, IUnknown* outer) {
    HRESULT hr = Entry("DirectDrawCreateEx", [&] { return realCreate(guid, out, iid, outer); });
    if (SUCCEEDED(hr)) Take(*out, DRAW, "DirectDrawCreateEx");
    return hr;
}

HRESULT WINAPI HookEnumerate(LPDDENUMCALLBACKEXA callback, void* context, DWORD flags) {
    return Entry("DirectDrawEnumerateExA", [&] { return realEnumerate(callback, context, flags); });
}

// Points an export of the module at a hook (the export table holds addresses relative to
// the module, which wrap around in 32 bits), or renames it so GetProcAddress misses it. The
// new name keeps the table's sorted order: only its last letter moves up by one.
void* PatchExport(HMODULE module, const char* name, void* hook, bool hide) {
    auto* base = reinterpret_cast<uint8_t*>(module);
    auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    auto* dir = reinterpret_cast<IMAGE_EXPORT_DIRECTORY*>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    auto* names = reinterpret_cast<DWORD*>(base + dir->AddressOfNames);
    auto* ordinals = reinterpret_cast<WORD*>(base + dir->AddressOfNameOrdinals);
    auto* functions = reinterpret_cast<DWORD*>(base + dir->AddressOfFunctions);
    for (DWORD i = 0; i < dir->NumberOfNames; ++i) {
        char* exportName = reinterpret_cast<char*>(base + names[i]);
        if (std::strcmp(exportName, name) != 0) continue;
        DWORD* slot = &functions[ordinals[i]];
        void* original = base + *slot;
        DWORD old = 0;
        if (hide) {
            char* last = exportName + std::strlen(exportName) - 1;
            VirtualProtect(last, 1, PAGE_READWRITE, &old);
            ++*last;
            VirtualProtect(last, 1, old, &old);
        } else {
            VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old);
            *slot = static_cast<DWORD>(reinterpret_cast<uintptr_t>(hook) - reinterpret_cast<uintptr_t>(base));
            VirtualProtect(slot, sizeof *slot, old, &old);
        }
        return original;
    }
    return nullptr;
}

// Makes one object of each kind with Wine's ddraw to patch their tables before the plugin
// makes any. Objects the plugin makes later through other tables are patched as they come.
bool PatchTables() {
    IDirectDraw7* draw = nullptr;
    if (FAILED(realCreate(nullptr, reinterpret_cast<void**>(&draw), IID_IDirectDraw7, nullptr))) return false;
    Patch(DRAW, draw);
    draw->lpVtbl->SetCooperativeLevel(draw, nullptr, DDSCL_NORMAL);
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    desc.dwWidth = desc.dwHeight = 64;
    desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN | DDSCAPS_3DDEVICE;
    IDirectDrawSurface7* surface = nullptr;
    IDirectDrawClipper* clipper = nullptr;
    IDirectDrawPalette* palette = nullptr;
    IDirect3D7* d3d = nullptr;
    IDirect3DDevice7* device = nullptr;
    PALETTEENTRY entries[256] = {};
    bool ok = SUCCEEDED(draw->lpVtbl->CreateSurface(draw, &desc, &surface, nullptr)) &&
              SUCCEEDED(draw->lpVtbl->CreateClipper(draw, 0, &clipper, nullptr)) &&
              SUCCEEDED(draw->lpVtbl->CreatePalette(draw, DDPCAPS_8BIT, entries, &palette, nullptr)) &&
              SUCCEEDED(draw->lpVtbl->QueryInterface(draw, IID_IDirect3D7, reinterpret_cast<void**>(&d3d)));
    if (ok) {
        Patch(SURFACE, surface);
        Patch(CLIPPER, clipper);
        Patch(PALETTE, palette);
        Patch(D3D, d3d);
        // Without Mesa's 32-bit OpenGL there is no device; the plugin's would be patched later.
        if (SUCCEEDED(d3d->lpVtbl->CreateDevice(d3d, IID_IDirect3DRGBDevice, surface, &device))) {
            Patch(DEVICE, device);
            device->lpVtbl->Release(device);
        }
    }
    if (d3d) d3d->lpVtbl->Release(d3d);
    if (palette) palette->lpVtbl->Release(palette);
    if (clipper) clipper->lpVtbl->Release(clipper);
    if (surface) surface->lpVtbl->Release(surface);
    draw->lpVtbl->Release(draw);
    return ok;
}

}  // namespace

bool Install(const char* hiddenEntry) {
    HMODULE ddraw = LoadLibraryA("ddraw.dll");
    if (ddraw == nullptr) return false;
    auto hide = [&](const char* name) { return hiddenEntry != nullptr && std::strcmp(hiddenEntry, name) == 0; };
    realCreate = reinterpret_cast<CreateEx>(
        PatchExport(ddraw, "DirectDrawCreateEx", reinterpret_cast<void*>(&HookCreate), hide("DirectDrawCreateEx")));
    realEnumerate = reinterpret_cast<EnumerateEx>(PatchExport(
        ddraw, "DirectDrawEnumerateExA", reinterpret_cast<void*>(&HookEnumerate), hide("DirectDrawEnumerateExA")));
    return realCreate != nullptr && realEnumerate != nullptr && PatchTables();
}

void SetPlugin(HMODULE plugin) {
    auto* base = reinterpret_cast<uint8_t*>(plugin);
    auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    pluginStart = reinterpret_cast<uintptr_t>(base);
    pluginEnd = pluginStart + nt->OptionalHeader.SizeOfImage;
}

void SetExport(const char* name) { currentExport = name; }

void Reset() {
    calls.clear();
    answers.clear();
    checked = 0;
    failAt = 0;
}

void FailCall(int n, HRESULT hr) {
    failAt = checked + n;
    failResult = hr;
}

void Answer(const char* method, HRESULT hr, int nth) { answers.push_back({method, hr, nth, 0}); }

const std::vector<CallRecord>& Calls() { return calls; }
int CheckedCalls() { return checked; }

std::string HeldReferences() {
    std::string text;
    for (const auto& [object, h] : held) {
        char line[160];
        std::snprintf(line, sizeof line, "%p: %d reference(s) from %s\n", object, h.count, h.origin.c_str());
        text += line;
    }
    return text;
}

}  // namespace layer
