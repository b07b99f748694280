#!/bin/sh
# Prints what each operation of the record store costs per record (time, syncs, bytes written) in tables of 100,
# 5,000 and 65,535 rows. The databases lie below build/, so that the disk there is what is measured.
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
