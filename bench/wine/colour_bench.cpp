// Colour benchmarks under Wine, through the host emulator and the built plugin, and a scene of
// pictures for a person to look at:
//  1. ZorvHSPToSurface of a 640 x 480 host buffer (24-bit, and 8-bit with a colour table) into
//     32-bit and 16-bit surfaces, and ZorvSurfaceToHSP back, in milliseconds and against memcpy
//     of as many bytes as the call writes, measured here; the packing loop alone (the pure
//     code, built with the plugin's flags) into plain memory;
//  2. on an 8-bit desktop: the nearest-index copy onto an 8-bit surface, and the cost of one
//     palette fade step (ZorvUpdateScreen with a fade running against one without);
//  3. pictures, written as PNG into the folder of the third argument: a picture from a 24-bit
//     and from an 8-bit host buffer in surfaces of each format, the same presented on the
//     back buffer, arcs and pies drawn through the lent DC (24-bit desktop), and a palette fade
//     at its first, middle and last step (8-bit desktop).
// Numbers are printed, never asserted: timing depends on the machine and its load.
//
//   colour_bench.exe [plugin] [repetitions] [picture folder]
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <windows.h>
#include <ddraw.h>

#include "colour/colour_math.h"
#include "colour/host_pixels.h"
#include "host_emulator.h"
#include "bench_common.h"

namespace {

host::Plugin* plugin = nullptr;
host::Screen* screen = nullptr;
int repetitions = 20;
std::string folder = ".";

constexpr int W = 640, H = 480, TILE_W = 148, TILE_H = 112;

// Minimum and median of `repetitions` timings of `run`, in milliseconds.
struct Timing {
    double best, median;
};
template <class Run>
Timing Time(Run run, int count = 0) {
    if (count == 0) count = repetitions;
    run();  // warm-up
    std::vector<double> ms;
    for (int i = 0; i < count; ++i) {
        const double start = Seconds();
        run();
        ms.push_back((Seconds() - start) * 1000.0);
    }
    std::sort(ms.begin(), ms.end());
    return Timing{ms.front(), ms[ms.size() / 2]};
}

int32_t Address(const void* p) { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(p)); }

// ---- Host pictures -----------------------------------------------------------------------

// The test picture at (x, y) of a w x h image: a colour gradient, a hue wheel in the middle, a
// grey ramp of 16 steps along the bottom and fine stripes in the top left corner.
void PictureColour(int x, int y, int w, int h, uint8_t rgb[3]) {
    const double dx = x - w / 2.0, dy = y - h / 2.0, radius = std::sqrt(dx * dx + dy * dy), r0 = h * 0.32;
    if (y >= h - h / 10) {
        const int grey = (x * 16 / w) * 255 / 15;
        rgb[0] = rgb[1] = rgb[2] = static_cast<uint8_t>(grey);
    } else if (x < w / 8 && y < h / 6) {
        const uint8_t v = ((x + y) & 2) ? 255 : 0;
        rgb[0] = v, rgb[1] = static_cast<uint8_t>(255 - v), rgb[2] = 128;
    } else if (radius < r0) {
        const double hue = std::atan2(dy, dx) / (2 * 3.14159265358979) + 0.5, saturation = radius / r0;
        for (int c = 0; c < 3; ++c) {
            double t = std::fmod(hue + c / 3.0, 1.0) * 6.0;
            double v = t < 1 ? t : t < 3 ? 1 : t < 4 ? 4 - t : 0;
            rgb[c] = static_cast<uint8_t>(255 * (1 - saturation + saturation * v));
        }
    } else {
        rgb[0] = static_cast<uint8_t>(x * 255 / (w - 1));
        rgb[1] = static_cast<uint8_t>(y * 255 / (h - 1));
        rgb[2] = static_cast<uint8_t>(255 - (x + y) * 255 / (w + h - 2));
    }
}

// A host buffer and the record that describes it (the host's field offsets); rows bottom-up.
struct HostPicture {
    std::vector<int32_t> record = std::vector<int32_t>(128, 0);
    std::vector<uint8_t> bits, table;

