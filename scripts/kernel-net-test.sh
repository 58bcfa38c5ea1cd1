#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds the module with its ports, boots a 32-bit ARM kernel in an emulated machine and lets Linux's own front ends
# program the classifier there: the kernel's own tests, unmodified, and ours. Or opens a shell in that machine.
# Usage: kernel-net-test.sh [KERNEL] [shell | PARTS]
#   KERNEL  5.10, 6.1 or 6.12 of Debian's packages (6.1 unless named), or debug: 6.1 built here with all debug checks
#   PARTS   of tests/kernel/net/ to run: device, judges, ours and silent unless named; more
# IFC_NET_SEED, IFC_NET_CHANGES: of the random filters. IFC_NET_FRAMES: random frames for each filter of the table
# (20000 take eight minutes). IFC_NET_LIMIT: seconds after which the machine is stopped. IFC_NET_JQ=jq: jq itself; gojq, which
# does the same, starts five times as fast in an emulated machine, and the kernel's tests start it for each counter. debug takes jq
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
kernel=6.1 packages=6.1 memory=256 limit=1200 jq=gojq
case ${1:-} in
5.10 | 6.1 | 6.12)
    kernel=$1 packages=$1
    shift
    ;;
debug)
    # Debian's Go programs for ARM call helpers of the kernel at fixed addresses, which this kernel does not have.
    kernel=debug memory=768 limit=2400 jq=jq
    shift
    ;;
esac
limit=${IFC_NET_LIMIT:-$limit}
parts=${*:-"device judges ours silent"}
for part in $parts; do
    case $part in
    device | judges | ours | silent | more | shell) ;;
    *) echo "kernel-net-test: '$part': accepted: device, judges, ours, silent, more, shell" >&2; exit 2 ;;
    esac
done
jq=${IFC_NET_JQ:-$jq}
case $jq in
jq | gojq) ;;
*) echo "kernel-net-test: IFC_NET_JQ='$jq': accepted: jq, gojq" >&2; exit 2 ;;
esac
build=$root/build/kernel-net-test/$kernel
mkdir -p "$build"
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

step "target: kernel, headers, programs, the kernel's tests"
if ! { target=$(scripts/kernel-fetch.sh "$packages" 2>"$build/fetch.log") &&
    net=$(scripts/kernel-net-fetch.sh "$packages" 2>>"$build/fetch.log"); }; then
    tail -20 "$build/fetch.log"
    exit 1
fi
headers=$target/headers image=$target/vmlinuz
release=$(cat "$target/complete")
if [ "$kernel" = debug ]; then
    folder=$(scripts/kernel-build.sh debug)
    headers=$folder/headers image=$folder/vmlinuz
    release=$(cat "$headers/include/config/kernel.release")
fi

module=$build/module
mkdir -p "$module"
for file in platform/kernel/* platform/linux_net/* tests/kernel/net/ifc_*; do
    cmp -s "$file" "$module/$(basename "$file")" || cp "$file" "$module/"
done
for file in "$module"/*.[ch] "$module"/*.cpp; do
    case $file in *.mod.c | */ifc_offsets.h) continue ;; esac
    [ -e "platform/kernel/$(basename "$file")" ] || [ -e "platform/linux_net/$(basename "$file")" ] ||
        [ -e "tests/kernel/net/$(basename "$file")" ] || rm -f "$file"
done
env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH make -C "$headers" M="$module" IFC_ROOT="$root" ARCH=arm \
    CROSS_COMPILE=arm-linux-gnueabihf- CC=arm-linux-gnueabihf-gcc -j"$(nproc)" modules >"$build/module.log" 2>&1 || {
    tail -30 "$build/module.log"
    exit 1
}
status=0
fail() { echo "FAIL $*"; status=1; }
! grep -a 'warning:' "$build/module.log" || fail "the module's build has warnings"
step "modules are built"

