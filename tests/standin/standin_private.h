// Shared inside the stand-in ddraw.dll: the call log and failure rules (log.cpp), the
// configurable world (log.cpp), argument formatting, the registry of live COM objects with
// their numbers and reference counts (log.cpp), pixel memory (pixels.cpp), and the
// constructors of the COM objects (one source file per object).
#pragma once

#include <windows.h>
#include <ddraw.h>
#include <d3d.h>

#include <cstdint>
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
void __cdecl StandInLoseSurfaces(void);
void __cdecl StandInSetDeviceClasses(int mask);
void __cdecl StandInSetZBufferFormats(int deviceClass, const DDPIXELFORMAT* formats, int count);
int __cdecl StandInObjectNumber(const void* object);
void* __cdecl StandInObject(int number);
int __cdecl StandInRefCount(const void* object);
int __cdecl StandInLiveObjectsText(char* buffer, int size);
}

namespace standin {

// ---- Process set-up (DllMain) ----
void StartUp();
void ShutDown();

// ---- Call log and failure rules ----
// Appends "call(args) -> 0x%08X", or "call -> 0x%08X" when args is empty; returns hr so a
// method can end with `return Finish(...)`.
HRESULT Finish(const std::string& call, const std::string& args, HRESULT hr);
// Appends "call -> count" for AddRef and Release; returns count.
ULONG FinishCount(const std::string& call, ULONG count);
// True when a failure rule fires for this call; *hr is then the result to give.
bool Injected(const std::string& call, HRESULT* hr);

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
// "name=NULL" or "name=(left,top,right,bottom)".
std::string RectText(const char* name, const RECT* rect);
// A float as printf's %g writes it.
std::string FloatText(float value);
// "NULL", "#N" for a live numbered object of the stand-in, or "non-NULL" for anything else.
std::string ObjectText(const void* iface);

// ---- Live COM objects ----

enum class Kind { DirectDraw, Surface, Clipper, Palette, Direct3D, Device };

// What every COM object of the stand-in shares: its reference count, its place in the
// registry (number, live count), and the logging of its methods. A derived class calls
// Register with its interface pointer at the end of its constructor.
//
// References taken by the stand-in itself (a surface on its DirectDraw object, a device on
// its render target...) go through Hold and Drop, which are not logged; AddRef and Release
// made by the caller go through LoggedAddRef and LoggedRelease. Whichever brings the count
// to 0 ends the object through LastReleased.
class Counted {
public:
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    void Hold();
    void Drop();
    Kind ObjectKind() const { return kind_; }
    int Number() const { return number_; }
    LONG Refs() const { return refs_; }
    const void* Iface() const { return iface_; }
    const char* InterfaceName() const { return interfaceName_; }

protected:
    Counted(Kind kind, const char* interfaceName) : kind_(kind), interfaceName_(interfaceName) {}
    virtual ~Counted();
    void Register(const void* iface);
    ULONG LoggedAddRef();
    ULONG LoggedRelease();
    // Called when the count reaches 0; deletes the object unless a class says otherwise.
    virtual void LastReleased() { delete this; }

    // "Interface#N::Method" (numbered objects) or "Interface::Method".
    std::string LogName(const char* method) const;
    // A failure rule for "Interface::Method" fires.
    bool Fail(const char* method, HRESULT* hr) const;
    // Logs the call and returns hr.
    HRESULT Done(const char* method, const std::string& args, HRESULT hr) const;
    // A method the stand-in does not model: logged, DDERR_UNSUPPORTED unless a rule says else.
    HRESULT Unsupported(const char* method, const std::string& args) const;

    LONG refs_ = 1;

private:
    Kind kind_;
    const char* interfaceName_;
    const void* iface_ = nullptr;
    int number_ = 0;
    bool registered_ = false;
};

// The IUnknown every COM object of the stand-in implements the same way, so it lives once:
// QueryInterface gives the object itself for IID_IUnknown and OwnIid (E_POINTER for a NULL
// out, else E_NOINTERFACE with *out NULL), AddRef and Release are the logged counts. Each
// of the three is logged like any method, and QueryInterface may be failed.
template <class Com, const IID& OwnIid>
class ComObject : public Com, public Counted {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        std::string args = "iid=" + IidText(iid) + ", out=" + Pointer(out);
        HRESULT hr;
        if (!Fail("QueryInterface", &hr)) {
            if (out == nullptr) {
                hr = E_POINTER;
            } else if (IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, OwnIid)) {
                Hold();
                *out = static_cast<Com*>(this);
                hr = S_OK;
            } else if (!QueryOther(iid, out, &hr)) {
                *out = nullptr;
                hr = E_NOINTERFACE;
            }
        }
        return Done("QueryInterface", args, hr);
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return LoggedAddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return LoggedRelease(); }

