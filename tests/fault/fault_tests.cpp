// Every DirectX failure path of the plugin from one loop. A scenario is a list of export calls
// from the DirectDraw object to ZorvExit. It runs once to count the checked DirectX calls it
// makes, then once more for each of them with that call failing. Each run must give the
// status the failure table names for that call in that export (or the export's normal status
// for a call whose failure is ignored), keep the injected result as the last DirectX result,
// not crash, and give back every reference it took once ZorvExit has run.
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
host::Screen* hostScreen = nullptr;
int32_t screenMode = 2;
int32_t renderMode = 0;
int32_t desktopBits = 32;

constexpr int32_t DX = INT32_MIN;  // the status is the injected result itself

// What an export returns when its nth call of a DirectX method fails (nth 0: any of them).
// A failure whose result the plugin does not store as the last DirectX result says so.
constexpr int NOT_STORED = 1;
struct FailureRow {
    int modes;  // a bit per render mode (none: every one), and FULL or WINDOWED
    const char* scenario;  // null: every scenario
    const char* exportName;
    const char* method;
    int nth;
    int32_t status;
    int flags;
};
constexpr int RGB_OR_HAL = 1 << 3 | 1 << 4;  // render mode 1 tries the next device class instead
constexpr int FULL = 1 << 5;
constexpr int WINDOWED = 1 << 6;
constexpr int PALETTE = 1 << 7;  // an 8-bit desktop
constexpr int32_t SCREEN = 65636;
constexpr int32_t UPDATED = 65536;
const FailureRow FAILURE_ROWS[] = {
#include "failure_rows.inc"
};

// Placeholders for arguments made fresh for each call.
constexpr int32_t INT_VAR = 0x7FFF0001;   // an integer variable of 64 elements
constexpr int32_t TEXT_VAR = 0x7FFF0002;  // a string variable of 64 bytes
constexpr int32_t CORNERS = 0x7FFF0003;   // an integer variable holding four corner points

struct Step {
    const char* exportName;
    int32_t args[4];
    int32_t status;  // when nothing fails
};

struct Scenario {
    const char* name;
    std::vector<Step> steps;
    const char* answered = nullptr;  // a method the layer answers itself
    HRESULT answer = S_OK;
    size_t shared = 0;  // leading steps whose failures an earlier scenario covers
};
int checkedInShared = 0;  // checked calls made by the shared steps of the last run

int32_t CallStep(const Step& step) {
    std::vector<std::unique_ptr<host::Variable>> vars;
    int32_t args[4];
    for (int i = 0; i < 4; ++i) {
        args[i] = step.args[i];
        if (args[i] == INT_VAR || args[i] == TEXT_VAR || args[i] == CORNERS) {
            vars.push_back(std::make_unique<host::Variable>(args[i] == TEXT_VAR ? host::Variable::String(16)
                                                                                : host::Variable::Int(64)));
            if (args[i] == CORNERS) {
                const int32_t corners[8] = {100, 100, 180, 120, 170, 190, 90, 170};
                std::memcpy(vars.back()->Ints(), corners, sizeof corners);
            }
            args[i] = vars.back()->Arg();
        }
    }
    layer::SetExport(step.exportName);
    return plugin->Call(step.exportName, args[0], args[1], args[2], args[3]);
}

int32_t LastDxResult() {
    host::Variable v = host::Variable::Int(1);
    plugin->Call("ZorvGetError", v.Arg(), -2);
    return v.Ints()[0];
}

bool SameMethod(const std::string& record, const char* method) {
    size_t n = std::strlen(method);
    return record.compare(0, n, method) == 0 && record[n] == '(';
}

// The row for the failed call `failed` (an index into the records) of a step, or null when
// the export ignores that failure.
const FailureRow* FindRow(const char* scenario, const Step& step, size_t first, size_t failed) {
    const auto& calls = layer::Calls();
    const std::string name = calls[failed].method.substr(0, calls[failed].method.find('('));
    int nth = 0;
    for (size_t i = first; i <= failed; ++i) nth += SameMethod(calls[i].method, name.c_str());
    for (const FailureRow& row : FAILURE_ROWS) {
        const bool modeFits = (row.modes & 31) == 0 || (row.modes >> renderMode & 1);
        const bool screenFits = (row.modes & FULL) ? screenMode == 0 : (row.modes & WINDOWED) ? screenMode != 0 : true;
        const bool depthFits = !(row.modes & PALETTE) || desktopBits == 8;
        if (modeFits && screenFits && depthFits &&
            (row.scenario == nullptr || std::strcmp(row.scenario, scenario) == 0) &&
            std::strcmp(row.exportName, step.exportName) == 0 && name == row.method &&
            (row.nth == nth || row.nth == 0)) {
            return &row;
        }
    }
    return nullptr;
}

// Stops the plugin as a script would: ZorvExit, which needs a surface table to stop.
void Stop(const char* scenario) {
    layer::SetExport("ZorvExit");
    int32_t status = plugin->Call("ZorvExit");
    if (status == -76) {
        layer::SetExport("ZorvInitializeSurface");
        plugin->Call("ZorvInitializeSurface", 2);
        layer::SetExport("ZorvExit");
        status = plugin->Call("ZorvExit");
    }
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
    steps.push_back({"ZorvExit", {0, 0, 0, 0}, 0});
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (i == s.shared) checkedInShared = layer::CheckedCalls();
        const size_t first = layer::Calls().size();
        const int32_t status = CallStep(step);
        const auto& calls = layer::Calls();
        size_t failed = first;
        while (failed < calls.size() && !(calls[failed].injected && calls[failed].result == injected)) ++failed;
        if (failAt == 0 || failed == calls.size()) {
            EXPECT_EQ(step.status, status) << s.name << ": " << step.exportName;
            if (status == step.status) continue;
        } else {
            const FailureRow* row = FindRow(s.name, step, first, failed);
            const int32_t expected = row == nullptr ? step.status : row->status == DX ? injected : row->status;
            EXPECT_EQ(expected, status) << s.name << ": " << step.exportName << " with " << calls[failed].method
                                        << " failing";
            if (row != nullptr && !(row->flags & NOT_STORED)) {
                EXPECT_EQ(injected, LastDxResult()) << s.name << ": " << step.exportName;
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

// Fails each checked call of the scenario in turn, once per place: a call with the same
// arguments at the same point of the same export that an earlier scenario of this process
// failed already is skipped, and of a method called many times in one export (the render states of a new
// device) the first three calls stand for the rest. Each run starts from a new DirectDraw
// object, which costs Wine about a tenth of a second.
std::set<std::string> failedPlaces;
void RunEveryFailure(const Scenario& s) {
    const int count = RunScenario(s, 0);
    ASSERT_GT(count, 0) << s.name;
    std::vector<layer::CallRecord> calls = layer::Calls();
    for (int k = checkedInShared + 1; k <= count && !testing::Test::HasFatalFailure(); ++k) {
        int nth = 0;
        for (int i = k - 1; i >= 0 && calls[i].exportName == calls[k - 1].exportName; --i) {
            nth += calls[i].method.substr(0, calls[i].method.find('(')) ==
                   calls[k - 1].method.substr(0, calls[k - 1].method.find('('));
        }
        const std::string& method = calls[k - 1].method;
        const std::string place = calls[k - 1].exportName + " " + method + " " + std::to_string(nth);
        if (nth > 3 || !failedPlaces.insert(place).second) continue;
        // Under Wine a full screen that cannot return to the normal level keeps DirectDraw's
        // own hook on the window above the plugin's: the release then answers -60 and keeps
        // everything, and no later screen of the process can be released.
        if (screenMode == 0 && method.find("SetCooperativeLevel(p,0x8)") != std::string::npos) continue;
        SCOPED_TRACE(std::string(s.name) + ", failing checked call " + std::to_string(k));
        RunScenario(s, k);
        if (testing::Test::HasFailure()) {
            for (const layer::CallRecord& c : layer::Calls()) {
                std::printf("  %-28s %-70s %08lX%s\n", c.exportName.c_str(), c.method.c_str(), c.result,
                            c.injected ? " <- injected" : "");
            }
            break;
        }
    }
}

// The screen flags of this run: a Direct3D device and a Z buffer where the render mode has one.
int32_t ScreenFlags() { return renderMode == 0 || renderMode == 2 ? 0 : 0x018; }

std::vector<Step> Screen(int32_t flags) {
    return {{"ZorvCreateDD", {0, 0, 0, 0}, 0},
            {"ZorvInitializeSurface", {4, 0, 0, 0}, 0},
            {"ZorvCreatePrimarySurface", {640, 480, desktopBits, flags}, SCREEN}};
}

std::vector<Step> Join(std::vector<Step> a, const std::vector<Step>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<Scenario> Scenarios() {
    const int32_t flags = ScreenFlags();
    const bool d3d = flags != 0;
    std::vector<Scenario> list;
    list.push_back({"devices",
                    {{"ZorvEnumDDdevice", {INT_VAR, 0, 0, 0}, 0},
                     {"ZorvGetDDdeviceName", {TEXT_VAR, 0, 0, 0}, 0},
                     {"ZorvEnumDisplayMode", {INT_VAR, 0, 0, 0}, 0},
                     {"ZorvGetDDcaps", {INT_VAR, 0, 1, 0}, 0},
                     {"ZorvCreateDD", {-1, 0, 0, 0}, 0},
                     {"ZorvInitializeSurface", {2, 0, 0, 0}, 0}}});
    list.push_back({"screen", Join(Screen(flags | 0x001), {{"ZorvReleasePrimarySurface", {0, 0, 0, 0}, 0}})});
    if (screenMode == 0) {
        list.push_back({"screen without chain", Screen(0x002)});
    }
    // Off-screen surfaces: plain, with the system-memory fall-back, 3D with a Z buffer.
    std::vector<Step> surfaces = {
        {"ZorvCreateOffscreenSurface", {1, 64, 32, 0x001}, 0},
        {"ZorvSetTransparentColor", {1, 0, 0, 0}, 0},
        {"ZorvBoxFill", {16, 16, 7, 0}, 0},
        {"ZorvSelectSurface", {0, 0, 0, 0}, 0},
        {"ZorvClearSurface", {3, d3d ? 7 : 1, 0, 0}, 0},
        {"ZorvSetDrawArea", {0, 0, 300, 200}, 0},
        {"ZorvSurfaceToSurface", {1, 64, 32, 0}, 0},
        {"ZorvSetTransparentColor", {3, 1, 2, 0}, 0},
        {"ZorvReleaseOffscreenSurface", {1, 0, 0, 0}, 0},
    };
    if (renderMode == 2) surfaces.push_back({"ZorvCreateOffscreenSurface", {2, 32, 32, 0x009}, 0});
    list.push_back({"surfaces", Join(Screen(flags), surfaces), nullptr, S_OK, 3});
    if (renderMode != 2 && d3d) {
        // A Direct3D device on an off-screen surface: the screen has none here, since Wine
        // gives one DirectDraw object a single device.
        list.push_back({"3D surface", Join(Screen(0),
                                           {{"ZorvCreateOffscreenSurface", {2, 64, 64, 0x018}, 0},
                                            {"ZorvClearSurface", {0, 13, 0, 0}, 0}}),
                         nullptr, S_OK, 3});
    }
    // Chips cut from an off-screen surface (a texture where Direct3D draws them), drawn every way.
    const int32_t chipSurface = d3d ? 0x020 : 0x000;
    const int32_t texture = d3d ? -81 : 0;                  // a texture cannot be blitted
    const int32_t noDevice = renderMode == 0 ? -40 : 0;     // render mode 0 has no Direct3D
    const int32_t caps = renderMode == 0 || renderMode == 2 ? -40 : 0;
    list.push_back({"chips", Join(Screen(flags),
                                  {{"ZorvCreateOffscreenSurface", {1, 64, 64, chipSurface}, 0},
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
                                   {"ZorvGetD3Dcaps", {INT_VAR, 0, 0, 0}, caps}}),
                    nullptr, S_OK, 3});
    // The frame update with its rate text, then with lost surfaces that must be restored.
    // Full screen without a chain presents by a fast blit.
    std::vector<Step> update = Join(Screen(screenMode == 0 ? 0x002 : flags), {{"ZorvShowFrameRate", {INT_VAR, 3, 0, 0}, 0},
                                                    {"ZorvCreateOffscreenSurface", {1, 32, 32, 0}, 0},
                                                    {"ZorvSelectSurface", {0, 0, 0, 0}, 0},
                                                    {"ZorvUpdateScreen", {0, 1, 0, 0}, UPDATED},
                                                    {"ZorvUpdateScreen", {0, 0, 0, 1}, 0}});
    list.push_back({"update", update, nullptr, S_OK, 3});
    list.push_back({"update with lost surfaces", update, "IDirectDrawSurface7::IsLost", DDERR_SURFACELOST, 3});
    // The device classes of render modes 3 and 4 only change the device set-up; full screen
    // only changes the screen and its update.
    const char* keep = renderMode >= 3        ? "|screen|"
                       : screenMode == 0      ? "|screen|screen without chain|update|update with lost surfaces|"
                       : renderMode != 0      ? "|screen|surfaces|3D surface|chips|update|update with lost surfaces|"
                                              : nullptr;
    std::vector<Scenario> kept;
    for (const Scenario& s : list) {
        if (keep == nullptr || std::strstr(keep, ("|" + std::string(s.name) + "|").c_str())) kept.push_back(s);
    }
    return kept;
}

// ddraw.dll without one of its entry points: enumeration needs DirectDrawEnumerateExA, the
// rest DirectDrawCreateEx as well; type checks come first.
std::string missing;
TEST(MissingEntryPoint, ExportsAnswerWithTheMissingPiece) {
    if (missing.empty()) GTEST_SKIP() << "run with --missing=enum|create";
    const int32_t enumCode = missing == "enum" ? -67 : 0;
    const int32_t createCode = missing == "enum" ? -67 : -68;
    const Step steps[] = {
        {"ZorvEnumDDdevice", {TEXT_VAR, 0, 0, 0}, -1},      {"ZorvEnumDDdevice", {INT_VAR, 0, 0, 0}, enumCode},
        {"ZorvGetDDdeviceName", {TEXT_VAR, 0, 0, 0}, enumCode}, {"ZorvEnumDisplayMode", {INT_VAR, 0, 1, 0}, createCode},
        {"ZorvGetDDcaps", {INT_VAR, 0, 1, 0}, createCode},   {"ZorvCreateDD", {0, 0, 0, 0}, createCode},
        {"ZorvCreateDD", {-1, 0, 0, 0}, createCode},         {"ZorvInitializeSurface", {2, 0, 0, 0}, 0},
        {"ZorvCreatePrimarySurface", {640, 480, 32, 0}, -38},
    };
    for (const Step& step : steps) EXPECT_EQ(step.status, CallStep(step)) << step.exportName;
    EXPECT_EQ(0, LastDxResult());
    EXPECT_EQ("", layer::HeldReferences());
}

class Failures : public testing::TestWithParam<int> {};

TEST_P(Failures, EveryCheckedCallFailedInTurn) {
    const std::vector<Scenario> list = Scenarios();
    if (GetParam() >= static_cast<int>(list.size())) GTEST_SKIP() << "no such scenario in this mode";
    RunEveryFailure(list[GetParam()]);
}
INSTANTIATE_TEST_SUITE_P(Scenarios, Failures, testing::Range(0, 9));

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    host::UseUnmanagedWindows();
    screenMode = host::OptionInt(argc, argv, "--screen-mode=", 2);
    renderMode = host::OptionInt(argc, argv, "--render-mode=", 0);
    missing = host::OptionText(argc, argv, "--missing=", "");
    const char* hidden = missing == "enum" ? "DirectDrawEnumerateExA" : missing == "create" ? "DirectDrawCreateEx" : nullptr;
    if (!layer::Install(hidden)) {
        std::fprintf(stderr, "cannot patch Wine's ddraw.dll\n");
        return 2;
    }
    host::Plugin loaded("Zorv.hpi");
    if (!loaded.Loaded()) return 2;
    layer::SetPlugin(loaded.Module());
    host::Screen screen(640, 480);
    plugin = &loaded;
    hostScreen = &screen;
    HDC dc = GetDC(nullptr);
    desktopBits = GetDeviceCaps(dc, BITSPIXEL);
    ReleaseDC(nullptr, dc);
    const int32_t started = plugin->Call("ZorvInitialize", screen.Arg(), screenMode, renderMode);
    if (started != (missing == "enum" ? -67 : 0)) return 2;
    return RUN_ALL_TESTS();
}
