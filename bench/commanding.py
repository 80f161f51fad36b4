"""Reading standard input: many lines, and one line without an end. The reference is `cat`."""

import os
import statistics
import subprocess

from tool import Row, environment, timed

MIB = 1 << 20
LINES = 200_000


def feed(process, data, piece):
    """Writes `data` in pieces of `piece` bytes, closes the input and waits for the exit; returns the
    seconds that this took."""

    def write_all():
        descriptor = process.stdin.fileno()
        view = memoryview(data)
        while view:
            view = view[os.write(descriptor, view[:piece]) :]
        process.stdin.close()
        process.wait()

    seconds = timed(write_all)
    if process.returncode != 0:
        raise RuntimeError(f"the run ended with status {process.returncode}")
    return seconds


def through_tool(bench, bundle, data, piece):
    process = bench.start_run(bundle, "simulated")
    seconds = feed(process, data, piece)
    process.stdout.close()
    return seconds


def through_cat(data, piece):
    command = ["cat"]
    return feed(
        subprocess.Popen(
            command, env=environment(None), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL
        ),
        data,
        piece,
    )


def alternate(bench, bundle, data, piece):
    pairs = [
        (through_tool(bench, bundle, data, piece), through_cat(data, piece)) for _ in range(5)
    ]
    return [statistics.median(times) for times in zip(*pairs)]


def rows(bench):
    bundle = bench.simulated_bundle("commanding")
    # An unknown verb is parsed and looked up like any other, and answered with a warning.
    lines = b'{"type":"no-such-verb","text":"hello","delayMs":100}\n' * LINES
    ours, _ = alternate(bench, bundle, lines, MIB)
    yield Row(f"{LINES // 1000} thousand command lines", ours * 1e6 / LINES, "us/line")

    line = b'{"type":"text","text":"' + b"x" * (64 * MIB)
    for name, piece in (("whole", 64 * MIB), ("4 KiB writes", 4096)):
        quarter, _ = alternate(bench, bundle, line[: 16 * MIB], piece)
        ours, cat = alternate(bench, bundle, line[: 64 * MIB], piece)
        yield Row(f"64 MiB without a line feed, {name} / cat", ours * 1e3, "ms", cat * 1e3)
        # 1 if the time is linear in the length, 4 if it is quadratic; new memory costs a little more.
        yield Row(f"64 MiB / 4 times 16 MiB, {name}", ours * 1e3, "ms", 4e3 * quarter, 1.5)
