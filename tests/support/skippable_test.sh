#!/bin/sh
# SPDX-License-Identifier: MIT OR GPL-2.0
# Only a missing tool skips a test, or fails it in strict mode.
run=$(dirname "$0")/skippable.sh
status=0
ends() { # CODE STRICT ARGUMENT...
    code=$1 strict=$2
    shift 2
    IFC_TEST_STRICT=$strict "$run" "$@" >/dev/null
    got=$?
    [ $got -eq "$code" ] || { echo "FAIL IFC_TEST_STRICT=$strict $*: exit code $got, expected $code"; status=1; }
}
for strict in "" 0 OFF; do
    ends 77 "$strict" --missing qemu-arm-static
    ends 77 "$strict" sh -c "exit 77"
done
for strict in 1 ON; do
    ends 1 "$strict" --missing qemu-arm-static
    ends 1 "$strict" sh -c "exit 77"
done
for strict in 0 1; do
    ends 0 "$strict" true
    ends 3 "$strict" sh -c "exit 3"
done
"$run" --missing tshark zstd | grep -qx "not installed: tshark zstd" || { echo "FAIL no name"; status=1; }
exit $status
