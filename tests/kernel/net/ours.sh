# SPDX-License-Identifier: MIT OR GPL-2.0
# Filters of tc and rules of ethtool: what is accepted and refused, order, counters, room, owners.
start

# Every line of the table.
wrong=0 tried=0 unknown=0
while IFS='|' read -r what words verdict; do
    case $what in '#'* | '') continue ;; esac
    tried=$((tried + 1))
    words=${words/flower/flower skip_sw}
    words=${words/matchall/matchall skip_sw}
    add pref 1 $words
    result=$?
    lines_of /tmp/error 'Error: *'
    message=${found[0]}
    # With other versions tc or its core refuses some of them before a driver sees them.
    if [ $result != 0 ] && [[ $message != "Error: ifc_front:"* && $(uname -r) != 6.1.* ]]; then
        unknown=$((unknown + 1))
        continue
    fi
    case $verdict in
    accepted) good=$([ $result = 0 ] && [ "$(valid)" != 0 ] && echo yes) ;;
    *) good=$([ $result != 0 ] && [[ $message == "Error: ifc_front: ${verdict#refused: }"* ]] && empty && echo yes) ;;
    esac
    [ "$good" = yes ] || {
        wrong=$((wrong + 1))
        echo "NOTE $what: $words: expected $verdict, got $result $(tr '\n' ' ' </tmp/error)"
    }
    tc filter del dev ifc0 ingress 2>/dev/null
    empty || { wrong=$((wrong + 1)); echo "NOTE $what: something is left: $(valid) entries, owner '$(owner)'"; }
done <filters.txt
[ $unknown = 0 ] || echo "NOTE $unknown lines of the table are refused by tc itself"
check "$((tried - unknown)) lines of the table" [ $wrong = 0 ]

# Owners.
add pref 5 protocol ip flower skip_sw dst_ip 192.0.2.9 action drop
check "the status says who owns the tables" [ "$(owner)" = "tc of ifc_net" ]
check "the operator's file refuses a change" sh -c "! echo 'ifc_delete_lut0 0' >$dir/command 2>/dev/null"
check "and says who owns them" grep -q '^the tables belong to tc of ifc_net' $dir/command
check "but still reads" op "ifc_dump_action 0"
exec 5<>$dir/ruleset
echo x >&5 2>/dev/null
check "the file of ordered rules refuses a change as well" grep -q '^ruleset: the tables belong to tc of ifc_net' <&5
exec 5<&-
check "send_to_ppe is refused" sh -c "! echo 1 >$dir/send_to_ppe 2>/dev/null"
# ethtool's exit code does not show it.
refused() { # RULES FLOW...: nothing comes beside the rules that are there
    there=$1
    shift
    ethtool -N ifc0 flow-type "$@" >/tmp/said 2>&1
    grep -q 'annot insert\|nvalid' /tmp/said && [ "$(ethtool -n ifc0 | grep -c '^Filter')" = "$there" ]
}
check "ethtool is refused meanwhile" refused 0 ether dst 02:00:00:00:00:01 action 1
check "hw-tc-offload stays on" sh -c "! ethtool -K ifc0 hw-tc-offload off 2>/dev/null"
tc filter del dev ifc0 ingress
check "the last filter gives them back" empty
ethtool -K ifc0 hw-tc-offload on # the wish of before
check "hw-tc-offload goes off without rules" ethtool -K ifc0 hw-tc-offload off
check "then filters are refused" sh -c "! tc filter add dev ifc0 ingress protocol ip flower skip_sw action drop 2>/tmp/error && grep -q 'hw-tc-offload is off' /tmp/error"
ethtool -K ifc0 hw-tc-offload on
op "ifc_set_lut1_rules 0 1 1 28 0 0xffff 0 80"
check "rules of the operator refuse tc" sh -c "! tc filter add dev ifc0 ingress protocol ip flower skip_sw action drop 2>/tmp/error && grep -q 'rules of somebody else' /tmp/error"
op clear_all_ifc_rules
op write_all_ifc_rule_to_hw

# Order and counters.
add pref 20 protocol ip flower skip_sw dst_ip 192.0.2.0/24 action drop
add pref 10 protocol ip flower skip_sw dst_ip 192.0.2.2 action ok
add pref 30 protocol ip flower skip_sw action drop
frames ifc0w 3 sp=1,dp=80
check "the lower pref decides" [ "$(packets 10)/$(packets 20)/$(packets 30)" = 3/0/0 ]
tc filter del dev ifc0 ingress pref 10
frames ifc0w 4 sp=1,dp=80
check "then the next one" [ "$(packets 20)/$(packets 30)" = 4/0 ]
add pref 5 protocol ip flower skip_sw ip_proto udp dst_port 80 action ok
frames ifc0w 2 sp=1,dp=80
check "counts stay with their filters across moves" [ "$(packets 5)/$(packets 20)/$(packets 30)" = 2/4/0 ]
tc filter replace dev ifc0 ingress pref 5 handle 1 protocol ip flower skip_sw ip_proto udp dst_port 80 action drop
frames ifc0w 1 sp=1,dp=80
check "a replaced filter counts anew" [ "$(packets 5)" = 1 ]
check "last use" [ "$(tc -j -s filter show dev ifc0 ingress pref 20 | jq '[.[] | select(.options.actions) | .options.actions[0].last_used] | add')" -le 60 ]
tc filter del dev ifc0 ingress
check "all gone" empty

