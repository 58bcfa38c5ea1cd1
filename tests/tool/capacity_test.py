#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""resource show by shape: so many rules can be added, and one more cannot. Usage: capacity_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import random
import subprocess
import sys
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
with open(os.path.join(ROOT, "examples/gateway.ifc"), encoding="utf-8") as file:
    GATEWAY = [line for line in file.read().splitlines() if line and not line.startswith("#")]
SHAPES = ["VLAN ID", "protocol and port", "MAC address", "IPv4 5-tuple", "IPv6 prefix /1 to /32", "IPv6 prefix /33 to /64",
          "IPv6 prefix /65 to /96", "IPv6 prefix /97 to /128", "IPv6 5-tuple"]
POOL = ["vlan_id 7 dst_port 53", "udf0 1 udf1 2", "dst_mac 02:11:11:11:11:11 src_mac 02:11:11:11:11:12", "any",
        "src_ip 10.0.3.0/255.0.255.0", "eth_type arp", "ip_proto tcp dst_port 1-4 src_port ge 1024", "dst_ip 2001:db8::1",
        "iface 3", "src_ip 10.1.0.0/16 dst_ip 10.2.0.0/16 ip_proto udp src_port 53 dst_port 53 vlan_id 9 vlan_prio 5 dscp ef "
        "eth_type ipv4 dst_mac_type 0", "udf3 1", "gem_port 7 udf4 1", "pppoe_sid 1-3"]


def run(lines, *args):
    return subprocess.run([IFCCTL, *args, "-j", "--state", "none", "-b", "-"], input="\n".join(lines) + "\n", timeout=60,
                          capture_output=True, text=True)


class Capacity(unittest.TestCase):
    def document(self, lines, *args):
        result = run([*lines, "resource show"], *args)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return json.loads(result.stdout.splitlines()[-1])

    def added(self, lines, shape, *args):
        """Adds rules of this shape until one is refused. How many were added, and how many before a rule moved."""
        words = [shape["rule"].replace("N", str(shape["first_n"] + n)) for n in range(41)]
        result = run([*lines, *["rule add " + rule for rule in words]], *args)
        self.assertEqual(result.returncode, 3, result.stderr)
        self.assertRegex(result.stderr, "no space|all rules fit, but no places|only LUT0 holds|cannot stand before")
        replies = [json.loads(line) for line in result.stdout.splitlines()[len(lines):]]
        still = next((n for n, reply in enumerate(replies) if reply["moved"]), len(replies))
        return still, len(replies)

    def check(self, lines, *args):
        shapes = self.document(lines, *args)["shapes"]
        self.assertEqual([shape["shape"] for shape in shapes], SHAPES)
        for shape in shapes:
            self.assertEqual((shape["now"], shape["if_rules_move"]), self.added(lines, shape, *args), f"{shape} {lines}")
            self.assertLessEqual(shape["now"], shape["if_rules_move"])

    def test_an_empty_chip(self):
        for shape in self.document([])["shapes"]:
            self.assertEqual((shape["empty_chip"],) * 2, self.added([], shape), shape)
            self.assertEqual((shape["now"], shape["if_rules_move"]), (shape["empty_chip"],) * 2, shape)

    def test_the_gateway(self):
        self.check(GATEWAY)
        self.assertEqual([shape["empty_chip"] for shape in self.document(GATEWAY)["shapes"]],
                         [shape["empty_chip"] for shape in self.document([])["shapes"]])

    def test_the_gateway_in_figures(self):
        shapes = {shape["shape"]: shape for shape in self.document(GATEWAY)["shapes"]}
        # Five LUT1 entries are free after all rules.
        self.assertEqual((shapes["VLAN ID"]["now"], shapes["IPv4 5-tuple"]["now"], shapes["IPv6 5-tuple"]["now"]), (5, 1, 0))
        # An IPv4 5-tuple takes one of 8 LUT0 rules, or 5 of the 16 entries of a sub-table.
        self.assertEqual(shapes["IPv4 5-tuple"]["empty_chip"], 8 + 3 + 3)

    def test_random_tables(self):
        for seed in range(6):
            rng = random.Random(seed)
            rules = rng.sample(POOL, rng.randint(2, 9))
            lines = ["rule add " + rule for rule in rules if rule != "any"] + ["rule add any"] * ("any" in rules)
            result = run(lines)
            self.assertIn(result.returncode, (0, 3), result.stderr)
            lines = lines[:len(result.stdout.splitlines())]
            for _ in range(1 if len(lines) < 4 else 2):  # holes in the tables
                number = rng.choice([rule["rule"] for rule in json.loads(run([*lines, "rule show"]).stdout.splitlines()[-1])])
                lines.append(f"rule del {number}")
            self.check(lines)

    def test_a_chip_without_lut0(self):
        self.check(["rule add vlan_id 7 dst_port 53"], "--revision", "14")
        shapes = {shape["shape"]: shape for shape in self.document([], "--revision", "14")["shapes"]}
        self.assertEqual((shapes["VLAN ID"]["empty_chip"], shapes["IPv4 5-tuple"]["empty_chip"]), (32, 6))

    def test_a_chain_without_an_end_is_not_counted(self):
        # Entry 20 belongs to no rule. The entry after it stays free as well: a chain there would join it.
        lines = ["op ifc_set_lut1_rules 20 1 0 28 0 0xffff 0 53"]
        self.check(lines)
        shapes = {shape["shape"]: shape for shape in self.document(lines)["shapes"]}
        self.assertEqual(shapes["VLAN ID"]["now"], 38)

    def test_one_is_singular(self):
        with_room_for_one = [f"rule add vlan_id {n}" for n in range(7, 46)]
        lines = "\n".join([*with_room_for_one, "resource show fits vlan_id 99"])
        result = subprocess.run([IFCCTL, "--state", "none", "-b", "-"], input=lines, capture_output=True, text=True, timeout=60)
        self.assertTrue(result.stdout.endswith("\n1 more rule of this shape fits (1 LUT1 entry each, or a LUT0 rule)\n"), result.stdout)

    def test_text(self):
        result = subprocess.run([IFCCTL, "--state", "none", "resource", "show"], capture_output=True, text=True, timeout=60)
        self.assertIn("more rules fit:           entries    now  if rules move  empty chip\n"
                      "  VLAN ID                       1     40             40          40\n", result.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
