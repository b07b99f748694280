#!/bin/sh
# Line and branch coverage of src/ by all tests, printed per folder and file.
#
# Usage: scripts/coverage.sh [FOLDER...]     e.g. src/store; the whole of src/ by default
set -eu
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- src

build=$PWD/build/coverage
data=$build/data
cmake --preset coverage >&2
cmake --build --preset coverage >&2

# The tests run where the build folder can't be written: their data goes to a folder of its own and is put
# beside the objects afterwards.
rm -rf "$data"
find "$build" -name '*.gcda' -delete
mkdir -p "$data"
GCOV_PREFIX=$data ctest --test-dir "$build" --output-on-failure -j "$(nproc)" >"$build/ctest.log" || {
  tail -n 60 "$build/ctest.log"
  exit 1
}
cp -r "$data$build/." "$build/"

# Now and then gcov counts a branch below zero: those are left out.
for folder in "$@"; do
  echo "== $folder: lines, and the branches in all"
  gcovr --root "$PWD" --object-directory "$build" --filter "$folder/" --gcov-ignore-parse-errors \
    --exclude-throw-branches --exclude-unreachable-branches "$build"
  gcovr --root "$PWD" --object-directory "$build" --filter "$folder/" --gcov-ignore-parse-errors \
    --exclude-throw-branches --exclude-unreachable-branches --branches "$build" | tail -n 3
done
