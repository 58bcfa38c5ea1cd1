#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds a 32-bit ARM kernel from Debian's linux-source, with one edit, configured by tests/kernel/machine.config and
# tests/kernel/NAME.config, in build/kernel-NAME: up to a quarter of an hour on two processors, once. The source is
# unpacked once for all configurations. Prints the folder when it is complete.
# Usage: kernel-build.sh NAME
set -euo pipefail
cd "$(dirname "$0")/.."
name=$1
package=linux-source-6.1
source=$PWD/build/kernel-source
work=$PWD/build/kernel-$name
mkdir -p "$source" "$work"
config=$work/all.config
cat tests/kernel/machine.config "tests/kernel/$name.config" >"$config"
key=$(cat "$config" scripts/kernel-build.sh | sha256sum | cut -c1-16)
if [ -e "$work/complete" ] && [ "$(cat "$work/complete")" = "$key" ]; then
    echo "$work"
    exit 0
fi
rm -f "$work/complete"
say() { printf '%s\n' "$name kernel: $*" >&2; }

tree=$source/$package
if [ ! -e "$tree/Makefile" ]; then
    say "fetching $package"
    rm -rf "$source"/unpacking "$source/$package"_*.deb
    mkdir "$source/unpacking"
    (cd "$source" && apt-get download -qq "$package" && dpkg-deb --fsys-tarfile "$package"_*.deb |
        tar -xO --wildcards './usr/src/linux-source-*.tar.xz' | tar -xJ -C unpacking)
    mv "$source/unpacking/$package" "$tree"
    rmdir "$source/unpacking"
fi
# 6.1 adds the statistics that a driver reports to an action's counters with softirqs on. On 32-bit machines these
# counters have a sequence lock, which actions in software take in softirqs. PROVE_LOCKING reports that, and checks
# nothing afterwards.
header=$tree/include/net/pkt_cls.h
in_update='/^tcf_exts_hw_stats_update(/,/^}/'
if sed -n "${in_update}p" "$header" | grep -q preempt_; then
    sed -i "$in_update s/preempt_\(dis\|en\)able/local_bh_\1able/" "$header"
fi
build() {
    env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH \
        make -C "$tree" O="$work/build" ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf- "$@"
}
say "configuring"
build KCONFIG_ALLCONFIG="$config" allnoconfig >"$work/config.log" 2>&1
# Kbuild drops an option that it does not accept, and prints nothing.
while read -r line; do
    case $line in
    CONFIG_*=y) grep -qx "$line" "$work/build/.config" || say "note: $line is not in effect" ;;
    esac
done <"$config"
say "building (log: $work/build.log)"
build -j"$(nproc)" zImage modules >"$work/build.log" 2>&1 || {
    tail -20 "$work/build.log" >&2
    exit 1
}
ln -sfn "$work/build" "$work/headers"
ln -sfn "$work/build/arch/arm/boot/zImage" "$work/vmlinuz"
echo "$key" >"$work/complete"
echo "$work"
