#!/usr/bin/env bash
# Writes a Mosquitto configuration for the plant view into DIR: mosquitto.conf, and a password file
# and an access list for each kind of client.
#   plant-broker-config.sh DIR single|site|central [options]
#     single   one broker: the stations publish to it, the page reads it
#     site     a hall's broker: its stations publish to it; it bridges their topics to the central
#     central  the plant's broker: the halls' bridges write to it, the page reads it
#   --stations "st1 st2"    station user names (single, site); each is also the station's name
#   --halls "hall1 hall2"   bridge user names (central)
#   --hall NAME --central HOST:PORT   this hall's bridge user and the central broker (site)
#   --page-user NAME        the page's read-only user (default page; single, central)
#   --station-port N        MQTT for the stations, or on a central broker the bridges (default 1883)
#   --page-port N           MQTT on WebSockets for the page, serving --www DIR (default 9001; 0: none)
#   --reader-port N         plain MQTT for the page's user, for scripts that read the plant (default: none)
#   --bind ADDRESS          listen on this address only (default: every address)
# Each user's password is read from DIR/USER.password; a missing one is made up and written there
# (readable by its owner only): hand it to the station's password file, or to the page's users.
#
# Identity: the stations' listener knows only the stations' users, and makes each one's client id
# its user name (use_username_as_clientid): only the holder of a station's password can be, or
# take over, that station. The page's listeners know only the page's users, and every client id
# must begin with "tarvek-" (clientid_prefixes; the page uses tarvek-page-<user>-<random>), which
# no station's user name does: no page can collide with a station, nor two pages with each other.
# The access lists let each station write only tarvek/<its user>/#, and the page only read.
set -euo pipefail
dir="${1:?DIR}"; role="${2:?single, site or central}"; shift 2
stations="" halls="" hall="" central="" page_user=page station_port=1883 page_port=9001 reader_port=0 bind="" www=""
while (($#)); do
  case "$1" in
    --stations) stations="$2" ;; --halls) halls="$2" ;; --hall) hall="$2" ;; --central) central="$2" ;;
    --page-user) page_user="$2" ;; --station-port) station_port="$2" ;; --page-port) page_port="$2" ;;
    --reader-port) reader_port="$2" ;; --bind) bind="$2" ;; --www) www="$2" ;;
    *) echo "plant-broker-config.sh: unknown option $1" >&2; exit 64 ;;
  esac
  shift 2
done
case "$role" in single|site|central) ;; *) echo "plant-broker-config.sh: single, site or central, not $role" >&2; exit 64 ;; esac
for user in $stations $halls; do
  case "$user" in tarvek-*|*/*|*+*|*#*) echo "plant-broker-config.sh: no station or hall may be named $user" >&2; exit 64 ;; esac
done
if [ "$role" = site ] && { [ -z "$hall" ] || [ -z "$central" ]; }; then
  echo "plant-broker-config.sh: a site needs --hall and --central" >&2; exit 64
fi
[ "$role" = site ] && page_port=0 && reader_port=0

mkdir -p "$dir"
password() { # the user's password, made up when missing
  local file="$dir/$1.password"
  if [ ! -s "$file" ]; then
    (umask 077; head -c 12 /dev/urandom | base64 | tr -d '/+=' > "$file")
  fi
  head -n 1 "$file"
}
passwords() { # FILE USER...
  local file="$1"; shift
  : > "$file"
  for user in "$@"; do mosquitto_passwd -b "$file" "$user" "$(password "$user")"; done
}
if [ "$role" = central ]; then
  # shellcheck disable=SC2086
  passwords "$dir/writers.passwd" $halls
  for h in $halls; do printf 'user %s\ntopic write tarvek/#\n' "$h"; done > "$dir/writers.acl"
else
  # shellcheck disable=SC2086
  passwords "$dir/writers.passwd" $stations
  echo "pattern write tarvek/%u/#" > "$dir/writers.acl"
fi
passwords "$dir/page.passwd" "$page_user"
printf 'user %s\ntopic read tarvek/#\n' "$page_user" > "$dir/page.acl"

reader_listener() { # PORT [websockets]
  echo "listener $1 $bind"
  [ -z "${2:-}" ] || echo "protocol websockets"
  [ -z "${2:-}" ] || [ -z "$www" ] || echo "http_dir $www"
  echo "password_file $dir/page.passwd"
  echo "acl_file $dir/page.acl"
  echo "allow_anonymous false"
}
{
  echo "# The Tarvek plant view: a $role broker (written by plant-broker-config.sh)."
  echo "per_listener_settings true"
  echo "clientid_prefixes tarvek-"
  echo "set_tcp_nodelay true"
  echo "max_queued_messages 10000"
  echo
  if [ "$role" = central ]; then
    echo "# The halls' bridges: client id = user name; each writes its hall's stations."
  else
    echo "# The stations: client id = user name; each writes only tarvek/<its user>/."
  fi
  echo "listener $station_port $bind"
  echo "password_file $dir/writers.passwd"
  echo "acl_file $dir/writers.acl"
  echo "allow_anonymous false"
  echo "use_username_as_clientid true"
  if [ "$page_port" != 0 ]; then
    echo
    echo "# The plant page over WebSockets, and its files: read only."
    reader_listener "$page_port" websockets
  fi
  if [ "$reader_port" != 0 ]; then
    echo
    echo "# The page's user on plain MQTT, for scripts that read the plant: read only."
    reader_listener "$reader_port"
  fi
  if [ "$role" = site ]; then
    echo
    echo "# Every station's topics go to the central broker, retained ones with their remaining age."
    echo "connection tarvek-$hall"
    echo "address $central"
    echo "bridge_protocol_version mqttv50"
    echo "remote_clientid tarvek-bridge-$hall"
    echo "remote_username $hall"
    echo "remote_password $(password "$hall")"
    echo "topic tarvek/# out 1"
    echo "notifications false"
    echo "restart_timeout 1 10"
  fi
} > "$dir/mosquitto.conf"
# Mosquitto started as root drops to its own user: its group may read the files (a site's
# configuration holds the bridge's password), nobody else.
files=("$dir/mosquitto.conf" "$dir"/*.passwd "$dir"/*.acl)
if [ "$(id -u)" = 0 ] && getent group mosquitto > /dev/null; then
  chgrp mosquitto "$dir" "${files[@]}"
  chmod 750 "$dir"
  chmod 640 "${files[@]}"
else
  chmod 700 "$dir"
  chmod 600 "${files[@]}"
fi
