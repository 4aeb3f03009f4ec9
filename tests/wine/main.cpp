// Test program run under Wine: loads the plugin named by --plugin= and runs the tests.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "plugin_fixture.h"

namespace wine_tests {
host::Plugin* plugin = nullptr;
std::string lastCallAtLoad;

std::string ErrorText(int32_t selector) {
    host::Variable text = host::Variable::String(64);
    int32_t status = plugin->Call("ZorvGetError", text.Arg(), selector);
    if (status != 0) return "<ZorvGetError returned " + std::to_string(status) + ">";
    return host::Cp932ToUtf8(text.Text());
}
}  // namespace wine_tests

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string file = "Zorv.hpi";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--plugin=", 9) == 0) file = argv[i] + 9;
    }
    host::Plugin plugin(file);
    if (!plugin.Loaded()) {
        std::fprintf(stderr, "cannot load %s (error %lu)\n", file.c_str(), GetLastError());
        return 2;
    }
    std::printf("plugin: %s\n", file.c_str());
    wine_tests::plugin = &plugin;
    // Read before any test calls an export: ZorvGetError itself leaves the record alone.
    wine_tests::lastCallAtLoad = wine_tests::ErrorText(-1);
    return RUN_ALL_TESTS();
}
