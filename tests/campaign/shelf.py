"""What tries copy from: disk images and finished bundles, made once."""

import json
import os
import pathlib
import random
import shutil
import subprocess

GIBIBYTE = 1 << 30
SIMULATED_DISK = b"parlen-simulated-guest"
MEMBERS = {"AuxiliaryStorage", "Disk.img", "HardwareModel", "MachineIdentifier", "share", "vm.json"}
SETTINGS = {"cpuCount": 2, "diskGb": 1, "macAddress": "52:54:00:12:34:56",
            "memoryBytes": 4294967296}


class Shelf:
    """`raw` and `large` are raw disks of 1 and 24 MiB, `qcow2` and `packed` the first in another
    format, `simulated_image` a restore image of the simulated host."""

    def __init__(self, program, folder):
        self.folder = pathlib.Path(folder)
        self.raw = self._disk("image.raw", 1 << 20)
        self.large = self._disk("large.raw", 24 << 20)
        self.qemu_img = shutil.which("qemu-img")
        if self.qemu_img is None or shutil.which("qemu-system-x86_64") is None:
            raise SystemExit("campaign: QEMU is not installed (scripts/install-packages run)")
        self.qcow2 = self._convert("image.qcow2")
        self.packed = self._convert("packed.qcow2", "-c")
        self.simulated_image = self.folder / "simulated.json"
        self.simulated_image.write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
        self.bundle = self._bundle(program, self.raw, "bundle")
        self.large_bundle = self._bundle(program, self.large, "large-bundle")
        for path in (self.folder, *self.folder.rglob("*")):
            path.chmod(path.stat().st_mode | 0o444 | (0o111 if path.is_dir() else 0))

    def _disk(self, name, length):
        """A disk with a boot signature and nothing to boot."""
        content = bytearray(random.Random(name).randbytes(length))
        content[510:512] = b"\x55\xaa"
        path = self.folder / name
        path.write_bytes(content)
        return path

    def _convert(self, name, *options):
        path = self.folder / name
        subprocess.run([self.qemu_img, "convert", "-f", "raw", "-O", "qcow2", *options, self.raw,
                        path], check=True)
        return path

    def _bundle(self, program, image, name):
        environment = {key: value for key, value in os.environ.items()
                       if not key.startswith("PARLEN_")}
        path = self.folder / name
        done = subprocess.run([program, "create", "--ipsw", image, "--bundle", path,
                               "--disk-gb", "1"], capture_output=True, env=environment)
        if done.returncode != 0:
            raise SystemExit(f"campaign: cannot make a bundle: {done.stdout} {done.stderr}")
        return path

    @staticmethod
    def put_secrets(folder):
        """What belongs to nobody's bundle and must stay as it is."""
        (folder / "secret.raw").write_bytes(bytes(510) + b"\x55\xaa" + b"secret" * 10000)
        (folder / "notes").mkdir()
        (folder / "notes" / "text").write_text("not yours\n")

    def put_bundle(self, path, host, large=False):
        """A finished bundle at `path`."""
        (self._put_qemu if host == "qemu" else self._put_simulated)(pathlib.Path(path), large)

    def put_small_bundle(self, path):
        """A finished bundle whose guest the emulator itself can run: it stays in its firmware."""
        self.put_bundle(path, "qemu")
        (path / "vm.json").write_text(json.dumps(SETTINGS | {"memoryBytes": 256 << 20}))

    def _put_qemu(self, path, large):
        template = self.large_bundle if large else self.bundle
        (path / "share").mkdir(parents=True)
        for name in MEMBERS - {"share", "Disk.img"}:
            shutil.copyfile(template / name, path / name)
        shutil.copyfile(self.large if large else self.raw, path / "Disk.img")
        os.truncate(path / "Disk.img", GIBIBYTE)

    @staticmethod
    def _put_simulated(path, large):
        (path / "share").mkdir(parents=True)
        (path / "HardwareModel").write_text("parlen-simulated-hardware-model:sim-1")
        (path / "MachineIdentifier").write_text(
            "parlen-simulated-machine-identifier:" + "0123456789abcdef" * 2)
        (path / "AuxiliaryStorage").write_text("parlen-simulated-auxiliary-storage:sim-1")
        (path / "vm.json").write_text(json.dumps(SETTINGS))
        content = SIMULATED_DISK + random.Random(1).randbytes((24 << 20) if large else 4096)
        (path / "Disk.img").write_bytes(content)
        os.truncate(path / "Disk.img", GIBIBYTE)
