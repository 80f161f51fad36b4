"""One run of the program: its streams, its signals, and how it came to its end."""

import collections
import dataclasses
import errno
import fcntl
import json
import os
import resource
import select
import signal
import subprocess
import time

import processes
import rules

# Guards against hangs only: nothing that is right takes a tenth of it on a machine with ten times as
# much to do as it has processors.
HANG_SECONDS = 300
# How long a guest may take to follow an orderly stop before the parent sends a signal.
ORDERLY_SECONDS = 0.7
# In memory from the moment when the tool begins to open the desktop.
DESKTOP_LIBRARY = "libgtk-3"


@dataclasses.dataclass
class Sent:
    """A signal on its way to the tool, and what it met there."""
    number: int
    default: bool  # the tool had neither a handler for it nor ignored it
    started: bool  # the parent had read the `starting` line


class Tool:
    """`stdin`, `stdout` and `stderr` are "pipe", "closed" (no such descriptor) or a path. `limits`
    maps resources to numbers; `user` is a number to become first; `ignored` are signals."""

    def __init__(self, world, arguments, stdin="pipe", stdout="pipe", stderr="pipe", limits=None,
                 environment=None, user=None, ignored=()):
        self.world = world
        self.arguments = [str(argument) for argument in arguments]
        self.subcommand = self.arguments[0]
        self.sent = []
        self.commands = collections.Counter()
        self.output = bytearray()
        self.errors = bytearray()
        self.lines = []
        self.reads = {"stdout": True, "stderr": True}
        self.closed_early = {name for name, kind in
                             (("stdout", stdout), ("stderr", stderr)) if kind != "pipe"}
        self.stop_requested = False
        self.may_never_stop = False
        self.has_input = False
        self.is_look = False  # a run that only looks at what another one has left
        self.pending = bytearray()
        self.closes_input = False
        self.limits = limits or {}
        self.name = f"{self.subcommand}{world.count_tools()}"
        world.say(f"{self.name}: starts: {' '.join(self.arguments)}"
                  f"{''.join(f' {key}={value}' for key, value in (environment or {}).items())}")
        self._start(stdin, stdout, stderr, environment or {}, user, ignored)

    def _start(self, stdin, stdout, stderr, environment, user, ignored):
        kinds = {0: stdin, 1: stdout, 2: stderr}
        opened = {0: subprocess.PIPE, 1: subprocess.PIPE, 2: subprocess.PIPE}
        for number, kind in kinds.items():
            if kind == "closed":
                opened[number] = subprocess.DEVNULL
            elif kind != "pipe":
                opened[number] = os.open(kind, os.O_RDWR)

        def prepare():
            for number, kind in kinds.items():
                if kind == "closed":
                    os.close(number)
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            for number in ignored:
                signal.signal(number, signal.SIG_IGN)
            for limit, value in self.limits.items():
                resource.setrlimit(limit, (value, value))

        identity = {} if user is None else {"user": user, "group": user, "extra_groups": []}
        self.process = subprocess.Popen(
            [self.world.program, *self.arguments], stdin=opened[0], stdout=opened[1],
            stderr=opened[2], env=self.world.environment | environment, cwd=self.world.cwd,
            bufsize=0, start_new_session=True, preexec_fn=prepare, **identity)
        self.pid = self.process.pid
        self.handle = os.pidfd_open(self.pid)
        for number in opened.values():
            if number >= 0:
                os.close(number)
        self.streams = {"stdout": self.process.stdout, "stderr": self.process.stderr}
        for stream in (self.process.stdin, *self.streams.values()):
            if stream is not None:
                flags = fcntl.fcntl(stream, fcntl.F_GETFL)
                fcntl.fcntl(stream, fcntl.F_SETFL, flags | os.O_NONBLOCK)

    # ---- what the parent does ----

    def write(self, data):
        self.has_input = True
        self.pending += data

    def command(self, verb, **members):
        self.commands[verb] += 1
        self.stop_requested |= verb == "stop"
        self.world.say(f"{self.name}: > {verb}")
        self.write(json.dumps({"type": verb} | members).encode() + b"\n")

    def close_input(self):
        if not self.closes_input:
            self.world.say(f"{self.name}: its input ends")
        self.closes_input = True
        self.stop_requested = True

    def close_stream(self, name):
        """The parent stops listening for good."""
        if self.streams[name] is not None:
            self.world.say(f"{self.name}: the parent closes its {name}")
            self.closed_early.add(name)
            self.streams[name].close()
            self.streams[name] = None

    def signal(self, number):
        has_desktop = processes.maps_file(self.pid, DESKTOP_LIBRARY)
        sent = Sent(number, processes.default_action(self.pid, number), self.has_started)
        self.sent.append(sent)
        self.world.say(f"{self.name}: gets {signal.Signals(number).name}"
                       f"{'' if sent.default else ' (handled)'}")
        if number in (signal.SIGTERM, signal.SIGINT):
            self.stop_requested = True
            self.world.require(not (has_desktop and sent.default),
                               "the desktop is being opened, and signals are not handled")
        processes.send(self.pid, number)

    def children(self):
        return processes.children(self.pid) if not self.over else []

    # ---- what it has written ----

    @property
    def events(self):
        return [event for event in map(rules.parse, self.lines) if event is not None]

    def has(self, **members):
        """Whether an event with these members has been read."""
        return any(members.items() <= event.items() for event in self.events)

    @property
    def has_started(self):
        return any(b'"starting"' in line for line in self.lines)

    @property
    def is_running(self):
        return any(b'"running"' in line for line in self.lines)

    @property
    def over(self):
        return self.process.poll() is not None

    @property
    def status(self):
        return self.process.returncode

    # ---- serving the streams ----

    def descriptors(self):
        """(to read, to write)"""
        reading = [] if self.over else [self.handle]
        reading += [stream for name, stream in self.streams.items()
                    if stream is not None and self.reads[name] and not self.over]
        stdin = self.process.stdin
        writing = [stdin] if stdin is not None and self.pending else []
        return reading, writing

    def serve(self):
        """Moves what can be moved without waiting."""
        self._write_some()
        if self.over:
            self.reads = dict.fromkeys(self.reads, True)
        for name in self.streams:
            while self.streams[name] is not None and self.reads[name]:
                if not self._read_some(name):
                    break

    def _write_some(self):
        stdin = self.process.stdin
        try:
            while stdin is not None and self.pending:
                count = stdin.write(self.pending[:65536])
                if not count:
                    return
                del self.pending[:count]
        except OSError as error:
            if error.errno == errno.EAGAIN:
                return
            self.pending.clear()
        if stdin is not None and self.closes_input and not self.pending:
            stdin.close()
            self.process.stdin = None

    def _read_some(self, name):
        try:
            data = os.read(self.streams[name].fileno(), 1 << 16)
        except BlockingIOError:
            return False
        if not data:
            self.streams[name].close()
            self.streams[name] = None
            return False
        if name == "stderr":
            if len(self.errors) < 1 << 20:
                self.errors += data
            return True
        self.output += data
        *lines, rest = bytes(self.output).split(b"\n")
        self.output = bytearray(rest)
        for line in lines:
            self.lines.append(line)
            self.world.say(f"{self.name}: {line.decode(errors='replace')[:300]}")
        return True

    def pump(self, seconds, until=lambda: False):
        return pump([self], seconds, until)

    # ---- its end ----

    def finish(self):
        """Brings the program to its end, the way a parent does, and checks what it did."""
        self.reads = dict.fromkeys(self.reads, True)
        if any(sent.number == signal.SIGSTOP for sent in self.sent):
            self.signal(signal.SIGCONT)
        if self.subcommand == "run":
            self.close_input()
            if not self.pump(ORDERLY_SECONDS, lambda: self.over):
                self.signal(signal.SIGTERM)
                self.pump(HANG_SECONDS if not self.may_never_stop else 1, lambda: self.over)
            if not self.over and self.may_never_stop:
                self.signal(signal.SIGKILL)
        self.await_end()

    def await_end(self):
        if not self.pump(HANG_SECONDS, lambda: self.over):
            state = (f"state {processes.status_field(self.pid, 'State')}, children: "
                     f"{[processes.command_line(child) for child in self.children()]}")
            processes.send(self.pid, signal.SIGKILL)
            self.process.wait()
            self.world.violate(f"{self.name} hangs ({state})")
        self.serve()
        self.world.say(f"{self.name}: ends with {self.status}")
        words = rules.check(self)
        if not self.is_look:
            self.world.ended(words)

    def abandon(self):
        """Ends it without a look, when the try is over anyway."""
        if not self.over:
            processes.send(self.pid, signal.SIGKILL)
            self.process.wait()
        os.close(self.handle)
        for stream in (self.process.stdin, *self.streams.values()):
            if stream is not None:
                stream.close()


def pump(tools, seconds, until=lambda: False):
    """Serves the streams of all tools for a time, or until the condition holds, or until all tools
    are over. Returns whether the condition holds."""
    deadline = time.monotonic() + seconds
    while not until():
        left = deadline - time.monotonic()
        if left <= 0 or all(tool.over for tool in tools):
            break
        reading, writing = [], []
        for tool in tools:
            more_reading, more_writing = tool.descriptors()
            reading += more_reading
            writing += more_writing
        # The condition may be about something that no descriptor tells.
        select.select(reading, writing, [], min(left, 0.002))
        for tool in tools:
            tool.serve()
    return until()
