#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Callers that serialise themselves are clean under the thread sanitizer, and those that do not are reported. The second
# half shows that the first can fail. Usage: race_test.sh RACE
set -euo pipefail
race=$1
export TSAN_OPTIONS="halt_on_error=1 exitcode=66 report_signal_unsafe=0"
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Without address randomisation, if this machine allows that: with much of it the sanitizer finds no room for its shadow.
fixed=()
if setarch -R true 2>/dev/null; then fixed=(setarch -R); fi

# expect CASE clean|reported PLACE: a report names an access in PLACE.
expect() {
    local status=0
    "${fixed[@]}" "$race" "$1" >"$log" 2>&1 || status=$?
    if [ "$2" = clean ] && [ $status -eq 0 ] && [ ! -s "$log" ]; then
        echo "locks: $1: clean"
    elif [ "$2" = reported ] && [ $status -eq 66 ] && grep -q "WARNING: ThreadSanitizer: data race" "$log" &&
        grep -q "$3" "$log"; then
        echo "locks: $1: reported: $(grep -m1 '^SUMMARY' "$log" | sed 's/.* data race .*\/\([^/]*\) in/data race at \1 in/')"
    else
        echo "locks: $1: expected $2, exit code $status" >&2
        head -40 "$log" >&2
        exit 1
    fi
}

expect serialised clean
expect locked clean
expect shadow reported ifc_set_lut1_rules
expect registers reported ifc_get_acnt
