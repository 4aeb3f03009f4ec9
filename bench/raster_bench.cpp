// Throughput of the software quad rasterizer against pixman's nearest-neighbour transformed
// composite on the same quads: 32 x 32, 64 x 64 and 256 x 256 chips turned by 0, 30, 45 and
// 90 degrees onto a 640 x 480 target, 16 and 32 bits, keyed and plain, inside the draw area and
// cut by it. Both sides are counted in the same target pixels, those of the quad that lie in
// the draw area, so their megapixels per second compare directly. pixman has no colour key:
// its keyed rows are its plain composite again. It composites the quad's whole bounding box
// (the corners outside the chip are written as transparent black), which turned chips make
// up to twice the quad's area.
// After the run a table lists both rates and their ratio per row.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "chip/quad_raster.h"

namespace {

constexpr int32_t TARGET_WIDTH = 640;
constexpr int32_t TARGET_HEIGHT = 480;
constexpr double CENTRE_X = 320.0;  // the quad's centre, on a pixel corner
constexpr double CENTRE_Y = 240.0;
constexpr double PI = 3.14159265358979323846;
constexpr uint32_t KEY_32 = 0x00FF00FFu;
constexpr uint32_t KEY_16 = 0xF81Fu;

struct Geometry {
    zorv::RasterQuad quad{};
    zorv::RasterClip clip{};
    int32_t boxLeft = 0;  // the part of the quad's bounding box inside the draw area, inclusive
    int32_t boxTop = 0;
    int32_t boxRight = 0;
    int32_t boxBottom = 0;
    pixman_transform_t transform{};
    int64_t pixels = 0;   // quad pixels inside the draw area
};

// A chip: a disc of gradient colours, the key colour around it (about a fifth of the pixels).
std::vector<uint8_t> MakeChip(int32_t side, int32_t bytes) {
    std::vector<uint8_t> data(static_cast<size_t>(side * side * bytes), 0);
    const double r = side / 2.0;
    for (int32_t y = 0; y < side; ++y) {
        for (int32_t x = 0; x < side; ++x) {
            const double dx = x + 0.5 - r;
            const double dy = y + 0.5 - r;
            const bool inside = dx * dx + dy * dy <= r * r;
            uint32_t v = 0;
            if (bytes == 4) {
                v = inside ? 0xFF000000u | static_cast<uint32_t>((x * 255 / side) << 16) |
                                 static_cast<uint32_t>((y * 255 / side) << 8) | 0x40u
                           : KEY_32;
            } else {
                v = inside ? static_cast<uint32_t>(((x * 31 / side) << 11) | ((y * 63 / side) << 5) | 8) : KEY_16;
            }
            for (int32_t k = 0; k < bytes; ++k) data[static_cast<size_t>((y * side + x) * bytes + k)] = static_cast<uint8_t>(v >> (8 * k));
        }
    }
    return data;
}

// The target buffers, one per pixel size, shared by every benchmark.
std::vector<uint32_t>& TargetBuffer(int32_t bytes) {
    static std::vector<uint32_t> target32(static_cast<size_t>(TARGET_WIDTH * TARGET_HEIGHT), 0);
    static std::vector<uint32_t> target16(static_cast<size_t>(TARGET_WIDTH * TARGET_HEIGHT / 2), 0);
    return bytes == 4 ? target32 : target16;
}

// Corners of a side x side chip turned by degrees about the centre, rounded; the matching
// pixman transform maps each target pixel centre back to the chip.
Geometry MakeGeometry(int32_t side, double degrees, bool clipped, int32_t bytes) {
    Geometry g;
    const double c = std::cos(degrees * PI / 180.0);
    const double s = std::sin(degrees * PI / 180.0);
    const double half = (side - 1) / 2.0;
    const double ux[4] = {-half, half, half, -half};
    const double uy[4] = {-half, -half, half, half};
    for (int k = 0; k < 4; ++k) {
        // Pixel index of the corner sample's centre: continuous centre - 0.5 + turned offset.
        g.quad.x[k] = static_cast<int32_t>(std::lround(CENTRE_X - 0.5 + c * ux[k] - s * uy[k]));
        g.quad.y[k] = static_cast<int32_t>(std::lround(CENTRE_Y - 0.5 + s * ux[k] + c * uy[k]));
    }
    // Cut: the draw area's left and top edges pass a quarter of the chip inside its centre.
    g.clip = clipped ? zorv::RasterClip{320 - side / 4, 240 - side / 4, TARGET_WIDTH - 1, TARGET_HEIGHT - 1}
                     : zorv::RasterClip{0, 0, TARGET_WIDTH - 1, TARGET_HEIGHT - 1};
    g.boxLeft = std::max(std::min({g.quad.x[0], g.quad.x[1], g.quad.x[2], g.quad.x[3]}), g.clip.left);
    g.boxTop = std::max(std::min({g.quad.y[0], g.quad.y[1], g.quad.y[2], g.quad.y[3]}), g.clip.top);
    g.boxRight = std::min(std::max({g.quad.x[0], g.quad.x[1], g.quad.x[2], g.quad.x[3]}), g.clip.right);
    g.boxBottom = std::min(std::max({g.quad.y[0], g.quad.y[1], g.quad.y[2], g.quad.y[3]}), g.clip.bottom);

    // Target to source: src = R(-angle) (dst - centre) + side / 2.
    const double tx = side / 2.0 - c * CENTRE_X - s * CENTRE_Y;
    const double ty = side / 2.0 + s * CENTRE_X - c * CENTRE_Y;
    pixman_transform_init_identity(&g.transform);
    g.transform.matrix[0][0] = pixman_double_to_fixed(c);
    g.transform.matrix[0][1] = pixman_double_to_fixed(s);
    g.transform.matrix[0][2] = pixman_double_to_fixed(tx);
    g.transform.matrix[1][0] = pixman_double_to_fixed(-s);
    g.transform.matrix[1][1] = pixman_double_to_fixed(c);
    g.transform.matrix[1][2] = pixman_double_to_fixed(ty);

    // Count the quad's pixels: draw a chip without zero pixels onto a cleared target.
    std::vector<uint8_t> target(static_cast<size_t>(TARGET_WIDTH * TARGET_HEIGHT * bytes), 0);
    std::vector<uint8_t> chip(static_cast<size_t>(side * side * bytes), 0x5A);
    zorv::RasterizeQuad(zorv::RasterSurface{target.data(), TARGET_WIDTH * bytes, bytes * 8, 0, 0, TARGET_WIDTH,
                                            TARGET_HEIGHT},
                        g.clip, g.quad, zorv::RasterSource{chip.data(), side * bytes, bytes * 8, false, 0},
                        zorv::RasterRect{0, 0, side, side});
    for (size_t i = 0; i < target.size(); i += static_cast<size_t>(bytes)) g.pixels += target[i] != 0 ? 1 : 0;
    return g;
}

void BM_Zorv(benchmark::State& state, int32_t side, double degrees, int32_t bytes, bool keyed, bool clipped) {
    const Geometry g = MakeGeometry(side, degrees, clipped, bytes);
    const std::vector<uint8_t> chip = MakeChip(side, bytes);
    std::vector<uint32_t>& buffer = TargetBuffer(bytes);
    const zorv::RasterSurface target{reinterpret_cast<uint8_t*>(buffer.data()), TARGET_WIDTH * bytes, bytes * 8, 0, 0,
                                     TARGET_WIDTH, TARGET_HEIGHT};
    const zorv::RasterSource source{chip.data(), side * bytes, bytes * 8, keyed, bytes == 4 ? KEY_32 : KEY_16};
    const zorv::RasterRect rect{0, 0, side, side};
    for (auto _ : state) {
        zorv::RasterizeQuad(target, g.clip, g.quad, source, rect);
        benchmark::ClobberMemory();
    }
    state.counters["pix/s"] = benchmark::Counter(static_cast<double>(g.pixels), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_Pixman(benchmark::State& state, int32_t side, double degrees, int32_t bytes, bool clipped) {
    const Geometry g = MakeGeometry(side, degrees, clipped, bytes);
    std::vector<uint8_t> chip = MakeChip(side, bytes);
    std::vector<uint32_t>& buffer = TargetBuffer(bytes);
    const pixman_format_code_t format = bytes == 4 ? PIXMAN_x8r8g8b8 : PIXMAN_r5g6b5;
    pixman_image_t* dst = pixman_image_create_bits(format, TARGET_WIDTH, TARGET_HEIGHT, buffer.data(), TARGET_WIDTH * bytes);
    pixman_image_t* src = pixman_image_create_bits(format, side, side, reinterpret_cast<uint32_t*>(chip.data()), side * bytes);
    pixman_image_set_transform(src, &g.transform);
    pixman_image_set_filter(src, PIXMAN_FILTER_NEAREST, nullptr, 0);
    const int32_t w = g.boxRight - g.boxLeft + 1;
    const int32_t h = g.boxBottom - g.boxTop + 1;
    for (auto _ : state) {
        pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, g.boxLeft, g.boxTop, 0, 0, g.boxLeft, g.boxTop, w, h);
        benchmark::ClobberMemory();
    }
    pixman_image_unref(src);
    pixman_image_unref(dst);
    state.counters["pix/s"] = benchmark::Counter(static_cast<double>(g.pixels), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["box/quad"] = static_cast<double>(w) * h / static_cast<double>(g.pixels);
}

// Keeps each run's rate by name for the closing table.
class TableReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> rates;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            auto it = run.counters.find("pix/s");
            if (it != run.counters.end()) rates[run.benchmark_name()] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

std::string Name(const char* who, int32_t side, int32_t degrees, int32_t bytes, const char* key, bool clipped) {
    char text[96] = {};
    std::snprintf(text, sizeof text, "%s/%dbpp/%d/%ddeg%s/%s", who, bytes * 8, side, degrees, key,
                  clipped ? "clipped" : "unclipped");
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    const int32_t sides[] = {32, 64, 256};
    const int32_t angles[] = {0, 30, 45, 90};
    for (int32_t bytes : {2, 4}) {
        for (int32_t side : sides) {
            for (int32_t degrees : angles) {
                for (bool clipped : {false, true}) {
                    for (bool keyed : {false, true}) {
                        benchmark::RegisterBenchmark(Name("zorv", side, degrees, bytes, keyed ? "/keyed" : "/plain", clipped).c_str(),
                                                     BM_Zorv, side, static_cast<double>(degrees), bytes, keyed, clipped);
                    }
                    benchmark::RegisterBenchmark(Name("pixman", side, degrees, bytes, "", clipped).c_str(), BM_Pixman, side,
                                                 static_cast<double>(degrees), bytes, clipped);
                }
            }
        }
    }
    benchmark::Initialize(&argc, argv);
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\nMegapixels per second\n%-34s %10s %10s %7s\n", "row", "zorv", "pixman", "ratio");
    for (int32_t bytes : {2, 4}) {
        for (int32_t side : sides) {
            for (int32_t degrees : angles) {
                for (bool clipped : {false, true}) {
                    const auto p = reporter.rates.find(Name("pixman", side, degrees, bytes, "", clipped));
                    for (const char* key : {"/plain", "/keyed"}) {
                        const std::string name = Name("zorv", side, degrees, bytes, key, clipped);
                        const auto z = reporter.rates.find(name);
                        if (z == reporter.rates.end() || p == reporter.rates.end()) continue;
                        std::printf("%-34s %10.0f %10.0f %7.2f\n", name.c_str() + 5, z->second / 1e6, p->second / 1e6,
                                    z->second / p->second);
                    }
                }
            }
        }
    }
    benchmark::Shutdown();
    return 0;
}
