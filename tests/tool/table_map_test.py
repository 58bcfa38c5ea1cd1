#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""table map: the picture of both tables. Usage: table_map_test.py IFCCTL SOURCE-ROOT"""
import json
import os
import pty
import re
import subprocess
import sys
import unittest

IFCCTL, ROOT = sys.argv[1], sys.argv[2]
with open(os.path.join(ROOT, "examples/gateway.ifc"), encoding="utf-8") as file:
    GATEWAY = file.read()
LONG = "rule add dst_ip 2001:db8:1111:2222:3333:4444:5555:6666 src_ip 2001:db8:1111:2222:3333:4444:5555:6666/ffff:ffff:ffff:fffe:ffff:ffff:ffff:fffe"
# Entries 20 and 21 without an end flag: a chain that never hits.
NO_END = "op ifc_set_lut1_rules 20 1 0 28 0 0xffff 0 53\nop ifc_set_lut1_rules 21 1 0 29 0 0xffff 0 53"
SGR = re.compile("\x1b\\[[0-9;]*m")


def run(lines, *args, words="table map", columns="100", **environment):
    result = subprocess.run([IFCCTL, *args, "--state", "none", "-b", "-"], input=f"{lines}\n{words}\n", timeout=60,
                            capture_output=True, text=True, env={"COLUMNS": columns, **environment})
    assert (result.returncode, result.stderr) == (0, ""), result.stderr
    return result.stdout


def drawn(*args, **options):
    """The output of the last command."""
    out = run(*args, **options)
    return out[out.rindex("LUT0  8 wide rules"):]


def document(lines, *args):
    return json.loads(run(lines, "-j", *args).splitlines()[-1])


