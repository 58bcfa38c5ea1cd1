# SPDX-License-Identifier: MIT OR GPL-2.0
"""The tests that can see planted faults, and the build without a fault."""
import json
import math
import os
import re
import shlex
import shutil
import subprocess
import sys
import time
from collections import namedtuple
from pathlib import Path

from mutate_faults import TREE, WORK

BASE = WORK / "base"  # the build without a fault

# Each test: its program (or a script with the program), and arguments. The first to fail ends a fault's run.
LAYER = ("tests/layer/layer_tests",)
RANDOM = ("tests/model/random_driver", "--operations", "20000")
PROOFS = ("tests/prove/prove", "--sample")
RULESET = ("tests/ruleset/ruleset_tests",)
ENGINE = ("tests/engine/engine_test",)
LAYOUTS = ("tests/ruleset/layout_probe", "@layout_oracle.py", "1", "60")
ORDERS = ("tests/ruleset/order_probe", "@order_oracle.py", "1", "100", "20", "1")
SUITES = (LAYER, RULESET, ENGINE)  # GoogleTest: they run in parts, the quick tests first
TESTS = {
    "ifc/ifc_util": (LAYER, RANDOM),
    "ifc/records": (LAYER, RANDOM, PROOFS),
    "ifc/ifc_cmd": (LAYER,),
    "ruleset": (RULESET, PROOFS + ("overlap",), LAYOUTS, ORDERS),
    "engine": (ENGINE, LAYER),
    "engine/register_window.cpp": (ENGINE, LAYER, PROOFS + ("window",)),
}
TIERS = (0.01, 0.1)  # seconds; a suite runs the tests below the first, then those between, then the rest

COMPILE_LIMIT = 20  # seconds of processor time; a fault in a constexpr loop keeps the compiler busy
LEVEL = "-O1"  # compiles fast; a survivor's objects are compared at the usual level, too

# A part of a test that runs by itself; `limit` is in seconds of processor time.
Part = namedtuple("Part", "test arguments limit")


def tests_of(file):
    return next(TESTS[prefix] for prefix in sorted(TESTS, key=len, reverse=True) if file.startswith(prefix))


def name_of(test):
    """The program, and its arguments but numbers."""
    return " ".join([Path(test[0]).name, *(word for word in test[1:] if not re.match(r"\d", word))])


class Build:
    """Its objects, the link commands of its programs, and how long their tests take."""

    def __init__(self, tests):
        self.programs = sorted({test[0] for test in tests})
        make(self.programs)
        self.compile = {}  # object: its folder and command
        for entry in json.loads((BASE / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            folder = Path(entry["directory"])
            self.compile[folder / words[words.index("-o") + 1]] = folder, words
        self.link = {program: link_line(program) for program in self.programs}
        self.uses = {}  # object: the files of the tree that it depends on
        for object_file in {o for _, _, objects in self.link.values() for o in objects}:
            depends = Path(f"{object_file}.d")
            if depends.exists():
                words = depends.read_text().replace("\\\n", " ").split()
                self.uses[object_file] = {os.path.normpath(self.compile[object_file][0] / word) for word in words}
        self.file_of = {}  # (program, test of a suite): the source that it stands in
        self.parts = {test: self.parts_of(test) for test in tests}

    def parts_of(self, test):
        begin = time.monotonic()
        listing = WORK / "tests.json"
        arguments = test[1:] + ((f"--gtest_output=json:{listing}",) if test in SUITES else ())
        if run(command_of(test, BASE / test[0], arguments), BASE, 600) != 0:
            sys.exit(f"mutate: {name_of(test)} fails without any fault")
        seconds = time.monotonic() - begin
        print(f"mutate: {name_of(test)} passes without a fault, {seconds:.1f} s", flush=True)
        if test not in SUITES:
            return [Part(test, test[1:], limit(seconds))]
        times = {}
        for suite in json.loads(listing.read_text())["testsuites"]:
            for case in suite["testsuite"]:
                name = f"{suite['name']}.{case['name']}"
                times[name] = float(case["time"].rstrip("s"))
                self.file_of[test[0], name] = case["file"]
        tiers = [[name for name in times if low < times[name] <= high]
                 for low, high in zip((-1,) + TIERS, TIERS + (math.inf,))]
        return [Part(test, ("--gtest_fail_fast", "--gtest_filter=" + ":".join(tier)),
                     limit(sum(times[name] for name in tier))) for tier in tiers if tier]

    def users(self, program, file):
        """The objects of a program that include this file, or are made from it."""
        return sorted(o for o in self.link[program][2] if str(TREE / file) in self.uses.get(o, ()))


def make(programs):
    flags = f"{LEVEL} -DNDEBUG"
    linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"] if shutil.which("ld.lld") else []
    surroundings = {name: value for name, value in os.environ.items()
                    if not name.startswith("CCACHE_") and not name.endswith("COMPILER_LAUNCHER")}
    with open(WORK / "base.log", "w") as log:
        for command in (["cmake", "-S", TREE, "-B", BASE, "-DCMAKE_BUILD_TYPE=Release",
                         f"-DCMAKE_CXX_FLAGS_RELEASE={flags}", f"-DCMAKE_C_FLAGS_RELEASE={flags}", *linker,
                         "-DIFC_TEST_OTHER_TARGETS=OFF"],
                        ["cmake", "--build", BASE, "-j2", "--target",
                         *(Path(program).name for program in programs)]):
            if subprocess.run(command, stdout=log, stderr=log, env=surroundings).returncode != 0:
                sys.exit(f"mutate: the tree does not build: {log.name}")


def link_line(program):
    """Folder, command, and all objects of the tree, those of archives too."""
    target = BASE / program
    text = (target.parent / f"CMakeFiles/{target.name}.dir/link.txt").read_text()
    words = shlex.split(text)
    objects = set()
    for word in words:
        path = Path(os.path.normpath(target.parent / word))
        if word.endswith(".o"):
            objects.add(path)
        elif word.endswith(".a") and BASE in path.parents:
            members = path.parent / f"CMakeFiles/{path.stem.removeprefix('lib')}.dir/link.txt"
            objects |= {path.parent / w for w in shlex.split(members.read_text().splitlines()[0])
                        if w.endswith(".o")}
    return target.parent, words, objects


def command_of(test, program, arguments):
    if arguments and arguments[0].startswith("@"):
        return ["/usr/bin/python3", str(TREE / "tests/ruleset" / arguments[0][1:]), str(program), *arguments[1:]]
    return [str(program), *arguments]


def limit(seconds):
    return math.ceil(2 + 10 * seconds)


def run(words, folder, seconds, output=subprocess.DEVNULL):
    """The result, which is not 0 also when this much processor time is used up, or far more time has passed."""
    process = subprocess.Popen(["prlimit", f"--cpu={seconds}", "--as=8589934592", *words], cwd=folder,
                               stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    try:
        return process.wait(60 + 10 * seconds)
    except subprocess.TimeoutExpired:
        return -1
    finally:
        try:
            os.killpg(process.pid, 9)  # what a stopped command leaves behind
        except ProcessLookupError:
            pass
        process.wait()
