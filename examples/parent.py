#!/usr/bin/env python3
"""A parent of parlen-mac-vm, to copy from: asyncio, standard library only, Python 3.9 or newer (tried with 3.9 and 3.11).

    outcome = await clone("vm1", "vm2")         # also: create, status
    async with Guest("vm2", gui=True) as guest:
        await guest.running()
        await guest.type("hello\n")
    print(guest.end)                            # Ended(status=0, crashed=False, reason="guest stopped ...")

Run by itself it starts a guest, waits until it runs, and stops it:  parent.py <bundle>
"""
import asyncio
import json
import os
import signal
import sys
from dataclasses import dataclass
from typing import Literal, Optional

# What a program branches on: the tool's codes, and behind them this parent's own.
Code = Literal[
    "bad-usage", "bundle-exists", "bundle-missing", "ipsw-missing", "ipsw-unreadable", "ipsw-unsupported",
    "create-failed", "clone-failed", "status-failed", "boot-failed", "vm-limit", "pause-refused", "resume-refused",
    "input-failed", "ended", "killed", "proto"]
PROTO = 1
TOOL = os.environ.get("PARLEN_PROGRAM", "parlen-mac-vm")
LINE_LIMIT = 16 * 1024 * 1024  # bytes; asyncio's own limit of 64 KiB is too short for a long message


class Refused(Exception):
    """The tool has refused or given up something. `code` is for programs, the text for people."""

    def __init__(self, code: Code, message: str):
        super().__init__(message)
        self.code = code


@dataclass(frozen=True)
class Ended:
    """How a run ended. `status` is negative for a signal. Without a `stopped` event, `reason` is None."""

    status: int
    crashed: bool
    reason: Optional[str]
    error: Optional[Refused]


async def start(*arguments, stdin=asyncio.subprocess.DEVNULL):
    # A session of its own: Ctrl-C in the parent's terminal must not switch the guest off.
    return await asyncio.create_subprocess_exec(
        TOOL, *arguments, stdin=stdin, stdout=asyncio.subprocess.PIPE,
        stderr=asyncio.subprocess.PIPE, start_new_session=True, limit=LINE_LIMIT)


async def drain(stream, note):
    """Reads a stream to its end, whatever happens: a full pipe would hold up the tool."""
    async for line in stream:
        note(line.decode(errors="replace").rstrip("\n"))


async def once(*arguments, on_event=lambda event: None, note=lambda line: None):
    """Runs `create`, `clone` or `status` to its end and returns its last event."""
    process = await start(*arguments)
    notes = asyncio.create_task(drain(process.stderr, note))
    last = {}
    async for line in process.stdout:
        last = json.loads(line)
        on_event(last)
    await notes
    status = await process.wait()
    if last.get("type") == "error":
        raise Refused(last["code"], last["message"])
    if status != 0:
        raise Refused("killed", f"{arguments[0]} ended with status {status}")
    return last


async def create(image, bundle, disk_gb=80, **handlers):
    if not 1 <= disk_gb <= 8388607:
        raise ValueError("the disk size must be 1 to 8388607 GiB")
    return await once("create", "--ipsw", image, "--bundle", bundle, "--disk-gb", str(disk_gb), **handlers)


async def clone(source, copy, new_machine=True):
    return await once("clone", "--from", source, "--to", copy, *(["--regenerate-machine-id"] * new_machine))


async def status(bundle):
    return await once("status", "--bundle", bundle)


