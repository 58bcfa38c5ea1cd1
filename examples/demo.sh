#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# The demonstration: a gateway's rules on a simulated classifier, and captured traffic through it, on one screen.
# Usage: demo.sh PATH-TO-IFCCTL
set -euo pipefail
ifcctl=$1
cd "$(dirname "$0")/.."
case $ifcctl in /*) ;; *) [ -x "$ifcctl" ] || ifcctl=$OLDPWD/$ifcctl ;; esac

echo "The rules of a home gateway (examples/gateway.ifc) on a fresh simulated chip, and the frames of two"
echo "captures through it. Used of the tables, then what each rule decided; rule 0 decides first:"
echo
# The screen begins with the tables: what the rules report when they are placed is left out, and what else would fit.
{
    cat examples/gateway.ifc
    echo "resource show"
    echo "frame replay examples/stack.pcap examples/framings.pcap"
} | COLUMNS=${COLUMNS:-100} "$ifcctl" --state none -b - | sed -n '/^LUT0 /,$p' | sed '/^more rules fit/,/^  IPv6 5-tuple/d'
shown=${ifcctl#"$PWD"/}
cat <<TEXT

Try next:  (cat examples/gateway.ifc; echo rule show) | $shown -b -
           (cat examples/gateway.ifc; echo table map) | $shown -b -
TEXT
