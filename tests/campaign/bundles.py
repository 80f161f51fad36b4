"""Whether a bundle is whole: its members, what its disk holds, and whether it boots."""

import stat

import shelf
import tool as tools
import trees


def boots(world, bundle, host):
    """Whether an undisturbed run of the bundle, on a host where all works, gets to `running`."""
    if host == "qemu":
        world.use_fake_qemu()
    else:
        world.use_simulated_host()
    run = world.start("run", "--bundle", bundle)
    run.is_look = True
    run.pump(tools.HANG_SECONDS, lambda: run.is_running or run.over)
    run.finish()
    return run.is_running


def members_are_there(bundle):
    return shelf.MEMBERS <= {path.name for path in bundle.iterdir()}


def check_members(world, bundle):
    found = {path.name for path in bundle.iterdir()}
    world.require(found == shelf.MEMBERS, f"the members of the bundle are {sorted(found)}")
    for name in shelf.MEMBERS:
        mode = (bundle / name).lstat().st_mode
        right = stat.S_ISDIR(mode) if name == "share" else stat.S_ISREG(mode)
        world.require(right, f"{name} is of the wrong kind: {stat.filemode(mode)}")


def disk_is_whole(bundle, host, raw_image):
    """Whether the disk begins with all that the installation puts there."""
    disk = bundle / "Disk.img"
    if not disk.is_file():
        return False
    if host == "qemu":
        return trees.begins_with(disk, raw_image)
    with disk.open("rb") as file:
        return file.read(len(shelf.SIMULATED_DISK)) == shelf.SIMULATED_DISK


def check_created(world, bundle, host, raw_image, gigabytes=1):
    """To be called when the program has said `created`, or has ended with status 0."""
    world.say("the created bundle is looked at")
    check_members(world, bundle)
    length = (bundle / "Disk.img").stat().st_size
    world.require(length == gigabytes * shelf.GIBIBYTE, f"the disk has {length} bytes")
    world.require(disk_is_whole(bundle, host, raw_image), "the disk does not hold the image")
    world.require(boots(world, bundle, host), "the created bundle does not boot")


def check_unfinished(world, bundle, host, raw_image):
    """To be called when a create has not been finished: nobody may take it for whole."""
    if not bundle.is_dir():
        return
    world.say("the unfinished bundle is looked at")
    if boots(world, bundle, host):
        world.require(disk_is_whole(bundle, host, raw_image), "an unfinished installation boots")


def check_cloned(world, source, copy, host, regenerated=False):
    """To be called when the program has said `cloned`, or has ended with status 0."""
    world.say("the copy is looked at")
    check_members(world, copy)
    for name in ("Disk.img", "AuxiliaryStorage", "HardwareModel"):
        same = trees.content(source / name) == trees.content(copy / name)
        world.require(same, f"the copy's {name} is not the source's")
    kept = (source / "MachineIdentifier").read_bytes() == (copy / "MachineIdentifier").read_bytes()
    world.require(kept != regenerated, "the copy's machine identifier is the wrong one")
    world.require((source / "vm.json").read_bytes() != (copy / "vm.json").read_bytes(),
                  "the copy has its source's network address")
    world.require(boots(world, copy, host), "the copy does not boot")


def check_cut_off(world, source, copy, host):
    """To be called when a clone has not been finished."""
    if not copy.is_dir():
        return
    world.say("the unfinished copy is looked at")
    if boots(world, copy, host):
        same = trees.content(source / "Disk.img") == trees.content(copy / "Disk.img")
        world.require(same, "a copy that was cut off boots, without its source's disk")
