"""The measured program, and what all measurements share."""

import dataclasses
import json
import os
import pathlib
import resource
import shutil
import statistics
import subprocess
import time


@dataclasses.dataclass
class Row:
    """One line of the table. The ratio is `ours` to `reference`; the bar is its maximum, or without a
    reference the maximum of `ours`."""

    name: str
    ours: float
    unit: str
    reference: float | None = None
    bar: float | None = None

    @property
    def ratio(self):
        return None if self.reference is None else self.ours / self.reference

    @property
    def verdict(self):
        if self.bar is None:
            return ""
        value = self.ours if self.ratio is None else self.ratio
        return "ok" if value <= self.bar else "OVER"


class Bench:
    """The paths of the programs, and a folder for the files of the measurements."""

    def __init__(self, build, image, folder):
        self.program = str(build / "src/app/parlen-mac-vm")
        self.empty = str(build / "bench/empty_program")
        self.spawn_times = str(build / "bench/spawn_times")
        self.bare_waits = str(build / "bench/bare_waits")
        self.image = pathlib.Path(image)
        self.folder = folder

    def call(self, *arguments, host=None):
        """Runs one subcommand, which must exit with 0."""
        command = [self.program, *map(str, arguments)]
        nothing = subprocess.DEVNULL
        subprocess.run(command, env=environment(host), stdin=nothing, stdout=nothing, check=True)

    def simulated_bundle(self, name, disk_gb=1):
        image = self.folder / "simulated-image"
        image.write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        return self._create(name, image, disk_gb, "simulated")

    def guest_bundle(self, name):
        return self._create(name, self.image, 1, None)

    def _create(self, name, image, disk_gb, host):
        bundle = self.folder / name
        arguments = ["--ipsw", image, "--bundle", bundle, "--disk-gb", disk_gb]
        self.call("create", *arguments, host=host)
        return bundle

    def start_run(self, bundle, host=None, before=(), options=()):
        """Starts a run and returns its process once the guest is running. `before` is the beginning
        of its command line."""
        process = subprocess.Popen(
            [*before, self.program, "run", "--bundle", str(bundle), *options],
            env=environment(host),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )
        for line in process.stdout:
            if json.loads(line).get("state") == "running":
                return process
        raise RuntimeError(f"the run of {bundle} ended before it was running")


def environment(host):
    ours = ("PARLEN_HOST", "PARLEN_SCENARIO", "PARLEN_TRACE")
    variables = {name: value for name, value in os.environ.items() if name not in ours}
    if host:
        variables["PARLEN_HOST"] = host
    return variables


def timed(action):
    begin = time.monotonic()
    action()
    return time.monotonic() - begin


def processor_time(action):
    """Runs an action and returns the seconds that processors spent on the children which ended
    meanwhile, and on theirs. Other work on the machine hardly changes it."""

    def spent():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    begin = spent()
    action()
    return spent() - begin


def in_turn(rounds, *actions):
    """The seconds of each action, a list for each. They are run in turn, each after a sync, and take the
    number of the round."""
    times = [[] for _ in actions]
    for number in range(rounds):
        for action, taken in zip(actions, times):
            os.sync()
            taken.append(action(number))
    return times


def alternate(rounds, *actions):
    """The median of each of the actions, run as in_turn() does."""
    return list(map(statistics.median, in_turn(rounds, *actions)))


def allocated(path):
    return sum(file.stat().st_blocks * 512 for file in path.rglob("*") if file.is_file())


def remove(path):
    if path.is_dir():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)
