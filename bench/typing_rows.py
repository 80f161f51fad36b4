"""Typing: how late each step of a stroke is sent. The simulated host's trace has the time of each
event, on the real clock. The reference is a bare program that waits for the same times beside it: a
process that wakes up waits for a processor, on a busy machine often until the next tick of the
scheduler (4 ms at 250 Hz), and that is not ours. The bar is for what the tool adds."""

import json
import pathlib
import subprocess
import tempfile

from tool import Row, environment

# A letter: down, 40 ms, up, the gap. A capital: shift, 40 ms, down, 40 ms, up, 40 ms, shift, the gap.
GAP_MS = 20
LETTER = (40, GAP_MS)
CAPITAL = (40, 40, 40, GAP_MS)
TEXT = "aB" * 180  # many steps, or the 99th percentile is one of chance
BAR_MS = 2


def start_bare_waits(bench, planned):
    command = [bench.bare_waits, *map(str, planned)]
    return subprocess.Popen(command, env=environment(None), stdout=subprocess.PIPE, text=True)


def percentile(values, percent):
    return sorted(values)[len(values) * percent // 100]


def trace_of(bench, bundle):
    # In memory: writing the trace must not wait for a disk.
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        return typed(bench, bundle, pathlib.Path(folder) / "trace.jsonl")


def typed(bench, bundle, trace):
    process = subprocess.Popen(
        [bench.program, "run", "--gui", "--bundle", str(bundle)],
        env=environment("simulated") | {"PARLEN_TRACE": str(trace)},
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    )
    command = {"type": "text", "text": TEXT, "delayMs": GAP_MS}
    process.stdin.write(json.dumps(command).encode() + b"\n")
    process.stdin.flush()
    for line in process.stdout:
        if json.loads(line)["type"] == "input-done":
            break
    process.stdin.close()
    process.stdout.close()
    process.wait()
    return [json.loads(line) for line in trace.read_text().splitlines()]


def rows(bench):
    bundle = bench.simulated_bundle("typing")
    planned = [step for c in TEXT for step in (CAPITAL if c.isupper() else LETTER)]
    waits = start_bare_waits(bench, planned)
    calls = trace_of(bench, bundle)
    bare = list(map(float, waits.communicate()[0].split()))
    times = [call["ms"] for call in calls if call["call"] == "application.sendEvent"]
    # A delay counts from when the step before it was sent; the last delay has no event after it.
    assert len(times) == len(planned), f"{len(times)} events instead of {len(planned)}"
    late = [b - a - wanted for a, b, wanted in zip(times, times[1:], planned)]
    median, worst = ((percentile(late, percent), percentile(bare, percent)) for percent in (50, 99))
    yield Row("a key's step late, median / a bare wait", median[0], "ms", median[1])
    yield Row("the same, 99th percentile / a bare wait", worst[0], "ms", worst[1])
    yield Row("the same, more than the bare wait", worst[0] - worst[1], "ms", bar=BAR_MS)
    yield Row("the same, earliest (never early)", -min(late), "ms", bar=0.01)
