// Control API of the recording stand-in ddraw.dll, and a small helper for the tests.
//
// The stand-in is a ddraw.dll of our own, loaded instead of Wine's with
// WINEDLLOVERRIDES="ddraw=n" from the test program's folder. It records every DirectDraw
// call made to it in a call log, can be told to fail chosen calls, and answers from a small
// configurable world (devices, display modes, capabilities) instead of a real display.
//
// Builds (in the cross build folder):
//   standin/ddraw.dll           DirectDrawEnumerateExA, DirectDrawCreateEx and the control API
//   standin-noenum/ddraw.dll    the same without DirectDrawEnumerateExA ("DirectX too old")
//   standin-nocreate/ddraw.dll  the same without DirectDrawCreateEx
//
// ---- The call log -----------------------------------------------------------------------
// One line per call, added when the call returns (so a call made from inside a callback
// comes before the call that made the callback):
//
//   Interface::Method(arg=value, arg=value) -> result
//
// - Exported functions have no interface part: "DirectDrawCreateEx(...)".
// - Methods without arguments have no parentheses: "IDirectDraw7::Release -> 0".
// - Arguments appear in declaration order, each as name=value:
//     flags and other bit sets   0x0000001F (eight upper-case hex digits)
//     numbers                    decimal: width=640
//     pointers, callbacks, HWND  NULL or non-NULL
//     a device GUID              NULL, DDCREATE_EMULATIONONLY, DDCREATE_HARDWAREONLY or
//                                {5A4F5256-0000-4000-8000-000000000001}
//     an interface id            its name (IID_IUnknown, IID_IDirectDraw7, ...) or a GUID
//     a structure with dwSize    name.dwSize=380, or name=NULL; a surface description the
//                                call reads also gets name.dwFlags=0x...
// - The result is an HRESULT in hex (-> 0x00000000, -> 0x80070057), or the new reference
//   count in decimal for AddRef and Release.
//
// The calls recorded now (each line ends in " -> result"):
//   DirectDrawEnumerateExA(callback=non-NULL, context=non-NULL, flags=0x00000007)
//   DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL)
//   IDirectDraw7::QueryInterface(iid=IID_IDirectDraw7, out=non-NULL)
//   IDirectDraw7::AddRef -> 2                      IDirectDraw7::Release -> 0
//   IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL)
//   IDirectDraw7::EnumDisplayModes(flags=0x00000003, desc=NULL, context=non-NULL, callback=non-NULL)
//   IDirectDraw7::EnumDisplayModes(flags=0x00000000, desc.dwSize=124, desc.dwFlags=0x00000006, ...)
//   IDirectDraw7::GetDisplayMode(desc.dwSize=124)
//   IDirectDraw7::SetCooperativeLevel(hwnd=non-NULL, flags=0x00000011)
//   IDirectDraw7::SetDisplayMode(width=640, height=480, bpp=16, refresh=0, flags=0x00000000)
//   IDirectDraw7::RestoreDisplayMode
//   and every other IDirectDraw7 method with its arguments, returning DDERR_UNSUPPORTED.
//
// ---- Failure injection ------------------------------------------------------------------
// StandInFail(call, nth, hr): the nth call (1-based, counted from the StandInFail call on;
// 0 = every call) whose name is `call` returns hr without doing its work; its out-parameters
// are left as the caller passed them. Names are written as in the log, without arguments:
// "DirectDrawCreateEx", "DirectDrawEnumerateExA", "IDirectDraw7::GetCaps". Several rules may
// be active; each counts its own calls, and when more than one fires on the same call the one
// set first gives the result. A rule with nth >= 1 is spent once it has fired. nth < 0
// removes every rule for `call`. AddRef and Release are never failed. The failed call is
// still logged, with the injected result.
//
// ---- The world --------------------------------------------------------------------------
// Devices (StandInSetDevices(count), 0..16, default 2):
//   0  GUID NULL                                      "Primary Display Driver", "display"
//   1  {5A4F5256-0000-4000-8000-000000000001}         "Secondary Test Device", "secondary"
//   n  {5A4F5256-0000-4000-8000-0000000000nn} (hex)   "Test Device n", "device<n>"
// DirectDrawEnumerateExA reports devices after the first only when its flags hold
// DDENUM_ATTACHEDSECONDARYDEVICES, as Windows does with several monitors (HMONITOR is always
// NULL); a NULL callback or an unknown flag gives DDERR_INVALIDPARAMS. DirectDrawCreateEx
// sets *out to NULL, then accepts NULL, DDCREATE_EMULATIONONLY, DDCREATE_HARDWAREONLY and the
// GUIDs of the configured devices (others: DDERR_INVALIDDIRECTDRAWGUID); out NULL or an iid
// other than IID_IDirectDraw7 gives DDERR_INVALIDPARAMS, an outer unknown
// CLASS_E_NOAGGREGATION. QueryInterface gives the object itself for IID_IUnknown and
// IID_IDirectDraw7, else E_NOINTERFACE with *out NULL (E_POINTER when out is NULL).
//
// Display modes (StandInSetModes, default list, in this order):
//   640x480x8 @60, 640x480x16 @60, 640x480x16 @75, 800x600x16 @0, 1024x768x32 @60,
//   1024x768x32 @75
// EnumDisplayModes reports them as DDSURFACEDESC2 (dwWidth, dwHeight, lPitch = width *
// bytes per pixel, dwRefreshRate, ddpfPixelFormat: 8 bits palette-indexed, 16 bits
// R5G6B5, 24 and 32 bits X8R8G8B8 masks). Without DDEDM_REFRESHRATES each width, height and
// depth is reported once with refresh 0. A description passed in filters by the
// DDSD_WIDTH, DDSD_HEIGHT, DDSD_PIXELFORMAT (bit count) and DDSD_REFRESHRATE fields it sets.
// The display starts in, and RestoreDisplayMode and StandInReset return it to, 1024x768x32
// @60 (the desktop). SetDisplayMode accepts a listed mode (refresh 0 = the first listed rate)
// and makes it current; others give DDERR_INVALIDMODE. DDERR_INVALIDPARAMS for: an
// EnumDisplayModes flag other than DDEDM_*, a NULL callback or a description whose dwSize is
// not 124; a GetDisplayMode description NULL or not 124 bytes; a SetDisplayMode flag other
// than DDSDM_STANDARDVGAMODE.
//
// Capabilities: GetCaps(driver, hel) needs at least one non-NULL DDCAPS and dwSize == 380
// (the DirectX 7 layout) in each one given, else DDERR_INVALIDPARAMS. Seen as 95 DWORDs,
// DWORD i (byte offset 4 * i) of the driver caps holds 0x1000 + i and of the HEL caps
// 0x2000 + i, arrays and the embedded DDSCAPS/DDSCAPS2 included; DWORD 0 (dwSize) stays 380.
// standin::CapsValue gives the expected value.
//
// SetCooperativeLevel rejects flags 0, DDSCL_EXCLUSIVE without DDSCL_FULLSCREEN or without a
// window, and DDSCL_NORMAL together with DDSCL_EXCLUSIVE (DDERR_INVALIDPARAMS).
//
// Every COM object made is counted until its reference count reaches 0
// (StandInLiveObjects), so a test can check that everything made was released.
//
// ---- Control API ------------------------------------------------------------------------
// Exported from ddraw.dll with C linkage and the cdecl convention, undecorated names. Look
// them up with GetProcAddress(GetModuleHandleA("ddraw.dll"), "StandInReset") and so on, or
// use standin::Control below.
#pragma once

