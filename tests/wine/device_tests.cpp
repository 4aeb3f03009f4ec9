// DirectDraw devices, display modes and capabilities on Wine's real ddraw, and the start
// of the plugin.
#include <cstring>

#include "plugin_fixture.h"

using host::Variable;
using wine_tests::LastCall;
using wine_tests::plugin;

namespace {

int32_t DeviceCount() {
    Variable v = Variable::Int(1);
    EXPECT_EQ(0, plugin->Call("ZorvEnumDDdevice", v.Arg()));
    return v.Ints()[0];
}

}  // namespace

TEST(Devices, CountAndNames) {
    Variable text = Variable::String(1);
    EXPECT_EQ(-1, plugin->Call("ZorvEnumDDdevice", text.Arg()));
    EXPECT_EQ("ZorvEnumDDdevice", LastCall());

    int32_t count = DeviceCount();
    ASSERT_GE(count, 1);

    Variable name = Variable::String(64);
    EXPECT_EQ(0, plugin->Call("ZorvGetDDdeviceName", name.Arg(), 0));
    EXPECT_GT(std::strlen(name.Text()), 0u);

    // No device with that index: unchanged, still 0.
    Variable untouched = Variable::String(4);
    untouched.Fill(0x3C);
    EXPECT_EQ(0, plugin->Call("ZorvGetDDdeviceName", untouched.Arg(), count));
    EXPECT_EQ(0, plugin->Call("ZorvGetDDdeviceName", untouched.Arg(), -1));
    for (size_t i = 0; i < untouched.DataBytes(); ++i) ASSERT_EQ(0x3C, untouched.Data()[i]);

    // A small variable gets a cut, terminated copy and nothing past its end.
    Variable small = Variable::String(1);
    small.Fill(0x3C);
    EXPECT_EQ(0, plugin->Call("ZorvGetDDdeviceName", small.Arg(), 0));
    EXPECT_EQ(0, std::strncmp(small.Text(), name.Text(), 3));
    EXPECT_EQ(0, small.Data()[std::strlen(name.Text()) < 3 ? std::strlen(name.Text()) : 3]);
    EXPECT_TRUE(small.GuardsIntact());

    Variable number = Variable::Int(1);
    EXPECT_EQ(-1, plugin->Call("ZorvGetDDdeviceName", number.Arg(), 0));
}

TEST(Devices, DeviceChoicesWithoutADevice) {
    int32_t count = DeviceCount();
    Variable v = Variable::Int(1);
    EXPECT_EQ(-37, plugin->Call("ZorvGetDDcaps", v.Arg(), count, 0));
    EXPECT_EQ(-37, plugin->Call("ZorvGetDDcaps", v.Arg(), -3, 0));
    EXPECT_EQ(-37, plugin->Call("ZorvEnumDisplayMode", v.Arg(), INT32_MIN, 0));
    EXPECT_EQ(-37, plugin->Call("ZorvCreateDD", count));
    EXPECT_EQ("ZorvCreateDD", LastCall());
}

TEST(DisplayModes, CountThenList) {
    Variable text = Variable::String(4);
    EXPECT_EQ(-1, plugin->Call("ZorvEnumDisplayMode", text.Arg(), 0, 0));

    Variable v = Variable::Int(1);
    ASSERT_EQ(0, plugin->Call("ZorvEnumDisplayMode", v.Arg(), 0, 0));
    int32_t count = v.Ints()[0];
    ASSERT_GE(count, 1);

    Variable list = Variable::Int(count * 4);
    ASSERT_EQ(0, plugin->Call("ZorvEnumDisplayMode", list.Arg(), 0, 1));
    // Under Xvfb, Wine reports the screen's own mode; real drivers report many more.
    HDC screenDc = GetDC(nullptr);
    int32_t desktopBits = GetDeviceCaps(screenDc, BITSPIXEL);
    ReleaseDC(nullptr, screenDc);
    bool hasDesktop = false;
    for (int32_t k = 0; k < count; ++k) {
        const int32_t* mode = list.Ints() + 4 * k;
        EXPECT_GT(mode[0], 0) << k;
        EXPECT_GT(mode[1], 0) << k;
        EXPECT_TRUE(mode[2] == 8 || mode[2] == 16 || mode[2] == 24 || mode[2] == 32) << mode[2];
        EXPECT_GE(mode[3], 0) << k;
        hasDesktop = hasDesktop || (mode[0] == GetSystemMetrics(SM_CXSCREEN) &&
                                    mode[1] == GetSystemMetrics(SM_CYSCREEN) && mode[2] == desktopBits);
    }
    EXPECT_TRUE(hasDesktop);
    EXPECT_TRUE(list.GuardsIntact());

    // An array too short for every mode receives whole records only, nothing past its end.
    Variable shortList = Variable::Int(6);
    shortList.Fill(0x5A);
    ASSERT_EQ(0, plugin->Call("ZorvEnumDisplayMode", shortList.Arg(), 0, 1));
    EXPECT_EQ(0, std::memcmp(shortList.Ints(), list.Ints(), 16));
    EXPECT_EQ(0x5A5A5A5A, shortList.Ints()[4]);
    EXPECT_TRUE(shortList.GuardsIntact());
}

