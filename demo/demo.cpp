// Zorv demo: loads the plugin as the HSP host does, shows its maths and texts, then opens a
// 640 x 480 windowed screen with a Direct3D back buffer and presents a few seconds of
// animated frames at 60 frames per second: keyed tiles copied around, and chips drawn
// rotating, scaling and fading, with the frame-rate text. It saves a screenshot (demo.png
// beside the program) and stops through ZorvExit. Texts are converted from Shift-JIS to UTF-8 for the terminal.
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

// Reports a failed call with the plugin's own words and the last DirectX result.
bool Check(const char* what, int32_t status, int32_t success = 0) {
    if (status == success) return true;
    Print(std::string("  ") + what + " failed: " + std::to_string(status) + " " + Text(-status) + " / " + Text(-3));
    return false;
}

void ShowMaths(const char* file) {
    std::printf("Zorv demo (%s)\n", file);
    std::printf("  version            %d\n", Value("ZorvGetVersion"));
    Print("  last call          " + Text(-1));
    std::printf("  sin(256) x 1000    %d\n", Value("ZorvmiscSin", 256, 1000));
    std::printf("  cos(128) x 1000    %d\n", Value("ZorvmiscCos", 128, 1000));
    std::printf("  atan(3, 4)         %d of 1024\n", Value("ZorvmiscAtan", 3, 4));
    std::printf("  rand 1..6          ");
    for (int i = 0; i < 10; ++i) std::printf("%d ", Value("ZorvmiscRand", 1, 6));
    std::printf("\n  processor clock    %.1f MHz\n", static_cast<uint32_t>(Value("ZorvmiscGetClock")) / 1e6);
    std::printf("  status texts:\n");
    for (int32_t code : {0, -2, -38, -76, -255, -81}) Print("    " + std::to_string(code) + "\t" + Text(-code));
}

// A colour code on a 32-bit or 16-bit screen.
int32_t Code(int32_t bits, int r, int g, int b) {
    if (bits == 16) return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3);
    return (r << 16) | (g << 8) | b;
}

