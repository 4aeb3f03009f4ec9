#!/usr/bin/env bash
# Builds everything and runs every test: native unit tests, and the Windows test programs
# under Wine on Xvfb (CTest). Installs the toolchain first when something is missing.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash tools/install.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build build/native
cd build/native
ctest --output-on-failure -j2 "$@"
