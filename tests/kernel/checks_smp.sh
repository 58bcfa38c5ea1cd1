# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs inside the emulated machine with two processors: the tests of the layer, which wait for seconds when the chip does
# not answer, and what needs two processors.
. /checks_lib.sh
check "module loads" load
check "files are for root alone" [ "$(stat -c %a $dir/command)$(stat -c %a $dir/lut0)" = 600600 ]

# The tests of the layer run in the kernel. Their report is KTAP in the log.
layer_report() {
    dmesg | sed 's/^\[ *[0-9.]*\] //' | sh /ktap.sh - >/tmp/ktap
    judged=$?
    sed 's/^/NOTE /' /tmp/ktap
    return $judged
}
fresh_log
check "tests of the layer run" insmod /ifc_test.ko
check "their report is complete, and all tests pass" layer_report
check "their module unloads" rmmod ifc_test
check "they leave the driver as after a load" [ "$(grep -c 'valid:0' $dir/rules)" = 40 ]
afresh revision=12
fresh_log
check "tests of the layer run on a chip of revision 12" insmod /ifc_test.ko
check "the report for revision 12 is complete, and all tests pass" layer_report
check "they leave the revision at 12" sh -c "rmmod ifc_test && grep -q 'revision 12' $dir/status"

afresh
many() { # PORT
    n=0
    while [ $n -lt 4 ]; do
        ifcctl --device debugfs rule add dst_port $(($1 + n)) action cpu nbq 1 >/dev/null 2>&1 || echo "FAIL adding $1"
        n=$((n + 1))
    done
}
many 100 &
many 200 &
wait
check "two processes of ifcctl add rules at once" [ "$(ifcctl --device debugfs rule list | grep -c '^rule')" = 8 ]
check "after them the hardware agrees with the shadow" sh -c "ifcctl --device debugfs table verify >/dev/null"

# An operation's captured text holds only what that operation prints. The log gets all else.
fresh_log
check "a captured text holds only its own operation's lines" insmod /ifc_context_test.ko
check "lines of other tasks are in the log" [ "$(logged "a thread's line")" = 2 ]
check "lines of interrupts are in the log" [ "$(logged "an interrupt's line")" = 2 ]
check "errors of a captured operation are in the log" [ "$(logged "place \[1\]: own error")" = 2 ]
check "a captured line that also goes to the log is one record there" [ "$(logged "own line, in pieces, to the log")" = 1 ]
check "a captured line that is not for the log is not in the log" [ "$(logged "own line, in pieces")" = 0 ]
rmmod ifc_context_test

# Two processors at once.
op clear_all_ifc_rules
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
check "two processors set entries at once" is "ifc_match_lut1 28:0:0xffff:149" "= 3"
check "the entries of both processors are set" [ "$(cat $dir/rules | grep -c 'Key:0095')" = 2 ]
unload
echo "END OF CHECKS $checks"
