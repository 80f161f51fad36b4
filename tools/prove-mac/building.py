"""Build, install, sign, test."""

import os

from outcomes import Assumption, NotTried, Refuted
from processes import last_lines

ENTITLEMENT = "com.apple.security.virtualization"


def command(bench, seconds, *arguments):
    """Runs a command of the tree; Refuted when it fails."""
    status, output = bench.run(list(arguments), seconds, folder=bench.source)
    if status != 0:
        raise Refuted(f"'{' '.join(arguments)}' has failed: {last_lines(output, 12)}")
    return output


def preset(name):
    def prove(bench):
        command(bench, 300, "cmake", "--preset", name)
        command(bench, 1800, "cmake", "--build", "--preset", name)

    return prove


def install(bench):
    command(bench, 120, "cmake", "--install", os.path.join("build", "release"),
            "--prefix", bench.prefix)
    if not os.access(bench.program, os.X_OK):
        raise Refuted(f"there is no {bench.program}")


def signature(bench):
    bench.need_program()
    command(bench, 60, "codesign", "--verify", "--strict", bench.program)
    granted = command(bench, 60, "codesign", "--display", "--entitlements", "-", "--xml",
                      bench.program)
    if ENTITLEMENT not in granted:
        raise Refuted("the installed program's signature does not grant virtual machines")


def libraries(bench):
    bench.need_program()
    for line in command(bench, 60, "otool", "-L", bench.program).splitlines()[1:]:
        name = line.split()[0] if line.split() else ""
        if name and not name.startswith(("/System/Library/", "/usr/lib/")):
            raise Refuted(f"it loads {name}")


def tests(*selection):
    def prove(bench):
        if not os.path.exists(os.path.join(bench.build, "CTestTestfile.cmake")):
            raise NotTried("the dev preset was not built")
        command(bench, 1800, "ctest", "--preset", "dev", "-j4", "--timeout", "300",
                "--no-tests=error", *selection)

    return prove


STAGE = [
    Assumption("build.dev", "the dev preset builds with the real SDK without a warning",
               "the file that the compiler names, and tools/macos-cross where a declaration differs",
               preset("dev")),
    Assumption("build.release", "the release preset builds", "CMakePresets.json", preset("release")),
    Assumption("build.install", "the release build can be installed", "src/app/CMakeLists.txt",
               install),
    Assumption("build.signature", "installing keeps the signature and its entitlement",
               "cmake/ParlenSigning.cmake", signature),
    Assumption("build.libraries", "the program loads nothing but the system's libraries",
               "src/app/CMakeLists.txt", libraries),
    Assumption("tests.unit", "the tests pass", "the file that the failed test names",
               tests("-LE", "program_test")),
    Assumption("tests.program", "the program tests pass",
               "src/platform/posix, src/platform/macos/system.mm", tests("-L", "program_test")),
]
