# SPDX-License-Identifier: MIT OR GPL-2.0
# Further tests of the kernel's source tree, which need a version after 6.1. Not part of the everyday run.
. ./judge.sh
judge_if() { # as judge
    if [ -e "$1" ]; then judge_wrapped "$@"; else echo "NOTE $1: this version does not have it"; fi
}
ours='Port range'
# Two IPv6 addresses and two ranges are more conditions than an entry holds.
judge_if tc_flower_port_range.sh "test_port_range_ipv4_udp test_port_range_ipv4_tcp" 2 $four
cd /ours || exit
unload
