# SPDX-License-Identifier: MIT OR GPL-2.0
# What the parts share. Runs inside the emulated machine.
. ./check.sh
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
count() { ethtool -S "$1" | awk -v name="$2:" '$1 == name { print $2 }'; } # DEVICE COUNTER
frames() { # FROM COUNT ARGUMENTS...: UDP frames
    from=$1 much=$2
    shift 2
    mausezahn "$from" -q -c "$much" -p 64 -a own -b 02:00:00:00:00:99 -A 192.0.2.1 -B 192.0.2.2 -t udp "$@" >/dev/null 2>&1
}
# Starts tcpdump, which prints the first frame to /tmp/seen, and waits until it listens.
listen() { # DEVICE ARGUMENTS...
    timeout 30 tcpdump -Z root -c 1 -nei "$@" >/tmp/seen 2>/tmp/listening &
    while kill -0 $! && ! grep -q 'listening on' /tmp/listening; do sleep 0.1; done
}
# These start no program: that takes most of the time in an emulated machine.
lines_of() { # FILE PATTERN: sets `found` to the lines of the file that match
    local line lines
    mapfile -t lines <"$1"
    found=()
    for line in "${lines[@]}"; do
        # shellcheck disable=SC2053  # a pattern
        [[ $line != $2 ]] || found+=("$line")
    done
}
valid() { lines_of $dir/rules '*valid:1*' && echo ${#found[@]}; }
owner() { lines_of $dir/status 'the tables belong to *' && echo "${found[0]#the tables belong to }"; }
empty() { # no entry, no enabled action, no owner
    lines_of $dir/rules '*valid:1*' && [ ${#found[@]} = 0 ] &&
        lines_of $dir/actions '*Action: enable:[!0]*' && [ ${#found[@]} = 0 ] && [ -z "$(owner)" ]
}
add() { tc filter add dev ifc0 ingress "$@" 2>/tmp/error; }
packets() { # PREF
    tc -j -s filter show dev ifc0 ingress pref "$1" | jq "[.[] | select(.options.actions) | .options.actions[0].stats.packets] | add"
}
# Two ports, all ends up, and a place for filters at the first one.
start() {
    load 2
    for dev in ifc0 ifc0w ifc1 ifc1w; do
        sysctl -qw net.ipv6.conf.$dev.disable_ipv6=1
        ip link set $dev up
    done
    tc qdisc add dev ifc0 clsact
}
