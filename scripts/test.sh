#!/bin/sh
# Runs everything that must hold, from installing what is missing to the tests. Ends with ctest's summary of all
# tests; stops at the first step that fails. Writes below build/ only.
#
# Usage: test.sh [--quick]
#   --quick  only the daemon and its unit tests, in the debug build
#
# CMAKE_BUILD_PARALLEL_LEVEL sets how much runs at a time (default: the number of processors).
set -eu

cd "${0%/*}/.."
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
export CMAKE_BUILD_PARALLEL_LEVEL="$jobs"

quick=no
case ${1:-} in
  '') ;;
  --quick) quick=yes ;;
  --help | -h)
    sed -n 's/^# \{0,1\}//; 2,8p' "$0"
    exit 0
    ;;
  *)
    echo "test.sh: unknown option '$1' (see --help)" >&2
    exit 2
    ;;
esac

# Runs a step, announced and timed.
step() {
  title=$1
  shift
  echo "=== $(date +%H:%M:%S) $title"
  started=$(date +%s)
  if ! "$@"; then
    echo "=== FAILED: $title" >&2
    exit 1
  fi
  echo "=== $(date +%H:%M:%S) $title: $(($(date +%s) - started)) s"
}

# Files of the project by pattern, each ended by a zero byte.
project_files() {
  find . \( -name .git -o -path './build*' \) -prune -o -type f \( "$@" \) -print0
}

# By name, or by the first line where the name doesn't say it. The inner shell expands "$1".
# shellcheck disable=SC2016
check_shell_scripts() {
  {
    project_files -name '*.sh'
    project_files ! -name '*.*' -exec sh -c 'head -n 1 "$1" | grep -qxE "#!/bin/(ba)?sh( -[a-z]+)?"' sh '{}' ';'
  } | xargs -0 shellcheck
}

check_format() {
  project_files -name '*.h' -o -name '*.cpp' | xargs -0 clang-format --dry-run -Werror
}

# A preset, or some targets of it.
build() {
  preset=$1
  shift
  cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}
}

# The file from which ctest takes its tests, and one more of them: a name, a command, and properties of the test.
tests=build/tests/CTestTestfile.cmake
add_test() {
  name=$1
  command=$2
  shift 2
  printf 'add_test([[%s]] %s)\nset_tests_properties([[%s]] PROPERTIES WORKING_DIRECTORY [[%s]] %s)\n' \
    "$name" "$command" "$name" "$PWD" "$*" >>"$tests"
}

# Each file by itself, on what the tests leave of the processors: no more of them at a time than these are, and each
# yields to a test.
add_clang_tidy() {
  place=0
  for file in $(find src tools -name '*.cpp' | sort); do
    place=$(((place + 1) % jobs))
    add_test "clang-tidy:$file" "nice -n 19 clang-tidy --quiet -p build/debug $file" \
      "LABELS check COST 1000 TIMEOUT 600 RESOURCE_LOCK clang-tidy-$place"
  done
}

# On the gateway's own processor: the gateway tests but for those of damage, floods and loops, which tell nothing new of
# a processor and take as long as all others; the demo; on another processor, that records go all the way.
processor_tests='^(StartUpTest|WholeRoadTest|RingTest|KindTest|AllKinds|AioRoadTest|SignalTest|InstanceTest)|/(Kind|Pacing)Test'
add_emulated() {
  emulated="TIMEOUT 1200 PROCESSORS $jobs RESOURCE_LOCK emulator"
  add_test 'mipsel: gateway tests' "[[$PWD/scripts/test-emulated.sh]] mipsel [[$processor_tests]]" \
    "LABELS emulated COST 2003 $emulated"
  add_test 'mipsel: demo' "[[$PWD/scripts/test-emulated.sh]] mipsel demo" \
    "LABELS emulated COST 2002 $emulated"
  add_test 'arm64: whole road' \
    "[[$PWD/scripts/test-emulated.sh]] arm64 [[^(WholeRoadTest|.*ADatabaseFile)]]" \
    "LABELS emulated COST 2001 $emulated"
}

# All in one run, with three times as many at a time as there are processors: a gateway test waits for its daemon most
# of its time. What takes long begins first.
run_tests() {
  mkdir -p build/tests
  : >"$tests"
  for preset in "$@"; do
    echo "subdirs([[$PWD/build/$preset]])" >>"$tests"
  done
  if [ $quick = no ]; then
    add_clang_tidy
    add_emulated
    add_test 'OpenWrt scripts' "[[$PWD/packaging/openwrt/test.sh]]" LABELS check
  fi
  # What isn't built has no label.
  ctest --test-dir build/tests --output-on-failure --no-label-summary --no-tests=error -j $((3 * jobs)) \
    -L "$([ $quick = no ] || echo unit)"
}

step 'install what is missing' scripts/install-dependencies.sh --test
if [ $quick = yes ]; then
  step 'build: debug' build debug DataCollector unit_ground unit_config unit_store unit_mqtt unit_app unit_tools
  echo "=== $(date +%H:%M:%S) tests: unit"
  run_tests debug
  exit
fi
step 'shell scripts' check_shell_scripts
step 'format' check_format
step 'includes' scripts/check-includes.sh
step 'build: debug' build debug
step 'build: tsan' build tsan DataCollector gateway_tests
step 'build: release' build release DataCollector datacollectorctl gateway-sim
echo "=== $(date +%H:%M:%S) tests: debug, tsan, clang-tidy, emulated processors"
run_tests debug tsan
