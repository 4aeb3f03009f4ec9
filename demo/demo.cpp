// Zorv demo: loads the plugin as the HSP host does, shows its maths and texts, then opens a
// 640 x 480 windowed screen (render mode 2, a 32-bit desktop) and presents four seconds of
// sprites at 60 frames per second: characters walking with an animation pattern, circling
// and drawn turned, homing on the walker, drawn in Y order over a view that scrolls with the
// walker, which blinks when a bee touches it; and a line of text from glyph chips. It saves a
// screenshot (demo.png beside the program) and stops through ZorvExit. Texts are converted
// from Shift-JIS to UTF-8 for the terminal.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

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

// The script's 26 character arrays, registered in column order.
constexpr int32_t CHARACTERS = 80;
enum { ATTRIBUTE, POS_X, POS_Y, CHIP_NO = 7, MOVE_FLAGS, DRAW_FLAGS, BLINK, VELOCITY_X = 12, VELOCITY_Y, ACCEL_X,
       ACCEL_Y, SPEED, ANGLE, TURN_SPEED, HOMING_TARGET = 22, HOMING_ACCEL, COLUMNS = 26 };
constexpr int32_t MOVE_VELOCITY = 1, MOVE_TURN = 2, MOVE_HOMING = 8, DRAW_ROTATE = 4;
std::vector<host::Variable> columns;
int32_t& Col(int32_t c, int32_t n) { return columns[c].Ints()[n]; }

host::Variable Ints(std::initializer_list<int32_t> values) {
    host::Variable v = host::Variable::Int(static_cast<int32_t>(values.size()));
    int32_t i = 0;
    for (int32_t value : values) v.Ints()[i++] = value;
    return v;
}

// Sprite chips 0 ... 5 on surface 1 (black keyed out): two walker frames, a tree, a stone, a
// ship and a bee. Walkers, trees and stones stand on their bottom middle, the others turn
// about their centre.
void MakeSprites() {
    plugin->Call("ZorvCreateOffscreenSurface", 1, 192, 32, 0);
    plugin->Call("ZorvClearSurface", 0, 1);
    const int32_t boxes[][5] = {
        {8, 4, 16, 24, 0xF0C080},  {4, 12, 4, 8, 0xF0C080},    {12, 6, 3, 3, 0x202020},   // walker, arm back
        {40, 4, 16, 24, 0xF0C080}, {56, 12, 4, 8, 0xF0C080},   {44, 6, 3, 3, 0x202020},   // walker, arm forward
        {68, 0, 24, 20, 0x30A040}, {77, 20, 6, 12, 0x805030},                              // tree
        {100, 16, 24, 14, 0x909090},                                                       // stone
        {130, 12, 22, 8, 0x60A0F0}, {152, 10, 8, 12, 0xF04040},                            // ship, nose right
        {168, 10, 16, 12, 0xF0D020}, {174, 10, 4, 12, 0x403010}};                          // bee
    for (const auto& b : boxes) {
        plugin->Call("ZorvSetPosition", b[0], b[1]);
        plugin->Call("ZorvBoxFill", b[2], b[3], b[4]);
    }
    plugin->Call("ZorvSetPosition", 0, 0);
    plugin->Call("ZorvSetTransparentColor", 1, 0, 0);
    for (int32_t i = 0; i < 6; ++i) {
        plugin->Call("ZorvSetPosition", i * 32, 0);
        plugin->Call("ZorvCreateChip", i, 32, 32);
        plugin->Call("ZorvSetChipOffset", i, 16, i < 4 ? 31 : 16);
    }
}

