#!/usr/bin/env bash
# Installs the Debian packages Tidewatch needs to build, run its demo and run its tests.
# Idempotent and non-interactive; works as root or through sudo.
set -euo pipefail

PACKAGES=(
  build-essential cmake pkg-config git
  qtbase5-dev libqt5charts5-dev libqt5svg5-dev qt5-qmake
  libdw-dev libelf-dev
  qemu-system-misc
  gdb-multiarch openocd
  gcc-riscv64-unknown-elf
  xvfb xauth x11-utils imagemagick xdotool
  clang-format
  clang-14 libclang-rt-14-dev
  gcovr
  help2man dpkg-dev fakeroot lintian
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  SUDO="sudo"
fi

echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
