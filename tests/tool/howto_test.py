#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""docs/howto.md: each command is run, and its output is compared with what the page shows. With --write the page gets
the output instead. Usage: howto_test.py IFCCTL SOURCE-ROOT [--write]"""
import os
import re
import subprocess
import sys
import tempfile
import unittest

IFCCTL, ROOT = sys.argv[1], os.path.abspath(sys.argv[2])
PAGE = os.path.join(ROOT, "docs/howto.md")
BLOCK = re.compile(r"(?<=^```console\n)(.*?)(?=^```$)", re.M | re.S)


class Bench:
    """A folder with the examples and a chip of its own. The commands run in the order of the page."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        os.symlink(os.path.join(ROOT, "examples"), self.path("examples"))
        os.symlink(os.path.abspath(IFCCTL), self.path("ifcctl"))
        self.environment = {**{name: value for name, value in os.environ.items() if name != "COLUMNS"}, "PATH": self.folder.name + ":" + os.environ["PATH"], "LC_ALL": "C",
                            "NO_COLOR": "1", "IFC_STATE": self.path("bench.state")}

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def output(self, command):
        result = subprocess.run(["bash", "-c", command], cwd=self.folder.name, env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60)
        return result.stdout


def commands_of(block):
    """The command of each line that begins with "$ ", and what follows it."""
    parts = re.split(r"^\$ (.*)\n", block, flags=re.M)
    assert parts[0] == "", block
    return list(zip(parts[1::2], parts[2::2]))


class Page(unittest.TestCase):
    maxDiff = None

    def test_each_command_prints_what_the_page_shows(self):
        with open(PAGE, encoding="utf-8") as file:
            blocks = BLOCK.findall(file.read())
        bench = Bench()
        self.addCleanup(bench.folder.cleanup)
        tested = [command for block in blocks for command, _ in commands_of(block)]
        self.assertGreater(len(tested), 15)
        for block in blocks:
            for command, shown in commands_of(block):
                with self.subTest(command):
                    self.assertEqual(bench.output(command), shown)

    def test_the_fences_are_known(self):
        with open(PAGE, encoding="utf-8") as file:
            fences = re.findall(r"^```.*$", file.read(), flags=re.M)
        self.assertEqual(fences[0::2], ["```console"] * (len(fences) // 2))
        self.assertEqual(fences[1::2], ["```"] * (len(fences) // 2))


def write():
    bench = Bench()
    with open(PAGE, encoding="utf-8") as file:
        text = file.read()
    text = BLOCK.sub(lambda block: "".join(f"$ {command}\n{bench.output(command)}" for command, _ in commands_of(block.group(1))), text)
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(text)


if __name__ == "__main__":
    if sys.argv[3:] == ["--write"]:
        write()
    else:
        unittest.main(argv=sys.argv[:1])
