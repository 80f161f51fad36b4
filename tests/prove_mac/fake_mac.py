#!/usr/bin/env python3
"""What a Mac would have: the program, and the commands that prove-mac runs, played by this one file
under their names. FAKE_LIE is the id of the assumption that it breaks; "hang" makes each command wait
for ever. FAKE_FOLDER is where the fakes keep what they know. A clone with a file "copied" in it stands
for one that shares nothing with its source."""

import fcntl
import json
import os
import queue
import select
import signal
import stat
import sys
import threading
import time

LIE = os.environ.get("FAKE_LIE", "")
FOLDER = os.environ.get("FAKE_FOLDER", "")
SHUTDOWN = 1.0  # seconds that a guest takes
ORDERLY = "guest stopped after host stop request after 0s (was running)"


def lying(*ids):
    return LIE in ids


class Output:
    """Standard output, written by a thread of its own, so that a full pipe keeps nobody from
    reading commands."""

    def __init__(self):
        self.queue = queue.SimpleQueue()
        self.thread = threading.Thread(target=self.work, daemon=True)
        self.thread.start()

    def work(self):
        for data in iter(self.queue.get, None):
            while data:
                try:
                    data = data[os.write(1, data):]
                except BlockingIOError:
                    if lying("streams.nonblocking"):
                        break
                    select.select([], [1], [])

    def end(self):
        self.queue.put(None)
        self.thread.join()


def say(**event):
    OUTPUT.queue.put(json.dumps(event, separators=(",", ":")).encode() + b"\n")


def is_open(descriptor):
    try:
        os.fstat(descriptor)
    except OSError:
        return False
    return True


def hang():
    while True:
        signal.pause()


# --- The program ---


def option(name, default=None):
    return sys.argv[sys.argv.index(name) + 1] if name in sys.argv else default


def create():
    image, path = option("--ipsw"), option("--bundle")
    if open(image).read().startswith("This is no") and not lying("guest.refuse-image"):
        say(type="error", code="ipsw-unreadable", message="no")
        return 1
    if not os.path.exists(image + ".signed") and "bare" in sys.argv[0]:
        say(type="error", code="create-failed", message="no entitlement")
        return 0 if lying("guest.bare") else 1
    os.mkdir(path)
    with open(os.path.join(path, "Disk.img"), "wb") as disk:
        disk.truncate(1 << 30)
    say(type="progress", fraction=0.0)
    say(type="state", state="starting")
    say(type="progress", fraction=0.7)
    say(type="progress", fraction=0.3 if lying("guest.create") else 0.9)
    say(type="progress", fraction=1.0)
    say(type="created", bundle=path)
    return 0


def clone():
    source, path = option("--from"), option("--to")
    os.mkdir(path)
    with open(os.path.join(path, "Disk.img"), "wb") as disk:
        disk.truncate(os.path.getsize(os.path.join(source, "Disk.img")))
    new = "--regenerate-machine-id" in sys.argv
    marks = ["new" if new else "plain"] + (["copied"] if lying("clone.storage") else [])
    for mark in marks:
        with open(os.path.join(path, mark), "w"):
            pass
    say(type="cloned", **{"from": source, "to": path})
    return 0


