"""The completion scripts in the shells that they are for. PARLEN_SOURCE: the tree."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SCRIPTS = pathlib.Path(os.environ["PARLEN_SOURCE"]) / "completions"
SUBCOMMANDS = {"create", "run", "clone", "status"}
RUN_OPTIONS = {"--bundle", "--gui", "--share", "--logs-share"}


class ShellsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "guest one").mkdir()
        (self.folder / "guest.img").touch()

    def lines(self, *command):
        done = subprocess.run(command, cwd=self.folder, capture_output=True, text=True, check=True)
        self.assertEqual("", done.stderr)
        return set(done.stdout.splitlines())

    def in_bash(self, *words):
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); compopt() { :; };'
                  ' _parlen_mac_vm; printf "%s\\n" "${COMPREPLY[@]}"')
        path = SCRIPTS / "parlen-mac-vm.bash"
        return self.lines("bash", "-c", script, "bash", path, "parlen-mac-vm", *words) - {""}

    def in_fish(self, line):
        script = f'source "{SCRIPTS / "parlen-mac-vm.fish"}"; complete -C "{line}"'
        return {found.split("\t")[0] for found in self.lines("fish", "--no-config", "-c", script)}

    def test_bash_offers_the_tables_words(self):
        self.assertEqual(SUBCOMMANDS, self.in_bash(""))
        self.assertEqual({"create", "clone"}, self.in_bash("c"))
        self.assertEqual(RUN_OPTIONS, self.in_bash("run", ""))
        self.assertEqual({"--bundle"}, self.in_bash("status", "--"))

    def test_bash_offers_paths_for_paths(self):
        self.assertEqual({"guest one"}, self.in_bash("run", "--bundle", "g"))
        self.assertEqual({"guest one", "guest.img"}, self.in_bash("create", "--ipsw", "g"))
        self.assertEqual(set(), self.in_bash("create", "--disk-gb", ""))

    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_fish_offers_the_tables_words(self):
        self.assertEqual(SUBCOMMANDS, self.in_fish("parlen-mac-vm "))
        self.assertEqual(RUN_OPTIONS, self.in_fish("parlen-mac-vm run --"))
        self.assertEqual({"guest one/"}, self.in_fish("parlen-mac-vm run --bundle g"))
        self.assertEqual({"guest one/", "guest.img"}, self.in_fish("parlen-mac-vm create --ipsw g"))

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh_loads_its_script(self):
        script = ("fpath=($1 $fpath); autoload -Uz compinit; compinit -D -u;"
                  " print $_comps[parlen-mac-vm]; autoload -Uz +X _parlen-mac-vm")
        self.assertEqual({"_parlen-mac-vm"}, self.lines("zsh", "-f", "-c", script, "zsh", SCRIPTS))


if __name__ == "__main__":
    unittest.main()
