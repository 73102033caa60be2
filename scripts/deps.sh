#!/usr/bin/env bash
# Installs the Debian packages the station needs to build, test and run, when any is missing.
# With --tests it adds tshark, which the recorder's test runs over a recording (the recordings are
# pcapng files that Wireshark reads; Debian's tshark 4.0 opens them zstd-compressed as they are).
# With --browser it adds those and chromium, which only the plant page's browser test needs (it is
# large).
# With --fuzz it adds clang, which only the fuzz targets need (scripts/fuzz.sh; the test command
# runs them when clang is there).
set -euo pipefail
# libzstd-dev: the historian compresses its packed seconds with zstd, and the recorder its files
# (which tshark reads). libssl-dev: the plant publisher checks the broker's TLS certificate against
# the host name as written; openssl: the plant tests make a throw-away CA and certificates with it.
# rapidjson-dev: the plant publisher writes the engines' states with its streaming writer.
packages=(cmake ninja-build g++ qt6-base-dev qt6-base-dev-tools qt6-serialport-dev libgl-dev
          libqt6sql6-sqlite xvfb xauth fonts-dejavu-core libmosquitto-dev mosquitto libzstd-dev
          libssl-dev openssl rapidjson-dev)
case "${1:-}" in --tests|--browser) packages+=(tshark) ;; esac
# The plant page's browser test needs a browser; the demo does not.
if [ "${1:-}" = "--browser" ]; then
  packages+=(chromium)
  command -v npm >/dev/null || packages+=(nodejs npm)
fi
[ "${1:-}" = "--fuzz" ] && packages+=(clang)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  # tshark's wireshark-common asks whether non-superusers may capture: they may not, and nobody is asked.
  echo "wireshark-common wireshark-common/install-setuid boolean false" | $sudo debconf-set-selections
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
