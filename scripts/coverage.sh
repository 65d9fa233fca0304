#!/usr/bin/env bash
# Builds a --coverage tree, runs every test in it and prints line and branch coverage per source
# folder: scripts/coverage.sh [DIR]   (DIR defaults to build-cov)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
dir=${1:-build-cov}
root=$PWD

# -O0 keeps the line counts true to the source; benchmarks are no tests.
bash scripts/build.sh "$dir" -DCMAKE_BUILD_TYPE=Debug -DTIDEWATCH_BENCHMARKS=OFF \
    -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_C_FLAGS=--coverage -DCMAKE_EXE_LINKER_FLAGS=--coverage
find "$dir" -name '*.gcda' -delete
(cd "$dir" && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j"$(nproc)") || echo "some tests failed" >&2

# One pass over the counters into a tracefile; each folder is then a cheap filter over it.
# Branches the compiler adds for exceptions are left out: nothing here throws on purpose.
gcovr -r "$root" --object-directory "$dir" --exclude-unreachable-branches --exclude-throw-branches \
    --exclude-directories '.*/CMakeFiles/[0-9.]+$' \
    -e 'tests/' -e 'bench/' -e '.*/moc_.*' -e '.*/qrc_.*' -e '.*_autogen/.*' \
    --json "$dir/coverage.json" -j"$(nproc)" "$dir"

printf '%-26s %8s %8s\n' folder lines branches
for folder in app config catalogue symbols debugserver sampling chart table images tools/capture tools/readelf_variables sim; do
    summary=$(gcovr -r "$root" -a "$dir/coverage.json" -f "$folder/" --print-summary -o /dev/null)
    lines=$(sed -n 's/^lines: *\([0-9.]*%\).*/\1/p' <<<"$summary")
    branches=$(sed -n 's/^branches: *\([0-9.]*%\).*/\1/p' <<<"$summary")
    printf '%-26s %8s %8s\n' "$folder" "$lines" "$branches"
done
gcovr -r "$root" -a "$dir/coverage.json" --print-summary -o /dev/null | sed 's/^/all /'
