#!/bin/sh
# Builds the daemon, its tool and the simulator for another processor, as they are packaged, checks what was built, and
# runs them under emulation: against the gateway tests of the debug build, which has to be there, or in the demo. Test
# program, broker and sqlite3 are the machine's own.
#
# Usage: test-emulated.sh ARCHITECTURE [demo | TESTS]
#   ARCHITECTURE  mipsel, armhf, arm64
#   TESTS         regular expression of the tests' names; all gateway tests by default. Those that set the daemon's
#                 clock are always left out: the library that does it is not there for the other processor.
set -eu
cd "${0%/*}/.."
architecture=${1:?see the head of this file}
tests=${2:-.}
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
# In bytes, of the daemon and of its tool, stripped. The sizes elsewhere are not looked at.
limit=
tool_limit=
case $architecture in
  mipsel) emulator=qemu-mipsel-static triplet=mipsel-linux-gnu limit=200000 tool_limit=240000 ;;
  armhf) emulator=qemu-arm-static triplet=arm-linux-gnueabihf ;;
  arm64) emulator=qemu-aarch64-static triplet=aarch64-linux-gnu ;;
  *)
    echo "test-emulated.sh: no such architecture: $architecture" >&2
    exit 2
    ;;
esac

scripts/make-sysroot.sh "$architecture"
cmake --preset "$architecture" >"build/$architecture.log" || {
  cat "build/$architecture.log" >&2
  exit 1
}
cmake --build --preset "$architecture" -j "$jobs"

folder=$PWD/build/emulated/$architecture
mkdir -p "$folder"
for program in DataCollector gateway-sim datacollectorctl; do
  "$triplet-strip" -R .comment -R .gnu.attributes -R .mdebug.abi32 -o "$folder/$program.stripped" \
    "build/$architecture/$program"
  g++ -O2 -static -DEMULATOR="\"/usr/bin/$emulator\"" -DSYSROOT="\"$PWD/build/sysroot/$architecture\"" \
    -DPROGRAM="\"$folder/$program.stripped\"" -o "$folder/$program" tests/emulation/Emulated.cpp
done
# The list is words on purpose: no limit, no argument.
# shellcheck disable=SC2086
scripts/check-binary.sh "$folder/DataCollector.stripped" $limit
# shellcheck disable=SC2086
scripts/check-binary.sh "$folder/datacollectorctl.stripped" $tool_limit

if [ "$tests" = demo ]; then
  DATACOLLECTOR_BUILD_DIRS=$folder scripts/private-root.sh scripts/demo-gateway.sh "$folder" 30 \
    aio,dio,temperature,rs485,rs232,snmp 1000
  exit
fi
# Most of the time is waiting, so more runs at a time than there are processors.
DATACOLLECTOR_DAEMON=$folder/DataCollector ctest --test-dir build/debug --output-on-failure --no-label-summary \
  --no-tests=error -j $((jobs + 2)) -L gateway -R "$tests" -E '^Windows'
