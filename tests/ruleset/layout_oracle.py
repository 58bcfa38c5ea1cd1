#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Layouts of random sets against an exact solver that knows only the tables and the order.

    layout_oracle.py LAYOUT_PROBE [SEED [SETS]]

A layout is checked as it stands. The solver is asked where it matters: is there really none, do the rules
of a conflict really have none, does none move fewer rules.
"""

import json
import subprocess
import sys
from multiprocessing import Pool

try:
    import z3
except ImportError:
    print("layout_oracle: no z3 module for Python", file=sys.stderr)
    sys.exit(77)

NOWHERE, WIDE, NARROW = 0, 1, 2
FEWEST, FOUND, NO_LAYOUT = 0, 1, 2
SPACE = 2
TIMEOUT = 5000  # ms for one question


def cells(place):
    """Action entries that a place takes; the last is its number."""
    table, first, entries = place
    start = first if table == WIDE else 8 + first
    return range(start, start + entries)


def places(case, rule):
    """All places that can hold the rule."""
    taken = {n for n in range(8) if case["reserved_wide"] >> n & 1}
    taken |= {8 + n for n in range(32) if case["reserved_narrow"] >> n & 1}
    found = []
    if rule["wide"]:
        found += [(WIDE, n, 1) for n in range(case["wide_places"])]
    length = rule["entries"]
    if length:
        found += [(NARROW, n, length) for n in range(32) if n % 16 + length <= 16]
    return [place for place in found if not taken.intersection(cells(place))]


def fault(case):
    """The faults of the printed layout."""
    rules = case["rules"]
    used = set()
    for n, rule in enumerate(rules):
        place = tuple(rule["place"])
        if place not in places(case, rule):
            return f"rule {n} cannot stand there"
        if used.intersection(cells(place)):
            return f"rule {n} stands on another"
        used.update(cells(place))
    for i, j in case["overlaps"]:
        if cells(rules[i]["place"])[-1] >= cells(rules[j]["place"])[-1]:
            return f"rule {i} stands after rule {j}"
    moves = sum(1 for rule in rules if rule["now"][0] != NOWHERE and rule["now"] != rule["place"])
    if moves != case["moves"]:
        return f"{moves} moves, not {case['moves']}"
    return None


def exactly_one(solver, variables):
    solver.add(z3.PbEq([(v, 1) for v in variables], 1))


def bins_of(case):
    """(first number, room, wide) of LUT0 and of each run of free entries, in the order of their numbers."""
    room = sum(1 for n in range(case["wide_places"]) if not case["reserved_wide"] >> n & 1)
    bins = [(0, room, True)] if room else []
    for low in (0, 16):
        length = 0
        for n in range(low, low + 17):
            if n < low + 16 and not case["reserved_narrow"] >> n & 1:
                length += 1
            elif length:
                bins.append((8 + n - length, length, False))
                length = 0
    return bins


def has_layout(case, members, ordered):
    """True if these rules have places, whatever their current ones: a bin for each, as a linear program."""
    solver = z3.SimpleSolver()
    solver.set("timeout", TIMEOUT)
    bins = bins_of(case)
    load = [[] for _ in bins]
    rank = {}
    for n in members:
        rule = case["rules"][n]
        fits = []
        for b, (_, room, wide) in enumerate(bins):
            size = int(rule["wide"]) if wide else rule["entries"]
            if 0 < size <= room:
                variable = z3.Int(f"r{n}_{b}")
                solver.add(variable >= 0, variable <= 1)
                fits.append((b, variable))
                load[b].append(size * variable)
        if not fits:
            return False
        solver.add(z3.Sum([v for _, v in fits]) == 1)
        rank[n] = z3.Sum([b * v for b, v in fits])
    for b, (_, room, _) in enumerate(bins):
        solver.add(z3.Sum(load[b]) <= room)
    if ordered:
        for i, j in case["overlaps"]:
            if i in rank and j in rank:
                solver.add(rank[i] <= rank[j])
    return decided(solver)


def movable(case, most_moves):
    """True if the set has a layout with so many moves at most: a place for each rule, entry by entry."""
    solver = z3.SolverFor("QF_FD")
    solver.set("timeout", TIMEOUT)
    rules = case["rules"]
    choice = []
    taken = {}
    moved = []
    for n, rule in enumerate(rules):
        options = [(place, z3.Bool(f"r{n}_{place[0]}_{place[1]}")) for place in places(case, rule)]
        choice.append(options)
        exactly_one(solver, [v for _, v in options])
        for place, variable in options:
            for cell in cells(place):
                taken.setdefault(cell, []).append(variable)
        now = tuple(rule["now"])
        if now[0] != NOWHERE:
            moved.append((z3.Not(dict(options)[now]) if now in dict(options) else z3.BoolVal(True), 1))
    for variables in taken.values():
        if len(variables) > 1:
            solver.add(z3.AtMost(*variables, 1))
    for i, j in case["overlaps"]:
        for last in range(40):
            # If the later one ends here or lower, the earlier one ends lower.
            lower = [v for place, v in choice[j] if cells(place)[-1] == last]
            solver.add(z3.Implies(z3.Or(lower), z3.Or([v for p, v in choice[i] if cells(p)[-1] < last])))
    solver.add(z3.PbLe(moved, most_moves))
    return decided(solver)


def decided(solver):
    """True, False, or None where the solver gave up."""
    answer = solver.check()
    return None if answer == z3.unknown else answer == z3.sat


def check(line):
    case = json.loads(line)
    result = case["result"]
    questions = []
    wrong = None
    if result == NO_LAYOUT:
        questions.append(("there is a layout", has_layout(case, range(len(case["rules"])), True)))
        questions.append((f"the conflict {case['conflict']} can stand together",
                          has_layout(case, case["conflict"], case["reason"] != SPACE)))
        wrong = None if case["conflict"] else "no conflict named"
    else:
        wrong = fault(case)
        if result == FEWEST and case["moves"] > 0:
            fewer = movable(case, case["moves"] - 1)
            questions.append((f"fewer than {case['moves']} moves are enough", fewer))
    for text, answer in questions:
        wrong = wrong or (text if answer else None)
    undecided = any(answer is None for _, answer in questions)
    return result, case["moves"], undecided, wrong and f"set {case['seed']}: {wrong}"


def main():
    probe = sys.argv[1]
    seed = sys.argv[2] if len(sys.argv) > 2 else "1"
    sets = sys.argv[3] if len(sys.argv) > 3 else "300"
    printed = subprocess.run([probe, seed, sets], check=True, capture_output=True, text=True).stdout
    lines = printed.splitlines()
    counts = [0, 0, 0]
    moving = 0
    undecided = 0
    bad = 0
    with Pool() as pool:
        for result, moves, gave_up, wrong in pool.imap_unordered(check, lines, 4):
            counts[result] += 1
            undecided += gave_up
            moving += result == FEWEST and moves > 0
            if wrong:
                print(wrong)
                bad += 1
    print(f"{len(lines)} sets: {counts[FEWEST]} with fewest moves ({moving} of them with moves), "
          f"{counts[FOUND]} not proven fewest, {counts[NO_LAYOUT]} without a layout; {bad} wrong, "
          f"{undecided} on which the solver gave up")
    return 1 if bad or len(lines) != int(sets) else 0


if __name__ == "__main__":
    sys.exit(main())
