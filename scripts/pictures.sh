#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# The pictures of docs/images: the report and the map of the gateway example. Usage: pictures.sh PATH-TO-IFCCTL [FOLDER]
set -euo pipefail
ifcctl=$(realpath "$1")
folder=${2:-docs/images}
cd "$(dirname "$0")/.."
most=150000 # bytes of a picture
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$folder"

# The same input gives the same pictures.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct -- examples 2>/dev/null || echo 0)
export SOURCE_DATE_EPOCH IFC_STATE=$work/chip LC_ALL=C.UTF-8
"$ifcctl" -b examples/gateway.ifc >/dev/null
"$ifcctl" report -o "$work/report.html" --title "Home gateway" \
    --capture examples/stack.pcap examples/framings.pcap >/dev/null
COLUMNS=100 "$ifcctl" table map --color always >"$work/map.txt"
python3 scripts/pictures.py "$work/report.html" "$work/map.txt" "$work"

for picture in "$work"/*.png; do
    pngquant --force --strip --speed 1 --quality 80-100 --output "$picture" 128 "$picture"
    optipng -quiet -o2 "$picture"
    size=$(stat -c %s "$picture")
    if [ "$size" -gt "$most" ]; then
        echo "pictures: $(basename "$picture"): $size bytes, accepted: up to $most" >&2
        exit 1
    fi
    echo "$(basename "$picture") $size bytes"
done
mv "$work"/*.png "$folder/"