    HostPicture(int w, int h, bool palettised) {
        bits.resize(static_cast<size_t>(w) * h * (palettised ? 1 : 3));
        table.resize(1024);
        // The colour table: a 6 x 6 x 6 cube, then 40 greys.
        for (int i = 0; i < 256; ++i) {
            uint8_t* e = &table[4 * i];
            if (i < 216) {
                e[2] = static_cast<uint8_t>(i / 36 * 51), e[1] = static_cast<uint8_t>(i / 6 % 6 * 51), e[0] = static_cast<uint8_t>(i % 6 * 51);
            } else {
                e[0] = e[1] = e[2] = static_cast<uint8_t>((i - 216) * 255 / 39);
            }
        }
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                uint8_t c[3];
                PictureColour(x, y, w, h, c);
                const size_t at = static_cast<size_t>(h - 1 - y) * w + x;
                if (!palettised) {
                    bits[3 * at] = c[2], bits[3 * at + 1] = c[1], bits[3 * at + 2] = c[0];
                } else if (c[0] == c[1] && c[1] == c[2]) {
                    bits[at] = static_cast<uint8_t>(216 + (c[0] * 39 + 127) / 255);
                } else {
                    bits[at] = static_cast<uint8_t>((c[0] + 25) / 51 * 36 + (c[1] + 25) / 51 * 6 + (c[2] + 25) / 51);
                }
            }
        }
        record[1] = w, record[2] = h, record[3] = palettised ? 1 : 0;
        record[5] = Address(bits.data()), record[9] = Address(table.data());
    }
    int32_t Arg() const { return Address(record.data()); }
};

// ---- Plugin state ------------------------------------------------------------------------

struct SurfaceInfo {
    IDirectDrawSurface7* surface;
    uint32_t bits, red, green, blue;
};

// Surface record `index`, read through the block ZorvCombine hands out (table at 8; records of
// 292 bytes: the surface at 0, bit count at 172, masks at 176, 180, 184).
SurfaceInfo Surface(int32_t index) {
    host::Variable v = host::Variable::Int(1);
    plugin->Call("ZorvCombine", v.Arg());
    const uint8_t* block = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(v.Ints()[0])));
    const uint8_t* table;
    std::memcpy(&table, block + 8, 4);
    const uint8_t* record = table + 292 * index;
    SurfaceInfo info;
    std::memcpy(&info.surface, record, 4);
    std::memcpy(&info.bits, record + 172, 4);
    std::memcpy(&info.red, record + 176, 4);
    std::memcpy(&info.green, record + 180, 4);
    std::memcpy(&info.blue, record + 184, 4);
    return info;
}

// An 8-bit component's top bits under a mask.
uint32_t Under(uint32_t mask, uint32_t c) {
    int z = 0, n = 0;
    while (mask && !(mask >> z & 1)) ++z;
    while (z + n < 32 && (mask >> (z + n) & 1)) ++n;
    return mask ? c >> (8 - n) << z : 0;
}

uint32_t FieldByte(uint32_t v, uint32_t mask) {
    if (mask == 0) return 0;
    while (!(mask & 1)) mask >>= 1, v >>= 1;
    return (v & mask) * 255 / mask;
}

// The plugin palette as 0x00RRGGBB, through ZorvGetRGBFromColorCode.
std::vector<uint32_t> PluginPalette() {
    std::vector<uint32_t> out(256);
    host::Variable v = host::Variable::Int(3);
    for (int i = 0; i < 256; ++i) {
        plugin->Call("ZorvGetRGBFromColorCode", v.Arg(), i);
        out[i] = static_cast<uint32_t>(v.Ints()[0] << 16 | v.Ints()[1] << 8 | v.Ints()[2]);
    }
    return out;
}

// A surface's pixels as 0x00RRGGBB, decoded with its masks (8-bit: through the plugin palette).
std::vector<uint32_t> Decode(const SurfaceInfo& s, int w, int h) {
    std::vector<uint32_t> out(static_cast<size_t>(w) * h, 0);
    const std::vector<uint32_t> palette = s.bits == 8 ? PluginPalette() : std::vector<uint32_t>();
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    if (FAILED(s.surface->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_READONLY, nullptr))) return out;
    const uint32_t bytes = desc.ddpfPixelFormat.dwRGBBitCount / 8;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            uint32_t v = 0;
            std::memcpy(&v, static_cast<const uint8_t*>(desc.lpSurface) + y * desc.lPitch + x * bytes, bytes);
            out[static_cast<size_t>(y) * w + x] =
                bytes == 1 ? palette[v] : FieldByte(v, s.red) << 16 | FieldByte(v, s.green) << 8 | FieldByte(v, s.blue);
        }
    }
    s.surface->Unlock(nullptr);
    return out;
}

