#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds ifc.ko and its tests against a kernel, and once more with an embedder's settings (tests/kernel/embedder.h).
# Checks what the objects need and export, what Kbuild must refuse, and what `make clean` leaves. Prints PASS, FAIL and
# NOTE lines. The modules are then in FOLDER/module, the embedder's in FOLDER/embedder.
# Usage: kernel-module.sh KERNEL-HEADERS FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
headers=$1
mkdir -p "$2"
build=$(cd "$2" && pwd)
status=0
pass() { echo "PASS $*"; }
fail() { echo "FAIL $*"; status=1; }
check() { # WHAT COMMAND...
    local what=$1
    shift
    if "$@"; then pass "$what"; else fail "$what"; fi
}
none() { # WHAT COMMAND...: passes if the command prints nothing
    local what=$1 printed
    shift
    printed=$("$@")
    [ -z "$printed" ] || echo "$printed"
    check "$what" [ -z "$printed" ]
}

# sources FOLDER: copies the module's sources that have changed, and removes those that are gone.
sources() {
    local file
    mkdir -p "$1"
    for file in "$1"/*.[ch] "$1"/*.cpp; do
        case $file in *.mod.c | */ifc_offsets.h) continue ;; esac
        [ -e "platform/kernel/$(basename "$file")" ] || [ -e "tests/kernel/$(basename "$file")" ] || rm -f "$file"
    done
    for file in platform/kernel/* tests/kernel/ifc_*; do
        [ ! -f "$file" ] || cmp -s "$file" "$1/$(basename "$file")" || cp "$file" "$1/"
    done
}
# kbuild FOLDER ARGUMENT...: the headers name their own compiler; CC on the command line overrides it.
kbuild() {
    local folder=$1
    shift
    env -u DEB_BUILD_ARCH -u DEB_HOST_ARCH make -C "$headers" M="$folder" IFC_ROOT="$root" ARCH=arm \
        CROSS_COMPILE=arm-linux-gnueabihf- CC=arm-linux-gnueabihf-gcc -j"$(nproc)" "$@"
}
logged() { # LOG COMMAND...
    local log=$1
    shift
    "$@" >"$log" 2>&1 || {
        tail -30 "$log"
        exit 1
    }
}

module=$build/module
sources "$module"
logged "$build/module.log" kbuild "$module" modules
if grep -a 'warning:' "$build/module.log"; then
    fail "the module's build has no warnings"
fi
text=$(arm-linux-gnueabihf-size "$module/ifc.ko" | awk 'END { print $1 }')
layer=$(cd "$module" && for source in "$root"/ifc/ifc_util/*.cpp; do echo "$(basename "$source" .cpp).o"; done |
    xargs arm-linux-gnueabihf-size | awk 'NR > 1 { sum += $1 } END { print sum }')
echo "$text" >"$build/text"
echo "NOTE ifc.ko: $text bytes of text, of which the rule layer $layer"

missing() {
    local exported operation
    exported=$(awk '$3 ~ /\/ifc$/ { print $2 }' "$module/Module.symvers" | sort)
    for operation in $(sed -nE 's/^(int|void|uint|unsigned int|int8_t|int32_t|uint16_t) (\w+)\(.*/\2/p' ifc/ifc_util.h); do
        grep -qx "$operation" <<<"$exported" || echo "NOTE not exported: $operation"
    done
}
none "every operation is exported" missing
wide_searches() {
    local object
    for object in "$module"/*.o "$module"/*.ko; do
        arm-linux-gnueabihf-nm "$object" | grep -wE '__(ctz|clz|ffs)di2' | sed "s|^|NOTE $(basename "$object"):|" || true
    done
}
none "no object searches 64 bits by a call" wide_searches

# With extra members in the context and a revision query, as a driver may have them.
embedder=$build/embedder
sources "$embedder"
logged "$build/embedder.log" kbuild "$embedder" KCFLAGS="-include $root/tests/kernel/embedder.h" ifc.ko
check "an embedder's build has no warnings" sh -c "! grep -a 'warning:' '$build/embedder.log'"

# Kbuild must refuse this source in the place of one of the engine's sources.
refused() { # SOURCE MESSAGE
    local tree=$build/refused/tree name
    name=$(basename "$1" .cpp)
    rm -rf "$build/refused"
    mkdir -p "$tree/engine"
    ln -s "$root"/{include,ifc,ruleset,platform,tests} "$tree/"
    ln -s "$root"/engine/* "$tree/engine/"
    cp "$1" "$tree/engine/"
    sources "$build/refused/module"
    ls "$build/refused/module" >"$build/refused/before"
    ! kbuild "$build/refused/module" IFC_ROOT="$tree" "$name.o" >"$build/refused/log" 2>&1 &&
        grep -q "$name.cpp: $2" "$build/refused/log" && [ ! -e "$build/refused/module/$name.o" ]
}
check "Kbuild refuses a 64-bit bit search" refused tests/kernel/refused/wide_search.cpp "a 64-bit bit search"
check "Kbuild refuses a dynamic initialiser" refused tests/kernel/refused/dynamic_initialiser.cpp "a dynamic initialiser"
logged "$build/clean.log" kbuild "$build/refused/module" clean
check "make clean leaves the sources alone" sh -c "ls '$build/refused/module' | diff '$build/refused/before' -"
exit $status
