#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the plain build (warnings as errors), an
# ASan+UBSan build, a TSan build for the threaded tests, and a short run of every fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

export QT_QPA_PLATFORM=offscreen
status=0

echo "== plain build"
bash scripts/build.sh build
(cd build && ctest --output-on-failure) || status=1

echo "== ASan+UBSan build"
bash scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_SANITIZE=address
(cd build-asan && UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure) || status=1

echo "== TSan build (threaded tests)"
bash scripts/build.sh build-tsan -DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_SANITIZE=thread
(cd build-tsan && ctest --output-on-failure -L threaded) || status=1

echo "== fuzz targets (20 s each)"
bash scripts/fuzz.sh 20 || status=1

exit $status
