"""`clone` compared with `cp`, and `create` with `qemu-img convert`."""

import os
import subprocess

from tool import Row, allocated, alternate, remove, timed

MIB = 1 << 20
GIB = 1 << 30


def scatter(path, extents):
    """Writes this many extents of random bytes, one MiB each, at equal distances."""
    with open(path, "r+b") as disk:
        distance = os.fstat(disk.fileno()).st_size // extents
        for number in range(extents):
            os.pwrite(disk.fileno(), os.urandom(MIB), number * distance // 4096 * 4096)


def clone_rows(bench):
    source = bench.simulated_bundle("copying-source", disk_gb=80)
    scatter(source / "Disk.img", 1024)
    size = allocated(source)
    largest = 0

    def copy(name, command):
        nonlocal largest
        target = bench.folder / name
        seconds = timed(lambda: command(target))
        if name.startswith("clone"):
            largest = max(largest, allocated(target))
        remove(target)
        return seconds

    def clone(number):
        arguments = ["clone", "--from", source, "--to"]
        return copy(f"clone-{number}", lambda to: bench.call(*arguments, to, host="simulated"))

    def cp(number):
        command = ["cp", "-a", "--reflink=auto", "--sparse=always", source]
        return copy(f"cp-{number}", lambda to: subprocess.run([*command, to], check=True))

    ours, reference = alternate(7, clone, cp)
    yield Row("clone, 1 GiB in an 80 GiB disk / cp", ours * 1e3, "ms", reference * 1e3, 1.0)
    yield Row("space of the clone / of its source", largest / MIB, "MiB", size / MIB, 1.0)
    remove(source)


def create_rows(bench):
    image = bench.folder / "copying-image"
    subprocess.run(["cp", bench.image, image], check=True)
    os.truncate(image, 2 * GIB)
    scatter(image, 1024)
    # scatter() has overwritten the partition table.
    with open(bench.image, "rb") as table, open(image, "r+b") as copy:
        copy.write(table.read(MIB))

    def create(number):
        bundle = bench.folder / f"create-{number}"
        arguments = ["--ipsw", image, "--bundle", bundle, "--disk-gb", 2]
        seconds = timed(lambda: bench.call("create", *arguments))
        remove(bundle)
        return seconds

    def convert(number):
        target = bench.folder / f"convert-{number}"
        target.touch()
        os.truncate(target, 2 * GIB)
        command = ["qemu-img", "convert", "-n", "-f", "raw", "-O", "raw", image, target]
        seconds = timed(lambda: subprocess.run(command, check=True))
        remove(target)
        return seconds

    ours, reference = alternate(7, create, convert)
    yield Row("create, 1 GiB of data / qemu-img convert", ours * 1e3, "ms", reference * 1e3, 1.05)
    remove(image)
