"""What the shared libraries export, need and run by themselves, as the linker left them.

    exports_test.py --exports DIR LIBRARY:LIST... [unittest options]

LIST is the catalogue's list of names for that library: lapack, kernel or layer.
"""

import argparse
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

C_LIBRARY = {"libc.so.6", "libm.so.6"}
START_FILES = {"__gmon_start__", "_ITM_registerTMCloneTable", "_ITM_deregisterTMCloneTable"}  # asked for in case they exist
options = None


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"}).stdout


class Library:
    def __init__(self, text):
        path, self.list = text.rsplit(":", 1)
        self.path = Path(path)
        self.name = self.path.name

    def symbols(self, *nm_options):
        """Name -> type letter; a version that a name is bound to is left out."""
        rows = (line.split() for line in run("nm", *nm_options, self.path).splitlines())
        return {row[-1].split("@")[0]: row[-2] for row in rows if len(row) >= 2}

    def exported(self):
        return self.symbols("-D", "--defined-only")

    def undefined(self):
        """(name, whether the C library has it) of each name that is looked for elsewhere."""
        rows = (line.split()[-1] for line in run("nm", "-D", "--undefined-only", self.path).splitlines())
        return [(row.split("@")[0], "@GLIBC" in row) for row in rows]

    def dynamic(self, tag):
        """Values of a tag of the dynamic section."""
        return re.findall(rf"\({tag}\)\s+(?:[\w ]+: )?\[?([^\]\n]*)", run("readelf", "-dW", self.path))

    def sections(self):
        return re.findall(r"^\s*\[\s*\d+\] (\.\S+)", run("readelf", "-SW", self.path), re.M)

    def catalogued(self):
        return (options.exports / f"{self.list}.txt").read_text().split()


def for_each(*lists):
    """Runs a test for every library, or for those that go by these lists."""
    def decorate(test):
        def repeated(self):
            for library in options.libraries:
                if not lists or library.list in lists:
                    with self.subTest(library.name):
                        test(self, library)
        return repeated
    return decorate


class Libraries(unittest.TestCase):
    @for_each()
    def test_they_export_just_what_the_catalogue_lists(self, library):
        self.assertEqual(sorted(library.exported()), library.catalogued())

    @for_each()
    def test_they_need_the_c_library_alone(self, library):
        needed = set(library.dynamic("NEEDED"))
        self.assertIn("libc.so.6", needed)
        self.assertLessEqual(needed, C_LIBRARY)

    @for_each()
    def test_what_they_look_for_elsewhere_can_be_found(self, library):
        lapack, = (library for library in options.libraries if library.list == "lapack")
        elsewhere = {"layer": set(lapack.exported())}
        unversioned = {name for name, in_c_library in library.undefined() if not in_c_library}
        unversioned -= START_FILES
        self.assertEqual(unversioned - elsewhere.get(library.list, set()), set())

    @for_each("layer")
    def test_layers_call_back_serial_bodies(self, library):
        self.assertIn("nuv_lapack_xdgetrf", {name for name, _ in library.undefined()})

    @for_each()
    def test_nothing_runs_before_the_first_call_or_after_the_last(self, library):
        if library.name.startswith("libnuv_orvo_thread"):
            return  # it watches forks from the start
        self.assertFalse([section for section in library.sections()
                          if re.match(r"\.(preinit_array|init|fini|ctors|dtors)", section)])
        for tag in ("INIT", "FINI", "INIT_ARRAY", "FINI_ARRAY", "PREINIT_ARRAY"):
            self.assertEqual(library.dynamic(tag), [])

    @for_each()
    def test_they_find_each_other_beside_them(self, library):
        self.assertEqual(library.dynamic("RUNPATH"), ["$ORIGIN"])
        self.assertEqual(library.dynamic("RPATH"), [])
        self.assertEqual(library.dynamic("SONAME"), [library.name])

    @for_each()
    def test_their_code_is_shared_and_their_data_is_not_run(self, library):
        self.assertNotIn("TEXTREL", run("readelf", "-dW", library.path))
        stack, = re.findall(r"^\s*GNU_STACK.*$", run("readelf", "-lW", library.path), re.M)
        self.assertEqual(stack.split()[-2], "RW")

    @for_each("lapack")
    def test_kinds_of_names(self, library):
        exported = library.exported()
        self.assertEqual(exported["_BUGWORKAROUND"], "W")
        for name in ("named_errors", "dll_def_names", "dll_def_names_l", "dll_def_names_oql", "i_malloc", "i_calloc",
                     "i_realloc", "i_free", "__nuv_cfg_file_readed_extern"):
            self.assertIn(exported[name], "BDR", name)
        others = {kind for name, kind in exported.items() if re.match(r"nuv_(lapack|blas|serv)_|NUV_|xerbla_", name)}
        self.assertEqual(others, {"T"})

    @for_each("lapack")
    def test_message_pieces_are_writable_and_in_order(self, library):
        rows = (line.split() for line in run("nm", "-n", "-C", library.path).splitlines())
        pieces = re.compile(r"(?:.*::)?(usrTail|usrHead|sysTail|sysHead|named_errors)$")
        found = [(match.group(1), row[1].lower()) for row in rows if (match := pieces.match(row[-1]))]
        self.assertEqual(found, [(name, "d") for name in
                                 ("usrTail", "usrHead", "sysTail", "sysHead", "named_errors")])


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--exports", type=Path, required=True)
    parser.add_argument("libraries", type=Library, nargs="+")
    options, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
