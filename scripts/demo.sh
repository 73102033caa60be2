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
ports="$demo/sim-ports"
station="$demo/station"
mkdir -p "$ports" "$station"

# COM1..COM6 are the simulator's links, all enabled; the rest keep their defaults.
{
  for n in 1 2 3 4 5 6; do printf '"%d"\r\n"1"\r\n' "$n"; done
} > "$station/ParamComx.ini"
{
  for n in 1 2 3 4 5 6; do printf '%s\r\n' "$ports/COM$n"; done
  for n in $(seq 7 14); do printf '\r\n'; done
} > "$station/ComDevices.ini"

control="$demo/sim-control"
rm -f "$control"
mkfifo "$control"
exec 3<>"$control" # held open both ways, so the simulator never sees its input end
"$build/src/sim/program/fadec-sim" --engines 6 --dir "$ports" <&3 > "$demo/sim.log" 2>&1 &
sim=$!
cleanup() { kill "$sim" 2>/dev/null || true; wait "$sim" 2>/dev/null || true; rm -f "$control"; }
trap cleanup EXIT

for _ in $(seq 1 100); do
  [ -e "$ports/COM6" ] && break
  sleep 0.1
done
[ -e "$ports/COM6" ] || { echo "The simulator did not start; see $demo/sim.log" >&2; exit 1; }
echo "Six simulated engines on $ports (log: $demo/sim.log)."
echo "Steer them with: echo \"help\" > $control   (answers in $demo/sim.log)"
echo "Passwords: user \"harvests\", service \"dolphin\". End the demo by closing the window or with Ctrl+C."

args=(--folder "$station")
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No screen here: running the station offscreen for ${DEMO_SECONDS:-15} seconds and saving $demo/station.png."
  QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" "$build/src/app/tarvek-station" "${args[@]}" \
    --screenshot "$demo/station.png" --quit-after "${DEMO_SECONDS:-15}"
  echo "Saved $demo/station.png"
else
  "$build/src/app/tarvek-station" "${args[@]}" "$@"
fi
