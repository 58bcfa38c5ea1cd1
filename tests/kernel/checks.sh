# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs inside the emulated machine with one processor: the files, ifcctl, time-outs, parameters, loading and unloading.
. /checks_lib.sh
longest() {
    awk -v when="$1" '/longest/ { printf "NOTE interrupts off%s: at most %d register accesses, %d us in this machine\n",
        when, $6, $9 / 1000 }' $dir/status
}

check "the parser of KTAP" sh /ktap_test.sh
afresh

udp_to() { # PORT: prints a UDP frame to this port
    printf '02000000000102000000000208004500001c0001000040110000c0000201c00002021f90%04x00080000\n' "$1"
}
# Each of the 40 entries hit alone, then none: 40 and 41 are in the high half of the hit word.
op ifc_enable
n=0
while [ $n -lt 40 ]; do
    if [ $n -lt 8 ]; then
        op "ifc_set_lut0_rules $n 1 28 0 0 0xffff 0 $((1000 + n))"
    else
        op "ifc_set_lut1_rules $((n - 8)) 1 1 28 0 0xffff 0 $((1000 + n))"
    fi
    n=$((n + 1))
done
wrong=0
n=0
while [ $n -lt 41 ]; do
    wide=0
    narrow=0
    entry=$n
    if [ $n -lt 8 ]; then wide=$((1 << n)); elif [ $n -lt 40 ]; then narrow=$((1 << (n - 8))); else entry=-1; fi
    expected=$(printf 'entry %d lut0 %02x lut1 %08x 00000000' $entry $wide $narrow)
    udp_to $((1000 + n)) >$dir/frame
    [ "$(cat $dir/frame)" = "$expected" ] ||
        { wrong=$((wrong + 1)); echo "NOTE entry $n: $(cat $dir/frame), expected $expected"; }
    n=$((n + 1))
done
check "each of the 40 entries is hit alone" [ $wrong = 0 ]
check "each of the 40 entries is counted alone" [ "$(awk 'NR > 1 && $2 == 1 && $3 == 42' $dir/counters | wc -l)" = 40 ]
afresh

# The same batch as on the host.
fresh_log
while read -r line; do
    op "$line" || echo "FAIL $line"
done </batch
check "free space as on the host" is "lut1_has_free_rule 3" "= 8"
echo "BEGIN DUMP file"
cat $dir/rules
echo "END DUMP file"
fresh_log
op ifc_dump_all_rules
echo "BEGIN DUMP log"
dmesg | sed 's/^\[ *[0-9.]*\] //' | grep -v '^ifc:'
echo "END DUMP log"
check "shadow images have their sizes" [ "$(wc -c <$dir/lut0)/$(wc -c <$dir/lut1)" = 1312/256 ]
check "registers are listed" [ "$(wc -l <$dir/regs)" = 12 ]
check "classifier is on" grep -q 'IFC :Enable' $dir/status
check "binding register" grep -q '^bfb50244 00000400$' $dir/regs
check "counters are listed" [ "$(wc -l <$dir/counters)" = 41 ]
check "actions are listed" [ "$(wc -l <$dir/actions)" = 40 ]
check "hardware agrees with the shadow" sh -c "ifcctl --device debugfs table verify >/dev/null"
check "no access that the hardware does not know" grep -q 'does not know: 0$' $dir/status

# The operator's tool: gateway rules, then every command, as on the host.
afresh
ifcctl --device debugfs -b /gateway.ifc >/tmp/gateway 2>/tmp/error || sed "s/^/NOTE /" /tmp/error
check "gateway rules through ifcctl" cmp /tmp/gateway /expected/gateway
check "classifies the capture" sh -c "ifcctl --device debugfs -b /replay.ifc >/tmp/replay"
check "the edited frames are the same as on the host" cmp /tmp/out.pcap /expected/out.pcap
check "the replay prints the same as on the host" cmp /tmp/replay /expected/replay
sed 's/^/NOTE /' /tmp/replay | cut -c1-60
check "the file and the tool show the same counters" [ "$(awk 'NR > 1 && $2 { print $1, $2, $3 }' $dir/counters)" = \
    "$(ifcctl --device debugfs counter show | awk 'NR > 1 { print $1, $2, $3 }')" ]
