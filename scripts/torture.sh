#!/bin/sh
# Runs the fault bench for as long as it is told, each round with other random choices and each case longer than in
# the short form: power cuts, kills, calls that fail, full disks, broken brokers, clocks that jump, damage, planted
# faults. Goes on after a failure. Ends with a table of all cases; the exit status is 1 when one has failed.
#
# Usage: torture.sh [--minutes N] [--seed S] [--only NAME] [--factor F] [--jobs J] [--preset P | --build FOLDER]
#   --minutes N     how long (default 60); the cases that are under way are finished
#   --seed S        the first round's choices (default: from the clock); the next rounds' count on from it
#   --only NAME     only the cases whose name contains NAME
#   --factor F      how many times as long and deep as in the short form a case is (default 10)
#   --jobs J        how many cases at a time (default: two for each processor; most of their time is waiting)
#   --preset P      the build to use (default debug: under the sanitizers)
#   --build FOLDER  the same, by its folder
#
# What a failing case printed stays in build/torture/. The command that repeats it is shown.
set -eu

cd "${0%/*}/.."

usage() {
  sed -n 's/^# \{0,1\}//; 2,16p' "$0"
}

fail() {
  echo "torture.sh: $1" >&2
  exit 2
}

minutes=60 seed=$(($(date +%s) % 1000000)) only='' factor=10 jobs=$(($(nproc) * 2)) build=build/debug
while [ $# -gt 0 ]; do
  case $1 in
    --help | -h)
      usage
      exit 0
      ;;
    --minutes | --seed | --only | --factor | --jobs | --preset | --build) [ $# -ge 2 ] || fail "$1 needs a value" ;;
    *) fail "unknown option '$1' (see --help)" ;;
  esac
  case $1 in
    --minutes) minutes=$2 ;;
    --seed) seed=$2 ;;
    --only) only=$2 ;;
    --factor) factor=$2 ;;
    --jobs) jobs=$2 ;;
    --preset) build=build/$2 ;;
    --build) build=$2 ;;
  esac
  shift 2
done
case $minutes$seed$factor$jobs in
  *[!0-9]*) fail 'minutes, seed, factor and jobs are whole numbers' ;;
esac

program=$build/tests/faults/fault_tests
[ -x "$program" ] || fail "no $program; build the target fault_tests first"
folder=build/torture
rm -rf "$folder"
mkdir -p "$folder"
results=$folder/results

# The names of the cases, one a line; gtest lists a suite and, indented, its tests. Some are in the long form alone.
DATACOLLECTOR_FAULT_FACTOR=$factor "$program" --gtest_list_tests | awk '
  /^[^ ]/ { suite = $1; next }
  { print suite $1 }' | grep -F -e "$only" >"$folder/cases" || fail "no case is called '$only'"
count=$(wc -l <"$folder/cases")

# Longer than any case takes: one that hangs is a finding.
limit=$((300 + 120 * factor))

# What the case printed as its own figures ("24 calls"), joined.
figures_of() {
  sed -n 's/^\([0-9][0-9]* [a-z][a-z, 0-9]*\)$/\1/p' "$1" | tr '\n' ' '
}

# Runs one case with the choices of a seed. Writes its result as one line, so that those of several workers don't mix.
run_case() {
  name=$1 choices=$2
  output=$folder/$(printf '%s' "$name" | tr '/' '.').$choices.txt
  started=$(date +%s)
  verdict=passed
  DATACOLLECTOR_FAULT_SEED=$choices DATACOLLECTOR_FAULT_FACTOR=$factor \
    timeout "$limit" scripts/private-root.sh "$program" --gtest_filter="$name" >"$output" 2>&1 || verdict=FAILED
  seconds=$(($(date +%s) - started))
  figures=$(figures_of "$output")
  printf '%s %s %s %s\n' "$name" "$verdict" "$seconds" "$figures" >>"$results"
  line="$(date +%H:%M:%S) seed $choices: $name $verdict, $seconds s $figures"
  if [ $verdict = FAILED ]; then
    line="$line
  repeat: DATACOLLECTOR_FAULT_SEED=$choices DATACOLLECTOR_FAULT_FACTOR=$factor scripts/private-root.sh $program --gtest_filter='$name'"
  else
    rm "$output"
  fi
  printf '%s\n' "$line"
}

# Every worker has cases of its own and goes round them until the time is over.
work() {
  choices=$seed
  while :; do
    # shellcheck disable=SC2013 # no name has a blank
    for case in $(awk -v worker="$1" -v jobs="$jobs" 'NR % jobs == worker' "$folder/cases"); do
      run_case "$case" "$choices"
      [ "$(date +%s)" -lt "$end" ] || return 0
    done
    choices=$((choices + 1))
  done
}

end=$(($(date +%s) + minutes * 60))
[ "$jobs" -le "$count" ] || jobs=$count
echo "$count cases, $jobs at a time, $minutes minutes, factor $factor, first seed $seed"
: >"$results"
worker=0
while [ "$worker" -lt "$jobs" ]; do
  work "$worker" &
  worker=$((worker + 1))
done
wait

# One line for each case, with the sums of its own figures.
awk '
  { runs[$1]++; failed[$1] += $2 == "FAILED"; seconds[$1] += $3 }
  { for (i = 4; i < NF; i += 2) { what = $(i + 1); sub(",$", "", what); sums[$1, what] += $i; units[$1] = units[$1] (index(units[$1], " " what " ") ? "" : " " what " ") } }
  END {
    for (name in runs) {
      line = sprintf("%-66s %4d runs %4d failed %6d s", name, runs[name], failed[name], seconds[name])
      n = split(units[name], list, " ")
      for (i = 1; i <= n; i++) line = line ", " sums[name, list[i]] " " list[i]
      print line
    }
  }' "$results" | sort
awk '{ failed += $2 == "FAILED" } END { printf "%d runs, %d failed\n", NR, failed; exit failed > 0 }' "$results"
