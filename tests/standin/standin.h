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
// Objects other than the DirectDraw object carry a number in the log, given in the order
// they are made: "IDirectDrawSurface7#2::Blt(...)". Numbers start at 1 and start again
// after StandInReset (after the highest number still alive, so they never repeat while
// their objects live). An argument that is one of the stand-in's objects is written as its
// number: src=#4, clipper=#3; other pointers as NULL or non-NULL. StandInObjectNumber tells
// a test which number an interface pointer has, StandInObject which object has a number.
//
// Further argument forms:
//     a rectangle                name=(left,top,right,bottom) or name=NULL
//     a float                    as printf's %g: 1, 0.5, -320
//     a matrix                   matrix=[16 floats, row by row, separated by blanks]
//     a colour key               key.low=0x..., key.high=0x... or key=NULL
//
// The calls recorded (each line ends in " -> result"; #N is an object's number):
//   DirectDrawEnumerateExA(callback=non-NULL, context=non-NULL, flags=0x00000007)
//   DirectDrawCreateEx(guid=NULL, out=non-NULL, iid=IID_IDirectDraw7, outer=NULL)
//   IDirectDraw7::QueryInterface(iid=IID_IDirect3D7, out=non-NULL)
//   IDirectDraw7::AddRef -> 2                      IDirectDraw7::Release -> 0
//   IDirectDraw7::GetCaps(driver.dwSize=380, hel=NULL)
//   IDirectDraw7::EnumDisplayModes(flags=0x00000003, desc=NULL, context=non-NULL, callback=non-NULL)
//   IDirectDraw7::EnumDisplayModes(flags=0x00000000, desc.dwSize=124, desc.dwFlags=0x00000006, ...)
//   IDirectDraw7::GetDisplayMode(desc.dwSize=124)
//   IDirectDraw7::SetCooperativeLevel(hwnd=non-NULL, flags=0x00000011)
//   IDirectDraw7::SetDisplayMode(width=640, height=480, bpp=16, refresh=0, flags=0x00000000)
//   IDirectDraw7::RestoreDisplayMode
//   IDirectDraw7::CreateSurface(desc.dwSize=124, desc.dwFlags=0x00000007, caps=0x00004040,
//       caps2=0x00000000, width=640, height=480, backBuffers=0, out=non-NULL, outer=NULL)
//     with DDSD_PIXELFORMAT also: format.dwFlags=0x00000041, format.bits=16,
//       format.masks=7C00/3E0/1F/8000 (the four mask words in hex: red, green, blue, alpha;
//       for a Z buffer the same words hold stencil depth, Z mask, stencil mask)
//   IDirectDraw7::CreateClipper(flags=0x00000000, out=non-NULL, outer=NULL)
//   IDirectDraw7::CreatePalette(flags=0x00000004, entries=non-NULL, out=non-NULL, outer=NULL)
//   IDirectDrawSurface7#2::Blt(dest=(8,30,648,510), src=#4, srcRect=(0,0,640,480),
//       flags=0x01000000, fx=NULL)     (a fill adds fx.dwFillColor=0x..., fx.dwFillDepth=0x...)
//   IDirectDrawSurface7#2::BltFast(x=0, y=0, src=#4, srcRect=(0,0,640,480), flags=0x00000010)
//   IDirectDrawSurface7#2::Flip(target=NULL, flags=0x00000020)
//   IDirectDrawSurface7#2::GetAttachedSurface(caps.dwCaps=0x00000004, out=non-NULL)
//   IDirectDrawSurface7#4::AddAttachedSurface(surface=#6)
//   IDirectDrawSurface7#4::DeleteAttachedSurface(flags=0x00000000, surface=#6)
//   IDirectDrawSurface7#4::SetColorKey(flags=0x00000002, key.low=0x00000000, key.high=0x00000004)
//   IDirectDrawSurface7#4::SetColorKey(flags=0x00000008, key=NULL)
//   IDirectDrawSurface7#4::Lock(rect=NULL, desc.dwSize=124, flags=0x00000011, event=NULL)
//   IDirectDrawSurface7#4::Unlock(rect=NULL)
//   IDirectDrawSurface7#4::GetDC(out=non-NULL)     IDirectDrawSurface7#4::ReleaseDC(hdc=non-NULL)
//   IDirectDrawSurface7#4::GetSurfaceDesc(desc.dwSize=124)   ::GetCaps(caps=non-NULL)
//   IDirectDrawSurface7#4::GetPixelFormat(format.dwSize=32)  ::GetColorKey(flags=..., key=...)
//   IDirectDrawSurface7#2::SetClipper(clipper=#3)  ::SetPalette(palette=#5)  ::GetPalette(out=...)
//   IDirectDrawSurface7#2::IsLost                  IDirectDrawSurface7#2::Restore
//   IDirectDrawSurface7#2::GetDDInterface(out=non-NULL)
//   IDirectDrawClipper#3::SetHWnd(flags=0x00000000, hwnd=non-NULL)    ::GetHWnd(out=non-NULL)
//   IDirectDrawPalette#5::SetEntries(flags=0x00000000, start=0, count=256, entries=non-NULL)
//   IDirectDrawPalette#5::GetEntries(flags=0x00000000, base=0, count=256, entries=non-NULL)
//   IDirectDrawPalette#5::GetCaps(caps=non-NULL)
//   IDirect3D7#3::EnumDevices(callback=non-NULL, context=non-NULL)
//   IDirect3D7#3::EnumZBufferFormats(class=IID_IDirect3DHALDevice, callback=non-NULL, context=non-NULL)
//   IDirect3D7#3::CreateDevice(class=IID_IDirect3DRGBDevice, surface=#4, out=non-NULL)
//   IDirect3D7#3::EvictManagedTextures
//   IDirect3DDevice7#7::GetCaps(desc=non-NULL)
//   IDirect3DDevice7#7::SetViewport(x=0, y=0, width=640, height=480, minZ=0, maxZ=1)
//   IDirect3DDevice7#7::SetTransform(state=1, matrix=[1 0 0 0 0 -1 0 0 0 0 1 0 -320 240 0 1])
//   IDirect3DDevice7#7::SetMaterial(diffuse=(1,1,1,1), ambient=(1,1,1,1), specular=(0,0,0,0),
//       emissive=(0,0,0,0), power=50)
//   IDirect3DDevice7#7::SetRenderState(state=27, value=0x00000001)
//   IDirect3DDevice7#7::SetTextureStageState(stage=0, type=4, value=0x00000004)
//   IDirect3DDevice7#7::Clear(count=1, rects=[(0,0,640,480)], flags=0x00000001,
//       colour=0x00000000, z=1, stencil=0)
//   IDirect3DDevice7#7::BeginScene                 IDirect3DDevice7#7::EndScene
//   IDirect3DDevice7#7::DrawPrimitive(type=5, fvf=0x000001C4, count=4, flags=0x00000000,
//       vertices=[(0,0,0,1,0xFFFFFFFF,0,0)(16,0,0,1,0xFFFFFFFF,1,0)...])
//       each vertex as (x,y,z[,rhw][,diffuse][,u,v]) by its format; at most 64 are written
//   IDirect3DDevice7#7::SetTexture(stage=0, texture=#8)   ::GetDirect3D(out=non-NULL)
//   and every other method of these interfaces with its arguments, returning DDERR_UNSUPPORTED.
//
// ---- Failure injection ------------------------------------------------------------------
// StandInFail(call, nth, hr): the nth call (1-based, counted from the StandInFail call on;
// 0 = every call) whose name is `call` returns hr without doing its work; its out-parameters
// are left as the caller passed them. Names are written as in the log, without the object's
// number and without arguments: "DirectDrawCreateEx", "IDirectDraw7::GetCaps",
// "IDirectDrawSurface7::Flip" (a rule counts the calls on every object of the interface;
// every method of every interface can be failed). Several rules may
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
// ---- Surfaces -----------------------------------------------------------------------------
// CreateSurface needs SetCooperativeLevel first (DDERR_NOCOOPERATIVELEVELSET), a description
// of 124 bytes and an out pointer (DDERR_INVALIDPARAMS), no outer unknown.
// - A primary surface (DDSCAPS_PRIMARYSURFACE, no size or format given) has the current
//   display mode's size and format: 1024x768 X8R8G8B8 on the desktop, 8 bits palette-indexed
//   after SetDisplayMode(640, 480, 8). One primary per DirectDraw object at a time
//   (DDERR_PRIMARYSURFACEALREADYEXISTS). With DDSCAPS_FLIP | DDSCAPS_COMPLEX and a back-buffer
//   count of 1 to 8 (DDERR_INVALIDPARAMS otherwise, DDERR_INVALIDCAPS without COMPLEX) it is
//   the front buffer of a flipping chain; that needs DDSCL_EXCLUSIVE | DDSCL_FULLSCREEN
//   (DDERR_NOEXCLUSIVEMODE). The first back buffer has DDSCAPS_BACKBUFFER, all of them
//   DDSCAPS_FLIP | DDSCAPS_COMPLEX and the front's DDSCAPS_3DDEVICE.
// - Any other surface needs DDSD_WIDTH and DDSD_HEIGHT (1 to 16384). Without DDSD_PIXELFORMAT
//   it takes the display mode's format; an explicit format may be RGB of 8, 16, 24 or 32 bits
//   with any masks (DDPF_ALPHAPIXELS for alpha), palette-indexed 1, 2, 4 or 8 bits, or a Z
//   buffer (DDPF_ZBUFFER, 8 to 32 bits), which DDSCAPS_ZBUFFER requires
//   (DDERR_INVALIDPIXELFORMAT otherwise).
// - DDSCAPS_SYSTEMMEMORY together with DDSCAPS_VIDEOMEMORY: DDERR_INVALIDCAPS. A surface gets
//   DDSCAPS_SYSTEMMEMORY when asked, else DDSCAPS_VIDEOMEMORY | DDSCAPS_LOCALVIDMEM; a primary
//   also DDSCAPS_VISIBLE, the front of a chain DDSCAPS_FRONTBUFFER.
// Pixels live in memory of the surface's format: a top-down DIB section for the formats GDI
// draws on (1, 4, 8, 16, 24, 32 bits; 16 and 32 bits with the format's masks), so the DC
// that GetDC lends draws (SetPixel, TextOutA...) right into the memory that Lock returns;
// plain memory, without DC (DDERR_CANTCREATEDC), for Z buffers and 2-bit surfaces. New
// surfaces are all zero. The DC of a surface of 8 bits or less gets the colour table of the
// surface's palette, else of its DirectDraw object's primary surface palette.
// - Lock: DDERR_INVALIDPARAMS for a description other than 124 bytes or a rectangle not
//   inside the surface; lpSurface points at the rectangle's first pixel, lPitch is the row
//   length in bytes. One lock at a time; while locked or while its DC is out the surface is
//   busy (DDERR_SURFACEBUSY for Lock, Blt, BltFast, Flip; DDERR_DCALREADYCREATED for GetDC).
//   Unlock without a lock: DDERR_NOTLOCKED; ReleaseDC without a DC: DDERR_NODC.
// - Blt: DDBLT_COLORFILL (fx.dwSize 100) fills with dwFillColor, DDBLT_DEPTHFILL a Z buffer
//   with dwFillDepth; otherwise copies the source rectangle (NULL: whole surfaces), stretched
//   by nearest pixel when the sizes differ, honouring DDBLT_KEYSRC / KEYDEST (the surfaces'
//   keys) and the KEY*OVERRIDE keys of fx. A source key skips source pixels inside
//   [low, high]; a destination key writes only where the destination is inside it. A source
//   rectangle outside the source, or a destination outside the surface, gives
//   DDERR_INVALIDRECT; with a clipper set the destination is cut to the surface instead.
//   Between RGB formats pixels are converted by their masks; other format pairs of different
//   layout give DDERR_UNSUPPORTED.
// - BltFast: the same copy to (x, y), DDBLTFAST_SRCCOLORKEY / DESTCOLORKEY; a destination
//   leaving the surface gives DDERR_INVALIDRECT; with a clipper set, DDERR_BLTFASTCANTCLIP.
// - Flip on a chain's front buffer: each buffer takes the memory of the one behind it, the
//   last back buffer the old front (with a target: front and target swap). Other surfaces:
//   DDERR_NOTFLIPPABLE. Flags are not judged.
// - GetAttachedSurface finds, among the next surface of the chain and an attached Z buffer,
//   one whose caps hold all the caps asked for (AddRef'd), else DDERR_NOTFOUND.
// - AddAttachedSurface attaches a Z buffer of the same size (the surface holds a reference
//   to it until DeleteAttachedSurface or its own end; a second: DDERR_SURFACEALREADYATTACHED;
//   anything else: DDERR_CANNOTATTACHSURFACE). DeleteAttachedSurface needs flags 0 and an
//   attached surface (NULL: the attached one), else DDERR_SURFACENOTATTACHED.
// - SetColorKey takes one of DDCKEY_DESTBLT, DESTOVERLAY, SRCBLT, SRCOVERLAY (plus
//   DDCKEY_COLORSPACE); NULL removes the key. GetColorKey: DDERR_NOCOLORKEY without one.
// - SetClipper and SetPalette hold a reference to what they set (NULL removes it); SetPalette
//   on a surface that is not palette-indexed gives DDERR_INVALIDPIXELFORMAT. GetClipper /
//   GetPalette: DDERR_NOCLIPPERATTACHED / DDERR_NOPALETTEATTACHED.
// - StandInLoseSurfaces marks every live surface lost: IsLost, Lock, GetDC, Blt, BltFast,
//   Flip then answer DDERR_SURFACELOST. Restore gives the memory back cleared; on a chain's
//   front it restores the whole chain, on a back buffer it gives DDERR_IMPLICITLYCREATED.
// - GetSurfaceDesc, GetCaps, GetPixelFormat, GetDDInterface answer from the surface.
// References: every surface holds its DirectDraw object; a chain's back buffers belong to
// the front buffer: their count may fall to 0 without ending them, and they end with the
// front, however many references they still have (GetAttachedSurface gives one).
//
// ---- Clippers and palettes -------------------------------------------------------------------
// CreateClipper takes flags 0. SetHWnd(0, window) binds it (flags other than 0 or a handle
// that is not a window: DDERR_INVALIDPARAMS); GetHWnd reads it back.
// CreatePalette needs exactly one of DDPCAPS_1BIT, 2BIT, 4BIT, 8BIT and the entries (2, 4,
// 16 or 256 of them), and SetCooperativeLevel first. GetEntries / SetEntries take flags 0
// and a range inside the palette; GetCaps gives the creation flags. A palette holds its
// DirectDraw object.
//
// ---- Direct3D --------------------------------------------------------------------------------
// IDirectDraw7::QueryInterface(IID_IDirect3D7) gives the DirectDraw object's IDirect3D7 (one
// object per DirectDraw object while it lives; it holds the DirectDraw object).
// Device classes: 0 IID_IDirect3DRGBDevice, 1 IID_IDirect3DHALDevice, 2
// IID_IDirect3DTnLHalDevice. StandInSetDeviceClasses(mask) says which the driver offers (bit
// 1 << class; default 7 = all). EnumDevices reports the offered classes in that order.
// EnumZBufferFormats(class) reports the class's formats (none for a class not offered; an
// unknown class: DDERR_INVALIDPARAMS); by default each class has, in this order:
//   DDPF_ZBUFFER | DDPF_STENCILBUFFER, 32 bits (Z mask 0xFFFFFF00, 8-bit stencil 0xFF)
//   DDPF_ZBUFFER, 16 bits (Z mask 0xFFFF)
//   DDPF_ZBUFFER, 24 bits (Z mask 0xFFFFFF)
// StandInSetZBufferFormats changes one class's list.
// CreateDevice(class, surface): an unknown class or a surface not of the stand-in gives
// DDERR_INVALIDPARAMS, a class not offered D3DERR_INVALID_DEVICE, a surface without
// DDSCAPS_3DDEVICE DDERR_INVALIDCAPS. The device holds its render target and the IDirect3D7.
// IDirect3DDevice7:
// - GetCaps fills the D3DDEVICEDESC7: 32-bit word i (byte offset 4 * i) holds
//   standin::DeviceCapsWord(i) = 0x3000 + i, the four 16-bit fields hold
//   standin::DeviceCapsHalf(byte offset) = 0x5000 + offset, and deviceGUID is the class.
// - SetViewport keeps the viewport; one not inside the render target: DDERR_INVALIDPARAMS.
// - SetTransform (states 1 to 31), SetMaterial, SetRenderState (states 1 to 255),
//   SetTextureStageState (stages 0 to 7, types 1 to 31), SetTexture (stages 0 to 7; holds the
//   texture) keep their values for the Get methods; out of range: DDERR_INVALIDPARAMS.
// - Clear fills the rectangles (count 0: the viewport), cut to the viewport: the target with
//   the colour in its format, the attached Z buffer with z scaled to its Z mask. ZBUFFER
//   without a Z buffer: D3DERR_ZBUFFER_NOTPRESENT; no flag or rectangles missing:
//   DDERR_INVALIDPARAMS.
// - BeginScene / EndScene pair up (D3DERR_SCENE_IN_SCENE / D3DERR_SCENE_NOT_IN_SCENE);
//   DrawPrimitive outside a scene gives D3DERR_SCENE_NOT_IN_SCENE. Primitives are logged,
//   not drawn.
//
// Every COM object is counted from when it is made until it ends (StandInLiveObjects), so a
// test can check that everything made was released; StandInLiveObjectsText lists them.
//
// ---- Control API ------------------------------------------------------------------------
// Exported from ddraw.dll with C linkage and the cdecl convention, undecorated names. Look
// them up with GetProcAddress(GetModuleHandleA("ddraw.dll"), "StandInReset") and so on, or
// use standin::Control below.
#pragma once

