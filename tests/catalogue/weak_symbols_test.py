"""Whether code compiled for one instruction set can end up in the code for another.

    weak_symbols_test.py --compiler CXX --set NAME OBJECT... [--set ...] [unittest options]

Of functions that several objects hold under one name, weakly, the linker keeps whichever it meets first. Where the objects
are compiled for different sets, that may be one which the machine at hand can't run. So each such name has to say its
set, as the namespace NUV_ISA does.
"""

import argparse
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

WEAK = {"W", "V", "u"}  # functions, objects, objects that are one in a whole process
options = None


def stray_symbols(instruction_set, objects):
    """Weak symbols defined in the objects whose names lack the set, as lines of text; and how many others there are."""
    component = f"{len(instruction_set)}{instruction_set}"  # of a mangled name
    listing = subprocess.run(["nm", "--print-file-name", "--defined-only", *objects],
                             check=True, capture_output=True, text=True).stdout
    rows = [line.rsplit(maxsplit=2) for line in listing.splitlines()]
    weak = [(place.rpartition(":")[0], name) for place, kind, name in rows if kind in WEAK]
    strays = [f"{name} in {path}" for path, name in weak if component not in name]
    return strays, len(weak) - len(strays)


class WeakSymbols(unittest.TestCase):
    def test_names_say_the_instruction_set(self):
        self.assertTrue(options.set)
        for instruction_set, *objects in options.set:
            with self.subTest(instruction_set):
                strays, others = stray_symbols(instruction_set, objects)
                self.assertEqual(strays, [])
                self.assertGreater(others, 0)

    def test_objects_lie_apart(self):
        objects = [path for _, *paths in options.set for path in paths]
        self.assertEqual(len(objects), len(set(objects)))


class Detection(unittest.TestCase):
    """The check itself, on an object that has a function of each kind."""

    SOURCE = """
        template <class T> [[gnu::noinline]] T common(T x) { return x * x; }
        inline int counter = 0;
        namespace kernels { inline namespace avx2 {
        template <class T> [[gnu::noinline]] T own(T x) { return x + x; }
        } }
        namespace { [[gnu::noinline]] int local(int x) { return x - 1; } }
        int body_avx2(int x) { return common(x) + kernels::own(x) + local(counter++); }
    """

    def strays(self, instruction_set):
        with tempfile.TemporaryDirectory() as folder:
            source, compiled = Path(folder, "example.cpp"), Path(folder, "example.o")
            source.write_text(self.SOURCE)
            subprocess.run([options.compiler, "-std=c++20", "-O2", "-c", source, "-o", compiled], check=True)
            strays, _ = stray_symbols(instruction_set, [compiled])
        return sorted(stray.split()[0] for stray in strays)

    def test_functions_and_objects_of_all_sets_are_found(self):
        self.assertEqual(self.strays("avx2"), ["_Z6commonIiET_S0_", "counter"])

    def test_functions_of_another_set_are_found(self):
        for another in ("sse2", "avx512", "avx"):
            with self.subTest(another):
                self.assertIn("_ZN7kernels4avx23ownIiEET_S2_", self.strays(another))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--set", action="append", nargs="+", default=[], metavar=("NAME", "OBJECT"))
    options, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
