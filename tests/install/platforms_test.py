"""What a configuration says to compilers and machines that the tree is not written for.

    platforms_test.py COMPILERS_CMAKE
"""

import subprocess
import sys
import unittest

SCRIPT = None


def configure(compiler="GNU", version="12.2", system="Linux", processor="x86_64"):
    """Exit status and message, in one line."""
    done = subprocess.run(
        ["cmake", f"-DCMAKE_CXX_COMPILER_ID={compiler}", f"-DCMAKE_CXX_COMPILER_VERSION={version}",
         f"-DCMAKE_SYSTEM_NAME={system}", f"-DCMAKE_SYSTEM_PROCESSOR={processor}", "-P", SCRIPT],
        capture_output=True, text=True)
    return done.returncode, " ".join(done.stderr.split())


class Platforms(unittest.TestCase):
    def check_refused(self, words, **machine):
        status, message = configure(**machine)
        self.assertNotEqual(status, 0)
        self.assertIn(words, message)

    def test_those_that_the_tree_is_written_for(self):
        for machine in ({}, {"compiler": "Clang", "version": "14.0.6"}, {"version": "13"}, {"processor": "i686"}):
            self.assertEqual(configure(**machine), (0, ""))

    def test_older_compilers(self):
        self.check_refused("nuv needs gcc 12 or clang 14, or newer ones. This is GNU 11.4", version="11.4")
        self.check_refused("This is Clang 13.0.1", compiler="Clang", version="13.0.1")

    def test_other_compilers(self):
        self.check_refused("nuv is compiled by gcc 12 or clang 14, or newer ones", compiler="Intel")

    def test_other_machines(self):
        self.check_refused("x86 processors so far, 64-bit and 32-bit ones", processor="aarch64")
        self.check_refused("nuv is for Linux so far", system="Darwin")


if __name__ == "__main__":
    SCRIPT = sys.argv[1]
    unittest.main(argv=sys.argv[:1])
