#!/usr/bin/env bash
# The test suite built with the address and undefined-behaviour sanitizers in build-asan/
# (SANITIZE_BUILD_DIR overrides) and run by ctest.
#   scripts/sanitize.sh                    every test executable
#   scripts/sanitize.sh settings protocol  only those (tests/<subsystem>)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh" --tests
build="${SANITIZE_BUILD_DIR:-$root/build-asan}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTARVEK_SANITIZE=ON >/dev/null
if (($#)); then
  targets=()
  for s in "$@"; do targets+=("test_$s"); done
  # Some tests run a program of the project.
  [[ " $* " == *" sim "* ]] && targets+=(fadec-sim)
  [[ " $* " == *" app "* ]] && targets+=(tarvek-station)
  cmake --build "$build" -j "$(nproc)" --target "${targets[@]}"
  selection=(-R "^($(IFS='|'; echo "$*"))\$")
else
  cmake --build "$build" -j "$(nproc)"
  selection=()
fi
export QT_QPA_PLATFORM=offscreen
# Leaks inside the system's fonts and graphics libraries are not ours.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$root/tests/lsan.supp:print_suppressions=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
cd "$build" && ctest --output-on-failure -j "$(nproc)" "${selection[@]}"
