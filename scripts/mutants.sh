#!/usr/bin/env bash
# Plants deliberate one-line faults, one at a time, and tells which ones the tests catch.
#
#   scripts/mutants.sh                 # every fault of scripts/mutants/*.patch
#   scripts/mutants.sh 03 plant        # only the faults whose file name contains 03 or plant
#   scripts/mutants.sh --list          # the faults and the tests each one runs
#
# Each fault is a small patch in scripts/mutants/, headed by two lines:
#   Fault: what goes wrong, in words
#   Tests: the CTest names that must catch it (protocol, serial, app, plant, plant_page, ...)
# The faults are applied to a scratch copy of the working tree (MUTANT_DIR, default a folder under
# /tmp), never to the tree itself. A fault is caught when one of its tests fails; a patch that no
# longer applies or builds is told as such, and counts as neither. Too slow for CI (each fault
# rebuilds what it touches and runs whole test executables): run it before a change to the tests.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
faults=("$root"/scripts/mutants/*.patch)
field() { sed -n "s/^$1: *//p" "$2" | head -1; }

if [ "${1:-}" = "--list" ]; then
  for f in "${faults[@]}"; do printf '%-34s %-22s %s\n' "$(basename "$f" .patch)" "$(field Tests "$f")" "$(field Fault "$f")"; done
  exit 0
fi
if (($#)); then
  chosen=()
  for f in "${faults[@]}"; do for w in "$@"; do [[ "$(basename "$f")" == *"$w"* ]] && chosen+=("$f") && break; done; done
  faults=("${chosen[@]}")
fi

"$root/scripts/deps.sh" --browser >/dev/null
scratch="${MUTANT_DIR:-/tmp/tarvek-mutants}"
mkdir -p "$scratch"
# The working tree as it is (committed or not, but what git ignores), times kept so that a second
# run rebuilds only what changed.
rm -rf "$scratch/src" && mkdir -p "$scratch/src"
(cd "$root" && git ls-files -z -co --exclude-standard | tar --null -T - --ignore-failed-read -cf - 2>/dev/null) |
  tar -xf - -C "$scratch/src"
(cd "$scratch/src/web" && npm ci --no-audit --no-fund --silent >/dev/null)
launcher=(); command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$scratch/src" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
echo "Building the unchanged tree in $scratch/build ..."
cmake --build "$scratch/build" -j "$(nproc)" >/dev/null

results=()
caught=0 survived=0 broken=0
for f in "${faults[@]}"; do
  name="$(basename "$f" .patch)"
  tests="$(field Tests "$f")"
  if ! (cd "$scratch/src" && git apply -p1 "$f" 2>/dev/null); then
    results+=("$(printf '%-34s %-10s %s' "$name" "STALE" "the patch no longer applies")"); broken=$((broken + 1))
    continue
  fi
  verdict="SURVIVED" why=""
  if ! cmake --build "$scratch/build" -j "$(nproc)" > "$scratch/$name.build.log" 2>&1; then
    verdict="NOBUILD" why="does not build (see $scratch/$name.build.log)"
  else
    pattern="^($(echo "$tests" | tr ' ' '|'))\$"
    if ! (cd "$scratch/build" && QT_QPA_PLATFORM=offscreen ctest -R "$pattern" -j "$(nproc)" \
            --output-on-failure > "$scratch/$name.test.log" 2>&1); then
      verdict="caught"
      why="$(grep -m3 -oE '^FAIL!  : [A-Za-z_]+::[A-Za-z_]+' "$scratch/$name.test.log" | sed 's/^FAIL!  : //' | paste -sd, -)"
      [ -n "$why" ] || why="$(grep -m1 -oE '[0-9]+ - [a-z_]+ \(Failed\)' "$scratch/$name.test.log" || true)"
    fi
  fi
  (cd "$scratch/src" && git apply -p1 -R "$f")
  case "$verdict" in
    caught) caught=$((caught + 1)) ;;
    SURVIVED) survived=$((survived + 1)) ;;
    *) broken=$((broken + 1)) ;;
  esac
  line="$(printf '%-34s %-10s %s' "$name" "$verdict" "$why")"
  results+=("$line")
  echo "$line"
done
# Build the unchanged tree again, so the scratch copy is left as it was.
cmake --build "$scratch/build" -j "$(nproc)" >/dev/null 2>&1 || true

echo
printf '%-34s %-10s %s\n' "fault" "verdict" "first tests that failed"
printf '%s\n' "${results[@]}"
echo
echo "$caught caught, $survived survived, $broken stale or not building, of ${#faults[@]}"
[ "$survived" -eq 0 ] && [ "$broken" -eq 0 ]
