#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""The manual page: its examples work, its source is clean. Usage: manual_test.py IFCCTL SOURCE-ROOT"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

IFCCTL, ROOT = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
missing = [tool for tool in ("man", "groff", "mandoc") if shutil.which(tool) is None]
if missing:
    print("not installed:", *missing)
    sys.exit(77)
ENVIRONMENT = {**os.environ, "PATH": os.path.dirname(IFCCTL) + ":" + os.environ["PATH"], "COLUMNS": "", "IFC_STATE": ""}


def page(**variables):
    return subprocess.run([IFCCTL, "help", "man"], capture_output=True, text=True, timeout=60, check=True, env={**ENVIRONMENT, **variables}).stdout


class Manual(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.file = os.path.join(self.folder.name, "ifcctl.8")
        with open(self.file, "w", encoding="utf-8") as file:
            file.write(page())

    def shown(self):
        command = ["man", "--warnings", "-E", "UTF-8", "-l", self.file]
        result = subprocess.run(command, capture_output=True, text=True, timeout=60,
                                env={**ENVIRONMENT, "MANWIDTH": "200", "LC_ALL": "C.UTF-8", "MAN_KEEP_FORMATTING": ""})
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return re.sub(".\b", "", result.stdout)

    def test_lint(self):
        self.shown()
        result = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", self.file], capture_output=True, text=True, timeout=60)
        self.assertEqual((result.returncode, result.stdout + result.stderr), (0, ""))

    def test_says_what_the_help_says(self):
        words = set(self.shown().split())
        told = subprocess.run([IFCCTL, "help"], capture_output=True, text=True, timeout=60, check=True, env={**ENVIRONMENT, "COLUMNS": "300"}).stdout
        rows = re.findall(r"^  (\S.*?)  ", told, re.MULTILINE)
        self.assertGreater(len(rows), 40)
        for row in rows:
            for word in row.replace("[", " ").replace("]", " ").split():
                self.assertTrue(word in words or any(word in other for other in words), row)

    def test_sections(self):
        sections = re.findall(r"^([A-Z][A-Z ]+)$", self.shown(), re.MULTILINE)
        self.assertEqual(sections, ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "COMMANDS", "ARGUMENTS", "CONDITIONS", "ACTIONS", "PROMPT",
                                    "EXIT STATUS", "FILES", "ENVIRONMENT", "EXAMPLES"])

    def test_date(self):
        self.assertIn(".TH IFCCTL 8 2001-09-09 ", page(SOURCE_DATE_EPOCH="1000000000"))

    def test_examples(self):
        source = page()
        lines = re.findall(r"^\.EX\n(.*)\n\.EE$", source, re.MULTILINE)
        self.assertGreater(len(lines), 10)
        shutil.copy(os.path.join(ROOT, "examples", "stack.pcap"), os.path.join(self.folder.name, "capture.pcap"))
        for line in lines:
            for escape, text in (("\\(aq", "'"), ("\\-", "-"), ("\\e", "\\")):
                line = line.replace(escape, text)
            with self.subTest(line):
                result = subprocess.run(["sh", "-c", line], capture_output=True, text=True, timeout=60, cwd=self.folder.name,
                                        env={**ENVIRONMENT, "XDG_STATE_HOME": self.folder.name, "HOME": self.folder.name})
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertNotIn("warning", result.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
