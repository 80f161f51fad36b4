"""Limits of the system: the length of files, the number of descriptors and of processes."""

import os
import resource

import bundles
import tool as tools
import trees


def attempt(world):
    host = world.pick("simulated", "qemu")
    if host == "simulated":
        world.use_simulated_host()
    else:
        world.use_fake_qemu()
    options = world.pick(file_size, descriptors, descriptors, process_count)(world)
    world.pick(create, clone, run)(world, host, options)


def file_size(world):
    size = world.pick(0, 1, 100, 4096, 1 << 20, 8 << 20, (1 << 30) - 1)
    return {"limits": {resource.RLIMIT_FSIZE: size}}


def descriptors(world):
    """A sanitizer's report goes to standard error: a file for it may be one too many."""
    return {"limits": {resource.RLIMIT_NOFILE: world.rng.randint(4, 16)},
            "environment": {"ASAN_OPTIONS": "detect_leaks=0", "UBSAN_OPTIONS": ""}}


def process_count(world):
    """Bites only who is not root: becomes a user who has no other process."""
    limits = {"limits": {resource.RLIMIT_NPROC: world.pick(1, 2, 3)}}
    if os.geteuid() != 0:
        return limits
    user = 3_000_000 + world.rng.randrange(1_000_000)
    for path in (world.inside, world.cwd, *(world.folder / name for name in ("home", "tmp"))):
        os.chown(path, user, user)
    (world.folder / "reports").chmod(0o777)
    return limits | {"user": user}


def describe(world, options):
    names = {resource.RLIMIT_FSIZE: "bytes in a file", resource.RLIMIT_NOFILE: "descriptors",
             resource.RLIMIT_NPROC: "processes"}
    for limit, value in options["limits"].items():
        world.say(f"at most {value} {names[limit]}")


def own(options, path):
    if "user" in options:
        for folder, folders, files in os.walk(path):
            for name in (".", *folders, *files):
                os.chown(os.path.join(folder, name), options["user"], options["user"])


def create(world, host, options):
    describe(world, options)
    image, raw = world.shelf.simulated_image, None
    if host == "qemu":
        image, raw = world.pick((world.shelf.raw, world.shelf.raw),
                                (world.shelf.packed, world.shelf.raw))
    bundle = world.inside / "guest"
    tool = world.complete("create", "--ipsw", image, "--bundle", bundle, "--disk-gb", 1, **options)
    if tool.status == 0:
        bundles.check_created(world, bundle, host, raw)
    else:
        bundles.check_unfinished(world, bundle, host, raw)


def clone(world, host, options):
    source, copy = world.inside / "source", world.inside / "copy"
    world.shelf.put_bundle(source, host, large=world.chance(0.3))
    own(options, source)
    describe(world, options)
    before = trees.digest(source)
    tool = world.complete("clone", "--from", source, "--to", copy, **options)
    changed = trees.difference(before, trees.digest(source))
    world.require(not changed, f"the source has changed: {changed}")
    if tool.status == 0:
        bundles.check_cloned(world, source, copy, host)
    else:
        bundles.check_cut_off(world, source, copy, host)


def run(world, host, options):
    bundle = world.inside / "guest"
    world.shelf.put_bundle(bundle, host)
    own(options, bundle)
    describe(world, options)
    tool = world.start("run", "--bundle", bundle, "--logs-share", world.inside / "logs", **options)
    tool.pump(tools.HANG_SECONDS, lambda: tool.is_running or tool.over)
    tool.pump(world.moment(), lambda: tool.over)
    world.require(not tool.has(crashed=False),
                  "a guest was stopped as if the parent had asked for it")
    if not tool.over and world.chance(0.5):
        tool.command("pause")
    tool.finish()
