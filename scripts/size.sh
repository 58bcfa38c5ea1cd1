#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Prints text, data and stack of the rule layer and of the ruleset on 32-bit ARM (Thumb-2, -Os). Fails above a bound.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/size
stack_bound=1024
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/armhf.cmake" -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DCMAKE_CXX_FLAGS=-fstack-usage -DIFC_BUILD_TESTS=OFF -DIFC_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" --target ifc_util ifc_ruleset >/dev/null

# measure NAME FOLDER TEXT_BOUND: false above a bound.
measure() {
    local name=$1 folder=$build/$2 text_bound=$3 library text stack constructors heap
    library=$folder/lib$name.a
    echo "$name:"
    arm-linux-gnueabihf-size -t "$library"
    echo
    echo "deepest stack use of a function (bytes):"
    find "$folder" -name '*.su' -exec cat {} + | sed 's|^[^\t]*/||' | sort -t$'\t' -k2 -n -r | head -5

    text=$(arm-linux-gnueabihf-size -t "$library" | awk 'END { print $1 }')
    stack=$(find "$folder" -name '*.su' -exec cat {} + | awk -F'\t' '$2 > most { most = $2 } END { print most }')
    constructors=$(arm-linux-gnueabihf-objdump -h "$library" | grep -c -E '\.(init_array|ctors)' || true)
    heap=$(arm-linux-gnueabihf-nm -u "$library" | grep -c -E ' (malloc|free|calloc|realloc|_Znwj|_ZdlPv)' || true)
    echo
    printf 'text   %6d of %d\nstack  %6d of %d\nstatic constructors %d, heap functions %d\n\n' \
        "$text" "$text_bound" "$stack" $stack_bound "$constructors" "$heap"
    [ "$text" -le "$text_bound" ] && [ "$stack" -le $stack_bound ] && [ "$constructors" -eq 0 ] && [ "$heap" -eq 0 ]
}

failed=0
measure ifc_util ifc 12288 || failed=1
measure ifc_ruleset ruleset 16384 || failed=1
exit $failed
