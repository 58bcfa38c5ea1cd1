#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Looks for faults without running the code. Fails on any finding that scripts/static-exceptions.txt does not list,
# and on an exception that nothing needs any more.
# Usage: analyze.sh [PART...]; without a part all of them:
#   cppcheck  all C, and the C++ of all but the tests
#   gcc       the analyzer and conversion warnings of gcc: the freestanding C++; the C of the tests in user space
#   kernel    the C of the kernel modules and of their tests, against Linux 6.1 for 32-bit ARM: sparse, W=1, the
#             analyzer and conversion warnings of gcc
#   scripts   shellcheck and pyflakes
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$root/build/analyze
exceptions=scripts/static-exceptions.txt
jobs=$(nproc)
mkdir -p "$build"
parts=("$@")
[ $# -ne 0 ] || parts=(cppcheck gcc kernel scripts)
for part in "${parts[@]}"; do
    case $part in cppcheck | gcc | kernel | scripts) ;; *)
        echo "analyze: '$part': accepted: cppcheck, gcc, kernel, scripts" >&2
        exit 2
        ;;
    esac
done
status=0
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

# findings TOOL: takes a tool's lines FILE:LINE[:COLUMN]: [KIND:] MESSAGE [ID] to FILE:LINE: ID: MESSAGE, each once.
# Paths are those of the tree. A line without an ID gets the tool's name.
findings() {
    sed -nE -e "s|^$root/||" -e 's/^([^ :]+:[0-9]+)(:[0-9]+)?: (fatal error|error|warning|note|style): /\1: /' \
        -e 's/^([^ :]+:[0-9]+):[0-9]+:? /\1: /' \
        -e t1 -e :1 \
        -e 's/^([^ :]+:[0-9]+): (.*) \[([^ ]+)\]$/\1: \3: \2/p' -e t -e "s/^([^ :]+:[0-9]+): /\1: $1: /p" |
        sort -u -t: -k1,1 -k2,2n
}

