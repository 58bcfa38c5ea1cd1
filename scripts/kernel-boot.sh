#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Boots a kernel in two emulated 32-bit ARM machines side by side, tests the modules there, in each one part of the
# checks, and judges the consoles by their markers. Prints the lines of the checks.
# Usage: kernel-boot.sh KERNEL-IMAGE RELEASE BUSYBOX FOLDER EXPECTED SECONDS
# RELEASE is the release that the kernel must report. kernel-module.sh built FOLDER, kernel-expect.sh built EXPECTED.
set -euo pipefail
cd "$(dirname "$0")/.."
image=$1 release=$2 busybox=$3 build=$4 expected=$5 limit=$6
fs=$build/initramfs
rm -rf "$fs"
cp -a "$expected/root" "$fs"
cp "$busybox" "$fs/bin/busybox"
cp "$build"/module/*.ko "$fs/"
cp "$build/embedder/ifc.ko" "$fs/ifc_embedder.ko"
arm-linux-gnueabihf-strip --strip-debug "$fs"/*.ko
(cd "$fs" && find . | cpio -o -H newc -R 0:0 2>/dev/null | gzip -1) >"$build/initrd.gz"
# machine PART PROCESSORS: checks one part. Emulation of one processor costs much less than that of two.
machine() {
    timeout -k 10 "$limit" qemu-system-arm -M virt -cpu cortex-a15 -smp "$2" -m 256 -nographic -no-reboot -nic none \
        -kernel "$image" -initrd "$build/initrd.gz" \
        -append "console=ttyAMA0 rdinit=/init panic=-1 quiet loglevel=1 log_buf_len=4M kasan_multi_shot part=$1" \
        </dev/null 2>&1 | tr -d '\r' >"$build/$1.txt" || true
}
parts=(checks_smp checks)
machine checks_smp 2 &
machine checks 1 &
wait
console=$build/console.txt
for part in "${parts[@]}"; do cat "$build/$part.txt"; done >"$console"

grep -aE '^(PASS|FAIL|NOTE) ' "$console" || true
status=0
fail() { echo "FAIL $*"; status=1; }
booted=$(sed -n 's/^KERNEL //p' "$console" | uniq)
if [ "$booted" = "$release" ]; then
    echo "PASS the kernel that booted is $booted"
else
    fail "the kernel that booted is '$booted', not $release"
fi
for part in "${parts[@]}"; do
    ran=$(grep -cE '^(PASS|FAIL) ' "$build/$part.txt" || true)
    grep -q "^END OF CHECKS $ran\$" "$build/$part.txt" || {
        fail "the machine did not reach the end of its $part"
        tail -5 "$build/$part.txt"
    }
done
! grep -q '^FAIL ' "$console" || status=1
if sed -n '/^BEGIN REPORTS$/,/^END REPORTS$/p' "$console" | sed '/ REPORTS$/d' | grep -a .; then
    fail "the kernel reported a fault"
fi
if grep -aE -f tests/kernel/faults "$console"; then
    fail "the kernel reported a fault on its console"
fi
grep -v '^$' "$expected/host.dump" >"$build/host.lines"
for part in file log; do
    sed -n "/^BEGIN DUMP $part\$/,/^END DUMP $part\$/p" "$console" | sed '1d;$d' | grep -v '^$' >"$build/$part.lines" || true
    if cmp -s "$build/host.lines" "$build/$part.lines"; then
        echo "PASS dump by $part equals this machine's, $(wc -l <"$build/$part.lines") lines"
    else
        fail "dump by $part differs from this machine's"
        diff "$build/host.lines" "$build/$part.lines" | head -20 || true
    fi
done
exit $status
