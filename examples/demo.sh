#!/usr/bin/env bash
# SPDX-License-Identifier: MIT OR GPL-2.0
# The demonstration: a gateway's rules on a simulated classifier. Usage: demo.sh PATH-TO-IFCCTL
set -euo pipefail
ifcctl=$1
cd "$(dirname "$0")"

cat <<'TEXT'
A classifier chip compares each frame with 8 wide rules (LUT0) and 32 narrow, chainable entries (LUT1), and applies
the action of the rule that hits. Below, the rules of a home gateway (examples/gateway.ifc) are placed on a simulated
chip through its register window. Each `rule` line tells where a rule went and which action entry belongs to it.
The dump behind it is what the driver prints of its tables:

  LUT0-n   a wide rule: one line for each field that it compares
  LUT1-n   a narrow entry: Type 0 compares 16 bits, Type 1 compares 32; `end:1` closes a chain
  Action   what happens to a frame: `enable` is a bitmap of the sub-actions that are on

TEXT
case $ifcctl in /*) ;; *) ifcctl=$OLDPWD/$ifcctl ;; esac
{
    cat gateway.ifc
    # Traffic of two real protocol stacks, then tagged, PPPoE and multicast frames: which rule took what.
    echo "frame replay stack.pcap"
    echo "frame replay framings.pcap"
} | "$ifcctl" -b -
