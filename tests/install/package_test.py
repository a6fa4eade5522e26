"""Installs the Debian packages of a folder as apt does, compiles and runs programs on them, has the machine's choices of
libblas.so.3 and liblapack.so.3 go to nuv and back, removes the packages, and looks for what they left behind. Run by root.

    package_test.py FOLDER
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
PACKAGES = []
NAMES = ("libnuv0", "libnuv-dev", "nuv")
PLACES = ("/usr", "/etc", "/var/lib/dpkg", "/opt")

# Programs say who answered: the library in use, or a stand-in for another library of the same file name.
MULTIPLIES = """
#include <stdio.h>
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*);
static double answer(void) {
  const int one = 1;
  const double a = 2, b = 3, zero = 0, alpha = 1;
  double c = 0;
  dgemm_("N", "N", &one, &one, &one, &alpha, &a, &one, &b, &one, &zero, &c, &one);
  return c;
}
"""
SOLVES = """
#include <stdio.h>
void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);
static double answer(void) {
  const int one = 1;
  double a = 2, b = 12;
  int pivot, info;
  dgesv_(&one, &one, &a, &one, &pivot, &b, &one, &info);
  return b;
}
"""
MAIN = """
int main(void) {
  printf("%g\\n", answer());
  for (FILE* maps = fopen("/proc/self/maps", "r"); maps != NULL;) {
    char line[4096];
    if (fgets(line, sizeof line, maps) == NULL) return fclose(maps);
    fputs(line, stdout);
  }
  return 1;
}
"""
PROGRAM = MULTIPLIES + MAIN
OTHER_MULTIPLIES = """
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* b, const int* ldb, const double* beta, double* c) {
  *c = -1;
}
"""
OTHER_SOLVES = """
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b) { *b = -1; }
"""


def run(*command, **options):
    options.setdefault("env", {**os.environ, "DEBIAN_FRONTEND": "noninteractive", "LC_ALL": "C"})
    done = subprocess.run([str(c) for c in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: exit status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def traces():
    """Files of the system whose path speaks of nuv."""
    return set(run("find", *[p for p in PLACES if Path(p).exists()], "-xdev", "-path", "*nuv*", "-not", "-path",
                   f"{SOURCE}/*").splitlines())


class Alternative:
    """The choice of a library that a machine has."""

    def __init__(self, library):
        self.library = library
        self.architecture = run("gcc", "-print-multiarch").strip()
        self.folder = Path("/usr/lib") / self.architecture
        self.name, self.link = f"{library}-{self.architecture}", self.folder / library

    def state(self):
        """What update-alternatives tells, or None if it knows of no such choice."""
        done = subprocess.run(["update-alternatives", "--query", self.name], capture_output=True, text=True,
                              env={**os.environ, "LC_ALL": "C"})
        return done.stdout if done.returncode == 0 else None

    def record(self):
        """The lines that update-alternatives keeps; it shows none of those whose file is gone."""
        record = Path("/var/lib/dpkg/alternatives", self.name)
        return record.read_text().split() if record.exists() else []

    def choose(self, path):
        run("update-alternatives", "--set", self.name, path)

    def restore(self, state):
        if state is not None:
            fields = dict(line.split(": ", 1) for line in state.splitlines() if ": " in line and line[0] != " ")
            if fields["Status"] == "manual":
                run("update-alternatives", "--set", self.name, fields["Value"])
            else:
                run("update-alternatives", "--auto", self.name)


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="nuv-package-"))
        cls.folder.chmod(0o755)
        cls.blas, cls.lapack = Alternative("libblas.so.3"), Alternative("liblapack.so.3")
        cls.before = traces(), cls.blas.state(), cls.lapack.state()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.addClassCleanup(cls.remove)
        # Other packages are none of this test's business: nothing may come along.
        planned = run("apt-get", "install", "-s", "--no-install-recommends", *PACKAGES)
        coming = {line.split()[1] for line in planned.splitlines() if line.startswith("Inst ")}
        if coming != set(NAMES):
            raise AssertionError(f"apt would install {sorted(coming)}")
        run("apt-get", "install", "-y", "--no-install-recommends", *PACKAGES)

    @classmethod
    def remove(cls):
        run("dpkg", "--remove", *NAMES)

    def compile(self, compiler, source, *options):
        program = self.folder / f"{Path(source).stem}_{compiler}"
        run(compiler, source, *options, "-o", program, cwd=self.folder)
        return program

    def write(self, name, text):
        path = self.folder / name
        path.write_text(text)
        return path

    def test_program_with_l_nuv(self):
        program = self.compile("gcc", self.write("product.c", PROGRAM), "-lnuv")
        output = run(program)
        self.assertEqual(output.splitlines()[0], "6")
        self.assertIn(f"{self.blas.folder}/libnuv.so.", output)

    def test_program_by_pkg_config_with_own_names(self):
        flags = run("pkg-config", "--cflags", "--libs", "nuv").split()
        program = self.compile("gcc", SOURCE / "examples/first_program/first.c", *flags)
        self.assertTrue(run(program).startswith("info = 0, x = 1, y = 1, z = 1\n"))

    def test_program_by_find_package(self):
        build = self.folder / "by_find_package"
        run("cmake", "-S", SOURCE / "tests/install/by_find_package", "-B", build)
        run("cmake", "--build", build)
        for program in ("program_nuv", "program_sequential", "program_threaded"):
            self.assertEqual(run(build / program), "x = 1\n")

    def test_command(self):
        self.assertIn(str(self.blas.folder), run("nuv", "info"))

    def test_choice_there_and_back(self):
        choices = ((self.blas, MULTIPLIES, OTHER_MULTIPLIES, self.before[1]), (self.lapack, SOLVES, OTHER_SOLVES, self.before[2]))
        for alternative, asks, other_answers, before in choices:
            with self.subTest(alternative.library):
                self.go_there_and_back(alternative, asks, other_answers, before)

    def go_there_and_back(self, alternative, asks, other_answers, before):
        name = alternative.library
        ours, stand_in = alternative.folder / "nuv" / name, self.folder / name
        run("gcc", "-shared", "-fPIC", f"-Wl,-soname,{name}", self.write("stand_in.c", other_answers), "-o", stand_in)
        program = self.compile("gcc", self.write("chosen.c", asks + MAIN), ours)
        run("update-alternatives", "--install", alternative.link, alternative.name, stand_in, "1")
        try:
            for chosen, answer in ((stand_in, "-1"), (ours, "6"), (stand_in, "-1")):
                alternative.choose(chosen)
                output = run(program)
                self.assertEqual(output.splitlines()[0], answer)
                self.assertIn(str(chosen), output)
        finally:
            run("update-alternatives", "--remove", alternative.name, stand_in)
            alternative.restore(before)

    def test_virtual_package(self):
        provided = run("dpkg-query", "-W", "-f", "${Provides}", "libnuv0").split(", ")
        for alternative in (self.blas, self.lapack):
            self.assertIn(alternative.library, provided)
            self.assertIn(f"{alternative.folder}/nuv/{alternative.library}", alternative.state())


class Removed(unittest.TestCase):
    """Comes second: what is left of the packages."""

    def test_nothing_is_left(self):
        files, blas, lapack = Packages.before
        self.assertEqual(traces() - files, set())
        self.assertEqual((Packages.blas.state(), Packages.lapack.state()), (blas, lapack))
        for alternative in (Packages.blas, Packages.lapack):
            self.assertEqual([word for word in alternative.record() if "/nuv/" in word], [])
        self.assertNotIn("nuv", run("ldconfig", "-p"))
        for name in NAMES:
            self.assertNotEqual(subprocess.run(["dpkg", "-s", name], capture_output=True).returncode, 0)


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("package_test.py installs packages, and is not run by root: NOTHING WAS CHECKED.")
    PACKAGES = sorted(Path(sys.argv[1]).resolve().glob("*.deb"))
    if len(PACKAGES) != len(NAMES):
        sys.exit(f"{sys.argv[1]} holds {len(PACKAGES)} packages, not {len(NAMES)}")
    unittest.main(argv=sys.argv[:1], verbosity=2)