#include <windows.h>
#include <ddraw.h>

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

// Clears the log and the failure rules and restores the default devices, modes, display
// mode, Direct3D device classes and Z-buffer formats; object numbers start again. Live
// objects are left alone (and still counted).
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
// Number of COM objects alive.
typedef int(__cdecl* StandInLiveObjectsFn)(void);
// Marks every live surface lost.
typedef void(__cdecl* StandInLoseSurfacesFn)(void);
// Which Direct3D device classes the driver offers: bit 0 RGB, bit 1 HAL, bit 2 T&L HAL.
typedef void(__cdecl* StandInSetDeviceClassesFn)(int mask);
// Replaces the Z-buffer formats of one device class (0 RGB, 1 HAL, 2 T&L HAL; at most 16);
// count < 0 restores the default list.
typedef void(__cdecl* StandInSetZBufferFormatsFn)(int deviceClass, const DDPIXELFORMAT* formats, int count);
// The number of a live object by its interface pointer (0: none, or a DirectDraw object).
typedef int(__cdecl* StandInObjectNumberFn)(const void* object);
// The interface pointer of the live object with this number, NULL when there is none (the
// caller gets no reference of its own).
typedef void*(__cdecl* StandInObjectFn)(int number);
// The reference count of a live object by its interface pointer, -1 when there is none.
typedef int(__cdecl* StandInRefCountFn)(const void* object);
// The live objects, one line each ("IDirectDrawSurface7#2 refs=1"), copied like
// StandInLogText; returns the text's length.
typedef int(__cdecl* StandInLiveObjectsTextFn)(char* buffer, int size);

