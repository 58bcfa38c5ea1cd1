#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""frame replay: --misses, --rule, progress. Usage: replay_test.py IFCCTL SOURCE-ROOT"""
import collections
import fcntl
import gzip
import json
import os
import pty
import re
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

from capture_file import records

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
os.environ["IFC_STATE"] = "none"  # each run begins with a fresh chip
os.environ["COLUMNS"] = "100"
STACK = os.path.join(ROOT, "examples/stack.pcap")
FRAMINGS = os.path.join(ROOT, "examples/framings.pcap")
with open(os.path.join(ROOT, "examples/gateway.ifc"), encoding="utf-8") as file:
    GATEWAY = [line for line in file.read().splitlines() if line and not line.startswith("#")]
PROTOCOLS = {1: "icmp", 6: "tcp", 17: "udp", 58: "icmpv6"}


def capture(frames):
    header = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1)
    return header + b"".join(struct.pack("<IIII", 1, 2, len(frame), len(frame)) + frame for frame in frames)


def shape(frame):
    """Of an untagged frame of the stack's capture, apart from the tool."""
    kind = struct.unpack_from(">H", frame, 12)[0]
    if kind == 0x0800:
        return f"untagged, eth_type ipv4 ip_proto {PROTOCOLS[frame[23]]}"
    if kind == 0x86DD:
        after = frame[20]
        protocol = frame[54] if after == 0 else after  # hop-by-hop options
        return f"untagged, eth_type ipv6 ip_proto {PROTOCOLS[protocol]}"
    return {0x0806: "untagged, eth_type arp"}[kind]


