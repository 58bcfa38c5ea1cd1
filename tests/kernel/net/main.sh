#!/bin/bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# The parts that were asked for, or a shell.
if [ "$(cat parts)" = shell ]; then
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
read -r -a wanted <parts
for part in "${wanted[@]}"; do
    [ ! -e "$part.sh" ] || . "./$part.sh"
done
echo "END OF CHECKS $checks"
echo "BEGIN REPORTS"
dmesg >>/tmp/kernel.log
grep -E -A 12 -f faults /tmp/kernel.log
leaks
echo "END REPORTS"
poweroff -f
