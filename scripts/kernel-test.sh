#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds ifc.ko and its tests for a 32-bit ARM kernel, boots that kernel in an emulated machine, drives the module there
# and judges the console by its markers. Prints what ran, with times.
# Usage: kernel-test.sh [debug]; debug: on a kernel of our own with all of its checks (scripts/kernel-debug-build.sh)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
kind=${1:-packaged}
build=$root/build/kernel-test
limit=180
case $kind in
packaged) ;;
debug) build=$root/build/kernel-debug-test limit=900 ;;
*) echo "kernel-test: '$kind': accepted: nothing, or debug" >&2; exit 2 ;;
esac
mkdir -p "$build"
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

step "target: kernel, headers, busybox"
target=$(scripts/kernel-fetch.sh build/kernel-target 2>"$build/fetch.log") || {
    tail -20 "$build/fetch.log"
    exit 1
}
kernel=$target
if [ "$kind" = debug ]; then
    kernel=$(scripts/kernel-debug-build.sh build/kernel-debug)
    step "target is $(make -s -C "$kernel/headers" ARCH=arm kernelrelease 2>/dev/null), with all checks"
else
    step "target is $(cat "$target/complete")"
fi

# The tool for this machine and, static, for the target: beside the module's build.
(
    cmake --preset release
    cmake --build build/release --target ifcctl -j "$(nproc)"
    cmake -S . -B build/armhf-tool -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" -DCMAKE_BUILD_TYPE=None \
        -DCMAKE_CXX_FLAGS=-O1 -DIFC_BUILD_TESTS=OFF
    cmake --build build/armhf-tool --target ifcctl -j "$(nproc)"
) >"$build/tool.log" 2>&1 &
tools=$!

module=$build/module
mkdir -p "$module"
for file in platform/kernel/*; do
    cmp -s "$file" "$module/$(basename "$file")" || cp "$file" "$module/"
done
for file in "$module"/*.[ch] "$module"/*.cpp; do
    case $file in *.mod.c | */ifc_offsets.h) continue ;; esac
    [ -e "platform/kernel/$(basename "$file")" ] || rm -f "$file"
