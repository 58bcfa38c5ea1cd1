# SPDX-License-Identifier: MIT OR GPL-2.0
# The kernel's own tests of tc, as far as the chip can do what they ask for.
. ./judge.sh

# These pass skip_sw themselves.
ours='skip_sw'
judge tc_flower.sh "" 13 $two
judge tc_actions.sh "gact_drop_and_ok_test mirred_egress_redirect_test gact_trap_test" 3 $four
ours='unreachable chain.*skip_sw|^create destroy chain|^template filter fits'
judge tc_chains.sh "unreachable_chain_test create_destroy_chain template_filter_fits" 5 $two
ours='skip_sw'
judge tc_shblocks.sh "" 2 $four

# These have no flag for it.
ours='dev ifc0 ingress'
judge_wrapped pedit_dsfield.sh "test_ip_dscp test_ip6_dsfield" 17 $four
judge_wrapped skbedit_priority.sh "test_ingress" 8 $four
ours='ingress'
judge_wrapped tc_vlan_modify.sh "vlan_modify_ingress" 1 $four
cd /ours || exit
check "no rule is left" [ "$(cat $dir/rules | grep -c 'valid:1')" = 0 ]
unload
