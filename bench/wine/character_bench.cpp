// Character benchmarks under Wine, through the host emulator and the built plugin:
//  1. ZorvMoveCharacter: 10,000 characters with a mix of motions (velocity, turning, homing,
//     relative placement, animation), nanoseconds per character and frame;
//  2. a frame of 1,000, 5,000 and 10,000 plain 32 x 32 keyed sprites: ZorvPutCharacterYSort
//     then ZorvUpdateScreen, frames per second, and the plugin's own work (sort, blink, clip,
//     motion) told apart from the DirectDraw blits by drawing the same frame scrolled off the
//     surface, where every sprite is clipped away before its BltFast;
//  3. ZorvHitTest2 of one character against 10,000 candidates that lie within reach but never
//     touch, so every candidate goes through the exact tests of the mode.
// Arguments: the plugin file and the render mode (2 by default). Numbers are printed, never
// asserted: timing depends on the machine and its load.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <windows.h>

#include "host_emulator.h"
#include "bench_common.h"

namespace {

constexpr int32_t CHARACTERS = 10000;
constexpr int32_t COLUMNS = 26;
// Column numbers and flag bits as a script uses them.
enum { ATTRIBUTE, POS_X, POS_Y, LIMIT_LEFT, LIMIT_TOP, LIMIT_RIGHT, LIMIT_BOTTOM, CHIP_NO, MOVE_FLAGS, DRAW_FLAGS,
       BLINK, LIFE, VELOCITY_X, VELOCITY_Y, ACCEL_X, ACCEL_Y, SPEED, ANGLE, TURN_SPEED, TURN_ACCEL, SCALE_X,
       SCALE_Y, HOMING_TARGET, HOMING_ACCEL, TRANSPARENCY, PATTERN_NO };
constexpr int32_t MOVE_VELOCITY = 1, MOVE_TURN = 2, MOVE_HOMING = 8, MOVE_LIMIT = 16;
constexpr int32_t DRAW_VISIBLE = 1, DRAW_ROTATE = 4;

host::Plugin* plugin = nullptr;
std::vector<host::Variable> columns;

int32_t& Col(int32_t c, int32_t n) { return columns[c].Ints()[n]; }

bool Fail(const char* what, int32_t status) {
    std::fprintf(stderr, "character_bench: %s answered %d\n", what, status);
    return false;
}

// A new table of CHARACTERS with the 26 arrays registered; every character created on chip 0.
bool NewTable() {
    int32_t status = plugin->Call("ZorvInitializeCharacter", CHARACTERS);
    if (status != 0) return Fail("ZorvInitializeCharacter", status);
    for (int32_t c = 0; c < COLUMNS; ++c) {
        status = plugin->Call("ZorvSetCharacterVariable", columns[c].Arg(), c);
        if (status != 0) return Fail("ZorvSetCharacterVariable", status);
    }
    for (int32_t n = 0; n < CHARACTERS; ++n) {
        status = plugin->Call("ZorvCreateCharacter", n, 0, 32 + n * 37 % 576, 32 + n * 23 % 416);
        if (status != 0) return Fail("ZorvCreateCharacter", status);
    }
    return true;
}

// 1. The motion mix, by tenths of the table: 4 velocity with acceleration, 2 turning, 2 homing
// on a velocity, 1 relative to another character with its own velocity, 1 turning while tied;
// every second character animated by a two-step pattern, every one checked against limits so
// wide that none leaves them.
bool BenchMotion() {
    if (!NewTable()) return false;
    host::Variable pattern = host::Variable::Int(4);
    const int32_t steps[4] = {0, 5, 1, 7};
    for (int i = 0; i < 4; ++i) pattern.Ints()[i] = steps[i];
    plugin->Call("ZorvInitializeAnimationPattern", 1);
    if (int32_t status = plugin->Call("ZorvSetAnimationPattern", pattern.Arg(), 0, 2)) {
        return Fail("ZorvSetAnimationPattern", status);
    }
    for (int32_t n = 0; n < CHARACTERS; ++n) {
        Col(LIMIT_LEFT, n) = Col(LIMIT_TOP, n) = -1000000;
        Col(LIMIT_RIGHT, n) = Col(LIMIT_BOTTOM, n) = 1000000;
        const int32_t kind = n % 10;
        int32_t move = MOVE_LIMIT;
        if (kind < 4) {
            move |= MOVE_VELOCITY;
            Col(VELOCITY_X, n) = 300 - n % 600;
            Col(VELOCITY_Y, n) = 200 - n % 400;
            Col(ACCEL_X, n) = n % 3 - 1;
        } else if (kind < 6) {
            move |= MOVE_TURN;
            Col(SPEED, n) = 384;
            Col(ANGLE, n) = n % 1024;
            Col(TURN_SPEED, n) = 512 + n % 256;
        } else if (kind < 8) {
            move |= MOVE_VELOCITY | MOVE_HOMING;
            Col(HOMING_TARGET, n) = n / 10 * 10;  // a velocity character
            Col(HOMING_ACCEL, n) = 1;
        }
        Col(MOVE_FLAGS, n) = move;
        if (n % 2 == 0) plugin->Call("ZorvSetCharacterAnimation", n, 0, n / 2 % 2, n % 5);
    }
    for (int32_t n = 8; n < CHARACTERS; n += 10) {
        Col(VELOCITY_X, n) = 64;
        Col(MOVE_FLAGS, n) |= MOVE_VELOCITY;
        plugin->Call("ZorvSetRelativeCharacter", n, n - 8);
        Col(MOVE_FLAGS, n + 1) |= MOVE_TURN;
        Col(SPEED, n + 1) = 256;
        Col(TURN_SPEED, n + 1) = 700;
        plugin->Call("ZorvSetRelativeCharacter", n + 1, n - 7);
    }
    // Five runs of 200 frames: the fastest and the slowest tell how much the load varied.
    const int32_t repeat = 200;
    plugin->Call("ZorvMoveCharacter", 0, CHARACTERS, 5);  // warm-up
    double fastest = 1e9, slowest = 0;
    for (int run = 0; run < 5; ++run) {
        double start = Seconds();
        int32_t status = plugin->Call("ZorvMoveCharacter", 0, CHARACTERS, repeat);
        double took = Seconds() - start;
        if (status != 0) return Fail("ZorvMoveCharacter", status);
        fastest = std::min(fastest, took);
        slowest = std::max(slowest, took);
    }
    int32_t alive = 0;
    for (int32_t n = 0; n < CHARACTERS; ++n) alive += Col(ATTRIBUTE, n) != 0;
    const double frames = double(CHARACTERS) * repeat;
    std::printf("ZorvMoveCharacter, %d characters x %d frames, 5 runs: %.2f ns per character (slowest run %.2f ns), "
                "%d still alive\n", CHARACTERS, repeat, fastest * 1e9 / frames, slowest * 1e9 / frames, alive);
    return true;
}

// 2. Frames of count plain sprites circling (turning motion, drawn unturned) over the screen.
// Three runs of the same frames: visible; scrolled off the surface (the plugin's own work:
// sort, blink, clip, motion, without a blit); and with DRAW_VISIBLE clear (sort and motion).
bool BenchFrames(int32_t count, int32_t frames) {
    if (!NewTable()) return false;
    for (int32_t n = 0; n < CHARACTERS; ++n) {
        Col(MOVE_FLAGS, n) = n < count ? MOVE_TURN : 0;
        Col(SPEED, n) = 256 + n % 512;
        Col(ANGLE, n) = n * 7 % 1024;
        Col(TURN_SPEED, n) = 1024 + n % 1024;
        Col(BLINK, n) = n % 16 == 0 ? 60000 : 0;  // every sixteenth one blinking
    }
    struct Run {
        const char* name;
        int32_t scroll;
        int32_t drawFlags;
        double clear = 0, sprites = 0, update = 0;
    } runs[3] = {{"visible", 0, DRAW_VISIBLE}, {"scrolled off", 100000, DRAW_VISIBLE}, {"invisible", 0, 0}};
    for (Run& run : runs) {
        for (int32_t n = 0; n < count; ++n) Col(DRAW_FLAGS, n) = run.drawFlags;
        for (int32_t f = -10; f < frames; ++f) {  // ten frames of warm-up
            host::PumpMessages();
            double tc = Seconds();
            plugin->Call("ZorvClearSurface", 0x203040, 1);
            double t0 = Seconds();
            int32_t status = plugin->Call("ZorvPutCharacterYSort", 0, count, run.scroll, 0);
            double t1 = Seconds();
            plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0);
            double t2 = Seconds();
            if (status != 0) return Fail("ZorvPutCharacterYSort", status);
            if (f >= 0) {
                run.clear += t0 - tc;
                run.sprites += t1 - t0;
                run.update += t2 - t1;
            }
        }
    }
    const double frame = (runs[0].clear + runs[0].sprites + runs[0].update) / frames;
    const double own = runs[1].sprites / frames;
    std::printf("%5d sprites: %.1f frames/s (%.3f ms a frame: clear %.3f, sprites %.3f, update %.3f); own work %.3f ms "
                "= %.1f ns a sprite = %.1f%% of the frame; blits %.3f ms; sort and motion alone %.1f ns a sprite\n",
                count, 1.0 / frame, frame * 1e3, runs[0].clear * 1e3 / frames, runs[0].sprites * 1e3 / frames, runs[0].update * 1e3 / frames,
                own * 1e3, own * 1e9 / count, 100.0 * own / frame, (runs[0].sprites - runs[1].sprites) * 1e3 / frames,
                runs[2].sprites * 1e9 / frames / count);
    return true;
}

