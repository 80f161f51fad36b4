"""Damaged bundles: status, run and clone say so, and touch nothing else."""

import os
import socket
import stat

import bundles
import shelf
import trees

FILES = ("Disk.img", "AuxiliaryStorage", "HardwareModel", "MachineIdentifier", "vm.json")


def attempt(world):
    host = world.pick("simulated", "qemu")
    if host == "simulated":
        world.use_simulated_host()
    else:
        world.use_fake_qemu()
    bundle = world.inside / "guest"
    world.shelf.put_bundle(bundle, host)
    for _ in range(world.pick(1, 1, 2, 4)):
        member = world.pick(*FILES, "share", "share/parlen-vm.json")
        damage = world.pick(*DAMAGES)
        if (bundle / member).parent.is_symlink():
            continue  # nothing in there is the bundle's own
        try:
            damage(world, bundle / member)
            world.say(f"{member}: {damage.__name__}")
        except OSError:
            pass  # another damage is in the way
    world.rng.shuffle(steps := [look, run, clone])
    for step in steps[:world.pick(1, 2, 3)]:
        step(world, bundle, host)


# ---- damages; each takes the path of a member ----

def clear(path):
    if path.is_dir() and not path.is_symlink():
        for each in path.iterdir():
            clear(each)
        path.rmdir()
    else:
        path.unlink(missing_ok=True)


def missing(_, path):
    clear(path)


def size_of(path):
    """OSError unless it is a file of the bundle's own: opening a pipe would wait."""
    refuse_foreign(path)
    status = os.lstat(path)
    if not stat.S_ISREG(status.st_mode):
        raise OSError("not a file")
    return status.st_size


def refuse_foreign(path):
    """OSError if damage to it would be done to what is not the bundle's."""
    status = os.lstat(path)
    if stat.S_ISLNK(status.st_mode) or (stat.S_ISREG(status.st_mode) and status.st_nlink > 1):
        raise OSError("not the bundle's own")


def truncated(world, path):
    os.truncate(path, world.rng.randrange(size_of(path) + 1))


def emptied(_, path):
    size_of(path)
    os.truncate(path, 0)


def garbage(world, path):
    size_of(path)
    length = world.pick(1, 100, 5000, 300000)
    path.write_bytes(world.rng.randbytes(length))


def flipped(world, path):
    """A few bytes are others."""
    size = size_of(path)
    with path.open("r+b") as file:
        for _ in range(world.rng.randint(1, 5)):
            file.seek(world.rng.randrange(min(size, 100000) + 1))
            file.write(world.rng.randbytes(1))


def extended(world, path):
    os.truncate(path, size_of(path) + world.pick(1, 512, 1 << 20, 48 << 20))


def odd_settings(world, path):
    values = (0, -1, 1, 255, 1 << 31, 1 << 63, -(1 << 63), 1.5, "4", None, [], {"a": 1})
    settings = {key: world.pick(value, value, *values) for key, value in shelf.SETTINGS.items()}
    size_of(path.parent / "vm.json")
    (path.parent / "vm.json").write_text(repr(settings).replace("'", '"').replace("None", "null"))


def folder(_, path):
    clear(path)
    path.mkdir()
    (path / "inner").write_text("x")


def pipe(_, path):
    clear(path)
    os.mkfifo(path)


def local_socket(_, path):
    clear(path)
    parent = os.open(path.parent, os.O_PATH)
    with socket.socket(socket.AF_UNIX) as made:
        made.bind(f"/proc/self/fd/{parent}/{path.name}")  # the path itself may be too long
    os.close(parent)


def null_device(_, path):
    clear(path)
    path.symlink_to("/dev/null")


def link_outside(world, path):
    clear(path)
    path.symlink_to(world.outside / world.pick("secret.raw", "notes/text", "notes", "nothing"))


def hard_link_outside(world, path):
    clear(path)
    os.link(world.outside / "secret.raw", path)


def link_inside(world, path):
    clear(path)
    path.symlink_to(world.pick(*FILES, "share", ".", ".."))


def link_to_itself(_, path):
    clear(path)
    path.symlink_to(path.name)


def read_only(_, path):
    refuse_foreign(path)
    path.chmod(0o444 if path.is_file() else 0o555)


def no_access(_, path):
    refuse_foreign(path)
    path.chmod(0)


DAMAGES = (missing, truncated, emptied, garbage, flipped, extended, odd_settings, folder, pipe,
           local_socket, null_device, link_outside, link_inside, link_to_itself, read_only,
           no_access)


# ---- what is done with the bundle ----

def look(world, bundle, _):
    before = trees.digest(bundle)
    tool = world.complete("status", "--bundle", bundle)
    world.require(tool.status == 0, "status fails")
    unchanged(world, before, bundle)


def run(world, bundle, _):
    before = trees.digest(bundle)
    tool = world.start("run", "--bundle", bundle, "--share", bundle / "share")
    tool.pump(world.moment(), lambda: tool.over)
    tool.finish()
    after = trees.digest(bundle)
    if not os.path.lexists(bundle / "share") or before.get("share") is None:
        for digest in (before, after):  # the run makes the folder that it is to share
            digest.pop("share", None)
            digest.pop(".", None)
    world.require(not trees.difference(before, after), "the run has changed the bundle")


def clone(world, bundle, host):
    copy = world.inside / f"copy{len(world.tools)}"
    before = trees.digest(bundle)
    again = world.chance(0.5)
    tool = world.complete("clone", "--from", bundle, "--to", copy,
                          *(["--regenerate-machine-id"] if again else []))
    unchanged(world, before, bundle)
    if tool.status != 0:
        return
    check_copy(world, bundle, copy, again)
    whole = not trees.difference(kinds_of(bundle), {name: "file" for name in FILES})
    if whole and bundles.boots(world, bundle, host):
        world.require(bundles.boots(world, copy, host), "the copy does not boot, its source does")


def check_copy(world, bundle, copy, again):
    """Each member is what it was, but for the two that are always new."""
    kinds, copied = kinds_of(bundle), kinds_of(copy)
    world.require(copied["vm.json"] == "file", f"the copy's vm.json is a {copied['vm.json']}")
    for name in FILES:
        if name == "vm.json" or (name == "MachineIdentifier" and again):
            continue
        world.require(kinds[name] == copied[name],
                      f"{name} was a {kinds[name]} and became a {copied[name]}")
        if kinds[name] == "file":
            same = trees.content(bundle / name) == trees.content(copy / name)
            world.require(same, f"the copy's {name} is not the source's")
    world.require((copy / "share").is_dir(), "the copy has no folder to share")
    there = os.path.lexists(copy / "share" / "parlen-vm.json")
    world.require(not there or (copy / "share").is_symlink(),
                  "the copy has its source's parlen-vm.json")


def kinds_of(bundle):
    """{member: "file", "link", ...}"""
    found = {}
    for name in FILES:
        try:
            mode = os.lstat(bundle / name).st_mode
        except FileNotFoundError:
            found[name] = "nothing"
            continue
        found[name] = {stat.S_IFREG: "file", stat.S_IFLNK: "link", stat.S_IFDIR: "folder"}.get(
            stat.S_IFMT(mode), "special file")
    return found


def unchanged(world, before, bundle):
    changed = trees.difference(before, trees.digest(bundle))
    world.require(not changed, f"the bundle has changed: {changed}")
