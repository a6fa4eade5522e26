"""What a build needs, what it says when that is missing, and what scripts/install-dependencies does about it.

    dependencies_test.py TREE
"""

import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from shutil import which

TREE = None


class Missing(unittest.TestCase):
    """Parts of the build run as scripts, in which nothing is found."""

    def refusal_of(self, part, *options):
        with tempfile.TemporaryDirectory() as folder:
            script = Path(folder) / "part.cmake"
            script.write_text(f"include({TREE}/cmake/packages.cmake)\n{part}\n")
            done = subprocess.run(["cmake", *options, "-P", script], capture_output=True, text=True)
        self.assertNotEqual(done.returncode, 0)
        return " ".join(done.stderr.split())

    def test_what_is_missing_and_who_installs_it(self):
        for result in ("", "set(RESULT RESULT-NOTFOUND)\n"):
            message = self.refusal_of(result + 'nuv_need(RESULT "Some library" "build bench")')
            self.assertIn("Some library is missing. It is installed, with all that this build needs, by "
                          "scripts/install-dependencies build bench", message)

    def test_that_what_is_there_is_no_reason_to_stop(self):
        message = self.refusal_of("set(RESULT /usr/include)\nnuv_need(RESULT X build)\nmessage(FATAL_ERROR behind)")
        self.assertIn("behind", message)
        self.assertNotIn("missing", message)

    def test_packages_that_are_looked_for_first(self):
        for file, package, what, purpose in (
                ("cmake/catalogue.cmake", "Python3", "Python 3", "build"),
                ("tools/CMakeLists.txt", "CLI11", "CLI11", "build"),
                ("bench/CMakeLists.txt", "benchmark", "Google Benchmark", "build test")):
            message = self.refusal_of(f"include({TREE}/{file})", f"-DCMAKE_DISABLE_FIND_PACKAGE_{package}=ON")
            self.assertIn(f"{what} is missing.", message)
            self.assertIn(f"scripts/install-dependencies {purpose} Call Stack", message)

    def test_sources_that_are_looked_for_first(self):
        with tempfile.TemporaryDirectory() as nothing:
            message = self.refusal_of(f"include({TREE}/tests/CMakeLists.txt)", f"-DCMAKE_FIND_ROOT_PATH={nothing}",
                                      "-DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY")
        self.assertIn("GoogleTest is missing.", message)
        self.assertIn("scripts/install-dependencies build test", message)


class WhatUsersBuild(unittest.TestCase):
    """Neither tests nor benchmarks, which want packages of their own."""

    def test_defaults(self):
        text = (TREE / "CMakeLists.txt").read_text()
        for option in ("NUV_BUILD_TESTS", "NUV_BUILD_BENCHMARKS"):
            self.assertRegex(text, rf'(?m)^option\({option} "[^"]*" OFF\)$')
            self.assertEqual(len(re.findall(rf"(?:option|set)\({option}\b", text)), 1)

    def test_presets(self):
        presets = {preset["name"]: preset
                   for preset in json.loads((TREE / "CMakePresets.json").read_text())["configurePresets"]}

        def variables(name):
            return {**(variables(presets[name]["inherits"]) if "inherits" in presets[name] else {}),
                    **presets[name].get("cacheVariables", {})}

        for name in ("release", "package"):
            self.assertFalse({"NUV_BUILD_TESTS", "NUV_BUILD_BENCHMARKS"} & variables(name).keys(), name)
        self.assertEqual([variables("dev").get(f"NUV_BUILD_{what}") for what in ("TESTS", "BENCHMARKS")], ["ON", "ON"])


class Installation(unittest.TestCase):
    """The script on a machine whose programs are those of a folder: nothing can be installed from there."""

    def setUp(self):
        kept = tempfile.TemporaryDirectory()
        self.addCleanup(kept.cleanup)
        self.folder = Path(kept.name)
        self.done = self.folder / "done"

    def program(self, name, body):
        """A program for the shell; it may write to file 3 what it was asked for."""
        file = self.folder / name
        file.write_text(f"#!{which('sh')}\nexec 3>>{self.done}\n{body}\n")
        file.chmod(0o755)

    def debian(self, installed, user):
        """`installed`: a pattern of the shell."""
        self.program("dpkg-query", f"for last; do :; done; case $last in {installed}) echo installed;; *) exit 1;; esac")
        self.program("apt-get", 'echo apt-get "$@" >&3')
        self.program("id", f"echo {user}")
        (self.folder / "grep").symlink_to(which("grep"))

    def run_for(self, *purposes):
        """Exit status, message in one line, and the lines that programs wrote."""
        done = subprocess.run([which("bash"), TREE / "scripts/install-dependencies", *purposes],
                              env={"PATH": str(self.folder)}, capture_output=True, text=True)
        lines = self.done.read_text().splitlines() if self.done.exists() else []
        return done.returncode, " ".join(done.stderr.split()), lines

    def test_other_package_managers(self):
        status, message, _ = self.run_for("format", "bench")
        self.assertEqual(status, 1)
        self.assertEqual(message, "This script knows Debian's package manager alone. Needed here, by the names of "
                         "Debian's packages: clang-format libblis-dev gnuplot-nox Where they are installed, build with "
                         "cmake as README.md says.")

    def test_that_what_is_there_needs_nobody(self):
        self.debian(installed="*", user=1000)
        self.assertEqual(self.run_for("build", "test"), (0, "", []))

    def test_users_without_rights(self):
        self.debian(installed="libblis-dev", user=1000)
        self.assertEqual(self.run_for("format", "bench"),
                         (1, "To install what is missing takes root's rights, and there is no sudo. As root: "
                          "apt-get install clang-format gnuplot-nox", []))

    def test_those_who_have_them(self):
        expected = ["apt-get update -qq", "apt-get install -y -qq --no-install-recommends clang-format gnuplot-nox"]
        self.debian(installed="libblis-dev", user=0)
        self.assertEqual(self.run_for("format", "bench"), (0, "", expected))
        self.done.unlink()
        self.program("id", "echo 1000")
        self.program("sudo", 'echo sudo >&3; exec "$@"')
        self.assertEqual(self.run_for("format", "bench"), (0, "", ["sudo", expected[0], "sudo", expected[1]]))


if __name__ == "__main__":
    TREE = Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1])
