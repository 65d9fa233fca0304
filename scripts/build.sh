#!/usr/bin/env bash
# Configures and builds one tree: scripts/build.sh DIR [cmake options...]
# With TIDEWATCH_TARGETS set (names separated by spaces) only those targets and what they need are built.
# The compiler's chatter goes to DIR/build.log; its tail is shown when the build fails.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=$1
shift
mkdir -p "$dir"
if ! { cmake -S . -B "$dir" -DTIDEWATCH_WERROR=ON "$@" && cmake --build "$dir" -j"$(nproc)" ${TIDEWATCH_TARGETS:+--target $TIDEWATCH_TARGETS}; } >"$dir/build.log" 2>&1; then
    tail -n 80 "$dir/build.log"
    echo "build of $dir failed (full log: $dir/build.log)" >&2
    exit 1
fi
