# SPDX-License-Identifier: MIT OR GPL-2.0
# A chip that does not answer: each transfer of a change times out in its turn, or all from one on. A failed change
# leaves everything as it was, and the next one works.
start
silent() { ! insmod ifc_timeout_test.ko after="$1" count="$2" 2>/dev/null; } # COUNT transfers after AFTER good ones
answers() { silent 0 0; }
# What the chip holds: all rows of LUT1, the heads of LUT0, actions and counters; and the shadow tables.
chip() {
    for row in "1 "{0..31}" 0" "0 "{0..7}" 10"; do
        echo "get row $row" >$dir/command
        read -r _ low high _ <$dir/command # the other two words are no part of these rows
        echo "$row $low $high"
    done
    cat $dir/actions $dir/counters
    od -v -t x4 $dir/lut0 $dir/lut1
}
same() { cmp -s "$1" "$2" || { diff -a "$1" "$2" | sed 's/^/NOTE   /' | head -6; false; }; }
# Repeats a command, with transfer 0, 1, 2, ... timing out, until it succeeds. Before, every time: error and state.
turns() { # WHAT MESSAGE COMMAND...
    subject=$1 message=$2
    shift 2
    turn=0 wrong=0
    chip >/tmp/before
    while silent $turn 1; do
        "$@" >/tmp/error 2>&1
        answers
        grep -q "$message" /tmp/error || break
        chip >/tmp/after
        same /tmp/before /tmp/after || { wrong=$((wrong + 1)); echo "NOTE $subject: transfer $turn: the chip has changed"; }
        turn=$((turn + 1))
    done
    check "$subject fails with each of $turn transfers and changes nothing" [ $wrong = 0 -a $turn -gt 3 ]
    check "$subject works afterwards" [ ! -s /tmp/error ]
}
no_answer="ifc_front: the classifier did not answer"
add_udp() { tc filter add dev ifc0 ingress pref 10 protocol ip flower skip_sw ip_proto udp dst_port 80 action drop; }
add_before() { tc filter add dev ifc0 ingress pref 5 protocol ip flower skip_sw dst_ip 192.0.2.2 action ok; }

# The first filter, and one that moves it.
turns "the first filter" "$no_answer" add_udp
alone=$(valid)
check "it is in the tables" [ "$(owner)" = "tc of ifc_net" ]
frames ifc0w 3 sp=1,dp=80
turns "a filter before it" "$no_answer" add_before
frames ifc0w 4 sp=1,dp=80
check "both count what they decided" [ "$(packets 5)/$(packets 10)" = 4/3 ]

# Statistics: a read that fails loses nothing.
frames ifc0w 2 sp=1,dp=80
silent 0 1000
tc -s filter show dev ifc0 ingress >/dev/null
answers
check "statistics go on after a read that failed" [ "$(packets 5)/$(packets 10)" = 6/3 ]

# tc cannot be told that a deletion fails, so it is tried twice.
transfers=0 wrong=0
while [ $transfers -lt 12 ]; do
    silent $transfers 1
    tc filter del dev ifc0 ingress pref 5
    answers
    [ "$(valid)" = "$alone" ] || wrong=$((wrong + 1))
    frames ifc0w 1 sp=1,dp=80
    add_before
    transfers=$((transfers + 1))
done
check "a deletion with one time-out deletes" [ $wrong = 0 -a "$(packets 5)/$(packets 10)" = 0/15 ]
tc filter del dev ifc0 ingress
check "all are gone" empty

# Silent for long: the undo fails too. The next change completes it.
add_udp
chip >/tmp/one
tc filter del dev ifc0 ingress
wrong=0
for first in 0 1 2 3 4 5 6 7 8 9 10 11 12; do
    silent $first 100000
    add_before 2>/dev/null && [ $first -lt 4 ] && wrong=$((wrong + 1))
    answers
    tc filter del dev ifc0 ingress 2>/dev/null
    add_udp || wrong=$((wrong + 1))
    chip >/tmp/now
    same /tmp/one /tmp/now || { wrong=$((wrong + 1)); echo "NOTE silent from transfer $first on: something is left"; }
    tc filter del dev ifc0 ingress
done
check "a chip that was silent holds what it should after the next change" [ $wrong = 0 ]
check "and nothing after the last filter" empty

# Deletions while it is silent: the rule goes with the next change, whoever changed the tables meanwhile.
left() { # silent from the start of a deletion on
    add_before
    silent 0 100000
    tc filter del dev ifc0 ingress
    answers
}
left
check "a deletion while the chip is silent gives the tables back" [ -z "$(owner)" ]
add_udp
chip >/tmp/now
check "its rule goes with the next filter" same /tmp/one /tmp/now
tc filter del dev ifc0 ingress
left
op clear_all_ifc_rules
op clear_all_ifc_actions
op write_all_ifc_rule_to_hw
add_udp
check "and with the operator's own clearing" [ "$(owner)" = "tc of ifc_net" ]
frames ifc0w 2 sp=1,dp=80
check "after which filters work" [ "$(packets 10)" = 2 ]
tc filter del dev ifc0 ingress
check "nothing is left by tc" empty

# ethtool passes errors on, so its deletions fail too.
no_rule="Cannot .* RX class rule: Input/output error\|Cannot .* classification rule\|nput/output error"
insert() { ethtool -N ifc0 flow-type udp4 dst-port 80 action -1 loc 10 | grep -v '^Added'; }
other() { ethtool -N ifc0 flow-type ip4 user-def 0x100000060000 action 3 loc 10 | grep -v '^Added'; }
remove() { ethtool -N ifc0 delete 10; }
discarded() { # PORT: whether a frame to this port is discarded
    before=$(count ifc0 rx_discarded)
    frames ifc0w 1 sp=1,dp="$1"
    [ $(($(count ifc0 rx_discarded) - before)) = 1 ]
}
turns "ethtool: a rule" "$no_rule" insert
check "ethtool: it discards" discarded 80
turns "ethtool: another rule in its place" "$no_rule" other
check "ethtool: which does not discard" eval '! discarded 80'
turns "ethtool: a deletion" "$no_rule" remove
check "ethtool: nothing is left" empty

# A rule in another's place that compares another word of the frame. User-defined words: 6 of the network header has the
# flags of a fragment, 12 the upper half of the source address, 14 the lower half, 18 the lower half of the destination.
word() { ethtool -N ifc0 flow-type ip4 user-def 0x1000$1 action -1 loc 7 | grep -v '^Added'; } # OFFSET and VALUE
check "a rule on a word of the frame" [ -z "$(word 000e0201)" ]
check "discards" discarded 80
check "another word in its place" [ -z "$(word 00120202)" ]
check "discards as well" discarded 80
check "a value that no frame has" [ -z "$(word 00120203)" ]
check "discards nothing" eval '! discarded 80'
ethtool -N ifc0 delete 7
check "the words are free again" empty
unload
