"""Keeps what tests see and send for the schemas' test, which runs after them and looks at all of it.

PARLEN_LINES: the folder; without the variable nothing is kept."""

import os
import pathlib


def keep(kind, lines):
    """Adds lines to those of their kind: event, command, scenario, vm."""
    folder = os.environ.get("PARLEN_LINES")
    if not folder:
        return
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    # A file for each process: tests run at the same time.
    with open(f"{folder}/{kind}-{os.getpid()}.jsonl", "a", encoding="utf-8", newline="\n") as file:
        file.writelines(f"{line}\n" for line in lines)


def keep_file(kind, path):
    """A whole file as one line: JSON has line feeds between its words only."""
    keep(kind, [path.read_text(encoding="utf-8").replace("\n", " ")])
