#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Sets of rules: load, diff, save, verify. Usage: set_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import random
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
KILLS = 100
SET = """# first
ppe on
classifier enable
rule add ip_proto udp dst_port 5060-5070 action channel 1 queue 7
rule add vlan_id 200 ip_proto udp action channel 1 queue 6
rule add dst_ip 192.168.1.1 ip_proto tcp dst_port 22 action cpu nbq 3
"""
TO_5065 = "02000000000102000000000208004500001c0001000040110000c0000201c00002021f9013c900080000"


class SetTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.state = self.path("chip")

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def file(self, text, name="rules.set"):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.path(name)

    def tool(self, *args, text=None):
        return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60,
                              env={"IFC_STATE": self.state})

    def good(self, *args, text=None):
        result = self.tool(*args, text=text)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stderr)
        return result.stdout

    def json(self, *args, text=None):
        return json.loads(self.good("-j", *args, text=text))

    def bad(self, code, *args, parts=(), text=None):
        before = self.content()
        result = self.tool(*args, text=text)
        self.assertEqual(result.returncode, code, result.stderr)
        for part in parts:
            self.assertIn(part, result.stderr)
        self.assertEqual(self.content(), before, "a refused command changed the chip")
        return result

    def differences(self, name):
        """set diff, whose exit code tells as well."""
        result = self.tool("-j", "set", "diff", name)
        found = json.loads(result.stdout)
        self.assertEqual((result.returncode, result.stderr), (0 if found["same"] else 1, ""))
        return found

    def content(self):
        if not os.path.exists(self.state):
            return None
        with open(self.state, "rb") as file:
            return file.read()

    def words(self):
        return [rule["text"] for rule in self.json("set", "load", "-n", self.saved())["rules"]]

    def saved(self):
        self.good("set", "save", self.path("saved"))
        return self.path("saved")

    # ------------------------------------------------------------------ load

    def test_load_makes_the_rules_those_of_the_file(self):
        name = self.file(SET)
        plan = self.json("set", "load", "-n", name)
        self.assertIsNone(self.content(), "-n only shows")
        self.assertFalse(plan["applied"])
        done = self.json("set", "load", name)
        self.assertTrue(done["applied"])
        self.assertEqual((done["added"], done["kept"], done["moved"], done["deleted"]), (3, 0, 0, 0))
        self.assertEqual(done["switches"], {"ppe": True, "classifier": True})
        self.assertEqual(plan["rules"], done["rules"])
        self.assertLessEqual(done["accesses"], plan["accesses"])
        self.assertGreater(done["accesses"], 0)
        self.assertEqual(len(self.words()), 3)
        self.good("table", "verify")
        again = self.json("set", "load", name)
        self.assertEqual((again["kept"], again["accesses"], again["switches"]), (3, 0, {}))

    def test_what_the_file_repeats_keeps_place_and_counter(self):
        self.good("set", "load", self.file(SET))
        self.good("frame", "send", TO_5065)
        before = self.json("set", "load", "-n", self.file(SET))["rules"]
        changed = SET.replace("rule add vlan_id 200 ip_proto udp action channel 1 queue 6\n", "rule add dst_port 1\n")
        changed = changed.replace("queue 7", "queue 4")
        done = self.json("set", "load", self.file(changed))
        self.assertEqual((done["kept"], done["moved"], done["added"], done["deleted"], done["new_actions"]), (2, 0, 1, 1, 1))
        self.assertEqual([rule["do"] for rule in done["rules"]], ["change", "add", "keep", "delete"])
        self.assertEqual(done["rules"][0]["rule"], before[0]["rule"])
        self.assertEqual(done["rules"][2]["rule"], before[2]["rule"])
        sent = self.json("frame", "send", TO_5065)
        self.assertEqual(sent["action"]["queue"], 4)
        counters = self.json("counter", "show", str(before[0]["rule"]))
        self.assertIn("2", json.dumps(counters))
        self.assertEqual(sent["rule"], before[0]["rule"])

    def test_load_takes_entries_that_a_broken_update_left(self):
        for entry in range(32):  # valid, but no chain ends: such entries never hit
            self.good("op", f"ifc_set_lut1_rules {entry} 1 0 22 0 0xffff 0 0x800")
        self.bad(3, "rule", "add", "udf0", "5", "action", "cpu")
        name = self.file("rule add udf0 5 action cpu\n")
        self.assertEqual(self.json("set", "load", name)["added"], 1)
        self.assertEqual(self.json("resource", "show")["lut1_free"], 31)
        self.good("table", "verify")

    def test_rules_that_never_decide_are_named(self):
        name = self.file("rule add dst_port 53 action cpu\nrule add dst_port 53 ip_proto udp action cpu\n")
        self.bad(3, "--strict", "set", "load", name, parts=["rules.set:2", "never decides", "--strict"])
        done = self.json("set", "load", name)
        self.assertEqual(done["added"], 2)
        self.assertEqual(len(done["warnings"]), 1)
        self.assertIn("never decides", done["warnings"][0])
        self.assertIn("warning: ", self.good("set", "load", name))

    def test_rules_that_never_hit_are_not_all_the_same(self):
        self.good("set", "load", self.file("rule add eth_type arp dst_port 53 action cpu\n"))
        done = self.json("set", "load", self.file("rule add eth_type arp dst_port 80 action cpu\n"))
        self.assertEqual((done["kept"], done["added"], done["deleted"]), (0, 1, 1))
        self.assertEqual(self.words(), ["eth_type arp dst_port 80 action cpu"])

    def test_long_chains_make_room_for_the_file(self):
        long = "".join(f"rule add udf0 {n} udf0 any action cpu\n" for n in range(16))  # two entries each
        short = "".join(f"rule add udf0 {n} action cpu\n" for n in range(32))
        self.good("set", "load", self.file(long))
        self.good("frame", "send", TO_5065)
        done = self.json("set", "load", self.file(short))
        self.assertEqual((done["kept"] + done["moved"], done["added"], done["deleted"]), (16, 16, 0))
        self.assertFalse(done["fewest_moves"])
        self.good("table", "verify")
        self.assertEqual(self.good("set", "diff", self.path("rules.set")), "no difference\n")

    def test_long_chains_make_room_for_a_rule(self):
        # Two entries each that one could say: at least the first, at most the highest.
        for n in range(16):
            self.good("op", f"ifc_set_lut1_rules {2 * n} 1 0 28 2 0xffff 0 {n}")
            self.good("op", f"ifc_set_lut1_rules {2 * n + 1} 1 1 28 3 0xffff 0 0xffff")
        for n in range(24):  # eight of the sixteen rules go to LUT0
            self.good("rule", "add", "udf1", str(n), "action", "cpu")
        self.assertEqual(self.json("resource", "show")["lut1_free"], 0)
        self.bad(3, "rule", "add", "udf1", "24", "action", "cpu")
        self.good("table", "verify")

    def test_tables_that_differ_from_the_shadow_are_refused(self):
        self.tool("--done-after", "0", "op", "ifc_set_lut1_rules 0 1 1 28 0 0xffff 0 9")
        name = self.file("rule add vlan_id 5 action cpu\n")
        for command in (["set", "load", name], ["set", "load", "-n", name], ["rule", "flush"],
                        ["rule", "add", "vlan_id", "5", "action", "cpu"],
                        ["rule", "insert", "vlan_id", "5", "action", "cpu"]):
            self.bad(3, *command, parts=["hardware and shadow differ", "write_all_ifc_rule_to_hw"])
        self.good("op", "write_all_ifc_rule_to_hw")
        self.good("set", "load", name)
        self.good("table", "verify")

    def test_the_order_of_the_file_decides(self):
        one, other = "rule add dst_port 5065 action cpu nbq 1\n", "rule add ip_proto udp action cpu nbq 2\n"
        for text, queue in ((one + other, 1), (other + one, 2), (one + other, 1)):
            self.good("set", "load", self.file("classifier enable\n" + text))
            self.assertEqual(self.json("frame", "send", TO_5065)["action"]["nbq"], queue)
            self.good("set", "verify", self.path("rules.set"))

    def test_show_and_save_give_files_that_load(self):
        self.good("set", "load", self.file(SET))
        tables = self.good("-j", "table", "dump")
        for text in (self.good("rule", "show"), self.good("set", "save")):
            name = self.file(text, "again")
            self.assertEqual(self.good("set", "diff", name), "no difference\n")
            os.remove(self.state)
            self.good("set", "load", name)
            self.assertEqual(self.good("set", "diff", self.file(SET)), "no difference\n")
        self.assertEqual(len(json.loads(tables)["rules"]), 3)

    def test_random_files_save_as_they_were_loaded(self):
        chance = random.Random(7)
        for _ in range(25):
            lines = ["ppe on"]
            for _ in range(chance.randrange(1, 9)):
                lines.append("rule add " + " ".join(chance.sample(
                    [f"dst_port {chance.randrange(4)}", f"src_port {chance.randrange(9)}-{chance.randrange(9, 20)}",
                     f"vlan_id {chance.randrange(3)}", "ip_proto udp", f"src_ip 10.0.0.{chance.randrange(3)}"],
                    chance.randrange(1, 4))) + f" action channel {chance.randrange(4)} queue 1")
            done = self.json("set", "load", self.file("\n".join(lines)))
            self.good("set", "verify", self.path("rules.set"))
            self.good("table", "verify")
            self.assertEqual(self.json("set", "load", self.saved())["accesses"], 0)
            self.assertEqual(done["kept"] + done["moved"] + done["added"], len(lines) - 1)

    def test_switches_twice(self):
        rule = "rule add dst_port 5 action queue 3\n"
        self.good("set", "load", self.file("ppe on\n" + rule + "ppe off\n"))
        self.assertEqual(self.json("ppe", "status"), {"ppe": False})
        self.bad(2, "set", "load", self.file("ppe on\n" + rule + "ppe off\n" + rule), parts=[":4: ", "rules before the second line of ppe"])
        self.bad(2, "set", "load", self.file("ppe on\n" + rule + "ppe off\nppe on\n"), parts=[":4: ppe 'on': accepted: one line of ppe"])

    def test_shown_and_saved_rules_run_as_a_batch_and_load_whatever_the_switches_are(self):
        action = "action channel 3 queue 2"
        for lines in ((), ("rule add dst_port 5065 action cpu",), ("rule add dst_port 5065 " + action, "rule add ip_proto udp")):
            for ppe in ("on", "off"):
                for classifier in ("enable", "disable"):
                    self.setUp()
                    self.good("-b", "-", text="\n".join(("ppe on", *lines, f"ppe {ppe}", f"classifier {classifier}")) + "\n")
                    tables, sent = self.good("table", "dump"), self.good("frame", "send", TO_5065)
                    texts = self.good("rule", "show"), self.good("set", "save")
                    for text in texts:
                        for how in (("-b",), ("set", "load")):
                            for before in ("", "ppe on\nclassifier enable\n"):
                                if os.path.exists(self.state):
                                    os.remove(self.state)
                                self.good("-b", "-", text=before)
                                self.good(*how, self.file(text))
                                self.assertEqual(self.good("table", "dump"), tables)
                                self.assertEqual(self.good("frame", "send", TO_5065), sent)
                                self.assertEqual(self.json("ppe", "status"), {"ppe": ppe == "on"})
                                self.assertEqual(self.good("classifier", "status"), f"IFC :{classifier.title()} .\n")

    def test_save_to_a_device(self):
        self.good("rule", "add", "dst_port", "5")
        text = self.good("set", "save")
        self.assertEqual(self.good("set", "save", "-"), text)
        self.assertEqual(self.good("set", "save", "/dev/stdout"), text)
        self.assertEqual(self.good("set", "save", "/dev/null"), "")
        if os.path.exists("/dev/full"):
            self.bad(6, "set", "save", "/dev/full", parts=["set save '/dev/full': No space left"])

    def test_a_byte_order_mark_and_an_unfinished_line(self):
        self.good("set", "load", self.file("\ufeffrule add dst_port 5\n"))
        self.bad(2, "set", "load", self.file("rule add dst_port 5\nrule add dst_port 6 \\\n"),
                 parts=[":2: line '\\': accepted: another line after it"])

    # ------------------------------------------------------------------ refusals

    def test_a_refused_file_names_line_and_reason_and_changes_nothing(self):
        self.good("rule", "add", "dst_port", "1")
        wide = "".join(f"rule add udf0 {n} udf1 1 udf2 1 udf3 1 udf4 1 udf5 1 udf6 1 udf7 1 udf8 1\n" for n in range(4))
        for text, code, *parts in (
                ("rule add dst_prt 80\n", 2, ":1: ", "dst_prt"),
                ("# comment\n\nrule add dst_port 80\nrule del 3\n", 2, ":4: rule 'del': accepted: add"),
                ("rule add auto dst_port 80\n", 2, ":1: ", "a set is placed as a whole"),
                ("counter reset\n", 2, ":1: set 'counter': accepted: rule add"),
                ("ppe up\n", 2, ":1: ppe 'up': accepted: on off"),
                ("ppe on\nppe off\n", 2, ":2: ppe 'off': accepted: one line"),
                ("classifier status\n", 2, ":1: ", "enable disable"),
                ("udf 3 network 8\n", 2, ":1: udf offset '8': accepted: 6"),
                ("udf 16 network 32\n", 2, ":1: udf '16'"),
                ("rule add dst_port 80 \\\n action queue 3\n", 3, ":1: ", "say 'ppe on'"),
                (wide, 3, "no space", "lines", "nothing was changed"),
                ("".join(f"rule add dst_port {n}\n" for n in range(41)), 3, ":41: ", "40 rules"),
                ("rule add ip_proto udp dst_port 5060-5070\nrule add any\n", 3, ":1: ", "line 2", "would decide first")):
            for verb in (("load",), ("load", "-n")):
                with self.subTest(text=text, verb=verb):
                    self.bad(code, "set", *verb, self.file(text), parts=parts)
        self.bad(2, "set", "load", self.path("none"), parts=["No such file"])
        self.bad(2, "set", "load", self.folder.name, parts=["Is a directory"])
        self.bad(2, "set", "load", parts=["accepted: a file of 'rule add' lines"])
        self.bad(2, "set", "load", self.file(SET), "more", parts=["nothing more"])
        self.bad(2, "set", "load", "-", parts=["standard input:2: "], text="\nrule ad\n")
        self.bad(2, "set", "save", self.folder.name, parts=["this is a folder"])
        self.bad(6, "set", "save", self.path("none/file"), parts=["No such file"])

    def test_a_time_out_changes_nothing(self):
        self.good("set", "load", self.file(SET))
        self.bad(4, "--done-after", "0", "set", "load", self.file("rule add vlan_id 3\n"))

    # ------------------------------------------------------------------ diff, verify

    def test_diff(self):
        self.good("set", "load", self.file(SET))
        other = SET.replace("queue 6", "queue 5").replace("dst_port 22", "dst_port 23").replace("classifier enable", "classifier disable")
        result = self.differences(self.file(other))
        self.assertFalse(result["same"])
        self.assertEqual([d["kind"] for d in result["differences"]], ["action", "file only", "tables only", "switch"])
        text = self.tool("set", "diff", self.path("rules.set"))
        self.assertEqual(([line[0] for line in text.stdout.splitlines()], text.returncode, text.stderr), (list("!+-!"), 1, ""))
        swapped = "rule add ip_proto udp\nrule add dst_port 5060\n"
        self.good("set", "load", self.file(swapped))
        swapped = "rule add dst_port 5060\nrule add ip_proto udp\n"
        self.assertEqual([d["kind"] for d in self.differences(self.file(swapped))["differences"]], ["order"])

    def test_a_difference_does_not_stop_a_batch(self):
        name = self.file("rule add dst_port 5\n")
        self.assertIn("+ dst_port 5\n", self.good("-b", "-", text=f"set diff {name}\nclassifier enable\n"))
        self.assertEqual(self.good("classifier", "status"), "IFC :Enable .\n")

    def test_a_rule_that_stays_is_shown_as_it_stands(self):
        self.good("set", "load", self.file("rule add dst_port ge 0 vlan_id 5\n"))
        out = self.good("set", "load", self.file("rule add dst_port any vlan_id 5\n"))
        self.assertTrue(out.startswith("keep rule 9: dst_port ge 0 vlan_id 5\n"), out)
        out = self.good("set", "load", self.file("rule add dst_port any vlan_id 5 action cpu\n"))
        self.assertTrue(out.startswith("change rule 9: dst_port ge 0 vlan_id 5 action cpu\n"), out)

    def test_verify_against_a_file(self):
        self.good("set", "load", self.file(SET))
        self.assertIn("shadow and file agree", self.good("set", "verify", self.path("rules.set")))
        result = self.bad(3, "set", "verify", self.file("rule add dst_port 9\n"), parts=["does not hold the rules"])
        self.assertIn("+ dst_port 9", result.stdout)

    def test_verify_names_each_bit_by_rule_and_field(self):
        # The offsets are those of tools/state/chip_state.h.
        self.good("set", "load", self.file(SET + "rule add dst_ip 0.255.255.0/0.255.255.0 ip_proto tcp\n"))
        self.assertEqual(json.loads(self.tool("-j", "set", "verify").stdout)["same"], True)
        whole = self.content()
        chance = random.Random(3)
        offsets = [(64 + 164 * n + 4 * chance.randrange(41), f"LUT0-{n}") for n in range(8)]
        offsets += [(1376 + 8 * n + 4 * chance.randrange(2), f"LUT1-{n}") for n in range(32)]
        found = set()
        for offset, entry in offsets:
            bit = chance.randrange(32)
            broken = bytearray(whole)
            word = struct.unpack_from("<I", broken, offset)[0] ^ 1 << bit
            struct.pack_into("<I", broken, offset, word)
            struct.pack_into("<I", broken, len(broken) - 4, zlib.crc32(broken[:-4]))
            with open(self.state, "wb") as file:
                file.write(broken)
            result = self.tool("-j", "set", "verify")
            self.assertEqual(result.returncode, 3, (entry, bit))
            differences = json.loads(result.stdout)["hardware_shadow"]
            self.assertTrue(differences, (entry, bit))
            for difference in differences:
                self.assertEqual(difference["entry"], entry)
                self.assertNotEqual(difference["hardware"], difference["shadow"])
                found.add("rule" in difference)
        self.assertEqual(found, {False, True})
        broken = bytearray(whole)
        first = json.loads(self.tool("-j", "table", "dump").stdout)
        self.assertTrue(first)
        struct.pack_into("<I", broken, 1376 + 4, struct.unpack_from("<I", whole, 1376 + 4)[0] ^ 4)
        struct.pack_into("<I", broken, len(broken) - 4, zlib.crc32(broken[:-4]))
        with open(self.state, "wb") as file:
            file.write(broken)
        self.assertRegex(self.tool("set", "verify").stdout, r"rule \d+, LUT1-0: \w+ key: hardware 0x\w+, shadow 0x")

    # ------------------------------------------------------------------ kill -9

    def test_a_killed_load_leaves_the_old_rules_or_the_new(self):
        files = [self.file("".join(f"rule add dst_port {base + n}\n" for n in range(12)), f"set{base}") for base in (100, 200)]
        since = time.monotonic()
        self.good("set", "load", files[0])
        longest = time.monotonic() - since
        chance = random.Random(5)
        now = old = new = 0
        for _ in range(KILLS):
            program = subprocess.Popen([IFCCTL, "set", "load", files[1 - now]], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL, env={"IFC_STATE": self.state})
            time.sleep(chance.uniform(0, 1.3 * longest))
            program.send_signal(signal.SIGKILL)
            program.wait(timeout=60)
            same = [self.differences(name)["same"] for name in files]
            self.assertEqual(sum(same), 1, same)
            old += same[now]
            new += same[1 - now]
            now = same.index(True)
            self.good("table", "verify")
        self.assertGreater(old, 5)
        self.assertGreater(new, 5)

    def test_a_killed_save_leaves_the_old_file_or_the_new(self):
        self.good("set", "load", self.file(SET))
        name = self.saved()
        with open(name, encoding="utf-8") as file:
            whole = file.read()
        chance = random.Random(6)
        for _ in range(40):
            program = subprocess.Popen([IFCCTL, "set", "save", name], stdout=subprocess.DEVNULL, env={"IFC_STATE": self.state})
            time.sleep(chance.uniform(0, 0.02))
            program.send_signal(signal.SIGKILL)
            program.wait(timeout=60)
            with open(name, encoding="utf-8") as file:
                self.assertEqual(file.read(), whole)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
