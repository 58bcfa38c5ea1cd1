# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs inside the emulated machine. Each check prints PASS or FAIL with what it is about.
dir=/sys/kernel/debug/ifc
check() { # WHAT COMMAND...
    what=$1
    shift
    if "$@"; then echo "PASS $what"; else echo "FAIL $what"; fi
}
load() { insmod /ifc.ko "$@" 2>/dev/null; }
unload() { rmmod ifc; }
op() { echo "$*" >$dir/command 2>/dev/null; }
reply() { cat $dir/command; }
is() { # OPERATION EXPECTED-LAST-LINE
    op "$1"
    [ "$(reply | tail -n 1)" = "$2" ]
}
refused() { # OPERATION EXPECTED-REPLY
    ! op "$1" && [ "$(reply)" = "$2" ]
}
number_of() { awk -v w="$1" '$0 ~ w { for (i = 1; i <= NF; i++) if ($i ~ /^[0-9]+$/) { print $i; exit } }' $dir/status; }

check "module loads" load
check "files are for root alone" [ "$(stat -c %a $dir/command)$(stat -c %a $dir/lut0)" = 600600 ]

# The same batch as on the host.
dmesg -c >/dev/null
while read -r line; do
    op "$line" || echo "FAIL $line"
done </batch
check "free space as on the host" is "lut1_has_free_rule 3" "= 8"
echo "BEGIN DUMP file"
cat $dir/rules
echo "END DUMP file"
dmesg -c >/dev/null
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
check "hardware agrees with the shadow" is "ifc_get_rule_from_reg 0" "= 0"
check "no access that the hardware does not know" grep -q 'does not know: 0$' $dir/status

# Bad commands.
check "unknown operation" refused "ifc_no_such" "operation 'ifc_no_such': accepted: help, get, set, or a name that 'help' lists"
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
check "all 46 operations are offered" [ "$(op help; reply | grep -vc '^get ')" = 46 ]

# Two processors at once.
hammer() {
    n=0
    while [ $n -lt 150 ]; do
        op "ifc_set_lut1_rules $1 1 1 28 0 0xffff 0 $n"
        op "ifc_dump_action $1"
        n=$((n + 1))
    done
}
hammer 3 &
hammer 20 &
wait
check "two processors at once" is "ifc_match_lut1 28:0:0xffff:149" "= 3"
check "both have written" [ "$(cat $dir/rules | grep -c 'Key:0095')" = 2 ]
awk '/longest/ { print "NOTE " $0 }' $dir/status

# Unloading under an open file: the kernel refuses while it is in use, and works after.
exec 5<$dir/command
check "unload is refused under an open file" sh -c '! rmmod ifc 2>/dev/null'
exec 5<&-
check "module unloads" unload
check "no file is left" [ ! -e $dir ]

# Time-outs.
check "loads with a chip that never answers" load done_after=0
dmesg -c >/dev/null
check "a time-out is reported" is "ifcSetRuleConfig 0 0 1 1" "= -62"
check "and logged" sh -c "dmesg | grep -q 'transfer.cpp \[[0-9]*\]: Timeout for set IFC Rule configuration.'"
op write_all_ifc_rule_to_hw
awk '/longest/ { print "NOTE with every transfer timing out: " $0 }' $dir/status
unload

# Parameters out of range.
dmesg -c >/dev/null
check "unknown back end" sh -c '! insmod /ifc.ko backend=pci 2>/dev/null'
check "mmio without a base" sh -c '! insmod /ifc.ko backend=mmio 2>/dev/null'
check "revision out of range" sh -c '! insmod /ifc.ko revision=256 2>/dev/null'
check "done_after out of range" sh -c '! insmod /ifc.ko done_after=256 2>/dev/null'
for name in backend fe_base revision done_after; do
    check "$name has its message" sh -c "dmesg | grep -q 'ifc: $name .*accepted'"
done

load revision=14
op "ifc_set_lut0_rules 0 1 28 0 0 1 0 1"
op "ifc_get_rule_from_reg 0"
check "revision 14 gets no LUT0 writes" [ "$(reply | head -n 1)" = "LUT0- 0 : Disable." ]
unload

n=0
while [ $n -lt 100 ] && load && unload; do n=$((n + 1)); done
check "100 cycles of load and unload" [ $n = 100 ]
