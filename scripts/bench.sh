#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs every bench of a build folder. Prints whether each bound is met, and which peers are not installed.
# Usage: bench.sh BUILD [PATTERN]: only those whose name holds PATTERN.
set -euo pipefail
build=$1
pattern=${2:-}
found=0
for bench in "$build"/bench/*_bench; do
    [ -x "$bench" ] && [[ $(basename "$bench") == *"$pattern"* ]] || continue
    found=$((found + 1))
    echo "== $(basename "$bench")"
    "$bench"
done
[ "$found" -ne 0 ] || { echo "bench: nothing in $build/bench matches '$pattern'" >&2; exit 2; }
