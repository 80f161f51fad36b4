"""A parent that does as it should, but for the faults that it is told to have:  bad_parent.py [fault...] <request>"""

import json
import os
import queue
import signal
import subprocess
import sys
import threading
import time

*FAULTS, REQUEST_PATH = sys.argv[1:]
REFUSALS = ("pause-refused", "resume-refused", "input-failed")
TYPES = ("ready", "progress", "state", "guest-power", "input-done", "window-action", "created", "cloned", "status",
         "error")


def has(fault):
    return fault in FAULTS


def chunks(stream):
    while chunk := os.read(stream.fileno(), 65536):
        yield chunk


def lines(stream):
    if not has("takes-chunks-for-lines"):
        return iter(stream)
    return (line for chunk in chunks(stream) for line in chunk.splitlines())


class Parent:
    def __init__(self, request):
        self.request = request
        arguments = [request["tool"], *request["arguments"]]
        self.is_run = request["arguments"][0] == "run"
        nothing = not self.is_run or has("has-no-input")
        shell = has("does-not-quote")
        self.tool = subprocess.Popen(
            " ".join(arguments) if shell else arguments, shell=shell, bufsize=0,
            stdin=subprocess.DEVNULL if nothing else subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            start_new_session=not has("shares-its-session"))
        if has("leaks-the-input"):
            subprocess.Popen(["sleep", "20"], pass_fds=[self.tool.stdin.fileno()], stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL, start_new_session=True)
        self.events = queue.Queue()  # None at the end
        self.last, self.stopped, self.error = {}, None, None
        self.running = self.ended = self.foreign = False
        self.actions, self.noticed, self.progress = [], [], 0
        self.changed = threading.Condition()
        self.reading = [self.thread(self.read_events)]
        self.reading += [] if has("does-not-read-errors") else [self.thread(self.read_notes)]

    def thread(self, work):
        thread = threading.Thread(target=work, daemon=True)
        thread.start()
        return thread

    def read_events(self):
        for line in lines(self.tool.stdout):
            with self.changed:
                self.take(json.loads(line))
                self.changed.notify_all()
            if has("does-not-read-output") and self.running:
                self.tool.wait()
        with self.changed:
            self.ended = not has("waits-for-stopped") or self.stopped is not None
            self.changed.notify_all()
        if not has("waits-for-lost-answers"):
            self.events.put(None)

    def take(self, event):
        kind = event.get("type")
        if has("refuses-unknown-events") and kind not in TYPES:
            self.error = {"code": "boot-failed"}
            self.tool.terminate()
        if has("refuses-unknown-members") and kind == "state" and set(event) - {"type", "state", "crashed", "reason"}:
            raise ValueError(event)
        if kind == "ready" and event["proto"] != 1 and not has("ignores-the-protocol"):
            self.foreign = True
            self.tool.terminate()
        if kind == "state":
            self.running = self.running or event["state"] == "running"
            self.stopped = event if event["state"] == "stopped" else self.stopped
        if kind == "window-action":
            self.actions.append(event["action"])
        if kind == "progress":
            self.progress = event["fraction"]
        if kind in ("guest-power", "input-done"):
            self.events.put("done")
        if kind == "error":
            self.take_error(event["code"], event)
        self.last = event

    def take_error(self, code, event):
        if code in REFUSALS and not has("takes-refusals-for-failures"):
            self.events.put(code)
        elif has("takes-any-code-for-a-failure") or code != "tea-time":
            self.error = event

    def read_notes(self):
        for line in self.tool.stderr:
            with self.changed:
                if line.startswith(b"parlen-mac-vm: the guest is paused: "):
                    self.noticed.append("held")
                if line.startswith(b"parlen-mac-vm: network attachment disconnected ("):
                    self.noticed.append("network-lost")
                self.changed.notify_all()

    def wait(self, name):
        happened = {"running": lambda: self.running, "held": lambda: "held" in self.noticed,
                    "network-lost": lambda: "network-lost" in self.noticed,
                    "window-action": lambda: self.actions, "end": lambda: False}[name]
        may_end = not (name == "running" and has("waits-for-running"))
        with self.changed:
            self.changed.wait_for(lambda: happened() or (self.ended and may_end))

    def send(self, command):
        line = json.dumps(command, ensure_ascii=False)
        if has("mangles-texts"):
            line = json.dumps(command, ensure_ascii=False).encode("ascii", "replace").decode()
        data = line.encode()
        if has("cuts-long-texts") and len(data) > 65536:
            data = data[:65000] + b'"}'
        if self.tool.stdin is None:
            return
        try:
            view = memoryview(data + b"\n")
            while view:
                view = view[os.write(self.tool.stdin.fileno(), view):]
        except BrokenPipeError:
            pass

    def answer(self):
        return self.events.get() or "ended"

    def do_steps(self):
        steps = self.request["steps"]
        if has("sends-before-running"):
            steps = [step for step in steps if step != {"wait": "running"}]
        commands = [step["send"] for step in steps if "send" in step]
        if has("sends-all-at-once") and commands:
            self.wait("running")
            for command in commands:
                self.send(command)
            return [self.answer() for _ in commands]
        return [answer for step in steps for answer in self.do_step(step)]

    def do_step(self, step):
        if "wait" in step:
            self.wait(step["wait"])
            return []
        command = step["send"]
        if has("forgets-to-hide") and command.get("show") is False:
            return ["sent"]
        if self.ended and command["type"] != "window":
            return ["ended"]
        self.send(command)
        if command["type"] == "window":
            return ["sent"]
        answer = self.answer()
        if answer == "ended":
            self.events.put(None)
        return [answer]

    def end_within(self, seconds):
        try:
            self.tool.wait(seconds)
            return True
        except subprocess.TimeoutExpired:
            return False

    def stop(self):
        orderly, hard = (ms / 1000 for ms in self.request["patienceMs"])
        if has("stops-only-a-running-guest"):
            self.wait("running")
        self.send({"type": "stop"})
        if has("does-not-wait"):
            return
        if self.end_within(0.1 if has("is-impatient") else None if has("never-switches-off") else orderly):
            return
        self.tool.send_signal(signal.SIGTERM)
        if not self.end_within(None if has("never-kills") else hard):
            self.tool.kill()

    def outcome(self):
        reason = (self.stopped or {}).get("reason", "")
        if self.foreign:
            return {"outcome": "unknown-protocol"}
        if has("trusts-the-exit-status") and self.tool.returncode == 0:
            return {"outcome": "shut-down"}
        if has("takes-any-end-for-orderly") and not (self.stopped or {}).get("crashed"):
            return {"outcome": "shut-down"}
        if reason.startswith("guest stopped") and self.error is None:
            return {"outcome": "shut-down"}
        if reason == "host requested stop":
            return {"outcome": "switched-off"}
        if self.error:
            return {"outcome": "failed", "code": "boot-failed" if has("knows-one-code") else self.error["code"]}
        return {"outcome": "killed"}

    def result(self):
        if not self.is_run:
            self.wait("end")
            self.tool.wait()
            if self.error and not (has("takes-progress-for-success") and self.progress == 1):
                return {"outcome": "failed", "code": self.error["code"]}
            killed = self.tool.returncode != 0 and not self.error
            return {"outcome": "killed"} if killed else {"outcome": "done", "last": self.last}
        answers = self.do_steps()
        self.stop()
        if not has("does-not-wait"):
            for thread in self.reading:
                thread.join()
            while has("waits-for-stopped") and self.stopped is None:
                time.sleep(1)
        return {**self.outcome(), "answers": answers, "noticed": self.noticed, "actions": self.actions}


with open(REQUEST_PATH, encoding="utf-8") as file:
    print(json.dumps(Parent(json.load(file)).result()), flush=True)
os._exit(0)
