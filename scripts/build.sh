#!/usr/bin/env bash
# Installs what is missing, configures and builds into build/ (BUILD_DIR overrides).
# With target names (scripts/build.sh tarvek-station fadec-sim) only those are built.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="${BUILD_DIR:-$root/build}"
# Warnings are errors when asked for (CI asks); otherwise the build keeps what it was configured
# with, so the test and demo commands share one build instead of rebuilding for each other.
options=(-DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}")
[ -n "${CI:-}" ] && options+=(-DTARVEK_WERROR=ON)
[ -n "${TARVEK_WERROR:-}" ] && options+=(-DTARVEK_WERROR="$TARVEK_WERROR")
cmake -S "$root" -B "$build" -G Ninja "${options[@]}" >/dev/null
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build "$build" -j "$(nproc)" "${targets[@]}"
