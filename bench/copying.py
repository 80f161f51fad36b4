"""`clone` compared with `cp`, and `create` with `qemu-img convert`."""

import os
import statistics
import subprocess

from tool import Row, allocated, alternate, in_turn, processor_time, remove, timed

MIB = 1 << 20
GIB = 1 << 30
CREATE_BAR = 1.05


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


class Creation:
    """The ways to put an image onto a disk of 2 GiB. Each takes the number of the round and returns
    seconds."""

    def __init__(self, bench, image):
        self.bench = bench
        self.image = image

    def create(self, number):
        bundle = self.bench.folder / f"create-{number}"
        arguments = ["--ipsw", self.image, "--bundle", bundle, "--disk-gb", 2]
        seconds = timed(lambda: self.bench.call("create", *arguments))
        remove(bundle)
        return seconds

    def convert(self, number, *options):
        target = self.bench.folder / f"convert-{number}"
        target.touch()
        os.truncate(target, 2 * GIB)
        seconds = qemu_img("convert", *options, "-n", "-f", "raw", "-O", "raw", self.image, target)
        remove(target)
        return seconds

    def programs(self, number):
        """The two that `create` runs, with the same options."""
        return qemu_img("info", "--output=json", self.image) + self.convert(number, "-p")


def qemu_img(*arguments):
    command = ["qemu-img", *arguments]
    return timed(lambda: subprocess.run(command, check=True, stdout=subprocess.DEVNULL))


def little_data_rows(creation):
    """What `create` adds to its conversion does not depend on the data: `qemu-img info`, which tells the
    image's format, and its own start and files. Without much data it shows."""

    def processor(action):
        return lambda number: processor_time(lambda: action(number))

    actions = (creation.create, creation.programs, creation.convert)
    ours, programs, convert = (1e3 * time for time in alternate(25, *map(processor, actions)))
    yield Row("create, little data, CPU / its programs'", ours, "ms", programs, 1.25)
    yield Row("the same / qemu-img convert's", ours, "ms", convert)


def much_data_rows(creation):
    """Nearly all of the time is that of `qemu-img convert`. Where the machine or its disk has other work,
    that varies by more than `create` adds; so much more is allowed."""
    created, *converted = in_turn(7, creation.create, creation.convert, creation.convert)
    ours = statistics.median(created) * 1e3
    _, median, upper = (1e3 * time for time in statistics.quantiles(sum(converted, []), n=4))
    bar = CREATE_BAR * upper / median
    yield Row("create, 1 GiB of data / qemu-img convert", ours, "ms", median, bar)
    yield Row("qemu-img convert, upper quartile / median", upper, "ms", median)


def create_rows(bench):
    image = bench.folder / "copying-image"
    subprocess.run(["cp", bench.image, image], check=True)
    os.truncate(image, 2 * GIB)
    creation = Creation(bench, image)
    yield from little_data_rows(creation)

    scatter(image, 1024)
    # scatter() has overwritten the partition table.
    with open(bench.image, "rb") as table, open(image, "r+b") as copy:
        copy.write(table.read(MIB))
    yield from much_data_rows(creation)
    remove(image)
