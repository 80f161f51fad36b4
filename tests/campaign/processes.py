"""What /proc says about the processes of a try, and signals that reach no other process."""

import ctypes
import os
import pathlib
import signal

PROC = pathlib.Path("/proc")
# Each process of a try has this variable with the try's own value, and so have its children.
MARKER = "CAMPAIGN_TRY"


def adopt_orphans():
    """Makes this process the parent of all its descendants that lose theirs."""
    set_child_subreaper = 36
    ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0)


def status_field(pid, field):
    """A field of /proc/<pid>/status as text; None if the process is gone."""
    try:
        for line in (PROC / str(pid) / "status").read_text().splitlines():
            name, _, value = line.partition(":")
            if name == field:
                return value.strip()
    except OSError:
        pass
    return None


def is_alive(pid):
    state = status_field(pid, "State")
    return state is not None and state[0] not in "ZX"


def default_action(pid, number):
    """Whether the process neither handles nor ignores the signal. It may block it for a while."""
    masks = [status_field(pid, field) for field in ("SigCgt", "SigIgn")]
    return not any(mask and int(mask, 16) >> (number - 1) & 1 for mask in masks)


def children(pid):
    """The live children of all threads of a process."""
    found = []
    try:
        for task in (PROC / str(pid) / "task").iterdir():
            found += [int(child) for child in (task / "children").read_text().split()]
    except OSError:
        pass
    return [child for child in found if is_alive(child)]


def program_of(pid):
    try:
        return os.path.basename(os.readlink(PROC / str(pid) / "exe"))
    except OSError:
        return ""


def command_line(pid):
    try:
        words = (PROC / str(pid) / "cmdline").read_bytes().split(b"\0")
        return " ".join(word.decode(errors="replace") for word in words)[:200].strip()
    except OSError:
        return ""


def maps_file(pid, name):
    """Whether a file whose path contains `name` is in the process's memory."""
    try:
        return name in (PROC / str(pid) / "maps").read_text()
    except OSError:
        return False


def open_files(pid):
    """What each descriptor of the process leads to: {number: text}."""
    found = {}
    try:
        for entry in (PROC / str(pid) / "fd").iterdir():
            found[int(entry.name)] = os.readlink(entry)
    except OSError:
        pass
    return found


def marked(value):
    """All live processes of this machine that carry a try's marker."""
    wanted = f"{MARKER}={value}".encode()
    found = []
    for entry in PROC.iterdir():
        if not entry.name.isdigit() or int(entry.name) == os.getpid():
            continue
        try:
            environment = (entry / "environ").read_bytes().split(b"\0")
        except OSError:
            continue
        if wanted in environment and is_alive(int(entry.name)):
            found.append(int(entry.name))
    return found


def orphans_of(value, known):
    """The processes that a try has left: marked ones, and those that became our own children, for
    a process may hide its environment."""
    adopted = [child for child in children(os.getpid()) if child not in known]
    return sorted({*marked(value), *adopted} - set(known))


def send(pid, number, parent=None):
    """Sends a signal; with `parent`, only if the process is its child still. False: it is gone."""
    try:
        handle = os.pidfd_open(pid)
    except OSError:
        return False
    try:
        if parent is not None and status_field(pid, "PPid") != str(parent):
            return False
        signal.pidfd_send_signal(handle, number)
        return True
    except OSError:
        return False
    finally:
        os.close(handle)


def reap_adopted(known):
    """Forgets ended processes that became our children."""
    for child in all_children(os.getpid()):
        if child not in known:
            try:
                os.waitpid(child, os.WNOHANG)
            except OSError:
                pass


def all_children(pid):
    try:
        return [int(child) for child in
                (PROC / str(pid) / "task" / str(pid) / "children").read_text().split()]
    except OSError:
        return []
