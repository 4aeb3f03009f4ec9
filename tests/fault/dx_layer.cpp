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
struct Method { Kind kind; int slot; void* hook; };
struct Table { void** entries; void* saved[64]; };
struct Held { int count; std::string origin; };
struct AnswerRow { std::string method; HRESULT hr; };

uintptr_t pluginStart = 0, pluginEnd = 0;
std::string currentExport = "(none)";
std::vector<CallRecord> calls;
std::vector<Table> tables;
std::vector<AnswerRow> answers;
std::map<void*, Held> held;
int checked = 0, failAt = 0;
HRESULT failResult = S_OK;

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
    char text[64] = "{}";
    if constexpr (std::is_floating_point_v<T>)
        std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
        std::snprintf(text, sizeof text, "0x%lX", static_cast<unsigned long>(value));
    else if constexpr (std::is_same_v<T, RECT*>)
        value ? std::snprintf(text, sizeof text, "(%ld,%ld,%ld,%ld)", value->left, value->top, value->right, value->bottom)
              : std::snprintf(text, sizeof text, "NULL");
    else if constexpr (std::is_pointer_v<T>)
        return value == nullptr ? "NULL" : "p";
    return text;
}

void Patch(Kind kind, void* object);

// A new reference the plugin received through an out argument. The back buffers of a
// flipping chain go with the chain's primary surface; QueryInterface is asked for IDirect3D7.
template <class T>
constexpr int OutKind() {
    if constexpr (std::is_same_v<T, IDirectDrawSurface7**>) return SURFACE;
    if constexpr (std::is_same_v<T, IDirectDrawClipper**>) return CLIPPER;
    if constexpr (std::is_same_v<T, IDirectDrawPalette**>) return PALETTE;
    if constexpr (std::is_same_v<T, IDirect3D7**> || std::is_same_v<T, void**>) return D3D;
    if constexpr (std::is_same_v<T, IDirect3DDevice7**>) return DEVICE;
    if constexpr (std::is_same_v<T, IDirectDraw7**>) return DRAW;
    return -1;
}
template <class T>
void TakeOut(T out, const std::string& origin) {
    if constexpr (OutKind<T>() >= 0) {
        if (out == nullptr || *out == nullptr || origin.find("GetAttachedSurface") != std::string::npos) return;
        Patch(static_cast<Kind>(OutKind<T>()), *out);
        Held& h = held[*out];
        ++h.count;
        h.origin = origin;
    }
}

// Whether this checked call is failed or answered; the result is in *hr.
bool Decide(const std::string& text, HRESULT* hr) {
    if (++checked == failAt) return *hr = failResult, true;
    for (const AnswerRow& a : answers)
        if (text.compare(0, a.method.size(), a.method) == 0 && text[a.method.size()] == '(') return *hr = a.hr, true;
    return false;
}

template <class F>
HRESULT Record(const std::string& text, F call) {
    HRESULT hr = S_OK;
    const bool injected = Decide(text, &hr);
    if (!injected) hr = call();
    calls.push_back({text, currentExport, hr, injected});
    return hr;
}

template <Kind K, int Slot, class Fn>
struct Hook;
template <Kind K, int Slot, class R, class Self, class... A>
struct Hook<K, Slot, R(STDMETHODCALLTYPE*)(Self*, A...)> {
    static const char* name;
    static R STDMETHODCALLTYPE Call(Self* self, A... a) {
        auto original = reinterpret_cast<R(STDMETHODCALLTYPE*)(Self*, A...)>(Original(self, Slot));
        const auto at = reinterpret_cast<uintptr_t>(__builtin_return_address(0));
        if (at < pluginStart || at >= pluginEnd) return original(self, a...);
        if constexpr (std::is_same_v<R, ULONG>) {
            // AddRef (slot 1) and Release (slot 2): the plugin's references, never failed.
            Held& h = held[self];
            if ((h.count += Slot == 1 ? 1 : -1) == 0) held.erase(self);
            return original(self, a...);
        } else {
            std::string text = std::string(KIND_NAMES[K]) + "::" + name + "(";
            ((text += ArgText(a) + ","), ...);
            if (text.back() == ',') text.pop_back();
            text += ")";
            const HRESULT hr = Record(text, [&] { return original(self, a...); });
            if (SUCCEEDED(hr)) (TakeOut(a, text), ...);
            return hr;
        }
    }
};
template <Kind K, int Slot, class R, class Self, class... A>
const char* Hook<K, Slot, R(STDMETHODCALLTYPE*)(Self*, A...)>::name = nullptr;

template <Kind K, int Slot, class Fn>
Method Make(const char* name) {
    Hook<K, Slot, Fn>::name = name;
    return {K, Slot, reinterpret_cast<void*>(&Hook<K, Slot, Fn>::Call)};
}
#define M(K, V, name) Make<K, offsetof(V, name) / sizeof(void*), decltype(V::name)>(#name)
#define DD(name) M(DRAW, IDirectDraw7Vtbl, name)
#define SF(name) M(SURFACE, IDirectDrawSurface7Vtbl, name)
#define DV(name) M(DEVICE, IDirect3DDevice7Vtbl, name)

