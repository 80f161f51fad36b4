"""Disk images for guests that need no operating system."""


def write_bootless_image(path):
    """The MBR's boot signature 55 AA and nothing to boot: the guest stays in its firmware."""
    path.write_bytes(bytes(510) + b"\x55\xaa" + bytes(1 << 20))
