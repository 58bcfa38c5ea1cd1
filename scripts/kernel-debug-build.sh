#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds a 32-bit ARM kernel from Debian's linux-source with the checks of tests/kernel/debug.config, in a folder of its
# own: about a quarter of an hour on two processors, once. Prints the folder's root when it is complete.
# Usage: kernel-debug-build.sh FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."
config=$PWD/tests/kernel/debug.config
mkdir -p "$1"
work=$(cd "$1" && pwd)
key=$(sha256sum <"$config" | cut -c1-16)
if [ -e "$work/complete" ] && [ "$(cat "$work/complete")" = "$key" ]; then
    echo "$work"
    exit 0
fi
rm -f "$work/complete"
say() { printf '%s\n' "$*" >&2; }

package=$(apt-cache depends linux-source | sed -n 's/.*Depends: *\(linux-source-[0-9.]*\)$/\1/p' | head -1)
tree=$work/$package
if [ ! -e "$tree/Makefile" ]; then
    say "debug kernel: fetching $package"
    rm -rf "$work"/unpacking "$work/$package"_*.deb
    mkdir "$work/unpacking"
    (cd "$work" && apt-get download -qq "$package" && dpkg-deb --fsys-tarfile "$package"_*.deb |
        tar -xO --wildcards './usr/src/linux-source-*.tar.xz' | tar -xJ -C unpacking)
    mv "$work/unpacking/$package" "$tree"
    rmdir "$work/unpacking"
fi
build() { env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH make -C "$tree" ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf- "$@"; }
say "debug kernel: configuring"
build KCONFIG_ALLCONFIG="$config" allnoconfig >"$work/config.log" 2>&1
# What the configuration did not take would go unnoticed.
while read -r line; do
    case $line in
    CONFIG_*=y) grep -qx "$line" "$tree/.config" || say "debug kernel: note: $line is not in effect" ;;
    esac
done <"$config"
say "debug kernel: building (log: $work/build.log)"
build -j"$(nproc)" zImage modules >"$work/build.log" 2>&1 || {
    tail -20 "$work/build.log" >&2
    exit 1
}
ln -sfn "$tree" "$work/headers"
ln -sfn "$tree/arch/arm/boot/zImage" "$work/vmlinuz"
echo "$key" >"$work/complete"
echo "$work"
