#!/bin/bash
# Shows the gateway at work: a broker, DataCollector with the example configuration, and gateway-sim in the
# place of the source applications and of the HTTP Send App. On the way the WAN is down for a fifth of the time,
# and the daemon is restarted. Ends with a line per kind: published, stored, confirmed and lost records, as the
# databases have them.
#
# Usage: demo.sh [--seconds N] [--kinds LIST] [--fast] [--keep-session] [--keep DIR]
#   --seconds N   length of the run, 30 to 3000 (60)
#   --kinds LIST  all, or some of aio,dio,temperature,rs485,rs232,snmp (all)
#   --fast        with fast rounds (ForwardingRoundPauseInMilliSec = 10) and ten times the records; says how many
#                 records were handed over in the fastest second
#   --keep-session  KeepSession = 1: the sources go on while the daemon is restarted, and what they publish while
#                 it is down for three seconds is kept by the broker
#   --keep DIR    leave trace, logs, report, databases and the status as a page in a new folder of DIR
#
# Needs a Debian 12 and this checkout: missing packages are installed (as root or with sudo), and a release
# build is made in build/demo. The gateway runs in a private root; the machine's own broker, files and ports are
# not touched. Exit status: 0 nothing was lost and all is confirmed; 1 not so; 2 wrong arguments.
set -euo pipefail

checkout=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$checkout/build/demo

fail() {
  echo "demo.sh: $1" >&2
  exit "${2:-1}"
}

seconds=60 kinds=all keep='' pause=1000 session=''
while [ $# -gt 0 ]; do
  case $1 in
    --help | -h)
      sed -n 's/^# \{0,1\}//; 2,18p' "${BASH_SOURCE[0]}"
      exit 0
      ;;
    --fast)
      pause=10
      shift
      continue
      ;;
    --keep-session)
      session=kept
      shift
      continue
      ;;
    --seconds | --kinds | --keep) ;;
    *) fail "unknown argument '$1' (see --help)" 2 ;;
  esac
  [ -n "${2:-}" ] || fail "$1 needs a value" 2
  case $1 in
    --seconds) seconds=$2 ;;
    --kinds) kinds=$2 ;;
    --keep) keep=$2 ;;
  esac
  shift 2
done

if [[ ! $seconds =~ ^[1-9][0-9]{1,3}$ ]] || ((seconds < 30 || seconds > 3000)); then
  fail "--seconds takes a number from 30 to 3000" 2
fi
[ "$kinds" != all ] || kinds=aio,dio,temperature,rs485,rs232,snmp
for kind in ${kinds//,/ }; do
  case $kind in
    aio | dio | temperature | rs485 | rs232 | snmp) ;;
    *) fail "no such kind: $kind (see --help)" 2 ;;
  esac
done
if [ -n "$keep" ]; then
  mkdir -p "$keep" || fail "can't make $keep"
  keep=$(cd "$keep" && pwd)/datacollector-demo-$(date +%Y%m%d-%H%M%S)
  mkdir "$keep" || fail "$keep is there already; nothing in it is touched"
fi

# Each job is a process group of its own, so that an interruption reaches all of it and leaves nothing running.
set -m
job=

# Called by the traps.
# shellcheck disable=SC2317
interrupted() {
  trap '' INT TERM HUP
  if [ -n "$job" ]; then
    kill -TERM -- "-$job" 2>/dev/null || true
    wait "$job" 2>/dev/null || true
    while kill -0 -- "-$job" 2>/dev/null; do sleep 0.05; done
  fi
  echo "demo.sh: interrupted" >&2
  exit "$1"
}
trap 'interrupted 130' INT
trap 'interrupted 143' TERM
trap 'interrupted 129' HUP

# Runs a job in the background, so that a signal is handled at once.
run() {
  local status=0
  "$@" &
  job=$!
  wait "$job" || status=$?
  job=
  return "$status"
}

# A step whose output is of interest only when it fails.
quietly() {
  if ! run "$@" >"$build/demo.log" 2>&1; then
    cat "$build/demo.log" >&2
    return 1
  fi
}

# In the foreground: it may ask for a password.
"$checkout/scripts/install-dependencies.sh" --demo || fail "not everything that is needed is there"

echo "building in $build"
mkdir -p "$build"
quietly cmake -S "$checkout" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF ||
  fail "the build could not be set up"
quietly cmake --build "$build" --target DataCollector gateway-sim datacollectorctl || fail "the build failed"

# The private root ends with its first process, and all that runs in it with the private root.
export DATACOLLECTOR_BUILD_DIRS=$build DATACOLLECTOR_KEEP=$keep
status=0
run "$checkout/scripts/private-root.sh" \
  "$checkout/scripts/demo-gateway.sh" "$build" "$seconds" "$kinds" "$pause" "$keep" "$session" || status=$?
[ -z "$keep" ] || echo "Kept in $keep: status.html and all that the run has left"
exit "$status"
