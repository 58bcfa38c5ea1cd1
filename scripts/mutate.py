#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Plants small faults in ifc/, ruleset/ and engine/, one at a time, and runs the tests that can see each.

    mutate.py [FOLDER|FILE...] [--sample N] [--seed S] [--again]

Works in copies of the sources under build/mutate, and never changes the tree. Each outcome is a line of
build/mutate/results, so an interrupted run goes on. build/mutate/survivors lists the faults that no test saw.
"""
import argparse
import bisect
import fcntl
import hashlib
import json
import os
import queue
import random
import re
import shlex
import shutil
import subprocess
import sys
import threading
import time
from collections import Counter, namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build/mutate"
BASE = WORK / "base"  # the build without a fault
COPIED = ("ifc", "ruleset", "engine")
FOLDERS = ("ifc/ifc_util", "ifc/records", "ifc/ifc_cmd", "ruleset", "engine")

# Each test: its program (or a script with the program), and arguments. The first to fail ends a fault's run.
LAYER = ("tests/layer/layer_tests", "--gtest_fail_fast", "--gtest_brief=1")
RANDOM = ("tests/model/random_driver", "--operations", "20000")
PROOFS = ("tests/prove/prove", "--sample")
RULESET = ("tests/ruleset/ruleset_tests", "--gtest_fail_fast", "--gtest_brief=1")
ENGINE = ("tests/engine/engine_test", "--gtest_fail_fast", "--gtest_brief=1")
LAYOUTS = ("tests/ruleset/layout_probe", "@layout_oracle.py", "1", "60")
ORDERS = ("tests/ruleset/order_probe", "@order_oracle.py", "1", "100", "20", "1")
TESTS = {
    "ifc/ifc_util": (LAYER, RANDOM),
    "ifc/records": (LAYER, RANDOM, PROOFS),
    "ifc/ifc_cmd": (LAYER,),
    "ruleset": (RULESET + ("--gtest_filter=-*Random*:*Kill*:*Silent*",), RULESET, PROOFS + ("overlap",), LAYOUTS,
                ORDERS),
    "engine": (ENGINE + ("--gtest_filter=-*Random*",), ENGINE, LAYER),
    "engine/register_window.cpp": (ENGINE, LAYER, PROOFS + ("window",)),
}

Fault = namedtuple("Fault", "file line start end new what key")
Outcome = namedtuple("Outcome", "key verdict place what by")
COMPILE_LIMIT = 200  # seconds; a fault in a constexpr loop keeps the compiler busy
VERDICTS = ("caught", "survived", "no effect", "not compiled")


# ---- faults ----

def blanked(text):
    """The text with comments, strings, preprocessor lines and static assertions as spaces, at the same offsets."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group())
    text = re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', blank, text, flags=re.S)
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", blank, text, flags=re.M)
    return re.sub(r"\bstatic_assert\(.*?\);", blank, text, flags=re.S)


def number(match):
    digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)(\w*)", match.group().replace("'", "")).groups()
    value = int(digits, 0)
    shown = hex if digits[:2].lower() == "0x" else str
    return [shown(value + 1) + suffix] + ([shown(value - 1) + suffix] if value > 0 else [])


def swapped(match):
    return [match.group().replace(match[1] + match[2] + match[3], match[3] + match[2] + match[1])] \
        if match[1] != match[3] else []


OTHER = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
         "&&": ("||",), "||": ("&&",), "+": ("-",), "-": ("+",), "<<": (">>",), ">>": ("<<",), "&": ("|",),
         "|": ("&",), "^": ("|",), "|=": ("&=", "="), "&=": ("|=",), "+=": ("-=",), "-=": ("+=",), "*": ("+",),
         "%": ("/",), "/": ("*",)}