class TableMap(unittest.TestCase):
    def test_empty(self):
        out = drawn("")
        self.assertIn("LUT0  8 wide rules: 0 used, 8 free\n", out)
        self.assertIn("LUT1  32 narrow entries: 0 used, 32 free, in runs of 16 16\n", out)
        self.assertTrue(out.endswith("no rules\n"))
        json = document("")
        self.assertEqual((json["lut0"]["free"], json["lut1"]["free"], json["rules"]), (8, 32, []))
        self.assertEqual(json["lut1"]["free_runs"], [{"first": 0, "entries": 16}, {"first": 16, "entries": 16}])

    def test_the_picture_of_one_chain(self):
        self.assertEqual(drawn("rule add vlan_id 7 dst_port 53 action cpu", columns="60"), """\
LUT0  8 wide rules: 0 used, 8 free
       0     1     2     3     4     5     6     7
    +-----+-----+-----+-----+-----+-----+-----+-----+
    |  .  |  .  |  .  |  .  |  .  |  .  |  .  |  .  |
    +-----+-----+-----+-----+-----+-----+-----+-----+
LUT1  32 narrow entries: 2 used, 30 free, in runs of 14 16
    sub-table 0
     0  1  2  3  4  5  6  7  8  9  10 11 12 13 14 15
    +-----+-----------------------------------------+
    |  9  |.  .  .  .  .  .  .  .  .  .  .  .  .  . |
    +-----+-----------------------------------------+
    sub-table 1; chains stay within it
     16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31
    +-----------------------------------------------+
    |.  .  .  .  .  .  .  .  .  .  .  .  .  .  .  . |
    +-----------------------------------------------+
Of all rules that match a frame, the first of these decides:
      9   LUT1 0-1      vlan_id 7 dst_port 53 -> cpu
""")

    def test_never_wider_than_the_terminal(self):
        full = "\n".join(f"rule add vlan_id {n} dst_port {n}" for n in range(1, 17))
        for lines in ("", GATEWAY, LONG, NO_END, full):
            for columns in [20, 21, 24, 28, 29, *range(40, 201, 13), 60, 80, 200]:
                for locale in ("C", "C.UTF-8"):
                    out = drawn(lines, columns=str(columns), LC_ALL=locale)
                    self.assertLessEqual(max(map(len, out.splitlines())), columns, out)
                    self.assertEqual(out.isascii(), locale == "C")

    def test_narrow_terminals_number_every_entry(self):
        for columns in (20, 24, 28, 29, 40):
            lines = drawn(GATEWAY, columns=str(columns)).split("LUT1  32")
            for table, entries in ((lines[0], 8), (lines[1].split("Of all")[0], 32)):
                numbers = re.findall(r"\n([ 0-9]+)\n +\+-", table)  # above each box
                self.assertEqual(" ".join(numbers).split(), [str(n) for n in range(entries)], columns)

    def test_every_rule_is_in_the_picture_and_in_the_list(self):
        for columns in ("60", "100", "200"):
            out = drawn(GATEWAY, columns=columns)
            boxes = " ".join(re.findall(r"\|(.*)\|", out)).replace("|", " ").split()
            for number in (0, 11, 15, 17, 20, 23, 28, 31, 34):
                self.assertEqual(boxes.count(str(number)), 1, f"{number} in {columns} columns")
                self.assertRegex(out, rf"\n {{4,}}{number} +LUT[01] ")

    def test_json_by_entry(self):
        json = document(GATEWAY)
        owners = [entry.get("rule") for entry in json["lut1"]["entries"]]
        self.assertEqual(owners, [11] * 4 + [15] * 4 + [17] * 2 + [20] * 3 + [23] * 3 + [28] * 5 + [31] * 3 + [34] * 3 + [None] * 5)
        self.assertEqual([entry.get("rule") for entry in json["lut0"]["entries"]], [0] + [None] * 7)
        self.assertEqual([entry["entry"] for entry in json["lut1"]["entries"] if entry.get("end")], [3, 7, 9, 12, 15, 20, 23, 26])
        self.assertEqual(json["lut1"]["entries"][8]["field"], "VID0")
        self.assertEqual(json["lut1"]["free_runs"], [{"first": 27, "entries": 5}])
        self.assertEqual([rule["rule"] for rule in json["rules"]], [0, 11, 15, 17, 20, 23, 28, 31, 34])
        self.assertEqual(json["rules"][3]["actions"]["cpu"], 1)

    def test_a_chain_without_end_and_a_chip_without_lut0(self):
        out = drawn(NO_END)
        self.assertRegex(out, "[|]unused +29|[|] *29 *[|]")
        self.assertIn("no end flag: never hits", out)
        entries = document(NO_END)["lut1"]["entries"]
        self.assertEqual([entry["state"] for entry in entries[19:23]], ["free", "no end flag", "no end flag", "free"])
        revision = ("--revision", "14")
        self.assertIn("LUT0  8 wide rules: 0 used, this revision of the chip does not use them\n", drawn("", *revision))
        self.assertEqual(document("", *revision)["lut0"]["free"], 0)

    def test_colour(self):
        plain = drawn(GATEWAY)
        self.assertNotIn("\x1b", plain)
        always = drawn(GATEWAY, words="table map --color always", NO_COLOR="1")
        self.assertIn("\x1b[30;46m", always)
        self.assertEqual(SGR.sub("", always), plain)
        # Each colour ends on its line.
        for line in always.splitlines():
            self.assertEqual(len(SGR.findall(line)) % 2, 0, line)
            self.assertTrue("\x1b" not in line or SGR.findall(line)[-1] == "\x1b[0m", line)

    def terminal(self, *words, **environment):
        """What a terminal shows."""
        here, there = pty.openpty()
        result = subprocess.Popen([IFCCTL, "--state", "none", "table", "map", *words], stdout=there, stderr=there,
                                  env={"COLUMNS": "80", "TERM": "xterm", **environment})
        os.close(there)
        shown = b""
        while True:
            try:
                piece = os.read(here, 4096)
            except OSError:
                break
            if not piece:
                break
            shown += piece
        os.close(here)
        self.assertEqual(result.wait(timeout=60), 0)
        return shown

    def test_colour_on_a_terminal(self):
        self.assertIn(b"\x1b[", self.terminal())
        self.assertIn(b"\x1b[", self.terminal(NO_COLOR=""))
        self.assertNotIn(b"\x1b[", self.terminal(NO_COLOR="1"))
        self.assertNotIn(b"\x1b[", self.terminal(TERM="dumb"))
        self.assertNotIn(b"\x1b[", self.terminal("--color", "never"))
        self.assertIn(b"\x1b[", self.terminal("--color", "always", NO_COLOR="1"))

    def test_refusals(self):
        for words in (["--color", "blue"], ["--color"], ["--colour", "auto"], ["x"]):
            result = subprocess.run([IFCCTL, "--state", "none", "table", "map", *words], capture_output=True, text=True, timeout=60)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertRegex(result.stderr, "(--color '(blue)?': accepted: auto|table map '.*': accepted: --color)")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
