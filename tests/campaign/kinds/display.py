"""An X display that stands still for a while or goes for good, while it shows a guest."""

import os
import shutil
import signal
import subprocess

import chances
import faults
import tool as tools
from world import Skip


class Display:
    """A virtual X server; none of the tool's processes."""

    def __init__(self, world):
        if shutil.which("Xvfb") is None:
            raise Skip("Xvfb is not installed")
        self.world = world
        reading, writing = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", "800x600x24", "-nolisten", "tcp"],
            pass_fds=[writing], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as number:
            self.name = ":" + number.readline().strip()
        if self.name == ":":
            raise Skip("Xvfb does not start")

    def environment(self):
        """No accessibility bus, no stored settings; what the libraries keep is not the tool's."""
        return {"DISPLAY": self.name, "NO_AT_BRIDGE": "1", "GSETTINGS_BACKEND": "memory",
                "XDG_CACHE_HOME": str(self.world.folder / "cache"), "PARLEN_WINDOWS": "native"}

    def signal(self, number):
        self.world.say(f"the display gets {signal.Signals(number).name}")
        self.server.send_signal(number)

    def close(self):
        self.server.kill()
        self.server.wait()


def attempt(world):
    display = Display(world)
    try:
        run(world, display)
    finally:
        display.close()


def run(world, display):
    bundle = world.inside / "guest"
    world.pick(simulated, simulated, fake_qemu, real_qemu)(world, bundle)
    shown = world.chance(0.6)
    tool = world.start("run", "--bundle", bundle, *(["--gui"] if shown else []),
                       environment=display.environment())
    if world.chance(0.7):
        tool.pump(tools.HANG_SECONDS, lambda: tool.is_running or tool.over)
    for _ in range(world.pick(1, 2, 4)):
        if not shown or world.chance(0.2):
            tool.command("window", show=world.chance(0.8), title="t", detail="d")
        chances.commands(world, tool, world.pick(0, 2, 6), gui=True)
        tool.pump(world.moment(), lambda: tool.over)
        world.pick(stand_still, stand_still, go, disturb)(world, display, tool)
    tool.finish()


# ---- the hosts ----

def simulated(world, bundle):
    world.use_simulated_host({"machine": {"pauseMs": world.pick(0, 5)}})
    world.shelf.put_bundle(bundle, "simulated")


def fake_qemu(world, bundle):
    """A guest whose picture never comes."""
    world.use_fake_qemu()
    world.shelf.put_bundle(bundle, "qemu")


def real_qemu(world, bundle):
    world.use_real_qemu()
    world.shelf.put_small_bundle(bundle)


# ---- the faults ----

def stand_still(world, display, tool):
    """Whoever asks the display something waits; a signal is heard afterwards."""
    display.signal(signal.SIGSTOP)
    tool.pump(world.moment(), lambda: tool.over)
    if world.chance(0.5) and not tool.over:
        faults.strike(world, tool)
    tool.pump(world.moment(), lambda: tool.over)
    display.signal(signal.SIGCONT)


def go(world, display, tool):
    display.signal(world.pick(signal.SIGTERM, signal.SIGKILL))
    tool.pump(world.moment(), lambda: tool.over)


def disturb(world, _, tool):
    faults.wait_for_moment(world, tool)
    if not tool.over:
        faults.strike(world, tool)
