// Zorv demo: loads the plugin as the HSP host does and shows what it can do so far: its
// version, fixed-point maths, random numbers, timers and status texts (converted from
// Shift-JIS to UTF-8 for the terminal).
#include <cstdio>
#include <string>

#include "host_emulator.h"

namespace {

host::Plugin* plugin = nullptr;

int32_t Value(const char* name, int32_t a = 0, int32_t b = 0, int32_t c = 0) {
    host::Variable v = host::Variable::Int(1);
    plugin->Call(name, v.Arg(), a, b, c);
    return v.Ints()[0];
}

std::string Text(int32_t selector) {
    host::Variable s = host::Variable::String(64);
    plugin->Call("ZorvGetError", s.Arg(), selector);
    return host::Cp932ToUtf8(s.Text());
}

void Print(const std::string& utf8) {
    std::fwrite(utf8.data(), 1, utf8.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const char* file = argc > 1 ? argv[1] : "Zorv.hpi";
    host::Plugin loaded(file);
    if (!loaded.Loaded()) {
        std::fprintf(stderr, "demo: cannot load %s\n", file);
        return 1;
    }
    plugin = &loaded;

    std::printf("Zorv demo (%s)\n", file);
    std::printf("  version            %d\n", Value("ZorvGetVersion"));
    Print("  last call          " + Text(-1));
    std::printf("  sin(256) x 1000    %d\n", Value("ZorvmiscSin", 256, 1000));
    std::printf("  cos(128) x 1000    %d\n", Value("ZorvmiscCos", 128, 1000));
    std::printf("  sin2(-256) x 1000  %d\n", Value("ZorvmiscSin2", -256, 1000));
    std::printf("  atan(3, 4)         %d of 1024\n", Value("ZorvmiscAtan", 3, 4));
    std::printf("  rand 1..6          ");
    for (int i = 0; i < 10; ++i) std::printf("%d ", Value("ZorvmiscRand", 1, 6));
    std::printf("\n  work area          %d x %d\n", Value("ZorvmiscSystemParameter", 0, 48, 0),
                Value("ZorvmiscSystemParameter", 0, 48, 1));
    std::printf("  processor clock    %.1f MHz\n", static_cast<uint32_t>(Value("ZorvmiscGetClock")) / 1e6);
    Value("ZorvmiscGetRDTSCtickTime");
    Sleep(20);
    std::printf("  Sleep(20) took     %d us\n", Value("ZorvmiscGetRDTSCtickTime"));

    std::printf("  status texts:\n");
    for (int32_t code : {0, -1, -2, -38, -76, -255, -81}) {
        Print("    " + std::to_string(code) + "\t" + Text(-code));
    }
    Print("  ZorvPutChip        " + std::to_string(loaded.Call("ZorvPutChip")) + " " + Text(255));
    std::fflush(stdout);
    return 0;
}