protected:
    ComObject(Kind kind, const char* interfaceName) : Counted(kind, interfaceName) {}

    // For an object that also answers another interface id (the DirectDraw object gives its
    // Direct3D object): sets *out, holding what it gives, and *hr, and returns true; false
    // when iid is not one of them.
    virtual bool QueryOther(REFIID /*iid*/, void** /*out*/, HRESULT* /*hr*/) { return false; }
};

// The live object whose interface pointer this is, if it is of that kind; else nullptr.
Counted* FindObject(const void* iface, Kind kind);
// Every live object of a kind, in the order they were made.
int ObjectsOfKind(Kind kind, Counted** out, int capacity);

// ---- The world ----
constexpr int MAX_DEVICES = 16;
constexpr int MAX_MODES = 64;
constexpr int MAX_ZBUFFER_FORMATS = 16;

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
// The pixel format of a display depth: palette-indexed up to 8 bits, R5G6B5 for 16 bits,
// X8R8G8B8 masks for 24 and 32 bits.
void ModePixelFormat(DWORD bpp, DDPIXELFORMAT* format);

// Direct3D device classes: 0 RGB, 1 HAL, 2 T&L HAL (bits 1, 2, 4 of the class mask).
constexpr int DEVICE_CLASS_COUNT = 3;
int DeviceClassIndex(REFCLSID deviceClass);  // -1 for any other identifier
const GUID& DeviceClassGuid(int index);
bool DeviceClassEnabled(int index);
// The Z-buffer formats a class reports, in order (out holds MAX_ZBUFFER_FORMATS).
int ZBufferFormats(int index, DDPIXELFORMAT* out);
// The device description GetCaps and EnumDevices give for a class.
void DescribeDeviceClass(int index, D3DDEVICEDESC7* desc);

// ---- Pixel memory (pixels.cpp) ----

// A surface's pixels: a top-down DIB section for the RGB and palette formats GDI can
// draw on (so a device context can be lent out), plain memory for Z buffers and the rest.
struct PixelMemory {
    int width = 0;
    int height = 0;
    int bpp = 0;
    LONG pitch = 0;
    uint8_t* bits = nullptr;
    HBITMAP dib = nullptr;
    uint8_t* plain = nullptr;

    bool Create(int w, int h, const DDPIXELFORMAT& format);
    void Free();
    uint8_t* Row(int y) const { return bits + static_cast<ptrdiff_t>(y) * pitch; }
    DWORD Read(int x, int y) const;
    void Write(int x, int y, DWORD value);
    void Fill(const RECT& rect, DWORD value);
    void Clear();
};

// Bits per pixel of a format (dwRGBBitCount, or the Z depth of a Z-buffer format).
DWORD FormatBits(const DDPIXELFORMAT& format);
// Whether CreateSurface takes this explicit format.
bool FormatAccepted(const DDPIXELFORMAT& format);
// Whether raw pixel values mean the same colour in both formats.
bool SameColourLayout(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b);
// Whether both are RGB formats (their pixels can be converted by their masks).
bool BothRgb(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b);
// A pixel value from one RGB format in another, channel by channel.
DWORD ConvertPixel(DWORD value, const DDPIXELFORMAT& from, const DDPIXELFORMAT& to);
// A D3DCOLOR (A8R8G8B8) in a surface format; palette formats take the low byte.
DWORD PackColour(D3DCOLOR colour, const DDPIXELFORMAT& format);

// ---- COM objects ----
// Each constructor gives a new object with reference count 1, or nullptr without memory.
IDirectDraw7* NewDirectDraw7(int device);
// The DirectDraw object's part in its surfaces' lives (directdraw.cpp): the entries of the
// palette on its primary surface (0 when there is none), and forgetting its primary surface
// and its Direct3D object when they go.
int DirectDrawPrimaryPalette(Counted* directDraw, PALETTEENTRY* entries);
void DirectDrawForgetPrimary(Counted* directDraw, Counted* surface);
void DirectDrawForgetDirect3D(Counted* directDraw, Counted* direct3D);

// Marks a surface lost (surface.cpp), as a display change would.
void LoseSurface(Counted* surface);

IDirectDrawClipper* NewClipper();
IDirectDrawPalette* NewPalette(Counted* directDraw, DWORD flags, const PALETTEENTRY* entries);
// The entries of a palette object; returns their number (2, 4, 16 or 256).
int PaletteEntries(Counted* palette, PALETTEENTRY* entries);

IDirect3D7* NewDirect3D(Counted* directDraw);
IDirect3DDevice7* NewDevice3D(Counted* direct3D, int deviceClass, Counted* target);

}  // namespace standin
