#!/usr/bin/env bash
# The whole test suite from a fresh clone: installs what is missing, builds, runs every test.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh" --browser # the plant page's test runs it in Chromium, with Node
"$root/scripts/build.sh"
(cd "$root/web" && npm ci --no-audit --no-fund)
build="${BUILD_DIR:-$root/build}"
export QT_QPA_PLATFORM=offscreen
# A few seconds of each fuzz target when clang is installed; nothing is lost without it. They
# run first so that CTest's summary closes the output.
if "$root/scripts/fuzz.sh" --available; then
  "$root/scripts/fuzz.sh" --seconds "${FUZZ_SECONDS:-5}"
else
  echo "clang with libFuzzer not installed: fuzz targets skipped"
fi
cd "$build" && ctest --output-on-failure -j "$(nproc)" "$@"
