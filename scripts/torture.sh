#!/bin/sh
# Runs the fault bench for as long as it is told, each round with other random choices: power cuts, kills, calls
# that fail, full disks, a broken broker, damage, planted faults. Goes on after a failure. Ends with a table of
# all cases; the exit status is 1 when one has failed.
#
# Usage: torture.sh [--minutes N] [--seed S] [--only NAME] [--preset P]
#   --minutes N  how long (default 60); the round that is under way is finished
#   --seed S     the first round's choices (default: from the clock); the next rounds' count on from it
#   --only NAME  only the cases whose name contains NAME
#   --preset P   the build to use (default debug: under the sanitizers)
#
# What a failing case printed stays in build/torture/. The command that repeats it is shown.
set -eu

cd "${0%/*}/.."

usage() {
  sed -n 's/^# \{0,1\}//; 2,13p' "$0"
}

fail() {
  echo "torture.sh: $1" >&2
  exit 2
}

minutes=60 seed=$(($(date +%s) % 1000000)) only='' preset=debug
while [ $# -gt 0 ]; do
  case $1 in
    --help | -h)
      usage
      exit 0
      ;;
    --minutes | --seed | --only | --preset) [ $# -ge 2 ] || fail "$1 needs a value" ;;
    *) fail "unknown option '$1' (see --help)" ;;
  esac
  case $1 in
    --minutes) minutes=$2 ;;
    --seed) seed=$2 ;;
    --only) only=$2 ;;
    --preset) preset=$2 ;;
  esac
  shift 2
done
case $minutes$seed in
  *[!0-9]*) fail 'minutes and seed are whole numbers' ;;
esac

program=build/$preset/tests/faults/fault_tests
[ -x "$program" ] || fail "build it first: cmake --preset $preset && cmake --build --preset $preset --target fault_tests"
folder=build/torture
rm -rf "$folder"
mkdir -p "$folder"
results=$folder/results

# The names of the cases, one a line; gtest lists a suite and, indented, its tests.
"$program" --gtest_list_tests | awk '
  /^[^ ]/ { suite = $1; next }
  { print suite $1 }' | grep -F -e "$only" >"$folder/cases" || fail "no case is called '$only'"
count=$(wc -l <"$folder/cases")

# Prints what the case printed as its own figures ("24 calls"), joined.
figures_of() {
  sed -n 's/^\([0-9][0-9]* [a-z][a-z, 0-9]*\)$/\1/p' "$1" | tr '\n' ' '
}

run_case() {
  name=$1
  output=$folder/output
  started=$(date +%s)
  if DATACOLLECTOR_FAULT_SEED=$seed scripts/private-root.sh "$program" --gtest_filter="$name" >"$output" 2>&1; then
    verdict=passed
  else
    verdict=FAILED
    mv "$output" "$folder/$(printf '%s' "$name" | tr '/' '.').$seed.txt"
    printf '\n  repeat: DATACOLLECTOR_FAULT_SEED=%s scripts/private-root.sh %s --gtest_filter=%s\n' \
      "$seed" "$program" "$name"
    output=/dev/null
  fi
  seconds=$(($(date +%s) - started))
  printf '%s %s %s\n' "$name" "$verdict" "$seconds" >>"$results"
  printf '%s seed %s: %s %s, %s s %s\n' "$(date +%H:%M:%S)" "$seed" "$name" "$verdict" "$seconds" \
    "$(figures_of "$output")"
}

end=$(($(date +%s) + minutes * 60))
echo "$count cases, $minutes minutes, first seed $seed"
: >"$results"
while :; do
  while read -r name; do
    run_case "$name"
    [ "$(date +%s)" -lt "$end" ] || break
  done <"$folder/cases"
  [ "$(date +%s)" -lt "$end" ] || break
  seed=$((seed + 1))
done

awk '
  { runs[$1]++; seconds[$1] += $3; failed[$1] += $2 == "FAILED" }
  END { for (name in runs) printf "%-72s %5d runs %5d failed %7d s\n", name, runs[name], failed[name], seconds[name] }
' "$results" | sort
awk '{ failed += $2 == "FAILED" } END { printf "%d runs, %d failed\n", NR, failed; exit failed > 0 }' "$results"
