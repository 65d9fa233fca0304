#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo. With a display: Tidewatch itself, its project
# dialog filled in for the simulated target running the demo firmware (press OK, tick variables, press
# Start). Without one: the simulated target, the symbol extractor on its ELF, and a few seconds of live
# samples with tidewatch-capture.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
bash scripts/install-deps.sh
bash scripts/build.sh build

bin=$root/build/bin
elf=$root/examples/demo-firmware/demo.elf
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "demo: opening Tidewatch on the demo firmware with the simulated target"
    exec "$bin/tidewatch" -c "corvane 7425MQDTCA tidewatch-sim swd 4000 $elf"
fi
work=$(mktemp -d)
sim_pid=""
cleanup() {
    if [ -n "$sim_pid" ]; then
        kill "$sim_pid" 2>/dev/null || true
        wait "$sim_pid" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

# Port 0 lets the simulator choose a free one; it tells us which on its ready line.
"$bin/tidewatch-sim" --port 0 "$elf" >"$work/sim.log" 2>&1 &
sim_pid=$!
for _ in $(seq 1 100); do
    grep -q "listening on" "$work/sim.log" && break
    kill -0 "$sim_pid" 2>/dev/null || { cat "$work/sim.log"; exit 1; }
    sleep 0.1
done
port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$work/sim.log" | head -n1)
[ -n "$port" ] || { echo "demo: the simulator did not start"; cat "$work/sim.log"; exit 1; }
echo "demo: tidewatch-sim runs the demo firmware on 127.0.0.1:$port"

(cd "$work" && "$bin/readelf_variables" "$elf")
echo "demo: readelf_variables listed $(grep -o '"name"' "$work/elf.json" | wc -l) names in elf.json"

vars=(loop_counter status_bits sine_wave amplitude follower temperature motor.rpm motor.current samples[0] ratio wide_counter)
echo "demo: sampling ${vars[*]} every 1000 us for 3 s, and setting amplitude to 2500 on the way"
"$bin/tidewatch-capture" --port "$port" --symbols "$work/elf.json" --interval 1000 --duration 3 \
    --set amplitude=2500 --output "$work/demo.csv" "${vars[@]}"
echo "demo: first lines of the CSV ($(($(wc -l <"$work/demo.csv") - 1)) samples):"
head -n 12 "$work/demo.csv"
echo "..."
tail -n 3 "$work/demo.csv"
