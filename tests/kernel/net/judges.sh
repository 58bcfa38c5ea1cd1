# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs the kernel's own tests, unmodified, on our ports. Each verdict that they print becomes one of ours.
load 2
for dev in ifc0 ifc0w ifc1 ifc1w; do ip link set $dev up; done
cd /tools/testing/selftests/net/forwarding || exit
export NETIF_CREATE=no WAIT_TIME=1 TC_HIT_TIMEOUT=300 HIT_TIMEOUT=1000 PING_COUNT=2 PING_TIMEOUT=2 WAIT_TIMEOUT=5
two="ifc0w ifc0"
four="ifc0w ifc0 ifc1 ifc1w"

judge() { # TEST FUNCTIONS EXPECTED INTERFACES...: as many verdicts of the hardware as expected, all of them OK
    test=$1 functions=$2 expected=$3
    shift 3
    begin=$SECONDS
    TESTS=$functions timeout 400 ./$test "$@" >/tmp/verdicts 2>&1 </dev/null
    grep '^TEST: ' /tmp/verdicts >/tmp/lines
    good=0
    while read -r line; do
        name=$(echo "$line" | sed -E 's/^TEST: *//; s/ *\[.*//')
        if grep -qF "$name" /ours/refused; then
            echo "SKIP $test: $name: $(grep -F "$name" /ours/refused | sed 's/.*\t//')"
            continue
        fi
        case $line in
        *" OK "*) result=true ;;
        *) result=false ;;
        esac
        check "$test: $name" $result
        if $result && [[ $name =~ $ours ]]; then good=$((good + 1)); fi
    done </tmp/lines
    check "$test: $expected verdicts of the hardware" [ $good = "$expected" ]
    [ $good = "$expected" ] || sed 's/^/NOTE /' /tmp/verdicts | tail -30
    echo "NOTE $test took $((SECONDS - begin)) s"
}

# These pass skip_sw themselves.
ours='skip_sw'
judge tc_flower.sh "" 13 $two
judge tc_actions.sh "gact_drop_and_ok_test mirred_egress_redirect_test gact_trap_test" 3 $four
ours='unreachable chain.*skip_sw|^create destroy chain|^template filter fits'
judge tc_chains.sh "unreachable_chain_test create_destroy_chain template_filter_fits" 5 $two
ours='skip_sw'
judge tc_shblocks.sh "" 2 $four

# These have no flag for it. A wrapper of `tc` adds skip_sw to each flower filter at the ingress of our ports, and
# changes nothing else. Filters at an egress stay in software.
mkdir -p /tmp/front
cat >/tmp/front/tc <<'FRONT'
#!/bin/bash
case " $* " in
*" filter add dev ifc"[0-9]" ingress "*" skip_hw "*) ;;
*" filter add dev ifc"[0-9]" ingress "*" flower "*)
    words=()
    for word in "$@"; do
        words+=("$word")
        [ "$word" != flower ] || words+=(skip_sw)
    done
    set -- "${words[@]}"
    ;;
esac
exec /sbin/tc "$@"
FRONT
chmod +x /tmp/front/tc
path=$PATH
PATH=/tmp/front:$PATH
ours='dev ifc0 ingress'
judge pedit_dsfield.sh "test_ip_dscp test_ip6_dsfield" 17 $four
judge skbedit_priority.sh "test_ingress" 8 $four
ours='ingress'
judge tc_vlan_modify.sh "vlan_modify_ingress" 1 $four
PATH=$path
cd /ours || exit
check "no rule is left" [ "$(cat $dir/rules | grep -c 'valid:1')" = 0 ]
unload