TEST(Capabilities, SelectorsAndIndices) {
    Variable v = Variable::Int(1);
    EXPECT_EQ(-1, plugin->Call("ZorvGetDDcaps", Variable::String(1).Arg(), 0, 0));
    ASSERT_EQ(0, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, 0));
    EXPECT_EQ(380, v.Ints()[0]);
    EXPECT_EQ(0, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, -1));  // emulation layer dwCaps
    EXPECT_EQ(0, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, 25, 7));
    for (int selector : {26, 56, -56, INT32_MIN}) {
        v.Ints()[0] = 0x5A5A5A5A;
        EXPECT_EQ(-2, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, selector, 0)) << selector;
        EXPECT_EQ(0x5A5A5A5A, v.Ints()[0]) << selector;
    }
    for (int selector : {25, 39, 43, 47, 55}) {
        EXPECT_EQ(-2, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, selector, 8)) << selector;
        EXPECT_EQ(-2, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, selector, -1)) << selector;
    }
    // The emulation-only object answers too.
    EXPECT_EQ(0, plugin->Call("ZorvGetDDcaps", v.Arg(), -1, 0, 0));
    EXPECT_EQ(380, v.Ints()[0]);
}

TEST(Initialize, ChecksInOrderThenOnlyOnce) {
    host::Screen& screen = *wine_tests::hostScreen;
    screen.SetField(host::Screen::SCREEN_TYPE, 7);
    EXPECT_EQ(-9, plugin->Call("ZorvInitialize", screen.Arg(), 2, 0));
    screen.SetField(host::Screen::SCREEN_TYPE, 1);
    EXPECT_EQ(-9, plugin->Call("ZorvInitialize", screen.Arg(), 2, 0));
    screen.SetField(host::Screen::SCREEN_TYPE, 6);
    EXPECT_EQ(-2, plugin->Call("ZorvInitialize", screen.Arg(), 3, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvInitialize", screen.Arg(), -1, 0));
    EXPECT_EQ(-2, plugin->Call("ZorvInitialize", screen.Arg(), 2, 5));
    EXPECT_EQ("ZorvInitialize", LastCall());

    screen.SetField(host::Screen::SCREEN_TYPE, 2);
    EXPECT_EQ(0, plugin->Call("ZorvInitialize", screen.Arg(), wine_tests::screenMode, wine_tests::renderMode));
    // Once initialised, every later call is refused first, whatever its arguments.
    EXPECT_EQ(-8, plugin->Call("ZorvInitialize", screen.Arg(), 2, 0));
    EXPECT_EQ(-8, plugin->Call("ZorvInitialize", 0, 9, 9));
}

TEST(CreateDD, PrimaryAndEmulationDevices) {
    EXPECT_EQ(0, plugin->Call("ZorvCreateDD", 0));
    EXPECT_EQ(0, plugin->Call("ZorvCreateDD", -1));  // replaces the first
    EXPECT_EQ("ZorvCreateDD", LastCall());
    // Leave no object behind for the next tests: a table lets ZorvReleaseDD run to its end.
    ASSERT_EQ(0, plugin->Call("ZorvInitializeSurface", 2));
    EXPECT_EQ(0, plugin->Call("ZorvReleaseDD"));
}
