// Test program run under Wine: loads the plugin named by --plugin= and runs the tests.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plugin_fixture.h"

namespace wine_tests {
host::Plugin* plugin = nullptr;
std::string lastCallAtLoad;
int32_t lastDxResultAtLoad = 0x5A5A5A5A;
std::string lastDxTextAtLoad;
host::Screen* hostScreen = nullptr;
int32_t screenMode = 2;
int32_t renderMode = 0;
std::string pictureFolder;

bool EnsureInitialized() {
    int32_t status = plugin->Call("ZorvInitialize", hostScreen->Arg(), screenMode, renderMode);
    return status == 0 || status == -8;
}

std::string ErrorText(int32_t selector) {
    host::Variable text = host::Variable::String(64);
    int32_t status = plugin->Call("ZorvGetError", text.Arg(), selector);
    if (status != 0) return "<ZorvGetError returned " + std::to_string(status) + ">";
    return host::Cp932ToUtf8(text.Text());
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
    if (!plugin.Loaded()) {
        std::fprintf(stderr, "cannot load %s (error %lu)\n", file.c_str(), GetLastError());
        return 2;
    }
    std::printf("plugin: %s, screen mode %d, render mode %d\n", file.c_str(), wine_tests::screenMode,
                wine_tests::renderMode);
    host::Screen screen(640, 480);
    wine_tests::hostScreen = &screen;
    wine_tests::plugin = &plugin;
    // Read before any test calls an export: ZorvGetError itself leaves the record alone.
    wine_tests::lastCallAtLoad = wine_tests::ErrorText(-1);
    host::Variable dx = host::Variable::Int(1);
    plugin.Call("ZorvGetError", dx.Arg(), -2);
    wine_tests::lastDxResultAtLoad = dx.Ints()[0];
    wine_tests::lastDxTextAtLoad = wine_tests::ErrorText(-3);
    return RUN_ALL_TESTS();
}
