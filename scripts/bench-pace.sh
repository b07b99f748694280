#!/bin/sh
# Prints how fast waiting records are handed over and what that costs: at the usual pace, with fast rounds, and by a
# Python script (bench/peers/forward.py) that drains the same rows; how soon a single record is handed over; and what
# share of a core the idle daemon takes. Takes some eight minutes.
#
# Usage: bench-pace.sh [--pause MS] [--records N] [--rounds N] [--idle SECONDS]
#   --pause    of a fast round, 10 to 999 ms (10)
#   --records  that wait of each kind (2000); a tenth of them where the receiver takes 50 ms
#   --rounds   of each comparison (3)
#   --idle     seconds to watch the idle daemon (30)
set -eu
cd "${0%/*}/.."
pause=10 records=2000 rounds=3 idle=30
while [ $# -gt 0 ]; do
  case $1 in
    --pause) pause=${2:-} ;;
    --records) records=${2:-} ;;
    --rounds) rounds=${2:-} ;;
    --idle) idle=${2:-} ;;
    *)
      echo "bench-pace.sh: unknown argument '$1'" >&2
      exit 2
      ;;
  esac
  [ $# -ge 2 ] || { echo "bench-pace.sh: $1 needs a value" >&2; exit 2; }
  shift 2
done
scripts/install-dependencies.sh --bench
build=$PWD/build/bench
cmake --preset bench >&2
cmake --build --preset bench --target pace_bench >&2
DATACOLLECTOR_BUILD_DIRS=$build scripts/private-root.sh "$build/bench/daemon/pace_bench" \
  "$pause" "$records" "$rounds" "$idle"
