#!/bin/bash
# The part of demo.sh that runs in the private root, where the daemon's absolute paths are its own.
#
# Usage: demo-gateway.sh BUILD SECONDS KINDS PAUSE [KEEP [SESSION]]
#   KINDS separated by commas, no "all"; PAUSE of a forwarding round in milliseconds, 1000: no fast rounds; a
#   SESSION that is not empty is kept
set -euo pipefail

# shellcheck source-path=SCRIPTDIR disable=SC1091
. "${BASH_SOURCE[0]%/*}/gateway-programs.sh"

build=$1 seconds=$2 kinds=$3 pause=$4 keep=${5:-} session=${6:-}
checkout=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=${keep:-/tmp/demo}
settings=/root/DataCollectorAppComponent/etc/Config
databases=/vorl/disk/AppData/K740/DataCollector/Db

# One record per kind every 2 s: the forwarding thread hands over at most one per kind in a little over a
# second, and after an outage it has to catch up. Fast rounds take ten times that. As many records as fit
# into the rings, which are to hold all of a run at its end.
ring_rows=1000
records_per_10_seconds=5
[ "$pause" -eq 1000 ] || records_per_10_seconds=50
records=$((seconds * 85 * records_per_10_seconds / 1000))
[ "$records" -le "$ring_rows" ] || records=$ring_rows
retry_seconds=5

# How long the daemon stays down when the broker keeps its session.
down_seconds=3

fail() {
  echo "demo: $1" >&2
  exit 1
}

# Leaves behind what is to be kept, however the demo ends. Called by the trap.
# shellcheck disable=SC2317
collect() {
  end_programs
  [ -z "$keep" ] || cp -r "$databases" /tmp/Log "$work/" 2>/dev/null || true
}
trap collect EXIT
trap 'exit 143' TERM INT HUP

now_ms() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }

# Waits until so many hundredths of the run have passed.
at_percent() {
  local left=$((started + seconds * 10 * $1 - $(now_ms)))
  [ "$left" -le 0 ] || sleep "$((left / 1000)).$(printf %03d $((left % 1000)))"
  kill -0 "$simulator" 2>/dev/null || fail "the simulator has ended too early"
}

note() { echo "$1" >"$work/note"; }

# set_number FILE KEY VALUE, where KEY is an extended regular expression that must occur.
set_number() {
  grep -qE "^$2 *=" "$1" || fail "no $2 in $1"
  sed -i -E "s/^($2 *= *)[0-9]+/\1$3/" "$1"
}

configure() {
  cp -r "$checkout/gateway/Config/root/." /root/
  local sources=/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg kind
  set_number "$sources" '[A-Za-z0-9]+DataSourceEnable' 0
  for kind in ${kinds//,/ }; do
    case $kind in
      rs485) set_number "$sources" 'EMeterRS485Line[12]DataSourceEnable' 1 ;;
      rs232) set_number "$sources" EMeterRS232Line1DataSourceEnable 1 ;;
      snmp) set_number "$sources" SNMPLine1DataSourceEnable 1 ;;
      *) set_number "$sources" "${kind^^}DataSourceEnable" 1 ;;
    esac
  done
  set_number "$sources" '[A-Za-z0-9]+DataSourcePerPublishInterval' "$retry_seconds"
  set_number "$settings/DataCollectorGeneric.cfg" DCDBPublishRetryInterval "$retry_seconds"
  [ "$pause" -eq 1000 ] ||
    echo "ForwardingRoundPauseInMilliSec = $pause;" >>"$settings/DataCollectorGeneric.cfg"
  [ -z "$session" ] || echo 'KeepSession = 1;' >>"$settings/DataCollectorMqtt.cfg"
}

# Whether every topic is subscribed, counted from the byte of the trace at which this start began.
# shellcheck disable=SC2317  # called by wait_for
subscribed() {
  kill -0 "$daemon" 2>/dev/null || fail "the daemon has ended: $(tail -n 3 "$work/errors.log")"
  [ "$(tail -c "+$1" "$work/trace.log" | grep -aoF 'Subscribed (mid:' | wc -l)" -ge \
    "$(grep -cE '^SubscribeTopic[0-9]+' "$settings/DataCollectorMqtt.cfg")" ]
}

start_daemon() {
  local from
  from=$(($(stat -c %s "$work/trace.log") + 1))
  "$build/DataCollector" >>"$work/trace.log" 2>>"$work/errors.log" &
  daemon=$!
  wait_for 30 subscribed "$from" || fail "the daemon does not subscribe"
}

stop_daemon() {
  local status=0
  kill -TERM "$daemon" 2>/dev/null || fail "the daemon has ended by itself"
  wait "$daemon" || status=$?
  daemon=
  [ "$status" -eq 0 ] || fail "the daemon ended with status $status"
}

