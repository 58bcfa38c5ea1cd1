#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""The flow commands for users of testpmd. Usage: flow_test.py IFCCTL"""
import json
import os
import subprocess
import sys
import unittest

IFCCTL = sys.argv[1]
ENVIRONMENT = {**os.environ, "IFC_STATE": "none", "COLUMNS": ""}
# UDP from 10.0.0.1:1024 to 10.0.0.2:53 in VLAN 7.
DNS = "020000000002" "020000000001" "81000007" "0800" "450000200000000040110000" "0a0000010a000002" "04000035000c0000" "00000000"

# (pattern, actions, rule)
TRANSLATED = (
    ("eth / end", "end", "any"),
    ("eth / ipv4 / udp dst is 53 / end", "queue index 3 / end", "ip_proto udp dst_port 53 action queue 3"),
    ("eth dst is 02:00:00:00:00:02 type is 0x0806 / end", "queue index 0 / end", "eth_type arp dst_mac 02:00:00:00:00:02 action channel 0"),
    ("eth dst spec 01:00:5e:00:00:00 dst mask ff:ff:ff:80:00:00 / end", "end", "dst_mac 01:00:5e:00:00:00/25"),
    ("vlan / end", "end", "vlan_id any"),
    ("eth / vlan vid is 7 pcp is 5 dei is 1 / vlan vid is 8 / ipv4 / end", "end",
     "vlan_id 7 vlan_prio 5 vlan_dei 1 cvlan_id 8 sipv4 any"),
    ("eth / ipv4 src is 10.0.0.1 dst spec 10.0.0.0 dst mask 255.255.0.0 tos is 4 / end", "end",
     "src_ip 10.0.0.1 dst_ip 10.0.0.0/16 ip_tos 4"),
    ("eth / ipv4 dst spec 10.0.0.0 dst prefix 8 / tcp src spec 1024 src last 2047 / end", "end", "dst_ip 10.0.0.0/8 ip_proto tcp src_port 1024-2047"),
    # As in testpmd bits outside the mask do not count, and a prefix is one of any field.
    ("eth dst spec 02:00:00:00:00:02 dst prefix 24 / end", "end", "dst_mac 02:00:00:00:00:00/24"),
    ("eth / ipv4 src spec 10.0.0.1 src mask 255.255.255.0 / udp dst spec 0x1234 dst prefix 8 / end", "end",
     "src_ip 10.0.0.0/24 ip_proto udp dst_port 0x1200/0xff00"),
    ("eth / vlan vid spec 0x123 vid mask 0xf0 / ipv6 src spec 2001:db8::1 src mask ffff:ffff:: tc spec 0xb8 tc prefix 6 / end", "end",
     "vlan_id 0x20/0xf0 src_ip 2001:db8::/32 dscp ef"),
    ("eth / ipv4 proto is 17 / udp / end", "end", "ip_proto udp"),
    ("eth / ipv6 dst spec 2001:db8:: dst prefix 32 tc is 184 flow is 5 / sctp dst is 9 / end", "end",
     "dst_ip 2001:db8::/32 ip_tos 184 flow_label 5 ip_proto sctp dst_port 9"),
    ("ipv6 / end", "end", "sipv6_31_0 any"),
    ("ipv6 / icmp6 / end", "end", "ip_proto icmpv6"),
    ("ipv4 / icmp / end", "end", "ip_proto icmp"),
    ("eth / pppoes seid is 0x1c2a / end", "mark id 9 / count / end", "pppoe_sid 0x1c2a action sp_tag 0x9"),
    ("eth / pppoes / end", "meter mtr_id 9 / count identifier 5 / end", "pppoe_sid any action count 5 meter 9"),
    ("eth / end", "port_id id 3 / end", "any action fport 3"),
    ("eth / end", "represented_port ethdev_port_id 3 / passthru / void / end", "any action fport 3"),
    ("eth / end", "set_ipv4_dscp dscp_value 46 / set_ipv6_dscp dscp_value 46 / end", "any action dscp ef traffic_class 184"),
    ("eth / end", "of_pop_vlan / end", "any action vo0 2"),
    ("eth / end", "of_pop_vlan / of_pop_vlan / end", "any action vo0 2 vo1 2"),
    ("eth / end", "of_push_vlan ethertype 0x88a8 / of_set_vlan_vid vlan_vid 100 / of_set_vlan_pcp vlan_pcp 5 / end",
     "any action vpm0 2 vo0 1 vprio0 10 vid0 100"),
    ("eth / end", "of_set_vlan_vid vlan_vid 100 / end", "any action vo0 3 vid0 100 keep_pcp"),
    ("eth / end", "of_set_vlan_vid vlan_vid 100 / of_set_vlan_pcp vlan_pcp 5 / end", "any action vo0 3 vprio0 10 vid0 100"),
    ("eth / end", "of_pop_vlan / of_push_vlan ethertype 0x8100 / of_set_vlan_vid vlan_vid 9 / end", "any action vpm0 1 vo0 3 vid0 9"),
)

