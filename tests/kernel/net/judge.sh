# SPDX-License-Identifier: MIT OR GPL-2.0
# How the kernel's own tests are run: unmodified, on our ports. Each verdict that they print becomes one of ours.
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

# Some tests have no flag for skip_sw. A wrapper of `tc` adds it to each flower filter at the ingress of our ports, and
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
judge_wrapped() { PATH=/tmp/front:$PATH judge "$@"; }
