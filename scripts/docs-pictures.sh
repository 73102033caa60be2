#!/usr/bin/env bash
# Takes the pictures of the manual in docs/ again, each saved by the station itself. For each one a
# simulator (fadec-sim) runs a timed script of what the engines do (a start from their own panel, a
# fault, silence, register blocks), and a station on a fresh station folder mapped to the
# simulator's ports runs offscreen on a screen of the picture's size (and scale); --screenshot,
# --screenshot-form, --screenshot-mode and --screenshot-start say what it shows, and the picture is
# taken just before --quit-after ends it. Installs what is missing and builds what it runs.
#
#   scripts/docs-pictures.sh                         # every picture: about five minutes
#   scripts/docs-pictures.sh first_hour ports_form   # only those (names without .png)
#
# Some pictures share a run: the replay plays the recording of station_1366x768's, and the history
# and the scaled window are taken on its station folder after it, so asking for one of them takes
# station_1366x768.png again too.
# The trends window over a week needs days of recorded values: historian_bench writes eight days
# of six simulated engines and pictures the window on them (about two minutes, beside the others).
# The plant page's pictures (plant-page*.png) come from its browser test, web/test/plant_page.mjs.
# The work folders with the simulators' logs and the stations' messages stay in PICTURES_WORK
# (default /tmp/tarvek-pictures) until the next run, to look at when a picture is not as expected.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/build.sh" tarvek-station fadec-sim historian_bench
build="${BUILD_DIR:-$root/build}"
station_program="$build/src/app/tarvek-station"
sim_program="$build/src/sim/program/fadec-sim"
docs="$root/docs"
work="${PICTURES_WORK:-/tmp/tarvek-pictures}"
rm -rf "$work"
mkdir -p "$work/runtime"
chmod 700 "$work/runtime"
export XDG_RUNTIME_DIR="$work/runtime"
wanted=("$@")
started=$SECONDS

sim=""
bench=""
cleanup() {
  [ -n "$sim" ] && kill "$sim" 2>/dev/null && wait "$sim" 2>/dev/null
  [ -n "$bench" ] && kill "$bench" 2>/dev/null && wait "$bench" 2>/dev/null
  return 0
}
trap cleanup EXIT

