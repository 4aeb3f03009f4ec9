// The call frame through the built plugin: export table, version, status texts,
// ZorvGetError and the last-call record.
#include <algorithm>
#include <climits>
#include <cstring>
#include <set>
#include <string>

#include "expected_texts.h"
#include "plugin_fixture.h"

using host::Variable;
using wine_tests::ErrorText;
using wine_tests::LastCall;
using wine_tests::plugin;

namespace {

// Exports whose subsystem is not built yet: each records its name and returns -255.
const std::set<std::string> PENDING = {
    "ZorvBeginDraw", "ZorvCopyCharacter", "ZorvCreateCharacter", "ZorvDrawCircle",
    "ZorvDrawString", "ZorvEndDraw", "ZorvFadePalette", "ZorvFindCharacter", "ZorvGetColorCode",
    "ZorvGetPointColor", "ZorvGetRGBFromColorCode", "ZorvHSPToSurface",
    "ZorvHitTest", "ZorvHitTest2", "ZorvInitializeAnimationPattern", "ZorvInitializeCharacter",
    "ZorvMoveCharacter", "ZorvPaletteCopy", "ZorvPutCharacter",
    "ZorvPutCharacterYSort",
    "ZorvSetAnimationPattern", "ZorvSetCharacterAim", "ZorvSetCharacterAim2",
    "ZorvSetCharacterAnimation", "ZorvSetCharacterVariable",
    "ZorvSetPalette", "ZorvSetPen", "ZorvSetRelativeCharacter",
    "ZorvSetStringChip",
    "ZorvSurfaceToHSP",
};

// The name each pending export leaves in the last-call record.
std::string RecordedName(const std::string& name) {
    if (name == "ZorvSetPalette") return "ZorvGetSetPalette";
    return name;
}

}  // namespace

TEST(ExportTable, HoldsExactlyTheDecoratedNames) {
    std::vector<std::string> names = plugin->ExportNames();
    std::set<std::string> expected;
    for (const char* name : expected::EXPORTS) expected.insert("_" + std::string(name) + "@16");
    ASSERT_EQ(83u, expected.size());
    EXPECT_EQ(83u, names.size());
    EXPECT_EQ(expected, std::set<std::string>(names.begin(), names.end()));
    for (const char* name : expected::EXPORTS) EXPECT_NE(nullptr, plugin->Find(name)) << name;
}

TEST(LastCall, IsNashiBeforeAnyExport) { EXPECT_EQ("無し", wine_tests::lastCallAtLoad); }

TEST(GetVersion, WritesVersionIntoIntegerVariable) {
    Variable v = Variable::Int(1);
    v.Ints()[0] = 0x12345678;
    EXPECT_EQ(0, plugin->Call("ZorvGetVersion", v.Arg()));
    EXPECT_EQ(101, v.Ints()[0]);
    EXPECT_TRUE(v.GuardsIntact());
    EXPECT_TRUE(v.DescriptorIntact());
    EXPECT_EQ("ZorvGetVersion", LastCall());
}

TEST(GetVersion, RefusesStringVariableAndLeavesItAlone) {
    Variable s = Variable::String(4);
    s.Fill(0xEE);
    EXPECT_EQ(-1, plugin->Call("ZorvGetVersion", s.Arg()));
    for (size_t i = 0; i < s.DataBytes(); ++i) ASSERT_EQ(0xEE, s.Data()[i]) << i;
    EXPECT_TRUE(s.GuardsIntact());
    // A null descriptor is the wrong kind too, not a crash.
    EXPECT_EQ(-1, plugin->Call("ZorvGetVersion", 0));
}

TEST(GetError, EveryStatusCodeHasItsText) {
    for (const expected::StatusRow& row : expected::STATUS_TEXTS) {
        EXPECT_EQ(row.text, ErrorText(-row.code)) << "code " << row.code;
    }
}