# (words after "flow create", parts of the message)
REFUSED = (
    ("1 pattern eth / end actions end", ("port '1': accepted: 0",)),
    ("0 egress pattern eth / end actions end", ("flow 'egress': accepted: ingress group priority pattern",)),
    ("0 group 1 pattern eth / end actions end", ("group '1': accepted: 0",)),
    ("0 priority 2 pattern eth / end actions end", ("priority '2': accepted: 0", "rule insert")),
    ("0 pattern etj / end actions end", ("pattern 'etj'", "did you mean eth?")),
    ("0 pattern vxlan / end actions end", ("pattern 'vxlan': accepted: eth vlan pppoes",)),
    ("0 pattern udp / end actions end", ("pattern 'udp': accepted: udp after ipv4 or ipv6",)),
    ("0 pattern ipv6 / icmp / end actions end", ("pattern 'icmp': accepted: icmp after ipv4",)),
    ("0 pattern ipv4 / udp / tcp / end actions end", ("pattern 'tcp': accepted: one item",)),
    ("0 pattern ipv4 / ipv6 / end actions end", ("pattern 'ipv6': accepted: one of",)),
    ("0 pattern vlan / vlan / vlan / end actions end", ("pattern 'vlan': accepted: at most two tags",)),
    ("0 pattern ipv4 ttl is 5 / end actions end", ("ipv4 'ttl': accepted: src dst proto tos",)),
    ("0 pattern icmp6 / end actions end", ("pattern 'icmp6': accepted: icmp6 after ipv6",)),
    ("0 pattern ipv4 dst is ::1 / end actions end", ("ipv4 dst '::1': accepted: an IPv4 address",)),
    ("0 pattern ipv4 dst ge 5 / end actions end", ("ipv4 dst 'ge': accepted: is spec last mask prefix",)),
    ("0 pattern ipv4 dst mask 255.0.0.0 / end actions end", ("ipv4 dst '255.0.0.0': accepted: a value with 'is' or 'spec'",)),
    ("0 pattern ipv4 / udp dst spec 5 dst mask 0xff dst last 6 / end actions end", ("udp dst '6': accepted: last or mask, not both",)),
    ("0 pattern ipv4 / udp dst spec 5 dst prefix 17 / end actions end", ("udp dst prefix '17': accepted: a number from 1 to 16",)),
    ("0 pattern ipv4 dst spec 10.0.0.0 dst prefix 33 / end actions end", ("ipv4 dst prefix '33': accepted: a number from 1 to 32",)),
    ("0 pattern ipv4 dst spec 10.0.0.0 dst mask 24 / end actions end", ("ipv4 dst '24': accepted: an IPv4 address",)),
    ("0 pattern ipv4 / udp dst is 5 dst is 6 / end actions end", ("udp dst '6': accepted: each part of a value once",)),
    ("0 pattern eth", ("pattern '': accepted: '/' after an item",)),
    ("0 pattern eth / end", ("flow '': accepted: actions",)),
    ("0 pattern eth / end actions drop / end", ("actions 'drop'", "no action of this chip drops a frame")),
    ("0 pattern eth / end actions rss / end", ("actions 'rss': accepted: queue mark",)),
    ("0 pattern eth / end actions queue / end", ("queue '/': accepted: index",)),
    ("0 pattern eth / end actions queue index 9 / end", ("queue '9': accepted: a number from 0 to 7",)),
    ("0 pattern eth / end actions mark id x / end", ("mark id 'x': accepted: a number",)),
    ("0 pattern eth / end actions of_push_vlan ethertype 0x9100 / end", ("ethertype '0x9100': accepted: 0x8100 or 0x88a8",)),
    ("0 pattern eth / end actions of_set_vlan_pcp vlan_pcp 5 / end", ("it together with of_set_vlan_vid",)),
    ("0 pattern eth / end actions of_pop_vlan / of_set_vlan_vid vlan_vid 5 / end", ("it after of_push_vlan",)),
    ("0 pattern eth / end actions of_push_vlan ethertype 0x8100 / of_pop_vlan / end", ("of_pop_vlan before of_push_vlan",)),
    ("0 pattern eth / end actions end more", ("flow 'more': accepted: nothing more",)),
)


