# SPDX-License-Identifier: MIT OR GPL-2.0
"""Whether the tests that docs/behaviour.md names for an operation see faults in the code of this operation."""
import random
import re
import subprocess
import sys

from mutate_bench import Bench
from mutate_build import LAYER, TESTS, Build
from mutate_faults import TREE, faults_of

FUNCTION = re.compile(r"^\w[^\n;={}]*?\b(\w+)\((?:[^;{}]*)\)[^;{}]*\n\{\n.*?^\}", re.M | re.S)


def functions():
    """By name, of the sources of the layer: the file, first and last line, and text of each."""
    found = {}
    for path in sorted((TREE / "ifc/ifc_util").glob("*.cpp")):
        text = path.read_text()
        for match in FUNCTION.finditer(text):
            first = text.count("\n", 0, match.start()) + 1
            found[match[1]] = str(path.relative_to(TREE)), first, first + match[0].count("\n"), match[0]
    return found


def with_helpers(operation, known):
    """The function, and those of its source that it calls, directly or not."""
    names = [operation]
    for name in names:
        file, _, _, text = known[name]
        names += [called for called in dict.fromkeys(re.findall(r"\b(\w+)\(", text))
                  if called in known and known[called][0] == file and called not in names]
    return [known[name][:3] for name in names]


def check(operations, sample, seed):
    rows = {}  # operation: its rows
    listing = subprocess.run([TREE / "tests/behaviour_check.py", "--list"], capture_output=True, text=True, check=True)
    for line in listing.stdout.splitlines():
        operation, promise, test = line.split("\t")
        rows.setdefault(operation, {}).setdefault(promise, []).append(test)
    known = functions()
    for operation in operations:
        if operation not in rows or operation not in known:
            sys.exit(f"mutate: '{operation}' is not an operation with its own section in docs/behaviour.md")
    build = Build(TESTS["ifc/ifc_util"])
    bench = Bench(build, "p")
    here = {name for _, name in build.file_of}
    unseen = []
    for operation in operations or [name for name in rows if name in known]:
        places = with_helpers(operation, known)
        faults = [fault for file in sorted({place[0] for place in places}) for fault in faults_of(file)
                  if any(first <= fault.line <= last for name, first, last in places if name == file)]
        random.Random(seed).shuffle(faults)
        names = sorted({test for tests in rows[operation].values() for test in tests} & here)
        failed = []
        for fault in faults:
            if len(failed) == sample:
                break
            seen = bench.failing(fault, LAYER, names)
            if seen is not None:
                failed.append((fault, seen))
                print(f"mutate: {operation}: {fault.file}:{fault.line} {fault.what}: "
                      f"{', '.join(sorted(seen)) or 'NO NAMED TEST'}", flush=True)
        caught = sum(1 for _, seen in failed if seen)
        print(f"{operation}: the tests named for it see {caught} of {len(failed)} faults in its code")
        for promise, tests in rows[operation].items():
            count = sum(1 for _, seen in failed if seen & set(tests))
            if count == 0 and set(tests) & here:
                unseen.append(f"{operation}: {promise}")
    for row in unseen:
        print(f"none of the planted faults breaks: {row}")
