// Colour-code arithmetic: the field scaling over every value of the usual field widths, the
// fade mix over every step of a few fades, and the pixel read.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "colour/colour_math.h"

namespace zorv {
namespace {

TEST(Colour, FieldScalingOverEveryFieldValue) {
    // 5-6-5, 1-5-5-5, 4-4-4-4, 8-8-8 and 10-bit fields {shift, width}, the other bits random.
    const int fields[][2] = {{11, 5}, {5, 6}, {0, 5}, {10, 5}, {8, 4}, {0, 4}, {16, 8}, {8, 8}, {0, 8}, {20, 10}, {0, 2}};
    std::mt19937 r(7);
    for (const auto& f : fields) {
        const uint32_t full = (1u << f[1]) - 1, mask = full << f[0];
        for (uint32_t v = 0; v <= full; ++v) {  // a full field is 255, an 8-bit one is copied
            ASSERT_EQ(full == 255 ? v : v * 255 / full, FieldToByte(v << f[0] | (r() & ~mask), mask)) << f[0] << " " << v;
        }
    }
    EXPECT_EQ(0x87654321u * 255u / 0xFFFFFFFFu, FieldToByte(0x87654321u, 0xFFFFFFFFu));  // wraps like the plugin's
    EXPECT_EQ(0u, FieldToByte(0xFFFFFFFFu, 0));
    // A 5-6-5 display: white, red, and 16 of 31.
    for (uint32_t mask : {0xF800u, 0x07E0u, 0x001Fu}) EXPECT_EQ(255u, FieldToByte(0xFFFF, mask));
    EXPECT_TRUE(FieldToByte(0xF800, 0xF800) == 255 && FieldToByte(0xF800, 0x07E0) == 0 && FieldToByte(0xF800, 0x1F) == 0);
    EXPECT_EQ(131u, FieldToByte(16 << 11, 0xF800));
    // Only the pixel's own bytes are read (the sanitizer sees a read past them), then masked.
    const std::unique_ptr<uint8_t[]> pixel(new uint8_t[2]{0x11, 0xA2});
    EXPECT_TRUE(PixelCode(pixel.get(), 8) == 0x11 && PixelCode(pixel.get(), 16) == 0xA211 && PixelCode(pixel.get(), 15) == 0x2211);
    const uint8_t bytes[4] = {0x11, 0x22, 0x33, 0xC4};
    EXPECT_TRUE(PixelCode(bytes, 24) == 0x332211 && PixelCode(bytes, 32) == 0xC4332211u);
}

TEST(Colour, FadeMixOverEveryStep) {
    for (int32_t steps : {1, 2, 30, 255}) {
        for (int from = 0; from < 256; from += 5) {
            for (int to = 0; to < 256; to += 3) {
                for (int32_t k = 1; k <= steps; ++k)
                    ASSERT_EQ(from * (steps - k) / steps + to * k / steps, FadeMix(from, to, steps, k)) << steps << " " << k;
                ASSERT_EQ(to, FadeMix(from, to, steps, steps));
            }
        }
    }
    // Long fades stay between the two colours (one below, from the two truncations) and end
    // on the target: no product wraps.
    std::mt19937 r(3);
    for (int i = 0; i < 20000; ++i) {
        const int32_t steps = 0x7FFFFFFE - static_cast<int32_t>(r() % 1000000);
        const int32_t k = 1 + static_cast<int32_t>(r() % static_cast<uint32_t>(steps));
        const uint8_t from = r() & 0xFF, to = r() & 0xFF, mix = FadeMix(from, to, steps, k);
        ASSERT_TRUE(mix + 1 >= std::min(from, to) && mix <= std::max(from, to)) << steps << " " << k;
        ASSERT_EQ(to, FadeMix(from, to, steps, steps));
    }
}

}  // namespace
}  // namespace zorv