void Save(const std::string& name, const std::vector<uint32_t>& pixels, int w, int h) {
    const std::string path = folder + "\\" + name;
    std::printf("  picture %s: %s\n", path.c_str(), host::SavePng(path.c_str(), pixels, w, h) ? "written" : "FAILED");
}

// Presents the back buffer twice (a windowed present that follows another too soon reaches the
// window only with the next one) and reads the window back.
std::vector<uint32_t> Presented() {
    for (int i = 0; i < 2; ++i) {
        host::PumpMessages();
        plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1);
        Sleep(30);
    }
    host::PumpMessages();
    return host::CaptureScreen(screen->Window(), 0, 0, W, H);
}

int32_t DesktopBits() {
    HDC dc = GetDC(nullptr);
    const int32_t bits = GetDeviceCaps(dc, BITSPIXEL);
    ReleaseDC(nullptr, dc);
    return bits;
}

// Surface creation flags: 8-8-8-8, 1-5-5-5, 4-4-4-4 and the desktop format.
constexpr int32_t FORMAT_FLAGS[4] = {0x100, 0x040, 0x080, 0};
const char* const FORMAT_NAMES[4] = {"8-8-8-8", "1-5-5-5", "4-4-4-4", "desktop"};

// ---- 1. and 2. Timings -------------------------------------------------------------------

// Which copy a buffer kind meets on a surface of this bit count, or null when it is left alone.
const char* ChooseHostConversionForReport(bool palettised, uint32_t bits) {
    switch (zorv::ChooseHostConversion(palettised, false, bits)) {
    case zorv::HOST_PACK: return palettised ? "palette colour packing" : "colour packing";
    case zorv::HOST_NEAREST: return "nearest index";
    default: return nullptr;
    }
}

// memcpy between two heap buffers of this size (both warm in the cache, as the host buffer and
// the surface are in the repeated copies), measured once per size with more repetitions.
double MemcpyMs(size_t bytes) {
    static std::map<size_t, double> known;
    if (known.count(bytes)) return known[bytes];
    std::vector<uint8_t> from(bytes, 1), to(bytes, 2);
    const Timing t = Time([&] {
        std::memcpy(to.data(), from.data(), bytes);
        from[bytes / 2] = to[bytes / 3];
    }, std::max(50, 5 * repetitions));
    return known[bytes] = t.median;
}

void Row(const char* what, const Timing& t, size_t written) {
    const double copy = MemcpyMs(written);
    std::printf("%-58s %8.3f ms (best %7.3f)  memcpy of %7zu bytes %6.3f ms = %5.1f%% of memcpy speed\n", what,
                t.median, t.best, written, copy, 100.0 * copy / t.median);
}

