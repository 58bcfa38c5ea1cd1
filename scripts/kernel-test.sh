#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds ifc.ko and its tests for 32-bit ARM kernels, boots each in an emulated machine, tests the modules there and
# judges the console by its markers. Prints the checks, and at the end a table of the kernels.
# Usage: kernel-test.sh [KERNEL...]
#   5.10 6.1 6.12  the newest of Debian's packages of this version (6.1 when nothing is named); all: these three
#   debug compact  6.1 built here as tests/kernel/KERNEL.config says, with all debug checks or compact
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
kernels=()
for kernel in "${@:-6.1}"; do
    case $kernel in
    5.10 | 6.1 | 6.12 | debug | compact) kernels+=("$kernel") ;;
    all) kernels+=(5.10 6.1 6.12) ;;
    *) echo "kernel-test: '$kernel': accepted: 5.10, 6.1, 6.12, all, debug, compact" >&2; exit 2 ;;
    esac
done
base=$root/build/kernel-test
mkdir -p "$base"
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

# test KERNEL: all steps for one kernel. Its row of the table goes to its folder.
test_kernel() {
    local kernel=$1 build=$base/$1 limit=300 from=$SECONDS target folder release image headers result=0
    mkdir -p "$build"
    rm -f "$build/row"
    case $kernel in
    debug | compact)
        target=$(scripts/kernel-fetch.sh 6.1) || return 1
        folder=$(scripts/kernel-build.sh "$kernel") || return 1
        headers=$folder/headers image=$folder/vmlinuz
        release=$(cat "$headers/include/config/kernel.release")
        [ "$kernel" = compact ] || limit=900
        [ "${release#6.1.}" != "$release" ] || { echo "FAIL kernel $kernel is $release, not 6.1"; return 1; }
        ;;
    *)
        target=$(scripts/kernel-fetch.sh "$kernel") || return 1
        headers=$target/headers image=$target/vmlinuz
        release=$(cat "$target/complete")
        [ "${release#"$kernel".}" != "$release" ] || { echo "FAIL kernel $kernel is $release"; return 1; }
        ;;
    esac
    step "$kernel: $release; building the modules"
    scripts/kernel-module.sh "$headers" "$build" >"$build/checks" 2>&1 || result=1
    cat "$build/checks"
    if [ -e "$build/embedder/ifc.ko" ] && [ -e "$build/module/ifc.ko" ]; then
        step "$kernel: booting"
        scripts/kernel-boot.sh "$image" "$release" "$target/busybox" "$build" "$base" $limit >"$build/boot.checks" 2>&1 || result=1
        cat "$build/boot.checks"
        cat "$build/boot.checks" >>"$build/checks"
    else
        echo "FAIL $kernel: no modules"
        echo "FAIL no modules" >>"$build/checks"
    fi
    local failed
    failed=$(grep -c '^FAIL ' "$build/checks" || true)
    [ $result -eq 0 ] || [ "$failed" -ne 0 ] || failed=1
    printf '%-8s %-22s %-10s %8s %7d %7d %8d\n' "$kernel" "$release" \
        "gcc $(arm-linux-gnueabihf-gcc -dumpfullversion)" "$(cat "$build/text" 2>/dev/null || echo -)" \
        "$(grep -c '^PASS ' "$build/checks" || true)" "$failed" $((SECONDS - from)) >"$build/row"
    return $result
}

step "building ifcctl for this machine and for the target; recording the expected output on this machine"
scripts/kernel-expect.sh "$base"
status=0
for kernel in "${kernels[@]}"; do
    test_kernel "$kernel" || { status=1; step "$kernel: FAILED"; }
done
step "the end"
echo
printf '%-8s %-22s %-10s %8s %7s %7s %8s\n' kernel release compiler "ifc.ko" passed failed seconds
for kernel in "${kernels[@]}"; do
    cat "$base/$kernel/row" 2>/dev/null || printf '%-8s did not build\n' "$kernel"
done
exit $status
