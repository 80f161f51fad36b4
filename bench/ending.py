"""The time from the end of QEMU's process to the end of the tool's."""

import os
import pathlib
import select
import signal
import statistics
import time

from tool import Row


def machine_of(process):
    """The process ID of QEMU, one of the tool's children."""
    children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children")
    return next(
        int(child)
        for child in children.read_text(encoding="ascii").split()
        if pathlib.Path(f"/proc/{child}/comm").read_text(encoding="ascii").startswith("qemu")
    )


def end_times(handles):
    """Waits for all processes and returns when each ended; `handles` are pidfds by name."""
    poll = select.poll()
    names = {}
    for name, handle in handles.items():
        poll.register(handle, select.POLLIN)
        names[handle] = name
    ends = {}
    while names:
        for handle, _ in poll.poll():
            ends[names.pop(handle)] = time.monotonic()
            poll.unregister(handle)
    return ends


def gap(bench, bundle, end):
    process = bench.start_run(bundle)
    machine = machine_of(process)
    handles = {"tool": os.pidfd_open(process.pid), "machine": os.pidfd_open(machine)}
    end(process.pid, machine)
    ends = end_times(handles)
    for handle in handles.values():
        os.close(handle)
    process.communicate()
    return (ends["tool"] - ends["machine"]) * 1e3


def rows(bench):
    bundle = bench.guest_bundle("ending")
    endings = {
        "hard stop": lambda tool, _: os.kill(tool, signal.SIGTERM),
        "QEMU killed": lambda _, machine: os.kill(machine, signal.SIGKILL),
    }
    for name, end in endings.items():
        gaps = [gap(bench, bundle, end) for _ in range(10)]
        if min(gaps) < 0:
            raise RuntimeError(f"{name}: the tool ended {-min(gaps):.1f} ms before its machine")
        yield Row(f"{name}, QEMU's end to ours, median", statistics.median(gaps), "ms", bar=10)
        yield Row(f"{name}, QEMU's end to ours, max", max(gaps), "ms", bar=10)