OPERATOR = "|".join(re.escape(sign) for sign in sorted(OTHER, key=len, reverse=True))
VALUE = r"[\w.>\[\]*&-]+"
# Each kind: a name, a pattern, and what may stand in place of the match.
KINDS = (
    ("operator", re.compile(rf"(?<=\s)({OPERATOR})(?=\s)"), lambda match: OTHER[match.group()]),
    ("constant", re.compile(r"(?<![\w.'])(?:0[xX][\da-fA-F]+|\d[\d']*)[uUlL]*(?![\w.'])"), number),
    ("condition negated", re.compile(r"(?<=\bif )\((?!constexpr)([^;{}\n]*)\)(?=( \[\[\w+\]\])?( \{)?\n)"),
     lambda match: [f"(!({match[1]}))"]),
    ("statement dropped", re.compile(r"(?<=\n)[ \t]+(?:\(void\))?[\w.\[\]>*+-]+(?:<[^;<>]*>)?"
                                     r"(?:\([^;{}]*\)|(?: [-+|&^<>*/%]*= [^;{}]*)|\+\+|--|)"
                                     r"(?:\.\w+\([^;{}]*\))*;(?=\n)"),
     lambda match: [";" + "\n" * match.group().count("\n")]),
    ("arguments swapped", re.compile(rf"(?<=[\w>]\()({VALUE})(, )({VALUE})(?=[,)])"), swapped),
    ("arguments swapped", re.compile(rf"(?<=, )({VALUE})(, )({VALUE})(?=[,)}}])"), swapped),
    ("fields swapped", re.compile(rf"(?<=[{{])({VALUE})(, )({VALUE})(?=[,}}])"), swapped),
    ("answer turned", re.compile(r"(?<=return )(true|false)(?=;)"),
     lambda match: ["false" if match.group() == "true" else "true"]),
)


def faults_of(file):
    """All faults of a source, in its order."""
    text = (ROOT / file).read_text()
    code = blanked(text)
    version = hashlib.sha1(text.encode()).hexdigest()[:10]
    line_ends = [match.start() for match in re.finditer("\n", text)]
    found = []
    for kind, pattern, others in KINDS:
        for match in pattern.finditer(code):
            old = text[match.start():match.end()]
            if re.match(r"\s*(break|continue|return|case|using|public|private)\b", old):
                continue
            for new in others(match):
                line = 1 + bisect.bisect_left(line_ends, match.start() + len(old) - len(old.lstrip()))
                shown = " ".join(old.split())
                what = f"{kind}: {shown}" + (f" -> {new}" if new.strip(" ;\n") else "")
                key = f"{file}@{version}:{match.start()}:{hashlib.sha1((kind + new).encode()).hexdigest()[:6]}"
                found.append(Fault(file, line, match.start(), match.end(), new, what, key))
    return sorted(set(found), key=lambda fault: (fault.start, fault.new))


# ---- the build ----

