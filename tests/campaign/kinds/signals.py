"""Signals and kills at random moments, against create, clone and run, on both hosts."""

import signal
import socket

import bundles
import chances
import faults
import processes
import tool as tools
import trees

X11_PORT = 6000  # of the display 0


def attempt(world):
    host = world.pick("simulated", "qemu")
    world.pick(*[create, clone, run] * 3, open_desktop)(world, host)


def disturb(world, tool, path=None):
    for _ in range(world.pick(1, 1, 2, 3)):
        faults.wait_for_moment(world, tool, path)
        if tool.over:
            return
        faults.strike(world, tool)


def create(world, host):
    shelf = world.shelf
    image, raw = shelf.simulated_image, None
    if host == "simulated":
        world.use_simulated_host(chances.installation(world))
    else:
        world.use_fake_qemu()
        image, raw = world.pick((shelf.raw, shelf.raw), (shelf.large, shelf.large),
                                (shelf.qcow2, shelf.raw), (shelf.packed, shelf.raw))
        if world.chance(0.4):
            world.slow_down_qemu_img(world.pick(5, 30, 100))
    bundle = world.inside / world.pick("guest", "a/b/guest")
    tool = world.start("create", "--ipsw", image, "--bundle", bundle, "--disk-gb", 1)
    disturb(world, tool, bundle / world.pick("Disk.img", "vm.json"))
    tool.finish()
    if tool.status == 0 or tool.has(type="created"):
        bundles.check_created(world, bundle, host, raw)
    else:
        bundles.check_unfinished(world, bundle, host, raw)


def clone(world, host):
    source, copy = world.inside / "source", world.inside / world.pick("copy", "new/copy")
    world.shelf.put_bundle(source, host, large=world.chance(0.7))
    if host == "simulated":
        world.use_simulated_host()
    else:
        world.use_fake_qemu()
    before = trees.digest(source)
    again = world.chance(0.5)
    tool = world.start("clone", "--from", source, "--to", copy,
                       *(["--regenerate-machine-id"] if again else []))
    disturb(world, tool, copy / world.pick(".", "Disk.img", "HardwareModel"))
    tool.finish()
    changed = trees.difference(before, trees.digest(source))
    world.require(not changed, f"the clone has changed its source: {changed}")
    if tool.status == 0 or tool.has(type="cloned"):
        bundles.check_cloned(world, source, copy, host, regenerated=again)
    else:
        bundles.check_cut_off(world, source, copy, host)


def run(world, host):
    bundle = world.inside / "guest"
    world.shelf.put_bundle(bundle, host)
    gui = world.chance(0.3)
    never = False
    if host == "simulated":
        scenario = chances.scenario(world)
        never = scenario["machine"]["stopMs"] is None
        world.use_simulated_host(scenario)
    else:
        world.use_fake_qemu({"replies": chances.regular_replies(world),
                             "greetMs": chances.milliseconds(world)})
    before = trees.digest(bundle)
    tool = world.start("run", "--bundle", bundle, *(["--gui"] if gui else []),
                       *(["--logs-share", world.inside / "logs"] if world.chance(0.2) else []))
    tool.may_never_stop = never
    for _ in range(world.pick(1, 2, 4)):
        if world.chance(0.5):
            chances.commands(world, tool, world.pick(1, 2, 6), gui)
        if world.chance(0.2):
            tool.command("stop")
        disturb(world, tool)
    tool.finish()
    changed = trees.difference(before, trees.digest(bundle))
    world.require(not changed, f"the run has changed the bundle: {changed}")


def open_desktop(world, _):
    """A signal while the desktop is being opened. It does not answer, which takes its time too."""
    world.use_fake_qemu()
    bundle = world.inside / "guest"
    world.shelf.put_bundle(bundle, "qemu")
    with socket.socket() as silent:
        silent.bind(("127.0.0.1", 0))  # taken, but nobody listens
        display = f"127.0.0.1:{silent.getsockname()[1] - X11_PORT}"
        tool = world.start("run", "--bundle", bundle, "--gui", environment={"DISPLAY": display})
        tool.pump(tools.HANG_SECONDS,
                  lambda: tool.over or processes.maps_file(tool.pid, tools.DESKTOP_LIBRARY))
        if not tool.over:
            tool.signal(world.pick(signal.SIGTERM, signal.SIGINT))
        tool.finish()