# Counters that wrap: bytes at 64 bits, packets at 56.
add pref 1 protocol ip flower skip_sw ip_proto udp action drop
frames ifc0w 1 sp=1,dp=80
number=$(awk 'NR > 1 && $2 == 1 { print $1 }' $dir/counters | head -1)
sent() { tc -s filter show dev ifc0 ingress pref 1 | sed -n 's/.*Sent hardware \([0-9]*\) bytes \([0-9]*\) pkt.*/\1 \2/p'; }
insmod ifc_wrap_test.ko entry="$number" bytes=18446744073709551600 packets=72057594037927934 2>/dev/null
read -r bytes packets <<<"$(sent)"
frames ifc0w 5 sp=1,dp=80
read -r bytes_now packets_now <<<"$(sent)"
check "the counters have wrapped" [ "$(awk -v n="$number" '$1 == n { print $2 }' $dir/counters)" = 3 ]
# Here tc shows the lower 32 bits. The frames are 106 bytes long.
check "and tc goes on" [ "$(((packets_now - packets) & 0xFFFFFFFF))/$(((bytes_now - bytes) & 0xFFFFFFFF))" = "5/530" ]
tc filter del dev ifc0 ingress

# Both ports in one block.
tc qdisc del dev ifc0 clsact
tc qdisc add dev ifc0 ingress_block 7 clsact
tc qdisc add dev ifc1 ingress_block 7 clsact
tc filter add block 7 pref 1 protocol ip flower skip_sw dst_ip 192.0.2.2 action drop
frames ifc0w 2 sp=1,dp=80
frames ifc1w 3 sp=1,dp=80
check "a shared block counts at both ports" [ "$(tc -j -s filter show block 7 pref 1 | jq '[.[] | select(.options.actions) | .options.actions[0].stats.packets] | add')" = 5 ]
tc qdisc del dev ifc1 clsact
tc qdisc del dev ifc0 clsact
check "its filters go with it" empty
tc qdisc add dev ifc0 clsact

# The host's receive queue, as the trailer of ifc_host_test.ko has it.
host_queue() {
    listen ifc1w -xx udp
    frames ifc0w 1 sp=1,dp=80
    wait $!
    echo $((0x$(sed -n 's/^\t0x[0-9a-f]*: *//p' /tmp/seen | tr -d ' \n' | tail -c 8)))
}
insmod ifc_host_test.ko from=ifc0 to=ifc1w
if awk -F '[.-]' '{ exit !($1 > 6 || $1 == 6 && $2 >= 3) }' /proc/sys/kernel/osrelease; then
    add pref 1 protocol ip flower skip_sw ip_proto udp action skbedit queue_mapping 3 skip_sw
    check "skbedit queue_mapping" [ "$(host_queue)" = 3 ]
    add pref 2 protocol ip flower skip_sw action skbedit queue_mapping 8 skip_sw
    check "skbedit queue_mapping 8 is refused" grep -q 'skbedit queue_mapping 8: accepted: below 8' /tmp/error
    tc filter del dev ifc0 ingress
fi

