#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Installs the packages of build/package in a fresh Debian root of their own, uses each and removes it again: the tool
# places the gateway's rules, a consumer is built from the libraries, DKMS builds the modules for an ARM kernel's headers.
# Needs root. Usage: package-test.sh KERNEL-TREE (what kernel-fetch.sh printed)
set -euo pipefail
# In a mount namespace of its own, so that what is mounted below ends with the script.
[ -n "${IFC_PACKAGE_TEST:-}" ] || IFC_PACKAGE_TEST=1 exec unshare --mount "$0" "$@"
cd "$(dirname "$0")/.."
tree=$PWD
kernel=$1
work=$tree/build/package
root=$work/root
version=$(dpkg-parsechangelog -S Version)
release=$(cat "$kernel/complete")
start=$SECONDS
step() { printf '%4d s  %s\n' $((SECONDS - start)) "$*"; }
fail() { echo "FAIL $*"; exit 1; }
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
logged() { inside "$@" >"$work/root.log" 2>&1 || { tail -30 "$work/root.log"; fail "$*"; }; }

step "making a Debian root"
rm -rf "$root"
mkdir -p "$root"
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
# DKMS asks for the compiler of the running machine. The ARM one builds the modules, as on a build server.
mmdebstrap --quiet --variant=apt --include=make,cmake,g++,dkms,g++-arm-linux-gnueabihf "$codename" "$root" \
    >"$work/root.log" 2>&1 || { tail -30 "$work/root.log"; fail "no Debian root"; }
mkdir "$root/packages"
cp "$work"/*.deb "$root/packages/"
cp -r tests/install/consumer "$root/packages/"
mkdir -p "$root$kernel"
cp -a "$kernel/usr" "$root$kernel/"

mount -t proc proc "$root/proc"
mkdir -p "$root/lib/modules/$release"
logged depmod "$release"
inside find / -xdev -path /proc -prune -o -path /packages -prune -o -type f -print | sort >"$work/files.before"

step "installing"
logged apt-get update
logged sh -c 'apt-get install -y --no-install-recommends /packages/*.deb'

step "using the tool"
{ cat examples/gateway.ifc; echo "rule show"; } >"$root/packages/shown.ifc"
inside ifcctl --state none -b /packages/shown.ifc >"$work/shown" || fail "ifcctl refused the gateway's rules"
grep -q 'dst_port 5060' "$work/shown" || fail "ifcctl does not show the gateway's rules"

step "building a consumer of the libraries"
logged sh -c 'cmake -S /packages/consumer -B /tmp/consumer && cmake --build /tmp/consumer'
[ "$(inside /tmp/consumer/consumer)" = "$(printf '528 writes, 128 reads\nthe rule has number 8')" ] || fail "the consumer"

step "building the modules for $release"
headers=$(readlink -f "$kernel/headers")
logged env IFC_MAKE="ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf- CC=arm-linux-gnueabihf-gcc" \
    dkms install "ifc/$version" -k "$release" -a armhf --kernelsourcedir "$headers" --no-depmod
for module in ifc ifc_front ifc_net; do
    built=$(find "$root/lib/modules/$release" -name "$module.ko*" | head -1)
    [ -n "$built" ] || fail "no module $module"
    modinfo "$built" | grep -q "^vermagic: *$release " || fail "$module is for another kernel"
done
mkdir -p "$work/modules"
find "$root/lib/modules/$release" -name '*.ko*' -exec cp {} "$work/modules/" \;

step "loading the modules in an emulated machine"
fs=$work/initramfs
rm -rf "$fs"
mkdir -p "$fs"/{bin,proc,sys}
cp "$kernel/busybox" "$fs/bin/"
cp "$work"/modules/*.ko "$fs/"
cp tests/package/init "$fs/"
(cd "$fs" && find . | cpio -o -H newc -R 0:0 2>/dev/null | gzip -1) >"$work/initrd.gz"
timeout -k 10 120 qemu-system-arm -M virt -cpu cortex-a15 -m 256 -nographic -no-reboot -nic none \
    -kernel "$kernel/vmlinuz" -initrd "$work/initrd.gz" -append "console=ttyAMA0 rdinit=/init panic=-1 quiet" \
    </dev/null >"$work/console.log" 2>&1 || true
grep -q '^THE MODULES WERE LOADED, USED AND UNLOADED' "$work/console.log" || { tail -20 "$work/console.log"; fail "loading"; }

step "removing"
logged dkms uninstall "ifc/$version" -k "$release" -a armhf
rm -rf "$root/tmp/consumer"
logged apt-get purge -y --auto-remove ifcctl libifc-dev ifc-dkms
inside find / -xdev -path /proc -prune -o -path /packages -prune -o -type f -print | sort >"$work/files.after"
left=$(comm -13 "$work/files.before" "$work/files.after" | grep -vE '^/(var/(log|cache|lib/(apt|dpkg))|root|tmp)/' || true)
[ -z "$left" ] || fail "files stay after the removal: $left"
step "PASS the packages were installed, used and removed"
