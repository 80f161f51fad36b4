"""The cost of a start: the time until `status` exits, the time until `ready`, and memory."""

import pathlib
import subprocess

from tool import Row, environment

MEGABYTE = 1e6


def spawn_times(bench, until, count, arguments, host):
    command = [bench.spawn_times, until, str(count), bench.program, *arguments, "--", bench.empty]
    result = subprocess.run(
        command, env=environment(host), stdout=subprocess.PIPE, text=True, check=True
    )
    return map(float, result.stdout.split())


def peak_memory(bench, bundle, host):
    process = bench.start_run(bundle, host)
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
    process.terminate()
    process.communicate()
    kilobytes = next(line.split()[1] for line in status.splitlines() if line.startswith("VmHWM"))
    return int(kilobytes) * 1024 / MEGABYTE


def rows(bench):
    guest = bench.guest_bundle("starting-guest")
    simulated = bench.simulated_bundle("starting-simulated")
    status = ["status", "--bundle", str(guest)]
    run = ["run", "--bundle", str(simulated)]

    ours, empty = spawn_times(bench, "exit", 2000, status, None)
    yield Row("status, start to exit / empty program", ours, "us", empty, 1.5)
    ours, empty = spawn_times(bench, "exit", 2000, status, "simulated")
    yield Row("the same, simulated host", ours, "us", empty, 1.5)
    ours, empty = spawn_times(bench, "output", 1000, run, "simulated")
    yield Row("run, start to ready / empty program", ours, "us", empty)
    yield Row("memory of a run, QEMU host", peak_memory(bench, guest, None), "MB", bar=6)
    memory = peak_memory(bench, simulated, "simulated")
    yield Row("memory of a run, simulated host", memory, "MB", bar=6)
