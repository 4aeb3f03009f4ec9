// Status and DirectX result texts against the expected texts (converted to Shift-JIS by glibc's
// iconv, apart from the plugin's own encoding), and the bounded text copies: the host string
// copy and the rate texts, each in guarded memory against a plain reference.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>

#include "display/pacing.h"
#include "expected_texts.h"
#include "frame/dx_result_table.h"
#include "frame/status_text.h"

namespace zorv {
namespace {

std::string Convert(std::string in, const char* from, const char* to) {
    const iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return "<no converter>";
    std::string out(in.size() * 4 + 4, '\0');
    char *src = &in[0], *dst = &out[0];
    size_t srcLeft = in.size(), dstLeft = out.size();
    const bool done = iconv(cd, &src, &srcLeft, &dst, &dstLeft) != static_cast<size_t>(-1);
    iconv_close(cd);
    return done ? out.substr(0, out.size() - dstLeft) : "<invalid>";
}

std::string Printf(const char* format, int32_t value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, static_cast<int>(value), static_cast<unsigned>(value));
    return buffer;
}

TEST(Texts, StatusAndDirectXResults) {
    ASSERT_EQ(82, expected::STATUS_TEXT_COUNT);
    std::set<int32_t> known;
    for (const expected::StatusRow& row : expected::STATUS_TEXTS) {
        EXPECT_EQ(Convert(row.text, "UTF-8", "CP932"), StatusText(row.code)) << row.code;
        known.insert(row.code);
    }
    EXPECT_STREQ("unknown! -100[0xFFFFFF9C]", StatusText(-100));
    ASSERT_EQ(196u, dxResultTextCount);
    std::set<uint32_t> values;
    std::map<std::string, uint32_t> names;
    for (size_t i = 0; i < dxResultTextCount; ++i) {
        const DxResultRow& row = dxResultTexts[i];
        values.insert(row.value);
        names[row.name] = row.value;
        const std::string utf8 = Convert(row.text, "CP932", "UTF-8");  // valid Shift-JIS, not plain ASCII
        EXPECT_TRUE(utf8 != "<invalid>" && utf8 != row.text) << row.name;
        EXPECT_STREQ(row.text, DxResultText(static_cast<int32_t>(row.value))) << row.name;
    }
    EXPECT_TRUE(values.size() == 196 && names.size() == 196) << "values and names are unique";
    EXPECT_TRUE(names["DDERR_GENERIC"] == 0x80004005u && names["DDERR_SURFACELOST"] == 0x88760000u + 450 &&
                names["D3DERR_NOTINBEGINSTATEBLOCK"] == 0x88760000u + 2102);
    std::mt19937 r(7);
    for (int n = 0; n < 20000; ++n) {  // everything else is formatted
        const int32_t code = static_cast<int32_t>(n % 2 ? r() : r() % 600) - (n % 2 ? 0 : 400);
        ASSERT_EQ(known.count(code) ? StatusText(code) : Printf("unknown! %d[0x%04X]", code), StatusText(code));
        const bool isResult = values.count(static_cast<uint32_t>(code));
        ASSERT_EQ(isResult ? DxResultText(code) : Printf("unknown! %d[%04X]", code), DxResultText(code));
    }
}

// A buffer of 4 x size bytes as the host hands it: at most 4 x size - 1 characters, zeros after
// a short text, the last byte kept; nothing for a size of 0 or less, nothing outside.
TEST(Texts, CopyToHost) {
    std::mt19937 r(8);
    for (int n = 0; n < 5000; ++n) {
        const int32_t size = static_cast<int32_t>(r() % 12) - 3;
        const std::string text(r() % 50, static_cast<char>('a' + r() % 26));
        std::string memory(16 + 48 + 16, '\x5A');
        CopyTextToHost(&memory[16], size, text.c_str());
        std::string want(memory.size(), '\x5A');
        for (int32_t i = 0; i < 4 * size - 1; ++i) want[16 + i] = i < static_cast<int32_t>(text.size()) ? text[i] : '\0';
        ASSERT_EQ(want, memory) << "size " << size << ", text of " << text.size();
    }
}

// Rate texts: "%6.2f FPS", then fewer decimals while it does not fit 11 characters, then
// "9999999 FPS"; "%6d TPS", saturated on its own side.
std::string FrameReference(uint32_t rate) {
    char buffer[64];
    for (const char* format : {"%6.2f FPS", "%.1f FPS", "%.0f FPS"}) {
        if (std::snprintf(buffer, sizeof buffer, format, rate / 256.0) <= 11) return buffer;
    }
    return "9999999 FPS";
}
std::string PolygonReference(int32_t rate) {
    return rate >= 10000000 ? "9999999 TPS" : rate <= -1000000 ? "-999999 TPS" : Printf("%6d TPS", rate);
}

TEST(Texts, RateTexts) {
    // The reference itself on known rows; 9999.996 gains a digit by rounding.
    EXPECT_TRUE(FrameReference(15360) == " 60.00 FPS" && FrameReference(9999 * 256 + 255) == "10000.0 FPS" &&
                FrameReference(1234567 * 256) == "1234567 FPS" && FrameReference(~0u) == "9999999 FPS");
    std::mt19937 r(9);
    for (int n = 0; n < 30000; ++n) {
        const uint32_t value = r() >> (r() % 32);
        struct { char before[16], text[RATE_TEXT_SIZE], after[16]; } g;
        static_assert(sizeof g == 32 + RATE_TEXT_SIZE, "no padding");
        for (int kind = 0; kind < 3; ++kind) {
            std::memset(&g, 0x5A, sizeof g);
            std::string want;
            int32_t length = 0;
            if (kind == 0) want = FrameReference(value), length = FormatFrameRate(value, g.text);
            if (kind == 1) want = PolygonReference(static_cast<int32_t>(value)), length = FormatPolygonRate(static_cast<int32_t>(value), g.text);
            if (kind == 2) {
                const std::string source(value % 20, 'x');
                want = source.substr(0, 11), length = SetRateText(source.c_str(), g.text);
            }
            ASSERT_EQ(want, std::string(g.text, strnlen(g.text, RATE_TEXT_SIZE))) << kind << ": " << value;
            ASSERT_TRUE(static_cast<int32_t>(want.size()) == length && g.text[length] == '\0');
            ASSERT_EQ(std::string(32, '\x5A'), std::string(g.before, 16) + std::string(g.after, 16));
        }
    }
}

}  // namespace
}  // namespace zorv