// 3. The tested character 0 and 9,999 candidates, all 32 x 32 hit areas turned by 45 degrees
// (diamonds 45 pixels across). The candidates stand at one of four places around it, 48 pixels
// away along an axis or 26 along both diagonals: inside the quick reach test (64), outside the
// core, never touching.
bool BenchHitTest(int32_t calls) {
    if (!NewTable()) return false;
    const int32_t places[4][2] = {{48, 0}, {0, -48}, {26, 26}, {-26, 26}};
    for (int32_t n = 0; n < CHARACTERS; ++n) {
        Col(POS_X, n) = 320 + (n == 0 ? 0 : places[n % 4][0]);
        Col(POS_Y, n) = 240 + (n == 0 ? 0 : places[n % 4][1]);
        Col(DRAW_FLAGS, n) = DRAW_VISIBLE | DRAW_ROTATE;
        Col(ANGLE, n) = 128;
    }
    host::Variable tested = host::Variable::Int(2);
    for (int32_t mode : {0, 1, 2, 4, 7}) {
        tested.Ints()[0] = 0;
        tested.Ints()[1] = mode;
        plugin->Call("ZorvHitTest2", tested.Arg(), -1, 1, CHARACTERS - 1);  // warm-up
        double start = Seconds();
        for (int32_t i = 0; i < calls; ++i) plugin->Call("ZorvHitTest2", tested.Arg(), -1, 1, CHARACTERS - 1);
        double took = Seconds() - start;
        std::printf("ZorvHitTest2 mode %d, 1 against %d: %.1f us a call (%.1f ns a candidate), %s\n", mode,
                    CHARACTERS - 1, took * 1e6 / calls, took * 1e9 / calls / (CHARACTERS - 1),
                    tested.Ints()[0] == 0 ? "no hit" : "a hit (the case is not the worst)");
    }
    // The same tested character against candidates spread over the screen, as in a game: most
    // are beyond the quick reach test.
    for (int32_t n = 1; n < CHARACTERS; ++n) {
        Col(POS_X, n) = n * 37 % 640;
        Col(POS_Y, n) = n * 23 % 480;
        Col(ANGLE, n) = n * 41 % 1024;
    }
    Col(POS_X, 0) = -100;  // off the screen, so that none hits
    tested.Ints()[0] = 0;
    tested.Ints()[1] = 7;
    double start = Seconds();
    for (int32_t i = 0; i < calls; ++i) plugin->Call("ZorvHitTest2", tested.Arg(), -1, 1, CHARACTERS - 1);
    double took = Seconds() - start;
    std::printf("ZorvHitTest2 mode 7, 1 against %d spread over the screen: %.1f us a call, %s\n", CHARACTERS - 1,
                took * 1e6 / calls, tested.Ints()[0] == 0 ? "no hit" : "a hit");
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const char* file = argc > 1 ? argv[1] : "Zorv.hpi";
    const int32_t renderMode = argc > 2 ? std::atoi(argv[2]) : 2;
    host::UseUnmanagedWindows();
    host::Plugin loaded(file);
    if (!loaded.Loaded()) return 1;
    plugin = &loaded;
    host::Screen screen(640, 480);
    if (!OpenScreen(*plugin, screen, renderMode)) {
        std::fprintf(stderr, "character_bench: no screen\n");
        return 1;
    }
    host::Variable colours = host::Variable::Int(9);
    plugin->Call("ZorvShowFrameRate", colours.Arg(), 0, 0, 0);
    plugin->Call("ZorvShowPolygonRate", colours.Arg(), 0, 0, 0);

    // Two 32 x 32 chips (a keyed ring, anchored at the centre) on a 64 x 32 sheet.
    plugin->Call("ZorvCreateOffscreenSurface", 1, 64, 32, 0);
    plugin->Call("ZorvClearSurface", 0, 1);
    for (int32_t i = 0; i < 2; ++i) {
        plugin->Call("ZorvSetPosition", i * 32 + 4, 4);
        plugin->Call("ZorvBoxFill", 24, 24, i == 0 ? 0xC08040 : 0x40C080);
        plugin->Call("ZorvSetPosition", i * 32 + 12, 12);
        plugin->Call("ZorvBoxFill", 8, 8, 0);
    }
    plugin->Call("ZorvSetPosition", 0, 0);
    plugin->Call("ZorvSetTransparentColor", 1, 0, 0);
    plugin->Call("ZorvInitializeChip", 2);
    host::Variable area = host::Variable::Int(4);
    const int32_t hit[4] = {0, 0, 32, 32};
    for (int i = 0; i < 4; ++i) area.Ints()[i] = hit[i];
    for (int32_t i = 0; i < 2; ++i) {
        plugin->Call("ZorvSetPosition", i * 32, 0);
        plugin->Call("ZorvCreateChip", i, 32, 32);
        plugin->Call("ZorvSetChipOffset", i, 16, 16);
        plugin->Call("ZorvSetChipHitArea", area.Arg(), i);
    }
    plugin->Call("ZorvSelectSurface", 0);
    plugin->Call("ZorvSetPosition", 0, 0);

    columns.reserve(COLUMNS);
    for (int32_t c = 0; c < COLUMNS; ++c) columns.push_back(host::Variable::Int(CHARACTERS));
    bool ok = BenchMotion();
    std::printf("frames in render mode %d, ZorvPutCharacterYSort then ZorvUpdateScreen, pacing off:\n", renderMode);
    for (int32_t count : {1000, 5000, 10000}) ok = ok && BenchFrames(count, count >= 5000 ? 60 : 200);
    ok = ok && BenchHitTest(50);
    plugin->Call("ZorvExit");
    return ok ? 0 : 1;
}