# True when the picture is asked for (every picture when none is named).
want() {
  [ ${#wanted[@]} -eq 0 ] && return 0
  local name
  for name in "$@"; do
    [[ " ${wanted[*]} " == *" $name "* ]] && return 0
  done
  return 1
}

# The offscreen screen WIDTHxHEIGHT, as a file for QT_QPA_PLATFORM=offscreen:configfile=...
screen() {
  local file="$work/screen-$1.json"
  printf '{"screens": [{"name": "s", "x": 0, "y": 0, "width": %d, "height": %d, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]}\n' \
    "${1%x*}" "${1#*x}" > "$file"
  echo "$file"
}

# A station folder FOLDER whose COM1..COM6 are the simulator's links in PORTS, all enabled
# (COM5 on DEVICE5 when given).
station_folder() {
  local folder="$1" ports="$2" device5="${3:-}" n
  mkdir -p "$folder"
  for n in 1 2 3 4 5 6; do printf '"%d"\r\n"1"\r\n' "$n"; done > "$folder/ParamComx.ini"
  {
    for n in 1 2 3 4 5 6; do
      if [ "$n" = 5 ] && [ -n "$device5" ]; then printf '%s\r\n' "$device5"; else printf '%s\r\n' "$ports/COM$n"; fi
    done
    for n in $(seq 7 14); do printf '\r\n'; done
  } > "$folder/ComDevices.ini"
}

# Six simulated engines on DIR/sim-ports running the timed commands SCRIPT ("SECONDS COMMAND" lines).
simulate() {
  local dir="$1" script="$2"
  mkdir -p "$dir"
  printf '%s\n' "$script" > "$dir/sim-script.txt"
  "$sim_program" --engines 6 --dir "$dir/sim-ports" --script "$dir/sim-script.txt" < /dev/null > "$dir/sim.log" 2>&1 &
  sim=$!
  local _
  for _ in $(seq 1 100); do
    [ -e "$dir/sim-ports/COM6" ] && return 0
    sleep 0.1
  done
  echo "The simulator did not start; see $dir/sim.log" >&2
  exit 1
}

end_simulation() {
  kill "$sim" 2>/dev/null || true
  wait "$sim" 2>/dev/null || true
  sim=""
}

# The station on FOLDER, on a screen SIZE at SCALE (empty: 1), saving docs/NAME.png; the rest of the
# arguments are the station's (--screenshot-form, --screenshot-mode, --quit-after...).
shoot() {
  local name="$1" size="$2" scale="$3" folder="$4"
  shift 4
  local log="$work/$name.station.log"
  env QT_QPA_PLATFORM="offscreen:configfile=$(screen "$size")" ${scale:+QT_SCALE_FACTOR="$scale"} \
    "$station_program" --folder "$folder" --screenshot "$docs/$name.png" "$@" > "$log" 2>&1 ||
    { echo "The station ended with an error for $name; see $log" >&2; exit 1; }
  grep -q "screenshot saved" "$log" || { echo "No picture for $name; see $log" >&2; exit 1; }
  echo "docs/$name.png ($size${scale:+ at $scale}, $((SECONDS - started)) s)"
}

# One picture of its own: simulator and station folder made for it, gone after it.
# scene NAME SIZE SCALE SIMULATOR-SCRIPT STATION-ARGUMENTS...
scene() {
  local name="$1" size="$2" scale="$3" script="$4"
  shift 4
  want "$name" || return 0
  local dir="$work/$name"
  simulate "$dir" "$script"
  station_folder "$dir/station" "$dir/sim-ports"
  shoot "$name" "$size" "$scale" "$dir/station" "$@"
  end_simulation
}

# The week of the trends window: a historian of eight days, drawn by the trends window itself.
if want historian_week; then
  QT_QPA_PLATFORM=offscreen nice -n 10 "$build/bench/historian_bench" --days 8 --dir "$work/historian" \
    --screenshot "$docs/historian_week.png" > "$work/historian_week.log" 2>&1 &
  bench=$!
fi

all=1,2,3,4,5,6

# Six engines started by the station; LE4 falls silent once running and is lost, then LE3 reports
# fault 7, the newest alarm that waits for acknowledgement. Its folder goes on: the replay plays its
# recording, the same scene at a scale of 1.5 runs on it again, and its history is pictured last.
main_scene='14 silence 4 on
21 fault 3 7'
if want station_1366x768 replay_1366x768 replay_differences station_1366x768_scaled history_1366x768; then
  dir="$work/main"
  simulate "$dir" "$main_scene"
  station_folder "$dir/station" "$dir/sim-ports"
  shoot station_1366x768 1366x768 "" "$dir/station" --screenshot-start $all --screenshot-mode user --quit-after 26
  end_simulation
  # The recording of that run, replayed at its pace: the bar counts the frames that differ, the
  # operator's starts not being replayed.
  want replay_1366x768 && shoot replay_1366x768 1366x768 "" "$dir/station" --replay "$dir/station" --quit-after 24
  want replay_differences &&
    shoot replay_differences 1366x768 "" "$dir/station" --replay "$dir/station" --screenshot-form ReplayDifferences \
      --quit-after 12
  simulate "$dir" "$main_scene"
  want station_1366x768_scaled &&
    shoot station_1366x768_scaled 1366x768 1.5 "$dir/station" --screenshot-start $all --screenshot-mode user \
      --quit-after 26
  want history_1366x768 &&
    shoot history_1366x768 1366x768 "" "$dir/station" --screenshot-form Histo --screenshot-mode user --quit-after 3
  end_simulation
fi

scene station_quiet_1366x768 1366x768 "" "" --screenshot-start $all --screenshot-mode user --quit-after 15
# Within the first sweep of the graphs (23 s at 50 ms a pixel): the run-up and the first seconds at
# phase 5.
scene graphs_six_running 1366x768 "" "" --screenshot-start $all --screenshot-mode user --screenshot-form Graphs \
  --time-scale 50 --quit-after 20
# The demo as it comes up, before anyone logs in.
scene first_hour 1366x768 "" "" --quit-after 4
# LE2 started from its own panel before the station came up.
scene found_running 1366x768 "" "0 start 2" --screenshot-mode user --quit-after 12
# LE2 started by the station, then STOP (RS232) answered Yes.
scene closed_links 1366x768 "" "" --screenshot-start 2 --screenshot-mode user --screenshot-form LinksClosed \
  --quit-after 14
# LE3 falls silent: five seconds later it is lost, and the event list says so.
scene lost_link_events 1366x768 "" "5 silence 3 on" --screenshot-mode user --quit-after 12
# LE3 answers with its register block for a while: no reading, its column late; LE2 runs.
scene stale_column 1366x768 "" "0 start 2
9 block 3 100" --screenshot-mode user --quit-after 11

# The screen in each mode at three sizes: LE3 started from its panel reports the longest fault
# text, LE4 is lost.
screens_scene='0 start 3
4 silence 4 on
10 fault 3 17'
for size in 1366x768 1280x800 1920x1080_scaled; do
  scale=""
  [ "$size" = 1920x1080_scaled ] && scale=1.5
  scene "screen_${size}_login" "${size%_scaled}" "$scale" "$screens_scene" --quit-after 12
  scene "screen_${size}_user" "${size%_scaled}" "$scale" "$screens_scene" --screenshot-mode user --quit-after 12
  scene "screen_${size}_service" "${size%_scaled}" "$scale" "$screens_scene" --screenshot-mode service \
    --quit-after 12
done

# The port form: LE5's adapter is not plugged in.
if want ports_form; then
  dir="$work/demo"
  simulate "$dir" ""
  station_folder "$dir/station" "$dir/sim-ports" /dev/ttyUSB4
  shoot ports_form 1366x768 "" "$dir/station" --screenshot-form ConfigurationRS232 --screenshot-mode service \
    --quit-after 4
  end_simulation
fi
scene motor_speed_rounded 1366x768 "" "" --screenshot-form SaisieRounded --screenshot-mode user --quit-after 3
scene trace_detail 1366x768 "" "" --screenshot-form TraceDetail --screenshot-mode service --quit-after 3
scene fadec_parameters_not_read 1366x768 "" "" --screenshot-form FadecParameters --screenshot-mode service \
  --quit-after 3
scene fadec_parameters_question 1366x768 "" "" --screenshot-form FadecParametersQuestion \
  --screenshot-mode service --quit-after 3

if [ -n "$bench" ]; then
  wait "$bench" || { echo "historian_bench failed; see $work/historian_week.log" >&2; exit 1; }
  bench=""
  grep -q "screenshot saved" "$work/historian_week.log" || { echo "No picture of the week; see $work/historian_week.log" >&2; exit 1; }
  echo "docs/historian_week.png ($((SECONDS - started)) s)"
fi
echo "Done in $((SECONDS - started)) s. Logs in $work."
