#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""docs/behaviour.md names the tests that hold the driver's promises. They must exist, and all be named.

Usage: behaviour_check.py --build DIR --layer-tests PROGRAM [--without TEST...]
       behaviour_check.py --list

The first checks the page against a build, but for tests that this build cannot have. The second prints
operation, promise and test of each row, with tabs between, also of docs/hardware-model.md, as the choices of
the engine. A test with parameters is named without them.
"""
import argparse
import json
import re
import subprocess
import sys
import tempfile
from collections import namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PAGE = "docs/behaviour.md"
MODEL = "docs/hardware-model.md"
HELPERS = "Helpers and internals"
HEADERS = ("ifc/ifc_util.h", "ifc/ifc_cmd.h", "ruleset/ruleset.h")

Row = namedtuple("Row", "place section promise tests")


def rows_of(page, faults):
    """The rows of all tables, each under the last heading before it."""
    rows = []
    section = ""
    columns = 0
    for number, line in enumerate((ROOT / page).read_text().splitlines(), 1):
        place = f"{page}:{number}"
        if line.startswith("#"):
            section = line.lstrip("#").strip()
        if not line.startswith("|"):
            columns = 0
            continue
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if columns == 0:  # the head of a table
            columns = len(cells)
            if cells[-1] != "test":
                faults.append(f"{place}: the last column of a table is 'test', not '{cells[-1]}'")
        elif set(cells[0]) == {"-"}:
            continue
        elif len(cells) != columns or not all(cells):
            faults.append(f"{place}: a row has {columns} cells, none empty")
        else:
            rows.append(Row(place, section, ": ".join(cells[:-1]), re.split(r",\s*", cells[-1])))
    return rows


def list_rows():
    rows = rows_of(PAGE, [])
    rows += [row._replace(section=f"engine: {row.section}", tests=["engine." + test for test in row.tests])
             for row in rows_of(MODEL, [])]
    for row in rows:
        if row.section != HELPERS:
            for test in row.tests:
                print(row.section, row.promise.replace("**", ""), test, sep="\t")


def registered_tests(build):
    """The names that CTest knows, and the programs that have not been built."""
    with tempfile.TemporaryDirectory() as folder:  # so that nothing is written into the build
        (Path(folder) / "CTestTestfile.cmake").write_text(f'subdirs("{Path(build).resolve()}")\n')
        answer = subprocess.run(["ctest", "--test-dir", folder, "--show-only=json-v1"], check=True,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    tests = json.loads(answer.stdout)["tests"]
    ready = {test["name"] for test in tests if "command" in test}
    return ready, sorted(test["name"].removesuffix("_NOT_BUILT") for test in tests if "command" not in test)


def tests_of_program(program):
    answer = subprocess.run([program, "--gtest_list_tests"], check=True, stdout=subprocess.PIPE, text=True)
    tests = set()
    suite = ""
    for line in answer.stdout.splitlines():
        if line.startswith(" "):
            tests.add(suite + line.split("#")[0].strip())
        elif line.endswith("."):
            suite = line
    return tests


def functions_of(header):
    """The functions that a header declares: a type at the start of a line, then the name."""
    return re.findall(r"^(?:\w+ )+\**(\w+)\(", (ROOT / header).read_text(), re.M)


def faults_of_sections(rows):
    """Each operation has a section with rows, and each section named like a function has its declaration."""
    sections = {row.section for row in rows}
    operations = functions_of(HEADERS[0])
    if len(operations) < 46:
        yield f"{HEADERS[0]}: only {len(operations)} operations found"
    for name in operations:
        if name not in sections:
            yield f"{PAGE}: no section, or no row, for the operation {name}"
    declared = {name for header in HEADERS for name in functions_of(header)}
    headings = re.findall(r"^###? (.*)$", (ROOT / PAGE).read_text(), re.M)
    for name in headings:
        if re.fullmatch(r"\w*_\w+", name) and name not in declared:
            yield f"{PAGE}: no header declares {name}"
        if headings.count(name) > 1:
            yield f"{PAGE}: more than one section {name}"


def faults_of_rows(rows, registered):
    promises = set()
    for row in rows:
        if (row.section, row.promise) in promises:
            yield f"{row.place}: {row.section} has this row twice"
        promises.add((row.section, row.promise))
        for test in row.tests:
            if row.tests.count(test) > 1:
                yield f"{row.place}: {test} twice"
            if test not in registered:
                yield f"{row.place}: no such test: {test}"


def faults_of_layer(layer, named, registered):
    """No test of tests/layer is left out."""
    if len(layer) < 200:
        yield f"only {len(layer)} tests of the layer found"
    for test in sorted(layer - named):
        yield f"{PAGE}: no row names {test}"
    for test in sorted(layer - registered):
        yield f"CTest does not know {test}"


def check(build, layer_tests, without):
    faults = []
    rows = rows_of(PAGE, faults)
    named = {test for row in rows for test in row.tests}
    registered, not_built = registered_tests(build)
    layer = tests_of_program(layer_tests)
    faults += faults_of_sections(rows)
    faults += faults_of_rows(rows, registered | set(without))
    faults += faults_of_layer(layer, named, registered)
    if faults and not_built:
        faults.append(f"not built, so that their tests are not known: {', '.join(not_built)}")
    if faults:
        sys.exit("\n".join(dict.fromkeys(faults)))
    print(f"{len(rows)} rows name {len(named)} tests, all {len(layer)} of the layer among them")


parser = argparse.ArgumentParser(usage=__doc__.split("Usage: ")[1].rstrip())
parser.add_argument("--list", action="store_true")
parser.add_argument("--build")
parser.add_argument("--layer-tests")
parser.add_argument("--without", nargs="*", default=[], metavar="TEST")
arguments = parser.parse_args()
if arguments.list:
    list_rows()
elif arguments.build and arguments.layer_tests:
    check(arguments.build, arguments.layer_tests, arguments.without)
else:
    parser.error("--list, or --build and --layer-tests")
