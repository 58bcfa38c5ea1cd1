#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Sets of rules on the simulated chip against an exact solver and a first-match evaluation.

    order_oracle.py ORDER_PROBE [SEED [SETS [FRAMES [PROCESSES]]]]

The tables must decide each frame as the list does. A set that is refused must have no layout: the solver is
asked, with overlaps that order_model.py works out. FRAMES is per set.
"""

import collections
import random
import subprocess
import sys
from multiprocessing import Pool

import order_model as model
from order_frames import FrameMaker
from order_rules import SetMaker

try:
    from order_solver import can_stand
except ImportError:
    print("order_oracle: no z3 module for Python", file=sys.stderr)
    sys.exit(77)

OK, BAD_RULE, NO_PLACE = 0, -3, -4
NO_SPACE = 10
LUT0, LUT1 = 1, 2
WITHOUT_LUT0 = (14, 15)
CHUNK = 10


class Case:
    """A set, its edits, and the expected results."""

    def __init__(self, seed, frames):
        self.seed = seed
        self.random = random.Random(seed)
        self.lines = []
        self.expected = []  # per line: a function of the answer, which returns what is wrong
        self.counts = collections.Counter(sets=1)
        self.rules = []
        self.live = ([], [])  # what the chip holds: rules, numbers
        self.hopeless = None  # rules that have no places
        self.frames = frames
        self.write()

    # ---- the script ----

    def say(self, line, expected):
        self.lines.append(line)
        self.expected.append(expected)

    def insert(self, at, rule):
        words = [f"insert {at} {len(rule)}"] + [" ".join(map(str, condition)) for condition in rule]
        held = any(model.shape(rule))
        result = OK if held else BAD_RULE
        self.counts["rules"] += 1
        self.say(" ".join(words),
                 lambda answer: None if int(answer) == result else f"insert {rule}: {answer}")
        if held:
            self.rules.insert(at, rule)

    def simple(self, line):
        self.say(line, lambda answer: None if answer == "0" else f"{line}: {answer}")

    def apply(self):
        rules = list(self.rules)
        self.say("apply", lambda answer: self.judge_apply(rules, answer))

    def send(self, frame):
        if frame is None:
            return
        data, sinf, gemport, fields = frame
        self.say(f"frame {sinf} {gemport} {data.hex() or '-'}",
                 lambda answer: self.judge_frame(fields, data, answer))

    def send_frames(self, count):
        maker = FrameMaker(self.random, self.rules)
        for _ in range(count):
            kind = self.random.random()
            if kind < 0.6 and self.rules:
                pair = self.random.choices(self.rules, k=2)
                self.send(maker.fitting(pair) or maker.fitting(pair[:1]))
            elif kind < 0.8 and self.rules:
                self.send(maker.fitting([self.random.choice(self.rules)]))
            else:
                self.send(maker.cut() if kind > 0.99 else maker.fitting([]))

    def write(self):
        choose = self.random
        self.revision = choose.choice([14, 15, 0, 0, 0, 0, 0, 0, 0, 12])
        self.simple(f"new {self.revision}")
        wanted = SetMaker(choose)
        rules = wanted.rules()
        way = choose.choice(["all", "all", "one by one", "edits"])
        if way == "edits":
            self.write_edits(wanted, rules)
        else:
            for rule in rules:
                self.insert(len(self.rules), rule)
                if way == "one by one":
                    self.apply()
                    self.send_frames(self.frames // (2 * len(rules)))
        self.apply()
        self.send_frames(max(1, self.frames - sum(1 for line in self.lines if line.startswith("frame"))))
        self.say("read", lambda answer: None if answer == "0 0" else f"a set that is read: {answer}")
        final = list(self.rules)
        self.say("overlaps", lambda answer: self.judge_overlaps(final, answer))

    def write_edits(self, wanted, rules):
        choose = self.random
        for rule in rules:
            self.insert(choose.randint(0, len(self.rules)), rule)
            if choose.random() < 0.3:
                self.edit(wanted)
            if choose.random() < 0.4:
                self.apply()
                self.send_frames(self.frames // 30)

    def edit(self, wanted):
        choose = self.random
        count = len(self.rules)
        if count and choose.random() < 0.5:
            at, to = choose.randrange(count), choose.randrange(count)
            self.simple(f"move {at} {to}")
            self.rules.insert(to, self.rules.pop(at))
        elif count:
            at = choose.randrange(count)
            self.simple(f"remove {at}")
            self.rules.pop(at)
            if choose.random() < 0.5:
                self.insert(choose.randint(0, len(self.rules)), wanted.good_rule())

    # ---- the results ----

    def judge_apply(self, rules, answer):
        words = [int(word) for word in answer.split()]
        result, reason, conflict, count = words[:4]
        self.counts["applies"] += 1
        if count != len(rules):
            return f"{count} rules, not {len(rules)}"
        if result == OK:
            return self.judge_places(rules, [words[n:n + 3] for n in range(4, len(words), 3)])
        if result != NO_PLACE:
            return f"apply: {result}"
        self.counts["refused"] += 1
        return self.judge_refusal(rules, reason, [n for n in range(count) if conflict >> n & 1])

    def judge_places(self, rules, places):
        used = set()
        numbers = []
        for rule, (table, first, entries) in zip(rules, places):
            wide, narrow = model.shape(rule)
            if table == LUT0:
                good = wide and entries == 1 and first < 8 and self.revision not in WITHOUT_LUT0
            else:
                good = table == LUT1 and first < 32 and narrow == entries and 1 <= narrow <= 16 - first % 16
            cells = {first} if table == LUT0 else set(range(8 + first, 8 + first + entries))
            if not good or used & cells:
                return f"{rule} cannot stand at {table} {first} {entries}"
            used |= cells
            numbers.append(max(cells))
        for j, rule in enumerate(rules):
            for i in range(j):
                if numbers[i] > numbers[j] and model.meets(rules[i], rule):
                    return f"rule {i} {rules[i]} stands after rule {j} {rule}"
        self.live = (rules, numbers)
        return None

    def judge_refusal(self, rules, reason, members):
        if self.hopeless and contains(rules, self.hopeless):
            return None
        lut0 = self.revision not in WITHOUT_LUT0
        named = [rules[n] for n in members]
        order = None if reason == NO_SPACE else lambda i, j: model.meets(named[i], named[j])
        stands = can_stand(named, order, lut0)
        self.counts["asked"] += 1
        if not named:
            return "refused without a conflict"
        if stands is False:
            self.hopeless = named
            return None
        # The named conflict has a layout. Has the whole set one?
        whole = can_stand(rules, lambda i, j: model.meets(rules[i], rules[j]), lut0)
        if stands is None or whole is None:
            self.counts["undecided"] += 1
            print(f"set {self.seed}: the solver gave up", flush=True)
            return None
        return "refused, but has places" if whole else f"can stand together: {members}"

    def judge_frame(self, fields, data, answer):
        rules, numbers = self.live
        first = model.decides(rules, fields)
        wanted = -1 if first is None else numbers[first]
        self.counts["frames"] += 1
        self.counts["hits"] += first is not None
        self.counts["several"] += first is not None and model.decides(rules[first + 1:], fields) is not None
        if int(answer) == wanted:
            return None
        return f"frame {data.hex()}: {answer} decides, not {wanted} of rule {first}; fields {fields}"

    def judge_overlaps(self, rules, answer):
        rows = [int(word, 16) for word in answer.split()]
        for i, rule in enumerate(rules):
            for j in range(i, len(rules)):
                said = rows[i] >> j & 1
                exact = model.meets(rule, rules[j])
                self.counts["pairs"] += 1
                self.counts["overlaps"] += exact
                if exact and not said:
                    return f"overlap not seen: {rule} {rules[j]}"
                if said and not exact:
                    self.counts["careful"] += 1
        return None

    def judge(self, answers):
        for line, expected, answer in zip(self.lines, self.expected, answers):
            wrong = expected(answer)
            if wrong:
                return f"set {self.seed}: {wrong} (after: {line[:60]})"
        return None


def contains(rules, part):
    """True if they are a part of the list, in its order."""
    rest = iter(rules)
    return all(any(rule == other for other in rest) for rule in part)


def run(job):
    probe, seeds, frames = job
    cases = [Case(seed, frames) for seed in seeds]
    script = "".join(line + "\n" for case in cases for line in case.lines)
    answers = subprocess.run([probe], input=script, check=True, capture_output=True, text=True).stdout
    answers = answers.splitlines()
    counts = collections.Counter()
    wrong = []
    at = 0
    for case in cases:
        mine = answers[at:at + len(case.lines)]
        at += len(case.lines)
        fault = case.judge(mine) if len(mine) == len(case.lines) else f"set {case.seed}: answers are missing"
        if fault:
            wrong.append(fault)
        counts += case.counts
    return counts, wrong


def main():
    probe = sys.argv[1]
    given = [int(word) for word in sys.argv[2:]]
    seed, sets, frames, processes = given + [1, 300, 50, 0][len(given):]
    seeds = range(seed, seed + sets)
    jobs = [(probe, seeds[n:n + CHUNK], frames) for n in range(0, sets, CHUNK)]
    total = collections.Counter()
    bad = 0
    with Pool(processes or None) as pool:
        for counts, wrong in pool.imap_unordered(run, jobs):
            total += counts
            bad += len(wrong)
            for line in wrong:
                print(line, flush=True)
    n = total
    print(f"{n['sets']} sets, {n['rules']} rules, {n['applies']} applies, {n['refused']} of them refused "
          f"({n['asked']} put to the solver, {n['undecided']} on which it gave up); {n['frames']} frames, "
          f"{n['hits']} hit, {n['several']} of them several rules; {n['pairs']} pairs, "
          f"{n['overlaps']} overlap, of {n['careful']} others the library does not know; {bad} sets wrong")
    return 1 if bad or total["sets"] != sets else 0


if __name__ == "__main__":
    sys.exit(main())
