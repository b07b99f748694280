#!/bin/sh
# The part of scripts/test-package.sh that runs in the pristine Debian root: once before and once after its reboot. Without
# a systemd that runs there, only what the package does to files is looked at.
#
# Usage: trial.sh install | after-reboot     Reads /trial/*.deb, writes /trial/result.
set -eu

own=/etc/datacollector/DataCollectorGeneric.cfg
shared=/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg
linked=/root/DataCollectorAppComponent/etc/Config/DataCollectorGeneric.cfg
databases=/vorl/disk/AppData/K740/DataCollector/Db
with_systemd=no
[ ! -d /run/systemd/system ] || with_systemd=yes
export DEBIAN_FRONTEND=noninteractive LC_ALL=C

say() { echo "trial: $1"; }

fail() {
  echo "trial: FAILED: $1" >&2
  if [ $with_systemd = yes ]; then
    systemctl --no-pager -l status datacollector mosquitto >&2 || true
    journalctl --no-pager -n 40 >&2 || true
  fi
  exit 1
}

# Waits for a condition, at most so many seconds.
wait_for() {
  tries=$(($1 * 5))
  shift
  until "$@"; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || return 1
    sleep 0.2
  done
}

install_package() { dpkg --force-confold -i "$1" >/trial/dpkg.log 2>&1 || { cat /trial/dpkg.log >&2; fail "dpkg -i $1"; }; }

files_stand() {
  [ "$(cat "$linked")" = "$(cat "$own")" ] || fail "$linked is not the package's file"
  grep -q '^enablelanmqtt = 1;' "$shared" || fail "$shared, which is the user's, has changed"
  [ -f /root/FixedPacketAppComponent/etc/Config/FixedPacketConfig.cfg ] || fail "a shared file is missing"
  [ -x /bin/DatabaseInterface.sh ] || fail "the table script is missing"
}

# How many rows are stored, and how many confirmed, of all kinds.
rows() {
  for pair in AIODataCollectorDB.db:AIO_table DIODataCollectorDB.db:DIO_table \
    TemperatureDataCollectorDB.db:Temperature_table EMeterRS485DataCollectorDb.db:EnergyMeter_RS485_table \
    RS232DataCollectorDb.db:RS232_table SNMPDataCollectorDb.db:SNMP_table; do
    sqlite3 -cmd '.timeout 5000' "$databases/${pair%:*}" "SELECT count(*), total(TxStatus = 1) FROM ${pair#*:}"
  done | awk -F '|' '{ stored += $1; confirmed += $2 } END { print stored, confirmed }'
}
rows_are() { [ "$(rows)" = "$1 $1" ]; }

subscribed() { [ "$(tail -c "+$1" /tmp/trace.log 2>/dev/null | grep -ac 'Subscribed (mid:')" -ge 18 ]; }
trace_end() { echo $(($(stat -c %s /tmp/trace.log 2>/dev/null || echo 0) + 1)); }

# 20 records of each kind, all stored and confirmed.
publish() {
  gateway-sim --rate 5 --count 20 --meters 2 --lines 2 --settle 40 --trace /tmp/trace.log --no-summary \
    --expect-all-stored --expect-all-confirmed >/trial/simulator.log 2>&1 || {
    tail -n 20 /trial/simulator.log >&2
    fail "the simulator's records"
  }
  expected=$((expected + 120))
  wait_for 20 rows_are "$expected" || fail "the tables hold $(rows), not $expected confirmed records"
  say "$expected records are stored and confirmed"
}

# Runs a command that restarts the daemon, and waits until it is subscribed again.
restarted_by() {
  from=$(trace_end)
  "$@"
  wait_for 40 subscribed "$from" || fail "not subscribed after: $*"
  wait_for 5 rows_are "$expected" || fail "the tables hold $(rows) after: $*"
}

rotation_works() {
  head -c 600000 /dev/zero | tr '\0' x >>/tmp/Log/DataCollectorApp/DataCollectorLog.txt
  systemctl start datacollector-logrotate.service || fail "the rotation"
  [ -f /tmp/Log/DataCollectorApp/DataCollectorLog.txt.1 ] || fail "the log is not rotated"
  [ "$(stat -c %s /tmp/Log/DataCollectorApp/DataCollectorLog.txt)" -lt 512000 ] || fail "the log is not cut"
  say "the log rotates"
}

service_stands() {
  [ "$(systemctl show -P User datacollector)" = datacollector ] || fail "the daemon's user"
  systemctl is-enabled --quiet datacollector.service datacollector-logrotate.timer || fail "not enabled"
  exposure=$(systemd-analyze security --no-pager datacollector.service | sed -n 's/.*level for [^:]*: \([0-9.]*\).*/\1/p')
  say "exposure: $exposure"
  awk "BEGIN { exit !($exposure <= 2.0) }" || fail "the unit is exposed"
}

install_and_upgrade() {
  expected=0
  # What a user has set up before.
  mkdir -p "${shared%/*}"
  sed 's/^enablelanmqtt = 0;/enablelanmqtt = 1;/' /trial/DataSourcesConfig.cfg >"$shared"
  if [ $with_systemd = yes ]; then
    mkdir -p /etc/systemd/system/datacollector.service.d
    printf '[Service]\nStandardOutput=append:/tmp/trace.log\n' >/etc/systemd/system/datacollector.service.d/trial.conf
    restarted_by_install=$(trace_end)
  fi
  install_package /trial/first.deb
  files_stand
  say "installed"
  if [ $with_systemd = yes ]; then
    wait_for 60 subscribed "$restarted_by_install" || fail "the daemon does not subscribe"
    service_stands
    publish
    restarted_by systemctl restart datacollector
    rotation_works
  fi
  sed -i 's/^MaxAppDataReqId = .*/MaxAppDataReqId = 4711;/' "$own"
  for package in second first; do
    if [ $with_systemd = yes ]; then
      restarted_by install_package "/trial/$package.deb"
      publish
    else
      install_package "/trial/$package.deb"
    fi
    grep -q '^MaxAppDataReqId = 4711;' "$own" || fail "the user's edit is lost"
    files_stand
  done
  say "upgraded and downgraded, the user's edit stands"
  echo "$expected" >/trial/expected
}

remove_and_purge() {
  expected=$(cat /trial/expected)
  if [ $with_systemd = yes ]; then
    wait_for 60 subscribed 1 || fail "the daemon is not back after the reboot"
    rows_are "$expected" || fail "the tables hold $(rows) after the reboot"
    publish
  fi
  dpkg -r datacollector >/trial/dpkg.log 2>&1 || fail "dpkg -r"
  [ -f "$own" ] || fail "removal took the user's configuration"
  [ ! -e /usr/bin/DataCollector ] || fail "the daemon is still there"
  if [ $with_systemd = yes ]; then
    ! pgrep -x DataCollector >/dev/null || fail "the daemon still runs"
  fi
  dpkg -P datacollector >/trial/dpkg.log 2>&1 || fail "dpkg -P"
  [ ! -e /etc/datacollector ] || fail "a purge leaves $(ls -d /etc/datacollector/*)"
  [ ! -L /root/DataCollectorAppComponent/etc/Config ] || fail "a purge leaves its link"
  grep -q '^enablelanmqtt = 1;' "$shared" || fail "the user's shared file is gone"
  [ $with_systemd = no ] || rows_are "$expected" || fail "a purge took records"
  say "removed and purged; the user's files and the records are there"
}

rm -f /trial/result
case $1 in
  install) install_and_upgrade ;;
  after-reboot) remove_and_purge ;;
esac
echo passed >/trial/result
