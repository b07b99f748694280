#!/bin/sh
# Runs everything that must hold, from installing what is missing to the tests. Ends with ctest's summary of all
# tests; stops at the first step that fails. Writes below build/ only.
#
# Usage: test.sh [--quick]
#   --quick  only the debug build and its tests
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

check_with_clang_tidy() {
  find src tools -name '*.cpp' -print0 |
    xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p build/debug 2>build/clang-tidy.log || {
    grep -v ' generated\.$' build/clang-tidy.log >&2
    return 1
  }
}

# One run over the tests of several builds. Most of the gateway tests' time is waiting, so a bit more runs at a
# time than there are processors.
run_tests() {
  mkdir -p build/tests
  for preset in "$@"; do
    echo "subdirs(\"$PWD/build/$preset\")"
  done >build/tests/CTestTestfile.cmake
  ctest --test-dir build/tests --output-on-failure --no-label-summary --no-tests=error -j $((jobs + 1))
}

processor_tests='^(StartUpTest|WholeRoadTest|RingTest|KindTest|AllKinds|AioRoadTest|SignalTest|InstanceTest)|/(Kind|Pacing)Test'

step 'install what is missing' scripts/install-dependencies.sh --test
if [ $quick = yes ]; then
  step 'build: debug' build debug
  echo "=== $(date +%H:%M:%S) tests: debug"
  run_tests debug
  exit
fi
step 'shell scripts' check_shell_scripts
step 'format' check_format
step 'includes' scripts/check-includes.sh
step 'build: debug' build debug
step 'build: tsan' build tsan DataCollector gateway_tests
step 'clang-tidy' check_with_clang_tidy
# On the gateway's own processor: the gateway tests but for those of damage, floods and loops, which tell nothing new of a
# processor and take as long as all others; the demo; on another processor, that records go all the way.
step 'mipsel: gateway tests' scripts/test-emulated.sh mipsel "$processor_tests"
step 'mipsel: demo' scripts/test-emulated.sh mipsel demo
step 'arm64: whole road' scripts/test-emulated.sh arm64 '^(WholeRoadTest|.*ADatabaseFile)'
step 'OpenWrt scripts' packaging/openwrt/test.sh
echo "=== $(date +%H:%M:%S) tests: debug, tsan"
run_tests debug tsan
