# SPDX-License-Identifier: MIT OR GPL-2.0
"""Asks an exact solver whether rules have places in the tables, in an order or in any.

LUT0 comes first, then the lower and the upper sub-table of LUT1. In each, rules stand one after the other in
any order, so that only the tables must be found. Of two rules that overlap, the later one is in no earlier
table.
"""

import collections

import z3

from order_model import shape

TIMEOUT = 5000  # ms for one question
ROOM = (8, 16, 16)


def decided(solver):
    """True, False, or None where the solver gave up."""
    solver.set("timeout", TIMEOUT)
    answer = solver.check()
    return None if answer == z3.unknown else answer == z3.sat


def sizes(rule, lut0):
    """The entries of a rule in each table; 0: the table does not hold it."""
    wide, entries = shape(rule)
    return int(wide and lut0), entries, entries


def fit_at_all(needs):
    """Is there room in any order? Rules that need the same are alike: it is asked how many go where."""
    solver = z3.SimpleSolver()
    loads = [[], [], []]
    for need, count in collections.Counter(needs).items():
        there = [z3.Int(f"{need}{n}") for n in range(3)]
        solver.add(*[variable >= 0 for variable in there], z3.Sum(there) == count)
        for load, size, variable in zip(loads, need, there):
            load.append(size * variable)
            if not size:
                solver.add(variable == 0)
    for load, room in zip(loads, ROOM):
        solver.add(z3.Sum(load) <= room)
    return decided(solver)


def stand_as_bits(needs, pairs):
    """Are there places in order? A question about bits: which table each rule is in."""
    solver = z3.SolverFor("QF_FD")
    tables = [[z3.Bool(f"{table}_{n}") for n in range(len(needs))] for table in range(3)]
    for n, need in enumerate(needs):
        solver.add(z3.PbEq([(table[n], 1) for table in tables], 1))
        solver.add(*[z3.Not(table[n]) for table, size in zip(tables, need) if not size])
    for table, room, load in zip(tables, ROOM, zip(*needs)):
        solver.add(z3.PbLe([(each, max(1, size)) for each, size in zip(table, load)], room))
    for i, j in pairs:
        solver.add(z3.Implies(tables[0][j], tables[0][i]), z3.Implies(tables[2][i], tables[2][j]))
    return decided(solver)


def stand_as_numbers(needs, pairs):
    """The same as a linear program, which is easier where bits are hard."""
    solver = z3.SimpleSolver()
    tables = [[z3.Int(f"{table}_{n}") for n in range(len(needs))] for table in range(3)]
    for n, need in enumerate(needs):
        solver.add(*[table[n] >= 0 for table in tables], z3.Sum([table[n] for table in tables]) == 1)
        solver.add(*[table[n] == 0 for table, size in zip(tables, need) if not size])
    for table, room, load in zip(tables, ROOM, zip(*needs)):
        solver.add(z3.Sum([size * each for each, size in zip(table, load)]) <= room)
    for i, j in pairs:
        solver.add(tables[0][j] <= tables[0][i], tables[2][i] <= tables[2][j])
    return decided(solver)


def can_stand(rules, overlaps, lut0):
    """True if these rules have places. overlaps: a function of two positions; None: any order will do."""
    needs = [sizes(rule, lut0) for rule in rules]
    if not all(map(any, needs)):
        return False
    answer = fit_at_all(needs)
    if answer is False or overlaps is None:
        return answer
    pairs = [(i, j) for i in range(len(rules)) for j in range(i + 1, len(rules)) if overlaps(i, j)]
    answer = stand_as_bits(needs, pairs)
    return stand_as_numbers(needs, pairs) if answer is None else answer