void TimeCopies(int32_t desktopBits, const HostPicture& full, const HostPicture& indexed) {
    std::printf("== host image exchange, 640 x 480, %d repetitions (median, best) ==\n", repetitions);
    const int32_t flags[3] = {0x100, 0x040, 0};
    const char* names[3] = {"8-8-8-8", "1-5-5-5", "desktop format"};
    for (int i = 0; i < 3; ++i) {
        if (plugin->Call("ZorvCreateOffscreenSurface", 1, W, H, flags[i]) != 0) {
            std::printf("%s surface: not made\n", names[i]);
            continue;
        }
        plugin->Call("ZorvSelectSurface", 1);
        plugin->Call("ZorvSetPosition", 0, 0);
        const SurfaceInfo s = Surface(1);
        const size_t written = static_cast<size_t>(W) * H * (s.bits / 8);
        char what[128];
        for (const HostPicture* picture : {&full, &indexed}) {
            const bool pal = picture == &indexed;
            if (ChooseHostConversionForReport(pal, s.bits) == nullptr) continue;
            std::snprintf(what, sizeof what, "ZorvHSPToSurface %s buffer -> %u-bit %s (%s)", pal ? "8-bit" : "24-bit",
                          s.bits, names[i], ChooseHostConversionForReport(pal, s.bits));
            int32_t status = 0;
            Row(what, Time([&] { status |= plugin->Call("ZorvHSPToSurface", picture->Arg(), W, H, 0); }), written);
            if (status != 0) std::printf("  (status %d)\n", status);
            std::snprintf(what, sizeof what, "  the same, 1 x 1 block (lock, set-up, unlock)");
            const Timing one = Time([&] { plugin->Call("ZorvHSPToSurface", picture->Arg(), 1, 1, 0); });
            std::printf("%-58s %8.3f ms (best %7.3f)\n", what, one.median, one.best);
        }
        if (desktopBits != 8) {
            std::snprintf(what, sizeof what, "ZorvSurfaceToHSP %u-bit %s -> 24-bit buffer (GDI)", s.bits, names[i]);
            Row(what, Time([&] { plugin->Call("ZorvSurfaceToHSP", screen->Arg(), W, H, 0); }), static_cast<size_t>(W) * H * 3);
        }
        plugin->Call("ZorvSelectSurface", 0);
        plugin->Call("ZorvReleaseOffscreenSurface", 1);
    }
}

// The packing loop alone, built with the plugin's flags, into plain memory of the same size.
void TimePackingLoop(const HostPicture& full, const HostPicture& indexed) {
    std::printf("== the packing loop alone (32-bit, the plugin's -O2), 640 x 480 into plain memory ==\n");
    const zorv::PixelPacking packings[2] = {zorv::AnalysePacking(0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000),
                                            zorv::AnalysePacking(0x7C00, 0x03E0, 0x001F, 0x8000)};
    const uint32_t bits[2] = {32, 16};
    for (int p = 0; p < 2; ++p) {
        // Page-aligned like surface memory (a heap block at another offset against the source made
        // the loop half as slow again here).
        uint8_t* target = static_cast<uint8_t*>(VirtualAlloc(nullptr, W * H * 4, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        for (const HostPicture* picture : {&full, &indexed}) {
            zorv::HostBlock block;
            zorv::FitHostBlock(W, H, 0, 0, W, H, &block);
            block.bits = picture->bits.data();
            block.colourTable = picture->table.data();
            block.palettised = picture == &indexed;
            const zorv::BlockTarget out = {target, static_cast<int32_t>(W * bits[p] / 8), bits[p]};
            char what[128];
            std::snprintf(what, sizeof what, "CopyHostBlock %s buffer -> %u-bit", block.palettised ? "8-bit" : "24-bit", bits[p]);
            Row(what, Time([&] { zorv::CopyHostBlock(block, zorv::HOST_PACK, packings[p], nullptr, out); }),
                static_cast<size_t>(W) * H * bits[p] / 8);
        }
        VirtualFree(target, 0, MEM_RELEASE);
    }
}

// One palette fade step: updates with a fade of 2^31 - 2 steps running, and updates with one
// ZorvSetPalette pending (windowed, that hands the table to the host window's palette and
// writes no DirectDraw entry), against updates with nothing to do; in alternating blocks, so
// that drift in the machine's load hits all three alike.
void TimeFadeStep() {
    std::printf("== palette work on the 8-bit screen (ZorvUpdateScreen, pacing off) ==\n");
    host::Variable target = host::Variable::Int(768);
    for (int i = 0; i < 768; ++i) target.Ints()[i] = (i * 37) & 0xFF;
    const std::vector<uint32_t> table = PluginPalette();
    const int blocks = 6, per = std::max(10, repetitions * 2);
    std::vector<double> us[3];
    const char* names[3] = {"update with nothing pending", "update with one ZorvSetPalette", "update with a fade running"};
    for (int b = 0; b < blocks; ++b) {
        for (int kind = 0; kind < 3; ++kind) {
            if (kind == 2) plugin->Call("ZorvFadePalette", target.Arg(), 0x7FFFFFFE);
            for (int i = 0; i < per; ++i) {
                host::PumpMessages();
                if (kind == 1) plugin->Call("ZorvSetPalette", 100, table[100] >> 16, table[100] >> 8 & 0xFF, table[100] & 0xFF);
                const double start = Seconds();
                plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1);
                us[kind].push_back((Seconds() - start) * 1e6);
            }
            if (kind == 2) {
                plugin->Call("ZorvFadePalette", 0, 0);
                plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1);  // the table back, outside the count
            }
        }
    }
    double median[3];
    for (int kind = 0; kind < 3; ++kind) {
        std::sort(us[kind].begin(), us[kind].end());
        median[kind] = us[kind][us[kind].size() / 2];
        std::printf("%-32s median %8.1f us (best %8.1f), %zu updates\n", names[kind], median[kind], us[kind].front(), us[kind].size());
    }
    std::printf("one fade step (difference of the medians): %.1f us, of which the host window's palette about %.1f us\n",
                median[2] - median[0], median[1] - median[0]);
    // The step's arithmetic alone: 768 mixes (the plugin's code, 32-bit).
    uint8_t from[768], to[768], out[768];
    for (int i = 0; i < 768; ++i) from[i] = static_cast<uint8_t>(i * 7), to[i] = static_cast<uint8_t>(i * 37);
    int32_t step = 0;
    const Timing mix = Time([&] {
        step = step % 30 + 1;
        for (int i = 0; i < 768; ++i) out[i] = zorv::FadeMix(from[i], to[i], 30, step);
        from[step] = out[step * 7];
    }, 200);
    std::printf("the mix of 256 entries alone (FadeMix x 768): median %.1f us (best %.1f)\n", mix.median * 1000, mix.best * 1000);
}

