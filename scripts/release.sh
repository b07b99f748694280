#!/bin/sh
# Makes a release in build/release: the sources as a tarball, Debian packages for amd64, arm64, armhf and mipsel, a bill of
# materials (SPDX) and checksums. Made from the last commit, whatever the working tree holds; two runs on the same commit
# and the same Debian give the same bytes, wherever the checkout lies.
#
# Usage: release.sh [ARCHITECTURE...]     all four by default
set -eu
cd "${0%/*}/.."
[ $# -gt 0 ] || set -- amd64 arm64 armhf mipsel
scripts/install-dependencies.sh --package

version=$(sed -n 's/^project(DataCollector VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
commit=$(git rev-parse HEAD)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH LC_ALL=C TZ=UTC
umask 022

out=$PWD/build/release
name=datacollector-$version
work=$PWD/build/release-work
rm -rf "$out" "$work"
mkdir -p "$out" "$work"
# In the script, so that an interrupted run leaves no half of a release that looks like one.
trap '[ -e "$out/SHA256SUMS" ] || rm -rf "$out"' EXIT

git archive --format=tar --prefix="$name/" "$commit" >"$work/source.tar"
gzip -9n <"$work/source.tar" >"$out/$name.tar.gz"
tar -xf "$work/source.tar" -C "$work"
source=$work/$name

# What each program is linked with: name, version, Debian package of the library.
linked() {
  if [ "$1" = amd64 ]; then
    # The dollar signs are dpkg-query's.
    # shellcheck disable=SC2016
    dpkg-query -W -f '${Package} ${Version}\n' libc6 libstdc++6 libgcc-s1 libconfig9 libmosquitto1 libsqlite3-0
  else
    grep -E '^(libc6|libstdc\+\+6|libgcc-s1|libconfig9|libmosquitto1|libsqlite3-0) ' "build/sysroot/$1/packages"
  fi
}

for architecture in "$@"; do
  echo "release.sh: $architecture"
  build=$work/$architecture
  if [ "$architecture" = amd64 ]; then
    cmake -S "$source" --preset gateway -B "$build" >"$work/log"
  else
    scripts/make-sysroot.sh "$architecture"
    cmake -S "$source" --preset "$architecture" -B "$build" -DGATEWAY_SYSROOT="$PWD/build/sysroot/$architecture" \
      >"$work/log"
  fi
  cmake --build "$build" >"$work/log" || {
    cat "$work/log" >&2
    exit 1
  }
  # CPack packs what it has just copied: those times, like all else, are the commit's.
  (cd "$build" && cpack -G DEB) >"$work/log" || {
    cat "$work/log" >&2
    exit 1
  }
  mv "$build"/*.deb "$out/"
  lintian --fail-on error "$out"/datacollector_*_"$architecture".deb
done

# The bill of materials.
created=$(date -u -d "@$SOURCE_DATE_EPOCH" +%Y-%m-%dT%H:%M:%SZ)
{
  echo 'SPDXVersion: SPDX-2.3'
  echo 'DataLicense: CC0-1.0'
  echo 'SPDXID: SPDXRef-DOCUMENT'
  echo "DocumentName: $name"
  echo "DocumentNamespace: https://example.org/spdx/$name-$commit"
  echo 'Creator: Tool: release.sh'
  echo "Created: $created"
  printf '\nPackageName: datacollector\nSPDXID: SPDXRef-datacollector\nPackageVersion: %s\n' "$version"
  printf 'PackageDownloadLocation: NOASSERTION\nFilesAnalyzed: false\nPackageLicenseDeclared: MIT\n'
  printf 'Relationship: SPDXRef-DOCUMENT DESCRIBES SPDXRef-datacollector\n'
  for architecture in "$@"; do
    linked "$architecture" | while read -r library library_version; do
      id=SPDXRef-$(printf '%s-%s' "$architecture" "$library" | tr -c 'A-Za-z0-9.\n-' '-')
      printf '\nPackageName: %s\nSPDXID: %s\nPackageVersion: %s\n' "$library" "$id" "$library_version"
      printf 'PackageDownloadLocation: NOASSERTION\nFilesAnalyzed: false\n'
      printf 'PackageComment: Debian 12, %s\n' "$architecture"
      printf 'Relationship: SPDXRef-datacollector DYNAMIC_LINK %s\n' "$id"
    done
  done
} >"$out/$name.spdx"

(cd "$out" && sha256sum -- * >SHA256SUMS.new && mv SHA256SUMS.new SHA256SUMS)
rm -rf "$work"
cat "$out/SHA256SUMS"
