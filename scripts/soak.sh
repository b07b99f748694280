#!/bin/bash
# Keeps the daemon busy for as long as it is told, with all six kinds and fast rounds, and shows what may not grow:
# memory, descriptors, threads, the databases and the log. The WAN is down for ten seconds of every minute. Ends with
# the same counts as the demo: published, stored and confirmed records, from the programs and not from the tables, which
# keep their newest rows only.
#
# Usage: soak.sh [--minutes N] [--rate N]
#   --minutes N  length of the run, 2 to 1440 (60)
#   --rate N     records per second and kind, 1 to 100 (20)
#
# Runs in a private root; a release build is made in build/demo. Exit status: 0 nothing was lost, all is confirmed, and
# memory, descriptors and threads at the end are those of the first third; 1 not so; 2 wrong arguments.
set -euo pipefail

checkout=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$checkout/build/demo

fail() {
  echo "soak.sh: $1" >&2
  exit 2
}

minutes=60 rate=20
while [ $# -gt 0 ]; do
  case $1 in
    --help | -h)
      sed -n 's/^# \{0,1\}//; 2,12p' "${BASH_SOURCE[0]}"
      exit 0
      ;;
    --minutes) minutes=${2:-} ;;
    --rate) rate=${2:-} ;;
    *) fail "unknown argument '$1' (see --help)" ;;
  esac
  [ $# -ge 2 ] || fail "$1 needs a value"
  shift 2
done
if [[ ! $minutes =~ ^[1-9][0-9]{0,3}$ ]] || ((minutes < 2 || minutes > 1440)); then
  fail "--minutes takes a number from 2 to 1440"
fi
if [[ ! $rate =~ ^[1-9][0-9]{0,2}$ ]] || ((rate > 100)); then
  fail "--rate takes a number from 1 to 100"
fi

"$checkout/scripts/install-dependencies.sh" --demo >&2
cmake -S "$checkout" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >&2
cmake --build "$build" --target DataCollector gateway-sim datacollectorctl >&2
export DATACOLLECTOR_BUILD_DIRS=$build
exec "$checkout/scripts/private-root.sh" "$checkout/scripts/soak-gateway.sh" \
  "$build" "$minutes" "$rate"