def batch(*lines, args=()):
    return subprocess.run([IFCCTL, *args, "-b", "-"], input="\n".join(("ppe on", "classifier enable", *lines)) + "\n", capture_output=True,
                          text=True, timeout=60, env=ENVIRONMENT)


class Flow(unittest.TestCase):
    maxDiff = None

    def good(self, *lines, args=()):
        result = batch(*lines, args=args)
        self.assertEqual((result.returncode, result.stderr), (0, ""), lines)
        return result.stdout

    def test_translations(self):
        for pattern, actions, rule in TRANSLATED:
            line = f"0 ingress pattern {pattern} actions {actions}"
            flow, own = (self.good(create, "rule show", args=("-br",)) for create in ("flow create " + line, "rule add " + rule))
            self.assertEqual(flow, own, line)
            self.assertEqual(self.good("flow validate " + line), self.good("rule validate " + rule), line)

    def test_refusals(self):
        for words, parts in REFUSED:
            with self.subTest(words):
                result = batch("flow create " + words)
                self.assertEqual((result.returncode, result.stdout), (2, ""), result.stderr)
                self.assertEqual(result.stderr.count("\n"), 1)
                for part in parts:
                    self.assertIn(part, result.stderr)

    def test_life_of_a_flow(self):
        create = "flow create 0 pattern eth / ipv4 / udp dst is 53 / end actions queue index 2 / end"
        lines = (create, create.replace("53", "54"), create.replace("53", "55"))
        rules = [rule["rule"] for rule in json.loads(self.good(*lines, "flow list 0", args=("-j",)).splitlines()[-1])]
        self.assertEqual(len(rules), 3)
        self.assertIn(f"rule {rules[0]}: 1 frame, ", self.good(*lines, "frame send " + DNS, f"flow query 0 {rules[0]} count"))
        self.assertIn("frame leaves as it came", self.good(*lines, "frame send " + DNS))
        left = self.good(*lines, f"flow destroy 0 rule {rules[2]} rule {rules[0]} rule {rules[0]}", "flow list 0")
        self.assertEqual(left.count("rule add"), 1)
        self.assertIn("dst_port 54", left)
        self.assertIn("deleted: 3 rules", self.good(*lines, "flow flush 0"))
        wrong = batch(*lines, f"flow destroy 0 rule {rules[0]} rule 0")
        self.assertEqual(wrong.returncode, 3)
        self.assertIn("flow destroy rule '0': refused: no rule has this number", wrong.stderr)
        for line, part in (("flow query 0 39 count", "no rule has this number"), (f"flow query 0 {rules[0]} rss", "accepted: count"),
                           ("flow destroy 0", "flow destroy '': accepted: rule"), ("flow list 7", "port '7'")):
            self.assertIn(part, batch(*lines, line).stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
