#!/usr/bin/env bash
# Runs an HSP script on the real HSP runtime under Wine, next to the built plugin.
#   hsp-run.sh [--depth N] SCRIPT.hsp BUILD_DIR WORK_DIR
# BUILD_DIR holds Zorv.hpi, ZorvD.hpi and zorv.as. The script is compiled with hspcmp (a native
# program) and run with hsp3.exe on an Xvfb display of its own (tools/wine-run.sh, prefix hsp).
# It passes when the result.txt the script writes ends with "end" and has no "fail" line.
# Exit 77 (skipped) when the runtime is absent: HSP3_DIR, by default ../shared/hsp3 beside
# the repository.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
depth=24
if [ "${1:-}" = --depth ]; then depth=$2; shift 2; fi
[ $# -eq 3 ] || { echo "usage: hsp-run.sh [--depth N] SCRIPT.hsp BUILD_DIR WORK_DIR" >&2; exit 2; }
script=$(realpath "$1"); build=$(realpath "$2"); work=$3
hsp3=${HSP3_DIR:-$root/../shared/hsp3}
if [ ! -x "$hsp3/bin/hspcmp" ] || [ ! -f "$hsp3/bin/hsp3.exe" ]; then
  echo "no HSP runtime at $hsp3: skipped"; exit 77
fi
rm -rf "$work"; mkdir -p "$work"; work=$(realpath "$work")
cp "$script" "$root/tests/hsp/check.as" "$build/zorv.as" "$build/Zorv.hpi" "$build/ZorvD.hpi" "$hsp3/bin/hsp3.exe" "$work/"
cd "$work"
name=$(basename "$script" .hsp)
"$hsp3/bin/hspcmp" -d --compath="$hsp3/common/" "$name.hsp" > compile.log || { cat compile.log; exit 1; }
# A script that hangs (a dialog, a missing "end") is stopped by the timeout.
timeout 300 "$root/tools/wine-run.sh" --depth "$depth" --prefix hsp -- hsp3.exe "$name.ax" || true
[ -f result.txt ] || { echo "$name: no result.txt"; exit 1; }
cat result.txt
if grep -q '^fail' result.txt || [ "$(tail -n 1 result.txt | tr -d '\r')" != end ]; then exit 1; fi
