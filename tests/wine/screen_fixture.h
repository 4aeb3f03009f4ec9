// A screen for each test: DirectDraw object, surface table and a windowed 640 x 480 screen,
// all released again at the end of the test.
#pragma once

#include "plugin_state.h"

namespace wine_tests {

inline constexpr int32_t SCREEN_CREATED = 65636;
inline constexpr int32_t WIDTH = 640;
inline constexpr int32_t HEIGHT = 480;

inline int32_t LastDxResult() {
    host::Variable v = host::Variable::Int(1);
    plugin->Call("ZorvGetError", v.Arg(), -2);
    return v.Ints()[0];
}

// Bits per pixel of the desktop: the windowed back buffer takes its format.
inline int32_t DesktopBits() {
    HDC dc = GetDC(nullptr);
    int32_t bits = GetDeviceCaps(dc, BITSPIXEL);
    ReleaseDC(nullptr, dc);
    return bits;
}

// Each test starts from no DirectDraw object and ends by releasing everything.
class Screen : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(wine_tests::EnsureInitialized());
        ShowWindow(wine_tests::hostScreen->Window(), SW_SHOW);
        ASSERT_EQ(0, plugin->Call("ZorvCreateDD", 0));
        ASSERT_EQ(0, plugin->Call("ZorvInitializeSurface", 8));
    }
    void TearDown() override {
        EXPECT_EQ(0, plugin->Call("ZorvReleaseDD"));
        host::PumpMessages();
    }
    // A windowed screen; the 3D flag where the render mode gives the back buffer a device.
    int32_t CreateScreen(int32_t flags = 0) {
        return plugin->Call("ZorvCreatePrimarySurface", WIDTH, HEIGHT, DesktopBits(), flags);
    }
    static uint32_t White(uint32_t bits) { return bits >= 24 ? 0xFFFFFFu : bits == 16 ? 0xFFFFu : 0xFFu; }
};


}  // namespace wine_tests
