#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the plain build (warnings as errors), an
# ASan+UBSan build, a TSan build for the threaded tests, and a short run of every fuzz target. The
# sanitizer trees leave the benchmarks out and keep only line tables for the reports; every tree compiles
# each library as a few combined sources (scripts/build.sh without options still compiles every file on its
# own); the TSan tree builds only what the threaded tests run.
#
# The test runs wait on servers, simulators and each other far more than they compute, so the next tree
# is built beside them at the lowest priority: the tests keep the processor whenever they want it. The
# display check, which measures paint rates, runs with nothing beside it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)
status=0

# gold links the test programs in a third of the time the default linker takes.
link=(-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold)
lean=(-DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_BENCHMARKS=OFF -DCMAKE_UNITY_BUILD=ON -DCMAKE_CXX_FLAGS_DEBUG=-g1
      -DCMAKE_C_FLAGS_DEBUG=-g1 "${link[@]}")
tsan=("${lean[@]}" -DTIDEWATCH_SANITIZE=thread)

# Starts a build (or the fuzz run) in the background at the lowest priority; `finish NAME` waits for it
# and tells its end.
declare -A builds
background() {
    local name=$1
    shift
    (
        renice -n 19 -p "$BASHPID" >/dev/null
        "$@"
    ) >"/tmp/tidewatch-$name-$$.log" 2>&1 &
    builds[$name]=$!
}
# A build still running when a failure ends this script is waited for, not left behind.
trap wait EXIT
finish() {
    if ! wait "${builds[$1]}"; then
        cat "/tmp/tidewatch-$1-$$.log"
        echo "build of $1 failed" >&2
        rm -f "/tmp/tidewatch-$1-$$.log"
        return 1
    fi
    rm -f "/tmp/tidewatch-$1-$$.log"
}
tsan_build() {
    cmake -S . -B build-tsan -DTIDEWATCH_WERROR=ON "${tsan[@]}" >/dev/null
    local threaded
    threaded=$(cd build-tsan && ctest -N -L threaded | sed -n 's/^ *Test *#[0-9]*: *//p' | tr '\n' ' ')
    TIDEWATCH_TARGETS="$threaded" bash scripts/build.sh build-tsan "${tsan[@]}"
}

echo "== plain build"
# The package's flags (CMake's Release, as scripts/package.sh builds it), so that the tests and the
# display check run what users install; the sanitizer trees carry the line tables.
# Each library is compiled as a few combined sources, which at -O3 halves the time of the tree; the test
# and benchmark programs' own sources, which check and time those libraries, at -O0.
bash scripts/build.sh build -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O3 -DNDEBUG" \
    -DCMAKE_C_FLAGS_RELEASE="-O3 -DNDEBUG" -DCMAKE_UNITY_BUILD=ON -DTIDEWATCH_PROGRAMS_OPTIMIZE=-O0 "${link[@]}"
(cd build && ctest --output-on-failure -R '^display_check$') || status=1

background asan bash scripts/build.sh build-asan "${lean[@]}" -DTIDEWATCH_SANITIZE=address
(cd build && ctest --output-on-failure -j"$jobs" -E '^display_check$') || status=1

echo "== ASan+UBSan build"
finish asan || exit 1
background tsan tsan_build
background fuzz bash scripts/fuzz.sh build
(cd build-asan && UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j"$jobs") || status=1

echo "== TSan build (threaded tests)"
finish tsan || exit 1
finish fuzz || exit 1
# The fuzz targets run for a fixed time each: beside the threaded tests, at the lowest priority.
background fuzzrun bash scripts/fuzz.sh run 4
(cd build-tsan && ctest --output-on-failure -j"$jobs" -L threaded) || status=1

echo "== fuzz targets (4 s each, one per core at a time)"
wait "${builds[fuzzrun]}" || status=1
cat "/tmp/tidewatch-fuzzrun-$$.log"
rm -f "/tmp/tidewatch-fuzzrun-$$.log"

exit $status
