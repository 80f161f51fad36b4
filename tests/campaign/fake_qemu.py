#!/usr/bin/env -S python3 -ISB
"""Stands in for the emulator: speaks QMP on descriptor 3 and runs no guest. CAMPAIGN_QEMU names a
JSON file that says how it behaves; all members may be left out:

leaks        a file to write to if it has been given descriptors that its arguments do not name
greetMs      when it greets; null: never
pieces       how many bytes of a message are sent at once; all of them when left out
replies      {command: reply}. A reply is a list of things to do when the command comes, in order:
             "ok", "error", "wrong-id", "no-id", "garbage", "long-line", [milliseconds to wait],
             "hold" (the reply waits until the next command has been answered), or the name of one
             of the events below. An empty list: no reply.
script       [[milliseconds after the first `cont`, thing]...]; beside the things above:
             "close-qmp" and live on, "flood" and "stderr-flood" for ever, "exit" (status 0),
             "fail" (a message and status 1), "crash" (SIGSEGV), "kill" (SIGKILL), "stderr" (2 MiB),
             "sleep" (does nothing any more), "eof-exit" (closes QMP, exits a little later)
atOnce       a thing to do before anything else
"""

import heapq
import json
import os
import re
import select
import signal
import sys
import time

CONTROL = 3
EVENTS = {
    "STOP": {"event": "STOP"}, "RESUME": {"event": "RESUME"},
    "SHUTDOWN": {"event": "SHUTDOWN", "data": {"guest": True, "reason": "guest-shutdown"}},
    "QUIT": {"event": "SHUTDOWN", "data": {"guest": False, "reason": "host-qmp-quit"}},
    "PANIC": {"event": "SHUTDOWN", "data": {"guest": True, "reason": "guest-panic"}},
    "RESET": {"event": "RESET", "data": {"guest": True, "reason": "guest-reset"}},
    "POWERDOWN": {"event": "POWERDOWN"},
    "BLOCK_IO_ERROR": {"event": "BLOCK_IO_ERROR", "data": {
        "device": "disk0", "operation": "write", "action": "stop", "nospace": True,
        "reason": "No space left on device"}},
    "ODD": {"event": 5, "data": []},
}
DEFAULT_REPLIES = {
    "stop": ["STOP", "ok"],
    "cont": ["RESUME", "ok"],
    "system_powerdown": ["ok", "POWERDOWN", [5], "SHUTDOWN", "exit"],
    "quit": ["ok", "QUIT", "exit"],
}


