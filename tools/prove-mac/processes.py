"""Processes with a time limit and a process group of their own, so that none can hang the whole or
leave something behind."""

import array
import fcntl
import json
import os
import queue
import signal
import subprocess
import termios
import threading
import time

from outcomes import Refuted


class Hung(Refuted):
    """A command did not end in time. `output` is what it had written."""

    def __init__(self, why, output):
        super().__init__(why)
        self.output = output


def end(process):
    """Kills what is left of the process's group, and waits for the process itself."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except (ProcessLookupError, PermissionError):
        pass  # all of it has ended; a Mac says EPERM when only the unwaited leader is left
    process.wait()


def run(arguments, limit, environment=None, folder=None, own_session=True):
    """Runs a command without input to its end; returns its status and all of its output. It has no
    terminal, unless `own_session` is false: then it keeps this process's.

    Hung when it does not end within `limit` seconds, Refuted when it cannot be started."""
    try:
        process = subprocess.Popen(
            arguments,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            env=environment,
            cwd=folder,
            start_new_session=own_session,
            preexec_fn=None if own_session else os.setpgrp,  # process_group= is of Python 3.11
        )
    except OSError as error:
        raise Refuted(f"{arguments[0]} does not start: {error.strerror}") from None
    try:
        output, _ = process.communicate(timeout=limit)
    except subprocess.TimeoutExpired as expired:
        end(process)
        seen = (expired.output or b"").decode("utf-8", "replace")
        why = f"'{os.path.basename(arguments[0])}' did not end within {limit:g} s"
        raise Hung(f"{why}; last lines: {last_lines(seen)}", seen) from None
    finally:
        end(process)
        process.stdout.close()
    return process.returncode, output.decode("utf-8", "replace")


def last_lines(text, count=5):
    return " | ".join(text.strip().splitlines()[-count:])


class Tool:
    """One process of the program, driven as its parent drives it."""

    def __init__(self, arguments, limit, environment=None, stdin=subprocess.PIPE, stdout=None):
        """`stdin`: a descriptor, or a pipe. `stdout`: the writing and the reading end of a pipe
        whose reading begins with read(); without it reading begins at once."""
        self.limit = limit
        self.events = []  # all so far
        self.ended = False  # the end of its output has been seen
        self.lines = queue.Queue()
        piped = stdin == subprocess.PIPE
        reading, writing = os.pipe() if piped else (stdin, None)
        self.process = subprocess.Popen(
            arguments,
            stdin=reading,
            stdout=subprocess.PIPE if stdout is None else stdout[0],
            stderr=subprocess.DEVNULL,
            env=environment,
            start_new_session=True,
        )
        if piped:
            # Only of the reading end does every system tell how much is unread.
            self.unread = os.fdopen(reading, "rb", buffering=0)
            self.process.stdin = os.fdopen(writing, "wb", buffering=0)
        if stdout is None:
            self.read(self.process.stdout)
        else:
            os.close(stdout[0])

    def read(self, file):
        threading.Thread(target=self._read, args=[file], daemon=True).start()

    def _read(self, file):
        with file:
            for line in file:
                self.lines.put(line)
        self.lines.put(None)

    def send(self, *commands):
        self.write(b"".join(json.dumps(command).encode() + b"\n" for command in commands))

    def write(self, data):
        """Refuted when the program does not take all of it within the limit."""
        errors = []
        writer = threading.Thread(target=self._write, args=[data, errors], daemon=True)
        writer.start()
        writer.join(self.limit)
        if writer.is_alive() or errors:
            raise Refuted(f"it did not take its input within {self.limit:g} s{self.so_far()}")

    def _write(self, data, errors):
        try:
            while data:
                data = data[os.write(self.process.stdin.fileno(), data) :]
        except (OSError, ValueError) as error:
            errors.append(error)

    def wait_until_read(self):
        """Waits until the program has read all that was written to its pipe."""
        waiting = array.array("i", [1])
        deadline = time.monotonic() + self.limit
        while waiting[0]:
            fcntl.ioctl(self.unread.fileno(), termios.FIONREAD, waiting)
            if time.monotonic() > deadline:
                raise Refuted(f"it does not read its input{self.so_far()}")

    def close_input(self):
        self.process.stdin.close()

    def signal(self, number):
        self.process.send_signal(number)

    def event(self, limit=None):
        """The next event; None at the end. Refuted when nothing comes."""
        limit = self.limit if limit is None else limit
        try:
            line = self.lines.get(timeout=limit)
        except queue.Empty:
            raise Refuted(f"no event within {limit:g} s{self.so_far()}") from None
        if line is None:
            self.ended = True
            self.lines.put(None)
            return None
        try:
            self.events.append(json.loads(line))
        except ValueError:
            raise Refuted(f"a line is no JSON: {line[:80]!r}") from None
        return self.events[-1]

    def expect(self, limit=None, **members):
        """Skips events up to the one with these members. Refuted when there is none."""
        while True:
            event = self.event(limit)
            if event is None:
                wanted = json.dumps(members)
                raise Refuted(f"it ended without an event with {wanted}{self.so_far()}")
            if all(event.get(name) == value for name, value in members.items()):
                return event

    def expect_quiet(self, seconds):
        """Nothing comes for so long."""
        try:
            line = self.lines.get(timeout=seconds)
        except queue.Empty:
            return
        self.lines.put(line)
        raise Refuted(f"it did not go on for {seconds:g} s, but: {line!r}")

    def expect_status(self, status):
        try:
            seen = self.process.wait(self.limit)
        except subprocess.TimeoutExpired:
            raise Refuted(f"it did not end within {self.limit:g} s{self.so_far()}") from None
        if seen != status:
            raise Refuted(f"it ended with status {seen}{self.so_far()}")

    def expect_stopped(self, reason="", status=0):
        """Its end: a stopped line whose reason begins so (or in one of these ways), then the status."""
        event = self.expect(type="state", state="stopped")
        if not event.get("reason", "").startswith(reason):
            raise Refuted(f"it stopped with the reason '{event.get('reason')}'")
        if self.event() is not None:
            raise Refuted(f"an event came after the end{self.so_far()}")
        self.expect_status(status)

    def so_far(self):
        return "; last events: " + " ".join(json.dumps(event) for event in self.events[-3:])

    def end(self):
        end(self.process)
        if self.process.stdin:
            try:
                self.process.stdin.close()
            except OSError:
                pass
