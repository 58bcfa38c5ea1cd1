#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds ifcctl for this machine and, static, for the target. Makes the part of the initramfs that is the same for every
# kernel: the checks, their input, and the output that this machine's build gives for it.
# Usage: kernel-expect.sh FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
mkdir -p "$1"
build=$(cd "$1" && pwd)
fs=$build/root
(
    cmake --preset release &&
        cmake --build build/release --target ifcctl -j "$(nproc)" &&
        cmake -S . -B build/armhf-tool -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" -DCMAKE_BUILD_TYPE=None \
            -DCMAKE_CXX_FLAGS=-O1 -DIFC_BUILD_TESTS=OFF &&
        cmake --build build/armhf-tool --target ifcctl -j "$(nproc)"
) >"$build/tool.log" 2>&1 || {
    tail -30 "$build/tool.log" >&2
    exit 1
}

rm -rf "$fs"
mkdir -p "$fs"/{bin,proc,sys,dev,tmp,expected}
cp tests/kernel/{init,check.sh,checks{,_lib,_smp}.sh,ktap.sh,ktap_test.sh,faults} examples/{stack,framings}.pcap "$fs/"
chmod +x "$fs/init"
cp build/armhf-tool/tools/ifcctl/ifcctl "$fs/bin/"
cp tests/kernel/batch.txt "$fs/batch"
cp tests/kernel/{tool,set,sets}.ifc "$fs/"
# The gateway's rules with the tables that they make, and one replay on them.
{ cat examples/gateway.ifc; echo "table dump"; } >"$fs/gateway.ifc"
cp "$fs/gateway.ifc" "$fs/rules.ifc"
echo "frame replay /framings.pcap -o /tmp/out.pcap" >"$fs/replay.ifc"

host=$root/build/release/tools/ifcctl/ifcctl
# As in the emulated machine: no UTF-8, lines of 100 columns, and the captures in the root folder.
export LC_ALL=C
unset COLUMNS
in_root() { sed 's|rule explain \([a-z]*\.pcap\)|rule explain /\1|g'; }
{ sed 's/^/op /' "$fs/batch"; echo "table dump"; } | "$host" --state none -b - >"$build/host.txt"
sed -n '/^$/,$p' "$build/host.txt" | sed -n '/LUT0-0/,$p' >"$build/host.dump"
cd "$fs"
rm -f "$build/sets.state"
"$host" --state none -b gateway.ifc >expected/gateway
sed 's| /\([a-z]*\.pcap\)| \1|' tool.ifc | "$host" --state none -b - | in_root >expected/tool
sed 's| /\([a-z]*\.pcap\)| \1|' tool.ifc | "$host" --state none -j -b - | in_root >expected/tool.json
sed 's| /set.ifc| set.ifc|' sets.ifc | "$host" --state "$build/sets.state" -b - >expected/sets
"$host" --state "$build/sets.state" rule show >expected/shown
for option in -s -d -br -j; do
    "$host" --state "$build/sets.state" $option rule show >"expected/shown$option"
done
"$host" --state "$build/sets.state" -j -p rule show >expected/shown-p
"$host" --state "$build/sets.state" counter export >expected/export
"$host" --state none -b rules.ifc >expected/rules
sed 's| /framings| framings|; s|/tmp/out.pcap|expected/out.pcap|' rules.ifc replay.ifc | "$host" --state none -b - |
    tail -n +$(($(wc -l <expected/rules) + 1)) >expected/replay
