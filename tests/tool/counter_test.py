#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Counters: rule show -s, counter watch as lines, reset, export. Usage: counter_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
ENVIRONMENT = {**os.environ, "IFC_STATE": "none", "COLUMNS": "", "TERM": "dumb"}
# UDP from 10.0.0.1:1024 to 10.0.0.2:53 in VLAN 7: 50 bytes; to port 54.
DNS = "020000000002" "020000000001" "81000007" "0800" "450000200000000040110000" "0a0000010a000002" "04000035000c0000" "00000000"
OTHER = DNS.replace("0035000c", "0036000c")
RULES = ("classifier enable", "rule add dst_port 53", "rule add ip_proto udp vlan_id 7")


def run(*args, text=None, **more):
    return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60, env=ENVIRONMENT, **more)


class Chip(unittest.TestCase):
    """A chip in a file that decided one DNS frame and two others."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.state = self.path("chip.state")
        lines = (*RULES, "frame send " + DNS, "frame send " + OTHER, "frame send " + OTHER)
        self.good("-b", "-", text="\n".join(lines) + "\n")

    def path(self, name):
        return os.path.join(self.folder, name)

    def good(self, *args, **more):
        result = run("--state", self.state, *args, **more)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def refused(self, code, message, *args, **more):
        result = run("--state", self.state, *args, **more)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (code, "", "ifcctl: " + message + "\n"))


class Statistics(Chip):
    def test_text(self):
        self.assertEqual(self.good("rule", "show", "-s"),
                         "rule  packets  bytes  place             conditions\n"
                         "   8        1     50  LUT1 entry 0      dst_port 53\n"
                         "  10        2    100  LUT1 entries 1-2  ip_proto udp vlan_id 7\n")

    def test_json(self):
        self.assertEqual(json.loads(self.good("-j", "rule", "show", "-s")), [
            {"rule": 8, "place": "LUT1 entry 0", "match": "dst_port 53", "packets": 1, "bytes": 50},
            {"rule": 10, "place": "LUT1 entries 1-2", "match": "ip_proto udp vlan_id 7", "packets": 2, "bytes": 100}])

    def test_no_rules(self):
        self.assertEqual(run("rule", "show", "-s").stdout, "rule  packets  bytes  place  conditions\n")
        self.assertEqual(run("-j", "rule", "show", "-s").stdout, "[]\n")

    def test_refusals(self):
        self.refused(2, "rule show '-x': accepted: nothing more; options stand before the command", "rule", "show", "-x")
        self.refused(2, "rule show '-s': accepted: nothing more; options stand before the command", "rule", "show", "-s", "-s")


class Reset(Chip):
    def counted(self):
        return {rule["rule"]: (rule["packets"], rule["bytes"]) for rule in json.loads(self.good("-j", "rule", "show", "-s"))}

    def test_one(self):
        self.assertEqual(self.good("counter", "reset", "10"), "")
        self.assertEqual(self.counted(), {8: (1, 50), 10: (0, 0)})
        self.assertEqual(json.loads(self.good("-j", "counter", "reset", "LUT1-0")), {"entry": 8, "cleared": True})
        self.assertEqual(self.counted(), {8: (0, 0), 10: (0, 0)})

    def test_all(self):
        self.assertEqual(json.loads(self.good("-j", "counter", "reset")), {"counters": "cleared"})
        self.assertEqual(self.counted(), {8: (0, 0), 10: (0, 0)})

    def test_refusals(self):
        accepted = "accepted: a number from 0 to 39, or a table entry such as LUT0-2 or LUT1-3"
        self.refused(2, "counter reset '40': " + accepted, "counter", "reset", "40")
        self.refused(2, "counter reset '1': accepted: nothing more", "counter", "reset", "10", "1")
        self.assertEqual(self.counted(), {8: (1, 50), 10: (2, 100)})

    def test_a_transfer_that_fails(self):
        result = run("--done-after", "0", "counter", "reset", "8")
        self.assertEqual((result.returncode, result.stdout), (4, ""))


class WatchAsLines(Chip):
    HEAD = "rule  packets  bytes  packets/s  bytes/s  place             conditions\n"

    def test_one_reading(self):
        self.assertEqual(self.good("counter", "watch", "-n", "1"),
                         "reading 1 of 1\n" + self.HEAD +
                         "   8        1     50          -        -  LUT1 entry 0      dst_port 53\n"
                         "  10        2    100          -        -  LUT1 entries 1-2  ip_proto udp vlan_id 7\n")

    def test_without_traffic_the_rates_are_zero(self):
        begun = time.monotonic()
        out = self.good("counter", "watch", "0.1", "-n", "3")
        self.assertGreaterEqual(time.monotonic() - begun, 0.2)
        parts = out.split("\n\n")
        self.assertEqual([part.split("\n")[0] for part in parts], ["reading 1 of 3", "reading 2 of 3", "reading 3 of 3"])
        for part in parts[1:]:
            self.assertEqual(part.rstrip("\n") + "\n", part[:14] + "\n" + self.HEAD +
                             "   8        1     50          0        0  LUT1 entry 0      dst_port 53\n"
                             "  10        2    100          0        0  LUT1 entries 1-2  ip_proto udp vlan_id 7\n")

    def start(self, *args):
        watch = subprocess.Popen([IFCCTL, "--state", self.state, *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                 text=True, env=ENVIRONMENT)
        self.addCleanup(watch.communicate)
        self.addCleanup(watch.kill)
        return watch

    def test_others_use_the_chip_between_two_readings(self):
        watch = self.start("-j", "counter", "watch", "0.3")
        first = json.loads(watch.stdout.readline())
        self.assertEqual((first["reading"], first["seconds"]), (1, 0))
        self.assertEqual([(rule["packets_per_second"], rule["bytes_per_second"]) for rule in first["rules"]], [(None, None)] * 2)
        self.good("frame", "send", DNS)
        self.good("rule", "add", "dst_port", "99")
        grown = 0
        while True:
            reading = json.loads(watch.stdout.readline())
            self.assertGreaterEqual(reading["seconds"], 0.3)
            rates = {rule["rule"]: rule["packets_per_second"] for rule in reading["rules"]}
            grown += rates[8] * reading["seconds"]
            self.assertEqual(rates[10], 0)
            if len(rates) == 3:
                break
        self.assertIsNone(rates[11])  # new: it has no earlier reading
        self.assertAlmostEqual(grown, 1)
        self.assertAlmostEqual(reading["rules"][0]["bytes_per_second"], 50 * rates[8])

    def test_a_reset_while_watching(self):
        watch = self.start("-j", "counter", "watch", "0.3")
        watch.stdout.readline()
        self.good("counter", "reset")
        while True:
            reading = json.loads(watch.stdout.readline())
            self.assertEqual([rule["packets_per_second"] for rule in reading["rules"]], [0, 0])
            if reading["rules"][0]["packets"] == 0:
                break

    def test_what_a_batch_did_before_is_saved(self):
        watch = self.start("-b", self.batch("rule flush\ncounter watch 0.3\n"))
        watch.stdout.readline()
        end = time.monotonic() + 30
        while time.monotonic() < end and self.good("rule", "show", "-s").count("\n") != 1:
            pass
        watch.send_signal(signal.SIGKILL)
        self.assertEqual(self.good("rule", "show", "-s").count("\n"), 1)

    def batch(self, text):
        with open(self.path("batch"), "w", encoding="utf-8") as file:
            file.write(text)
        return file.name

    def test_a_fresh_chip_lives_through_a_watch(self):
        text = "\n".join((*RULES, "frame send " + DNS, "counter watch 0.1 -n 2", "rule show -s")) + "\n"
        out = run("-b", "-", text=text).stdout
        self.assertIn("\n   8        1     50  LUT1 entry 0 ", out)

    def test_refusals(self):
        accepted = "accepted: SECONDS, a number from 0.1 to 86400, or -n COUNT"
        for word in ("0", "0.09", "86401", "-1", "1s", "1.", ".5", "1.2.3", "nan", "inf", "1e3", "0x10", ""):
            self.refused(2, f"counter watch '{word}': {accepted}", "counter", "watch", word)
        for word in ("0", "1000001", "x"):
            self.refused(2, f"-n '{word}': accepted: a number from 1 to 1000000", "counter", "watch", "-n", word)
        self.refused(2, "-n '': accepted: a number from 1 to 1000000", "counter", "watch", "-n")
        self.refused(2, "counter watch '2': accepted: nothing more", "counter", "watch", "1", "2")

    def test_a_hardware_that_does_not_answer(self):
        result = run("--state", self.state, "--done-after", "0", "counter", "watch")
        self.assertEqual((result.returncode, result.stdout), (4, ""))

    def test_a_full_disk(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([IFCCTL, "--state", self.state, "counter", "watch", "0.1"], stdout=full,
                                    stderr=subprocess.PIPE, timeout=60, env=ENVIRONMENT)
        self.assertEqual((result.returncode, result.stderr), (6, b"ifcctl: standard output: No space left on device\n"))


class Export(Chip):
    TEXT = '''# HELP ifc_rule_packets_total Frames that the rule decided.
# TYPE ifc_rule_packets_total counter
ifc_rule_packets_total{rule="8",place="LUT1 entry 0",match="dst_port 53"} 1
ifc_rule_packets_total{rule="10",place="LUT1 entries 1-2",match="ip_proto udp vlan_id 7"} 2
# HELP ifc_rule_bytes_total Bytes of the frames that the rule decided.
# TYPE ifc_rule_bytes_total counter
ifc_rule_bytes_total{rule="8",place="LUT1 entry 0",match="dst_port 53"} 50
ifc_rule_bytes_total{rule="10",place="LUT1 entries 1-2",match="ip_proto udp vlan_id 7"} 100
# EOF
'''
    OPEN = re.sub(r"^(# (HELP|TYPE) \w+)_total", r"\1", TEXT, flags=re.M)

    def files(self):
        return sorted(set(os.listdir(self.folder)) - {"chip.state", "chip.state.lock"})

    def content(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def test_values(self):
        self.assertEqual(self.good("counter", "export"), self.TEXT)
        self.assertEqual(self.good("counter", "export", "-o", "-"), self.TEXT)
        self.assertEqual(self.good("counter", "export", "--openmetrics"), self.OPEN)
        self.assertEqual(json.loads(self.good("-j", "counter", "export")), {"text": self.TEXT, "rules": 2})

    def test_to_a_file(self):
        name = self.path("ifc.prom")
        self.assertEqual(self.good("counter", "export", "-o", name), f"exported: 2 rules to {name}\n")
        self.assertEqual((self.content("ifc.prom"), self.files()), (self.TEXT, ["ifc.prom"]))
        before = os.stat(name).st_ino
        out = self.good("-j", "counter", "export", "--openmetrics", "-o", name)
        self.assertEqual(json.loads(out), {"file": name, "rules": 2})
        self.assertEqual((self.content("ifc.prom"), self.files()), (self.OPEN, ["ifc.prom"]))
        self.assertNotEqual(os.stat(name).st_ino, before)  # another file took the name

    def test_no_rules(self):
        self.good("rule", "flush")
        self.assertEqual(self.good("counter", "export"), re.sub(r"(?m)^ifc.*\n", "", self.TEXT))

    def test_a_device(self):
        self.assertEqual(self.good("counter", "export", "-o", "/dev/null"), "")

    def test_refusals(self):
        self.refused(2, f"counter export '{self.folder}': accepted: a file; this is a folder", "counter", "export", "-o", self.folder)
        self.refused(2, "-o '': accepted: a file, or - for standard output", "counter", "export", "-o")
        self.refused(2, "-o '': accepted: a file, or - for standard output", "counter", "export", "-o", "")
        for words in (["x"], ["-o", "a", "-o", "b"], ["--openmetrics", "--openmetrics"]):
            self.refused(2, f"counter export '{words[-2] if '-o' in words else words[-1]}': accepted: -o OUT, --openmetrics",
                         "counter", "export", *words)
        name = self.path("none/ifc.prom")
        result = run("--state", self.state, "counter", "export", "-o", name)
        self.assertEqual((result.returncode, result.stdout), (6, ""))
        self.assertRegex(result.stderr, "^ifcctl: counter export: .*none/ifc.prom.*: No such file or directory\n$")
        self.assertEqual(self.files(), [])

    def test_a_full_disk(self):
        self.refused(6, "counter export '/dev/full': No space left on device", "counter", "export", "-o", "/dev/full")
        name = self.path("ifc.prom")

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))

        for old in (False, True):
            if old:
                self.good("counter", "export", "-o", name)
            result = run("--state", self.state, "counter", "export", "-o", name, preexec_fn=limit)
            self.assertEqual((result.returncode, result.stdout), (6, ""))
            self.assertRegex(result.stderr, r"^ifcctl: counter export: .*ifc\.prom.*: File too large\n$")
            self.assertEqual(self.files(), ["ifc.prom"] if old else [])
        self.assertEqual(self.content("ifc.prom"), self.TEXT)

    def test_a_transfer_that_fails(self):
        result = run("--state", self.state, "--done-after", "0", "counter", "export", "-o", self.path("ifc.prom"))
        self.assertEqual((result.returncode, self.files()), (4, []))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
