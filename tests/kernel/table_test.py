#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""docs/linux.md shows the filters that the network test tries, and the example driver that it compiles.

Usage: table_test.py ROOT [--write]
"""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1])
page = root / "docs/linux.md"
text = page.read_text()


def table():
    rows = ["| what | filter | |", "|---|---|---|"]
    for line in (root / "tests/kernel/net/filters.txt").read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        what, words, verdict = line.split("|")
        if verdict != "accepted":
            verdict = "refused: " + verdict.removeprefix("refused: ").replace("`", "")
        rows.append(f"| {what} | `{words}` | {verdict} |")
    return "\n".join(rows)


def example():
    source = (root / "platform/linux_net/ifc_front_example.c").read_text()
    # From the first declaration on, without module_init() and what follows.
    body = source[source.index("struct example_port {"):source.index("static int __init")]
    return body.rstrip()


want = re.sub(r"(<!-- table of [^\n]*-->\n).*?(<!-- end of table -->)",
              lambda m: m[1] + "\n" + table() + "\n\n" + m[2], text, flags=re.S)
want = re.sub(r"(## In a driver.*?```c\n).*?(\n```)", lambda m: m[1] + example() + m[2], want, flags=re.S)
if "--write" in sys.argv:
    page.write_text(want)
elif want != text:
    sys.exit("docs/linux.md differs from filters.txt or ifc_front_example.c: tests/kernel/table_test.py ROOT --write")
