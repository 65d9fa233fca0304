#!/usr/bin/env bash
# Re-renders images/*.png from the SVG sources in images/svg with the project's own renderer.
#   images/render-icons.sh [build folder]   (default: build)
# Run it after editing an SVG and commit both the source and the PNG.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(dirname "$here")"
build="${1:-$root/build}"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" --target tw_render_icons >/dev/null
QT_QPA_PLATFORM=offscreen "$build/bin/tw_render_icons" "$here/svg" "$here" 32
