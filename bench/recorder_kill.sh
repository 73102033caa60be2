#!/usr/bin/env bash
# Kills the recording station with SIGKILL, N times (default 20) at random moments, against six
# simulated engines, and reads after each kill the file it was writing with tshark (Debian's, from
# scripts/deps.sh --tests): it must open, and its last packet must be at most about a second older
# than the kill. Prints the worst and the mean of that loss.
#   bench/recorder_kill.sh [N]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$root/build}"
runs="${1:-20}"
source "$root/scripts/lib/simulated-engines.sh"
simulated_engines_in_scratch "$build"

losses=()
for i in $(seq 1 "$runs"); do
  QT_QPA_PLATFORM=offscreen "$build/src/app/tarvek-station" --folder "$station" --no-historian > /dev/null 2>&1 &
  pid=$!
  sleep "$(awk -v s="$RANDOM" 'BEGIN { srand(s); printf "%.2f", 4 + rand() * 3 }')"
  killed=$(date +%s.%N)
  kill -9 "$pid"
  wait "$pid" 2>/dev/null || true
  file="$(ls -t "$station"/Recorder/*.pcapng.zst | head -1)"
  last="$(tshark -r "$file" -T fields -e frame.time_epoch 2>/dev/null | tail -1 || true)"
  [ -n "$last" ] || { echo "run $i: tshark reads nothing from $file"; exit 1; }
  loss="$(awk -v k="$killed" -v l="$last" 'BEGIN { printf "%.3f", k - l }')"
  losses+=("$loss")
  awk -v x="$loss" 'BEGIN { exit !(x <= 1.5) }' || { echo "run $i: the last packet is $loss s before the kill"; exit 1; }
done
printf '%s\n' "${losses[@]}" | awk -v n="$runs" '{ s += $1; if ($1 > m) m = $1 } END {
  printf "%d kills: every file read by tshark; traffic lost before the kill: worst %.3f s, mean %.3f s\n", n, m, s / n }'
