"""An X display of the test's own, its mouse and keyboard, and a run of the tool in front of it."""

import contextlib
import dataclasses
import json
import os
import queue
import select
import socket
import subprocess
import threading
import time

TIMEOUT = 120  # seconds; a busy machine emulates a guest slowly


class Display:
    """A virtual X server that lives until the `with` block or a call of stop() ends it."""

    def __init__(self, size):
        self.size = size

    def __enter__(self):
        reading, writing = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", f"{self.size}x24",
             "-nolisten", "tcp", "-noreset"],
            pass_fds=[writing], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as number:
            self.name = ":" + number.readline().strip()
        if self.name == ":":
            raise RuntimeError("Xvfb did not start")
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        self.server.terminate()
        self.server.wait()

    def environment(self):
        kept = {name: value for name, value in os.environ.items() if name != "WAYLAND_DISPLAY"}
        # No accessibility bus and no stored settings: nothing of this machine's desktop has an effect.
        return kept | {"DISPLAY": self.name, "NO_AT_BRIDGE": "1", "GSETTINGS_BACKEND": "memory"}

    def run(self, *command):
        return subprocess.run(command, env=self.environment(), check=True,
                              capture_output=True, text=True).stdout

    def mouse(self, x, y):
        """A press and a release of the left button."""
        self.run("xdotool", "mousemove", str(x), str(y), "click", "1")

    def key(self, *names):
        self.run("xdotool", "key", *names)

    def screenshot(self, path):
        self.run("import", "-window", "root", str(path))

    def picture(self):
        """What is on the screen now."""
        raw = subprocess.run(["import", "-window", "root", "-depth", "8", "rgb:-"], check=True,
                             env=self.environment(), capture_output=True).stdout
        return Picture(int(self.size.split("x")[0]), raw)

    def window(self, title):
        """The place of the tool's window with this title; None if there is none on screen."""
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "parlen-mac-vm"],
                               env=self.environment(), capture_output=True, text=True)
        ids = [window for window in found.stdout.split() if self.title(window) == title]
        assert len(ids) <= 1, f"{len(ids)} windows are called {title}"
        return self.geometry(ids[0]) if ids else None

    def title(self, window):
        name = subprocess.run(["xdotool", "getwindowname", window], env=self.environment(),
                              capture_output=True)
        return name.stdout.decode(errors="replace").rstrip("\n")

    def geometry(self, window):
        lines = self.run("xdotool", "getwindowgeometry", "--shell", window).splitlines()
        values = dict(line.split("=") for line in lines)
        return Box(*(int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT")))


class BreakingDisplay:
    """A way to `display` that breaks for good when its clients have sent `limit` bytes."""

    def __init__(self, display, limit):
        self.server = "/tmp/.X11-unix/X" + display.name.removeprefix(":")
        self.left = limit
        self.listener = socket.socket()
        self.listener.bind(("127.0.0.1", 0))
        self.listener.listen()
        # An X display's number is its port's distance to 6000.
        self.name = f"127.0.0.1:{self.listener.getsockname()[1] - 6000}"
        self.clients = set()
        self.peers = {}
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while self.left > 0:
            for source in select.select([self.listener, *self.peers], [], [])[0]:
                if source is self.listener:
                    self._connect()
                elif source in self.peers:
                    self._pass_on(source)
        for end in (self.listener, *self.peers):
            end.close()

    def _connect(self):
        client, _ = self.listener.accept()
        server = socket.socket(socket.AF_UNIX)
        server.connect(self.server)
        self.clients.add(client)
        self.peers |= {client: server, server: client}

    def _pass_on(self, source):
        peer = self.peers[source]
        try:
            data = source.recv(65536)
            if source in self.clients:
                data = data[:self.left]
                self.left -= len(data)
            peer.sendall(data)
        except ConnectionError:
            data = b""
        if not data:
            for end in (source, peer):
                del self.peers[end]
                end.close()


class SilentDisplay:
    """Display servers that accept connections and never answer: an X server at a port of its own and
    a Wayland compositor at a socket in `folder`."""

    def __init__(self, folder):
        self.x = socket.socket()
        self.x.bind(("127.0.0.1", 0))
        # An X display's number is its port's distance to 6000.
        self.x_name = f"127.0.0.1:{self.x.getsockname()[1] - 6000}"
        self.wayland = socket.socket(socket.AF_UNIX)
        self.wayland_name = str(folder / "wayland")
        self.wayland.bind(self.wayland_name)
        for server in (self.x, self.wayland):
            server.listen()
            server.settimeout(TIMEOUT)

    def close(self):
        self.x.close()
        self.wayland.close()


@dataclasses.dataclass(frozen=True)
class Box:
    """A place on the screen; x and y are its top-left corner."""

    x: int
    y: int
    width: int
    height: int


class Picture:
    """Pixels, three bytes each."""

    def __init__(self, width, raw):
        self.width = width
        self.height = len(raw) // (3 * width)
        self.raw = raw

    def at(self, x, y):
        start = 3 * (y * self.width + x)
        return tuple(self.raw[start:start + 3])

    def row(self, y, matches):
        """The x of each pixel of this row that matches."""
        return [x for x in range(self.width) if matches(*self.at(x, y))]

    def column(self, x, matches):
        return [y for y in range(self.height) if matches(*self.at(x, y))]


class Tool:
    """One run of the tool, with the events and the standard error that it has written so far."""

    def __init__(self, program, *arguments, environment=None):
        self.process = subprocess.Popen([program, *map(str, arguments)], env=environment,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)
        self.events = []
        self.errors = []
        self.arrived = queue.Queue()
        self.readers = [threading.Thread(target=self._read_events, daemon=True),
                        threading.Thread(target=self._read_errors, daemon=True)]
        for reader in self.readers:
            reader.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        for reader in self.readers:
            reader.join()
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            with contextlib.suppress(BrokenPipeError):
                pipe.close()

    def _read_events(self):
        for line in self.process.stdout:
            self.arrived.put(line)
        self.arrived.put(None)

    def _read_errors(self):
        for line in self.process.stderr:
            self.errors.append(line.decode(errors="replace").rstrip("\n"))

    def send(self, **command):
        self.process.stdin.write(json.dumps(command).encode() + b"\n")
        self.process.stdin.flush()

    def next_event(self, timeout=TIMEOUT):
        """Waits at most `timeout` seconds for the next event. Every line must be a JSON event."""
        try:
            line = self.arrived.get(timeout=timeout)
        except queue.Empty:
            raise AssertionError(f"no event within {timeout} s; {self.log()}") from None
        if line is None:
            raise AssertionError(f"the tool has ended; {self.log()}")
        event = json.loads(line)
        self.events.append(event)
        return event

    def wait_for(self, timeout=TIMEOUT, **wanted):
        """Reads events until one has these members; an error event before it fails the test."""
        while True:
            event = self.next_event(timeout)
            if all(event.get(name) == value for name, value in wanted.items()):
                return event
            if event["type"] == "error":
                raise AssertionError(self.log())

    def quiet(self):
        """Whether no event has come since the last one that was read."""
        return self.arrived.empty()

    def end(self):
        """Reads events until the tool has ended, and returns its exit status."""
        while (line := self.arrived.get(timeout=TIMEOUT)) is not None:
            self.events.append(json.loads(line))
        status = self.process.wait(timeout=TIMEOUT)
        for reader in self.readers:
            reader.join()
        return status

    def log(self):
        return f"events: {self.events}; standard error: {self.errors}"


def within(timeout, condition):
    """What `condition` returns as soon as that is true, and after `timeout` seconds in any case."""
    end = time.monotonic() + timeout
    while not (value := condition()) and time.monotonic() <= end:
        time.sleep(0.05)
    return value


def until(condition, what, timeout=TIMEOUT):
    """Waits at most `timeout` seconds until `condition` returns something true, and returns that."""
    value = within(timeout, condition)
    if not value:
        raise AssertionError(f"{what} did not happen within {timeout} s")
    return value
