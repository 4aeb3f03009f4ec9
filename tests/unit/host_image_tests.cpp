// Host image pixels against a slow model that places each component bit by bit under the
// mask, over every component value of four surface formats; the circle's radial points. (The
// row loop is checked pixel by pixel through the plugin, on real surfaces.)
#include "colour/host_pixels.h"
#include "gdi/circle.h"
#include "misc/trig.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace zorv {
namespace {

const bool TABLES_BUILT = (BuildTrigTables(), true);

// Mask bits from the top down take the value's bits 7, 6, ...; bits below the eighth stay 0.
uint32_t BitByBit(uint32_t mask, uint32_t value) {
    uint32_t out = 0;
    for (int bit = 31, taken = 0; bit >= 0; --bit)
        if (mask >> bit & 1) out |= (taken < 8 ? (value >> (7 - taken++) & 1) : 0u) << bit;
    return out;
}

struct Format { uint32_t r, g, b, a; };
const Format FORMATS[] = {{0x7C00, 0x03E0, 0x001F, 0x8000}, {0x0F00, 0x00F0, 0x000F, 0xF000},
                          {0xF800, 0x07E0, 0x001F, 0}, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}};

TEST(HostImage, PackingAlphaAndLuminanceOverEveryValue) {
    std::mt19937 random(7);
    for (const Format& f : FORMATS) {
        const PixelPacking p = AnalysePacking(f.r, f.g, f.b, f.a);
        for (uint32_t v = 0; v < 256; ++v) {
            const uint32_t o = random(), c = random() & 0xFF;
            EXPECT_EQ(BitByBit(f.r, v) | BitByBit(f.g, c) | BitByBit(f.b, 255 - v) | (o & f.a), PackColour(p, v, c, 255 - v, o));
            EXPECT_EQ(BitByBit(f.r, c) | BitByBit(f.g, v) | BitByBit(f.b, c) | (o & f.a), PackColour(p, c, v, c, o));
            // The inverted green or luminance fills the alpha field; the colour bits stay.
            EXPECT_EQ(BitByBit(f.a, 255 - v) | (o & ~f.a), AlphaFromInverted(p, v, o)) << f.a << " " << v;
            for (uint32_t blue = 0; blue < 256 && f.a && f.a < 0x10000; ++blue)
                ASSERT_EQ(BitByBit(f.a, 255 - v) | (o & ~f.a), AlphaFromGreen16(p, blue, v, o)) << v << " " << blue;
        }
    }
    // Blue 0x10, green 0x80, red 0xFF.
    EXPECT_EQ(0xFC02u, PackColour(AnalysePacking(0xF800, 0x07E0, 0x001F, 0), 0xFF, 0x80, 0x10, 0));
    EXPECT_EQ(0xABFF8010u, PackColour(AnalysePacking(0xFF0000, 0xFF00, 0xFF, 0xFF000000), 0xFF, 0x80, 0x10, 0xAB000000));
    for (uint32_t i = 0; i < 200000; ++i) {
        const uint32_t r = random() & 0xFF, g = random() & 0xFF, b = random() & 0xFF;
        ASSERT_EQ((r * 19595ull + g * 38470ull + b * 7471ull) / 65536, Luminance(r, g, b)) << r << " " << g << " " << b;
    }
}

TEST(HostImage, UnsupportedPairingsAndBlockFit) {
    const char* want = "-..-" "-..-" "...-" "-..-";  // (palettised, alpha) by 8, 16, 32, 24 bits
    const uint32_t bits[4] = {8, 16, 32, 24};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(want[i] == '-', ChooseHostConversion(i >= 8, i & 4, bits[i & 3]) == HOST_NOTHING) << i;
    // (width, height, x, y, w, h, fits): width, height and y count as 16 bits, x as unsigned.
    const int32_t rows[][7] = {{40, 30, 10, 5, 30, 25, 1}, {40, 30, 11, 5, 30, 25, 0}, {40, 30, 10, 6, 30, 25, 0},
                               {65576, 30, 10, 0, 31, 1, 0}, {40, 65566, 0, 0, 1, 31, 0}, {40, 30, 0, 65541, 1, 25, 1},
                               {40, 30, 0, -1, 1, 1, 0}, {40, 30, -1, 0, 1, 1, 0}, {40, 30, 0, 0, -1, 1, 0},
                               {40, 30, 0, 0, 1, -1, 0}, {40, 30, 0x7FFFFFFF, 0, 0x7FFFFFFF, 1, 0}};
    for (const auto& r : rows) {
        HostBlock b = {};
        EXPECT_EQ(r[6] != 0, FitHostBlock(r[0], r[1], r[2], r[3], r[4], r[5], &b)) << r[0] << " " << r[2] << " " << r[3];
        EXPECT_TRUE(!r[6] || (b.y == static_cast<uint16_t>(r[3]) && b.height == static_cast<uint16_t>(r[1])));
    }
}

TEST(HostImage, CirclePoints) {
    // Box, the end angle's radial, the start angle's; angles reduced modulo 1024 (768 left, 512 down).
    const CircleFigure f = MakeCircleFigure(100, 100, 50, 0, 256), g = MakeCircleFigure(100, 100, 50, 768 - 2048, 512 + 1024);
    EXPECT_EQ((std::vector<int32_t>{50, 50, 150, 150, 149, 100, 100, 51, 100, 150, 50, 100}),
              (std::vector<int32_t>{f.left, f.top, f.right, f.bottom, f.firstX, f.firstY, f.secondX, f.secondY, g.firstX, g.firstY, g.secondX, g.secondY}));
    // The box within 16 signed bits on every side, and no negative radius.
    const int32_t L = 1 << 15;
    EXPECT_TRUE(CircleFits(0, 0, 0) && CircleFits(-L + 5, L - 6, 5) && CircleFits(0, 0, L - 1));
    EXPECT_FALSE(CircleFits(0, 0, -1) || CircleFits(-L + 5, 0, 6) || CircleFits(0, L - 6, 6) || CircleFits(L, 0, 0) || CircleFits(0, 0, L));
}

}  // namespace
}  // namespace zorv
