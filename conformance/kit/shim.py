"""Stands between a parent and the tool: records both streams, and changes the events if it is told to.

    shim.py <settings.json> <the tool's arguments...>

It becomes the tool, so the parent's signals and the exit status are the real ones. What copies the streams are
processes of a session of their own, which end with the streams."""

import array
import fcntl
import json
import os
import select
import signal
import sys
import termios
import time

CHUNK = 65536
# Less than a pipe holds anywhere, so that a parent that does not read holds the tool up soon.
EVENT_CHUNK = 4096
PIECE = 7  # bytes
SET_PIPE_SIZE = 1031  # F_SETPIPE_SZ of Linux


class Record:
    """What has passed, one JSON object per line, in the order in which it passed."""

    def __init__(self, folder):
        self.file = os.open(f"{folder}/lines", os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600)

    def write(self, sender, lines):
        now = time.monotonic()
        text = "".join(json.dumps({"at": now, "from": sender, "line": line.decode(errors="replace")}) + "\n"
                       for line in lines)
        os.write(self.file, text.encode())


class Lines:
    """Cuts chunks of bytes into lines."""

    def __init__(self):
        self.rest = b""

    def add(self, chunk):
        *lines, self.rest = (self.rest + chunk).split(b"\n")
        return lines


def write_all(descriptor, data):
    while data:
        data = data[os.write(descriptor, data):]


def changed(line, change):
    """The event with what `change` does to it."""
    event = json.loads(line)
    change(event)
    return json.dumps(event).encode()


def is_state(line, state):
    event = json.loads(line)
    return event.get("type") == "state" and event.get("state") == state


UNKNOWN_EVENT = (b'{"type":"weather","state":"running","code":"vm-limit","sky":["blue",{"input":"text"}],"proto":2}')
UNKNOWN_CODE = b'{"type":"error","code":"tea-time","message":"nothing that matters to anybody"}'
UNKNOWN_MEMBERS = {"unit": None, "sequence": 12345678901234567890, "tags": ["a", [], {"type": "error"}],
                   "origin": {"type": "state", "state": "stopped", "crashed": True}, "": "\u00e9\U0001f600\n"}

# What can be done to an event: the lines that the parent gets instead of it.
CHANGES = {
    "unknown-events": lambda line: [line] if is_state(line, "stopped") else [line, UNKNOWN_EVENT],
    "unknown-code": lambda line: [line, UNKNOWN_CODE] if is_state(line, "running") else [line],
    "unknown-members": lambda line: [changed(line, lambda event: event.update(UNKNOWN_MEMBERS))],
    "later-protocol": lambda line: [line.replace(b'"proto":1', b'"proto":2')],
}


def wait_for_reader():
    """Until the parent has taken what was written, where the kind of its stream can tell; at most 0.1 s."""
    unread = array.array("i", [0])
    for _ in range(100):
        time.sleep(0.001)
        try:
            fcntl.ioctl(1, termios.FIONREAD, unread)
        except OSError:
            return
        if unread[0] == 0:
            return


def copy_events(source, record, change):
    """From the tool to the parent. A parent that does not read holds this up, and this the tool."""
    lines = Lines()
    while chunk := os.read(source, EVENT_CHUNK):
        whole = lines.add(chunk)
        record.write("tool", whole)
        if change == "in-pieces":
            for at in range(0, len(chunk), PIECE):
                write_all(1, chunk[at:at + PIECE])
                wait_for_reader()
        elif change:
            for line in whole:
                write_all(1, b"".join(new + b"\n" for new in CHANGES[change](line)))
        else:
            write_all(1, chunk)


def copy_commands(target, record):
    """From the parent to the tool, until either has gone."""
    lines = Lines()
    waiting = select.poll()
    waiting.register(0, select.POLLIN)
    waiting.register(target, 0)
    while True:
        if any(descriptor == target for descriptor, _ in waiting.poll()):
            return
        chunk = os.read(0, CHUNK)
        if not chunk:
            return
        record.write("parent", lines.add(chunk))
        write_all(target, chunk)


def in_background(work):
    """Runs `work` in a process that is nobody's child and gets no signal of the parent's."""
    child = os.fork()
    if child:
        os.waitpid(child, 0)
        return
    status = 1
    try:
        os.setsid()
        if os.fork() == 0:
            work()
        status = 0
    except OSError:
        pass  # the other end has gone
    finally:
        os._exit(status)


def between(record, change):
    """Puts the two copiers between this process and its standard input and output."""
    nothing = os.open(os.devnull, os.O_RDWR)
    from_tool, to_parent = os.pipe()
    if sys.platform == "linux":
        fcntl.fcntl(to_parent, SET_PIPE_SIZE, EVENT_CHUNK)
    from_parent, to_tool = os.pipe()

    def events():
        for descriptor in (to_parent, from_parent, to_tool):
            os.close(descriptor)
        os.dup2(nothing, 0)
        os.dup2(nothing, 2)
        copy_events(from_tool, record, change)

    def commands():
        for descriptor in (from_tool, to_parent, from_parent):
            os.close(descriptor)
        os.dup2(nothing, 1)
        os.dup2(nothing, 2)
        copy_commands(to_tool, record)

    in_background(events)
    in_background(commands)
    os.dup2(from_parent, 0)
    os.dup2(to_parent, 1)
    os.closerange(3, 64)


def claim(folder):
    """A folder for this start of the tool: start-0, start-1, ..."""
    for number in range(1000):
        try:
            os.mkdir(f"{folder}/start-{number}")
            return f"{folder}/start-{number}"
        except FileExistsError:
            continue
    raise OSError("started too often")


def main(settings_path, *arguments):
    with open(settings_path, encoding="utf-8") as file:
        settings = json.load(file)
    folder = claim(settings["records"])
    os.environ.update(settings["environment"], PARLEN_TRACE=f"{folder}/trace")
    between(Record(folder), settings["change"])
    with open(f"{folder}/new", "w", encoding="utf-8") as file:
        json.dump({"pid": os.getpid(), "arguments": arguments}, file)
    os.rename(f"{folder}/new", f"{folder}/start")  # its name appears when all is written
    # Python ignores these, and ignored signals stay so.
    for number in (signal.SIGPIPE, signal.SIGXFSZ):
        signal.signal(number, signal.SIG_DFL)
    os.execv(settings["program"], [settings["program"], *arguments])


if __name__ == "__main__":
    main(*sys.argv[1:])