// Every method the plugin calls.
const std::vector<Method>& Methods() {
    static const std::vector<Method> methods = {
        DD(AddRef), DD(Release), DD(QueryInterface), DD(CreateClipper), DD(CreatePalette), DD(CreateSurface),
        DD(EnumDisplayModes), DD(GetCaps), DD(RestoreDisplayMode), DD(SetCooperativeLevel), DD(SetDisplayMode),
        SF(AddRef), SF(Release), SF(AddAttachedSurface), SF(Blt), SF(BltFast), SF(DeleteAttachedSurface),
        SF(Flip), SF(GetAttachedSurface), SF(GetCaps), SF(GetDC), SF(GetPalette), SF(GetPixelFormat),
        SF(GetSurfaceDesc), SF(IsLost), SF(Lock), SF(ReleaseDC), SF(Restore), SF(SetClipper),
        SF(SetColorKey), SF(SetPalette), SF(Unlock),
        M(CLIPPER, IDirectDrawClipperVtbl, AddRef), M(CLIPPER, IDirectDrawClipperVtbl, Release),
        M(CLIPPER, IDirectDrawClipperVtbl, SetHWnd),
        M(PALETTE, IDirectDrawPaletteVtbl, AddRef), M(PALETTE, IDirectDrawPaletteVtbl, Release),
        M(PALETTE, IDirectDrawPaletteVtbl, GetEntries), M(PALETTE, IDirectDrawPaletteVtbl, SetEntries),
        M(D3D, IDirect3D7Vtbl, AddRef), M(D3D, IDirect3D7Vtbl, Release), M(D3D, IDirect3D7Vtbl, CreateDevice),
        M(D3D, IDirect3D7Vtbl, EnumZBufferFormats),
        DV(AddRef), DV(Release), DV(BeginScene), DV(EndScene), DV(Clear), DV(DrawPrimitive), DV(GetCaps),
        DV(GetDirect3D), DV(SetMaterial), DV(SetRenderState), DV(SetTexture), DV(SetTextureStageState),
        DV(SetTransform), DV(SetViewport),
    };
    return methods;
}

void Write(void* at, const void* value, size_t bytes) {
    DWORD old = 0;
    VirtualProtect(at, bytes, PAGE_READWRITE, &old);
    std::memcpy(at, value, bytes);
    VirtualProtect(at, bytes, old, &old);
}

// Points the hooked entries of the object's interface table at the hooks, once per table.
void Patch(Kind kind, void* object) {
    void** entries = *static_cast<void***>(object);
    for (const Table& t : tables)
        if (t.entries == entries) return;
    tables.push_back({entries, {}});
    std::memcpy(tables.back().saved, entries, sizeof tables.back().saved);
    for (const Method& m : Methods())
        if (m.kind == kind) Write(&entries[m.slot], &m.hook, sizeof m.hook);
}

// ---- The two entry points -------------------------------------------------------------

HRESULT(WINAPI* realCreate)(GUID*, void**, REFIID, IUnknown*) = nullptr;
HRESULT(WINAPI* realEnumerate)(LPDDENUMCALLBACKEXA, void*, DWORD) = nullptr;

HRESULT WINAPI HookCreate(GUID* guid, void** out, REFIID iid, IUnknown* outer) {
    const HRESULT hr = Record("DirectDrawCreateEx()", [&] { return realCreate(guid, out, iid, outer); });
    if (SUCCEEDED(hr)) TakeOut(reinterpret_cast<IDirectDraw7**>(out), "DirectDrawCreateEx");
    return hr;
}

HRESULT WINAPI HookEnumerate(LPDDENUMCALLBACKEXA callback, void* context, DWORD flags) {
    return Record("DirectDrawEnumerateExA()", [&] { return realEnumerate(callback, context, flags); });
}

// Points an export of the module at a hook (the table holds addresses relative to the
// module, which wrap around in 32 bits), or renames it so that GetProcAddress misses it: the
// last letter moves up by one, which keeps the table's sorted order. Returns the original.
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
        char* last = exportName + std::strlen(exportName) - 1;
        const char renamed = static_cast<char>(*last + 1);
        const auto relative = static_cast<DWORD>(reinterpret_cast<uintptr_t>(hook) - reinterpret_cast<uintptr_t>(base));
        hide ? Write(last, &renamed, 1) : Write(slot, &relative, sizeof relative);
        return original;
    }
    return nullptr;
}

}  // namespace

bool Install(const char* hiddenEntry) {
    HMODULE ddraw = LoadLibraryA("ddraw.dll");
    if (ddraw == nullptr) return false;
    auto entry = [&](const char* name, auto hook, auto* real) {
        const bool hide = hiddenEntry != nullptr && std::strcmp(hiddenEntry, name) == 0;
        *real = reinterpret_cast<std::remove_reference_t<decltype(*real)>>(
            PatchExport(ddraw, name, reinterpret_cast<void*>(hook), hide));
        return *real != nullptr;
    };
    return entry("DirectDrawCreateEx", &HookCreate, &realCreate) &&
           entry("DirectDrawEnumerateExA", &HookEnumerate, &realEnumerate);
}

void SetPlugin(HMODULE plugin) {
    auto* base = reinterpret_cast<uint8_t*>(plugin);
    auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    pluginStart = reinterpret_cast<uintptr_t>(base);
    pluginEnd = pluginStart + nt->OptionalHeader.SizeOfImage;
}

void SetExport(const char* name) { currentExport = name; }
void Reset() { calls.clear(), answers.clear(), checked = 0, failAt = 0; }
void FailCall(int n, HRESULT hr) { failAt = checked + n, failResult = hr; }
void Answer(const char* method, HRESULT hr) { answers.push_back({method, hr}); }
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
