#!/usr/bin/env python3
"""peers.py <build folder> <guest image> <work folder> - the same guest under this program and under
libvirt on the same machine: the time to start it, to stop it hard, to ask after it and to clone it,
and the memory that is needed beside QEMU. Prints one table; there are no bars.

libvirt gets its session daemon, started before the clock is, and the same QEMU, firmware, disk,
processors and memory; its guest's network is QEMU's own. Its daemon serves all guests of a user,
and a process of ours one guest. As root it runs as the user libvirt-qemu: root has no session daemon."""

import contextlib
import os
import pathlib
import pwd
import shutil
import signal
import statistics
import subprocess
import sys
import time

from copying import scatter
from ending import machine_of
from table import line, show
from tool import Bench, Row, alternate, remove, timed

ROUNDS = 10
CLONE_ROUNDS = 5
TIMEOUT = 60  # seconds
MEGABYTE = 1e6
USER = "libvirt-qemu"
DOMAIN = """
<domain type='{kind}'>
  <name>guest</name>
  <memory unit='GiB'>4</memory>
  <vcpu>2</vcpu>
  <os>
    <type arch='x86_64' machine='q35'>hvm</type>
    <loader readonly='yes' type='pflash'>/usr/share/OVMF/OVMF_CODE_4M.fd</loader>
    <nvram>{folder}/variables</nvram>
  </os>
  <features><acpi/></features>
  <cpu mode='maximum'/>
  <devices>
    <disk type='file' device='disk'>
      <driver name='qemu' type='raw' io='threads' discard='unmap'/>
      <source file='{folder}/pool/disk'/>
      <target dev='vda' bus='virtio'/>
    </disk>
    <interface type='user'><model type='virtio'/></interface>
    <video><model type='virtio'/></video>
    <rng model='virtio'><backend model='random'>/dev/urandom</backend></rng>
  </devices>
</domain>
"""
POOL = "<pool type='dir'><name>pool</name><target><path>{folder}/pool</path></target></pool>"
VOLUME = "<volume><name>{name}</name><target><format type='raw'/></target></volume>"


def memory(pids):
    """Bytes; what processes share is divided among them (proc(5), smaps_rollup)."""
    total = 0
    for pid in pids:
        rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text(encoding="ascii")
        total += int(next(text.split()[1] for text in rollup.splitlines() if text.startswith("Pss:")))
    return total * 1024


def processes():
    """The parent and the name of each process, by its ID."""
    found = {}
    for entry in pathlib.Path("/proc").iterdir():
        with contextlib.suppress(OSError, ValueError):
            pid = int(entry.name)
            status = dict(text.split(":\t", 1) for text in (entry / "status").read_text().splitlines() if ":\t" in text)
            found[pid] = (int(status["PPid"]), status["Name"])
    return found


class Libvirt:
    """A session daemon of our own, with a domain `guest` and a pool that has its disk."""

    def __init__(self, bundle, folder):
        self.folder = folder
        (folder / "pool").mkdir(parents=True)
        (folder / "run").mkdir(mode=0o700)
        subprocess.run(["cp", "--sparse=always", bundle / "Disk.img", folder / "pool/disk"], check=True)
        shutil.copy(bundle / "AuxiliaryStorage", folder / "variables")
        (folder / "pool.xml").write_text(POOL.format(folder=folder))
        self.prefix = []
        self.user = os.getuid()
        if self.user == 0:
            user = pwd.getpwnam(USER)
            self.user = user.pw_uid
            self.prefix = ["setpriv", f"--reuid={user.pw_uid}", f"--regid={user.pw_gid}", "--init-groups"]
            subprocess.run(["chown", "-R", f"{user.pw_uid}:{user.pw_gid}", folder], check=True)
        self.environment = {**os.environ, "HOME": str(folder), "XDG_RUNTIME_DIR": str(folder / "run")}

    def __enter__(self):
        self.log = open(self.folder / "log", "wb")
        self.daemon = subprocess.Popen([*self.prefix, "libvirtd"], env=self.environment, cwd="/",
                                       stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)
        try:
            self._prepare()
        except RuntimeError:
            self.__exit__()
            raise
        return self

    def _prepare(self):
        end = time.monotonic() + TIMEOUT
        while self.virsh("version", check=False).returncode != 0:
            if time.monotonic() > end or self.daemon.poll() is not None:
                raise RuntimeError(f"libvirtd does not answer; see {self.folder / 'log'}")
            time.sleep(0.1)
        has_kvm = self.virsh("domcapabilities", "--virttype", "kvm", check=False).returncode == 0
        (self.folder / "domain").write_text(DOMAIN.format(kind="kvm" if has_kvm else "qemu", folder=self.folder))
        self.virsh("define", self.folder / "domain")
        self.virsh("pool-define", self.folder / "pool.xml")
        self.virsh("pool-start", "pool")

    def __exit__(self, *_):
        self.virsh("destroy", "guest", check=False)
        self.daemon.terminate()
        self.daemon.wait()
        for pid in self.helpers():
            os.kill(pid, signal.SIGTERM)
        self.log.close()

    def virsh(self, *arguments, check=True):
        command = [*self.prefix, "virsh", "-q", "-c", "qemu:///session", *map(str, arguments)]
        done = subprocess.run(command, env=self.environment, capture_output=True, text=True, check=False)
        if check and done.returncode != 0:
            raise RuntimeError(f"virsh {arguments[0]}: {done.stderr}")
        return done

    def helpers(self):
        """The daemons that the daemon has started: virtlogd, which leaves its parent."""
        return [pid for pid, (_, name) in processes().items() if name == "virtlogd" and self._owns(pid)]

    def _owns(self, pid):
        with contextlib.suppress(OSError):
            variables = pathlib.Path(f"/proc/{pid}/environ").read_bytes().split(b"\0")
            return f"XDG_RUNTIME_DIR={self.folder / 'run'}".encode() in variables
        return False


