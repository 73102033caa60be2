# Sourced by the demo, the benchmarks and the picture script: six simulated engines and a station
# folder mapped to them.
#
#   simulated_engines BUILD DIR [fadec-sim options...]
#
# writes DIR/station/ParamComx.ini (COM1..COM6 enabled) and DIR/station/ComDevices.ini (COMn is
# the simulator's link DIR/ports/COMn), starts fadec-sim on DIR/ports with its input on the FIFO
# DIR/sim-control (held open, so the simulator never sees its input end; steer it with
# echo "fault 3 7" > DIR/sim-control) and its output in DIR/sim.log, and waits for its links.
# Sets sim_pid; returns 1 when the simulator did not start.
simulated_engines() {
  local build="$1" dir="$2"
  shift 2
  mkdir -p "$dir/ports" "$dir/station"
  local n
  for n in 1 2 3 4 5 6; do printf '"%d"\r\n"1"\r\n' "$n"; done > "$dir/station/ParamComx.ini"
  {
    for n in 1 2 3 4 5 6; do printf '%s\r\n' "$dir/ports/COM$n"; done
    for n in $(seq 7 14); do printf '\r\n'; done
  } > "$dir/station/ComDevices.ini"
  rm -f "$dir/sim-control"
  mkfifo "$dir/sim-control"
  exec {sim_control_fd}<>"$dir/sim-control"
  "$build/src/sim/program/fadec-sim" --engines 6 --dir "$dir/ports" "$@" <&"$sim_control_fd" > "$dir/sim.log" 2>&1 &
  sim_pid=$!
  for _ in $(seq 1 100); do
    [ -e "$dir/ports/COM6" ] && return 0
    sleep 0.1
  done
  return 1
}

# The same in a scratch folder of its own, removed with the simulator when the script exits: sets
# work (the folder) and station (its station folder), or ends the script when the simulator does
# not start.
#   simulated_engines_in_scratch BUILD [fadec-sim options...]
simulated_engines_in_scratch() {
  local build="$1"
  shift
  work="$(mktemp -d)"
  station="$work/station"
  trap 'kill "${sim_pid:-}" 2>/dev/null || true; rm -rf "$work"' EXIT
  simulated_engines "$build" "$work" "$@" || { echo "the simulator did not start: $work/sim.log" >&2; exit 1; }
}