# judge TOOL SUBJECT: of the findings on standard input, prints those that are no exceptions of the tool.
judge() {
    awk -v tool="$1" -v subject="$2" -v file="$exceptions" '
        function pattern(glob) {
            gsub(/[.+?(){}^$|\[\]\\]/, "\\\\&", glob)
            gsub(/\*/, ".*", glob)
            return "^" glob "$"
        }
        BEGIN {
            while ((getline line < file) > 0) {
                if (line ~ /^(#| |$)/ || split(line, word) != 3 || word[1] != tool)
                    continue
                id[++count] = word[2]
                files[count] = word[3]
            }
        }
        {
            match($0, /^[^:]+/)
            path = substr($0, 1, RLENGTH)
            split($0, part, ": ")
            for (n = 1; n <= count; n++)
                if (part[2] == id[n] && path ~ pattern(files[n])) {
                    used[n] = 1
                    stands++
                    next
                }
            print tool ": " $0
            bad++
        }
        END {
            for (n = 1; n <= count; n++)
                if (!used[n]) {
                    print file ": nothing needs the exception " id[n] " in " files[n] " of " tool " any more"
                    bad++
                }
            printf "        %s: %s, %d findings, %d exceptions\n", tool, subject, bad, stands
            exit bad > 0
        }'
}

part_cppcheck() {
    local cpp c
    # Not the tests in C++: the macros of their vocabulary and of GoogleTest are more than it can read.
    mapfile -t cpp < <(git ls-files '*.cpp' ':!platform/kernel' ':!tests')
    mapfile -t c < <(git ls-files '*.c' 'platform/kernel/*.cpp')
    local options=(--quiet -j "$jobs" "--enable=warning,performance,portability"
        --library=scripts/cppcheck.cfg -UIFC_REPORT -I. -Iinclude '--template={file}:{line}: {message} [{id}]')
    step "cppcheck: $((${#cpp[@]} + ${#c[@]})) sources"
    mkdir -p "$build/cppcheck/user" "$build/cppcheck/kernel"
    {
        cppcheck "${options[@]}" --cppcheck-build-dir="$build/cppcheck/user" --std=c++20 \
            -Iplatform/host "${cpp[@]}"
        cppcheck "${options[@]}" --cppcheck-build-dir="$build/cppcheck/kernel" --std=c11 --std=c++20 \
            -D__KERNEL__ -Iplatform/kernel -Iplatform/linux_net "${c[@]}"
    } >"$build/cppcheck.log" 2>&1
    findings cppcheck <"$build/cppcheck.log" | judge cppcheck "$((${#cpp[@]} + ${#c[@]})) sources" || status=1
}

warnings=(-Wall -Wextra -Wshadow -fanalyzer -fdiagnostics-plain-output)
conversions=(-Wconversion -Wsign-conversion)

part_gcc() {
    local cpp c
    mapfile -t cpp < <(git ls-files 'ifc/*.cpp' 'ruleset/*.cpp' 'engine/*.cpp')
    mapfile -t c < <(git ls-files 'tests/*.c' ':!tests/kernel/ifc_*' ':!tests/kernel/net/ifc_*')
    step "gcc: ${#cpp[@]} sources in C++, ${#c[@]} in C"
    local both=("${warnings[@]}" -I. -Iinclude -Iplatform/host -c -o /dev/null)
    {
        printf '%s\n' "${cpp[@]}" | xargs -P "$jobs" -n 1 g++ -std=c++20 -ffreestanding -fno-exceptions -fno-rtti \
            -fno-threadsafe-statics "${conversions[@]}" "${both[@]}"
        printf '%s\n' "${c[@]}" | xargs -P "$jobs" -n 1 gcc -std=gnu11 "${both[@]}"
    } >"$build/gcc.log" 2>&1 || {
        grep -E 'error:' "$build/gcc.log" || tail -5 "$build/gcc.log"
        status=1
    }
    sed -E '/: (error|warning): /!d' "$build/gcc.log" | findings gcc | judge gcc "$((${#cpp[@]} + ${#c[@]})) sources" || status=1
}

part_kernel() {
    local target module=$build/kernel file objects=() places=()
    target=$(scripts/kernel-fetch.sh 6.1)
    rm -rf "$module"
    mkdir -p "$module"
    for file in platform/kernel/* platform/linux_net/* tests/kernel/ifc_* tests/kernel/net/ifc_*; do
        ln -s "$root/$file" "$module/"
        places+=(-e "s|^$module/$(basename "$file"):|$file:|")
        # The C of ifc_offsets.c makes a header that the others include.
        case $file in *ifc_offsets.c) ;; *.c | *.cpp) objects+=("$(basename "${file%.*}").o") ;; esac
    done
    step "kernel: ${#objects[@]} sources, Linux $(cat "$target/complete")"
    # W=1 warns in the kernel's own headers too. Only our files count.
    env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH make -k -C "$target/headers" M="$module" IFC_ROOT="$root" ARCH=arm \
        CROSS_COMPILE=arm-linux-gnueabihf- CC=arm-linux-gnueabihf-gcc -j"$jobs" W=1 C=2 KCFLAGS="${warnings[*]:3} ${conversions[*]}" \
        "${objects[@]}" >"$build/kernel.log" 2>&1 || {
        tail -5 "$build/kernel.log"
        status=1
    }
    grep -q "CHECK .*ifc_module.c" "$build/kernel.log" || {
        echo "analyze: sparse did not run, see $build/kernel.log"
        status=1
    }
    sed "${places[@]}" "$build/kernel.log" | grep -E ': (error|warning): ' | findings sparse | grep -E '^(ifc|ruleset|engine|platform|tests|include)/' \
        >"$build/kernel.findings" || true
    sed '/: -W/d' "$build/kernel.findings" | judge sparse "${#objects[@]} sources" || status=1
    sed '/: -W/!d' "$build/kernel.findings" | judge kernel-gcc "${#objects[@]} sources" || status=1
}

part_scripts() {
    local bash sh python
    # The parts that others read by `.` name no shell.
    mapfile -t bash < <({ git grep -lE '^#!/(usr/bin/env |bin/)bash'; git ls-files 'tests/kernel/net/*.sh'; } | sort -u)
    mapfile -t sh < <({ git grep -lE '^#!/bin/(busybox )?sh'; git ls-files 'tests/kernel/check*.sh'; } | sort -u)
    mapfile -t python < <(git ls-files '*.py')
    step "scripts: ${#bash[@]} for bash, ${#sh[@]} for sh, ${#python[@]} in Python"
    {
        shellcheck -x -P SCRIPTDIR -f gcc -s bash "${bash[@]}" || true
        shellcheck -x -P SCRIPTDIR -f gcc -s sh "${sh[@]}" || true
    } >"$build/shellcheck.log" 2>&1
    findings shellcheck <"$build/shellcheck.log" | judge shellcheck "$((${#bash[@]} + ${#sh[@]})) scripts" || status=1
    pyflakes3 "${python[@]}" >"$build/pyflakes.log" 2>&1 || true
    findings pyflakes <"$build/pyflakes.log" | judge pyflakes "${#python[@]} scripts" || status=1
}

awk '
    /^(#|$)/ { next }
    /^ / == open && (open || NF == 3) { open = !open; next }
    { print FILENAME ":" FNR ": accepted: TOOL FINDING FILES, and then an indented line with the reason"; bad = 1 }
    END { exit bad || open }' "$exceptions" || status=1
for part in "${parts[@]}"; do
    case $part in
    cppcheck) part_cppcheck ;;
    gcc) part_gcc ;;
    kernel) part_kernel ;;
    scripts) part_scripts ;;
    esac
done
[ $status -ne 0 ] || step "no findings"
exit $status
