// Test program run under Wine: loads the plugin named by --plugin= and runs the tests.
#include <cstdio>

#include "wine_tests.h"

namespace wine_tests {
host::Plugin* plugin = nullptr;
host::Screen* hostScreen = nullptr;
int32_t screenMode = 2, renderMode = 0;
std::string pictureFolder, lastCallAtLoad;

bool EnsureInitialized() {
    int32_t status = plugin->Call("ZorvInitialize", hostScreen->Arg(), screenMode, renderMode);
    return status == 0 || status == -8;
}

std::string ErrorText(int32_t selector) {
    host::Variable text = host::Variable::String(64);
    int32_t status = plugin->Call("ZorvGetError", text.Arg(), selector);
    return status == 0 ? host::Cp932ToUtf8(text.Text()) : "<ZorvGetError: " + std::to_string(status) + ">";
}

int32_t LastDxResult() {
    host::Variable v = host::Variable::Int(1);
    plugin->Call("ZorvGetError", v.Arg(), -2);
    return v.Ints()[0];
}

int32_t DesktopBits() {
    HDC dc = GetDC(nullptr);
    int32_t bits = GetDeviceCaps(dc, BITSPIXEL);
    ReleaseDC(nullptr, dc);
    return bits;
}

PluginState ReadState() {
    host::Variable v = host::Variable::Int(1);
    PluginState state;
    if (plugin->Call("ZorvCombine", v.Arg()) != 0) return state;
    Record block{reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(v.Ints()[0])))};
    state.current = *block.At<const uint8_t* const*>(4);
    state.table = block.At<const uint8_t*>(8);
    state.count = block.At<int32_t>(12);
    state.polygons = block.At<const int32_t*>(16);
    state.direct3D = block.At<void*>(24);
    state.directDraw = block.At<void*>(28);
    state.screenMode = block.bytes[32];
    state.renderMode = block.bytes[34];
    state.signature = block.At<int32_t>(36);
    return state;
}

Pixels ReadPixels(IDirectDrawSurface7* surface) {
    Pixels out;
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    if (surface == nullptr || FAILED(surface->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_READONLY, nullptr))) return out;
    out.width = static_cast<int32_t>(desc.dwWidth);
    out.height = static_cast<int32_t>(desc.dwHeight);
    out.bits = desc.ddpfPixelFormat.dwRGBBitCount;
    const uint32_t bytes = (out.bits + 7) / 8;
    out.values.resize(static_cast<size_t>(out.width) * out.height);
    for (int32_t y = 0; y < out.height; ++y) {
        const uint8_t* row = static_cast<const uint8_t*>(desc.lpSurface) + static_cast<ptrdiff_t>(y) * desc.lPitch;
        for (int32_t x = 0; x < out.width; ++x) std::memcpy(&out.values[static_cast<size_t>(y) * out.width + x], row + x * bytes, bytes);
    }
    surface->Unlock(nullptr);
    out.ok = true;
    return out;
}

void SavePicture(const char* name, const Pixels& pixels) {
    if (pictureFolder.empty()) return;
    std::vector<uint32_t> rgb(pixels.values.size());
    for (size_t i = 0; i < rgb.size(); ++i) {
        uint32_t v = pixels.values[i];
        if (pixels.bits == 16) v = ((v >> 11) & 31) * 255 / 31 << 16 | ((v >> 5) & 63) * 255 / 63 << 8 | (v & 31) * 255 / 31;
        rgb[i] = v & 0x00FFFFFFu;
    }
    host::SavePng((pictureFolder + "\\" + name).c_str(), rgb, pixels.width, pixels.height);
}
}  // namespace wine_tests

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    host::UseUnmanagedWindows();
    const std::string file = host::OptionText(argc, argv, "--plugin=", "Zorv.hpi");
    wine_tests::screenMode = host::OptionInt(argc, argv, "--screen-mode=", 2);
    wine_tests::renderMode = host::OptionInt(argc, argv, "--render-mode=", 0);
    wine_tests::pictureFolder = host::OptionText(argc, argv, "--pictures=", "");
    host::Plugin plugin(file);
    if (!plugin.Loaded()) return std::fprintf(stderr, "cannot load %s (error %lu)\n", file.c_str(), GetLastError()), 2;
    std::printf("plugin: %s, screen mode %d, render mode %d\n", file.c_str(), wine_tests::screenMode,
                wine_tests::renderMode);
    host::Screen screen(640, 480);
    wine_tests::hostScreen = &screen;
    wine_tests::plugin = &plugin;
    // Read before any test calls an export: ZorvGetError itself leaves the record alone.
    wine_tests::lastCallAtLoad = wine_tests::ErrorText(-1);
    return RUN_ALL_TESTS();
}
