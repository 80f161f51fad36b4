#!/usr/bin/env python3
"""table.py <build folder> <guest image> <work folder> - measures, and prints one table. Exits with 1
when a value is over its bar."""

import itertools
import pathlib
import shutil
import sys

import commanding
import copying
import ending
import memory
import network
import starting
import typing_rows
from tool import Bench


def cell(value, unit=""):
    return "" if value is None else f"{value:.2f} {unit}".rstrip()


def line(name, ours, reference, ratio, bar, verdict):
    return f"{name:45}{ours:>14}{reference:>14}{ratio:>9}{bar:>8}  {verdict}"


def show(row):
    measured = [cell(value, row.unit) for value in (row.ours, row.reference)]
    print(line(row.name, *measured, cell(row.ratio), cell(row.bar), row.verdict), flush=True)


def main():
    build, image, folder = map(pathlib.Path, sys.argv[1:])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    bench = Bench(build.resolve(), image.resolve(), folder.resolve())
    print(line("", "ours", "reference", "ratio", "bar", ""), flush=True)
    measurements = (
        starting.rows,
        copying.clone_rows,
        copying.create_rows,
        commanding.rows,
        memory.rows,
        typing_rows.rows,
        ending.rows,
        network.rows,
    )
    over = False
    for row in itertools.chain.from_iterable(rows(bench) for rows in measurements):
        show(row)
        over = over or row.verdict == "OVER"
    shutil.rmtree(folder)
    return 1 if over else 0


if __name__ == "__main__":
    sys.exit(main())