class Build:
    """The objects and the link commands of the build without a fault."""

    def __init__(self, programs):
        # Objects are compared with those of the copies, so the paths in them must not be relative ones.
        surroundings = {name: value for name, value in os.environ.items() if not name.startswith("CCACHE_")}
        with open(WORK / "base.log", "w") as log:
            for command in (["cmake", "-S", ROOT, "-B", BASE, "-DCMAKE_BUILD_TYPE=Release",
                             "-DIFC_TEST_OTHER_TARGETS=OFF"],
                            ["cmake", "--build", BASE, "-j2", "--target", *(Path(p).name for p in programs)]):
                if subprocess.run(command, stdout=log, stderr=log, env=surroundings).returncode != 0:
                    sys.exit(f"mutate: the tree does not build: {log.name}")
        self.compile = {}  # object: its folder and command
        for entry in json.loads((BASE / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            folder = Path(entry["directory"])
            self.compile[folder / words[words.index("-o") + 1]] = folder, words
        self.link = {program: self.link_line(program) for program in programs}
        self.uses = {}  # object: the files of the tree that it depends on
        for object_file in {o for _, _, objects in self.link.values() for o in objects}:
            depends = Path(f"{object_file}.d")
            if depends.exists():
                words = depends.read_text().replace("\\\n", " ").split()
                self.uses[object_file] = {os.path.normpath(self.compile[object_file][0] / word) for word in words}

    def link_line(self, program):
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

    def changed_objects(self, program, file):
        """Those to compile again: they include this file, or are made from it."""
        return sorted(o for o in self.link[program][2] if str(ROOT / file) in self.uses.get(o, ()))


def tests_of(file):
    return next(TESTS[prefix] for prefix in sorted(TESTS, key=len, reverse=True) if file.startswith(prefix))


class Bench:
    """A copy of the sources for one worker, where it plants, builds and runs."""

    def __init__(self, build, number, limits):
        self.build = build
        self.limits = limits
        self.tree = WORK / f"tree{number}"
        shutil.rmtree(self.tree, ignore_errors=True)
        for folder in COPIED:
            shutil.copytree(ROOT / folder, self.tree / folder)
        self.out = self.tree / "out"

    def compile(self, object_file):
        """The object of the copy, or None."""
        folder, words = self.build.compile[object_file]
        made = self.out / str(object_file.relative_to(BASE)).replace("/", "+")
        words = list(words)
        words[words.index("-o") + 1] = str(made)
        source = Path(words[-1]).relative_to(ROOT)
        if (self.tree / source).exists():
            words[-1] = str(self.tree / source)
        words.insert(1, f"-I{self.tree}")
        words.append("-w")
        return made if succeeds(words, folder, COMPILE_LIMIT) else None

    def link(self, program, made):
        folder, words, _ = self.build.link[program]
        target = self.out / Path(program).name
        words = [str(made.get(Path(os.path.normpath(folder / word)), word)) for word in words]
        archived = [str(o) for o in made.values() if str(o) not in words]  # stands before its archive
        words[words.index("-o") + 1] = str(target)
        words[words.index("-o"):words.index("-o")] = archived
        return target if succeeds(words, folder, COMPILE_LIMIT) else None

    def judge(self, fault):
        """Verdict, and the test that saw the fault."""
        shutil.rmtree(self.out, ignore_errors=True)
        self.out.mkdir()
        copy = self.tree / fault.file
        text = copy.read_text()  # of when the run began
        copy.write_text(text[:fault.start] + fault.new + text[fault.end:])
        try:
            return self.run_tests(fault)
        finally:
            copy.write_text(text)

    def run_tests(self, fault):
        tests = tests_of(fault.file)
        made = {}
        if not self.compile_all(made, tests, fault.file, COPIED):
            return "not compiled", ""
        same = all(new.read_bytes() == old.read_bytes() for old, new in made.items())
        if same and self.compile_all(made, tests, fault.file, ("tests", "platform")) and \
                all(new.read_bytes() == old.read_bytes() for old, new in made.items()):
            return "no effect", ""
        programs = {}
        for test in tests:
            program = test[0]
            if program not in programs:
                # Tests that include a header with a fault, too: they share its shapes.
                if not self.compile_all(made, [test], fault.file, ("tests", "platform")):
                    return "caught", "the compiler, in a test"
                own = {o: made[o] for o in made if o in self.build.link[program][2]}
                programs[program] = self.link(program, own)
                if programs[program] is None:
                    return "not compiled", ""
            if not passes(test, programs[program], self.limits.get(test, 600)):
                return "caught", name_of(test)
        return "survived", ""

    def compile_all(self, made, tests, file, folders):
        """False: one does not compile."""
        for object_file in sorted({o for test in tests for o in self.build.changed_objects(test[0], file)}):
            if object_file not in made and object_file.relative_to(BASE).parts[0] in folders:
                made[object_file] = self.compile(object_file)
                if made[object_file] is None:
                    return False
        return True


def name_of(test):
    """The program, and its arguments but numbers and those of how it reports."""
    words = [word for word in test[1:] if not re.match(r"\d|--gtest_(brief|fail)", word)]
    return " ".join([Path(test[0]).name, *words])


def passes(test, program, limit):
    words = [str(program), *test[1:]]
    if test[1].startswith("@"):
        words = ["/usr/bin/python3", str(ROOT / "tests/ruleset" / test[1][1:]), str(program), *test[2:]]
    return succeeds(words, program.parent, limit)


def succeeds(words, folder, limit):
    """False also when the time is up."""
    run = subprocess.Popen(words, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, start_new_session=True)
    try:
        return run.wait(limit) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        try:
            os.killpg(run.pid, 9)  # what a stopped command leaves behind
        except ProcessLookupError:
            pass
        run.wait()


# ---- a run ----

def sources(wanted):
    all_files = [str(path.relative_to(ROOT)) for folder in FOLDERS for path in sorted((ROOT / folder).iterdir())
                 if path.suffix in (".cpp", ".h")]
    for word in wanted:
        if not any(file == word or file.startswith(word.rstrip("/") + "/") for file in all_files):
            sys.exit(f"mutate: no source '{word}'; accepted are ifc, ruleset, engine, and folders and files of these")
    return [file for file in all_files
            if not wanted or any(file == w or file.startswith(w.rstrip("/") + "/") for w in wanted)]


def read_results():
    path = WORK / "results"
    if not path.exists():
        return {}
    rows = [Outcome(*line.split("\t")) for line in path.read_text().splitlines() if line.count("\t") == 4]
    return {row.key: row for row in rows}


def test_limits(tests):
    """All tests must pass without a fault. Ten times their time, and ten seconds, is the limit with one."""
    limits = {}
    for test in tests:
        begin = time.monotonic()
        if not passes(test, BASE / test[0], 600):
            sys.exit(f"mutate: {name_of(test)} fails without any fault")
        limits[test] = 10 + 10 * (time.monotonic() - begin)
        print(f"mutate: {name_of(test)} passes without a fault, limit {limits[test]:.0f} s", flush=True)
    return limits


def main():
    arguments = argparse.ArgumentParser(prog="./run mutate", description=__doc__.splitlines()[0])
    arguments.add_argument("places", nargs="*", metavar="FOLDER|FILE", help="ifc, ruleset, engine, or part of them")
    arguments.add_argument("--sample", type=int, metavar="N", help="that many faults of all that there are")
    arguments.add_argument("--seed", type=int, default=1, metavar="S", help="another seed takes another sample")
    arguments.add_argument("--again", action="store_true", help="plant those that survived once more")
    options = arguments.parse_args()
    if options.sample is not None and options.sample < 1:
        arguments.error(f"--sample {options.sample}: at least 1")
    chosen = [fault for file in sources(options.places) for fault in faults_of(file)]
    print(f"mutate: {len(chosen)} faults can be planted", flush=True)
    if options.sample is not None and options.sample < len(chosen):
        chosen = random.Random(options.seed).sample(chosen, options.sample)
    WORK.mkdir(parents=True, exist_ok=True)
    alone = open(WORK / "lock", "w")
    try:
        fcntl.flock(alone, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f"mutate: another run works in {WORK}")
    results = read_results()
    left = [fault for fault in chosen
            if fault.key not in results or options.again and results[fault.key].verdict == "survived"]
    if left:
        waiting = {fault.key for fault in left}
        plant_all(left, results, Counter(results[f.key].verdict for f in chosen if f.key not in waiting))
    summary([(fault, results[fault.key]) for fault in chosen if fault.key in results])


def plant_all(faults, results, counts):
    """Plants these. `counts` has the verdicts of the others."""
    tests = sorted({test for fault in faults for test in tests_of(fault.file)})
    print("mutate: building what has no fault", flush=True)
    build = Build({test[0] for test in tests})
    limits = test_limits(tests)
    waiting = queue.SimpleQueue()
    for fault in faults:
        waiting.put(fault)
    lock = threading.Lock()
    begin = time.monotonic()
    known = sum(counts.values())

    def work(number, log):
        bench = Bench(build, number, limits)
        while True:
            try:
                fault = waiting.get_nowait()
            except queue.Empty:
                return
            verdict, by = bench.judge(fault)
            with lock:
                row = Outcome(fault.key, verdict, f"{fault.file}:{fault.line}", fault.what, by)
                results[fault.key] = row
                log.write("\t".join(row) + "\n")
                log.flush()
                counts[verdict] += 1
                done = sum(counts.values()) - known
                seconds = (time.monotonic() - begin) / done * (len(faults) - done)
                print(f"mutate: {done + known} of {len(faults) + known}, caught {counts['caught']}, survived "
                      f"{counts['survived']}, about {seconds / 60:.0f} min left"
                      + (f"; SURVIVED {row.place} {row.what}" if verdict == "survived" else ""), flush=True)

    with open(WORK / "results", "a") as log:
        threads = [threading.Thread(target=work, args=(number, log), daemon=True)
                   for number in range(os.cpu_count() or 2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()


def summary(rows):
    survivors = [f"{row.place}\t{row.what}" for _, row in rows if row.verdict == "survived"]
    (WORK / "survivors").write_text("".join(line + "\n" for line in sorted(survivors)))
    folders = [folder for folder in FOLDERS if any(fault.file.startswith(folder) for fault, _ in rows)]
    print(f"{'':14}{'planted':>10}{'compiled':>10}" + "".join(f"{v:>14}" for v in VERDICTS[:3]))
    for folder in folders + ["all"]:
        count = Counter(row.verdict for fault, row in rows if folder == "all" or fault.file.startswith(folder))
        planted = sum(count.values())
        print(f"{folder:14}{planted:>10}{planted - count['not compiled']:>10}"
              + "".join(f"{count[v]:>14}" for v in VERDICTS[:3]))
    for line in sorted(survivors):
        print("survived: " + line.replace("\t", " "))


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        sys.exit("\nmutate: interrupted; the same command goes on")
