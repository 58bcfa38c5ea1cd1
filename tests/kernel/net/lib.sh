# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs inside the emulated machine. Each check prints PASS or FAIL and its subject.
checks=0
check() { # WHAT COMMAND...
    what=$1
    shift
    checks=$((checks + 1))
    if "$@"; then echo "PASS $what"; else echo "FAIL $what"; fi
}
load() { # PORTS
    insmod ifc.ko 2>/dev/null
    [ ! -e ifc_front.ko ] || insmod ifc_front.ko
    insmod ifc_net.ko "ports=$1"
}
unload() {
    rmmod ifc_net
    [ ! -e /sys/module/ifc_front ] || rmmod ifc_front
    rmmod ifc
}
dir=/sys/kernel/debug/ifc
op() { echo "$*" >$dir/command 2>/dev/null; }
count() { ethtool -S "$1" | awk -v name="$2:" '$1 == name { print $2 }'; } # DEVICE COUNTER
frames() { # FROM COUNT ARGUMENTS...: UDP frames
    from=$1 much=$2
    shift 2
    mausezahn "$from" -q -c "$much" -p 64 -a own -b 02:00:00:00:00:99 -A 192.0.2.1 -B 192.0.2.2 -t udp "$@" >/dev/null 2>&1
}
