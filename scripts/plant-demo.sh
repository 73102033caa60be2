#!/usr/bin/env bash
# The plant view on one machine: Mosquitto on loopback with a generated configuration, two
# stations (st1, st2) each on six simulated engines publishing to it, and the plant page served by
# Mosquitto itself. Prints the page's address and its log-in. Ctrl+C ends it all.
#   PLANT_MQTT_PORT (18830) and PLANT_WEB_PORT (18831) choose the ports; DEMO_SECONDS ends the demo
#   after that long (without a screen the stations run offscreen, for 600 s by default).
# Steer an engine: echo "silence 3 on" > <demo folder>/st1/sim-control   (see "help")
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
[ -n "${PLANT_DEMO_NO_BUILD:-}" ] || "$root/scripts/build.sh" tarvek-station fadec-sim
build="${BUILD_DIR:-$root/build}"
mqtt_port="${PLANT_MQTT_PORT:-18830}"
web_port="${PLANT_WEB_PORT:-18831}"
[ -e "$root/web/node_modules/mqtt/dist/mqtt.min.js" ] || (cd "$root/web" && npm ci --omit=dev --no-audit --no-fund)

# Mosquitto started as root drops to its own user: everything it reads lives in a folder it may read.
demo="$(mktemp -d /tmp/tarvek-plant.XXXXXX)"
chmod 755 "$demo"
mkdir -p "$demo/www"
cp "$root/web/plant/"* "$root/web/node_modules/mqtt/dist/mqtt.min.js" "$demo/www/"
chmod -R a+rX "$demo/www"
# The broker as the project ships it: a station's client id is its user name, and it writes only
# tarvek/<station>/; the page only reads (scripts/plant-broker-config.sh).
"$root/scripts/plant-broker-config.sh" "$demo/broker" single --stations "st1 st2" --bind 127.0.0.1 \
  --station-port "$mqtt_port" --page-port "$web_port" --www "$demo/www"
page_password="$(cat "$demo/broker/page.password")"
echo "log_dest file $demo/mosquitto.log" >> "$demo/broker/mosquitto.conf"
touch "$demo/mosquitto.log" && chmod 666 "$demo/mosquitto.log"

pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$demo"
}
trap cleanup EXIT
trap 'exit 0' INT TERM
mosquitto -c "$demo/broker/mosquitto.conf" &
pids+=($!)
echo "$!" > "$demo/broker.pid"

for st in st1 st2; do
  dir="$demo/$st"
  mkdir -p "$dir/ports" "$dir/station"
  for n in 1 2 3 4 5 6; do printf '"%d"\r\n"1"\r\n' "$n"; done > "$dir/station/ParamComx.ini"
  { for n in 1 2 3 4 5 6; do printf '%s\r\n' "$dir/ports/COM$n"; done; for n in $(seq 7 14); do printf '\r\n'; done; } \
    > "$dir/station/ComDevices.ini"
  printf '"1"\r\n"127.0.0.1"\r\n"%s"\r\n"%s"\r\n"%s"\r\n"%s"\r\n""\r\n' "$mqtt_port" "$st" "$st" "$demo/broker/$st.password" \
    > "$dir/station/Plant.ini"
  mkfifo "$dir/sim-control"
  exec {fd}<>"$dir/sim-control"
  "$build/src/sim/program/fadec-sim" --engines 6 --dir "$dir/ports" --quiet <&"$fd" > "$dir/sim.log" 2>&1 &
  pids+=($!)
  for _ in $(seq 1 100); do [ -e "$dir/ports/COM6" ] && break; sleep 0.1; done
  station_args=(--folder "$dir/station")
  if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"
  fi
  "$build/src/app/tarvek-station" "${station_args[@]}" > "$dir/station.log" 2>&1 &
  pids+=($!)
  echo "$!" > "$dir/station.pid"
done

echo "Plant page: http://127.0.0.1:$web_port/#user=page&password=$page_password"
echo "Log-in: user \"page\", password \"$page_password\" (read-only)."
echo "Broker: 127.0.0.1:$mqtt_port, files in $demo (station logs: $demo/st1/station.log)."
echo "Steer an engine: echo \"silence 3 on\" > $demo/st1/sim-control. Ctrl+C ends the demo."
echo "PLANT_DEMO_DIR=$demo"
sleep "${DEMO_SECONDS:-infinity}" &
pids+=($!)
wait $!
