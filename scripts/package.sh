#!/usr/bin/env bash
# Builds the Debian package: a Release tree without tests or benchmarks in build-package/, the .deb
# made by CPack, then lintian's report on it (only its errors fail the script). With --install, apt
# installs the package (through sudo unless run as root).
#   scripts/package.sh [--install]   ->  build-package/tidewatch_<version>_<arch>.deb
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
dir=build-package
bash scripts/build.sh "$dir" -DCMAKE_BUILD_TYPE=Release -DTIDEWATCH_TESTS=OFF -DTIDEWATCH_BENCHMARKS=OFF
rm -f "$dir"/tidewatch_*.deb
(cd "$dir" && cpack -G DEB >cpack.log 2>&1) || { tail -n 40 "$dir/cpack.log"; exit 1; }
deb=$(ls "$dir"/tidewatch_*.deb)

echo "== lintian"
report=$(lintian --tag-display-limit 0 "$deb" 2>&1 || true)
echo "${report:-no errors or warnings}"
if grep -q '^E:' <<<"$report"; then
    echo "lintian found errors" >&2
    exit 1
fi
deb=$(realpath "$deb")
echo "package: $deb ($(du -h "$deb" | cut -f1), $(stat -c %s "$deb") bytes)"
if [ "${1-}" = --install ]; then
    # apt takes a local package by its path (absolute, or starting with ./).
    $([ "$(id -u)" -eq 0 ] || echo sudo) env DEBIAN_FRONTEND=noninteractive apt-get install -y "$deb"
fi