// ---- 3. Pictures -------------------------------------------------------------------------

// The small pictures copied into a surface of each format, decoded with the surface's masks,
// side by side: columns 8-8-8-8, 1-5-5-5, 4-4-4-4, desktop; rows from the 24-bit and from the
// 8-bit buffer. Surfaces are cleared to dark grey first: a pairing that copies nothing shows it.
void FormatScene(int32_t desktopBits) {
    const HostPicture full(TILE_W, TILE_H, false), indexed(TILE_W, TILE_H, true);
    constexpr int GAP = 8, SW = 4 * TILE_W + 5 * GAP, SH = 2 * TILE_H + 3 * GAP;
    std::vector<uint32_t> scene(static_cast<size_t>(SW) * SH, 0x00C0C0C0u);
    host::Variable code = host::Variable::Int(1);
    plugin->Call("ZorvSelectSurface", 0);
    plugin->Call("ZorvClearSurface", plugin->Call("ZorvGetColorCode", code.Arg(), 192, 192, 192) == 0 ? code.Ints()[0] : 0, 1);
    for (int f = 0; f < 4; ++f) {
        for (int row = 0; row < 2; ++row) {
            const int32_t status = plugin->Call("ZorvCreateOffscreenSurface", 1, TILE_W, TILE_H, FORMAT_FLAGS[f]);
            if (status != 0) {
                std::printf("  %s surface: %d\n", FORMAT_NAMES[f], status);
                continue;
            }
            plugin->Call("ZorvSelectSurface", 1);
            plugin->Call("ZorvSetPosition", 0, 0);
            const SurfaceInfo s = Surface(1);
            uint32_t grey = Under(s.red, 64) | Under(s.green, 64) | Under(s.blue, 64);
            if (f == 3) grey = plugin->Call("ZorvGetColorCode", code.Arg(), 64, 64, 64) == 0 ? code.Ints()[0] : 0;
            plugin->Call("ZorvClearSurface", static_cast<int32_t>(grey), 1);
            const int32_t copied = plugin->Call("ZorvHSPToSurface", (row ? indexed : full).Arg(), TILE_W, TILE_H, 0);
            const std::vector<uint32_t> tile = Decode(s, TILE_W, TILE_H);
            for (int y = 0; y < TILE_H; ++y) {
                std::memcpy(&scene[static_cast<size_t>(GAP + row * (TILE_H + GAP) + y) * SW + GAP + f * (TILE_W + GAP)],
                            &tile[static_cast<size_t>(y) * TILE_W], TILE_W * 4);
            }
            // The tile onto the back buffer at the same place, for the presented picture
            // (DirectDraw converts between the formats, or refuses).
            plugin->Call("ZorvSelectSurface", 0);
            plugin->Call("ZorvSetPosition", GAP + f * (TILE_W + GAP), GAP + row * (TILE_H + GAP));
            const int32_t shown = plugin->Call("ZorvSurfaceToSurface", 1, TILE_W, TILE_H);
            std::printf("  %s buffer -> %2u-bit %s surface: %d, onto the back buffer: %d\n", row ? "8-bit " : "24-bit", s.bits,
                        FORMAT_NAMES[f], copied, shown);
            plugin->Call("ZorvReleaseOffscreenSurface", 1);
        }
    }
    Save("colour_formats_d" + std::to_string(desktopBits) + ".png", scene, SW, SH);
    Save("colour_presented_d" + std::to_string(desktopBits) + ".png", Presented(), W, H);
}

