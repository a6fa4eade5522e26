"""What the generator makes of published names: on invented names, and on the catalogue of the tree."""

import re
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
CATALOGUE = ROOT / "catalogue"

sys.path.insert(0, str(CATALOGUE))
import entries  # noqa: E402
import generate  # noqa: E402
import standard_names  # noqa: E402

FAMILIES = "family solvers/widget\nlayer_family threading/widget\n"

# Routines that no other library has: kernels and bridges, bodies of their routines for small sizes, the two-stage
# reduction, stored rotations, and what belongs to them. `special` kernels are all of this sort.
OWN = {
    "sdcz": "?gbts2 ?pbts2 ?spts2 ?syts2 ?latsp ?latdp ?laspf ?sptf2 ?lacon_internal ?laqrf ?pppack ?ppunpack ?laeh2",
    "sd": "?laq1 ?laq2 ?laq3 ?laq4 ?laq5 ?laq6 ?lasq3_internal ?lasq4_internal ?sptd2 ?lasr1 ?lasr3 x?sytd3 ?syrdb ?syrb2 "
          "?sbrdb",
    "cz": "?hets2 ?hpts2 ?hptf2 ?lahpf ?gtsv_small x?hetd3 ?herdb ?herb2 ?hbrdb",
    "d": "?larf2",
}


def entry(text):
    return f"{FAMILIES}{text}\n    What it is for.\n"


def made(text):
    return generate.all_files(generate.parse(text))


def exported(files, library):
    """Fortran names; those of the C interface are always there."""
    return [name for name in files[f"exports/{library}.txt"].split() if not name.startswith("cblas_")]


def expanded(precisions, names):
    return [name.replace("?", p) for name in names for p in entries.parse_precisions(precisions)]


class InventedNames(unittest.TestCase):
    def functions(self, routine, name):
        text = made(entry(routine) + f"published libblas {name}\n")["standard/libblas_functions.c"]
        return re.sub(r"\n\s*", " ", text.split("<nuv/nuv_lapack.h>\n")[1].strip())

    def test_the_same_conventions_are_a_jump(self):
        files = made(entry("kernel sd ?norm (Int n, const T* x) -> R") + "published libblas sd ?norm\n")
        self.assertTrue(files["standard/libblas_jumps.S"].endswith(
            "\nstandard_jump snorm_, nuv_blas_snorm\nstandard_jump dnorm_, nuv_blas_dnorm\n"))
        self.assertNotIn("norm", files["standard/libblas_functions.c"])
        self.assertEqual(exported(files, "libblas"), ["dnorm_", "snorm_"])
        self.assertEqual(exported(files, "liblapack"), [])

    def test_layer_routines_go_through_their_stubs(self):
        files = made(entry("layer d ?getrf (Int n)") + "published liblapack d ?getrf\n")
        self.assertIn("standard_jump dgetrf_, nuv_lapack_dgetrf\n", files["standard/liblapack_jumps.S"])

    def test_functions_go_as_they_are(self):
        files = made(entry("routine d ?gees (Select select, out Int sdim)") + "published liblapack d ?gees\n")
        self.assertIn("standard_jump dgees_, nuv_lapack_dgees\n", files["standard/liblapack_jumps.S"])

    def test_complex_values_are_returned(self):
        self.assertEqual(self.functions("kernel c ?dotc (Int n, const T* x) -> T", "c ?dotc"),
                         "nuv_complex8 cdotc_(const int* n, const nuv_complex8* x) { nuv_complex8 value; "
                         "nuv_blas_cdotc(&value, n, x); return value; }")

    def test_true_is_one(self):
        self.assertEqual(self.functions("routine - samen (Int n, text a) -> Logical", "- samen"),
                         "int samen_(const int* n, const char* a, int a_length) { "
                         "return nuv_lapack_samen(n, a, a_length) & 1; }")
        self.assertEqual(self.functions("routine d ?stemr (Logical yes, out Logical maybe, out Int info)", "d ?stemr"),
                         "void dstemr_(const int* yes, int* maybe, int* info) { "
                         "nuv_lapack_dstemr(yes, maybe, info); *maybe &= 1; }")

    def test_names_of_ones_own_stay_so(self):
        files = made(entry("routine sd ?own (Int n)") + "published liblapack d ?own\n")
        self.assertEqual(exported(files, "libnuv"), ["down_", "nuv_down", "nuv_sown"])

    def test_what_is_not_there_is_lacking(self):
        text = entry("routine d ?one (Int n)") + "published liblapack sd ?one ?two\n"
        self.assertEqual(standard_names.lacking(generate.parse(text), "liblapack"), ["sone", "stwo", "dtwo"])
        self.assertEqual(exported(made(text), "liblapack"), ["done_"])

    def test_functions_written_by_hand(self):
        files = made(entry("routine d ?one (Int n)") + "written liblapack - done second\npublished libblas - third\n")
        self.assertEqual(exported(files, "liblapack"), ["done_", "second_"])
        self.assertNotIn("done_", files["standard/liblapack_jumps.S"])

    def test_the_c_interface_goes_with_libblas(self):
        files = made("family kernels/widget\nkernel d ?axpy (Int n, T alpha, const T* x, Int incx, T* y, Int incy)\n m\n")
        for library, expected in (("libblas", True), ("libnuv", True), ("liblapack", False)):
            self.assertEqual("cblas_daxpy" in files[f"exports/{library}.txt"].split(), expected)

    def test_libnuv_has_the_names_of_both(self):
        files = made(entry("routine d ?one (Int n)") + "published liblapack d ?one\nwritten libblas - second\n")
        self.assertEqual(exported(files, "libnuv"), ["done_", "nuv_done", "second_"])

    def test_lines_that_say_nothing_are_refused(self):
        for line, message in (("published d ?one", "not a line of published names: 'd ?one'"),
                              ("published libblas d", "not a line of published names: 'libblas d'"),
                              ("published libblas", "not a line of published names: 'libblas'"),
                              ("published libblas d one", "'one': a question mark stands for the precision, and only for it"),
                              ("published libblas - ?one", "'?one': a question mark stands for the precision, and only for it"),
                              ("published libblas q ?one", "unknown precision 'q'"),
                              ("published libblas d ?one ?one", "'done' stands twice")):
            with self.subTest(line), self.assertRaises(entries.CatalogueError) as caught:
                entries.parse(line, "names.cat")
            self.assertEqual(str(caught.exception), f"names.cat:1: {message}")


class TheTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.catalogue = entries.Catalogue()
        for file in sorted(CATALOGUE.glob("*.cat")):
            cls.catalogue.add(entries.parse(file.read_text(), file.name))
        cls.published = {p.name for p in cls.catalogue.published}

    def test_each_routine_is_published_or_ones_own(self):
        own = {name for precisions, names in OWN.items() for name in expanded(precisions, names.split())}
        members = {routine.pattern.replace("?", p) for routine in self.catalogue.routines if routine.kind != "special"
                   for p in routine.precisions}
        self.assertEqual(members - self.published - own, set())
        self.assertEqual(own - members, set())
        self.assertEqual(own & self.published, set())

    def test_no_special_kernel_is_published(self):
        special = {routine.pattern.replace("?", p) for routine in self.catalogue.routines if routine.kind == "special"
                   for p in routine.precisions}
        self.assertEqual(special & self.published, set())

    def test_names_stand_once(self):
        self.assertEqual(len(self.published), len(self.catalogue.published))

    def test_libraries_are_complete(self):
        for library in ("libblas", "liblapack"):
            self.assertEqual(standard_names.lacking(self.catalogue, library), [])

    def test_levels_are_complete(self):
        # By other means than the list: how many names each level has in the published papers.
        level3 = {"gemm": 4, "symm": 4, "hemm": 2, "syrk": 4, "herk": 2, "syr2k": 4, "her2k": 2, "trmm": 4, "trsm": 4}
        level2 = {"gemv": 4, "gbmv": 4, "hemv": 2, "hbmv": 2, "hpmv": 2, "symv": 2, "sbmv": 2, "spmv": 2, "trmv": 4,
                  "tbmv": 4, "tpmv": 4, "trsv": 4, "tbsv": 4, "tpsv": 4, "ger": 2, "geru": 2, "gerc": 2, "her": 2,
                  "hpr": 2, "her2": 2, "hpr2": 2, "syr": 2, "spr": 2, "syr2": 2, "spr2": 2}
        blas = {p.name for p in self.catalogue.published if p.library == "libblas"}
        for operation, count in (level2 | level3).items():
            self.assertEqual(len({name for name in blas if name[1:] == operation}), count, operation)


if __name__ == "__main__":
    unittest.main()
