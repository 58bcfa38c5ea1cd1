# SPDX-License-Identifier: MIT OR GPL-2.0
# The ports: the path of frames by the tables, counters, carrier, MTU, unloading.
check "ifc.ko loads" insmod ifc.ko
[ ! -e ifc_front.ko ] || check "ifc_front.ko loads" insmod ifc_front.ko
check "ports=0 is refused" sh -c "! insmod ifc_net.ko ports=0 2>/dev/null && dmesg | grep -q 'ifc_net: ports 0: accepted: 1 to 4'"
check "ports=5 is refused" sh -c "! insmod ifc_net.ko ports=5 2>/dev/null"
check "ifc_net.ko loads" insmod ifc_net.ko ports=4
netdevs=(/sys/class/net/ifc*)
check "eight netdevs" [ ${#netdevs[@]} = 8 ]
check "driver information" [ "$(ethtool -i ifc0 | sed -n 's/^driver: //p')" = ifc_net ]
check "which port" [ "$(ethtool -i ifc3w | sed -n 's/^bus-info: //p')" = ifc:wire3 ]

ip link set ifc0 up
check "no carrier while the wire partner is down" [ "$(cat /sys/class/net/ifc0/carrier)" = 0 ]
ip link set ifc0w up
check "carrier when both are up" [ "$(cat /sys/class/net/ifc0/carrier)$(cat /sys/class/net/ifc0w/carrier)" = 11 ]
ip link set ifc0w down
check "no carrier when the partner goes" [ "$(cat /sys/class/net/ifc0/carrier)" = 0 ]
for n in 0 1 2 3; do
    for end in ifc$n ifc${n}w; do
        sysctl -qw net.ipv6.conf.$end.disable_ipv6=1
        ip link set $end up
    done
done
check "MTU: 9000 is accepted" ip link set ifc0 mtu 9000
check "MTU: 9001 is refused" sh -c "! ip link set ifc0 mtu 9001 2>/dev/null"
ip link set ifc0 mtu 1500

# No rules: the host gets all.
op ifc_enable
before=$(count ifc0 rx_host)
frames ifc0w 7 sp=1,dp=80
check "without rules the host gets the frames" [ $(($(count ifc0 rx_host) - before)) = 7 ]
check "rtnl statistics say so too" [ "$(cat /sys/class/net/ifc0/statistics/rx_packets)" -ge 7 ]

# Rules by the operator's file: destination ports 5001 to 5004, one for each path.
echo 1 >$dir/send_to_ppe
rule() { # ENTRY PORT: one condition and the end
    op "ifc_set_lut1_rules $1 1 1 28 0 0xffff 0 $2"
}
rule 0 5001
op "ifc_set_action 8 1 1 15 0 0 0" # fport 15: discard
rule 1 5002
op "ifc_set_action 9 1 1 2 0 0 0" # fport 2: port 1
rule 2 5003
op "ifc_set_action 10 14 1 1 3 0 0" # CPU, receive queue 3
rule 3 5004
op "ifc_set_action 11 1 1 9 0 0 0" # fport 9: no port
rule 4 5005
op "ifc_set_action 12 0 1 0 5 0 0" # queue 5
op "ifc_set_action 12 2 1 0xbeef 0 0 0" # special tag
rule 5 5006
op "ifc_set_action 13 8 1 1 1 3 85" # insert a tag: priority 3 >> 1, VLAN 85
op "ifc_set_action 13 6 1 184 0 0 0" # DS octet, code point 46
op "ifc_set_action 13 1 1 3 0 0 0" # to port 2
way() { # PORT DEVICE COUNTER
    before=$(count "$2" "$3")
    frames ifc0w 5 sp=1,dp="$1"
    [ $(($(count "$2" "$3") - before)) = 5 ]
}
check "a rule discards" way 5001 ifc0 rx_discarded
check "a rule forwards" way 5002 ifc0 rx_forwarded
check "the other port sends" way 5002 ifc1 tx_packets
check "its wire receives" way 5002 ifc1w rx_packets
check "a rule traps" way 5003 ifc0 rx_trapped
check "an fport without port" way 5004 ifc0 rx_no_port
tc qdisc add dev ifc0 clsact
tc filter add dev ifc0 ingress protocol ip pref 1 handle 1 flower skip_hw ip_proto udp dst_port 5005 action pass
tc filter add dev ifc0 ingress protocol ip pref 2 handle 0xbeef fw action pass 2>/dev/null
frames ifc0w 5 sp=1,dp=5005
check "software filters see what the host gets" \
    [ "$(tc -j -s filter show dev ifc0 ingress pref 1 | jq '.[] | select(.options.actions) | .options.actions[0].stats.packets')" = 5 ]
tc qdisc del dev ifc0 clsact
listen ifc2w -v udp or vlan
frames ifc0w 2 sp=1,dp=5006
wait $!
check "a tag is inserted" grep -q 'vlan 85, p 1' /tmp/seen
check "the DSCP is written" grep -q 'tos 0xb8' /tmp/seen
check "its checksum is right" sh -c 'grep -q "tos 0xb8" /tmp/seen && ! grep -q "bad cksum" /tmp/seen'
check "counter entry 13 counts them" [ "$(awk '$1 == 13 { print $2 }' $dir/counters)" = 2 ]
before=$(count ifc0 rx_no_port)
ip link set ifc1 down
frames ifc0w 3 sp=1,dp=5002
check "a port that is down gets nothing" [ $(($(count ifc0 rx_no_port) - before)) = 3 ]
ip link set ifc1 up

# Both directions, and what leaves by the port.
before=$(count ifc0w rx_packets)
frames ifc0 4 sp=1,dp=5001
check "the host's frames leave by the wire" [ $(($(count ifc0w rx_packets) - before)) = 4 ]

# Unloading under traffic, many times.
for round in 1 2 3 4 5; do
    for wire in ifc0w ifc1w; do
        mausezahn $wire -q -c 0 -d 0 -p 200 -a own -b 02:00:00:00:00:99 -A 192.0.2.1 -B 192.0.2.2 -t udp dp=5002 >/dev/null 2>&1 &
        traffic="$traffic $!"
    done
    sleep 0.3
    rmmod ifc_net || break
    kill $traffic 2>/dev/null
    wait $traffic 2>/dev/null
    traffic=
    insmod ifc_net.ko ports=2
    for end in ifc0 ifc0w ifc1 ifc1w; do ip link set $end up; done
done
check "unloads under traffic" [ "$round" = 5 ]
check "and once more" rmmod ifc_net
[ ! -e /sys/module/ifc_front ] || check "ifc_front.ko unloads" rmmod ifc_front
check "ifc.ko unloads" rmmod ifc
