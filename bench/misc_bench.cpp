// Throughput of the fixed-point helpers that drawing and motion call per sprite per frame.
#include <benchmark/benchmark.h>

#include "misc/random.h"
#include "misc/trig.h"

namespace {

void BM_ScaledSinCos(benchmark::State& state) {
    zorv::BuildTrigTables();
    int32_t angle = 0;
    int32_t sum = 0;
    for (auto _ : state) {
        sum += zorv::ScaledSin(angle, 1000) + zorv::ScaledCos(angle, 1000);
        angle = (angle + 7) & 1023;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_ScaledSinCos);

void BM_AngleOfVector(benchmark::State& state) {
    zorv::BuildTrigTables();
    uint32_t seed = 12345;
    int32_t sum = 0;
    for (auto _ : state) {
        int32_t x = static_cast<int32_t>(zorv::NextRandom(seed)) - 32768;
        int32_t y = static_cast<int32_t>(zorv::NextRandom(seed)) - 32768;
        sum += zorv::AngleOfVector(x, y);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AngleOfVector);

void BM_BuildTrigTables(benchmark::State& state) {
    for (auto _ : state) zorv::BuildTrigTables();
}
BENCHMARK(BM_BuildTrigTables);

}  // namespace