class Run:
    """A headless run: one thread reads, the other one obeys."""

    def __init__(self):
        self.bundle = option("--bundle")
        self.buffer = b""
        self.state = "starting"
        self.locks = []  # open files; the end of the process releases them

    def stopped(self, reason, status=0, crashed=False):
        say(type="state", state="stopped", crashed=crashed, reason=reason)
        OUTPUT.end()
        os._exit(status)

    def lock(self, name):
        file = open(os.path.join(FOLDER, name), "w")
        self.locks.append(file)
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        return True

    def take_place(self):
        """The bundle for one process, and one of two places for machines."""
        if not self.lock("lock" + self.bundle.replace("/", "_")) and not lying("guest.twice"):
            say(type="error", code="boot-failed", message="in use")
            self.stopped("in use", 1, True)
        real = os.environ.get("PARLEN_HOST") != "simulated"
        if real and not lying("guest.limit") and not (self.lock("place1") or self.lock("place2")):
            say(type="error", code="vm-limit", message="full")
            self.stopped("full", 1, True)

    def dies(self):
        """Whether this lie is a guest that does not boot."""
        marks = {"clone.plain": "plain", "clone.new": "new"}
        return LIE in marks and os.path.exists(os.path.join(self.bundle, marks[LIE]))

    def signalled(self, number, _):
        ids = {"starting": ["signals.starting", "guest.hard-starting"],
               "running": ["signals.running", "guest.hard-running"],
               "paused": ["signals.paused", "guest.hard-paused", "daemon.simulated",
                          "daemon.guest"],
               "stopping": ["signals.stopping", "guest.hard-stopping"]}[self.state]
        if lying(*ids) or (number == signal.SIGINT and lying("signals.interrupt")):
            return
        self.stopped("host requested stop")

    def run(self):
        self.slow = "startMs" in self.scenario()
        self.deaf = "null" in self.scenario()
        for number in (signal.SIGTERM, signal.SIGINT):
            signal.signal(number, self.signalled)
        say(type="ready", proto=1)
        self.take_place()
        say(type="state", state="starting")
        if self.slow:
            hang()
        time.sleep(0.05 if os.environ.get("PARLEN_HOST") != "simulated" else 0)
        self.state = "running"
        say(type="state", state="running")
        if self.dies():
            self.stopped("the guest did not boot", 1, True)
        while True:
            self.take(self.read())

    def scenario(self):
        path = os.environ.get("PARLEN_SCENARIO")
        return open(path).read() if path else ""

    def read(self):
        kind = os.fstat(0).st_mode if HAS_INPUT else 0
        lies = {"streams.fifo": stat.S_ISFIFO(kind), "streams.file": stat.S_ISREG(kind),
                "streams.null": stat.S_ISCHR(kind), "streams.closed": not HAS_INPUT,
                "streams.pipe": stat.S_ISFIFO(kind), "streams.terminal": stat.S_ISCHR(kind)}
        data = os.read(0, 65536) if HAS_INPUT else b""
        if not data and lies.get(LIE):
            hang()
        return data

    def take(self, data):
        if not data:
            return self.stop()
        if lying("streams.split"):  # forgets what it had of a line
            self.buffer = b""
        self.buffer += data
        if lying("streams.burst") and len(data) > 60000:
            self.buffer = self.buffer[100:]
        *lines, self.buffer = self.buffer.split(b"\n")
        answers = b"".join(filter(None, map(self.obey, lines)))
        OUTPUT.queue.put(answers[:60000] if lying("streams.full") else answers)

    def obey(self, line):
        if lying("streams.long") and len(line) > 1 << 20:
            return b""
        try:
            kind = json.loads(line)["type"]
        except ValueError:
            return b""
        if kind == "stop":
            return self.stop()
        if kind == "window" and lying("daemon.window"):
            os.abort()
        if kind == "pause":
            if self.state == "running":
                self.state = "paused"
            return self.power("", "paused")
        if kind == "resume":
            if self.state != "paused":
                return self.error("resume-refused")
            self.state = "running"
            return self.power("guest.power", "resumed")
        return self.error("input-failed")

    @staticmethod
    def error(code):
        return b'{"type":"error","code":"%s","message":"%s"}\n' % (code.encode(), b"x" * 60)

    @staticmethod
    def power(lie, state):
        if lie and lying(lie):
            return b""
        return b'{"type":"guest-power","state":"%s"}\n' % state.encode()

    def stop(self):
        if self.deaf:
            self.state = "stopping"
            return
        if lying("guest.stop"):
            os.abort()
        if self.state == "starting":
            self.stopped("host requested stop")
        if os.environ.get("PARLEN_HOST") == "simulated":
            self.stopped(ORDERLY)
        self.state = "stopping"
        threading.Timer(SHUTDOWN, self.stopped, [ORDERLY]).start()


def program():
    action = sys.argv[1]
    if action == "status":
        say(type="status", exists=False)
        return 0
    return {"create": create, "clone": clone, "run": lambda: Run().run()}[action]()