def our_life(bench, bundle):
    """Seconds from start to running, bytes beside QEMU without passt and with it, seconds of a hard
    stop."""
    begin = time.monotonic()
    process = bench.start_run(bundle)
    started = time.monotonic() - begin
    machine = machine_of(process)
    family = [pid for pid, (parent, _) in processes().items() if parent == process.pid and pid != machine]
    beside = memory([process.pid]), memory([process.pid, *family])
    stopped = timed(lambda: (process.terminate(), process.communicate()))
    return started, *beside, stopped


def their_life(libvirt):
    started = timed(lambda: libvirt.virsh("start", "guest"))
    beside = memory([libvirt.daemon.pid, *libvirt.helpers()])
    return started, beside, beside, timed(lambda: libvirt.virsh("destroy", "guest"))


def life_rows(bench, bundle, libvirt):
    ours, theirs = [], []
    for _ in range(ROUNDS):
        ours.append(our_life(bench, bundle))
        theirs.append(their_life(libvirt))
    medians = [[statistics.median(column) for column in zip(*lives)] for lives in (ours, theirs)]
    names = (
        ("start to running / virsh start", 1e3, "ms"),
        ("memory beside QEMU / the daemons", 1 / MEGABYTE, "MB"),
        ("the same with passt / the daemons", 1 / MEGABYTE, "MB"),
        ("hard stop / virsh destroy", 1e3, "ms"),
    )
    for (name, factor, unit), our, their in zip(names, *medians):
        yield Row(name, our * factor, unit, their * factor)


def status_rows(bench, bundle, libvirt):
    ours, theirs = alternate(ROUNDS, lambda _: timed(lambda: bench.call("status", "--bundle", bundle)),
                             lambda _: timed(lambda: libvirt.virsh("dominfo", "guest")))
    yield Row("status / virsh dominfo", ours * 1e3, "ms", theirs * 1e3)


def clone_rows(bench, bundle, libvirt):
    """256 MiB of data in a disk of 1 GiB."""

    def ours(number):
        target = bench.folder / f"peer-clone-{number}"
        seconds = timed(lambda: bench.call("clone", "--from", bundle, "--to", target))
        remove(target)
        return seconds

    def theirs(number):
        name = f"clone-{number}"
        seconds = timed(lambda: libvirt.virsh("vol-clone", "disk", name, "--pool", "pool"))
        libvirt.virsh("vol-delete", name, "--pool", "pool")
        return seconds

    our, their = alternate(CLONE_ROUNDS, ours, theirs)
    yield Row("clone, 256 MiB of data / virsh vol-clone", our * 1e3, "ms", their * 1e3)


def main():
    build, image, folder = map(pathlib.Path, sys.argv[1:])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    bench = Bench(build.resolve(), image.resolve(), folder.resolve())
    bundle = bench.guest_bundle("peer")
    scatter(bundle / "Disk.img", 256)
    print(line("", "ours", "libvirt's", "ratio", "", ""), flush=True)
    with Libvirt(bundle, bench.folder / "libvirt") as libvirt:
        for rows in (life_rows, status_rows, clone_rows):
            for row in rows(bench, bundle, libvirt):
                show(row)
    shutil.rmtree(folder)


if __name__ == "__main__":
    main()
