// Shared inside the stand-in ddraw.dll: the call log and failure rules (log.cpp), the
// configurable world (log.cpp), argument formatting, live-object counting, and the
// constructors of the COM objects (one source file per object).
#pragma once

#include <windows.h>
#include <ddraw.h>

#include <string>

#include "standin.h"

// The control API; exported through the .def files.
extern "C" {
void __cdecl StandInReset(void);
void __cdecl StandInClearLog(void);
void __cdecl StandInFail(const char* call, int nth, HRESULT hr);
void __cdecl StandInSetDevices(int count);
void __cdecl StandInSetModes(const StandInMode* modes, int count);
void __cdecl StandInDisplayMode(StandInMode* mode);
int __cdecl StandInLogText(char* buffer, int size);
int __cdecl StandInLogCount(void);
int __cdecl StandInLiveObjects(void);
}

namespace standin {

// ---- Process set-up (DllMain) ----
void StartUp();
void ShutDown();

// ---- Call log and failure rules ----
// Appends "call(args) -> 0x%08X", or "call -> 0x%08X" when args is empty; returns hr so a
// method can end with `return Finish(...)`.
HRESULT Finish(const char* call, const std::string& args, HRESULT hr);
// Appends "call -> count" for AddRef and Release; returns count.
ULONG FinishCount(const char* call, ULONG count);
// True when a failure rule fires for this call; *hr is then the result to give.
bool Injected(const char* call, HRESULT* hr);

// ---- Argument formatting ----
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Hex(DWORD value);                 // 0x0000001F
std::string Pointer(const void* pointer);     // NULL / non-NULL
template <typename Function>
std::string FunctionPointer(Function f) { return f != nullptr ? "non-NULL" : "NULL"; }
std::string GuidText(const GUID& guid);       // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
std::string DeviceGuidText(const GUID* guid); // NULL, DDCREATE_*, or the GUID
std::string IidText(REFIID iid);              // IID_Name or the GUID
// "name=NULL" or "name.dwSize=N" for a structure that starts with its size.
std::string SizedText(const char* name, const void* structure);

// ---- Live COM objects ----
void ObjectMade();
void ObjectGone();

// ---- The world ----
constexpr int MAX_DEVICES = 16;
constexpr int MAX_MODES = 64;

struct Device {
    bool hasGuid;  // false for the primary display driver (GUID NULL)
    GUID guid;
    char description[64];
    char driverName[32];
};

// Copies of the configured devices and modes, so callbacks may change the world safely.
int Devices(Device* out);           // out holds MAX_DEVICES
int Modes(StandInMode* out);        // out holds MAX_MODES
StandInMode CurrentMode();
void SetCurrentMode(const StandInMode& mode);
StandInMode DesktopMode();
// Index of the configured device with this GUID (NULL and DDCREATE_* give 0), or -1.
int DeviceIndex(const GUID* guid);

// A DDSURFACEDESC2 describing a display mode (size, pitch, refresh, pixel format).
void DescribeMode(const StandInMode& mode, DDSURFACEDESC2* desc);

// ---- COM objects ----
// A new IDirectDraw7 with reference count 1.
IDirectDraw7* NewDirectDraw7(int device);

}  // namespace standin