start_simulator() {
  local shown=()
  [ "$pause" -eq 1000 ] || shown=(--fastest-second)
  "$build/gateway-sim" --kinds "$kinds" --rate "$((records_per_10_seconds / 10)).$((records_per_10_seconds % 10))" \
    --alarms 5 --meters 2 --lines 2 --count "$records" --settle "$seconds" --trace "$work/trace.log" \
    --report "$work/report" --note "$work/note" --no-summary "${shown[@]}" --expect-all-stored \
    --expect-all-confirmed &
  simulator=$!
  wait_for 10 grep -qs '^state running' "$work/report" || fail "the simulator does not start"
}

# Records that are published while the daemon is down never reach it, so the sources pause.
restart_with_pause() {
  note "the daemon is to be restarted"
  kill -USR1 "$simulator"
  wait_for 10 grep -q '^state paused' "$work/report" || fail "the simulator does not pause"
  note "the daemon is down"
  stop_daemon
  start_daemon
  note "the daemon is up again"
  kill -USR2 "$simulator"
}

# database, table, column of the running number and condition that a record is one of this run's
table_of() {
  case $1 in
    AIO) echo "AIODataCollectorDB.db AIO_table AI1 AI2='$run'" ;;
    DIO) echo "DIODataCollectorDB.db DIO_table DI1 DI2='$run'" ;;
    TEMPERATURE) echo "TemperatureDataCollectorDB.db Temperature_table Temperature1 Temperature2='$run'" ;;
    RS485) echo "EMeterRS485DataCollectorDb.db EnergyMeter_RS485_table REG1 REG2='$run'" ;;
    RS232) echo "RS232DataCollectorDb.db RS232_table REG1 REG2='$run'" ;;
    SNMP) echo "SNMPDataCollectorDb.db SNMP_table SNMPData SNMPData LIKE '%;run=$run;%'" ;;
  esac
}

# Rows of all tables.
rows_stored() {
  local run=none kind database table rows=0
  for kind in ${kinds//,/ }; do
    read -r database table _ <<<"$(table_of "${kind^^}")"
    rows=$((rows + $(sqlite3 "$databases/$database" "SELECT count(*) FROM $table")))
  done
  echo "$rows"
}

# The sources go on while the daemon is down, and the broker keeps what they publish. They pause while it arrives,
# so that nothing else does.
restart_with_session() {
  local before
  note "the daemon is down, the sources go on"
  stop_daemon
  before=$(rows_stored)
  sleep "$down_seconds"
  kill -USR1 "$simulator"
  start_daemon
  wait_for 10 grep -q '^state paused' "$work/report" || fail "what has waited does not arrive"
  echo "$(($(rows_stored) - before)) records were published while the daemon was down for $down_seconds s, and stored"
  note "the daemon is up again"
  kill -USR2 "$simulator"
}

# Compares what was published with what the tables hold. Returns 1 when a record is missing, stored twice or
# not confirmed.
check_tables() {
  local run kind published database table number condition stored rows confirmed result=0
  run=$(sed -n 's/^run //p' "$work/report")
  while read -r kind _ published _; do
    read -r database table number condition <<<"$(table_of "$kind")"
    IFS='|' read -r stored rows confirmed <<<"$(sqlite3 "$databases/$database" \
      "SELECT count(DISTINCT $number), count(*), count(DISTINCT CASE WHEN TxStatus = 1 THEN $number END)
       FROM $table WHERE $condition")"
    printf '%-12s published %4d   stored %4d   confirmed %4d   lost %4d' \
      "$kind" "$published" "$stored" "$confirmed" $((published - stored))
    [ "$rows" -eq "$stored" ] || printf '   stored twice %d' $((rows - stored))
    echo
    if ((published == 0 || stored != published || rows != stored || confirmed != published)); then
      result=1
    fi
  done < <(grep -v -e '^state ' -e '^run ' "$work/report")
  return "$result"
}

mkdir -p "$work"
touch "$work/note" "$work/trace.log" "$work/errors.log"

configure
echo 1 >/tmp/networkstatus
start_broker "$work/broker.log" || fail "the broker does not start"
start_daemon
start_simulator
started=$(now_ms)

at_percent 20
echo 0 >/tmp/networkstatus
note "the WAN is down"
at_percent 40
echo 1 >/tmp/networkstatus
note "the WAN is up again"
at_percent 50
if [ -n "$session" ]; then
  restart_with_session
else
  restart_with_pause
fi

result=0
wait "$simulator" || result=1
simulator=
echo
"$build/datacollectorctl" status --kind "$kinds" || true
[ -z "$keep" ] || "$build/datacollectorctl" status --html "$work/status.html" || true
stop_daemon
echo
echo "In the tables, after the daemon has stopped:"
check_tables || result=1
exit "$result"
