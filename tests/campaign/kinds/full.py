"""Full file systems: a create or a clone that fits is whole, one that does not says so."""

import bundles
import trees


def attempt(world):
    world.mount_small(f"size={world.rng.randint(16, 4000)}k"
                      f",nr_inodes={world.pick(0, 0, 0, world.rng.randint(2, 16))}")
    host = world.pick("simulated", "qemu")
    if host == "simulated":
        world.use_simulated_host()
    else:
        world.use_fake_qemu()
    if world.chance(0.4):
        fill(world)
    world.pick(create, create, clone)(world, host)


def fill(world):
    size = world.rng.randint(0, 3 << 20)
    try:
        (world.inside / "filler").write_bytes(bytes(size))
    except OSError:
        pass
    world.say(f"{size} bytes are in use already")


def create(world, host):
    image, raw = world.shelf.simulated_image, None
    if host == "qemu":
        image, raw = world.pick((world.shelf.raw, world.shelf.raw),
                                (world.shelf.packed, world.shelf.raw),
                                (world.shelf.large, world.shelf.large))
    bundle = world.inside / "guest"
    tool = world.complete("create", "--ipsw", image, "--bundle", bundle, "--disk-gb", 1)
    if tool.status == 0:
        bundles.check_created(world, bundle, host, raw)
        return
    world.require(tool.has(type="error", code="create-failed"), "another error than create-failed")
    bundles.check_unfinished(world, bundle, host, raw)


def clone(world, host):
    source, copy = world.folder / "source", world.inside / "copy"
    world.shelf.put_bundle(source, host, large=world.chance(0.5))
    before = trees.digest(source)
    tool = world.complete("clone", "--from", source, "--to", copy)
    changed = trees.difference(before, trees.digest(source))
    world.require(not changed, f"the source has changed: {changed}")
    if tool.status == 0:
        bundles.check_cloned(world, source, copy, host)
        return
    world.require(tool.has(type="error", code="clone-failed"), "another error than clone-failed")
    bundles.check_cut_off(world, source, copy, host)
