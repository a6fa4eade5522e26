"""Programs that call standard names alone, in three languages: linked with -lnuv, and linked with other files of the names
libblas.so.3 and liblapack.so.3 and switched over by LD_LIBRARY_PATH.

    programs_test.py BUILD_DIR [COMPILER_FLAG...]
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[2]
LIBRARIES = None
FLAGS = []

COMPILER = {".c": "gcc", ".cpp": "g++", ".f90": "gfortran"}
C_OUTPUT = """dgemm 5 11 11 25
dgesv 0 1 1 1
dgesdd 0 4 3 1
sdot 11 11 11.5
cdotc 5 -2
zdotu 1 -2
zladiv 2 -1
scabs1 2, scnrm2 3, izamax 3
lsame 1 0, disnan 1 0
dlamch 1, dlange 4
ilaenv 1
time 1
"""
CXX_OUTPUT = """zheev 0 1 3 1
sgemv 3 7
drotg 5 0.6 0.8, dnrm2 1
"""
FORTRAN_OUTPUT = """dgemm 5 11 11 25
dgesv 0  1.00  2.00
zheev 0  1.00  3.00
zdotc  6.00 -4.00
zladiv  2.00 -1.00
cdotu  6.00  4.00
sdot 11.00  6.00, dznrm2  3.74
izamax 1
lsame TFF, disnan FT
ilaenv T
dgees 0 2  3.00
zgees 0 1  0.00  2.00
dgges 0 2  3.00
zgges 0 1  0.00  2.00
"""
OWN_HANDLER_OUTPUT = """handled DGESV  6 1
info -1
handled DGEMM  6 2
handled DGEMV  6 3
handled MINE 4 7
"""
DEFAULT_REPORTS = "".join(f"NUV ERROR : Parameter {position} was incorrect on entry to {name}\n"
                          for position, name in ((1, "DGESV "), (2, "DGEMM "), (3, "DGEMV "), (1, "MINE")))
PROGRAMS = {
    "calls.c": (C_OUTPUT, ""),
    "calls.cpp": (CXX_OUTPUT, ""),
    "calls.f90": (FORTRAN_OUTPUT, ""),
    "own_handler.f90": (OWN_HANDLER_OUTPUT, ""),
    "default_handler.c": ("", DEFAULT_REPORTS),
}


def run(*command, **options):
    done = subprocess.run([str(c) for c in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: exit status {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def environment(**variables):
    kept = {k: v for k, v in os.environ.items() if k != "LD_LIBRARY_PATH" and not k.startswith("NUV_")}
    return kept | {k: str(v) for k, v in variables.items()}


def needed(library):
    return [line.split("[")[1].rstrip("]") for line in run("readelf", "-d", library).stdout.splitlines() if "(NEEDED)" in line]


class Programs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory(prefix="nuv-standard-")
        cls.folder = Path(cls.temporary.name)

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def build(self, source, name, *options):
        source = HERE / source
        program = self.folder / name
        run(COMPILER[source.suffix], *FLAGS, "-O1", source, "-o", program, *options)
        return program

    def check(self, program, source, **variables):
        done = run(program, env=environment(**variables))
        self.assertEqual((done.stdout, done.stderr), PROGRAMS[source])

    def test_linked_with_nuv(self):
        for source in PROGRAMS:
            with self.subTest(source):
                program = self.build(source, f"{source}.linked", f"-L{LIBRARIES}", "-lnuv")
                self.assertIn("libnuv.so.0", needed(program))
                self.check(program, source, LD_LIBRARY_PATH=LIBRARIES)
                self.check(program, source, LD_LIBRARY_PATH=LIBRARIES, NUV_THREAD_LAYER="sequential")

    def stand_in(self, name, names):
        """A library that a program can be linked with, and that does nothing."""
        source = self.folder / f"{name}.c"
        source.write_text("".join(f"void {n}(void) {{}}\n" for n in names))
        run("gcc", *FLAGS, "-shared", "-fPIC", "-fno-builtin", "-w", f"-Wl,-soname,lib{name}.so.3", source, "-o",
            self.folder / f"lib{name}.so")

    def test_switched_over(self):
        exports = LIBRARIES.parent / "generated" / "exports"
        for name in ("blas", "lapack"):
            self.stand_in(name, (exports / f"lib{name}.txt").read_text().split())
        for source in PROGRAMS:
            with self.subTest(source):
                program = self.build(source, f"{source}.switched", f"-L{self.folder}", "-llapack", "-lblas")
                self.assertLess({"libblas.so.3"}, set(needed(program)))
                self.check(program, source, LD_LIBRARY_PATH=LIBRARIES / "nuv")

    def test_a_program_that_names_one_library_gets_the_other(self):
        self.assertEqual(needed(LIBRARIES / "nuv" / "liblapack.so.3").count("libblas.so.3"), 1)

    def test_a_layer_that_is_linked_stays(self):
        program = self.build("default_handler.c", "with_layer", f"-L{LIBRARIES}", "-Wl,--no-as-needed",
                             "-lnuv_sequential", "-lnuv_lapack", "-lnuv")
        started = run(program, env=environment(LD_LIBRARY_PATH=LIBRARIES, LD_DEBUG="files")).stderr
        self.assertEqual(set(re.findall(r"calling init: .*/(libnuv_(?:seq|orvo|with)\w*)\.so", started)), {"libnuv_sequential"})

    def test_own_names_by_the_command_lines_in_the_documents(self):
        lines = [line.split() for name in ("languages", "troubleshooting")
                 for line in (ROOT / "docs" / f"{name}.md").read_text().splitlines()
                 if re.match(r"    (cc|g\+\+) program", line) and "nuv" in line]
        self.assertEqual(len(lines), 3)
        for number, (compiler, source, *options) in enumerate(lines):
            with self.subTest(" ".join(options)):
                first = ROOT / "examples" / "first_program" / f"first{Path(source).suffix}"
                program = self.folder / f"first{number}"
                headers = LIBRARIES.parent / "generated" / "include"
                run(compiler, *FLAGS, f"-I{headers}", first, f"-L{LIBRARIES}", *options, "-o", program)
                self.assertIn("info = 0", run(program, env=environment(LD_LIBRARY_PATH=LIBRARIES)).stdout)

    def test_a_program_under_the_address_sanitizer(self):
        # It intercepts dlopen, and the loader takes it for the caller.
        program = self.build("calls.c", "watched", "-fsanitize=address", f"-L{LIBRARIES}", "-lnuv",
                             f"-Wl,--enable-new-dtags,-rpath,{LIBRARIES}")
        self.check(program, "calls.c", ASAN_OPTIONS="detect_leaks=0")


if __name__ == "__main__":
    LIBRARIES, FLAGS = Path(sys.argv[1]) / "lib", sys.argv[2:]
    unittest.main(argv=sys.argv[:1])
