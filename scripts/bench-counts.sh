#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Counts the instructions of the hot operations and compares them with bench/counts.txt. Fails when one takes over 2 % (and 2) more.
# Usage: bench-counts.sh COUNTED-PROGRAM [new]: new writes the file.
#
# The count of an operation is the difference of two runs, so starting up does not count. The program is compiled for
# the oldest x86-64, and the C library is told not to choose functions by processor. The program runs in the same
# environment and under the same name everywhere: their lengths move its stack, and some copies depend on that. Counts
# depend on the compiler, so the file names its own; with another one nothing is compared.
set -euo pipefail
cd "$(dirname "$0")/.."
program=$1
file=bench/counts.txt
few=01 # of the same length as `many`, for the same reason
many=51
tunables=glibc.cpu.hwcaps=-AVX2,-AVX_Fast_Unaligned_Load,-ERMS,-FSRM,-SSSE3,-SSE4_1,-SSE4_2
valgrind=$(command -v valgrind) || { echo "counts: skipped, valgrind is not installed"; exit 0; }

instructions() { # OPERATION TIMES
    (cd "$(dirname "$program")" && env -i GLIBC_TUNABLES="$tunables" \
        "$valgrind" --tool=callgrind --callgrind-out-file=/dev/null "./$(basename "$program")" "$1" "$2" 2>&1) |
        awk '/Collected/ { print $NF; found = 1 } END { exit !found }'
}

compiler=$(readelf -p .comment "$program" | sed -n 's/^ *\[ *0\] *//p')
if [ "${2:-}" != new ]; then
    expected=$(sed -n 's/^compiler //p' "$file")
    if [ "$compiler" != "$expected" ]; then
        echo "counts: skipped, $file is for '$expected', this program is by '$compiler'"
        exit 0
    fi
fi
result=0
new="compiler $compiler"
for operation in $("$program"); do
    count=$((($(instructions "$operation" $many) - $(instructions "$operation" $few)) / (many - few)))
    new+=$'\n'"$operation $count"
    [ "${2:-}" != new ] || { printf '%-24s %10d\n' "$operation" "$count"; continue; }
    committed=$(awk -v name="$operation" '$1 == name { print $2 }' "$file")
    if [ -z "$committed" ]; then
        printf '%-24s %10d  not in %s\n' "$operation" "$count" "$file"
        result=1
    elif [ $((count * 100)) -gt $((committed * 102 + 200)) ]; then
        printf '%-24s %10d  committed %10d  over\n' "$operation" "$count" "$committed"
        result=1
    else
        printf '%-24s %10d  committed %10d  ok\n' "$operation" "$count" "$committed"
    fi
done
[ "${2:-}" != new ] || echo "$new" >"$file"
exit $result
