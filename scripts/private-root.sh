#!/bin/sh
# Runs a command in a private root: a gateway's file system of its own (tmpfs), its own network with loopback
# up, its own processes, and the table script in its place. Nothing of the host can be written, so programs
# with absolute paths run side by side without touching each other or the machine.
#
# Usage: private-root.sh COMMAND [ARG...]          The exit status is the command's.
#
# Environment:
#   DATACOLLECTOR_BUILD_DIRS  build folders to show read-only, separated by colons; by default the one that
#                             holds COMMAND
#   DATACOLLECTOR_KEEP        a directory that stays writable under its own path, for what is to outlive the run
#   GCOV_PREFIX               likewise, for coverage data
#   GTEST_* and the sanitizers' *_OPTIONS reach the command as they are, as does all else but PATH, HOME, TMPDIR
#   and LC_ALL.
set -eu

fail() {
  echo "private-root.sh: $1" >&2
  exit "${2:-2}"
}

[ $# -gt 0 ] || fail "usage: private-root.sh COMMAND [ARG...]"
command -v bwrap >/dev/null ||
  fail "bwrap is missing; install the package bubblewrap (scripts/install-dependencies.sh --demo)" 127

case $0 in
  */*) checkout=$(cd "${0%/*}/.." && pwd) ;;
  *) checkout=$(cd .. && pwd) ;;
esac

absolute() {
  case $1 in
    /*) printf '%s\n' "$1" ;;
    *) printf '%s\n' "$PWD/$1" ;;
  esac
}

# The build folder around a program: the one with CMake's cache; the program alone where there is none.
build_folder_of() {
  folder=${1%/*}
  while [ -n "$folder" ]; do
    if [ -e "$folder/CMakeCache.txt" ]; then
      printf '%s\n' "$folder"
      return
    fi
    folder=${folder%/*}
  done
  printf '%s\n' "$1"
}

# The arguments of bwrap come before the command in "$@": each step puts its own behind what is there, and the
# command's words, which stand in front, have moved to the end when their count has been rotated once.
case $1 in
  */*)
    program=$(absolute "$1")
    shift
    set -- "$program" "$@"
    ;;
  *) program= ;;
esac
words=$#

# No capabilities: root's file permissions are checked like a user's, whoever starts this.
set -- "$@" --die-with-parent --unshare-user --uid 0 --gid 0 --cap-drop ALL --unshare-net \
  --unshare-pid --unshare-ipc --unshare-uts --hostname gateway \
  --setenv PATH /usr/local/bin:/usr/bin:/usr/sbin:/bin:/sbin --setenv HOME /root --setenv LC_ALL C.UTF-8 \
  --unsetenv TMPDIR --ro-bind /usr /usr
for link in lib lib32 lib64 libx32 sbin; do
  if [ -e "/$link" ]; then
    set -- "$@" --symlink "usr/$link" "/$link"
  fi
done

# /bin holds what a gateway's programs name by that path; everything else is found in /usr/bin. The table script
# is a copy, so that a test may put another one in its place.
set -- "$@" --dir /bin --symlink /usr/bin/sh /bin/sh --symlink /usr/bin/bash /bin/bash \
  --perms 0755 --file 8 /bin/DatabaseInterface.sh

# The namespace has one user, so a broker that wants to become its own can't: its configuration says root.
set -- "$@" --dir /etc --perms 0644 --file 3 /etc/passwd --perms 0644 --file 4 /etc/group \
  --perms 0644 --file 5 /etc/hosts --dir /etc/mosquitto --perms 0644 --file 7 /etc/mosquitto/mosquitto.conf
for file in ld.so.cache alternatives nsswitch.conf localtime; do
  set -- "$@" --ro-bind-try "/etc/$file" "/etc/$file"
done

# /tmp and the applications' data are disks of their own, small enough for a test to fill them.
set -- "$@" --proc /proc --dev /dev --size 134217728 --tmpfs /tmp \
  --tmpfs /var --dir /var/log --dir /var/lib --dir /var/tmp \
  --tmpfs /run --symlink /run /var/run --tmpfs /root --size 67108864 --tmpfs /vorl/disk/AppData \
  --dir /vorl/disk/AppData/K740 \
  --dir /sys/class/gpio/gpio42 --perms 0644 --file 6 /sys/class/gpio/gpio42/value

# After the tmpfs mounts, because the checkout may lie below /root, /tmp or /home itself.
set -- "$@" --ro-bind "$checkout" "$checkout"

if [ -n "${DATACOLLECTOR_BUILD_DIRS:-}" ]; then
  folders=$DATACOLLECTOR_BUILD_DIRS
elif [ -n "$program" ]; then
  folders=$(build_folder_of "$program")
else
  folders=
fi
while [ -n "$folders" ]; do
  folder=${folders%%:*}
  case $folders in
    *:*) folders=${folders#*:} ;;
    *) folders= ;;
  esac
  case $folder in
    '' | /usr/* | /bin/*) continue ;;
  esac
  folder=$(absolute "$folder")
  [ -e "$folder" ] || fail "no such build folder: $folder"
  set -- "$@" --ro-bind "$folder" "$folder"
done

for folder in "${DATACOLLECTOR_KEEP:-}" "${GCOV_PREFIX:-}"; do
  [ -n "$folder" ] || continue
  folder=$(absolute "$folder")
  [ -d "$folder" ] || fail "no such directory: $folder"
  set -- "$@" --bind "$folder" "$folder"
done

# A result file that gtest is asked for stays writable.
for word in "$@"; do
  case $word in
    --gtest_output=*:?*)
      file=$(absolute "${word#*:}")
      : >>"$file"
      set -- "$@" --bind "$file" "$file"
      ;;
  esac
done

set -- "$@" --
while [ "$words" -gt 0 ]; do
  word=$1
  shift
  set -- "$@" "$word"
  words=$((words - 1))
done

exec bwrap "$@" 3<<PASSWD 4<<GROUP 5<<HOSTS 6<<GPIO 7<<BROKER 8<"$checkout/gateway/DatabaseInterface.sh"
root:x:0:0:root:/root:/bin/sh
nobody:x:65534:65534:nobody:/:/bin/sh
PASSWD
root:x:0:
nogroup:x:65534:
GROUP
127.0.0.1 localhost gateway
HOSTS
0
GPIO
user root
listener 1883 127.0.0.1
allow_anonymous true
BROKER
