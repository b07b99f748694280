#!/bin/sh
# Runs the gateway tests in each of the three ways in which a database can be kept: with a write-ahead log; with a
# rollback journal, on a disk that has no shared memory maps; with a rollback journal and a lock file, on a disk that
# has no file locks. The build has to be there.
#
# Usage: test-journals.sh [--preset P] [TESTS]
#   --preset P  the build to use (default debug)
#   TESTS       regular expression of the tests' names; all gateway tests by default
set -eu

cd "${0%/*}/.."
preset=debug
case ${1:-} in
  --help | -h)
    sed -n 's/^# \{0,1\}//; 2,8p' "$0"
    exit 0
    ;;
  --preset)
    preset=${2:?--preset needs a value}
    shift 2
    ;;
esac
tests=${1:-.}
build=$PWD/build/$preset
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
export DATACOLLECTOR_REAL_DAEMON="$build/DataCollector"
export DATACOLLECTOR_FAULT_LIBRARY="$build/tests/faults/libfault_calls.so"

# The way that the daemon itself says is in force.
check_way() {
  kept=$(mktemp -d "$build/journal.XXXXXX")
  DATACOLLECTOR_KEEP=$kept scripts/private-root.sh "$build/tests/gateway_tests" \
    --gtest_filter='RingTest.*' >"$kept/output" 2>&1 || true
  found=$(grep -rhoF "AIO database: $1" "$kept" | head -n 1) || true
  rm -rf "$kept"
  if [ -z "$found" ]; then
    echo "test-journals.sh: the daemon does not keep its databases with a $1" >&2
    exit 1
  fi
  echo "=== $found"
}

# These two are about the log: its name on standard error, and which statement fails first under a lock.
about_the_log='StandardErrorHoldsTheNotes|EndsTheDaemonAtOnceWhileADatabaseIsLocked'

# A lock file does not tell whether its owner lives: the daemon removes it when it starts, so that no other program's
# lock outlasts the start; and behind a killed daemon the file stays and keeps the test itself from reading.
about_the_owner='ARecoveryThatFailedIsRepeated|AfterALockRecordsAreStored|KillsUnderAFloodOfRecords'

failed=no
run_way() {
  check_way "$1"
  ctest --test-dir "$build" --output-on-failure --no-label-summary --no-tests=error -j $((jobs + 1)) -L gateway \
    -R "$tests" -E "${2:-^$}" || failed=yes
}

run_way 'write-ahead log'
export DATACOLLECTOR_DAEMON="$PWD/tests/faults/DaemonOnPoorDisk.sh"
export DATACOLLECTOR_DISK_LACKS=shared-memory
run_way 'rollback journal (' "$about_the_log"
export DATACOLLECTOR_DISK_LACKS=file-locks DATACOLLECTOR_TEST_LOCKING=unix-dotfile
run_way 'rollback journal, lock file (' "$about_the_log|$about_the_owner"
[ $failed = no ]
