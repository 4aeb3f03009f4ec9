#!/usr/bin/env bash
# Builds and runs the benchmarks: the native ones (Google Benchmark) and the screen
# benchmark under Wine. Prints numbers; asserts nothing.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash tools/install.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build build/native
echo "== native =="
build/native/bench/zorv_bench
echo "== software quad rasterizer against pixman's nearest-neighbour composite =="
build/native/bench/zorv_raster_bench
echo "== screen under Wine =="
# Render mode 2 (software rasterizer) for the frame loop, the pacing and the chips, then the
# chip figures of render mode 1 (Direct3D).
tools/wine-run.sh --prefix bench -- build/win32/zorv_screen_bench.exe Zorv.hpi 600 2
tools/wine-run.sh --prefix bench -- build/win32/zorv_screen_bench.exe Zorv.hpi 600 1
echo "== characters under Wine =="
# Motion of 10,000 characters, frames of 1,000 to 10,000 Y-sorted sprites in render mode 2, and
# the turned-area hit test against 10,000 candidates.
tools/wine-run.sh --prefix bench -- build/win32/zorv_character_bench.exe Zorv.hpi 2
echo "== colours: host image copies, palette fades, pictures into build/win32 (24- and 8-bit desktops) =="
build/native/bench/zorv_colour_native_bench
for d in 24 8; do
  (cd build/win32 && ../../tools/wine-run.sh --depth $d --prefix bench -- ./zorv_colour_bench.exe Zorv.hpi 20 .)
done
