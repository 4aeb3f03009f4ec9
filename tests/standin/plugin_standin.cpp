// Helpers of the plugin tests against the stand-in, and their main.
#include "plugin_standin.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace standin_tests {

host::Plugin* plugin = nullptr;
host::Screen* hostScreen = nullptr;
standin::Control control;
int32_t screenMode = 2;
int32_t renderMode = 0;
std::string missing;

bool EnsureInitialized() {
    int32_t status = Call("ZorvInitialize", hostScreen->Arg(), screenMode, renderMode);
    return status == 0 || status == -8;
}

int32_t LastDxResult() {
    host::Variable v = host::Variable::Int(1);
    Call("ZorvGetError", v.Arg(), -2);
    return v.Ints()[0];
}

std::string LastCall() {
    host::Variable text = host::Variable::String(16);
    Call("ZorvGetError", text.Arg(), -1);
    return text.Text();
}

// ---- Log lines ----

std::string Hr(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(hr));
    return text;
}

std::string DirectDrawLine(const std::string& call, HRESULT hr) { return "IDirectDraw7::" + call + " -> " + Hr(hr); }

std::string ObjectLine(const char* iface, int number, const std::string& call, HRESULT hr) {
    return std::string(iface) + "#" + std::to_string(number) + "::" + call + " -> " + Hr(hr);
}

std::string ReleaseLine(const char* iface, int number, unsigned count) {
    std::string name = iface;
    if (number != 0) name += "#" + std::to_string(number);
    return name + "::Release -> " + std::to_string(count);
}

std::string CreateSurfaceLine(DWORD flags, DWORD caps, int width, int height, int backBuffers,
                              const std::string& format, HRESULT hr) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "CreateSurface(desc.dwSize=124, desc.dwFlags=0x%08lX, caps=0x%08lX, caps2=0x00000000, width=%d, "
                  "height=%d, backBuffers=%d%s, out=non-NULL, outer=NULL)",
                  static_cast<unsigned long>(flags), static_cast<unsigned long>(caps), width, height, backBuffers,
                  format.empty() ? "" : (", " + format).c_str());
    return DirectDrawLine(text, hr);
}

std::string ZFormatText(DWORD bits, DWORD zMask) {
    char text[128];
    std::snprintf(text, sizeof text, "format.dwFlags=0x%08lX, format.bits=%lu, format.masks=0/%lX/0/0",
                  static_cast<unsigned long>(DDPF_ZBUFFER), static_cast<unsigned long>(bits),
                  static_cast<unsigned long>(zMask));
    return text;
}

Lines ColorMatchLines(int s) {
    return {
        SurfaceLine(s, "GetDC(out=non-NULL)"),
        SurfaceLine(s, "ReleaseDC(hdc=non-NULL)"),
        SurfaceLine(s, "Lock(rect=NULL, desc.dwSize=124, flags=0x00000011, event=NULL)"),
        SurfaceLine(s, "Unlock(rect=NULL)"),
        SurfaceLine(s, "GetDC(out=non-NULL)"),
        SurfaceLine(s, "ReleaseDC(hdc=non-NULL)"),
    };
}

Lines RecordLines(int s, bool paletteMode) {
    Lines lines;
    if (!paletteMode) {
        lines = ColorMatchLines(s);
        Lines white = ColorMatchLines(s);
        lines.insert(lines.end(), white.begin(), white.end());
    }
    lines.push_back(SurfaceLine(s, "GetSurfaceDesc(desc.dwSize=124)"));
    lines.push_back(SurfaceLine(s, "GetCaps(caps=non-NULL)"));
    return lines;
}

std::string RenderStateLine(int device, D3DRENDERSTATETYPE state, DWORD value) {
    char text[96];
    std::snprintf(text, sizeof text, "SetRenderState(state=%d, value=0x%08lX)", static_cast<int>(state),
                  static_cast<unsigned long>(value));
    return DeviceLine(device, text);
}

std::string StageStateLine(int device, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
    char text[96];
    std::snprintf(text, sizeof text, "SetTextureStageState(stage=0, type=%d, value=0x%08lX)", static_cast<int>(type),
                  static_cast<unsigned long>(value));
    return DeviceLine(device, text);
}

std::string MatrixText(const float (&m)[16]) {
    std::string text = "matrix=[";
    for (int i = 0; i < 16; ++i) {
        char number[32];
        std::snprintf(number, sizeof number, "%g", static_cast<double>(m[i]));
        if (i > 0) text += " ";
        text += number;
    }
    return text + "]";
}

Lines Joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

testing::AssertionResult SameLines(const Lines& expected, const Lines& actual) {
    size_t n = expected.size() < actual.size() ? expected.size() : actual.size();
    size_t first = n;
    for (size_t i = 0; i < n; ++i) {
        if (expected[i] != actual[i]) {
            first = i;
            break;
        }
    }
    if (first == n && expected.size() == actual.size()) return testing::AssertionSuccess();
    testing::AssertionResult failure = testing::AssertionFailure();
    failure << "logs differ at line " << first << " (expected " << expected.size() << " lines, got "
            << actual.size() << ")\n";
    size_t from = first >= 3 ? first - 3 : 0;
    for (size_t i = from; i < first + 4; ++i) {
        if (i < expected.size()) failure << "  expected[" << i << "] " << expected[i] << "\n";
        if (i < actual.size()) failure << "  actual  [" << i << "] " << actual[i] << "\n";
    }
    return failure;
}