// Arcs and pies drawn through the back buffer's lent DC with the host's pen and brush.
void ArcScene() {
    plugin->Call("ZorvSelectSurface", 0);
    plugin->Call("ZorvSetPosition", 0, 0);
    host::Variable code = host::Variable::Int(1);
    plugin->Call("ZorvClearSurface", plugin->Call("ZorvGetColorCode", code.Arg(), 32, 40, 48) == 0 ? code.Ints()[0] : 0, 1);
    const COLORREF colours[4] = {RGB(255, 255, 255), RGB(255, 96, 32), RGB(64, 200, 255), RGB(160, 255, 96)};
    HBRUSH brushes[4];
    for (int i = 0; i < 4; ++i) brushes[i] = CreateSolidBrush(RGB(40 + 50 * i, 60, 160 - 30 * i));
    const int32_t oldBrush = screen->Field(144), oldColour = screen->Field(160);
    if (plugin->Call("ZorvBeginDraw") != 0) {
        std::printf("  ZorvBeginDraw failed\n");
        return;
    }
    // Row 1: arcs from angle 0 (up) clockwise to 128, 256, 512, 768 and a full circle (start = end).
    // Row 2: pies with the same angles, filled with the brush. Row 3: pies turning around one centre.
    const int32_t ends[5] = {128, 256, 512, 768, 0};
    for (int kind = 0; kind < 2; ++kind) {
        for (int i = 0; i < 5; ++i) {
            screen->SetField(160, static_cast<int32_t>(colours[i % 4]));
            screen->SetField(144, Address(brushes[i % 4]));
            plugin->Call("ZorvSetPen", screen->Arg(), PS_SOLID, 1 + i, R2_COPYPEN);
            screen->SetField(108, 70 + i * 125), screen->SetField(112, 80 + kind * 140);
            plugin->Call("ZorvDrawCircle", 50, 0, ends[i], kind);
        }
    }
    for (int i = 0; i < 8; ++i) {
        screen->SetField(160, static_cast<int32_t>(colours[i % 4]));
        screen->SetField(144, Address(brushes[i % 4]));
        plugin->Call("ZorvSetPen", screen->Arg(), i % 2 ? PS_DOT : PS_SOLID, 1, R2_COPYPEN);
        screen->SetField(108, 320), screen->SetField(112, 390);
        plugin->Call("ZorvDrawCircle", 30 + 8 * i, i * 128 + 16, i * 128 + 112, i % 2 == 0);
    }
    plugin->Call("ZorvEndDraw");
    screen->SetField(144, oldBrush), screen->SetField(160, oldColour);
    screen->SetField(108, 0), screen->SetField(112, 0);
    Save("colour_arcs_d" + std::to_string(DesktopBits()) + ".png", Presented(), W, H);
    plugin->Call("ZorvSetPen", screen->Arg(), PS_SOLID, 1, R2_COPYPEN);  // no brush of ours stays selected
    for (HBRUSH b : brushes) DeleteObject(b);
}

