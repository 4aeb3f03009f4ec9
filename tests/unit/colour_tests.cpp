// Colour-code arithmetic: the field scaling over every value of the usual field widths, the
// fade mix over every step of a few fades, the pixel read and the palette change list.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "colour/colour_math.h"

namespace zorv {
namespace {

// A field of `width` bits at bit `shift`: its value scaled to 0 ... 255 (full field = 255,
// an 8-bit field as it is), in 32-bit unsigned arithmetic.
uint32_t ScaledField(uint32_t code, int shift, int width) {
    const uint32_t full = width == 32 ? 0xFFFFFFFFu : (1u << width) - 1;
    const uint32_t value = (code >> shift) & full;
    return full == 255 ? value : value * 255u / full;
}

TEST(Colour, FieldScalingOverEveryFieldValue) {
    // 5-6-5, 1-5-5-5, 4-4-4-4, 8-8-8 and 2-10-10-10 fields, with the other bits set at random.
    const int fields[][2] = {{11, 5}, {5, 6}, {0, 5}, {10, 5}, {8, 4}, {0, 4}, {16, 8}, {8, 8}, {0, 8}, {20, 10}, {0, 2}};
    std::mt19937 r(7);
    for (const auto& f : fields) {
        const uint32_t mask = ((1u << f[1]) - 1) << f[0];
        for (uint32_t v = 0; v < (1u << f[1]); ++v) {
            const uint32_t code = (v << f[0]) | (r() & ~mask);
            ASSERT_EQ(ScaledField(code, f[0], f[1]), FieldToByte(code, mask)) << f[0] << "/" << f[1] << " " << v;
        }
    }
    const uint32_t wide = 0xFFFFFFFFu;  // wider than 24 bits: the product wraps
    EXPECT_EQ(ScaledField(0x87654321u, 0, 32), FieldToByte(0x87654321u, wide));
    EXPECT_EQ(0u, FieldToByte(0xFFFFFFFFu, 0));
    // A 5-6-5 display: white, red, and half of a 5-bit field.
    for (uint32_t mask : {0xF800u, 0x07E0u, 0x001Fu}) EXPECT_EQ(255u, FieldToByte(0xFFFF, mask));
    EXPECT_EQ(255u, FieldToByte(0xF800, 0xF800));
    EXPECT_EQ(0u, FieldToByte(0xF800, 0x07E0));
    EXPECT_EQ(131u, FieldToByte(16 << 11, 0xF800));
}

TEST(Colour, FadeMixOverEveryStep) {
    for (int32_t steps : {1, 2, 30, 255}) {
        for (int from = 0; from < 256; from += 5) {
            for (int to = 0; to < 256; to += 3) {
                for (int32_t k = 1; k <= steps; ++k) {
                    const int want = (from * (steps - k)) / steps + (to * k) / steps;
                    ASSERT_EQ(want, FadeMix(from, to, steps, k)) << steps << " " << from << " " << to << " " << k;
                }
                ASSERT_EQ(to, FadeMix(from, to, steps, steps));
            }
        }
    }
    // Long fades stay between the two colours (one below, from the two truncations) and end
    // on the target.
    std::mt19937 r(3);
    for (int i = 0; i < 20000; ++i) {
        const int32_t steps = 0x7FFFFFFE - static_cast<int32_t>(r() % 1000000);
        const int32_t k = 1 + static_cast<int32_t>(r() % static_cast<uint32_t>(steps));
        const uint8_t from = r() & 0xFF, to = r() & 0xFF, mix = FadeMix(from, to, steps, k);
        ASSERT_TRUE(mix + 1 >= std::min(from, to) && mix <= std::max(from, to)) << steps << " " << k;
        ASSERT_EQ(to, FadeMix(from, to, steps, steps));
    }
}

TEST(Colour, PixelCodeReadsOnlyThePixelsBytes) {
    const uint8_t bytes[4] = {0x11, 0x22, 0x33, 0x44};
    const uint32_t want[] = {0x11, 0x2211, 0x332211, 0x44332211};
    for (uint32_t size = 1; size <= 4; ++size) {
        std::unique_ptr<uint8_t[]> pixel(new uint8_t[size]);  // the sanitizer sees a read past it
        std::copy(bytes, bytes + size, pixel.get());
        EXPECT_EQ(want[size - 1], PixelCode(pixel.get(), 8 * size));
    }
    EXPECT_EQ(0x2211u & 0x7FFF, PixelCode(bytes, 15));
}

TEST(Colour, PaletteChangeListMarksEverythingWhenFull) {
    uint8_t list[PALETTE_CHANGES_MAX] = {};
    int32_t count = 0;
    for (int i = 0; i < 300; ++i) {
        NotePaletteChange(list, count, static_cast<uint8_t>(i * 7));
        ASSERT_EQ(i < PALETTE_CHANGES_MAX ? i + 1 : PALETTE_CHANGES_ALL, count);
    }
    for (int i = 0; i < PALETTE_CHANGES_MAX; ++i) ASSERT_EQ(static_cast<uint8_t>(i * 7), list[i]);
}

}  // namespace
}  // namespace zorv
