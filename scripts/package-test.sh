#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Installs the packages of build/package in a fresh Debian root of their own, uses each and removes it again: the tool
# places the gateway's rules, its manual page and its completion are there, a consumer is built from the libraries, DKMS
# builds the modules for an ARM kernel's headers, an emulated machine loads them. After the removal nothing may be left.
# Needs root. Usage: package-test.sh KERNEL-TREE (what kernel-fetch.sh printed)
set -euo pipefail
# In a mount namespace of its own, so that what is mounted below ends with the script.
if [ -z "${IFC_PACKAGE_TEST:-}" ]; then
    unshare --mount true 2>/dev/null || {
        echo "package-test: no mounts are allowed here; in a container: start it with --privileged" >&2
        exit 1
    }
    IFC_PACKAGE_TEST=1 exec unshare --mount "$0" "$@"
fi
cd "$(dirname "$0")/.."
tree=$PWD
kernel=$(realpath "$1")
work=$tree/build/package
root=$work/root
version=$(dpkg-parsechangelog -S Version)
release=$(cat "$kernel/complete")
# The packages, and what the checks below need besides. No native C++ compiler and no DKMS: ifc-dkms must bring them.
packages=(ifcctl libifc-dev ifc-dkms)
tools=kmod,make,cmake,g++-arm-linux-gnueabihf,man-db,bash-completion
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }
fail() { echo "FAIL $*"; exit 1; }
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
logged() { inside "$@" >"$work/root.log" 2>&1 || { tail -30 "$work/root.log"; fail "$*"; }; }
# All that is in the root, but for what apt and dpkg write about each of their runs.
contents() {
    inside find / -xdev \( -path /proc -o -path /packages -o -path "$tree" -o -path /var/log -o -path /var/cache -o -path /var/lib/apt \
        -o -path /var/lib/dpkg \) -prune -o -print
    # shellcheck disable=SC2016 # dpkg-query's own names
    inside dpkg-query -W -f='package ${Package} ${db:Status-Status}\n'
}

step "making a Debian root"
rm -rf "$root"
mkdir -p "$root"
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
mmdebstrap --quiet --variant=apt --dpkgopt=force-unsafe-io --skip=cleanup/apt/lists --include="$tools" "$codename" "$root" \
    >"$work/root.log" 2>&1 || { tail -30 "$work/root.log"; fail "no Debian root"; }
mkdir "$root/packages"
cp "$work"/*.deb "$root/packages/"
cp -r tests/install/consumer "$root/packages/"
mkdir -p "$root$kernel"
cp -a "$kernel/usr" "$root$kernel/"
mount -t proc proc "$root/proc"
# The kernel's headers where DKMS looks for them. They are for another processor, which may not disturb the installation.
mkdir -p "$root/lib/modules/$release"
ln -s "$(readlink -f "$kernel/headers")" "$root/lib/modules/$release/build"
logged depmod "$release"
contents | sort >"$work/contents.before"

step "installing"
logged sh -c 'apt-get install -y --no-install-recommends /packages/*.deb'

step "using the tool"
{ cat examples/gateway.ifc; echo "rule show"; } >"$root/packages/shown.ifc"
inside ifcctl --state none -b /packages/shown.ifc >"$work/shown" || fail "ifcctl refused the gateway's rules"
grep -q 'dst_port 5060' "$work/shown" || fail "ifcctl does not show the gateway's rules"
inside ifcctl --state none frame replay /usr/share/doc/ifcctl/examples/stack.pcap >"$work/shown" || fail "ifcctl refused a capture"
[ "$(inside ifcctl --version)" = "ifcctl $version" ] || fail "ifcctl is of another version"
logged man --warnings -E UTF-8 -P cat ifcctl
grep -q '^IFCCTL(8)' "$work/root.log" || fail "man does not show the manual page"
! grep -q 'warning: ' "$work/root.log" || fail "man warns of the manual page"
inside bash --norc >"$work/shown" <<'SCRIPT' || fail "bash does not complete ifcctl"
. /usr/share/bash-completion/bash_completion
_completion_loader ifcctl
COMP_LINE="ifcctl cla" COMP_POINT=10 COMP_WORDS=(ifcctl cla) COMP_CWORD=1
$(complete -p ifcctl | sed 's/.* -F \([^ ]*\) .*/\1/') ifcctl cla ifcctl
echo "${COMPREPLY[@]}"
SCRIPT
[ "$(xargs <"$work/shown")" = classifier ] || fail "bash completes 'ifcctl cla' by '$(cat "$work/shown")'"

step "building a consumer of the libraries"
libraries=("$root"/usr/lib/*/libifc_*.a)
tests/layer/host/contract.sh "$(dirname "${libraries[0]}")/libifc_util.a" "$root/usr/include/ifc-rule-layer/ifc/ifc_util.h" ||
    fail "the contract of the library"
checks=$(nm -u "${libraries[@]}" | grep -E '_chk(_|$)' || true)
[ -z "$checks" ] || fail "the libraries call checks of a C library: $checks"
logged sh -c 'cmake -S /packages/consumer -B /tmp/consumer && cmake --build /tmp/consumer'
[ "$(inside /tmp/consumer/consumer)" = "$(printf '528 writes, 128 reads\nthe rule has number 8')" ] || fail "the consumer"
rm -rf "$root/tmp/consumer"

step "building the modules for $release"
logged env IFC_MAKE="ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf- CC=arm-linux-gnueabihf-gcc" \
    dkms install "ifc/$version" -k "$release" -a armhf
for module in ifc ifc_front ifc_net; do
    built=$(find "$root/lib/modules/$release" -name "$module.ko*" | head -1)
    [ -n "$built" ] || fail "no module $module"
    modinfo "$built" | grep -q "^vermagic: *$release " || fail "$module is for another kernel"
done
rm -rf "$work/modules"
mkdir "$work/modules"
find "$root/lib/modules/$release" -name '*.ko*' -exec cp {} "$work/modules/" \;

step "loading the modules in an emulated machine"
fs=$work/initramfs
rm -rf "$fs"
mkdir -p "$fs"/{bin,proc,sys}
cp "$kernel/busybox" "$fs/bin/"
cp "$work"/modules/*.ko "$fs/"
cp tests/package/init "$fs/"
(cd "$fs" && find . | cpio -o -H newc -R 0:0 2>/dev/null | gzip -1) >"$work/initrd.gz"
timeout -k 10 300 qemu-system-arm -M virt -cpu cortex-a15 -m 256 -nographic -no-reboot -nic none \
    -kernel "$kernel/vmlinuz" -initrd "$work/initrd.gz" -append "console=ttyAMA0 rdinit=/init panic=-1 quiet" \
    </dev/null >"$work/console.log" 2>&1 || true
grep -q '^THE MODULES WERE LOADED, USED AND UNLOADED' "$work/console.log" || { tail -20 "$work/console.log"; fail "loading"; }

step "removing"
# Without the options apt would keep what a package of the root recommends, such as the compiler that cmake does.
logged apt-get purge -y --auto-remove -o APT::AutoRemove::RecommendsImportant=false -o APT::AutoRemove::SuggestsImportant=false \
    "${packages[@]}"
contents | sort >"$work/contents.after"
left=$(diff "$work/contents.before" "$work/contents.after" | grep '^[<>]' || true)
[ -z "$left" ] || fail "the removal leaves (>) or takes (<) more than the packages: $left"
umount "$root/proc"
rm -rf "$root"
step "PASS the packages were installed, used and removed"
