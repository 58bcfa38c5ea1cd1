#!/bin/sh
# SPDX-License-Identifier: MIT OR GPL-2.0
# What ktap.sh accepts, and what it does not. The emulated machine runs this too, with its own shell and awk.
# Usage: ktap_test.sh
here=$(dirname "$0")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
status=0
ran=0

# judged CODE PART LINE...: these lines end with this code, and what is printed holds this part.
judged() {
    code=$1 part=$2
    shift 2
    printf '%s\n' "$@" >"$folder/report"
    sh "$here/ktap.sh" "$folder/report" >"$folder/said"
    got=$?
    ran=$((ran + 1))
    if [ $got -ne "$code" ] || ! grep -qF "$part" "$folder/said"; then
        echo "FAIL $* -> $got, expected $code and '$part':"
        cat "$folder/said"
        status=1
    fi
}

v='KTAP version 1'
judged 0 '2 tests, 0 failed, 0 skipped' "$v" '1..2' 'ok 1 A.One' 'ok 2 A.Two'
judged 0 '1 tests, 0 failed' 'noise before' "$v" '1..1' 'random: crng init done' 'ok 1 A' 'noise after'
judged 0 '2 tests, 0 failed, 1 skipped' "$v" '1..2' 'ok 1 A # SKIP no chip' 'ok 2 B'
judged 1 '2 tests, 1 failed' "$v" '1..2' '# f.cpp:3: 1 == 2' 'not ok 1 A' 'ok 2 B'
judged 1 '  # f.cpp:3: 1 == 2' "$v" '1..2' '# f.cpp:3: 1 == 2' 'not ok 1 A' 'ok 2 B'
judged 1 'not ok 2 B' "$v" '1..2' 'ok 1 A' 'not ok 2 B'

judged 2 'no line KTAP version 1' ''
judged 2 'no line KTAP version 1' '1..1' 'ok 1 A'
judged 2 'accepted: KTAP version 1' 'KTAP version 2' '1..1' 'ok 1 A'
judged 2 'a second report' "$v" '1..1' 'ok 1 A' "$v"
judged 2 'no plan' "$v"
judged 2 'a result before the plan' "$v" 'ok 1 A' '1..1'
judged 2 'a second plan' "$v" '1..1' '1..1' 'ok 1 A'
judged 2 'accepted: 1..N' "$v" '1..0'
judged 2 'accepted: 1..N' "$v" '1..x' 'ok 1 A'
judged 2 'accepted: 1..N' "$v" '1..1 # SKIP' 'ok 1 A'

judged 2 '1 results, but the plan says 2' "$v" '1..2' 'ok 1 A'
judged 2 '0 results, but the plan says 1' "$v" '1..1'
judged 2 'more results than the plan says' "$v" '1..1' 'ok 1 A' 'ok 2 B'
judged 2 'expected number 1' "$v" '1..1' 'ok 2 A'
judged 2 'expected number 2' "$v" '1..2' 'ok 1 A' 'ok 1 B' 'ok 2 C'
judged 2 'expected number 2' "$v" '1..3' 'ok 1 A' 'not ok 3 B' 'ok 2 C'
judged 2 'accepted: ok N NAME' "$v" '1..1' 'ok 1'
judged 2 'accepted: ok N NAME' "$v" '1..1' 'ok 01 A'
judged 2 'accepted: ok N NAME' "$v" '1..1' 'ok1 A'
judged 2 'accepted: ok N NAME' "$v" '1..1' 'not  ok 1 A' 'ok A'
judged 2 'accepted: ok N NAME' "$v" '1..1' '    ok 1 A'
judged 2 'a diagnostic line after the last result' "$v" '1..1' 'ok 1 A' '# f.cpp:3: too late'
# A failure does not hide that the report is cut.
judged 2 '1 tests, 1 failed' "$v" '1..2' 'not ok 1 A'

[ $status -ne 0 ] || echo "$ran reports judged as expected"
exit $status
