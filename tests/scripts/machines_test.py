"""What the scripts ask of Debian on an x86-64 and on an arm64 machine. PARLEN_SOURCE: the tree.

dpkg names the machine that the test is about, nothing is installed, and apt installs nothing: these and
the tools that the scripts look for are stand-ins. The scripts run in a copy, because they write into
the tree's build folder."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

TREE = pathlib.Path(os.environ["PARLEN_SOURCE"])
TOOLS = ("dpkg-deb", "objcopy", "aarch64-linux-gnu-objcopy", "qemu-aarch64-static", "sfdisk", "mformat",
         "mmd", "mcopy", "cpio", "depmod", "modprobe", "apt-cache", "apt-get")
LOG = '#!/bin/sh\necho "${0##*/} $*" >>"$LOG"\n'


class MachineCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copytree(TREE / "scripts", self.folder / "scripts")
        (self.folder / "path").mkdir()
        for tool in TOOLS:
            self.stand_in(tool, LOG)
        self.stand_in("dpkg-query", "#!/bin/sh\nexit 1\n")
        self.stand_in("sudo", '#!/bin/sh\nexec "$@"\n')

    def stand_in(self, name, text):
        path = self.folder / "path" / name
        path.write_text(text)
        path.chmod(0o755)

    def on(self, machine, script, *arguments):
        self.stand_in("dpkg", f"#!/bin/sh\necho {machine}\n")
        (self.folder / "log").write_text("")
        environment = dict(os.environ, PATH=f"{self.folder}/path:{os.environ['PATH']}", LOG=self.folder / "log")
        return subprocess.run([self.folder / "scripts" / script, *arguments], env=environment, text=True,
                              capture_output=True)

    def log(self):
        return (self.folder / "log").read_text()


class PackagesTest(MachineCase):
    def installed(self, machine, *groups):
        done = self.on(machine, "install-packages", *groups)
        self.assertEqual(0, done.returncode, done)
        [line] = [line for line in self.log().splitlines() if " install " in line]
        return sorted(word for word in line.split(" install ")[1].split() if not word.startswith("-"))

    def test_are_those_of_qemu_for_the_machine(self):
        self.assertEqual(["ovmf", "passt", "qemu-system-x86", "qemu-utils"], self.installed("amd64", "run"))
        self.assertEqual(["ipxe-qemu", "passt", "qemu-efi-aarch64", "qemu-system-arm", "qemu-utils"],
                         self.installed("arm64", "run"))

    def test_are_the_same_where_the_machine_makes_no_difference(self):
        self.assertEqual(self.installed("amd64", "build", "guest"), self.installed("arm64", "build", "guest"))


class GuestImageTest(MachineCase):
    """apt knows no kernel here, so the script ends by saying which one it wants, and from where."""

    def refusal(self, machine, *arguments):
        done = self.on(machine, "make-guest-image", *arguments, self.folder / "guest.img")
        self.assertEqual(1, done.returncode, done)
        return done.stderr

    def test_is_for_the_machine_itself(self):
        for machine in ("amd64", "arm64"):
            self.assertEqual(f"make-guest-image: apt knows no linux-image-{machine}; run: apt-get update\n",
                             self.refusal(machine))

    def test_is_for_arm64_with_package_lists_of_its_own(self):
        text = self.refusal("amd64", "--arch", "arm64")
        self.assertRegex(text, r"no linux-image-arm64; run: \S+/scripts/foreign-apt arm64 apt-get update\n")
        # What it advises gets new lists.
        self.assertEqual(0, self.on("amd64", "foreign-apt", "arm64", "apt-get", "update").returncode)
        self.assertEqual("apt-get update\n", self.log())

    def test_is_not_made_for_x86_64_elsewhere(self):
        self.assertIn("the image for amd64 is not made on arm64", self.refusal("arm64", "--arch", "amd64"))

    def test_names_the_packages_with_missing_tools(self):
        script = self.folder / "scripts/make-guest-image"
        script.write_text(script.read_text().replace(" mcopy ", " no-such-tool "))
        self.assertIn("no-such-tool is missing; run: scripts/install-packages guest\n", self.refusal("arm64"))
        self.assertIn("no-such-tool is missing; run: scripts/install-packages guest arm64\n",
                      self.refusal("amd64", "--arch", "arm64"))


if __name__ == "__main__":
    unittest.main()