# Room.
memory() { awk '/^Slab:|^VmallocUsed:/ { sum += $2 } END { print sum }' /proc/meminfo; }
n=0
while [ $n -lt 60 ] && add pref $((n + 101)) protocol ip flower skip_sw ip_proto udp src_port $((n + 1)) dst_ip 192.0.2.$n action drop; do n=$((n + 1)); done
check "the tables fill up" [ $n -gt 3 ]
echo "NOTE room for $n filters of six conditions: $(head -1 /tmp/error)"
check "one more: no space, and what is missing" grep -q "no room: needed in LUT0 0 rules of 8, in LUT1 [0-9]* entries of 32" /tmp/error
for k in 1 2 3 4 5 6 7 8; do add pref $k protocol ip flower skip_sw src_mac 02:00:00:00:00:0$k/ff:00:ff:00:00:0f action drop || break; done
check "LUT0 has its own room" [ $k = 8 ]
add pref 9 protocol ip flower skip_sw src_mac 02:00:00:00:00:09/ff:00:ff:00:00:0f action drop
check "until that is full" grep -q "no room: needed in LUT0 9 rules of 8" /tmp/error
insmod ifc_first_frame_test.ko 2>/dev/null
echo "NOTE $(dmesg | sed -n 's/.*\(first frame after a change\)/\1/p' | tail -1)"
tc filter del dev ifc0 ingress
check "deleting all leaves nothing" empty
add pref 1 protocol ip flower skip_sw ip_proto udp dst_port 80 action drop
add pref 2 protocol ip flower skip_sw src_mac 02:00:00:00:00:09/ff:00:ff:00:00:0f action drop
check "LUT0 decides before LUT1: refused where the order would not hold" grep -q "no room in this order" /tmp/error
tc filter del dev ifc0 ingress
before=$(memory)
for _ in 1 2 3 4 5 6 7 8 9 10; do
    for k in 1 2 3 4 5; do add pref $k protocol ip flower skip_sw ip_proto udp src_port $k action drop; done
    tc filter del dev ifc0 ingress
done
# KASAN keeps freed memory for a while; on that kernel the scan for leaks at the end decides.
[ -e /sys/kernel/debug/kmemleak ] || check "and no memory" [ $(($(memory) - before)) -lt 400 ]

# Two writers at once.
writer() { # DEVICE
    for n in $(seq 1 25); do
        tc filter add dev "$1" ingress pref $n protocol ip flower skip_sw dst_ip 192.0.2.$n action drop || echo x >>/tmp/lost
        tc filter del dev "$1" ingress pref $n || echo x >>/tmp/lost
    done
}
tc qdisc add dev ifc1 clsact
writer ifc0 &
first=$!
writer ifc1 &
wait $first $!
check "two writers at once" [ ! -e /tmp/lost ]
check "leave nothing" empty
tc qdisc del dev ifc1 clsact

# Filters against their software twin: matches, order, edits, mark, priority, counters.
ip link add tw0 type veth peer name tw0w
ip link add tw1 type veth peer name tw1w
for dev in tw0 tw0w tw1 tw1w; do
    sysctl -qw net.ipv6.conf.$dev.disable_ipv6=1
    ip link set $dev up
done
for dev in ifc0 ifc0w ifc1 ifc1w tw0 tw0w tw1 tw1w; do ip link set $dev mtu 1600; done
rmmod ifc_host_test
insmod ifc_host_test.ko from=ifc0,tw0 to=ifc1w,tw1w
tc qdisc add dev tw0 clsact
add pref 1 protocol 0x88b6 flower skip_sw action mirred egress redirect dev ifc1
tc filter add dev tw0 ingress pref 1 protocol 0x88b6 flower skip_hw action mirred egress redirect dev tw1
# What each filter of both has counted; fails if they differ. Chip and twin may list them in different order.
same_counts() {
    { tc -j -s filter show dev ifc0 ingress && tc -j -s filter show dev tw0 ingress; } | jq -sce 'map([.[] |
        select(.options.actions) | [.pref, .options.handle, .options.actions[0].stats.packets]] | sort) |
        if .[0] == .[1] and .[0] != [] then .[0] | length else ., false end'
}
# Every filter of the table that was accepted, alone, on every frame of the examples and on random ones.
wrong=0 alone=0 sent=0 damaged=0 more=0 begin=$SECONDS
while IFS='|' read -r what words verdict; do
    [ "$verdict" = accepted ] || continue
    case $words in
    *trap) continue ;; # software discards the frames that it traps
    *"retain 0xfc") continue ;; # without csum software leaves a wrong checksum
    esac
    twin=${words//ifc/tw}
    add pref 2 ${words/flower/flower skip_sw} && tc filter add dev tw0 ingress pref 2 ${twin/flower/flower skip_hw} || continue
    alone=$((alone + 1))
    ./churn $SEED 0 0 $FRAMES stack.pcap framings.pcap >/tmp/said && same_counts >/tmp/counts || {
        wrong=$((wrong + 1))
        echo "NOTE twin of: $words"
        cat /tmp/said /tmp/counts
    }
    case $words in
    *drop) # damaged frames: which filters match is seen; docs/linux.md has the differences
        ./churn $SEED 0 0 0 cut.pcap >/tmp/said
        read -r all _ much _ only _ <<<"$(tail -1 /tmp/said)"
        sent=$((sent + all)) damaged=$((damaged + much)) more=$((more + only))
        ;;
    esac
    tc filter del dev ifc0 ingress pref 2
    tc filter del dev tw0 ingress pref 2