#ifdef __cplusplus
}  // extern "C"

namespace standin {

// The expected value of DWORD `index` of a DDCAPS filled by GetCaps (driver or HEL caps).
inline DWORD CapsValue(bool driver, size_t index) {
    if (index == 0) return 380;
    return (driver ? 0x1000u : 0x2000u) + static_cast<DWORD>(index);
}

// The expected 32-bit word `index` of a D3DDEVICEDESC7 filled by IDirect3DDevice7::GetCaps
// (floats included, as bit patterns), and its 16-bit field at byte offset `offset`.
inline DWORD DeviceCapsWord(size_t index) { return 0x3000u + static_cast<DWORD>(index); }
inline WORD DeviceCapsHalf(size_t offset) { return static_cast<WORD>(0x5000u + offset); }

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
    StandInLoseSurfacesFn loseSurfaces = nullptr;
    StandInSetDeviceClassesFn setDeviceClasses = nullptr;
    StandInSetZBufferFormatsFn setZBufferFormats = nullptr;
    StandInObjectNumberFn objectNumber = nullptr;
    StandInObjectFn object = nullptr;
    StandInRefCountFn refCount = nullptr;
    StandInLiveObjectsTextFn liveObjectsText = nullptr;

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
        loseSurfaces = reinterpret_cast<StandInLoseSurfacesFn>(Find("StandInLoseSurfaces"));
        setDeviceClasses = reinterpret_cast<StandInSetDeviceClassesFn>(Find("StandInSetDeviceClasses"));
        setZBufferFormats = reinterpret_cast<StandInSetZBufferFormatsFn>(Find("StandInSetZBufferFormats"));
        objectNumber = reinterpret_cast<StandInObjectNumberFn>(Find("StandInObjectNumber"));
        object = reinterpret_cast<StandInObjectFn>(Find("StandInObject"));
        refCount = reinterpret_cast<StandInRefCountFn>(Find("StandInRefCount"));
        liveObjectsText = reinterpret_cast<StandInLiveObjectsTextFn>(Find("StandInLiveObjectsText"));
        return Loaded();
    }
    bool Loaded() const {
        return reset && clearLog && fail && setDevices && setModes && displayMode && logText && logCount &&
               liveObjects && loseSurfaces && setDeviceClasses && setZBufferFormats && objectNumber && object && refCount &&
               liveObjectsText;
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
    void LoseSurfaces() const { if (loseSurfaces) loseSurfaces(); }
    void SetDeviceClasses(int mask) const { if (setDeviceClasses) setDeviceClasses(mask); }
    void SetZBufferFormats(int deviceClass, const std::vector<DDPIXELFORMAT>& formats) const {
        if (setZBufferFormats) setZBufferFormats(deviceClass, formats.data(), static_cast<int>(formats.size()));
    }
    void DefaultZBufferFormats(int deviceClass) const {
        if (setZBufferFormats) setZBufferFormats(deviceClass, nullptr, -1);
    }
    int ObjectNumber(const void* iface) const { return objectNumber ? objectNumber(iface) : 0; }
    // The live object numbered n, as the interface it was made as.
    template <class Interface>
    Interface* Object(int n) const { return object ? static_cast<Interface*>(object(n)) : nullptr; }
    int RefCount(const void* iface) const { return refCount ? refCount(iface) : -1; }
    // The live objects, one per line.
    std::string LiveObjectsText() const { return Text(liveObjectsText); }

    // The whole log as one text, each line followed by '\n'.
    std::string LogText() const { return Text(logText); }
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
    // The text a (buffer, size) export writes: asked for its length first, then fetched
    // with room for the terminating NUL.
    static std::string Text(int(__cdecl* fetch)(char* buffer, int size)) {
        if (!fetch) return std::string();
        int length = fetch(nullptr, 0);
        std::string text(static_cast<size_t>(length) + 1, '\0');
        fetch(&text[0], length + 1);
        text.resize(static_cast<size_t>(length));
        return text;
    }
};

}  // namespace standin
#endif  // __cplusplus
