#!/bin/sh
# Prints what each operation of the record store costs per record (time, syncs, bytes written) in tables of 100,
# 1,000 and 65,535 rows, and of its whole life; beside them the same SQL in a bare loop, opened each time and kept open
# with a write-ahead log. The databases lie below build/, so that the disk there is what is measured. What the store
# says on standard error (the journal of each table) goes to standard error here too.
#
# Usage: bench-store.sh [BENCHMARK OPTION...]     e.g. --benchmark_filter=StatusUpdate
set -eu
cd "${0%/*}/.."
scripts/install-dependencies.sh --bench
build=$PWD/build/bench
cmake --preset bench >&2
cmake --build --preset bench --target store_bench >&2

work=$(mktemp -d "$build/store.XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
DATACOLLECTOR_BUILD_DIRS=$build DATACOLLECTOR_KEEP=$work STORE_BENCH_FOLDER=$work \
  scripts/private-root.sh "$build/bench/store_bench" "$@"