check "frames were counted" [ "$(awk 'NR > 1 { n += $2 } END { print n }' $dir/counters)" -gt 5 ]
for form in "" .json; do
    afresh
    ifcctl --device debugfs ${form:+-j} -b /tool.ifc >/tmp/tool$form 2>&1
    check "every command of ifcctl${form:+, as JSON}" cmp /tmp/tool$form /expected/tool$form
done
# A dry run reads the module and changes a copy: what it prints is what the same command then prints, and the module's
# tables, registers, counters and switches stay.
afresh
ifcctl --device debugfs -b /gateway.ifc >/dev/null 2>&1
# Without the registers that each transfer writes, lines 3 to 7 of `regs`.
everything() {
    { cat $dir/lut0 $dir/lut1 $dir/rules $dir/actions $dir/counters $dir/send_to_ppe $dir/debug_level; sed 3,7d $dir/regs; } | md5sum
}
stays() { # COMMAND...
    ifcctl --device debugfs -n "$@" >/tmp/dry 2>/tmp/error && [ "$(everything)" = "$before" ] &&
        grep -qx 'ifcctl: dry run on a copy; nothing is changed' /tmp/error
}
foretells() { # COMMAND...
    ifcctl --device debugfs -n "$@" >/tmp/dry 2>/dev/null && ifcctl --device debugfs "$@" >/tmp/done && cmp /tmp/dry /tmp/done
}
before=$(everything)
for words in "rule show" "rule flush" "rule clear" "rule add dst_port 9999 action cpu nbq 1" "rule insert vlan_id 9" \
    "classifier disable" "ppe off" "counter reset" "action clear 11" "op clear_all_ifc_rules" "frame replay /stack.pcap" \
    "--debug 2 rule flush"; do
    check "a dry run of '$words' changes nothing" stays $words
done
check "the commands of a dry run see each other" \
    [ "$(printf 'rule flush\nrule show\n' | ifcctl --device debugfs -n -b - 2>/dev/null | tail -n 1)" = "# no rules" ]
check "a dry run of a batch changes nothing" [ "$(everything)" = "$before" ]
for words in "rule show" "rule insert dst_port 9999 action cpu nbq 1" "rule move 11 last" "table verify" "rule flush"; do
    check "a dry run foretells '$words'" foretells $words
done
check "without -n the tables change" [ "$(everything)" != "$before" ]
afresh
check "counter watch reads again and lets others in between" \
    [ "$(ifcctl --device debugfs counter watch 0.1 -n 3 | grep -c '^reading')" = 3 ]
exits() { # CODE ARGUMENT...
    code=$1
    shift
    ifcctl "$@" >/dev/null 2>/tmp/error
    [ $? = "$code" ]
}
check "ifcctl: an unknown word" exits 2 --device debugfs rule add dst_prt 80
check "ifcctl: no space" exits 3 --device debugfs rule del id 0
check "ifcctl: an empty line" exits 0 --device debugfs op "#"
check "ifcctl: no such device" exits 2 --device debugfs:/nowhere rule list
check "ifcctl: the message names the device" grep -q "'debugfs:/nowhere': accepted: the folder of a loaded ifc.ko" /tmp/error
# A set of rules in one write: the same places and register accesses as on the simulated engine of the host.
afresh
ifcctl --device debugfs -b /sets.ifc >/tmp/sets 2>&1
check "set load, diff, save and verify" cmp /tmp/sets /expected/sets
[ -z "$(cmp /tmp/sets /expected/sets 2>&1)" ] || diff /expected/sets /tmp/sets | head -20 | sed 's/^/NOTE /'
awk '/longest/ { print "NOTE set load: interrupts off for at most", $6, "register accesses" }' $dir/status
check "at most 64 register accesses with interrupts off" [ "$(awk '/longest/ { print $6 }' $dir/status)" -le 64 ]
ifcctl --device debugfs rule show >/tmp/shown
check "rule show as on the host" cmp /tmp/shown /expected/shown
for option in -s -d -br -j; do
    ifcctl --device debugfs $option rule show >/tmp/shown$option
    check "rule show with $option as on the host" cmp /tmp/shown$option /expected/shown$option
