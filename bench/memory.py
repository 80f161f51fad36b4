"""What one long command line takes of memory, in bytes for each of its bytes. The line itself is in
memory once, in pieces of what has been read and whole in the buffer that lines are cut from."""

import pathlib
import subprocess

from tool import Row, environment

MIB = 1 << 20
TEXT = 4_000_000
ARRAY = 64 * MIB
# While a line is parsed it may take two bytes for each of its own; afterwards a typed character may
# take eight.
PARSING_BAR = 2
TYPING_BAR = 8
SLACK = 1.1  # pieces that are under way, the tables of the allocator


def kilobytes(process, name):
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
    return int(next(line.split()[1] for line in status.splitlines() if line.startswith(name)))


def wait_for(stream, words):
    for line in stream:
        if words in line:
            return
    raise RuntimeError(f"the run ended before it wrote {words}")


def growth(bench, bundle, line, answer):
    """Sends `line` to a run with a window and waits until `answer` is on standard error. Returns by how
    many bytes the memory of the process has grown: at the most, and in the end."""
    process = subprocess.Popen(
        [bench.program, "run", "--gui", "--bundle", str(bundle)],
        env=environment("simulated"),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
    )
    wait_for(process.stdout, b"running")
    before = kilobytes(process, "VmRSS")
    process.stdin.write(line)
    process.stdin.flush()
    wait_for(process.stderr, answer)
    most, now = kilobytes(process, "VmHWM"), kilobytes(process, "VmRSS")
    process.terminate()
    process.communicate()
    return (most - before) * 1024, (now - before) * 1024


def rows(bench):
    bundle = bench.simulated_bundle("memory")
    text = b'{"type":"text","text":"' + b"aB" * (TEXT // 2) + b'"}\n'
    most, after = growth(bench, bundle, text, b"firstResponder")
    bar = SLACK * (PARSING_BAR + TYPING_BAR)
    yield Row("memory of a text of 4 MB, at the most", most / len(text), "B/byte", bar=bar)
    yield Row("the same while it is typed", after / TEXT, "B/char", bar=SLACK * TYPING_BAR)

    array = b"[" + b"1," * (ARRAY // 2 - 1) + b"1]\n"
    most, _ = growth(bench, bundle, array, b"malformed")
    bar = SLACK * PARSING_BAR
    yield Row("memory of an array of 64 MiB, at the most", most / len(array), "B/byte", bar=bar)
    string = b'{"type":"x","text":"' + b"a" * ARRAY + b'"}\n'
    most, _ = growth(bench, bundle, string, b"unknown command")
    yield Row("memory of a string of 64 MiB, at the most", most / len(string), "B/byte", bar=bar)
