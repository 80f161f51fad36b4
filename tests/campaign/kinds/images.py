"""Malicious and broken restore images: what is not whole in itself is never installed, and nothing
but the image is read."""

import json
import os
import subprocess

import bundles

FORMATS = ("qcow2", "qed", "vmdk", "vdi", "vhdx", "vpc", "parallels")


def attempt(world):
    world.use_fake_qemu()
    world.pick(reaching, reaching, truncated, truncated, truncated, flipped, odd, replaced,
               whole)(world)


def qemu_img(world, *arguments):
    done = subprocess.run([world.shelf.qemu_img, *map(str, arguments)], capture_output=True)
    world.say(f"qemu-img {' '.join(map(str, arguments))}: status {done.returncode}")
    return done.returncode == 0


def create(world, image, size=1):
    bundle = world.inside / "guest"
    tool = world.complete("create", "--ipsw", image, "--bundle", bundle, "--disk-gb", size)
    return tool, bundle


def refused(world, image):
    tool, bundle = create(world, image)
    world.require(tool.status == 1, "the image has been installed")
    bundles.check_unfinished(world, bundle, "qemu", image)


def whole(world):
    """The same disk in another format is installed as it is."""
    image = world.inside / "image"
    form = world.pick("qcow2", "vmdk", "vdi", "vhdx")
    if not qemu_img(world, "convert", "-f", "raw", "-O", form, world.shelf.raw, image):
        return
    tool, bundle = create(world, image)
    world.require(tool.status == 0, f"a whole image of the format {form} has been refused")
    bundles.check_created(world, bundle, "qemu", world.shelf.raw)


def reaching(world):
    """Images that want other files of this host."""
    image = world.inside / "image"
    secret = world.outside / "secret.raw"
    way = world.pick("backing", "data", "extent", "json", "deep")
    if way == "backing":
        made = qemu_img(world, "create", "-q", "-f", "qcow2", "-F", "raw", "-b", secret, image)
    elif way == "data":
        data = world.inside / "data"
        made = qemu_img(world, "create", "-q", "-f", "qcow2", "-o",
                        f"data_file={data},data_file_raw=on", image, "1M")
    elif way == "extent":
        image.write_text("# Disk DescriptorFile\nversion=1\nCID=1\nparentCID=ffffffff\n"
                         f'createType="monolithicFlat"\nRW 128 FLAT "{secret}" 0\n')
        made = True
    elif way == "json":
        inner = {"driver": "raw", "file": {"driver": "file", "filename": str(secret)}}
        made = qemu_img(world, "create", "-q", "-u", "-f", "qcow2", "-F", "raw", "-b",
                        f"json:{json.dumps(inner)}", image, "1M")
    else:
        middle = world.inside / "middle"
        made = qemu_img(world, "create", "-q", "-f", "qcow2", "-F", "raw", "-b", secret, middle) \
            and qemu_img(world, "create", "-q", "-f", "qcow2", "-F", "qcow2", "-b", middle, image)
    if made:
        refused(world, image)


def truncated(world):
    """An image without its end is installed only if nothing of the disk is missing."""
    image = world.inside / "image"
    form = world.pick(*FORMATS)
    options = ["-c"] if form == "qcow2" and world.chance(0.5) else []
    if not qemu_img(world, "convert", "-f", "raw", "-O", form, *options, world.shelf.raw, image):
        return
    length = image.stat().st_size
    cut = world.pick(1, 2, 511, 512, 4096, 65536, world.rng.randrange(1, length),
                     world.rng.randrange(1, length))
    os.truncate(image, max(0, length - cut))
    world.say(f"the last {cut} of {length} bytes are missing")
    tool, bundle = create(world, image)
    if tool.status == 0:
        bundles.check_created(world, bundle, "qemu", world.shelf.raw)
    else:
        bundles.check_unfinished(world, bundle, "qemu", world.shelf.raw)


def flipped(world):
    """A few bytes of the header are others: anything, but in order."""
    image = world.inside / "image"
    form = world.pick(*FORMATS)
    if not qemu_img(world, "convert", "-f", "raw", "-O", form, world.shelf.raw, image):
        return
    with image.open("r+b") as file:
        for _ in range(world.pick(1, 3, 20)):
            position = world.rng.randrange(world.pick(120, 600, 5000))
            file.seek(position)
            file.write(world.rng.randbytes(world.pick(1, 8)))
    create(world, image)


def odd(world):
    """What is no disk image at all."""
    image = world.inside / "image"
    way = world.pick("empty", "garbage", "no signature", "folder", "pipe", "text", "link",
                     "device")
    world.say(f"the image: {way}")
    if way == "empty":
        image.touch()
    elif way == "garbage":
        image.write_bytes(world.rng.randbytes(world.pick(10, 5000)))
    elif way == "no signature":
        image.write_bytes(bytes(1 << 20))
    elif way == "folder":
        image.mkdir()
    elif way == "pipe":
        os.mkfifo(image)
    elif way == "text":
        image.write_text(world.pick("nbd://localhost/\n", "json:{}\n", "QFI\xfb", "KDMV"))
    else:
        image.symlink_to(world.outside / "nothing" if way == "link" else "/dev/null")
    refused(world, image)


def replaced(world):
    """Another image takes the place of the one that was looked at."""
    image, other = world.inside / "image", world.inside / "other"
    image.write_bytes(world.shelf.raw.read_bytes())
    qemu_img(world, "create", "-q", "-f", "qcow2", "-F", "raw", "-b", world.outside / "secret.raw",
             other)
    world.slow_down_qemu_img(world.pick(5, 20))
    bundle = world.inside / "guest"
    tool = world.start("create", "--ipsw", image, "--bundle", bundle, "--disk-gb", 1)
    tool.pump(world.moment(0.3), lambda: tool.over)
    os.replace(other, image)
    world.say("the image is replaced")
    tool.finish()
    if tool.status == 0:
        bundles.check_created(world, bundle, "qemu", world.shelf.raw)