#include <windows.h>

#ifdef __cplusplus
#include <cstddef>
#include <string>
#include <vector>
#endif

#ifdef __cplusplus
extern "C" {
#endif

// One display mode of the stand-in's world.
typedef struct StandInMode {
    DWORD width;
    DWORD height;
    DWORD bpp;
    DWORD refresh;  // Hz, 0 = the adapter's default rate
} StandInMode;

// Clears the log and the failure rules and restores the default devices, modes and display
// mode. Live objects are left alone (and still counted).
typedef void(__cdecl* StandInResetFn)(void);
// Clears the log only.
typedef void(__cdecl* StandInClearLogFn)(void);
// Adds a failure rule (see above).
typedef void(__cdecl* StandInFailFn)(const char* call, int nth, HRESULT hr);
// Number of devices DirectDrawEnumerateExA reports (clamped to 0..16).
typedef void(__cdecl* StandInSetDevicesFn)(int count);
// Replaces the mode list (at most 64 modes; more are cut). count 0 leaves no modes (modes may
// be NULL); count < 0 restores the default list.
typedef void(__cdecl* StandInSetModesFn)(const StandInMode* modes, int count);
// The current display mode, as SetDisplayMode and RestoreDisplayMode left it.
typedef void(__cdecl* StandInDisplayModeFn)(StandInMode* mode);
// Copies the whole log, each line followed by '\n', into buffer (at most size - 1 characters
// and a terminating zero; buffer may be NULL when size is 0). Returns the log's length in
// characters without the terminating zero.
typedef int(__cdecl* StandInLogTextFn)(char* buffer, int size);
// Number of lines in the log.
typedef int(__cdecl* StandInLogCountFn)(void);
// Number of COM objects whose reference count is above 0.
typedef int(__cdecl* StandInLiveObjectsFn)(void);

#ifdef __cplusplus
}  // extern "C"

