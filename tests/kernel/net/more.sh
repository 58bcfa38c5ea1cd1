# SPDX-License-Identifier: MIT OR GPL-2.0
# Further tests of the kernel's source tree, as far as this version has them. Not part of the everyday run.
. ./judge.sh
judge_if() { # as judge
    if [ -e "$1" ]; then judge_wrapped "$@"; else echo "NOTE $1: this version does not have it"; fi
}
ours=.
judge_if tc_flower_port_range.sh "" 4 $four
judge_if min_max_mtu.sh "" 6 $two
judge_if router.sh "" 0 $four
judge_if bridge_vlan_unaware.sh "" 0 $four
judge_if bridge_sticky_fdb.sh "" 0 $four
judge_if no_forwarding.sh "" 0 $four
judge_if tc_police.sh "police_mtu_rx_test" 0 $four ifc2 ifc2w
judge_if tc_tunnel_key.sh "" 0 $four
judge_if loopback.sh "" 0 $two
cd /ours || exit
unload
