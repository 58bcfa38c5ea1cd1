#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds ifc.ko for a 32-bit ARM kernel, boots that kernel in an emulated machine, drives the module there and judges
# the console by its markers. Prints what ran, with times.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$root/build/kernel-test
limit=180
mkdir -p "$build"
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

step "target: kernel, headers, busybox"
target=$(scripts/kernel-fetch.sh build/kernel-target 2>/dev/null)
step "target is $(cat "$target/complete")"

module=$build/module
mkdir -p "$module"
cp -u platform/kernel/* "$module/"
env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH make -C "$target/headers" M="$module" IFC_ROOT="$root" ARCH=arm \
    CROSS_COMPILE=arm-linux-gnueabihf- -j"$(nproc)" modules >"$build/module.log" 2>&1 || {
    tail -30 "$build/module.log"
    exit 1
}
text=$(arm-linux-gnueabihf-size "$module/ifc.ko" | awk 'END { print $1 }')
step "module is built, $text bytes of text"

# The batch of the machine, and what this machine's engine says to the same.
cmake --preset release >/dev/null
cmake --build build/release --target ifcctl -j "$(nproc)" >/dev/null
cp tests/kernel/batch.txt "$build/batch"
sed 's/^/op /' "$build/batch" >"$build/host.ifc"
echo "table dump" >>"$build/host.ifc"
build/release/tools/ifcctl/ifcctl -b "$build/host.ifc" >"$build/host.txt"
sed -n '/^$/,$p' "$build/host.txt" | sed -n '/LUT0-0/,$p' >"$build/host.dump"
step "host's dump: $(wc -l <"$build/host.dump") lines"

fs=$build/initramfs
rm -rf "$fs"
mkdir -p "$fs"/{bin,proc,sys,dev,tmp}
cp "$target/busybox" "$fs/bin/busybox"
cp tests/kernel/init "$fs/init"
cp tests/kernel/checks.sh "$build/batch" "$fs/"
cp "$module/ifc.ko" "$fs/"
chmod +x "$fs/init" "$fs/checks.sh"
(cd "$fs" && find . | cpio -o -H newc -R 0:0 2>/dev/null | gzip -1) >"$build/initrd.gz"

step "booting"
timeout $limit qemu-system-arm -M virt -cpu cortex-a15 -smp 2 -m 256 -nographic -no-reboot -nic none \
    -kernel "$target/vmlinuz" -initrd "$build/initrd.gz" \
    -append "console=ttyAMA0 rdinit=/init panic=-1 quiet loglevel=1" </dev/null >"$build/console.log" 2>&1 || true
tr -d '\r' <"$build/console.log" >"$build/console.txt"
step "the machine has stopped"

grep -E '^(PASS|FAIL|NOTE) ' "$build/console.txt" || true
status=0
fail() { echo "FAIL $*"; status=1; }
grep -q '^END OF CHECKS$' "$build/console.txt" || fail "the machine did not reach the end of its checks"
! grep -q '^FAIL ' "$build/console.txt" || status=1
if grep -aE 'BUG:|WARNING:|Oops|Unable to handle|possible recursive locking|KASAN|UBSAN' "$build/console.txt"; then
    fail "the kernel reported a fault"
fi
for part in file log; do
    sed -n "/^BEGIN DUMP $part\$/,/^END DUMP $part\$/p" "$build/console.txt" | sed '1d;$d' >"$build/$part.dump"
    grep -v '^$' "$build/host.dump" >"$build/host.lines"
    grep -v '^$' "$build/$part.dump" >"$build/$part.lines" || true
    if cmp -s "$build/host.lines" "$build/$part.lines"; then
        echo "PASS dump by $part equals the host's, $(wc -l <"$build/$part.lines") lines"
    else
        fail "dump by $part differs from the host's"
        diff "$build/host.lines" "$build/$part.lines" | head -20 || true
    fi
done
passed=$(grep -c '^PASS ' "$build/console.txt" || true)
step "$((passed + 2 * (status == 0))) passed, status $status"
exit $status
