"""Installs the build into a folder of its own, moves it, and builds and runs the example programs against it, once by
pkg-config and once by find_package. The build tree must not be needed for that. Then nuv as a part of another project, and
what remains of an installation that is undone.

    install_test.py SOURCE_DIR BUILD_DIR [COMPILER_FLAG...]

With NUV_TEST_ALL=ON in the environment nuv is built as a part of another project, too, not only configured. With
NUV_BUILD_TOOLS=OFF the build has no command.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import NamedTuple

SOURCE = BUILD = None
FLAGS = []
COMMAND = os.environ.get("NUV_BUILD_TOOLS") != "OFF"


class Example(NamedTuple):
    """A program in three languages: folder / name.c, .cpp, .f90."""

    folder: str
    name: str
    output: str
    error: str


EXAMPLES = (
    Example("first_program", "first", "info = 0, x = 1, y = 1, z = 1\ninfo = -4\n",
            "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n"),
    Example("three_masses", "masses", "info = 0, w = 0.5858 2.0000 3.4142\ninfo = 0, w = 0.3820 2.0000 2.6180\n"
            "the lowest moves as 1 : 1.6180 : 1.0000\n", ""),
    Example("nearest_line", "line", "info = 0, s = 10.0000 2.0000\nthe line rises by 0.7500\n"
            "info = 0, rank 2 of 3, column 3 is the longest: 14.0057\n", ""),
    Example("damped_swing", "swing", "info = 0\n-1.0000 +2.0000 i\n-1.0000 -2.0000 i\n-3.0000 +0.0000 i\n"
            "info = 0, 1 fast: -3.0000\n", ""),
)


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

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def check_program(self, program, example):
        environment = {k: v for k, v in os.environ.items() if k != "LD_LIBRARY_PATH"}
        environment["LD_LIBRARY_PATH"] = str(self.library_folder)
        done = subprocess.run([program], capture_output=True, text=True, env=environment)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, example.output, example.error))

    def pkg_config(self, *words):
        environment = dict(os.environ, PKG_CONFIG_PATH=str(self.library_folder / "pkgconfig"))
        return run("pkg-config", *words, env=environment).split()

    def test_programs_by_pkg_config(self):
        compile_flags, link_flags = self.pkg_config("--cflags", "nuv"), self.pkg_config("--libs", "nuv")
        fortran_module = self.prefix / "include" / "nuv" / "nuv_lapack.f90"
        for example in EXAMPLES:
            for compiler, modules, suffix in (("gcc", [], "c"), ("g++", [], "cpp"), ("gfortran", [fortran_module], "f90")):
                with self.subTest(example=example.name, compiler=compiler):
                    program = self.folder / f"{example.name}_by_pkg_config_{compiler}"
                    source = SOURCE / "examples" / example.folder / f"{example.name}.{suffix}"
                    run(compiler, *FLAGS, *compile_flags, *modules, source, *link_flags, "-o", program, cwd=self.folder)
                    self.check_program(program, example)

    def test_programs_by_find_package(self):
        flags = " ".join(FLAGS)
        for example in EXAMPLES:
            build = self.folder / f"{example.folder}_by_find_package"
            run("cmake", "-S", SOURCE / "examples" / example.folder, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
                *[f"-DCMAKE_{language}_FLAGS={flags}" for language in ("C", "CXX", "Fortran")])
            run("cmake", "--build", build)
            for language in ("c", "cpp", "fortran"):
                with self.subTest(example=example.name, language=language):
                    self.check_program(build / f"{example.name}_{language}", example)

    def test_choice_of_layer_by_pkg_config(self):
        example = EXAMPLES[0]
        for name in ("nuv-sequential", "nuv-threaded"):
            with self.subTest(name=name):
                program = self.folder / f"first_{name}"
                source = SOURCE / "examples" / example.folder / f"{example.name}.c"
                # Some compilers leave out what a program asks for no name.
                run("gcc", *FLAGS, "-Wl,--as-needed", source, *self.pkg_config("--cflags", "--libs", name), "-o", program)
                self.check_program(program, example)

    def test_targets_by_find_package(self):
        build = self.folder / "by_find_package"
        run("cmake", "-S", SOURCE / "tests/install/by_find_package", "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_C_FLAGS={' '.join(FLAGS)}")
        run("cmake", "--build", build)
        self.check_targets(build)

    def check_targets(self, build):
        for target in ("nuv", "sequential", "threaded"):
            with self.subTest(build=build.name, target=target):
                self.assertEqual(run(build / f"program_{target}"), "x = 1\n")

    def test_part_of_another_project(self):
        for fetching in ("OFF", "ON"):
            with self.subTest(fetching=fetching):
                build = self.folder / f"by_subdirectory_{fetching}"
                run("cmake", "-G", "Ninja", "-S", SOURCE / "tests/install/by_subdirectory", "-B", build,
                    f"-DNUV_SOURCE={SOURCE}", f"-DBY_FETCHING={fetching}", "-DNUV_WIDEST_SET_ALONE=ON",
                    *[f"-DCMAKE_{language}_FLAGS={' '.join(FLAGS)}" for language in ("C", "CXX")])
                if os.environ.get("NUV_TEST_ALL") == "ON" and fetching == "OFF":
                    run("cmake", "--build", build)
                    self.check_targets(build)
                else:
                    run("cmake", "--build", build, "--target", "nuv_error_report")

    def test_no_file_is_named_from_the_folder_of_the_whole_build(self):
        for path in (*SOURCE.rglob("CMakeLists.txt"), *SOURCE.glob("*/*.cmake")):
            if "build" not in path.relative_to(SOURCE).parts:
                self.assertNotRegex(path.read_text(), r"CMAKE_(SOURCE|BINARY)_DIR", path)

    def test_uninstall(self):
        place = self.folder / "to be removed"
        run("cmake", "--install", BUILD, "--prefix", place)
        self.assertEqual((place / "bin/nuv").exists(), COMMAND)
        kept = place / "include/nuv/kept.h"
        kept.write_text("not installed by nuv\n")
        run("cmake", "--build", BUILD, "--target", "uninstall")
        left = {path for path in place.rglob("*") if path.is_symlink() or not path.is_dir()}
        self.assertEqual(left, {kept})
        self.assertEqual({path for path in place.rglob("nuv")}, {kept.parent})

    def test_standard_names(self):
        source = SOURCE / "tests/interfaces/standard/calls.c"
        folder = self.library_folder
        for place, libraries in ((folder, ["-lnuv"]), (folder / "nuv", ["-llapack", "-lblas"])):
            with self.subTest(place=place.name):
                program = self.folder / f"by_{place.name}"
                run("gcc", *FLAGS, source, f"-L{place}", *libraries, "-o", program)
                output = run(program, env={"LD_LIBRARY_PATH": str(place)})
                self.assertIn("dgesv 0 1 1 1\n", output)

    def test_reference_is_where_readers_look(self):
        for place in ("man/man3/nuv_dgesv.3", "man/man3/nuv_zgesv.3", "man/man7/nuv.7", "doc/nuv/reference/index.html",
                      "doc/nuv/reference/routines/gesv.html"):
            self.assertTrue((self.prefix / "share" / place).is_file(), place)
        for place in ("man/man1/nuv.1", "bash-completion/completions/nuv"):
            self.assertEqual((self.prefix / "share" / place).is_file(), COMMAND, place)

    @unittest.skipUnless(COMMAND, "a build without the command")
    def test_installed_command_runs(self):
        done = run(self.prefix / "bin" / "nuv", "info", env={"LD_LIBRARY_PATH": str(self.library_folder)})
        self.assertIn(str(self.library_folder), done)


if __name__ == "__main__":
    SOURCE, BUILD, FLAGS = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3:]
    unittest.main(argv=sys.argv[:1])