class Guest:
    """A running guest. `end` is set once the process has ended, and never before."""

    def __init__(self, bundle, gui=False, share=None, logs_share=None, on_event=lambda event: None,
                 note=lambda line: print(line, file=sys.stderr)):
        self.arguments = ["run", "--bundle", bundle] + ["--gui"] * gui
        for option, value in (("--share", share), ("--logs-share", logs_share)):
            self.arguments += [option, value] if value else []
        self.on_event, self.note = on_event, note
        self.end = None
        self._running = asyncio.Event()
        self._answer = None                # what the command under way waits for
        self._one_at_a_time = asyncio.Lock()
        self._stopped = self._error = None

    async def __aenter__(self):
        self._process = await start(*self.arguments, stdin=asyncio.subprocess.PIPE)
        self._reader = asyncio.create_task(self._read())
        return self

    async def __aexit__(self, *_):
        await self.stop()

    async def running(self):
        """Returns once the machine runs; raises Refused if it never does."""
        await self._running.wait()
        if self.end:
            raise self.end.error or Refused("ended", str(self.end))

    async def until(self, look, seconds=0.25):
        """Returns what `look` returns once it is true; raises Refused when the run has ended before. For
        the guest kit's guest_folder.py: `await guest.until(GuestFolder("logs").up)`."""
        while not (value := look()):
            if self.end:
                raise self.end.error or Refused("ended", str(self.end))
            await asyncio.wait([self._reader], timeout=seconds)
        return value

    async def ended(self):
        """Returns how the run ended, once it has."""
        await asyncio.wait([self._reader])
        return self.end

    async def type(self, text, delay_ms=60):
        await self._ask({"type": "text", "text": text, "delayMs": delay_ms})

    async def press(self, chord, delay_ms=60):
        await self._ask({"type": "key", "key": chord, "delayMs": delay_ms})

    async def pause(self):
        await self._ask({"type": "pause"})

    async def resume(self):
        await self._ask({"type": "resume"})

    def show(self, title="", detail=""):
        self._send({"type": "window", "show": True, "title": title, "detail": detail})

    def hide(self):
        self._send({"type": "window", "show": False})

    async def stop(self, patience=(60, 10)):
        """Asks the guest to shut down, then switches it off, then kills the tool. Returns how the run ended."""
        steps = (lambda: self._send({"type": "stop"}), lambda: self._signal(signal.SIGTERM),
                 lambda: self._signal(signal.SIGKILL))
        for step, seconds in zip(steps, (*patience, None)):
            if not self.end:
                step()
                await asyncio.wait([self._reader], timeout=seconds)
        return self.end

    async def _ask(self, command):
        """Sends one command and waits for its answer. Refusals overtake, so only one is ever under way."""
        async with self._one_at_a_time:
            if self.end:
                raise Refused("ended", "the guest has stopped")
            self._answer = asyncio.get_running_loop().create_future()
            self._send(command)
            await self._answer

    def _send(self, command):
        if not self.end and not self._process.stdin.is_closing():
            self._process.stdin.write(json.dumps(command).encode() + b"\n")

    def _signal(self, number):
        try:
            self._process.send_signal(number)
        except ProcessLookupError:
            pass

    async def _read(self):
        notes = asyncio.create_task(drain(self._process.stderr, self.note))
        async for line in self._process.stdout:
            self._take(json.loads(line))
        await notes
        stopped = self._stopped or {}
        self.end = Ended(await self._process.wait(), stopped.get("crashed", self._error is not None),
                         stopped.get("reason"), self._error)
        self._settle(Refused("ended", "the guest stopped before the answer"))
        self._running.set()

    def _take(self, event):
        kind = event.get("type")
        if kind == "ready" and event["proto"] != PROTO:
            self._signal(signal.SIGTERM)
            self._error = Refused("proto", f"the tool speaks protocol {event['proto']}")
        elif kind == "state" and event["state"] == "running":
            self._running.set()
        elif kind == "state" and event["state"] == "stopped":
            self._stopped = event
        elif kind in ("guest-power", "input-done"):
            self._settle(None)
        elif kind == "error":
            refusal = Refused(event["code"], event["message"])
            if event["code"] in ("pause-refused", "resume-refused", "input-failed"):
                self._settle(refusal)
            else:
                self._error = refusal
        self.on_event(event)               # what is not known here is passed on, and else ignored

    def _settle(self, refusal):
        if self._answer and not self._answer.done():
            self._answer.set_exception(refusal) if refusal else self._answer.set_result(None)


async def main(bundle):
    async with Guest(bundle, on_event=lambda event: print(json.dumps(event), flush=True)) as guest:
        try:
            await guest.running()
        except Refused as refused:
            print(f"{refused.code}: {refused}", file=sys.stderr)
    print(guest.end)
    return 0 if guest.end.status == 0 else 1


if __name__ == "__main__":
    sys.exit(asyncio.run(main(*sys.argv[1:])))
