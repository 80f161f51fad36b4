"""The command: its options, its stages in order, and its status."""

import argparse
import os
import shutil
import sys
import tempfile

import building
import daemon
import eyes
import guests
import report
import streams
import windows
from bench import Bench
from outcomes import try_out

# Later stages use what earlier ones have made.
STAGES = [
    ("Build, install, sign, test", building.STAGE),
    ("Streams and signals", streams.STAGE),
    ("Windows without a guest", windows.STAGE),
    ("Guests", guests.STAGE),
    ("As a LaunchDaemon", daemon.STAGE),
    ("For your eyes", eyes.STAGE),
]
ANSWERS = {"y": True, "yes": True, "n": False, "no": False}


def ask(question):
    """On the terminal; None for an answer that is neither yes nor no."""
    try:
        return ANSWERS.get(input(f"\n{question} [yes/no] ").strip().lower())
    except EOFError:
        return None


def prove(bench, write=print):
    """Tries all assumptions; returns the results."""
    results = []
    for title, stage in STAGES:
        write(f"\n{title}")
        for assumption in stage:
            results.append(try_out(assumption, bench))
            write(report.line(results[-1]))
    return results


def parse(arguments):
    parser = argparse.ArgumentParser(
        prog="prove-mac",
        description="Tries on this Mac what the program assumes about macOS, an assumption a line: "
        "PROVED, REFUTED with the file to change, or NOT TRIED. Each has a time limit, and what it "
        "starts is ended. Status: 0 when nothing is refuted, 1 when something is, 2 when this is no "
        "Mac or the options are wrong.",
    )
    parser.add_argument("--ipsw", help="a restore image: installs a guest from it (20 minutes)")
    parser.add_argument("--bundle", help="an installed guest; it is cloned, never run or changed")
    parser.add_argument("--gui", action="store_true", help="shows windows, and asks what you see")
    parser.add_argument("--report", default="prove-mac.txt", help="the file to send back")
    parser.add_argument("--folder", help="scratch space on an APFS volume (build/prove-mac)")
    return parser.parse_args(arguments)


def main(source, arguments, system=sys.platform):
    options = parse(arguments)
    if system != "darwin":
        print(f"prove-mac: this proves what only a Mac can show, and this system is {system}; "
              "scripts/test is for here", file=sys.stderr)
        return 2
    for path in (options.ipsw, options.bundle):
        if path and not os.path.exists(path):
            print(f"prove-mac: there is nothing at {path}", file=sys.stderr)
            return 2
    parent = options.folder or os.path.join(source, "build", "prove-mac")
    os.makedirs(parent, exist_ok=True)
    bench = Bench(
        source,
        tempfile.mkdtemp(prefix="try-", dir=parent),
        ipsw=options.ipsw and os.path.abspath(options.ipsw),
        bundle=options.bundle and os.path.abspath(options.bundle),
        gui=options.gui,
        ask=ask if options.gui and sys.stdin.isatty() else None,
    )
    with bench.root():
        results = prove(bench)
    report.write(options.report, bench, results)
    print(f"\n{report.summary(results)}\nPlease send back {options.report}. {report.PRIVACY}")
    keep_guest(bench)
    return 1 if any(result.outcome == "REFUTED" for result in results) else 0


def keep_guest(bench):
    """Removes the scratch space, but for a guest whose installation took twenty minutes."""
    created = bench.known.get("created")
    if created is None:
        shutil.rmtree(bench.folder, ignore_errors=True)
        return
    for name in os.listdir(bench.folder):
        if not created.startswith(os.path.join(bench.folder, name) + os.sep):
            path = os.path.join(bench.folder, name)
            shutil.rmtree(path) if os.path.isdir(path) else os.unlink(path)
    print(f"The installed guest is {created}; it can be given as --bundle.")