done
ifcctl --device debugfs -j -p rule show >/tmp/shown-p
check "pretty JSON as on the host" cmp /tmp/shown-p /expected/shown-p
ifcctl --device debugfs counter export -o /tmp/export >/dev/null
check "counter export into a file" cmp /tmp/export /expected/export
exec 7<>$dir/ruleset
check "a batch of another format is refused" sh -c '! echo hello >&7 2>/dev/null && cat <&7 | grep -q "ruleset: magic: accepted"'
# No edits, for tables with the checksum 0.
printf 'IFCB\001\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\030\003\0\0' >&7
check "a batch for other tables is stale" sh -c 'cat <&7 | grep -q "^result=-5$"'
exec 7<&-
ifcctl --device debugfs rule show >/tmp/shown
check "and neither changed a rule" cmp /tmp/shown /expected/shown
# The promised number of rules fits, one more does not, and a batch with -force says so and goes on.
fits=$(ifcctl --device debugfs resource show fits dst_port 7 | awk '/ more rule/ { print $1 }')
awk -v n="$fits" 'BEGIN { for (i = 0; i <= n; ++i) print "rule add dst_port", 1000 + i; print "rule check" }' >/tmp/fits.ifc
check "one rule too many" exits 3 -force --device debugfs -b /tmp/fits.ifc
check "as many rules fit as promised: $fits" \
    grep -q "^ifcctl: /tmp/fits.ifc: 1 line failed, $((fits + 1)) lines took effect" /tmp/error
check "a short frame" sh -c "echo 'ffffffffffff' >$dir/frame && grep -q 'entry -1 lut0 00 lut1 00000000 00000000' $dir/frame"
check "a bad frame is refused" sh -c "! echo 'fff' >$dir/frame 2>/dev/null && grep -q 'accepted: up to 262144 bytes' $dir/frame"
for side in "32 0" "0 65536" "1" "1 2 3" "1 2x" "4294967297 0"; do
    check "side data $side is refused" sh -c "! echo 'ff $side' >$dir/frame 2>/dev/null && grep -q 'side data' $dir/frame"
done
check "a line without a frame is refused" sh -c "! echo >$dir/frame 2>/dev/null"
check "a long frame" sh -c "{ echo 020000000001020000000002; head -c 60000 /dev/zero | hexdump -v -e '1/1 \"%02x\"'; } | tr -d '\n' >/tmp/long && dd if=/tmp/long of=$dir/frame bs=1M count=1 2>/dev/null && grep -q '^entry' $dir/frame"

# File 5 writes lines and reads their replies. File 6 only reads.
op help
exec 5<>$dir/command 6<$dir/command
echo "isTPID 0x81" >&5
check "a file reads the reply to its line" [ "$(cat <&5)" = "= 1" ]
echo "isTPID 0x82" >&5
check "a file reads the reply to its next line" [ "$(cat <&5)" = "= 0" ]
echo "nonsense" >&5 2>/dev/null
check "a file reads the reply to a refused line" [ "$(cat <&5 | cut -c1-20)" = "operation 'nonsense'" ]
check "a file that wrote nothing reads the last reply of all" [ "$(cat <&6 | cut -c1-20)" = "operation 'nonsense'" ]
exec 5<&- 6<&-
check "a NUL in a line is refused" sh -c "! printf 'isTPID\\0 0x81' >$dir/command 2>/dev/null"
check "a comment has an empty reply" sh -c "echo '#' >$dir/command && [ -z \"\$(cat $dir/command)\" ]"
fresh_log
cat $dir/status >/dev/null
check "the text of a file that is read is not in the log" [ "$(logged 'IFC :.*')" = 0 ]
check "send_to_ppe takes a number" sh -c "echo 5 >$dir/send_to_ppe && [ \$(cat $dir/send_to_ppe) = 5 ] && echo 0 >$dir/send_to_ppe"

