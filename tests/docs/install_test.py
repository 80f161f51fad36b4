"""What `cmake --install` puts into an empty folder. PARLEN_SOURCE: the tree; PARLEN_CMAKE: the cmake program;
PARLEN_BUILD: the build folder, completely built."""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["PARLEN_SOURCE"])
DOCUMENTS = "share/doc/parlen-mac-vm"

# What may be installed, and at least how many files of it there are. A file that no row allows fails
# the test; so does a row that is not filled.
CONTENTS = (
    (r"bin/parlen-mac-vm", 1),
    (r"lib(64|/[a-z0-9_-]+)?/parlen-mac-vm/parlen-mac-vm-gtk\.so", 0),  # where GTK is
    (r"share/man/man1/parlen-mac-vm\.1", 1),
    (r"share/bash-completion/completions/parlen-mac-vm", 1),
    (r"share/zsh/site-functions/_parlen-mac-vm", 1),
    (r"share/fish/vendor_completions\.d/parlen-mac-vm\.fish", 1),
    (r"share/parlen-mac-vm/schema/protocol\.json", 1),
    (r"share/parlen-mac-vm/schema/[a-z]+\.schema\.json", 6),
    (rf"{DOCUMENTS}/(README|CHANGELOG|CONTRIBUTING|SECURITY)\.md", 4),
    (rf"{DOCUMENTS}/docs/[a-z-]+\.md", 4),
    (rf"{DOCUMENTS}/docs/[a-z-]+\.(png|svg|1)", 4),
    (rf"{DOCUMENTS}/examples/[a-z.-]+", 3),
    (rf"{DOCUMENTS}/guest-kit/(README\.md|parlen-guest(\.service)?|local\.parlen-guest\.plist|guest_folder\.py)", 5),
    (r"share/parlen-mac-vm/conformance/(README\.md|run|scenarios\.py|(kit|parents)/[a-z_]+\.(py|mjs|sh))", 13),
)
PROGRAMS = ("bin/parlen-mac-vm", f"{DOCUMENTS}/guest-kit/parlen-guest", f"{DOCUMENTS}/examples/parent.py",
            f"{DOCUMENTS}/examples/parent.sh", "share/parlen-mac-vm/conformance/run")


def anchors(document):
    """The names by which a document's headings are linked, as forges make them."""
    headings = re.findall(r"^#+ (.*)$", document.read_text(), re.M)
    return {re.sub(r"[^a-z0-9 -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def dead_links(folder):
    dead = []
    for document in sorted(folder.rglob("*.md")):
        for target in re.findall(r"\]\((?!https?://)([^)\s]+)\)", document.read_text()):
            path, _, anchor = target.partition("#")
            found = document.parent / path if path else document
            if not found.exists() or (anchor and anchor not in anchors(found)):
                dead.append(f"{document.relative_to(folder)}: {target}")
    return dead


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.prefix = pathlib.Path(folder.name)
        subprocess.run([os.environ["PARLEN_CMAKE"], "--install", os.environ["PARLEN_BUILD"], "--prefix", cls.prefix],
                       check=True, stdout=subprocess.DEVNULL)
        cls.files = [str(path.relative_to(cls.prefix)) for path in cls.prefix.rglob("*") if path.is_file()]

    def test_holds_what_the_table_says(self):
        for pattern, least in CONTENTS:
            found = [name for name in self.files if re.fullmatch(pattern, name)]
            self.assertGreaterEqual(len(found), least, pattern)
        unknown = [name for name in self.files if not any(re.fullmatch(pattern, name) for pattern, _ in CONTENTS)]
        self.assertEqual([], unknown)

    def test_has_every_file_of_the_folders(self):
        for folder, place in (("schema", "share/parlen-mac-vm/schema"), ("guest-kit", f"{DOCUMENTS}/guest-kit"),
                              ("examples", f"{DOCUMENTS}/examples")):
            tracked = subprocess.run(["git", "ls-files", folder], cwd=SOURCE, capture_output=True, text=True).stdout
            names = {pathlib.Path(name).name.removesuffix(".in") for name in tracked.split()} - {"CMakeLists.txt"}
            if not names:
                self.skipTest("the tree is no git repository")
            installed = {path.name for path in (self.prefix / place).iterdir()}
            self.assertEqual(set(), names - installed, folder)

    def test_programs_can_be_executed(self):
        self.assertEqual([], [name for name in PROGRAMS if not os.access(self.prefix / name, os.X_OK)])

    def test_links_work(self):
        self.assertEqual([], dead_links(self.prefix))

    @unittest.skipIf(pathlib.Path(os.environ["PARLEN_PROGRAM"]).read_bytes().startswith(b"#!"),
                     "the program runs under an emulator, which the installed one does not know")
    def test_the_installed_parent_runs_the_installed_program(self):
        with tempfile.TemporaryDirectory() as folder:
            environment = {**os.environ, "PARLEN_HOST": "simulated",
                           "PATH": f"{self.prefix / 'bin'}:{os.environ['PATH']}"}
            environment.pop("PARLEN_PROGRAM", None)
            pathlib.Path(folder, "image").write_text('{"simulatedRestoreImage":1,"hardwareModel":"sim-1"}')
            create = ["parlen-mac-vm", "create", "--ipsw", "image", "--bundle", "vm1", "--disk-gb", "1"]
            subprocess.run(create, cwd=folder, env=environment, check=True, stdout=subprocess.DEVNULL)
            parent = [sys.executable, "-B", self.prefix / DOCUMENTS / "examples/parent.py", "vm1"]
            done = subprocess.run(parent, cwd=folder, env=environment, capture_output=True, text=True)
            self.assertEqual(0, done.returncode, done)
            self.assertIn('"stopped"', done.stdout)

    def test_the_documents_are_of_one_version(self):
        version = json.loads((self.prefix / "share/parlen-mac-vm/schema/protocol.json").read_text())["version"]
        manual = (self.prefix / "share/man/man1/parlen-mac-vm.1").read_text()
        self.assertIn(f'"parlen-mac-vm {version}"', manual)
        changes = (self.prefix / DOCUMENTS / "CHANGELOG.md").read_text()
        self.assertEqual(version, re.findall(r"^## (.*)$", changes, re.M)[0])  # nothing is newer


if __name__ == "__main__":
    unittest.main()
