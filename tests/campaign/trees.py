"""What folders and disks hold, in short, to see whether it has changed."""

import hashlib
import os
import pathlib
import stat

BLOCK = 65536
ZEROS = bytes(BLOCK)


def content(path):
    """(length, digest) of a file, whether or not its zeros are holes."""
    length = os.stat(path).st_size
    digest = hashlib.blake2b(digest_size=16)
    with open(path, "rb", buffering=0) as file:
        for start, end in extents(file.fileno(), length):
            for offset in range(start // BLOCK * BLOCK, end, BLOCK):
                data = os.pread(file.fileno(), BLOCK, offset)
                if data != ZEROS[:len(data)]:
                    digest.update(offset.to_bytes(8, "little") + data.rstrip(b"\0"))
    return length, digest.hexdigest()


def extents(descriptor, length):
    """Where a file's data is, in whole blocks without overlap."""
    position = 0
    while position < length:
        try:
            start = os.lseek(descriptor, position, os.SEEK_DATA)
        except OSError:
            return
        end = os.lseek(descriptor, start, os.SEEK_HOLE)
        start = max(start // BLOCK * BLOCK, position)
        end = min(length, -(-end // BLOCK) * BLOCK)
        if start < end:
            yield start, end
        position = max(end, position + 1)


def begins_with(path, other):
    """Whether the file at `path` begins with what the file `other` holds."""
    with open(path, "rb") as left, open(other, "rb") as right:
        while expected := right.read(1 << 20):
            if left.read(len(expected)) != expected:
                return False
    return True


def digest(root):
    """What is under a folder: {relative path: a description that changes with the content}."""
    root = pathlib.Path(root)
    found = {".": describe(root)}
    for folder, folders, files in os.walk(root):
        for name in (*folders, *files):
            path = pathlib.Path(folder, name)
            found[str(path.relative_to(root))] = describe(path)
    return found


def describe(path):
    status = os.lstat(path)
    kind = (stat.filemode(status.st_mode), status.st_mtime_ns)
    if stat.S_ISLNK(status.st_mode):
        return *kind, os.readlink(path)
    if stat.S_ISREG(status.st_mode):
        return *kind, *content(path)
    return kind


def difference(before, after):
    """The paths at which two digests differ, in a few words."""
    return [path for path in sorted({*before, *after}) if before.get(path) != after.get(path)]
