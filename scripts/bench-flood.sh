#!/bin/sh
# Floods the daemon with records over a real broker into a full ring of 1,000 rows and times a bare loop of the same
# SQL in turn with it. The databases lie below build/, so that the disk there is what is measured.
#
# Usage: bench-flood.sh [ROUNDS [RECORDS]]     5 rounds of 1000 records by default
set -eu
cd "${0%/*}/.."
scripts/install-dependencies.sh --bench
build=$PWD/build/bench
cmake --preset bench >&2
cmake --build --preset bench --target DataCollector flood_bench count_syncs >&2

work=$(mktemp -d "$build/flood.XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
counter=$build/bench/daemon/libcount_syncs.so
DATACOLLECTOR_BUILD_DIRS=$build DATACOLLECTOR_KEEP=$work SYNC_COUNT_FILE=$work/bare.syncs LD_PRELOAD=$counter \
  scripts/private-root.sh "$build/bench/daemon/flood_bench" "$build/DataCollector" "$counter" "$@"
