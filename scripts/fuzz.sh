#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan+UBSan) and runs each for SECONDS (default 20) from its
# seed corpus; fails on any crash, hang, leak or sanitizer report. "build" only builds them, "run" only
# runs what was built (the test command builds them while other tests run).
#   scripts/fuzz.sh [build | run] [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
phase=all
if [ "${1:-}" = build ] || [ "${1:-}" = run ]; then
    phase=$1
    shift
fi
seconds=${1:-20}
dir=build-fuzz
mkdir -p "$dir"
log="$dir/build.log"
# Like the sanitizer trees of the test script: combined sources, line tables only, no benchmarks.
if [ "$phase" != run ] && ! { CC=clang-14 CXX=clang++-14 cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_SANITIZE=fuzz \
         -DTIDEWATCH_WERROR=ON -DTIDEWATCH_BENCHMARKS=OFF -DCMAKE_UNITY_BUILD=ON -DCMAKE_CXX_FLAGS_DEBUG=-g1 \
         -DCMAKE_C_FLAGS_DEBUG=-g1 &&
       cmake --build "$dir" -j"$(nproc)" --target $(cut -d= -f1 "$dir/fuzzers.txt"); } >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "build of the fuzz targets failed (full log: $log)" >&2
    exit 1
fi

[ "$phase" != build ] || exit 0

# One target per core at a time; each reports when it ends.
fuzz_one() {
    local name=$1 seeds=$2 work
    work=$(mktemp -d)
    cp "$seeds"/* "$work"/
    # Qt's and the system libraries' start-up allocations are not the target's leaks.
    if LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp" "$dir/bin/$name" -max_total_time="$seconds" \
        -artifact_prefix="$dir/$name-" -timeout=10 -rss_limit_mb=4096 -max_len=8192 -print_final_stats=1 "$work" >"$dir/$name.log" 2>&1; then
        echo "== $name (${seconds} s): $(grep -E '^stat::number_of_executed_units|^Done' "$dir/$name.log" | tr '\n' ' ')"
    else
        tail -n 40 "$dir/$name.log"
        echo "$name failed (log: $dir/$name.log)" >&2
        rm -rf "$work"
        return 1
    fi
    rm -rf "$work"
}

status=0
pids=()
while IFS='=' read -r name seeds; do
    [ -n "$name" ] || continue
    fuzz_one "$name" "$seeds" &
    pids+=($!)
    if [ ${#pids[@]} -ge "$(nproc)" ]; then
        wait "${pids[0]}" || status=1
        pids=("${pids[@]:1}")
    fi
done <"$dir/fuzzers.txt"
for pid in "${pids[@]}"; do
    wait "$pid" || status=1
done
exit $status
