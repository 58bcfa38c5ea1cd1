#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Checks what the library leaves undefined, what it offers, and what it must not contain.
# Usage: contract.sh LIBRARY HEADER
set -euo pipefail
library=$1
header=$2

operations=$(grep -oE '\b[A-Za-z_][A-Za-z0-9_]*\(' <(grep -E '^(int|void|uint|unsigned int|int8_t|int32_t|uint16_t) [A-Za-z_]' "$header") |
    tr -d '(' | sort -u)
[ "$(wc -l <<<"$operations")" -ge 46 ] || { echo "only $(wc -l <<<"$operations") operations found in $header"; exit 1; }

allowed="get_frame_engine_data set_frame_engine_data GET_HIR printk snprintf mdelay ifc_spin_lock_irqsave
ifc_spin_unlock_irqrestore gpIfcPriv IFC_LUT0_Rule IFC_LUT1_Rule ifc_field_name ifcSendToPpe
memset memcpy memmove memcmp __aeabi_.* __udivdi3 __divdi3 __umoddi3 __moddi3 __ashldi3 __lshrdi3 __ashrdi3"
# Instrumented builds bring symbols of their own.
allowed="$allowed __asan_.* __ubsan_.* __gcov_.* __stack_chk_.* __sanitizer_.* _GLOBAL_OFFSET_TABLE_"

status=0
defined=$(nm --defined-only "$library" | awk 'NF == 3 && $2 ~ /[TWVBDR]/ { print $3 }' | sort -u)
undefined=$(nm -u "$library" | awk '$1 == "U" { print $2 }' | sort -u)

for operation in $operations; do
    grep -qx "$operation" <<<"$defined" || { echo "not offered under its own name: $operation"; status=1; }
done
while read -r symbol; do
    ok=0
    for pattern in $allowed $operations; do
        [[ $symbol =~ ^$pattern$ ]] && ok=1 && break
    done
    [ $ok -eq 1 ] || { echo "left undefined, but not in the contract: $symbol"; status=1; }
done <<<"$undefined"
while read -r symbol; do
    [[ $symbol == _Z* && $symbol != *asan* ]] && { echo "a C++ name is exported: $symbol"; status=1; }
done <<<"$defined"
sections=$(objdump -h "$library")
for section in .init_array .ctors; do
    # The address sanitizer registers globals through a constructor of its own.
    if grep -q -- " $section" <<<"$sections" && ! grep -q '^__asan_' <<<"$undefined"; then
        echo "a static constructor: section $section"
        status=1
    fi
done
[ $status -ne 0 ] || echo "$(wc -l <<<"$operations") operations offered; undefined symbols are those of the contract"
exit $status
