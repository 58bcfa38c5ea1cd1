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
mkdir -p "$work"/{lists/partial,cache/archives/partial,debs} "$root"
: >"$work/status"
cat >"$work/apt.conf" <<CONF
APT::Architecture "armhf";
APT::Architectures { "armhf"; };
APT::Sandbox::User "root";
Dir::State::Lists "$work/lists";
Dir::State::status "$work/status";
Dir::Cache "$work/cache";
CONF
export APT_CONFIG=$work/apt.conf
# One broken index of several makes update fail; what is needed decides below.
apt-get update -qq >"$work/update.log" 2>&1 || true

depends_of() {
    apt-cache show "$1" | sed -n 's/^Depends: *//p' | head -1 | tr ',' '\n' | sed 's/^ *//; s/ .*//'
}
image=$(depends_of linux-image-armmp | grep '^linux-image-')
headers=$(depends_of linux-headers-armmp | grep '^linux-headers-')
common=$(depends_of "$headers" | grep -- '-common$')
kbuild=$(depends_of "$headers" | grep '^linux-kbuild-')
version=$(apt-cache show "$headers" | sed -n 's/^Version: //p' | head -1)
(cd "$work/debs" && apt-get download -qq "$image" "$headers" "$common" busybox-static)
# The build tools run here, so they are this machine's own, in the same version.
(cd "$work/debs" && env -u APT_CONFIG apt-get download -qq "$kbuild=$version")

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