done
env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH make -C "$kernel/headers" M="$module" IFC_ROOT="$root" ARCH=arm \
    CROSS_COMPILE=arm-linux-gnueabihf- -j"$(nproc)" modules >"$build/module.log" 2>&1 || {
    tail -30 "$build/module.log"
    exit 1
}
text=$(arm-linux-gnueabihf-size "$module/ifc.ko" | awk 'END { print $1 }')
layer=$(cd "$module" && arm-linux-gnueabihf-size $(cd "$root/ifc/ifc_util" && ls ./*.cpp | sed 's/cpp$/o/') |
    awk 'NR > 1 { sum += $1 } END { print sum }')
step "modules are built; ifc.ko: $text bytes of text, of which the rule layer $layer"
exported=$(awk '$3 ~ /\/ifc$/ { print $2 }' "$module/Module.symvers" | sort)
for operation in $(sed -nE 's/^(int|void|uint|unsigned int|int8_t|int32_t|uint16_t) (\w+)\(.*/\2/p' ifc/ifc_util.h); do
    grep -qx "$operation" <<<"$exported" || { echo "FAIL $operation is not exported"; exit 1; }
done

wait $tools || {
    tail -30 "$build/tool.log"
    exit 1
}
step "ifcctl is built for this machine and for the target"

fs=$build/initramfs
rm -rf "$fs"
mkdir -p "$fs"/{bin,proc,sys,dev,tmp}
cp "$target/busybox" "$fs/bin/busybox"
cp tests/kernel/{init,checks.sh,ktap.sh,ktap_test.sh,faults} examples/{stack,framings}.pcap "$module"/{ifc,ifc_test}.ko "$fs/"
cp build/armhf-tool/tools/ifcctl/ifcctl "$fs/bin/"
host=$root/build/release/tools/ifcctl/ifcctl
expected=$fs/expected
mkdir -p "$expected"
cp tests/kernel/batch.txt "$fs/batch"
{ sed 's/^/op /' "$fs/batch"; echo "table dump"; } | "$host" -b - >"$build/host.txt"
sed -n '/^$/,$p' "$build/host.txt" | sed -n '/LUT0-0/,$p' >"$build/host.dump"
cp examples/gateway.ifc "$fs/gateway.ifc"
"$host" -b "$fs/gateway.ifc" >"$expected/gateway"
cp tests/kernel/tool.ifc "$fs/tool.ifc"
# The captures stand at the root of the machine.
(cd "$fs" && sed 's| /\([a-z]*\.pcap\)| \1|' tool.ifc | "$host" -b - >"$expected/tool")
(cd "$fs" && sed 's| /\([a-z]*\.pcap\)| \1|' tool.ifc | "$host" -j -b - >"$expected/tool.json")
sed '/^table dump/q' examples/gateway.ifc >"$fs/replay.ifc"
echo "frame replay /framings.pcap -o /tmp/out.pcap" >>"$fs/replay.ifc"
(cd "$fs" && sed 's| /framings| framings|; s|/tmp/out.pcap|expected/out.pcap|' replay.ifc | "$host" -b - >/dev/null)
chmod +x "$fs/init" "$fs/checks.sh"
(cd "$fs" && find . | cpio -o -H newc -R 0:0 2>/dev/null | gzip -1) >"$build/initrd.gz"
step "this machine's engine: dump of $(wc -l <"$build/host.dump") lines, tool output of $(wc -l <"$expected/tool")"

step "booting"
timeout -k 10 $limit qemu-system-arm -M virt -cpu cortex-a15 -smp 2 -m 256 -nographic -no-reboot -nic none \
    -kernel "$kernel/vmlinuz" -initrd "$build/initrd.gz" \
    -append "console=ttyAMA0 rdinit=/init panic=-1 quiet loglevel=1 log_buf_len=4M kasan_multi_shot" </dev/null \
    >"$build/console.log" 2>&1 || true
tr -d '\r' <"$build/console.log" >"$build/console.txt"
step "the machine has stopped"

grep -aE '^(PASS|FAIL|NOTE) ' "$build/console.txt" || true
status=0
fail() { echo "FAIL $*"; status=1; }
ran=$(grep -cE '^(PASS|FAIL) ' "$build/console.txt" || true)
grep -q "^END OF CHECKS $ran\$" "$build/console.txt" || { fail "the machine did not reach the end of its checks"; tail -5 "$build/console.txt"; }
! grep -q '^FAIL ' "$build/console.txt" || status=1
if sed -n '/^BEGIN REPORTS$/,/^END REPORTS$/p' "$build/console.txt" | sed '1d;$d' | grep -a .; then
    fail "the kernel reported a fault"
fi
if grep -aE -f tests/kernel/faults "$build/console.txt"; then
    fail "the kernel reported a fault on its console"
fi
same=0
for part in file log; do
    sed -n "/^BEGIN DUMP $part\$/,/^END DUMP $part\$/p" "$build/console.txt" | sed '1d;$d' >"$build/$part.dump"
    grep -v '^$' "$build/host.dump" >"$build/host.lines"
    grep -v '^$' "$build/$part.dump" >"$build/$part.lines" || true
    if cmp -s "$build/host.lines" "$build/$part.lines"; then
        same=$((same + 1))
        echo "PASS dump by $part equals this machine's, $(wc -l <"$build/$part.lines") lines"
    else
        fail "dump by $part differs from this machine's"
        diff "$build/host.lines" "$build/$part.lines" | head -20 || true
    fi
done
if grep -a 'warning:' "$build/module.log"; then
    fail "the module's build has warnings"
fi
passed=$(($(grep -c '^PASS ' "$build/console.txt" || true) + same))
failed=$(grep -c '^FAIL ' "$build/console.txt" || true)
[ $status -eq 0 ] || [ "$failed" -ne 0 ] || failed=1
step "the end"
echo "$passed passed, $failed failed"
exit $status
