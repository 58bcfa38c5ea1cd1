#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds the Debian packages twice, in two folders of different names, with their tests and without, and compares them
# byte by byte. Lets lintian judge them. The packages are then in build/package.
# Usage: package.sh [once]: builds them once and compares nothing
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
work=$root/build/package
case ${1:-twice} in
once | twice) builds=${1:-twice} ;;
*)
    echo "package: '$1': accepted: once, or nothing" >&2
    exit 2
    ;;
esac
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

version=$(dpkg-parsechangelog -S Version)
project=$(sed -nE 's/^project\(ifc VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
[ "$version" = "$project" ] || {
    echo "package: debian/changelog says version '$version', CMakeLists.txt '$project'" >&2
    exit 1
}
rm -rf "$work"
# The files of the tree as it stands, without what git ignores. A tree without git (an unpacked archive) has no others,
# but for its builds.
files() {
    if [ -e .git ]; then
        git ls-files -z --cached --others --exclude-standard
    else
        find . -path ./build -prune -o \( -type f -o -type l \) -print0
    fi
}
# copy FOLDER: all copies are made first, so that the tree may change during the builds.
copy() {
    mkdir -p "$work/$1/tree"
    files | tar -c --null -T - | tar -x -C "$work/$1/tree"
}
# build FOLDER OPTIONS: source and binary packages of the copy, with these DEB_BUILD_OPTIONS.
build() {
    (cd "$work/$1/tree" && env -u MAKEFLAGS -u CMAKE_C_COMPILER_LAUNCHER -u CMAKE_CXX_COMPILER_LAUNCHER \
        DEB_BUILD_OPTIONS="$2" dpkg-buildpackage -us -uc -j"$(nproc)") >"$work/$1/log" 2>&1 || {
        tail -30 "$work/$1/log" >&2
        exit 1
    }
}
copy first
[ "$builds" = once ] || copy again-elsewhere
step "building the packages, with their tests"
build first ""
if [ "$builds" = twice ]; then
    step "building them again in another folder, without tests"
    build again-elsewhere nocheck
    for package in "$work"/first/*.{deb,tar.xz}; do
        cmp "$package" "$work/again-elsewhere/$(basename "$package")" || {
            echo "package: two builds of $(basename "$package") differ" >&2
            exit 1
        }
    done
    step "the two builds are the same"
fi
lintian --fail-on error,warning --info --display-info "$work"/first/*.changes ||
    { echo "package: lintian found faults" >&2; exit 1; }
step "lintian is content"
mv "$work"/first/*.deb "$work/"
rm -rf "$work"/*dbgsym* "$work"/first/tree "$work"/again-elsewhere
(cd "$work" && sha256sum -- *.deb)