class Replay(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name, content=None):
        path = os.path.join(self.folder.name, name)
        if content is not None:
            with open(path, "wb") as file:
                file.write(content)
        return path

    def run_lines(self, *lines, args=(), rules=GATEWAY):
        return subprocess.run([IFCCTL, *args, "-b", "-"], input="\n".join((*rules, *lines)) + "\n", capture_output=True,
                              text=True, timeout=60)

    def good(self, *lines, **options):
        result = self.run_lines(*lines, **options)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def document(self, *lines, **options):
        return json.loads(self.good(*lines, args=("-j",), **options).splitlines()[-1])

    # ------------------------------------------------------------------ --misses, --rule

    def test_misses_by_shape(self):
        replay = self.document(f"frame replay {STACK} --misses")
        chosen = replay["selected"]
        self.assertEqual((chosen["which"], chosen["frames"]), ("misses", replay["frames"] - replay["hit"]))
        # Without rules every frame of the capture is a miss.
        chosen = self.document(f"frame replay {STACK} --misses", rules=["classifier enable"])["selected"]
        frames = records(STACK)
        expected = collections.Counter(shape(frame) for frame in frames)
        self.assertEqual({group["shape"]: group["frames"] for group in chosen["shapes"]}, dict(expected))
        for group in chosen["shapes"]:
            same = [n for n, frame in enumerate(frames) if shape(frame) == group["shape"]]
            self.assertEqual(group["first"], same[0] + 1)
            self.assertEqual(group["bytes"], sum(len(frames[n]) for n in same))
            self.assertEqual(group["explain"], f"rule explain {STACK}:{same[0] + 1}")
        counts = [group["frames"] for group in chosen["shapes"]]
        self.assertEqual(counts, sorted(counts, reverse=True))

    def test_the_command_explains_the_first_frame(self):
        misses = self.document(f"frame replay {STACK} {FRAMINGS} --misses")["selected"]["shapes"]
        self.assertEqual({group["capture"] for group in misses}, {"stack.pcap", "framings.pcap"})
        for group in misses:
            self.assertFalse(any(rule["hits"] for rule in self.document(group["explain"])), group)
        rules = [rule["rule"] for rule in self.document("rule show")]
        for number in rules:
            replay = self.document(f"frame replay {STACK} {FRAMINGS} --rule {number}")
            chosen = replay["selected"]
            total = next(rule["frames"] for rule in replay["rules"] if rule["rule"] == number)
            self.assertEqual((chosen["rule"], chosen["frames"]), (number, total))
            self.assertEqual(sum(group["frames"] for group in chosen["shapes"]), total)
            for group in chosen["shapes"]:
                decides = [rule["rule"] for rule in self.document(group["explain"]) if rule["decides"]]
                self.assertEqual(decides, [number], group)

    def test_side_data_is_in_the_command(self):
        rules = [*GATEWAY, "rule add iface 3 gem_port 9 action cpu"]
        number = self.document("rule show", rules=rules)[-1]["rule"]
        chosen = self.document(f"frame replay {STACK} iface 3 --rule {number} gem_port 9", rules=rules)["selected"]
        self.assertTrue(chosen["shapes"])
        for group in chosen["shapes"]:
            self.assertTrue(group["explain"].endswith(" iface 3 gem_port 9"))
            self.assertIn(number, [rule["rule"] for rule in self.document(group["explain"], rules=rules) if rule["decides"]])

    def test_text(self):
        out = self.good(f"frame replay {STACK} --misses")
        self.assertIn("stack.pcap: 71 frames, 26 decided by a rule, 45 without a rule\n45 frames without a rule, by shape:\n"
                      "    frames       bytes  shape and the command that explains its first frame\n"
                      "        18       17028  untagged, eth_type ipv4 ip_proto icmp\n"
                      f"                        rule explain {STACK}:11\n", out)
        self.assertIn("\n0 frames decided by rule 0\nmodel: ", self.good(f"frame replay {STACK} --rule 0"))
        self.assertIn("\n7 frames decided by rule 15, by shape:\n", self.good(f"frame replay {STACK} --rule LUT1-5"),
                      "any entry of its chain")

    def test_names_that_a_shell_would_split(self):
        path = self.path("it's one; two.pcap", capture(records(STACK)[:1]))
        result = subprocess.run([IFCCTL, "frame", "replay", path, "--misses"], capture_output=True, text=True, timeout=60)
        command = re.search("rule explain (.*)", result.stdout).group(1)
        words = subprocess.run(["sh", "-c", "printf '%s\\n' " + command], capture_output=True, text=True, check=True).stdout
        self.assertEqual(words, path + ":1\n")

    def test_standard_input(self):
        with open(STACK, "rb") as file:
            result = subprocess.run([IFCCTL, "frame", "replay", "-", "--misses"], stdin=file, capture_output=True, text=True)
        self.assertIn(" rule explain FILE:1\n", result.stdout)

    def test_many_shapes(self):
        frames = [bytes(12) + struct.pack(">H", 0x9000 + n) + bytes(46) for n in range(25) for _ in range(25 - n)]
        path = self.path("many", capture(frames))
        out = self.good(f"frame replay {path} --misses")
        self.assertIn("\n325 frames without a rule, by shape:\n", out)
        self.assertEqual(out.count("rule explain"), 20)
        self.assertIn("  and 15 frames of 5 other shapes\n", out)
        self.assertEqual(len(self.document(f"frame replay {path} --misses")["selected"]["shapes"]), 25)

    def test_the_output_gets_the_chosen_frames(self):
        rules = ["classifier enable", "rule add ip_proto udp"]
        everything = records(STACK)
        of = {"--misses": [], "--only-hits": [], "--rule 8": []}
        for choice in of:
            self.good(f"frame replay {STACK} -o {self.path('out')} {choice}", rules=rules)
            of[choice] = records(self.path("out"))
        self.assertEqual(of["--rule 8"], of["--only-hits"])
        self.assertEqual(sorted(of["--misses"] + of["--only-hits"]), sorted(everything))
        self.assertTrue(of["--only-hits"] and all(frame[23] == 17 for frame in of["--only-hits"]))

    def test_refusals(self):
        for words, code, message in (("--misses --only-hits -o x", 2, "frame replay '--only-hits': accepted: only one of"),
                                     ("--rule 8 --misses", 3, "--rule '8': refused: no rule has this number"),
                                     ("--rule", 2, "--rule '': accepted: "),
                                     ("--rule 40", 2, "--rule '40': accepted: a number from 0 to 39"),
                                     ("--miss", 2, "frame replay '--miss': accepted: ")):
            result = self.run_lines(f"frame replay {STACK} {words}", rules=[])
            self.assertEqual((result.returncode, result.stdout), (code, ""), words)
            self.assertIn(message, result.stderr)
        result = self.run_lines(f"frame replay {STACK} --rule 0 --misses")
        self.assertIn("frame replay '--misses': accepted: only one of", result.stderr)

    # ------------------------------------------------------------------ progress

    def on_a_terminal(self, columns, frames=300000, packed=False):
        content = capture([os.urandom(60)] * frames) if not packed else gzip.compress(capture([os.urandom(60) for _ in range(frames)]))
        path = self.path("long", content)
        here, there = pty.openpty()
        fcntl.ioctl(there, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        result = subprocess.run([IFCCTL, "frame", "replay", path], stdout=subprocess.PIPE, stderr=there, timeout=60)
        os.close(there)
        shown = b""
        os.set_blocking(here, False)
        try:
            while piece := os.read(here, 65536):
                shown += piece
        except OSError:
            pass
        os.close(here)
        self.assertEqual(result.returncode, 0)
        self.assertIn(f"long: {frames} frames, ".encode(), result.stdout)
        return shown.decode()

    def test_progress_on_a_terminal(self):
        for columns in (100, 60, 20):
            shown = self.on_a_terminal(columns)
            self.assertTrue(shown.endswith("\r\x1b[K"), shown)
            lines = [line.replace("\x1b[K", "") for line in shown.split("\r") if line not in ("", "\x1b[K")]
            self.assertTrue(lines)
            for line in lines:
                self.assertLess(len(line), columns)
            self.assertIn("  5 %", lines[0])
            if columns >= 60:
                self.assertRegex(lines[0], r"^\[#*\.+\]   5 %  [0-9.]+ [Mk] frames/s  0:[0-9]{2} left$")

    def test_progress_of_a_packed_capture(self):
        percents = [int(text) for text in re.findall(r"([0-9]+) %", self.on_a_terminal(80, frames=60000, packed=True))]
        self.assertTrue(percents)
        self.assertEqual(percents, sorted(percents))
        self.assertTrue(20 <= percents[0] <= 80, percents)

    def test_no_progress_elsewhere(self):
        path = self.path("long", capture([bytes(60)] * 100000))
        result = subprocess.run([IFCCTL, "frame", "replay", path], capture_output=True, timeout=60)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(self.on_a_terminal(80, frames=1000), "")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