# Bad commands.
afresh
check "unknown operation" refused "ifc_no_such" "operation 'ifc_no_such': accepted: help, get, set, clear, or a name that 'help' lists"
check "index out of range" refused "ifc_delete_lut0 8" "ifc_delete_lut0: rule '8': accepted: 0 to 7"
check "too few arguments" refused "ifc_set_acnt 1" "ifc_set_acnt: 1 arguments are too few: accepted: ifc_set_acnt ifcIndex acntIdx"
check "a refusal of the layer" is "ifc_set_acnt 40 0" "= -1"
check "debug level out of range" sh -c "! echo 4 >$dir/debug_level 2>/dev/null"

# Every operation can be called here.
for line in "ifcSetRuleConfig 0 0 0 0" "ifcChecConfigDone 0xBFB50200 1" write_all_ifc_rule_to_hw "clear_ifc_rules 7" \
    "get_lut0_mask_key 0" "set_lut0_mask_key 7 29 1 1" "set_lut0_mask_key_to_array 0" "ifc_parser_lut0_rule 0 5" \
    "ifc_get_rule_from_hw 8" "ifc_set_lut0_rules 7 1 28 0 0 1 0 1" "ifc_delete_lut0 7" "ifc_set_lut1_rules 30 1 1 1 0 48 1 2" \
    "ifc_delete_lut1 30" "change_mask_from_48_to_32 0 0xff 48" "ifc_del_lut_rules_auto 47:3:0xff:1" \
    "ifc_match_rule_lut0 1 0 28:0:1:1" "ifc_match_rule_lut1 1 0 28:0:1:1" "ifc_match_lut1 28:0:0xffff:5060" \
    "ifc_clear_action 39" clear_all_ifc_actions "ifc_dump_action 10" "ifc_get_acnt 3" clear_all_ifc_acnt \
    "checkIFCResult 0 -1" ifc_dump_lut0_rules ifc_dump_lut1_rules ifc_disable ifc_get_ifc_staus "_getLowestBit 6" \
    "getLowestBit 0" "isTPID 0x81" "transTPIDtoVPM 0x81" "transVPMtoTPID 1" "getPppoeSid 0 11001234000200210000" \
    "skb_chksum 2 4500" "ipv4_checksum 0 450000730000400040110000C0A80001C0A800C7" "tcp_udp_checksum 0 0 0 4500" \
    "dump_skb 0102" clear_all_ifc_rules; do
    op "$line" || echo "FAIL $line"
done
check "checksum" is "ipv4_checksum 0 450000730000400040110000C0A80001C0A800C7" "= 0xb861"
check "PPPoE header" is "getPppoeSid 0 11001234000200210000" "= 0 sid 0x3412 ppp_tag 0x2100"
check "all 46 operations are offered" [ "$(op help; reply | grep -vcE '^(get|clear) ')" = 46 ]
longest

# The kernel refuses to unload the module while a file is open.
exec 5<$dir/command
check "unload is refused under an open file" sh -c '! rmmod ifc 2>/dev/null'
exec 5<&-
check "module unloads" unload
check "no file is left" [ ! -e $dir ]

# Time-outs.
check "loads with a chip that never answers" load done_after=0
fresh_log
check "ifcctl reports time-outs" exits 4 --device debugfs rule add dst_port 80
check "an operation returns the time-out" is "ifcSetRuleConfig 0 0 1 1" "= -62"
check "the time-out is in the log" sh -c "dmesg | grep -q 'transfer.cpp \[[0-9]*\]: Timeout for set IFC Rule configuration.'"
fresh_log
cat $dir/actions >/tmp/actions
check "a file that is read shows the errors" [ "$(grep -c 'Timeout for set IFC Rule' /tmp/actions)" = 40 ]
check "the log has the errors of a file that is read" [ "$(dmesg | grep -c 'Timeout for set IFC Rule')" = 40 ]
op write_all_ifc_rule_to_hw
longest " when every transfer times out"
unload