done <filters.txt
echo "NOTE each of them alone took $((SECONDS - begin)) s; of $sent damaged frames $damaged had another fate in software"
check "$alone filters of the table, all examples and $FRAMES random frames for each: no fate and no count differs" [ $wrong = 0 ]
check "no damaged frame is matched by the chip only" [ $more = 0 ]
check "$CHANGES changes, 50 random frames after each fifth: no fate differs" ./churn $SEED $CHANGES 5 50 stack.pcap framings.pcap
same_counts >/tmp/counts
result=$?
check "and all $(head -1 /tmp/counts) filters have counted the same" [ $result = 0 ]
tc qdisc del dev ifc0 clsact
check "deleting the block empties the tables" empty
rmmod ifc_host_test
insmod ifc_host_test.ko from=ifc0 to=ifc1w
ip link del tw0
ip link del tw1

# ethtool.
ethtool -n ifc0 >/tmp/said
check "the count of queues" grep -q '^8 RX rings available' /tmp/said
check "a rule with a location" ethtool -N ifc0 flow-type udp4 dst-ip 192.0.2.2 dst-port 80 action 3 loc 10
check "ethtool owns the tables" [ "$(owner)" = "ethtool of ifc_net" ]
tc qdisc add dev ifc0 clsact
check "tc is refused meanwhile" sh -c "! tc filter add dev ifc0 ingress protocol ip flower skip_sw action drop 2>/tmp/error && grep -q 'belong to ethtool' /tmp/error"
tc qdisc del dev ifc0 clsact
check "the lower location decides" ethtool -N ifc0 flow-type ip4 dst-ip 192.0.2.2 action -1 loc 5
before=$(count ifc0 rx_discarded)
frames ifc0w 3 sp=1,dp=80
check "and discards" [ $(($(count ifc0 rx_discarded) - before)) = 3 ]
ethtool -n ifc0 rule 5 >/tmp/said
check "a rule is shown" grep -q 'Action: Drop' /tmp/said
check "delete" ethtool -N ifc0 delete 5
check "another delete is refused" sh -c "ethtool -N ifc0 delete 5 2>&1 | grep -q 'annot delete'"
before=$(count ifc0 rx_host)
frames ifc0w 3 sp=1,dp=80
check "then the host" [ $(($(count ifc0 rx_host) - before)) = 3 ]
check "in the queue of the rule" [ "$(host_queue)" = 3 ]
rmmod ifc_host_test
check "a rule in another's place" ethtool -N ifc0 flow-type udp4 dst-port 81 action 2 loc 10
check "replaces it" [ "$(ethtool -n ifc0 | grep -c '^Filter')" = 1 ]
for flow in "tcp4 src-ip 192.0.2.1 src-port 80" "sctp4 dst-port 80" "ip4 l4proto 17 tos 0xb8" "ip6 dst-ip 2001:db8::1" "tcp6 dst-port 80" \
    "udp6 src-port 53" "sctp6 dst-port 1" "ether src 02:00:00:00:00:01 proto 0x88b5" "ether vlan 0x5055 m 0xf000" \
    "udp4 user-def 0x100000060000"; do
    ethtool -N ifc0 flow-type $flow action 1 >/tmp/said 2>&1
    check "flow-type $flow" grep -q '^Added rule' /tmp/said
    ethtool -N ifc0 delete "$(ethtool -n ifc0 | sed -n 's/^Filter: //p' | tail -1)"
done
check "queue 8 is refused" refused 1 ip4 action 8
check "location 64 is refused" refused 1 ip4 action 1 loc 64
check "ah4 is refused" refused 1 ah4 spi 1 action 1
check "a partner has no rules" sh -c "ethtool -N ifc0w flow-type ip4 action 1 2>&1 | grep -q 'not supported'"
ethtool -N ifc0 delete 10
check "nothing is left" empty

# Unloading with filters and under traffic.
ethtool -N ifc0 flow-type ip4 action 1
tc qdisc add dev ifc1 clsact
for n in 1 2 3; do
    mausezahn ifc0w -q -c 0 -d 0 -p 200 -a own -b 02:00:00:00:00:99 -A 192.0.2.1 -B 192.0.2.2 -t udp dp=5002 >/dev/null 2>&1 &
    traffic=$!
    sleep 0.3
    rmmod ifc_net || break
    kill $traffic 2>/dev/null
    wait $traffic 2>/dev/null
    check "unloading with rules empties the tables, $n" empty
    insmod ifc_net.ko ports=2
    for dev in ifc0 ifc0w ifc1 ifc1w; do ip link set $dev up; done
    tc qdisc add dev ifc0 clsact
    add pref 1 protocol ip flower skip_sw ip_proto udp action mirred egress redirect dev ifc1
done
rmmod ifc_net
rmmod ifc_front
rmmod ifc
check "all modules are gone" [ "$(grep -c '^ifc' /proc/modules)" = 0 ]
