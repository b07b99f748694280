#!/bin/sh
# Prints what share of a core the idle daemon takes, and how fast a backlog drains, with all six kinds enabled and a
# main loop of 100 ms. Takes some three minutes.
#
# Usage: bench-pace.sh [IDLE-SECONDS [RECORDS]]     60 seconds and 60 records by default
set -eu
cd "${0%/*}/.."
scripts/install-dependencies.sh --bench
build=$PWD/build/bench
cmake --preset bench >&2
cmake --build --preset bench --target DataCollector pace_bench >&2
DATACOLLECTOR_BUILD_DIRS=$build scripts/private-root.sh "$build/bench/daemon/pace_bench" "$build/DataCollector" "$@"