// The palette DirectDraw shows on the primary surface (found through the DirectDraw object of
// the ZorvCombine block, at 28) as 0x00RRGGBB; empty when there is none.
std::vector<uint32_t> DirectDrawPalette() {
    host::Variable v = host::Variable::Int(1);
    plugin->Call("ZorvCombine", v.Arg());
    IDirectDraw7* directDraw = nullptr;
    std::memcpy(&directDraw, reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(v.Ints()[0]))) + 28, 4);
    IDirectDrawSurface7* primary = nullptr;
    IDirectDrawPalette* palette = nullptr;
    std::vector<uint32_t> out;
    if (directDraw != nullptr && SUCCEEDED(directDraw->GetGDISurface(&primary))) {
        PALETTEENTRY entries[256];
        if (SUCCEEDED(primary->GetPalette(&palette)) && SUCCEEDED(palette->GetEntries(0, 0, 256, entries))) {
            for (const PALETTEENTRY& e : entries) out.push_back(static_cast<uint32_t>(e.peRed << 16 | e.peGreen << 8 | e.peBlue));
        }
        if (palette != nullptr) palette->Release();
        primary->Release();
    }
    return out;
}

// The 8-bit back buffer decoded through the palette DirectDraw shows.
std::vector<uint32_t> BackBufferThroughPalette() {
    const SurfaceInfo s = Surface(0);
    std::vector<uint32_t> out(static_cast<size_t>(W) * H, 0);
    const std::vector<uint32_t> palette = DirectDrawPalette();
    DDSURFACEDESC2 desc = {};
    desc.dwSize = sizeof desc;
    if (palette.size() != 256 || FAILED(s.surface->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_READONLY, nullptr))) return out;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) out[static_cast<size_t>(y) * W + x] = palette[static_cast<const uint8_t*>(desc.lpSurface)[y * desc.lPitch + x]];
    s.surface->Unlock(nullptr);
    return out;
}

// The 256 palette codes as 16 x 16 cells filled on the back buffer, presented and read back
// from the window (left), beside the colours the plugin's table gives for the same codes
// (right); entries whose two halves differ are printed.
void PaletteChart() {
    plugin->Call("ZorvSelectSurface", 0);
    plugin->Call("ZorvClearSurface", 0, 1);
    for (int i = 0; i < 256; ++i) {
        plugin->Call("ZorvSetPosition", 16 + i % 16 * 18, 16 + i / 16 * 18);
        plugin->Call("ZorvBoxFill", 16, 16, i);
    }
    plugin->Call("ZorvSetPosition", 0, 0);
    std::vector<uint32_t> chart = Presented();
    const std::vector<uint32_t> table = PluginPalette(), shownByDirectDraw = DirectDrawPalette();
    int differ = 0, tableDiffers = 0;
    for (int i = 0; i < 256; ++i) {
        const int x0 = 16 + i % 16 * 18, y0 = 16 + i / 16 * 18;
        const uint32_t shown = chart[static_cast<size_t>(y0 + 8) * W + x0 + 8];
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x) chart[static_cast<size_t>(y0 + y) * W + x0 + x + 320] = table[i];
        const uint32_t direct = shownByDirectDraw.size() == 256 ? shownByDirectDraw[i] : 0xFFFFFFFFu;
        differ += shown != table[i];
        tableDiffers += direct != table[i];
        if ((shown != table[i] || direct != table[i]) && i % 16 == 0)
            std::printf("  code %3d: window %06X, DirectDraw palette %06X, plugin table %06X\n", i, shown, direct, table[i]);
    }
    std::printf("  %d of 256 codes show another colour in the window than the plugin table gives; %d differ between\n"
                "  the DirectDraw palette and the table\n", differ, tableDiffers);
    Save("colour_palette_d8.png", chart, W, H);
}

// The big 8-bit picture on the 8-bit back buffer, fading in 8 steps towards a sepia palette:
// the window after steps 1, 4 and 8.
void FadeScene(const HostPicture& indexed) {
    plugin->Call("ZorvSelectSurface", 0);
    plugin->Call("ZorvSetPosition", 0, 0);
    plugin->Call("ZorvHSPToSurface", indexed.Arg(), W, H, 0);
    Save("colour_fade_0_window.png", Presented(), W, H);
    Save("colour_fade_0.png", BackBufferThroughPalette(), W, H);
    const std::vector<uint32_t> table = PluginPalette();
    host::Variable target = host::Variable::Int(768);
    for (int i = 0; i < 256; ++i) {
        const uint32_t c = table[i], l = zorv::Luminance(c >> 16 & 0xFF, c >> 8 & 0xFF, c & 0xFF);
        target.Ints()[3 * i] = static_cast<int32_t>(std::min(255u, l * 5 / 4 + 20));
        target.Ints()[3 * i + 1] = static_cast<int32_t>(l);
        target.Ints()[3 * i + 2] = static_cast<int32_t>(l * 3 / 5);
    }
    plugin->Call("ZorvFadePalette", target.Arg(), 8);
    for (int step = 1; step <= 8; ++step) {
        host::PumpMessages();
        plugin->Call("ZorvUpdateScreen", 0, 0, 0, 1);
        if (step == 1 || step == 4 || step == 8) {
            Sleep(30);
            host::PumpMessages();
            // As the window shows it (Wine maps the palette onto the 8-bit X display's colours)
            // and the back buffer through the palette DirectDraw holds.
            Save("colour_fade_" + std::to_string(step) + "_window.png", host::CaptureScreen(screen->Window(), 0, 0, W, H), W, H);
            Save("colour_fade_" + std::to_string(step) + ".png", BackBufferThroughPalette(), W, H);
        }
    }
    // After the last step DirectDraw should hold the target; list the entries it kept.
    const std::vector<uint32_t> shown = DirectDrawPalette();
    std::string kept;
    for (int i = 0; i < static_cast<int>(shown.size()); ++i) {
        const uint32_t want = static_cast<uint32_t>(target.Ints()[3 * i] << 16 | target.Ints()[3 * i + 1] << 8 | target.Ints()[3 * i + 2]);
        if (shown[i] != want) kept += " " + std::to_string(i);
    }
    std::printf("  after the last fade step, DirectDraw palette entries other than the target:%s\n", kept.empty() ? " none" : kept.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    const char* file = argc > 1 ? argv[1] : "Zorv.hpi";
    repetitions = argc > 2 ? std::max(3, std::atoi(argv[2])) : 20;
    folder = argc > 3 ? argv[3] : ".";
    host::UseUnmanagedWindows();
    host::Plugin loaded(file);
    if (!loaded.Loaded()) return 1;
    plugin = &loaded;
    host::Screen hostScreen(W, H);
    screen = &hostScreen;
    const int32_t bits = DesktopBits();
    if (plugin->Call("ZorvInitialize", screen->Arg(), 2, 2) != 0 || plugin->Call("ZorvCreateDD", 0) != 0 ||
        plugin->Call("ZorvInitializeSurface", 4) != 0 || plugin->Call("ZorvCreatePrimarySurface", W, H, bits, 0) != 65636) {
        std::fprintf(stderr, "colour_bench: no screen\n");
        return 1;
    }
    host::Variable hide = host::Variable::Int(9);
    plugin->Call("ZorvShowFrameRate", hide.Arg(), 0, 0, 0);
    plugin->Call("ZorvShowPolygonRate", hide.Arg(), 0, 0, 0);
    std::printf("desktop: %d bits per pixel\n", bits);
    if (bits == 8) {
        const std::vector<uint32_t> table = PluginPalette(), shown = DirectDrawPalette();
        int differ = 0;
        for (size_t i = 0; i < shown.size(); ++i) differ += shown[i] != table[i];
        std::printf("new screen: %d of 256 entries differ between the DirectDraw palette and the plugin table"
                    " (entry 100: %06X and %06X)\n", differ, shown.empty() ? 0u : shown[100], table[100]);
    }

    const HostPicture full(W, H, false), indexed(W, H, true);
    TimeCopies(bits, full, indexed);
    if (bits != 8) TimePackingLoop(full, indexed);
    if (bits == 8) TimeFadeStep();

    std::printf("== pictures ==\n");
    FormatScene(bits);
    if (bits != 8) ArcScene();
    if (bits == 8) PaletteChart();
    if (bits == 8) FadeScene(indexed);

    plugin->Call("ZorvExit");
    return 0;
}
