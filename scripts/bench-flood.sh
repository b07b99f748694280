#!/bin/sh
# Floods the daemon with records over a real broker into a full ring of 1,000 rows, in turns with bare loops of the
# same SQL: a database that is opened for each record, and one that is kept open with a write-ahead log.
#
# Usage: bench-flood.sh [--disk] [--script] [ROUNDS [RECORDS]]     7 rounds of 3000 records by default
#   --disk    the databases below build/ instead of in memory: what a sync costs there decides
#   --script  in turns with a Python script too, see bench-peers.sh
set -eu
cd "${0%/*}/.."
disk=no script=
while :; do
  case ${1:-} in
    --disk) disk=yes ;;
    --script) script=--script ;;
    *) break ;;
  esac
  shift
done
scripts/install-dependencies.sh --bench
build=$PWD/build/bench
cmake --preset bench >&2
cmake --build --preset bench --target flood_bench >&2

folder=/vorl/disk
export DATACOLLECTOR_BUILD_DIRS="$build"
if [ $disk = yes ]; then
  folder=$(mktemp -d "$build/flood.XXXXXX")
  trap 'rm -rf "$folder"' EXIT INT TERM
  export DATACOLLECTOR_KEEP="$folder"
fi
scripts/private-root.sh "$build/bench/daemon/flood_bench" "$folder" "${1:-7}" "${2:-3000}" $script