// Glyph chips from 6 on, for the byte codes 32 (the space) ... 90 (Z): the host prints them into
// its window buffer with GDI, as a script prints text, and the plugin copies them onto surface 2.
constexpr int32_t FIRST_CODE = ' ', GLYPHS = 'Z' - ' ' + 1, GLYPH_W = 9, GLYPH_H = 16, FIRST_GLYPH_CHIP = 6;
void MakeGlyphs(host::Screen& screen) {
    HDC dc = reinterpret_cast<HDC>(static_cast<uintptr_t>(screen.Field(host::Screen::HDC_FIELD)));
    RECT all = {0, 0, GLYPHS * GLYPH_W, GLYPH_H};
    FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    HGDIOBJ font = SelectObject(dc, GetStockObject(ANSI_FIXED_FONT));
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, RGB(255, 255, 160));
    host::Variable chips = host::Variable::Int(GLYPHS);
    for (int32_t i = 0; i < GLYPHS; ++i) {
        const char code = static_cast<char>(FIRST_CODE + i);
        TextOutA(dc, i * GLYPH_W + 1, 1, &code, 1);
        chips.Ints()[i] = FIRST_GLYPH_CHIP + i;
    }
    SelectObject(dc, font);
    plugin->Call("ZorvCreateOffscreenSurface", 2, GLYPHS * GLYPH_W, GLYPH_H, 0);
    plugin->Call("ZorvSetPosition", 0, 0);
    plugin->Call("ZorvHSPToSurface", screen.Arg(), GLYPHS * GLYPH_W, GLYPH_H, 0);
    plugin->Call("ZorvSetTransparentColor", 1, 0, 0);
    for (int32_t i = 0; i < GLYPHS; ++i) {
        plugin->Call("ZorvSetPosition", i * GLYPH_W, 0);
        plugin->Call("ZorvCreateChip", FIRST_GLYPH_CHIP + i, GLYPH_W, GLYPH_H);
    }
    plugin->Call("ZorvSetStringChip", chips.Arg(), FIRST_CODE, GLYPHS);
}

// Characters: 0 the walker (animated, moving right, the view follows it), 1 ... 24 trees and
// stones, 25 ... 30 ships circling (turning motion, drawn turned), 31 ... 36 bees homing on the
// walker; 40 on hold the text line.
bool MakeCharacters() {
    plugin->Call("ZorvInitializeCharacter", CHARACTERS);
    columns.reserve(COLUMNS);
    for (int32_t c = 0; c < COLUMNS; ++c) {
        columns.push_back(host::Variable::Int(CHARACTERS));
        plugin->Call("ZorvSetCharacterVariable", columns[c].Arg(), c);
    }
    host::Variable walk = Ints({0, 8, 1, 8});
    plugin->Call("ZorvInitializeAnimationPattern", 1);
    plugin->Call("ZorvSetAnimationPattern", walk.Arg(), 0, 2);
    if (!Check("ZorvCreateCharacter", plugin->Call("ZorvCreateCharacter", 0, 0, 60, 330))) return false;
    Col(MOVE_FLAGS, 0) = MOVE_VELOCITY;  // no limits: the world is wider than the screen
    Col(VELOCITY_X, 0) = 512;            // two pixels a frame
    Col(ATTRIBUTE, 0) = 2;
    plugin->Call("ZorvSetCharacterAnimation", 0, 0, 0, 0);
    for (int32_t n = 1; n <= 36; ++n) {
        const int32_t chip = n <= 24 ? 2 + (n % 4 == 0) : n <= 30 ? 4 : 5;
        plugin->Call("ZorvCreateCharacter", n, chip, n * 57 % 1100, 150 + n * 97 % 300);
        Col(MOVE_FLAGS, n) = 0;
        Col(ATTRIBUTE, n) = n <= 30 ? 1 : 4;
        if (n > 24 && n <= 30) {  // circles of about 55 pixels' radius, each ship at its own angle
            Col(MOVE_FLAGS, n) = MOVE_TURN;
            Col(DRAW_FLAGS, n) |= DRAW_ROTATE;
            Col(SPEED, n) = 768;
            Col(ANGLE, n) = n * 170 % 1024;
            Col(TURN_SPEED, n) = 2304;
        } else if (n > 30) {
            Col(MOVE_FLAGS, n) = MOVE_VELOCITY | MOVE_HOMING;
            Col(HOMING_TARGET, n) = 0;
            Col(HOMING_ACCEL, n) = 24;
        }
    }
    return true;
}

