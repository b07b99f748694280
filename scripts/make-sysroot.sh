#!/bin/sh
# Makes a sysroot of Debian 12 for another processor: what the daemon is compiled and linked with, and what runs it
# under emulation. The machine's own packages and the architectures that its dpkg knows stay as they are: apt works on a
# state of its own, and only downloads. The packages come from where the machine's own ones come from.
#
# Usage: make-sysroot.sh ARCHITECTURE [FOLDER]     mipsel, armhf, arm64; build/sysroot/ARCHITECTURE by default
#
# A sysroot that is there stays as it is; remove the folder to have it made anew.
set -eu

fail() {
  echo "make-sysroot.sh: $1" >&2
  exit "${2:-1}"
}

architecture=${1:-}
case $architecture in
  mipsel | armhf | arm64) ;;
  --help | -h)
    sed -n 's/^# \{0,1\}//; 2,8p' "$0"
    exit 0
    ;;
  *) fail "usage: make-sysroot.sh mipsel|armhf|arm64 [FOLDER]" 2 ;;
esac
checkout=$(cd "${0%/*}/.." && pwd)
folder=${2:-$checkout/build/sysroot/$architecture}
[ ! -d "$folder" ] || exit 0

packages='libc6-dev libmosquitto-dev libconfig-dev libsqlite3-dev libstdc++6 libgcc-s1'

mkdir -p "${folder%/*}"
work=$(mktemp -d "${folder%/*}/.$architecture.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/sources" "$work/root"
: >"$work/status"

# Only Debian's own suites have packages for these processors.
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
  if [ -f "$file" ] && grep -qE '/debian(-security)?/?([[:space:]]|$)' "$file"; then
    cp "$file" "$work/sources/"
  fi
done

foreign_apt() {
  apt-get -q -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture" \
    -o "Dir::State::Lists=$work/lists" -o "Dir::State::status=$work/status" -o "Dir::Cache=$work/cache" \
    -o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$work/sources" -o APT::Install-Recommends=false \
    -o Acquire::Languages=none -o APT::Sandbox::User=root -o Debug::NoLocking=true "$@"
}

# The main suite is enough: a mirror that is being renewed may lack a list of the others.
foreign_apt update >"$work/log" 2>&1 || {
  cat "$work/log" >&2
  echo "make-sysroot.sh: going on with the package lists that could be read" >&2
}
# The list is words on purpose: one argument per package.
# shellcheck disable=SC2086
foreign_apt install -y --download-only $packages >"$work/log" 2>&1 || {
  cat "$work/log" >&2
  fail "apt can't fetch the packages"
}

# The dollar signs are dpkg-deb's.
# shellcheck disable=SC2016
for archive in "$work"/cache/archives/*.deb; do
  dpkg-deb -x "$archive" "$work/root"
  dpkg-deb -W --showformat='${Package} ${Version}\n' "$archive"
done | sort >"$work/root/packages"

# An absolute link would lead out of the sysroot.
find "$work/root" -type l -lname '/*' | while read -r link; do
  ln -sfn "$(realpath -m --relative-to "${link%/*}" "$work/root$(readlink "$link")")" "$link"
done
chmod 0755 "$work/root"
mv -T "$work/root" "$folder"
