#include "frame/status_text.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <climits>
#include <cstring>
#include <set>
#include <string>

#include "expected_texts.h"
#include "frame/dx_result_table.h"

namespace zorv {
namespace {

// Converts with glibc's iconv, independently of how the plugin's texts were encoded.
std::string Convert(const std::string& in, const char* from, const char* to) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return "<no converter>";
    std::string out(in.size() * 4 + 4, '\0');
    char* src = const_cast<char*>(in.data());
    size_t srcLeft = in.size();
    char* dst = &out[0];
    size_t dstLeft = out.size();
    size_t done = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
    iconv_close(cd);
    if (done == static_cast<size_t>(-1)) return "<invalid>";
    out.resize(out.size() - dstLeft);
    return out;
}
std::string ToCp932(const char* utf8) { return Convert(utf8, "UTF-8", "CP932"); }

TEST(StatusText, EveryCodeHasItsShiftJisText) {
    ASSERT_EQ(82, expected::STATUS_TEXT_COUNT);
    for (const expected::StatusRow& row : expected::STATUS_TEXTS) {
        EXPECT_EQ(ToCp932(row.text), std::string(StatusText(row.code))) << "code " << row.code;
    }
    EXPECT_EQ(std::string("\x90\xB3\x8F\xED\x8F\x49\x97\xB9"), StatusText(0));
    // -30/-56 and -21/-33 share their texts.
    EXPECT_STREQ(StatusText(-30), StatusText(-56));
    EXPECT_STREQ(StatusText(-21), StatusText(-33));
}

TEST(StatusText, CodesWithoutARowAreFormatted) {
    EXPECT_STREQ("unknown! 4[0x0004]", StatusText(4));
    EXPECT_STREQ("unknown! -100[0xFFFFFF9C]", StatusText(-100));
    EXPECT_STREQ("unknown! -81[0xFFFFFFAF]", StatusText(-81));
    EXPECT_STREQ("unknown! -254[0xFFFFFF02]", StatusText(-254));
    EXPECT_STREQ("unknown! -256[0xFFFFFF00]", StatusText(-256));
    EXPECT_STREQ("unknown! 1[0x0001]", StatusText(1));
    EXPECT_STREQ("unknown! 74565[0x12345]", StatusText(0x12345));
    EXPECT_STREQ("unknown! -2147483648[0x80000000]", StatusText(INT_MIN));
    EXPECT_STREQ("unknown! 2147483647[0x7FFFFFFF]", StatusText(INT_MAX));
}

TEST(DxResultText, TableHasEveryResultOnce) {
    ASSERT_EQ(196u, dxResultTextCount);
    std::set<uint32_t> values;
    std::set<std::string> names;
    for (size_t i = 0; i < dxResultTextCount; ++i) {
        const DxResultRow& row = dxResultTexts[i];
        values.insert(row.value);
        names.insert(row.name);
        // Every text is non-empty, valid code page 932 and not plain ASCII.
        std::string utf8 = Convert(row.text, "CP932", "UTF-8");
        EXPECT_NE("<invalid>", utf8) << row.name;
        EXPECT_GT(std::strlen(row.text), 0u) << row.name;
        EXPECT_NE(utf8, std::string(row.text)) << row.name << " is not Japanese";
        EXPECT_STREQ(row.text, DxResultText(static_cast<int32_t>(row.value))) << row.name;
    }
    EXPECT_EQ(196u, values.size());
    EXPECT_EQ(196u, names.size());
}

TEST(DxResultText, KnownValues) {
    struct Row { uint32_t value; const char* name; } rows[] = {
        {0x00000000u, "DD_OK"},
        {0x80004001u, "DDERR_UNSUPPORTED"},
        {0x80004005u, "DDERR_GENERIC"},
        {0x800401F0u, "DDERR_NOTINITIALIZED"},
        {0x8007000Eu, "DDERR_OUTOFMEMORY"},
        {0x80070057u, "DDERR_INVALIDPARAMS"},
        {0x88760000u + 5, "DDERR_ALREADYINITIALIZED"},
        {0x88760000u + 450, "DDERR_SURFACELOST"},
        {0x88760000u + 540, "DDERR_WASSTILLDRAWING"},
        {0x88760000u + 563, "DDERR_NODIRECTDRAWHW"},
        {0x88760000u + 699, "DDERR_DEVICEDOESNTOWNSURFACE"},
        {0x88760000u + 700, "D3DERR_BADMAJORVERSION"},
        {0x88760000u + 2048, "D3DERR_INVALIDVERTEXFORMAT"},
        {0x88760000u + 2102, "D3DERR_NOTINBEGINSTATEBLOCK"},
    };
    for (const Row& r : rows) {
        bool found = false;
        for (size_t i = 0; i < dxResultTextCount; ++i) {
            if (dxResultTexts[i].value == r.value) {
                EXPECT_STREQ(r.name, dxResultTexts[i].name);
                found = true;
            }
        }
        EXPECT_TRUE(found) << r.name;
    }
}

TEST(DxResultText, UnknownResultsAreFormattedWithoutPrefix) {
    EXPECT_STREQ("unknown! -2005532381[88760123]", DxResultText(static_cast<int32_t>(0x88760123u)));
    EXPECT_STREQ("unknown! 1[0001]", DxResultText(1));
    // The same code number in another facility is not the DirectDraw result.
    EXPECT_STREQ("unknown! -2147024446[800701C2]", DxResultText(static_cast<int32_t>(0x800701C2u)));
}

TEST(CopyTextToHost, ShortTextIsZeroPaddedAndLastByteKept) {
    char buffer[16];
    std::memset(buffer, 0x7F, sizeof buffer);
    CopyTextToHost(buffer, 4, "abc");
    EXPECT_STREQ("abc", buffer);
    for (int i = 3; i < 15; ++i) EXPECT_EQ(0, buffer[i]) << i;
    EXPECT_EQ(0x7F, buffer[15]);
}

TEST(CopyTextToHost, LongTextIsCutAtFourTimesSizeMinusOne) {
    char buffer[8];
    std::memset(buffer, 0x7F, sizeof buffer);
    CopyTextToHost(buffer, 1, "abcdefgh");
    EXPECT_EQ(0, std::memcmp(buffer, "abc", 3));
    EXPECT_EQ(0x7F, buffer[3]);
    EXPECT_EQ(0x7F, buffer[4]);
}

TEST(CopyTextToHost, NothingForEmptyOrNegativeSizes) {
    char buffer[4] = {1, 2, 3, 4};
    CopyTextToHost(buffer, 0, "abc");
    CopyTextToHost(buffer, -5, "abc");
    CopyTextToHost(nullptr, 4, "abc");
    EXPECT_EQ(0, std::memcmp(buffer, "\x01\x02\x03\x04", 4));
}

}  // namespace
}  // namespace zorv
