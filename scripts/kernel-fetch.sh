#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Fetches a 32-bit ARM kernel image of one version, its headers and busybox from Debian's packages into
# build/kernel-target/VERSION, without touching this machine's package sources and architectures. Prints the root of
# what was unpacked when it is complete; its file `complete` holds the kernel's release.
# Usage: kernel-fetch.sh VERSION
set -euo pipefail
cd "$(dirname "$0")/.."
wanted=$1
# The Debian suites that have this version. Their names are fixed, so that this machine's own suite does not matter.
case $wanted in
5.10) suites="bullseye" ;;
6.1) suites="bookworm" ;;
6.12) suites="bookworm-backports bookworm" ;;
*)
    echo "kernel-fetch: '$wanted': accepted: 5.10, 6.1, 6.12" >&2
    exit 2
    ;;
esac
mkdir -p "build/kernel-target/$wanted"
work=$PWD/build/kernel-target/$wanted
shared=$PWD/build/kernel-target
root=$work/root
if [ -e "$root/complete" ]; then
    echo "$root"
    exit 0
fi
# Removes what an interrupted run left.
rm -rf "$work/debs" "$root"
mkdir -p "$shared/lists/partial" "$work"/{cache/archives/partial,debs} "$root"
host=$(dpkg --print-architecture)

# The archive that this machine's own packages come from.
codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
archive=$(apt-get indextargets --format '$(RELEASE) $(COMPONENT) $(LABEL) $(REPO_URI)' 'Created-By: Packages' |
    awk -v codename="$codename" '$1 == codename && $2 == "main" && ($3 == "Debian" || NF == 3) { print $NF; exit }')
[ -n "$archive" ] || {
    echo "kernel-fetch: no archive of Debian's main packages among apt's sources of this machine" >&2
    exit 1
}
keys=/usr/share/keyrings/debian-archive-keyring.gpg
[ -e "$keys" ] && keys=" signed-by=$keys" || keys=
for suite in $suites; do
    echo "deb [arch=armhf,$host$keys] $archive $suite main"
done >"$work/sources.list"
: >"$work/status"
cat >"$work/apt.conf" <<CONF
APT::Architecture "armhf";
APT::Architectures { "armhf"; "$host"; };
APT::Sandbox::User "root";
APT::Get::List-Cleanup "false";
Acquire::Languages "none";
Dir::Etc::SourceList "$work/sources.list";
Dir::Etc::SourceParts "/dev/null";
Dir::State::Lists "$shared/lists";
Dir::State::status "$work/status";
Dir::Cache "$work/cache";
CONF
export APT_CONFIG=$work/apt.conf
# One broken index makes the update fail. Whether it is needed shows below.
apt-get update -qq >"$work/update.log" 2>&1 || true

# record PACKAGE FIELD: a field of the newest package of the wanted version.
record() {
    apt-cache show "$1" 2>/dev/null | awk -v RS= -v wanted="$wanted." -v field="$2: " '{
        version = ""; value = ""
        n = split($0, line, "\n")
        for (i = 1; i <= n; i++) {
            if (index(line[i], "Version: ") == 1) version = substr(line[i], 10)
            if (index(line[i], field) == 1) value = substr(line[i], length(field) + 1)
        }
        if (index(version, wanted) == 1) { print value; exit }
    }'
}
depends_of() { record "$1" Depends | tr ',' '\n' | sed 's/^ *//; s/ .*//'; }
image=$(depends_of linux-image-armmp | grep '^linux-image-' || true)
headers=$(depends_of linux-headers-armmp | grep '^linux-headers-' || true)
common=$(depends_of "$headers" | grep -- '-common$' || true)
kbuild=$(depends_of "$headers" | grep '^linux-kbuild-' || true)
for name in image headers common kbuild; do
    [ -n "${!name}" ] || {
        echo "kernel-fetch: no package '$name' of Linux $wanted in $suites for armhf" >&2
        cat "$work/update.log" >&2
        exit 1
    }
done
version=$(record "$headers" Version)
# The build tools run here, so their architecture is this machine's. The version is the same.
(cd "$work/debs" && apt-get download -qq "$image=$version" "$headers=$version" "$common=$version" busybox-static \
    "$kbuild:$host=$version")

for deb in "$work"/debs/*.deb; do
    case $(basename "$deb") in
    linux-image-*) dpkg-deb --fsys-tarfile "$deb" | tar -x -C "$root" --wildcards './boot/*' ;;
    *) dpkg -x "$deb" "$root" ;;
    esac
done
# The headers' Makefile names the place where their common part would be installed.
sed -i "s|/usr/src/|$root/usr/src/|" "$root/usr/src/$headers/Makefile"
ln -sfn "$root/usr/src/$headers" "$root/headers"
ln -sfn "$(ls "$root"/boot/vmlinuz-*)" "$root/vmlinuz"
ln -sfn "$root/bin/busybox" "$root/busybox"
rm -rf "$work/debs" "$work/cache"
echo "${headers#linux-headers-}" >"$root/complete"
echo "$root"