TEST(GetError, TextsAreShiftJisBytes) {
    // "正常終了" in code page 932, and a text whose second bytes are 0x5C.
    Variable s = Variable::String(16);
    ASSERT_EQ(0, plugin->Call("ZorvGetError", s.Arg(), 0));
    EXPECT_EQ(0, std::memcmp(s.Text(), "\x90\xB3\x8F\xED\x8F\x49\x97\xB9", 9));
    ASSERT_EQ(0, plugin->Call("ZorvGetError", s.Arg(), 255));
    EXPECT_EQ(host::Utf8ToCp932("そいつぁ、未対応のフューチャーでんがな！(^_^;)"), std::string(s.Text()));
}

TEST(GetError, UnknownCodesAreFormatted) {
    EXPECT_EQ("unknown! -81[0xFFFFFFAF]", ErrorText(81));
    EXPECT_EQ("unknown! 4[0x0004]", ErrorText(-4));
    EXPECT_EQ("unknown! -100[0xFFFFFF9C]", ErrorText(100));
    EXPECT_EQ("unknown! -254[0xFFFFFF02]", ErrorText(254));
    EXPECT_EQ("unknown! -256[0xFFFFFF00]", ErrorText(256));
    EXPECT_EQ("unknown! 1000000[0xF4240]", ErrorText(-1000000));
    EXPECT_EQ("unknown! -2147483648[0x80000000]", ErrorText(INT_MIN));
}

TEST(GetError, LastDirectXResultStartsAtOk) {
    // Read at load, before any DirectX call could fail.
    EXPECT_EQ(0, wine_tests::lastDxResultAtLoad);
    EXPECT_EQ("正常に終了した", wine_tests::lastDxTextAtLoad);
}

TEST(GetError, WrongVariableKindIsRefusedAndNothingWritten) {
    Variable s = Variable::String(4);
    s.Fill(0x11);
    Variable v = Variable::Int(4);
    v.Fill(0x22);
    EXPECT_EQ(-1, plugin->Call("ZorvGetError", s.Arg(), -2));
    for (int selector : {-3, -1, 0, 5, 255}) {
        EXPECT_EQ(-1, plugin->Call("ZorvGetError", v.Arg(), selector)) << selector;
    }
    EXPECT_EQ(-1, plugin->Call("ZorvGetError", 0, 0));
    for (size_t i = 0; i < 16; ++i) {
        ASSERT_EQ(0x11, s.Data()[i]);
        ASSERT_EQ(0x22, v.Data()[i]);
    }
}

TEST(GetError, BoundedCopyKeepsTheLastByte) {
    // Size 1: at most 3 characters; the fourth byte keeps its old value.
    Variable small = Variable::String(1);
    small.Fill(0x7F);
    ASSERT_EQ(0, plugin->Call("ZorvGetError", small.Arg(), 2));  // "パラメータが範囲外"
    std::string full = host::Utf8ToCp932("パラメータが範囲外");
    EXPECT_EQ(0, std::memcmp(small.Text(), full.data(), 3));
    EXPECT_EQ(0x7F, small.Data()[3]);
    EXPECT_TRUE(small.GuardsIntact());

    // A shorter text is followed by zeros up to 4 * size - 1; the last byte is not touched.
    Variable four = Variable::String(4);
    four.Fill(0x7F);
    plugin->Call("ZorvGetVersion", four.Arg());  // fails, but names itself
    ASSERT_EQ(0, plugin->Call("ZorvGetError", four.Arg(), -1));
    EXPECT_EQ(std::string("ZorvGetVersion"), std::string(four.Text(), 14));
    EXPECT_EQ(0, four.Data()[14]);
    EXPECT_EQ(0x7F, four.Data()[15]);
    EXPECT_TRUE(four.GuardsIntact());

    // A text exactly 4 * size - 1 long fills all but the last byte.
    Variable exact = Variable::String(2);  // room for 7 characters
    exact.Fill(0x7F);
    ASSERT_EQ(0, plugin->Call("ZorvGetError", exact.Arg(), 0));  // 8 bytes of Shift-JIS
    EXPECT_EQ(0, std::memcmp(exact.Text(), "\x90\xB3\x8F\xED\x8F\x49\x97", 7));
    EXPECT_EQ(0x7F, exact.Data()[7]);

    // Sizes of 0 and below receive nothing.
    Variable none = Variable::String(0);
    EXPECT_EQ(0, plugin->Call("ZorvGetError", none.Arg(), 0));
    EXPECT_TRUE(none.GuardsIntact());
}

