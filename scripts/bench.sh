#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs the benches of a build folder and prints one table.
# Usage: bench.sh BUILD [PATTERN]: only those whose name holds PATTERN. "over" in the last column: a bound is not met.
#        bench.sh BUILD counts [new]: instruction counts against the committed ones
#        bench.sh BUILD places: the rewrite at 24 places in memory; fails when one is over its bound
#        bench.sh BUILD plots: draws docs/cost-by-rules.svg and docs/cost-by-bytes.svg
set -euo pipefail
build=$1
pattern=${2:-}
case $pattern in
counts) exec scripts/bench-counts.sh "$build/bench/counted" ${3:+"$3"} ;;
places)
    cmake --build "$build" --target layer_places >/dev/null
    printf '%-46s %8s %8s %8s\n' "the ratio at 24 places in memory" least median most
    for program in "$build"/bench/layer_at_*; do
        "$program" --benchmark_filter='rewrite|place'
    done | awk '
        { for (n = 1; $n != "<="; ++n); print substr($0, 1, 46) "\t" $(n - 1) "\t" $(n + 1) }' |
        sort -t $'\t' -k1,1 -k2,2n | awk -F '\t' '
        function finish() {
            if (count == 0) return
            printf "%s %8.3f %8.3f %8.3f  <= %-7g %s\n", what, ratio[1], ratio[int((count + 1) / 2)], ratio[count], bound,
                ratio[count] <= bound ? "ok" : "over"
            if (ratio[count] > bound) failed = 1
        }
        $1 != what { finish(); count = 0 }
        { what = $1; bound = $3; ratio[++count] = $2 }
        END { finish(); exit failed }'
    exit
    ;;
plots)
    "$build/bench/curves" >"$build/curves.txt"
    exec scripts/plot.py "$build/curves.txt" docs
    ;;
esac
cpu=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo 2>/dev/null | head -1)
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[^=]*=//p' "$build/CMakeCache.txt")
printf '# %s; %s; %s\n' "${cpu:-unknown processor}" "$("$compiler" --version | head -1)" "$(date -u +'%Y-%m-%d %H:%M UTC')"
printf '%-46s %14s  %-34s %8s  %-10s\n' "what" "figure" "yardstick in the same run" "ratio" "bound"
found=0
for bench in "$build"/bench/*_bench; do
    [[ -x $bench && $(basename "$bench") == *"$pattern"* ]] || continue
    found=$((found + 1))
    "$bench"
done
[ "$found" -ne 0 ] || { echo "bench: nothing in $build/bench matches '$pattern'" >&2; exit 2; }
