// One frame of 1,000 and of 10,000 characters with a mix of motions, natively (the plugin itself is measured
// under Wine by bench/wine/character_bench.cpp, which sets up the same mix through the exports).
#include <benchmark/benchmark.h>

#include <vector>

#include "character/character.h"
#include "character/hit_test.h"
#include "misc/trig.h"

namespace {

using namespace zorv;

constexpr int32_t CHARACTERS = 10000;

// By tenths: 4 velocity with acceleration, 2 turning, 2 homing on a velocity character, 1 tied
// to a velocity character with its own velocity, 1 turning while tied to a turning one; every
// second one animated by a two-step pattern; all checked against limits they never reach.
void BM_MoveCharacters(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    BuildTrigTables();
    std::vector<std::vector<int32_t>> columns(CHARACTER_COLUMNS, std::vector<int32_t>(count));
    characterCapacity = static_cast<uint16_t>(count);
    for (int32_t c = 0; c < CHARACTER_COLUMNS; ++c) columnTable[c] = columns[c].data();
    AllocateCharacterTables();
    AllocateAnimationPatterns(1);
    const int32_t steps[4] = {0, 5, 1, 7};
    FillAnimationPattern(0, steps, 2);
    for (int32_t n = 0; n < count; ++n) {
        Col(COL_ATTRIBUTE, n) = 1;
        Col(COL_POS_X, n) = 32 + n * 37 % 576;
        Col(COL_POS_Y, n) = 32 + n * 23 % 416;
        Col(COL_LIMIT_LEFT, n) = Col(COL_LIMIT_TOP, n) = -1000000;
        Col(COL_LIMIT_RIGHT, n) = Col(COL_LIMIT_BOTTOM, n) = 1000000;
        const int32_t kind = n % 10;
        int32_t move = MOVE_LIMIT;
        if (kind < 4) {
            move |= MOVE_VELOCITY;
            Col(COL_VELOCITY_X, n) = 300 - n % 600;
            Col(COL_VELOCITY_Y, n) = 200 - n % 400;
            Col(COL_ACCEL_X, n) = n % 3 - 1;
        } else if (kind < 6) {
            move |= MOVE_TURN;
            Col(COL_SPEED, n) = 384;
            Col(COL_ANGLE, n) = n % 1024;
            Col(COL_TURN_SPEED, n) = 512 + n % 256;
        } else if (kind < 8) {
            move |= MOVE_VELOCITY | MOVE_HOMING;
            Col(COL_HOMING_TARGET, n) = n / 10 * 10;
            Col(COL_HOMING_ACCEL, n) = 1;
        }
        Col(COL_MOVE_FLAGS, n) = move;
        if (n % 2 == 0) {
            Col(COL_DRAW_FLAGS, n) = DRAW_ANIMATE;
            animStep[n] = static_cast<uint8_t>(n / 2 % 2);
            animTimer[n] = static_cast<uint32_t>(n % 5);
        }
    }
    for (int32_t n = 8; n < count; n += 10) {
        Col(COL_VELOCITY_X, n) = 64;
        Col(COL_MOVE_FLAGS, n) |= MOVE_VELOCITY;
        TieCharacter(n, n - 8);
        Col(COL_MOVE_FLAGS, n + 1) |= MOVE_TURN;
        Col(COL_SPEED, n + 1) = 256;
        Col(COL_TURN_SPEED, n + 1) = 700;
        TieCharacter(n + 1, n - 7);
    }
    for (auto _ : state) benchmark::DoNotOptimize(MoveCharacters(0, count, 1, 2));
    state.SetItemsProcessed(state.iterations() * count);
    ReleaseAnimationPatterns();
    ReleaseCharacterTables();
    for (int32_t*& column : columnTable) column = nullptr;
}
BENCHMARK(BM_MoveCharacters)->Arg(1000)->Arg(10000);

// The Y order of 10,000 characters at random heights over a screen, as each Y-sorted frame
// builds it.
void BM_YOrder(benchmark::State& state) {
    std::vector<int32_t> y(CHARACTERS);
    uint32_t seed = 1;
    for (int32_t& v : y) v = static_cast<int32_t>((seed = seed * 1103515245u + 12345u) >> 16) % 480;
    std::vector<uint16_t> order(CHARACTERS);
    characterCapacity = CHARACTERS;
    AllocateCharacterTables();  // the sort's scratch
    columnTable[COL_POS_Y] = y.data();
    for (auto _ : state) {
        for (int32_t k = 0; k < CHARACTERS; ++k) order[k] = static_cast<uint16_t>(k);
        SortByY(order.data(), 0, CHARACTERS - 1);
        benchmark::DoNotOptimize(order.data());
    }
    state.SetItemsProcessed(state.iterations() * CHARACTERS);
    ReleaseCharacterTables();
    columnTable[COL_POS_Y] = nullptr;
}
BENCHMARK(BM_YOrder);

// The turned-area hit test of character 0 against 9,999 candidates that never touch it (no hit:
// every candidate is tested), all 32 x 32 areas turned by 45 degrees. Argument 0: the
// candidates stand all around it within reach, so the exact tests of mode 7 run for each;
// argument 1: they are spread over a 640 x 480 screen and it stands off the screen.
void BM_HitTest2(benchmark::State& state) {
    BuildTrigTables();
    std::vector<std::vector<int32_t>> columns(CHARACTER_COLUMNS, std::vector<int32_t>(CHARACTERS));
    characterCapacity = CHARACTERS;
    for (int32_t c = 0; c < CHARACTER_COLUMNS; ++c) columnTable[c] = columns[c].data();
    AllocateCharacterTables();
    ChipRecord chip{};
    chip.hitRight = chip.hitBottom = chip.width = chip.height = 32;
    chip.offsetX = chip.offsetY = 16;
    const int32_t places[4][2] = {{48, 0}, {0, -48}, {26, 26}, {-26, 26}};
    const bool spread = state.range(0) == 1;
    for (int32_t n = 0; n < CHARACTERS; ++n) {
        Col(COL_ATTRIBUTE, n) = 1;
        Col(COL_DRAW_FLAGS, n) = DRAW_VISIBLE | DRAW_ROTATE;
        Col(COL_ANGLE, n) = spread ? n * 41 % 1024 : 128;
        Col(COL_POS_X, n) = spread ? n * 37 % 640 : 320 + (n == 0 ? 0 : places[n % 4][0]);
        Col(COL_POS_Y, n) = spread ? n * 23 % 480 : 240 + (n == 0 ? 0 : places[n % 4][1]);
    }
    if (spread) Col(COL_POS_X, 0) = -100;
    int32_t hit = 0;
    for (auto _ : state) benchmark::DoNotOptimize(FirstHit(0, 1, 1, CHARACTERS, true, 7, &chip, 1, hit));
    if (hit != 0) state.SkipWithError("a candidate hit");
    state.SetItemsProcessed(state.iterations() * (CHARACTERS - 1));
    ReleaseCharacterTables();
    for (int32_t*& column : columnTable) column = nullptr;
}
BENCHMARK(BM_HitTest2)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace
