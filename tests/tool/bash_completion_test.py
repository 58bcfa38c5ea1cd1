#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Completion in an interactive bash. Usage: bash_completion_test.py IFCCTL SOURCE-ROOT"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from terminal import Terminal

IFCCTL = os.path.abspath(sys.argv[1])
PROMPT = "prompt$ "
BASH = shutil.which("bash")
if BASH is None:
    print("not installed: bash")
    sys.exit(77)


class Completion(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.environment = {**os.environ, "PATH": os.path.dirname(IFCCTL) + ":" + os.environ["PATH"], "TERM": "dumb", "PS1": PROMPT,
                            "HOME": self.folder.name, "XDG_STATE_HOME": self.folder.name, "IFC_STATE": "", "COLUMNS": "200"}
        for name in ("one.pcap", "two words.pcap", "other.ifc"):
            with open(os.path.join(self.folder.name, name), "w", encoding="utf-8"):
                pass

    def call(self, *args):
        result = subprocess.run([IFCCTL, *args], capture_output=True, text=True, timeout=60, env=self.environment, cwd=self.folder.name)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def start(self):
        bash = Terminal([BASH, "--norc", "--noprofile", "-i"], self.environment, self.folder.name)
        self.addCleanup(bash.close)
        bash.expect(r"prompt\$ ")
        bash.send("source <(ifcctl completion bash)\n")
        bash.expect(r"\nprompt\$ ")
        return bash

    def completes(self, bash, text, expected):
        with self.subTest(text):
            bash.send(text + "\t")
            bash.expect_line(PROMPT + expected)
            bash.send("\x15\n")  # kill the line
            bash.expect(r"\nprompt\$ ")

    def test_in_bash(self):
        self.call("rule", "add", "dst_port", "53")
        bash = self.start()
        for text, expected in (
                ("ifcctl cla", "ifcctl classifier "),
                ("ifcctl -j rule val", "ifcctl -j rule validate "),
                ("ifcctl rule add dst_po", "ifcctl rule add dst_port "),
                ("ifcctl rule add ip_proto icmpv", "ifcctl rule add ip_proto icmpv6 "),
                ("ifcctl rule add dst_mac 02:00:00:00:00:01 vlan_i", "ifcctl rule add dst_mac 02:00:00:00:00:01 vlan_id "),
                ("ifcctl rule move 8 bef", "ifcctl rule move 8 before "),
                ("ifcctl rule read ", "ifcctl rule read 8 "),
                ("ifcctl --state none rule read ", "ifcctl --state none rule read "),
                ("ifcctl --js", "ifcctl --json "),
                ("ifcctl --device debug", "ifcctl --device debugfs "),
                ("ifcctl --device=debug", "ifcctl --device=debugfs "),
                ("ifcctl --state=oth", "ifcctl --state=other.ifc "),
                ("ifcctl set load oth", "ifcctl set load other.ifc "),
                ("ifcctl frame fields one.pcap gem", "ifcctl frame fields one.pcap gem_port "),
                ("ifcctl frame replay tw", "ifcctl frame replay two\\ words.pcap "),
                ("ifcctl op ifc_set_act", "ifcctl op ifc_set_action "),
                ("ifcctl help cou", "ifcctl help counter "),
                ("ifcctl completion ", "ifcctl completion bash "),
                ("true; IFC_STATE=x ifcctl cla", "true; IFC_STATE=x ifcctl classifier "),
                (os.path.dirname(IFCCTL) + "/ifcctl cla", os.path.dirname(IFCCTL) + "/ifcctl classifier "),
                ("ifcctl no such thing", "ifcctl no such thing")):
            self.completes(bash, text, expected)

    def test_lists(self):
        bash = self.start()
        bash.send("ifcctl rule add dst_\t\t")
        listed = bash.expect(r"dst_port[^$]*prompt\$ ifcctl rule add dst_")
        for word in ("dst_ip", "dst_mac", "dst_mac_type"):
            self.assertIn(word, listed)

    # ------------------------------------------------------------------ the words alone

    def words(self, line):
        return self.call("complete", "ifcctl " + line).split()

    def test_objects_and_verbs(self):
        self.assertEqual(self.words("")[:2], ["rule", "ppe"])
        self.assertEqual(self.words("rule "), self.words("ru "))
        self.assertIn("completion", self.words("compl"))
        self.assertEqual(self.words("rule del"), ["del"])
        self.assertEqual(self.words("rule dele"), ["delete"])
        self.assertEqual(self.words("nothing "), [])

    def test_matches(self):
        keys = self.words("rule add ")
        self.assertIn("auto", keys)
        self.assertIn("any", keys)
        self.assertIn("vlan_id", keys)
        self.assertNotIn("vid0", keys)
        self.assertEqual(self.words("rule add vid"), ["vid0", "vid1"])
        self.assertNotIn("auto", self.words("rule add auto "))
        self.assertEqual(self.words("rule add any "), ["action"])
        self.assertEqual(self.words("rule add eth_type "), ["eq", "ne", "ge", "le", "arp", "ipv4", "ipv6", "lldp", "pppoe", "pppoe_disc", "any"])
        self.assertEqual(self.words("rule add eth_type ne ip"), ["ipv4", "ipv6"])
        after = self.words("rule add eth_type any ")
        self.assertIn("vlan_id", after)
        self.assertIn("action", after)
        self.assertNotIn("any", after)

    def test_actions(self):
        after = self.words("rule add any action cpu ")
        self.assertIn("nbq", after)
        self.assertNotIn("cpu", after)
        self.assertEqual(self.words("rule change 8 action queue "), [])
        self.assertEqual(self.words("rule change 8 action queue o"), ["off"])
        self.assertIn("af41", self.words("action set 8 dscp "))

    def test_parts_in_any_order(self):
        self.assertEqual(self.words("frame fields x "), ["iface", "gem_port"])
        self.assertEqual(self.words("frame fields x gem_port 3 "), ["iface"])
        self.assertEqual(self.words("table map -"), ["--color"])
        self.assertEqual(self.words("table map --color "), ["auto", "always", "never"])
        self.assertEqual(self.words("set load "), ["<file>"])
        self.assertEqual(self.words("set load -"), ["-n", "<file>"])
        self.assertEqual(self.words("result check "), ["lut0", "lut1", "none"])

    def test_flows(self):
        self.assertEqual(self.words("flow list "), ["0"])
        create = "flow create 0 "
        self.assertEqual(self.words(create), ["ingress", "pattern"])
        self.assertEqual(self.words(create + "ingress "), ["pattern"])
        items = self.words(create + "pattern ")
        self.assertIn("pppoes", items)
        self.assertNotIn("/", items)
        self.assertEqual(self.words(create + "pattern eth "), ["dst", "src", "type", "/"])
        self.assertEqual(self.words(create + "pattern icmp "), ["/"])
        self.assertEqual(self.words(create + "pattern eth type "), ["is", "spec", "last", "mask", "prefix"])
        self.assertIn("lldp", self.words(create + "pattern eth type is "))
        self.assertEqual(self.words(create + "pattern eth type mask "), [])
        self.assertEqual(self.words(create + "pattern eth type is ipv4 "), ["dst", "src", "type", "/"])
        again = self.words(create + "pattern eth type is ipv4 / ")
        self.assertEqual(again[-1], "end")
        self.assertEqual(again[:-1], items)
        self.assertEqual(self.words(create + "pattern eth / ipv4 pro"), ["proto"])
        self.assertEqual(self.words(create + "pattern eth / ipv4 proto is ud"), ["udp"])
        self.assertEqual(self.words(create + "pattern eth / end "), ["actions"])
        tail = create + "pattern eth / end actions "
        self.assertIn("of_push_vlan", self.words(tail))
        self.assertEqual(self.words(tail + "queue "), ["index", "/"])
        self.assertEqual(self.words(tail + "of_pop_vlan "), ["/"])
        self.assertEqual(self.words(tail + "queue index "), [])
        self.assertEqual(self.words(tail + "queue index 3 "), ["/"])
        self.assertEqual(self.words(tail + "queue index 3 / en"), ["end"])
        self.assertEqual(self.words(tail + "queue index 3 / end "), [])

    def test_each_completed_flow_is_accepted(self):
        """Every item, field and action that is offered is one that 'flow validate' knows."""
        self.call("ppe", "on")
        values = {"type": "0x800", "inner_type": "0x800"}
        before = {"udp": "ipv4 / ", "tcp": "ipv4 / ", "sctp": "ipv4 / ", "icmp": "ipv4 / ", "icmp6": "ipv6 / "}
        addresses = {"eth": "02:00:00:00:00:01", "ipv4": "10.0.0.1", "ipv6": "2001:db8::1"}
        for item in self.words("flow create 0 pattern "):
            for field in self.words(f"flow create 0 pattern {item} "):
                value = addresses.get(item, "1") if field in ("dst", "src") else values.get(field, "1")
                pattern = before.get(item, "") + item + ("" if field == "/" else f" {field} is {value}")
                self.call(*f"flow validate 0 pattern {pattern} / end actions queue index 1 / end".split())
        for action in self.words("flow create 0 pattern eth / end actions "):
            words = self.words(f"flow create 0 pattern eth / end actions {action} ")
            value = {"ethertype": "0x8100"}.get(words[0], "1")
            chain = {"of_set_vlan_pcp": "of_set_vlan_vid vlan_vid 1 / "}.get(action, "")
            self.call(*(f"flow validate 0 pattern eth / end actions {chain}{action}" +
                        (f" {words[0]} {value}" if len(words) > 1 else "") + " / end").split())

    def test_report(self):
        self.assertEqual(self.words("report "), ["-o"])
        self.assertEqual(self.words("report -o "), ["<file>"])
        self.assertEqual(self.words("report -o x -"), ["--capture", "--set", "--title"])
        self.assertEqual(self.words("report -o x --capture "), ["<file>"])
        self.assertEqual(self.words("report -o x --set "), ["<file>"])
        self.assertEqual(self.words("report -o x --set y --s"), [])
        self.assertEqual(self.words("report -o x i"), ["iface"])

    def test_values_of_options(self):
        options = self.call("help").split("Options:")[1].split("Commands:")[0]
        for name, argument in re.findall(r"(--[a-z-]+)(?:\[?[ =]([A-Z]+))?", "\n".join(re.findall(r"^  -.{24}", options, re.M))):
            expected = {"FILE": ["<file>"], "WHEN": ["auto", "always", "never"], "DEVICE": ["sim", "debugfs"]}.get(argument)
            if expected is not None and name != "--color":
                self.assertEqual(self.words(name + " "), expected, name)
            if expected is not None:
                self.assertEqual([word.removeprefix(name + "=") for word in self.words(name + "=")], expected, name)
        self.assertEqual(self.words("--debug "), ["0", "1", "2", "3"])

    def test_quotes(self):
        self.assertEqual(self.words("--state 'a b' cla"), ["classifier"])
        self.assertEqual(self.words("--state a\\ b cla"), ["classifier"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
