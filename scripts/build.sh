#!/usr/bin/env bash
# Installs what is missing, configures and builds into build/ (BUILD_DIR overrides).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="${BUILD_DIR:-$root/build}"
werror=OFF; [ -n "${CI:-}" ] && werror=ON
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" \
      -DTARVEK_WERROR="${TARVEK_WERROR:-$werror}" >/dev/null
cmake --build "$build" -j "$(nproc)"
