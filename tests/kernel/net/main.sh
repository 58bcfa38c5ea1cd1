#!/bin/bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# The parts that were asked for, or a shell: parts=NAME,NAME on the command line of the kernel.
if [ "$parts" = shell ]; then
    insmod ifc.ko
    [ ! -e ifc_front.ko ] || insmod ifc_front.ko
    insmod ifc_net.ko ports=2
    for dev in ifc0 ifc0w ifc1 ifc1w; do ip link set $dev up; done
    mkdir -p /dev/pts
    mount -t devpts devpts /dev/pts
    exec setsid cttyhack bash -i
fi
. ./lib.sh
. ./settings
for part in ${parts//,/ }; do
    begun=$SECONDS
    . "./$part.sh"
    echo "NOTE part $part took $((SECONDS - begun)) s"
done
echo "END OF CHECKS $checks"
echo "BEGIN REPORTS"
dmesg >>/tmp/kernel.log
grep -E -A 12 -f faults /tmp/kernel.log
leaks
echo "END REPORTS"
poweroff -f
