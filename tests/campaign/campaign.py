#!/usr/bin/env python3
"""A fault campaign against the real program: random faults, from a seed, and what must hold
whatever happens. Each try has a number, which together with the seed decides all that it does;
only the machine's timing differs when a try is repeated.

PARLEN_PROGRAM names the program (build/asan/src/app/parlen-mac-vm).
"""

import argparse
import collections
import importlib
import multiprocessing
import os
import pathlib
import signal
import sys
import tempfile
import time
import traceback

sys.dont_write_bytecode = True

import processes  # noqa: E402
from rules import Violation  # noqa: E402
from shelf import Shelf  # noqa: E402
from world import Skip, World  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
# The kinds of the tries 0, 1, 2 ..., over and over: as often as they are worth it.
CYCLE = ("signals", "emulator", "races", "damage", "signals", "emulator", "parents", "images",
         "signals", "emulator", "limits", "full", "races", "signals", "emulator", "parents",
         "damage", "races", "real", "limits", "display")
# Guards against hangs of the campaign itself; a try waits for the program a few times at most.
TRY_SECONDS = 1800


def kind_of(number):
    return CYCLE[number % len(CYCLE)]


def parse_arguments():
    parser = argparse.ArgumentParser(description="A fault campaign against the real program.")
    parser.add_argument("--seed", type=int, help="decides everything; a new one when left out")
    parser.add_argument("--tries", type=int, help="how many tries (900; with --only, one)")
    parser.add_argument("--seconds", type=float, default=300,
                        help="no try begins later than this (300)")
    parser.add_argument("--kind", choices=sorted(set(CYCLE)), action="append",
                        help="only tries of this kind; may be given several times")
    parser.add_argument("--only", type=int, metavar="N",
                        help="only the try with this number, --tries times (once)")
    parser.add_argument("--jobs", type=int, default=2 * (os.cpu_count() or 1),
                        help="how many tries at once (twice the number of processors)")
    options = parser.parse_args()
    if options.tries is None:
        options.tries = 900 if options.only is None else 1
    if options.seed is None:
        options.seed = int.from_bytes(os.urandom(4), "big")
    return options


def numbers(options):
    """The numbers of the tries to do."""
    if options.only is not None:
        return [options.only] * options.tries
    kinds = options.kind or CYCLE
    found, number = [], 0
    while len(found) < options.tries:
        if kind_of(number) in kinds:
            found.append(number)
        number += 1
    return found


# ---- one try ----

def attempt(program, shelf, seed, number):
    """(result, text): "passed" and the ends seen, "failed" and a report, "skipped" and why."""
    world = World(program, shelf, seed, number)
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(TRY_SECONDS)
    try:
        importlib.import_module(f"kinds.{kind_of(number)}").attempt(world)
        world.check()
        return "passed", ", ".join(world.ends)
    except Violation as violation:
        return "failed", report(world, seed, f"violation: {violation}")
    except Skip as skip:
        return "skipped", str(skip)
    except Exception:  # a mistake of the campaign's own
        return "failed", report(world, seed, traceback.format_exc())
    finally:
        signal.alarm(0)
        world.close()


def give_up(*_):
    raise TimeoutError(f"the try has not ended after {TRY_SECONDS} s")


def report(world, seed, what):
    most = 60
    story = world.story
    if len(story) > 2 * most:
        story = [*story[:most], f"... {len(story) - 2 * most} more ...", *story[-most:]]
    errors = [f"{tool.name}: standard error: {bytes(tool.errors[-1500:]).decode(errors='replace')}"
              for tool in world.tools if tool.errors]
    return "\n".join([
        f"try {world.number} ({kind_of(world.number)}), seed {seed}: {what}",
        *(f"    {line}" for line in (*story, *errors)),
        f"    to repeat: tests/campaign/campaign.py --seed {seed} --only {world.number}", ""])


# ---- all tries ----

def work(program, shelf, seed, todo, position, deadline, results):
    """A worker: takes the next number until there is none, or no time."""
    processes.adopt_orphans()
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    while time.monotonic() < deadline:
        with position.get_lock():
            index = position.value
            position.value += 1
        if index >= len(todo):
            break
        results.put((todo[index], *attempt(program, shelf, seed, todo[index])))
    results.put(None)


def run_all(options, program, shelf):
    """Yields (number, result, text) as the tries end."""
    context = multiprocessing.get_context("fork")
    todo = numbers(options)
    position = context.Value("l", 0)
    results = context.SimpleQueue()
    deadline = time.monotonic() + options.seconds
    workers = [context.Process(target=work, args=(program, shelf, options.seed, todo, position,
                                                  deadline, results))
               for _ in range(min(options.jobs, len(todo)))]
    for worker in workers:
        worker.start()
    left = len(workers)
    while left:
        result = results.get()
        if result is None:
            left -= 1
        else:
            yield result
    for worker in workers:
        worker.join()


def print_table(results):
    """Per kind: how many tries, how many failed, and the ends that were seen."""
    print(f"\n{'kind':10} {'tries':>5} {'failed':>6} {'skipped':>7}  ends seen")
    for kind in dict.fromkeys(CYCLE):
        own = [(result, text) for number, result, text in results if kind_of(number) == kind]
        if not own:
            continue
        count = collections.Counter(result for result, _ in own)
        ends = collections.Counter(end for result, text in own if result == "passed"
                                   for end in text.split(", ") if end)
        seen = ", ".join(f"{end} {number}" for end, number in ends.most_common())
        print(f"{kind:10} {len(own):5} {count['failed']:6} {count['skipped']:7}  {seen}")
    for reason in sorted({text for _, result, text in results if result == "skipped"}):
        print(f"skipped: {reason}")


def main():
    options = parse_arguments()
    program = os.environ.get("PARLEN_PROGRAM", ROOT / "build/asan/src/app/parlen-mac-vm")
    program = str(pathlib.Path(program).resolve())
    if not os.access(program, os.X_OK):
        sys.exit(f"campaign: there is no program {program}")
    print(f"seed {options.seed}", flush=True)
    results = []
    with tempfile.TemporaryDirectory(prefix="campaign-shelf-") as folder:
        shelf = Shelf(program, folder)
        for number, result, text in run_all(options, program, shelf):
            results.append((number, result, text))
            if result == "failed":
                print(f"\n{text}", flush=True)
    print_table(results)
    count = collections.Counter(result for _, result, _ in results)
    for line in sorted({text.splitlines()[0] for _, result, text in results if result == "failed"}):
        print(f"failed: {line[:160]}")
    print(f"{count['passed']} passed, {count['failed']} failed")
    sys.exit(1 if count["failed"] or not count["passed"] else 0)


if __name__ == "__main__":
    main()
