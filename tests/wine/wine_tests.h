// The Windows test program: the plugin loaded as the host loads it, a look inside it through
// the block ZorvCombine hands to cooperating plugins, and surface pixels read back by locking.
#pragma once

#include <windows.h>
#include <ddraw.h>
#include <d3d.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "host_emulator.h"

namespace wine_tests {

extern host::Plugin* plugin;     // from --plugin= (Zorv.hpi or ZorvD.hpi)
extern host::Screen* hostScreen; // the host window given to ZorvInitialize, for the program's life
extern int32_t screenMode, renderMode;  // --screen-mode=, --render-mode=
extern std::string pictureFolder;       // --pictures= (a Windows path); empty: no pictures
extern std::string lastCallAtLoad;      // the last-call name before any export ran

constexpr int32_t SCREEN_CREATED = 65636, UPDATED = 65536, WIDTH = 640, HEIGHT = 480;

// ZorvInitialize with this run's modes, once; true when the plugin is initialised.
bool EnsureInitialized();
// ZorvGetError(selector): a text as UTF-8, or the last DirectX result.
std::string ErrorText(int32_t selector);
int32_t LastDxResult();
int32_t DesktopBits();

// A surface record, read at the offsets cooperating plugins rely on (written down here
// independently of the plugin's headers).
struct Record {
    const uint8_t* bytes = nullptr;
    template <class T>
    T At(size_t offset) const {
        T value;
        std::memcpy(&value, bytes + offset, sizeof value);
        return value;
    }
    IDirectDrawSurface7* Surface() const { return At<IDirectDrawSurface7*>(0); }
};
constexpr size_t RECORD_BYTES = 292;

struct PluginState {
    const uint8_t* table = nullptr;
    int32_t count = 0;
    const uint8_t* current = nullptr;  // the record currentSurface points at
    void* direct3D = nullptr;
    void* directDraw = nullptr;
    const int32_t* polygons = nullptr;  // the polygon count that the Direct3D drawing adds to
    uint8_t screenMode = 0, renderMode = 0;
    int32_t signature = 0;
    Record At(int32_t index) const { return Record{table + RECORD_BYTES * index}; }
};
PluginState ReadState();

// A surface's pixels, one 32-bit value per pixel in the surface's own format.
struct Pixels {
    int32_t width = 0, height = 0;
    uint32_t bits = 0;
    std::vector<uint32_t> values;
    bool ok = false;
    uint32_t At(int32_t x, int32_t y) const { return values[static_cast<size_t>(y) * width + x]; }
};
Pixels ReadPixels(IDirectDrawSurface7* surface);
// Writes the pixels as <pictureFolder>\name.png when pictures are asked for.
void SavePicture(const char* name, const Pixels& pixels);

// Each test starts from a DirectDraw object with a surface table of 8 and ends by releasing
// everything.
class Screen : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(EnsureInitialized());
        ShowWindow(hostScreen->Window(), SW_SHOW);
        ASSERT_EQ(0, plugin->Call("ZorvCreateDD", 0));
        ASSERT_EQ(0, plugin->Call("ZorvInitializeSurface", 8));
    }
    void TearDown() override {
        EXPECT_EQ(0, plugin->Call("ZorvReleaseDD"));
        host::PumpMessages();
    }
    int32_t CreateScreen(int32_t flags = 0) {
        return plugin->Call("ZorvCreatePrimarySurface", WIDTH, HEIGHT, DesktopBits(), flags);
    }
};

}  // namespace wine_tests
