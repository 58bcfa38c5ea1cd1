#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Line and branch coverage of ifc/ by the tests of the layer. What cannot be reached is named in docs/testing.md.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/coverage
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS="--coverage -O0 -fno-inline" \
    -DCMAKE_C_FLAGS=--coverage -DIFC_BUILD_TOOLS=OFF >/dev/null
targets=(layer_tests)
cmake --build "$build" -j "$(nproc)" --target "${targets[@]}" 2>&1 | grep -E 'error|warning' || true
find "$build" -name '*.gcda' -delete
"$build/tests/layer/layer_tests" --gtest_brief=1
gcovr --root . --filter "ifc/" --exclude-throw-branches --branches --print-summary --object-directory "$build" "$build" "$@"
echo
echo "lines:"
gcovr --root . --filter 'ifc/' --object-directory "$build" "$build" | sed -n '/^ifc/p;/^TOTAL/p'
