# SPDX-License-Identifier: MIT OR GPL-2.0
"""Where a fault is planted: a copy of the tree. It is compiled there, linked with a build without it, and tested."""
import os
import re
import shutil
from collections import namedtuple
from contextlib import contextmanager
from pathlib import Path

from mutate_build import BASE, COMPILE_LIMIT, LEVEL, SUITES, Part, command_of, limit, name_of, run, tests_of
from mutate_faults import TREE, WORK

PRODUCT = ("ifc", "ruleset", "engine")
COPIED = PRODUCT + ("include", "platform", "tests")
USUAL_LEVEL = "-O3"
# Sources with parts for other builds: without vectors as in a kernel, with wide ones, and for size.
OTHER_BUILDS = {"ifc/ifc_util/checksum.cpp": (["-U__SSE2__"], ["-mavx2"]), "ifc/ifc_util/lut0_codec.cpp": (["-Os"],)}
# What is compiled for a fault: one object of the build, or all of a library as one source.
Unit = namedtuple("Unit", "source folder words replaced")


class Bench:
    """A copy of the tree for one worker, where it plants, builds and runs."""

    def __init__(self, build, number):
        self.build = build
        self.tree = WORK / f"tree{number}"
        shutil.rmtree(self.tree, ignore_errors=True)
        for folder in COPIED:
            shutil.copytree(TREE / folder, self.tree / folder)
        self.out = self.tree / "out"
        self.libraries = {}
        self.references = {}  # the objects without a fault
        self.options = []  # of another build

    def judge(self, fault):
        """Verdict, and the test that saw the fault."""
        verdicts = []
        for options in ([], *OTHER_BUILDS.get(fault.file, ())):
            self.options = options
            with self.planted(fault) as units:
                verdicts.append(self.verdict(fault.file, units))
            if verdicts[-1][0] == "caught":
                break
        self.options = []
        return min(verdicts, key=lambda verdict: ("caught", "survived", "no effect", "not compiled").index(verdict[0]))

    def failing(self, fault, test, names):
        """Those of a suite's tests that fail with the fault, or None: it does not compile, or changes no object."""
        with self.planted(fault) as units:
            made = {}
            for unit in units + self.test_units([test], fault.file):
                made[unit] = self.compile(unit, LEVEL)
                if made[unit] is None:
                    return None
            if all(path.read_bytes() == self.reference(unit, LEVEL) for unit, path in made.items() if unit in units):
                return None
            # One by one: a test that crashes must not hide the others.
            program = self.link(test[0], made)
            return {name for name in names
                    if self.run_part(Part(test, (f"--gtest_filter={name}",), limit(10)), program)[0]}

    @contextmanager
    def planted(self, fault):
        """Gives the units to compile, with the fault in its file."""
        units = self.units_of(fault.file)
        for unit in units:
            self.reference(unit, LEVEL)
        shutil.rmtree(self.out, ignore_errors=True)
        self.out.mkdir()
        copy = self.tree / fault.file
        text = copy.read_text()  # of when the run began
        self.faulty = text[:fault.start] + fault.new + text[fault.end:]
        self.plain = text
        copy.write_text(self.faulty)
        try:
            yield units
        finally:
            copy.write_text(text)

    def verdict(self, file, units):
        made = {}  # the units of the product that the fault changes: their objects
        for unit in units:
            path = self.compile(unit, LEVEL)
            if path is None:
                return "not compiled", ""
            if path.read_bytes() != self.reference(unit, LEVEL):
                made[unit] = path
        tests = tests_of(file)
        if not made and not self.has_effect(file, self.test_units(tests, file), LEVEL):
            return "no effect", ""
        for test in tests:
            if made:
                seen = self.quick_look(test, file, made)
                if seen:
                    return "caught", seen
            for unit in self.test_units([test], file):
                if unit not in made:
                    made[unit] = self.compile(unit, LEVEL)
                    if made[unit] is None:
                        return "caught", "the compiler, in a test"
            seen, _ = self.run_parts(test, self.link(test[0], made))
            if seen:
                return "caught", seen
        if not self.has_effect(file, units + self.test_units(tests, file), USUAL_LEVEL):
            return "no effect", ""
        return "survived", ""

    # Tests that include the faulty header share its shapes, and are compiled with the fault. That takes long; so first
    # all run without it, and what they see counts if the test that sees it does not include the header, or sees it
    # also when it is compiled with the fault.
    def quick_look(self, test, file, made):
        users = {str(unit.source): unit for unit in self.test_units([test], file)}
        if not users:
            return ""
        if test not in SUITES:
            return ""
        seen, name = self.run_parts(test, self.link(test[0], made))
        if not seen:
            return ""
        source = self.build.file_of.get((test[0], name))
        if source not in users:
            return seen
        unit = users[source]
        made[unit] = self.compile(unit, LEVEL)
        if made[unit] is None:
            return "the compiler, in a test"
        part = Part(test, (f"--gtest_filter={name}",), limit(10))
        return self.run_part(part, self.link(test[0], made))[0]

    def run_parts(self, test, program):
        for part in self.build.parts[test]:
            seen, name = self.run_part(part, program)
            if seen:
                return seen, name
        return "", ""

    def run_part(self, part, program):
        """What saw the fault, and the name of the test of a suite."""
        with open(self.out / "text", "w") as text:
            result = run(command_of(part.test, program, part.arguments), self.out, part.limit, text)
        if result == 0:
            return "", ""
        report = (self.out / "text").read_text(errors="replace")
        failed = re.findall(r"^\[  FAILED  \] ([^\s,]+)", report, re.M)
        begun = re.findall(r"^\[ RUN      \] (\S+)", report, re.M)  # the last one crashed, if none failed
        name = (failed[:1] or begun[-1:] or [""])[0]
        return f"{name_of(part.test[:1] if part.test in SUITES else part.test)} {name}".strip(), name

    # -- compiling --

    def units_of(self, file):
        """What of the product is compiled again: an object, or for a header whole libraries as one source each."""
        objects = {o for test in tests_of(file) for o in self.build.users(test[0], file)
                   if o.relative_to(BASE).parts[0] in PRODUCT}
        if len(objects) == 1:
            return [self.unit(o) for o in objects]
        units = []
        for library in sorted({library_of(o) for o in objects}):
            units += self.library(library, sorted(o for o in objects if library_of(o) == library))
        return units

    def test_units(self, tests, file):
        return [self.unit(o) for o in sorted({o for test in tests for o in self.build.users(test[0], file)})
                if o.relative_to(BASE).parts[0] not in PRODUCT]

    def unit(self, object_file):
        folder, words = self.build.compile[object_file]
        return Unit(words[-1], folder, tuple(words), str(object_file))

    def library(self, library, objects):
        """As one source, if that compiles."""
        if library not in self.libraries:
            every = sorted(o for o in self.build.compile if library_of(o) == library)
            units = [self.unit(o) for o in every]
            source = self.tree / f"{library.stem}.cpp"
            source.write_text("".join(f'#include "{Path(unit.source).relative_to(TREE)}"\n' for unit in units))
            whole = Unit(str(source), units[0].folder, units[0].words, str(library))
            self.libraries[library] = whole if self.reference(whole, LEVEL) else None
        return [self.libraries[library]] if self.libraries[library] else [self.unit(o) for o in objects]

    def compile(self, unit, level):
        """The object, or None."""
        made = self.out / (unit.replaced.replace("/", "+") + level + ".o")
        words = [level if word == LEVEL else word for word in unit.words]
        words[words.index("-o") + 1] = str(made)
        source = Path(unit.source)
        words[-1] = str(self.tree / source.relative_to(TREE) if TREE in source.parents else source)
        words[1:1] = [f"-I{self.tree}", f"-I{self.tree / 'include'}"]
        words += ["-w", *self.options]
        return made if run(words, unit.folder, COMPILE_LIMIT) == 0 else None

    def reference(self, unit, level):
        """The bytes of the object without a fault. Only while none is planted."""
        key = unit, level, *self.options
        if key not in self.references:
            self.out.mkdir(exist_ok=True)
            path = self.compile(unit, level)
            self.references[key] = path.read_bytes() if path else b""
        return self.references[key]

    def has_effect(self, file, units, level):
        """Whether the object of any unit differs, now that the fault is planted."""
        for unit in units:
            path = self.compile(unit, level)
            if path is None:
                return True
            with_fault = path.read_bytes()
            (self.tree / file).write_text(self.plain)
            same = self.reference(unit, level) == with_fault
            (self.tree / file).write_text(self.faulty)
            if not same:
                return True
        return False

    def link(self, program, made):
        """What is made comes first: it stands for the same functions in archives and in tests."""
        folder, words, objects = self.build.link[program]
        target = self.out / Path(program).name
        replaced = {Path(unit.replaced) for unit in made}
        own = [str(path) for unit, path in made.items()
               if Path(unit.replaced) in objects or Path(unit.replaced) in {library_of(o) for o in objects}]
        words = [word for word in words if Path(os.path.normpath(folder / word)) not in replaced]
        words[words.index("-o") + 1] = str(target)
        words[1:1] = own
        return target if run(words, folder, COMPILE_LIMIT) == 0 else Path("/bin/false")


def library_of(object_file):
    """The folder of its target: the objects below share their options."""
    return next(folder for folder in object_file.parents if folder.suffix == ".dir")