# --- A Mac's commands ---


def cmake():
    if "--install" in sys.argv:
        if lying("build.install"):
            return 0
        folder = os.path.join(option("--prefix"), "bin")
        os.makedirs(folder, exist_ok=True)
        target = os.path.join(folder, "parlen-mac-vm")
        if not os.path.exists(target):
            os.symlink(os.path.abspath(__file__), target)
        return 0
    if lying("build." + sys.argv[-1]):
        print("main.cpp:1: error: no such selector")
        return 1
    return 0


def codesign():
    if "--display" in sys.argv:
        print("" if lying("build.signature") else "<key>com.apple.security.virtualization</key>")
    return 0


def otool():
    print("parlen-mac-vm:\n\t/usr/lib/libSystem.B.dylib (compatibility version 1.0.0)")
    if lying("build.libraries"):
        print("\t/opt/homebrew/lib/libfoo.dylib (compatibility version 1.0.0)")
    return 0


def ctest():
    name = "tests.unit" if "-LE" in sys.argv else "tests.program"
    print("2 tests failed" if lying(name) else "all passed")
    return 8 if lying(name) else 0


def window_check():
    names = ("opens chrome chrome-with-bar visible key-window key-down key-up flags-changed "
             "command-key-up later done hidden shown-again close-asks close close-again gone quit").split()
    if lying("windows.session"):
        print("session: no")
        return 0
    for name in names:
        print(f"{name}: no, seen otherwise" if lying("windows." + name) else f"{name}: yes")
    return 0


def contract_test():
    if lying("guest.contract"):
        print("[  FAILED  ] Machines.StopHard/Mac")
    return 1 if lying("guest.contract") else 0


def sudo():
    """What it has noted holds for one session (FAKE_SESSION), and for some minutes: here, for the
    commands of one assumption. "sudo-asked" has a byte for each time that it was asked for more."""
    known = os.path.join(FOLDER, "sudo")
    if sys.argv[2] == "-v":
        with open(os.path.join(FOLDER, "sudo-asked"), "a") as file:
            file.write(".")
    used = os.path.getsize(known) if os.path.exists(known) else 0
    if lying("sudo") or str(os.getsid(0)) != os.environ["FAKE_SESSION"] or used > 5:
        print("sudo: a password is required")
        return 1
    with open(known, "w" if sys.argv[2] == "-v" else "a") as file:
        file.write("" if sys.argv[2] == "-v" else ".")
    if sys.argv[2] in ("-v", "chown"):
        return 0
    return launchctl(sys.argv[3:])


def launchctl(arguments):
    import plistlib  # not above: this file starts some hundred times
    import subprocess

    known = os.path.join(FOLDER, "daemon")
    if arguments[0] == "bootstrap":
        with open(arguments[2], "rb") as file:
            plist = plistlib.load(file)
        with open(plist["StandardInPath"], "rb", buffering=0) as stdin, \
                open(plist["StandardOutPath"], "wb", buffering=0) as stdout:
            child = subprocess.Popen(plist["ProgramArguments"], stdin=stdin, stdout=stdout,
                                     env=dict(os.environ, **plist["EnvironmentVariables"]),
                                     stderr=subprocess.DEVNULL, start_new_session=True)
        with open(known, "w") as file:
            file.write(str(child.pid))
        return 0
    number = signal.SIGTERM if arguments[0] == "kill" else signal.SIGKILL
    try:
        os.kill(int(open(known).read()), number)
    except ProcessLookupError:
        pass
    return 0


FAKES = {"parlen-mac-vm": program, "bare": program, "cmake": cmake, "codesign": codesign,
         "otool": otool, "ctest": ctest, "window_check": window_check,
         "contract_test": contract_test, "sudo": sudo}

if __name__ == "__main__":
    if LIE == "hang":
        hang()
    HAS_INPUT = is_open(0)  # otherwise the first file to be opened becomes descriptor 0
    OUTPUT = Output()
    STATUS = FAKES[os.path.basename(sys.argv[0])]()
    OUTPUT.end()
    sys.exit(STATUS)
