#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs every fuzz target for the given number of seconds, starting from its corpus in fuzz/corpus/TARGET.
# New inputs go to the build folder, so the tree stays as it is. Usage: fuzz.sh SECONDS
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=$1
build=build/fuzz
mkdir -p build
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DIFC_BUILD_TESTS=OFF -DIFC_BUILD_TOOLS=OFF -DIFC_BUILD_FUZZ=ON >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; }
cmake --build "$build" -j "$(nproc)" >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; }
rm -f "$build.log"

found=0
for target in "$build"/fuzz/*_fuzz; do
    [ -x "$target" ] || continue
    found=$((found + 1))
    name=$(basename "$target")
    grown=$build/corpus/$name
    mkdir -p "$grown" "$build/findings"
    kept=()
    [ ! -d "fuzz/corpus/$name" ] || kept=("fuzz/corpus/$name")
    echo "fuzz: $name for $seconds s"
    words=()
    [ ! -e "fuzz/$name.dict" ] || words=("-dict=fuzz/$name.dict")
    "$target" "${words[@]}" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$build/findings/$name-" \
        "$grown" "${kept[@]}" >"$build/$name.log" 2>&1 || { tail -40 "$build/$name.log" >&2; exit 1; }
    grep -E 'number_of_executed_units|average_exec_per_sec' "$build/$name.log" || true
done
[ "$found" -ne 0 ] || { echo "fuzz: no target was built" >&2; exit 1; }
echo "fuzz: $found targets, nothing found"