fs=$build/initramfs
if [ ! -e "$fs/.of" ] || [ "$(cat "$fs/.of")" != "$(cat "$net/complete")" ]; then
    rm -rf "$fs"
    mkdir -p "$fs"/{bin,sbin,lib,usr/bin,usr/sbin,usr/lib,busybox,proc,sys,dev,tmp,etc,run,modules}
    for folder in bin sbin usr/bin usr/sbin; do
        for program in bash cat cp cut date dd env expr false grep head id ip kill ln ls mkdir mktemp mv ncat ping ping6 \
            ping4 printf readlink rm seq sleep sort stat stdbuf tail tc bridge devlink ethtool mausezahn tcpdump timeout \
            touch tr true uname uniq wc mawk; do
            [ ! -e "$net/$folder/$program" ] || cp -a "$net/$folder/$program" "$fs/$folder/"
        done
    done
    ln -sf bash "$fs/bin/sh"
    ln -sf ../usr/bin/mawk "$fs/bin/awk"
    cp -a "$net/lib/." "$fs/lib/"
    rm -rf "$fs/lib/modules" "$fs/lib/systemd"
    cp -a "$net/usr/lib/arm-linux-gnueabihf" "$fs/usr/lib/"
    rm -rf "$fs"/usr/lib/arm-linux-gnueabihf/{gconv,perl*,audit}
    cp -aL "$target/busybox" "$fs/bin/busybox"
    echo 'root:x:0:0:root:/tmp:/bin/bash' >"$fs/etc/passwd"
    mkdir -p "$fs/etc/netsniff-ng"
    cp -a "$net/etc/netsniff-ng/." "$fs/etc/netsniff-ng/" 2>/dev/null || true
    cp -a "$net/tools" "$fs/"
    # The packaged kernel has these as modules, the debug kernel has them built in.
    : >"$build/modules"
    if [ "$kernel" != debug ]; then
        depmod -b "$net" "$release" 2>/dev/null || true
        for name in bridge 8021q vrf veth dummy cls_flower cls_matchall sch_ingress sch_prio act_gact act_mirred act_vlan \
            act_pedit act_skbedit act_csum act_police crc32c_generic; do
            modprobe -d "$net" -S "$release" --show-depends "$name"
        done 2>/dev/null | sed -n 's/^insmod \([^ ]*\).*/\1/p' | grep -v 'arm-ce' | awk '!seen[$0]++' >"$build/modules"
    fi
    while read -r file; do
        cp "$file" "$fs/modules/"
        basename "$file"
    done <"$build/modules" >"$fs/modules/order"
    cp "$net/complete" "$fs/.of"
fi
cp --remove-destination "$net/usr/bin/$jq" "$fs/usr/bin/jq"
rm -rf "$fs/ours"
mkdir "$fs/ours"
cp tests/kernel/net/* tests/kernel/check.sh tests/kernel/faults examples/*.pcap "$fs/ours/"
cp "$module"/ifc*.ko "$fs/ours/"
arm-linux-gnueabihf-gcc -O2 -Wall -Wextra -static -o "$fs/ours/churn" tests/kernel/net/churn*.c
echo "SEED=${IFC_NET_SEED:-1} CHANGES=${IFC_NET_CHANGES:-10000} FRAMES=${IFC_NET_FRAMES:-200}" >"$fs/ours/settings"
cp tests/kernel/net/init "$fs/init"
chmod +x "$fs/init"
(cd "$fs" && find . | cpio -o -H newc -R 0:0 2>/dev/null | gzip -1) >"$build/initrd.gz"

machine=(qemu-system-arm -M virt -cpu cortex-a15 -m "$memory" -nographic -no-reboot -nic none
    -kernel "$image" -initrd "$build/initrd.gz")
line="console=ttyAMA0 rdinit=/init panic=-1 quiet loglevel=1 log_buf_len=4M kasan_multi_shot"
if [ "$parts" = shell ]; then
    step "booting; leave by: poweroff -f"
    exec "${machine[@]}" -smp 2 -append "$line parts=shell"
fi
# Each of these parts has a machine of its own, beside that of the other parts.
machines=()
others=
for part in $parts; do
    case $part in
    judges | more | silent) machines+=("$part") ;;
    *) others="$others${others:+ }$part" ;;
    esac
done
[ -z "$others" ] || machines+=("$others")
step "booting, $(stat -c %s "$build/initrd.gz") bytes packed"
for n in "${!machines[@]}"; do
    # Two processors where two writers meet. One is emulated faster.
    smp=1
    [[ ${machines[n]} != *ours* ]] || smp=2
    # The kernel passes parts= to its first program.
    timeout -k 10 "$limit" "${machine[@]}" -smp $smp -append "$line parts=${machines[n]// /,}" </dev/null >"$build/console$n.log" 2>&1 &
done
wait
step "the machines have stopped"

passed=0 failed=0
for n in "${!machines[@]}"; do
    console=$build/console$n.txt
    tr -d '\r' <"$build/console$n.log" >"$console"
    grep -aE '^(PASS|FAIL|NOTE|SKIP) ' "$console" || true
    ran=$(grep -acE '^(PASS|FAIL) ' "$console" || true)
    grep -aq "^END OF CHECKS $ran\$" "$console" || {
        fail "${machines[n]}: the machine did not reach the end of its checks"
        tail -20 "$console"
    }
    ! grep -aq '^FAIL ' "$console" || status=1
    if sed -n '/^BEGIN REPORTS$/,/^END REPORTS$/p' "$console" | sed '1d;$d' | grep -a .; then
        fail "the kernel reported a fault"
    fi
    if grep -aE -f tests/kernel/faults "$console"; then
        fail "the kernel reported a fault on its console"
    fi
    passed=$((passed + $(grep -ac '^PASS ' "$console" || true)))
    failed=$((failed + $(grep -ac '^FAIL ' "$console" || true)))
done
[ $status -eq 0 ] || [ "$failed" -ne 0 ] || failed=1
step "the end"
echo "$passed passed, $failed failed"
exit $status
