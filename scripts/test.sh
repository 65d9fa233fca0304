#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the plain build (warnings as errors), an
# ASan+UBSan build, and a TSan build for the threaded tests. The sanitizer trees leave the benchmarks
# out, and the TSan tree builds only what the threaded tests run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)
status=0

echo "== plain build"
bash scripts/build.sh build
(cd build && ctest --output-on-failure -j"$jobs") || status=1

echo "== ASan+UBSan build"
bash scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_SANITIZE=address -DTIDEWATCH_BENCHMARKS=OFF
(cd build-asan && UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j"$jobs") || status=1

echo "== TSan build (threaded tests)"
tsan=(-DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_SANITIZE=thread -DTIDEWATCH_BENCHMARKS=OFF)
cmake -S . -B build-tsan -DTIDEWATCH_WERROR=ON "${tsan[@]}" >/dev/null
threaded=$(cd build-tsan && ctest -N -L threaded | sed -n 's/^ *Test *#[0-9]*: *//p' | tr '\n' ' ')
TIDEWATCH_TARGETS="$threaded" bash scripts/build.sh build-tsan "${tsan[@]}"
(cd build-tsan && ctest --output-on-failure -j"$jobs" -L threaded) || status=1

exit $status
