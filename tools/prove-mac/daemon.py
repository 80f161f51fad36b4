"""The same headless run as a LaunchDaemon: without a login and without a window server."""

import os
import plistlib
import time

import guests
import streams
from outcomes import Assumption, NotTried, Refuted

LABEL = "parlen-mac-vm.prove"
APPLICATION = "src/platform/macos/application.mm"


class Daemon:
    """The program under launchd, as root, with a FIFO for its standard input."""

    def __init__(self, bench, environment, path):
        self.bench = bench
        folder = os.path.dirname(bench.new_path("daemon"))
        self.output, fifo = os.path.join(folder, "output"), os.path.join(folder, "input")
        os.mkfifo(fifo)
        # Open at both ends, so that neither this process nor launchd waits for the other one.
        self.input = os.open(fifo, os.O_RDWR)
        plist = os.path.join(folder, "daemon.plist")
        with open(plist, "wb") as file:
            plistlib.dump({
                "Label": LABEL,
                "ProgramArguments": [bench.program, "run", "--bundle", path],
                "EnvironmentVariables": environment,
                "StandardInPath": fifo,
                "StandardOutPath": self.output,
                "RunAtLoad": True,
            }, file)
        self.bench.sudo("chown", "root", plist)  # launchd refuses another owner's
        status, text = self.bench.sudo("launchctl", "bootstrap", "system", plist)
        if status != 0:
            os.close(self.input)
            raise NotTried(f"launchctl has failed: {text.strip()}")

    def send(self, text):
        os.write(self.input, text)

    def kill(self):
        self.bench.sudo("launchctl", "kill", "SIGTERM", "system/" + LABEL)

    def expect(self, text):
        deadline = time.monotonic() + self.bench.limit(guests.BOOT)
        while True:
            seen = self.lines()
            if text in seen:
                return
            if time.monotonic() > deadline:
                raise Refuted(f"no {text} in time; its output: {seen[-300:]!r}")
            time.sleep(0.02)

    def lines(self):
        try:
            with open(self.output, encoding="utf-8") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def end(self):
        os.close(self.input)
        self.bench.sudo("launchctl", "bootout", "system/" + LABEL)


def as_daemon(own_host, command=b""):
    def prove(bench):
        bench.need_program()
        path = guests.guest(bench) if own_host else streams.bundle(bench)
        bench.end_all()
        if not bench.has_root():
            raise NotTried("it needs root: run 'sudo -v' first, in the same terminal")
        daemon = Daemon(bench, {} if own_host else streams.simulated(bench), path)
        try:
            daemon.expect('"state":"running"')
            daemon.send(command)
            daemon.send(b'{"type":"pause"}\n')
            daemon.expect('"state":"paused"')
            daemon.kill()
            daemon.expect('"reason":"' + streams.HARD)
        finally:
            daemon.end()

    return prove


STAGE = [
    Assumption("daemon.simulated", "a headless run works under launchd, SIGTERM included",
               "src/platform/macos/system.mm", as_daemon(False)),
    Assumption("daemon.guest", "so does a guest's, without a window server", APPLICATION,
               as_daemon(True)),
    Assumption("daemon.window", "a window that cannot be shown there does not end the run",
               "src/platform/macos/host.mm", as_daemon(True, b'{"type":"window","show":true}\n')),
]
