#!/bin/sh
# Tries a Debian package on a pristine Debian 12 under a systemd of its own: install, 120 records of the simulator, restart,
# log rotation, upgrade and downgrade with an edited configuration file, reboot, removal, purge. Where this machine can't
# start such a container (systemd-nspawn, as root), what the package does to files is tried in a plain chroot, and the last
# line says so.
#
# Usage: test-package.sh PACKAGE     a package of this machine's architecture
set -eu

package=$(realpath "${1:?usage: test-package.sh PACKAGE}")
cd "${0%/*}/.."
[ "$(id -u)" -eq 0 ] || { echo "test-package.sh: run this as root" >&2; exit 1; }
scripts/install-dependencies.sh --package

base=$PWD/build/pristine
root=$PWD/build/trial
packages='systemd,systemd-sysv,dbus,mosquitto,sqlite3,logrotate,adduser,procps,libconfig9,libmosquitto1,libstdc++6'
mirror=$(sed -n 's/^URIs: *//p; s/^deb \(\[.*\] \)\{0,1\}\([^ ]*\) .*/\2/p' /etc/apt/sources.list \
  /etc/apt/sources.list.d/debian.sources 2>/dev/null | head -n 1)
if [ ! -e "$base/.complete" ]; then
  rm -rf "$base"
  debootstrap --variant=minbase --include="$packages" bookworm "$base" "${mirror:-http://deb.debian.org/debian}" >build/debootstrap.log ||
    { tail -n 20 build/debootstrap.log >&2; exit 1; }
  touch "$base/.complete"
fi

rm -rf "$root"
cp -a "$base" "$root"
rm -f "$root/usr/sbin/policy-rc.d"
mkdir -p "$root/trial"
cp packaging/debian/trial.sh "$root/trial/"
cp gateway/Config/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg "$root/trial/"
cp "$package" "$root/trial/first.deb"

# The next version: the same files.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
dpkg-deb -R "$package" "$work/next"
sed -i 's/^Version: .*/&+next/' "$work/next/DEBIAN/control"
dpkg-deb --root-owner-group -b "$work/next" "$root/trial/second.deb" >"$work/log"

# trial STAGE: boots the root, runs that stage in it, and shuts it down.
trial_booted() {
  cat >"$root/etc/systemd/system/trial.service" <<UNIT
[Unit]
After=multi-user.target mosquitto.service
[Service]
Type=oneshot
ExecStartPre=/bin/sh -c 'echo 1 >/tmp/networkstatus'
ExecStart=/bin/sh /trial/trial.sh $1
ExecStopPost=systemctl --no-block poweroff
StandardOutput=file:/trial/output
StandardError=file:/trial/output
[Install]
WantedBy=default.target
UNIT
  mkdir -p "$root/etc/systemd/system/graphical.target.wants"
  ln -sf ../trial.service "$root/etc/systemd/system/graphical.target.wants/"
  : >"$root/trial/output"
  timeout 600 systemd-nspawn --register=no --keep-unit -q -D "$root" --private-network -b >build/trial-console.log 2>&1 </dev/null || true
  cat "$root/trial/output"
  grep -q passed "$root/trial/result"
}

if systemd-nspawn --register=no --keep-unit -q -D "$root" --private-network true >build/trial-console.log 2>&1; then
  trial_booted install
  trial_booted after-reboot
  echo "test-package.sh: passed under systemd"
else
  printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
  chmod 0755 "$root/usr/sbin/policy-rc.d"
  chroot "$root" sh /trial/trial.sh install
  chroot "$root" sh /trial/trial.sh after-reboot
  echo "test-package.sh: files only: no container can be started here, so nothing was run under systemd"
fi
