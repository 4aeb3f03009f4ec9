#!/usr/bin/env bash
# Builds the plugin and runs the demo under Wine.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash tools/install.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build build/native
tools/wine-run.sh --prefix demo -- build/win32/zorv_demo.exe Zorv.hpi
