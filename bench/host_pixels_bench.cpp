// The host image copy's packing loop and the palette fade mix, natively (Google Benchmark): the
// same pure code the plugin runs in ZorvHSPToSurface and in each fade step, without DirectDraw.
// Bytes per second count the bytes written; memcpy of as many bytes is measured beside it.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "colour/colour_math.h"
#include "colour/host_pixels.h"

namespace {

constexpr int W = 640, H = 480;

struct Buffers {
    std::vector<uint8_t> bits, table = std::vector<uint8_t>(1024), target;
    Buffers(bool palettised, uint32_t bitCount)
        : bits(static_cast<size_t>(W) * H * (palettised ? 1 : 3)), target(static_cast<size_t>(W) * H * bitCount / 8) {
        for (size_t i = 0; i < bits.size(); ++i) bits[i] = static_cast<uint8_t>(i * 2654435761u >> 24);
        for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<uint8_t>(i * 40503u >> 8);
    }
};

// range(0): 0 = 24-bit buffer, 1 = 8-bit buffer; range(1): surface bits, 32 (8-8-8-8) or 16 (1-5-5-5).
void BM_PackHostBlock(benchmark::State& state) {
    const bool palettised = state.range(0) != 0;
    const uint32_t bitCount = static_cast<uint32_t>(state.range(1));
    Buffers b(palettised, bitCount);
    const zorv::PixelPacking packing = bitCount == 32 ? zorv::AnalysePacking(0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000)
                                                      : zorv::AnalysePacking(0x7C00, 0x03E0, 0x001F, 0x8000);
    zorv::HostBlock block;
    zorv::FitHostBlock(W, H, 0, 0, W, H, &block);
    block.bits = b.bits.data();
    block.colourTable = b.table.data();
    block.palettised = palettised;
    const zorv::BlockTarget out = {b.target.data(), static_cast<int32_t>(W * bitCount / 8), bitCount};
    for (auto _ : state) {
        zorv::CopyHostBlock(block, zorv::HOST_PACK, packing, nullptr, out);
        benchmark::DoNotOptimize(b.target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(b.target.size()));
}
BENCHMARK(BM_PackHostBlock)->Args({0, 32})->Args({0, 16})->Args({1, 32})->Args({1, 16})->Unit(benchmark::kMillisecond);

// The 8-bit nearest-index loop once the 256 answers are known: a table look-up per pixel.
void BM_NearestIndexBlock(benchmark::State& state) {
    Buffers b(true, 8);
    uint8_t nearest[256];
    for (int i = 0; i < 256; ++i) nearest[i] = static_cast<uint8_t>(255 - i);
    zorv::HostBlock block;
    zorv::FitHostBlock(W, H, 0, 0, W, H, &block);
    block.bits = b.bits.data();
    block.colourTable = b.table.data();
    block.palettised = true;
    const zorv::BlockTarget out = {b.target.data(), W, 8};
    for (auto _ : state) {
        zorv::CopyHostBlock(block, zorv::HOST_NEAREST, zorv::PixelPacking{}, nearest, out);
        benchmark::DoNotOptimize(b.target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(b.target.size()));
}
BENCHMARK(BM_NearestIndexBlock)->Unit(benchmark::kMillisecond);

// memcpy of as many bytes as a copy into a surface of range(0) bits writes.
void BM_Memcpy(benchmark::State& state) {
    const size_t bytes = static_cast<size_t>(W) * H * static_cast<size_t>(state.range(0)) / 8;
    std::vector<uint8_t> from(bytes, 1), to(bytes, 2);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Memcpy)->Arg(32)->Arg(24)->Arg(16)->Arg(8)->Unit(benchmark::kMillisecond);

// One fade step's arithmetic: 256 entries of three colours mixed, as the screen update does.
void BM_FadeMixPalette(benchmark::State& state) {
    uint8_t from[768], to[768], out[768];
    for (int i = 0; i < 768; ++i) from[i] = static_cast<uint8_t>(i * 7), to[i] = static_cast<uint8_t>(i * 37);
    int32_t step = 1;
    for (auto _ : state) {
        for (int i = 0; i < 768; ++i) out[i] = zorv::FadeMix(from[i], to[i], 30, step);
        step = step % 30 + 1;
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_FadeMixPalette);

}  // namespace
