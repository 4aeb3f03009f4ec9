#!/usr/bin/env bash
# Runs a Windows program under Wine on an Xvfb display of its own.
#   wine-run.sh [--depth 24|16|8] [--prefix NAME] [--keep-display] -- program.exe [args...]
# The Wine prefix lives in build/wine/NAME (made on first use, about 15 s). Wine's own
# dialogs and menu integration are switched off; WINEDEBUG defaults to -all, and Direct3D's
# command-stream thread is off (WINE_D3D_CONFIG).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
depth=24
prefix=main
while [ $# -gt 0 ]; do
  case "$1" in
    --depth) depth=$2; shift 2 ;;
    --prefix) prefix=$2; shift 2 ;;
    --) shift; break ;;
    *) break ;;
  esac
done
[ $# -ge 1 ] || { echo "usage: wine-run.sh [--depth N] [--prefix NAME] -- program.exe [args]" >&2; exit 2; }
program=$1; shift

export WINEPREFIX="$root/build/wine/$prefix"
export WINEARCH=win32
export WINEDEBUG="${WINEDEBUG:--all}"
# Wine's Direct3D without its command-stream thread: on two cores the thread's waiting makes
# every DirectDraw object and device take half as long again; the plugin sees the same results.
export WINE_D3D_CONFIG="${WINE_D3D_CONFIG:-csmt=0x0}"
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe=d${WINEDLLOVERRIDES:+;$WINEDLLOVERRIDES}"
mkdir -p "$(dirname "$WINEPREFIX")"

# A free display number: no lock file, no socket, and our Xvfb still alive after it starts.
# Runs side by side take turns here, so that two never pick the same number.
exec 8>/tmp/zorv-wine-run-display.lock
flock 8
xvfb_pid=""
cleanup() {
  wineserver -k >/dev/null 2>&1 || true
  if [ -n "$xvfb_pid" ]; then kill "$xvfb_pid" 2>/dev/null || true; wait "$xvfb_pid" 2>/dev/null || true; fi
}
trap cleanup EXIT
for n in $(seq 91 250); do
  [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ] && continue
  Xvfb ":$n" -screen 0 "1024x768x$depth" -nolisten tcp -noreset >/dev/null 2>&1 8>&- &
  xvfb_pid=$!
  for _ in $(seq 1 100); do
    [ -e "/tmp/.X11-unix/X$n" ] && break
    kill -0 "$xvfb_pid" 2>/dev/null || break
    sleep 0.05
  done
  if kill -0 "$xvfb_pid" 2>/dev/null && [ -e "/tmp/.X11-unix/X$n" ]; then
    export DISPLAY=":$n"
    break
  fi
  wait "$xvfb_pid" 2>/dev/null || true
  xvfb_pid=""
done
[ -n "$xvfb_pid" ] || { echo "wine-run: no free X display" >&2; exit 3; }
flock -u 8
exec 8>&-

# Make the prefix once, under a lock, so that parallel first runs do not race.
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  (
    flock 9
    [ -f "$WINEPREFIX/system.reg" ] || { wineboot -i >/dev/null 2>&1 || true; wineserver -w || true; }
  ) 9>"$WINEPREFIX.lock"
fi

# Run from the program's folder, so it finds the plugin and the files beside it.
cd "$(dirname "$program")"
set +e
wine "$(basename "$program")" "$@"
status=$?
set -e
exit $status
