#!/bin/sh
# SPDX-License-Identifier: MIT OR GPL-2.0
# Runs a test that may end with exit code 77 because a tool is missing. CTest shows such a test as skipped. Where
# IFC_TEST_STRICT is set (in CI) it fails instead.
# Usage: skippable.sh COMMAND... or skippable.sh --missing TOOL...
if [ "$1" = --missing ]; then
    shift
    echo "not installed: $*"
    code=77
else
    "$@"
    code=$?
fi
case $code/${IFC_TEST_STRICT:-0} in
77/0 | 77/OFF) ;;
77/*)
    echo "IFC_TEST_STRICT is set: a test without its tools fails"
    code=1
    ;;
esac
exit $code
