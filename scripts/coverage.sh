#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Line and branch coverage of ifc/ by the tests of the layer. docs/testing.md lists what cannot be reached.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/coverage
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS="--coverage -O0 -fno-inline" \
    -DCMAKE_C_FLAGS=--coverage -DIFC_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j "$(nproc)" --target layer_tests
find "$build" -name '*.gcda' -delete
"$build/tests/layer/layer_tests" --gtest_brief=1
# Only $build/ifc: a test that compiles broken sources leaves notes of objects that never ran.
gcovr --root . --filter "ifc/" --exclude-throw-branches --branches --print-summary \
    --object-directory "$build" "$build/ifc" "$@"
echo
echo "lines:"
gcovr --root . --filter 'ifc/' --object-directory "$build" "$build/ifc" | sed -n '/^ifc/p;/^TOTAL/p'
