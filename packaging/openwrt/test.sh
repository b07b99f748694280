#!/bin/bash
# Tests the OpenWrt package's scripts on a Debian machine: busybox's shell and tools, and stubs in the place of procd, UCI
# and the logger that record how they are called. README.md says what this leaves untested.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
files=$PWD/files
checkout=$(cd ../.. && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "openwrt/test.sh: FAILED: $1" >&2
  exit 1
}

# Nothing but busybox's own applets, and the sqlite3 tool.
mkdir "$work/bin"
for applet in $(busybox --list); do ln -s "$(command -v busybox)" "$work/bin/$applet"; done
ln -s "$(command -v sqlite3)" "$work/bin/sqlite3"
busybox=$(command -v busybox)
in_busybox() { env -i PATH="$work/bin" HOME="$work" "${environment[@]}" "$busybox" ash "$@"; }
environment=(X=)

for script in "$files"/{datacollector.init,datacollector.defaults,rotate-log,network-status}; do
  shellcheck -s dash -e SC3043 "$script"
  in_busybox -n "$script"
done

# init CALL: a function of the init script between stubs; prints what was called.
cat >"$work/stubs" <<'STUBS'
config_load() { echo "config_load $*"; }
config_get() { case $3 in disk) disk=/vorl/disk ;; gpio) light=42 ;; esac; }
logger() { echo "logger $*"; }
mkdir() { echo "mkdir $*"; }
for call in open_instance set_param close_instance add_reload_trigger add_restart_mount_trigger; do
  eval "procd_$call() { echo procd_$call \"\$@\"; }"
done
STUBS
mkdir -p "$work/gpio"
: >"$work/gpio/export"
init() { in_busybox -c ". $work/stubs; . $files/datacollector.init; $1"; }

echo 'overlayfs:/overlay / overlay rw 0 0' >"$work/mounts"
environment=(PROC_MOUNTS="$work/mounts" SYS_GPIO="$work/gpio")
if called=$(init start_service); then fail "starts without the disk"; fi
[[ $called != *procd_open_instance* ]] || fail "an instance without the disk"
[[ $called != *mkdir* ]] || fail "a folder on the overlay"
[[ $called == *'logger -t datacollector -p daemon.err /vorl/disk is not mounted: not started'* ]] || fail "no word in the log"

echo '/dev/sda1 /vorl/disk ext4 rw 0 0' >>"$work/mounts"
wanted='config_load datacollector
mkdir -p /vorl/disk/AppData/K740
procd_open_instance
procd_set_param command /usr/bin/DataCollector
procd_set_param respawn 0 5 0
procd_set_param stdout 0
procd_set_param stderr 1
procd_set_param term_timeout 5
procd_close_instance'
[ "$(init start_service)" = "$wanted" ] || fail "the instance: $(init start_service)"
[ "$(cat "$work/gpio/export")" = 42 ] || fail "the light is not exported"
[[ $(init service_triggers) == *'procd_add_restart_mount_trigger /vorl/disk'* ]] || fail "no restart at a mount"

# The rotation: by size, one old file.
log=$work/log
echo short >"$log"
environment=(X=)
in_busybox "$files/rotate-log" "$log"
[ ! -e "$log.1" ] || fail "a small log was rotated"
head -c 600000 /dev/zero >"$log"
in_busybox "$files/rotate-log" "$log"
[ ! -e "$log" ] || fail "a large log was not rotated"
[ "$(stat -c %s "$log.1")" = 600000 ] || fail "the old log is not whole"

status=$work/networkstatus
hotplug() {
  environment=(INTERFACE="$1" ACTION="$2" NETWORK_STATUS="$status")
  in_busybox "$files/network-status"
}
hotplug wan ifup
[ "$(cat "$status")" = 1 ] || fail "ifup"
hotplug lan ifdown
[ "$(cat "$status")" = 1 ] || fail "another interface"
hotplug wan ifdown
[ "$(cat "$status")" = 0 ] || fail "ifdown"

# The table script.
environment=(X=)
for columns in "$checkout"/gateway/Config/root/DataCollectorAppComponent/etc/Config/*Columns*.cfg; do
  name=$(basename "$columns" .cfg)
  in_busybox "$checkout/gateway/DatabaseInterface.sh" --command create_table --databasepath "$work/Db" \
    --database "$name.db" --table a_table --config "$columns" || fail "the table script on $name"
  [ "$(sqlite3 "$work/Db/$name.db" "SELECT count(*) > 10 FROM pragma_table_info('a_table')")" = 1 ] || fail "$name"
done
echo "openwrt/test.sh: passed"
