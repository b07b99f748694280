#!/bin/bash
# The part of soak.sh that runs in the private root.
#
# Usage: soak-gateway.sh BUILD MINUTES RATE
#
# A line a minute, at the end of its outage: "unsent" has waited through that, "evicted" is since the start.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR disable=SC1091
. "${BASH_SOURCE[0]%/*}/gateway-programs.sh"

build=$1 minutes=$2 rate=$3
checkout=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
settings=/root/DataCollectorAppComponent/etc/Config
log=/tmp/Log/DataCollectorApp/DataCollectorLog.txt
log_limit_kb=1024

trap end_programs EXIT

# shellcheck disable=SC2317  # called by wait_for
connected() { "$build/datacollectorctl" status --json | grep -q '"broker_connected": *true'; }

cp -r "$checkout/gateway/Config/root/." /root/
sed -i -E 's/^([A-Za-z0-9]+DataSourceEnable *= *)[0-9]+/\11/' /root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg
echo 'ForwardingRoundPauseInMilliSec = 10;' >>"$settings/DataCollectorGeneric.cfg"
echo 1 >/tmp/networkstatus
start_broker /tmp/broker.log || { echo "soak: the broker does not start" >&2; exit 1; }
"$build/DataCollector" >/dev/null 2>/tmp/errors.log &
daemon=$!
wait_for 30 connected || { echo "soak: the daemon does not connect" >&2; exit 1; }
sleep 3 # its subscriptions

"$build/gateway-sim" --rate "$rate" --count "$((minutes * 60 * rate))" --meters 2 --lines 2 --settle 60 --quiet \
  --expect-all-confirmed >/tmp/summary &
simulator=$!

field() { awk -v key="$1:" '$1 == key { print $2 }' "/proc/$daemon/status"; }
kilobytes() { du -sk "$1" 2>/dev/null | cut -f1; }

# The sum of a figure over all kinds.
total() {
  { "$build/datacollectorctl" status --metrics || true; } |
    awk -F '[ {]' -v name="datacollector_$1" '$1 == name || $1 == name "_total" { sum += $NF } END { print sum + 0 }'
}

# The log is moved away when it is large, as the rotation does.
rotate() { [ "$(kilobytes "$log" || echo 0)" -lt "$log_limit_kb" ] || mv "$log" "$log.1"; }

printf '%6s %10s %8s %12s %8s %13s %7s %7s %8s\n' \
  minute 'memory kB' 'peak kB' descriptors threads 'databases kB' 'log kB' unsent evicted
third_memory=0 third_descriptors=0 third_threads=0 memory=0 descriptors=0 threads=0
for ((minute = 1; minute <= minutes; ++minute)); do
  sleep 50
  echo 0 >/tmp/networkstatus
  sleep 10
  unsent=$(total unsent_records)
  echo 1 >/tmp/networkstatus
  rotate
  memory=$(field VmRSS) threads=$(field Threads)
  descriptors=$(find "/proc/$daemon/fd" -mindepth 1 | wc -l)
  printf '%6d %10d %8d %12d %8d %13d %7d %7d %8d\n' "$minute" "$memory" "$(field VmHWM)" "$descriptors" "$threads" \
    "$(kilobytes /vorl/disk/AppData)" "$(kilobytes /tmp/Log)" "$unsent" "$(total evicted_unsent_records_ever)"
  if ((minute <= (minutes + 2) / 3)); then
    third_memory=$((memory > third_memory ? memory : third_memory))
    third_descriptors=$((descriptors > third_descriptors ? descriptors : third_descriptors))
    third_threads=$threads
  fi
done

result=0
wait "$simulator" || result=1
simulator=
cat /tmp/summary
"$build/datacollectorctl" status || true
complain() {
  echo "soak: $1" >&2
  result=1
}
# A twentieth is what the allocator's own housekeeping comes to.
((memory <= third_memory + third_memory / 20)) || complain "memory has grown from $third_memory to $memory kB"
((descriptors <= third_descriptors + 2)) || complain "descriptors have grown from $third_descriptors to $descriptors"
((threads == third_threads)) || complain "there are $threads threads instead of $third_threads"
[ "$(grep -cv 'database: \|is empty: \|^DataCollector \|^Returning' /tmp/errors.log)" -eq 0 ] || {
  complain "standard error is not empty:"
  tail -n 5 /tmp/errors.log >&2
}
exit "$result"