class Qemu:
    def __init__(self, behaviour):
        self.pieces = behaviour.get("pieces") or 1 << 30
        self.replies = DEFAULT_REPLIES | behaviour.get("replies", {})
        self.script = behaviour.get("script", [])
        self.greets_at = behaviour.get("greetMs", 0)
        self.at_once = behaviour.get("atOnce")
        self.received = b""
        self.open = True
        self.held = []
        self.waiting = []  # (time, number, things to do, id)
        self.count = 0

    def run(self):
        if self.at_once:
            self.do(self.at_once, None)
        if self.greets_at is not None:
            self.later(self.greets_at, ["greet"], None)
        while True:
            timeout = max(0, self.waiting[0][0] - time.monotonic()) if self.waiting else None
            ready = select.select([CONTROL] if self.open else [], [], [], timeout)[0]
            if ready:
                self.receive()
            while self.waiting and self.waiting[0][0] <= time.monotonic():
                _, _, things, identity = heapq.heappop(self.waiting)
                self.do_all(things, identity)

    def later(self, milliseconds, things, identity):
        self.count += 1
        entry = (time.monotonic() + milliseconds / 1000, self.count, things, identity)
        heapq.heappush(self.waiting, entry)

    def receive(self):
        try:
            data = os.read(CONTROL, 65536)
        except OSError:
            data = b""
        if not data:  # the peer is gone, and QEMU runs on
            self.open = False
        *lines, self.received = (self.received + data).split(b"\n")
        for line in lines:
            self.obey(json.loads(line))

    def obey(self, message):
        command = message["execute"]
        if command == "cont":
            for milliseconds, thing in self.script:
                self.later(milliseconds, [thing], None)
            self.script = []
        self.do_all(self.replies.get(command, ["ok"]), message.get("id"))
        held, self.held = self.held, []
        for answered, identity in held:
            if identity == message.get("id"):
                self.held.append((answered, identity))
            else:
                self.do("ok", identity)

    def do_all(self, things, identity):
        for index, thing in enumerate(things):
            if isinstance(thing, list):
                return self.later(thing[0], things[index + 1:], identity)
            self.do(thing, identity)

    def do(self, thing, identity):
        if thing in EVENTS:
            stamp = {"seconds": int(time.time()), "microseconds": 0}
            self.send(EVENTS[thing] | {"timestamp": stamp})
        elif thing == "hold":
            self.held.append((thing, identity))
        else:
            getattr(self, "do_" + thing.replace("-", "_"))(identity)

    # ---- things to say ----

    def do_greet(self, _):
        self.send({"QMP": {"version": {"qemu": {"major": 7, "minor": 2, "micro": 0}},
                           "capabilities": ["oob"]}})

    def do_ok(self, identity):
        self.send({"return": {}, "id": identity})

    def do_error(self, identity):
        self.send({"error": {"class": "GenericError", "desc": "made up"}, "id": identity})

    def do_wrong_id(self, identity):
        self.send({"return": {}, "id": (identity or 0) + 1000})

    def do_no_id(self, _):
        self.send({"return": {}})

    def do_garbage(self, _):
        self.send_bytes(b"\x00\xff{]\n[1,2]\n\"x\"\n\n{\"return\":\n")

    def do_long_line(self, _):
        self.send_bytes(b'{"event":"' + b"x" * (3 << 20) + b'"}\n')

    def do_flood(self, _):
        line = json.dumps(EVENTS["RESET"]).encode() + b"\r\n"
        while self.open:
            self.send_bytes(line * 500)
        self.do_sleep(None)

    def do_stderr(self, _):
        write_all(2, b"qemu-system-x86_64: warning: made up\n" * 60000)

    def do_stderr_flood(self, _):
        while True:
            write_all(2, b"qemu-system-x86_64: warning: made up\n" * 1000)

    # ---- ways to go ----

    def do_close_qmp(self, _):
        self.open = False
        os.close(CONTROL)

    def do_eof_exit(self, _):
        self.do_close_qmp(None)
        self.later(50, ["exit"], None)

    def do_exit(self, _):
        os._exit(0)

    def do_fail(self, _):
        write_all(2, b"qemu-system-x86_64: it does not work\n")
        os._exit(1)

    def do_crash(self, _):
        signal.signal(signal.SIGSEGV, signal.SIG_DFL)
        os.kill(os.getpid(), signal.SIGSEGV)

    def do_kill(self, _):
        os.kill(os.getpid(), signal.SIGKILL)

    def do_sleep(self, _):
        while True:
            time.sleep(1000)

    # ---- the socket ----

    def send(self, message):
        self.send_bytes(json.dumps(message).encode() + b"\r\n")

    def send_bytes(self, data):
        if not self.open:
            return
        try:
            for start in range(0, len(data), self.pieces):
                write_all(CONTROL, data[start:start + self.pieces])
        except OSError:
            self.open = False


def write_all(descriptor, data):
    while data:
        data = data[os.write(descriptor, data):]


def report_leaks(path):
    """Beside the standard streams, only what the arguments name may be here."""
    named = {0, 1, 2, *(int(number) for argument in sys.argv
                        for number in re.findall(r"(?:\bfd|addr\.str)=(\d+)", argument))}
    extra = {}
    for name in os.listdir("/proc/self/fd"):
        try:
            target = os.readlink(f"/proc/self/fd/{name}")
        except OSError:
            continue  # the listing's own
        if int(name) not in named and not target.endswith("/fd"):
            extra[name] = target
    if extra:
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"QEMU was given descriptors: {extra}")


def main():
    with open(os.environ["CAMPAIGN_QEMU"], encoding="utf-8") as file:
        behaviour = json.load(file)
    report_leaks(behaviour["leaks"])
    signal.signal(signal.SIGPIPE, signal.SIG_IGN)
    Qemu(behaviour).run()


main()
