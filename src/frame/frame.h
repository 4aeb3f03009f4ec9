// The call frame shared by every export: the export convention, the host's variable
// descriptor and screen record, the last-call record and the last DirectX result.
// Win32 only (the records hold 32-bit pointers and handles).
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "frame/status_text.h"

// Every export: four 32-bit arguments, the callee pops them, a signed status code back.
// The .def file exports each one under its decorated name _Name@16.
#define ZORV_API extern "C" int32_t __stdcall

namespace zorv {

// The host's record for one script variable. Only the type tag, the size and the data
// pointer are read; every other byte belongs to the host.
struct HostVariable {
    uint16_t typeTag;      // 2 = string, 4 = integer
    uint8_t hostOnly0[6];
    int32_t size;          // buffer size in units of 4 bytes
    uint8_t hostOnly1[16];
    void* data;            // int32_t[] for an integer variable, char[] for a string
};
static_assert(offsetof(HostVariable, typeTag) == 0, "type tag at 0");
static_assert(offsetof(HostVariable, size) == 8, "size at 8");
static_assert(offsetof(HostVariable, data) == 28, "data at 28");

constexpr uint16_t VAR_STRING = 2;
constexpr uint16_t VAR_INT = 4;

// The host's record for a script window and its off-screen DIB.
struct HostScreen {
    uint32_t hostOnly0;
    int32_t width;          // 4
    int32_t height;         // 8
    int32_t paletteMode;    // 12: 0 = 24-bit buffer, else 8-bit palette buffer
    HDC hdc;                // 16
    uint8_t* bits;          // 20: rows bottom-up
    uint32_t hostOnly1[3];
    RGBQUAD* colourTable;   // 36: 256 entries
    HPALETTE palette;       // 40
    HPALETTE oldPalette;    // 44
    int32_t paletteCount;   // 48
    HWND hwnd;              // 52
    uint32_t hostOnly2[3];
    int32_t screenType;     // 68
    uint32_t hostOnly3[9];
    int32_t cursorX;        // 108
    int32_t cursorY;        // 112
    uint32_t hostOnly4[7];
    HBRUSH brush;           // 144
    HPEN pen;               // 148
    uint32_t hostOnly5[2];
    COLORREF colour;        // 160
};
static_assert(offsetof(HostScreen, width) == 4, "width at 4");
static_assert(offsetof(HostScreen, height) == 8 && offsetof(HostScreen, paletteMode) == 12, "height at 8, palette mode at 12");
static_assert(offsetof(HostScreen, hdc) == 16, "hdc at 16");
static_assert(offsetof(HostScreen, bits) == 20, "bits at 20");
static_assert(offsetof(HostScreen, colourTable) == 36, "colour table at 36");
static_assert(offsetof(HostScreen, paletteCount) == 48, "palette count at 48");
static_assert(offsetof(HostScreen, hwnd) == 52, "hwnd at 52");
static_assert(offsetof(HostScreen, screenType) == 68, "screen type at 68");
static_assert(offsetof(HostScreen, cursorX) == 108, "cursor x at 108");
static_assert(offsetof(HostScreen, cursorY) == 112, "cursor y at 112");
static_assert(offsetof(HostScreen, brush) == 144, "brush at 144");
static_assert(offsetof(HostScreen, pen) == 148, "pen at 148");
static_assert(offsetof(HostScreen, colour) == 160, "colour at 160");

// Name of the export entered most recently ("無し" before the first).
extern const char* lastCall;
// The most recent failing DirectX result; 0 until the first failure, never reset.
extern int32_t lastDxResult;
#ifdef ZORV_DEBUG
// Debug build: how many times a DirectX result was stored, so a failure report can tell
// whether the call stored one.
extern uint32_t dxResultStores;
#endif

// The ddraw.dll handle and its two entry points; null when loading or the look-up failed.
extern HMODULE ddrawModule;
extern FARPROC directDrawEnumerateExA;
extern FARPROC directDrawCreateEx;

inline void EnterExport(const char* name) { lastCall = name; }

// Keeps a failing DirectX result for ZorvGetError.
inline void StoreDxResult(HRESULT hr) {
    if (hr >= 0) return;
    lastDxResult = hr;
#ifdef ZORV_DEBUG
    ++dxResultStores;
#endif
}

// Keeps a failing DirectX result and returns the export's own status.
inline int32_t DxFail(HRESULT hr, int32_t status) {
    StoreDxResult(hr);
    return status;
}

// Type-tag checks: a null descriptor counts as the wrong kind.
inline bool IsIntVar(const HostVariable* v) { return v != nullptr && v->typeTag == VAR_INT; }
inline bool IsStringVar(const HostVariable* v) { return v != nullptr && v->typeTag == VAR_STRING; }

// Number of 32-bit elements the variable's buffer holds (0 when it has no buffer).
inline int32_t IntCapacity(const HostVariable* v) {
    return (v == nullptr || v->data == nullptr || v->size < 0) ? 0 : v->size;
}

// Writes element 0 of an integer result; nothing when the variable has no room.
inline void WriteInt(HostVariable* v, int32_t value) {
    if (IntCapacity(v) >= 1) static_cast<int32_t*>(v->data)[0] = value;
}

// Stub body of an export whose subsystem is not built yet.
inline int32_t NotSupported(const char* name) {
    EnterExport(name);
    return ERR_NOT_SUPPORTED;
}

}  // namespace zorv

// Defines an export that records its name and answers "unsupported" (-255) until its
// subsystem is built.
#define ZORV_NOT_SUPPORTED_EXPORT(name) \
    ZORV_API name(int32_t, int32_t, int32_t, int32_t) { return zorv::NotSupported(#name); }
