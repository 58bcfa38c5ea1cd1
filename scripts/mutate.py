#!/usr/bin/env python3
# SPDX-License-Identifier: MIT OR GPL-2.0
"""Plants small faults in ifc/, ruleset/ and engine/, one at a time, and runs the tests that can see each.

    mutate.py [FOLDER|FILE...] [--sample N] [--seed S] [--again]
    mutate.py --promises [OPERATION...] [--sample N] [--seed S]

Works in copies of the sources under build/mutate, and never changes the tree. Each outcome is a line of
build/mutate/results, so an interrupted run goes on. build/mutate/survivors lists the faults that no test saw.
"""
import argparse
import fcntl
import os
import queue
import random
import sys
import threading
import time
from collections import Counter, namedtuple

from mutate_bench import Bench
from mutate_build import Build, tests_of
from mutate_faults import FOLDERS, WORK, faults_of, sources, take_copy
from mutate_promises import check

Outcome = namedtuple("Outcome", "key verdict place what by")
VERDICTS = ("caught", "survived", "no effect", "not compiled")


def read_results():
    path = WORK / "results"
    if not path.exists():
        return {}
    rows = [Outcome(*line.split("\t")) for line in path.read_text().splitlines() if line.count("\t") == 4]
    return {row.key: row for row in rows}


def main():
    arguments = argparse.ArgumentParser(prog="./run mutate", description=__doc__.splitlines()[0])
    arguments.add_argument("places", nargs="*", metavar="FOLDER|FILE", help="ifc, ruleset, engine, or part of them")
    arguments.add_argument("--sample", type=int, metavar="N", help="that many faults of all that there are")
    arguments.add_argument("--seed", type=int, default=1, metavar="S", help="another seed takes another sample")
    arguments.add_argument("--again", action="store_true", help="plant those that survived once more")
    arguments.add_argument("--promises", action="store_true", help="the places are operations: do the tests that "
                           "docs/behaviour.md names for them see faults in their code? Eight each, or N")
    options = arguments.parse_args()
    if options.sample is not None and options.sample < 1:
        arguments.error(f"--sample {options.sample}: at least 1")
    WORK.mkdir(parents=True, exist_ok=True)
    alone = open(WORK / "lock", "w")
    try:
        fcntl.flock(alone, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f"mutate: another run works in {WORK}")
    take_copy()
    if options.promises:
        check(options.places, options.sample or 8, options.seed)
        return
    chosen = [fault for file in sources(options.places) for fault in faults_of(file)]
    print(f"mutate: {len(chosen)} faults can be planted", flush=True)
    if options.sample is not None and options.sample < len(chosen):
        chosen = random.Random(options.seed).sample(chosen, options.sample)
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
    build = Build(tests)
    waiting = queue.SimpleQueue()
    for fault in faults:
        waiting.put(fault)
    lock = threading.Lock()
    begin = time.monotonic()
    known = sum(counts.values())

    def work(number, log):
        bench = Bench(build, number)
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
