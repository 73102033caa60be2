#!/usr/bin/env bash
# Starts the station on six simulated light engines. Installs what is missing and builds the two
# programs it runs (not the tests and benchmarks). End it by closing the station's window (it asks
# first) or with Ctrl+C here; the simulator and its ports go with it.
# The simulator's control channel is the FIFO demo/sim-control:  echo "fault 3 7" > demo/sim-control
# Without a screen the station runs offscreen and saves demo/station.png instead.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/build.sh" tarvek-station fadec-sim
build="${BUILD_DIR:-$root/build}"
demo="${DEMO_DIR:-$root/demo}"
source "$root/scripts/lib/simulated-engines.sh"
mkdir -p "$demo"
ports="$demo/ports"
station="$demo/station"
control="$demo/sim-control"
cleanup() { kill "${sim_pid:-}" 2>/dev/null || true; wait "${sim_pid:-}" 2>/dev/null || true; rm -f "$control"; }
trap cleanup EXIT
simulated_engines "$build" "$demo" || { echo "The simulator did not start; see $demo/sim.log" >&2; exit 1; }
echo "Six simulated engines on $ports (log: $demo/sim.log)."
echo "Steer them with: echo \"help\" > $control   (answers in $demo/sim.log)"
echo "Passwords: user \"harvests\", service \"dolphin\". End the demo by closing the window or with Ctrl+C."

args=(--folder "$station")
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No screen here: running the station offscreen for ${DEMO_SECONDS:-15} seconds and saving $demo/station.png."
  # An offscreen screen of the size the station is made for (the plain one is 800x600).
  printf '{"screens": [{"name": "s", "x": 0, "y": 0, "width": 1366, "height": 768, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]}\n' \
    > "$demo/screen.json"
  QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen:configfile=$demo/screen.json}" "$build/src/app/tarvek-station" "${args[@]}" \
    --screenshot "$demo/station.png" --quit-after "${DEMO_SECONDS:-15}"
  echo "Saved $demo/station.png"
else
  "$build/src/app/tarvek-station" "${args[@]}" "$@"
fi
