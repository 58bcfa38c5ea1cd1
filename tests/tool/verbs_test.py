#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Rules as an ordered list: what each verb does to it. Usage: verbs_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import random
import subprocess
import sys
import tempfile
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip
START = ("ppe on", "classifier enable")
ENVIRONMENT = {**os.environ, "COLUMNS": ""}
# UDP from 10.0.0.1:1024 to 10.0.0.2:53 in VLAN 7.
DNS = "020000000002" "020000000001" "81000007" "0800" "450000200000000040110000" "0a0000010a000002" "04000035000c0000" "00000000"


def run(*args, text=None, columns=""):
    return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60,
                          env={**ENVIRONMENT, "COLUMNS": columns})


class Verbs(unittest.TestCase):
    maxDiff = None

    def good(self, *lines, args=(), columns=""):
        result = run(*args, "-b", "-", text="\n".join((*START, *lines)) + "\n", columns=columns)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def documents(self, *lines, args=()):
        return [json.loads(line) for line in self.good(*lines, args=("-j", *args)).splitlines()[len(START):]]

    def shown(self, *lines):
        """The rules after these lines in deciding order: the words of each without its comment."""
        out = self.good(*lines, "rule show", columns="1000").splitlines()
        rules = [line for line in out[out.index("classifier enable") + 1:] if line.startswith("rule add ")]
        return [line[len("rule add "):].split("  #")[0] for line in rules]

    def decides(self, *lines, frame=DNS):
        return self.documents(*lines, "frame send " + frame)[-1]["rule"]

    def queue(self, *lines, frame=DNS):
        """The queue that the deciding rule gives the frame."""
        return self.documents(*lines, "frame send " + frame)[-1].get("action", {}).get("queue", 0)

    def test_add_appends(self):
        # By size, automatic placement would put the second rule, which is wide, before the first.
        first = "rule add dst_port 53 action queue 1"
        second = "rule add dst_ip 10.0.0.2 src_ip 10.0.0.1 vlan_id 7 dst_port 53 src_port 1024 ip_proto udp eth_type ipv4 " \
                 "dst_mac 02:00:00:00:00:02 action queue 2"
        self.assertEqual(self.queue(first, second), 1)
        self.assertEqual(self.queue(second, first), 2)
        self.assertEqual(self.queue(first, second.replace("add", "add auto")), 2)
        out = self.good(first, second.replace("add", "add auto"))
        self.assertIn("warning: it decides before rule 8 (dst_port 53), which stood first: its place breaks the order\n", out)

    def test_an_operation_that_breaks_the_order(self):
        wide = " ".join(f"{field}:0:1:1" for field in (14, 16, 17, 18, 19, 20, 28, 29, 30))
        out = self.good("rule add iface 1", "op ifc_set_lut_rules_auto " + wide)
        self.assertTrue(out.endswith("= 0\nwarning: it decides before rule 8 (iface 1), which stood first: its place breaks the order\n"), out)

    def test_fits(self):
        full = [f"rule add udf0 {n}" for n in range(30)]
        for rule in ("vlan_id 7", "udf1 2", "dst_port 1-4", "dst_ip 0.1.0.0/0.255.0.0"):
            fits = self.documents(*full, "resource show fits " + rule)[-1]["fits"]
            result = run("-b", "-", text="\n".join((*full, *["rule add " + rule] * (fits + 1))) + "\n")
            self.assertEqual((result.returncode, result.stderr.split(":")[2]), (3, str(30 + fits + 1)), rule)
        self.assertEqual(self.documents(*full, "resource show fits auto vlan_id 7")[-1]["fits"], 2)

    def test_insert(self):
        lines = ("rule add dst_port 53 action queue 1", "rule add vlan_id 7 action queue 2")
        self.assertEqual(self.queue(*lines, "rule insert src_port 1024 action queue 3"), 3)
        inserted = self.shown(*lines, "rule insert before 9 src_port 1024 action queue 3")
        self.assertEqual([rule.split(" ")[-1] for rule in inserted], ["1", "3", "2"])

    def test_insert_moves_others(self):
        out = self.documents("rule add dst_port 53", "rule insert udf0 1 action queue 3")[-1]
        self.assertLess(out["rule"], out["moved"][0]["rule"] if out["moved"] else 8 + 1)
        self.assertEqual(self.shown("rule add dst_port 53", "rule insert udf0 1 action queue 3")[0], "udf0 0x1 action queue 3")

    def test_move(self):
        lines = ("rule add dst_port 53 action queue 1", "rule add vlan_id 7 action queue 2", "rule add src_port 1024 action queue 3")
        numbers = [rule["rule"] for rule in self.documents(*lines, "rule show")[-1]]
        first, second, third = numbers
        for line, expected in ((f"rule move {third} before {first}", "312"), (f"rule move {first} last", "231"),
                               (f"rule move {first} before {third}", "213"), (f"rule move {third} before {second}", "132"),
                               (f"rule move {first} before {first}", "123"), (f"rule move {third} last", "123")):
            with self.subTest(line):
                self.assertEqual("".join(rule[-1] for rule in self.shown(*lines, line)), expected)
                self.assertEqual(self.queue(*lines, line), int(expected[0]))

    def test_change_merges(self):
        add = "rule add dst_port 53 action channel 3 queue 2 dscp ef cpu nbq 4"
        self.assertEqual(self.shown(add, "rule change 8 action queue 5"), ["dst_port 53 action channel 3 queue 5 nbq 4 dscp ef cpu"])
        self.assertEqual(self.queue(add, "rule change 8 action queue 5"), 5)

    def test_counters_follow_a_rule(self):
        replay = "frame replay " + os.path.join(ROOT, "examples", "stack.pcap")
        counted = self.documents("rule add dst_port 53", replay, "rule insert udf0 1", "rule insert dst_port 53 vlan_id 9", "rule show")[-1]
        rules = {rule["match"]: rule["frames"] for rule in counted}
        self.assertGreater(rules["dst_port 53"], 0)
        self.assertEqual(sum(rules.values()), rules["dst_port 53"])

    def test_delete(self):
        lines = ("rule add dst_port 53", "rule add vlan_id 7 ip_proto udp", "rule add dst_port 53", "rule add any")
        for line, left in (("rule del ip_proto udp vlan_id 7", 3), ("rule del dst_port 53", 2), ("rule del any", 3),
                           ("rule del dport eq 53", 2), ("rule flush", 0), ("rule clear", 0)):
            with self.subTest(line):
                self.assertEqual(len(self.shown(*lines, line)), left)
        self.assertEqual(len(self.shown("rule add dst_port 5060-5070 dst_mac 01:02:03:04:05:06 src_mac 01:02:03:04:05:06",
                                        "rule del src_mac 01:02:03:04:05:06 dst_mac 01:02:03:04:05:06 dst_port 5060-5070")), 0)
        number = self.documents(*lines, "rule show")[-1][1]["rule"]
        for line in (f"rule del {number}", f"rule del id {number}"):
            self.assertEqual(len(self.shown(*lines, line)), 3)

    def test_check(self):
        self.assertEqual(self.good("rule add dst_port 53", "rule check").splitlines()[-1], "nothing found")
        found = self.documents("rule add dst_port 53 action queue 1", "rule add dst_port 53", "rule add dst_port 53 vlan_id 7",
                               "rule add eth_type arp dst_port 1", "rule add vlan_id 7 action queue 2", "rule check")[-1]
        self.assertEqual([(note["kind"]) for note in found], ["repeats", "covered", "never_hits", "overlap"])
        self.assertEqual({note["other"] for note in found[:2]}, {found[3]["rule"]})

    def test_warnings(self):
        out = self.documents("rule add dst_port 53", "rule add dst_port 53 vlan_id 7", "rule add eth_type arp dst_port 1")
        self.assertNotIn("warnings", out[0])
        self.assertEqual(len(out[1]["warnings"]), 1)
        self.assertIn("can never hit", out[2]["warnings"][0])

    def test_explain_names_the_winner(self):
        lines = ("rule add vlan_id 7", "rule add dst_port 53", "rule add dst_port 54")
        numbers = [rule["rule"] for rule in self.documents(*lines, "rule show")[-1]]
        out = self.good(*lines, "rule explain " + DNS)
        self.assertRegex(out, f"rule {numbers[0]} .*: hits and decides\n")
        self.assertRegex(out, f"rule {numbers[1]} .*: hits, but rule {numbers[0]} decides first\n")
        one = self.documents(*lines, f"rule explain {numbers[1]} {DNS}")[-1]
        self.assertEqual((one["hits"], one["decides"]), (True, False))

    def test_explain_one_rule_that_misses(self):
        lines = ("rule add vlan_id 7", "rule add dst_port 54")
        out = self.good(*lines, "rule explain 9 " + DNS)
        self.assertRegex(out, "rule 9 .*: misses, 1 of 1 conditions do not hold\n(.*\n)*rule 8 decides this frame\n")
        self.assertEqual(self.documents(*lines, "rule explain 9 " + DNS)[-1]["decider"], 8)
        self.assertIn("no rule decides this frame\n", self.good(lines[1], "rule explain LUT1-0 " + DNS))
        self.assertIn("no rule decides this frame\n", self.good(lines[1], "rule explain " + DNS))
        self.assertIsNone(self.documents(lines[1], "rule explain 8 " + DNS)[-1]["decider"])

    def test_explain_with_the_classifier_off(self):
        out = self.good("rule add vlan_id 7", "classifier disable", "rule explain 8 " + DNS)
        self.assertIn("the classifier is off, no rule decides; with 'classifier enable':\nrule 8 (LUT1 entry 0): hits and decides\n", out)
        self.assertFalse(self.documents("rule add vlan_id 7", "classifier disable", "rule explain 8 " + DNS)[-1]["classifier"])

    def test_a_move_says_between_which_rules(self):
        lines = ("rule add dst_port 53", "rule add vlan_id 7", "rule add src_port 1024")
        for line, told in (("rule move 8 last", "decides after all others"), ("rule move 10 before 8", "decides before all others"),
                           ("rule move 10 before 9", "decides after rule 8 and before rule 11"), ("rule move 8 before 8", "rule 8 keeps its number: ")):
            self.assertIn(told, self.good(*lines, line), line)
        self.assertNotIn("position", self.good(*lines, "rule move 8 last"))

    def test_an_action_that_was_switched_off(self):
        self.assertIn("\nrule 8: no action\n", self.good("rule add dst_port 1 action queue 5", "rule change 8 action queue off"))

    def test_text_has_words_not_json(self):
        lines = ("rule add dst_port 53 action channel 3 queue 2", "rule show", "frame send " + DNS)
        out = self.good(*lines, args=("-d",))
        self.assertNotIn("{", out)
        self.assertIn("\n  action channel 3 queue 2\n", out)
        self.assertIn("rule 8 (LUT1-0) decides, action channel 3 queue 2\n", out)

    def test_rules_by_their_entries(self):
        lines = ("rule add dst_port 53 vlan_id 7", "rule add src_port 9")
        self.assertEqual(self.shown(*lines, "rule del LUT1-0"), ["src_port 9"])
        self.assertEqual(self.shown(*lines, "rule insert before lut1-0 udf0 1")[0], "udf0 0x1")
        self.assertEqual(self.shown(*lines, "rule move LUT1-2 before LUT1-1")[0], "src_port 9")
        self.assertEqual(self.shown(*lines, "rule change LUT1-1 action cpu")[0], "dst_port 53 vlan_id 7 action cpu")
        self.assertEqual(self.good(*lines, "action show LUT1-1"), self.good(*lines, "action show 9"))

    def test_show_names_rules_that_only_the_hardware_has(self):
        """A transfer that times out leaves the shadow without what the hardware holds, or the other way round."""
        with tempfile.TemporaryDirectory() as folder:
            def tool(*args):
                return subprocess.run([IFCCTL, "--state", os.path.join(folder, "chip"), *args], capture_output=True, text=True, timeout=60)
            self.assertEqual(tool("rule", "add", "dst_port", "53").returncode, 0)
            self.assertEqual(tool("rule", "add", "vlan_id", "7").returncode, 0)
            self.assertEqual(tool("--done-after", "0", "rule", "clear").returncode, 4)
            shown = tool("rule", "show").stdout
            self.assertIn("# LUT1 entry 0: only in the hardware, not in the shadow: dst_port 53\n", shown)
            self.assertIn("# LUT1 entry 1: only in the hardware, not in the shadow: vlan_id 7\n", shown)
            rules = json.loads(tool("-j", "rule", "show").stdout)
            self.assertEqual([(rule["rule"], rule["only_in"]) for rule in rules], [(8, "hardware"), (9, "hardware")])
            self.assertEqual(tool("op", "write_all_ifc_rule_to_hw").returncode, 0)
            self.assertNotIn("only in", tool("rule", "show").stdout)
            self.assertEqual(tool("--done-after", "0", "op", "ifc_set_lut1_rules 0 1 1 28 0 0xffff 0 9").returncode, 4)
            shown = tool("rule", "show").stdout
            self.assertIn("rule add dst_port 9", shown)
            self.assertIn("# rule 8: not in the hardware; 'op write_all_ifc_rule_to_hw' writes the shadow there\n", shown)

    def test_ppe_status(self):
        self.assertEqual(run("ppe", "status").stdout, "PPE off: rules can only send to the CPU\n")
        self.assertEqual(self.documents("ppe status")[-1], {"ppe": True})

    def test_validate_says_the_place(self):
        lines = ("rule add dst_port 53", "rule add vlan_id 9")
        for rule in ("vlan_id 7", "dst_ip 0.1.0.0/0.255.0.0", "dst_mac 02:00:00:00:00:01", "dst_port 1-4"):
            before = self.good(*lines, "table dump")
            told = self.documents(*lines, "rule validate " + rule, "rule add " + rule)
            self.assertEqual(told[-2]["rule"], told[-1]["rule"])
            self.assertTrue(self.good(*lines, "rule validate " + rule, "table dump").endswith(before[before.index("\nLUT0-0"):]))

    def test_show_is_a_batch(self):
        gateway = open(os.path.join(ROOT, "examples", "gateway.ifc"), encoding="utf-8").read().splitlines()
        for columns in ("", "20", "40", "80", "200"):
            shown = self.good(*gateway, "rule show", columns=columns)
            shown = shown[shown.index("ppe on\n"):]
            # A word and its value stand apart, so the longest word decides below 30 columns.
            self.assertLessEqual(max(map(len, shown.splitlines())), max(30, int(columns or 100)))
            again = run("-b", "-", text=shown + "rule show\n", columns=columns)
            self.assertEqual((again.returncode, again.stderr), (0, ""))
            self.assertIn(shown, again.stdout)
            dump = run("-b", "-", text=shown + "table dump\n").stdout
            self.assertTrue(self.good(*gateway, "table dump").endswith(dump[dump.index("\nLUT0-0"):]))

    def test_continued_lines(self):
        result = run("-b", "-", text="rule add \\\n  dst_port \\\n 53 # all \\\nrule add x\n")
        self.assertEqual(result.stdout, "rule 8: LUT1 entry 0, action 8\n")
        self.assertIn("standard input:4: ", result.stderr)
        self.assertIn("standard input:1: ", run("-b", "-", text="rule add \\\n x\n").stderr)

    def test_the_first_that_fits_decides(self):
        """Random edits against a list in Python: after each set of them the frame goes where the list says."""
        fits = ("dst_port 53", "vlan_id 7", "ip_proto udp", "src_port 1024", "dst_ip 10.0.0.0/8", "any", "dst_port 50-60", "vlan_id ne 3")
        misses = ("dst_port 54", "vlan_id 8", "ip_proto tcp", "udf0 1", "src_port 1-1000")
        chance = random.Random(11)
        for _ in range(40):
            lines, order = [], []
            for queue in range(1, 8):
                hits = chance.random() < 0.6
                rule = f"{chance.choice(fits if hits else misses)} action queue {queue}"
                lines.append("rule add " + rule if chance.random() < 0.5 else "rule insert " + rule)
                order.insert(len(order) if lines[-1].startswith("rule add") else 0, (queue, hits))
            wanted = next((queue for queue, hits in order if hits), 0)
            result = run("-j", "-b", "-", text="\n".join((*START, *lines, "frame send " + DNS)) + "\n")
            if result.returncode == 3:
                self.assertRegex(result.stderr, "cannot stand before it|no places keep the order")
                continue
            self.assertEqual(result.returncode, 0, result.stderr)
            sent = json.loads(result.stdout.splitlines()[-1])
            self.assertEqual((sent.get("action") or {}).get("queue", 0), wanted, lines)

    def test_the_demo_fits_one_screen(self):
        demo = os.path.join(ROOT, "examples", "demo.sh")
        result = subprocess.run([demo, os.path.abspath(IFCCTL)], capture_output=True, text=True, timeout=60, env=ENVIRONMENT)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        lines = result.stdout.splitlines()
        self.assertLessEqual(len(lines), 40)
        self.assertLessEqual(max(len(line) for line in lines if IFCCTL not in line and os.path.abspath(IFCCTL) not in line), 100)
        for text in ("LUT1 5 of 32 entries free", "udp dst_port 5060", "dscp ef", "02:1a:11:00:00:01", "45 without a rule", "Try next:"):
            self.assertIn(text, result.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
