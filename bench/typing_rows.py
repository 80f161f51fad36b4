"""Typing: how late each step of a stroke is sent. The simulated host's trace has the time of each
event, on the real clock."""

import json
import subprocess

from tool import Row, environment

# A letter: down, 40 ms, up, the gap. A capital: shift, 40 ms, down, 40 ms, up, 40 ms, shift, the gap.
GAP_MS = 20
LETTER = (40, GAP_MS)
CAPITAL = (40, 40, 40, GAP_MS)
TEXT = "aB" * 60
BAR_MS = 2


def trace_of(bench, bundle):
    trace = bench.folder / "typing.jsonl"
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
    calls = trace_of(bench, bench.simulated_bundle("typing"))
    times = [call["ms"] for call in calls if call["call"] == "application.sendEvent"]
    planned = [step for c in TEXT for step in (CAPITAL if c.isupper() else LETTER)]
    # A delay counts from when the step before it was sent; the last delay has no event after it.
    assert len(times) == len(planned), f"{len(times)} events instead of {len(planned)}"
    late = sorted(b - a - wanted for a, b, wanted in zip(times, times[1:], planned))
    yield Row("a key's step after its planned time, median", late[len(late) // 2], "ms")
    yield Row("the same, 99th percentile", late[len(late) * 99 // 100], "ms", bar=BAR_MS)
    yield Row("the same, earliest (never early)", -late[0], "ms", bar=0.01)
