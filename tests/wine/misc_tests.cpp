// The Zorvmisc exports through the built plugin: each writes one value into element 0.
#include <windows.h>
#include <mmsystem.h>

#include <set>

#include "plugin_fixture.h"

using host::Variable;
using wine_tests::plugin;

namespace {

int32_t Misc(const char* name, int32_t a = 0, int32_t b = 0, int32_t c = 0) {
    Variable v = Variable::Int(1);
    v.Ints()[0] = 0x5A5A5A5A;
    int32_t status = plugin->Call(name, v.Arg(), a, b, c);
    EXPECT_EQ(0, status) << name;
    EXPECT_TRUE(v.GuardsIntact()) << name;
    return v.Ints()[0];
}

}  // namespace

TEST(MiscTrig, SineAndCosineRows) {
    EXPECT_EQ(99, Misc("ZorvmiscSin", 256, 100));
    EXPECT_EQ(-100, Misc("ZorvmiscSin", 768, 100));
    EXPECT_EQ(99, Misc("ZorvmiscCos", 0, 100));
    EXPECT_EQ(-100, Misc("ZorvmiscCos", 512, 100));
    EXPECT_EQ(70, Misc("ZorvmiscSin", 128, 100));
    EXPECT_EQ(0, Misc("ZorvmiscSin", 256, 1));
    EXPECT_EQ(-1, Misc("ZorvmiscSin", 768, 1));
    // The 32-bit product wraps above 32768.
    EXPECT_EQ(32767, Misc("ZorvmiscCos", 0, 32768));
    EXPECT_EQ(-32768, Misc("ZorvmiscCos", 0, 32769));
}

TEST(MiscTrig, Sin2AndCos2ReduceTheAngle) {
    for (const char* name : {"ZorvmiscSin2", "ZorvmiscCos2"}) {
        EXPECT_EQ(Misc(name, 1023, 1000), Misc(name, -1, 1000)) << name;
        EXPECT_EQ(Misc(name, 0, 1000), Misc(name, -1024, 1000)) << name;
        EXPECT_EQ(Misc(name, 0, 1000), Misc(name, -2048, 1000)) << name;
        EXPECT_EQ(Misc(name, 0, 1000), Misc(name, 1024, 1000)) << name;
        EXPECT_EQ(Misc(name, 476, 1000), Misc(name, 1500, 1000)) << name;
    }
    EXPECT_EQ(-1000, Misc("ZorvmiscCos2", 1024 * 5 + 512, 1000));
}

TEST(MiscTrig, AtanByOctant) {
    struct Row {
        int32_t x, y, angle;
    } rows[] = {
        {0, 0, 768},   {1, 0, 0},      {0, 1, 256},      {-1, 0, 512},     {0, -1, 768},
        {5, 5, 128},   {-5, 5, 384},   {-5, -5, 640},    {5, -5, 896},     {1000, 1, 0},
        {1000, -1, 1023}, {1024, 512, 75}, {512, 1024, 181}, {-512, 1024, 331}, {-1024, 512, 437},
        {-1024, -512, 587}, {-512, -1024, 693}, {512, -1024, 843}, {1024, -512, 948},
    };
    for (const Row& r : rows) EXPECT_EQ(r.angle, Misc("ZorvmiscAtan", r.x, r.y)) << r.x << "," << r.y;
}

TEST(MiscRand, StaysInItsRange) {
    for (int i = 0; i < 50; ++i) EXPECT_EQ(7, Misc("ZorvmiscRand", 7, 1));
    std::set<int32_t> seen;
    for (int i = 0; i < 300; ++i) {
        int32_t r = Misc("ZorvmiscRand", 10, -3);
        EXPECT_TRUE(r >= 10 && r <= 12) << r;
        seen.insert(r);
    }
    EXPECT_EQ(3u, seen.size());
    for (int i = 0; i < 300; ++i) {
        int32_t r = Misc("ZorvmiscRand", -100, 1000000);
        EXPECT_TRUE(r >= -100 && r <= -100 + 65535) << r;
    }
}

TEST(MiscTimers, MillisecondTimerAndTicks) {
    DWORD before = timeGetTime();
    int32_t timer = Misc("ZorvmiscGetMMtimer");
    DWORD after = timeGetTime();
    EXPECT_LE(static_cast<int32_t>(static_cast<DWORD>(timer) - before), static_cast<int32_t>(after - before));
    EXPECT_GE(static_cast<int32_t>(static_cast<DWORD>(timer) - before), 0);

    int32_t first = Misc("ZorvmiscGetMMtickTime");
    EXPECT_GE(first, 0);
    EXPECT_LE(first, 1);
    Sleep(60);
    int32_t later = Misc("ZorvmiscGetMMtickTime");
    EXPECT_GE(later, 55);
    EXPECT_LT(later, 5000);
}

TEST(MiscTimers, ClockAndMicroseconds) {
    // Before any clock was measured the RDTSC exports write 0 rather than divide by zero.
    EXPECT_EQ(0, Misc("ZorvmiscGetRDTSC"));
    int32_t hz = Misc("ZorvmiscGetClock");
    EXPECT_GT(static_cast<uint32_t>(hz), 10000000u);  // any processor of this century

    int32_t total = Misc("ZorvmiscGetRDTSCtickTime");  // first call: the whole count
    int32_t now = Misc("ZorvmiscGetRDTSC");
    EXPECT_LE(static_cast<uint32_t>(now - total), 1000000u);
    int32_t tick = Misc("ZorvmiscGetRDTSCtickTime");
    EXPECT_GE(tick, 0);
    EXPECT_LT(tick, 1000000);
    Sleep(30);
    int32_t slept = Misc("ZorvmiscGetRDTSCtickTime");
    EXPECT_GT(slept, 20000);
    EXPECT_LT(slept, 2000000);
}

TEST(MiscSystemParameter, WorkAreaWidthAndHeight) {
    RECT area = {};
    ASSERT_TRUE(SystemParametersInfoA(SPI_GETWORKAREA, 0, &area, 0));
    EXPECT_EQ(area.right - area.left, Misc("ZorvmiscSystemParameter", 0, SPI_GETWORKAREA, 0));
    EXPECT_EQ(area.bottom - area.top, Misc("ZorvmiscSystemParameter", 0, SPI_GETWORKAREA, 1));
}

TEST(MiscSystemParameter, OtherActionsUseTheVariable) {
    // SPI_GETSCREENSAVEACTIVE writes a BOOL into the variable's storage.
    BOOL active = FALSE;
    ASSERT_TRUE(SystemParametersInfoA(SPI_GETSCREENSAVEACTIVE, 0, &active, 0));
    Variable v = Variable::Int(1);
    v.Ints()[0] = 0x5A5A5A5A;
    EXPECT_EQ(0, plugin->Call("ZorvmiscSystemParameter", v.Arg(), 0, SPI_GETSCREENSAVEACTIVE, 0));
    EXPECT_EQ(active, v.Ints()[0]);
    // An action the system does not know fails with -1.
    EXPECT_EQ(-1, plugin->Call("ZorvmiscSystemParameter", v.Arg(), 0, 0x7FFF, 0));
}