bool RunScreen(host::Screen& screen) {
    constexpr int32_t WIDTH = 640;
    constexpr int32_t HEIGHT = 480;
    constexpr int32_t FRAMES = 240;                 // four seconds
    constexpr int32_t FRAME_INTERVAL = 1092267;     // 1000 / 60 ms in 16.16
    HDC desktop = GetDC(nullptr);
    int32_t bits = GetDeviceCaps(desktop, BITSPIXEL);
    ReleaseDC(nullptr, desktop);

    // Windowed, with the best Direct3D device for the back buffer (flag 8).
    if (!Check("ZorvInitialize", plugin->Call("ZorvInitialize", screen.Arg(), 2, 1))) return false;
    if (!Check("ZorvCreateDD", plugin->Call("ZorvCreateDD", 0))) return false;
    if (!Check("ZorvInitializeSurface", plugin->Call("ZorvInitializeSurface", 4))) return false;
    if (!Check("ZorvCreatePrimarySurface", plugin->Call("ZorvCreatePrimarySurface", WIDTH, HEIGHT, bits, 8),
               65636)) {
        return false;
    }
    // A tile: a checkered 64 x 64 surface, copied around with its black squares keyed out.
    if (!Check("ZorvCreateOffscreenSurface", plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 64, 0))) return false;
    plugin->Call("ZorvClearSurface", 0, 1);
    for (int32_t y = 0; y < 64; y += 16) {
        for (int32_t x = (y / 16) % 2 * 16; x < 64; x += 32) {
            plugin->Call("ZorvSetPosition", x, y);
            plugin->Call("ZorvBoxFill", 16, 16, Code(bits, 255, 220, 40));
        }
    }
    plugin->Call("ZorvSetPosition", 0, 0);
    plugin->Call("ZorvSetTransparentColor", 1, 0, 0);

    // Chips: a 32-bit texture with four 32 x 32 cells (a ring of coloured boxes each). The
    // texture's alpha is opaque (0xFF) where the boxes are: the fade multiplies it.
    const int32_t OPAQUE_ALPHA = static_cast<int32_t>(0xFF000000u);
    if (!Check("texture", plugin->Call("ZorvCreateOffscreenSurface", 2, 128, 32, 0x020 | 0x100))) return false;
    plugin->Call("ZorvClearSurface", 0, 1);
    plugin->Call("ZorvInitializeChip", 4);
    const int32_t colours[4][3] = {{255, 80, 80}, {80, 255, 120}, {90, 140, 255}, {255, 230, 90}};
    for (int32_t i = 0; i < 4; ++i) {
        plugin->Call("ZorvSetPosition", i * 32 + 2, 2);
        plugin->Call("ZorvBoxFill", 28, 28, OPAQUE_ALPHA | Code(32, colours[i][0], colours[i][1], colours[i][2]));
        plugin->Call("ZorvSetPosition", i * 32 + 10, 10);
        plugin->Call("ZorvBoxFill", 12, 12, OPAQUE_ALPHA | Code(32, 255, 255, 255));
        plugin->Call("ZorvSetPosition", i * 32, 0);
        plugin->Call("ZorvCreateChip", i, 32, 32);
    }
    plugin->Call("ZorvSelectSurface", 0);
    // Faded chips blend over the frame by their alpha.
    plugin->Call("ZorvSetRenderState", 19, 5 /* SRCALPHA */, 20, 6 /* INVSRCALPHA */);

    std::vector<uint32_t> shot;
    for (int32_t frame = 0; frame < FRAMES; ++frame) {
        host::PumpMessages();
        // Background colour slowly turning, eight tiles circling the centre.
        int32_t r = 96 + Value("ZorvmiscSin2", frame * 4, 90);
        int32_t b = 96 + Value("ZorvmiscCos2", frame * 3, 90);
        plugin->Call("ZorvClearSurface", Code(bits, r, 40, b), 1);
        for (int32_t i = 0; i < 8; ++i) {
            int32_t angle = frame * 6 + i * 128;
            plugin->Call("ZorvSetPosition", 288 + Value("ZorvmiscCos2", angle, 180), 208 + Value("ZorvmiscSin2", angle, 150));
            plugin->Call("ZorvSurfaceToSurface", 1, 64, 64);
        }
        // Four chips turning, growing and shrinking, fading in and out.
        for (int32_t i = 0; i < 4; ++i) {
            plugin->Call("ZorvSetPosition", 140 + i * 120, 240);
            int32_t scale = 256 + Value("ZorvmiscSin2", frame * 8 + i * 256, 200);
            int32_t fade = 127 + Value("ZorvmiscCos2", frame * 5 + i * 200, 127);
            int32_t status = plugin->Call("ZorvPutChip2", i, scale, frame * (4 + i) * (i % 2 ? -1 : 1), fade);
            if (!Check("ZorvPutChip2", status)) return false;
        }
        plugin->Call("ZorvSetPosition", 0, 0);
        int32_t status = plugin->Call("ZorvUpdateScreen", FRAME_INTERVAL, 0, 0, 0);
        if (!Check("ZorvUpdateScreen", status, 65536)) return false;
        if (frame == FRAMES - 30) {
            Sleep(50);  // let Wine put the frame on the window
            shot = host::CaptureScreen(screen.Window(), 0, 0, WIDTH, HEIGHT);
        }
    }
    std::printf("  frames presented   %d, measured rate %.2f frames per second\n", FRAMES,
                Value("ZorvGetFrameRate") / 256.0);
    if (!shot.empty() && host::SavePng("demo.png", shot, WIDTH, HEIGHT)) {
        std::printf("  screenshot         build/win32/demo.png\n");
    }
    return Check("ZorvExit", plugin->Call("ZorvExit"));
}

}  // namespace

int main(int argc, char** argv) {
    const char* file = argc > 1 ? argv[1] : "Zorv.hpi";
    host::UseUnmanagedWindows();
    host::Plugin loaded(file);
    if (!loaded.Loaded()) {
        std::fprintf(stderr, "demo: cannot load %s\n", file);
        return 1;
    }
    plugin = &loaded;
    ShowMaths(file);

    std::printf("  screen:\n");
    host::Screen screen(640, 480);
    bool ok = RunScreen(screen);
    Print("  last call          " + Text(-1));
    std::fflush(stdout);
    return ok ? 0 : 1;
}
