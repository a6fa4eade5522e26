"""What the C interface offers: the published names, all of them and no others, and what is made of an invented routine.

    generated_test.py LIST LIBRARY [unittest options]

LIST is what the generator lists, LIBRARY a shared library of the objects.
"""

import re
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path[:0] = [str(ROOT / "catalogue"), str(ROOT / "interfaces" / "cblas")]
import cblas  # noqa: E402
import entries  # noqa: E402

REAL = """asum axpy copy dot nrm2 rot rotg rotm rotmg scal swap gemv gbmv symv sbmv spmv trmv tbmv tpmv trsv tbsv tpsv
    ger syr spr syr2 spr2 gemm symm syrk syr2k trmm trsm""".split()
COMPLEX = """axpy copy dotu_sub dotc_sub rotg scal swap gemv gbmv hemv hbmv hpmv trmv tbmv tpmv trsv tbsv tpsv geru gerc
    her hpr her2 hpr2 gemm symm syrk syr2k trmm trsm hemm herk her2k""".split()
OTHERS = """sdsdot dsdot scasum dzasum scnrm2 dznrm2 isamax idamax icamax izamax csscal zdscal csrot zdrot scabs1 dcabs1
    xerbla""".split()
ADDED = ["cgemm3m", "zgemm3m"]

list_of_names = library = None


class Names(unittest.TestCase):
    def test_the_published_ones(self):
        published = [p + name for letters, of in (("sd", REAL), ("cz", COMPLEX)) for p in letters for name in of]
        expected = sorted("cblas_" + name for name in published + OTHERS + ADDED)
        self.assertEqual(list_of_names.read_text().split(), expected)

    def test_objects_offer_those_and_no_others(self):
        command = ["nm", "-D", "--defined-only", library]
        rows = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        exported = {row.split()[-1] for row in rows.splitlines()}
        # Names of a sanitizer, and of the C++ library where its templates are not inlined, are the compiler's.
        offered = sorted(name for name in exported if not re.match(r"__|_ZN?K?St", name))
        self.assertEqual(offered, list_of_names.read_text().split())


class RowMajorCalls(unittest.TestCase):
    def source(self, entry):
        catalogue = entries.parse(f"family kernels/level2/widget\n{entry}\n    What it does.\n")
        return " ".join(cblas.emit_source(catalogue, 2).split())

    def test_the_triangle_is_the_other_one(self):
        source = self.source("kernel d ?syr (char uplo, Int n, T alpha, const T* x, Int incx, T* a, Int lda)")
        self.assertIn("{ nuv_blas_dsyr(letter(uplo), &n, &alpha, x, &incx, a, &lda, 1); } else { "
                      "nuv_blas_dsyr(letter(other(uplo)), &n, &alpha, x, &incx, a, &lda, 1); }", source)

    def test_exchanged_arguments_take_their_dimensions_along(self):
        source = self.source(
            "kernel d ?ger (Int m, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda)")
        self.assertIn("else { nuv_blas_dger(&n, &m, &alpha, y, &incy, x, &incx, a, &lda);", source)

    def test_a_name_that_is_not_published_is_left_out(self):
        self.assertNotIn("cspr", self.source("kernel dc ?spr (char uplo, Int n, T alpha, const T* x, Int incx, T* ap)"))


if __name__ == "__main__":
    list_of_names, library = Path(sys.argv[1]), sys.argv[2]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