bool RunScreen(host::Screen& screen) {
    constexpr int32_t WIDTH = 640;
    constexpr int32_t HEIGHT = 480;
    constexpr int32_t FRAMES = 240;              // four seconds
    constexpr int32_t FRAME_INTERVAL = 1092267;  // 1000 / 60 ms in 16.16
    HDC desktop = GetDC(nullptr);
    int32_t bits = GetDeviceCaps(desktop, BITSPIXEL);
    ReleaseDC(nullptr, desktop);

    // Windowed; turned sprites drawn by the software rasterizer (render mode 2).
    if (!Check("ZorvInitialize", plugin->Call("ZorvInitialize", screen.Arg(), 2, 2))) return false;
    if (!Check("ZorvCreateDD", plugin->Call("ZorvCreateDD", 0))) return false;
    if (!Check("ZorvInitializeSurface", plugin->Call("ZorvInitializeSurface", 4))) return false;
    if (!Check("ZorvCreatePrimarySurface", plugin->Call("ZorvCreatePrimarySurface", WIDTH, HEIGHT, bits, 0),
               65636)) {
        return false;
    }
    plugin->Call("ZorvInitializeChip", FIRST_GLYPH_CHIP + GLYPHS);
    MakeSprites();
    MakeGlyphs(screen);
    plugin->Call("ZorvSelectSurface", 0);
    if (!MakeCharacters()) return false;

    std::vector<uint32_t> shot;
    int32_t scroll = 0, hits = 0;
    host::Variable tested = host::Variable::Int(1);
    host::Variable line = host::Variable::String(16);
    for (int32_t frame = 0; frame < FRAMES; ++frame) {
        host::PumpMessages();
        plugin->Call("ZorvClearSurface", 0x406020, 1);
        // The homing push builds up the bees' acceleration: held to one push, and their speed
        // slowed by a thirty-second a frame, they swarm round the walker instead of flying ever wider.
        for (int32_t n = 31; n <= 36; ++n) {
            for (int32_t c : {ACCEL_X, ACCEL_Y}) Col(c, n) = std::max(-32, std::min(32, Col(c, n)));
            for (int32_t c : {VELOCITY_X, VELOCITY_Y}) Col(c, n) -= Col(c, n) / 32;
        }
        // A bee touching the walker makes it blink for 30 frames.
        tested.Ints()[0] = 0;
        plugin->Call("ZorvHitTest", tested.Arg(), 4, 31, 6);
        if (tested.Ints()[0] != 0 && Col(BLINK, 0) == 0) {
            Col(BLINK, 0) = 30;
            ++hits;
        }
        // The view keeps the walker 200 pixels from its left edge.
        if (Col(POS_X, 0) - scroll > 200) scroll = Col(POS_X, 0) - 200;
        int32_t status = plugin->Call("ZorvPutCharacterYSort", 0, 37, -scroll, 0);
        if (!Check("ZorvPutCharacterYSort", status)) return false;
        // The text line, fixed at the bottom of the screen.
        std::snprintf(line.Text(), 64, "FRAME %03d  SCROLL %04d  HITS %d", frame, scroll, hits);
        plugin->Call("ZorvSetPosition", 16, HEIGHT - 8);
        plugin->Call("ZorvDrawString", line.Arg(), 40, 8, 0);
        plugin->Call("ZorvPutCharacter", 40, static_cast<int32_t>(std::strlen(line.Text())), 0, 0);
        plugin->Call("ZorvSetPosition", 0, 0);
        status = plugin->Call("ZorvUpdateScreen", FRAME_INTERVAL, 0, 0, 0);
        if (!Check("ZorvUpdateScreen", status, 65536)) return false;
        if (frame == FRAMES - 30) {
            Sleep(50);  // let Wine put the frame on the window
            shot = host::CaptureScreen(screen.Window(), 0, 0, WIDTH, HEIGHT);
        }
    }
    std::printf("  frames presented   %d, measured rate %.2f frames per second; the walker at %d, %d bee hits\n",
                FRAMES, Value("ZorvGetFrameRate") / 256.0, Col(POS_X, 0), hits);
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
