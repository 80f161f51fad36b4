"""The tool's child processes, and whether they still run."""

import pathlib

QEMU = "qemu-system"  # of any processor; the kernel keeps 15 bytes of a name
PASST = "passt"


def children(pid):
    """A process's children, by the first part of their names."""
    numbers = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    names = {int(number): pathlib.Path(f"/proc/{number}/comm").read_text().strip()
             for number in numbers}
    return {QEMU if name.startswith(QEMU) else name.partition(".")[0]: number
            for number, name in names.items()}


def is_gone(pid):
    try:
        state = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0]
    except FileNotFoundError:
        return True
    return state == "Z"