namespace standin {

// The expected value of DWORD `index` of a DDCAPS filled by GetCaps (driver or HEL caps).
inline DWORD CapsValue(bool driver, size_t index) {
    if (index == 0) return 380;
    return (driver ? 0x1000u : 0x2000u) + static_cast<DWORD>(index);
}

// The control API of a loaded stand-in. Load() finds it in the module named ddraw.dll (or
// in the module given); every call is harmless when Load() has failed.
struct Control {
    HMODULE module = nullptr;
    StandInResetFn reset = nullptr;
    StandInClearLogFn clearLog = nullptr;
    StandInFailFn fail = nullptr;
    StandInSetDevicesFn setDevices = nullptr;
    StandInSetModesFn setModes = nullptr;
    StandInDisplayModeFn displayMode = nullptr;
    StandInLogTextFn logText = nullptr;
    StandInLogCountFn logCount = nullptr;
    StandInLiveObjectsFn liveObjects = nullptr;

    // True when ddraw.dll is loaded and is the stand-in (every control export is there).
    bool Load() { return Load(GetModuleHandleA("ddraw.dll")); }
    bool Load(HMODULE from) {
        module = from;
        if (module == nullptr) return false;
        reset = reinterpret_cast<StandInResetFn>(Find("StandInReset"));
        clearLog = reinterpret_cast<StandInClearLogFn>(Find("StandInClearLog"));
        fail = reinterpret_cast<StandInFailFn>(Find("StandInFail"));
        setDevices = reinterpret_cast<StandInSetDevicesFn>(Find("StandInSetDevices"));
        setModes = reinterpret_cast<StandInSetModesFn>(Find("StandInSetModes"));
        displayMode = reinterpret_cast<StandInDisplayModeFn>(Find("StandInDisplayMode"));
        logText = reinterpret_cast<StandInLogTextFn>(Find("StandInLogText"));
        logCount = reinterpret_cast<StandInLogCountFn>(Find("StandInLogCount"));
        liveObjects = reinterpret_cast<StandInLiveObjectsFn>(Find("StandInLiveObjects"));
        return Loaded();
    }
    bool Loaded() const {
        return reset && clearLog && fail && setDevices && setModes && displayMode && logText && logCount &&
               liveObjects;
    }

    void Reset() const { if (reset) reset(); }
    void ClearLog() const { if (clearLog) clearLog(); }
    void Fail(const char* call, int nth, HRESULT hr) const { if (fail) fail(call, nth, hr); }
    void SetDevices(int count) const { if (setDevices) setDevices(count); }
    void SetModes(const std::vector<StandInMode>& modes) const {
        if (setModes) setModes(modes.data(), static_cast<int>(modes.size()));
    }
    void DefaultModes() const { if (setModes) setModes(nullptr, -1); }
    StandInMode DisplayMode() const {
        StandInMode mode = {0, 0, 0, 0};
        if (displayMode) displayMode(&mode);
        return mode;
    }
    int LogCount() const { return logCount ? logCount() : 0; }
    int LiveObjects() const { return liveObjects ? liveObjects() : -1; }

    // The whole log as one text, each line followed by '\n'.
    std::string LogText() const {
        if (!logText) return std::string();
        int length = logText(nullptr, 0);
        std::string text(static_cast<size_t>(length) + 1, '\0');
        logText(&text[0], length + 1);
        text.resize(static_cast<size_t>(length));
        return text;
    }
    // The log as lines.
    std::vector<std::string> Log() const {
        std::vector<std::string> lines;
        std::string text = LogText();
        size_t start = 0;
        while (start < text.size()) {
            size_t end = text.find('\n', start);
            if (end == std::string::npos) end = text.size();
            lines.push_back(text.substr(start, end - start));
            start = end + 1;
        }
        return lines;
    }

private:
    void* Find(const char* name) const { return reinterpret_cast<void*>(GetProcAddress(module, name)); }
};

}  // namespace standin
#endif  // __cplusplus
