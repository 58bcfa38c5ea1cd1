#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""What the tool refuses: the text and the exit code of each. Usage: refusals_test.py IFCCTL"""
import os
import subprocess
import sys
import tempfile
import unittest

IFCCTL = sys.argv[1]
os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip
RULE_CFG, WRITE = 0xBFB50204, 2  # the transfer register, and its bit that a writing transfer sets

USAGE, REFUSED, TIMEOUT = 2, 3, 4
FOUR_CHAINS = tuple(f"rule add udf0 {n} udf1 1 udf2 1 udf3 1 udf4 1 udf5 1 udf6 1 udf7 1" for n in range(4))
HOLES = "dst_ip 0.{}.255.0/0.255.255.0"  # a mask that only LUT0 holds
WIDE_FULL = tuple(f"rule add {HOLES.format(n)}" for n in range(8))
ALL_FULL = tuple(f"rule add dst_port {n}" for n in range(40))
THREE = ("rule add vlan_id 7", "rule add dst_port 80", "rule add src_port 9")

# (exit code, line, parts of the message, lines before it, options)
TABLE = (
    # Words.
    (USAGE, "ruel add dst_port 1", ("command 'ruel': accepted: rule ppe classifier", "did you mean rule?")),
    (USAGE, "rule adr dst_port 1", ("rule 'adr': accepted: add insert move change del", "did you mean add?")),
    (USAGE, "rule c", ("rule 'c': accepted: one of change check clear in full",)),
    (USAGE, "help rule nothing", ("rule 'nothing': accepted: add insert",)),
    (USAGE, "rule", ("rule '': accepted: add insert",)),
    (USAGE, "rule add", ("match '': accepted: conditions, or 'any'",)),
    (USAGE, "rule add dst_prt 1", ("match 'dst_prt'", "did you mean dst_port?")),
    (USAGE, "rule add vlan_id 4096", ("vlan_id '4096'", "0 to 0xfff"), ("ppe on",)),
    (USAGE, "rule add dst_port 80x", ("dst_port '80x'", "a number from 0 to 0xffff")),
    (USAGE, "rule add dst_port 9-5", ("dst_port '9-5'", "FIRST-LAST with FIRST up to LAST, such as 5-9")),
    (USAGE, "rule add dst_port ge 5-6", ("dst_port 'ge 5-6': accepted: one value after ge, or 5-6 without it",)),
    (USAGE, "rule add dst_port ne 5-6", ("dst_port 'ne 5-6': accepted: one value after ne",)),
    (USAGE, "rule add vlan 7", ("match 'vlan'", "did you mean vlan_id?")),
    (USAGE, "rule add proto udp", ("match 'proto'", "did you mean ip_proto?")),
    (USAGE, "rule add tcp", ("match 'tcp'", "did you mean ip_proto tcp?")),
    (USAGE, "rule add DST_PORT 5", ("match 'DST_PORT'", "did you mean dst_port?")),
    (USAGE, "rule add DST_PRT 5", ("match 'DST_PRT'", "did you mean dst_port?")),
    (USAGE, "rule add arp", ("match 'arp'", "did you mean eth_type arp?")),
    (USAGE, "rule add dst_port 1 action QUEUE 1", ("action 'QUEUE'", "did you mean queue?"), ("ppe on",)),
    (USAGE, "rule show -j", ("rule show '-j': accepted: nothing more; options stand before the command",)),
    (USAGE, "rule change 8 action channel off", ("channel 'off': accepted: together with 'queue off'",),
     ("ppe on", "rule add dst_port 1 action channel 2 queue 3")),
    (USAGE, "rule add dst_mac 01:00:5e:00:00", ("dst_mac '01:00:5e:00:00'", "a MAC address such as")),
    (USAGE, "rule add dst_ip 192.168.1.256", ("dst_ip '192.168.1.256'", "an IPv4 or IPv6 address")),
    (USAGE, "rule add dst_ip 192.168.1.0/33", ("dst_ip '192.168.1.0/33'", "/PREFIX")),
    (USAGE, "rule add src_ip 192.168.1.1/24", ("src_ip '192.168.1.1/24'", "bits outside its mask")),
    (USAGE, "rule add dst_port", ("dst_port ''", "VALUE[/MASK], KEY FIRST-LAST or KEY any")),
    (USAGE, "rule add dst_ip ge 10.0.0.1", ("dst_ip 'ge'", "eq or ne")),
    (USAGE, "rule add vlan_prio 8", ("vlan_prio '8'", "0 to 0x7")),
    (USAGE, "rule add ip_proto upd", ("ip_proto 'upd'", "did you mean udp?")),
    # Contradictions in one rule.
    (USAGE, "rule add dst_port 1 dport 2", ("'dport 2': contradicts 'dst_port 1'",)),
    (USAGE, "rule add eth_type ipv4 dst_ip 2001:db8::1", ("'dst_ip 2001:db8::1': contradicts 'eth_type ipv4'",)),
    (USAGE, "rule add dst_ip 10.0.0.1 dst_ip 10.0.0.2", ("'dst_ip 10.0.0.2': contradicts 'dst_ip 10.0.0.1'",)),
    # Actions.
    (USAGE, "rule add dst_port 1 action queue 8", ("queue '8'", "0 to 7"), ("ppe on",)),
    (USAGE, "rule add dst_port 1 action drop", ("action 'drop'", "rule add help"), ("ppe on",)),
    (USAGE, "rule add dst_port 1 action queu 1", ("action 'queu'", "did you mean queue?"), ("ppe on",)),
    (USAGE, "rule add dst_port 1 action dscp 64", ("dscp '64'", "0 to 63", "af11", "ef"), ("ppe on",)),
    (REFUSED, "rule add dst_port 1 action queue 1", ("while the PPE is off", "say 'ppe on'")),
    (REFUSED, "rule change 8 action nbq 4", ("action 'nbq 4': refused: while the PPE is off",), ("rule add dst_port 1",)),
    (REFUSED, "rule add dst_port 1 action fast 0", ("action 'fast 0': refused: while the PPE is off",)),
    (REFUSED, "rule change 9 action queue 1", ("action 'queue 1'", "while the PPE is off",), ("rule add dst_mac 02:00:00:00:00:01",)),
    (REFUSED, "action set 8 queue 1", ("and the rule layer would delete the rule; say 'ppe on' first",)),
    # Rules by number.
    (USAGE, "rule insert before x dst_port 1", ("rule insert before 'x'", "0 to 39")),
    (USAGE, "rule del 40", ("rule del '40'", "0 to 39")),
    (USAGE, "rule del id 40", ("rule del '40'", "0 to 39")),
    (USAGE, "rule move 8", ("rule move ''", "before last"), THREE),
    (USAGE, "rule move 8 after 9", ("rule move 'after'", "before last"), THREE),
    (USAGE, "rule change 8 queue 1", ("rule change 'queue'", "action"), THREE),
    (USAGE, "rule flush all", ("rule flush", "all"), THREE),
    (REFUSED, "rule del 12", ("rule del '12'", "no rule has this number; there are 8, 9, 10;"), THREE),
    (REFUSED, "rule move 12 before 8", ("rule move '12'", "no rule has this number; there are 8, 9, 10"), THREE),
    (REFUSED, "rule move 8 before 12", ("rule move before '12'", "no rule has this number; there are 8, 9, 10"), THREE),
    (REFUSED, "rule insert before 12 udf0 1", ("rule insert before '12'", "no rule has this number; there are 8, 9, 10"), THREE),
    (REFUSED, "rule change 12 action cpu", ("rule change '12'", "no rule has this number; there are 8, 9, 10"), THREE),
    (REFUSED, "rule del 8", ("no rule has this number; there is only 9; LUT1 entries 0-1 belong to rule 9",),
     ("rule add dst_port 1 src_port 2",)),
    (REFUSED, "rule insert before 9 udf0 1", ("there is only 10; LUT1 entries 0-2 belong to rule 10",),
     ("rule add dst_port 1 src_port 2 udf3 4",)),
    (REFUSED, "rule change 8 action cpu", ("rule change '8': refused: no rule has this number; there are no rules",)),
    (REFUSED, "rule del LUT1-3", ("rule del 'LUT1-3': refused: no rule stands there; there are 8, 9, 10",), THREE),
    (REFUSED, "rule move LUT0-1 last", ("rule move 'LUT0-1': refused: no rule stands there",), THREE),
    (USAGE, "rule del LUT1-32", ("rule del 'LUT1-32'", "such as LUT0-2 or LUT1-3"), THREE),
    (USAGE, "rule del LUT2-1", ("rule del 'LUT2-1'", "such as LUT0-2 or LUT1-3"), THREE),
    (REFUSED, "rule explain 12 ffffffffffff02000000000108060000", ("rule explain '12'", "there are 8, 9, 10"), THREE),
    # The whole match is named.
    (REFUSED, "rule find dst_port 81 vlan_id 9", ("rule 'dst_port 81 vlan_id 9': refused",), THREE),
    (REFUSED, "rule del dst_port 81", ("rule 'dst_port 81'", "no rule holds exactly these conditions (see 'rule show')",), THREE),
    (REFUSED, "rule del auto dst_port 81 vlan_id 9", ("rule 'dst_port 81 vlan_id 9': refused",), THREE),
    (REFUSED, "rule find dst_port 81", ("no rule holds exactly these conditions",), THREE),
    # No table holds such a rule.
    (REFUSED, "rule add udf0 1 " + HOLES.format(1),
     ("rule 'udf0 0x1'", "no table holds this rule: LUT0 holds no user-defined field", "'dst_ip 0.1.255.0/0.255.255.0'")),
    (REFUSED, "rule add " + HOLES.format(1), ("only LUT0 holds", "revision 14 of the chip does not offer it"), (),
     ("--revision", "14")),
    # Full tables: what would fit, and what stands in the way.
    (REFUSED, "rule add udf9 1",
     ("rule 'udf9 0x1'", "no space: 0 rules in LUT0 only (it has 8)", "33 LUT1 entries in LUT1 only (it has 32)",
      "it takes 1 LUT1 entry; there would fit no LUT1 entry and no LUT0 rule"), FOUR_CHAINS),
    (REFUSED, "rule add dst_port 1",
     ("no places keep the order of rule 15, rule 23, rule 31, rule 39, the new rule (dst_port 1)",
      "it takes 1 LUT1 entry or a LUT0 rule; there would fit no LUT1 entry and no LUT0 rule"), FOUR_CHAINS),
    (REFUSED, "rule add udf0 9 udf1 1 udf2 1 udf3 1 udf4 1 udf5 1 udf6 1 udf7 1 udf8 1",
     ("it takes 9 LUT1 entries; there would fit at most 8 LUT1 entries and no LUT0 rule",), FOUR_CHAINS[:3]),
    (REFUSED, "rule add " + HOLES.format(9),
     ("no space: 9 rules in LUT0 only (it has 8)", "0 LUT1 entries in LUT1 only (it has 32)",
      "it takes a LUT0 rule; there would fit at most 16 LUT1 entries and no LUT0 rule"), WIDE_FULL),
    (REFUSED, "rule add dst_port 99", ("rule 'dst_port 99'", "no space: there are 40 rules, one for each action"), ALL_FULL),
    (REFUSED, "rule add " + HOLES.format(9),
     ("rule 15 (udf0 0x0 udf1 0x1 udf2 0x1", "decides before the new rule (dst_ip 0.9.255.0/0.255.255.0)",
      "only LUT1 holds the first, only LUT0 the second"), FOUR_CHAINS[:1]),
    # Strict.
    (REFUSED, "rule add eth_type arp dst_port 53", ("the new rule (eth_type arp dst_port 53) can never hit", "--strict"), (),
     ("--strict",)),
    (REFUSED, "rule add dst_port 80 vlan_id 7", ("the new rule", "never decides: rule 8 (dst_port 80)"),
     ("rule add dst_port 80",), ("--strict",)),
    (REFUSED, "rule add dst_port 80", ("the new rule (dst_port 80) repeats rule 8 (dst_port 80)",),
     ("rule add dst_port 80",), ("--strict",)),
    (REFUSED, "rule insert dst_port 80", ("rule 10 (dst_port 80 vlan_id 7) never decides", "the new rule (dst_port 80)"),
     ("rule add udf0 1", "rule add dst_port 80 vlan_id 7"), ("--strict",)),
    (REFUSED, "rule move 9 last", ("rule 9 (dst_port 80 vlan_id 7) never decides: rule 10 (vlan_id 7)",), ("rule add dst_port 80 vlan_id 7", "rule add vlan_id 7"), ("--strict",)),
    # The rule layer's own placement and deletion.
    (REFUSED, "rule add auto dst_port 5-9", ("rule 'dst_port 5-9'", "no range")),
    (REFUSED, "rule add auto any", ("rule 'any'", "at least one condition")),
    (REFUSED, "rule add auto vlan_id 5 " + HOLES.format(1), ("dst_ip", "begin at the first or the last bit"), ("rule add dst_port 80",)),
    (REFUSED, "rule add auto dst_mac 00:01:02:03:04:05/00:ff:ff:ff:ff:ff",
     ("would compare the bits 7f:ff:ff:ff:ff:ff instead of 00:ff:ff:ff:ff:ff", "--inexact")),
    (REFUSED, "rule add auto dst_port 1", ("no space", "longest free run is 0"), FOUR_CHAINS),
    (REFUSED, "rule add auto " + " ".join(f"udf{n} 1" for n in range(9)), ("LUT0, which holds no user-defined field",)),
    (REFUSED, "rule del auto dst_port 81", ("no rule holds exactly these conditions",), ("rule add dst_port 80",)),
    (REFUSED, "rule del auto dst_mac 01:02:03:04:05:06", ("would also take rule 11", "rule del N"),
     ("rule add dst_mac 01:02:03:04:05:06", "rule add dst_mac 01:02:ff:ff:ff:ff")),
    # Operations by name.
    (USAGE, "op", ("op ''", "'op help' lists them")),
    (USAGE, "op ifc_delete_lut0 8", ("op ifc_delete_lut0: rule '8': accepted: 0 to 7",)),
    (USAGE, "ppe maybe", ("ppe 'maybe': accepted: on off status",)),
)


