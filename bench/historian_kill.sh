#!/usr/bin/env bash
# Kills the station with SIGKILL while its historian writes, N times (default 50) at random
# moments, against six simulated engines, and checks after each kill that Historian.sqlite opens,
# that PRAGMA integrity_check says ok and that at most the last second before the kill is missing.
# Uses the sqlite3 command-line program, installed here when missing.
#   bench/historian_kill.sh [N]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
if ! command -v sqlite3 >/dev/null; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq && DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq sqlite3
fi
build="${BUILD_DIR:-$root/build}"
runs="${1:-50}"
work="$(mktemp -d)"
ports="$work/ports"; station="$work/station"
mkdir -p "$ports" "$station"
for n in 1 2 3 4 5 6; do printf '"%d"\r\n"1"\r\n' "$n"; done > "$station/ParamComx.ini"
{ for n in 1 2 3 4 5 6; do printf '%s\r\n' "$ports/COM$n"; done; for n in $(seq 7 14); do printf '\r\n'; done; } \
  > "$station/ComDevices.ini"
mkfifo "$work/control"
exec 3<>"$work/control"
"$build/src/sim/program/fadec-sim" --engines 6 --dir "$ports" <&3 > "$work/sim.log" 2>&1 &
sim=$!
trap 'kill "$sim" 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 1 100); do [ -e "$ports/COM6" ] && break; sleep 0.1; done

db="$station/Historian.sqlite"
worst=0
for i in $(seq 1 "$runs"); do
  QT_QPA_PLATFORM=offscreen "$build/src/app/tarvek-station" --folder "$station" > /dev/null 2>&1 &
  pid=$!
  sleep "$(awk -v s="$RANDOM" 'BEGIN { srand(s); printf "%.2f", 4 + rand() * 3 }')"
  killed=$(date +%s)
  kill -9 "$pid"
  wait "$pid" 2>/dev/null || true
  check="$(sqlite3 "$db" 'PRAGMA integrity_check;')"
  last="$(sqlite3 "$db" 'SELECT max(t) FROM samples WHERE link = 1;')"
  [ "$check" = "ok" ] || { echo "run $i: integrity_check says: $check"; exit 1; }
  [ -n "$last" ] || { echo "run $i: no value rows"; exit 1; }
  missing=$((killed - last))
  ((missing > worst)) && worst=$missing
  ((missing <= 2)) || { echo "run $i: the last value row is $missing s before the kill"; exit 1; }
done
echo "$runs kills: integrity_check ok each time, $(sqlite3 "$db" 'SELECT count(*) FROM samples;') rows," \
     "at most $worst s between the last row kept and the kill"
