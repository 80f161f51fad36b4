"""The documents: their links, and what they must name. PARLEN_SOURCE: the tree; PARLEN_CMAKE: the cmake program; PARLEN_DOCS: the
build folder of docs/, from which they are installed."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

try:
    import yaml
except ImportError:  # Debian's python3-yaml
    yaml = None

# [text](target), without what lies on the web and without the part of a page.
LINK = re.compile(r"\]\((?!https?://)([^)#\s]+)[^)]*\)")


def documents(folder):
    return [path for path in sorted(folder.rglob("*.md")) if "build" not in path.parts]


def dead_links(folder):
    dead = []
    for document in documents(folder):
        for target in LINK.findall(document.read_text()):
            if not (document.parent / target).exists():
                dead.append(f"{document.relative_to(folder)}: {target}")
    return dead


class LinksTest(unittest.TestCase):
    def test_work_in_the_tree(self):
        tree = pathlib.Path(os.environ["PARLEN_SOURCE"])
        found = [document.name for document in tree.glob("*.md")]
        self.assertIn("README.md", found)
        self.assertEqual([d for name in found for d in self.dead_of(tree / name)], [])
        self.assertEqual(dead_links(tree / "docs"), [])

    def test_work_where_they_are_installed(self):
        with tempfile.TemporaryDirectory() as prefix:
            subprocess.run(
                [os.environ["PARLEN_CMAKE"], "--install", os.environ["PARLEN_DOCS"], "--prefix", prefix],
                check=True,
                stdout=subprocess.DEVNULL,
            )
            installed = pathlib.Path(prefix)
            self.assertIn("README.md", [path.name for path in documents(installed)])
            self.assertEqual(dead_links(installed), [])

    def dead_of(self, document):
        return [
            f"{document.name}: {target}"
            for target in LINK.findall(document.read_text())
            if not (document.parent / target).exists()
        ]


class EnvironmentTest(unittest.TestCase):
    def test_documents_have_every_variable_of_the_program(self):
        tree = pathlib.Path(os.environ["PARLEN_SOURCE"])
        read = re.compile(r'(?:variable|getenv)\("([A-Z_]+)"\)')
        variables = {name for suffix in ("*.cpp", "*.mm") for source in (tree / "src").rglob(suffix)
                     for name in read.findall(source.read_text())}
        self.assertIn("PARLEN_HOST", variables)
        for name, heading, next_heading in (("parlen-mac-vm.1", ".SH ENVIRONMENT", ".SH "),
                                            ("protocol.md", "\n## Environment\n", "\n## ")):
            environment = (tree / "docs" / name).read_text().split(heading)[1].split(next_heading)[0]
            named = re.findall(r"[A-Z]+(?:_[A-Z]+)*", environment)
            self.assertEqual(variables - set(named), set(), name)


@unittest.skipUnless(yaml, "this Python has no package yaml")
class WorkflowTest(unittest.TestCase):
    """What a forge is to run. None has yet."""

    def setUp(self):
        self.tree = pathlib.Path(os.environ["PARLEN_SOURCE"])
        self.jobs = {}
        for workflow in (self.tree / ".github/workflows").iterdir():
            self.jobs |= yaml.safe_load(workflow.read_text())["jobs"]

    def test_has_steps_that_run_or_use_one_thing(self):
        self.assertEqual(sorted(self.jobs), ["linux", "linux-weekly", "macos"])
        for job in self.jobs.values():
            self.assertIn("runs-on", job)
            for step in job["steps"]:
                self.assertEqual(len(step.keys() & {"run", "uses"}), 1, step)
                self.assertLessEqual(step.keys(), {"name", "run", "uses", "with", "if"})

    def test_runs_scripts_of_the_tree(self):
        commands = [step["run"].split()[0] for job in self.jobs.values() for step in job["steps"] if "run" in step]
        scripts = [command for command in commands if "/" in command]
        self.assertGreaterEqual(len(scripts), 4)
        for script in scripts:
            self.assertTrue(os.access(self.tree / script, os.X_OK), script)

    def test_runs_each_step_of_the_tests(self):
        script = (self.tree / "scripts/test").read_text()
        named = re.search(r'^named_steps=\("\$\{all_steps\[@\]\}" (.*)\)$', script, re.M).group(1).split()
        commands = [step.get("run", "") for job in self.jobs.values() for step in job["steps"]]
        run = {word for command in commands if command.startswith("scripts/test ") for word in command.split()[1:]}
        self.assertEqual({"all", *named}, run)


if __name__ == "__main__":
    unittest.main()