TEST(LastCall, GetErrorAndMiscFamilyLeaveItAlone) {
    Variable v = Variable::Int(1);
    plugin->Call("ZorvGetVersion", v.Arg());
    EXPECT_EQ("ZorvGetVersion", LastCall());
    EXPECT_EQ("ZorvGetVersion", LastCall());  // the reading call did not change it
    for (const char* name : expected::EXPORTS) {
        if (std::strncmp(name, "Zorvmisc", 8) != 0 || std::strcmp(name, "ZorvmiscGetClock") == 0) continue;
        v.Ints()[0] = 48;  // a harmless first element for ZorvmiscSystemParameter
        plugin->Call(name, v.Arg(), 0, std::strcmp(name, "ZorvmiscSystemParameter") == 0 ? 48 : 1, 0);
        EXPECT_EQ("ZorvGetVersion", LastCall()) << name;
    }
}

TEST(LastCall, StoredBeforeAnyArgumentCheck) {
    Variable s = Variable::String(1);
    EXPECT_EQ(-1, plugin->Call("ZorvGetVersion", s.Arg()));
    EXPECT_EQ("ZorvGetVersion", LastCall());
}

TEST(PendingExports, RecordTheirNameAndAnswerUnsupported) {
    std::set<std::string> all(std::begin(expected::EXPORTS), std::end(expected::EXPORTS));
    for (const std::string& name : PENDING) EXPECT_EQ(1u, all.count(name)) << name;
    for (const char* name : expected::EXPORTS) {
        if (PENDING.count(name) == 0) continue;
        EXPECT_EQ(-255, plugin->Call(name, 0, 0, 0, 0)) << name;
        EXPECT_EQ(RecordedName(name), LastCall()) << name;
    }
}

// Run with ddraw.dll switched off (WINEDLLOVERRIDES=ddraw=d): the plugin still loads.
TEST(NoDirectDraw, PluginLoadsAndAnswers) {
    EXPECT_EQ(nullptr, GetModuleHandleA("ddraw.dll"));
    Variable v = Variable::Int(1);
    EXPECT_EQ(0, plugin->Call("ZorvGetVersion", v.Arg()));
    EXPECT_EQ(101, v.Ints()[0]);
    EXPECT_EQ(0, plugin->Call("ZorvmiscSin", v.Arg(), 256, 100));
    EXPECT_EQ(99, v.Ints()[0]);
    // The DirectDraw exports report the missing library after their own checks.
    Variable text = Variable::String(4);
    EXPECT_EQ(-1, plugin->Call("ZorvEnumDDdevice", text.Arg()));
    EXPECT_EQ(-66, plugin->Call("ZorvEnumDDdevice", v.Arg()));
    EXPECT_EQ(-66, plugin->Call("ZorvGetDDdeviceName", text.Arg(), 0));
    EXPECT_EQ(-66, plugin->Call("ZorvEnumDisplayMode", v.Arg(), 0, 0));
    EXPECT_EQ(-66, plugin->Call("ZorvGetDDcaps", v.Arg(), 0, 0));
    EXPECT_EQ(-66, plugin->Call("ZorvCreateDD", 0));
    host::Screen screen(64, 64);
    EXPECT_EQ(-9, plugin->Call("ZorvInitialize", 0, 2, 0));
    EXPECT_EQ(-66, plugin->Call("ZorvInitialize", screen.Arg(), 2, 0));
    EXPECT_EQ(-9, plugin->Call("ZorvInitialize", 0, 0, 0));  // not -8: it never got initialised
}
