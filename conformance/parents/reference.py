#!/usr/bin/env python3
"""Puts examples/parent.py through the conformance kit:  reference.py <request>"""
import asyncio
import json
import os
import pathlib
import sys

REQUEST = json.loads(pathlib.Path(sys.argv[1]).read_text())
os.environ["PARLEN_PROGRAM"] = REQUEST["tool"]  # parent.py reads it when it is imported
HERE = pathlib.Path(__file__).resolve().parent
# In the tree, and where both are installed.
sys.path[:0] = [str(HERE.parents[1] / "examples"), str(HERE.parents[2] / "doc/parlen-mac-vm/examples")]

from parent import Guest, Refused, once  # noqa: E402

NOTES = {"parlen-mac-vm: the guest is paused: ": "held",
         "parlen-mac-vm: network attachment disconnected (": "network-lost"}


class Seen:
    """What the guest's events and the tool's lines have said so far."""

    def __init__(self):
        self.actions, self.noticed = [], []
        self._happened = {name: asyncio.Event() for name in ("held", "network-lost", "window-action")}

    def event(self, event):
        if event.get("type") == "window-action":
            self.actions.append(event["action"])
            self._happened["window-action"].set()

    def note(self, line):
        for start, name in NOTES.items():
            if line.startswith(start):
                self.noticed.append(name)
                self._happened[name].set()

    async def wait_for(self, name, guest):
        """Until it happens, or the guest has ended."""
        waits = [asyncio.create_task(wait) for wait in (self._happened[name].wait(), guest.ended())]
        _, late = await asyncio.wait(waits, return_when=asyncio.FIRST_COMPLETED)
        for task in late:
            task.cancel()


async def wait(name, guest, seen):
    if name == "running":
        try:
            await guest.running()
        except Refused:
            pass  # the end says so
    elif name == "end":
        await guest.ended()
    else:
        await seen.wait_for(name, guest)


async def send(command, guest):
    """The command's answer."""
    gap = command.get("delayMs", 60)
    try:
        match command["type"]:
            case "text":
                await guest.type(command["text"], gap)
            case "key":
                await guest.press(command["key"], gap)
            case "pause":
                await guest.pause()
            case "resume":
                await guest.resume()
            case "window":
                if command["show"]:
                    guest.show(command.get("title", ""), command.get("detail", ""))
                else:
                    guest.hide()
                return "sent"
    except Refused as refused:
        return refused.code
    return "done"


def outcome(end):
    if end.error and end.error.code == "proto":
        return {"outcome": "unknown-protocol"}
    if (end.reason or "").startswith("guest stopped"):
        return {"outcome": "shut-down"}
    if end.reason == "host requested stop":
        return {"outcome": "switched-off"}
    return {"outcome": "failed", "code": end.error.code} if end.error else {"outcome": "killed"}


async def run(arguments):
    seen, answers = Seen(), []
    bundle = arguments[arguments.index("--bundle") + 1]
    async with Guest(bundle, gui="--gui" in arguments, on_event=seen.event, note=seen.note) as guest:
        for step in REQUEST["steps"]:
            if "wait" in step:
                await wait(step["wait"], guest, seen)
            else:
                answers.append(await send(step["send"], guest))
        end = await guest.stop([ms / 1000 for ms in REQUEST["patienceMs"]])
    return {**outcome(end), "answers": answers, "noticed": seen.noticed, "actions": seen.actions}


async def other(arguments):
    try:
        return {"outcome": "done", "last": await once(*arguments)}
    except Refused as refused:
        if refused.code == "killed":
            return {"outcome": "killed"}
        return {"outcome": "failed", "code": refused.code}


if __name__ == "__main__":
    words = REQUEST["arguments"]
    print(json.dumps(asyncio.run(run(words) if words[0] == "run" else other(words))))
