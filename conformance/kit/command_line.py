"""The command line of the kit."""

import argparse
import concurrent.futures
import os
import pathlib
import shutil
import sys
import tempfile

from kit.play import Limits, play
from kit.world import make_guest
from scenarios import SCENARIOS

ABOUT = """Runs a parent of parlen-mac-vm through the scenarios of the conformance kit.

    conformance/run [option...] -- <command of the parent...>

README.md says how a parent is asked and what it answers."""


def options():
    parser = argparse.ArgumentParser(prog="run", description=ABOUT,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", default=os.environ.get("PARLEN_PROGRAM", "parlen-mac-vm"),
                        help="the tool; else PARLEN_PROGRAM, else the one in PATH")
    parser.add_argument("--only", action="append", metavar="NAME", help="this scenario only; may be repeated")
    parser.add_argument("-j", "--jobs", type=int, default=4, help="scenarios at a time (4: they mostly wait)")
    parser.add_argument("--limit", type=float, default=30, metavar="SECONDS", help="for one scenario (30)")
    parser.add_argument("--grace", type=float, default=5, metavar="SECONDS",
                        help="for the parent to end after its tool (5)")
    parser.add_argument("--keep", metavar="FOLDER", help="keep what each scenario wrote here")
    parser.add_argument("--list", action="store_true", help="print the scenarios as a table in Markdown")
    parser.add_argument("parent", nargs="*", help="the parent's command")
    return parser


def listing():
    return "\n".join(["| scenario | what a good parent does |", "|---|---|",
                      *(f"| `{case.name}` | {case.says} |" for case in SCENARIOS)])


def chosen(names):
    known = {case.name: case for case in SCENARIOS}
    unknown = [name for name in names or () if name not in known]
    if unknown:
        sys.exit(f"run: no scenario '{unknown[0]}'; --list names all")
    return [known[name] for name in names] if names else list(SCENARIOS)


def row(played):
    word = "-" if played.left_out else "FAILED" if played.faults else "ok"
    head = f"{played.case.name:<22} {word:<7} {played.seconds:5.1f} s"
    return "\n".join([head, *(f"{'':22} {fault}" for fault in played.faults)])


def folder_to_keep(name, cases):
    """The absolute folder, made if it is missing; none of the scenarios may be in it."""
    if name is None:
        return None
    folder = pathlib.Path(name).resolve()
    try:
        folder.mkdir(parents=True, exist_ok=True)
    except OSError as error:
        sys.exit(f"run: the folder '{name}' cannot be used: {error.strerror}")
    there = [case.name for case in cases if (folder / case.name).exists()]
    if there:
        sys.exit(f"run: the folder '{name}' has a '{there[0]}' already; choose another")
    return folder


def play_all(plays, program, jobs):
    """Plays (case, parent, limits, keep) several at a time, and yields how they went in the order given."""
    with tempfile.TemporaryDirectory(prefix="parlen-conformance-") as folder, \
            concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        guest = make_guest(program, pathlib.Path(folder))
        playing = [pool.submit(play, case, parent, program, guest, limits, keep)
                   for case, parent, limits, keep in plays]
        try:
            for future in playing:
                yield future.result()
        finally:
            pool.shutdown(cancel_futures=True)  # after Ctrl-C: what has begun is played to its end


def run(arguments):
    program = shutil.which(arguments.program)
    if program is None:
        sys.exit(f"run: there is no program '{arguments.program}'")
    limits = Limits(arguments.limit, arguments.grace)
    cases = chosen(arguments.only)
    keep = folder_to_keep(arguments.keep, cases)
    plays = [(case, arguments.parent, limits, keep) for case in cases]
    results = []
    for played in play_all(plays, str(pathlib.Path(program).resolve()), arguments.jobs):
        results.append(played)
        print(row(played), flush=True)
    return results


def main():
    parser = options()
    arguments = parser.parse_args()
    if arguments.list:
        print(listing())
        return 0
    if not arguments.parent:
        parser.error("which parent? run [option...] -- <command of the parent...>")
    results = run(arguments)
    faulty = sum(bool(played.faults) for played in results)
    left_out = sum(played.left_out for played in results)
    print(f"\n{len(results) - faulty - left_out} passed, {faulty} failed, {left_out} not supported by the parent")
    return 1 if faulty else 0

