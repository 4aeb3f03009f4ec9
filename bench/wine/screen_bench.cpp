// Screen benchmarks under Wine, through the host emulator and the built plugin:
//  1. frames per second of an empty 640 x 480 windowed frame loop with the pacing off
//     (ZorvUpdateScreen with a frame interval of 0, the rate texts hidden);
//  2. the pacing at 60 frames per second: the slot lengths seen by the script, their mean
//     and the drift over the whole run;
//  3. chips per second: ZorvPutChip of a 32 x 32 chip, and ZorvPutChip2 rotating it (render
//     mode from the third argument: 1 Direct3D, 2 the software rasterizer).
// Numbers are printed, never asserted: timing depends on the machine.
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <map>
#include <vector>

#include <windows.h>
#include <mmsystem.h>

#include "host_emulator.h"
#include "bench_common.h"

namespace {

host::Plugin* plugin = nullptr;

void HideRates() {
    host::Variable colours = host::Variable::Int(9);
    plugin->Call("ZorvShowFrameRate", colours.Arg(), 0, 0, 0);
    plugin->Call("ZorvShowPolygonRate", colours.Arg(), 0, 0, 0);
}

}  // namespace

int main(int argc, char** argv) {
    const char* file = argc > 1 ? argv[1] : "Zorv.hpi";
    const int frames = argc > 2 ? std::atoi(argv[2]) : 600;
    const int renderMode = argc > 3 ? std::atoi(argv[3]) : 0;
    host::UseUnmanagedWindows();
    host::Plugin loaded(file);
    if (!loaded.Loaded()) return 1;
    plugin = &loaded;
    host::Screen screen(640, 480);
    if (!OpenScreen(*plugin, screen, renderMode)) {
        std::fprintf(stderr, "screen_bench: no screen\n");
        return 1;
    }
    HideRates();
    timeBeginPeriod(1);

    // 1. Empty frame loop, no pacing.
    for (int i = 0; i < 30; ++i) plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0);  // warm-up
    double start = Seconds();
    for (int i = 0; i < frames; ++i) {
        host::PumpMessages();
        plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0);
    }
    double loop = Seconds() - start;
    std::printf("empty 640x480 frame loop, pacing off: %d frames in %.3f s = %.1f frames/s (%.3f ms/frame)\n",
                frames, loop, frames / loop, loop * 1000.0 / frames);

    // The same loop with the clear of every frame (a full-surface colour fill).
    start = Seconds();
    for (int i = 0; i < frames; ++i) {
        host::PumpMessages();
        plugin->Call("ZorvUpdateScreen", 0, 1, 0x203040, 0);
    }
    loop = Seconds() - start;
    std::printf("with a full clear each frame:        %d frames in %.3f s = %.1f frames/s\n", frames, loop,
                frames / loop);

    // 2. Pacing at 60 frames per second.
    const int paced = frames / 2;
    std::vector<DWORD> stamps;
    stamps.reserve(static_cast<size_t>(paced) + 1);
    plugin->Call("ZorvUpdateScreen", 1092267, 0, 0, 0);  // starts the schedule
    stamps.push_back(timeGetTime());
    for (int i = 0; i < paced; ++i) {
        host::PumpMessages();
        plugin->Call("ZorvUpdateScreen", 1092267, 0, 0, 0);
        stamps.push_back(timeGetTime());
    }
    std::map<DWORD, int> slots;
    for (size_t i = 1; i < stamps.size(); ++i) ++slots[stamps[i] - stamps[i - 1]];
    double total = static_cast<double>(stamps.back() - stamps.front());
    double expected = paced * 1000.0 / 60.0;
    std::printf("pacing at 60 frames/s: %d frames in %.0f ms (expected %.1f ms, drift %+.1f ms), mean %.4f ms\n",
                paced, total, expected, total - expected, total / paced);
    std::printf("  slot lengths seen by the script:");
    for (const auto& slot : slots) std::printf(" %lums x %d", static_cast<unsigned long>(slot.first), slot.second);
    std::printf("\n");

    // 3. Chips per second on the back buffer.
    const int32_t textureFlags = renderMode == 1 ? 0x020 : 0;
    if (plugin->Call("ZorvCreateOffscreenSurface", 1, 32, 32, textureFlags) == 0) {
        plugin->Call("ZorvClearSurface", 0x00C08040, 1);
        plugin->Call("ZorvInitializeChip", 1);
        plugin->Call("ZorvCreateChip", 0, 32, 32);
        plugin->Call("ZorvSelectSurface", 0);
        const int chips = frames * 20;
        start = Seconds();
        for (int i = 0; i < chips; ++i) plugin->Call("ZorvPutChip", 0, 32 + (i * 37) % 576, 32 + (i * 23) % 416);
        double plain = Seconds() - start;
        std::printf("ZorvPutChip 32x32:                   %d chips in %.3f s = %.0f chips/s\n", chips, plain,
                    chips / plain);
        if (renderMode == 1 || renderMode == 2) {
            const int turned = frames * 5;
            start = Seconds();
            for (int i = 0; i < turned; ++i) {
                plugin->Call("ZorvSetPosition", 32 + (i * 37) % 576, 32 + (i * 23) % 416);
                plugin->Call("ZorvPutChip2", 0, 256 + (i % 128), i * 7 + 1, 0);
            }
            double rotated = Seconds() - start;
            std::printf("ZorvPutChip2 32x32 rotated (mode %d): %d chips in %.3f s = %.0f chips/s\n", renderMode,
                        turned, rotated, turned / rotated);
        }
    }

    timeEndPeriod(1);
    plugin->Call("ZorvExit");
    return 0;
}
