"""What status, create and run say on a host that lacks something for guests: they agree about it, and
standard error names the package.

The host is this one in a mount namespace of the test's own, where files are hidden. That needs root
or user namespaces."""

import json
import os
import pathlib
import platform
import shutil
import subprocess
import tempfile
import unittest

from images import write_bootless_image

PROGRAM = os.environ["PARLEN_PROGRAM"]
ARCHITECTURE = platform.machine()
EMULATOR = f"qemu-system-{ARCHITECTURE}"
EMULATOR_PACKAGE, FIRMWARE_PACKAGE = {
    "x86_64": ("qemu-system-x86", "ovmf"),
    "aarch64": ("qemu-system-arm", "qemu-efi-aarch64")}[ARCHITECTURE]
DESCRIPTORS = "/usr/share/qemu/firmware"
NEEDS = "to run guests, this host needs "
NEEDS_EMULATOR = f"{EMULATOR} (Debian's package {EMULATOR_PACKAGE})"
NEEDS_IMAGE_TOOL = "qemu-img (Debian's package qemu-utils)"
NEEDS_FIRMWARE = f"UEFI firmware for {ARCHITECTURE} (Debian's package {FIRMWARE_PACKAGE})"

# Hides its arguments up to "--", programs and folders, and becomes the command behind it.
HIDE = """
while [ "$1" != -- ]; do
  if [ -d "$1" ]; then mount -t tmpfs none "$1"; else mount --bind /dev/null "$1"; fi || exit 125
  shift
done
shift
exec "$@"
"""


def without(*hidden):
    """What precedes a command on a host without these programs and folders."""
    user = [] if os.geteuid() == 0 else ["--map-root-user"]
    paths = [shutil.which(name) for name in hidden]
    return ["unshare", "--mount", *user, "--", "sh", "-c", HIDE, "sh",
            *(path or name for path, name in zip(paths, hidden)), "--"]


def reason_against_namespaces():
    made = subprocess.run([*without(DESCRIPTORS), "true"], capture_output=True, text=True)
    return made.stderr.strip() if made.returncode else ""


class MissingTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.bundle = self.folder / "guest"
        self.image = self.folder / "image"
        write_bootless_image(self.image)
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith("PARLEN_")}
        self.environment["XDG_CONFIG_HOME"] = str(self.folder)
        self.create(self.bundle)
        self.assertEqual(self.last["type"], "created")

    def tell(self, host, *words):
        """Runs the program on the host, keeps its last line and returns what it told people."""
        tool = subprocess.run([*host, PROGRAM, *words], capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, env=self.environment)
        self.last = json.loads(tool.stdout.splitlines()[-1])
        return tool.stderr

    def status(self, host):
        return self.tell(host, "status", "--bundle", self.bundle)

    def create(self, bundle, host=()):
        return self.tell(host, "create", "--ipsw", self.image, "--bundle", bundle, "--disk-gb", "1")

    def run_guest(self, host):
        return self.tell(host, "run", "--bundle", self.bundle)

    def assert_all_say(self, host, sentence, code="ipsw-unsupported", for_guest=None):
        """All subcommands say the sentence, `run` perhaps another one, and nothing else."""
        self.assertEqual(self.status(host), f"parlen-mac-vm: {sentence}\n")
        self.assertIs(self.last["supported"], False)

        new = self.folder / "new"
        self.assertEqual(self.create(new, host), f"parlen-mac-vm: {sentence}\n")
        self.assertEqual(self.last["code"], code)
        self.assertFalse(new.exists())

        self.assertEqual(self.run_guest(host), f"parlen-mac-vm: {for_guest or sentence}\n")
        self.assertEqual(self.last["code"], "bundle-missing")
        self.assertEqual(self.last["message"],
                         f"this host cannot run the hardware model in {self.bundle}")

    def needs_firmware(self, code):
        return f"{NEEDS}the guest's firmware {code} and a descriptor of it (Debian's package {FIRMWARE_PACKAGE})"

    def needs_namespaces(self):
        if reason := reason_against_namespaces():
            self.skipTest(f"nothing can be hidden here: {reason}")

    def test_without_the_emulator(self):
        self.needs_namespaces()
        self.assert_all_say(without(EMULATOR), NEEDS + NEEDS_EMULATOR)

    def test_without_the_image_tool(self):
        self.needs_namespaces()
        self.assert_all_say(without("qemu-img"), NEEDS + NEEDS_IMAGE_TOOL, code="ipsw-unreadable")

    def test_without_firmware(self):
        self.needs_namespaces()
        code = json.loads((self.bundle / "HardwareModel").read_bytes())["firmware"]
        self.assert_all_say(
            without(DESCRIPTORS), NEEDS + NEEDS_FIRMWARE,
            for_guest=self.needs_firmware(code))

    def test_without_a_descriptor_of_the_firmware(self):
        """Empty descriptors in the user's folder hide those that the guest's firmware has."""
        code = json.loads((self.bundle / "HardwareModel").read_bytes())["firmware"]
        own = self.folder / "qemu/firmware"
        own.mkdir(parents=True)
        for descriptor in pathlib.Path(DESCRIPTORS).glob("*.json"):
            (own / descriptor.name).touch()

        self.assert_all_say([], NEEDS + NEEDS_FIRMWARE, for_guest=self.needs_firmware(code))
        self.assertTrue(pathlib.Path(code).is_file())

    def test_without_any_of_them(self):
        self.needs_namespaces()
        host = without(EMULATOR, "qemu-img", DESCRIPTORS)
        self.assertEqual(self.status(host), f"parlen-mac-vm: {NEEDS}" + ", ".join(
            [NEEDS_EMULATOR, NEEDS_IMAGE_TOOL, NEEDS_FIRMWARE]) + "\n")

    def test_on_a_processor_that_has_no_guests(self):
        # The kernel names the 32-bit processor then.
        host = ["setarch", "linux32"]
        named = subprocess.check_output([*host, "uname", "-m"], text=True).strip()
        self.assertNotEqual(named, ARCHITECTURE)
        self.assert_all_say(host, f"there are no guests for processors of the kind {named}",
                            for_guest=f"the guest is for {ARCHITECTURE}, and this host is {named}")

    def test_a_guest_for_another_processor(self):
        (self.bundle / "HardwareModel").write_text(
            '{"architecture":"s390x","firmware":"/firmware","machineType":"virtio"}')

        # Nothing is missing: this host has guests, though not this one.
        self.assertEqual(self.status([]), "")
        self.assertIs(self.last["supported"], True)
        self.assertEqual(self.run_guest([]), "parlen-mac-vm: the guest is for s390x, and this host is "
                                             f"{ARCHITECTURE}\n")
        self.assertEqual(self.last, {
            "type": "error", "code": "bundle-missing",
            "message": f"this host cannot run the hardware model in {self.bundle}"})


if __name__ == "__main__":
    unittest.main(verbosity=2)
