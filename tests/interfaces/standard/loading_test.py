"""The libraries of standard names as Python loads them: alone, for itself, by a path.

    loading_test.py LIBRARY_DIR

Each case runs in an interpreter of its own, which says what it found.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

LIBRARIES = None
HERE = Path(__file__).parent
NAMES = ("libnuv.so", "nuv/libblas.so.3", "nuv/liblapack.so.3")

START = """
import ctypes, os, re
from ctypes import byref, c_double, c_int
def by_reference(*values):
    return [byref(c_int(v) if isinstance(v, int) else c_double(v)) if isinstance(v, (int, float)) else v for v in values]
def mapped():
    return sorted({name for name in re.findall(r"/lib([\\w.]+?)[.]so", open("/proc/self/maps").read()) if "nuv" in name})
"""
PRODUCT = """
n = 300
a, b, c = ((c_double * (n * n))() for _ in range(3))
for i in range(n):
    a[i + ((i + 1) % n) * n] = 1.0                      # a permutation
for i in range(n * n):
    b[i] = i % 1000
library.dgemm_(b"N", b"N", *by_reference(n, n, n, 2.0, a, n, b, n, 0.0, c, n))
print("product", all(c[i + j * n] == 2 * b[(i + 1) % n + j * n] for j in range(n) for i in range(n)))
"""
SOLUTION = """
matrix, x, pivots, info = (c_double * 4)(1, 3, 2, 4), (c_double * 2)(5, 11), (c_int * 2)(), c_int()
library.dgesv_(*by_reference(2, 1, matrix, 2, pivots, x, 2), byref(info))
print("solution", info.value, *(round(v, 12) for v in x))
"""
MISTAKES = """
library.dgesv_(*by_reference(-1, 1, None, 1, None, None, 1), byref(info))
library.dgemm_(b"N", b"X", *by_reference(1, 1, 1, 1.0, None, 1, None, 1, 1.0, None, 1))
library.dgemv_(b"N", *by_reference(1, -1, 1.0, None, 1, None, 1, 1.0, None, 1))
"""
REPORTS = "".join(f"NUV ERROR : Parameter {position} was incorrect on entry to {name} \n"
                  for position, name in ((1, "DGESV"), (2, "DGEMM"), (3, "DGEMV")))


class Loading(unittest.TestCase):
    def run_python(self, text, **variables):
        kept = {k: v for k, v in os.environ.items() if k != "LD_LIBRARY_PATH" and not k.startswith("NUV_")}
        done = subprocess.run([sys.executable, "-c", START + text], capture_output=True, text=True, env=kept | variables)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done

    def load(self, name, text, folder=None, **variables):
        return self.run_python(f"library = ctypes.CDLL('{(folder or LIBRARIES) / name}')\n" + text, **variables)

    def test_alone_and_in_the_default_mode(self):
        for name in NAMES:
            with self.subTest(name):
                done = self.load(name, PRODUCT + (SOLUTION + MISTAKES if "blas" not in name else ""))
                expected = ("product True\n", "") if "blas" in name else ("product True\nsolution 0 1.0 2.0\n", REPORTS)
                self.assertEqual((done.stdout, done.stderr), expected)

    def test_the_threaded_layer_computes_with_threads(self):
        for layer, threads in (({}, 2), ({"NUV_THREAD_LAYER": "sequential"}, 1)):
            done = self.load("libnuv.so", PRODUCT + "print(len(os.listdir('/proc/self/task')))", NUV_NUM_THREADS="2", **layer)
            self.assertEqual(done.stdout, f"product True\n{threads}\n")

    def layer_of(self, text="", **variables):
        done = self.load("libnuv.so", text + "print(*mapped())", **variables)
        self.assertEqual(done.stderr, "")
        return set(done.stdout.split()) & {"nuv_orvo_thread", "nuv_sequential"}

    def test_the_environment_chooses_the_layer(self):
        for choice, layer in (("threaded", "nuv_orvo_thread"), ("sequential", "nuv_sequential"), ("", "nuv_orvo_thread"),
                              ("Sequential", "nuv_orvo_thread"), ("sequential ", "nuv_orvo_thread")):
            with self.subTest(choice):
                self.assertEqual(self.layer_of(NUV_THREAD_LAYER=choice), {layer})
        self.assertEqual(self.layer_of(), {"nuv_orvo_thread"})

    def test_a_layer_in_the_process_stays(self):
        for layer, other in (("nuv_sequential", "threaded"), ("nuv_orvo_thread", "sequential")):
            with self.subTest(layer):
                # As a program does that has loaded a layer with what it calls back.
                before = (f"[ctypes.CDLL('{LIBRARIES}/lib' + name + '.so', ctypes.RTLD_GLOBAL)"
                          f" for name in ('nuv_lapack', '{layer}')]\n")
                done = self.run_python(before + f"library = ctypes.CDLL('{LIBRARIES}/libnuv.so')\n" + PRODUCT +
                                       "print(*mapped())", NUV_THREAD_LAYER=other)
                self.assertIn("product True\n", done.stdout)
                self.assertEqual(set(done.stdout.split()) & {"nuv_orvo_thread", "nuv_sequential"}, {layer})

    def test_nothing_becomes_visible_to_others(self):
        done = self.load("libnuv.so", PRODUCT + "everyone = ctypes.CDLL(None)\n"
                         "print([hasattr(everyone, n) for n in ('xerbla_', 'dgemm_', 'remove_space', 'nuv_lapack_dgesv')])")
        self.assertEqual(done.stdout, "product True\n[False, False, False, False]\n")

    def test_several_libraries_in_one_process(self):
        done = self.run_python("".join(f"library = ctypes.CDLL('{LIBRARIES / name}')\n" + PRODUCT for name in NAMES) +
                               SOLUTION + MISTAKES)
        self.assertEqual((done.stdout, done.stderr), ("product True\n" * 3 + "solution 0 1.0 2.0\n", REPORTS))

    def test_a_handler_of_the_library_that_loads_it(self):
        with tempfile.TemporaryDirectory() as folder:
            plugin = Path(folder) / "plugin.so"
            subprocess.run(["gcc", "-shared", "-fPIC", HERE / "plugin.c", "-o", plugin, f"-L{LIBRARIES}", "-lnuv",
                            f"-Wl,-rpath,{LIBRARIES}"], check=True)
            done = self.run_python(f"ctypes.CDLL('{plugin}').make_mistakes()")
        self.assertEqual((done.stdout, done.stderr), ("handled DGESV  1\nhandled DGEMM  2\nhandled DGEMV  3\n", ""))

    def test_a_missing_layer_is_told(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name) / "lib"
            folder.mkdir()
            for file in ("libnuv.so.0", "libnuv_lapack.so", "libnuv_kpa.so", "libnuv_kpb.so", "libnuv_with_threads.so"):
                shutil.copy(LIBRARIES / file, folder / file)
            done = self.load("libnuv.so.0", "print(library.lsame_(b'n', b'N'))", folder=folder)
            self.assertEqual(done.stdout, "1\n")
            self.assertRegex(done.stderr, r"\ANUV ERROR : no thread layer can be loaded: libnuv_orvo_thread\.so: [^\n]*\n\Z")


if __name__ == "__main__":
    LIBRARIES = Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1])
