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
# /tmp), never to the tree itself. The tests of a fault run one after another in the order of its
# Tests: line, and the first that fails catches it: put the quickest one that walks the path first.
# A fault is caught when one of its tests fails; a patch that no longer applies or builds, or that
# names a test the build does not have, is told as such, and counts as neither. Too slow for CI
# (each fault rebuilds what its tests need and runs whole test executables): run it before a change
# to the tests.
set -euo pipefail
# Read whole before it runs: the script may be edited while it runs its hour.
main() {
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
faults=("$root"/scripts/mutants/*.patch)
field() { sed -n "s/^$1: *//p" "$2" | head -1; }

if [ "${1:-}" = "--list" ]; then
  for f in "${faults[@]}"; do printf '%-42s %-22s %s\n' "$(basename "$f" .patch)" "$(field Tests "$f")" "$(field Fault "$f")"; done
  exit 0
fi
if (($#)); then
  chosen=()
  for f in "${faults[@]}"; do for w in "$@"; do [[ "$(basename "$f")" == *"$w"* ]] && chosen+=("$f") && break; done; done
  faults=("${chosen[@]}")
fi

"$root/scripts/deps.sh" --browser >/dev/null
scratch="${MUTANT_DIR:-/tmp/tarvek-mutants}"
mkdir -p "$scratch/src"
scratch="$(cd "$scratch" && pwd)"
# The scratch copy is no git work tree of its own, even inside one: git apply patches it as files.
export GIT_CEILING_DIRECTORIES="$scratch"

# The working tree as it is (committed or not, but what git ignores). A file is copied only when its
# content differs from the scratch copy's, and then gets a new time: the build redoes exactly what
# changed, and a fault left applied by an interrupted run is undone and rebuilt, never kept.
declare -A wanted=()
copied_lock=0
while IFS= read -r -d '' f; do
  [ -f "$root/$f" ] || continue # deleted, not yet committed
  wanted["$f"]=1
  if ! cmp -s "$root/$f" "$scratch/src/$f"; then
    mkdir -p "$(dirname "$scratch/src/$f")"
    rm -f "$scratch/src/$f"
    cp --preserve=mode "$root/$f" "$scratch/src/$f"
    [ "$f" = web/package-lock.json ] && copied_lock=1
  fi
done < <(cd "$root" && git ls-files -z -co --exclude-standard)
# What the tree no longer has goes too: the build takes every file of a folder.
while IFS= read -r -d '' f; do
  f="${f#./}"
  [ -n "${wanted["$f"]:-}" ] || rm -f "$scratch/src/$f"
done < <(cd "$scratch/src" && find . -path ./web/node_modules -prune -o -type f -print0)
if [ "$copied_lock" = 1 ] || [ ! -d "$scratch/src/web/node_modules" ]; then
  (cd "$scratch/src/web" && npm ci --no-audit --no-fund --silent >/dev/null)
fi

launcher=(); command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$scratch/src" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
echo "Building the unchanged tree in $scratch/build ..."
# A source file new to the scratch copy is listed for moc by the configure step, but Ninja does not
# run a target's moc step again for it: without its stamp, each runs and finds what is new.
find "$scratch/build" -path '*_autogen/timestamp' -delete
cmake --build "$scratch/build" -j "$(nproc)" >/dev/null
known="$(cd "$scratch/build" && ctest -N | sed -n 's/^ *Test *#[0-9]*: //p')"

# What a test needs built: its executable, or for the page's test the programs its demo runs.
targets_of() {
  case "$1" in
    plant_page) echo tarvek-station fadec-sim ;;
    *) echo "test_$1" ;;
  esac
}

results=()
caught=0 survived=0 broken=0
for f in "${faults[@]}"; do
  name="$(basename "$f" .patch)"
  read -r -a tests <<< "$(field Tests "$f")"
  verdict="" why=""
  targets=()
  for t in "${tests[@]}"; do
    grep -qxF "$t" <<< "$known" || { verdict="NOTEST"; why="no test named \"$t\" in the build"; break; }
    read -r -a more <<< "$(targets_of "$t")"
    targets+=("${more[@]}")
  done
  if [ -z "$verdict" ] && [ "${#tests[@]}" -eq 0 ]; then
    verdict="NOTEST" why="no Tests: line"
  fi
  if [ -z "$verdict" ] && ! (cd "$scratch/src" && git apply -p1 "$f" 2>/dev/null); then
    verdict="STALE" why="the patch no longer applies"
  elif [ -z "$verdict" ]; then
    verdict="SURVIVED"
    if ! cmake --build "$scratch/build" -j "$(nproc)" --target "${targets[@]}" > "$scratch/$name.build.log" 2>&1; then
      verdict="NOBUILD" why="does not build (see $scratch/$name.build.log)"
    else
      : > "$scratch/$name.test.log"
      for t in "${tests[@]}"; do
        if ! (cd "$scratch/build" && QT_QPA_PLATFORM=offscreen ctest -R "^$t\$" --output-on-failure \
                >> "$scratch/$name.test.log" 2>&1); then
          verdict="caught"
          why="$(grep -m3 -oE '^FAIL!  : [A-Za-z_]+::[A-Za-z_]+' "$scratch/$name.test.log" | sed 's/^FAIL!  : //' | paste -sd, - || true)"
          [ -n "$why" ] || why="$(grep -m1 -oE '[0-9]+ - [a-z_]+ \([^)]*\)' "$scratch/$name.test.log" | sed 's/^[0-9]* - //' || true)"
          break
        fi
      done
    fi
    (cd "$scratch/src" && git apply -p1 -R "$f")
  fi
  case "$verdict" in
    caught) caught=$((caught + 1)) ;;
    SURVIVED) survived=$((survived + 1)) ;;
    *) broken=$((broken + 1)) ;;
  esac
  line="$(printf '%-42s %-10s %s' "$name" "$verdict" "$why")"
  results+=("$line")
  echo "$line"
done
# Build the unchanged tree again, so the scratch copy is left as it was.
cmake --build "$scratch/build" -j "$(nproc)" >/dev/null 2>&1 || true

echo
printf '%-42s %-10s %s\n' "fault" "verdict" "first tests that failed"
printf '%s\n' "${results[@]}"
echo
echo "$caught caught, $survived survived, $broken stale, not building or naming no test, of ${#faults[@]}"
[ "$survived" -eq 0 ] && [ "$broken" -eq 0 ]
}
main "$@"
exit
