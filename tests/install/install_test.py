"""Installs the build into a folder of its own, moves it, and builds and runs the first programs against it, once by
pkg-config and once by find_package. The build tree must not be needed for that.

    install_test.py SOURCE_DIR BUILD_DIR [COMPILER_FLAG...]
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = BUILD = None
FLAGS = []
EXPECTED_STDOUT = "info = 0, x = 1, y = 1, z = 1\ninfo = -4\n"
EXPECTED_STDERR = "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n"


def run(*command, **options):
    done = subprocess.run([str(c) for c in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: exit status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class InstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="nuv-install-"))
        run("cmake", "--install", BUILD, "--prefix", cls.folder / "first place")
        cls.prefix = cls.folder / "prefix"
        (cls.folder / "first place").rename(cls.prefix)
        cls.library_folder = next(cls.prefix.rglob("libnuv_lapack.so")).parent
        cls.examples = SOURCE / "examples" / "first_program"

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def check_program(self, program):
        environment = {k: v for k, v in os.environ.items() if k != "LD_LIBRARY_PATH"}
        environment["LD_LIBRARY_PATH"] = str(self.library_folder)
        done = subprocess.run([program], capture_output=True, text=True, env=environment)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, EXPECTED_STDOUT, EXPECTED_STDERR))

    def pkg_config(self, *words):
        environment = dict(os.environ, PKG_CONFIG_PATH=str(self.library_folder / "pkgconfig"))
        return run("pkg-config", *words, "nuv", env=environment).split()

    def test_programs_by_pkg_config(self):
        compile_flags, link_flags = self.pkg_config("--cflags"), self.pkg_config("--libs")
        fortran_module = self.prefix / "include" / "nuv" / "nuv_lapack.f90"
        for compiler, sources in {
            "gcc": ["first.c"],
            "g++": ["first.cpp"],
            "gfortran": [fortran_module, "first.f90"],
        }.items():
            with self.subTest(compiler=compiler):
                program = self.folder / f"by_pkg_config_{compiler}"
                sources = [self.examples / s for s in sources]
                run(compiler, *FLAGS, *compile_flags, *sources, *link_flags, "-o", program, cwd=self.folder)
                self.check_program(program)

    def test_programs_by_find_package(self):
        build = self.folder / "by_find_package"
        flags = " ".join(FLAGS)
        run("cmake", "-S", self.examples, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            *[f"-DCMAKE_{language}_FLAGS={flags}" for language in ("C", "CXX", "Fortran")])
        run("cmake", "--build", build)
        for program in ("first_c", "first_cpp", "first_fortran"):
            with self.subTest(program=program):
                self.check_program(build / program)

    def test_installed_command_runs(self):
        done = run(self.prefix / "bin" / "nuv", "info", env={"LD_LIBRARY_PATH": str(self.library_folder)})
        self.assertIn(str(self.library_folder), done)


if __name__ == "__main__":
    SOURCE, BUILD, FLAGS = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3:]
    unittest.main(argv=sys.argv[:1])
