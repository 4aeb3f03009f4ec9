// The plugin run against the recording stand-in ddraw.dll: the loaded plugin, the host
// window buffer it keeps, the stand-in's control API, and helpers that build the log lines
// the plugin's calls must leave, read the plugin's surface table through ZorvCombine, and
// give every test a clean start and end (nothing left alive in the stand-in).
#pragma once

#include <windows.h>
#include <ddraw.h>
#include <d3d.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host_emulator.h"
#include "standin.h"

namespace standin_tests {

// Set by main.
extern host::Plugin* plugin;
extern host::Screen* hostScreen;   // lives as long as the program: the plugin keeps the record
extern standin::Control control;   // loaded when the stand-in is the ddraw.dll in use
extern int32_t screenMode;         // --screen-mode=
extern int32_t renderMode;         // --render-mode=
extern std::string missing;        // --missing=ddraw|enum|create: what this run's ddraw.dll lacks

using Lines = std::vector<std::string>;

constexpr int32_t SCREEN_CREATED = 65636;
constexpr int32_t SCREEN_UPDATED = 65536;
constexpr int32_t WIDTH = 640;
constexpr int32_t HEIGHT = 480;

inline int32_t Call(const char* name, int32_t a = 0, int32_t b = 0, int32_t c = 0, int32_t d = 0) {
    return plugin->Call(name, a, b, c, d);
}
// ZorvInitialize with this run's modes, once; true when the plugin is initialised.
bool EnsureInitialized();
// ZorvGetError: the last DirectX result (selector -2) and the last call (selector -1).
int32_t LastDxResult();
std::string LastCall();

// ---- Log lines ----

std::string Hr(HRESULT hr);  // 0x%08lX
std::string DirectDrawLine(const std::string& call, HRESULT hr = DD_OK);
// "Interface#N::call -> hr".
std::string ObjectLine(const char* iface, int number, const std::string& call, HRESULT hr = DD_OK);
inline std::string SurfaceLine(int n, const std::string& call, HRESULT hr = DD_OK) {
    return ObjectLine("IDirectDrawSurface7", n, call, hr);
}
inline std::string DeviceLine(int n, const std::string& call, HRESULT hr = DD_OK) {
    return ObjectLine("IDirect3DDevice7", n, call, hr);
}
// "Interface#N::Release -> count" (number 0: the DirectDraw object).
std::string ReleaseLine(const char* iface, int number, unsigned count);
// IDirectDraw7::CreateSurface with these description fields; `format` is the text the
// stand-in adds for a pixel format ("" without one).
std::string CreateSurfaceLine(DWORD flags, DWORD caps, int width, int height, int backBuffers,
                              const std::string& format = "", HRESULT hr = DD_OK);
// A 16-bit plain Z buffer format as CreateSurface logs it.
std::string ZFormatText(DWORD bits, DWORD zMask);
// The calls of one colour match on a surface: GetDC, ReleaseDC, Lock, Unlock, GetDC, ReleaseDC.
Lines ColorMatchLines(int surface);
// The calls that fill a new surface record: two colour matches (none in palette mode), then
// GetSurfaceDesc and GetCaps.
Lines RecordLines(int surface, bool paletteMode);
// Render state, texture-stage state and transform lines of a device.
std::string RenderStateLine(int device, D3DRENDERSTATETYPE state, DWORD value);
std::string StageStateLine(int device, D3DTEXTURESTAGESTATETYPE type, DWORD value);
std::string MatrixText(const float (&m)[16]);
// A Z buffer, then the device, then the surface: the release of a 3D surface.
Lines Joined(std::initializer_list<Lines> parts);

// Compares line by line and reports the first difference with some context.
testing::AssertionResult SameLines(const Lines& expected, const Lines& actual);
// The log since the last TakeLog (or the test's start); the log is cleared.
Lines TakeLog();
// The lines that contain `part`.
Lines Containing(const Lines& log, const std::string& part);
// Index of the first line equal to `line` at or after `from`, or -1.
int Find(const Lines& log, const std::string& line, int from = 0);

// ---- The plugin's surface table, through ZorvCombine ----

struct State {
    const uint8_t* table = nullptr;
    int32_t count = 0;
    const uint8_t* current = nullptr;
    void* direct3D = nullptr;
    void* directDraw = nullptr;
    uint8_t flipMode = 0;
};
State ReadState();
IDirectDrawSurface7* RecordSurface(int index);
IDirect3DDevice7* RecordDevice(int index);
uintptr_t RecordZBuffer(int index);
RECT RecordDrawArea(int index);
// The stand-in's number of a record's surface / device (0 when there is none).
int SurfaceNumber(int index);
int DeviceNumber(int index);

// A host integer variable with the nine colour elements of ZorvShowFrameRate, all 0.
int32_t HideFrameRate();

// Every test: the plugin initialised, a DirectDraw object and a surface table of 8, the
// stand-in reset with nothing alive; afterwards everything released and nothing alive.
class PluginTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // ZorvReleaseDD, making a surface table first when there is none.
    static void ReleaseAll();
    static void ExpectNothingAlive();
    static int32_t CreateScreen(int32_t depth, int32_t flags) {
        return Call("ZorvCreatePrimarySurface", WIDTH, HEIGHT, depth, flags);
    }
    static bool WindowVisible() { return IsWindowVisible(hostScreen->Window()) != FALSE; }
    // A screen creation spoilt by the failure rule (call, nth, hr), with the window shown
    // first so that a test sees whether the failure hides it again. Checks the plugin's code
    // and the DirectX result it kept; gives the log of the creation alone.
    static Lines FailedCreation(const char* call, int nth, HRESULT hr, int32_t code, int32_t depth) {
        ShowWindow(hostScreen->Window(), SW_SHOW);
        control.Fail(call, nth, hr);
        TakeLog();
        EXPECT_EQ(code, CreateScreen(depth, 0));
        EXPECT_EQ(static_cast<int32_t>(hr), LastDxResult());
        return TakeLog();
    }
    // The window's client origin in screen coordinates, where a windowed screen presents.
    static RECT PresentRect();
};

}  // namespace standin_tests
