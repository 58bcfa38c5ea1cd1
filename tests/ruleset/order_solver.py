# SPDX-License-Identifier: MIT OR GPL-2.0
"""Asks an exact solver whether rules have places in the tables, in an order or in any."""

import collections

import z3

from order_model import shape

TIMEOUT = 5000  # ms for one question


def fit_at_all(shapes, lut0):
    """Asks the solver: is there room for these rules in any order? It counts rules of a shape."""
    solver = z3.SimpleSolver()
    solver.set("timeout", TIMEOUT)
    loads = [[z3.IntVal(0)], [z3.IntVal(0)], [z3.IntVal(0)]]
    for (wide, entries), count in collections.Counter(shapes).items():
        there = [z3.Int(f"{wide}_{entries}_{n}") for n in range(3)]
        solver.add(*[variable >= 0 for variable in there], z3.Sum(there) == count)
        if not wide or not lut0:
            solver.add(there[0] == 0)
        if not entries:
            solver.add(there[1] == 0, there[2] == 0)
        for load, size, variable in zip(loads, (1, entries, entries), there):
            load.append(size * variable)
    for load, room in zip(loads, (8, 16, 16)):
        solver.add(z3.Sum(load) <= room)
    return decided(solver)


def can_stand(rules, overlaps, lut0):
    """Asks the solver: have these rules places? overlaps: of two positions; None: any order will do.

    LUT0 comes first, then the lower and the upper sub-table of LUT1. In each, rules stand one after the
    other in any order, so that only the tables must be found.
    """
    shapes = [shape(rule) for rule in rules]
    fit = fit_at_all(shapes, lut0)
    if fit is not True or overlaps is None:
        return fit
    solver = z3.SimpleSolver()
    solver.set("timeout", TIMEOUT)
    # Of each rule: is it behind LUT0, is it behind the lower sub-table as well?
    behind = [z3.Int(f"b{n}") for n in range(len(rules))]
    upper = [z3.Int(f"u{n}") for n in range(len(rules))]
    for n, (wide, entries) in enumerate(shapes):
        solver.add(0 <= upper[n], upper[n] <= behind[n], behind[n] <= 1)
        if not wide or not lut0:
            solver.add(behind[n] == 1)
        if not entries:
            solver.add(behind[n] == 0)
    solver.add(z3.Sum([1 - b for b in behind]) <= 8)
    solver.add(z3.Sum([size * (b - u) for (_, size), b, u in zip(shapes, behind, upper)]) <= 16)
    solver.add(z3.Sum([size * u for (_, size), u in zip(shapes, upper)]) <= 16)
    for i in range(len(rules)):
        for j in range(i + 1, len(rules)):
            if overlaps(i, j):
                solver.add(behind[i] <= behind[j], upper[i] <= upper[j])
    return decided(solver)


def decided(solver):
    """True, False, or None where the solver gave up."""
    answer = solver.check()
    return None if answer == z3.unknown else answer == z3.sat