# Parameters out of range.
refuses() { # MESSAGE PARAMETER...
    message=$1
    shift
    fresh_log
    ! insmod /ifc.ko "$@" 2>/dev/null && [ ! -e $dir ] && dmesg | grep -q "ifc: $message"
}
check "unknown back end" refuses "backend 'pci': accepted: sim, mmio" backend=pci
check "mmio without a base" refuses "fe_base 0x0: accepted with backend=mmio" backend=mmio
check "fe_base without mmio" refuses "fe_base 0x1fb50000: accepted only with backend=mmio" fe_base=0x1fb50000
check "revision out of range" refuses "revision 256: accepted: 0 to 255" revision=256
check "done_after out of range" refuses "done_after 256: accepted: 0 to 255" done_after=256
check "done_after with mmio" refuses "done_after 2: accepted" backend=mmio fe_base=0x1fb50000 revision=0 done_after=2
check "mmio without the chip's revision" refuses "revision: accepted with backend=mmio: the chip's revision, 0 to 255" \
    backend=mmio fe_base=0x1fb50000
check "a negative revision" refuses "revision -1: accepted: 0 to 255" revision=-1

# backend=mmio: the real-time clock of this machine serves as the registers. Addresses outside the window are not accessed.
afresh backend=mmio fe_base=0x09010000 revision=3
check "the revision is the one given" grep -q 'revision 3$' $dir/status
check "an address outside the window reads as 0" is "ifcChecConfigDone 0 1" "= -62"
check "an unaligned address reads as 0" is "ifcChecConfigDone 0xBFB50201 1" "= -62"
check "both accesses are counted" grep -q 'does not know: [1-9]' $dir/status
check "without the simulation there is no file for frames" [ ! -e $dir/frame ]

afresh revision=14
op "ifc_set_lut0_rules 0 1 28 0 0 1 0 1"
op "ifc_get_rule_from_reg 0"
check "revision 14 gets no LUT0 writes" [ "$(reply | head -n 1)" = "LUT0- 0 : Disable." ]
op "ifc_dump_lut0_rules"
check "on revision 14 the shadow has the rule" sh -c "grep -q 'LUT0-0.*valid:1' $dir/command"
unload

# A module with extra members in the context and a revision query, as an embedder may have it.
check "an embedder's module asks the chip for its revision" \
    sh -c "insmod /ifc_embedder.ko backend=mmio fe_base=0x09010000 && grep -q 'revision 14$' $dir/status"
unload
check "an embedder's module takes the revision that is given" \
    sh -c "insmod /ifc_embedder.ko backend=mmio fe_base=0x09010000 revision=2 && grep -q 'revision 2$' $dir/status"
unload
check "an embedder's module loads" insmod /ifc_embedder.ko
op ifc_enable
op "ifc_set_lut0_rules 0 1 28 0 0 0xffff 0 1000"
op "ifc_set_lut1_rules 31 1 1 28 0 0xffff 0 1000"
udp_to 1000 >$dir/frame
check "an embedder's module: two hits are not one" is "checkIFCResult 0 0" "= -1"
check "an embedder's module: the file shows both hits" [ "$(cut -d' ' -f3- $dir/frame)" = "lut0 01 lut1 80000000 00000000" ]
op "ifc_delete_lut1 31" && op write_all_ifc_rule_to_hw
udp_to 1000 >$dir/frame
check "an embedder's module: the layer sees a single hit" is "checkIFCResult 0 0" "= 0"
unload

areas() { grep -vc 'unpurged' /proc/vmallocinfo; }
before=$(areas)
n=0
while [ $n -lt 100 ] && load && unload; do n=$((n + 1)); done
check "the module loads and unloads 100 times" [ $n = 100 ]
check "loading and unloading leaks no mapped memory" [ $(($(areas) - before)) -lt 20 ]
echo "END OF CHECKS $checks"
