"""Two programs at one path: at most one of them makes a bundle there, and that one is whole; at
most one of them runs it."""

import bundles
import chances
import tool as tools
import trees


def attempt(world):
    host = world.pick("simulated", "qemu")
    if host == "simulated":
        world.use_simulated_host({"restoreImage": {"loadMs": world.pick(0, 2, 10)},
                                  "install": {"stepMs": world.pick(0, 1, 10)}})
    else:
        world.use_fake_qemu({"greetMs": world.pick(0, 0, 10)})
        if world.chance(0.5):
            world.slow_down_qemu_img(world.pick(2, 10, 40))
    world.pick(makers, makers, makers, clone_and_run, create_and_run, runs)(world, host)


def together(world, *starts):
    """Starts the programs shortly one after the other and serves them to their ends."""
    started = []
    for start in starts:
        started.append(start())
        world.pump(world.moment(0.1) if world.chance(0.6) else 0)
    world.pump(tools.HANG_SECONDS, lambda: all(tool.over for tool in started))
    for tool in started:
        tool.finish()
    return started


def image_of(world, host):
    """(restore image, the raw disk in it)"""
    shelf = world.shelf
    if host == "simulated":
        return shelf.simulated_image, None
    return world.pick((shelf.raw, shelf.raw), (shelf.large, shelf.large), (shelf.packed, shelf.raw))


def makers(world, host):
    """Two or three that make a bundle at one path."""
    source, path = world.inside / "source", world.inside / world.pick("guest", "new/guest")
    world.shelf.put_bundle(source, host, large=world.chance(0.5))
    image, raw = image_of(world, host)

    def create():
        return world.start("create", "--ipsw", image, "--bundle", path, "--disk-gb", 1)

    def clone():
        return world.start("clone", "--from", source, "--to", path)

    starts = [create, world.pick(create, clone)]
    if world.chance(0.3):
        starts.append(world.pick(create, clone))
    if world.chance(0.2):
        starts = [clone, clone]
    world.rng.shuffle(starts)
    before = trees.digest(source)
    done = [tool for tool in together(world, *starts)
            if tool.status == 0 or tool.has(type="created") or tool.has(type="cloned")]
    world.require(len(done) <= 1, f"{len(done)} programs have made one bundle")
    changed = trees.difference(before, trees.digest(source))
    world.require(not changed, f"the source has changed: {changed}")
    for tool in done:
        if tool.subcommand == "create":
            bundles.check_created(world, path, host, raw)
        else:
            bundles.check_cloned(world, source, path, host)


def clone_and_run(world, host):
    """Whichever wins, the copy is that of a guest at rest."""
    source, copy = world.inside / "source", world.inside / "copy"
    world.shelf.put_bundle(source, host, large=world.chance(0.7))
    before = trees.digest(source)

    def run():
        tool = world.start("run", "--bundle", source)
        if world.chance(0.5):
            tool.close_input()
        else:
            tool.command("stop")
        return tool

    def clone():
        return world.start("clone", "--from", source, "--to", copy)

    starts = [run, clone]
    world.rng.shuffle(starts)
    cloned = next(tool for tool in together(world, *starts) if tool.subcommand == "clone")
    changed = trees.difference(before, trees.digest(source))
    world.require(not changed, f"the source has changed: {changed}")
    if cloned.status == 0:
        bundles.check_cloned(world, source, copy, host)
    else:
        bundles.check_cut_off(world, source, copy, host)


def create_and_run(world, host):
    """A run beside the create gets to `running` only when the guest is installed."""
    path = world.inside / "guest"
    image, raw = image_of(world, host)
    create = world.start("create", "--ipsw", image, "--bundle", path, "--disk-gb", 1)
    while not create.over:
        world.pump(world.moment(0.1), lambda: create.over or (path / "vm.json").exists())
        run = world.start("run", "--bundle", path)
        run.is_look = True
        world.pump(tools.HANG_SECONDS, lambda: run.is_running or run.over)
        if run.is_running:
            whole = bundles.disk_is_whole(path, host, raw)
            world.require(whole, "a guest runs before it is installed")
        run.finish()
        if world.chance(0.2):
            break
    create.finish()
    if create.status == 0:
        bundles.check_created(world, path, host, raw)


def runs(world, host):
    """Two runs of one bundle: never both at once."""
    path = world.inside / "guest"
    world.shelf.put_bundle(path, host)
    first = world.start("run", "--bundle", path)
    world.pump(world.moment(0.2) if world.chance(0.7) else 0)
    second = world.start("run", "--bundle", path)
    both = [first, second]
    tools.pump(both, tools.HANG_SECONDS, lambda: all(tool.is_running or tool.over for tool in both))
    running = [tool for tool in both if tool.is_running and not tool.over]
    world.require(len(running) < 2, "a guest runs twice at once")
    world.require(running, "neither of two runs gets the guest")
    chances.commands(world, running[0], 2)
    for tool in both:
        tool.finish()
