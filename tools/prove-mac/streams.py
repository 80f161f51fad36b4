"""Standard streams and signals, on the simulated host: every kind of input, its end, bursts, slow
readers, and SIGTERM in every state."""

import fcntl
import os
import pty
import signal

from outcomes import Assumption, Refuted

READER = "src/platform/posix/input_reader.cpp"
WRITER = "src/platform/posix/streams.cpp"
SIGNALS = "src/platform/macos/system.mm"
PAUSE, RESUME, STOP = {"type": "pause"}, {"type": "resume"}, {"type": "stop"}
ORDERLY, HARD = "guest stopped after host stop request", "host requested stop"
REFUSED = b'{"type":"text","text":""}\n'  # without a window; answered by an error event of 100 bytes
MANY = 10_000


def simulated(bench, scenario="{}"):
    return {"PARLEN_HOST": "simulated", "PARLEN_SCENARIO": bench.write("scenario.json", scenario)}


def bundle(bench):
    """An installed guest of the simulated host."""
    path = bench.path("simulated-guest")
    if not os.path.exists(path):
        image = bench.write("image.json", '{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        tool = bench.tool("create", "--ipsw", image, "--bundle", path, "--disk-gb", "1",
                          more=simulated(bench))
        tool.expect(type="created")
        tool.expect_status(0)
    return path


def start(bench, scenario="{}", state="running", **streams):
    tool = bench.tool("run", "--bundle", bundle(bench), more=simulated(bench, scenario), **streams)
    if state:
        tool.expect(type="state", state=state)
    return tool


def paused(tool):
    tool.expect(type="guest-power", state="paused")


def pause_and_resume(tool, write):
    write(b'{"type":"pause"}\n')
    paused(tool)
    write(b'{"type":"resume"}\n')
    tool.expect(type="guest-power", state="resumed")


def a_pipe(bench):
    tool = start(bench)
    pause_and_resume(tool, tool.write)
    tool.close_input()
    tool.expect_stopped(ORDERLY)


def a_fifo(bench):
    path = bench.new_path("fifo")
    os.mkfifo(path)
    reading = os.open(path, os.O_RDONLY | os.O_NONBLOCK)
    fcntl.fcntl(reading, fcntl.F_SETFL, 0)
    writing = os.open(path, os.O_WRONLY)
    try:
        try:
            tool = start(bench, stdin=reading)
        finally:
            os.close(reading)
        pause_and_resume(tool, lambda line: os.write(writing, line))
    finally:
        os.close(writing)
    tool.expect_stopped(ORDERLY)


def ends_at_once(bench, path):
    with open(path, "rb") as file:
        start(bench, state="starting", stdin=file).expect_stopped()


def a_file(bench):
    ends_at_once(bench, bench.write("commands", '{"type":"bogus"}\n'))


def null_device(bench):
    ends_at_once(bench, os.devnull)


def closed_input(bench):
    bench.need_program()
    path = bundle(bench)
    closing = 'exec "$0" "$@" <&-'
    status, output = bench.run(["/bin/sh", "-c", closing, bench.program, "run", "--bundle", path],
                               20, simulated(bench))
    if status != 0 or '"state":"stopped"' not in output:
        raise Refuted(f"it ended with status {status}: {output[-200:]}")


def a_terminal(bench):
    near, far = pty.openpty()
    try:
        try:
            tool = start(bench, stdin=far)
        finally:
            os.close(far)
        pause_and_resume(tool, lambda line: os.write(near, line))
        os.write(near, b"\x04")
        tool.expect_stopped(ORDERLY)
    finally:
        os.close(near)


def split_commands(bench):
    tool = start(bench)
    for line, state in ((b'{"type":"pause"}\n', "paused"), (b'{"type":"resume"}\n', "resumed")):
        for byte in line:
            tool.write(bytes([byte]))
            tool.wait_until_read()
        tool.expect(type="guest-power", state=state)


def count_errors(tool, number):
    """Up to the pause, which is asked for here if the guest has not been seen to run before."""
    seen = 0
    while True:
        event = tool.event()
        if event is None:
            raise Refuted(f"it ended after {seen} answers")
        if event.get("state") == "paused":
            break
        if event.get("state") == "running":
            tool.send(PAUSE)
        seen += event.get("type") == "error"
    if seen != number:
        raise Refuted(f"{seen} of {number} commands were answered")


def a_burst(bench):
    tool = start(bench)
    tool.write(REFUSED * MANY + b'{"type":"pause"}\n')
    count_errors(tool, MANY)


def a_long_line(bench):
    tool = start(bench)
    tool.write(b'{"type":"pause","padding":"' + b"x" * (1 << 20) + b'"}\n')
    paused(tool)


def slow_reader(flags):
    def prove(bench):
        bundle(bench)  # needs a reader
        reading, writing = os.pipe()
        fcntl.fcntl(writing, fcntl.F_SETFL, fcntl.fcntl(writing, fcntl.F_GETFL) | flags)
        with os.fdopen(reading, "rb") as output:
            tool = start(bench, state=None, stdout=(writing, reading))
            tool.write(REFUSED * MANY)  # 1 MB of answers; nobody reads
            tool.read(os.fdopen(os.dup(output.fileno()), "rb"))
            count_errors(tool, MANY)

    return prove


def signalled(number, scenario="{}", state="running", sent=()):
    def prove(bench):
        tool = start(bench, scenario, state)
        for command in sent:
            tool.send(command)
        if sent:
            paused(tool)
        tool.signal(number)
        tool.expect_stopped(HARD)

    return prove


SLOW_START, NO_SHUTDOWN = '{"machine":{"startMs":600000}}', '{"machine":{"shutdownMs":null}}'

STAGE = [
    Assumption("streams.pipe", "commands come through a pipe, and its end stops the guest", READER,
               a_pipe),
    Assumption("streams.fifo", "the end of a named FIFO is noticed", READER, a_fifo),
    Assumption("streams.file", "the end of a plain file is noticed", READER, a_file),
    Assumption("streams.null", "the end of /dev/null is noticed", READER, null_device),
    Assumption("streams.closed", "a closed standard input is an end", READER, closed_input),
    Assumption("streams.terminal", "commands and Control-D come from a terminal", READER, a_terminal),
    Assumption("streams.split", "a command may be split at every byte", READER, split_commands),
    Assumption("streams.burst", "10,000 commands at once are all answered", READER, a_burst),
    Assumption("streams.long", "a line of 1 MiB is one command", READER, a_long_line),
    Assumption("streams.full", "a write to a full pipe waits for its reader", WRITER, slow_reader(0)),
    Assumption("streams.nonblocking", "so does one to a pipe that does not block", WRITER,
               slow_reader(os.O_NONBLOCK)),
    Assumption("signals.starting", "SIGTERM while the machine starts ends the run hard", SIGNALS,
               signalled(signal.SIGTERM, SLOW_START, "starting")),
    Assumption("signals.running", "SIGTERM while it runs does", SIGNALS, signalled(signal.SIGTERM)),
    Assumption("signals.paused", "SIGTERM while it is paused does", SIGNALS,
               signalled(signal.SIGTERM, sent=[PAUSE])),
    Assumption("signals.stopping", "SIGTERM during an orderly stop does", SIGNALS,
               signalled(signal.SIGTERM, NO_SHUTDOWN, sent=[STOP, PAUSE])),
    Assumption("signals.interrupt", "SIGINT is the same as SIGTERM", SIGNALS,
               signalled(signal.SIGINT)),
]
