#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds the Debian packages twice, in two folders of different names, and compares them byte by byte. Lets lintian judge
# them. The packages are then in build/package.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
work=$root/build/package
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }

version=$(dpkg-parsechangelog -S Version)
project=$(sed -nE 's/^project\(ifc VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
[ "$version" = "$project" ] || {
    echo "package: debian/changelog says version '$version', CMakeLists.txt '$project'" >&2
    exit 1
}
rm -rf "$work"
# build FOLDER: the packages of the tree as it stands, without what git ignores.
build() {
    mkdir -p "$work/$1/tree"
    git ls-files -z --cached --others --exclude-standard | tar -c --null -T - | tar -x -C "$work/$1/tree"
    (cd "$work/$1/tree" && env -u MAKEFLAGS -u CMAKE_C_COMPILER_LAUNCHER -u CMAKE_CXX_COMPILER_LAUNCHER \
        dpkg-buildpackage -b -us -uc -j"$(nproc)") >"$work/$1/log" 2>&1 || {
        tail -30 "$work/$1/log" >&2
        exit 1
    }
}
step "building the packages"
build first
step "building them again in another folder"
build again-elsewhere
for package in "$work"/first/*.deb; do
    cmp "$package" "$work/again-elsewhere/$(basename "$package")" || {
        echo "package: two builds of $(basename "$package") differ" >&2
        exit 1
    }
done
mv "$work"/first/*.deb "$work/"
rm -f "$work"/*dbgsym*
step "the two builds are the same"
lintian --fail-on error,warning --info --display-info "$work"/first/*.changes ||
    { echo "package: lintian found faults" >&2; exit 1; }
step "lintian is content"
(cd "$work" && sha256sum -- *.deb)