Lines TakeLog() {
    Lines lines = control.Log();
    control.ClearLog();
    return lines;
}

Lines Containing(const Lines& log, const std::string& part) {
    Lines found;
    for (const std::string& line : log) {
        if (line.find(part) != std::string::npos) found.push_back(line);
    }
    return found;
}

int Find(const Lines& log, const std::string& line, int from) {
    for (size_t i = static_cast<size_t>(from < 0 ? 0 : from); i < log.size(); ++i) {
        if (log[i] == line) return static_cast<int>(i);
    }
    return -1;
}

// ---- Plugin state ----

State ReadState() {
    host::Variable v = host::Variable::Int(1);
    State state;
    if (Call("ZorvCombine", v.Arg()) != 0) return state;
    const uint8_t* block = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(v.Ints()[0])));
    auto read32 = [block](size_t offset) {
        uint32_t value;
        std::memcpy(&value, block + offset, sizeof value);
        return value;
    };
    state.current = *reinterpret_cast<const uint8_t* const*>(read32(4));
    state.table = reinterpret_cast<const uint8_t*>(read32(8));
    state.count = static_cast<int32_t>(read32(12));
    state.direct3D = reinterpret_cast<void*>(read32(24));
    state.directDraw = reinterpret_cast<void*>(read32(28));
    state.flipMode = block[33];
    return state;
}

namespace {
template <class T>
T RecordField(int index, size_t offset) {
    State state = ReadState();
    T value{};
    if (state.table == nullptr || index >= state.count) return value;
    std::memcpy(&value, state.table + 292 * index + offset, sizeof value);
    return value;
}
}  // namespace

IDirectDrawSurface7* RecordSurface(int index) { return RecordField<IDirectDrawSurface7*>(index, 0); }
IDirect3DDevice7* RecordDevice(int index) { return RecordField<IDirect3DDevice7*>(index, 4); }
uintptr_t RecordZBuffer(int index) { return RecordField<uintptr_t>(index, 288); }
RECT RecordDrawArea(int index) {
    return RECT{RecordField<LONG>(index, 240), RecordField<LONG>(index, 244), RecordField<LONG>(index, 248),
                RecordField<LONG>(index, 252)};
}
int SurfaceNumber(int index) { return control.ObjectNumber(RecordSurface(index)); }
int DeviceNumber(int index) { return control.ObjectNumber(RecordDevice(index)); }

int32_t HideFrameRate() {
    host::Variable colours = host::Variable::Int(9);
    return Call("ZorvShowFrameRate", colours.Arg(), 0, 0, 0);
}

// ---- Fixture ----

void PluginTest::SetUp() {
    ASSERT_TRUE(control.Loaded()) << "ddraw.dll is not the stand-in";
    ASSERT_TRUE(EnsureInitialized());
    ShowWindow(hostScreen->Window(), SW_SHOW);
    host::PumpMessages();
    control.Reset();
    ASSERT_EQ(0, control.LiveObjects()) << control.LiveObjectsText();
    ASSERT_EQ(0, HideFrameRate());
    ASSERT_EQ(0, Call("ZorvCreateDD", 0));
    ASSERT_EQ(0, Call("ZorvInitializeSurface", 8));
    control.ClearLog();
}

void PluginTest::TearDown() {
    control.Reset();  // no failure rule may reach the clean-up
    ReleaseAll();
    ExpectNothingAlive();
    host::PumpMessages();
}

void PluginTest::ReleaseAll() {
    if (Call("ZorvReleaseDD") == -76) {
        Call("ZorvInitializeSurface", 2);
        Call("ZorvReleaseDD");
    }
}

void PluginTest::ExpectNothingAlive() {
    EXPECT_EQ(0, control.LiveObjects()) << "still alive:\n" << control.LiveObjectsText();
}

RECT PluginTest::PresentRect() {
    POINT origin = {0, 0};
    ClientToScreen(hostScreen->Window(), &origin);
    return RECT{origin.x, origin.y, origin.x + WIDTH, origin.y + HEIGHT};
}

}  // namespace standin_tests


int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    host::UseUnmanagedWindows();
    const std::string file = host::OptionText(argc, argv, "--plugin=", "Zorv.hpi");
    standin_tests::screenMode = host::OptionInt(argc, argv, "--screen-mode=", standin_tests::screenMode);
    standin_tests::renderMode = host::OptionInt(argc, argv, "--render-mode=", standin_tests::renderMode);
    standin_tests::missing = host::OptionText(argc, argv, "--missing=", standin_tests::missing.c_str());
    host::Plugin plugin(file);
    if (!plugin.Loaded()) {
        std::fprintf(stderr, "cannot load %s (error %lu)\n", file.c_str(), GetLastError());
        return 2;
    }
    // The plugin loaded ddraw.dll: the stand-in beside this program, unless it is switched off.
    bool standIn = standin_tests::control.Load();
    std::printf("plugin: %s, screen mode %d, render mode %d, ddraw.dll: %s\n", file.c_str(),
                standin_tests::screenMode, standin_tests::renderMode,
                standIn ? "stand-in" : (GetModuleHandleA("ddraw.dll") ? "not the stand-in" : "none"));
    host::Screen screen(standin_tests::WIDTH, standin_tests::HEIGHT);
    standin_tests::hostScreen = &screen;
    standin_tests::plugin = &plugin;
    return RUN_ALL_TESTS();
}
