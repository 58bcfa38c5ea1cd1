#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# Fetches what the network tests of the kernel need besides kernel-fetch.sh: programs for the emulated machine
# (tc, ethtool, mausezahn, ...) with their libraries, the packaged kernel modules, and the kernel's own tests from
# Debian's source package. Prints the folder's root when it is complete.
# Usage: kernel-net-fetch.sh VERSION (one of kernel-fetch.sh)
set -euo pipefail
cd "$(dirname "$0")/.."
kernel=$(scripts/kernel-fetch.sh "$1")
work=$(dirname "$kernel")
root=$work/net-root
programs="bash coreutils grep iproute2 ethtool jq gojq netsniff-ng ncat iputils-ping tcpdump"
key=$(sha256sum <scripts/kernel-net-fetch.sh | cut -c1-16)
if [ -e "$root/complete" ] && [ "$(cat "$root/complete")" = "$key" ]; then
    echo "$root"
    exit 0
fi
rm -rf "$root" "$work/net-debs"
mkdir -p "$root" "$work/net-debs/partial" "$work/net-source" "$work/cache/archives/partial"
export APT_CONFIG=$work/apt.conf
# Lists that kernel-fetch.sh left may be gone, or old.
apt-cache show iproute2 >/dev/null 2>&1 || apt-get update -qq >"$work/update.log" 2>&1 || true

# The empty status file makes apt list every library too. Nothing is installed.
apt-get install -y -qq --no-install-recommends --download-only -o Dir::Cache::archives="$work/net-debs" \
    -o Debug::NoLocking=1 $programs >"$work/net.log" 2>&1 || {
    tail -5 "$work/net.log" >&2
    exit 1
}
for deb in "$work"/net-debs/*.deb; do
    dpkg -x "$deb" "$root"
done
# The modules of the image that kernel-fetch.sh took.
release=$(cat "$kernel/complete")
(cd "$work/net-debs" && apt-get download -qq "linux-image-$release")
dpkg-deb --fsys-tarfile "$work/net-debs/linux-image-$release"_*.deb | tar -x -C "$root" --wildcards './lib/modules/*'

# The tests, as Debian ships them, in the version of the kernel's series.
package=linux-source-${release%%.*}.$(cut -d. -f2 <<<"$release")
archive=("$work"/net-source/"$package"_*.deb)
if [ ! -e "${archive[0]}" ]; then
    (cd "$work/net-source" && apt-get download -qq "$package")
    archive=("$work"/net-source/"$package"_*.deb)
fi
dpkg-deb --fsys-tarfile "${archive[0]}" | tar -xO --wildcards './usr/src/linux-source-*.tar.xz' | xz -dc -T0 |
    tar -x -C "$root" --strip-components=1 --wildcards '*/tools/testing/selftests/net/forwarding/*' \
        '*/tools/testing/selftests/net/lib.sh' '*/tools/testing/selftests/kselftest/*' 2>"$work/net.log" || true
[ -e "$root/tools/testing/selftests/net/forwarding/tc_flower.sh" ] || {
    echo "kernel-net-fetch: no tc_flower.sh in $package" >&2
    exit 1
}
rm -rf "$work/net-debs" "$work/cache"
echo "$key" >"$root/complete"
echo "$root"
