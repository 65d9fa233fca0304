#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo. With a display: Tidewatch itself, its project
# dialog filled in for the simulated target running the demo firmware (press OK, tick variables, press
# Start). Without one: the simulated target, the symbol extractor on its ELF, and a few seconds of live
# samples with tidewatch-capture.
# --openocd: the same through stock openocd on the simulated target's JTAG port, as with a board of your
# own: Tidewatch's "openocd (your board)" tool with the simulator's config files, or headless the
# capture tool polling through an openocd started here.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
openocd=false
case "${1:-}" in
--openocd) openocd=true ;;
"") ;;
*)
    echo "usage: bash scripts/demo.sh [--openocd]" >&2
    exit 2
    ;;
esac
bash scripts/install-deps.sh
bash scripts/build.sh build

bin=$root/build/bin
elf=$root/examples/demo-firmware/demo.elf
cfg=$root/examples/openocd/tidewatch-sim.cfg
display=false
[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && display=true
if $display && ! $openocd; then
    echo "demo: opening Tidewatch on the demo firmware with the simulated target"
    exec "$bin/tidewatch" -c "corvane 7425MQDTCA tidewatch-sim swd 4000 $elf"
fi
work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap cleanup EXIT

# Waits until the log shows the text (a sed pattern whose group is the port) and prints the port.
port_from() {
    local log=$1 pattern=$2 pid=$3
    for _ in $(seq 1 100); do
        sed -n "s/.*$pattern.*/\1/p" "$log" | head -n1 | grep . && return 0
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    echo "demo: no ready line in $log:" >&2
    cat "$log" >&2
    return 1
}

# Port 0 lets the simulator choose free ports; it tells us which on its ready lines.
if $openocd; then
    "$bin/tidewatch-sim" --port 0 --jtag-port 0 "$elf" >"$work/sim.log" 2>&1 &
else
    "$bin/tidewatch-sim" --port 0 "$elf" >"$work/sim.log" 2>&1 &
fi
pids+=($!)
port=$(port_from "$work/sim.log" 'listening on 127\.0\.0\.1:\([0-9]*\)' "${pids[0]}")
if $openocd; then
    jtag=$(port_from "$work/sim.log" 'JTAG (remote_bitbang) on 127\.0\.0\.1:\([0-9]*\)' "${pids[0]}")
    echo "demo: tidewatch-sim runs the demo firmware with its JTAG debug module on 127.0.0.1:$jtag"
    if $display; then
        # The board's config files: the simulator's, and one line for the port it chose.
        echo "remote_bitbang port $jtag" >"$work/port.cfg"
        echo "demo: opening Tidewatch with the tool \"openocd (your board)\" and $cfg; $work/port.cfg"
        "$bin/tidewatch" -c "corvane 7425MQDTCA openocd-board swd 4000 $elf" \
            --board-config "$cfg" --board-config "$work/port.cfg"
        exit
    fi
    openocd -f "$cfg" -c "remote_bitbang port $jtag" -c "gdb_port 0" -c "tcl_port disabled" \
        -c "telnet_port disabled" >"$work/openocd.log" 2>&1 &
    pids+=($!)
    port=$(port_from "$work/openocd.log" 'Listening on port \([0-9]*\) for gdb' "${pids[1]}")
    echo "demo: stock openocd ($(openocd --version 2>&1 | head -n1)) serves GDB on 127.0.0.1:$port"
else
    echo "demo: tidewatch-sim runs the demo firmware on 127.0.0.1:$port"
fi

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
