"""The judge of mapped files, which must miss nuv's files and find those of others, and that of a run of tests."""

import contextlib
import io
import subprocess
import tempfile
import unittest
from pathlib import Path

from run_clients import LEAST_NUMPY_TESTS, Failure, Judge, count_of_tests


def library(path, source):
    path.parent.mkdir(exist_ok=True)
    path.with_suffix(".c").write_text(source)
    subprocess.run(["gcc", "-shared", "-fPIC", path.with_suffix(".c"), "-o", path], check=True)
    return path


def maps(*files):
    return "".join(f"7f0000000000-7f0000001000 r-xp 00000000 fe:00 42 {file}\n" for file in files) + \
        "7ffc00000000-7ffc00001000 rw-p 00000000 00:00 0 [stack]\n7f0000002000-7f0000003000 rw-p 00000000 00:00 0\n"


class JudgeTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.ours = library(self.folder / "ours/libblas.so.3", "void dgemm_(void) {}")
        self.other = library(self.folder / "other/libfast.so", "void cblas_dgemm(void) {}")
        self.harmless = library(self.folder / "other/libharmless.so", "void dgemm_(void); void work(void) { dgemm_(); }")
        self.judge = Judge(self.folder / "ours")

    def check(self, *files):
        with contextlib.redirect_stdout(io.StringIO()):
            self.judge.check("program", maps(*files), ("libblas.so",))

    def test_nuv_alone(self):
        self.check(self.ours, self.harmless)

    def test_another_library_of_the_kind(self):
        with self.assertRaisesRegex(Failure, "other libraries of the kind are mapped.*libfast"):
            self.check(self.ours, self.other)

    def test_nuv_is_missing(self):
        with self.assertRaisesRegex(Failure, "nuv's libblas.so is not mapped"):
            self.check(self.harmless)


class CountOfTestsTest(unittest.TestCase):
    def test_all_passed(self):
        self.assertEqual(count_of_tests("452 passed, 3 skipped, 2 xfailed in 4.31s"), 452)

    def test_a_failure(self):
        for summary in ("1 failed, 451 passed in 4.31s", "452 passed, 1 error in 4.31s", "452 passed, 2 errors in 4.31s"):
            self.assertRaises(Failure, count_of_tests, summary)

    def test_too_few(self):
        for summary in (f"{LEAST_NUMPY_TESTS - 1} passed in 0.10s", "no tests ran in 0.01s", "5 skipped in 0.01s"):
            self.assertRaises(Failure, count_of_tests, summary)


if __name__ == "__main__":
    unittest.main()
