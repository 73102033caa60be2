#!/usr/bin/env bash
# The whole test suite from a fresh clone: installs what is missing, builds, runs every test.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/build.sh"
build="${BUILD_DIR:-$root/build}"
export QT_QPA_PLATFORM=offscreen
cd "$build" && ctest --output-on-failure -j "$(nproc)" "$@"
