#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Fetches a 32-bit ARM kernel image, its headers and busybox from Debian's packages into a folder of their own,
# without touching the package architectures of this machine. Prints the folder's root when it is complete.
# Usage: kernel-fetch.sh FOLDER
set -euo pipefail
mkdir -p "$1"
work=$(cd "$1" && pwd)
root=$work/root
if [ -e "$root/complete" ]; then
    echo "$root"
    exit 0
fi
# What an interrupted run left is no part of this one.
rm -rf "$work/debs" "$root"
mkdir -p "$work"/{lists/partial,cache/archives/partial,debs} "$root"
host=$(dpkg --print-architecture)
: >"$work/status"
cat >"$work/apt.conf" <<CONF
APT::Architecture "armhf";
APT::Architectures { "armhf"; "$host"; };
APT::Sandbox::User "root";
Dir::State::Lists "$work/lists";
Dir::State::status "$work/status";
Dir::Cache "$work/cache";
CONF
export APT_CONFIG=$work/apt.conf
# One broken index of several makes update fail; what is needed decides below.
apt-get update -qq >"$work/update.log" 2>&1 || true

depends_of() {
    apt-cache show "$1" 2>/dev/null | sed -n 's/^Depends: *//p' | head -1 | tr ',' '\n' | sed 's/^ *//; s/ .*//'
}
image=$(depends_of linux-image-armmp | grep '^linux-image-')
headers=$(depends_of linux-headers-armmp | grep '^linux-headers-')
common=$(depends_of "$headers" | grep -- '-common$')
kbuild=$(depends_of "$headers" | grep '^linux-kbuild-')
for name in image headers common kbuild; do
    [ -n "${!name}" ] || {
        echo "kernel-fetch: no package '$name' of linux-image-armmp and linux-headers-armmp in the lists of armhf" >&2
        cat "$work/update.log" >&2
        exit 1
    }
done
version=$(apt-cache show "$headers" | sed -n 's/^Version: //p' | head -1)
(cd "$work/debs" && apt-get download -qq "$image" "$headers" "$common" busybox-static)
# The build tools run here, so they are for this machine, in the same version.
(cd "$work/debs" && apt-get download -qq "$kbuild:$host=$version")

for deb in "$work"/debs/*.deb; do
    case $(basename "$deb") in
    linux-image-*) dpkg-deb --fsys-tarfile "$deb" | tar -x -C "$root" --wildcards './boot/*' ;;
    *) dpkg -x "$deb" "$root" ;;
    esac
done
# The headers' one-line Makefile names the installed place of the common part.
sed -i "s|/usr/src/|$root/usr/src/|" "$root/usr/src/$headers/Makefile"
ln -sfn "$root/usr/src/$headers" "$root/headers"
ln -sfn "$(ls "$root"/boot/vmlinuz-*)" "$root/vmlinuz"
ln -sfn "$root/bin/busybox" "$root/busybox"
echo "${headers#linux-headers-}" >"$root/complete"
echo "$root"
