#!/usr/bin/env bash
# Kills the station with SIGKILL while its historian writes, N times (default 50) at random
# moments, against six simulated engines, and checks after each kill that Historian.sqlite opens,
# that PRAGMA integrity_check says ok and that at most the last second before the kill is missing.
# The folder starts with a file of the first layout (a day of six engines, a row a second), so the
# first kills also fall while that file is being packed into blocks: no row of it may go missing.
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
source "$root/scripts/lib/simulated-engines.sh"
simulated_engines_in_scratch "$build"

db="$station/Historian.sqlite"
values="motor,fan1,fan2,mat,sht,lpc,lfc,vis,ir,rh,sbv,vcc"
sqlite3 "$db" > /dev/null <<SQL
PRAGMA journal_mode=WAL; PRAGMA application_id=$((0x54524B48)); PRAGMA user_version=1;
CREATE TABLE samples(t INTEGER NOT NULL, engine INTEGER NOT NULL, link INTEGER NOT NULL, phase INTEGER, fault INTEGER,
  ${values//,/ INTEGER,} INTEGER);
CREATE INDEX samples_engine_t ON samples(engine, t);
CREATE TABLE minutes(engine INTEGER NOT NULL, t INTEGER NOT NULL, first INTEGER, last INTEGER, broken INTEGER, fault INTEGER,
  $(for v in ${values//,/ }; do printf '%s_min INTEGER, %s_max INTEGER, ' "$v" "$v"; done) PRIMARY KEY(engine, t)) WITHOUT ROWID;
WITH RECURSIVE s(t) AS (SELECT strftime('%s','now') - 90000 UNION ALL SELECT t + 1 FROM s WHERE t < strftime('%s','now') - 3601),
  e(n) AS (VALUES(1),(2),(3),(4),(5),(6))
INSERT INTO samples SELECT t, n, 1, 5, 20, 100, 80, 80, 40 + t % 3, 30, 100 + (t * n) % 5, 60, 80, 50, 45, 75, 50 FROM s, e;
SQL
seeded="$(sqlite3 "$db" 'SELECT count(*) FROM samples;')"
rows() { sqlite3 "$db" 'SELECT (SELECT count(*) FROM samples) + (SELECT coalesce(sum(rows), 0) FROM blocks);'; }
worst=0
for i in $(seq 1 "$runs"); do
  QT_QPA_PLATFORM=offscreen "$build/src/app/tarvek-station" --folder "$station" > /dev/null 2>&1 &
  pid=$!
  sleep "$(awk -v s="$RANDOM" 'BEGIN { srand(s); printf "%.2f", 4 + rand() * 3 }')"
  killed=$(date +%s)
  kill -9 "$pid"
  wait "$pid" 2>/dev/null || true
  check="$(sqlite3 "$db" 'PRAGMA integrity_check;')"
  # The last second with values: open rows, or the minutes summed up before their rows were packed.
  last="$(sqlite3 "$db" 'SELECT max(t) FROM (SELECT max(t) AS t FROM samples WHERE link = 1 UNION ALL SELECT max(last) FROM minutes);')"
  [ "$check" = "ok" ] || { echo "run $i: integrity_check says: $check"; exit 1; }
  [ -n "$last" ] || { echo "run $i: no value rows"; exit 1; }
  kept="$(rows)"
  ((kept >= seeded)) || { echo "run $i: $kept rows, fewer than the $seeded of the first layout"; exit 1; }
  missing=$((killed - last))
  ((missing > worst)) && worst=$missing
  ((missing <= 2)) || { echo "run $i: the last value row is $missing s before the kill"; exit 1; }
done
echo "$runs kills: integrity_check ok each time, $(rows) rows ($seeded of them from the first layout," \
     "$(sqlite3 "$db" 'SELECT count(*) FROM blocks;') blocks, $(sqlite3 "$db" 'PRAGMA user_version;') the layout)," \
     "at most $worst s between the last row kept and the kill"
