#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Options, help, and abbreviated words. Usage: options_test.py IFCCTL"""
import json
import os
import subprocess
import sys
import unittest

IFCCTL = sys.argv[1]
ENVIRONMENT = {**os.environ, "IFC_STATE": "none", "COLUMNS": ""}


def run(*args, text=None, **variables):
    return subprocess.run([IFCCTL, *args], input=text, capture_output=True, text=True, timeout=60, env={**ENVIRONMENT, **variables})


class Options(unittest.TestCase):
    maxDiff = None

    def good(self, *args, text=None, **variables):
        result = run(*args, text=text, **variables)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def bad(self, code, *args, parts=(), text=None):
        result = run(*args, text=text)
        self.assertEqual((result.returncode, result.stdout), (code, ""), result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for part in parts:
            self.assertIn(part, result.stderr)
        return result

    # ------------------------------------------------------------------ options

    def test_long_options_have_two_dashes(self):
        self.bad(2, "-json", "rule", "show", parts=("option '-json'", "did you mean --json?"))
        self.bad(2, "-jp", "rule", "show", parts=("option '-jp'", "short ones apart"))
        self.bad(2, "--jsn", "rule", "show", parts=("option '--jsn'", "did you mean --json?"))
        self.assertEqual(json.loads(self.good("--json", "rule", "show")), [])

    def test_arguments_of_options(self):
        self.bad(2, "--json=1", "rule", "show", parts=("--json '1': accepted: no value",))
        self.bad(2, "--debug", parts=("--debug ''",))
        self.bad(2, "--debug=9", "rule", "show", parts=("--debug '9': accepted: a number from 0 to 3",))
        self.bad(2, "--debug=1", "--debug", "2", "rule", "show", parts=("the option once",))
        self.bad(2, "--revision", "256", "rule", "show", parts=("0 to 255",))
        self.bad(2, "--state=", "rule", "show", parts=("--state '': accepted: a file, or none",))
        self.bad(2, "-b", "-", "rule", "show", parts=("a command or -b FILE, not both",), text="")
        self.bad(2, parts=("a command, or -b FILE",))
        self.assertEqual(self.good("--debug=0", "--", "rule", "show"), "ppe off\nclassifier disable\n# no rules\n")

    def test_version(self):
        self.assertRegex(self.good("-V"), r"^ifcctl \d+\.\d+\n$")
        self.assertEqual(self.good("--version"), self.good("-V"))

    # ------------------------------------------------------------------ help

    def test_help_anywhere(self):
        everything = self.good("--help")
        for words in (("-h",), ("help",), ("help", "--help")):
            self.assertEqual(self.good(*words), everything, words)
        of_add = self.good("help", "rule", "add")
        self.assertIn("rule add [auto] MATCH... [action WORD...]", of_add)
        self.assertIn("\n  dst_port ", of_add)
        self.assertIn("\n  queue ", of_add)
        for words in (("rule", "add", "help"), ("rule", "add", "--help"), ("r", "a", "help"), ("rule", "add", "dst_port", "5", "--help")):
            self.assertEqual(self.good(*words), of_add, words)
        of_rule = self.good("rule", "help")
        self.assertIn("  rule show", of_rule)
        self.assertNotIn("  set load", of_rule)
        self.assertNotIn("\n  queue ", self.good("help", "rule", "find"))
        self.assertEqual(json.loads(self.good("-j", "rule", "help")), {"help": of_rule})
        self.assertIn("ifc_set_action", self.good("op", "help"))

    def test_every_command_is_in_the_help(self):
        everything = self.good("help", COLUMNS="200")
        for command in ("rule add", "rule show", "ppe on", "classifier enable", "action set", "counter show", "result check", "op OPERATION",
                        "set load", "table verify", "resource show", "frame replay"):
            self.assertIn("\n  " + command, everything)

    def test_help_fits_the_terminal(self):
        for columns in (60, 80, 120):
            for words in (("help",), ("help", "rule"), ("help", "frame", "replay")):
                lines = self.good(*words, COLUMNS=str(columns)).splitlines()
                self.assertLessEqual(max(map(len, lines)), columns, words)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no /dev/full")
    def test_help_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            for words in (("--help",), ("help", "rule"), ("-V",)):
                result = subprocess.run([IFCCTL, *words], stdout=full, stderr=subprocess.PIPE, timeout=60, env=ENVIRONMENT)
                self.assertEqual(result.returncode, 6, words)
                self.assertIn(b"No space left", result.stderr)

    # ------------------------------------------------------------------ abbreviations

    def test_abbreviations(self):
        shown = self.good("rule", "show")
        for words in (("r", "s"), ("rule", "sh"), ("ru", "sho")):
            self.assertEqual(self.good(*words), shown, words)
        lines = "r a dst_port 53\nrule delete 8\nc e\nclass st\n"
        self.assertEqual(self.good("--state", "none", "-b", "-", text=lines),
                         "rule 8: LUT1 entry 0, action 8\ndeleted: rule 8, LUT1 entry 0\nIFC :Enable .\n")

    def test_an_unclear_verb_is_refused(self):
        self.bad(2, "rule", "f", parts=("rule 'f': accepted: one of flush find in full",))
        self.bad(2, "rule", "", parts=("rule ''",))
        self.bad(2, "", parts=("command ''",))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
