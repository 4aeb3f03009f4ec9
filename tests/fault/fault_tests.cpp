// Every DirectX failure path of the plugin from one loop. A scenario is a list of export calls
// from the DirectDraw object to ZorvExit. It runs once to count the checked DirectX calls it
// makes, then once more for each of them with that call failing. Each run must give the
// status the failure table names for that call in that export (or the export's normal status
// for a failure it ignores), keep the injected result as the last DirectX result, not crash,
// and give back every reference it took once ZorvExit has run.
#include <gtest/gtest.h>
#include <ddraw.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dx_layer.h"
#include "host_emulator.h"

namespace {

host::Plugin* plugin = nullptr;
int32_t screenMode = 2, renderMode = 0, desktopBits = 32;

// What an export returns when its nth call of a DirectX method fails (nth 0: any of them).
constexpr int32_t DX = INT32_MIN;  // the status is the injected result itself
constexpr int NOT_STORED = 1;      // the plugin does not keep the result as the last one
struct FailureRow {
    int modes;             // a bit per render mode (none: every one), FULL, WINDOWED, PALETTE
    const char* scenario;  // null: every scenario
    const char* exportName;
    const char* method;
    int nth;
    int32_t status;
    int flags;
};
constexpr int RGB_OR_HAL = 1 << 3 | 1 << 4;  // render mode 1 tries the next device class instead
constexpr int FULL = 1 << 5, WINDOWED = 1 << 6, PALETTE = 1 << 7;  // PALETTE: an 8-bit desktop
constexpr int32_t SCREEN = 65636, UPDATED = 65536;
const FailureRow FAILURE_ROWS[] = {
#include "failure_rows.inc"
};

// Placeholders for variables made fresh for each call: 768 integers (a palette's colours),
// 64 bytes of text, 768 integers starting with four corner points, and the bare data pointer
// of 768 integers (a host palette buffer); and the host screen record.
constexpr int32_t INT_VAR = 0x7FFF0001, TEXT_VAR = 0x7FFF0002, CORNERS = 0x7FFF0003, BYTES = 0x7FFF0004;
constexpr int32_t HOST = 0x7FFF0005;
host::Screen* hostScreen = nullptr;
// The character array for the column given as the next argument: the plugin keeps it, so it
// lives as long as the program; all are cleared when column 0 is registered, so that each run
// starts without the characters of the one before.
constexpr int32_t COLUMN = 0x7FFF0006;
host::Variable& Column(int32_t c) {
    static std::vector<host::Variable> columns;
    while (columns.size() < 26) columns.push_back(host::Variable::Int(8));
    if (c == 0)
        for (host::Variable& v : columns) v.Fill(0);
    return columns[static_cast<size_t>(c) % 26];
}

struct Step {
    const char* exportName;
    int32_t args[4];
    int32_t status;                  // when nothing fails
    const char* entries = nullptr;   // when nothing fails: the palette's SetEntries calls, in order
};

struct Scenario {
    const char* name;
    std::vector<Step> steps;
    size_t shared = 0;                // leading steps whose failures an earlier scenario covers
    const char* answered = nullptr;   // a method the layer answers itself
    HRESULT answer = S_OK;
};
int checkedInShared = 0;  // checked calls made by the shared steps of the last run

int32_t CallStep(const Step& step) {
    std::vector<std::unique_ptr<host::Variable>> vars;
    int32_t args[4];
    for (int i = 0; i < 4; ++i) {
        args[i] = step.args[i] == HOST ? hostScreen->Arg() : step.args[i] == COLUMN ? Column(step.args[1]).Arg() : step.args[i];
        if (args[i] < INT_VAR || args[i] > BYTES) continue;
        vars.push_back(std::make_unique<host::Variable>(args[i] == TEXT_VAR ? host::Variable::String(16)
                                                                            : host::Variable::Int(768)));
        const int32_t corners[8] = {100, 100, 180, 120, 170, 190, 90, 170};
        if (args[i] == CORNERS) std::memcpy(vars.back()->Ints(), corners, sizeof corners);
        if (args[i] == TEXT_VAR) std::memcpy(vars.back()->Data(), "AB", 3);  // two glyphs
        args[i] = args[i] == BYTES ? static_cast<int32_t>(reinterpret_cast<uintptr_t>(vars.back()->Data()))
                                   : vars.back()->Arg();
    }
    layer::SetExport(step.exportName);
    return plugin->Call(step.exportName, args[0], args[1], args[2], args[3]);
}

int32_t LastDxResult() {
    host::Variable v = host::Variable::Int(1);
    plugin->Call("ZorvGetError", v.Arg(), -2);
    return v.Ints()[0];
}

std::string MethodName(const std::string& record) { return record.substr(0, record.find('(')); }

// The row for the failed call `failed` (an index into the records) of a step whose calls
// start at `first`, or null when the export ignores that failure.
const FailureRow* FindRow(const char* scenario, const Step& step, size_t first, size_t failed) {
    const auto& calls = layer::Calls();
    const std::string name = MethodName(calls[failed].method);
    int nth = 0;
    for (size_t i = first; i <= failed; ++i) nth += MethodName(calls[i].method) == name;
    for (const FailureRow& row : FAILURE_ROWS) {
        const bool modeFits = (row.modes & 31) == 0 || (row.modes >> renderMode & 1);
        const bool screenFits = !(row.modes & FULL && screenMode != 0) && !(row.modes & WINDOWED && screenMode == 0);
        const bool depthFits = !(row.modes & PALETTE) || desktopBits == 8;
        if (modeFits && screenFits && depthFits && (!row.scenario || std::strcmp(row.scenario, scenario) == 0) &&
            std::strcmp(row.exportName, step.exportName) == 0 && name == row.method && (row.nth == nth || !row.nth))
            return &row;
    }
    return nullptr;
}

// Stops the plugin as a script would: ZorvExit, which needs a surface table to stop.
void Stop(const char* scenario) {
    const Step exit = {"ZorvExit", {}, 0}, table = {"ZorvInitializeSurface", {2}, 0};
    int32_t status = CallStep(exit);
    if (status == -76) CallStep(table), status = CallStep(exit);
    EXPECT_EQ(0, status) << scenario << ": the stop";
}

// One run, failing the checked call failAt (0: none). Returns the checked calls made.
int RunScenario(const Scenario& s, int failAt) {
    const HRESULT injected = static_cast<HRESULT>(0x887F0000u + static_cast<uint32_t>(failAt));
    layer::Reset();
    // Xvfb cannot switch modes: the layer says yes to the switch and to its undoing, and the
    // screen keeps the desktop's size.
    if (screenMode == 0) {
        layer::Answer("IDirectDraw7::SetDisplayMode", DD_OK);
        layer::Answer("IDirectDraw7::RestoreDisplayMode", DD_OK);
    }
    if (s.answered != nullptr) layer::Answer(s.answered, s.answer);
    if (failAt > 0) layer::FailCall(failAt, injected);
    std::vector<Step> steps = s.steps;
    steps.push_back({"ZorvExit", {}, 0});
    for (size_t i = 0; i < steps.size(); ++i) {
        if (i == s.shared) checkedInShared = layer::CheckedCalls();
        const size_t first = layer::Calls().size();
        const int32_t status = CallStep(steps[i]);
        const auto& calls = layer::Calls();
        size_t failed = first;
        while (failed < calls.size() && !(calls[failed].injected && calls[failed].result == injected)) ++failed;
        if (failed == calls.size()) {
            EXPECT_EQ(steps[i].status, status) << s.name << ": " << steps[i].exportName;
            std::string entries;
            for (size_t c = first; c < calls.size(); ++c)
                if (calls[c].method.find("::SetEntries(") != std::string::npos) entries += calls[c].method.substr(20) + " ";
            EXPECT_TRUE(!steps[i].entries || entries == steps[i].entries) << s.name << ": " << i << ": " << entries;
            if (status == steps[i].status) continue;
        } else {
            const FailureRow* row = FindRow(s.name, steps[i], first, failed);
            const int32_t expected = !row ? steps[i].status : row->status == DX ? injected : row->status;
            EXPECT_EQ(expected, status) << s.name << ": " << steps[i].exportName << " with "
                                        << calls[failed].method << " failing";
            if (row && !(row->flags & NOT_STORED)) {
                EXPECT_EQ(injected, LastDxResult()) << steps[i].exportName;
            }
        }
        // A failure ends the scenario; the plugin is then stopped as a script would stop it.
        if (i + 1 < steps.size()) Stop(s.name);
        break;
    }
    EXPECT_EQ("", layer::HeldReferences()) << s.name << ", failing call " << failAt;
    host::PumpMessages();
    return layer::CheckedCalls();
}

// Fails each checked call of the scenario in turn, once per place (the export, the call with
// its arguments, and which call of that method it is in the export): a place an earlier
// scenario of this process failed already is skipped, and of a method called many times in
// one export (the render states of a new device) the first three calls stand for the rest.
std::set<std::string> failedPlaces;
void RunEveryFailure(const Scenario& s) {
    const int count = RunScenario(s, 0);
    ASSERT_GT(count, 0) << s.name;
    const std::vector<layer::CallRecord> calls = layer::Calls();
    for (int k = checkedInShared + 1; k <= count && !testing::Test::HasFatalFailure(); ++k) {
        const layer::CallRecord& call = calls[k - 1];
        int nth = 0;
        for (int i = k - 1; i >= 0 && calls[i].exportName == call.exportName; --i)
            nth += MethodName(calls[i].method) == MethodName(call.method);
        if (nth > 3 || !failedPlaces.insert(call.exportName + call.method + std::to_string(nth)).second) continue;
        // Under Wine a full screen that cannot return to the normal level keeps DirectDraw's
        // own hook on the window above the plugin's: the release then answers -60 and keeps
        // everything, and no later screen of the process can be released.
        if (screenMode == 0 && call.method.find("SetCooperativeLevel(p,0x8)") != std::string::npos) continue;
        RunScenario(s, k);
        if (!testing::Test::HasFailure()) continue;
        for (const layer::CallRecord& c : layer::Calls())
            std::printf("  %-28s %-70s %08lX%s\n", c.exportName.c_str(), c.method.c_str(), c.result,
                        c.injected ? " <- injected" : "");
        break;
    }
    // Whatever the failed runs left pending went with their stops: a clean run is clean again.
    if (!testing::Test::HasFailure()) RunScenario(s, 0);
}

std::vector<Step> Join(std::vector<Step> a, const std::vector<Step>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<Step> Screen(int32_t flags, const std::vector<Step>& then = {}) {
    return Join({{"ZorvCreateDD", {0, 0, 0, 0}, 0},
                 {"ZorvInitializeSurface", {4, 0, 0, 0}, 0},
                 {"ZorvCreatePrimarySurface", {640, 480, desktopBits, flags}, SCREEN}},
                then);
}

std::vector<Scenario> Scenarios() {
    // A Direct3D device and a Z buffer where the render mode has one.
    const bool d3d = renderMode == 1 || renderMode >= 3;
    const int32_t flags = d3d ? 0x018 : 0;
    std::vector<Scenario> list;
    list.push_back({"devices",
                    {{"ZorvEnumDDdevice", {INT_VAR, 0, 0, 0}, 0},
                     {"ZorvGetDDdeviceName", {TEXT_VAR, 0, 0, 0}, 0},
                     {"ZorvEnumDisplayMode", {INT_VAR, 0, 0, 0}, 0},
                     {"ZorvGetDDcaps", {INT_VAR, 0, 1, 0}, 0},
                     {"ZorvCreateDD", {-1, 0, 0, 0}, 0},
                     {"ZorvInitializeSurface", {2, 0, 0, 0}, 0}}});
    list.push_back({"screen", Screen(flags | 0x001, {{"ZorvReleasePrimarySurface", {0, 0, 0, 0}, 0}})});
    // Colour codes, and on an 8-bit desktop the palette: entries set (in full screen written
    // at the update, the latest first; all at once after more than 256 of them), a fade of two
    // steps, the table shown again, copies both ways.
    const bool palette = desktopBits == 8, full = screenMode == 0;
    const char* none = palette ? "" : nullptr;
    const char* all = palette ? "SetEntries(0x0,0x0,0x100,p) " : nullptr;
    std::vector<Step> colours = Screen(flags, {{"ZorvSetPalette", {5, 1, 2, 3}, 0},
                                               {"ZorvSetPalette", {7, 1, 2, 3}, 0},
                                               {"ZorvUpdateScreen", {0, 0, 0, 1}, 0, full ? "SetEntries(0x0,0x7,0x1,p) SetEntries(0x0,0x5,0x1,p) " : none}});
    for (int32_t i = 0; i < 257; ++i) colours.push_back({"ZorvSetPalette", {i & 0xFF, i, 0, 0}, 0});
    const std::vector<Step> more = {{"ZorvUpdateScreen", {0, 0, 0, 1}, 0, full ? all : none},
                                    {"ZorvFadePalette", {INT_VAR, 2, 0, 0}, 0},
                                    {"ZorvUpdateScreen", {0, 0, 0, 1}, 0, all},
                                    {"ZorvUpdateScreen", {0, 0, 0, 1}, 0, all},
                                    {"ZorvUpdateScreen", {0, 0, 0, 1}, 0, none},  // the fade is over
                                    {"ZorvFadePalette", {0, 0, 0, 0}, 0},
                                    {"ZorvUpdateScreen", {0, 0, 0, 1}, 0, all},
                                    {"ZorvPaletteCopy", {0, 1, 0, BYTES}, palette ? 0 : -32},
                                    {"ZorvPaletteCopy", {0, 0, 0, BYTES}, palette ? 0 : -32},
                                    {"ZorvGetRGBFromColorCode", {INT_VAR, 5, 0, 0}, 0},
                                    {"ZorvGetColorCode", {INT_VAR, 1, 2, 3}, 0},
                                    {"ZorvGetPointColor", {INT_VAR, 5, 5, 0}, 0}};
    list.push_back({"colours", Join(colours, more), 3});
    if (screenMode == 0) list.push_back({"screen without chain", Screen(0x002)});
    // Off-screen surfaces: plain, with the system-memory fall-back, fills, clears, copies.
    std::vector<Step> surfaces = Screen(flags, {{"ZorvCreateOffscreenSurface", {1, 64, 32, 0x001}, 0},
                                                {"ZorvSetTransparentColor", {1, 0, 0, 0}, 0},
                                                {"ZorvBoxFill", {16, 16, 7, 0}, 0},
                                                {"ZorvSelectSurface", {0, 0, 0, 0}, 0},
                                                {"ZorvClearSurface", {3, d3d ? 7 : 1, 0, 0}, 0},
                                                {"ZorvSetDrawArea", {0, 0, 300, 200}, 0},
                                                {"ZorvSurfaceToSurface", {1, 64, 32, 0}, 0},
                                                {"ZorvSetTransparentColor", {3, 1, 2, 0}, 0},
                                                {"ZorvReleaseOffscreenSurface", {1, 0, 0, 0}, 0}});
    if (renderMode == 2) surfaces.push_back({"ZorvCreateOffscreenSurface", {2, 32, 32, 0x009}, 0});
    list.push_back({"surfaces", surfaces, 3});
    // A Direct3D device on an off-screen surface, cleared with its Z buffer: the screen has
    // none here, since Wine gives one DirectDraw object a single device.
    if (d3d) {
        list.push_back({"3D surface", Screen(0, {{"ZorvCreateOffscreenSurface", {2, 64, 64, 0x018}, 0},
                                                 {"ZorvClearSurface", {0, 13, 0, 0}, 0}}), 3});
    }
    // Chips cut from an off-screen surface (a texture where Direct3D draws them), drawn every way.
    const int32_t texture = d3d ? -81 : 0;               // a texture cannot be blitted
    const int32_t noDevice = renderMode == 0 ? -40 : 0;  // render mode 0 has no Direct3D
    list.push_back({"chips", Screen(flags, {{"ZorvCreateOffscreenSurface", {1, 64, 64, d3d ? 0x020 : 0}, 0},
                                            {"ZorvSetTransparentColor", {1, 0, 0, 0}, 0},
                                            {"ZorvInitializeChip", {2, 0, 0, 0}, 0},
                                            {"ZorvCreateChip", {0, 32, 32, 0}, 0},
                                            {"ZorvSelectSurface", {0, 0, 0, 0}, 0},
                                            {"ZorvSetPosition", {100, 100, 0, 0}, 0},
                                            {"ZorvPutChip", {0, 0, 0, 0}, 0},
                                            {"ZorvPutChip4", {0, 512, 256, 0}, texture},
                                            {"ZorvPutChip2", {0, 384, 100, 64}, noDevice},
                                            {"ZorvPutChip3", {CORNERS, 0, 0, 0}, noDevice},
                                            {"ZorvSetRenderState", {27, 1, 0, 0}, noDevice},
                                            {"ZorvSetTextureStageState", {0, 1, 4, 0}, noDevice},
                                            {"ZorvSetRenderColor", {128, 256, 512, 1}, 0},
                                            {"ZorvGetD3Dcaps", {INT_VAR, 0, 0, 0}, d3d ? 0 : -40}}),
                    3});
    // Characters: drawn by number on the plain path (its blit's result is not looked at), and
    // as faded text by y on the transformed path, whose first failure ends the call.
    std::vector<Step> characters = {{"ZorvCreateOffscreenSurface", {1, 64, 64, d3d ? 0x020 : 0}, 0},
                                    {"ZorvInitializeChip", {2, 0, 0, 0}, 0},
                                    {"ZorvCreateChip", {0, 32, 32, 0}, 0},
                                    {"ZorvSelectSurface", {0, 0, 0, 0}, 0},
                                    {"ZorvInitializeCharacter", {4, 0, 0, 0}, 0}};
    for (int32_t c = 0; c < 26; ++c) characters.push_back({"ZorvSetCharacterVariable", {COLUMN, c, 0, 0}, 0});
    list.push_back({"characters", Screen(flags, Join(characters, {{"ZorvCreateCharacter", {0, 0, 100, 100}, 0},
                                                                  {"ZorvPutCharacter", {0, 4, 0, 0}, 0},
                                                                  {"ZorvSetStringChip", {INT_VAR, 65, 2, 0}, 0},
                                                                  {"ZorvDrawString", {TEXT_VAR, 2, 1, 128}, 0},
                                                                  {"ZorvPutCharacterYSort", {0, 4, 0, 0}, noDevice}})),
                    3});
    // The frame update with its rate text, then with lost surfaces that must be restored.
    // Full screen without a chain presents by a fast blit.
    const std::vector<Step> update = Screen(screenMode == 0 ? 0x002 : flags,
                                            {{"ZorvShowFrameRate", {INT_VAR, 3, 0, 0}, 0},
                                             {"ZorvCreateOffscreenSurface", {1, 32, 32, 0}, 0},
                                             {"ZorvSelectSurface", {0, 0, 0, 0}, 0},
                                             {"ZorvUpdateScreen", {0, 1, 0, 0}, UPDATED},
                                             {"ZorvUpdateScreen", {0, 0, 0, 1}, 0}});
    list.push_back({"update", update, 3});
    // Host images both ways and GDI drawing on a surface (a DC left out goes back with it).
    list.push_back({"host images", Screen(flags, {{"ZorvCreateOffscreenSurface", {1, 64, 32, 0x100}, 0},
                                                  {"ZorvHSPToSurface", {HOST, 16, 16, 0}, 0},
                                                  {"ZorvSurfaceToHSP", {HOST, 16, 16, 0}, 0},
                                                  {"ZorvBeginDraw", {}, 0},
                                                  {"ZorvDrawCircle", {10, 0, 256, 1}, 0},
                                                  {"ZorvEndDraw", {}, 0}}),
                    3});
    list.push_back({"update with lost surfaces", update, 3, "IDirectDrawSurface7::IsLost", DDERR_SURFACELOST});
    // The device classes of render modes 3 and 4 only change the device set-up; full screen
    // only changes the screen and its update.
    // On an 8-bit desktop: the screen and the palette.
    const char* keep = desktopBits == 8  ? "|screen|colours|"
                       : renderMode >= 3 ? "|screen|"
                       : screenMode == 0 ? "|screen|screen without chain|update|update with lost surfaces|"
                       : renderMode != 0 ? "|screen|surfaces|3D surface|chips|characters|update|update with lost surfaces|"
                                         : nullptr;
    std::vector<Scenario> kept;
    for (const Scenario& s : list)
        if (!keep || std::strstr(keep, ("|" + std::string(s.name) + "|").c_str())) kept.push_back(s);
    return kept;
}

class Failures : public testing::TestWithParam<int> {};
TEST_P(Failures, EveryCheckedCallFailedInTurn) {
    const std::vector<Scenario> list = Scenarios();
    if (GetParam() >= static_cast<int>(list.size())) GTEST_SKIP() << "no such scenario in this mode";
    RunEveryFailure(list[GetParam()]);
}
INSTANTIATE_TEST_SUITE_P(Scenarios, Failures, testing::Range(0, 11));

// ddraw.dll without one of its entry points: enumeration needs DirectDrawEnumerateExA, the
// rest DirectDrawCreateEx as well; type checks come first.
std::string missing;
TEST(MissingEntryPoint, ExportsAnswerWithTheMissingPiece) {
    if (missing.empty()) GTEST_SKIP() << "run with --missing=enum|create";
    const int32_t enumCode = missing == "enum" ? -67 : 0, createCode = missing == "enum" ? -67 : -68;
    const Step steps[] = {
        {"ZorvEnumDDdevice", {TEXT_VAR}, -1},          {"ZorvEnumDDdevice", {INT_VAR}, enumCode},
        {"ZorvGetDDdeviceName", {TEXT_VAR}, enumCode}, {"ZorvEnumDisplayMode", {INT_VAR, 0, 1}, createCode},
        {"ZorvGetDDcaps", {INT_VAR, 0, 1}, createCode}, {"ZorvCreateDD", {0}, createCode},
        {"ZorvCreateDD", {-1}, createCode},            {"ZorvInitializeSurface", {2}, 0},
        {"ZorvCreatePrimarySurface", {640, 480, 32, 0}, -38},
    };
    for (const Step& step : steps) EXPECT_EQ(step.status, CallStep(step)) << step.exportName;
    EXPECT_EQ(0, LastDxResult());
    EXPECT_EQ("", layer::HeldReferences());
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    host::UseUnmanagedWindows();
    screenMode = host::OptionInt(argc, argv, "--screen-mode=", 2);
    renderMode = host::OptionInt(argc, argv, "--render-mode=", 0);
    missing = host::OptionText(argc, argv, "--missing=", "");
    const char* hidden = missing == "enum" ? "DirectDrawEnumerateExA" : missing == "create" ? "DirectDrawCreateEx" : nullptr;
    if (!layer::Install(hidden)) return std::fprintf(stderr, "cannot patch Wine's ddraw.dll\n"), 2;
    host::Plugin loaded("Zorv.hpi");
    if (!loaded.Loaded()) return 2;
    layer::SetPlugin(loaded.Module());
    host::Screen screen(640, 480);
    plugin = &loaded;
    hostScreen = &screen;
    HDC dc = GetDC(nullptr);
    desktopBits = GetDeviceCaps(dc, BITSPIXEL);
    ReleaseDC(nullptr, dc);
    if (plugin->Call("ZorvInitialize", screen.Arg(), screenMode, renderMode) != (missing == "enum" ? -67 : 0)) return 2;
    return RUN_ALL_TESTS();
}
