#!/usr/bin/env bash
# Installs the build tree into a temporary prefix and runs each installed program from there, with
# only the prefix's bin on PATH; no installed file may name the build or source folder.
#   install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$(realpath "$1") src=$(realpath "$2") tmp=$(mktemp -d)
trap 'kill ${SIM_PID-} 2>/dev/null; wait; rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/usr" --strip >/dev/null
export PATH=$tmp/usr/bin:/usr/bin:/bin HOME=$tmp/home
cd "$tmp"
# The firmware's own debug information names the folder it was built in; it is no reference.
! grep -rl --exclude='*.elf' -e "$build" -e "$src" usr || { echo "build or source folder named above"; exit 1; }

readelf_variables usr/share/tidewatch/demo.elf
grep -q '"loop_counter"' elf.json

# The simulator on its default firmware (the installed one) tells its port once it listens.
coproc SIM { exec tidewatch-sim --port 0 2>&1; }
while read -r -t 30 line <&"${SIM[0]}" && ! [[ $line =~ listening\ on\ 127\.0\.0\.1:([0-9]+) ]]; do echo "$line"; done
[[ ${BASH_REMATCH[1]-} ]] || { echo "the simulator did not start"; exit 1; }
tidewatch-capture --port "${BASH_REMATCH[1]}" --symbols elf.json --duration 1 loop_counter >capture.csv
(($(wc -l <capture.csv) > 100)) || { echo "too few samples: $(wc -l <capture.csv)"; exit 1; }

# The program shows its window on an X server and keeps running.
xvfb-run -a bash -c '
  QT_QPA_PLATFORM=xcb tidewatch & gui=$!
  for _ in $(seq 100); do
    xwininfo -root -tree | grep -q "\"Tidewatch\"" && kill $gui && exit 0
    kill -0 $gui || exit 1
    sleep 0.1
  done
  exit 1'
echo "installed programs ran from $tmp/usr"