def batch(*lines, args=()):
    return subprocess.run([IFCCTL, *args, "-b", "-"], input="\n".join(lines) + "\n", capture_output=True, text=True, timeout=60)


def changes(name):
    """The register writes of a trace that change something: a transfer that reads also begins with a write."""
    with open(name, encoding="utf-8") as file:
        accesses = [line.split() for line in file]
    return [a for a in accesses if a[0] == "W" and (int(a[1], 16) != RULE_CFG or int(a[2], 16) & WRITE)]


class Refusals(unittest.TestCase):
    def refuse(self, code, line, parts, before=(), args=()):
        result = batch(*before, line, "rule clear", args=args)
        self.assertEqual(result.returncode, code, result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        self.assertTrue(result.stderr.startswith(f"ifcctl: standard input:{len(before) + 1}: "), result.stderr)
        self.assertIn(f"; stopped, {len(before)} line{'' if len(before) == 1 else 's'} took effect", result.stderr)
        for part in parts:
            self.assertIn(part, result.stderr)
        with tempfile.TemporaryDirectory() as folder:
            good, everything = (os.path.join(folder, name) for name in ("good", "all"))
            self.assertEqual(batch(*before, args=(*args, "--trace", good)).returncode, 0)
            batch(*before, line, args=(*args, "--trace", everything))
            self.assertEqual(changes(good), changes(everything), "the refused line wrote nothing")

    def test_each(self):
        for row in TABLE:
            with self.subTest(row[1]):
                self.refuse(*row)

    def test_time_out(self):
        for line in ("rule add dst_port 1", "rule flush", "table verify"):
            result = batch("rule add udf0 1", line, args=("--done-after", "0"))
            self.assertEqual(result.returncode, TIMEOUT, result.stderr)
            self.assertIn("did not report completion", result.stderr)

    def test_a_time_out_prints_nothing_and_says_what_it_means(self):
        may_differ, not_changed = "may differ from the shadow", "could not be read; nothing was changed"
        for words, part in ((("rule", "clear"), may_differ), (("counter", "reset"), may_differ), (("table", "verify"), not_changed),
                            (("rule", "list"), not_changed), (("rule", "show"), not_changed), (("rule", "flush"), not_changed),
                            (("set", "load", "/dev/null"), not_changed), (("set", "save"), not_changed), (("rule", "del", "8"), not_changed)):
            with tempfile.TemporaryDirectory() as folder:
                state = ("--state", os.path.join(folder, "chip"))
                subprocess.run([IFCCTL, *state, "rule", "add", "dst_port", "5"], check=True, capture_output=True, timeout=60)
                result = subprocess.run([IFCCTL, *state, "--done-after", "0", *words], capture_output=True, text=True, timeout=60)
            self.assertEqual((result.returncode, result.stdout), (TIMEOUT, ""), words)
            self.assertIn(part, result.stderr, words)

    def test_bytes_that_are_no_text(self):
        for given, shown in ((b"\xff", r"\xff"), (b"\xc3\x28", r"\xc3("), (b"\xed\xa0\x80", r"\xed\xa0\x80"), (b"\xf5\x80", r"\xf5\x80"),
                             ("\u00fc".encode(), "\u00fc")):
            result = subprocess.run([IFCCTL, b"rule", b"add", b"x" + given, b"1"], capture_output=True, timeout=60)
            self.assertEqual(result.returncode, USAGE)
            self.assertIn(f"match 'x{shown}'", result.stderr.decode())

    def test_a_file_that_ends_with_a_backslash(self):
        result = batch("rule add udf0 1", "rule add dst_port 1 \\")
        self.assertEqual((result.returncode, result.stdout.count("\n")), (USAGE, 1))
        self.assertIn("standard input:2: line '\\': accepted: another line after it; this is the last one; stopped", result.stderr)

    def test_a_byte_order_mark(self):
        result = subprocess.run([IFCCTL, "-b", "-"], input=b"\xef\xbb\xbfrule add dst_port 1\n", capture_output=True, timeout=60)
        self.assertEqual((result.returncode, result.stderr), (0, b""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
