#!/usr/bin/env bash
# Brings this Debian machine to everything Zorv needs: the MinGW-w64 i686 cross compiler,
# 32-bit Wine, Xvfb, the 32-bit Mesa OpenGL stack (Wine's Direct3D needs it), the native
# test tools and stb for PNG screenshots. Safe to run again; quick when all is there.
set -euo pipefail

need_pkgs=(
  gcc-mingw-w64-i686 g++-mingw-w64-i686
  wine wine32 wine64
  xvfb xauth x11-utils
  libgl1:i386 libglx-mesa0:i386 libgl1-mesa-dri:i386
  cmake ninja-build g++ make
  googletest libgtest-dev libbenchmark-dev
  libstb-dev libpixman-1-dev
)

sudo_() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

missing() {
  local out=()
  for p in "${need_pkgs[@]}"; do
    dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q '^install ok installed' || out+=("$p")
  done
  echo "${out[@]:-}"
}

todo=$(missing)
if [ -z "$todo" ]; then
  echo "install: everything is in place"
  exit 0
fi
echo "install: missing: $todo"

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  sudo_ dpkg --add-architecture i386
fi

export DEBIAN_FRONTEND=noninteractive
apt_opts=(-y -q --no-install-recommends)

# First try with the machine's own package sources.
if sudo_ apt-get update -q && sudo_ apt-get install "${apt_opts[@]}" $todo; then
  echo "install: done"
  exit 0
fi

# When one index (often the security suite) fails to download, the amd64 and i386 versions
# disagree and apt reports held broken packages. Retry with only the main archive's
# bookworm and bookworm-updates suites.
echo "install: retrying with the main archive only"
alt=$(mktemp -d)
cat > "$alt/main.sources" <<'SRC'
Types: deb
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
only_main=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$alt")
sudo_ apt-get "${only_main[@]}" update -q
sudo_ apt-get "${only_main[@]}" install "${apt_opts[@]}" $todo
echo "install: done (main archive only)"
