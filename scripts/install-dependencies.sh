#!/bin/sh
# Installs the Debian 12 packages that are missing for a purpose. Does nothing, and needs no rights, when all of
# them are there.
#
# Usage: install-dependencies.sh [--build | --cross | --package | --demo | --test | --bench]
#   --build    compile the daemon (the default)
#   --cross    ... for mipsel, armhf and arm64, and run it under emulation
#   --package  ... and make and test packages of it
#   --demo     compile it, and run it in a private root with a broker of its own
#   --test     ... and run everything that scripts/test.sh runs
#   --bench    compile the daemon, and run the benchmarks
set -eu

build='g++ cmake ninja-build pkg-config libmosquitto-dev libconfig-dev libsqlite3-dev'
run='mosquitto bubblewrap sqlite3'
check='libgtest-dev clang-format clang-tidy clang libclang-rt-14-dev llvm shellcheck libfaketime
  gcovr busybox python3-prometheus-client'
cross='g++-mipsel-linux-gnu g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user-static'
package='dpkg-dev fakeroot file lintian debootstrap systemd-container mosquitto-clients busybox sqlite3'
bench='libbenchmark-dev libgtest-dev python3-paho-mqtt'

say() { echo "install-dependencies.sh: $1"; }

fail() {
  echo "install-dependencies.sh: $1" >&2
  exit "${2:-1}"
}

[ $# -le 1 ] || fail "one option at a time (see --help)" 2
case ${1:---build} in
  --build) wanted=$build ;;
  --demo) wanted="$build $run" ;;
  --cross) wanted="$build $cross" ;;
  --package) wanted="$build $cross $package" ;;
  --test) wanted="$build $run $check $cross" ;;
  --bench) wanted="$build $run $bench" ;;
  --help | -h)
    sed -n 's/^# \{0,1\}//; 2,11p' "$0"
    exit 0
    ;;
  *) fail "unknown option '$1' (see --help)" 2 ;;
esac

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
  fail "this is no Debian; see docs/installation.md for what is needed"
fi

missing=
for package in $wanted; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || status=
  [ "$status" = installed ] || missing="$missing $package"
done
if [ -z "$missing" ]; then
  say "everything is there"
  exit 0
fi
say "installing$missing"

if [ "$(id -u)" -eq 0 ]; then
  as_root() { env "$@"; }
elif command -v sudo >/dev/null; then
  as_root() { sudo env "$@"; }
else
  fail "run this as root, or install sudo; missing:$missing"
fi

# Debian starts a broker's service as soon as it is installed, on the port that the gateway's own one uses. Only
# the program is wanted here: on a machine run by systemd the service can't start while it is masked, elsewhere
# it is stopped again.
broker_is_new=no
with_systemd=no
case "$missing " in
  *' mosquitto '*) broker_is_new=yes ;;
esac
[ ! -d /run/systemd/system ] || with_systemd=yes

keep_broker_down() {
  if [ $with_systemd = yes ]; then
    as_root systemctl unmask --quiet --runtime mosquitto.service
    as_root systemctl disable --quiet mosquitto.service
  else
    as_root invoke-rc.d --quiet mosquitto stop || true
    as_root update-rc.d mosquitto disable
  fi
  say "the broker's service is neither running nor enabled; 'systemctl enable --now mosquitto' changes that"
}

as_root apt-get -q update
if [ $broker_is_new = yes ] && [ $with_systemd = yes ]; then
  trap 'as_root systemctl unmask --quiet --runtime mosquitto.service' EXIT
  as_root systemctl mask --quiet --runtime mosquitto.service
fi
# The list is words on purpose: one argument per package.
# shellcheck disable=SC2086
as_root DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends $missing
if [ $broker_is_new = yes ]; then
  trap - EXIT
  keep_broker_down
fi
say "done"
